// The Wayland adapters' cost per tick, against the X11 adapter's in the same run, each on its own
// private headless desktop with 50 windows (5 programs of 10 windows, of 3 applications):
//
//   steady     nothing changed since the last tick
//   changing   one window's title changed before every tick (the change itself is not timed;
//              for the adapters fed over D-Bus the tick is timed once the change has arrived)
//
// Targets: steady under 0.05 ms, changing under 0.5 ms, as on X11.
//
//     bench_wayland [--ticks N] [--family sway|kwin|kwin-script|gnome|x11]...
//
// And the whole program idle on one desktop with 20 windows: CPU time per minute and resident
// memory of the wendle process after it settled (target: under 0.2 % of one core, under 40 MB):
//
//     bench_wayland --idle-minutes M --family sway|kwin|gnome|x11

#include "VXGnomeShellDesktop.h"
#include "VXKWinScriptDesktop.h"
#include "VXPlasmaWindowDesktop.h"
#include "VXWaylandConnection.h"
#include "VXWaylandSession.h"
#include "VXWaylandTestRig.h"
#include "VXWlrootsDesktop.h"
#include "VXX11Desktop.h"
#include "VXX11TestRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QThread>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

#ifndef WENDLE_BINARY
#error "WENDLE_BINARY must name the wendle program"
#endif

