#include "recall/searcharguments.h"

#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

TEST(SearchArgumentsTest, TheSchemaIsStrictAndOnlyAStringQueryIsRead)
{
    EXPECT_EQ(SearchArguments::generationSchema().json().value("additionalProperties"), false);
    for (const char* bad : {R"({"q":"x"})", R"({"query":5})", R"(["x"])"})
        EXPECT_FALSE(SearchArguments::from(GeneratedContent::fromJson(QString::fromUtf8(bad))))
            << bad;
}

} // namespace
