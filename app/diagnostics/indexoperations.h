#pragma once

#include "chats/chatindex.h"
#include "diagnostics/diagnostics.h"

#include <QJsonObject>

class Arguments;

// "--index" and "--search": the conversation index from the command line. Both run on the
// calling (main) thread, write their report and end the process with status 0.
namespace IndexOperations {

// One synchronous pass with a progress line on standard error ("40 files, 1234 messages,
// 3 MB"), then "index.json".
[[noreturn]] Diagnostics::Outcome index(const Arguments& arguments);
// At most eight hits for the text, then "search.json" with the time the search took.
[[noreturn]] Diagnostics::Outcome search(const Arguments& arguments);

QString progressLine(const ChatIndex::Stats& stats);
// {"files", "changedFiles", "messages", "mbRead", "seconds", "db"}
QJsonObject indexReport(const ChatIndex::Stats& stats, const QString& db);
// {"ms", "hits": [[harness, title, snippet, resume command], ...]}
QJsonObject searchReport(const QList<ChatIndex::Hit>& hits, double ms);

} // namespace IndexOperations
