#include "LookupCore/textspanfinder.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using namespace Qt::Literals::StringLiterals;

namespace {

// Every function keeps its ICU objects per thread: threads working at once on the same text
// get what one thread alone gets.
TEST(TextSpanFinderThreadTest, ThreadsAtOnceGetWhatOneThreadGets)
{
    QString text;
    for (int k = 0; k < 400; ++k)
        text += u"Der Café №%1 öffnet früh. 東京に行きます。 שלום עולם!\n"_s.arg(k);
    const std::vector<qsizetype> indexes{0, 7, 500, 4321, text.size() / 2, text.size() - 3};
    std::vector<std::optional<TextSpan>> expectedSpans;
    for (const qsizetype index : indexes)
        expectedSpans.push_back(TextSpanFinder::span(text, index));
    const QString expectedSnippet = TextSpanFinder::snippet(text, u"CAFE №399"_s, 12);
    const QString expectedTrim = TextSpanFinder::trim(text, u"№200"_s);
    ASSERT_EQ(expectedSnippet, u"…ם עולם! Der Café №399 öffnet früh…"_s);

    std::atomic<int> mismatches = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                for (size_t k = 0; k < indexes.size(); ++k) {
                    if (TextSpanFinder::span(text, indexes[k]) != expectedSpans[k])
                        ++mismatches;
                }
                if (TextSpanFinder::snippet(text, u"CAFE №399"_s, 12) != expectedSnippet ||
                    TextSpanFinder::trim(text, u"№200"_s) != expectedTrim)
                    ++mismatches;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, 0);
}

} // namespace
