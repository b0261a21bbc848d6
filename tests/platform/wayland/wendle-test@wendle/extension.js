// For Wendle's tests only, never shipped: unsafe mode lets a test run JavaScript in the shell
// (org.gnome.Shell.Eval) to move the focus, as a person would with the mouse.
/* exported init */
function init() {
    return {
        enable() { global.context.unsafe_mode = true; },
        disable() { global.context.unsafe_mode = false; },
    };
}
