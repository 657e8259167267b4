#include "lookup/lookupmodel.h"

#include "lookup/backenderror.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFutureWatcher>
#include <QJsonArray>
#include <QTimer>

// One source of one lookup: its stream, the watcher that brings its lists to the main
// thread, and its time-out. The first of "stream ended" and "time-out fired" decides.
class LookupModel::SourceRun {
public:
    SourceRun(LookupModel* model, const BackendPtr& backend)
        : m_model(model), m_id(backend->id()), m_stream(backend->lookup(model->m_query))
    {
        m_timer.setSingleShot(true);
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, model,
                         [this, timeout = backend->timeout()] { onTimeout(timeout); });
        QObject::connect(&m_watcher, &QFutureWatcherBase::resultsReadyAt, model,
                         [this](int begin, int end) { onResults(begin, end); });
        QObject::connect(&m_watcher, &QFutureWatcherBase::finished, model,
                         [this] { onFinished(); });
        m_timer.start(timeoutMs(backend->timeout()));
        m_watcher.setFuture(m_stream.future());
    }

    ~SourceRun() { cancel(); }

    // Stops the time-out and the stream; true when the source was still running.
    bool cancel()
    {
        if (m_settled)
            return false;
        m_settled = true;
        m_timer.stop();
        m_stream.cancel();
        return true;
    }

    const QString& id() const { return m_id; }

private:
    static int timeoutMs(double seconds)
    {
        const double ms = seconds * 1000.0;
        if (!(ms > 0))
            return 0;
        return ms > 2e9 ? 2'000'000'000 : static_cast<int>(ms);
    }

    void onResults(int begin, int end)
    {
        if (m_settled)
            return;
        const QFuture<LookupItems>& future = m_stream.future();
        for (int i = begin; i < end; ++i) {
            LookupItems items = future.resultAt(i);
            m_model->update(m_id, [&](Tab& tab) {
                tab.items = std::move(items);
                tab.phase = Phase::Streaming;
            });
        }
    }

    void onFinished()
    {
        if (m_settled)
            return;
        m_settled = true;
        m_timer.stop();
        std::optional<QString> failure;
        if (std::exception_ptr error = m_stream.error()) {
            try {
                std::rethrow_exception(error);
            } catch (const BackendError& e) {
                failure = e.localizedDescription();
            } catch (const std::exception& e) {
                failure = QString::fromUtf8(e.what());
            } catch (...) {
                failure = QStringLiteral("The operation couldn’t be completed.");
            }
        }
        m_model->finishSource(m_id, failure);
    }

    void onTimeout(double seconds)
    {
        if (m_settled)
            return;
        m_settled = true;
        m_stream.cancel();
        const qint64 whole = static_cast<qint64>(seconds); // truncated toward zero
        m_model->finishSource(m_id, QStringLiteral("No answer after %1 s").arg(whole));
    }

    LookupModel* m_model;
    QString m_id;
    LookupStream m_stream;
    QFutureWatcher<LookupItems> m_watcher;
    QTimer m_timer;
    bool m_settled = false;
};

QString LookupModel::Phase::reportText() const
{
    switch (m_kind) {
    case Loading:
        return QStringLiteral("loading");
    case Streaming:
        return QStringLiteral("streaming");
    case Done:
        return QStringLiteral("done");
    case Empty:
        return QStringLiteral("empty");
    case Failed:
        return QStringLiteral("failed: ") + m_message;
    }
    return {};
}

LookupModel::LookupModel(LookupQuery query, BackendList backends, QObject* parent)
    : QObject(parent), m_query(std::move(query))
{
    m_started.start();
    for (const BackendPtr& backend : backends)
        m_tabs.append(Tab{backend->id(),
                          backend->title(),
                          backend->symbol(),
                          Phase::Loading,
                          {},
                          std::nullopt,
                          std::nullopt});
    if (!backends.isEmpty())
        m_selected = backends.first()->id();
    m_runs.reserve(backends.size());
    for (const BackendPtr& backend : backends)
        m_runs.push_back(std::make_unique<SourceRun>(this, backend));
}

