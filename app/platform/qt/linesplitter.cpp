#include "platform/qt/linesplitter.h"

bool LineSplitter::feed(QByteArrayView piece, const Sink& sink)
{
    qsizetype start = 0;
    if (m_afterCr && !piece.isEmpty() && piece.front() == '\n')
        start = 1;
    if (!piece.isEmpty())
        m_afterCr = false;
    for (qsizetype i = start; i < piece.size(); ++i) {
        const char c = piece[i];
        if (c != '\n' && c != '\r')
            continue;
        m_pending.append(piece.sliced(start, i - start));
        const QByteArray line = std::exchange(m_pending, QByteArray());
        if (c == '\r') {
            if (i + 1 < piece.size()) {
                if (piece[i + 1] == '\n')
                    ++i;
            } else {
                m_afterCr = true;
            }
        }
        start = i + 1;
        if (!sink(line))
            return false;
    }
    m_pending.append(piece.sliced(start));
    return true;
}

bool LineSplitter::finish(const Sink& sink)
{
    if (m_pending.isEmpty())
        return true;
    return sink(std::exchange(m_pending, QByteArray()));
}
