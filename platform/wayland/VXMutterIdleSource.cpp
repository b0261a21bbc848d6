#include "VXMutterIdleSource.h"

#include "VXIdleReporter.h"
#include "VXSessionBus.h"
#include "VXWaylandLogging.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>

const QString VXMutterIdleSource::kService = QStringLiteral("org.gnome.Mutter.IdleMonitor");

namespace {

const QString kPath = QStringLiteral("/org/gnome/Mutter/IdleMonitor/Core");
const QString kInterface = QStringLiteral("org.gnome.Mutter.IdleMonitor");
constexpr int kCallTimeoutMs = kSessionBusTimeoutMs;

QDBusMessage monitorCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(VXMutterIdleSource::kService, kPath, kInterface, method);
    message.setArguments(arguments);
    message.setAutoStartService(false);
    return message;
}

}   // namespace

VXMutterIdleSource::VXMutterIdleSource(QObject *parent) : QObject(parent), m_reporter(new VXIdleReporter(this)) { }

VXMutterIdleSource::~VXMutterIdleSource()
{
    stop();
}

QString VXMutterIdleSource::name() const
{
    return QStringLiteral("Mutter's idle monitor");
}

bool VXMutterIdleSource::start(VXPresenceObserver &observer)
{
    stop();
    m_bus = std::make_unique<QDBusConnection>(VXConnectSessionBus(QStringLiteral("wendle-mutter-idle")));
    if (!m_bus->isConnected() || VXNameOwner(*m_bus, kService).isEmpty()) {
        qCInfo(lcWayland) << "Mutter's idle monitor is not on the session bus";
        stop();
        return false;
    }
    m_bus->connect(kService, kPath, kInterface, QStringLiteral("WatchFired"), this, SLOT(watchFired(QDBusMessage)));
    m_watcher = new QDBusServiceWatcher(kService, *m_bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(m_watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString &, const QString &, const QString &owner) {
                ++m_generation;
                m_idleWatch = m_activeWatch = 0;
                m_unclaimed.clear();
                if (!owner.isEmpty())
                    arm();
            });
    m_reporter->start(observer);
    arm();
    return true;
}

void VXMutterIdleSource::stop()
{
    m_reporter->stop();
    if (!m_bus)
        return;
    delete m_watcher;
    m_watcher = nullptr;
    const QString name = m_bus->name();
    m_bus.reset();
    QDBusConnection::disconnectFromBus(name);
    ++m_generation;
    m_idleWatch = m_activeWatch = 0;
    m_unclaimed.clear();
}

void VXMutterIdleSource::arm()
{
    const int generation = m_generation;
    auto *call = new QDBusPendingCallWatcher(
        m_bus->asyncCall(monitorCall(QStringLiteral("AddIdleWatch"), {quint64(VXIdleReporter::kIdleTimeoutMs)}),
                         kCallTimeoutMs),
        this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *watcher) {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        if (generation != m_generation)
            return;
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
            qCWarning(lcWayland).noquote() << "Mutter's idle monitor refused a watch:" << reply.errorMessage();
            return;
        }
        m_idleWatch = reply.arguments().constFirst().toUInt();
        // Already idle longer than the watch's time: it fired before its number came back.
        if (m_unclaimed.remove(m_idleWatch))
            idleWatchFired();
    });
}

void VXMutterIdleSource::armUserActiveWatch()
{
    const int generation = m_generation;
    auto *call = new QDBusPendingCallWatcher(
        m_bus->asyncCall(monitorCall(QStringLiteral("AddUserActiveWatch")), kCallTimeoutMs), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *watcher) {
        watcher->deleteLater();
        const QDBusMessage reply = watcher->reply();
        if (generation != m_generation || reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return;
        m_activeWatch = reply.arguments().constFirst().toUInt();
        if (m_unclaimed.remove(m_activeWatch)) {
            activeWatchFired();
            return;
        }
        // Input between the idle watch firing and this watch being set would wait for the next
        // input: the idle time tells whether some came.
        auto *idle = new QDBusPendingCallWatcher(
            m_bus->asyncCall(monitorCall(QStringLiteral("GetIdletime")), kCallTimeoutMs), this);
        connect(idle, &QDBusPendingCallWatcher::finished, this, [this, generation](QDBusPendingCallWatcher *w) {
            w->deleteLater();
            const QDBusMessage idleReply = w->reply();
            if (generation == m_generation && idleReply.type() == QDBusMessage::ReplyMessage
                && !idleReply.arguments().isEmpty()
                && idleReply.arguments().constFirst().toULongLong() < quint64(VXIdleReporter::kIdleTimeoutMs)) {
                m_bus->send(monitorCall(QStringLiteral("RemoveWatch"), {m_activeWatch}));
                m_activeWatch = 0;
                m_reporter->resumed();
            }
        });
    });
}

void VXMutterIdleSource::watchFired(const QDBusMessage &message)
{
    if (message.arguments().isEmpty())
        return;
    const quint32 watch = message.arguments().constFirst().toUInt();
    if (watch == 0)
        return;
    if (watch == m_idleWatch)
        idleWatchFired();
    else if (watch == m_activeWatch)
        activeWatchFired();
    else
        m_unclaimed.insert(watch);   // its number is still on the way
}

void VXMutterIdleSource::idleWatchFired()
{
    m_reporter->idled();
    // The user-active watch fires once: one for each idle spell.
    armUserActiveWatch();
}

void VXMutterIdleSource::activeWatchFired()
{
    m_activeWatch = 0;
    m_reporter->resumed();
}