namespace {

constexpr int kWindows = 50;
constexpr int kIdleWindows = 20;
const char *const kApplications[] = {"org.wendle.Alpha", "org.wendle.Beta", "org.wendle.Gamma"};

double median(std::vector<double> times)
{
    if (times.empty())
        return 0;
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

double timed(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

void spin(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
}

bool spinUntil(const std::function<bool()> &condition, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QThread::msleep(1);
    }
    return true;
}

struct Row {
    QString family;
    double steadyMs = 0;
    double changingMs = 0;
    int missed = 0;
};

VXWaylandTestRig::Options rigOptions(VXWaylandTestRig::Compositor compositor, QTemporaryDir &extension)
{
    VXWaylandTestRig::Options options;
    options.compositor = compositor;
    for (const char *id : kApplications) {
        const QString name = QString::fromUtf8(id).section(QLatin1Char('.'), -1);
        options.desktopEntries.emplace_back(QString::fromUtf8(id) + QStringLiteral(".desktop"),
                                            QStringLiteral("[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n")
                                                .arg(name, QString::fromUtf8(id))
                                                .toUtf8());
    }
    if (compositor == VXWaylandTestRig::GnomeShell) {
        // Wendle's extension as Wendle installs it, enabled before the shell starts.
        QProcess version;
        version.start(QStringLiteral("gnome-shell"), {QStringLiteral("--version")});
        version.waitForFinished(10000);
        const QString shellVersion
            = QString::fromUtf8(version.readAllStandardOutput()).section(QLatin1Char(' '), -1).trimmed();
        const QString folder = extension.filePath(VXGnomeShellDesktop::kExtensionUUID);
        QDir().mkpath(folder);
        QFile script(folder + QStringLiteral("/extension.js"));
        QFile metadata(folder + QStringLiteral("/metadata.json"));
        if (script.open(QIODevice::WriteOnly) && metadata.open(QIODevice::WriteOnly)) {
            script.write(VXGnomeShellDesktop::extensionScript(shellVersion));
            metadata.write(VXGnomeShellDesktop::extensionMetadata(shellVersion));
        }
        options.extensionFolders << folder;
        options.enabledExtensions << VXGnomeShellDesktop::kExtensionUUID;
    }
    return options;
}

// Programs of up to 10 windows each, the applications taking turns.
bool startWindows(VXWaylandTestRig &rig, int count, std::vector<std::unique_ptr<VXWaylandTestWindow>> &windows)
{
    for (int made = 0, program = 0; made < count; ++program) {
        const int here = std::min(10, count - made);
        auto window = rig.startWindow(QString::fromUtf8(kApplications[program % 3]),
                                      QStringLiteral("Document %1").arg(program), here, 60000);
        if (!window)
            return false;
        windows.push_back(std::move(window));
        made += here;
    }
    return true;
}

bool measureWayland(const QString &family, int ticks, Row &row)
{
    const VXWaylandTestRig::Compositor compositor = family == QLatin1StringView("sway") ? VXWaylandTestRig::Sway
        : family == QLatin1StringView("gnome")                                          ? VXWaylandTestRig::GnomeShell
                                                                                        : VXWaylandTestRig::KWin;
    QTemporaryDir extension;
    VXWaylandTestRig rig;
    QString whyNot;
    if (!rig.start(rigOptions(compositor, extension), &whyNot)) {
        std::fprintf(stderr, "bench_wayland: %s: %s\n", qPrintable(family), qPrintable(whyNot));
        return false;
    }
    std::vector<std::unique_ptr<VXWaylandTestWindow>> windows;
    if (!startWindows(rig, kWindows, windows)) {
        std::fprintf(stderr, "bench_wayland: %s: the windows did not start\n", qPrintable(family));
        return false;
    }
    std::unique_ptr<VXToplevelDesktop> desktop;
    VXWaylandChoice choice;
    if (family == QLatin1StringView("kwin-script")) {
        desktop = VXKWinScriptDesktop::create({}, &whyNot);
    } else {
        choice = VXChooseWaylandDesktop();
        desktop = std::move(choice.desktop);
        whyNot = choice.description;
    }
    if (!desktop) {
        std::fprintf(stderr, "bench_wayland: %s: %s\n", qPrintable(family), qPrintable(whyNot));
        return false;
    }
    VXDesktopSnapshot snapshot;
    if (!spinUntil(
            [&] {
                desktop->takeSnapshot(snapshot);
                return int(snapshot.windows.size()) == kWindows;
            },
            60000)) {
        std::fprintf(stderr, "bench_wayland: %s: %zu windows seen, %d expected\n", qPrintable(family),
                     snapshot.windows.size(), kWindows);
        return false;
    }
    spin(500);
    desktop->takeSnapshot(snapshot);

    std::vector<double> steady;
    for (int i = 0; i < ticks; ++i)
        steady.push_back(timed([&] { desktop->takeSnapshot(snapshot); }));

    // Changing: the first program's first window gets a new title before each tick. The program
    // hands the compositor's events (Wayland or D-Bus) to the adapter from its event loop, so the
    // tick is timed once the change has arrived: what it costs is the snapshot made again.
    const QString first = QStringLiteral("Document 0 1");
    const auto entry = std::find_if(snapshot.windows.begin(), snapshot.windows.end(),
                                    [&](const VXWindowListEntry &e) { return e.title == first; });
    if (entry == snapshot.windows.end()) {
        std::fprintf(stderr, "bench_wayland: %s: no window <%s>\n", qPrintable(family), qPrintable(first));
        return false;
    }
    const VXToplevelMirror::Id changed = entry->number;
    std::vector<double> changing;
    const int changingTicks = std::max(10, ticks / 20);
    for (int i = 0; i < changingTicks; ++i) {
        const QString title = QStringLiteral("Changed %1").arg(i);
        windows.front()->setTitle(0, title);
        if (!spinUntil(
                [&] {
                    const VXToplevel *toplevel = desktop->mirror().toplevel(changed);
                    return toplevel && toplevel->title == title;
                },
                5000))
            ++row.missed;
        changing.push_back(timed([&] { desktop->takeSnapshot(snapshot); }));
    }
    row.family = family;
    row.steadyMs = median(steady);
    row.changingMs = median(changing);
    return true;
}

bool measureX11(int ticks, Row &row)
{
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot)) {
        std::fprintf(stderr, "bench_wayland: x11: %s\n", qPrintable(whyNot));
        return false;
    }
    std::vector<std::unique_ptr<VXX11TestClient>> clients;
    for (int made = 0; made < kWindows; made += 10) {
        auto client = rig.startTestClient({QStringLiteral("--title"), QStringLiteral("Document %1").arg(made),
                                           QStringLiteral("--count"), QStringLiteral("10")});
        if (!client)
            return false;
        clients.push_back(std::move(client));
    }
    VXX11Desktop::Options options;
    options.display = rig.display();
    options.applicationFolders = QStringList();
    auto desktop = VXX11Desktop::connect(options, &whyNot);
    if (!desktop)
        return false;
    VXDesktopSnapshot snapshot;
    if (!spinUntil(
            [&] {
                desktop->takeSnapshot(snapshot);
                return int(snapshot.windows.size()) == kWindows;
            },
            20000))
        return false;
    QThread::msleep(300);
    desktop->takeSnapshot(snapshot);
    std::vector<double> steady;
    for (int i = 0; i < ticks; ++i)
        steady.push_back(timed([&] { desktop->takeSnapshot(snapshot); }));
    std::vector<double> changing;
    const int changingTicks = std::max(10, ticks / 20);
    for (int i = 0; i < changingTicks; ++i) {
        clients.front()->command(QStringLiteral("title 0 Changed %1").arg(i));
        changing.push_back(timed([&] { desktop->takeSnapshot(snapshot); }));
    }
    row.family = QStringLiteral("x11");
    row.steadyMs = median(steady);
    row.changingMs = median(changing);
    return true;
}

