#pragma once

#include <QString>
#include <exception>
#include <string>

// A response that could not be completed for a reason of the model or the session (transport
// and server failures travel as the executor's own errors).
class GenerationError : public std::exception {
public:
    enum class Kind {
        GuardrailViolation, // the model's safety filter declined the input
        ExceededToolRounds, // the model kept asking for tools
        DecodingFailure,    // a structured answer was not the JSON asked for
        Cancelled,          // the consumer let go
    };

    explicit GenerationError(Kind kind);

    Kind kind() const { return m_kind; }
    // One sentence for the user.
    QString localizedDescription() const;
    const char* what() const noexcept override { return m_what.c_str(); }

private:
    Kind m_kind;
    std::string m_what;
};
