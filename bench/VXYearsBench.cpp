// Ten years on one machine: what grows with the record, measured on synthetic records of 1, 2, 5
// and 10 heavy years (VXHeavyConfigurationParametersForYears) against an empty record, in one
// run. Every record ends now, so that "30 days ago" falls inside it.
//
//     bench_years [--years 1,2,5,10] [--idle-minutes 3] [--work DIR] [--keep] [--reuse] [--in-process]
//                 [--settle 30] [--wendle WENDLE] [--compare-with WENDLE] [--idle-beside WENDLE] [--idle-only]
//
// --in-process leaves out the commands and the idle program (for a profiler). --wendle runs
// another build of the program than the one built beside the benchmark (another branch's, kept
// aside, for figures side by side); --compare-with runs the commands of a second one as well.
// --settle is how long the idle programs run before their window opens. --reuse takes the records
// an earlier run left in --work (with --keep) instead of making them anew: they end when that run
// was, which changes nothing but the commands' "30 days ago". --idle-beside runs a second build's
// idle programs at the same time as the first's, each on its own copy of the records (a noisy
// machine moves both alike), and --idle-only measures the idle programs alone (with --reuse).
//
// Ticks, start-up and the commands are processor time (the machine may be shared); the save's
// pause is wall time. For each record:
//   file          the binary record's size
//   steady tick   a scheduled tick through the controller on a steady desktop (40 applications,
//                 150 windows), median
//   forced tick   the tick after a user action (the controller's forced list update), median
//   start-up      loading the record through the store and the first tick through the controller
//                 (the part of start-up that grows with the record; Qt and the display add a
//                 constant): the main thread's processor time, and the wall time the user waits
//                 (which counts the main thread's waits for other threads, and page faults)
//   save pause    the save as the main thread runs it (encoding and writing), with the resident
//                 size it leaves behind
//   status, summary --from "30 days ago", export -o
//                 the commands as the user runs them (processor time, best of three), with export's
//                 peak resident size against the file's size
//   idle          the program itself on a private Xvfb with openbox and 20 windows, all records
//                 at once (each program's own CPU time is what counts): CPU seconds per minute
//                 and resident size after the window; --idle-minutes 0 leaves this out
//
// Ratios are against the empty record of the same run; give the load average with the figures.

#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXFakeDesktop.h"
#include "VXHeavyConfiguration.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXShellSettings.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"
#include "VXX11TestRig.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QThread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <vector>

extern char **environ;

namespace {

constexpr int kRunningApplications = 40;
constexpr double kInterval = 0.5;
constexpr int kIdleWindows = 20;

double seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// The processor time of this thread: what a tick costs, whatever else the shared machine runs.
double threadSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double residentMB(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/status").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1.0;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1.0;
}

double cpuSeconds(qint64 pid)
{
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return -1.0;
    const QByteArray text = file.readAll();
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return (fields.value(11).toDouble() + fields.value(12).toDouble()) / double(::sysconf(_SC_CLK_TCK));
}

struct Row {
    int years = 0;
    double fileMB = 0;
    double steadyMs = 0;
    double forcedMs = 0;
    double startupMs = 0;
    double startupWallMs = 0;
    double residentAfterLoadMB = 0;
    double savePauseMs = 0;
    double residentAfterSaveMB = 0;
    double statusMs = 0;
    double summaryMs = 0;
    double exportMs = 0;
    double exportPeakMB = 0;
    // The same commands run by the program given with --compare-with (another build), if any.
    double otherSummaryMs = -1;
    double otherExportMs = -1;
    double otherExportPeakMB = -1;
    double idleCpuPerMinute = -1;
    double idleResidentMB = -1;
    // The idle program of the build given with --idle-beside, at the same time.
    double besideCpuPerMinute = -1;
    double besideResidentMB = -1;
};

// A private home for one record: data (with the record), config and runtime folders.
struct Home {
    QString root;
    QString dataFolder() const { return root + QStringLiteral("/data"); }
    QString configFolder() const { return root + QStringLiteral("/config"); }
    QString runtimeFolder() const { return root + QStringLiteral("/run"); }
    QString recordPath() const { return dataFolder() + QStringLiteral("/Wendle/Configurations/Default.plist"); }

