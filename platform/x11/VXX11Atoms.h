#pragma once

// The atoms the X11 adapter asks the server about: the EWMH root and window properties, the
// window types and states it tells apart, and the hints that name a desktop entry. Interned once,
// in one round trip, when the adapter connects.

#include <xcb/xcb.h>

#include <array>

enum VXX11Atom : int {
    NET_SUPPORTING_WM_CHECK,
    NET_CLIENT_LIST_STACKING,
    NET_ACTIVE_WINDOW,
    NET_CLOSE_WINDOW,
    NET_CURRENT_DESKTOP,
    NET_WM_NAME,
    NET_WM_PID,
    NET_WM_WINDOW_TYPE,
    NET_WM_STATE,
    NET_WM_DESKTOP,
    UTF8_STRING,
    GTK_APPLICATION_ID,
    KDE_NET_WM_DESKTOP_FILE,
    TYPE_DESKTOP,
    TYPE_DOCK,
    TYPE_TOOLBAR,
    TYPE_MENU,
    TYPE_UTILITY,
    TYPE_SPLASH,
    TYPE_DIALOG,
    TYPE_DROPDOWN_MENU,
    TYPE_POPUP_MENU,
    TYPE_TOOLTIP,
    TYPE_NOTIFICATION,
    TYPE_COMBO,
    TYPE_DND,
    TYPE_NORMAL,
    STATE_HIDDEN,
    STATE_ABOVE,
    STATE_SKIP_TASKBAR,
    STATE_STICKY,
    VXX11AtomCount
};

class VXX11Atoms
{
public:
    using Cookies = std::array<xcb_intern_atom_cookie_t, VXX11AtomCount>;

    // Sends the requests for every atom; receive() collects the replies. Split so that the caller
    // can put more requests in the same round trip.
    static Cookies request(xcb_connection_t *connection);
    // An atom the server did not answer for stays XCB_ATOM_NONE (and matches nothing).
    void receive(xcb_connection_t *connection, const Cookies &cookies);

    xcb_atom_t operator[](VXX11Atom atom) const { return m_atoms[std::size_t(atom)]; }

private:
    std::array<xcb_atom_t, VXX11AtomCount> m_atoms {};
};
