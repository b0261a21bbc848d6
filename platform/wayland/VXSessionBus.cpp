#include "VXSessionBus.h"

#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

#include <atomic>

namespace {

QDBusMessage busCall(const QString &method, const QVariantList &arguments = {})
{
    QDBusMessage message = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.DBus"),
                                                          QStringLiteral("/org/freedesktop/DBus"),
                                                          QStringLiteral("org.freedesktop.DBus"), method);
    message.setArguments(arguments);
    return message;
}

QVariant firstAnswer(const QDBusConnection &bus, const QDBusMessage &message)
{
    const QDBusMessage reply = bus.call(message, QDBus::Block, kSessionBusTimeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty() ? reply.arguments().constFirst()
                                                                                      : QVariant();
}

}   // namespace

QDBusConnection VXConnectSessionBus(const QString &prefix)
{
    static std::atomic<int> connections = 0;
    const QString name = QStringLiteral("%1-%2").arg(prefix).arg(++connections);
    // By its address as the environment gives it now: libdbus reads the variable once per process.
    const QString address = qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS");
    return address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SessionBus, name)
                             : QDBusConnection::connectToBus(address, name);
}

QString VXNameOwner(const QDBusConnection &bus, const QString &service)
{
    return firstAnswer(bus, busCall(QStringLiteral("GetNameOwner"), {service})).toString();
}

bool VXFollowNameOwner(const QDBusConnection &bus, const QString &service, QObject *context,
                       std::function<void(const QString &owner)> appeared, std::function<void()> vanished)
{
    auto *watcher = new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange, context);
    QObject::connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, context,
                     [appeared, vanished](const QString &, const QString &, const QString &owner) {
                         if (owner.isEmpty())
                             vanished();
                         else
                             appeared(owner);
                     });
    const QString owner = VXNameOwner(bus, service);
    if (!owner.isEmpty())
        appeared(owner);
    return !owner.isEmpty();
}

QStringList VXBusNames(const QDBusConnection &bus)
{
    return firstAnswer(bus, busCall(QStringLiteral("ListNames"))).toStringList();
}

bool VXRequestName(const QDBusConnection &bus, const QString &name)
{
    // DBUS_NAME_FLAG_DO_NOT_QUEUE; the answer DBUS_REQUEST_NAME_REPLY_PRIMARY_OWNER.
    constexpr uint kDoNotQueue = 4;
    constexpr uint kPrimaryOwner = 1;
    return firstAnswer(bus, busCall(QStringLiteral("RequestName"), {name, kDoNotQueue})).toUInt() == kPrimaryOwner;
}
