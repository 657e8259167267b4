#pragma once

#include "platform/inputevents.h"

// An input stream driven by the test: events go through the handler exactly as a real
// source's do; the test emits the other signals (buttons, Escape, raw events) itself.
class ScriptedInputEvents : public InputEvents {
    Q_OBJECT
public:
    bool install() override;
    bool isInstalled() const override { return m_installed; }
    QString sourceName() const override { return QStringLiteral("a script"); }
    void watchEscape(bool) override {}

    // Whether install() succeeds (it does unless told otherwise); how often it was called.
    void setRefusing(bool refusing) { m_refusing = refusing; }
    int installCalls() const { return m_installCalls; }

    // One event through the handler; its verdict.
    bool feed(int type, int stage = 0, const QPointF& at = {});

private:
    bool m_installed = false;
    bool m_refusing = false;
    int m_installCalls = 0;
};
