#include "platform/fake/scriptedaccessibility.h"

namespace {

std::shared_ptr<ScriptedAccessibility::ScriptedNode> scripted(const Accessibility::Element& e)
{
    return std::dynamic_pointer_cast<ScriptedAccessibility::ScriptedNode>(e);
}

} // namespace

ScriptedAccessibility::ScriptedElement ScriptedAccessibility::add(qint64 pid,
                                                                  const ScriptedElement& parent)
{
    auto node = std::make_shared<ScriptedNode>();
    node->pid = pid;
    if (parent) {
        node->parent = parent;
        parent->children.push_back(node);
    }
    return node;
}

void ScriptedAccessibility::addApplication(const RunningApplication& application,
                                           ScriptedElement element)
{
    m_applications.emplace_back(application, std::move(element));
}

Accessibility::Element ScriptedAccessibility::application(qint64 pid)
{
    for (const auto& [application, element] : m_applications) {
        if (application.pid == pid)
            return element;
    }
    return nullptr;
}

std::optional<qint64> ScriptedAccessibility::processId(const Element& element)
{
    if (const auto node = scripted(element))
        return node->pid;
    return std::nullopt;
}

std::optional<Accessibility::Value> ScriptedAccessibility::attribute(const Element& element,
                                                                     QLatin1String name)
{
    const auto node = scripted(element);
    if (!node)
        return std::nullopt;
    if (const auto found = node->attributes.find(name); found != node->attributes.end())
        return found->second;
    if (name == QLatin1String("AXParent")) {
        if (ScriptedElement parent = node->parent.lock())
            return Value(Element(parent));
    } else if (name == QLatin1String("AXChildren")) {
        return Value(QList<Element>(node->children.begin(), node->children.end()));
    }
    return std::nullopt;
}

std::optional<Accessibility::Value>
ScriptedAccessibility::parameterizedAttribute(const Element& element, QLatin1String name,
                                              const Value& parameter)
{
    m_reads.append({element, name, parameter});
    const auto node = scripted(element);
    if (!node)
        return std::nullopt;
    const auto found = node->parameterized.find(name);
    if (found == node->parameterized.end())
        return std::nullopt;
    return found->second(parameter);
}

void ScriptedAccessibility::setAttribute(const Element& element, QLatin1String name, bool value)
{
    m_writes.append({element, name, value});
}

QList<RunningApplication> ScriptedAccessibility::applications()
{
    QList<RunningApplication> list;
    for (const auto& entry : m_applications)
        list.append(entry.first);
    return list;
}

std::optional<RunningApplication> ScriptedAccessibility::runningApplication(qint64 pid)
{
    for (const auto& entry : m_applications) {
        if (entry.first.pid == pid)
            return entry.first;
    }
    return std::nullopt;
}