    void make() const
    {
        QDir().mkpath(QFileInfo(recordPath()).path());
        QDir().mkpath(configFolder());
        QDir().mkpath(runtimeFolder());
        QFile::setPermissions(runtimeFolder(),
                              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }
    QProcessEnvironment environment(const QProcessEnvironment &base) const
    {
        QProcessEnvironment environment = base;
        environment.insert(QStringLiteral("HOME"), root);
        environment.insert(QStringLiteral("XDG_DATA_HOME"), dataFolder());
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), configFolder());
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtimeFolder());
        environment.insert(QStringLiteral("DBUS_SYSTEM_BUS_ADDRESS"),
                           QStringLiteral("unix:path=") + root + QStringLiteral("/no-system-bus"));
        return environment;
    }
};

// A desktop on which the applications of a heavy year with the most windows run, 150 windows
// open: the same desktop for every record, the empty one included.
void fillDesktop(VXFakeDesktop &desktop)
{
    static const VXDictionaryRef year = VXMakeHeavyConfiguration(VXScaledHeavyConfigurationParameters(1));
    const VXDictionary &configuration = *year;
    const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary();
    if (!applications)
        return;
    std::int64_t pid = 2000;
    int chosen = 0;
    for (const VXDictionary::Entry &entry : *applications) {
        if (chosen == kRunningApplications)
            break;
        const VXDictionary &application = *entry.value.dictionary();
        const QString path = application.value(VXPathKey).toString();
        const QString id = application.value(VXApplicationIDKey).toString();
        desktop.launch(application.value(VXNameKey).toString(), path, id == path ? QString() : id, pid);
        const int count = chosen < 30 ? 4 : 3;
        const VXDictionary &byName = *application.value(VXWindowsByNameKey).dictionary();
        for (int w = 0; w < count && w < int(byName.size()); ++w)
            desktop.openWindow(pid, byName.entries()[std::size_t(w) * 7 % byName.size()].key);
        ++chosen;
        ++pid;
    }
    if (chosen > 0)
        desktop.activate(2000);
}

// The tree without the inverted line of the application blacklist, which would leave only a
// handful of applications to track.
void trackEveryApplication(VXDictionary &configuration)
{
    VXArrayRef blacklist = VXMakeArray();
    if (const VXArray *entries = configuration.value(VXApplicationBlacklistKey).array()) {
        for (const VXValue &entry : *entries) {
            if (!entry.stringRef().startsWith(u'!'))
                blacklist->append(entry);
        }
    }
    configuration.insert(VXApplicationBlacklistKey, blacklist);
}

// Median of `count` runs, best of three rounds.
template <class Work> double medianMilliseconds(Work work, int count)
{
    double best = 1e9;
    for (int round = 0; round < 3; ++round) {
        std::vector<double> times;
        for (int i = 0; i < count; ++i) {
            const double began = threadSeconds();
            work();
            times.push_back((threadSeconds() - began) * 1000.0);
        }
        best = std::min(best, median(times));
    }
    return best;
}

