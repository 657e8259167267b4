#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QStringList>

// A program run to the end and what it printed.
struct ProcessResult {
    int exitCode = -1; // -1 after a crash or a time-out
    bool crashed = false;
    bool timedOut = false;
    QByteArray out;
    QByteArray err;

    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
};

// Runs `program` with exactly `environment`, waiting at most `timeoutMs`; a process still
// running then is killed.
ProcessResult runProcess(const QString& program, const QStringList& arguments,
                         const QProcessEnvironment& environment, int timeoutMs = 60'000);
// Runs PEEKWELL_EXECUTABLE with the current environment plus `extra`.
ProcessResult runPeekwell(const QStringList& arguments, const QProcessEnvironment& extra = {},
                          int timeoutMs = 60'000);
// A JSON report the program left in the home's log folder; empty when there is none.
QJsonObject logReport(const QString& home, const QString& name);
