#include "tests/support/scopedenvironment.h"

#include <QtGlobal>

ScopedEnvironment::ScopedEnvironment(
    std::initializer_list<std::pair<const char*, std::optional<QByteArray>>> values)
{
    for (const auto& [name, value] : values)
        set(name, value);
}

ScopedEnvironment::~ScopedEnvironment()
{
    for (const auto& [name, value] : m_saved) {
        if (value)
            qputenv(name.constData(), *value);
        else
            qunsetenv(name.constData());
    }
}

void ScopedEnvironment::set(const char* name, const std::optional<QByteArray>& value)
{
    if (!m_saved.contains(name))
        m_saved[name] =
            qEnvironmentVariableIsSet(name) ? std::optional(qgetenv(name)) : std::nullopt;
    if (value)
        qputenv(name, *value);
    else
        qunsetenv(name);
}
