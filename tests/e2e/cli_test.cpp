#include "processrun.h"
#include "temphome.h"

#include <QDir>
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

TEST(CommandLineTest, HelpListsTheOptionsAndTheFilesAndExitsZero)
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
}

TEST(CommandLineTest, VersionPrintsOneLine)
{
    const ProcessResult run = runPeekwell({u"--version"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith("peekwell ")) << run.out.constData();
    EXPECT_EQ(run.out.count('\n'), 1);
}

// Without an operation the desktop application starts; without a display it cannot, says so
// and stores nothing for an option it does not know.
TEST(CommandLineTest, WithoutADisplayTheApplicationSaysWhyAndAnUnknownOptionStoresNothing)
{
    TempHome home;
    QProcessEnvironment env = homeAt(home);
    for (const QString& name : {u"QT_QPA_PLATFORM"_s, u"DISPLAY"_s, u"WAYLAND_DISPLAY"_s})
        env.insert(name, QString());
    const ProcessResult run = runPeekwell({u"--no-such-operation"_s}, env, 10'000);
    ASSERT_FALSE(run.crashed || run.timedOut);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains("needs a display (DISPLAY is not set)")) << run.err.constData();
    EXPECT_FALSE(QDir(home.path() + u"/.config/peekwell"_s).exists() &&
                 !QDir(home.path() + u"/.config/peekwell"_s).isEmpty());
}

} // namespace
