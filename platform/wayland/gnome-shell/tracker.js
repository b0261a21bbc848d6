// Wendle's eyes inside GNOME Shell: the focused window and the window list (id, app id, window
// class, title, process and state flags) on D-Bus, on the shell's own connection (bus name
// org.gnome.Shell), with a signal for every change; and, for Wendle's organizer, bringing a
// window to the front, closing it, and launching an application. Wendle installs this extension
// for the user; the form for GNOME Shell before 45 (legacy.js) and the module form for 45 and
// later (module.js) both wrap this file, which Wendle puts in their place when it installs them.

var WENDLE_OBJECT_PATH = '/com/brasswing/Wendle/Shell';
var WENDLE_INTERFACE = `<node>
  <interface name="com.brasswing.Wendle.Shell">
    <method name="GetState">
      <arg type="t" direction="out" name="focused"/>
      <arg type="a(tsssxu)" direction="out" name="windows"/>
    </method>
    <method name="Activate">
      <arg type="t" direction="in" name="id"/>
      <arg type="b" direction="out" name="done"/>
    </method>
    <method name="Close">
      <arg type="t" direction="in" name="id"/>
      <arg type="b" direction="out" name="done"/>
    </method>
    <method name="Launch">
      <arg type="s" direction="in" name="desktopId"/>
      <arg type="b" direction="out" name="done"/>
    </method>
    <property name="Version" type="u" access="read"/>
    <signal name="WindowChanged">
      <arg type="(tsssxu)" name="window"/>
    </signal>
    <signal name="WindowClosed">
      <arg type="t" name="id"/>
    </signal>
    <signal name="FocusChanged">
      <arg type="t" name="id"/>
    </signal>
  </interface>
</node>`;

// The version of this D-Bus interface; Wendle reinstalls an extension that answers an older one.
var WENDLE_VERSION = 1;

// The flags Wendle reads.
var WENDLE_REGULAR = 1;
var WENDLE_MINIMIZED = 2;
var WENDLE_ON_CURRENT_DESKTOP = 4;
var WENDLE_KEEP_ABOVE = 8;
var WENDLE_DESKTOP_ELEMENT = 16;

var WENDLE_WINDOW_SIGNALS = ['notify::title', 'notify::wm-class', 'notify::gtk-application-id', 'notify::minimized',
    'notify::above', 'notify::skip-taskbar', 'workspace-changed'];

class WendleTracker {
    constructor() {
        this._windows = new Map();
        this._signals = [];
        this._exported = null;
    }

    enable() {
        this._exported = Gio.DBusExportedObject.wrapJSObject(WENDLE_INTERFACE, this);
        this._exported.export(Gio.DBus.session, WENDLE_OBJECT_PATH);
        this._connect(global.display, 'window-created', (display, window) => this._watch(window, true));
        this._connect(global.display, 'notify::focus-window', () => this._emit('FocusChanged', '(t)', [this._focused()]));
        this._connect(global.workspace_manager, 'active-workspace-changed', () => {
            for (const window of this._windows.keys())
                this._changed(window);
        });
        for (const actor of global.get_window_actors())
            this._watch(actor.meta_window, false);
    }

    disable() {
        for (const [object, id] of this._signals)
            object.disconnect(id);
        this._signals = [];
        for (const [window, ids] of this._windows) {
            for (const id of ids)
                window.disconnect(id);
        }
        this._windows.clear();
        if (this._exported) {
            this._exported.unexport();
            this._exported = null;
        }
    }

    _connect(object, signal, handler) {
        this._signals.push([object, object.connect(signal, handler)]);
    }

    _emit(name, signature, values) {
        if (this._exported)
            this._exported.emit_signal(name, new GLib.Variant(signature, values));
    }

    _watch(window, announce) {
        if (!window || this._windows.has(window) || window.is_override_redirect())
            return;
        const ids = WENDLE_WINDOW_SIGNALS.map(signal => window.connect(signal, () => this._changed(window)));
        ids.push(window.connect('unmanaged', () => this._closed(window)));
        this._windows.set(window, ids);
        if (announce)
            this._changed(window);
    }

    _changed(window) {
        if (this._windows.has(window))
            this._emit('WindowChanged', '((tsssxu))', [this._describe(window)]);
    }

    _closed(window) {
        const ids = this._windows.get(window);
        if (!ids)
            return;
        for (const id of ids)
            window.disconnect(id);
        this._windows.delete(window);
        this._emit('WindowClosed', '(t)', [window.get_id()]);
    }

    _focused() {
        const window = global.display.focus_window;
        return window && this._windows.has(window) ? window.get_id() : 0;
    }

    _describe(window) {
        const app = Shell.WindowTracker.get_default().get_window_app(window);
        let appId = app && !app.is_window_backed() ? app.get_id().replace(/\.desktop$/, '') : '';
        if (!appId)
            appId = window.get_gtk_application_id() || window.get_sandboxed_app_id() || '';
        const type = window.get_window_type();
        let flags = 0;
        if (!window.skip_taskbar && (type === Meta.WindowType.NORMAL || type === Meta.WindowType.DIALOG ||
                type === Meta.WindowType.MODAL_DIALOG))
            flags |= WENDLE_REGULAR;
        if (window.minimized)
            flags |= WENDLE_MINIMIZED;
        if (window.is_on_all_workspaces() ||
                window.get_workspace() === global.workspace_manager.get_active_workspace())
            flags |= WENDLE_ON_CURRENT_DESKTOP;
        if (window.is_above())
            flags |= WENDLE_KEEP_ABOVE;
        if (type === Meta.WindowType.DESKTOP || type === Meta.WindowType.DOCK)
            flags |= WENDLE_DESKTOP_ELEMENT;
        return [window.get_id(), appId, window.get_wm_class() || '', window.get_title() || '', window.get_pid(), flags];
    }

    _find(id) {
        for (const window of this._windows.keys()) {
            if (window.get_id() === id)
                return window;
        }
        return null;
    }

    GetState() {
        return [this._focused(), [...this._windows.keys()].map(window => this._describe(window))];
    }

    Activate(id) {
        const window = this._find(id);
        if (!window)
            return false;
        // A D-Bus call carries no event time; the server's time now is newer than any focus the
        // user gave, so focus-stealing prevention lets it through.
        Main.activateWindow(window, global.display.get_current_time_roundtrip());
        return true;
    }

    Close(id) {
        const window = this._find(id);
        if (!window)
            return false;
        window.delete(global.display.get_current_time_roundtrip());
        return true;
    }

    Launch(desktopId) {
        const app = Shell.AppSystem.get_default().lookup_app(`${desktopId}.desktop`);
        if (!app)
            return false;
        app.open_new_window(-1);
        return true;
    }

    get Version() {
        return WENDLE_VERSION;
    }
}
