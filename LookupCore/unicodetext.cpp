#include "LookupCore/unicodetext.h"

#include <unicode/uchar.h>

namespace UnicodeText {

icu::UnicodeString alias(QStringView text)
{
    return icu::UnicodeString(false, reinterpret_cast<const char16_t*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
}

namespace {

using Factory = icu::BreakIterator* (*)(const icu::Locale&, UErrorCode&);

std::unique_ptr<icu::BreakIterator> make(Factory factory)
{
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::BreakIterator> iterator(factory(icu::Locale::getRoot(), status));
    if (U_FAILURE(status))
        return nullptr;
    return iterator;
}

std::unique_ptr<icu::BreakIterator> cloneOf(const std::unique_ptr<icu::BreakIterator>& prototype)
{
    return prototype ? std::unique_ptr<icu::BreakIterator>(prototype->clone()) : nullptr;
}

} // namespace

std::unique_ptr<icu::BreakIterator> wordIterator()
{
    thread_local const auto prototype = make(&icu::BreakIterator::createWordInstance);
    return cloneOf(prototype);
}

std::unique_ptr<icu::BreakIterator> sentenceIterator()
{
    thread_local const auto prototype = make(&icu::BreakIterator::createSentenceInstance);
    return cloneOf(prototype);
}

std::unique_ptr<icu::BreakIterator> characterIterator()
{
    thread_local const auto prototype = make(&icu::BreakIterator::createCharacterInstance);
    return cloneOf(prototype);
}

bool isLineTerminator(char32_t c)
{
    return c == u'\n' || c == u'\r' || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isWhiteSpace(char32_t c)
{
    if (c < 0x80)
        return c == u' ' || (c >= u'\t' && c <= u'\r');
    if (c < 0x1680) // the first White_Space character past Latin-1
        return c == 0x85 || c == 0xA0;
    return u_isUWhiteSpace(static_cast<UChar32>(c));
}

char32_t codePointAt(QStringView text, qsizetype i)
{
    const char16_t unit = text[i].unicode();
    if (QChar::isHighSurrogate(unit) && i + 1 < text.size() && text[i + 1].isLowSurrogate())
        return QChar::surrogateToUcs4(unit, text[i + 1].unicode());
    return unit;
}

char32_t codePointBefore(QStringView text, qsizetype i)
{
    const char16_t unit = text[i - 1].unicode();
    if (QChar::isLowSurrogate(unit) && i >= 2 && text[i - 2].isHighSurrogate())
        return QChar::surrogateToUcs4(text[i - 2].unicode(), unit);
    return unit;
}

qsizetype lineStart(QStringView text, qsizetype i, qsizetype limit)
{
    limit = std::max<qsizetype>(limit, 0);
    qsizetype j = i;
    if (text[i] == u'\n' && i > 0 && text[i - 1] == u'\r')
        j = i - 1;
    while (j > limit && !isLineTerminator(text[j - 1].unicode()))
        --j;
    return j > 0 && !isLineTerminator(text[j - 1].unicode()) ? -1 : j;
}

} // namespace UnicodeText
