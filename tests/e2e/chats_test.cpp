#include "platform/preferences.h"
#include "tests/support/processrun.h"
#include "tests/support/temphome.h"

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

using namespace Qt::Literals::StringLiterals;

namespace {

QProcessEnvironment environmentFor(const QString& home, const QString& dataHome = {})
{
    QProcessEnvironment env;
    env.insert(u"HOME"_s, home);
    env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    if (!dataHome.isEmpty())
        env.insert(u"XDG_DATA_HOME"_s, dataHome);
    return env;
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

    // A new Claude Code transcript of `lines` lines, opened by the user.
    void addClaude(int lines)
    {
        const std::string session = "sess-" + std::to_string(m_next++);
        std::string text;
        for (int i = 0; i < lines; ++i)
            text += claudeLine(i % 2 ? "assistant" : "user", session);
        const QString path = u"%1/.claude/projects/-work-project/%2.jsonl"_s.arg(
            m_home, QString::fromStdString(session));
        QDir().mkpath(QFileInfo(path).path());
        write(path, text, QIODevice::WriteOnly);
        m_files.append(path);
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
        const QString path = u"%1/.codex/sessions/2026/01/0%2/rollout-%3.jsonl"_s.arg(m_home)
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

// A database opened for reading and writing, for the checks below.
class Database {
public:
    explicit Database(const QString& path)
    {
        sqlite3_open_v2(QFile::encodeName(path).constData(), &m_handle, SQLITE_OPEN_READWRITE,
                        nullptr);
    }
    ~Database() { sqlite3_close(m_handle); }

    // The rows the statement gives, each as its columns joined by U+001F.
    QStringList select(const char* sql) const
    {
        QStringList rows;
        sqlite3_stmt* statement = nullptr;
        sqlite3_prepare_v2(m_handle, sql, -1, &statement, nullptr);
        while (sqlite3_step(statement) == SQLITE_ROW) {
            QStringList columns;
            for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                const auto* text = sqlite3_column_text(statement, i);
                columns.append(text ? QString::fromUtf8(reinterpret_cast<const char*>(text))
                                    : u"<null>"_s);
            }
            rows.append(columns.join(QChar(0x1F)));
        }
        sqlite3_finalize(statement);
        return rows;
    }

    // Every row of both tables, in a fixed order.
    QStringList rows() const
    {
        return select("SELECT path, harness, offset, session, cwd, title, started, updated "
                      "FROM files ORDER BY path") +
               select("SELECT path, ts, role, text FROM msgs ORDER BY path, ts, role, text");
    }

    // "ok" when both SQLite's and FTS5's own checks pass.
    QString integrity() const
    {
        QString verdict = select("PRAGMA integrity_check").join(u' ');
        // A process killed before its schema script ran leaves a database without the table;
        // the next run makes it.
        if (!select("SELECT 1 FROM sqlite_master WHERE name = 'msgs'").isEmpty() &&
            sqlite3_exec(m_handle, "INSERT INTO msgs(msgs) VALUES('integrity-check')", nullptr,
                         nullptr, nullptr) != SQLITE_OK)
            verdict += u" fts5: "_s + QString::fromUtf8(sqlite3_errmsg(m_handle));
        return verdict;
    }

private:
    sqlite3* m_handle = nullptr;
};

TEST(ChatsEndToEndTest, IndexThenSearchWithReportsAndSettingsAlongside)
{
    TempHome home;
    Corpus corpus(home.path());
    for (int i = 0; i < 43; ++i)
        corpus.addClaude(10);
    corpus.addCodex(10);
    // A transcript whose session id would run a command if it were pasted unquoted.
    home.write(
        u".claude/projects/-evil/x.jsonl"_s,
        R"({"type":"user","sessionId":"x; touch pwned","message":{"role":"user","content":"ocelot attack"}})"
        "\n");

    ProcessResult run = runPeekwell({u"--index"_s}, environmentFor(home.path()));
    ASSERT_FALSE(run.crashed);
    EXPECT_EQ(run.exitCode, 0);
    QJsonObject report = run.json();
    EXPECT_EQ(report.value(u"files"_s).toInt(), 45);
    EXPECT_EQ(report.value(u"changedFiles"_s).toInt(), 45);
    EXPECT_GT(report.value(u"messages"_s).toInt(), 45 * 5);
    EXPECT_EQ(report.value(u"db"_s).toString(),
              home.path() + u"/.local/share/peekwell/chats.sqlite"_s);
    EXPECT_TRUE(report.value(u"seconds"_s).isDouble());
    EXPECT_TRUE(report.contains(u"mbRead"_s));
    // Progress after every twentieth changed file and at the end.
    QList<QByteArray> progress = run.err.trimmed().split('\n');
    progress.removeIf([](const QByteArray& line) { return !line.contains(" files, "); });
    ASSERT_EQ(progress.size(), 3) << run.err.constData();
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(
            progress[i].startsWith(QByteArray::number(i < 2 ? 20 * (i + 1) : 45) + " files, ") &&
            progress[i].endsWith(" MB"))
            << progress[i].constData();
    EXPECT_EQ(logReport(home.path(), u"index.json"_s), report);

    // Settings given with the search are stored, and the search runs all the same.
    run = runPeekwell({u"--recall-model"_s, u"openAI"_s, u"--model-name"_s, u"gpt-test"_s,
                       u"--sw-url"_s, u"http://nas:3010"_s, u"--custom-base-url"_s,
                       u"http://127.0.0.1:8080/v1"_s, u"--search"_s, u"widget"_s},
                      environmentFor(home.path()));
    EXPECT_EQ(run.exitCode, 0);
    const Preferences stored(home.path() + u"/.config/peekwell/peekwell.conf"_s);
    EXPECT_EQ(stored.stringValue(u"recall.model"_s), u"openAI"_s);
    EXPECT_EQ(stored.stringValue(u"recall.openAI.modelName"_s), u"gpt-test"_s);
    EXPECT_EQ(stored.stringValue(u"backend.shelfwise.url"_s), u"http://nas:3010"_s);
    EXPECT_EQ(stored.stringValue(u"recall.custom.baseURL"_s), u"http://127.0.0.1:8080/v1"_s);
    report = run.json();
    EXPECT_TRUE(report.value(u"ms"_s).isDouble());
    const QJsonArray hits = report.value(u"hits"_s).toArray();
    EXPECT_EQ(hits.size(), 8);
    for (const QJsonValue& hit : hits) {
        ASSERT_EQ(hit.toArray().size(), 4);
        for (const QJsonValue& part : hit.toArray())
            EXPECT_TRUE(part.isString());
        const QString harness = hit.toArray()[0].toString();
        const QString command = hit.toArray()[3].toString();
        if (harness == QLatin1String("Codex"))
            EXPECT_TRUE(command.startsWith(u"cd '/srv/tool' && codex resume cx-"_s));
        else
            EXPECT_TRUE(command.startsWith(u"cd '/work/project' && claude --resume sess-"_s))
                << command.toStdString();
    }

    run = runPeekwell({u"--search"_s, u"ocelot attack"_s}, environmentFor(home.path()));
    const QJsonArray evil = run.json().value(u"hits"_s).toArray();
    ASSERT_EQ(evil.size(), 1);
    EXPECT_EQ(evil[0].toArray()[3].toString(), u"claude --resume 'x; touch pwned'"_s);
}

TEST(ChatsEndToEndTest, KilledPassesNeverCorruptTheIndex)
{
    TempHome home;
    Corpus corpus(home.path(), 42);
    for (int i = 0; i < 120; ++i)
        corpus.addClaude(40);
    for (int i = 0; i < 20; ++i)
        corpus.addCodex(40);
    const QString crashData = home.path() + u"/crash-data"_s;
    const QString crashDb = crashData + u"/peekwell/chats.sqlite"_s;

    // How long a whole first pass takes here, to spread the kills over it.
    const QString probeData = home.path() + u"/probe-data"_s;
    QElapsedTimer clock;
    clock.start();
    ASSERT_EQ(runPeekwell({u"--index"_s}, environmentFor(home.path(), probeData)).exitCode, 0);
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
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(environmentFor(home.path(), crashData));
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(PEEKWELL_EXECUTABLE), {u"--index"_s});
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
            EXPECT_EQ(Database(crashDb).integrity(), u"ok"_s) << "after round " << round;
        }
    }
    EXPECT_GE(kills, 20);
    std::printf("%d kills, a full pass takes %lld ms\n", kills, static_cast<long long>(fullPassMs));

    // One more pass, then the same rows as a fresh index of the same files.
    ASSERT_EQ(runPeekwell({u"--index"_s}, environmentFor(home.path(), crashData)).exitCode, 0);
    const QString freshData = home.path() + u"/fresh-data"_s;
    ASSERT_EQ(runPeekwell({u"--index"_s}, environmentFor(home.path(), freshData)).exitCode, 0);
    const QStringList fresh = Database(freshData + u"/peekwell/chats.sqlite"_s).rows();
    const QStringList recovered = Database(crashDb).rows();
    EXPECT_GT(fresh.size(), 1000);
    EXPECT_EQ(recovered.size(), fresh.size());
    EXPECT_TRUE(recovered == fresh) << "rows differ after the kills";
}

} // namespace
