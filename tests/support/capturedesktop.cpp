#include "tests/support/capturedesktop.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>
#include <csignal>

using namespace Qt::Literals::StringLiterals;

namespace {

// Six letters outside the Basic Multilingual Plane before the last line: GTK counts them as
// six characters, a capture as twelve UTF-16 units.
const QString kMousepadText = u"Alpha words lead.\nBravo \U0001D400\U0001D401\U0001D402"
                              u"\U0001D403\U0001D404\U0001D405 follow.\n"
                              u"Delta serendipity arrives unbidden.\n"_s;
const QString kQtLabel = u"Labels hold quiet words."_s;
const QString kQtEditor = u"Quixotic plans rarely survive contact. The editor shows more."_s;
const QByteArray kPage = "<!doctype html><html><head><title>Capture page</title></head>"
                         "<body style=\"font-size: 20px\"><p>An ephemeral page lives briefly. "
                         "Browsers show paragraphs.</p></body></html>";

} // namespace

const CaptureDesktop::Program CaptureDesktop::mousepad{
    u"Mousepad"_s, u"serendipity"_s, u"Delta serendipity arrives unbidden."_s, u"Mousepad"_s};
const CaptureDesktop::Program CaptureDesktop::qt{u"Peekwell Qt window"_s, u"Quixotic"_s,
                                                 u"Quixotic plans rarely survive contact."_s,
                                                 u"Peekwell Qt window"_s};
const CaptureDesktop::Program CaptureDesktop::chromium{u"Chromium"_s, u"ephemeral"_s,
                                                       u"An ephemeral page lives briefly."_s,
                                                       u"Chromium Web Browser"_s};

CaptureDesktop::~CaptureDesktop()
{
    for (const auto& process : m_programs) {
        ::kill(pid_t(process->processId()), SIGCONT);
        process->kill();
        process->waitForFinished(5000);
    }
}

QString CaptureDesktop::missing()
{
    QString list;
    const std::pair<const char*, const char*> needed[] = {
        {"Xvfb", "xvfb"},       {"openbox", "openbox"},   {"xdotool", "xdotool"},
        {"xprop", "x11-utils"}, {"mousepad", "mousepad"}, {"chromium", "chromium"},
        {"dbus-send", "dbus"},
    };
    for (const auto& [program, package] : needed) {
        if (QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty())
            list += u"%1 (%2) "_s.arg(QString::fromLatin1(program), QString::fromLatin1(package));
    }
    if (!A11ySession::installed())
        list += u"at-spi-bus-launcher (at-spi2-core)"_s;
    return list.trimmed();
}

bool CaptureDesktop::start(const QString& qtWindow, bool chromiumSwitch, QString* error)
{
    if (!m_x.start(error) || !m_bus.start(m_x, error))
        return false;
    const QString document = m_home.filePath(u"doc.txt"_s);
    const QString page = m_home.filePath(u"page.html"_s);
    QFile documentFile(document);
    QFile pageFile(page);
    if (!documentFile.open(QIODevice::WriteOnly) || !pageFile.open(QIODevice::WriteOnly)) {
        *error = u"cannot write the programs' files in "_s + m_home.path();
        return false;
    }
    documentFile.write(kMousepadText.toUtf8());
    pageFile.write(kPage);
    documentFile.close();
    pageFile.close();

    const QProcessEnvironment env = programEnvironment();
    error->clear();
    launch(u"mousepad"_s, {document}, env, error);
    launch(qtWindow, {kQtLabel, kQtEditor}, env, error);
    QStringList arguments = {u"--no-sandbox"_s,
                             u"--user-data-dir="_s + m_home.filePath(u"chromium"_s),
                             u"--no-first-run"_s,
                             u"--no-default-browser-check"_s,
                             u"--password-store=basic"_s,
                             u"--disable-gpu"_s,
                             u"--window-position=660,0"_s,
                             u"--window-size=600,560"_s,
                             u"file://"_s + page};
    if (chromiumSwitch)
        arguments.prepend(u"--force-renderer-accessibility"_s);
    launch(u"chromium"_s, arguments, env, error);
    return error->isEmpty() && place(u"doc.txt - Mousepad"_s, 0, 0, 620, 380, error) &&
           place(u"Peekwell Qt window"_s, 0, 440, 600, 300, error) &&
           place(u"Capture page - Chromium"_s, 660, 0, 600, 560, error);
}

QProcessEnvironment CaptureDesktop::programEnvironment() const
{
    QProcessEnvironment env = environment();
    env.insert(u"GSETTINGS_BACKEND"_s, u"memory"_s);
    env.insert(u"LANG"_s, u"C.UTF-8"_s);
    env.insert(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
    return env;
}

qint64 CaptureDesktop::pid(const Program& program) const
{
    const size_t index = &program == &mousepad ? 0 : &program == &qt ? 1 : 2;
    return index < m_programs.size() ? m_programs[index]->processId() : 0;
}

void CaptureDesktop::launch(const QString& program, const QStringList& arguments,
                            const QProcessEnvironment& env, QString* error)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(env);
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->start(program, arguments);
    if (!process->waitForStarted(10000))
        *error += program + u" did not start. "_s;
    m_programs.push_back(std::move(process));
}

bool CaptureDesktop::place(const QString& title, int x, int y, int width, int height,
                           QString* error)
{
    QString id;
    QDeadlineTimer deadline(30000);
    while (id.isEmpty() && !deadline.hasExpired()) {
        id = m_x.tool(u"xdotool"_s, {u"search"_s, u"--onlyvisible"_s, u"--name"_s, title})
                 .section(u'\n', 0, 0)
                 .trimmed();
        if (id.isEmpty())
            QThread::msleep(100);
    }
    if (id.isEmpty()) {
        *error = u"no window titled “%1” appeared"_s.arg(title);
        return false;
    }
    m_x.tool(u"xdotool"_s, {u"windowsize"_s, id, QString::number(width), QString::number(height),
                            u"windowmove"_s, id, QString::number(x), QString::number(y)});
    return true;
}
