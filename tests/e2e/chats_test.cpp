#include "preferences.h"
#include "processrun.h"
#include "temphome.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QThread>
#include <gtest/gtest.h>
#include <random>
#include <signal.h>
#include <sqlite3.h>
#include <string>
#include <sys/wait.h>

namespace {

QProcessEnvironment environmentFor(const QString& home, const QString& dataHome = {})
{
    QProcessEnvironment env;
    env.insert(QStringLiteral("HOME"), home);
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    if (!dataHome.isEmpty())
        env.insert(QStringLiteral("XDG_DATA_HOME"), dataHome);
    return env;
}

QJsonObject json(const QByteArray& text)
{
    return QJsonDocument::fromJson(text).object();
}

// Writes transcripts of all four agents with a mixed vocabulary, deterministically.
class Corpus {
public:
    explicit Corpus(const QString& home, unsigned seed = 1) : m_home(home), m_random(seed) {}

    std::string words(int count)
    {
        static const char* vocabulary[] = {
            "index",  "render",  "parser", "widget",  "thread", "socket",  "cache",    "token",
            "commit", "rebase",  "lambda", "pointer", "buffer", "schema",  "panel",    "quartz",
            "zebra",  "ocelot",  "ferric", "lattice", "the",    "a",       "of",       "to",
            "fix",    "failing", "tests",  "because", "config", "src/app", "main.cpp", "TODO"};
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += vocabulary[m_random() % std::size(vocabulary)];
            text += ' ';
        }
        return text;
    }

    std::string stamp()
    {
        m_seconds += 1 + static_cast<int>(m_random() % 50);
        const QDateTime time = QDateTime::fromSecsSinceEpoch(1767225600 + m_seconds, Qt::UTC);
        return time.toString(Qt::ISODateWithMs).toStdString();
    }

