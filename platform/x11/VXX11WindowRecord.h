#pragma once

// What the X11 adapter knows of one managed window: one property per slot, each reread only when
// an event names it, and the facts the tracker wants derived from them (title, owning process,
// kind, state, desktop).

#include "VXWindowTitles.h"
#include "VXX11Atoms.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <xcb/xcb.h>

#include <array>
#include <cstdint>
#include <optional>
#include <utility>

enum VXX11Slot : int {
    SlotNetWmName,
    SlotWmName,
    SlotNetWmPid,
    SlotClientMachine,
    SlotWindowType,
    SlotState,
    SlotDesktop,
    SlotWmClass,
    SlotGtkApplicationId,
    SlotKdeDesktopFile,
    SlotCount
};
inline constexpr std::uint16_t kVXX11AllSlots = (1u << SlotCount) - 1;
// Slots whose change can alter the applications (not only the window list).
inline constexpr std::uint16_t kVXX11ApplicationSlots = (1u << SlotNetWmPid) | (1u << SlotClientMachine)
    | (1u << SlotWindowType) | (1u << SlotState) | (1u << SlotWmClass) | (1u << SlotGtkApplicationId)
    | (1u << SlotKdeDesktopFile);
// Longest value read per slot, in 32-bit units: a longer title is cut (at the 4096 bytes a title
// keeps), a longer list ignored past it.
inline constexpr std::uint32_t kVXX11TitleLength = std::uint32_t(kVXMaxWindowTitleBytes / 4);
inline constexpr std::array<std::uint32_t, SlotCount> kVXX11SlotLength
    = {kVXX11TitleLength, kVXX11TitleLength, 1, 64, 32, 64, 1, 256, 256, 256};

// The property each slot reads.
std::array<xcb_atom_t, SlotCount> VXX11SlotAtoms(const VXX11Atoms &atoms);

enum class VXX11WindowKind : std::uint8_t { Normal, Floating, PopUp, DesktopElement };

struct VXX11WindowRecord {
    std::uint16_t dirty = kVXX11AllSlots;
    // Input not selected yet: the first batch selects it and reads every slot.
    bool isNew = true;
    // Without a window manager: mapped and not override-redirect.
    bool viewable = true;
    bool netWmNameValid = false;
    bool hidden = false;
    bool above = false;
    bool skipTaskbar = false;
    bool sticky = false;
    bool hasDesktop = false;
    VXX11WindowKind kind = VXX11WindowKind::Normal;
    std::uint32_t desktop = 0;
    std::int64_t netWmPid = -1;
    std::int64_t clientPid = -1;
    std::int64_t ownerPid = -1;
    // The process the window is listed under: the one its application is reported with.
    std::int64_t listedPid = -1;
    QString netWmName;
    QString wmName;
    QString title;
    QByteArray clientMachine;
    QString wmInstance;
    QString wmClass;
    QString gtkApplicationId;
    QString kdeDesktopFile;

    // Takes one slot's property from its reply (null: the property could not be read).
    void apply(VXX11Slot slot, const xcb_get_property_reply_t *reply, const VXX11Atoms &atoms);
    // The process that owns the window: _NET_WM_PID when the window comes from this host, else
    // the X-Resource extension's client process; -1 when neither is known.
    std::int64_t owningProcess(const QByteArray &hostName) const;
    // Listed at all: not a dock or desktop window, and (without a window manager) mapped.
    bool isListed() const { return kind != VXX11WindowKind::DesktopElement && viewable; }
};

// The name of this host, lower case, for telling whether a window's _NET_WM_PID is ours.
QByteArray VXX11LocalHostName();

// ---- Reading property replies

// A text property: bytes of format 8 without trailing NULs.
QByteArrayView VXX11TextBytes(const xcb_get_property_reply_t *reply);
// The values of a format-32 property (atoms, windows, cardinals).
std::pair<const std::uint32_t *, int> VXX11Values32(const xcb_get_property_reply_t *reply);
std::optional<std::uint32_t> VXX11Cardinal(const xcb_get_property_reply_t *reply);
