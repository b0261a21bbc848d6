// One request of Wendle to KWin, run once: bring a window to the front, or close windows.
// Wendle fills in the window ids, the request and the token it waits for.

var SERVICE = "com.brasswing.Wendle";
var PATH = "/com/brasswing/Wendle/KWin";
var INTERFACE = "com.brasswing.Wendle.KWin";

var ids = @IDS@;
var request = @REQUEST@;
var token = @TOKEN@;

var list = workspace.windowList ? workspace.windowList() : workspace.clientList();
var done = 0;
for (var i = 0; i < list.length; ++i) {
    var window = list[i];
    if (ids.indexOf(String(window.internalId)) < 0)
        continue;
    if (request === "close") {
        window.closeWindow();
    } else {
        if (window.minimized)
            window.minimized = false;
        if (workspace.activeWindow !== undefined)
            workspace.activeWindow = window;
        else
            workspace.activeClient = window;
    }
    ++done;
}
callDBus(SERVICE, PATH, INTERFACE, "ActionDone", token, done);
