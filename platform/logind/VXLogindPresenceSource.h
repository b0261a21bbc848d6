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
// Whether a lock counts as the user leaving is the observer's decision, not this source's.

#include "VXPresence.h"

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>

class QDBusError;
class QDBusMessage;

class VXLogindPresenceSource : public QObject, public VXSessionNotificationSource
{
    Q_OBJECT
public:
    // By default the system bus (DBUS_SYSTEM_BUS_ADDRESS when set) and this process's session
    // (XDG_SESSION_ID, else the session logind gives this process).
    explicit VXLogindPresenceSource(QObject *parent = nullptr);
    VXLogindPresenceSource(const QDBusConnection &bus, const QString &sessionId, QObject *parent = nullptr);
    ~VXLogindPresenceSource() override;

    bool start(VXPresenceObserver &observer) override;
    void stop() override;
    QString name() const override;

    // The session's object path once started.
    QString sessionPath() const { return m_sessionPath; }

private Q_SLOTS:
    void prepareForSleep(bool start);
    void prepareForShutdown(bool start);
    void sessionPropertiesChanged(const QString &interface, const QVariantMap &changed, const QStringList &invalidated);
    void sessionLocked();
    void sessionUnlocked();
    void sleepLockGranted(const QDBusUnixFileDescriptor &lock);
    void shutdownLockGranted(const QDBusUnixFileDescriptor &lock);
    void delayLockRefused(const QDBusError &error);

private:
    QString findSessionPath();
    void readSessionState(bool announce);
    void setActive(bool active, bool announce);
    void setLocked(bool locked, bool announce);
    // Asks logind for a delay lock ("sleep" or "shutdown"); the answer comes later.
    void takeDelayLock(const QString &what);

    QDBusConnection m_bus;
    QString m_sessionId;
    QString m_sessionPath;
    VXPresenceObserver *m_observer = nullptr;
    bool m_sleeping = false;
    bool m_active = true;
    bool m_locked = false;
    // The delay locks: logind waits while their descriptors are open.
    QDBusUnixFileDescriptor m_sleepLock;
    QDBusUnixFileDescriptor m_shutdownLock;
    bool m_shuttingDown = false;
    bool m_loggedRefusal = false;
};
