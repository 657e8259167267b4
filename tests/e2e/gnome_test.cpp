// GNOME on Wayland end to end: a headless GNOME Shell running our extension, a native Wayland
// GTK editor (Mousepad) under the pointer, pointer and keys injected through Mutter's
// remote-desktop interface, and Peekwell's service in this process recording what reaches the
// InputEvents stream, or the peekwell executable itself. The Shell starts once for all cases
// (they run in one process, in order).
#include "platform/gnome/gnomeshellextension.h"
#include "platform/gnome/gnomeshellinputevents.h"
#include "tests/support/eventwait.h"
#include "tests/support/gnomeshellsession.h"
#include "tests/support/processrun.h"

#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <gtest/gtest.h>
#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

constexpr int kLeft = 272;
constexpr int kRight = 273;
constexpr int kEscape = 1;
const QPointF kPoint(640, 400);
const QString kWord = QStringLiteral("serendipity");
const QString kSentence = QStringLiteral("Hold the pointer still on serendipity to look it up.");

using Stages = std::vector<std::pair<int, int>>;

Stages stagesOf(const std::vector<InputEvent>& events)
{
    Stages out;
    for (const InputEvent& e : events)
        out.emplace_back(e.type, e.stage);
    return out;
}

// The first case has Peekwell's service in this process; the last runs the executable, which
// the extension, still running, reports to instead.
class GnomeShellTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        const QStringList missing = GnomeShellSession::missingPrograms();
        if (!missing.isEmpty()) {
            s_error = u"not installed: "_s + missing.join(u", "_s);
            return;
        }
        s_shell = std::make_unique<GnomeShellSession>();
        if (!s_shell->start(QStringLiteral(PEEKWELL_GNOME_EXTENSION_DIR),
                            GnomeShellExtension::uuid(), &s_error))
            return;
        QFile text(s_shell->home() + u"/peekwell-gnome.txt"_s);
        text.open(QIODevice::WriteOnly);
        text.write(kSentence.toUtf8() + "\n");
        text.close();
        s_editor = std::make_unique<QProcess>();
        s_editor->setProcessEnvironment(s_shell->clientEnvironment());
        s_editor->setProcessChannelMode(QProcess::ForwardedChannels);
        s_editor->start(u"mousepad"_s, {text.fileName()});
        if (!s_editor->waitForStarted(5000))
            s_error = u"mousepad did not start"_s;
    }

    static void TearDownTestSuite()
    {
        InputEvents::setSession(nullptr);
        if (s_editor) {
            s_editor->kill();
            s_editor->waitForFinished(5000);
        }
        s_editor.reset();
        s_shell.reset();
    }

    void SetUp() override
    {
        ASSERT_TRUE(s_error.isEmpty()) << s_error.toStdString();
        m_bus = s_shell->connect(u"peekwell-service"_s);
        auto service = std::make_unique<GnomeShellInputEvents>(m_bus);
        ASSERT_TRUE(service->install()) << service->problem().toStdString();
        m_service = service.get();
        QObject::connect(m_service, &InputEvents::delivered,
                         [this](const InputEvent& e, bool) { m_events.push_back(e); });
        QObject::connect(m_service, &InputEvents::buttonPressed,
                         [this](const QPointF&, int b) { m_buttons.push_back(b); });
        QObject::connect(m_service, &InputEvents::escapePressed, [this] { ++m_escapes; });
        InputEvents::setSession(std::move(service));
    }

    void TearDown() override
    {
        InputEvents::setSession(nullptr);
        QDBusConnection::disconnectFromBus(u"peekwell-service"_s);
    }

    // A left press held for `holdMs`, then released; true once the release was delivered.
    bool press(int holdMs)
    {
        m_events.clear();
        if (!s_shell->movePointer(kPoint) || !s_shell->button(kLeft, true))
            return false;
        QTest::qWait(holdMs);
        return s_shell->button(kLeft, false) && spinUntil([this] {
                   return !m_events.empty() && m_events.back().type == InputEvent::LeftMouseUp;
               });
    }

    // Clicks until the editor's window is under the pointer: it maps a moment after it starts.
    void waitForEditor()
    {
        for (int attempt = 0; attempt < 40; ++attempt) {
            if (press(50) && m_events.front().target.window &&
                m_events.front().target.window->pid == s_editor->processId())
                return;
            QTest::qWait(250);
        }
        FAIL() << "Mousepad's window never came under the pointer at (640, 400)";
    }

    static inline std::unique_ptr<GnomeShellSession> s_shell;
    static inline std::unique_ptr<QProcess> s_editor;
    static inline QString s_error;
    QDBusConnection m_bus{QString()};
    GnomeShellInputEvents* m_service = nullptr;
    std::vector<InputEvent> m_events;
    std::vector<int> m_buttons;
    int m_escapes = 0;
};

