// The adapter's requests. Each pass sends everything it wants in one batch and then collects
// the replies, so a pass costs one round trip however many windows changed:
//
//   what changed   the root properties and window slots that events marked dirty (or, without
//                  a window manager, the root's children)
//   what is new    the windows the stacking list named for the first time: input selected,
//                  every slot, the X-Resource client process, and (without a window manager)
//                  whether the window is mapped

#include "VXX11DesktopPrivate.h"

#include <xcb/res.h>

#include <algorithm>

namespace {

// Up to 65536 windows in the stacking list.
constexpr std::uint32_t kStackingLength = 65536;
constexpr std::uint32_t kClientEventMask = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;

bool isBadWindow(const xcb_generic_error_t *error)
{
    return error && (error->error_code == XCB_WINDOW || error->error_code == XCB_DRAWABLE);
}

}   // namespace

void VXX11Desktop::Private::fetch()
{
    if (fetchChanges())
        fetchNewWindows();
}

bool VXX11Desktop::Private::fetchChanges()
{
    struct PendingSlot {
        xcb_window_t window;
        VXX11Slot slot;
        xcb_get_property_cookie_t cookie;
    };
    std::vector<PendingSlot> pendingSlots;
    std::array<std::optional<xcb_get_property_cookie_t>, RootSlotCount> rootCookies {};
    std::optional<xcb_query_tree_cookie_t> treeCookie;

    const std::uint8_t rootWanted = ewmh || !modeKnown ? rootDirty : std::uint8_t(rootDirty & (1u << RootWmCheck));
    rootDirty = 0;
    constexpr std::array<VXX11Atom, RootSlotCount> rootAtoms
        = {NET_SUPPORTING_WM_CHECK, NET_CLIENT_LIST_STACKING, NET_ACTIVE_WINDOW, NET_CURRENT_DESKTOP};
    for (int slot = 0; slot < RootSlotCount; ++slot) {
        if (rootWanted & (1u << slot))
            rootCookies[std::size_t(slot)] = requestProperty(root, atoms[rootAtoms[std::size_t(slot)]],
                                                             slot == RootStacking ? kStackingLength : 1);
    }
    if (!ewmh && modeKnown && treeDirty) {
        treeDirty = false;
        ++requests;
        treeCookie = xcb_query_tree(c(), root);
    }
    if (windowsDirty) {
        windowsDirty = false;
        for (auto &[id, record] : windows) {
            if (record.isNew || !record.dirty)
                continue;
            for (int slot = 0; slot < SlotCount; ++slot) {
                if (record.dirty & (1u << slot))
                    pendingSlots.push_back(
                        {id, VXX11Slot(slot),
                         requestProperty(id, slotAtoms[std::size_t(slot)], kVXX11SlotLength[std::size_t(slot)])});
            }
            record.dirty = 0;
        }
    }
    const bool waited = !pendingSlots.empty() || treeCookie
        || std::any_of(rootCookies.begin(), rootCookies.end(), [](const auto &cookie) { return cookie.has_value(); });
    if (waited)
        ++roundTrips;

    for (const PendingSlot &pending : pendingSlots) {
        VXXcbError error;
        VXXcbReply<xcb_get_property_reply_t> reply(xcb_get_property_reply(c(), pending.cookie, error.out()));
        if (isBadWindow(error.get())) {
            forgetWindow(pending.window);
            continue;
        }
        const auto found = windows.find(pending.window);
        if (found != windows.end())
            applySlot(found->second, pending.slot, reply.get());
    }

    std::array<VXXcbReply<xcb_get_property_reply_t>, RootSlotCount> rootReplies;
    for (int slot = 0; slot < RootSlotCount; ++slot) {
        if (rootCookies[std::size_t(slot)])
            rootReplies[std::size_t(slot)].reset(xcb_get_property_reply(c(), *rootCookies[std::size_t(slot)], nullptr));
    }
    VXXcbReply<xcb_query_tree_reply_t> tree;
    if (treeCookie)
        tree.reset(xcb_query_tree_reply(c(), *treeCookie, nullptr));
    if (!checkConnection())
        return false;

    // The window manager first: it decides what the other root properties mean.
    if (rootWanted & (1u << RootWmCheck)) {
        const std::optional<std::uint32_t> candidate = VXX11Cardinal(rootReplies[RootWmCheck].get());
        if (candidate && *candidate != XCB_NONE && confirmWindowManager(*candidate)) {
            if (!ewmh || !modeKnown || wmCheckWindow != *candidate) {
                enterEwmhMode(*candidate);
                return false;   // the stacking list and friends are read in the next pass
            }
        } else {
            const bool wasKnown = modeKnown;
            const bool wasEwmh = ewmh;
            enterFallbackMode();
            if (!wasKnown || wasEwmh)
                return false;   // the tree is read in the next pass
        }
    }
    if (ewmh) {
        if (rootWanted & (1u << RootStacking)) {
            const auto [values, count] = VXX11Values32(rootReplies[RootStacking].get());
            setStacking(std::vector<xcb_window_t>(values, values + count));
        }
        if (rootWanted & (1u << RootActive)) {
            const xcb_window_t active = VXX11Cardinal(rootReplies[RootActive].get()).value_or(XCB_NONE);
            if (active != activeWindow) {
                activeWindow = active;
                frontChanged = true;
            }
        }
        if (rootWanted & (1u << RootCurrentDesktop)) {
            const std::optional<std::uint32_t> current = VXX11Cardinal(rootReplies[RootCurrentDesktop].get());
            if (current != currentDesktop) {
                currentDesktop = current;
                listChanged = true;
            }
        }
    } else if (tree) {
        const xcb_window_t *children = xcb_query_tree_children(tree.get());
        setStacking(std::vector<xcb_window_t>(children, children + xcb_query_tree_children_length(tree.get())));
    }
    return true;
}

