#include "LookupCore/graphemes.h"

#include "LookupCore/unicodetext.h"

Graphemes::Graphemes(QStringView text)
    : m_text(text), m_alias(text), m_iterator(UnicodeText::characterIterator())
{
    if (m_iterator && !m_alias.attach(*m_iterator))
        m_iterator.reset();
}

qsizetype Graphemes::forward(qsizetype offset, qsizetype count)
{
    const qsizetype size = m_text.size();
    if (count <= 0 || offset >= size)
        return std::min(offset, size);
    if (!m_iterator) {
        for (; count > 0 && offset < size; --count)
            offset += QChar::requiresSurrogates(UnicodeText::codePointAt(m_text, offset)) ? 2 : 1;
        return offset;
    }
    int32_t position = m_iterator->following(static_cast<int32_t>(offset));
    while (--count > 0 && position != icu::BreakIterator::DONE)
        position = m_iterator->next();
    return position == icu::BreakIterator::DONE ? size : position;
}

qsizetype Graphemes::backward(qsizetype offset, qsizetype count)
{
    if (count <= 0 || offset <= 0)
        return std::max<qsizetype>(offset, 0);
    if (!m_iterator) {
        for (; count > 0 && offset > 0; --count)
            offset -=
                QChar::requiresSurrogates(UnicodeText::codePointBefore(m_text, offset)) ? 2 : 1;
        return offset;
    }
    int32_t position = m_iterator->preceding(static_cast<int32_t>(offset));
    while (--count > 0 && position != icu::BreakIterator::DONE)
        position = m_iterator->previous();
    return position == icu::BreakIterator::DONE ? 0 : position;
}

bool Graphemes::isBoundary(qsizetype offset)
{
    if (offset <= 0 || offset >= m_text.size())
        return offset == 0 || offset == m_text.size();
    if (!m_iterator)
        return !(m_text[offset].isLowSurrogate() && m_text[offset - 1].isHighSurrogate());
    return m_iterator->isBoundary(static_cast<int32_t>(offset));
}
