#pragma once

// A private headless Wayland desktop for tests and benchmarks, one of the three families Wendle
// tracks natively: sway (as an unprivileged user when the test runs as root: sway refuses root),
// kwin_wayland --virtual, or gnome-shell --headless. Each gets a session bus of its own (GNOME
// Shell also a stand-in system bus), and private XDG folders, so that parallel runs never meet.
// Every piece is started here, waited for with a deadline, and stopped by its process in
// reverse order. The rig also moves the focus, injects input, and runs the test window.
//
//     VXWaylandTestRig rig;
//     QString whyNot;
//     if (!rig.start({VXWaylandTestRig::Sway}, &whyNot))
//         GTEST_SKIP() << whyNot.toStdString();
//     auto window = rig.startWindow("org.wendle.Alpha", "Alpha document");
//     rig.focus(*window);

#include "VXServerProcess.h"

#include <QByteArray>
#include <QDBusMessage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <utility>
#include <vector>

// One run of the test window (VXWaylandTestWindow.cpp) and its command channel.
class VXWaylandTestWindow : public VXCommandedProcess
{
public:
    using VXCommandedProcess::VXCommandedProcess;

    // Sets the title of toplevel `index` and waits for the window's "ok".
    bool setTitle(int index, const QString &title, int timeoutMs = 5000)
    {
        return command(QStringLiteral("title %1 %2").arg(index).arg(title), timeoutMs);
    }

private:
    friend class VXWaylandTestRig;
    bool waitForReady(int timeoutMs) { return readLine(timeoutMs) == "ready"; }
};

class VXWaylandTestRig
{
public:
    enum Compositor { Sway, KWin, GnomeShell };
    struct Options {
        Compositor compositor = Sway;
        // Desktop entries written into the private XDG_DATA_HOME/applications before the
        // compositor starts: file name, contents.
        std::vector<std::pair<QString, QByteArray>> desktopEntries;
        // GNOME: extension folders copied into place, and the extensions enabled, before start.
        QStringList extensionFolders;
        QStringList enabledExtensions;
    };

    VXWaylandTestRig();
    ~VXWaylandTestRig();
    VXWaylandTestRig(const VXWaylandTestRig &) = delete;
    VXWaylandTestRig &operator=(const VXWaylandTestRig &) = delete;

    static const char *compositorName(Compositor compositor);

    // Starts the buses and the compositor and sets this process's environment to reach them
    // (put back by stop()). Answers false with the reason (a program that is not installed, a
    // piece not ready in time); then nothing is left running.
    bool start(const Options &options, QString *whyNot);
    void stop();
    // Stops the compositor alone, as when it crashes; restartCompositor() starts it again.
    void killCompositor();
    bool restartCompositor(QString *whyNot);

    QProcessEnvironment environment() const { return m_environment; }
    QString temporaryPath() const { return m_temporary ? m_temporary->path() : QString(); }
    QString dataHome() const;
    QString waylandDisplay() const { return m_display; }
    qint64 compositorPid() const;
    // The compositor's log so far (KWin scripts print there), for failure messages.
    QByteArray compositorLog() const;

    // Starts the test window and waits until the compositor shows it; null when it failed.
    std::unique_ptr<VXWaylandTestWindow> startWindow(const QString &appId, const QString &title, int count = 1,
                                                     int timeoutMs = 15000);
    // Gives the focus to the (first) window of the process.
    bool focus(qint64 pid);
    // The process of the focused window as the compositor itself tells (sway's IPC tree, a KWin
    // script, GNOME Shell's own view): the ground truth. 0 when none, -1 when it cannot be asked.
    qint64 focusedPid();
    // Input as a person's: a key or a pointer move, through the compositor's own means.
    bool injectInput();
    // GNOME: runs JavaScript in the shell (the test helper extension unlocks it).
    bool evaluate(const QString &script, QString *result = nullptr);

    // A call on the rig's session bus.
    QDBusMessage call(const QString &service, const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments = {}, int timeoutMs = 5000);
    // Runs a tool with the rig's environment and waits at most timeoutMs for it.
    bool run(const QString &program, const QStringList &arguments, int timeoutMs = 5000, QByteArray *output = nullptr);

private:
    struct Private;
    bool startCompositor(QString *whyNot);
    // Runs a one-shot KWin script; what it leaves in its variable `result` comes back.
    bool runKWinScript(const QString &text, QString *result = nullptr);
    std::unique_ptr<Private> d;
    std::unique_ptr<QTemporaryDir> m_temporary;
    QProcessEnvironment m_environment;
    QString m_display;
};
