#include "lookup/copylink.h"

#include <gtest/gtest.h>

namespace {

TEST(CopyLinkTest, CommandsSurviveTheRoundTripAndOtherLinksAreNotCopyLinks)
{
    for (const QString& command : {QStringLiteral("cd '/w/it'\\''s dir' && codex resume x"),
                                   QStringLiteral("pi --resume '/h/a b/%20 #frag ?q=1&x.jsonl'"),
                                   QStringLiteral("cd '/home/zoë/项目' && claude --resume id"),
                                   QStringLiteral("//two"), QStringLiteral("a\\b\"c")}) {
        const std::optional<QUrl> url = CopyLink::url(command);
        ASSERT_TRUE(url) << command.toStdString();
        EXPECT_EQ(url->scheme(), QStringLiteral("peekwell-copy"));
        EXPECT_EQ(CopyLink::text(*url), command);
    }
    // Other links are not copy links.
    EXPECT_FALSE(CopyLink::text(QUrl(QStringLiteral("https://example.org/peekwell-copy"))));
    EXPECT_FALSE(CopyLink::text(QUrl(QStringLiteral("Peekwell-Copy-x:ls"))));
    EXPECT_FALSE(CopyLink::text(QUrl()));
    EXPECT_EQ(CopyLink::text(QUrl(QStringLiteral("peekwell-copy:ls%20-l"))),
              QStringLiteral("ls -l"));
}

} // namespace
