// Wendle's eyes inside KWin: tells Wendle, over D-Bus, of every window (its id, app id, window
// class, title, process and state), of each change to them, of the active window and of the
// windows that close. Wendle loads it at start and unloads it at quit; when it starts it first
// says "Reset" and then describes the whole desktop.
//
// Works with the scripting API of KWin 5 (clientAdded, activeClient, clientList) and of KWin 6
// (windowAdded, activeWindow, windowList).

var SERVICE = "com.brasswing.Wendle";
var PATH = "/com/brasswing/Wendle/KWin";
var INTERFACE = "com.brasswing.Wendle.KWin";

// The flags Wendle reads.
var REGULAR = 1;
var MINIMIZED = 2;
var ON_CURRENT_DESKTOP = 4;
var KEEP_ABOVE = 8;
var DESKTOP_ELEMENT = 16;

function tell() {
    var args = [SERVICE, PATH, INTERFACE];
    for (var i = 0; i < arguments.length; ++i)
        args.push(arguments[i]);
    callDBus.apply(null, args);
}

function idOf(window) {
    // Comparing the objects themselves fails for the same window: compare their ids.
    return String(window.internalId);
}

function onCurrentDesktop(window) {
    if (window.onAllDesktops)
        return true;
    var current = workspace.currentDesktop;
    if (typeof current === "object" && window.desktops !== undefined && window.desktops !== null) {
        for (var i = 0; i < window.desktops.length; ++i) {
            if (window.desktops[i] === current)
                return true;
        }
        return window.desktops.length === 0;
    }
    return window.desktop === current || window.desktop === -1;
}

function flagsOf(window) {
    var flags = 0;
    if ((window.normalWindow || window.dialog) && !window.skipTaskbar)
        flags |= REGULAR;
    if (window.minimized)
        flags |= MINIMIZED;
    if (onCurrentDesktop(window))
        flags |= ON_CURRENT_DESKTOP;
    if (window.keepAbove)
        flags |= KEEP_ABOVE;
    if (window.dock || window.desktopWindow)
        flags |= DESKTOP_ELEMENT;
    return flags;
}

function describe(window) {
    if (!window || window.deleted)
        return;
    var appId = String(window.desktopFileName || window.resourceClass || "");
    tell("WindowChanged", idOf(window), appId, String(window.resourceName || ""), String(window.caption || ""),
         Number(window.pid || -1), flagsOf(window));
}

function watch(window) {
    if (!window)
        return;
    var signals = ["captionChanged", "minimizedChanged", "desktopChanged", "desktopsChanged", "keepAboveChanged",
                   "skipTaskbarChanged", "desktopFileNameChanged", "onAllDesktopsChanged"];
    for (var i = 0; i < signals.length; ++i) {
        var signal = window[signals[i]];
        if (signal && signal.connect)
            signal.connect(function() { describe(window); });
    }
    describe(window);
}

function activated(window) {
    tell("WindowActivated", window ? idOf(window) : "");
}

function windows() {
    return workspace.windowList ? workspace.windowList() : workspace.clientList();
}

function connectIfThere(signal, handler) {
    if (signal && signal.connect)
        signal.connect(handler);
}

tell("Reset");
var all = windows();
for (var i = 0; i < all.length; ++i)
    watch(all[i]);
activated(workspace.activeWindow !== undefined ? workspace.activeWindow : workspace.activeClient);

connectIfThere(workspace.windowAdded || workspace.clientAdded, watch);
connectIfThere(workspace.windowRemoved || workspace.clientRemoved, function(window) {
    tell("WindowClosed", idOf(window));
});
connectIfThere(workspace.windowActivated || workspace.clientActivated, activated);
connectIfThere(workspace.currentDesktopChanged, function() {
    var list = windows();
    for (var i = 0; i < list.length; ++i)
        describe(list[i]);
});
