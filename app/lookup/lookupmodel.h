#pragma once

#include "lookup/lookupbackend.h"
#include "lookup/lookupitem.h"
#include "lookup/lookupquery.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QList>
#include <QObject>
#include <memory>
#include <optional>

// One lookup: starts every source at once, keeps one tab per source with its phase, items
// and timings, applies each source's time-out, and picks the tab the panel shows until the
// user picks one.
//
// Lives on the main thread and is used only there. Sources' lists arrive as queued calls in
// the order each source yielded them. Destroying the model cancels its sources: nobody is
// left to read their answers.
class LookupModel : public QObject {
    Q_OBJECT
public:
    class Phase {
    public:
        enum Kind { Loading, Streaming, Done, Empty, Failed };

        Phase(Kind kind = Loading) : m_kind(kind) {}
        static Phase failed(QString message) { return Phase(Failed, std::move(message)); }

        Kind kind() const { return m_kind; }
        const QString& message() const { return m_message; }
        bool isRunning() const { return m_kind == Loading || m_kind == Streaming; }
        // "loading", "streaming", "done", "empty" or "failed: " + message.
        QString reportText() const;

        friend bool operator==(const Phase&, const Phase&) = default;

    private:
        Phase(Kind kind, QString message) : m_kind(kind), m_message(std::move(message)) {}
        Kind m_kind;
        QString m_message; // only for Failed
    };

    struct Tab {
        QString id;
        QString title;
        QString symbol;
        Phase phase;
        LookupItems items;
        std::optional<qint64> firstMs; // first non-empty list, ms after the model started
        std::optional<qint64> doneMs;  // last final phase, ms after the model started

        friend bool operator==(const Tab&, const Tab&) = default;
    };

    LookupModel(LookupQuery query, BackendList backends, QObject* parent = nullptr);
    ~LookupModel() override;

    const LookupQuery& query() const { return m_query; }
    const QList<Tab>& tabs() const { return m_tabs; }
    const QString& selected() const { return m_selected; }
    bool userPicked() const { return m_userPicked; }
    const Tab* selectedTab() const;
    // No tab is loading or streaming (true for a model without tabs).
    bool isFinished() const;

    // The user (or the snapshot operation) chose a tab: automatic choice is off from now on.
    void pickTab(const QString& id);

    // Runs the event loop until every tab is final or the seconds have passed.
    void waitUntilFinished(double seconds);

    // {"term", "context", "selected", "tabs": [{"id", "phase", "firstMs", "doneMs", "items"}]}
    QJsonObject report() const;

    // Stops every source: their time-outs stop and their streams are cancelled. A tab still
    // running ends at once with what it has: done with items, empty without.
    void cancelTasks();

Q_SIGNALS:
    // Emitted after every write of the tabs or of the selection.
    void changed();

private:
    class SourceRun;

    void update(const QString& id, const std::function<void(Tab&)>& change);
    void finishSource(const QString& id, const std::optional<QString>& failure);
    void pickUsefulTab();
    qint64 elapsedMs() const;

    LookupQuery m_query;
    QList<Tab> m_tabs;
    QString m_selected;
    bool m_userPicked = false;
    QElapsedTimer m_started;
    std::vector<std::unique_ptr<SourceRun>> m_runs;
};
