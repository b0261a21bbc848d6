#include "VXLogindPresenceSource.h"

#include "VXBusProbe.h"

#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
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

// The answers go to slots named by their signatures, which Qt resolves by the type names: the
// types must be known by name before the first call.
void registerAnswerTypes()
{
    qRegisterMetaType<QDBusObjectPath>();
    qRegisterMetaType<QDBusUnixFileDescriptor>();
    qRegisterMetaType<QDBusError>();
}

// Properties come back wrapped once more when a mock or a proxy passes them through.
QVariant unwrapped(QVariant value)
{
    while (value.canConvert<QDBusVariant>() && value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

}   // namespace

VXLogindPresenceSource::VXLogindPresenceSource(QObject *parent) :
    QObject(parent), m_sessionId(qEnvironmentVariable("XDG_SESSION_ID"))
{
    registerAnswerTypes();
}

VXLogindPresenceSource::VXLogindPresenceSource(const QDBusConnection &bus, const QString &sessionId, QObject *parent) :
    QObject(parent), m_bus(bus), m_sessionId(sessionId)
{
    registerAnswerTypes();
}

VXLogindPresenceSource::~VXLogindPresenceSource()
{
    stop();
}

QString VXLogindPresenceSource::name() const
{
    return QStringLiteral("logind");
}

// ---- Starting: the bus, then logind's signals, the locks and the session, each answered later

bool VXLogindPresenceSource::start(VXPresenceObserver &observer)
{
    stop();
    m_observer = &observer;
    m_sleeping = false;
    if (m_bus) {
        if (!m_bus->isConnected()) {
            qCWarning(lcLogind, "cannot reach the system bus, so sleep, session and lock changes go unnoticed");
            m_observer = nullptr;
            return false;
        }
        watch();
        return true;
    }
    // Qt would wait for a silent bus for good, and hold every other bus of the program with it.
    m_probe = new VXBusProbe(this);
    connect(m_probe, &VXBusProbe::finished, this, &VXLogindPresenceSource::busProbed);
    QString whyNot;
    if (!m_probe->start(VXBusProbe::systemBusAddress(), kCallTimeoutMs, &whyNot)) {
        qCWarning(lcLogind, "cannot reach the system bus (%s), so sleep, session and lock changes go unnoticed",
                  qPrintable(whyNot));
        dropProbe();
        m_observer = nullptr;
        return false;
    }
    return true;
}

void VXLogindPresenceSource::busProbed(bool answered, const QString &whyNot)
{
    dropProbe();
    if (!m_observer)
        return;
    if (!answered) {
        qCWarning(lcLogind, "the system bus does not answer (%s), so sleep, session and lock changes go unnoticed",
                  qPrintable(whyNot));
        return;
    }
    m_bus = QDBusConnection::systemBus();
    if (!m_bus->isConnected()) {
        qCWarning(lcLogind, "cannot connect to the system bus (%s), so sleep, session and lock changes go unnoticed",
                  qPrintable(m_bus->lastError().message()));
        return;
    }
    watch();
}

void VXLogindPresenceSource::dropProbe()
{
    if (!m_probe)
        return;
    m_probe->disconnect(this);
    m_probe->deleteLater();   // possibly from inside its own signal
    m_probe = nullptr;
}

void VXLogindPresenceSource::watch()
{
    connectManager(true);
    if (!m_managerConnected) {
        qCWarning(lcLogind, "cannot watch logind's sleep signal: %s", qPrintable(m_bus->lastError().message()));
        return;
    }
    takeDelayLock(kSleepLock);
    takeDelayLock(kShutdownLock);
    QDBusMessage call;
    if (!m_sessionId.isEmpty()) {
        call = QDBusMessage::createMethodCall(kService, kManagerPath, kManagerInterface, QStringLiteral("GetSession"));
        call << m_sessionId;
    } else {
        call = QDBusMessage::createMethodCall(kService, kManagerPath, kManagerInterface,
                                              QStringLiteral("GetSessionByPID"));
        call << static_cast<quint32>(::getpid());
    }
    m_bus->callWithCallback(call, this, SLOT(sessionFound(QDBusObjectPath)), SLOT(sessionNotFound(QDBusError)),
                            kCallTimeoutMs);
}

void VXLogindPresenceSource::sessionFound(const QDBusObjectPath &path)
{
    // An answer to a start that was stopped since, or a second one: not taken.
    if (!m_managerConnected || !m_sessionPath.isEmpty())
        return;
    m_sessionPath = path.path();
    connectSession(true);
    readSessionState();
}

void VXLogindPresenceSource::sessionNotFound(const QDBusError &error)
{
    if (!m_managerConnected)
        return;
    if (m_sessionId.isEmpty())
        qCWarning(lcLogind, "logind gives no session for this process: %s", qPrintable(error.message()));
    else
        qCWarning(lcLogind, "logind does not know session %s: %s", qPrintable(m_sessionId),
                  qPrintable(error.message()));
    // Sleep and shutdown are still watched.
    m_watching = true;
}

void VXLogindPresenceSource::stop()
{
    dropProbe();
    m_sleepLock = QDBusUnixFileDescriptor();
    // Stopped by the quit path that a shutdown runs: the lock goes once its save is done.
    if (!m_shuttingDown)
        m_shutdownLock = QDBusUnixFileDescriptor();
    connectSession(false);
    connectManager(false);
    m_sessionPath.clear();
    m_watching = false;
    m_observer = nullptr;
}

void VXLogindPresenceSource::connectManager(bool on)
{
    if (on == m_managerConnected)
        return;
    const auto change = [&](const QString &signal, const char *slot) {
        return on ? m_bus->connect(kService, kManagerPath, kManagerInterface, signal, this, slot)
                  : m_bus->disconnect(kService, kManagerPath, kManagerInterface, signal, this, slot);
    };
    const bool sleep = change(QStringLiteral("PrepareForSleep"), SLOT(prepareForSleep(bool)));
    change(QStringLiteral("PrepareForShutdown"), SLOT(prepareForShutdown(bool)));
    m_managerConnected = on && sleep;
}

void VXLogindPresenceSource::connectSession(bool on)
{
    if (m_sessionPath.isEmpty() || !m_bus)
        return;
    const auto change = [&](const QString &interface, const QString &signal, const char *slot) {
        if (on)
            m_bus->connect(kService, m_sessionPath, interface, signal, this, slot);
        else
            m_bus->disconnect(kService, m_sessionPath, interface, signal, this, slot);
    };
    change(kPropertiesInterface, QStringLiteral("PropertiesChanged"),
           SLOT(sessionPropertiesChanged(QString, QVariantMap, QStringList)));
    change(kSessionInterface, QStringLiteral("Lock"), SLOT(sessionLocked()));
    change(kSessionInterface, QStringLiteral("Unlock"), SLOT(sessionUnlocked()));
}

// ---- The session's state

// Reads Active and LockedHint: the first answer is taken as it is, later a difference is a
// transition to report.
void VXLogindPresenceSource::readSessionState()
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(kService, m_sessionPath, kPropertiesInterface, QStringLiteral("GetAll"));
    call << kSessionInterface;
    m_bus->callWithCallback(call, this, SLOT(sessionStateRead(QVariantMap)), SLOT(sessionStateNotRead(QDBusError)),
                            kCallTimeoutMs);
}

