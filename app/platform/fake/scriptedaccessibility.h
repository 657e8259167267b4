#pragma once

#include "platform/accessibility.h"

#include <QList>
#include <QString>
#include <functional>
#include <map>
#include <memory>
#include <vector>

// An accessibility tree scripted in memory, for tests. Elements carry plain attributes (fixed
// values) and parameterised ones (functions of the parameter); "AXParent" and "AXChildren"
// follow the tree unless scripted. What is under a point is what the test says. Parameterised
// reads and the writes are recorded in order.
class ScriptedAccessibility : public Accessibility {
public:
    class ScriptedNode : public Node {
    public:
        qint64 pid = 0;
        std::map<QString, Value> attributes;
        std::map<QString, std::function<std::optional<Value>(const Value&)>> parameterized;
        std::weak_ptr<ScriptedNode> parent;
        std::vector<std::shared_ptr<ScriptedNode>> children;
    };
    using ScriptedElement = std::shared_ptr<ScriptedNode>;

    struct Read {
        Element element;
        QString name;
        Value parameter;
    };
    struct Write {
        Element element;
        QString name;
        bool value;
    };

    // A new element of process `pid`, the last child of `parent` when there is one.
    ScriptedElement add(qint64 pid, const ScriptedElement& parent = nullptr);
    // The element under every point from now on (null: none).
    void setElementAt(Element element) { m_hit = std::move(element); }
    // A running program, with the element that stands for it.
    void addApplication(const RunningApplication& application, ScriptedElement element);

    const QList<Read>& reads() const { return m_reads; }
    const QList<Write>& writes() const { return m_writes; }

    void setMessagingTimeout(double) override {}
    Element elementAt(const PointerTarget&) override { return m_hit; }
    Element application(qint64 pid) override;
    std::optional<qint64> processId(const Element& element) override;
    std::optional<Value> attribute(const Element& element, QLatin1String name) override;
    std::optional<Value> parameterizedAttribute(const Element& element, QLatin1String name,
                                                const Value& parameter) override;
    void setAttribute(const Element& element, QLatin1String name, bool value) override;
    QList<RunningApplication> applications() override;
    std::optional<RunningApplication> runningApplication(qint64 pid) override;
    bool isTrusted() override { return true; }
    bool requestTrust() override { return true; }

private:
    Element m_hit;
    std::vector<std::pair<RunningApplication, ScriptedElement>> m_applications;
    QList<Read> m_reads;
    QList<Write> m_writes;
};
