#include "keychain.h"
#include "keyoperation.h"
#include "memorysecretstore.h"
#include "temphome.h"

#include <QDirIterator>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

// Sets LOOKUP_KEY (or clears it with none) and the OpenAI key variable for one test.
class KeyEnvironment {
public:
    KeyEnvironment() { m_saved = {qgetenv("LOOKUP_KEY"), qgetenv("LOOKUP_OPENAI_KEY")}; }
    ~KeyEnvironment()
    {
        restore("LOOKUP_KEY", m_saved[0]);
        restore("LOOKUP_OPENAI_KEY", m_saved[1]);
    }
    static void set(const char* name, const std::optional<QByteArray>& value)
    {
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }

private:
    static void restore(const char* name, const QByteArray& value)
    {
        set(name, value.isNull() ? std::nullopt : std::optional(value));
    }
    QList<QByteArray> m_saved;
};

class KeyOperationTest : public ::testing::Test {
protected:
    KeyOperationTest()
    {
        SecretStore::setStandard(&keyring);
        KeyEnvironment::set("LOOKUP_OPENAI_KEY", std::nullopt);
    }
    ~KeyOperationTest() override { SecretStore::setStandard(nullptr); }

    // Runs the operation with LOOKUP_KEY as given; returns the report and standard error.
    std::pair<QJsonObject, QString> setKey(const QString& account, std::optional<QByteArray> key)
    {
        KeyEnvironment::set("LOOKUP_KEY", key);
        ::testing::internal::CaptureStderr();
        const QJsonObject report = KeyOperation::setKey(account);
        return {report, QString::fromStdString(::testing::internal::GetCapturedStderr())};
    }

    KeyEnvironment environment;
    MemorySecretStore keyring;
};

TEST_F(KeyOperationTest, StoresReplacesAndDeletesTheAccountsKey)
{
    const auto [stored, quiet] = setKey(QStringLiteral("openai"), "sk-one");
    EXPECT_EQ(stored, QJsonObject({{"account", "openai"}, {"stored", true}}));
    EXPECT_TRUE(quiet.isEmpty());
    EXPECT_EQ(keyring.get(QStringLiteral("openai")), QStringLiteral("sk-one"));

    setKey(QStringLiteral("openai"), "sk-two");
    EXPECT_EQ(keyring.get(QStringLiteral("openai")), QStringLiteral("sk-two"));

    const auto [deleted, alsoQuiet] = setKey(QStringLiteral("openai"), std::nullopt);
    EXPECT_EQ(deleted, QJsonObject({{"account", "openai"}, {"stored", false}}));
    EXPECT_EQ(keyring.get(QStringLiteral("openai")), std::nullopt);

    setKey(QStringLiteral("custom"), "sk-three");
    setKey(QStringLiteral("custom"), "");
    EXPECT_EQ(keyring.get(QStringLiteral("custom")), std::nullopt) << "an empty key deletes";

    // A key in the account's own variable counts as stored.
    KeyEnvironment::set("LOOKUP_OPENAI_KEY", "sk-env");
    EXPECT_EQ(setKey(QStringLiteral("openai"), std::nullopt).first.value("stored"), true);
}

TEST_F(KeyOperationTest, WithoutAKeyringNothingIsStoredAndStandardErrorSaysWhy)
{
    MemorySecretStore absent(false);
    SecretStore::setStandard(&absent);
    const auto [report, error] = setKey(QStringLiteral("anthropic"), "sk-secret");
    EXPECT_EQ(report, QJsonObject({{"account", "anthropic"}, {"stored", false}}));
    EXPECT_EQ(error.count(QLatin1Char('\n')), 1);
    EXPECT_TRUE(error.contains(QStringLiteral("no keyring is available"))) << error.toStdString();
    EXPECT_FALSE(error.contains(QStringLiteral("sk-secret")));
}

// The executable against a real Secret Service: a GNOME keyring daemon on a private session
// bus, its login keyring unlocked with a password and kept in the temporary home.
class KeyringTest : public ::testing::Test {
protected:
    struct Result {
        int exitCode = -1;
        QByteArray out;
        QByteArray err;
    };