// The wendle program idle for `minutes` on a desktop with 20 windows: its CPU time per minute
// and resident memory, read from /proc.
int measureIdle(const QString &family, int minutes)
{
    std::unique_ptr<VXX11TestRig> x11;
    std::unique_ptr<VXWaylandTestRig> wayland;
    std::vector<std::unique_ptr<VXWaylandTestWindow>> windows;
    std::vector<std::unique_ptr<VXX11TestClient>> clients;
    QTemporaryDir extension;
    QTemporaryDir home;
    QString whyNot;
    QProcessEnvironment environment;
    if (family == QLatin1StringView("x11")) {
        x11 = std::make_unique<VXX11TestRig>();
        if (!x11->start({}, &whyNot))
            return std::fprintf(stderr, "bench_wayland: %s\n", qPrintable(whyNot)), 1;
        for (int made = 0; made < kIdleWindows; made += 10)
            clients.push_back(x11->startTestClient({QStringLiteral("--title"), QStringLiteral("Document %1").arg(made),
                                                    QStringLiteral("--count"), QStringLiteral("10")}));
        environment = x11->environment();
        environment.insert(QStringLiteral("XDG_DATA_HOME"), home.filePath(QStringLiteral("data")));
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.filePath(QStringLiteral("config")));
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.path());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    } else {
        const VXWaylandTestRig::Compositor compositor = family == QLatin1StringView("sway") ? VXWaylandTestRig::Sway
            : family == QLatin1StringView("gnome") ? VXWaylandTestRig::GnomeShell
                                                   : VXWaylandTestRig::KWin;
        wayland = std::make_unique<VXWaylandTestRig>();
        if (!wayland->start(rigOptions(compositor, extension), &whyNot))
            return std::fprintf(stderr, "bench_wayland: %s\n", qPrintable(whyNot)), 1;
        if (!startWindows(*wayland, kIdleWindows, windows))
            return std::fprintf(stderr, "bench_wayland: the windows did not start\n"), 1;
        environment = wayland->environment();
    }
    environment.insert(QStringLiteral("HOME"), home.path());
    environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                       QStringLiteral("unix:path=") + home.filePath(QStringLiteral("no-system-bus")));
    QProcess program;
    program.setProcessEnvironment(environment);
    program.setStandardOutputFile(QProcess::nullDevice());
    program.setStandardErrorFile(home.filePath(QStringLiteral("wendle.log")));
    program.start(QStringLiteral(WENDLE_BINARY), QStringList());
    if (!program.waitForStarted(10000))
        return std::fprintf(stderr, "bench_wayland: wendle did not start\n"), 1;
    const QString stat = QStringLiteral("/proc/%1/stat").arg(program.processId());
    const auto cpuSeconds = [&] {
        QFile file(stat);
        if (!file.open(QIODevice::ReadOnly))
            return -1.0;
        const QByteArray text = file.readAll();
        const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
        // utime and stime: fields 14 and 15, here 11 and 12.
        return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(::sysconf(_SC_CLK_TCK));
    };
    const auto residentMB = [&] {
        QFile file(QStringLiteral("/proc/%1/status").arg(program.processId()));
        if (!file.open(QIODevice::ReadOnly))
            return -1.0;
        for (const QByteArray &line : file.readAll().split('\n')) {
            if (line.startsWith("VmRSS:"))
                return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
        }
        return -1.0;
    };
    // Settled: started, tracking, first save done.
    QThread::sleep(30);
    const double before = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QThread::sleep(unsigned(minutes * 60));
    const double cpu = cpuSeconds() - before;
    const double elapsedMinutes = double(wall.elapsed()) / 60000.0;
    const double rss = residentMB();
    std::printf("%-8s idle %d min, %d windows: CPU %.3f s per minute (%.3f %% of one core), resident %.1f MB\n",
                qPrintable(family), minutes, kIdleWindows, cpu / elapsedMinutes, 100.0 * cpu / (elapsedMinutes * 60.0),
                rss);
    program.terminate();
    program.waitForFinished(10000);
    return 0;
}

}   // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    int ticks = 2000;
    int idleMinutes = 0;
    QStringList families;
    const QStringList arguments = QCoreApplication::arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == QLatin1StringView("--ticks"))
            ticks = std::max(10, arguments[i + 1].toInt());
        else if (arguments[i] == QLatin1StringView("--family"))
            families << arguments[i + 1];
        else if (arguments[i] == QLatin1StringView("--idle-minutes"))
            idleMinutes = arguments[i + 1].toInt();
    }
    if (idleMinutes > 0)
        return families.size() == 1 ? measureIdle(families.first(), idleMinutes) : 2;
    if (families.isEmpty())
        families = {QStringLiteral("x11"), QStringLiteral("sway"), QStringLiteral("kwin"),
                    QStringLiteral("kwin-script"), QStringLiteral("gnome")};

    std::vector<Row> rows;
    for (const QString &family : std::as_const(families)) {
        Row row;
        const bool measured
            = family == QLatin1StringView("x11") ? measureX11(ticks, row) : measureWayland(family, ticks, row);
        if (measured)
            rows.push_back(row);
    }
    const auto x11
        = std::find_if(rows.begin(), rows.end(), [](const Row &r) { return r.family == QLatin1StringView("x11"); });
    std::printf("%-12s %12s %12s %10s %10s %8s\n", "adapter", "steady ms", "changing ms", "vs X11", "vs X11", "missed");
    bool targetsMet = true;
    for (const Row &row : rows) {
        const double steadyRatio = x11 != rows.end() ? row.steadyMs / x11->steadyMs : 0;
        const double changingRatio = x11 != rows.end() ? row.changingMs / x11->changingMs : 0;
        std::printf("%-12s %12.4f %12.4f %9.2fx %9.2fx %8d\n", qPrintable(row.family), row.steadyMs, row.changingMs,
                    steadyRatio, changingRatio, row.missed);
        targetsMet = targetsMet && row.steadyMs < 0.05 && row.changingMs < 0.5;
    }
    std::printf("targets at %d windows (steady < 0.05 ms, changing < 0.5 ms): %s\n", kWindows,
                targetsMet ? "met" : "NOT met");
    return targetsMet ? 0 : 2;
}
