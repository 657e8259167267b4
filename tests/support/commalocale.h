#pragma once

#include <clocale>
#include <string>

// Switches the C library's numbers to German conventions (a comma before the decimals) for
// the object's lifetime, as a QApplication does for a user whose locale is de_DE.UTF-8.
// scripts/install-deps.sh generates that locale; ok() is false where it is missing.
class CommaLocale {
public:
    CommaLocale() : m_saved(std::setlocale(LC_NUMERIC, nullptr))
    {
        m_ok = std::setlocale(LC_NUMERIC, "de_DE.UTF-8") != nullptr;
    }
    ~CommaLocale() { std::setlocale(LC_NUMERIC, m_saved.c_str()); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

    bool ok() const { return m_ok; }

private:
    std::string m_saved;
    bool m_ok = false;
};
