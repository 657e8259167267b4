#pragma once

#include <QByteArray>
#include <initializer_list>
#include <map>
#include <optional>
#include <utility>

// Sets and unsets environment variables for the lifetime of the object, and puts back the value
// each one had before this object first touched it (unset if it had none). Objects nest: an
// inner one restores what the outer one set.
class ScopedEnvironment {
public:
    // Each variable gets its value, or is unset when the value is nothing.
    explicit ScopedEnvironment(
        std::initializer_list<std::pair<const char*, std::optional<QByteArray>>> values = {});
    ~ScopedEnvironment();
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

    void set(const char* name, const std::optional<QByteArray>& value);

private:
    std::map<QByteArray, std::optional<QByteArray>> m_saved;
};
