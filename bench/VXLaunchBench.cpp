// How long a person waits for Wendle: from starting the program to its first window on screen
// (managed by the window manager), with a heavy year's record (bench/VXHeavyConfiguration) and
// with an empty one, in turn in the same run on a private Xvfb with openbox; and opening the
// preferences window the first time, against a plain dialog made and shown the same way.
// Targets: under 1 s to the first window with the heavy record; the preferences under 150 ms.
//
//     bench_launch [--runs N] [--scale F] [--wendle WENDLE]
//
// F divides the heavy record's size, for a quick look; --wendle starts another build of the
// program than the one built beside the benchmark (another branch's, for figures side by side).

#include "VXApplicationShell.h"
#include "VXFakeDesktop.h"
#include "VXHeavyConfiguration.h"
#include "VXMainController.h"
#include "VXPreferencesWindow.h"
#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"
#include "VXX11TestRig.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLabel>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QVBoxLayout>

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#ifndef WENDLE_PROGRAM
#error "WENDLE_PROGRAM must name the wendle program"
#endif

namespace {

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

xcb_atom_t atom(xcb_connection_t *connection, const char *name)
{
    Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, std::strlen(name), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

// Whether the window manager manages a window of this process.
bool hasManagedWindow(xcb_connection_t *connection, xcb_window_t root, std::uint32_t pid)
{
    static const xcb_atom_t clientList = atom(connection, "_NET_CLIENT_LIST");
    static const xcb_atom_t wmPid = atom(connection, "_NET_WM_PID");
    Reply<xcb_get_property_reply_t> list(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, clientList, XCB_ATOM_WINDOW, 0, 4096), nullptr));
    if (!list)
        return false;
    const auto *windows = static_cast<const xcb_window_t *>(xcb_get_property_value(list.get()));
    const int count = xcb_get_property_value_length(list.get()) / 4;
    for (int i = 0; i < count; ++i) {
        Reply<xcb_get_property_reply_t> owner(xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, windows[i], wmPid, XCB_ATOM_CARDINAL, 0, 1), nullptr));
        if (owner && xcb_get_property_value_length(owner.get()) == 4
            && *static_cast<const std::uint32_t *>(xcb_get_property_value(owner.get())) == pid)
            return true;
    }
    return false;
}

// A user of Wendle: a record (or none), settings that made the welcome choice (windows).
struct Home {
    QTemporaryDir folder;
    QString data() const { return folder.path() + QStringLiteral("/data"); }
    QString config() const { return folder.path() + QStringLiteral("/config"); }
    QString runtime() const { return folder.path() + QStringLiteral("/runtime"); }

    bool prepare(const VXDictionaryRef &record)
    {
        QDir().mkpath(data() + QStringLiteral("/Wendle/Configurations"));
        QDir().mkpath(config() + QStringLiteral("/Wendle"));
        QDir().mkpath(runtime());
        QFile::setPermissions(runtime(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
        VXUserDefaults settings(VXUserDefaults::kDomain, config() + QStringLiteral("/Wendle"));
        settings.setBool(true, VXWelcomeKey);
        if (!settings.synchronize())
            return false;
        return !record
            || writeToBinaryFile(VXValue(record), data() + QStringLiteral("/Wendle/Configurations/Default.plist"),
                                 true);
    }
};

// Milliseconds from the start of the program to its first managed window; -1 when it did not
// come within 30 seconds.
double launch(VXX11TestRig &rig, const Home &home, const QString &wendle)
{
    QProcessEnvironment environment = rig.environment();
    environment.insert(QStringLiteral("XDG_DATA_HOME"), home.data());
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), home.config());
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), home.runtime());
    QProcess program;
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QElapsedTimer clock;
    clock.start();
    program.start(wendle, {});
    if (!program.waitForStarted(5000))
        return -1.0;
    double elapsed = -1.0;
    while (clock.elapsed() < 30000) {
        if (hasManagedWindow(rig.connection(), rig.rootWindow(), std::uint32_t(program.processId()))) {
            elapsed = double(clock.nsecsElapsed()) / 1e6;
            break;
        }
        QThread::usleep(2000);
    }
    program.terminate();
    if (!program.waitForFinished(30000)) {
        program.kill();
        program.waitForFinished(5000);
    }
    return elapsed;
}

double best(std::vector<double> values)
{
    values.erase(std::remove(values.begin(), values.end(), -1.0), values.end());
    return values.empty() ? -1.0 : *std::min_element(values.begin(), values.end());
}

double loadAverage()
{
    double load[1] = {0.0};
    return getloadavg(load, 1) == 1 ? load[0] : -1.0;
}

