// Peekwell's eyes in GNOME Shell. Under Wayland only the compositor sees the buttons and the
// window under the pointer; this reports the left button's press, motion and release (with the
// window under the pointer at the press), other buttons' presses and, on request, Escape to the
// running Peekwell over the session bus. Timing, thresholds and everything else stay in Peekwell.
//
// Mutter hands button events on application windows straight to the Wayland client, so neither
// a Clutter event filter nor the stage's captured-event sees them. Three things do see input,
// and global.get_pointer() already carries the new button state when they run: the cursor
// tracker's position-invalidated (every pointer motion), the core idle monitor's user-active
// watch (the first event after a quiet spell) and its idle watch (QUIET_MS after the last
// event). The button state is sampled at each of them, so a press is seen at once after a
// pause or during motion, and at most QUIET_MS late when it follows motion closely. No timer
// of ours runs: the only extra wake-up is the idle watch, once per burst of input.
//
// This file is the extension's only logic. The build wraps it into the two forms GNOME Shell
// loads (legacy imports for 43 and 44, an ES module for 45 on), which define Gio, GLib, Clutter,
// Meta, Shell and Main before it and call PeekwellBridge's enable() and disable().

const PEEKWELL_NAME = 'io.github.peekwell.Peekwell';
const PEEKWELL_PATH = '/io/github/peekwell/Pointer';
const PEEKWELL_IFACE = 'io.github.peekwell.Pointer';
const SHELL_PATH = '/io/github/peekwell/Shell';
const SHELL_IFACE_XML = `<node>
  <interface name="io.github.peekwell.Shell">
    <method name="Hello"><arg type="u" direction="out" name="protocol"/></method>
    <method name="WatchEscape"><arg type="b" direction="in" name="on"/></method>
    <method name="Stats">
      <arg type="u" direction="out" name="wakeups"/>
      <arg type="u" direction="out" name="samples"/>
      <arg type="u" direction="out" name="reports"/>
    </method>
  </interface>
</node>`;
const PROTOCOL = 1;
const QUIET_MS = 25;
// The button bits of the modifier mask and the X numbers Peekwell uses for them. Mutter's
// native seat sets BUTTON2_MASK for the right button and BUTTON3_MASK for the middle one.
const BUTTONS = [[1 << 8, 1], [1 << 9, 3], [1 << 10, 2]];
const LEFT_MASK = 1 << 8;

