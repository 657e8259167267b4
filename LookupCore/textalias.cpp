#include "LookupCore/textalias.h"

TextAlias::TextAlias(QStringView text)
{
    UErrorCode status = U_ZERO_ERROR;
    utext_openUChars(&m_text, reinterpret_cast<const UChar*>(text.utf16()), text.size(), &status);
    m_open = U_SUCCESS(status);
}

TextAlias::~TextAlias()
{
    if (m_open)
        utext_close(&m_text);
}

bool TextAlias::attach(icu::BreakIterator& iterator)
{
    if (!m_open)
        return false;
    UErrorCode status = U_ZERO_ERROR;
    iterator.setText(&m_text, status);
    return U_SUCCESS(status);
}
