#include "platform/llm/partialjson.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <charconv>
#include <cstdlib>
#include <string>

namespace PartialJson {

namespace {

// One value as far as it has come. `value` is empty when nothing of it may be shown yet.
struct Piece {
    std::optional<QJsonValue> value;
    bool complete = false;
};

class Reader {
public:
    Reader(QByteArrayView text, bool atEnd) : m_text(text), m_atEnd(atEnd) {}

    Result read()
    {
        skipBlanks();
        skipFence();
        Piece piece = value(0);
        return Result{piece.value, piece.complete};
    }

private:
    static constexpr int maximumDepth = 512;

    bool atEnd() const { return m_pos >= m_text.size(); }
    char peek() const { return m_text[m_pos]; }

    void skipBlanks()
    {
        while (!atEnd() && (peek() == ' ' || peek() == '\t' || peek() == '\n' || peek() == '\r'))
            ++m_pos;
    }

    void skipFence()
    {
        if (!m_text.sliced(m_pos).startsWith(QByteArrayView("```")))
            return;
        while (!atEnd() && peek() != '\n')
            ++m_pos;
        skipBlanks();
    }

    Piece value(int depth)
    {
        if (atEnd() || depth > maximumDepth)
            return {};
        switch (peek()) {
        case '{':
            return object(depth);
        case '[':
            return array(depth);
        case '"':
            return string();
        case 't':
            return literal("true", QJsonValue(true));
        case 'f':
            return literal("false", QJsonValue(false));
        case 'n':
            return literal("null", QJsonValue(QJsonValue::Null));
        default:
            return number();
        }
    }

    Piece object(int depth)
    {
        ++m_pos; // {
        QJsonObject object;
        skipBlanks();
        if (!atEnd() && peek() == '}') {
            ++m_pos;
            return {QJsonValue(object), true};
        }
        while (true) {
            skipBlanks();
            if (atEnd() || peek() != '"')
                return {QJsonValue(object), false};
            Piece key = string();
            if (!key.complete)
                return {QJsonValue(object), false};
            skipBlanks();
            if (atEnd() || peek() != ':')
                return {QJsonValue(object), false};
            ++m_pos;
            skipBlanks();
            Piece member = value(depth + 1);
            if (!member.value)
                return {QJsonValue(object), false};
            object.insert(key.value->toString(), *member.value);
            if (!member.complete)
                return {QJsonValue(object), false};
            skipBlanks();
            if (atEnd())
                return {QJsonValue(object), false};
            if (peek() == '}') {
                ++m_pos;
                return {QJsonValue(object), true};
            }
            if (peek() != ',')
                return {QJsonValue(object), false};
            ++m_pos;
        }
    }

    Piece array(int depth)
    {
        ++m_pos; // [
        QJsonArray array;
        skipBlanks();
        if (!atEnd() && peek() == ']') {
            ++m_pos;
            return {QJsonValue(array), true};
        }
        while (true) {
            skipBlanks();
            Piece element = value(depth + 1);
            if (!element.value)
                return {QJsonValue(array), false};
            array.append(*element.value);
            if (!element.complete)
                return {QJsonValue(array), false};
            skipBlanks();
            if (atEnd())
                return {QJsonValue(array), false};
            if (peek() == ']') {
                ++m_pos;
                return {QJsonValue(array), true};
            }
            if (peek() != ',')
                return {QJsonValue(array), false};
            ++m_pos;
        }
    }

    static int hexDigit(char c)
    {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        if (c >= 'A' && c <= 'F')
            return c - 'A' + 10;
        return -1;
    }

    // Four hex digits at `at`, or -1 when they have not all come (or are not hex).
    int hex4(qsizetype at) const
    {
        if (at + 4 > m_text.size())
            return -1;
        int unit = 0;
        for (qsizetype i = at; i < at + 4; ++i) {
            const int digit = hexDigit(m_text[i]);
            if (digit < 0)
                return -1;
            unit = unit * 16 + digit;
        }
        return unit;
    }

    // Length of the UTF-8 sequence that starts with `lead`, 0 for a byte that cannot lead one.
    static int sequenceLength(unsigned char lead)
    {
        if (lead < 0x80)
            return 1;
        if (lead >= 0xC2 && lead <= 0xDF)
            return 2;
        if (lead >= 0xE0 && lead <= 0xEF)
            return 3;
        if (lead >= 0xF0 && lead <= 0xF4)
            return 4;
        return 0;
    }

