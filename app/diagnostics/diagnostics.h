#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

class Arguments;

// The headless front of the executable: one operation named on the command line runs
// instead of the desktop application, writes a JSON report and ends the process.
namespace Diagnostics {

// What an operation does once it has run.
enum class Outcome {
    GoOn,     // a setting was stored; later operations (or the application) follow
    TookOver, // the operation owns the process now and ends it itself
};

enum class Kind {
    Setting,  // stores a preference and goes on
    Headless, // takes over; needs only a QCoreApplication
    Windowed, // takes over; needs a QApplication (windows, clipboard, rendering)
};

struct Operation {
    QString name;           // the option, e.g. "--index"
    QStringList valueNames; // the values it needs, e.g. {"x", "y"}
    bool numericValues;     // every value must be a number
    Kind kind;
    QString help; // one line for --help
    std::function<Outcome(const Arguments&)> run;
    // With numericValues: a value that reads as a number but is not a usable one ("inf",
    // "nan", "1e999") still selects the operation, which refuses it with a message, instead
    // of counting as absent.
    bool refusesUnusableNumbers = false;
};

// Options that modify an operation without being one (shown by --help).
struct Modifier {
    QString name;
    QStringList valueNames;
    QString help;
};

// Every operation, in the order runCommandLine tries them.
const QList<Operation>& operations();
const QList<Modifier>& modifiers();

// The operation that would take over the process for these arguments, or null when the
// arguments only change settings (or name nothing) and the application starts.
const Operation* takingOver(const QStringList& arguments);

// Tries the operations in order; true when one took over the process. Operations that end
// synchronously exit the process with status 0 and do not return. Main thread only.
bool runCommandLine(const QStringList& arguments);

// The log folder, created (with its parents) on every call; a failure to create it is ignored.
QString logDir();

// Writes a report: JSON, pretty-printed with every object's keys sorted, absent values as
// null; to `fileName` in the log folder (replacing it, no trailing newline) and to standard
// output followed by one newline. Failures to write are ignored.
void emit(const QJsonObject& report, const QString& fileName);

// What the arguments ask of the program before any operation: --help (or -h), --version, or
// nothing because an option is unknown. Only arguments that stand where an option may stand
// count: a value of an operation or modifier is taken unchanged, so `--search --help`
// searches for "--help".
struct Request {
    bool help = false;
    bool version = false;
    std::optional<QString> unknownOption; // the first "--word" that names no option
};
Request request(const QStringList& arguments);

// Whether the arguments store a setting (--sw-url, --recall-model, …).
bool changesSettings(const QStringList& arguments);

// The --help text and the --version line.
QString helpText();
QString versionText();

// Flushes standard output and error and ends the process.
[[noreturn]] void finish(int status);

} // namespace Diagnostics
