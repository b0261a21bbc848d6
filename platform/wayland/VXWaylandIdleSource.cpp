#include "VXWaylandIdleSource.h"

#include "VXIdleReporter.h"
#include "VXWaylandConnection.h"
#include "VXWaylandLogging.h"

#include "ext-idle-notify-v1-client-protocol.h"
#include "idle-client-protocol.h"

#include <wayland-client.h>

struct VXWaylandIdleSource::Private {
    wl_seat *seat = nullptr;
    ext_idle_notifier_v1 *notifier = nullptr;
    ext_idle_notification_v1 *notification = nullptr;
    org_kde_kwin_idle *kdeIdle = nullptr;
    org_kde_kwin_idle_timeout *kdeTimeout = nullptr;

    ~Private()
    {
        if (notification)
            ext_idle_notification_v1_destroy(notification);
        if (notifier)
            ext_idle_notifier_v1_destroy(notifier);
        if (kdeTimeout)
            org_kde_kwin_idle_timeout_release(kdeTimeout);
        if (kdeIdle)
            org_kde_kwin_idle_destroy(kdeIdle);
        if (seat)
            wl_seat_destroy(seat);
    }
};

namespace {

void idled(void *data, ext_idle_notification_v1 *)
{
    static_cast<VXIdleReporter *>(data)->idled();
}

void resumed(void *data, ext_idle_notification_v1 *)
{
    static_cast<VXIdleReporter *>(data)->resumed();
}

void kdeIdle(void *data, org_kde_kwin_idle_timeout *)
{
    static_cast<VXIdleReporter *>(data)->idled();
}

void kdeResumed(void *data, org_kde_kwin_idle_timeout *)
{
    static_cast<VXIdleReporter *>(data)->resumed();
}

const ext_idle_notification_v1_listener kNotificationListener = {&idled, &resumed};
const org_kde_kwin_idle_timeout_listener kKdeTimeoutListener = {&kdeIdle, &kdeResumed};

}   // namespace

VXWaylandIdleSource::VXWaylandIdleSource(std::shared_ptr<VXWaylandConnection> connection, Protocol protocol,
                                         QObject *parent) :
    QObject(parent),
    m_connection(std::move(connection)), m_protocol(protocol), m_reporter(new VXIdleReporter(this))
{
}

VXWaylandIdleSource::~VXWaylandIdleSource()
{
    stop();
}

bool VXWaylandIdleSource::isOffered(const VXWaylandConnection &connection)
{
    return connection.global(ext_idle_notifier_v1_interface.name)
        || connection.global(org_kde_kwin_idle_interface.name);
}

QString VXWaylandIdleSource::name() const
{
    if (d && d->kdeIdle)
        return QStringLiteral("Wayland idle protocol org_kde_kwin_idle");
    return QStringLiteral("Wayland idle protocol ext_idle_notifier_v1");
}

bool VXWaylandIdleSource::start(VXPresenceObserver &observer)
{
    stop();
    if (!m_connection) {
        QString whyNot;
        m_connection = VXWaylandConnection::connect(QString(), &whyNot);
        if (!m_connection) {
            qCInfo(lcWayland).noquote() << "no Wayland idle time:" << whyNot;
            return false;
        }
    }
    if (!m_connection->isConnected())
        return false;
    const VXWaylandConnection::Global *seat = m_connection->global(wl_seat_interface.name);
    const VXWaylandConnection::Global *notifier
        = m_protocol == Protocol::Automatic ? m_connection->global(ext_idle_notifier_v1_interface.name) : nullptr;
    const VXWaylandConnection::Global *kde = m_connection->global(org_kde_kwin_idle_interface.name);
    if (!seat || (!notifier && !kde)) {
        qCInfo(lcWayland).noquote() << QStringLiteral("the Wayland compositor on %1 offers no idle protocol%2")
                                           .arg(m_connection->displayName(),
                                                seat ? QString() : QStringLiteral(" (and no seat)"));
        return false;
    }
    auto p = std::make_unique<Private>();
    p->seat = static_cast<wl_seat *>(m_connection->bind(*seat, &wl_seat_interface, 1));
    if (notifier) {
        p->notifier
            = static_cast<ext_idle_notifier_v1 *>(m_connection->bind(*notifier, &ext_idle_notifier_v1_interface, 1));
        p->notification
            = ext_idle_notifier_v1_get_idle_notification(p->notifier, VXIdleReporter::kIdleTimeoutMs, p->seat);
        ext_idle_notification_v1_add_listener(p->notification, &kNotificationListener, m_reporter);
    } else {
        p->kdeIdle = static_cast<org_kde_kwin_idle *>(m_connection->bind(*kde, &org_kde_kwin_idle_interface, 1));
        p->kdeTimeout = org_kde_kwin_idle_get_idle_timeout(p->kdeIdle, p->seat, VXIdleReporter::kIdleTimeoutMs);
        org_kde_kwin_idle_timeout_add_listener(p->kdeTimeout, &kKdeTimeoutListener, m_reporter);
    }
    d = std::move(p);
    m_connection->flush();
    m_reporter->start(observer);
    connect(m_connection.get(), &VXWaylandConnection::lost, this, [this] {
        qCWarning(lcWayland) << "user input is no longer watched: the compositor went away";
        m_reporter->stop();
    });
    return true;
}

void VXWaylandIdleSource::stop()
{
    m_reporter->stop();
    if (m_connection)
        disconnect(m_connection.get(), nullptr, this, nullptr);
    d.reset();
    if (m_connection)
        m_connection->flush();
}