// Runs the program to the end; answers its processor time in ms and its peak resident size in MB.
// A process started from this one counts this one's resident size in its own peak (the system
// takes over the peak of the memory it was cloned with when it starts the program), so the peak
// is taken from /usr/bin/time, whose own child starts small; without it, it is an upper bound.
bool runCommand(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                double *milliseconds, double *peakMB)
{
    static const QString timeProgram = QStringLiteral("/usr/bin/time");
    const bool timed = QFileInfo(timeProgram).isExecutable();
    QTemporaryFile peakFile;
    std::vector<QByteArray> storage;
    if (timed && peakFile.open()) {
        for (const QString &item :
             {timeProgram, QStringLiteral("-f"), QStringLiteral("%M"), QStringLiteral("-o"), peakFile.fileName()})
            storage.push_back(item.toLocal8Bit());
    }
    storage.push_back(program.toLocal8Bit());
    for (const QString &argument : arguments)
        storage.push_back(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &item : storage)
        argv.push_back(item.data());
    argv.push_back(nullptr);
    std::vector<QByteArray> environmentStorage;
    for (const QString &item : environment.toStringList())
        environmentStorage.push_back(item.toLocal8Bit());
    std::vector<char *> envp;
    for (QByteArray &item : environmentStorage)
        envp.push_back(item.data());
    envp.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0)
        return false;
    int status = 0;
    struct rusage usage {
    };
    if (wait4(pid, &status, 0, &usage) != pid)
        return false;
    // Processor time, user and system: the wall time of a command is mostly the shared
    // machine's load.
    *milliseconds = (double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3
                     + double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-3);
    *peakMB = double(usage.ru_maxrss) / 1024.0;
    if (timed) {
        bool read = false;
        const double kilobytes = peakFile.readAll().trimmed().split('\n').constLast().toDouble(&read);
        if (read)
            *peakMB = kilobytes / 1024.0;
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool bestOfThree(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment,
                 double *milliseconds, double *peakMB)
{
    *milliseconds = 1e12;
    for (int i = 0; i < 3; ++i) {
        double wall = 0;
        double peak = 0;
        if (!runCommand(program, arguments, environment, &wall, &peak)) {
            std::fprintf(stderr, "bench_years: %s %s failed\n", qPrintable(program), qPrintable(arguments.join(u' ')));
            return false;
        }
        *milliseconds = std::min(*milliseconds, wall);
        *peakMB = peak;
    }
    return true;
}

// Makes the record, writes it, and measures everything but the idle program.
bool measureRecord(int years, const Home &home, const QString &wendle, const QString &other, bool inProcess, bool reuse,
                   int steadyTicks, Row &row)
{
    row.years = years;
    home.make();
    const double now = double(QDateTime::currentSecsSinceEpoch());
    VXDictionaryRef configuration;
    if (!reuse || !QFileInfo::exists(home.recordPath())) {
        configuration = years > 0 ? VXMakeHeavyConfiguration(VXHeavyConfigurationParametersForYears(years, now))
                                  : VXMakeDictionary();
        trackEveryApplication(*configuration);
        if (years == 0)
            configuration->insert(VXApplicationBlacklistKey, VXValue());
        QString error;
        if (!writeToBinaryFile(VXValue(configuration), home.recordPath(), true, &error)) {
            std::fprintf(stderr, "bench_years: %s\n", qPrintable(error));
            return false;
        }
    }
    // A journal left by an earlier run in the same folder belongs to another record.
    QFile::remove(VXConfigurationStore::journalPathFor(home.recordPath()));
    row.fileMB = double(QFileInfo(home.recordPath()).size()) / 1e6;

    // Start-up, ticks and a save, through the store and the controller as the program runs them.
    {
        qputenv("XDG_DATA_HOME", home.dataFolder().toLocal8Bit());
        VXUserDefaults defaults(VXUserDefaults::kDomain, home.configFolder());
        VXRegisterDefaults(defaults);
        VXVirtualScheduler time(now);
        VXFakeDesktop desktop;
        fillDesktop(desktop);
        configuration.reset();
        // Loaded and saved through the controller's own store, as the program does: a second
        // store would leave the controller's journal tied to no record, so that its first flush
        // saved the record whole and its entries could land after the bench's own save.
        VXMainController controller(desktop, time, time, defaults);
        const double began = threadSeconds();
        const double wallBegan = seconds();
        controller.loadConfiguration();
        controller.updateLists(&controller);
        row.startupMs = (threadSeconds() - began) * 1000.0;
        row.startupWallMs = (seconds() - wallBegan) * 1000.0;
        row.residentAfterLoadMB = residentMB(QCoreApplication::applicationPid());
        time.advanceBy(2.0);
        // A scheduled tick (steady desktop), and the forced one that follows a user action.
        // Announced, so that a profiler can be attached for a longer run (--steady-ticks).
        std::fprintf(stderr, "%d years: %d steady ticks\n", years, steadyTicks);
        row.steadyMs = medianMilliseconds([&] { time.advanceBy(kInterval); }, steadyTicks);
        row.forcedMs = medianMilliseconds([&] { controller.updateLists(&controller); }, years >= 5 ? 9 : 21);
        const double saveBegan = seconds();
        controller.saveConfiguration(true, false, false);
        row.savePauseMs = (seconds() - saveBegan) * 1000.0;
        row.residentAfterSaveMB = residentMB(QCoreApplication::applicationPid());
        controller.store().waitForPendingWrites();
    }

    if (inProcess)
        return true;
    // The commands, as the user runs them, on the file as written.
    const QProcessEnvironment environment = home.environment(QProcessEnvironment::systemEnvironment());
    double peak = 0;
    const QString exported = home.root + QStringLiteral("/export.csv");
    if (!bestOfThree(wendle, {QStringLiteral("status")}, environment, &row.statusMs, &peak)
        || !bestOfThree(wendle, {QStringLiteral("summary"), QStringLiteral("--from"), QStringLiteral("30 days ago")},
                        environment, &row.summaryMs, &peak)
        || !bestOfThree(wendle, {QStringLiteral("export"), QStringLiteral("-o"), exported}, environment, &row.exportMs,
                        &row.exportPeakMB))
        return false;
    if (!other.isEmpty()
        && (!bestOfThree(other, {QStringLiteral("summary"), QStringLiteral("--from"), QStringLiteral("30 days ago")},
                         environment, &row.otherSummaryMs, &peak)
            || !bestOfThree(other, {QStringLiteral("export"), QStringLiteral("-o"), exported}, environment,
                            &row.otherExportMs, &row.otherExportPeakMB)))
        return false;
    QFile::remove(exported);
    return true;
}

// Every record's program at once on one desktop; each one's own CPU time and resident size. With
// `beside`, that build's programs run at the same time, each on a copy of its record's home.
bool measureIdle(const std::vector<Home> &homes, const QString &wendle, const QString &beside, int minutes,
                 int settleSeconds, std::vector<Row> &rows)
{
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot)) {
        std::fprintf(stderr, "bench_years: %s\n", qPrintable(whyNot));
        return false;
    }
    std::vector<std::unique_ptr<VXX11TestClient>> clients;
    for (int made = 0; made < kIdleWindows; made += 10)
        clients.push_back(rig.startTestClient({QStringLiteral("--title"), QStringLiteral("Document %1").arg(made),
                                               QStringLiteral("--count"), QStringLiteral("10")}));
    struct Run {
        Home home;
        QString program;
    };
    std::vector<Run> runs;
    for (const Home &home : homes)
        runs.push_back({home, wendle});
    if (!beside.isEmpty()) {
        for (const Home &home : homes) {
            const Home copy {home.root + QStringLiteral("-beside")};
            QDir(copy.root).removeRecursively();
            if (QProcess::execute(QStringLiteral("cp"), {QStringLiteral("-a"), home.root, copy.root}) != 0) {
                std::fprintf(stderr, "bench_years: cannot copy %s\n", qPrintable(home.root));
                return false;
            }
            runs.push_back({copy, beside});
        }
    }
    std::vector<std::unique_ptr<QProcess>> programs;
    for (const Run &run : runs) {
        const Home &home = run.home;
        {
            // On a first start the welcome window would stand in for the organizer's lists.
            VXUserDefaults defaults(VXUserDefaults::kDomain, home.configFolder() + QStringLiteral("/Wendle"));
            defaults.setBool(true, VXWelcomeKey);
            defaults.synchronize();
        }
        QProcessEnvironment environment = home.environment(rig.environment());
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
        auto program = std::make_unique<QProcess>();
        program->setProcessEnvironment(environment);
        program->setStandardOutputFile(QProcess::nullDevice());
        program->setStandardErrorFile(home.root + QStringLiteral("/wendle.log"));
        program->start(run.program, QStringList());
        if (!program->waitForStarted(10000)) {
            std::fprintf(stderr, "bench_years: wendle did not start\n");
            return false;
        }
        programs.push_back(std::move(program));
    }
    // Settled: loaded, tracking, and the record saved once after loading (seconds of work for
    // a long record, longer while several programs start side by side).
    QThread::sleep(unsigned(settleSeconds));
    std::vector<double> before;
    for (const auto &program : programs)
        before.push_back(cpuSeconds(program->processId()));
    const double began = seconds();
    QThread::sleep(unsigned(minutes * 60));
    const double elapsedMinutes = (seconds() - began) / 60.0;
    for (std::size_t i = 0; i < programs.size(); ++i) {
        const double cpu = (cpuSeconds(programs[i]->processId()) - before[i]) / elapsedMinutes;
        const double resident = residentMB(programs[i]->processId());
        Row &row = rows[i % rows.size()];
        (i < rows.size() ? row.idleCpuPerMinute : row.besideCpuPerMinute) = cpu;
        (i < rows.size() ? row.idleResidentMB : row.besideResidentMB) = resident;
        programs[i]->terminate();
    }
    for (const auto &program : programs)
        program->waitForFinished(30000);
    return true;
}

