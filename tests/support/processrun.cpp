#include "tests/support/processrun.h"

#include <QFile>
#include <QProcess>

#ifndef PEEKWELL_EXECUTABLE
#error "PEEKWELL_EXECUTABLE must name the built executable"
#endif

ProcessResult runProcess(const QString& program, const QStringList& arguments,
                         const QProcessEnvironment& environment, int timeoutMs)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
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
    result.exitCode = result.crashed ? -1 : process.exitCode();
    result.out = process.readAllStandardOutput();
    result.err = process.readAllStandardError();
    return result;
}

ProcessResult runPeekwell(const QStringList& arguments, const QProcessEnvironment& extra,
                          int timeoutMs)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString& key : extra.keys())
        environment.insert(key, extra.value(key));
    return runProcess(QStringLiteral(PEEKWELL_EXECUTABLE), arguments, environment, timeoutMs);
}

QJsonObject logReport(const QString& home, const QString& name)
{
    QFile file(home + QStringLiteral("/.local/state/peekwell/logs/") + name);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object()
                                          : QJsonObject();
}