LookupModel::~LookupModel()
{
    for (auto& run : m_runs)
        run->cancel();
}

const LookupModel::Tab* LookupModel::selectedTab() const
{
    for (const Tab& tab : m_tabs) {
        if (tab.id == m_selected)
            return &tab;
    }
    return nullptr;
}

bool LookupModel::isFinished() const
{
    return std::none_of(m_tabs.begin(), m_tabs.end(),
                        [](const Tab& tab) { return tab.phase.isRunning(); });
}

void LookupModel::pickTab(const QString& id)
{
    m_selected = id;
    m_userPicked = true;
    Q_EMIT changed();
}

void LookupModel::waitUntilFinished(double seconds)
{
    QDeadlineTimer deadline(static_cast<qint64>(std::max(0.0, seconds) * 1000.0), Qt::PreciseTimer);
    QEventLoop loop;
    QTimer pause;
    pause.setSingleShot(true);
    QObject::connect(&pause, &QTimer::timeout, &loop, &QEventLoop::quit);
    QObject::connect(this, &LookupModel::changed, &loop, &QEventLoop::quit);
    while (!isFinished() && !deadline.hasExpired()) {
        pause.start(static_cast<int>(std::clamp<qint64>(deadline.remainingTime(), 0, 50)));
        loop.exec();
    }
}

QJsonObject LookupModel::report() const
{
    QJsonArray tabs;
    for (const Tab& tab : m_tabs) {
        QJsonArray items;
        for (const LookupItem& item : tab.items)
            items.append(QJsonArray{item.title, item.detail.value_or(QString()),
                                    item.body.value_or(QString())});
        auto optionalMs = [](const std::optional<qint64>& ms) {
            return ms ? QJsonValue(*ms) : QJsonValue(QJsonValue::Null);
        };
        tabs.append(QJsonObject{{QStringLiteral("id"), tab.id},
                                {QStringLiteral("phase"), tab.phase.reportText()},
                                {QStringLiteral("firstMs"), optionalMs(tab.firstMs)},
                                {QStringLiteral("doneMs"), optionalMs(tab.doneMs)},
                                {QStringLiteral("items"), items}});
    }
    return QJsonObject{{QStringLiteral("term"), m_query.term},
                       {QStringLiteral("context"), m_query.context ? QJsonValue(*m_query.context)
                                                                   : QJsonValue(QJsonValue::Null)},
                       {QStringLiteral("selected"), m_selected},
                       {QStringLiteral("tabs"), tabs}};
}

void LookupModel::cancelTasks()
{
    // The consumer of a cancelled stream ends normally, so its tab closes with what it has.
    for (auto& run : m_runs) {
        if (run->cancel())
            finishSource(run->id(), std::nullopt);
    }
}

void LookupModel::update(const QString& id, const std::function<void(Tab&)>& change)
{
    auto tab = std::find_if(m_tabs.begin(), m_tabs.end(), [&](const Tab& t) { return t.id == id; });
    if (tab == m_tabs.end())
        return;
    change(*tab);
    const qint64 ms = elapsedMs();
    if (!tab->firstMs && !tab->items.isEmpty())
        tab->firstMs = ms;
    if (!tab->phase.isRunning())
        tab->doneMs = ms;
    Q_EMIT changed();
}

void LookupModel::finishSource(const QString& id, const std::optional<QString>& failure)
{
    update(id, [&](Tab& tab) {
        if (failure)
            tab.phase = Phase::failed(*failure);
        else
            tab.phase = tab.items.isEmpty() ? Phase::Empty : Phase::Done;
    });
    pickUsefulTab();
}

void LookupModel::pickUsefulTab()
{
    if (m_userPicked)
        return;
    const Tab* current = selectedTab();
    if (!current || current->phase.isRunning() || !current->items.isEmpty())
        return;
    for (const Tab& tab : m_tabs) {
        if (!tab.items.isEmpty()) {
            if (tab.id != m_selected) {
                m_selected = tab.id;
                Q_EMIT changed();
            }
            return;
        }
    }
}

qint64 LookupModel::elapsedMs() const
{
    return m_started.nsecsElapsed() / 1'000'000;
}