const Stages kClick = {{InputEvent::LeftMouseDown, 0},
                       {InputEvent::Pressure, 1},
                       {InputEvent::Pressure, 0},
                       {InputEvent::LeftMouseUp, 0}};
const Stages kHold = {{InputEvent::LeftMouseDown, 0},
                      {InputEvent::Pressure, 1},
                      {InputEvent::Pressure, 2},
                      {InputEvent::Pressure, 0},
                      {InputEvent::LeftMouseUp, 0}};

TEST_F(GnomeShellTest, HoldOnAWaylandWindowIsADeepPressWithThatWindowAndOnlyTheShellMayReport)
{
    // Nobody but the Shell may report presses, and nobody but Peekwell may steer the extension.
    QDBusConnection intruder = s_shell->connect(u"intruder"_s);
    QDBusMessage forged = QDBusMessage::createMethodCall(
        QString::fromLatin1(GnomeShellInputEvents::kServiceName),
        QString::fromLatin1(GnomeShellInputEvents::kObjectPath),
        QString::fromLatin1(GnomeShellInputEvents::kInterface), u"Press"_s);
    forged << 10.0 << 10.0 << qint64(1) << u"forged"_s << 0 << 0 << 9 << 9 << 0 << 0 << 9 << 9;
    QDBusPendingCall pending = intruder.asyncCall(forged);
    ASSERT_TRUE(spinUntil([&] { return pending.isFinished(); }));
    EXPECT_EQ(pending.error().type(), QDBusError::AccessDenied);
    EXPECT_TRUE(m_events.empty()) << "the forged press reached the stream";
    QDBusMessage steer =
        QDBusMessage::createMethodCall(u"org.gnome.Shell"_s, u"/io/github/peekwell/Shell"_s,
                                       u"io.github.peekwell.Shell"_s, u"WatchEscape"_s);
    steer << true;
    EXPECT_EQ(intruder.call(steer).errorName(), u"org.freedesktop.DBus.Error.AccessDenied"_s);
    QDBusConnection::disconnectFromBus(u"intruder"_s);

    waitForEditor();

    ASSERT_TRUE(press(100));
    EXPECT_EQ(stagesOf(m_events), kClick);

    ASSERT_TRUE(press(700));
    ASSERT_EQ(stagesOf(m_events), kHold);
    const PointerTarget& target = m_events[2].target;
    EXPECT_EQ(target.screen, kPoint);
    ASSERT_TRUE(target.window);
    EXPECT_EQ(target.window->pid, s_editor->processId());
    EXPECT_TRUE(target.window->title.contains(u"peekwell-gnome.txt"_s))
        << target.window->title.toStdString();
    EXPECT_TRUE(target.window->frame.contains(kPoint));
    // GTK draws its own decorations: the buffer holds the frame plus the shadow around it.
    EXPECT_TRUE(target.window->buffer.contains(target.window->frame));
    EXPECT_NE(target.window->buffer, target.window->frame);

    // Other buttons are reported as presses (to close the panel), never as force clicks. The
    // pointer stays still: after a pause the press itself wakes the extension, which samples the
    // buttons when the Shell gets to it, so the click lasts as long as a hand's (a click of no
    // time at all can be over before a busy Shell looks).
    m_events.clear();
    m_buttons.clear();
    QTest::qWait(300);
    ASSERT_TRUE(s_shell->button(kRight, true));
    QTest::qWait(100);
    ASSERT_TRUE(s_shell->button(kRight, false));
    ASSERT_TRUE(spinUntil([this] { return !m_buttons.empty(); }));
    EXPECT_EQ(m_buttons.back(), 3);
    EXPECT_TRUE(m_events.empty());

    // Escape is reported only while watched. Calls on one connection are handled in order: a
    // reply to Hello means WatchEscape is done.
    auto watchEscape = [this](bool on) {
        m_service->watchEscape(on);
        return m_bus
                   .call(QDBusMessage::createMethodCall(u"org.gnome.Shell"_s,
                                                        u"/io/github/peekwell/Shell"_s,
                                                        u"io.github.peekwell.Shell"_s, u"Hello"_s))
                   .type() == QDBusMessage::ReplyMessage;
    };
    ASSERT_TRUE(watchEscape(true));
    ASSERT_TRUE(s_shell->key(kEscape, true) && s_shell->key(kEscape, false));
    EXPECT_TRUE(spinUntil([this] { return m_escapes == 1; }));
    ASSERT_TRUE(watchEscape(false));
    // Unwatched, it goes to Mousepad and closes the menu the right button opened.
    ASSERT_TRUE(s_shell->key(kEscape, true) && s_shell->key(kEscape, false));
    // The extension reports in order: once the click after it has arrived, an Escape would have.
    ASSERT_TRUE(press(50));
    EXPECT_EQ(m_escapes, 1);
}

