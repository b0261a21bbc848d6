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
    readSessionState(false);
    return true;
}

void VXLogindPresenceSource::stop()
{
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

void VXLogindPresenceSource::prepareForSleep(bool start)
{
    if (!m_observer || start == m_sleeping)
        return;
    m_sleeping = start;
    if (start)
        m_observer->systemWillSleep();
    else
        m_observer->systemDidWake();
}

void VXLogindPresenceSource::prepareForShutdown(bool start)
{
    if (start && m_observer && m_beforeShutdown)
        m_beforeShutdown();
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
