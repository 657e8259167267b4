#include "tests/support/processrun.h"

#include <QProcess>

#ifndef PEEKWELL_EXECUTABLE
#error "PEEKWELL_EXECUTABLE must name the built executable"
#endif

ProcessResult runPeekwell(const QStringList& arguments, const QProcessEnvironment& extra,
                          int timeoutMs)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& key : extra.keys())
        environment.insert(key, extra.value(key));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(PEEKWELL_EXECUTABLE), arguments);
    ProcessResult result;
    if (!process.waitForStarted(10'000)) {
        result.crashed = true;
        return result;
    }
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs)) {
        result.timedOut = true;
        process.kill();
        process.waitForFinished(5'000);
    }
    result.crashed = process.exitStatus() == QProcess::CrashExit;
    result.exitCode = process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}
