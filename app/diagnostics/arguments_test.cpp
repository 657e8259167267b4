#include "arguments.h"

#include <gtest/gtest.h>

namespace {

Arguments args(std::initializer_list<const char*> list)
{
    QStringList all{QStringLiteral("/usr/bin/peekwell")};
    for (const char* a : list)
        all.append(QString::fromUtf8(a));
    return Arguments(all);
}

TEST(ArgumentsTest, OptionsAreWholeCaseSensitiveArgumentsAndTheFirstCounts)
{
    const Arguments a =
        args({"--LOOKUP", "x", "--lookup=y", "--lookup", "first", "--lookup", "second"});
    EXPECT_TRUE(a.has(QStringLiteral("--lookup")));
    EXPECT_EQ(a.value(QStringLiteral("--lookup")), QStringLiteral("first"));
    EXPECT_EQ(a.value(QStringLiteral("--lookup"), 2), QStringLiteral("--lookup"));
    EXPECT_FALSE(a.has(QStringLiteral("--Lookup")));
    // The executable path is never an option.
    EXPECT_FALSE(Arguments({QStringLiteral("--index")}).has(QStringLiteral("--index")));
}

TEST(ArgumentsTest, ValuesAreTakenUnchangedAndMissingPastTheEnd)
{
    const Arguments a = args({"--search", "--index", "--at", "100"});
    EXPECT_EQ(a.value(QStringLiteral("--search")), QStringLiteral("--index"));
    EXPECT_EQ(a.number(QStringLiteral("--at"), 1), 100.0);
    EXPECT_FALSE(a.value(QStringLiteral("--at"), 2).has_value());
    EXPECT_FALSE(a.value(QStringLiteral("--missing")).has_value());
}

TEST(ArgumentsTest, NumbersAreParsedFromTheWholeTextAndMustBeFinite)
{
    EXPECT_EQ(Arguments::parseNumber(QStringLiteral("5")), 5.0);
    EXPECT_EQ(Arguments::parseNumber(QStringLiteral("-2.5")), -2.5);
    EXPECT_EQ(Arguments::parseNumber(QStringLiteral("1e3")), 1000.0);
    EXPECT_EQ(Arguments::parseNumber(QStringLiteral(".5")), 0.5);
    for (const char* bad : {"", "abc", "5s", " 5", "5 ", "1,5", "inf", "-infinity", "nan", "1e999"})
        EXPECT_FALSE(Arguments::parseNumber(QString::fromUtf8(bad)).has_value()) << bad;
}

} // namespace
