#include "diagnostics/diagnostics.h"
#include "tests/support/temphome.h"

#include <QFile>
#include <QJsonArray>
#include <cstdio>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray readAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Into a fresh home: the log folder is made on demand.
TEST(DiagnosticsTest, ReportIsPrettyJsonInTheFileAndOnStandardOutput)
{
    TempHome home;
    QJsonObject report{{u"zeta"_s, 1},
                       {u"alpha"_s, QJsonValue::Null},
                       {u"mid"_s, QJsonObject{{u"b"_s, true}, {u"a"_s, QJsonArray{}}}}};
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(report, u"test.json"_s);
    const std::string printed = ::testing::internal::GetCapturedStdout();

    const QByteArray file = readAll(home.path() + u"/.local/state/peekwell/logs/test.json"_s);
    ASSERT_FALSE(file.isEmpty());
    EXPECT_FALSE(file.endsWith('\n'));
    EXPECT_EQ(QByteArray::fromStdString(printed), file + '\n');
    EXPECT_TRUE(file.contains("\n    \"alpha\": null")) << "pretty-printed";

    // A second report replaces the first.
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(QJsonObject{{u"n"_s, 2}}, u"test.json"_s);
    ::testing::internal::GetCapturedStdout();
    EXPECT_FALSE(readAll(Diagnostics::logDir() + u"/test.json"_s).contains("zeta"));
}

TEST(DiagnosticsTest, AnUnwritableLogFolderStillPrintsTheReport)
{
    TempHome home;
    // A file where the state folder should be: the folder cannot be made.
    home.write(u".local/state"_s, "not a folder");
    ::testing::internal::CaptureStdout();
    Diagnostics::emit(QJsonObject{{u"ok"_s, true}}, u"x.json"_s);
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("\"ok\": true"), std::string::npos);
}

TEST(DiagnosticsTest, OnlyAnOperationWithAllItsValuesTakesOver)
{
    const std::pair<QStringList, QString> cases[] = {
        {{}, {}},
        {{"--search", "w"}, "--search"},
        {{"--sw-url", "x", "--search", "w"}, "--search"},
        {{"--search"}, {}},
        {{"--probe", "10", "20.5"}, "--probe"},
        {{"--probe", "ten", "20"}, {}},
        {{"--snapshot", "shot.png"}, {}},
        // Not a number: absent. A number it cannot use: the watch takes over to refuse it.
        {{"--watch", "abc", "--index"}, "--index"},
        {{"--watch", "inf", "--index"}, "--watch"},
        {{"--watch", "4", "--lookup", "w"}, "--watch"},
    };
    for (const auto& [arguments, expected] : cases) {
        const Diagnostics::Operation* operation =
            Diagnostics::takingOver(QStringList{u"peekwell"_s} + arguments);
        EXPECT_EQ(operation ? operation->name : QString(), expected)
            << arguments.join(u' ').toStdString();
    }
    EXPECT_FALSE(Diagnostics::runCommandLine({u"peekwell"_s}));
}

} // namespace
