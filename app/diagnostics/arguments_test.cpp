#include "diagnostics/arguments.h"
#include "tests/support/commalocale.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

Arguments args(std::initializer_list<const char*> list)
{
    QStringList all{u"/usr/bin/peekwell"_s};
    for (const char* a : list)
        all.append(QString::fromUtf8(a));
    return Arguments(all);
}

TEST(ArgumentsTest, OptionsAreWholeCaseSensitiveArgumentsAndTheFirstCounts)
{
    const Arguments a =
        args({"--LOOKUP", "x", "--lookup=y", "--lookup", "first", "--lookup", "second"});
    EXPECT_TRUE(a.has(u"--lookup"_s));
    EXPECT_EQ(a.value(u"--lookup"_s), u"first"_s);
    EXPECT_EQ(a.value(u"--lookup"_s, 2), u"--lookup"_s);
    EXPECT_FALSE(a.has(u"--Lookup"_s));
    // The executable path is never an option; values past the end are missing.
    EXPECT_FALSE(Arguments({u"--index"_s}).has(u"--index"_s));
    const Arguments at = args({"--at", "100"});
    EXPECT_EQ(at.number(u"--at"_s, 1), 100.0);
    EXPECT_FALSE(at.value(u"--at"_s, 2).has_value());
    EXPECT_FALSE(a.value(u"--missing"_s).has_value());
}

TEST(ArgumentsTest, NumbersAreParsedFromTheWholeTextAndMustBeFinite)
{
    EXPECT_EQ(Arguments::parseNumber(u"5"_s), 5.0);
    EXPECT_EQ(Arguments::parseNumber(u"-2.5"_s), -2.5);
    EXPECT_EQ(Arguments::parseNumber(u"1e3"_s), 1000.0);
    EXPECT_EQ(Arguments::parseNumber(u".5"_s), 0.5);
    for (const char* bad : {"", "abc", "5s", " 5", "5 ", "1,5", "inf", "-infinity", "nan", "1e999"})
        EXPECT_FALSE(Arguments::parseNumber(QString::fromUtf8(bad)).has_value()) << bad;

    const CommaLocale german;
    ASSERT_TRUE(german.ok()) << "the de_DE.UTF-8 locale is missing (scripts/install-deps.sh)";
    EXPECT_EQ(Arguments::parseNumber(u"100.5"_s), 100.5) << "the user's locale changed a number";
    EXPECT_FALSE(Arguments::parseNumber(u"1,5"_s).has_value());
}

} // namespace
