#pragma once

#include <QStringView>
#include <unicode/brkiter.h>
#include <unicode/utext.h>

// An ICU text over a view's UTF-16 buffer, without a copy, for break iterators.
// (BreakIterator::setText(const UnicodeString&) copies the whole string; the UText form does
// not.) The buffer must outlive this object and every iterator given it.
class TextAlias {
public:
    explicit TextAlias(QStringView text);
    ~TextAlias();
    TextAlias(const TextAlias&) = delete;
    TextAlias& operator=(const TextAlias&) = delete;

    // Points the iterator at the text. False if ICU refused (then the iterator is unchanged).
    bool attach(icu::BreakIterator& iterator);

private:
    UText m_text = UTEXT_INITIALIZER;
    bool m_open = false;
};
