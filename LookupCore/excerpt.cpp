#include "LookupCore/excerpt.h"

#include "LookupCore/graphemes.h"
#include "LookupCore/textsearch.h"
#include "LookupCore/unicodetext.h"

#include <unicode/uchar.h>

namespace Excerpt {

namespace {

const QChar ellipsis(0x2026);

int clusterBreak(char32_t c)
{
    return u_getIntPropertyValue(static_cast<UChar32>(c), UCHAR_GRAPHEME_CLUSTER_BREAK);
}

bool isControl(int breakClass)
{
    return breakClass == U_GCB_CONTROL || breakClass == U_GCB_CR || breakClass == U_GCB_LF;
}

qsizetype width(char32_t c)
{
    return QChar::requiresSurrogates(c) ? 2 : 1;
}

// Whether the white-space code point c at i starts a cluster: only a Prepend character before
// it can pull it into the previous cluster, and never when c is a control.
bool startsCluster(QStringView text, qsizetype i, char32_t c)
{
    if (i == 0 || text[i - 1].unicode() < 0x80)
        return true;
    if (c < 0x80 ? c != u' ' : isControl(clusterBreak(c)))
        return true;
    return clusterBreak(UnicodeText::codePointBefore(text, i)) != U_GCB_PREPEND;
}

// End of the white-space cluster that starts with c at i: a non-control one goes on over
// combining marks and joiners.
qsizetype clusterEnd(QStringView text, qsizetype i, char32_t c)
{
    qsizetype end = i + width(c);
    if (c < 0x80 ? c != u' ' : isControl(clusterBreak(c)))
        return end;
    while (end < text.size() && text[end].unicode() >= 0x80) {
        const char32_t next = UnicodeText::codePointAt(text, end);
        const int breakClass = clusterBreak(next);
        if (breakClass != U_GCB_EXTEND && breakClass != U_GCB_ZWJ &&
            breakClass != U_GCB_SPACING_MARK)
            break;
        end += width(next);
    }
    return end;
}

QString cut(QStringView text, qsizetype start, qsizetype end)
{
    QString result;
    result.reserve(end - start + 2);
    if (start > 0)
        result.append(ellipsis);
    result.append(text.sliced(start, end - start));
    if (end < text.size())
        result.append(ellipsis);
    return result;
}

} // namespace

QString flatten(QStringView text)
{
    // Written straight into a buffer of the text's size: the result is never longer.
    QString result(text.size(), Qt::Uninitialized);
    QChar* const begin = result.data();
    QChar* out = begin;
    qsizetype pieceStart = 0;
    qsizetype i = 0;
    const auto endPiece = [&](qsizetype pieceEnd) {
        if (pieceEnd == pieceStart)
            return;
        if (out != begin)
            *out++ = u' ';
        std::copy(text.data() + pieceStart, text.data() + pieceEnd, out);
        out += pieceEnd - pieceStart;
    };
    while (i < text.size()) {
        const char16_t unit = text[i].unicode();
        if (unit > u' ' && unit < 0x80) {
            ++i;
            continue;
        }
        const char32_t c = UnicodeText::codePointAt(text, i);
        if (!UnicodeText::isWhiteSpace(c) || !startsCluster(text, i, c)) {
            i += width(c);
            continue;
        }
        endPiece(i);
        i = clusterEnd(text, i, c);
        pieceStart = i;
    }
    endPiece(i);
    result.truncate(out - begin);
    return result;
}

std::optional<QString> aroundWord(QStringView sentence, QStringView word, bool continues,
                                  qsizetype maxLength)
{
    const QString flat = flatten(sentence);
    if (!continues && flat.size() <= maxLength)
        return flat;
    Graphemes graphemes(flat);
    if (graphemes.forward(0, maxLength) == flat.size()) {
        if (continues)
            return std::nullopt;
        return flat;
    }
    const auto match = TextSearch::canonical(flat, word, graphemes);
    if (!match && continues)
        return std::nullopt;
    const qsizetype start = graphemes.backward(match ? match->start : 0, maxLength / 2);
    const qsizetype end = graphemes.forward(start, maxLength);
    // The cluster that ends this prefix may still grow with the rest of the sentence.
    if (continues && (end == flat.size() || graphemes.forward(end, 1) == flat.size()))
        return std::nullopt;
    return cut(flat, start, end);
}

QString aroundTerm(QStringView text, QStringView term, qsizetype radius)
{
    const QString flat = flatten(text);
    // Past the text's length every radius gives the same excerpt.
    radius = std::clamp<qsizetype>(radius, 0, flat.size());
    Graphemes graphemes(flat);
    if (const auto match = TextSearch::loose(flat, term))
        return cut(flat, graphemes.backward(match->start, radius),
                   graphemes.forward(match->end, radius));
    const qsizetype end = graphemes.forward(0, 2 * radius);
    QString result = flat.left(end);
    if (end < flat.size())
        result.append(ellipsis);
    return result;
}

} // namespace Excerpt
