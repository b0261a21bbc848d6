// The logind source against a private system bus with python-dbusmock's logind template.

#include "VXLogindPresenceSource.h"
#include "VXPresenceRecorder.h"
#include "VXScenarioSteps.h"
#include "VXServerProcess.h"
#include "VXTestProcess.h"
#include "VXTestSupport.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QScopeGuard>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QThread>

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

// A system bus of our own and a mocked logind on it, stopped in reverse order.
class LogindRig
{
public:
    QString skipReason;
    QString address;

    bool start()
    {
        const QString python = VXTestPython();
        const QString daemon = QStandardPaths::findExecutable(s("dbus-daemon"));
        if (python.isEmpty() || daemon.isEmpty() || QStandardPaths::findExecutable(s("gdbus")).isEmpty()) {
            skipReason = s("needs python3, dbus-daemon and gdbus");
            return false;
        }
        if (VXRunProcess(python, {s("-c"), s("import dbusmock")}).exitCode != 0) {
            skipReason = s("needs python3-dbusmock");
            return false;
        }
        QFile config(m_dir.filePath(s("system.conf")));
        if (!config.open(QIODevice::WriteOnly))
            return false;
        config.write(QStringLiteral("<busconfig><type>system</type><listen>unix:dir=%1</listen>"
                                    "<policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
                                    "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>")
                         .arg(m_dir.path())
                         .toUtf8());
        config.close();
        address = QString::fromUtf8(VXStartServer(
            m_bus, daemon, {s("--config-file=") + config.fileName(), s("--nofork"), s("--print-address=1")}));
        if (address.isEmpty())
            return false;

        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(s("DBUS_SYSTEM_BUS_ADDRESS"), address);
        m_mock.setProcessEnvironment(environment);
        m_mock.start(python, {s("-m"), s("dbusmock"), s("--system"), s("--template"), s("logind")});
        const QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired()) {
            if (call({s("-d"), s("org.freedesktop.DBus"), s("-o"), s("/org/freedesktop/DBus"), s("-m"),
                      s("org.freedesktop.DBus.NameHasOwner"), s("org.freedesktop.login1")})
                    .contains("true"))
                break;
            QThread::msleep(50);
        }
        return !call(logind(s("/org/freedesktop/login1"), s("org.freedesktop.DBus.Mock.AddSession"),
                            {s("c1"), s("seat0"), s("1000"), s("tester"), s("true")}))
                    .isEmpty();
    }

    ~LogindRig()
    {
        VXStopProcess(m_mock);
        VXStopProcess(m_bus);
    }

    QStringList logind(const QString &path, const QString &method, const QStringList &arguments) const
    {
        return QStringList {s("-d"), s("org.freedesktop.login1"), s("-o"), path, s("-m"), method} + arguments;
    }

    QByteArray call(const QStringList &arguments) const
    {
        const VXProcessResult result
            = VXRunProcess(s("gdbus"), QStringList {s("call"), s("--address"), address} + arguments, 10000);
        return result.exitCode == 0 ? result.standardOutput : QByteArray();
    }

    QByteArray emitSleep(bool start) const
    {
        return call(logind(s("/org/freedesktop/login1"), s("org.freedesktop.DBus.Mock.EmitSignal"),
                           {s("org.freedesktop.login1.Manager"), s("PrepareForSleep"), s("b"),
                            start ? s("[<true>]") : s("[<false>]")}));
    }

    QByteArray emitShutdown() const
    {
        return call(logind(s("/org/freedesktop/login1"), s("org.freedesktop.DBus.Mock.EmitSignal"),
                           {s("org.freedesktop.login1.Manager"), s("PrepareForShutdown"), s("b"), s("[<true>]")}));
    }

    // The delay locks logind holds for Wendle now ("sleep", "shutdown").
    QStringList locks() const
    {
        const QByteArray listed
            = call(logind(s("/org/freedesktop/login1"), s("org.freedesktop.login1.Manager.ListInhibitors"), {}));
        QStringList held;
        for (const QString &what : {s("sleep"), s("shutdown")}) {
            if (listed.contains(u"('%1', 'Wendle'"_s.arg(what).toUtf8()))
                held << what;
        }
        return held;
    }

    QByteArray session(const QString &method, const QStringList &arguments = {}) const
    {
        return call(logind(s("/org/freedesktop/login1/session/c1"), method, arguments));
    }

private:
    QTemporaryDir m_dir;
    QProcess m_bus;
    QProcess m_mock;
};

// Turns the event loop until the observer has `count` events or a deadline passes.
bool waitForEvents(const VXPresenceRecorder &observer, qsizetype count)
{
    const QDeadlineTimer deadline(5000);
    while (observer.events.size() < count && !deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return observer.events.size() >= count;
}

}   // namespace