    Piece string()
    {
        ++m_pos; // opening quote
        QString text;
        QByteArray run; // raw UTF-8 not yet decoded
        auto flush = [&] {
            text += QString::fromUtf8(run);
            run.clear();
        };
        // Stops reading at an unfinished or malformed piece: what came before it stands.
        auto cut = [&] {
            flush();
            m_pos = m_text.size();
            return Piece{QJsonValue(text), false};
        };
        while (!atEnd()) {
            const unsigned char c = static_cast<unsigned char>(peek());
            if (c == '"') {
                ++m_pos;
                flush();
                return {QJsonValue(text), true};
            }
            if (c != '\\') {
                // Raw control characters are not JSON, but models write them; keep them.
                const int length = sequenceLength(c);
                if (length == 0) {
                    run.append(peek()); // decodes to U+FFFD
                    ++m_pos;
                    continue;
                }
                if (m_pos + length > m_text.size())
                    return cut(); // a character still on its way
                run.append(m_text.sliced(m_pos, length).toByteArray());
                m_pos += length;
                continue;
            }
            if (m_pos + 1 >= m_text.size())
                return cut();
            const std::optional<QString> escaped = escape();
            if (!escaped)
                return cut();
            flush();
            text += *escaped;
        }
        return cut();
    }

    // The escape at m_pos (a backslash) as text, moving past it; none when it has not all
    // come or is not JSON. A high surrogate waits for its low half.
    std::optional<QString> escape()
    {
        const char kind = m_text[m_pos + 1];
        static constexpr char simple[] = "\"\\/bfnrt";
        static constexpr char16_t meaning[] = u"\"\\/\b\f\n\r\t";
        for (size_t i = 0; i + 1 < sizeof simple; ++i) {
            if (kind == simple[i]) {
                m_pos += 2;
                return QString(QChar(meaning[i]));
            }
        }
        if (kind != 'u')
            return std::nullopt;
        const int first = hex4(m_pos + 2);
        if (first < 0)
            return std::nullopt;
        const auto unit = static_cast<char16_t>(first);
        if (!QChar::isHighSurrogate(unit)) {
            m_pos += 6;
            return QString(QChar(QChar::isLowSurrogate(unit) ? u'\uFFFD' : unit));
        }
        if (m_pos + 8 > m_text.size())
            return std::nullopt; // cannot tell yet whether a low half follows
        if (m_text[m_pos + 6] == '\\' && m_text[m_pos + 7] == 'u') {
            const int second = hex4(m_pos + 8);
            if (second < 0)
                return std::nullopt;
            if (QChar::isLowSurrogate(static_cast<char16_t>(second))) {
                m_pos += 12;
                const QChar pair[] = {QChar(unit), QChar(static_cast<char16_t>(second))};
                return QString(pair, 2);
            }
        }
        m_pos += 6;
        return QString(QChar(u'\uFFFD')); // a high surrogate without its low half
    }

    Piece literal(QByteArrayView word, QJsonValue value)
    {
        const QByteArrayView rest = m_text.sliced(m_pos);
        if (rest.startsWith(word)) {
            m_pos += word.size();
            return {value, true};
        }
        m_pos = m_text.size();
        return {};
    }

    Piece number()
    {
        const qsizetype start = m_pos;
        while (!atEnd()) {
            const char c = peek();
            if ((c >= '0' && c <= '9') || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E')
                ++m_pos;
            else
                break;
        }
        if (atEnd() && !m_atEnd) {
            m_pos = m_text.size(); // more digits may follow
            return {};
        }
        const std::string digits(m_text.data() + start, static_cast<size_t>(m_pos - start));
        if (!isJsonNumber(digits)) {
            m_pos = m_text.size();
            return {};
        }
        // from_chars, not strtod: a comma-decimal locale must not change what a model said.
        double value = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), value,
                        std::chars_format::general);
        return {QJsonValue(value), true};
    }

    // The JSON number grammar: -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
    static bool isJsonNumber(const std::string& s)
    {
        size_t i = 0;
        auto digits = [&] {
            const size_t from = i;
            while (i < s.size() && s[i] >= '0' && s[i] <= '9')
                ++i;
            return i > from;
        };
        if (i < s.size() && s[i] == '-')
            ++i;
        if (i < s.size() && s[i] == '0')
            ++i;
        else if (!digits())
            return false;
        if (i < s.size() && s[i] == '.') {
            ++i;
            if (!digits())
                return false;
        }
        if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
            ++i;
            if (i < s.size() && (s[i] == '+' || s[i] == '-'))
                ++i;
            if (!digits())
                return false;
        }
        return i == s.size();
    }

    QByteArrayView m_text;
    bool m_atEnd;
    qsizetype m_pos = 0;
};

} // namespace

Result parse(QByteArrayView utf8, bool atEnd)
{
    return Reader(utf8, atEnd).read();
}

} // namespace PartialJson
