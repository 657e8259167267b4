#pragma once

#include <QString>

// A running program as the desktop lists it.
struct RunningApplication {
    qint64 pid = 0;
    // The name a person knows it by ("Mousepad", "Chromium"): its desktop entry's name where
    // one matches its executable, else the name it gives itself on the accessibility bus.
    QString name;
    // The program's executable, resolved (/proc/PID/exe); empty when unknown.
    QString executable;
    // The name it gives itself on the accessibility bus ("mousepad"); empty when it has not
    // registered there.
    QString accessibilityName;

    friend bool operator==(const RunningApplication&, const RunningApplication&) = default;
};
