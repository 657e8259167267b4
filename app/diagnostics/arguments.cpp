#include "arguments.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>

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
    const QByteArray bytes = text.toUtf8();
    if (bytes.isEmpty() || std::isspace(static_cast<unsigned char>(bytes.front())))
        return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(bytes.constData(), &end);
    if (end != bytes.constData() + bytes.size())
        return std::nullopt;
    if (!std::isfinite(value))
        return std::nullopt;
    return value;
}
