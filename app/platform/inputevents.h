#pragma once

#include "platform/pointertarget.h"

#include <QObject>
#include <functional>
#include <memory>

// One pointer event, numbered the way the force-click logic counts them.
struct InputEvent {
    enum Type : int {
        LeftMouseDown = 1,
        LeftMouseUp = 2,
        Gesture = 29,
        QuickLook = 33,
        Pressure = 34,
    };

    int type = 0;
    // Pressure events only: 0 released, 1 pressed (an ordinary click), 2 a deep press.
    int stage = 0;
    // Pressure events only: 0 to 1 where the device measures it, else 0 or 1 by stage.
    double pressure = 0;
    // Where it happened, and the window there when the source knows it.
    PointerTarget target;
};

// The session's stream of pointer events: XInput 2 raw events on X11, the GNOME Shell
// extension's reports on GNOME Wayland, a scripted feed in tests. One stream serves the
// force-click logic (through the handler) and the panel (button presses anywhere, Escape).
//
// A source turns a left press into LeftMouseDown and, at once, a Pressure event of stage 1;
// the left button held still (within 4 px) for 0.5 s gives a Pressure event of stage 2; the
// release gives a Pressure event of stage 0 and LeftMouseUp. No source on Linux can take an
// event away from the program it goes to: the handler's verdict is recorded, not acted on.
//
// Main thread only: events, signals and the handler all run there.
class InputEvents : public QObject {
    Q_OBJECT
public:
    // The verdict on one event: true asks for the rest of the press to be swallowed.
    using Handler = std::function<bool(const InputEvent&)>;

    ~InputEvents() override = default;

    // The session's source, made on first use: XInput 2 under X11, the Shell extension's
    // service under GNOME Wayland, null where there is none. Tests replace it with
    // setSession() before first use.
    static InputEvents* session();
    static void setSession(std::unique_ptr<InputEvents> source);

    // Starts listening. True when listening (now or before); false when the session refuses
    // (no display, no XInput 2, no extension). After disabled() it may be called again.
    virtual bool install() = 0;
    virtual bool isInstalled() const = 0;
    // How force clicks are heard, in the user's words: "X11", "the GNOME Shell extension".
    virtual QString sourceName() const = 0;
    // Why the latest install() failed, in the user's words ("cannot open display :1");
    // empty when it did not, or when the source cannot tell.
    virtual QString problem() const { return {}; }
    // While on, Escape is taken from the focused application and reported through
    // escapePressed(); the panel turns it on while it is shown.
    virtual void watchEscape(bool on) = 0;

    void setHandler(Handler handler) { m_handler = std::move(handler); }

Q_SIGNALS:
    // Every mapped event, after the handler has given its verdict.
    void delivered(const InputEvent& event, bool verdict);
    // Any mouse button went down anywhere (1 left, 2 middle, 3 right, 8 back, 9 forward; wheel
    // turns are not presses), at `location` in global screen coordinates.
    void buttonPressed(const QPointF& location, int button);
    void escapePressed();
    // Every event as the source numbers it (XInput 2 event types on X11), with the type it was
    // mapped to or 0 for none; `detail` is the button or key where there is one. `bulk` marks
    // motion and wheel turns, the bulk of all input, which the event watch only counts. A source
    // need not report motion unless something is connected here.
    void rawEvent(int rawType, int mappedType, int detail, bool bulk);
    // The source stopped: the X connection went away, the extension left the bus.
    void disabled();

protected:
    // Runs the handler on one mapped event, returns its verdict, and emits
    // delivered(). Sources call it for every event they map.
    bool deliver(const InputEvent& event);

private:
    Handler m_handler;
};
