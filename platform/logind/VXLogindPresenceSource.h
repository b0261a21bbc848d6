#pragma once

// Presence from systemd-logind over the system bus: the machine going to sleep and waking
// (PrepareForSleep), this session being switched away and back (its Active property), and the
// screen being locked and unlocked (the session's Lock and Unlock signals and its LockedHint).
// Each change is reported once, on its transition, however many of those signals announce it.
//
// While it runs, the source holds two of logind's delay locks ("sleep" and "shutdown"), so that
// logind waits for the program (up to its InhibitDelayMaxSec) before the machine sleeps or shuts
// down:
//
//   PrepareForSleep(true)      observer told, the record saved (beforeSleep), sleep lock released
//   PrepareForSleep(false)     sleep lock taken again, observer told
//   PrepareForShutdown(true)   the quit path run and its save done (beforeShutdown), lock released
//
// A logind that refuses the locks is logged once; everything else goes on as before.
//
// Nothing here waits for the bus: start() returns at once, the system bus is first asked whether
// it answers at all (VXBusProbe, within kCallTimeoutMs), and every call to logind is answered
// later, to a slot. A bus or a logind that does not answer leaves the program tracking, with a
// line in the log.
//
// Whether a lock counts as the user leaving is the observer's decision, not this source's.

#include "VXPresence.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>
#include <QVariantMap>

#include <optional>

class QDBusError;
class QDBusObjectPath;
class VXBusProbe;

class VXLogindPresenceSource : public QObject, public VXSessionNotificationSource
{
    Q_OBJECT
public:
    // How long the bus and logind are given to answer.
    static constexpr int kCallTimeoutMs = 3000;

    // By default the system bus (DBUS_SYSTEM_BUS_ADDRESS when set) and this process's session
    // (XDG_SESSION_ID, else the session logind gives this process).
    explicit VXLogindPresenceSource(QObject *parent = nullptr);
    VXLogindPresenceSource(const QDBusConnection &bus, const QString &sessionId, QObject *parent = nullptr);
    ~VXLogindPresenceSource() override;

    // Answers false when no bus can be reached at all (nothing listens, or the given connection
    // is closed); otherwise true at once, and the rest follows as the bus answers.
    bool start(VXPresenceObserver &observer) override;
    void stop() override;
    QString name() const override;

    // Started, logind's signals connected and the session's state read: what happens from now
    // on is reported.
    bool isWatching() const { return m_watching; }
    // The session's object path once known.
    QString sessionPath() const { return m_sessionPath; }

private Q_SLOTS:
    void prepareForSleep(bool start);
    void prepareForShutdown(bool start);
    void sessionPropertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated);
    void sessionLocked();
    void sessionUnlocked();
    void sessionFound(const QDBusObjectPath &path);
    void sessionNotFound(const QDBusError &error);
    void sessionStateRead(const QVariantMap &properties);
    void sessionStateNotRead(const QDBusError &error);
    void sleepLockGranted(const QDBusUnixFileDescriptor &lock);
    void shutdownLockGranted(const QDBusUnixFileDescriptor &lock);
    void delayLockRefused(const QDBusError &error);

private:
    void busProbed(bool answered, const QString &whyNot);
    void dropProbe();
    // Connects logind's signals and asks for the locks and the session.
    void watch();
    void readSessionState();
    void setActive(bool active, bool announce);
    void setLocked(bool locked, bool announce);
    // Asks logind for a delay lock ("sleep" or "shutdown").
    void takeDelayLock(const QString &what);
    // Connects (or disconnects) the signals of logind's manager, or of the session.
    void connectManager(bool on);
    void connectSession(bool on);

    std::optional<QDBusConnection> m_bus;   // none until the system bus answered
    QString m_sessionId;
    QString m_sessionPath;
    VXPresenceObserver *m_observer = nullptr;
    VXBusProbe *m_probe = nullptr;
    bool m_managerConnected = false;
    bool m_watching = false;
    bool m_sleeping = false;
    bool m_active = true;
    bool m_locked = false;
    // The delay locks: logind waits while their descriptors are open.
    QDBusUnixFileDescriptor m_sleepLock;
    QDBusUnixFileDescriptor m_shutdownLock;
    bool m_shuttingDown = false;
    bool m_loggedRefusal = false;
};
