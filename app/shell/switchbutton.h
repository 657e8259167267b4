#pragma once

#include <QAbstractButton>

// A checkable button drawn as a small switch: a rounded track, green when on, with a round
// knob at the end that is on. Clicks and the space key toggle it, as with any button.
class SwitchButton : public QAbstractButton {
    Q_OBJECT
public:
    // `name` is what assistive technology reads for it (its label beside it).
    explicit SwitchButton(const QString& name, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
};
