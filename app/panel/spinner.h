#pragma once

#include <QColor>
#include <QWidget>
#include <functional>

class QPainter;

// The small "working" indicator: twelve spokes turning. Every spinner follows one shared
// clock, so spinners in view turn together and a render taken at any moment is complete.
class Spinner : public QWidget {
    Q_OBJECT
public:
    explicit Spinner(int diameter, QWidget* parent = nullptr);

    void setColor(const QColor& color);
    QSize sizeHint() const override { return {m_diameter, m_diameter}; }

    // Draws a spinner into `rect` at the shared clock's current step.
    static void paint(QPainter* painter, const QRectF& rect, const QColor& color);
    // Calls `widget->update()` at every step of the shared clock while `animating()` is true
    // and the widget is visible, for as long as the widget lives. Main thread only.
    static void followClock(QWidget* widget, std::function<bool()> animating);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    int m_diameter;
    QColor m_color;
};
