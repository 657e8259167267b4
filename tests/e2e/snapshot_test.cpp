// "--snapshot" and "--lookup" without a display, run as the real program is.
#include "tests/support/processrun.h"
#include "tests/support/temphome.h"

#include <QDir>
#include <QFile>
#include <QImage>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString kPeekwell = QStringLiteral(PEEKWELL_EXECUTABLE);
const QString kScripted = QStringLiteral(PEEKWELL_SCRIPTED_EXECUTABLE);

// Runs a program without any display, in the temporary home.
ProcessResult run(const QString& program, const QStringList& arguments, const TempHome& home,
                  bool offscreen = false)
{
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM", "XDG_CONFIG_HOME",
                             "XDG_DATA_HOME", "XDG_STATE_HOME"})
        env.remove(QString::fromLatin1(name));
    if (offscreen)
        env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    env.insert(u"HOME"_s, home.path());
    return runProcess(program, arguments, env);
}

TEST(SnapshotEndToEndTest, EveryTabBecomesA940By680PngOrOverwritesOneFileAndTheReportComesLast)
{
    TempHome home;
    const QString shot = home.path() + u"/shot.png"_s;
    const ProcessResult result =
        run(kScripted, {u"--snapshot"_s, shot, u"word"_s, u"--context"_s, u"One word at a time."_s},
            home, true);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    for (const QString& id : {u"apple"_s, u"recall"_s, u"chats"_s, u"wikipedia"_s}) {
        const QImage image(home.path() + u"/shot-"_s + id + u".png"_s);
        ASSERT_FALSE(image.isNull()) << id.toStdString();
        EXPECT_EQ(image.size(), QSize(940, 680)) << id.toStdString();
    }
    EXPECT_FALSE(QFile::exists(shot));

    const QJsonObject report = logReport(home.path(), u"snapshot.json"_s);
    EXPECT_EQ(report, result.json());
    EXPECT_EQ(report.value(u"selected"_s).toString(), u"wikipedia"_s);
    EXPECT_EQ(report.value(u"context"_s).toString(), u"One word at a time."_s);
    const QJsonArray tabs = report.value(u"tabs"_s).toArray();
    ASSERT_EQ(tabs.size(), 4);
    EXPECT_EQ(tabs[1].toObject().value(u"phase"_s).toString(), u"empty"_s);
    EXPECT_TRUE(tabs[3].toObject().value(u"phase"_s).toString().startsWith(u"failed: "_s));

    // A path without ".png" is one file that each tab overwrites.
    const QString plain = home.path() + u"/plain"_s;
    ASSERT_EQ(run(kScripted, {u"--snapshot"_s, plain, u"word"_s}, home, true).exitCode, 0);
    EXPECT_EQ(QImage(plain).size(), QSize(940, 680));
    EXPECT_EQ(QDir(home.path()).entryList({u"plain*"_s}, QDir::Files), QStringList{u"plain"_s});
}

TEST(SnapshotEndToEndTest, RealProgramRendersOneImagePerTabWithoutADisplay)
{
    TempHome home;
    // The default sources, with the servers they ask pointed at a closed port on this machine:
    // nothing here may reach beyond it.
    home.write(u".config/peekwell/peekwell.conf"_s,
               "[General]\nbackend.wikipedia.url=http://127.0.0.1:9\n"
               "localModel.baseURL=http://127.0.0.1:9/v1\n");
    const QString shot = home.path() + u"/shot.png"_s;
    const ProcessResult result = run(kPeekwell, {u"--snapshot"_s, shot, u"word"_s}, home);
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject report = logReport(home.path(), u"snapshot.json"_s);
    ASSERT_TRUE(report.contains(u"tabs"_s)) << result.out.toStdString();
    const QJsonArray tabs = report.value(u"tabs"_s).toArray();
    ASSERT_EQ(tabs.size(), 4) << "Answer, Recall, Chats and Wikipedia";
    // The images' names and sizes are checked with the scripted sources above.
    EXPECT_EQ(QDir(home.path()).entryList({u"shot-*.png"_s}, QDir::Files).size(), tabs.size());
    // Without a model server the Answer tab answers from the dictionary.
    const QJsonObject answer = tabs[0].toObject();
    EXPECT_EQ(answer.value(u"phase"_s).toString(), u"done"_s);
    EXPECT_EQ(answer.value(u"items"_s)[0][1].toString(), u"noun"_s);
    EXPECT_TRUE(answer.value(u"items"_s)[0][2].toString().contains(
        u"From the WordNet dictionary. Start a local model server at http://127.0.0.1:9/v1"_s))
        << QJsonDocument(answer).toJson().toStdString();
}

TEST(SnapshotEndToEndTest, LookupWithoutADisplaySaysSoInOneLineAndFails)
{
    TempHome home;
    const ProcessResult result = run(kPeekwell, {u"--lookup"_s, u"word"_s}, home);
    EXPECT_NE(result.exitCode, 0);
    EXPECT_NE(result.exitCode, -1) << "the program crashed or hung";
    const QList<QByteArray> lines = result.err.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 1) << result.err.toStdString();
    EXPECT_TRUE(lines[0].contains("--lookup needs a display")) << lines[0].toStdString();
    EXPECT_TRUE(result.out.isEmpty());
}

} // namespace
