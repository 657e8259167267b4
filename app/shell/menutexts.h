#pragma once

#include "platform/desktopsession.h"
#include "recall/recallmodel.h"

#include <QString>

// Every text the tray menu shows, in one place. Where a switch stands for something a Mac
// does with its own facilities, the words name what this program does on a Linux desktop;
// the preference keys behind the switches keep their names.
namespace MenuTexts {

inline const QString title = QStringLiteral("Peekwell");
inline const QString listening = QStringLiteral("Listening");
inline const QString notListening = QStringLiteral("Not listening");

inline const QString accessibilityNotice =
    QStringLiteral("Peekwell needs the desktop's accessibility interface (AT-SPI) to see force "
                   "clicks and read the word under the pointer.");
inline const QString turnOnAccessibility = QStringLiteral("Turn On Accessibility");
inline const QString accessibilityRefused =
    QStringLiteral("Accessibility could not be turned on: no accessibility bus answers "
                   "(Debian package at-spi2-core).");

inline const QString lookUpOnForceClick = QStringLiteral("Look up on force click");
inline const QString takeOverPress = QStringLiteral("Keep the press from the app");
inline const QString takeOverPressHelp =
    QStringLiteral("When Peekwell finds a word, the rest of the press is held back from the "
                   "application under the pointer, where the desktop allows it (X11 does not).");
inline const QString startAtLogin = QStringLiteral("Start at login");

inline const QString tabs = QStringLiteral("Tabs");
inline const QString answer = QStringLiteral("Answer · local language model");
inline const QString recall = QStringLiteral("Recall · your chats + library");
inline const QString modelPicker = QStringLiteral("Model");
inline const QString chats = QStringLiteral("Chats · Claude Code, Codex, Pi, Zenith");
inline const QString indexing = QStringLiteral("Indexing…");
inline const QString library = QStringLiteral("Library · self-hosted Shelfwise");
inline const QString libraryPlaceholder = QStringLiteral("URL");
inline const QString wikipedia = QStringLiteral("Wikipedia");
inline const QString tryLookup = QStringLiteral("Try a lookup");
inline const QString quit = QStringLiteral("Quit");

// Shown while the local model server has not been asked yet.
inline const QString checking = QStringLiteral("Checking…");
inline const QString noKeyring =
    QStringLiteral("No keyring answers, so API keys cannot be saved (GNOME Keyring or KWallet).");

inline QString sessionsIndexed(qint64 count)
{
    return QString::number(count) + QStringLiteral(" sessions indexed");
}

// The picker's label of a recall model: its display name, or for the two models of the
// platform what they are here.
inline QString modelLabel(RecallModel model)
{
    switch (model.value()) {
    case RecallModel::onDevice:
        return QStringLiteral("Local model");
    case RecallModel::privateCloud:
        return QStringLiteral("Private Cloud Compute (not on Linux)");
    default:
        return model.displayName().value_or(model.rawValue());
    }
}

// How force clicks are heard, or why they are not; `problem` is the session's own account of
// why not, when it has one.
inline QString hearing(DesktopSession::Kind session, bool trusted, const QString& source,
                       const QString& problem = {})
{
    if (!source.isEmpty())
        return QStringLiteral("Force clicks are heard through ") + source + QLatin1Char('.');
    if (!problem.isEmpty())
        return problem;
    switch (session) {
    case DesktopSession::Kind::None:
        return QStringLiteral("Force clicks are not heard: no X11 display.");
    case DesktopSession::Kind::OtherWayland:
        return QStringLiteral("Force clicks are not available on this Wayland desktop yet.");
    case DesktopSession::Kind::X11:
    case DesktopSession::Kind::GnomeWayland:
        break;
    }
    if (!trusted)
        return QStringLiteral("Force clicks are not heard: accessibility is off, or no "
                              "accessibility bus answers.");
    return session == DesktopSession::Kind::X11
               ? QStringLiteral("Force clicks are not heard: the X server offers no XInput 2.")
               : QStringLiteral("Force clicks are not heard: the GNOME Shell extension of "
                                "Peekwell is not running.");
}

} // namespace MenuTexts