void VXLogindPresenceSource::sessionStateRead(const QVariantMap &properties)
{
    if (!m_managerConnected)
        return;
    const bool announce = m_watching;
    if (properties.contains(kActiveProperty))
        setActive(unwrapped(properties.value(kActiveProperty)).toBool(), announce);
    if (properties.contains(kLockedHintProperty))
        setLocked(unwrapped(properties.value(kLockedHintProperty)).toBool(), announce);
    m_watching = true;
}

void VXLogindPresenceSource::sessionStateNotRead(const QDBusError &error)
{
    if (!m_managerConnected)
        return;
    qCWarning(lcLogind, "cannot read the state of session %s: %s", qPrintable(m_sessionPath),
              qPrintable(error.message()));
    m_watching = true;
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

void VXLogindPresenceSource::sessionPropertiesChanged(const QString &interface, const QVariantMap &changed,
                                                      const QStringList &invalidated)
{
    if (!m_observer || interface != kSessionInterface)
        return;
    if (invalidated.contains(kActiveProperty) || invalidated.contains(kLockedHintProperty)) {
        readSessionState();
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

// ---- Sleep, shutdown and the delay locks

void VXLogindPresenceSource::takeDelayLock(const QString &what)
{
    QDBusMessage call
        = QDBusMessage::createMethodCall(kService, kManagerPath, kManagerInterface, QStringLiteral("Inhibit"));
    call << what << kLockHolder << kLockReason << kDelayMode;
    // The answer goes to a slot that takes the descriptor, so that no other copy of it stays
    // open once the lock is released.
    m_bus->callWithCallback(call, this,
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
