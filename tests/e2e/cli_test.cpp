#include "tests/support/processrun.h"
#include "tests/support/temphome.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QProcessEnvironment homeAt(const TempHome& home)
{
    QProcessEnvironment env;
    env.insert(u"HOME"_s, home.path());
    env.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    return env;
}

TEST(CommandLineTest, HelpListsTheOptionsAndTheFilesAndVersionOneLineBothExitingZero)
{
    TempHome home;
    const ProcessResult run = runPeekwell({u"--help"_s}, homeAt(home));
    ASSERT_FALSE(run.crashed);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith("Usage: peekwell")) << run.out.constData();
    EXPECT_TRUE(run.out.contains("--version"));
    EXPECT_TRUE(
        run.out.contains(QDir(home.path()).filePath(u".config/peekwell/peekwell.conf"_s).toUtf8()))
        << "the help names the settings file of this home";

    const ProcessResult version = runPeekwell({u"--version"_s});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_TRUE(version.out.startsWith("peekwell ")) << version.out.constData();
    EXPECT_EQ(version.out.count('\n'), 1);

    // After an option that takes a value, "--help" is that value: the text to search.
    const ProcessResult search = runPeekwell({u"--search"_s, u"--help"_s}, homeAt(home));
    EXPECT_EQ(search.exitCode, 0);
    EXPECT_TRUE(search.out.contains("\"hits\"")) << search.out.constData();
}

// Over SSH: no display, no Qt platform chosen.
TEST(CommandLineTest, WithoutADisplaySettingsAreStoredAndEverythingElseSaysWhy)
{
    TempHome home;
    QProcessEnvironment env = homeAt(home);
    for (const QString& name : {u"QT_QPA_PLATFORM"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s})
        env.insert(name, QString());
    const QString settings = home.path() + u"/.config/peekwell/peekwell.conf"_s;

    ProcessResult run = runPeekwell({u"--recall-model"_s, u"custom"_s}, env, 10'000);
    ASSERT_FALSE(run.crashed || run.timedOut);
    EXPECT_EQ(run.exitCode, 0) << run.err.constData();
    QFile file(settings);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(file.readAll().contains("recall.model=custom"));

    run = runPeekwell({}, env, 10'000);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("needs a display (DISPLAY is not set)")) << run.err.constData();

    run = runPeekwell({u"--sw-url"_s, u"http://x"_s, u"--no-such-operation"_s}, env, 10'000);
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.startsWith("peekwell: unknown option --no-such-operation\n"))
        << run.err.constData();
    file.seek(0);
    EXPECT_FALSE(file.readAll().contains("http://x")) << "a mistyped command stores nothing";
}

} // namespace
