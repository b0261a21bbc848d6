// Wendle's extension for GNOME Shell before 45 (legacy modules). The tracker itself is tracker.js,
// which Wendle puts in place of the line below when it installs the extension.
'use strict';

const {Gio, GLib, Meta, Shell} = imports.gi;
const Main = imports.ui.main;

// @TRACKER@

/* exported init */
function init() {
    return new WendleTracker();
}
