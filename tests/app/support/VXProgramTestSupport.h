#pragma once

// The built wendle program run for real in folders of its own: a home, data, settings and
// runtime folder in a temporary place, no system bus (so that no logind is asked), and its
// commands run beside it.

#include "VXTestSupport.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>
#include <functional>
#include <memory>

namespace vxtest {

struct ProgramResult {
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
    bool finished = false;
};

class ProgramFolders
{
public:
    // `base`: the environment to start from (the X11 rig's, say); the system's by default.
    explicit ProgramFolders(const QProcessEnvironment &base = QProcessEnvironment::systemEnvironment())
    {
        environment = VXProgramEnvironment(base, home.path());
    }

    // Without a display: the tracker runs with nothing to track, its commands as ever.
    void withoutDisplay()
    {
        environment.remove(QStringLiteral("DISPLAY"));
        environment.insert(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"),
                           QStringLiteral("unix:path=") + path(QStringLiteral("no-session-bus")));
    }

    QString path(const QString &relative) const { return home.filePath(relative); }
    QString configurationFile() const { return path(QStringLiteral("data/Wendle/Configurations/Default.plist")); }
    QString socketPath() const { return path(QStringLiteral("run/wendle.socket")); }

    // A command (or a second start) to its end.
    ProgramResult run(const QStringList &arguments, int timeoutMs = 20000) const
    {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), arguments);
        ProgramResult result;
        result.finished = process.waitForFinished(timeoutMs);
        if (!result.finished) {
            process.kill();
            process.waitForFinished(5000);
        }
        result.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        return result;
    }

    QTemporaryDir home;
    QProcessEnvironment environment;
};

// A test of the built program, each run without a display in folders of its own.
class ProgramTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!QFileInfo(QStringLiteral(WENDLE_BINARY)).isExecutable())
            GTEST_SKIP() << "the wendle program has not been built";
        VXEnsureCoreApplication();
        ASSERT_TRUE(folders.home.isValid());
        folders.withoutDisplay();
    }

    ProgramFolders folders;
};

// The tracker, started in the folders; stopped (SIGTERM, then killed) when it goes.
class TrackerProcess
{
public:
    explicit TrackerProcess(const ProgramFolders &folders, const QStringList &arguments = {},
                            std::function<void()> childSetUp = nullptr) :
        m_folders(folders)
    {
        m_process.setProcessEnvironment(folders.environment);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        if (childSetUp)
            m_process.setChildProcessModifier(childSetUp);
        m_process.start(QStringLiteral(WENDLE_BINARY), arguments);
        m_process.waitForStarted(10000);
    }
    ~TrackerProcess()
    {
        if (m_process.state() == QProcess::NotRunning)
            return;
        terminate();
        if (!m_process.waitForFinished(10000)) {
            m_process.kill();
            m_process.waitForFinished(5000);
        }
    }
    TrackerProcess(const TrackerProcess &) = delete;
    TrackerProcess &operator=(const TrackerProcess &) = delete;

    // Until `wendle status` says the running instance tracks; false when it never does.
    bool waitUntilTracking(int timeoutMs = 15000)
    {
        const QDeadlineTimer deadline(timeoutMs);
        while (!deadline.hasExpired() && m_process.state() == QProcess::Running) {
            lastStatus = m_folders.run({QStringLiteral("status")}).out;
            if (lastStatus.contains("State: tracking"))
                return true;
            QThread::msleep(100);
        }
        return false;
    }

    void terminate() { ::kill(pid_t(m_process.processId()), SIGTERM); }

    // Its exit status once it has ended (-1 when it did not end in time or crashed), with its
    // output.
    ProgramResult finish(int timeoutMs = 15000)
    {
        ProgramResult result;
        result.finished = m_process.waitForFinished(timeoutMs);
        result.exitCode = result.finished && m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
        result.out = m_process.readAll();
        return result;
    }

    QProcess &process() { return m_process; }
    QByteArray lastStatus;

private:
    const ProgramFolders &m_folders;
    QProcess m_process;
};

}   // namespace vxtest