// The desktop application as a GNOME user runs it. A long press on a word of the Wayland
// Mousepad reaches Peekwell through the extension, the word and its sentence are read in the
// window's own coordinates, and the panel opens beside the pointer (through Xwayland) without
// taking the focus; Escape and a click outside close it. A short click opens nothing.
// Disabling the extension closes the panel and stops the listening; enabling it resumes both.
TEST_F(GnomeShellTest, AForceClickOnAWaylandWordOpensThePanelBesideThePointer)
{
    InputEvents::setSession(nullptr); // the executable takes the service's name
    // Presses while nobody listens go nowhere and cost the Shell no error (its log, at the end).
    ASSERT_TRUE(s_shell->movePointer(kPoint));
    ASSERT_TRUE(s_shell->button(kLeft, true) && s_shell->button(kLeft, false));
    QTest::qWait(300);
    const QString uuid = GnomeShellExtension::uuid();
    EXPECT_EQ(GnomeShellExtension::status(DesktopSession::Kind::GnomeWayland, m_bus).state,
              GnomeShellExtension::State::Active);

    QProcessEnvironment env = s_shell->clientEnvironment();
    env.insert(u"QT_LOGGING_RULES"_s, u"peekwell.panel.debug=true"_s);
    QProcess peekwell;
    peekwell.setProcessEnvironment(env);
    peekwell.start(QStringLiteral(PEEKWELL_EXECUTABLE), {});
    ASSERT_TRUE(peekwell.waitForStarted(5000));
    QByteArray log;
    QObject::connect(&peekwell, &QProcess::readyReadStandardError,
                     [&] { log += peekwell.readAllStandardError(); });
    auto status = [] { return logReport(s_shell->home(), u"status.json"_s); };
    ASSERT_TRUE(spinUntil( // a cold start on a loaded machine
        [&] { return status().value(u"listeningThrough"_s) == u"the GNOME Shell extension"_s; },
        30'000))
        << log.toStdString();

    // GTK 3 on Wayland knows no screen position: the probe's point is relative to Mousepad's
    // surface, and the Shell says where that is.
    const QJsonArray inSurface = runProcess(QStringLiteral(PEEKWELL_EXECUTABLE),
                                            {u"--probe-word"_s, u"mousepad"_s, kWord}, env, 30'000)
                                     .json()
                                     .value(u"point"_s)
                                     .toArray();
    ASSERT_EQ(inSurface.size(), 2);
    const QJsonArray surface =
        s_shell
            ->eval(u"(r => [r.x, r.y])(global.get_window_actors().map(a => a.meta_window)"
                   ".find(w => w.get_pid() === %1).get_buffer_rect())"_s.arg(s_editor->processId()))
            .value_or(QJsonValue())
            .toArray();
    ASSERT_EQ(surface.size(), 2);
    const QPointF word(qRound(surface[0].toDouble() + inSurface[0].toDouble()),
                       qRound(surface[1].toDouble() + inSurface[1].toDouble()));

    // The panel as the Shell has it: frame, whether it has the focus, whether it stays above;
    // empty when it is not shown.
    const QString panelQuery =
        u"(w => w && !w.minimized ? [w.get_frame_rect().x, w.get_frame_rect().y, "
        "w.get_frame_rect().width, w.get_frame_rect().height, w.has_focus(), w.is_above()] : null)"
        "(global.get_window_actors().map(a => a.meta_window)"
        ".find(w => w.get_pid() === %1 && w.get_title() === 'Peekwell'))"_s.arg(
            peekwell.processId());
    auto panel = [&] { return s_shell->eval(panelQuery).value_or(QJsonValue()).toArray(); };
    auto hold = [&](const QPointF& at, int ms) {
        ASSERT_TRUE(s_shell->movePointer(at) && s_shell->button(kLeft, true));
        QTest::qWait(ms);
        ASSERT_TRUE(s_shell->button(kLeft, false));
    };

    hold(word, 100);
    ASSERT_TRUE(spinUntil([&] { return status().value(u"pressureEvents"_s).toInt() == 2; }));
    EXPECT_EQ(status().value(u"forceClicks"_s).toInt(), 0);
    EXPECT_TRUE(panel().isEmpty());

    hold(word, 700);
    ASSERT_TRUE(spinUntil([&] { return status().value(u"forceClicks"_s).toInt() == 1; }));
    EXPECT_EQ(status().value(u"lastCapture"_s).toString().toStdString(),
              (kWord + u" via range in Mousepad"_s).toStdString());
    ASSERT_TRUE(spinUntil([&] { return !panel().isEmpty(); })) << log.toStdString();
    // Beside the pointer (its left edge 36 px left of it, its top 16 px below it), above the
    // editor, which keeps the focus.
    const QJsonArray shown = panel();
    EXPECT_EQ(
        QRectF(shown[0].toDouble(), shown[1].toDouble(), shown[2].toDouble(), shown[3].toDouble()),
        QRectF(word.x() - 36, word.y() + 16, 470, 340));
    EXPECT_FALSE(shown[4].toBool());
    EXPECT_TRUE(shown[5].toBool());
    EXPECT_TRUE(log.contains(u"for “%1” in “%2”"_s.arg(kWord, kSentence).toUtf8()))
        << log.toStdString();

    ASSERT_TRUE(s_shell->key(kEscape, true) && s_shell->key(kEscape, false));
    EXPECT_TRUE(spinUntil([&] { return panel().isEmpty(); }));

    hold(word, 700);
    ASSERT_TRUE(spinUntil([&] { return !panel().isEmpty(); }));
    hold(word + QPointF(-56, 100), 50); // left of the panel, in the editor's text
    EXPECT_TRUE(spinUntil([&] { return panel().isEmpty(); }));

    // Disabled while the panel is open, the extension could report neither: the panel goes.
    hold(word, 700);
    ASSERT_TRUE(spinUntil([&] { return !panel().isEmpty(); }));
    ASSERT_EQ(s_shell->extensions(u"DisableExtension"_s, uuid).type(), QDBusMessage::ReplyMessage);
    EXPECT_TRUE(spinUntil([&] { return panel().isEmpty(); }));
    EXPECT_TRUE(spinUntil([&] { return !status().value(u"tapInstalled"_s).toBool(); }));
    const GnomeShellExtension::Status disabled =
        GnomeShellExtension::status(DesktopSession::Kind::GnomeWayland, m_bus);
    EXPECT_EQ(disabled.state, GnomeShellExtension::State::Disabled);
    EXPECT_EQ(disabled.command, u"gnome-extensions enable peekwell@peekwell.github.io"_s);
    EXPECT_TRUE(disabled.message.contains(disabled.command));

    ASSERT_EQ(s_shell->extensions(u"EnableExtension"_s, uuid).type(), QDBusMessage::ReplyMessage);
    ASSERT_TRUE(spinUntil([&] { return status().value(u"tapInstalled"_s).toBool(); }));
    hold(word, 700);
    EXPECT_TRUE(spinUntil([&] { return status().value(u"forceClicks"_s).toInt() == 4; }));
    EXPECT_TRUE(spinUntil([&] { return !panel().isEmpty(); }));

    peekwell.terminate();
    EXPECT_TRUE(peekwell.waitForFinished(5000));
    QFile shellLog(s_shell->logPath());
    ASSERT_TRUE(shellLog.open(QIODevice::ReadOnly));
    const QByteArray logged = shellLog.readAll();
    EXPECT_FALSE(logged.contains("peekwell@")) << logged.toStdString();
}

} // namespace