    std::string claudeLine(const std::string& role, const std::string& session)
    {
        std::string content =
            R"("content":[{"type":"text","text":")" + words(8 + m_random() % 40) + "\"}]";
        if (role == "user" && m_random() % 3 == 0) // a tool result: bulk that is not text
            content = R"("content":[{"type":"tool_result","content":")" +
                      std::string(2000 + m_random() % 20000, 'x') + "\"}]";
        return R"({"type":")" + role + R"(","sessionId":")" + session +
               R"(","cwd":"/work/project","timestamp":")" + stamp() + R"(","message":{"role":")" +
               role + "\"," + content + "}}\n";
    }

    // A new Claude Code transcript of about `lines` lines, opened by a user message.
    QString addClaude(int lines)
    {
        const std::string session = "sess-" + std::to_string(m_next++);
        std::string text = R"({"type":"user","sessionId":")" + session + R"(","timestamp":")" +
                           stamp() + R"(","message":{"role":"user","content":"first )" + words(6) +
                           "\"}}\n";
        for (int i = 0; i < lines; ++i)
            text += claudeLine(i % 2 ? "user" : "assistant", session);
        const QString path = QStringLiteral("%1/.claude/projects/-work-project/%2.jsonl")
                                 .arg(m_home, QString::fromStdString(session));
        QDir().mkpath(QFileInfo(path).path());
        write(path, text, QIODevice::WriteOnly);
        m_files.append(path);
        return path;
    }

    void addCodex(int lines)
    {
        const std::string id = "cx-" + std::to_string(m_next++);
        std::string text = R"({"type":"session_meta","payload":{"id":")" + id +
                           R"(","cwd":"/srv/tool"},"timestamp":")" + stamp() + "\"}\n";
        for (int i = 0; i < lines; ++i)
            text += R"({"type":"response_item","timestamp":")" + stamp() +
                    R"(","payload":{"type":"message","role":")" + (i % 2 ? "assistant" : "user") +
                    R"(","content":[{"type":"input_text","text":")" + words(20) + "\"}]}}\n";
        const QString path = QStringLiteral("%1/.codex/sessions/2026/01/0%2/rollout-%3.jsonl")
                                 .arg(m_home)
                                 .arg(1 + m_next % 9)
                                 .arg(QString::fromStdString(id));
        QDir().mkpath(QFileInfo(path).path());
        write(path, text, QIODevice::WriteOnly);
    }

    // Appends lines to a share of the Claude Code transcripts.
    void grow(double share)
    {
        for (const QString& path : m_files) {
            if (m_random() % 1000 < share * 1000) {
                std::string text;
                for (int i = 0; i < 4; ++i)
                    text += claudeLine(i % 2 ? "user" : "assistant",
                                       QFileInfo(path).completeBaseName().toStdString());
                write(path, text, QIODevice::Append);
            }
        }
    }

private:
    static void write(const QString& path, const std::string& text, QIODevice::OpenMode mode)
    {
        QFile file(path);
        if (file.open(mode))
            file.write(text.data(), static_cast<qint64>(text.size()));
    }

    QString m_home;
    std::mt19937 m_random;
    int m_next = 0;
    qint64 m_seconds = 0;
    QStringList m_files;
};

// Every row of both tables, in a fixed order, as text.
QStringList rows(const QString& db)
{
    QStringList result;
    sqlite3* handle = nullptr;
    if (sqlite3_open_v2(QFile::encodeName(db).constData(), &handle, SQLITE_OPEN_READWRITE,
                        nullptr) != SQLITE_OK) {
        sqlite3_close(handle);
        return {QStringLiteral("cannot open")};
    }
    for (const char* sql :
         {"SELECT path, harness, offset, session, cwd, title, started, updated FROM files "
          "ORDER BY path",
          "SELECT path, ts, role, text FROM msgs ORDER BY path, ts, role, text"}) {
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(handle, sql, -1, &statement, nullptr);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            QStringList columns;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const auto* text = sqlite3_column_text(statement, i);
                columns.append(text ? QString::fromUtf8(reinterpret_cast<const char*>(text))
                                    : QStringLiteral("<null>"));
            }
            result.append(columns.join(QChar(0x1F)));
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(handle);
    return result;
}

// "ok" when both SQLite's and FTS5's own checks pass.
QString integrity(const QString& db)
{
    sqlite3* handle = nullptr;
    sqlite3_open_v2(QFile::encodeName(db).constData(), &handle, SQLITE_OPEN_READWRITE, nullptr);
    QString verdict;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(handle, "PRAGMA integrity_check", -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW)
        verdict +=
            QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)));
    sqlite3_finalize(statement);
    // A process killed before its schema script ran leaves a database without the table;
    // the next run makes it.
    sqlite3_prepare_v2(handle, "SELECT count(*) FROM sqlite_master WHERE name = 'msgs'", -1,
                       &statement, nullptr);
    const bool hasMessages =
        sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_int(statement, 0) == 1;
    sqlite3_finalize(statement);
    if (hasMessages && sqlite3_exec(handle, "INSERT INTO msgs(msgs) VALUES('integrity-check')",
                                    nullptr, nullptr, nullptr) != SQLITE_OK)
        verdict += QStringLiteral(" fts5: ") + QString::fromUtf8(sqlite3_errmsg(handle));
    sqlite3_close(handle);
    return verdict;
}

