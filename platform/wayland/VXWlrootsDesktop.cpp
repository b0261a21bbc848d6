#include "VXWlrootsDesktop.h"

#include "VXWaylandConnection.h"
#include "VXWaylandLogging.h"
#include "VXWindowTitles.h"

#include "wlr-foreign-toplevel-management-unstable-v1-client-protocol.h"

#include <wayland-client.h>

#include <cstring>
#include <unordered_map>

struct VXWlrootsDesktop::Private {
    // What a handle has said since its last "done", applied all at once.
    struct Handle {
        Private *owner = nullptr;
        zwlr_foreign_toplevel_handle_v1 *proxy = nullptr;
        VXToplevelMirror::Id id = 0;
        QString title;
        QString appId;
        bool activated = false;
        bool minimized = false;
    };

    VXWlrootsDesktop *q = nullptr;
    std::shared_ptr<VXWaylandConnection> connection;
    zwlr_foreign_toplevel_manager_v1 *manager = nullptr;
    wl_seat *seat = nullptr;
    std::unordered_map<VXToplevelMirror::Id, std::unique_ptr<Handle>> handles;
    VXToplevelMirror::Id nextId = 1;
    bool finished = false;

    ~Private()
    {
        for (auto &[id, handle] : handles)
            zwlr_foreign_toplevel_handle_v1_destroy(handle->proxy);
        if (manager && !finished)
            zwlr_foreign_toplevel_manager_v1_stop(manager);
        if (manager)
            zwlr_foreign_toplevel_manager_v1_destroy(manager);
        if (seat)
            wl_seat_destroy(seat);
        if (connection)
            connection->flush();
    }

    Handle *find(VXToplevelMirror::Id id)
    {
        const auto found = handles.find(id);
        return found == handles.end() ? nullptr : found->second.get();
    }

    void done(Handle &handle)
    {
        VXToplevelMirror &mirror = q->mirror();
        const VXToplevel *known = mirror.toplevel(handle.id);
        VXToplevel toplevel = known ? *known : VXToplevel();
        toplevel.title = handle.title;
        toplevel.appId = handle.appId;
        toplevel.minimized = handle.minimized;
        mirror.setToplevel(handle.id, toplevel);
        // Each handle reports its own state: between two "done"s none, or two, may look
        // activated. The last one activated is the active one.
        if (handle.activated)
            mirror.setActive(handle.id);
        else if (mirror.active() == handle.id)
            mirror.setActive(std::nullopt);
    }

    void closed(Handle &handle)
    {
        q->mirror().removeToplevel(handle.id);
        zwlr_foreign_toplevel_handle_v1_destroy(handle.proxy);
        handles.erase(handle.id);
    }

