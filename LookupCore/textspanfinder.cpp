#include "LookupCore/textspanfinder.h"

#include "LookupCore/excerpt.h"
#include "LookupCore/textalias.h"
#include "LookupCore/textwindow.h"
#include "LookupCore/unicodetext.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>

namespace {

struct Range {
    qsizetype start;
    qsizetype end;
};

bool isWord(int32_t ruleStatus)
{
    return !(ruleStatus >= UBRK_WORD_NONE && ruleStatus < UBRK_WORD_NONE_LIMIT);
}

// How far the windows first reach before and after the index, in units. A window that turns
// out too short grows fourfold and is read again.
constexpr qsizetype wordLookBehind = 256;
constexpr qsizetype wordLookAhead = 64 + 256;
constexpr qsizetype sentenceLookAhead = 2048;

struct WindowStart {
    qsizetype position;
    bool atLineStart;
};

// Where a window that should reach back to `from` (<= i) starts: at the line's start when it
// comes first, else at a sure boundary that `sureStart` finds near `from`, else (nothing near)
// at the line's start however far back. Scans back only as far as the start it returns.
template <typename SureStart>
WindowStart windowStartNear(QStringView text, qsizetype i, qsizetype from, SureStart sureStart)
{
    if (const qsizetype lineStart = UnicodeText::lineStart(text, i, from); lineStart >= 0)
        return {lineStart, true};
    const qsizetype floor = std::max<qsizetype>(from - TextWindow::searchLimit, 0);
    if (const std::optional<qsizetype> start = sureStart(text, from, floor)) {
        const qsizetype lineStart = UnicodeText::lineStart(text, from, *start);
        return lineStart >= 0 ? WindowStart{lineStart, true} : WindowStart{*start, false};
    }
    return {UnicodeText::lineStart(text, i), true};
}

// The word that holds i, else the nearest word on i's line. Words are enumerated through a
// window that starts at a sure word boundary before i (at the latest, the line's start: a line
// break always ends a word) and ends at one after it. The window grows when a word runs into
// a forced end of it, or when a word beyond either end could still be nearer than the
// nearest one inside.
std::optional<Range> locateWord(QStringView text, qsizetype i)
{
    const std::unique_ptr<icu::BreakIterator> words = UnicodeText::wordIterator();
    if (!words)
        return std::nullopt;
    qsizetype lookBehind = wordLookBehind;
    qsizetype lookAhead = wordLookAhead;
    for (;;) {
        const auto [windowStart, atLineStart] =
            windowStartNear(text, i, i - lookBehind, &TextWindow::wordStart);
        const auto [windowEnd, sure] = TextWindow::wordCut(text, i + lookAhead);
        TextAlias window(text.sliced(windowStart, windowEnd - windowStart));
        if (!window.attach(*words))
            return std::nullopt;
        std::optional<Range> before;
        std::optional<Range> after;
        bool lineEnded = false;
        bool cutShort = false;
        int32_t previous = words->first();
        for (int32_t next = words->next(); next != icu::BreakIterator::DONE;
             previous = next, next = words->next()) {
            const Range segment{windowStart + previous, windowStart + next};
            if (isWord(words->getRuleStatus())) {
                if (!sure && segment.end == windowEnd) {
                    cutShort = true;
                    break;
                }
                if (segment.start <= i && i < segment.end)
                    return segment;
                if (segment.end <= i) {
                    before = segment;
                } else {
                    after = segment;
                    break;
                }
            } else if (segment.end > i &&
                       UnicodeText::isLineTerminator(text[segment.start].unicode())) {
                lineEnded = true;
                break;
            }
        }
        if (cutShort) {
            lookAhead *= 4;
            continue;
        }
        // A word before the window is at least i - windowStart + 1 away, one after it at
        // least windowEnd - i; on a tie the earlier word wins.
        const qsizetype beforeDistance = before ? i - (before->end - 1) : -1;
        const qsizetype afterDistance = after ? after->start - i : -1;
        const bool widenBehind =
            !before && !atLineStart && (!after || afterDistance >= i - windowStart + 1);
        const bool widenAhead = !after && !lineEnded && windowEnd < text.size() &&
                                (!before || beforeDistance > windowEnd - i);
        if (widenBehind || widenAhead) {
            lookBehind *= widenBehind ? 4 : 1;
            lookAhead *= widenAhead ? 4 : 1;
            continue;
        }
        if (after && (!before || afterDistance < beforeDistance))
            return after;
        return before;
    }
}

// The sentence that holds the word's first unit, trimmed around the word. Sentences are
// enumerated from a sure sentence start before the word (at the latest, the line's start: a
// paragraph separator always ends a sentence) through a window that ends where the
// boundaries before it are final; when the sentence runs on past the window and the cut
// could still change, the window grows.
QString sentenceAround(QStringView text, Range word)
{
    const QStringView wordText = text.sliced(word.start, word.end - word.start);
    const std::unique_ptr<icu::BreakIterator> sentences = UnicodeText::sentenceIterator();
    if (!sentences)
        return TextSpanFinder::trim(wordText.toString(), wordText.toString());
    const qsizetype windowStart =
        windowStartNear(text, word.start, word.start, &TextWindow::sentenceStart).position;
    for (qsizetype lookAhead = sentenceLookAhead;; lookAhead *= 4) {
        const qsizetype windowEnd = TextWindow::sentenceCut(text, word.end + lookAhead).position;
        TextAlias window(text.sliced(windowStart, windowEnd - windowStart));
        if (!window.attach(*sentences))
            return TextSpanFinder::trim(wordText.toString(), wordText.toString());
        Range sentence = word;
        int32_t previous = sentences->first();
        for (int32_t next = sentences->next(); next != icu::BreakIterator::DONE;
             previous = next, next = sentences->next()) {
            const Range segment{windowStart + previous, windowStart + next};
            if (segment.start <= word.start && word.start < segment.end) {
                sentence = segment;
                break;
            }
            if (word.start < segment.start)
                break;
        }
        const bool continues = sentence.end == windowEnd && windowEnd < text.size();
        const auto trimmed =
            Excerpt::aroundWord(text.sliced(sentence.start, sentence.end - sentence.start),
                                wordText, continues, TextSpanFinder::maxSentence);
        if (trimmed)
            return *trimmed;
    }
}

bool isTrimmedFromWord(char32_t c)
{
    return UnicodeText::isWhiteSpace(c) ||
           (U_GET_GC_MASK(static_cast<UChar32>(c)) & (U_GC_P_MASK | U_GC_S_MASK)) != 0;
}

} // namespace

