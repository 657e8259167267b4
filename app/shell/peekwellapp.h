#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QRect>
#include <QSize>
#include <optional>

class AppStatus;
class MenuView;
class QSystemTrayIcon;

// The application's one place on the desktop: an icon in the system tray whose activation
// opens the menu as a small frameless window under it. Where the desktop has no tray (plain
// GNOME), the menu window opens at start instead, showMenu() (a later start of the program
// asks for it) opens it again, and the icon is added when a tray appears later. The menu window
// hides when it loses focus or on Escape; "Quit" ends the application.
//
// Main thread; needs a QApplication. The status object outlives it.
class PeekwellApp : public QObject {
    Q_OBJECT
public:
    explicit PeekwellApp(AppStatus& status, QObject* parent = nullptr);
    ~PeekwellApp() override;

    // Shows the tray icon, or the menu where no tray exists.
    void start();
    // Opens the menu (showing the stored preferences afresh) under the tray icon, or where
    // the pointer is when the tray does not say where its icon is, or at the top right of the
    // screen without a tray.
    void showMenu();
    void toggleMenu();

    MenuView* menu() const { return m_menu; }

    // Where the menu goes: centred under `anchor` (above it when the anchor is in the
    // screen's lower half), kept inside `available`; at the top right of `available`
    // without an anchor.
    static QRect menuFrame(const std::optional<QRect>& anchor, QSize size, const QRect& available);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void showTrayIcon();

    AppStatus& m_status;
    MenuView* m_menu = nullptr;
    QSystemTrayIcon* m_tray = nullptr;
    QElapsedTimer m_hiddenAt; // since the menu last hid itself
};
