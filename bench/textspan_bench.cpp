// TextSpanFinder over long texts: the word and sentence at the start, middle and end of 1 and
// 10 million UTF-16 units of prose, and snippets over 1 million.
#include "LookupCore/textspanfinder.h"

#include <QString>
#include <QStringList>
#include <benchmark/benchmark.h>
#include <map>
#include <memory>
#include <random>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

namespace {

constexpr qsizetype oneMillion = 1'000'000;

enum class Layout {
    Paragraphs, // paragraphs of a few sentences, a blank line between them
    OneLine,    // the same sentences with no line break at all
};

// Deterministic English-like prose with some accented words: sentences of 6-24 words,
// paragraphs of 3-7 sentences. Exactly `size` units long.
QString prose(qsizetype size, Layout layout)
{
    static const QStringList words =
        QStringLiteral(
            "the of and to in is that for it as was with be by on not he this are or his from at "
            "which but have an they you were her she there been one all we their has would when "
            "café naïve déjà vu façade coöperate Zürich résumé index sentence window boundary "
            "cluster segment search collator pointer panel answer library recall")
            .split(u' ');
    std::mt19937 random(42);
    std::uniform_int_distribution<int> word(0, int(words.size()) - 1);
    std::uniform_int_distribution<int> sentenceLength(6, 24);
    std::uniform_int_distribution<int> paragraphLength(3, 7);
    QString text;
    text.reserve(size + 400);
    while (text.size() < size) {
        const int sentences = paragraphLength(random);
        for (int s = 0; s < sentences; ++s) {
            const int length = sentenceLength(random);
            for (int w = 0; w < length; ++w) {
                QString next = words[word(random)];
                if (w == 0)
                    next[0] = next[0].toUpper();
                text += next;
                text += w + 1 == length ? u'.' : (w % 7 == 6 ? u',' : u' ');
                if (w % 7 == 6 && w + 1 < length)
                    text += u' ';
            }
            text += u' ';
        }
        text += layout == Layout::Paragraphs ? QStringLiteral("\n\n") : QStringLiteral(" ");
    }
    text.truncate(size);
    return text;
}

const QString& corpus(qsizetype size, Layout layout)
{
    static std::map<std::pair<qsizetype, Layout>, QString> cache;
    auto& text = cache[{size, layout}];
    if (text.isEmpty())
        text = prose(size, layout);
    return text;
}

void spanAt(benchmark::State& state, qsizetype size, Layout layout, double where)
{
    const QString& text = corpus(size, layout);
    const qsizetype index = std::clamp<qsizetype>(qsizetype(where * double(size)), 10, size - 10);
    for (auto _ : state)
        benchmark::DoNotOptimize(TextSpanFinder::span(text, index));
}

// For comparison: the straightforward way, enumerating words from the text's start up to the
// index with one ICU word iterator over the whole text (no sentence, no trimming).
void enumerateToIndex(benchmark::State& state, qsizetype size, Layout layout, double where)
{
    const QString& text = corpus(size, layout);
    const qsizetype index = std::clamp<qsizetype>(qsizetype(where * double(size)), 10, size - 10);
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::BreakIterator> words(
        icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
    // Over a UText: setText(const UnicodeString&) would copy the whole text every time.
    UText whole = UTEXT_INITIALIZER;
    utext_openUChars(&whole, reinterpret_cast<const UChar*>(text.utf16()), text.size(), &status);
    for (auto _ : state) {
        words->setText(&whole, status);
        int32_t boundary = words->first();
        while (boundary != icu::BreakIterator::DONE && boundary <= index + 64)
            boundary = words->next();
        benchmark::DoNotOptimize(boundary);
    }
    utext_close(&whole);
}

// A text of one million units with "Zürich" only at 90% of the way; searched as "zurich".
const QString& snippetCorpus()
{
    static const QString text = [] {
        QString base = prose(oneMillion, Layout::Paragraphs);
        base.replace(QStringLiteral("Zürich"), QStringLiteral("Zurch"));
        base.insert(oneMillion * 9 / 10, QStringLiteral(" Zürich "));
        return base;
    }();
    return text;
}

void snippetOf(benchmark::State& state, const QString& term)
{
    const QString& text = snippetCorpus();
    for (auto _ : state)
        benchmark::DoNotOptimize(TextSpanFinder::snippet(text, term, 40));
    state.SetBytesProcessed(int64_t(state.iterations()) * text.size() * 2);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    const std::pair<const char*, double> places[] = {{"start", 0.0}, {"middle", 0.5}, {"end", 1.0}};
    const std::pair<const char*, Layout> layouts[] = {{"paragraphs", Layout::Paragraphs},
                                                      {"one_line", Layout::OneLine}};
    const std::pair<const char*, qsizetype> sizes[] = {{"1M", oneMillion},
                                                       {"10M", 10 * oneMillion}};
    for (const auto& [layoutName, layout] : layouts) {
        for (const auto& [sizeName, size] : sizes) {
            for (const auto& [placeName, where] : places) {
                const std::string name =
                    std::string("span/") + layoutName + "/" + sizeName + "/" + placeName;
                benchmark::RegisterBenchmark(name.c_str(), spanAt, size, layout, where)
                    ->Unit(benchmark::kMicrosecond);
            }
        }
    }
    for (const auto& [sizeName, size] : sizes) {
        for (const auto& [placeName, where] : places) {
            const std::string name =
                std::string("baseline_enumerate_from_start/") + sizeName + "/" + placeName;
            benchmark::RegisterBenchmark(name.c_str(), enumerateToIndex, size, Layout::Paragraphs,
                                         where)
                ->Unit(benchmark::kMicrosecond);
        }
    }
    benchmark::RegisterBenchmark("snippet/1M/term_at_start", snippetOf, QStringLiteral("THE"))
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("snippet/1M/term_at_90_percent", snippetOf,
                                 QStringLiteral("zurich"))
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("snippet/1M/term_absent", snippetOf, QStringLiteral("xylophone"))
        ->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