// One private bus and one mocked logind for every step; each step names the fault it catches
// and starts from an empty list of events. The source goes before its bus connection.
TEST(LogindPresence, SleepLockSessionAndShutdownOnOneBus)
{
    VXEnsureCoreApplication();
    LogindRig rig;
    if (!rig.start()) {
        if (!rig.skipReason.isEmpty())
            GTEST_SKIP() << rig.skipReason.toStdString();
        FAIL() << "the private system bus or the mocked logind did not start";
    }
    const auto disconnect = qScopeGuard([] { QDBusConnection::disconnectFromBus(s("logind-test")); });
    auto bus = std::make_unique<QDBusConnection>(QDBusConnection::connectToBus(rig.address, s("logind-test")));
    ASSERT_TRUE(bus->isConnected());
    VXPresenceRecorder observer;
    auto source = std::make_unique<VXLogindPresenceSource>(*bus, s("c1"));
    ASSERT_TRUE(source->start(observer));
    ASSERT_TRUE(VXWaitUntil([&] { return source->isWatching(); }));
    EXPECT_EQ(source->sessionPath(), s("/org/freedesktop/login1/session/c1"));
    VXScenarioSteps steps;

    VX_STEP(steps, "sleep and wake are reported once per transition");
    ASSERT_FALSE(rig.emitSleep(true).isEmpty());
    ASSERT_TRUE(waitForEvents(observer, 1));
    // A repeated announcement of the same state is not a second sleep.
    rig.emitSleep(true);
    rig.emitSleep(false);
    ASSERT_TRUE(waitForEvents(observer, 2));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(observer.events, (QStringList {s("sleep"), s("wake")}));
    observer.events.clear();

    VX_STEP(steps, "lock and unlock through the signals and the hint");
    ASSERT_FALSE(rig.session(s("org.freedesktop.login1.Session.Lock")).isEmpty());
    ASSERT_TRUE(waitForEvents(observer, 1));
    // The hint that follows a lock says nothing new.
    rig.session(s("org.freedesktop.login1.Session.SetLockedHint"), {s("true")});
    rig.session(s("org.freedesktop.login1.Session.Unlock"));
    ASSERT_TRUE(waitForEvents(observer, 2));
    rig.session(s("org.freedesktop.login1.Session.SetLockedHint"), {s("false")});
    // A screen locker that only sets the hint is noticed too.
    rig.session(s("org.freedesktop.login1.Session.SetLockedHint"), {s("true")});
    ASSERT_TRUE(waitForEvents(observer, 3));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 200);
    EXPECT_EQ(observer.events, (QStringList {s("lock"), s("unlock"), s("lock")}));
    observer.events.clear();

    VX_STEP(steps, "session switches follow the Active property");
    ASSERT_FALSE(rig.session(s("org.freedesktop.DBus.Mock.UpdateProperties"),
                             {s("org.freedesktop.login1.Session"), s("{'Active': <false>}")})
                     .isEmpty());
    ASSERT_TRUE(waitForEvents(observer, 1));
    rig.session(s("org.freedesktop.DBus.Mock.UpdateProperties"),
                {s("org.freedesktop.login1.Session"), s("{'Active': <true>}")});
    ASSERT_TRUE(waitForEvents(observer, 2));
    EXPECT_EQ(observer.events, (QStringList {s("resign"), s("active")}));
    observer.events.clear();

    VX_STEP(steps, "the system bus is asked first and then watched");
    // As the program starts it: the system bus of the environment, asked whether it answers
    // before Qt connects to it.
    const VXScopedEnvironment systemBus("DBUS_SYSTEM_BUS_ADDRESS", rig.address.toUtf8());
    VXPresenceRecorder systemObserver;
    VXLogindPresenceSource system;
    ASSERT_TRUE(system.start(systemObserver));
    EXPECT_TRUE(VXWaitUntil([&] { return system.isWatching(); }));
    rig.emitSleep(true);
    EXPECT_TRUE(waitForEvents(systemObserver, 1));
    system.stop();
    rig.emitSleep(false);
    ASSERT_TRUE(waitForEvents(observer, 2));
    observer.events.clear();

    VX_STEP(steps, "sleep and shutdown wait for the save");
    ASSERT_TRUE(VXWaitUntil([&] { return rig.locks().size() == 2; })) << rig.locks().join(u' ').toStdString();

    // The record is saved after the observer heard of the sleep, while logind still waits.
    QStringList locksWhileSaving;
    source->setBeforeSleep([&] {
        observer.events << s("save");
        locksWhileSaving = rig.locks();
    });
    ASSERT_FALSE(rig.emitSleep(true).isEmpty());
    ASSERT_TRUE(waitForEvents(observer, 2));
    EXPECT_EQ(observer.events, (QStringList {s("sleep"), s("save")}));
    EXPECT_TRUE(locksWhileSaving.contains(s("sleep")));
    ASSERT_TRUE(VXWaitUntil([&] { return !rig.locks().contains(s("sleep")); })) << "released once saved";
    // Taken again on waking, for the next sleep.
    rig.emitSleep(false);
    ASSERT_TRUE(VXWaitUntil([&] { return rig.locks().contains(s("sleep")); }));

    // The quit path stops the source before it saves: the shutdown lock outlasts that save.
    QStringList locksWhileQuitting;
    source->setBeforeShutdown([&] {
        source->stop();
        locksWhileQuitting = rig.locks();
    });
    ASSERT_FALSE(rig.emitShutdown().isEmpty());
    ASSERT_TRUE(VXWaitUntil([&] { return !locksWhileQuitting.isEmpty(); }));
    EXPECT_TRUE(locksWhileQuitting.contains(s("shutdown")));
    EXPECT_TRUE(VXWaitUntil([&] { return rig.locks().isEmpty(); }));

    VX_STEP(steps, "once stopped, nothing more is reported");
    const qsizetype before = observer.events.size();
    rig.emitSleep(true);
    rig.session(s("org.freedesktop.login1.Session.Lock"));
    QCoreApplication::processEvents(QEventLoop::AllEvents, 300);
    EXPECT_EQ(observer.events.size(), before);
    rig.emitSleep(false);
    observer.events.clear();

    VX_STEP(steps, "a logind that refuses the locks is told once and tracking goes on");
    source.reset();
    ASSERT_FALSE(rig.call(rig.logind(s("/org/freedesktop/login1"), s("org.freedesktop.DBus.Mock.AddMethod"),
                                     {s("org.freedesktop.login1.Manager"), s("Inhibit"), s("ssss"), s("h"),
                                      s("raise dbus.exceptions.DBusException('no', name='org.freedesktop.DBus."
                                        "Error.AccessDenied')")}))
                     .isEmpty());
    VXLogCapture log("wendle.logind");
    source = std::make_unique<VXLogindPresenceSource>(*bus, s("c1"));
    ASSERT_TRUE(source->start(observer));
    ASSERT_TRUE(VXWaitUntil([&] { return source->isWatching(); }));
    const auto refusals = [&] { return log.peek().filter(s("does not wait for Wendle")).size(); };
    ASSERT_TRUE(VXWaitUntil([&] { return refusals() > 0; }));
    rig.emitSleep(true);
    rig.emitSleep(false);
    ASSERT_TRUE(waitForEvents(observer, 2));
    EXPECT_EQ(observer.events, (QStringList {s("sleep"), s("wake")}));
    VXSpinEventLoop(200);
    EXPECT_EQ(refusals(), 1) << log.peek().join(u'\n').toStdString();
}

