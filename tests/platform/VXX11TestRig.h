#pragma once

// A private X11 desktop for tests and benchmarks: a session bus of its own (so that nothing
// autolaunches one that outlives the test), Xvfb on a display it picks itself (-displayfd), and
// openbox. Every piece is started here, waited for with a deadline, and stopped by its process in
// reverse order, then reaped.
//
//     VXX11TestRig rig;
//     QString whyNot;
//     if (!rig.start({}, &whyNot))
//         GTEST_SKIP() << whyNot.toStdString();
//     auto client = rig.startTestClient({"--title", "Report"});
//     rig.run("xdotool", {"windowactivate", "--sync", client->windowText(0)});

#include "VXServerProcess.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <cstdint>
#include <memory>
#include <vector>

struct xcb_connection_t;
class QCoreApplication;

// One run of the test client (VXX11TestClient.cpp): its windows, and its command channel
// ("title 0 New title", "destroy 0").
class VXX11TestClient : public VXCommandedProcess
{
public:
    using VXCommandedProcess::VXCommandedProcess;

    const std::vector<std::uint32_t> &windows() const { return m_windows; }
    QString windowText(std::size_t index) const { return QString::number(m_windows.at(index)); }

private:
    friend class VXX11TestRig;
    bool waitForReady(int timeoutMs);

    std::vector<std::uint32_t> m_windows;
};

class VXX11TestRig
{
public:
    struct Options {
        bool windowManager = true;
    };

    VXX11TestRig();
    ~VXX11TestRig();
    VXX11TestRig(const VXX11TestRig &) = delete;
    VXX11TestRig &operator=(const VXX11TestRig &) = delete;

    // Makes sure a QCoreApplication exists (socket notifiers and timers need one).
    static QCoreApplication *application();
    // The first of the programs that is not installed, or empty.
    static QString missingProgram(const QStringList &programs);

    // Starts the bus, the X server and the window manager. Answers false with the reason (a
    // program that is not installed, a piece not ready in time); then nothing is left running.
    bool start(const Options &options, QString *whyNot);
    // Stops everything started here, in reverse order, and reaps it. Also done on destruction.
    void stop();

    // ":N"
    QString display() const { return m_display; }
    QProcessEnvironment environment() const { return m_environment; }
    QString temporaryPath() const { return m_temporary ? m_temporary->path() : QString(); }
    // A connection of the rig's own to the X server, for what a test must set by hand.
    xcb_connection_t *connection() const { return m_connection; }
    std::uint32_t rootWindow() const { return m_root; }

    // Starts a program on the display; it is stopped by stop() if still running.
    QProcess *startProgram(const QString &program, const QStringList &arguments);
    // Starts the test client and waits until its windows are mapped; null when it failed. The
    // client itself gives the window manager 10 s to map them: the wait here is longer, so that a
    // slow first map is the client's to report, not a race between the two.
    std::unique_ptr<VXX11TestClient> startTestClient(const QStringList &arguments, int timeoutMs = 20000);
    // Runs a tool (xdotool, wmctrl, xprop) on the display and waits at most timeoutMs for it.
    bool run(const QString &program, const QStringList &arguments, int timeoutMs = 5000, QByteArray *output = nullptr);
    // Kills the X server, as when it crashes or the session ends.
    void killServer();

private:
    bool waitForWindowManager(int timeoutMs);
    std::unique_ptr<QProcess> makeProcess() const;

    std::unique_ptr<QTemporaryDir> m_temporary;
    std::unique_ptr<QProcess> m_bus;
    std::unique_ptr<QProcess> m_server;
    std::unique_ptr<QProcess> m_windowManager;
    std::vector<std::unique_ptr<QProcess>> m_programs;
    QProcessEnvironment m_environment;
    QString m_display;
    QByteArray m_previousDisplay;
    bool m_hadDisplay = false;
    xcb_connection_t *m_connection = nullptr;
    std::uint32_t m_root = 0;
};
