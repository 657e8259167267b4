#include "capture/forceclick.h"

#include "capture/textcapture.h"
#include "platform/preferences.h"
#include "platform/timing.h"
#include "settings/pref.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QMetaObject>

namespace ForceClick {

namespace {

struct State {
    bool installed = false;
    bool handledThisPress = false;
    bool swallowingThisPress = false;
    LookupHandler onLookup;
    CaptureFunction capture;
    const Preferences* preferences = nullptr;
    QString lastCapture;
    double lastCaptureMs = 0;
    int pressureEvents = 0;
    int forceClicks = 0;
    QMetaObject::Connection disabledConnection;
};

State& state()
{
    static State s;
    return s;
}

const Preferences& preferences()
{
    return state().preferences ? *state().preferences : Preferences::standard();
}

} // namespace

bool install()
{
    State& s = state();
    if (s.installed)
        return true;
    InputEvents* source = InputEvents::session();
    if (!source || !source->install())
        return false;
    source->setHandler(&handle);
    if (!s.disabledConnection)
        s.disabledConnection = QObject::connect(source, &InputEvents::disabled, source,
                                                [] { state().installed = false; });
    s.installed = true;
    return true;
}

bool isInstalled()
{
    return state().installed;
}

QString sourceName()
{
    InputEvents* source = state().installed ? InputEvents::session() : nullptr;
    return source ? source->sourceName() : QString();
}

bool handle(const InputEvent& event)
{
    State& s = state();
    switch (event.type) {
    case InputEvent::LeftMouseDown:
    case InputEvent::LeftMouseUp:
        // A press begins and ends with the state cleared; buttons themselves always pass.
        s.handledThisPress = false;
        s.swallowingThisPress = false;
        return false;
    case InputEvent::QuickLook:
        return s.swallowingThisPress;
    case InputEvent::Pressure:
        break;
    default:
        return false; // gestures carry no pressure stage here
    }

    ++s.pressureEvents;
    if (event.stage < 2 || s.handledThisPress)
        return s.swallowingThisPress;
    s.handledThisPress = true;
    ++s.forceClicks;
    Timing::mark(QStringLiteral("deep press"));
    if (!preferences().boolValue(Pref::enabled))
        return false;

    QElapsedTimer clock;
    clock.start();
    const std::optional<CapturedText> captured =
        s.capture ? s.capture(event.target) : TextCapture::capture(event.target);
    s.lastCaptureMs = static_cast<double>(clock.nsecsElapsed()) / 1e6;
    Timing::mark(QStringLiteral("captured"));
    if (!captured) {
        s.lastCapture = QStringLiteral("no text at pointer");
        return false;
    }
    s.lastCapture = captured->span.word + QStringLiteral(" via ") + captured->method +
                    QStringLiteral(" in ") + captured->app.value_or(QStringLiteral("?"));
    s.swallowingThisPress = preferences().boolValue(Pref::replaceLookUp);
    // After the verdict has gone back to the source; the handler set at that time runs.
    const CapturedText text = *captured;
    const QPointF point = event.target.screen;
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [text, point] {
            if (state().onLookup)
                state().onLookup(text, point);
        },
        Qt::QueuedConnection);
    return s.swallowingThisPress;
}

void setLookupHandler(LookupHandler handler)
{
    state().onLookup = std::move(handler);
}

QString lastCapture()
{
    return state().lastCapture;
}

double lastCaptureMs()
{
    return state().lastCaptureMs;
}

int pressureEvents()
{
    return state().pressureEvents;
}

int forceClicks()
{
    return state().forceClicks;
}

void setCapture(CaptureFunction capture)
{
    state().capture = std::move(capture);
}

void setPreferences(const Preferences* preferences)
{
    state().preferences = preferences;
}

void reset()
{
    State& s = state();
    QObject::disconnect(s.disabledConnection);
    s.disabledConnection = {};
    s.installed = false;
    s.handledThisPress = false;
    s.swallowingThisPress = false;
    s.lastCapture.clear();
    s.lastCaptureMs = 0;
    s.pressureEvents = 0;
    s.forceClicks = 0;
}

} // namespace ForceClick
