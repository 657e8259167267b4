#pragma once

#include "platform/accessibility.h"

#include <optional>

class AtspiNode;
struct AtspiProgram;
typedef struct _AtspiAccessible AtspiAccessible;

// The accessibility interface of the Linux desktop: AT-SPI 2 through libatspi, on the main
// thread's GLib context. On X11 it finds the window under a point itself (X11Windows); on
// Wayland the target carries the window the compositor named. Offsets reach callers in UTF-16
// units whatever the program counts in (far into a long text of a program counting code
// points, they can fall short by the surrogate pairs before them, but stay exact relative to
// one another); positions in screen coordinates whatever the program reports in.
//
// Without an accessibility bus (none announced, none reachable) every request answers nothing
// and libatspi is never started: it would end the process on its first request.
class AtspiAccessibility : public Accessibility {
public:
    AtspiAccessibility() = default;
    ~AtspiAccessibility() override = default;
    AtspiAccessibility(const AtspiAccessibility&) = delete;
    AtspiAccessibility& operator=(const AtspiAccessibility&) = delete;

    void setMessagingTimeout(double seconds) override;
    Element elementAt(const PointerTarget& target) override;
    Element application(qint64 pid) override;
    std::optional<qint64> processId(const Element& element) override;
    std::optional<Value> attribute(const Element& element, QLatin1String name) override;
    std::optional<Value> parameterizedAttribute(const Element& element, QLatin1String name,
                                                const Value& parameter) override;
    void setAttribute(const Element& element, QLatin1String name, bool value) override;
    QList<RunningApplication> applications() override;
    std::optional<RunningApplication> runningApplication(qint64 pid) override;
    bool isTrusted() override;
    bool requestTrust() override;

private:
    // libatspi is connected to a bus (connecting on first use).
    bool ready();
    // The program's root on the bus (the registration with children when it registered
    // twice), with its facts; null when it is not there.
    std::shared_ptr<AtspiNode> root(qint64 pid);
    std::shared_ptr<AtspiNode> rootByWindowTitle(const QString& title);
    std::shared_ptr<AtspiNode> adopt(AtspiAccessible* root, qint64 pid);
    std::shared_ptr<AtspiNode> focusedElement(AtspiNode& application);
    // The program as the desktop names it.
    static RunningApplication describe(qint64 pid, const QString& accessibilityName);

    std::optional<bool> m_ready;
    int m_timeoutMs = 250;
};
