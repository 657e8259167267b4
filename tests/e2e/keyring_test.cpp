#include "tests/support/processrun.h"
#include "tests/support/temphome.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

// The executable against a real Secret Service: a GNOME keyring daemon on a private session
// bus, its login keyring unlocked with a password and kept in the temporary home.
class KeyringTest : public ::testing::Test {
protected:
    QProcessEnvironment environment(const std::optional<QByteArray>& key) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"LOOKUP_KEY", "LOOKUP_OPENAI_KEY", "LOOKUP_ANTHROPIC_KEY",
                                 "DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
            env.remove(QString::fromLatin1(name));
        env.insert(u"XDG_RUNTIME_DIR"_s, runtime.path());
        if (key)
            env.insert(u"LOOKUP_KEY"_s, QString::fromUtf8(*key));
        return env;
    }

    // Runs `command` inside a fresh session bus with the keyring daemon up and unlocked.
    ProcessResult inKeyring(const QStringList& command,
                            const std::optional<QByteArray>& key = {}) const
    {
        static const QString script = QStringLiteral(
            "printf peekwell-test | gnome-keyring-daemon --unlock --components=secrets >/dev/null "
            "|| exit 97\n"
            "for i in $(seq 100); do\n"
            "  dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus "
            "org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets | grep -q 'boolean "
            "true' && exec \"$@\"\n"
            "  sleep 0.05\n"
            "done\n"
            "exit 98\n");
        return runProcess(u"dbus-run-session"_s,
                          QStringList{u"--"_s, u"bash"_s, u"-c"_s, script, u"keyring"_s} + command,
                          environment(key));
    }

    ProcessResult setKey(const QString& account, const std::optional<QByteArray>& key) const
    {
        return inKeyring({QStringLiteral(PEEKWELL_EXECUTABLE), u"--set-key"_s, account}, key);
    }

    // What `secret-tool` finds under the program's service for the account.
    std::optional<QByteArray> lookup(const QString& account) const
    {
        const ProcessResult found = inKeyring(
            {u"secret-tool"_s, u"lookup"_s, u"service"_s, u"peekwell"_s, u"account"_s, account});
        EXPECT_NE(found.exitCode, 97) << "gnome-keyring-daemon could not start";
        EXPECT_NE(found.exitCode, 98) << "the keyring never appeared on the bus";
        if (found.exitCode != 0)
            return std::nullopt;
        return found.out;
    }

    TempHome home;
    QTemporaryDir runtime;
};

TEST_F(KeyringTest, SetKeyStoresReadsBackReplacesAndDeletesInTheDesktopKeyring)
{
    const ProcessResult first = setKey(u"openai"_s, "sk-live-one");
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(first.json(), QJsonObject({{"account", "openai"}, {"stored", true}}))
        << first.out.toStdString();
    EXPECT_EQ(lookup(u"openai"_s), QByteArray("sk-live-one"));
    EXPECT_FALSE(first.out.contains("sk-live") || first.err.contains("sk-live"));
    EXPECT_FALSE(first.err.contains("peekwell:")) << "stored, yet it complained";

    ASSERT_EQ(setKey(u"anthropic"_s, "sk-ant-keep").exitCode, 0);
    const ProcessResult replaced = setKey(u"openai"_s, "sk-live-two");
    EXPECT_EQ(replaced.json().value("stored"), true);
    EXPECT_EQ(lookup(u"openai"_s), QByteArray("sk-live-two"));

    const ProcessResult deleted = setKey(u"openai"_s, std::nullopt);
    EXPECT_EQ(deleted.exitCode, 0);
    EXPECT_EQ(deleted.json(), QJsonObject({{"account", "openai"}, {"stored", false}}));
    EXPECT_EQ(lookup(u"openai"_s), std::nullopt);
    EXPECT_EQ(lookup(u"anthropic"_s), QByteArray("sk-ant-keep")) << "other accounts stay";

    EXPECT_EQ(setKey(u"anthropic"_s, "").json().value("stored"), false);
    EXPECT_EQ(lookup(u"anthropic"_s), std::nullopt);

    // The report file is there, and no key was written anywhere in clear (grep finds none:
    // the keyring's own files are encrypted).
    EXPECT_EQ(logReport(home.path(), u"keys.json"_s),
              QJsonObject({{"account", "anthropic"}, {"stored", false}}));
    const ProcessResult leaks = runProcess(
        u"grep"_s, {u"-rlF"_s, u"-e"_s, u"sk-live-one"_s, u"-e"_s, u"sk-ant-keep"_s, home.path()},
        QProcessEnvironment::systemEnvironment());
    EXPECT_EQ(leaks.exitCode, 1) << "found in " << leaks.out.toStdString();
}

TEST_F(KeyringTest, WithoutAUsableKeyringSetKeyReportsNotStoredAndSaysWhyInOneLine)
{
    const QString peekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
    const struct {
        QString program;
        QStringList arguments;
        const char* says;
    } cases[] = {
        {peekwell, {"--set-key", "openai"}, "no keyring is available"},
        // The bus starts the keyring daemon on demand, but no login keyring exists and no one
        // can answer its password prompt.
        {"dbus-run-session",
         {"--", peekwell, "--set-key", "openai"},
         "peekwell: the keyring did not store the key (is it locked?)\n"},
    };
    for (const auto& c : cases) {
        const ProcessResult result =
            runProcess(c.program, c.arguments, environment(QByteArray("sk-nowhere")));
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        EXPECT_EQ(result.json(), QJsonObject({{"account", "openai"}, {"stored", false}}));
        if (c.program == peekwell) { // the bus daemon adds its own lines in the other case
            EXPECT_EQ(result.err.trimmed().count('\n'), 0) << result.err.toStdString();
        }
        EXPECT_TRUE(result.err.contains(c.says)) << result.err.toStdString();
        EXPECT_FALSE(result.err.contains("sk-nowhere") || result.out.contains("sk-nowhere"));
    }
}

} // namespace
