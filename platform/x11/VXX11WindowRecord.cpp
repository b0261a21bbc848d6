#include "VXX11WindowRecord.h"

#include <unistd.h>

#include <algorithm>

namespace {

VXX11WindowKind kindOf(const xcb_get_property_reply_t *reply, const VXX11Atoms &atoms)
{
    // The types are listed in order of preference: the first one known decides.
    const auto [values, count] = VXX11Values32(reply);
    for (int i = 0; i < count; ++i) {
        const xcb_atom_t type = values[i];
        if (type == XCB_ATOM_NONE)
            continue;
        if (type == atoms[TYPE_DESKTOP] || type == atoms[TYPE_DOCK])
            return VXX11WindowKind::DesktopElement;
        if (type == atoms[TYPE_UTILITY] || type == atoms[TYPE_TOOLBAR] || type == atoms[TYPE_MENU])
            return VXX11WindowKind::Floating;
        if (type == atoms[TYPE_POPUP_MENU] || type == atoms[TYPE_DROPDOWN_MENU] || type == atoms[TYPE_TOOLTIP]
            || type == atoms[TYPE_NOTIFICATION] || type == atoms[TYPE_COMBO] || type == atoms[TYPE_DND])
            return VXX11WindowKind::PopUp;
        if (type == atoms[TYPE_NORMAL] || type == atoms[TYPE_DIALOG] || type == atoms[TYPE_SPLASH])
            return VXX11WindowKind::Normal;
    }
    return VXX11WindowKind::Normal;
}

bool isLocalMachine(const QByteArray &machine, const QByteArray &hostName)
{
    if (machine.isEmpty() || hostName.isEmpty())
        return true;
    const QByteArray lower = machine.toLower();
    if (lower == hostName || lower == "localhost")
        return true;
    // "host" and "host.example.org" are the same machine.
    const QByteArray shortMachine = lower.left(lower.indexOf('.') < 0 ? lower.size() : lower.indexOf('.'));
    const QByteArray shortHost = hostName.left(hostName.indexOf('.') < 0 ? hostName.size() : hostName.indexOf('.'));
    return shortMachine == shortHost;
}

}   // namespace

std::array<xcb_atom_t, SlotCount> VXX11SlotAtoms(const VXX11Atoms &atoms)
{
    return {atoms[NET_WM_NAME],        XCB_ATOM_WM_NAME,
            atoms[NET_WM_PID],         XCB_ATOM_WM_CLIENT_MACHINE,
            atoms[NET_WM_WINDOW_TYPE], atoms[NET_WM_STATE],
            atoms[NET_WM_DESKTOP],     XCB_ATOM_WM_CLASS,
            atoms[GTK_APPLICATION_ID], atoms[KDE_NET_WM_DESKTOP_FILE]};
}

void VXX11WindowRecord::apply(VXX11Slot slot, const xcb_get_property_reply_t *reply, const VXX11Atoms &atoms)
{
    switch (slot) {
    case SlotNetWmName:
        // Only UTF8_STRING is the EWMH name; another type (some tools write STRING) is ignored.
        netWmNameValid = reply && reply->type == atoms[UTF8_STRING] && reply->format == 8;
        netWmName = netWmNameValid ? VXWindowTitleFromUtf8(VXX11TextBytes(reply), reply->bytes_after > 0) : QString();
        break;
    case SlotWmName: {
        const QByteArrayView bytes = VXX11TextBytes(reply);
        // STRING is Latin-1; COMPOUND_TEXT is read as Latin-1 too (its ASCII part is what
        // matters for a title); some clients write UTF8_STRING here. Titles come from other
        // programs: cleaned either way.
        if (reply && reply->type == atoms[UTF8_STRING])
            wmName = VXWindowTitleFromUtf8(bytes, reply->bytes_after > 0);
        else
            wmName = VXCleanWindowTitle(QString::fromLatin1(bytes));
        break;
    }
    case SlotNetWmPid: {
        const std::optional<std::uint32_t> pid = VXX11Cardinal(reply);
        netWmPid = pid && *pid > 0 && *pid <= 0x7fffffff ? std::int64_t(*pid) : -1;
        break;
    }
    case SlotClientMachine: clientMachine = VXX11TextBytes(reply).toByteArray(); break;
    case SlotWindowType: kind = kindOf(reply, atoms); break;
    case SlotState: {
        hidden = above = skipTaskbar = sticky = false;
        const auto [values, count] = VXX11Values32(reply);
        for (int i = 0; i < count; ++i) {
            hidden = hidden || values[i] == atoms[STATE_HIDDEN];
            above = above || values[i] == atoms[STATE_ABOVE];
            skipTaskbar = skipTaskbar || values[i] == atoms[STATE_SKIP_TASKBAR];
            sticky = sticky || values[i] == atoms[STATE_STICKY];
        }
        break;
    }
    case SlotDesktop: {
        const std::optional<std::uint32_t> value = VXX11Cardinal(reply);
        hasDesktop = value.has_value();
        desktop = value.value_or(0);
        break;
    }
    case SlotWmClass: {
        // "instance\0class\0"; either part may be missing in a broken property.
        const QByteArrayView bytes = VXX11TextBytes(reply);
        const qsizetype nul = bytes.indexOf('\0');
        wmInstance = QString::fromLatin1(nul < 0 ? bytes : bytes.first(nul));
        QByteArrayView rest = nul < 0 ? QByteArrayView() : bytes.sliced(nul + 1);
        if (const qsizetype end = rest.indexOf('\0'); end >= 0)
            rest = rest.first(end);
        wmClass = QString::fromLatin1(rest);
        break;
    }
    case SlotGtkApplicationId: gtkApplicationId = QString::fromUtf8(VXX11TextBytes(reply)).trimmed(); break;
    case SlotKdeDesktopFile: kdeDesktopFile = QString::fromUtf8(VXX11TextBytes(reply)).trimmed(); break;
    default: break;
    }
    if (slot == SlotNetWmName || slot == SlotWmName) {
        QString name = netWmNameValid && !netWmName.isEmpty() ? netWmName : wmName;
        if (name != title)
            title = std::move(name);
    }
}

std::int64_t VXX11WindowRecord::owningProcess(const QByteArray &hostName) const
{
    if (netWmPid > 0 && isLocalMachine(clientMachine, hostName))
        return netWmPid;
    if (clientPid > 0)
        return clientPid;
    return -1;
}

QByteArray VXX11LocalHostName()
{
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) != 0)
        return QByteArray();
    return QByteArray(name).toLower();
}

QByteArrayView VXX11TextBytes(const xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 8 || reply->type == XCB_ATOM_NONE)
        return {};
    const int length = xcb_get_property_value_length(reply);
    QByteArrayView bytes(static_cast<const char *>(xcb_get_property_value(reply)), length > 0 ? length : 0);
    while (!bytes.isEmpty() && bytes.back() == '\0')
        bytes.chop(1);
    return bytes;
}

std::pair<const std::uint32_t *, int> VXX11Values32(const xcb_get_property_reply_t *reply)
{
    if (!reply || reply->format != 32 || reply->type == XCB_ATOM_NONE)
        return {nullptr, 0};
    const int length = xcb_get_property_value_length(reply) / 4;
    return {static_cast<const std::uint32_t *>(xcb_get_property_value(reply)), std::max(length, 0)};
}

std::optional<std::uint32_t> VXX11Cardinal(const xcb_get_property_reply_t *reply)
{
    const auto [values, count] = VXX11Values32(reply);
    if (count < 1)
        return std::nullopt;
    return values[0];
}
