#include "panel/spinner.h"

#include <QElapsedTimer>
#include <QMetaMethod>
#include <QPainter>
#include <QTimer>
#include <cmath>

namespace {

constexpr int kSpokes = 12;

class SpinnerClock : public QObject {
    Q_OBJECT
public:
    SpinnerClock()
    {
        m_elapsed.start();
        m_timer.setInterval(80);
        connect(&m_timer, &QTimer::timeout, this, [this] {
            // The clock stops when nothing follows it any more.
            if (!isSignalConnected(QMetaMethod::fromSignal(&SpinnerClock::tick)))
                m_timer.stop();
            Q_EMIT tick();
        });
    }
    void follow(QWidget* widget, std::function<bool()> animating)
    {
        connect(this, &SpinnerClock::tick, widget, [widget, animating = std::move(animating)] {
            if (widget->isVisible() && animating())
                widget->update();
        });
        if (!m_timer.isActive())
            m_timer.start();
    }
    int step() const { return static_cast<int>((m_elapsed.elapsed() / 80) % kSpokes); }

Q_SIGNALS:
    void tick();

private:
    QElapsedTimer m_elapsed;
    QTimer m_timer;
};

SpinnerClock& sharedClock()
{
    static SpinnerClock* clock = new SpinnerClock; // lives as long as the process
    return *clock;
}

} // namespace

Spinner::Spinner(int diameter, QWidget* parent) : QWidget(parent), m_diameter(diameter)
{
    setFixedSize(diameter, diameter);
    followClock(this, [] { return true; });
}

void Spinner::setColor(const QColor& color)
{
    m_color = color;
    update();
}

void Spinner::followClock(QWidget* widget, std::function<bool()> animating)
{
    sharedClock().follow(widget, std::move(animating));
}

void Spinner::paint(QPainter* painter, const QRectF& rect, const QColor& color)
{
    const int step = sharedClock().step();
    const QPointF centre = rect.center();
    const qreal radius = std::min(rect.width(), rect.height()) / 2.0;
    const qreal inner = radius * 0.45;
    const qreal thickness = std::max<qreal>(1.2, radius * 0.22);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    for (int i = 0; i < kSpokes; ++i) {
        // The spoke at the current step is the darkest; the others fade behind it.
        const int age = (step - i + kSpokes) % kSpokes;
        QColor spoke = color;
        spoke.setAlphaF(color.alphaF() * static_cast<float>(1.0 - 0.75 * age / (kSpokes - 1)));
        QPen pen(spoke, thickness, Qt::SolidLine, Qt::RoundCap);
        painter->setPen(pen);
        const qreal angle = 2 * M_PI * i / kSpokes - M_PI / 2;
        const QPointF direction(std::cos(angle), std::sin(angle));
        painter->drawLine(centre + direction * inner,
                          centre + direction * (radius - thickness / 2));
    }
    painter->restore();
}

void Spinner::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    paint(&painter, QRectF(rect()), m_color);
}

#include "spinner.moc"
