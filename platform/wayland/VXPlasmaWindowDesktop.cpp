#include "VXPlasmaWindowDesktop.h"

#include "VXWaylandConnection.h"
#include "VXWaylandLogging.h"
#include "VXWindowTitles.h"

#include "plasma-window-management-client-protocol.h"

#include <wayland-client.h>

#include <cstring>
#include <unordered_map>

struct VXPlasmaWindowDesktop::Private {
    struct Window {
        Private *owner = nullptr;
        org_kde_plasma_window *proxy = nullptr;
        VXToplevelMirror::Id id = 0;
        VXToplevel toplevel;
        bool active = false;
        // Until "initial_state" the window is being described and not shown to the tracker.
        bool announced = false;
    };

    VXPlasmaWindowDesktop *q = nullptr;
    std::shared_ptr<VXWaylandConnection> connection;
    org_kde_plasma_window_management *manager = nullptr;
    std::uint32_t version = 0;
    std::unordered_map<VXToplevelMirror::Id, std::unique_ptr<Window>> windows;
    VXToplevelMirror::Id nextId = 1;

    ~Private()
    {
        for (auto &[id, window] : windows)
            destroy(*window);
        if (manager)
            wl_proxy_destroy(reinterpret_cast<wl_proxy *>(manager));
        if (connection)
            connection->flush();
    }

    void destroy(Window &window)
    {
        if (version >= ORG_KDE_PLASMA_WINDOW_DESTROY_SINCE_VERSION)
            org_kde_plasma_window_destroy(window.proxy);
        else
            wl_proxy_destroy(reinterpret_cast<wl_proxy *>(window.proxy));
    }

    Window *find(VXToplevelMirror::Id id)
    {
        const auto found = windows.find(id);
        return found == windows.end() ? nullptr : found->second.get();
    }

    // Passes a change on once the window has been described in full.
    void changed(Window &window)
    {
        if (!window.announced)
            return;
        VXToplevelMirror &mirror = q->mirror();
        mirror.setToplevel(window.id, window.toplevel);
        if (window.active)
            mirror.setActive(window.id);
        else if (mirror.active() == window.id)
            mirror.setActive(std::nullopt);
    }

    void add(org_kde_plasma_window *proxy);

    static Window &of(void *data) { return *static_cast<Window *>(data); }
    static void onTitle(void *data, org_kde_plasma_window *, const char *title)
    {
        Window &window = of(data);
        window.toplevel.title = VXWindowTitleFromUtf8(QByteArrayView(title, qsizetype(std::strlen(title))));
        if (window.announced)
            window.owner->q->mirror().setTitle(window.id, window.toplevel.title);
    }
    static void onAppId(void *data, org_kde_plasma_window *, const char *appId)
    {
        Window &window = of(data);
        window.toplevel.appId = QString::fromUtf8(appId).trimmed();
        window.owner->changed(window);
    }
    static void onState(void *data, org_kde_plasma_window *, std::uint32_t flags)
    {
        Window &window = of(data);
        window.active = flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE;
        window.toplevel.minimized = flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MINIMIZED;
        window.toplevel.regular = !(flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_SKIPTASKBAR);
        window.toplevel.layer
            = flags & ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_KEEP_ABOVE ? VXToplevelMirror::kFloatingWindowLevel : 0;
        window.owner->changed(window);
    }
    static void onPid(void *data, org_kde_plasma_window *, std::uint32_t pid)
    {
        Window &window = of(data);
        window.toplevel.pid = pid > 0 && pid <= 0x7fffffff ? std::int64_t(pid) : -1;
        window.owner->changed(window);
    }
    static void onInitialState(void *data, org_kde_plasma_window *)
    {
        Window &window = of(data);
        window.announced = true;
        window.owner->changed(window);
    }
    static void onUnmapped(void *data, org_kde_plasma_window *)
    {
        Window &window = of(data);
        Private *self = window.owner;
        self->q->mirror().removeToplevel(window.id);
        self->destroy(window);
        self->windows.erase(window.id);
    }
    static void onResourceName(void *data, org_kde_plasma_window *, const char *name)
    {
        Window &window = of(data);
        window.toplevel.windowClass = QString::fromUtf8(name).trimmed();
        window.owner->changed(window);
    }
    static void onVirtualDesktopChanged(void *, org_kde_plasma_window *, std::int32_t) { }
    static void onThemedIconName(void *, org_kde_plasma_window *, const char *) { }
    static void onParent(void *, org_kde_plasma_window *, org_kde_plasma_window *) { }
    static void onGeometry(void *, org_kde_plasma_window *, std::int32_t, std::int32_t, std::uint32_t, std::uint32_t) {
    }
    static void onIconChanged(void *, org_kde_plasma_window *) { }
    static void onString(void *, org_kde_plasma_window *, const char *) { }
    static void onApplicationMenu(void *, org_kde_plasma_window *, const char *, const char *) { }

