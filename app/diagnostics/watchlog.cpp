#include "diagnostics/watchlog.h"

#include <QSaveFile>

WatchLog::WatchLog(const QString& folder)
    : m_folder(folder), m_lines(folder + QStringLiteral("/watch.txt"))
{
    m_lines.open(QIODevice::WriteOnly | QIODevice::Truncate); // closed: lines are dropped
}

void WatchLog::append(const QString& line)
{
    if (m_written >= kMaxLines || !m_lines.isOpen())
        return;
    ++m_written;
    if (!m_start.isValid())
        m_start.start();
    const double seconds = static_cast<double>(m_start.nsecsElapsed()) / 1e9;
    m_lines.write(QString::asprintf("%7.2f ", seconds).toUtf8() + line.toUtf8() + '\n');
    m_lines.flush();
}

void WatchLog::rawEvent(int rawType, int mappedType, bool bulk)
{
    const QString key = QStringLiteral("tap cg=%1 ns=%2")
                            .arg(rawType)
                            .arg(mappedType ? QString::number(mappedType) : QStringLiteral("-"));
    note(key, key, bulk);
}

void WatchLog::delivered(const InputEvent& event)
{
    const QString key = QStringLiteral("monitor ns=%1").arg(event.type);
    QString line = key;
    if (event.type == InputEvent::Pressure)
        line += QString::asprintf(" stage=%d pressure=%.2f", event.stage, event.pressure);
    note(key, line, false);
}

void WatchLog::note(const QString& key, const QString& line, bool countOnly)
{
    ++m_counts[key];
    if (!countOnly)
        append(line);
}

void WatchLog::writeCounts() const
{
    QStringList lines;
    for (auto it = m_counts.cbegin(); it != m_counts.cend(); ++it)
        lines.append(it.key() + QStringLiteral(": ") + QString::number(it.value()));
    QSaveFile file(m_folder + QStringLiteral("/watch-counts.txt"));
    if (!file.open(QIODevice::WriteOnly))
        return;
    file.write((lines.join(QLatin1Char('\n')) + QLatin1Char('\n')).toUtf8());
    file.commit();
}

void WatchLog::close()
{
    m_lines.close();
}
