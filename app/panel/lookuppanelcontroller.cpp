#include "panel/lookuppanelcontroller.h"

#include "lookup/copylink.h"
#include "panel/lookuppanel.h"
#include "platform/inputevents.h"
#include "platform/timing.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QScreen>
#include <QSet>

Q_LOGGING_CATEGORY(lcPanel, "peekwell.panel", QtWarningMsg)

namespace {
constexpr qreal kLeftOfPointer = 36;
constexpr qreal kBelowPointer = 16;
constexpr qreal kAbovePointer = 24;
constexpr qreal kScreenGap = 8;

// Half-open containment: a point on the right or bottom edge belongs to the next screen.
bool contains(const QRectF& rect, const QPointF& point)
{
    return point.x() >= rect.left() && point.x() < rect.left() + rect.width() &&
           point.y() >= rect.top() && point.y() < rect.top() + rect.height();
}
} // namespace

LookupPanelController& LookupPanelController::shared()
{
    static LookupPanelController* controller = new LookupPanelController; // lives with the process
    return *controller;
}

std::shared_ptr<LookupModel> LookupPanelController::show(const LookupQuery& query,
                                                         const QPointF& point,
                                                         const BackendList& backends)
{
    close();
    Timing::mark(QStringLiteral("lookup"));
    m_model = std::make_shared<LookupModel>(query, backends);
    const QRect placed = frame(point).toAlignedRect();
    QPointer<LookupPanelController> self(this);
    auto* panel = new LookupPanel(
        m_model.get(),
        [self](const QUrl& url) {
            if (self)
                self->open(url);
        },
        placed);
    connect(panel, &LookupPanel::dismissRequested, this, &LookupPanelController::close,
            Qt::QueuedConnection);
    m_panel = panel;
    qCDebug(lcPanel).noquote() << QStringLiteral("panel at %1,%2 %3x%4 for “%5” in “%6”")
                                      .arg(placed.x())
                                      .arg(placed.y())
                                      .arg(placed.width())
                                      .arg(placed.height())
                                      .arg(query.term, query.context.value_or(QString()));
    if (Timing::enabled())
        markFinalTabs(m_model.get(), panel);
    panel->present();
    installMonitors();
    return m_model;
}

void LookupPanelController::markFinalTabs(LookupModel* model, QObject* context)
{
    auto marked = std::make_shared<QSet<QString>>();
    connect(model, &LookupModel::changed, context, [model, marked] {
        for (const LookupModel::Tab& tab : model->tabs()) {
            if (!tab.phase.isRunning() && !marked->contains(tab.id)) {
                marked->insert(tab.id);
                Timing::mark(tab.id + QStringLiteral(" final, ") + tab.phase.reportText());
            }
        }
    });
}

void LookupPanelController::close()
{
    removeMonitors();
    if (m_model) {
        m_model->cancelTasks();
        m_model.reset();
    }
    if (m_panel) {
        m_panel->hide();
        // Later: close() may run inside one of the panel's own event handlers.
        m_panel->deleteLater();
        m_panel = nullptr;
    }
}

void LookupPanelController::open(const QUrl& url)
{
    if (const std::optional<QString> command = CopyLink::text(url)) {
        QClipboard* clipboard = QGuiApplication::clipboard();
        clipboard->clear();
        clipboard->setText(*command);
    } else {
        QDesktopServices::openUrl(url); // a URL nothing handles is ignored
    }
    close();
}

void LookupPanelController::installMonitors()
{
    // An offscreen panel (rendering, tests) is on no screen whose input could be watched.
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("offscreen") || platform == QLatin1String("minimal"))
        return;
    InputEvents* input = InputEvents::session();
    if (!input || !input->install())
        return; // the panel then closes by its other routes
    m_input = input;
    // Queued: the stream reports from inside its own reading, which close() changes.
    m_monitors = {
        connect(input, &InputEvents::escapePressed, this, &LookupPanelController::close,
                Qt::QueuedConnection),
        connect(input, &InputEvents::buttonPressed, this, &LookupPanelController::onButtonPressed,
                Qt::QueuedConnection),
        // Without the stream (the extension disabled, the X connection gone) neither could come.
        connect(input, &InputEvents::disabled, this, &LookupPanelController::close,
                Qt::QueuedConnection),
    };
    input->watchEscape(true);
}

void LookupPanelController::removeMonitors()
{
    for (const QMetaObject::Connection& connection : std::as_const(m_monitors))
        disconnect(connection);
    m_monitors.clear();
    if (m_input)
        m_input->watchEscape(false);
    m_input = nullptr;
}

void LookupPanelController::onButtonPressed(const QPointF& position)
{
    // A press in one of our own menus (the text's Copy menu) belongs to the panel.
    if (m_panel && !QRectF(m_panel->frameGeometry()).contains(position) &&
        !QApplication::activePopupWidget())
        close();
}

QRectF LookupPanelController::frame(const QPointF& point)
{
    QList<ScreenArea> screens;
    qsizetype mainIndex = 0;
    const QList<QScreen*> all = QGuiApplication::screens();
    for (qsizetype i = 0; i < all.size(); ++i) {
        if (all[i] == QGuiApplication::primaryScreen())
            mainIndex = i;
        screens.append({QRectF(all[i]->geometry()), QRectF(all[i]->availableGeometry())});
    }
    return frame(point, screens, mainIndex);
}

QRectF LookupPanelController::frame(const QPointF& point, const QList<ScreenArea>& screens,
                                    qsizetype mainIndex)
{
    QRectF visible(0, 0, kWidth, kHeight);
    if (!screens.isEmpty()) {
        visible = screens.value(mainIndex, screens.first()).available;
        for (const ScreenArea& screen : screens) {
            if (contains(screen.frame, point)) {
                visible = screen.available;
                break;
            }
        }
    }
    const qreal top = visible.top();
    const qreal bottom = visible.top() + visible.height();
    const qreal left = visible.left();
    const qreal right = visible.left() + visible.width();

    qreal x = point.x() - kLeftOfPointer;
    qreal y = point.y() + kBelowPointer; // the top edge, below the pointer
    // Too close to the bottom: the bottom edge goes above the pointer instead.
    if (y + kHeight > bottom - kScreenGap)
        y = point.y() - kAbovePointer - kHeight;
    // Keep the gaps; on a screen too small for both, the right and the top edge win.
    if (x <= left + kScreenGap)
        x = left + kScreenGap;
    if (right - kWidth - kScreenGap < x)
        x = right - kWidth - kScreenGap;
    if (y + kHeight >= bottom - kScreenGap)
        y = bottom - kScreenGap - kHeight;
    if (y < top + kScreenGap)
        y = top + kScreenGap;
    return {x, y, kWidth, kHeight};
}
