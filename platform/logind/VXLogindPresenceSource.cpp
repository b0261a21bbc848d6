#include "VXLogindPresenceSource.h"

#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QLoggingCategory>

#include <unistd.h>

Q_LOGGING_CATEGORY(lcLogind, "wendle.logind")

namespace {

const QString kService = QStringLiteral("org.freedesktop.login1");
const QString kManagerPath = QStringLiteral("/org/freedesktop/login1");
const QString kManagerInterface = QStringLiteral("org.freedesktop.login1.Manager");
const QString kSessionInterface = QStringLiteral("org.freedesktop.login1.Session");
const QString kPropertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kActiveProperty = QStringLiteral("Active");
const QString kLockedHintProperty = QStringLiteral("LockedHint");
const QString kSleepLock = QStringLiteral("sleep");
const QString kShutdownLock = QStringLiteral("shutdown");
const QString kDelayMode = QStringLiteral("delay");
const QString kLockHolder = QStringLiteral("Wendle");
const QString kLockReason = QStringLiteral("Saving the time record");
// How long an answer from logind is waited for.
constexpr int kCallTimeoutMs = 3000;

// Properties come back wrapped once more when a mock or a proxy passes them through.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

}   // namespace

VXLogindPresenceSource::VXLogindPresenceSource(QObject *parent) :
    VXLogindPresenceSource(QDBusConnection::systemBus(), qEnvironmentVariable("XDG_SESSION_ID"), parent)
{
}

VXLogindPresenceSource::VXLogindPresenceSource(const QDBusConnection &bus, const QString &sessionId, QObject *parent) :
    QObject(parent), m_bus(bus), m_sessionId(sessionId)
{
}

VXLogindPresenceSource::~VXLogindPresenceSource()
{
    stop();
}

QString VXLogindPresenceSource::name() const
{
    return QStringLiteral("logind");
}

QString VXLogindPresenceSource::findSessionPath()
{
    QDBusInterface manager(kService, kManagerPath, kManagerInterface, m_bus);
    if (!m_sessionId.isEmpty()) {
        const QDBusReply<QDBusObjectPath> reply = manager.call(QStringLiteral("GetSession"), m_sessionId);
        if (reply.isValid())
            return reply.value().path();
        qCWarning(lcLogind, "logind does not know session %s: %s", qPrintable(m_sessionId),
                  qPrintable(reply.error().message()));
        return QString();
    }
    const QDBusReply<QDBusObjectPath> reply
        = manager.call(QStringLiteral("GetSessionByPID"), static_cast<quint32>(::getpid()));
    if (reply.isValid())
        return reply.value().path();
    qCWarning(lcLogind, "logind gives no session for this process: %s", qPrintable(reply.error().message()));
    return QString();
}

