#include "diagnostics/diagnostics.h"

#include "diagnostics/arguments.h"
#include "diagnostics/eventwatch.h"
#include "diagnostics/indexoperations.h"
#include "diagnostics/keyoperation.h"
#include "diagnostics/lookupoperations.h"
#include "diagnostics/probeoperations.h"
#include "diagnostics/settingsoperations.h"
#include "platform/preferences.h"
#include "platform/xdgpaths.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QSaveFile>
#include <cctype>
#include <cstdio>
#include <cstdlib>

namespace Diagnostics {

const QList<Operation>& operations()
{
    // The order is the order in which runCommandLine tries them: settings first, so that they
    // combine with the operation named in the same command.
    using Setter = Outcome (*)(const Arguments&, Preferences&);
    const auto standard = [](Setter setter) {
        return [setter](const Arguments& arguments) {
            return setter(arguments, Preferences::standard());
        };
    };
    static const QList<Operation> table = {
        {QStringLiteral("--sw-url"),
         {QStringLiteral("address")},
         false,
         Kind::Setting,
         QStringLiteral("set the address of the Shelfwise library"),
         standard(&SettingsOperations::setShelfwiseUrl)},
        {QStringLiteral("--set-key"),
         {QStringLiteral("account")},
         false,
         Kind::Headless,
         QStringLiteral(
             "store the key in $LOOKUP_KEY for ACCOUNT in the keyring (unset: delete it)"),
         KeyOperation::run},
        {QStringLiteral("--recall-model"),
         {QStringLiteral("model")},
         false,
         Kind::Setting,
         QStringLiteral("set Recall's model: onDevice, privateCloud, openAI, claude or custom"),
         standard(&SettingsOperations::setRecallModel)},
        {QStringLiteral("--model-name"),
         {QStringLiteral("name")},
         false,
         Kind::Setting,
         QStringLiteral("set the model name of Recall's current model"),
         standard(&SettingsOperations::setModelName)},
        {QStringLiteral("--custom-base-url"),
         {QStringLiteral("address")},
         false,
         Kind::Setting,
         QStringLiteral("set the base URL of the custom OpenAI-compatible server"),
         standard(&SettingsOperations::setCustomBaseUrl)},
        {QStringLiteral("--watch"),
         {QStringLiteral("seconds")},
         true,
         Kind::Headless,
         QStringLiteral("record the session's input events for SECONDS (watch.txt, "
                        "watch-counts.txt)"),
         EventWatch::operation,
         true},
        {QStringLiteral("--index"),
         {},
         false,
         Kind::Headless,
         QStringLiteral("bring the conversation index up to date, with progress (index.json)"),
         &IndexOperations::index},
        {QStringLiteral("--search"),
         {QStringLiteral("text")},
         false,
         Kind::Headless,
         QStringLiteral("search the conversation index, at most 8 hits (search.json)"),
         &IndexOperations::search},
        {QStringLiteral("--probe"),
         {QStringLiteral("x"), QStringLiteral("y")},
         true,
         Kind::Headless,
         QStringLiteral("read the word at screen point X Y through accessibility (probe.json)"),
         ProbeOperations::probe},
        {QStringLiteral("--probe-word"),
         {QStringLiteral("application"), QStringLiteral("word")},
         false,
         Kind::Headless,
         QStringLiteral("find WORD in APPLICATION's text on screen and read it back there "
                        "(probe-word.json)"),
         ProbeOperations::probeWord},
        {QStringLiteral("--lookup"),
         {QStringLiteral("term")},
         false,
         Kind::Windowed,
         QStringLiteral("look up TERM in the panel at the pointer; writes lookup.json"),
         LookupOperations::lookup},
        {QStringLiteral("--snapshot"),
         {QStringLiteral("path"), QStringLiteral("term")},
         false,
         Kind::Windowed,
         QStringLiteral("render each tab of a lookup of TERM (shot.png: shot-<tab>.png); "
                        "needs no display"),
         LookupOperations::snapshot},
    };
    return table;
}

const QList<Modifier>& modifiers()
{
    static const QList<Modifier> table = {
        {QStringLiteral("--context"),
         {QStringLiteral("sentence")},
         QStringLiteral("the sentence around the term (--lookup, --snapshot)")},
        {QStringLiteral("--at"),
         {QStringLiteral("x"), QStringLiteral("y")},
         QStringLiteral("where the panel opens instead of the pointer (--lookup)")},
        {QStringLiteral("--hold"),
         {QStringLiteral("seconds")},
         QStringLiteral("keep the panel this long, then exit (--lookup)")},
    };
    return table;
}

namespace {

// The whole text is a number, whether or not a usable one ("inf", "nan", "1e999").
bool readsAsNumber(const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    if (bytes.isEmpty() || std::isspace(static_cast<unsigned char>(bytes.front())))
        return false;
    char* end = nullptr;
    std::strtod(bytes.constData(), &end);
    return end == bytes.constData() + bytes.size();
}

bool applies(const Operation& operation, const Arguments& arguments)
{
    if (!arguments.has(operation.name))
        return false;
    for (int n = 1; n <= operation.valueNames.size(); ++n) {
        const std::optional<QString> value = arguments.value(operation.name, n);
        if (!value)
            return false;
        if (operation.numericValues && !arguments.number(operation.name, n) &&
            !(operation.refusesUnusableNumbers && readsAsNumber(*value)))
            return false;
    }
    return true;
}

} // namespace

const Operation* takingOver(const QStringList& list)
{
    const Arguments arguments(list);
    for (const Operation& operation : operations()) {
        if (operation.kind != Kind::Setting && applies(operation, arguments))
            return &operation;
    }
    return nullptr;
}

bool runCommandLine(const QStringList& list)
{
    const Arguments arguments(list);
    for (const Operation& operation : operations()) {
        if (!applies(operation, arguments))
            continue;
        if (operation.run(arguments) == Outcome::TookOver)
            return true;
    }
    return false;
}

Request request(const QStringList& list)
{
    QHash<QString, qsizetype> valueCounts;
    for (const Operation& operation : operations())
        valueCounts.insert(operation.name, operation.valueNames.size());
    for (const Modifier& modifier : modifiers())
        valueCounts.insert(modifier.name, modifier.valueNames.size());
    Request request;
    for (qsizetype i = 1; i < list.size(); ++i) {
        const QString& argument = list[i];
        if (const auto known = valueCounts.constFind(argument); known != valueCounts.constEnd())
            i += *known; // its values, whatever they look like
        else if (argument == QLatin1String("--help") || argument == QLatin1String("-h"))
            request.help = true;
        else if (argument == QLatin1String("--version"))
            request.version = true;
        else if (argument.startsWith(QLatin1String("--")) && !request.unknownOption)
            request.unknownOption = argument;
    }
    return request;
}

bool changesSettings(const QStringList& list)
{
    const Arguments arguments(list);
    return std::any_of(operations().begin(), operations().end(), [&](const Operation& o) {
        return o.kind == Kind::Setting && applies(o, arguments);
    });
}

QString logDir()
{
    const QString path = XdgPaths::logDir();
    QDir().mkpath(path);
    return path;
}

void emit(const QJsonObject& report, const QString& fileName)
{
    const QByteArray json = QJsonDocument(report).toJson(QJsonDocument::Indented).trimmed();
    QFile file(logDir() + QLatin1Char('/') + fileName);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(json);
    std::fwrite(json.constData(), 1, static_cast<size_t>(json.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

QString versionText()
{
    return QStringLiteral("peekwell ") + QStringLiteral(PEEKWELL_VERSION);
}

QString helpText()
{
    QString text = QStringLiteral(
        "Usage: peekwell [OPTION]...\n"
        "Look up the word under the pointer with a force click (press and hold).\n"
        "Without an operation it starts the desktop application in the system tray.\n"
        "\n"
        "Operations (each writes a JSON report to standard output and to the log folder):\n");
    auto line = [&](const QString& name, const QStringList& values, const QString& help) {
        QString left = QStringLiteral("  ") + name;
        for (const QString& value : values)
            left += QLatin1Char(' ') + value.toUpper();
        text += left.leftJustified(34) + QLatin1Char(' ') + help + QLatin1Char('\n');
    };
    for (const Operation& operation : operations())
        line(operation.name, operation.valueNames, operation.help);
    if (!modifiers().isEmpty()) {
        text += QStringLiteral("\nModifiers:\n");
        for (const Modifier& modifier : modifiers())
            line(modifier.name, modifier.valueNames, modifier.help);
    }
    text += QStringLiteral("\nOther options:\n");
    line(QStringLiteral("--help"), {}, QStringLiteral("show this help and exit"));
    line(QStringLiteral("--version"), {}, QStringLiteral("show the version and exit"));
    text += QStringLiteral("\nFiles:\n  settings  %1\n  reports   %2\n  data      %3\n")
                .arg(Preferences::standardFilePath(), XdgPaths::logDir(), XdgPaths::dataDir());
    return text;
}

void finish(int status)
{
    std::fflush(stdout);
    std::fflush(stderr);
    std::exit(status);
}

} // namespace Diagnostics
