#pragma once

#include <QString>
#include <QStringList>
#include <optional>

// The process arguments as the diagnostic operations read them.
//
// An option is a whole argument equal to its name (case-sensitive); the first such argument
// counts, wherever it stands. Its values are the arguments right after it, taken unchanged
// even when they look like options; a value past the end is absent. Numbers are read from the
// whole text (exponents allowed); text that is not a number, or a number that is not finite,
// is absent.
class Arguments {
public:
    // `all` is the full argument list, the executable path first.
    explicit Arguments(QStringList all) : m_all(std::move(all)) {}

    const QStringList& all() const { return m_all; }
    bool has(const QString& option) const { return position(option) >= 0; }
    // The n-th value of the option, counted from 1.
    std::optional<QString> value(const QString& option, int n = 1) const;
    std::optional<double> number(const QString& option, int n = 1) const;

    static std::optional<double> parseNumber(const QString& text);

private:
    qsizetype position(const QString& option) const;
    QStringList m_all;
};
