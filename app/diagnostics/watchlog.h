#pragma once

#include "platform/inputevents.h"

#include <QElapsedTimer>
#include <QFile>
#include <QMap>
#include <QString>

// The two files of an event watch, in one folder: "watch.txt", one stamped line per event
// worth reading (at most 2,000, the header included), and "watch-counts.txt", the number of
// events of each kind, sorted by kind. Kinds are "tap cg=RAW ns=MAPPED" for the stream's raw
// events ("-" where one maps to nothing) and "monitor ns=TYPE" for the events it made of them.
//
// Write failures are ignored: a watch.txt that cannot be opened loses its lines, the counts
// go on. Main thread only.
class WatchLog {
public:
    static constexpr int kMaxLines = 2000;

    // Starts an empty watch.txt in `folder`, replacing an older one.
    explicit WatchLog(const QString& folder);

    // A line stamped with the seconds since the first line ("%7.2f "), while below the cap.
    void append(const QString& line);
    void rawEvent(int rawType, int mappedType, bool bulk);
    void delivered(const InputEvent& event);

    // Replaces watch-counts.txt, atomically: "KIND: COUNT" lines, then a newline.
    void writeCounts() const;
    void close();

    QString linesPath() const { return m_lines.fileName(); }

private:
    void note(const QString& key, const QString& line, bool countOnly);

    QString m_folder;
    QFile m_lines;
    int m_written = 0;
    QElapsedTimer m_start;
    QMap<QString, qint64> m_counts; // QString order: by UTF-16 unit, so by character here
};
