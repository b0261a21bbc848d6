#include "VXWaylandConnection.h"

#include "VXWaylandLogging.h"

#include <QDeadlineTimer>
#include <QSocketNotifier>

#include <wayland-client.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

std::shared_ptr<VXWaylandConnection> VXWaylandConnection::connect(const QString &display, QString *whyNot)
{
    QString name = display.isEmpty() ? qEnvironmentVariable("WAYLAND_DISPLAY") : display;
    if (name.isEmpty())
        name = QStringLiteral("wayland-0");
    wl_display *connection = wl_display_connect(name.toLocal8Bit().constData());
    if (!connection) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot connect to the Wayland display %1 (%2)")
                          .arg(name, QString::fromLocal8Bit(std::strerror(errno)));
        return nullptr;
    }
    std::shared_ptr<VXWaylandConnection> result(new VXWaylandConnection(connection, name));
    static const wl_registry_listener kRegistryListener
        = {&VXWaylandConnection::handleGlobal, &VXWaylandConnection::handleGlobalRemove};
    result->m_registry = wl_display_get_registry(connection);
    wl_registry_add_listener(result->m_registry, &kRegistryListener, result.get());
    if (!result->roundtrip()) {
        if (whyNot)
            *whyNot = QStringLiteral("the Wayland display %1 does not answer").arg(name);
        return nullptr;
    }
    return result;
}

VXWaylandConnection::VXWaylandConnection(wl_display *display, QString name) :
    m_display(display), m_displayName(std::move(name))
{
    m_notifier = new QSocketNotifier(qintptr(wl_display_get_fd(m_display)), QSocketNotifier::Read, this);
    QObject::connect(m_notifier, &QSocketNotifier::activated, this, &VXWaylandConnection::dispatchPending);
}

VXWaylandConnection::~VXWaylandConnection()
{
    delete m_notifier;
    if (m_registry)
        wl_registry_destroy(m_registry);
    wl_display_disconnect(m_display);
}

const VXWaylandConnection::Global *VXWaylandConnection::global(const char *interface) const
{
    const auto found = std::find_if(m_globals.begin(), m_globals.end(),
                                    [interface](const Global &g) { return g.interface == interface; });
    return found == m_globals.end() ? nullptr : &*found;
}

void *VXWaylandConnection::bind(const Global &global, const wl_interface *interface, std::uint32_t maxVersion)
{
    return wl_registry_bind(m_registry, global.name, interface, std::min(global.version, maxVersion));
}

void VXWaylandConnection::handleGlobal(void *data, wl_registry *, std::uint32_t name, const char *interface,
                                       std::uint32_t version)
{
    static_cast<VXWaylandConnection *>(data)->m_globals.push_back({name, QByteArray(interface), version});
}

void VXWaylandConnection::handleGlobalRemove(void *data, wl_registry *, std::uint32_t name)
{
    auto &globals = static_cast<VXWaylandConnection *>(data)->m_globals;
    globals.erase(std::remove_if(globals.begin(), globals.end(), [name](const Global &g) { return g.name == name; }),
                  globals.end());
}

bool VXWaylandConnection::failed()
{
    if (m_lost)
        return true;
    const int error = wl_display_get_error(m_display);
    if (error == 0)
        return false;
    m_lost = true;
    m_notifier->setEnabled(false);
    qCWarning(lcWayland).noquote() << QStringLiteral("lost the connection to the Wayland compositor on %1 (%2)")
                                          .arg(m_displayName, QString::fromLocal8Bit(std::strerror(error)));
    Q_EMIT lost();
    return true;
}

void VXWaylandConnection::dispatchPending()
{
    // A listener may tick the tracker, which comes back here: one reader at a time.
    if (m_lost || m_dispatching)
        return;
    m_dispatching = true;
    while (wl_display_prepare_read(m_display) != 0) {
        if (wl_display_dispatch_pending(m_display) < 0)
            break;
    }
    if (wl_display_get_error(m_display) == 0) {
        wl_display_flush(m_display);
        pollfd descriptor {wl_display_get_fd(m_display), POLLIN, 0};
        if (::poll(&descriptor, 1, 0) > 0)
            wl_display_read_events(m_display);
        else
            wl_display_cancel_read(m_display);
        wl_display_dispatch_pending(m_display);
    }
    m_dispatching = false;
    failed();
}

void VXWaylandConnection::flush()
{
    if (!m_lost && wl_display_flush(m_display) < 0 && errno != EAGAIN)
        failed();
}

bool VXWaylandConnection::roundtrip(int timeoutMs)
{
    if (m_lost)
        return false;
    // wl_display_roundtrip() could wait for ever on a compositor that hangs: wait for the
    // callback of a sync request instead, with a deadline.
    bool done = false;
    static const wl_callback_listener kListener = {[](void *data, wl_callback *callback, std::uint32_t) {
        if (data)
            *static_cast<bool *>(data) = true;
        wl_callback_destroy(callback);
    }};
    wl_callback *callback = wl_display_sync(m_display);
    wl_callback_add_listener(callback, &kListener, &done);
    const QDeadlineTimer deadline(timeoutMs);
    while (!done && !failed()) {
        if (wl_display_dispatch_pending(m_display) < 0)
            break;
        if (done)
            break;
        if (wl_display_flush(m_display) < 0 && errno != EAGAIN)
            break;
        if (wl_display_prepare_read(m_display) != 0)
            continue;
        pollfd descriptor {wl_display_get_fd(m_display), POLLIN, 0};
        const int ready = ::poll(&descriptor, 1, int(std::max<qint64>(deadline.remainingTime(), 0)));
        if (ready > 0) {
            wl_display_read_events(m_display);
        } else {
            wl_display_cancel_read(m_display);
            if (deadline.hasExpired())
                break;
        }
    }
    if (!done) {
        // The callback may still come: it must not write to this frame then.
        wl_proxy_set_user_data(reinterpret_cast<wl_proxy *>(callback), nullptr);
        if (!failed())
            qCWarning(lcWayland).noquote() << QStringLiteral("the Wayland compositor on %1 did not answer within %2 ms")
                                                  .arg(m_displayName)
                                                  .arg(timeoutMs);
    }
    return done;
}
