#pragma once

#include <QString>
#include <stdexcept>

// A WordNet file that cannot serve a look-up: missing, unreadable, cut short, or not in the
// layout the reader expects. what() names the file, for the log.
class DictionaryError : public std::runtime_error {
public:
    DictionaryError(const QString& path, const QString& problem)
        : std::runtime_error(
              (QStringLiteral("WordNet file ") + path + QLatin1Char(' ') + problem).toStdString())
    {
    }
};
