#include "diagnostics/arguments.h"

#include <charconv>
#include <cmath>

qsizetype Arguments::position(const QString& option) const
{
    for (qsizetype i = 1; i < m_all.size(); ++i) {
        if (m_all[i] == option)
            return i;
    }
    return -1;
}

std::optional<QString> Arguments::value(const QString& option, int n) const
{
    const qsizetype at = position(option);
    if (at < 0 || n < 1 || at + n >= m_all.size())
        return std::nullopt;
    return m_all[at + n];
}

std::optional<double> Arguments::number(const QString& option, int n) const
{
    const std::optional<QString> text = value(option, n);
    return text ? parseNumber(*text) : std::nullopt;
}

std::optional<double> Arguments::parseNumber(const QString& text)
{
    // from_chars reads the C form whatever the user's locale says a decimal point is.
    const QByteArray bytes = text.toUtf8();
    const char* begin = bytes.constData();
    const char* end = begin + bytes.size();
    if (begin != end && *begin == '+' && begin + 1 != end && begin[1] != '-')
        ++begin;
    double value = 0;
    const std::from_chars_result result =
        std::from_chars(begin, end, value, std::chars_format::general);
    if (begin == end || result.ec != std::errc() || result.ptr != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}
