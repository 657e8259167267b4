#include "diagnostics.h"
#include "temphome.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <cstdio>
#include <gtest/gtest.h>

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(DiagnosticsTest, LogFolderIsMadeOnDemandUnderTheStateHome)
{
    TempHome home;
    const QString expected = home.path() + QStringLiteral("/.local/state/peekwell/logs");
    EXPECT_FALSE(QDir(expected).exists());
    EXPECT_EQ(Diagnostics::logDir(), expected);
    EXPECT_TRUE(QDir(expected).exists());
}

TEST(DiagnosticsTest, ReportIsSortedPrettyJsonInTheFileAndOnStandardOutput)
{
    TempHome home;
    QJsonObject report{{QStringLiteral("zeta"), 1},
                       {QStringLiteral("alpha"), QJsonValue::Null},
                       {QStringLiteral("mid"), QJsonObject{{QStringLiteral("b"), true},
                                                           {QStringLiteral("a"), QJsonArray{}}}}};
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(report, QStringLiteral("test.json"));
    const std::string printed = ::testing::internal::GetCapturedStdout();

    const QByteArray file = readAll(Diagnostics::logDir() + QStringLiteral("/test.json"));
    ASSERT_FALSE(file.isEmpty());
    EXPECT_FALSE(file.endsWith('\n'));
    EXPECT_EQ(QByteArray::fromStdString(printed), file + '\n');
    EXPECT_LT(file.indexOf("\"alpha\": null"), file.indexOf("\"mid\""));
    EXPECT_LT(file.indexOf("\"a\": ["), file.indexOf("\"b\": true"));
    EXPECT_LT(file.indexOf("\"mid\""), file.indexOf("\"zeta\": 1"));
    EXPECT_TRUE(file.contains('\n')) << "pretty-printed";

    // A second report replaces the first.
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(QJsonObject{{QStringLiteral("n"), 2}}, QStringLiteral("test.json"));
    ::testing::internal::GetCapturedStdout();
    EXPECT_FALSE(readAll(Diagnostics::logDir() + QStringLiteral("/test.json")).contains("zeta"));
}

TEST(DiagnosticsTest, AnUnwritableLogFolderStillPrintsTheReport)
{
    TempHome home;
    // A file where the state folder should be: the folder cannot be made.
    home.write(QStringLiteral(".local/state"), "not a folder");
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(QJsonObject{{QStringLiteral("ok"), true}}, QStringLiteral("x.json"));
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("\"ok\": true"), std::string::npos);
}

TEST(DiagnosticsTest, NoArgumentsRunsNoOperation)
{
    EXPECT_FALSE(Diagnostics::runCommandLine({QStringLiteral("peekwell")}));
    EXPECT_EQ(Diagnostics::takingOver({QStringLiteral("peekwell")}), nullptr);
}

} // namespace
