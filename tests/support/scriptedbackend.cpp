#include "tests/support/scriptedbackend.h"

using namespace std::chrono_literals;

ScriptedBackend::ScriptedBackend(BackendInfo info, std::vector<Step> steps)
    : LookupBackend(std::move(info)), m_steps(std::move(steps))
{
}

LookupItems ScriptedBackend::items(const QStringList& names)
{
    LookupItems result;
    for (const QString& name : names)
        result.append(LookupItem{name, name, QStringLiteral("detail ") + name,
                                 QStringLiteral("body ") + name, std::nullopt});
    return result;
}

LookupStream ScriptedBackend::lookup(const LookupQuery&) const
{
    auto probe = m_probe;
    auto steps = m_steps;
    return stream([probe, steps](StreamContext& context) {
        ++probe->running;
        struct Leave {
            Probe& p;
            ~Leave() { --p.running; }
        } leave{*probe};
        for (const Step& step : steps) {
            switch (step.kind) {
            case Step::Wait:
                if (!context.sleepFor(step.wait)) {
                    ++probe->cancelled;
                    return;
                }
                break;
            case Step::Yield:
                context.yield(step.items);
                break;
            case Step::Throw:
                throw BackendError(step.message);
            case Step::Gate:
                while (!probe->gateOpen)
                    if (!context.sleepFor(5ms)) {
                        ++probe->cancelled;
                        return;
                    }
                break;
            case Step::Hang:
                while (context.sleepFor(1h)) {
                }
                ++probe->cancelled;
                return;
            }
        }
    });
}
