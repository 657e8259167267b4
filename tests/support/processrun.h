#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QStringList>

// Runs the built peekwell executable to the end and keeps what it printed.
struct ProcessResult {
    int exitCode = -1;
    bool crashed = false;
    bool timedOut = false;
    QByteArray out;
    QByteArray err;
};

// Runs PEEKWELL_EXECUTABLE with the arguments and the current environment plus `extra`,
// waiting at most `timeoutMs`; a process still running then is killed.
ProcessResult runPeekwell(const QStringList& arguments, const QProcessEnvironment& extra = {},
                          int timeoutMs = 60'000);