TEST(LogindPresenceWithoutBus, AnUnreachableBusStartsNothingAndASilentOneHoldsUpNothing)
{
    VXEnsureCoreApplication();
    QTemporaryDir dir;
    const QDBusConnection nowhere
        = QDBusConnection::connectToBus(s("unix:path=") + dir.filePath(s("none")), s("nowhere"));
    VXLogindPresenceSource unreachable(nowhere, s("c1"));
    VXPresenceRecorder observer;
    EXPECT_FALSE(unreachable.start(observer));
    QDBusConnection::disconnectFromBus(s("nowhere"));

    // Nothing listens where the system bus should be.
    const VXScopedEnvironment noSystemBus("DBUS_SYSTEM_BUS_ADDRESS",
                                          "unix:path=" + QFile::encodeName(dir.filePath(s("none"))));
    EXPECT_FALSE(VXLogindPresenceSource().start(observer));

    // A system bus that takes connections and never says a word (a hung daemon): its
    // connections wait in the listening socket's queue.
    const QByteArray path = QFile::encodeName(dir.filePath(s("silent")));
    const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 8), 0);
    const VXScopedEnvironment silentSystemBus("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=" + path);
    // Should the source wait for the bus after all, the bus speaks up after a while (it closes
    // the connections), so that the test ends and says so.
    std::atomic<bool> done = false;
    std::thread silence([&] {
        QElapsedTimer waited;
        waited.start();
        while (!done && waited.elapsed() < 20000)
            QThread::msleep(10);
        ::shutdown(listener, SHUT_RDWR);
        ::close(listener);
    });

    VXLogCapture log("wendle.logind");
    const auto gaveUp = [&] { return !log.peek().filter(s("does not answer")).isEmpty(); };
    {
        VXLogindPresenceSource source;
        EXPECT_TRUE(source.start(observer));
        // The start returned before the bus could have answered and before the source gave up on it.
        EXPECT_FALSE(gaveUp()) << "the start waited for the bus";
        // Given up later, from the event loop, and said so (well before the bus speaks up).
        EXPECT_TRUE(VXWaitUntil(gaveUp, 15000)) << log.peek().join(u'\n').toStdString();
        EXPECT_FALSE(source.isWatching());
    }
    done = true;
    silence.join();
}
