#include "shell/appstatus.h"

#include "backends/appleintelligencebackend.h"
#include "backends/backends.h"
#include "capture/forceclick.h"
#include "chats/chatindex.h"
#include "diagnostics/diagnostics.h"
#include "lookup/lookupstream.h"
#include "panel/lookuppanel.h"
#include "panel/lookuppanelcontroller.h"
#include "platform/gnome/gnomeshellextension.h"
#include "platform/preferences.h"
#include "platform/x11/x11activewindow.h"
#include "recall/recallmodel.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDateTime>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPointer>
#include <QSaveFile>
#include <QtConcurrent/QtConcurrentRun>

Q_LOGGING_CATEGORY(lcShell, "peekwell.shell", QtInfoMsg)

namespace {

constexpr int kTicksPerIndexPass = 15;

RunningApplication runningApplication(const X11ActiveWindow::Owner& owner)
{
    RunningApplication application;
    application.pid = owner.pid;
    application.executable =
        QFileInfo(QStringLiteral("/proc/%1/exe").arg(owner.pid)).symLinkTarget();
    application.name =
        owner.className.isEmpty() ? QFileInfo(application.executable).fileName() : owner.className;
    return application;
}

QJsonValue orNull(const QString& text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

} // namespace

AppStatus& AppStatus::shared()
{
    static AppStatus* status = new AppStatus; // lives with the process
    return *status;
}

AppStatus::AppStatus(Hooks hooks, QObject* parent)
    : QObject(parent), m_hooks(std::move(hooks)), m_session(DesktopSession::current()),
      m_appleModel(QStringLiteral("Checking…"))
{
    Hooks& h = m_hooks;
    if (!h.setLookupHandler)
        h.setLookupHandler = [](auto handler) { ForceClick::setLookupHandler(std::move(handler)); };
    if (!h.prewarm)
        h.prewarm = [] { AppleIntelligenceBackend::prewarm(); };
    if (!h.trusted)
        h.trusted = &TextCapture::trusted;
    if (!h.requestAccess)
        h.requestAccess = &TextCapture::requestAccess;
    if (!h.installListener)
        h.installListener = &ForceClick::install;
    if (!h.listenerInstalled)
        h.listenerInstalled = &ForceClick::isInstalled;
    if (!h.listenerSource)
        h.listenerSource = &ForceClick::sourceName;
    if (!h.listenerProblem)
        h.listenerProblem = [this] {
            // X11's own problems are covered by the menu's lines; a Wayland desktop needs the
            // extension, or has nothing that could hear a press.
            const bool wayland = m_session == DesktopSession::Kind::GnomeWayland ||
                                 m_session == DesktopSession::Kind::OtherWayland;
            return wayland ? GnomeShellExtension::status(m_session).message : QString();
        };
    if (!h.appleModel)
        h.appleModel = [] { return AppleIntelligenceBackend::status(); };
    if (!h.indexPass)
        h.indexPass = [](std::function<void(qint64)> done) {
            ChatIndex::shared().refreshInBackground(
                [done = std::move(done)](const ChatIndex::Stats&) {
                    done(ChatIndex::shared().sessionCount());
                });
        };
    if (!h.activeApplication)
        h.activeApplication = [this]() -> std::optional<RunningApplication> {
            if (!startActiveWindow())
                return std::nullopt;
            const std::optional<X11ActiveWindow::Owner> owner = m_activeWindow->current();
            return owner ? std::optional(runningApplication(*owner)) : std::nullopt;
        };
    if (!h.enableWebAccessibility)
        h.enableWebAccessibility = &TextCapture::enableWebAccessibility;
    if (!h.observeActivations)
        h.observeActivations = [this](auto activated) {
            if (!startActiveWindow())
                return;
            connect(m_activeWindow, &X11ActiveWindow::activated, this,
                    [activated](const X11ActiveWindow::Owner& owner) {
                        activated(runningApplication(owner));
                    });
        };
    if (!h.show)
        h.show = [](const LookupQuery& query, const QPointF& point) {
            LookupPanelController::shared().show(query, point,
                                                 Backends::enabled(Preferences::standard()));
        };
    if (!h.pointer)
        h.pointer = [] { return QPointF(QCursor::pos()); };
    m_trusted = h.trusted();
}

AppStatus::~AppStatus() = default;

LookupQuery AppStatus::sampleQuery()
{
    return LookupQuery{
        QStringLiteral("launch"),
        QStringLiteral("What would make a first launch successful if revenue isn't the measure?"),
        QStringLiteral("Peekwell")};
}

template <typename T> void AppStatus::publish(T& field, const T& value)
{
    if (field == value)
        return;
    field = value;
    Q_EMIT changed();
}

bool AppStatus::startActiveWindow()
{
    if (m_session != DesktopSession::Kind::X11)
        return false;
    if (!m_activeWindow) {
        m_activeWindow = new X11ActiveWindow(this);
        connect(m_activeWindow, &X11ActiveWindow::connectionLost, this, &AppStatus::displayLost);
    }
    if (m_activeWindow->isStarted())
        return true;
    QString error;
    if (m_activeWindow->start(&error))
        return true;
    qCWarning(lcShell).noquote() << "no active-window notices:" << error;
    return false;
}

void AppStatus::start()
{
    QPointer<AppStatus> self(this);
    m_hooks.setLookupHandler([self](const CapturedText& captured, const QPointF& point) {
        if (self)
            self->lookUp(captured, point);
    });
    m_hooks.prewarm();
    refresh();
    if (!m_trusted)
        m_hooks.requestAccess();
    refreshIndex();
    if (const std::optional<RunningApplication> application = m_hooks.activeApplication())
        m_hooks.enableWebAccessibility(*application);
    m_hooks.observeActivations([self](const RunningApplication& application) {
        if (self)
            self->activated(application);
    });
    if (!m_timer) {
        m_timer = new QTimer(this);
        connect(m_timer, &QTimer::timeout, this, &AppStatus::tick);
    }
    m_timer->start(m_tickInterval);
}

void AppStatus::refresh()
{
    publish(m_trusted, m_hooks.trusted());
    if (m_trusted && !m_hooks.listenerInstalled())
        m_hooks.installListener();
    publish(m_tapInstalled, m_hooks.listenerInstalled());
    publish(m_listenerSource, m_tapInstalled ? m_hooks.listenerSource() : QString());
    publish(m_listenerProblem, m_tapInstalled ? QString() : m_hooks.listenerProblem());
    checkAppleModel();
    writeStatusFile();
}

void AppStatus::checkAppleModel()
{
    // The local model server may take seconds to answer; one question at a time.
    if (m_appleModelCheck)
        return;
    m_appleModelCheck = new QFutureWatcher<QString>(this);
    connect(m_appleModelCheck, &QFutureWatcher<QString>::finished, this, [this] {
        const QString text = m_appleModelCheck->result();
        m_appleModelCheck->deleteLater();
        m_appleModelCheck = nullptr;
        publish(m_appleModel, text);
    });
    m_appleModelCheck->setFuture(QtConcurrent::run(&ioThreadPool(), m_hooks.appleModel));
}

void AppStatus::writeStatusFile() const
{
    const QJsonObject status{
        {QStringLiteral("forceClicks"), ForceClick::forceClicks()},
        {QStringLiteral("lastCapture"), ForceClick::lastCapture()},
        {QStringLiteral("lastCaptureMs"), ForceClick::lastCaptureMs()},
        {QStringLiteral("listenerProblem"), orNull(m_listenerProblem)},
        {QStringLiteral("listeningThrough"), orNull(m_listenerSource)},
        {QStringLiteral("pressureEvents"), ForceClick::pressureEvents()},
        {QStringLiteral("tapInstalled"), m_tapInstalled},
        {QStringLiteral("trusted"), m_trusted},
        {QStringLiteral("updated"), QDateTime::currentDateTimeUtc().toString(Qt::ISODate)},
    };
    QSaveFile file(Diagnostics::logDir() + QStringLiteral("/status.json"));
    if (file.open(QIODevice::WriteOnly))
        file.write(QJsonDocument(status).toJson(QJsonDocument::Indented));
    file.commit();
}

void AppStatus::refreshIndex()
{
    publish(m_indexing, true);
    QPointer<AppStatus> self(this);
    m_hooks.indexPass([self](qint64 sessions) {
        // On the index's thread: the fields change on the main thread (unless the
        // application has already ended).
        QCoreApplication* app = QCoreApplication::instance();
        if (!app)
            return;
        QMetaObject::invokeMethod(
            app,
            [self, sessions] {
                if (!self)
                    return;
                self->publish(self->m_indexedSessions, sessions);
                self->publish(self->m_indexing, false);
            },
            Qt::QueuedConnection);
    });
}

void AppStatus::tick()
{
    refresh();
    ++m_ticks;
    if (m_ticks % kTicksPerIndexPass == 0)
        refreshIndex();
}

void AppStatus::activated(const RunningApplication& application)
{
    // Not examined while accessibility is off, so it is examined on a later activation.
    if (!m_hooks.trusted())
        return;
    m_hooks.enableWebAccessibility(application);
}

void AppStatus::lookUp(const CapturedText& captured, const QPointF& point)
{
    m_hooks.show(LookupQuery{captured.span.word, captured.span.sentence, captured.app}, point);
}

void AppStatus::tryLookup()
{
    m_hooks.show(sampleQuery(), m_hooks.pointer());
}

bool AppStatus::requestAccess()
{
    const bool granted = m_hooks.requestAccess();
    refresh();
    return granted;
}
