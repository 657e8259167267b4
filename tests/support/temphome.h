#pragma once

#include "tests/support/scopedenvironment.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// Points HOME and the XDG folders at a fresh temporary folder for the lifetime of the
// object, and puts the old values back afterwards. Anything the program derives from them
// (settings, logs, the index) lands in the temporary home.
class TempHome {
public:
    TempHome();

    QString path() const { return m_dir.path(); }
    // Writes a file under the home (folders made as needed) and returns its full path.
    QString write(const QString& relativePath, const QByteArray& contents) const;

private:
    QTemporaryDir m_dir;
    ScopedEnvironment m_environment;
};
