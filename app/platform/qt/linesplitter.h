#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <functional>

// Cuts a byte stream into lines as it arrives. A line ends at LF, CR or CR LF (a CR LF split
// between two pieces counts once); the terminator is not part of the line.
class LineSplitter {
public:
    // Receives each line; returning false stops the splitting.
    using Sink = std::function<bool(const QByteArray& line)>;

    // Delivers every line completed by `piece`. False when the sink stopped.
    bool feed(QByteArrayView piece, const Sink& sink);
    // The stream ended: delivers a last line that had no terminator, if it is not empty.
    bool finish(const Sink& sink);

private:
    QByteArray m_pending;
    bool m_afterCr = false;
};
