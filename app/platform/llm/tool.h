#pragma once

#include "platform/llm/cancelcheck.h"
#include "platform/llm/generatedcontent.h"
#include "platform/llm/generationschema.h"

#include <QString>

// Something the model may ask to be done during a response, e.g. a search. A tool's result
// is text handed back to the model.
//
// call() runs on a thread of its own, possibly at the same time as other calls of this or
// other tools, so a tool keeps no unguarded state. It should return soon after `isCanceled`
// says so; a thrown exception ends the whole response with that error.
class Tool {
public:
    virtual ~Tool() = default;
    virtual QString name() const = 0;
    virtual QString description() const = 0;
    virtual GenerationSchema parameters() const = 0;
    virtual QString call(const GeneratedContent& arguments,
                         const CancelCheck& isCanceled) const = 0;
};
