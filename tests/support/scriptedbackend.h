#pragma once

#include "lookup/backenderror.h"
#include "lookup/lookupbackend.h"

#include <QStringList>
#include <atomic>
#include <chrono>
#include <memory>
#include <vector>

// A source that plays a script: steps of "wait", "yield this list", "throw", "hang" and "wait
// until the test opens the gate".
// Counts how many of its producers are running and whether one saw its cancellation, so
// tests can check that the consumer's cancellation reached it.
class ScriptedBackend : public LookupBackend {
public:
    struct Step {
        enum Kind { Wait, Yield, Throw, Hang, Gate } kind;
        std::chrono::milliseconds wait{0};
        LookupItems items;
        QString message;
    };

    ScriptedBackend(BackendInfo info, std::vector<Step> steps);

    static Step wait(std::chrono::milliseconds ms) { return {Step::Wait, ms, {}, {}}; }
    static Step yield(LookupItems items) { return {Step::Yield, {}, std::move(items), {}}; }
    static Step fail(QString message) { return {Step::Throw, {}, {}, std::move(message)}; }
    static Step hang() { return {Step::Hang, {}, {}, {}}; }
    static Step gate() { return {Step::Gate, {}, {}, {}}; }

    // Items with ids and titles taken from the names.
    static LookupItems items(const QStringList& names);

    LookupStream lookup(const LookupQuery& query) const override;

    struct Probe {
        std::atomic<int> running{0};
        std::atomic<int> cancelled{0};
        std::atomic<bool> gateOpen{false};
    };
    std::shared_ptr<Probe> probe() const { return m_probe; }
    // Lets every producer, running or to come, past its gate steps.
    void openGate() const { m_probe->gateOpen = true; }

private:
    std::vector<Step> m_steps;
    std::shared_ptr<Probe> m_probe = std::make_shared<Probe>();
};

inline BackendPtr scripted(const QString& id, double timeout,
                           std::vector<ScriptedBackend::Step> steps)
{
    return std::make_shared<ScriptedBackend>(
        BackendInfo{id, id.toUpper(), QStringLiteral("globe"), timeout}, std::move(steps));
}
