// "--snapshot" and "--lookup" without a display, run as the real program is.
#include "temphome.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <gtest/gtest.h>

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kScripted = QStringLiteral(PEEKWELL_SCRIPTED_EXECUTABLE);

struct Outcome {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs a program without any display, in the temporary home.
Outcome run(const QString& program, const QStringList& arguments, const TempHome& home,
            bool offscreen = false)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("DISPLAY"));
    env.remove(QStringLiteral("WAYLAND_DISPLAY"));
    env.remove(QStringLiteral("QT_QPA_PLATFORM"));
    if (offscreen)
        env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    env.insert(QStringLiteral("HOME"), home.path());
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"})
        env.remove(QString::fromLatin1(name));
    QProcess process;
    process.setProcessEnvironment(env);
    process.start(program, arguments);
    Outcome result;
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return result;
    }
    result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

QJsonObject logReport(const TempHome& home, const QString& name)
{
    QFile file(home.path() + QStringLiteral("/.local/state/peekwell/logs/") + name);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}

TEST(SnapshotEndToEndTest, EveryTabBecomesA940By680PngAndTheReportComesLast)
{
    TempHome home;
    const QString shot = home.path() + QStringLiteral("/shot.png");
    const Outcome result = run(kScripted,
                               {QStringLiteral("--snapshot"), shot, QStringLiteral("word"),
                                QStringLiteral("--context"), QStringLiteral("One word at a time.")},
                               home, true);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    for (const QString& id : {QStringLiteral("apple"), QStringLiteral("recall"),
                              QStringLiteral("chats"), QStringLiteral("wikipedia")}) {
        const QImage image(home.path() + QStringLiteral("/shot-") + id + QStringLiteral(".png"));
        ASSERT_FALSE(image.isNull()) << id.toStdString();
        EXPECT_EQ(image.size(), QSize(940, 680)) << id.toStdString();
    }
    EXPECT_FALSE(QFile::exists(shot));

    const QJsonObject report = logReport(home, QStringLiteral("snapshot.json"));
    EXPECT_EQ(report, QJsonDocument::fromJson(result.out).object());
    EXPECT_EQ(report.value(QStringLiteral("selected")).toString(), QStringLiteral("wikipedia"));
    EXPECT_EQ(report.value(QStringLiteral("context")).toString(),
              QStringLiteral("One word at a time."));
    const QJsonArray tabs = report.value(QStringLiteral("tabs")).toArray();
    ASSERT_EQ(tabs.size(), 4);
    EXPECT_EQ(tabs[1].toObject().value(QStringLiteral("phase")).toString(),
              QStringLiteral("empty"));
    EXPECT_TRUE(tabs[3]
                    .toObject()
                    .value(QStringLiteral("phase"))
                    .toString()
                    .startsWith(QStringLiteral("failed: ")));
}

TEST(SnapshotEndToEndTest, PathWithoutPngIsOneFileThatEachTabOverwrites)
{
    TempHome home;
    const QString shot = home.path() + QStringLiteral("/shot");
    const Outcome result =
        run(kScripted, {QStringLiteral("--snapshot"), shot, QStringLiteral("word")}, home, true);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_EQ(QImage(shot).size(), QSize(940, 680));
    EXPECT_EQ(QDir(home.path()).entryList({QStringLiteral("shot*")}, QDir::Files),
              QStringList{QStringLiteral("shot")});
}

TEST(SnapshotEndToEndTest, RealProgramRendersOneImagePerTabWithoutADisplay)
{
    TempHome home;
    // The default sources, with the servers they ask pointed at a closed port on this machine:
    // nothing here may reach beyond it.
    home.write(QStringLiteral(".config/peekwell/peekwell.conf"),
               "[General]\nbackend.wikipedia.url=http://127.0.0.1:9\n"
               "localModel.baseURL=http://127.0.0.1:9/v1\n");
    const QString shot = home.path() + QStringLiteral("/shot.png");
    const Outcome result =
        run(kPeekwell, {QStringLiteral("--snapshot"), shot, QStringLiteral("word")}, home);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject report = logReport(home, QStringLiteral("snapshot.json"));
    ASSERT_TRUE(report.contains(QStringLiteral("tabs"))) << result.out.toStdString();
    const QJsonArray tabs = report.value(QStringLiteral("tabs")).toArray();
    ASSERT_EQ(tabs.size(), 4) << "Answer, Recall, Chats and Wikipedia";
    for (const QJsonValue& tab : tabs) {
        const QString id = tab.toObject().value(QStringLiteral("id")).toString();
        EXPECT_EQ(
            QImage(home.path() + QStringLiteral("/shot-") + id + QStringLiteral(".png")).size(),
            QSize(940, 680))
            << id.toStdString();
    }
    EXPECT_EQ(QDir(home.path()).entryList({QStringLiteral("shot-*.png")}, QDir::Files).size(),
              tabs.size());
}

TEST(SnapshotEndToEndTest, LookupWithoutADisplaySaysSoInOneLineAndFails)
{
    TempHome home;
    const Outcome result =
        run(kPeekwell, {QStringLiteral("--lookup"), QStringLiteral("word")}, home);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.exitCode, -1) << "the program crashed or hung";
    const QList<QByteArray> lines = result.err.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 1) << result.err.toStdString();
    EXPECT_TRUE(lines[0].contains("--lookup needs a display")) << lines[0].toStdString();
    EXPECT_TRUE(result.out.isEmpty());
}

} // namespace