std::optional<TextSpan> TextSpanFinder::span(const QString& text, qsizetype index)
{
    const qsizetype size = text.size();
    if (size == 0)
        return std::nullopt;
    const qsizetype i = std::clamp<qsizetype>(index, 0, size - 1);
    const QStringView view(text);
    const std::optional<Range> word = locateWord(view, i);
    if (!word)
        return std::nullopt;
    return TextSpan{text.mid(word->start, word->end - word->start), sentenceAround(view, *word)};
}

std::optional<TextSpan> TextSpanFinder::span(const QString& word,
                                             const std::optional<QString>& sentence)
{
    const QString normalized = normalizeWord(word);
    if (normalized.isEmpty())
        return std::nullopt;
    QString trimmed = sentence ? trim(*sentence, normalized) : normalized;
    if (trimmed.isEmpty())
        trimmed = normalized;
    return TextSpan{normalized, trimmed};
}

QString TextSpanFinder::trim(const QString& sentence, const QString& word)
{
    return *Excerpt::aroundWord(sentence, word, false, maxSentence);
}

QString TextSpanFinder::normalizeWord(const QString& word)
{
    const QStringView view(word);
    qsizetype start = 0;
    qsizetype end = view.size();
    while (start < end) {
        const char32_t c = UnicodeText::codePointAt(view, start);
        if (!isTrimmedFromWord(c))
            break;
        start += QChar::requiresSurrogates(c) ? 2 : 1;
    }
    while (end > start) {
        const char32_t c = UnicodeText::codePointBefore(view, end);
        if (!isTrimmedFromWord(c))
            break;
        end -= QChar::requiresSurrogates(c) ? 2 : 1;
    }
    return word.mid(start, end - start);
}

QString TextSpanFinder::snippet(const QString& text, const QString& term, qsizetype radius)
{
    return Excerpt::aroundTerm(text, term, radius);
}
