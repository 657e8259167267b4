#include "shell/peekwellapp.h"

#include "panel/panelstyle.h"
#include "panel/symbolicon.h"
#include "shell/menuview.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>

namespace {

constexpr int kGap = 4;
constexpr int kScreenMargin = 8;
// A press on the tray icon first takes the focus from an open menu, which hides it; the
// activation that follows must not open it again.
constexpr qint64 kReopenGuardMs = 300;
// How often a desktop without a tray is asked again whether one has appeared.
constexpr int kTrayWatchMs = 2000;

QIcon trayIcon()
{
    const bool dark = PanelStyle::systemAppearance() == Appearance::Dark;
    const QColor color = dark ? QColor(0xf2, 0xf2, 0xf2) : QColor(0x1d, 0x1d, 0x1f);
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(SymbolIcon::pixmap(QStringLiteral("text.magnifyingglass"), color, size, 1));
    return icon;
}

} // namespace

PeekwellApp::PeekwellApp(AppStatus& status, QObject* parent) : QObject(parent), m_status(status)
{
    m_menu = new MenuView(m_status);
    m_menu->setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    m_menu->installEventFilter(this);
    connect(m_menu, &MenuView::tryingLookup, m_menu, &QWidget::hide);
    connect(m_menu, &MenuView::quitRequested, qApp, &QCoreApplication::quit);
}

PeekwellApp::~PeekwellApp()
{
    delete m_menu;
}

void PeekwellApp::start()
{
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        showTrayIcon();
        return;
    }
    showMenu();
    // Started at login, the program may come before the desktop's panel and its tray.
    auto* watch = new QTimer(this);
    connect(watch, &QTimer::timeout, this, [this, watch] {
        if (!QSystemTrayIcon::isSystemTrayAvailable())
            return;
        watch->deleteLater();
        showTrayIcon();
    });
    watch->start(kTrayWatchMs);
}

void PeekwellApp::showTrayIcon()
{
    m_tray = new QSystemTrayIcon(trayIcon(), this);
    m_tray->setToolTip(QStringLiteral("Peekwell"));
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason != QSystemTrayIcon::DoubleClick)
                    toggleMenu();
            });
    m_tray->show();
}

void PeekwellApp::toggleMenu()
{
    if (m_menu->isVisible())
        m_menu->hide();
    else if (!m_hiddenAt.isValid() || m_hiddenAt.elapsed() > kReopenGuardMs)
        showMenu();
}

void PeekwellApp::showMenu()
{
    m_menu->reload();
    std::optional<QRect> anchor;
    if (m_tray) {
        const QRect icon = m_tray->geometry();
        anchor = icon.isValid() ? icon : QRect(QCursor::pos(), QSize(1, 1));
    }
    QScreen* screen = anchor ? QGuiApplication::screenAt(anchor->center()) : nullptr;
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    m_menu->setGeometry(menuFrame(anchor, m_menu->size(), available));
    m_menu->show();
    m_menu->raise();
    m_menu->activateWindow();
}

QRect PeekwellApp::menuFrame(const std::optional<QRect>& anchor, QSize size, const QRect& available)
{
    if (!anchor)
        return {QPoint(available.x() + available.width() - size.width() - kScreenMargin,
                       available.y() + kScreenMargin),
                size};
    int x = anchor->center().x() - size.width() / 2;
    int y = anchor->center().y() < available.center().y() ? anchor->y() + anchor->height() + kGap
                                                          : anchor->y() - size.height() - kGap;
    x = std::clamp(x, available.x(),
                   std::max(available.x(), available.x() + available.width() - size.width()));
    y = std::clamp(y, available.y(),
                   std::max(available.y(), available.y() + available.height() - size.height()));
    return {QPoint(x, y), size};
}

bool PeekwellApp::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_menu) {
        const bool escape = event->type() == QEvent::KeyPress &&
                            static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape;
        if (escape || event->type() == QEvent::WindowDeactivate) {
            m_menu->hide();
            m_hiddenAt.start();
            return escape;
        }
    }
    return QObject::eventFilter(watched, event);
}
