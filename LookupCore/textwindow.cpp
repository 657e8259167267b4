#include "LookupCore/textwindow.h"

#include "LookupCore/unicodetext.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <cstring>

namespace TextWindow {

namespace {

int property(char32_t c, UProperty which)
{
    return u_getIntPropertyValue(static_cast<UChar32>(c), which);
}

// Punctuation of word-break class Other that no ICU word rule pulls into a word or a
// dictionary (CJK, Thai…) run.
bool isLoosePunctuation(char32_t c)
{
    if (!(U_GET_GC_MASK(static_cast<UChar32>(c)) & U_GC_P_MASK))
        return false;
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(static_cast<UChar32>(c), &status);
    if (U_FAILURE(status) || script != USCRIPT_COMMON)
        return false;
    // The katakana middle dot and its half-width form join katakana runs.
    return c != 0x30FB && c != 0xFF65;
}

bool isWordCut(QStringView text, qsizetype p)
{
    const char16_t beforeUnit = text[p - 1].unicode();
    const char16_t afterUnit = text[p].unicode();
    if (beforeUnit < 0x80 && afterUnit < 0x80) {
        // No ASCII character is a combining mark or joiner. Of ASCII punctuation, these are
        // of word-break class Other; ' " , . : ; _ are not.
        if (beforeUnit == u' ')
            return afterUnit != u' ';
        if (beforeUnit == u'\r')
            return afterUnit != u'\n';
        return beforeUnit == u'\n' || beforeUnit == u'\t' || beforeUnit == u'\v' ||
               beforeUnit == u'\f' ||
               (beforeUnit != 0 && std::strchr("!#%&()*-/?@[\\]{}", beforeUnit));
    }
    if (QChar::isLowSurrogate(afterUnit) && QChar::isHighSurrogate(beforeUnit))
        return false;
    const char32_t before = UnicodeText::codePointBefore(text, p);
    const char32_t after = UnicodeText::codePointAt(text, p);
    const int afterClass = property(after, UCHAR_WORD_BREAK);
    if (afterClass == U_WB_EXTEND || afterClass == U_WB_FORMAT || afterClass == U_WB_ZWJ)
        return false;
    switch (property(before, UCHAR_WORD_BREAK)) {
    case U_WB_CR:
        return after != u'\n';
    case U_WB_LF:
    case U_WB_NEWLINE:
        return true;
    case U_WB_WSEGSPACE:
        return afterClass != U_WB_WSEGSPACE;
    case U_WB_OTHER:
        return before == u'\t' || isLoosePunctuation(before);
    default:
        return false;
    }
}

bool isAsciiLetter(char16_t unit)
{
    return (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
}

bool isSentenceCut(QStringView text, qsizetype p)
{
    const char16_t beforeUnit = text[p - 1].unicode();
    const char16_t afterUnit = text[p].unicode();
    if (beforeUnit < 0x80 && afterUnit < 0x80) {
        if (beforeUnit == u'\r')
            return afterUnit != u'\n';
        return beforeUnit == u'\n' || isAsciiLetter(beforeUnit);
    }
    if (text[p].isLowSurrogate() && text[p - 1].isHighSurrogate())
        return false;
    const char32_t before = UnicodeText::codePointBefore(text, p);
    const char32_t after = UnicodeText::codePointAt(text, p);
    switch (property(before, UCHAR_SENTENCE_BREAK)) {
    case U_SB_CR:
        return after != u'\n';
    case U_SB_LF:
    case U_SB_SEP:
        return true;
    case U_SB_LOWER:
    case U_SB_UPPER:
    case U_SB_OLETTER: {
        const int afterClass = property(after, UCHAR_SENTENCE_BREAK);
        return afterClass != U_SB_EXTEND && afterClass != U_SB_FORMAT;
    }
    default:
        return false;
    }
}

Cut firstCut(QStringView text, qsizetype from, bool (*isCut)(QStringView, qsizetype))
{
    const qsizetype size = text.size();
    if (from >= size)
        return {size, true};
    from = std::max<qsizetype>(from, 1);
    const qsizetype limit = std::min(size, from + searchLimit);
    for (qsizetype p = from; p < limit; ++p) {
        if (isCut(text, p))
            return {p, true};
    }
    if (limit == size)
        return {size, true};
    if (text[limit].isLowSurrogate() && text[limit - 1].isHighSurrogate())
        return {limit + 1, limit + 1 == size};
    return {limit, false};
}

bool startsSentence(QStringView text, qsizetype p, qsizetype floor)
{
    if (text[p].unicode() < 0x80 && !(text[p] >= u'A' && text[p] <= u'Z'))
        return false;
    const int first = property(UnicodeText::codePointAt(text, p), UCHAR_SENTENCE_BREAK);
    if (first != U_SB_UPPER && first != U_SB_OLETTER)
        return false;
    constexpr int maxSteps = 64;
    auto classBefore = [&](qsizetype q) {
        return property(UnicodeText::codePointBefore(text, q), UCHAR_SENTENCE_BREAK);
    };
    auto skip = [&](qsizetype& q, int breakClass) {
        int steps = 0;
        while (q > floor && steps < maxSteps && classBefore(q) == breakClass) {
            q -= QChar::requiresSurrogates(UnicodeText::codePointBefore(text, q)) ? 2 : 1;
            ++steps;
        }
        return steps;
    };
    qsizetype q = p;
    const int blanks = skip(q, U_SB_SP);
    if (blanks == 0 || blanks == maxSteps)
        return false;
    if (skip(q, U_SB_CLOSE) == maxSteps || q <= floor)
        return false;
    const int terminator = classBefore(q);
    return terminator == U_SB_ATERM || terminator == U_SB_STERM;
}

template <typename IsStart>
std::optional<qsizetype> lastStart(qsizetype from, qsizetype floor, IsStart isStart)
{
    const qsizetype limit = std::max({floor + 1, from - searchLimit, qsizetype(1)});
    for (qsizetype p = from; p >= limit; --p) {
        if (isStart(p))
            return p;
    }
    return std::nullopt;
}

} // namespace

std::optional<qsizetype> wordStart(QStringView text, qsizetype from, qsizetype floor)
{
    return lastStart(from, floor, [&](qsizetype p) { return isWordCut(text, p); });
}

std::optional<qsizetype> sentenceStart(QStringView text, qsizetype from, qsizetype floor)
{
    return lastStart(from, floor, [&](qsizetype p) { return startsSentence(text, p, floor); });
}

Cut wordCut(QStringView text, qsizetype from)
{
    return firstCut(text, from, &isWordCut);
}

Cut sentenceCut(QStringView text, qsizetype from)
{
    return firstCut(text, from, &isSentenceCut);
}

} // namespace TextWindow