var PeekwellBridge = class PeekwellBridge {
    enable() {
        this._peer = null;
        this._mask = 0;
        this._x = 0;
        this._y = 0;
        this._motionId = 0;
        this._quietWatch = 0;
        this._activeWatch = 0;
        this._escapeAction = 0;
        this._wakeups = 0;
        this._samples = 0;
        this._reports = 0;
        this._monitor = global.backend.get_core_idle_monitor();
        this._cursor = global.backend.get_cursor_tracker
            ? global.backend.get_cursor_tracker()
            : Meta.CursorTracker.get_for_display(global.display);
        this._dbus = Gio.DBusExportedObject.wrapJSObject(SHELL_IFACE_XML, this);
        this._dbus.export(Gio.DBus.session, SHELL_PATH);
        this._acceleratorId = global.display.connect('accelerator-activated',
            (display, action) => {
                if (action === this._escapeAction && this._escapeAction)
                    this._report('Escape', null);
            });
        this._nameWatch = Gio.bus_watch_name(Gio.BusType.SESSION, PEEKWELL_NAME,
            Gio.BusNameWatcherFlags.NONE,
            (connection, name, owner) => this._attach(owner),
            () => this._detach());
    }

    disable() {
        if (this._peer)
            this._report('Detach', null);
        this._detach();
        Gio.bus_unwatch_name(this._nameWatch);
        global.display.disconnect(this._acceleratorId);
        this._dbus.unexport();
        this._dbus = null;
        this._monitor = null;
        this._cursor = null;
    }

    _attach(owner) {
        this._detach();
        this._peer = owner;
        this._report('Attach', null);
        [this._x, this._y, this._mask] = global.get_pointer();
        this._motionId = this._cursor.connect('position-invalidated', () => this._sample());
        this._quietWatch = this._monitor.add_idle_watch(QUIET_MS, () => this._quiet());
        this._activeWatch = this._monitor.add_user_active_watch(() => this._active());
    }

    _detach() {
        this._peer = null;
        if (this._motionId)
            this._cursor.disconnect(this._motionId);
        this._motionId = 0;
        if (this._quietWatch)
            this._monitor.remove_watch(this._quietWatch);
        if (this._activeWatch)
            this._monitor.remove_watch(this._activeWatch);
        this._quietWatch = this._activeWatch = 0;
        this._watchEscape(false);
    }

    // The first event after a quiet spell; the watch is spent.
    _active() {
        this._activeWatch = 0;
        this._sample();
    }

    // QUIET_MS without input: a last look, then wait for the next event.
    _quiet() {
        this._wakeups++;
        this._sample();
        if (!this._activeWatch)
            this._activeWatch = this._monitor.add_user_active_watch(() => this._active());
    }

    _sample() {
        this._samples++;
        const [x, y, mask] = global.get_pointer();
        const was = this._mask;
        const moved = x !== this._x || y !== this._y;
        [this._x, this._y, this._mask] = [x, y, mask];
        if (moved && (was & LEFT_MASK) && (mask & LEFT_MASK))
            this._report('Motion', new GLib.Variant('(dd)', [x, y]));
        if ((was & LEFT_MASK) && !(mask & LEFT_MASK))
            this._report('Release', new GLib.Variant('(dd)', [x, y]));
        for (const [bit, button] of BUTTONS) {
            if (!(mask & bit) || (was & bit))
                continue;
            if (button === 1)
                this._report('Press', this._pressAt(x, y));
            else
                this._report('Button', new GLib.Variant('(ddi)', [x, y, button]));
        }
    }

    // The press with the window under the point: process id, title, frame and buffer rectangles.
    _pressAt(x, y) {
        let actor = global.stage.get_actor_at_pos(Clutter.PickMode.REACTIVE, x, y);
        while (actor && !(actor instanceof Meta.WindowActor))
            actor = actor.get_parent();
        const window = actor ? actor.get_meta_window() : null;
        let facts = [0, '', 0, 0, 0, 0, 0, 0, 0, 0];
        if (window) {
            const f = window.get_frame_rect();
            const b = window.get_buffer_rect();
            // Some Mutter versions answer -1 for a Wayland client's get_pid().
            const pid = window.get_pid() > 0 ? window.get_pid() : window.get_client_pid?.() ?? 0;
            facts = [Math.max(pid, 0), window.get_title() ?? '',
                f.x, f.y, f.width, f.height, b.x, b.y, b.width, b.height];
        }
        return new GLib.Variant('(ddxsiiiiiiii)', [x, y, ...facts]);
    }

    // Fire and forget: Peekwell may be gone by now, and a failed call must stay quiet.
    _report(method, parameters) {
        if (!this._peer)
            return;
        this._reports++;
        Gio.DBus.session.call(this._peer, PEEKWELL_PATH, PEEKWELL_IFACE, method, parameters,
            null, Gio.DBusCallFlags.NO_AUTO_START, 1000, null, (connection, result) => {
                try {
                    connection.call_finish(result);
                } catch (e) {
                    // Peekwell left or refused; its leaving is seen through the name watch.
                }
            });
    }

    _watchEscape(on) {
        if (on && !this._escapeAction) {
            const action = global.display.grab_accelerator('Escape', Meta.KeyBindingFlags.NONE);
            if (action === Meta.KeyBindingAction.NONE)
                return false;
            Main.wm.allowKeybinding(Meta.external_binding_name_for_action(action),
                Shell.ActionMode.ALL);
            this._escapeAction = action;
        } else if (!on && this._escapeAction) {
            Main.wm.allowKeybinding(Meta.external_binding_name_for_action(this._escapeAction),
                Shell.ActionMode.NONE);
            global.display.ungrab_accelerator(this._escapeAction);
            this._escapeAction = 0;
        }
        return true;
    }

    // Only the Peekwell this extension reports to may steer it.
    _fromPeer(invocation) {
        if (this._peer && invocation.get_sender() === this._peer)
            return true;
        invocation.return_dbus_error('org.freedesktop.DBus.Error.AccessDenied',
            'Only the running Peekwell may call this');
        return false;
    }

    HelloAsync(parameters, invocation) {
        invocation.return_value(new GLib.Variant('(u)', [PROTOCOL]));
    }

    WatchEscapeAsync([on], invocation) {
        if (!this._fromPeer(invocation))
            return;
        if (this._watchEscape(on))
            invocation.return_value(null);
        else
            invocation.return_dbus_error('org.freedesktop.DBus.Error.Failed',
                'GNOME Shell refused to bind Escape');
    }

    StatsAsync(parameters, invocation) {
        invocation.return_value(new GLib.Variant('(uuu)',
            [this._wakeups, this._samples, this._reports]));
    }
};