    static void onShowDesktop(void *, org_kde_plasma_window_management *, std::uint32_t) { }
    static void onWindow(void *data, org_kde_plasma_window_management *, std::uint32_t id)
    {
        auto *self = static_cast<Private *>(data);
        // From version 13 on the same window also comes with its uuid, which is the one to use.
        if (self->version < ORG_KDE_PLASMA_WINDOW_MANAGEMENT_WINDOW_WITH_UUID_SINCE_VERSION)
            self->add(org_kde_plasma_window_management_get_window(self->manager, id));
    }
    static void onStackingOrder(void *, org_kde_plasma_window_management *, wl_array *) { }
    static void onStackingOrderUuid(void *, org_kde_plasma_window_management *, const char *) { }
    static void onWindowWithUuid(void *data, org_kde_plasma_window_management *, std::uint32_t, const char *uuid)
    {
        auto *self = static_cast<Private *>(data);
        self->add(org_kde_plasma_window_management_get_window_by_uuid(self->manager, uuid));
    }
};

void VXPlasmaWindowDesktop::Private::add(org_kde_plasma_window *proxy)
{
    static const org_kde_plasma_window_listener kWindowListener
        = {&onTitle,          &onAppId,           &onState,        &onVirtualDesktopChanged,
           &onThemedIconName, &onUnmapped,        &onInitialState, &onParent,
           &onGeometry,       &onIconChanged,     &onPid,          &onString,
           &onString,         &onApplicationMenu, &onString,       &onString,
           &onResourceName};
    auto window = std::make_unique<Window>();
    window->owner = this;
    window->proxy = proxy;
    window->id = nextId++;
    // Before version 4 there is no "initial_state": the window counts from its first event on.
    window->announced
        = wl_proxy_get_version(reinterpret_cast<wl_proxy *>(proxy)) < ORG_KDE_PLASMA_WINDOW_INITIAL_STATE_SINCE_VERSION;
    org_kde_plasma_window_add_listener(proxy, &kWindowListener, window.get());
    windows.emplace(window->id, std::move(window));
}

VXPlasmaWindowDesktop::VXPlasmaWindowDesktop(std::shared_ptr<VXWaylandConnection> connection,
                                             const VXToplevelMirror::Options &options) :
    VXToplevelDesktop(options),
    d(std::make_unique<Private>())
{
    d->q = this;
    d->connection = std::move(connection);
}

VXPlasmaWindowDesktop::~VXPlasmaWindowDesktop() = default;

bool VXPlasmaWindowDesktop::isOffered(const VXWaylandConnection &connection)
{
    return connection.global(org_kde_plasma_window_management_interface.name) != nullptr;
}

std::unique_ptr<VXPlasmaWindowDesktop> VXPlasmaWindowDesktop::create(std::shared_ptr<VXWaylandConnection> connection,
                                                                     const VXToplevelMirror::Options &options,
                                                                     QString *whyNot)
{
    const VXWaylandConnection::Global *manager
        = connection ? connection->global(org_kde_plasma_window_management_interface.name) : nullptr;
    if (!manager) {
        if (whyNot)
            *whyNot = QStringLiteral("the compositor does not offer org_kde_plasma_window_management to Wendle");
        return nullptr;
    }
    std::unique_ptr<VXPlasmaWindowDesktop> desktop(new VXPlasmaWindowDesktop(connection, options));
    Private &d = *desktop->d;
    static const org_kde_plasma_window_management_listener kManagerListener
        = {&Private::onShowDesktop, &Private::onWindow, &Private::onStackingOrder, &Private::onStackingOrderUuid,
           &Private::onWindowWithUuid};
    d.manager = static_cast<org_kde_plasma_window_management *>(
        connection->bind(*manager, &org_kde_plasma_window_management_interface, 16));
    d.version = wl_proxy_get_version(reinterpret_cast<wl_proxy *>(d.manager));
    org_kde_plasma_window_management_add_listener(d.manager, &kManagerListener, &d);
    desktop->followConnection(*connection);
    // The windows, then their descriptions.
    connection->roundtrip();
    connection->roundtrip();
    return desktop;
}

QString VXPlasmaWindowDesktop::name() const
{
    return QStringLiteral("the Plasma window-management protocol on %1").arg(d->connection->displayName());
}

QString VXPlasmaWindowDesktop::limitations() const
{
    return QStringLiteral("Windows on other virtual desktops count as on screen.");
}

bool VXPlasmaWindowDesktop::isConnected() const
{
    return d->connection->isConnected();
}

void VXPlasmaWindowDesktop::beforeSnapshot()
{
    d->connection->dispatchPending();
}

bool VXPlasmaWindowDesktop::activateToplevel(Id id, QString *whyNot)
{
    Private::Window *window = d->find(id);
    if (!window || !isConnected()) {
        if (whyNot)
            *whyNot = notAvailableHere(QStringLiteral("Bringing a window to the front"));
        return false;
    }
    org_kde_plasma_window_set_state(
        window->proxy, ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE | ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_MINIMIZED,
        ORG_KDE_PLASMA_WINDOW_MANAGEMENT_STATE_ACTIVE);
    d->connection->flush();
    return true;
}

bool VXPlasmaWindowDesktop::closeToplevel(Id id, QString *whyNot)
{
    Private::Window *window = d->find(id);
    if (!window || !isConnected()) {
        if (whyNot)
            *whyNot = notAvailableHere(QStringLiteral("Closing a window"));
        return false;
    }
    org_kde_plasma_window_close(window->proxy);
    d->connection->flush();
    return true;
}