    QProcessEnvironment environment(const std::optional<QByteArray>& key) const
    {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"LOOKUP_KEY", "LOOKUP_OPENAI_KEY", "LOOKUP_ANTHROPIC_KEY",
                                 "DBUS_SESSION_BUS_ADDRESS", "DISPLAY", "WAYLAND_DISPLAY"})
            env.remove(QString::fromLatin1(name));
        env.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime.path());
        if (key)
            env.insert(QStringLiteral("LOOKUP_KEY"), QString::fromUtf8(*key));
        return env;
    }

    static Result run(const QString& program, const QStringList& arguments,
                      const QProcessEnvironment& env)
    {
        QProcess process;
        process.setProcessEnvironment(env);
        process.start(program, arguments);
        if (!process.waitForFinished(60000)) {
            process.kill();
            process.waitForFinished();
        }
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                process.readAllStandardOutput(), process.readAllStandardError()};
    }

    // Runs `command` inside a fresh session bus with the keyring daemon up and unlocked.
    Result inKeyring(const QStringList& command, const std::optional<QByteArray>& key = {}) const
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
        return run(QStringLiteral("dbus-run-session"),
                   QStringList{QStringLiteral("--"), QStringLiteral("bash"), QStringLiteral("-c"),
                               script, QStringLiteral("keyring")} +
                       command,
                   environment(key));
    }

    Result setKey(const QString& account, const std::optional<QByteArray>& key) const
    {
        return inKeyring(
            {QStringLiteral(PEEKWELL_EXECUTABLE), QStringLiteral("--set-key"), account}, key);
    }

    // What `secret-tool` finds under the program's service for the account.
    std::optional<QByteArray> lookup(const QString& account) const
    {
        const Result found = inKeyring({QStringLiteral("secret-tool"), QStringLiteral("lookup"),
                                        QStringLiteral("service"), QStringLiteral("peekwell"),
                                        QStringLiteral("account"), account});
        EXPECT_NE(found.exitCode, 97) << "gnome-keyring-daemon could not start";
        EXPECT_NE(found.exitCode, 98) << "the keyring never appeared on the bus";
        if (found.exitCode != 0)
            return std::nullopt;
        return found.out;
    }

    static QJsonObject report(const Result& result)
    {
        return QJsonDocument::fromJson(result.out).object();
    }

    // True when no file under the home holds the text (the keyring's own files are
    // encrypted, so a key found in clear would be a leak).
    bool homeLacks(const QByteArray& text) const
    {
        QDirIterator files(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.open(QIODevice::ReadOnly) && file.readAll().contains(text)) {
                ADD_FAILURE() << "found in " << file.fileName().toStdString();
                return false;
            }
        }
        return true;
    }

    TempHome home;
    QTemporaryDir runtime;
};

TEST_F(KeyringTest, SetKeyStoresReadsBackReplacesAndDeletesInTheDesktopKeyring)
{
    const Result first = setKey(QStringLiteral("openai"), "sk-live-one");
    ASSERT_EQ(first.exitCode, 0) << first.err.toStdString();
    EXPECT_EQ(report(first), QJsonObject({{"account", "openai"}, {"stored", true}}))
        << first.out.toStdString();
    EXPECT_EQ(lookup(QStringLiteral("openai")), QByteArray("sk-live-one"));
    EXPECT_FALSE(first.out.contains("sk-live") || first.err.contains("sk-live"));

    ASSERT_EQ(setKey(QStringLiteral("anthropic"), "sk-ant-keep").exitCode, 0);
    const Result replaced = setKey(QStringLiteral("openai"), "sk-live-two");
    EXPECT_EQ(report(replaced).value("stored"), true);
    EXPECT_EQ(lookup(QStringLiteral("openai")), QByteArray("sk-live-two"));

    const Result deleted = setKey(QStringLiteral("openai"), std::nullopt);
    EXPECT_EQ(deleted.exitCode, 0);
    EXPECT_EQ(report(deleted), QJsonObject({{"account", "openai"}, {"stored", false}}));
    EXPECT_EQ(lookup(QStringLiteral("openai")), std::nullopt);
    EXPECT_EQ(lookup(QStringLiteral("anthropic")), QByteArray("sk-ant-keep"))
        << "other accounts stay";

    EXPECT_EQ(report(setKey(QStringLiteral("anthropic"), "")).value("stored"), false);
    EXPECT_EQ(lookup(QStringLiteral("anthropic")), std::nullopt);

    // The report file is there, and no key was written anywhere in clear.
    QFile file(home.path() + QStringLiteral("/.local/state/peekwell/logs/keys.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QJsonDocument::fromJson(file.readAll()).object(),
              QJsonObject({{"account", "anthropic"}, {"stored", false}}));
    EXPECT_TRUE(homeLacks("sk-live-one"));
    EXPECT_TRUE(homeLacks("sk-ant-keep"));
}

TEST_F(KeyringTest, WithoutASecretServiceSetKeyReportsNotStoredAndSaysSo)
{
    QProcessEnvironment env = environment(QByteArray("sk-nowhere"));
    const Result result = run(QStringLiteral(PEEKWELL_EXECUTABLE),
                              {QStringLiteral("--set-key"), QStringLiteral("openai")}, env);
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(report(result), QJsonObject({{"account", "openai"}, {"stored", false}}));
    const QList<QByteArray> lines = result.err.trimmed().split('\n');
    EXPECT_EQ(lines.size(), 1) << result.err.toStdString();
    EXPECT_TRUE(result.err.contains("no keyring is available")) << result.err.toStdString();
    EXPECT_FALSE(result.err.contains("sk-nowhere") || result.out.contains("sk-nowhere"));
}

TEST_F(KeyringTest, AKeyringThatCannotStoreTheKeyIsReportedOnStandardError)
{
    // The bus starts the keyring daemon on demand, but no login keyring exists and no one can
    // answer its password prompt.
    const Result result = run(QStringLiteral("dbus-run-session"),
                              {QStringLiteral("--"), QStringLiteral(PEEKWELL_EXECUTABLE),
                               QStringLiteral("--set-key"), QStringLiteral("openai")},
                              environment(QByteArray("sk-refused")));
    EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(report(result), QJsonObject({{"account", "openai"}, {"stored", false}}));
    EXPECT_TRUE(
        result.err.contains("peekwell: the keyring did not store the key (is it locked?)\n"))
        << result.err.toStdString();
    EXPECT_FALSE(result.err.contains("no keyring is available"));
    EXPECT_FALSE(result.err.contains("sk-refused") || result.out.contains("sk-refused"));
}

} // namespace