TEST(ChatsEndToEndTest, IndexThenSearchWithReports)
{
    TempHome home;
    Corpus corpus(home.path());
    for (int i = 0; i < 25; ++i)
        corpus.addClaude(10);
    corpus.addCodex(10);
    // A transcript whose session id would run a command if it were pasted unquoted.
    home.write(
        QStringLiteral(".claude/projects/-evil/x.jsonl"),
        R"({"type":"user","sessionId":"x; touch pwned","message":{"role":"user","content":"ocelot attack"}})"
        "\n");

    ProcessResult run = runPeekwell({QStringLiteral("--index")}, environmentFor(home.path()));
    ASSERT_FALSE(run.crashed);
    EXPECT_EQ(run.exitCode, 0);
    QJsonObject report = json(run.out);
    EXPECT_EQ(report.value(QStringLiteral("files")).toInt(), 27);
    EXPECT_EQ(report.value(QStringLiteral("changedFiles")).toInt(), 27);
    EXPECT_GT(report.value(QStringLiteral("messages")).toInt(), 27 * 5);
    EXPECT_EQ(report.value(QStringLiteral("db")).toString(),
              home.path() + QStringLiteral("/.local/share/peekwell/chats.sqlite"));
    EXPECT_TRUE(report.value(QStringLiteral("seconds")).isDouble());
    EXPECT_TRUE(report.contains(QStringLiteral("mbRead")));
    // Progress after 20 changed files and at the end.
    const QList<QByteArray> progress = run.err.trimmed().split('\n');
    ASSERT_GE(progress.size(), 2) << run.err.constData();
    EXPECT_TRUE(progress[progress.size() - 2].startsWith("20 files, "));
    EXPECT_TRUE(progress.last().startsWith("27 files, ")) << progress.last().constData();
    EXPECT_TRUE(progress.last().endsWith(" MB"));
    QFile file(home.path() + QStringLiteral("/.local/state/peekwell/logs/index.json"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll() + '\n', run.out);

    run = runPeekwell({QStringLiteral("--search"), QStringLiteral("widget")},
                      environmentFor(home.path()));
    EXPECT_EQ(run.exitCode, 0);
    report = json(run.out);
    EXPECT_TRUE(report.value(QStringLiteral("ms")).isDouble());
    const QJsonArray hits = report.value(QStringLiteral("hits")).toArray();
    EXPECT_EQ(hits.size(), 8);
    for (const QJsonValue& hit : hits) {
        ASSERT_EQ(hit.toArray().size(), 4);
        for (const QJsonValue& part : hit.toArray())
            EXPECT_TRUE(part.isString());
        const QString harness = hit.toArray()[0].toString();
        const QString command = hit.toArray()[3].toString();
        if (harness == QLatin1String("Codex"))
            EXPECT_TRUE(command.startsWith(QStringLiteral("cd '/srv/tool' && codex resume cx-")));
        else
            EXPECT_TRUE(
                command.startsWith(QStringLiteral("cd '/work/project' && claude --resume sess-")))
                << command.toStdString();
    }

    run = runPeekwell({QStringLiteral("--search"), QStringLiteral("ocelot attack")},
                      environmentFor(home.path()));
    const QJsonArray evil = json(run.out).value(QStringLiteral("hits")).toArray();
    ASSERT_EQ(evil.size(), 1);
    EXPECT_EQ(evil[0].toArray()[3].toString(), QStringLiteral("claude --resume 'x; touch pwned'"));

    // Operators and punctuation are words, never errors.
    for (const char* text : {"NEAR(", "\"", "*", "widget OR", "a:b ^c"}) {
        run = runPeekwell({QStringLiteral("--search"), QString::fromLatin1(text)},
                          environmentFor(home.path()));
        EXPECT_EQ(run.exitCode, 0) << text;
        EXPECT_TRUE(json(run.out).value(QStringLiteral("hits")).isArray()) << text;
    }
}

TEST(ChatsEndToEndTest, SettingsCombineWithTheOperationAndPersist)
{
    TempHome home;
    const ProcessResult run = runPeekwell(
        {QStringLiteral("--recall-model"), QStringLiteral("openAI"), QStringLiteral("--model-name"),
         QStringLiteral("gpt-test"), QStringLiteral("--sw-url"), QStringLiteral("http://nas:3010"),
         QStringLiteral("--custom-base-url"), QStringLiteral("http://127.0.0.1:8080/v1"),
         QStringLiteral("--search"), QStringLiteral("anything")},
        environmentFor(home.path()));
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(json(run.out).value(QStringLiteral("hits")).toArray().size(), 0);
    const Preferences stored(home.path() + QStringLiteral("/.config/peekwell/peekwell.conf"));
    EXPECT_EQ(stored.stringValue(QStringLiteral("recall.model")), QStringLiteral("openAI"));
    EXPECT_EQ(stored.stringValue(QStringLiteral("recall.openAI.modelName")),
              QStringLiteral("gpt-test"));
    EXPECT_EQ(stored.stringValue(QStringLiteral("backend.shelfwise.url")),
              QStringLiteral("http://nas:3010"));
    EXPECT_EQ(stored.stringValue(QStringLiteral("recall.custom.baseURL")),
              QStringLiteral("http://127.0.0.1:8080/v1"));
}

TEST(ChatsEndToEndTest, KilledPassesNeverCorruptTheIndex)
{
    TempHome home;
    Corpus corpus(home.path(), 42);
    for (int i = 0; i < 120; ++i)
        corpus.addClaude(40);
    for (int i = 0; i < 20; ++i)
        corpus.addCodex(40);
    const QString crashData = home.path() + QStringLiteral("/crash-data");
    const QString crashDb = crashData + QStringLiteral("/peekwell/chats.sqlite");

    // How long a whole first pass takes here, to spread the kills over it.
    const QString probeData = home.path() + QStringLiteral("/probe-data");
    QElapsedTimer clock;
    clock.start();
    ASSERT_EQ(
        runPeekwell({QStringLiteral("--index")}, environmentFor(home.path(), probeData)).exitCode,
        0);
    const qint64 fullPassMs = std::max<qint64>(clock.elapsed(), 50);

    std::mt19937 random(std::random_device{}());
    int kills = 0;
    for (int round = 0; round < 80 && kills < 20; ++round) {
        if (round > 0) { // fresh work for every pass after the first
            corpus.grow(0.2);
            for (int i = 0; i < 6; ++i)
                corpus.addClaude(40);
        }
        QProcess process;
        process.setProcessEnvironment([&] {
            QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
            const QProcessEnvironment extra = environmentFor(home.path(), crashData);
            for (const QString& key : extra.keys())
                env.insert(key, extra.value(key));
            return env;
        }());
        process.start(QStringLiteral(PEEKWELL_EXECUTABLE), {QStringLiteral("--index")});
        ASSERT_TRUE(process.waitForStarted());
        const auto delay = static_cast<unsigned long>(random() % (fullPassMs / 2 + 1));
        QThread::msleep(delay);
        if (process.state() == QProcess::Running) {
            ::kill(static_cast<pid_t>(process.processId()), SIGKILL);
            process.waitForFinished();
            if (process.exitStatus() == QProcess::CrashExit)
                ++kills;
        } else {
            process.waitForFinished();
        }
        if (QFile::exists(crashDb)) {
            EXPECT_EQ(integrity(crashDb), QStringLiteral("ok")) << "after round " << round;
        }
    }
    EXPECT_GE(kills, 20);
    std::printf("%d kills, a full pass takes %lld ms\n", kills, static_cast<long long>(fullPassMs));

    // One more pass, then the same rows as a fresh index of the same files.
    ASSERT_EQ(
        runPeekwell({QStringLiteral("--index")}, environmentFor(home.path(), crashData)).exitCode,
        0);
    const QString freshData = home.path() + QStringLiteral("/fresh-data");
    ASSERT_EQ(
        runPeekwell({QStringLiteral("--index")}, environmentFor(home.path(), freshData)).exitCode,
        0);
    const QStringList fresh = rows(freshData + QStringLiteral("/peekwell/chats.sqlite"));
    const QStringList recovered = rows(crashDb);
    EXPECT_GT(fresh.size(), 1000);
    EXPECT_EQ(recovered.size(), fresh.size());
    EXPECT_TRUE(recovered == fresh) << "rows differ after the kills";
}

} // namespace