bool VXLogindPresenceSource::start(VXPresenceObserver &observer)
{
    stop();
    if (!m_bus.isConnected()) {
        qCWarning(lcLogind, "cannot reach the system bus, so sleep, session and lock changes go unnoticed");
        return false;
    }
    m_sessionPath = findSessionPath();
    const bool sleepWatched = m_bus.connect(kService, kManagerPath, kManagerInterface,
                                            QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    m_bus.connect(kService, kManagerPath, kManagerInterface, QStringLiteral("PrepareForShutdown"), this,
                  SLOT(prepareForShutdown(bool)));
    if (!m_sessionPath.isEmpty()) {
        m_bus.connect(kService, m_sessionPath, kPropertiesInterface, QStringLiteral("PropertiesChanged"), this,
                      SLOT(sessionPropertiesChanged(QString, QVariantMap, QStringList)));
        m_bus.connect(kService, m_sessionPath, kSessionInterface, QStringLiteral("Lock"), this, SLOT(sessionLocked()));
        m_bus.connect(kService, m_sessionPath, kSessionInterface, QStringLiteral("Unlock"), this,
                      SLOT(sessionUnlocked()));
    }
    if (!sleepWatched) {
        qCWarning(lcLogind, "cannot watch logind's sleep signal: %s", qPrintable(m_bus.lastError().message()));
        return false;
    }
    m_observer = &observer;
    m_sleeping = false;
    takeDelayLock(kSleepLock);
    takeDelayLock(kShutdownLock);
    readSessionState(false);
    return true;
}

void VXLogindPresenceSource::stop()
{
    m_sleepLock = QDBusUnixFileDescriptor();
    // Stopped by the quit path that a shutdown runs: the lock goes once its save is done.
    if (!m_shuttingDown)
        m_shutdownLock = QDBusUnixFileDescriptor();
    if (!m_observer)
        return;
    m_bus.disconnect(kService, kManagerPath, kManagerInterface, QStringLiteral("PrepareForSleep"), this,
                     SLOT(prepareForSleep(bool)));
    m_bus.disconnect(kService, kManagerPath, kManagerInterface, QStringLiteral("PrepareForShutdown"), this,
                     SLOT(prepareForShutdown(bool)));
    if (!m_sessionPath.isEmpty()) {
        m_bus.disconnect(kService, m_sessionPath, kPropertiesInterface, QStringLiteral("PropertiesChanged"), this,
                         SLOT(sessionPropertiesChanged(QString, QVariantMap, QStringList)));
        m_bus.disconnect(kService, m_sessionPath, kSessionInterface, QStringLiteral("Lock"), this,
                         SLOT(sessionLocked()));
        m_bus.disconnect(kService, m_sessionPath, kSessionInterface, QStringLiteral("Unlock"), this,
                         SLOT(sessionUnlocked()));
    }
    m_observer = nullptr;
}

// Reads Active and LockedHint; at start the values are taken as they are, later a difference is
// a transition to report.
void VXLogindPresenceSource::readSessionState(bool announce)
{
    if (m_sessionPath.isEmpty())
        return;
    QDBusMessage call
        = QDBusMessage::createMethodCall(kService, m_sessionPath, kPropertiesInterface, QStringLiteral("GetAll"));
    call << kSessionInterface;
    const QDBusReply<QVariantMap> reply = m_bus.call(call, QDBus::Block, 2000);
    if (!reply.isValid()) {
        qCWarning(lcLogind, "cannot read the state of session %s: %s", qPrintable(m_sessionPath),
                  qPrintable(reply.error().message()));
        return;
    }
    const QVariantMap properties = reply.value();
    if (properties.contains(kActiveProperty))
        setActive(unwrapped(properties.value(kActiveProperty)).toBool(), announce);
    if (properties.contains(kLockedHintProperty))
        setLocked(unwrapped(properties.value(kLockedHintProperty)).toBool(), announce);
}

void VXLogindPresenceSource::setActive(bool active, bool announce)
{
    if (active == m_active)
        return;
    m_active = active;
    if (!announce || !m_observer)
        return;
    if (active)
        m_observer->sessionDidBecomeActive();
    else
        m_observer->sessionDidResignActive();
}

void VXLogindPresenceSource::setLocked(bool locked, bool announce)
{
    if (locked == m_locked)
        return;
    m_locked = locked;
    if (!announce || !m_observer)
        return;
    if (locked)
        m_observer->screenDidLock();
    else
        m_observer->screenDidUnlock();
}

void VXLogindPresenceSource::takeDelayLock(const QString &what)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(kService, kManagerPath, kManagerInterface, QStringLiteral("Inhibit"));
    call << what << kLockHolder << kLockReason << kDelayMode;
    // The answer goes to a slot that takes the descriptor, so that no other copy of it stays
    // open once the lock is released.
    m_bus.callWithCallback(call, this,
                           what == kSleepLock ? SLOT(sleepLockGranted(QDBusUnixFileDescriptor))
                                              : SLOT(shutdownLockGranted(QDBusUnixFileDescriptor)),
                           SLOT(delayLockRefused(QDBusError)), kCallTimeoutMs);
}

void VXLogindPresenceSource::sleepLockGranted(const QDBusUnixFileDescriptor &lock)
{
    // Not wanted once stopped, nor while the machine sleeps (it would hold back the next sleep
    // before the program is ready for it).
    if (m_observer && !m_sleeping)
        m_sleepLock = lock;
}

void VXLogindPresenceSource::shutdownLockGranted(const QDBusUnixFileDescriptor &lock)
{
    if (m_observer)
        m_shutdownLock = lock;
}

void VXLogindPresenceSource::delayLockRefused(const QDBusError &error)
{
    if (!m_loggedRefusal)
        qCWarning(lcLogind,
                  "logind does not wait for Wendle before the machine sleeps or shuts down (%s): the record is "
                  "saved as usual, at the last moment",
                  qPrintable(error.message()));
    m_loggedRefusal = true;
}

void VXLogindPresenceSource::prepareForSleep(bool start)
{
    if (!m_observer || start == m_sleeping)
        return;
    m_sleeping = start;
    if (start) {
        m_observer->systemWillSleep();
        if (m_beforeSleep)
            m_beforeSleep();
        // The record is on disk: logind may go on.
        m_sleepLock = QDBusUnixFileDescriptor();
    } else {
        takeDelayLock(kSleepLock);
        m_observer->systemDidWake();
    }
}

void VXLogindPresenceSource::prepareForShutdown(bool start)
{
    if (!m_observer)
        return;
    if (!start) {
        // The shutdown was called off.
        takeDelayLock(kShutdownLock);
        return;
    }
    m_shuttingDown = true;
    if (m_beforeShutdown)
        m_beforeShutdown();
    m_shuttingDown = false;
    m_shutdownLock = QDBusUnixFileDescriptor();
}

void VXLogindPresenceSource::sessionPropertiesChanged(const QString &interface, const QVariantMap &changed,
                                                      const QStringList &invalidated)
{
    if (!m_observer || interface != kSessionInterface)
        return;
    if (invalidated.contains(kActiveProperty) || invalidated.contains(kLockedHintProperty)) {
        readSessionState(true);
        return;
    }
    if (changed.contains(kActiveProperty))
        setActive(unwrapped(changed.value(kActiveProperty)).toBool(), true);
    if (changed.contains(kLockedHintProperty))
        setLocked(unwrapped(changed.value(kLockedHintProperty)).toBool(), true);
}

void VXLogindPresenceSource::sessionLocked()
{
    setLocked(true, true);
}

void VXLogindPresenceSource::sessionUnlocked()
{
    setLocked(false, true);
}
