#pragma once

// What test programs of every module share: readable QString failures, the application object
// that timers, files watchers and threads need, waiting on the event loop, the log lines the code
// under test writes, files written and read whole, and environment variables set for a while.

#include <QByteArrayView>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QProcessEnvironment>
#include <QStringList>
#include <QThread>

#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <utility>

inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

// Made once and kept to the end of the program: a QCoreApplication torn down among the statics
// after main() returns takes Qt's globals with it in the wrong order.
inline void VXEnsureCoreApplication()
{
    static int argc = 1;
    static char name[] = "wendle-tests";
    static char *argv[] = {name, nullptr};
    if (!QCoreApplication::instance())
        new QCoreApplication(argc, argv);
}

// Runs the event loop until the condition holds or the time is up; answers the condition.
inline bool VXWaitUntil(const std::function<bool()> &condition, int timeoutMs = 10000)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(1);
    }
    return true;
}

// Runs the event loop for a while (to let anything that would happen, happen).
inline void VXSpinEventLoop(int milliseconds)
{
    VXWaitUntil([] { return false; }, milliseconds);
}

// Collects the lines logged while it lives (from any thread), those of one category or all of
// them, and keeps them off the console. One capture at a time.
class VXLogCapture
{
public:
    explicit VXLogCapture(const char *category = nullptr) : m_previous(qInstallMessageHandler(&VXLogCapture::handle))
    {
        QMutexLocker locker(&mutex());
        state().category = category;
        state().lines.clear();
    }
    ~VXLogCapture() { qInstallMessageHandler(m_previous); }
    VXLogCapture(const VXLogCapture &) = delete;
    VXLogCapture &operator=(const VXLogCapture &) = delete;

    // The lines so far, which are then forgotten.
    QStringList take()
    {
        QMutexLocker locker(&mutex());
        return std::exchange(state().lines, QStringList());
    }
    QStringList peek() const
    {
        QMutexLocker locker(&mutex());
        return state().lines;
    }

private:
    struct State {
        const char *category = nullptr;
        QStringList lines;
    };
    static QMutex &mutex()
    {
        static QMutex m;
        return m;
    }
    static State &state()
    {
        static State s;
        return s;
    }
    static void handle(QtMsgType, const QMessageLogContext &context, const QString &message)
    {
        QMutexLocker locker(&mutex());
        const char *wanted = state().category;
        if (!wanted || (context.category && QByteArrayView(context.category) == QByteArrayView(wanted)))
            state().lines.append(message);
    }

    QtMessageHandler m_previous;
};

// A whole file, or nothing when it cannot be read.
inline QByteArray VXReadFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Writes a whole file, making its folder first.
inline bool VXWriteFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(contents) == contents.size();
}

// Sets an environment variable (or unsets it, for nullopt) while it lives.
class VXScopedEnvironment
{
public:
    VXScopedEnvironment(const char *name, const std::optional<QByteArray> &value) :
        m_name(name), m_wasSet(qEnvironmentVariableIsSet(name)), m_previous(qgetenv(name))
    {
        if (value)
            qputenv(name, *value);
        else
            qunsetenv(name);
    }
    ~VXScopedEnvironment()
    {
        if (m_wasSet)
            qputenv(m_name, m_previous);
        else
            qunsetenv(m_name);
    }
    VXScopedEnvironment(const VXScopedEnvironment &) = delete;
    VXScopedEnvironment &operator=(const VXScopedEnvironment &) = delete;

private:
    const char *m_name;
    bool m_wasSet;
    QByteArray m_previous;
};

// Launches the example application `name` on a fake desktop as process `pid`: application ID
// "org.example.<name>", desktop file /usr/share/applications/org.example.<name>.desktop.
template <class Desktop> void VXLaunchExample(Desktop &desktop, const QString &name, std::int64_t pid)
{
    const QString id = QStringLiteral("org.example.") + name;
    desktop.launch(name, QStringLiteral("/usr/share/applications/%1.desktop").arg(id), id, pid);
}

// The environment Wendle runs in under a test: `base` (the X11 rig's, say) with the home, data,
// settings and runtime folders inside `home`, no system bus (so no logind) and no desktop
// session of the machine's. The runtime folder is made, private, as a session's is.
inline QProcessEnvironment VXProgramEnvironment(QProcessEnvironment environment, const QString &home)
{
    const QDir folder(home);
    environment.insert(QStringLiteral("HOME"), home);
    environment.insert(QStringLiteral("XDG_DATA_HOME"), folder.filePath(QStringLiteral("data")));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), folder.filePath(QStringLiteral("config")));
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder.filePath(QStringLiteral("run")));
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=") + folder.filePath(QStringLiteral("no-system-bus")));
    environment.remove(QStringLiteral("XDG_SESSION_TYPE"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    folder.mkpath(QStringLiteral("run"));
    QFile::setPermissions(folder.filePath(QStringLiteral("run")),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    return environment;
}