// On the rig's display, as a child of the benchmark: the preferences window the first time,
// and a plain dialog, each made, shown and exposed.
int measurePreferences(int runs)
{
    int argc = 1;
    char name[] = "bench_launch";
    char *argv[] = {name, nullptr};
    QApplication application(argc, argv);
    QTemporaryDir folder;
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(folder.path() + QStringLiteral("/config")));
    qputenv("XDG_DATA_HOME", QFile::encodeName(folder.path() + QStringLiteral("/data")));
    std::vector<double> preferences, reference;
    // The process's first window pays for the connection and the fonts: neither measured one.
    {
        QDialog warmUp;
        warmUp.show();
        if (!QTest::qWaitForWindowExposed(&warmUp))
            return 1;
    }
    for (int run = 0; run < runs; ++run) {
        VXUserDefaults defaults;
        VXVirtualScheduler time(1'763'712'000.0);
        VXFakeDesktop desktop;
        VXApplicationShell shell(defaults);
        VXMainController controller(desktop, time, time, defaults, &shell);
        shell.setController(&controller);
        controller.applicationWillFinishLaunching();

        QElapsedTimer clock;
        clock.start();
        auto dialog = std::make_unique<QDialog>();
        auto *layout = new QVBoxLayout(dialog.get());
        layout->addWidget(new QLabel(QStringLiteral("Wendle"), dialog.get()));
        dialog->show();
        if (!QTest::qWaitForWindowExposed(dialog.get()))
            return 1;
        reference.push_back(double(clock.nsecsElapsed()) / 1e6);
        dialog.reset();

        clock.restart();
        controller.showPreferencesWindow();
        if (!QTest::qWaitForWindowExposed(shell.preferencesWindow()))
            return 1;
        preferences.push_back(double(clock.nsecsElapsed()) / 1e6);
    }
    std::printf("preferences %.1f reference %.1f\n", best(preferences), best(reference));
    return 0;
}

}   // namespace

int main(int argc, char *argv[])
{
    int runs = 5;
    int scale = 1;
    QString wendle = QStringLiteral(WENDLE_PROGRAM);
    for (int i = 1; i + 1 < argc; ++i) {
        if (std::strcmp(argv[i], "--runs") == 0)
            runs = std::max(1, std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--scale") == 0)
            scale = std::max(1, std::atoi(argv[i + 1]));
        else if (std::strcmp(argv[i], "--wendle") == 0)
            wendle = QString::fromLocal8Bit(argv[i + 1]);
    }
    if (argc > 1 && std::strcmp(argv[1], "--preferences-child") == 0)
        return measurePreferences(runs);

    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot)) {
        std::fprintf(stderr, "bench_launch: %s\n", qPrintable(whyNot));
        return 1;
    }
    VXHeavyConfigurationSummary summary;
    const VXDictionaryRef heavy = VXMakeHeavyConfiguration(VXScaledHeavyConfigurationParameters(scale), &summary);
    Home heavyHome, emptyHome;
    if (!heavyHome.prepare(heavy) || !emptyHome.prepare(VXDictionaryRef())) {
        std::fprintf(stderr, "bench_launch: cannot write the records\n");
        return 1;
    }
    const qint64 recordBytes
        = QFileInfo(heavyHome.data() + QStringLiteral("/Wendle/Configurations/Default.plist")).size();
    std::printf("heavy record: %d applications, %d windows, %d pools, %lld event-log numbers, %.1f MB\n",
                summary.applications, summary.windows, summary.pools, static_cast<long long>(summary.eventLogNumbers),
                double(recordBytes) / 1e6);

    // Warm the disk cache and the program's first start once, then alternate.
    launch(rig, emptyHome, wendle);
    std::vector<double> heavyTimes, emptyTimes;
    for (int run = 0; run < runs; ++run) {
        emptyTimes.push_back(launch(rig, emptyHome, wendle));
        heavyTimes.push_back(launch(rig, heavyHome, wendle));
    }
    const double heavyBest = best(heavyTimes), emptyBest = best(emptyTimes);
    // Each run saved the record again at its quit: it must still be the heavy one.
    const qint64 savedBytes
        = QFileInfo(heavyHome.data() + QStringLiteral("/Wendle/Configurations/Default.plist")).size();
    if (savedBytes < recordBytes / 2) {
        std::fprintf(stderr, "bench_launch: the heavy record was not loaded (%lld bytes saved)\n",
                     static_cast<long long>(savedBytes));
        return 1;
    }
    std::printf("launch to the first window: heavy record %.0f ms, empty record %.0f ms, ratio %.2f (best of %d), "
                "load %.2f\n",
                heavyBest, emptyBest, emptyBest > 0 ? heavyBest / emptyBest : 0.0, runs, loadAverage());

    QProcess child;
    child.setProcessEnvironment(rig.environment());
    child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--preferences-child"), QStringLiteral("--runs"), QString::number(runs)});
    if (!child.waitForFinished(120000) || child.exitCode() != 0) {
        std::fprintf(stderr, "bench_launch: the preferences could not be measured\n");
        return 1;
    }
    double preferences = 0.0, reference = 0.0;
    if (std::sscanf(child.readAllStandardOutput().constData(), "preferences %lf reference %lf", &preferences,
                    &reference)
        != 2)
        return 1;
    std::printf("preferences window, first opening: %.1f ms, a plain dialog %.1f ms, ratio %.2f (best of %d), load "
                "%.2f\n",
                preferences, reference, reference > 0 ? preferences / reference : 0.0, runs, loadAverage());
    return 0;
}
