#include "processrun.h"
#include "temphome.h"

#include <QDir>
#include <gtest/gtest.h>

namespace {

QProcessEnvironment homeAt(const TempHome& home)
{
    QProcessEnvironment env;
    env.insert(QStringLiteral("HOME"), home.path());
    env.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    return env;
}

TEST(CommandLineTest, HelpListsTheOptionsAndTheFilesAndExitsZero)
{
    TempHome home;
    const ProcessResult run = runPeekwell({QStringLiteral("--help")}, homeAt(home));
    ASSERT_FALSE(run.crashed);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith("Usage: peekwell")) << run.out.constData();
    EXPECT_TRUE(run.out.contains("--version"));
    EXPECT_TRUE(run.out.contains(
        QDir(home.path()).filePath(QStringLiteral(".config/peekwell/peekwell.conf")).toUtf8()))
        << "the help names the settings file of this home";
}

TEST(CommandLineTest, VersionPrintsOneLine)
{
    const ProcessResult run = runPeekwell({QStringLiteral("--version")});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith("peekwell ")) << run.out.constData();
    EXPECT_EQ(run.out.count('\n'), 1);
}

TEST(CommandLineTest, AnUnknownOptionStoresNothing)
{
    TempHome home;
    const ProcessResult run = runPeekwell({QStringLiteral("--no-such-operation")}, homeAt(home));
    ASSERT_FALSE(run.crashed);
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_FALSE(QDir(home.path() + QStringLiteral("/.config/peekwell")).exists() &&
                 !QDir(home.path() + QStringLiteral("/.config/peekwell")).isEmpty());
}

} // namespace