void VXX11Desktop::Private::fetchNewWindows()
{
    // Input is selected before the properties are read, so that no change falls between the two.
    struct PendingNew {
        xcb_window_t window;
        std::array<xcb_get_property_cookie_t, SlotCount> slots;
        std::optional<xcb_res_query_client_ids_cookie_t> client;
        std::optional<xcb_get_window_attributes_cookie_t> attributes;
    };
    if (!haveNewWindows)
        return;
    haveNewWindows = false;
    std::vector<PendingNew> pendingNew;
    for (auto &[id, record] : windows) {
        if (!record.isNew)
            continue;
        PendingNew pending {id, {}, std::nullopt, std::nullopt};
        selectInput(id, kClientEventMask);
        for (int slot = 0; slot < SlotCount; ++slot)
            pending.slots[std::size_t(slot)]
                = requestProperty(id, slotAtoms[std::size_t(slot)], kVXX11SlotLength[std::size_t(slot)]);
        if (hasResourceExtension) {
            // Asked for every new window, so that a window without _NET_WM_PID costs no extra trip.
            xcb_res_client_id_spec_t wanted {id, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
            ++requests;
            pending.client = xcb_res_query_client_ids(c(), 1, &wanted);
        }
        if (!ewmh) {
            ++requests;
            pending.attributes = xcb_get_window_attributes(c(), id);
        }
        pendingNew.push_back(pending);
        record.isNew = false;
        record.dirty = 0;
    }
    if (pendingNew.empty())
        return;
    ++roundTrips;
    for (const PendingNew &pending : pendingNew) {
        bool gone = false;
        for (int slot = 0; slot < SlotCount; ++slot) {
            VXXcbError error;
            VXXcbReply<xcb_get_property_reply_t> reply(
                xcb_get_property_reply(c(), pending.slots[std::size_t(slot)], error.out()));
            gone = gone || isBadWindow(error.get());
            if (gone)
                continue;
            const auto found = windows.find(pending.window);
            if (found != windows.end())
                applySlot(found->second, VXX11Slot(slot), reply.get());
        }
        std::int64_t clientPid = -1;
        if (pending.client) {
            VXXcbReply<xcb_res_query_client_ids_reply_t> reply(
                xcb_res_query_client_ids_reply(c(), *pending.client, nullptr));
            if (reply) {
                for (auto ids = xcb_res_query_client_ids_ids_iterator(reply.get()); ids.rem > 0;
                     xcb_res_client_id_value_next(&ids)) {
                    if ((ids.data->spec.mask & XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID)
                        && xcb_res_client_id_value_value_length(ids.data) >= 1) {
                        clientPid = *xcb_res_client_id_value_value(ids.data);
                        break;
                    }
                }
            }
        }
        bool viewable = true;
        if (pending.attributes) {
            VXXcbReply<xcb_get_window_attributes_reply_t> reply(
                xcb_get_window_attributes_reply(c(), *pending.attributes, nullptr));
            viewable = reply && reply->map_state != XCB_MAP_STATE_UNMAPPED && !reply->override_redirect;
            gone = gone || !reply;
        }
        if (gone) {
            forgetWindow(pending.window);
            continue;
        }
        const auto found = windows.find(pending.window);
        if (found == windows.end())
            continue;
        found->second.clientPid = clientPid > 0 ? clientPid : -1;
        found->second.viewable = viewable;
        updateOwner(found->second);
    }
    checkConnection();
}
