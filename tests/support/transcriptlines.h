#pragma once

#include <QByteArray>

// One line of a Claude Code transcript, newline included: a message of `role` ("user" or
// "assistant") with `text` as its whole content, in session `session`, started in /work/app.
inline QByteArray claudeLine(const QByteArray& role, const QByteArray& text,
                             const QByteArray& session = "sess-1")
{
    return R"({"type":")" + role + R"(","sessionId":")" + session +
           R"(","cwd":"/work/app","timestamp":"2026-03-01T12:00:00Z","message":{"role":")" + role +
           R"(","content":")" + text + "\"}}\n";
}
