#pragma once

#include <QList>
#include <QString>
#include <memory>

class Executor;

// Whether a model can answer now, and if not, a sentence telling the user what to do.
struct Availability {
    bool isAvailable = true;
    QString reason; // empty when available

    static Availability available() { return {}; }
    static Availability unavailable(QString reason) { return {false, std::move(reason)}; }
    friend bool operator==(const Availability&, const Availability&) = default;
};

// A language model a session can drive: what it can do, and the executor that runs its
// turns. Immutable once made; may be shared between threads.
class LanguageModel {
public:
    enum class Capability { ToolCalling, GuidedGeneration };

    virtual ~LanguageModel() = default;
    virtual QList<Capability> capabilities() const = 0;
    virtual std::shared_ptr<const Executor> executor() const = 0;
    // May block briefly (a model server is asked); worker threads or the command line only.
    virtual Availability availability() const { return Availability::available(); }
};
