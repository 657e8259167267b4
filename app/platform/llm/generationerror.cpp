#include "platform/llm/generationerror.h"

#include "platform/llm/session.h"

GenerationError::GenerationError(Kind kind)
    : m_kind(kind), m_what(localizedDescription().toStdString())
{
}

QString GenerationError::localizedDescription() const
{
    switch (m_kind) {
    case Kind::GuardrailViolation:
        return QStringLiteral("The model's safety filter declined the request");
    case Kind::ExceededToolRounds:
        return QStringLiteral("The model kept calling tools; stopped after %1 rounds")
            .arg(Session::maximumToolRounds);
    case Kind::DecodingFailure:
        return QStringLiteral("The model's answer was not the JSON that was asked for");
    case Kind::Cancelled:
        return QStringLiteral("Cancelled");
    }
    return {};
}
