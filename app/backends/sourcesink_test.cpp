#include "backends/sourcesink.h"

#include <QSet>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

LookupItem item(const QString& id, const QString& body = {})
{
    return LookupItem{id, id.toUpper(), std::nullopt, body, std::nullopt};
}

TEST(SourceSinkTest, FirstItemWithAnIdWinsAndSixAreShown)
{
    SourceSink sink;
    sink.add({item("a", "first"), item("b"), item("a", "same call")});
    sink.add({item("b", "later call"), item("c")});
    EXPECT_EQ(sink.items(), (LookupItems{item("a", "first"), item("b"), item("c")}));

    sink.add({item("d"), item("e"), item("f"), item("g"), item("h"), item("i")});
    EXPECT_EQ(sink.items(), (LookupItems{item("a", "first"), item("b"), item("c"), item("d"),
                                         item("e"), item("f")}));
    // A known id found again after the sixth changes nothing that is shown.
    sink.add({item("a", "again"), item("j")});
    EXPECT_EQ(sink.items().first(), item("a", "first"));
    EXPECT_EQ(sink.items().size(), 6);
}

TEST(SourceSinkTest, ToolsAddingAtOnceNeverListAnIdTwice)
{
    SourceSink sink;
    std::vector<std::thread> tools;
    for (int t = 0; t < 6; ++t) {
        tools.emplace_back([&sink, t] {
            for (int round = 0; round < 200; ++round) {
                // Each tool finds the same four sources, in its own order.
                LookupItems found;
                for (int k = 0; k < 4; ++k)
                    found.append(item(QString::number((t + k) % 4)));
                sink.add(found);
                (void)sink.items();
            }
        });
    }
    for (std::thread& tool : tools)
        tool.join();
    const LookupItems shown = sink.items();
    QSet<QString> ids;
    for (const LookupItem& found : shown)
        ids.insert(found.id);
    EXPECT_EQ(shown.size(), 4);
    EXPECT_EQ(ids, (QSet<QString>{"0", "1", "2", "3"}));
}

} // namespace
