#pragma once

// The desktop of an X11 session, read through xcb and the EWMH hints of the window manager.
//
// The adapter keeps a mirror of the desktop: it listens to PropertyNotify on the root window
// (stacking list, active window, current desktop, the window manager's check window) and to
// PropertyNotify and StructureNotify on every managed window, and rereads only what an event
// names. A tick on a desktop where nothing changed therefore costs no request at all: it drains
// the events already received, without blocking, and copies the mirror. A change costs one batch
// of pipelined requests (all sent, then all replies collected); a new window costs a second one
// after the stacking list that names it.
//
// The facts, as the tracker wants them:
//   window list, front to back   _NET_CLIENT_LIST_STACKING reversed; dock and desktop windows left out
//   title                        _NET_WM_NAME (UTF8_STRING), else WM_NAME (STRING or COMPOUND_TEXT as
//                                Latin-1), cleaned (VXCleanWindowTitle) and cut at 4096 bytes
//   process                      _NET_WM_PID (when WM_CLIENT_MACHINE is this host), else the
//                                X-Resource extension's client process; -1 when unknown
//   layer                        0; 3 (floating) for _NET_WM_STATE_ABOVE and utility, toolbar and menu
//                                windows; 101 (pop-up menu) for pop-up, drop-down, tooltip, notification,
//                                combo and drag-and-drop windows
//   on screen                    on the current desktop (or sticky) and not _NET_WM_STATE_HIDDEN
//   ordered in                   not _NET_WM_STATE_HIDDEN
//   frontmost application        the owner of _NET_ACTIVE_WINDOW
//   applications                 one per bundle path: the processes that own managed windows, named
//                                through their desktop entries (see VXApplicationResolver), those of
//                                one entry merged, and a process without an entry joined to the other
//                                processes of its executable; regular when one of them owns a window
//                                that is not skip-taskbar, dock or desktop; all its windows listed
//                                under the process it is reported with
//
// Without an EWMH window manager the mapped top-level windows are listed, in no meaningful
// order and all in one layer, and no application is frontmost. When the X server goes away the
// adapter says so once and answers empty snapshots.

#include "VXDesktop.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <memory>
#include <optional>

class VXX11Desktop final : public VXDesktop
{
public:
    struct Options {
        // The X display to open; empty: $DISPLAY.
        QString display;
        // The applications folders searched for desktop entries; default: the XDG folders.
        std::optional<QStringList> applicationFolders;
        // The locale whose Name[...] is taken ("de_DE"); default: QLocale::system().
        std::optional<QString> localeName;
    };

    // Connects and reads the desktop once. Answers null, with the reason in `whyNot`, when no X
    // server can be reached.
    static std::unique_ptr<VXX11Desktop> connect(const Options &options, QString *whyNot = nullptr);
    ~VXX11Desktop() override;

    void takeSnapshot(VXDesktopSnapshot &snapshot) override;
    // Through the window manager (_NET_ACTIVE_WINDOW on the application's frontmost window,
    // _NET_CLOSE_WINDOW on each of its windows), as a pager asks; false without an EWMH window
    // manager or when the application has no window.
    bool activateApplication(const QString &bundlePath, QString *whyNot = nullptr) override;
    bool quitApplication(const QString &bundlePath, QString *whyNot = nullptr) override;
    bool launchApplication(const QString &bundlePath, QString *whyNot = nullptr) override;

    // What the adapter cost so far, for tests and benchmarks.
    struct Statistics {
        std::uint64_t requests = 0;   // requests sent to the X server
        std::uint64_t roundTrips = 0;   // batches whose replies were waited for
        int desktopEntryIndexBuilds = 0;
        int processReads = 0;   // reads of /proc for a process
    };
    Statistics statistics() const;
    // Whether an EWMH window manager manages the screen.
    bool hasWindowManager() const;
    // False once the connection to the X server is lost.
    bool isConnected() const;

private:
    struct Private;
    explicit VXX11Desktop(std::unique_ptr<Private> d);
    std::unique_ptr<Private> d;
};

// The X11 desktop of $DISPLAY (or of `display`), or null with the reason when there is none.
std::unique_ptr<VXDesktop> VXMakeX11Desktop(QString *whyNot, const QString &display = QString());
