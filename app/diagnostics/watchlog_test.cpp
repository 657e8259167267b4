#include "diagnostics/watchlog.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace Qt::Literals::StringLiterals;

namespace {

QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

TEST(WatchLogTest, LinesAreStampedAndCappedCountsSortedAndMotionOnlyCounted)
{
    QTemporaryDir dir;
    WatchLog log(dir.path());
    log.writeCounts();
    EXPECT_EQ(contents(dir.path() + u"/watch-counts.txt"_s), "\n") << "nothing seen yet";

    log.append(u"tap installed: true, trusted: false, recording 4 s"_s);
    for (int i = 0; i < 3; ++i)
        log.rawEvent(17, 0, true);
    log.rawEvent(15, InputEvent::LeftMouseDown, false);
    // Past the cap: 2,000 lines in all, every event still counted.
    for (int i = 0; i < WatchLog::kMaxLines; ++i)
        log.rawEvent(9, 0, false);
    log.writeCounts();
    log.close();

    // The lines' format is checked end to end in tests/e2e/input_test.cpp.
    const QList<QByteArray> lines = contents(log.linesPath()).split('\n');
    ASSERT_EQ(lines.size(), WatchLog::kMaxLines + 1) << "2,000 lines and the final newline";
    EXPECT_EQ(lines[2].mid(7), " tap cg=9 ns=-") << "motion is counted, not written";
    EXPECT_EQ(contents(dir.path() + u"/watch-counts.txt"_s),
              "tap cg=15 ns=1: 1\ntap cg=17 ns=-: 3\ntap cg=9 ns=-: 2000\n");
}

} // namespace