double ratio(double value, double reference)
{
    return reference > 0 ? value / reference : 0.0;
}

}   // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QList<int> years {1, 2, 5, 10};
    int idleMinutes = 3;
    int settleSeconds = 30;
    QString work;
    bool keep = false;
    bool reuse = false;
    bool inProcess = false;
    bool idleOnly = false;
    QString other;
    QString beside;
    QString wendle = QStringLiteral(WENDLE_BINARY);
    int steadyTicks = 400;
    const QStringList arguments = application.arguments();
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments[i];
        const QString next = arguments.value(i + 1);
        if (argument == QLatin1StringView("--years")) {
            years.clear();
            for (const QString &item : next.split(u','))
                years.append(item.toInt());
            ++i;
        } else if (argument == QLatin1StringView("--idle-minutes")) {
            idleMinutes = next.toInt();
            ++i;
        } else if (argument == QLatin1StringView("--settle")) {
            settleSeconds = std::max(0, next.toInt());
            ++i;
        } else if (argument == QLatin1StringView("--work")) {
            work = next;
            ++i;
        } else if (argument == QLatin1StringView("--steady-ticks")) {
            steadyTicks = std::max(1, next.toInt());
            ++i;
        } else if (argument == QLatin1StringView("--wendle")) {
            wendle = next;
            ++i;
        } else if (argument == QLatin1StringView("--compare-with")) {
            other = next;
            ++i;
        } else if (argument == QLatin1StringView("--idle-beside")) {
            beside = next;
            ++i;
        } else if (argument == QLatin1StringView("--idle-only")) {
            idleOnly = true;
        } else if (argument == QLatin1StringView("--keep")) {
            keep = true;
        } else if (argument == QLatin1StringView("--reuse")) {
            reuse = true;
        } else if (argument == QLatin1StringView("--in-process")) {
            inProcess = true;
            idleMinutes = 0;
        } else {
            std::fprintf(
                stderr,
                "usage: bench_years [--years 1,2,5,10] [--idle-minutes 3] [--work DIR] [--keep] [--reuse] [--in-process] "
                "[--settle 30] [--wendle WENDLE] [--compare-with WENDLE] [--idle-beside WENDLE] [--idle-only] "
                "[--steady-ticks 400]\n");
            return 2;
        }
    }
    // A folder of its own only when none is given (one given and kept would leave it empty behind).
    std::optional<QTemporaryDir> temporary;
    if (work.isEmpty()) {
        temporary.emplace();
        work = temporary->path();
        temporary->setAutoRemove(!keep);
    }

    years.prepend(0);   // the empty record, the reference of every ratio
    std::vector<Row> rows(std::size_t(years.size()));
    std::vector<Home> homes;
    for (qsizetype i = 0; i < years.size(); ++i) {
        homes.push_back({work + QStringLiteral("/years-%1").arg(years[i])});
        if (idleOnly) {
            Row &row = rows[std::size_t(i)];
            row.years = years[i];
            row.fileMB = double(QFileInfo(homes.back().recordPath()).size()) / 1e6;
            if (!QFileInfo::exists(homes.back().recordPath())) {
                std::fprintf(stderr, "bench_years: --idle-only needs the records a kept run left (%s)\n",
                             qPrintable(homes.back().recordPath()));
                return 1;
            }
            QFile::remove(VXConfigurationStore::journalPathFor(homes.back().recordPath()));
            continue;
        }
        if (!measureRecord(years[i], homes.back(), wendle, other, inProcess, reuse, steadyTicks, rows[std::size_t(i)]))
            return 1;
        const Row &row = rows[std::size_t(i)];
        // As it comes, so that a run stopped later keeps what it measured.
        std::fprintf(
            stderr,
            "%d years: file %.1f MB, steady %.3f ms, forced %.2f ms, start-up %.1f ms (wall %.1f ms, RSS %.1f MB), save %.1f ms, "
            "status %.1f ms, summary %.1f ms, export %.1f ms (peak %.1f MB)\n",
            years[i], row.fileMB, row.steadyMs, row.forcedMs, row.startupMs, row.startupWallMs, row.residentAfterLoadMB,
            row.savePauseMs, row.statusMs, row.summaryMs, row.exportMs, row.exportPeakMB);
    }
    if (idleMinutes > 0 && !measureIdle(homes, wendle, beside, idleMinutes, settleSeconds, rows))
        return 1;

    double load[3] = {0, 0, 0};
    getloadavg(load, 3);
    const Row &empty = rows.front();
    std::printf("load average %.2f %.2f %.2f; idle window %d min\n", load[0], load[1], load[2], idleMinutes);
    std::printf("%5s %8s %9s %9s %9s %10s %9s %9s %9s %9s %9s %9s %10s %9s %9s\n", "years", "file MB", "steady ms",
                "forced ms", "start ms", "start wall", "RSS load", "save ms", "RSS save", "status ms", "summ. ms",
                "export ms", "exp. peak", "idle cpu", "idle RSS");
    for (const Row &row : rows) {
        std::printf("%5d %8.1f %9.3f %9.2f %9.1f %10.1f %9.1f %9.1f %9.1f %9.1f %9.1f %9.1f %10.1f %9.3f %9.1f\n",
                    row.years, row.fileMB, row.steadyMs, row.forcedMs, row.startupMs, row.startupWallMs,
                    row.residentAfterLoadMB, row.savePauseMs, row.residentAfterSaveMB, row.statusMs, row.summaryMs,
                    row.exportMs, row.exportPeakMB, row.idleCpuPerMinute, row.idleResidentMB);
    }
    if (!other.isEmpty()) {
        std::printf("\nthe commands of %s, in the same run\n", qPrintable(other));
        for (const Row &row : rows)
            std::printf("%5d  summary %.1f ms  export %.1f ms (peak %.1f MB, %.2f x the file)\n", row.years,
                        row.otherSummaryMs, row.otherExportMs, row.otherExportPeakMB,
                        ratio(row.otherExportPeakMB, row.fileMB / 1.048576));
    }
    if (!beside.isEmpty()) {
        std::printf("\nthe idle programs of %s, at the same time\n", qPrintable(beside));
        for (const Row &row : rows)
            std::printf("%5d  idle cpu %.3f s (this build's %.3f: %.2fx)  idle RSS %.1f MB\n", row.years,
                        row.besideCpuPerMinute, row.idleCpuPerMinute,
                        ratio(row.idleCpuPerMinute, row.besideCpuPerMinute), row.besideResidentMB);
        for (const Row &row : rows) {
            if (row.years != 0)
                std::printf("%5d  idle CPU against the empty record: this build %.2fx, the other %.2fx\n", row.years,
                            ratio(row.idleCpuPerMinute, empty.idleCpuPerMinute),
                            ratio(row.besideCpuPerMinute, empty.besideCpuPerMinute));
        }
    }
    std::printf("\nagainst the empty record (idle RSS: over the file's size, in MB; export peak: over the file)\n");
    for (const Row &row : rows) {
        if (row.years == 0)
            continue;
        std::printf("%5d  steady %.2fx  forced %.1fx  start-up %.1fx  summary %.1fx  export peak/file %.2f  idle CPU "
                    "%.2fx  idle RSS - file %+.1f MB\n",
                    row.years, ratio(row.steadyMs, empty.steadyMs), ratio(row.forcedMs, empty.forcedMs),
                    ratio(row.startupMs, empty.startupMs), ratio(row.summaryMs, empty.summaryMs),
                    ratio(row.exportPeakMB, row.fileMB / 1.048576), ratio(row.idleCpuPerMinute, empty.idleCpuPerMinute),
                    row.idleResidentMB - row.fileMB / 1.048576);
    }
    return 0;
}
