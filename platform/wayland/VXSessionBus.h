#pragma once

// The session-bus calls the KWin and GNOME Shell adapters and Mutter's idle source make while
// they start, each bounded: a bus that does not answer costs the program kSessionBusTimeoutMs,
// never more. Each adapter has a connection of its own (a test's private bus, or a bus that
// restarts, is then reached afresh).

#include <QDBusConnection>
#include <QString>
#include <QStringList>

#include <functional>

class QObject;

inline constexpr int kSessionBusTimeoutMs = 2000;

// A new connection to the session bus that $DBUS_SESSION_BUS_ADDRESS names now (or libdbus's
// default without one), named "<prefix>-<n>"; check isConnected().
QDBusConnection VXConnectSessionBus(const QString &prefix);
// The unique name that owns `service`, or empty.
QString VXNameOwner(const QDBusConnection &bus, const QString &service);
// Follows who owns `service` for as long as `context` lives: `appeared` with the owner at once
// when it is owned now and whenever a new owner takes it, `vanished` when it goes. Answers
// whether it is owned now.
bool VXFollowNameOwner(const QDBusConnection &bus, const QString &service, QObject *context,
                       std::function<void(const QString &owner)> appeared, std::function<void()> vanished);
// Every name on the bus; empty when it does not answer.
QStringList VXBusNames(const QDBusConnection &bus);
// Takes `name` unless another connection has it.
bool VXRequestName(const QDBusConnection &bus, const QString &name);
