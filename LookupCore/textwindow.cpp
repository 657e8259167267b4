#include "textwindow.h"

#include "unicodetext.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

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
    if (text[p].isLowSurrogate() && text[p - 1].isHighSurrogate())
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

bool isSentenceCut(QStringView text, qsizetype p)
{
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

} // namespace

Cut wordCut(QStringView text, qsizetype from)
{
    return firstCut(text, from, &isWordCut);
}

Cut sentenceCut(QStringView text, qsizetype from)
{
    return firstCut(text, from, &isSentenceCut);
}

} // namespace TextWindow
