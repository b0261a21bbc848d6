#pragma once

// The private server processes of the integration rigs (session and system buses, Xvfb, the
// compositors, the test clients): started, waited for until they say they are ready, and stopped
// by their own process, never by name.
//
//     QProcess bus;
//     const QByteArray address = VXStartServer(bus, "dbus-daemon", {"--session", "--nofork", "--print-address=1"});
//     ...
//     VXStopProcess(bus);

#include <QByteArray>
#include <QDeadlineTimer>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <memory>

// One line of the process's standard output (without its line break), waiting at most until the
// deadline; empty when none came because the time is up or the process ended.
inline QByteArray VXReadLine(QProcess &process, QByteArray &pending, const QDeadlineTimer &deadline)
{
    while (true) {
        const qsizetype newline = pending.indexOf('\n');
        if (newline >= 0) {
            const QByteArray line = pending.left(newline);
            pending.remove(0, newline + 1);
            return line;
        }
        if (deadline.hasExpired() || process.state() == QProcess::NotRunning)
            return QByteArray();
        process.waitForReadyRead(int(std::max<qint64>(1, std::min<qint64>(deadline.remainingTime(), 100))));
        pending += process.readAllStandardOutput();
    }
}

// Ends a process politely, then for good when it does not end within timeoutMs, and reaps it.
inline void VXStopProcess(QProcess &process, int timeoutMs = 3000)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(timeoutMs);
    }
}

// Starts a server that writes one line to its output when it is ready (dbus-daemon's address,
// Xvfb's display number) and answers that line, trimmed. Empty, with the process stopped, when
// the line did not come in time.
inline QByteArray VXStartServer(QProcess &process, const QString &program, const QStringList &arguments,
                                int timeoutMs = 10000)
{
    process.start(program, arguments);
    QByteArray pending;
    const QByteArray line = VXReadLine(process, pending, QDeadlineTimer(timeoutMs)).trimmed();
    if (line.isEmpty())
        VXStopProcess(process);
    return line;
}

// Runs a tool to its end: true when it exited normally with 0 within timeoutMs (else it is
// stopped); its output goes to `output` when given.
inline bool VXRunToEnd(QProcess &process, const QString &program, const QStringList &arguments, int timeoutMs,
                       QByteArray *output = nullptr)
{
    process.start(program, arguments);
    if (!process.waitForStarted(5000))
        return false;
    if (!process.waitForFinished(timeoutMs)) {
        VXStopProcess(process);
        return false;
    }
    if (output)
        *output = process.readAllStandardOutput();
    return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// A helper program the test drives through its input, one command per line, each answered "ok"
// (the X11 test client, the Wayland test window); it ends at the end of its input.
class VXCommandedProcess
{
public:
    explicit VXCommandedProcess(std::unique_ptr<QProcess> process) : m_process(std::move(process)) { }
    ~VXCommandedProcess() { quit(); }
    VXCommandedProcess(const VXCommandedProcess &) = delete;
    VXCommandedProcess &operator=(const VXCommandedProcess &) = delete;

    qint64 pid() const { return m_process->processId(); }
    bool isRunning() const { return m_process->state() == QProcess::Running; }

    // Sends a command and waits for the answer "ok".
    bool command(const QString &line, int timeoutMs = 5000)
    {
        if (!isRunning())
            return false;
        m_process->write(line.toUtf8() + '\n');
        m_process->waitForBytesWritten(timeoutMs);
        return readLine(timeoutMs) == "ok";
    }
    // Ends the process and reaps it.
    void quit()
    {
        if (!m_process || m_process->state() == QProcess::NotRunning)
            return;
        m_process->closeWriteChannel();
        if (!m_process->waitForFinished(3000)) {
            m_process->kill();
            m_process->waitForFinished(3000);
        }
    }
    // Waits until the process ended by itself (its windows closed by the desktop).
    bool waitForExit(int timeoutMs = 5000)
    {
        return m_process->state() == QProcess::NotRunning || m_process->waitForFinished(timeoutMs);
    }

protected:
    QByteArray readLine(int timeoutMs) { return VXReadLine(*m_process, m_pending, QDeadlineTimer(timeoutMs)); }

private:
    std::unique_ptr<QProcess> m_process;
    QByteArray m_pending;
};