    static void onTitle(void *data, zwlr_foreign_toplevel_handle_v1 *, const char *title)
    {
        static_cast<Handle *>(data)->title
            = VXWindowTitleFromUtf8(QByteArrayView(title, qsizetype(std::strlen(title))));
    }
    static void onAppId(void *data, zwlr_foreign_toplevel_handle_v1 *, const char *appId)
    {
        static_cast<Handle *>(data)->appId = QString::fromUtf8(appId).trimmed();
    }
    static void onOutputEnter(void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *) { }
    static void onOutputLeave(void *, zwlr_foreign_toplevel_handle_v1 *, wl_output *) { }
    static void onState(void *data, zwlr_foreign_toplevel_handle_v1 *, wl_array *states)
    {
        auto *handle = static_cast<Handle *>(data);
        handle->activated = handle->minimized = false;
        const auto *values = static_cast<const std::uint32_t *>(states->data);
        for (std::size_t i = 0; i < states->size / sizeof(std::uint32_t); ++i) {
            handle->activated = handle->activated || values[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_ACTIVATED;
            handle->minimized = handle->minimized || values[i] == ZWLR_FOREIGN_TOPLEVEL_HANDLE_V1_STATE_MINIMIZED;
        }
    }
    static void onDone(void *data, zwlr_foreign_toplevel_handle_v1 *)
    {
        auto *handle = static_cast<Handle *>(data);
        handle->owner->done(*handle);
    }
    static void onClosed(void *data, zwlr_foreign_toplevel_handle_v1 *)
    {
        auto *handle = static_cast<Handle *>(data);
        handle->owner->closed(*handle);
    }
    static void onParent(void *, zwlr_foreign_toplevel_handle_v1 *, zwlr_foreign_toplevel_handle_v1 *) { }

    static void onToplevel(void *data, zwlr_foreign_toplevel_manager_v1 *, zwlr_foreign_toplevel_handle_v1 *proxy)
    {
        static const zwlr_foreign_toplevel_handle_v1_listener kHandleListener
            = {&onTitle, &onAppId, &onOutputEnter, &onOutputLeave, &onState, &onDone, &onClosed, &onParent};
        auto *self = static_cast<Private *>(data);
        auto handle = std::make_unique<Handle>();
        handle->owner = self;
        handle->proxy = proxy;
        handle->id = self->nextId++;
        zwlr_foreign_toplevel_handle_v1_add_listener(proxy, &kHandleListener, handle.get());
        self->handles.emplace(handle->id, std::move(handle));
    }
    static void onFinished(void *data, zwlr_foreign_toplevel_manager_v1 *)
    {
        auto *self = static_cast<Private *>(data);
        self->finished = true;
        qCWarning(lcWayland) << "the compositor stopped telling of its toplevels: no windows will be seen";
    }
};

VXWlrootsDesktop::VXWlrootsDesktop(std::shared_ptr<VXWaylandConnection> connection,
                                   const VXToplevelMirror::Options &options) :
    VXToplevelDesktop(options),
    d(std::make_unique<Private>())
{
    d->q = this;
    d->connection = std::move(connection);
}

VXWlrootsDesktop::~VXWlrootsDesktop() = default;

bool VXWlrootsDesktop::isOffered(const VXWaylandConnection &connection)
{
    return connection.global(zwlr_foreign_toplevel_manager_v1_interface.name) != nullptr;
}

std::unique_ptr<VXWlrootsDesktop> VXWlrootsDesktop::create(std::shared_ptr<VXWaylandConnection> connection,
                                                           const VXToplevelMirror::Options &options, QString *whyNot)
{
    const VXWaylandConnection::Global *manager
        = connection ? connection->global(zwlr_foreign_toplevel_manager_v1_interface.name) : nullptr;
    if (!manager) {
        if (whyNot)
            *whyNot = QStringLiteral("the compositor does not offer zwlr_foreign_toplevel_manager_v1");
        return nullptr;
    }
    std::unique_ptr<VXWlrootsDesktop> desktop(new VXWlrootsDesktop(connection, options));
    Private &d = *desktop->d;
    static const zwlr_foreign_toplevel_manager_v1_listener kManagerListener
        = {&Private::onToplevel, &Private::onFinished};
    d.manager = static_cast<zwlr_foreign_toplevel_manager_v1 *>(
        connection->bind(*manager, &zwlr_foreign_toplevel_manager_v1_interface, 3));
    zwlr_foreign_toplevel_manager_v1_add_listener(d.manager, &kManagerListener, &d);
    if (const VXWaylandConnection::Global *seat = connection->global(wl_seat_interface.name))
        d.seat = static_cast<wl_seat *>(connection->bind(*seat, &wl_seat_interface, 1));
    desktop->followConnection(*connection);
    // The toplevels that are open already come right after the bind.
    connection->roundtrip();
    connection->roundtrip();
    return desktop;
}

QString VXWlrootsDesktop::name() const
{
    return QStringLiteral("the wlroots foreign-toplevel protocol on %1").arg(d->connection->displayName());
}

QString VXWlrootsDesktop::limitations() const
{
    return QStringLiteral("The compositor does not say which process owns a window, so windows are grouped by "
                          "their app id; nor on which workspace a window is, so every window that is not "
                          "minimised counts as on screen.");
}

bool VXWlrootsDesktop::isConnected() const
{
    return d->connection->isConnected() && !d->finished;
}

void VXWlrootsDesktop::beforeSnapshot()
{
    d->connection->dispatchPending();
}

bool VXWlrootsDesktop::activateToplevel(Id id, QString *whyNot)
{
    Private::Handle *handle = d->find(id);
    if (!handle || !d->seat || !isConnected()) {
        if (whyNot)
            *whyNot = notAvailableHere(QStringLiteral("Bringing a window to the front"));
        return false;
    }
    zwlr_foreign_toplevel_handle_v1_activate(handle->proxy, d->seat);
    d->connection->flush();
    return true;
}

bool VXWlrootsDesktop::closeToplevel(Id id, QString *whyNot)
{
    Private::Handle *handle = d->find(id);
    if (!handle || !isConnected()) {
        if (whyNot)
            *whyNot = notAvailableHere(QStringLiteral("Closing a window"));
        return false;
    }
    zwlr_foreign_toplevel_handle_v1_close(handle->proxy);
    d->connection->flush();
    return true;
}
