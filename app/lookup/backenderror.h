#pragma once

#include <QString>
#include <exception>
#include <optional>
#include <string>

// The error a source throws when it fails. Its description is exactly what the source's
// tab shows, so it is a short sentence that says what to do.
class BackendError : public std::exception {
public:
    explicit BackendError(std::optional<QString> errorDescription)
        : m_errorDescription(std::move(errorDescription)),
          m_what(m_errorDescription.value_or(QString()).toStdString())
    {
    }

    const std::optional<QString>& errorDescription() const { return m_errorDescription; }
    // The text shown to the user. A missing description falls back to a generic sentence,
    // as an error without a description of its own does elsewhere.
    QString localizedDescription() const
    {
        return m_errorDescription.value_or(QStringLiteral("The operation couldn’t be completed."));
    }
    const char* what() const noexcept override { return m_what.c_str(); }

    friend bool operator==(const BackendError& a, const BackendError& b)
    {
        return a.m_errorDescription == b.m_errorDescription;
    }

private:
    std::optional<QString> m_errorDescription;
    std::string m_what;
};
