// Wendle's extension for GNOME Shell 45 and later (ES modules). The tracker itself is tracker.js,
// which Wendle puts in place of the line below when it installs the extension.
import Gio from 'gi://Gio';
import GLib from 'gi://GLib';
import Meta from 'gi://Meta';
import Shell from 'gi://Shell';
import * as Main from 'resource:///org/gnome/shell/ui/main.js';
import {Extension} from 'resource:///org/gnome/shell/extensions/extension.js';

// @TRACKER@

export default class WendleExtension extends Extension {
    enable() {
        this._tracker = new WendleTracker();
        this._tracker.enable();
    }

    disable() {
        this._tracker?.disable();
        this._tracker = null;
    }
}
