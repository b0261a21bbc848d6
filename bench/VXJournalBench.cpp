// What the journal and the saves cost on a heavy record with a busy desktop, run by hand:
//
//   bench_journal [--years N] [--saves-only] [--without-start] [--without-first-saves]
//                 [--first-saves-only [--rows ROW,...] [--sort-changes N]]   (5. on the N-year
//                 record alone; the sort column changed N times, the median save given)
//                 [--journal-only]   (1. and 2. on the N-year record alone)
//
// --rows (with --first-saves-only): stops after the last of these saves of 5. (item-reset,
// undo, redo, pool-reset, sort, sort-flush: the flush after a sort change, day-flush and day:
// the day of half-hourly saves and the flushes before them), and when
// WENDLE_BENCH_PERF_CONTROL names the control fifo of a `perf record --control fifo:FIFO -D -1`,
// profiles their main-thread parts alone (each save's times on the monotonic clock are printed,
// to tell their samples apart with `-k monotonic`):
//
//   mkfifo /tmp/ctl
//   WENDLE_BENCH_PERF_CONTROL=/tmp/ctl perf record -k monotonic -g --control fifo:/tmp/ctl -D -1
//       bench_journal --first-saves-only --rows undo,sort   (one command line)
//
// 1. An hour of a busy desktop in virtual time (a front switch every 10 s among six
//    applications, a window title changing at each switch) through the real controller, on a
//    heavy year's record: the bytes the journal appends per hour (and per 8-hour day), and the
//    CPU time its flushes take per hour, against the CPU time of the ticks themselves (the
//    program with nothing to save) in the same run.
// 2. A working day's journal (8 hours of the same) replayed onto its record, as at start-up:
//    the replay alone, and the save of the recovered record after it.
// 3. The start on a one-year and an N-year record: the main thread's part of loading and of the
//    first journal flush, continuing the record loaded or saving it whole (as before), in the
//    same run.
// 4. The half-hourly save of a one-year and an N-year record (default 10): the main thread's
//    part (the snapshot taken, the first one after start and a later one), told by the journal
//    which items moved since the last save, against the same save comparing the whole tree in
//    the same run; and the resident memory before the save and after the writer thread is done.
// 5. The saves after a change of the tree as a whole (an undo, a reset, an import), after a
//    change of the sort column, and a day of half-hourly saves, through the real controller on a
//    one-year and an N-year record (see firstSaves).
//
// CPU times are thread CPU times of the main thread (clock_gettime), best of three where
// repeated; the load average is printed first, since the machine is shared.

#include "VXActivitySampler.h"
#include "VXBinaryPropertyListReader.h"
#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXFakeDesktop.h"
#include "VXHeavyConfiguration.h"
#include "VXJournal.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXTreeSnapshots.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <functional>
#include <malloc.h>
#include <memory>
#include <unistd.h>

namespace {

double threadSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double wallSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

double residentMiB()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? fields[1].toDouble() * double(sysconf(_SC_PAGESIZE)) / 1048576.0 : 0.0;
}

// Turns a `perf record --control fifo:...` on and off around the part to profile (see above).
void perfControl(const char *command)
{
    static const QByteArray fifo = qgetenv("WENDLE_BENCH_PERF_CONTROL");
    if (fifo.isEmpty())
        return;
    QFile control(QFile::decodeName(fifo));
    if (control.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        control.write(command);
        control.write("\n");
    }
    // (perf reads the fifo on its own time: let it catch up before the part begins or goes on.)
    usleep(200'000);
}

QByteArray loadAverage()
{
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray("?");
}

constexpr double kStart = 1'704'067'200.0;   // 2024-01-01, after the heavy year

// A busy desktop: six applications open all day, the front one switching every 10 seconds to
// a window whose title changes each time (a browser's tabs, an editor's files).
class BusyDesktop
{
public:
    explicit BusyDesktop(VXFakeDesktop &desktop) : m_desktop(desktop)
    {
        for (int i = 0; i < 6; ++i) {
            const QString id = QStringLiteral("bench.app%1").arg(i);
            desktop.launch(QStringLiteral("App %1").arg(i),
                           QStringLiteral("/usr/share/applications/%1.desktop").arg(id), id, 1000 + i);
            m_windows.push_back(desktop.openWindow(1000 + i, QStringLiteral("Document 0 of app %1").arg(i)));
        }
    }
    void switchFront(int step)
    {
        const int app = step % 6;
        m_desktop.closeWindow(m_windows[app]);
        m_windows[app]
            = m_desktop.openWindow(1000 + app, QStringLiteral("Document %1 of app %2").arg(step % 40).arg(app));
        m_desktop.activate(1000 + app);
    }

private:
    VXFakeDesktop &m_desktop;
    std::vector<std::uint64_t> m_windows;
};

struct Folders {
    QTemporaryDir root;
    Folders()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(root.path() + QStringLiteral("/data")));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(root.path() + QStringLiteral("/config")));
    }
    QString folder() const { return root.path() + QStringLiteral("/data/Wendle/Configurations"); }
    QString record() const { return folder() + QStringLiteral("/Default.plist"); }
    QString journal() const { return folder() + QStringLiteral("/Default.journal"); }
};

// A heavy record written where the program loads it, and the program on the busy desktop in
// virtual time (never hibernating), not yet launched.
struct BusyProgram {
    explicit BusyProgram(const Folders &folders, const VXHeavyConfigurationParameters &parameters = {})
    {
        QDir().mkpath(folders.folder());
        writeToBinaryFile(VXValue(VXMakeHeavyConfiguration(parameters)), folders.record(), true);
        malloc_trim(0);
        VXRegisterDefaults(defaults);
        defaults.setInteger(0, QStringLiteral("Hibernation Interval"));
        controller = std::make_unique<VXMainController>(desktop, time, time, defaults);
    }

    VXUserDefaults defaults;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    BusyDesktop busy {desktop};
    std::unique_ptr<VXMainController> controller;
};

// The heavy year's record scaled to `years` of them.
VXHeavyConfigurationParameters yearsOf(int years)
{
    VXHeavyConfigurationParameters parameters;
    parameters.windowCount *= years;
    parameters.eventLogNumbers *= years;
    parameters.span *= years;
    return parameters;
}

struct BusyRun {
    double tickSeconds = 0;   // main-thread CPU of the ticks
    double flushSeconds = 0;   // main-thread CPU of the journal's flushes
    qint64 journalBytes = 0;
    int flushes = 0;
};

// `seconds` of the busy desktop on the heavy record, the journal flushed by hand every 5 s
// (so that its cost is measured apart from the ticks'). `tickWindows`: the journal compares the
// windows the sampler says the ticks changed; without, every window of an application that moved
// (as the journal did before the sampler told it).
BusyRun runBusy(Folders &folders, double seconds, bool tickWindows = true, int years = 1)
{
    BusyProgram program(folders, yearsOf(years));
    VXVirtualScheduler &time = program.time;
    VXMainController &controller = *program.controller;
    controller.applicationWillFinishLaunching();
    controller.applicationDidFinishLaunching({}, {});
    // The whole save that starts the journal; from then on only the journal writes (the
    // half-hourly save is measured apart, and would start the journal anew).
    time.advanceTo(kStart + VXJournal::kFlushInterval);
    controller.store().waitForPendingWrites();
    time.cancel(&controller.store(), VXConfigurationStore::kSaveOperation);
    const qint64 startBytes = QFileInfo(folders.journal()).size();

    BusyRun run;
    int step = 0;
    for (double at = 10; at <= seconds; at += 5) {
        if (int(at) % 10 == 0)
            program.busy.switchFront(++step);
        double before = threadSeconds();
        time.advanceTo(kStart + at - 0.25);
        run.tickSeconds += threadSeconds() - before;
        if (!tickWindows)
            controller.journal().noteTick();
        before = threadSeconds();
        controller.journal().flush();
        run.flushSeconds += threadSeconds() - before;
        ++run.flushes;
    }
    controller.store().waitForPendingWrites();
    run.journalBytes = QFileInfo(folders.journal()).size() - startBytes;
    return run;
}

void busyHour(int years)
{
    BusyRun best;
    BusyRun untold;
    for (int round = 0; round < 3; ++round) {
        Folders folders;
        const BusyRun run = runBusy(folders, 3600, true, years);
        if (round == 0 || run.flushSeconds < best.flushSeconds)
            best = run;
        Folders otherFolders;
        const BusyRun reference = runBusy(otherFolders, 3600, false, years);
        if (round == 0 || reference.flushSeconds < untold.flushSeconds)
            untold = reference;
    }
    std::printf("busy hour on a %d-year record: %d flushes, journal %.1f KiB per hour (%.2f MiB per 8-hour day)\n",
                years, best.flushes, double(best.journalBytes) / 1024.0, double(best.journalBytes) * 8 / 1048576.0);
    std::printf("  journal CPU %.1f ms per hour = %.4f %% of one core; ticks (the program itself) %.1f ms per hour; "
                "journal / ticks = %.3f\n",
                best.flushSeconds * 1000, best.flushSeconds / 3600 * 100, best.tickSeconds * 1000,
                best.flushSeconds / best.tickSeconds);
    std::printf("  journal CPU without the sampler's windows (every window of an application that moved) %.1f ms per "
                "hour; told / untold = %.3f\n",
                untold.flushSeconds * 1000, best.flushSeconds / untold.flushSeconds);
}

// The start of the program on an N-year record and its first journal flush 5 s later: the main
// thread's CPU time. `continued`: the record loaded serves as the last full save (else the tree
// is saved whole at the first flush, as before).
struct StartFigures {
    double load = 0;   // loading and the ticks up to the first flush
    double firstFlush = 0;   // the first flush 5 s later
    double resident = 0;
};

StartFigures measureStart(int scale, bool continued)
{
    Folders folders;
    const VXHeavyConfigurationParameters parameters = yearsOf(scale);
    BusyProgram program(folders, parameters);
    VXVirtualScheduler &time = program.time;
    VXMainController &controller = *program.controller;
    StartFigures figures;
    double before = threadSeconds();
    controller.applicationWillFinishLaunching();
    controller.applicationDidFinishLaunching({}, {});
    if (!continued)
        controller.journal().noteTreeReplaced();
    time.advanceTo(kStart + VXJournal::kFlushInterval - 0.25);
    figures.load = threadSeconds() - before;
    before = threadSeconds();
    controller.journal().flush();
    figures.firstFlush = threadSeconds() - before;
    controller.store().waitForPendingWrites();
    malloc_trim(0);
    figures.resident = residentMiB();
    return figures;
}

void startUp(int years)
{
    for (int scale : {1, years}) {
        StartFigures continued;
        StartFigures whole;
        continued.firstFlush = whole.firstFlush = 1e9;
        for (int round = 0; round < 2; ++round) {
            const StartFigures a = measureStart(scale, true);
            const StartFigures b = measureStart(scale, false);
            if (a.firstFlush < continued.firstFlush)
                continued = a;
            if (b.firstFlush < whole.firstFlush)
                whole = b;
        }
        std::printf("%d-year record, start: main thread %.0f ms loading and ticking (%.0f ms when saved whole after), "
                    "first flush 5 s later %.1f ms continuing the record loaded, %.1f ms saving it whole (ratio "
                    "%.3f); resident after it %.0f and %.0f MiB (best of 2)\n",
                    scale, continued.load * 1000, whole.load * 1000, continued.firstFlush * 1000,
                    whole.firstFlush * 1000, continued.firstFlush / whole.firstFlush, continued.resident,
                    whole.resident);
    }
}

void dayReplay(int years)
{
    Folders folders;
    runBusy(folders, 8 * 3600, true, years);
    QFile recordFile(folders.record());
    QFile journalFile(folders.journal());
    recordFile.open(QIODevice::ReadOnly);
    journalFile.open(QIODevice::ReadOnly);
    const QByteArray record = recordFile.readAll();
    const QByteArray journal = journalFile.readAll();
    // The record's checksum, which the journal's header must match: taken at start on the
    // writer thread while the main thread decodes the record, so it is timed apart.
    QByteArray recordHeader;
    double checksum = 1e9;
    for (int round = 0; round < 3; ++round) {
        const double before = threadSeconds();
        recordHeader = VXJournalFile::header(record);
        checksum = std::min(checksum, threadSeconds() - before);
    }
    double best = 1e9;
    double closing = 1e9;   // of it, the periods closed (a walk over every item of the record)
    std::size_t entries = 0;
    for (int round = 0; round < 3; ++round) {
        VXDictionaryRef tree = deeplyMutableDictionaryWithData(record);
        const double before = threadSeconds();
        const VXJournalFile::Contents contents = VXJournalFile::readContinuing(journal, recordHeader);
        VXJournalReplay replay(*tree);
        for (const QByteArray &entry : contents.entries)
            replay.apply(entry);
        const double replayed = threadSeconds();
        VXCloseOpenPeriods(*tree);
        const double after = threadSeconds();
        if (after - before < best) {
            best = after - before;
            closing = after - replayed;
        }
        entries = contents.entries.size();
    }
    // The start-up as a whole: read, replay, and the save of the recovered record (the main
    // thread's part, then until the writer thread has it on the disk).
    VXUserDefaults defaults;
    VXVirtualScheduler time(kStart);
    VXDictionaryRef live;
    VXConfigurationStore store(defaults, time, [&live] { return live; });
    const double before = wallSeconds();
    live = store.loadConfiguration();
    store.continueLoadedRecord();
    const double load = wallSeconds() - before;
    store.waitForPendingWrites();
    const double saved = wallSeconds() - before;
    std::printf("a day's journal (%.1f KiB, %zu entries): replay %.1f ms (CPU, best of 3; "
                "of it %.1f ms closing the open periods; the record's checksum beside the decoding "
                "%.1f ms); start-up with it (read, replay) %.0f ms wall on the main thread, the recovered "
                "record on the disk after %.0f ms, recovered %.0f s\n",
                double(journal.size()) / 1024.0, entries, best * 1000, closing * 1000, checksum * 1000, load * 1000,
                saved * 1000, store.recoveredSeconds());
}

struct SaveFigures {
    double first = 0;   // main-thread CPU of the first save after start (nothing to share with yet)
    double later = 1e9;   // of a half-hourly save, best of 3
    double worst = 0;   // and worst of 3 (the journal's first entry after start marks what moved)
    double residentAtStart = 0;
    double residentBefore = 0;   // with the first save's snapshot kept
    double residentAfter = 0;   // after three more saves
};

// The half-hourly save of `live`, with the journal that tells what moved since the last save
// or without it (every value of the tree compared: the reference).
SaveFigures measureSaves(const VXDictionaryRef &live, bool withJournal)
{
    Folders folders;
    QDir().mkpath(folders.folder());
    VXUserDefaults defaults;
    VXVirtualScheduler time(kStart);
    VXConfigurationStore store(defaults, time, [&] { return live; });
    std::unique_ptr<VXJournal> journal;
    if (withJournal) {
        journal = std::make_unique<VXJournal>(time, store, [&] { return live; });
        store.setJournal(journal.get());
    }
    SaveFigures figures;
    malloc_trim(0);
    figures.residentAtStart = residentMiB();
    figures.first = threadSeconds();
    store.writeWhole();
    figures.first = threadSeconds() - figures.first;
    store.waitForPendingWrites();
    malloc_trim(0);
    figures.residentBefore = residentMiB();
    VXArray *log = nullptr;
    for (const auto &entry : *live->value(VXApplicationsKey).dictionary()) {
        if ((log = entry.value.dictionary()->value(VXActiveLogKey).array()))
            break;
    }
    // The application with the most windows, and one of them in front (the busy case: the
    // heaviest table and list hold a window that changed).
    VXDictionary *heaviest = nullptr;
    for (const auto &entry : *live->value(VXApplicationsKey).dictionary()) {
        const VXDictionary *windows = entry.value.dictionary()->value(VXWindowsByNameKey).dictionary();
        const VXDictionary *most = heaviest ? heaviest->value(VXWindowsByNameKey).dictionary() : nullptr;
        if (windows && (!most || windows->size() > most->size()))
            heaviest = entry.value.dictionary();
    }
    for (int round = 0; round < 3; ++round) {
        // Half an hour's worth of change (a log grows, the totals move, a window of the heaviest
        // application gains front time and moves to the top of its list, as the sampler sorts
        // it, and the sampler names it), then the half-hourly save's main-thread part.
        live->insert(VXLastTimestampKey, kStart + round);
        if (log)
            log->append(kStart + round);
        if (heaviest) {
            const VXDictionary &windows = *heaviest->value(VXWindowsByNameKey).dictionary();
            const VXDictionary::Entry &front = windows.entries()[windows.size() / 2];
            VXDictionary &window = *front.value.dictionary();
            window.insert(VXFrontTimeKey, window.value(VXFrontTimeKey).toDouble() + 1800);
            VXArrayRef list = VXMakeArray();
            list->reserve(windows.size());
            list->append(front.value);
            for (const VXValue &child : *heaviest->value(VXChildrenKey).array()) {
                if (child.dictionary() != &window)
                    list->append(child);
            }
            heaviest->insert(VXChildrenKey, std::move(list));
            if (journal) {
                VXTickWindows tick;
                tick.windows.push_back({heaviest, front.key, &window});
                journal->noteTick(&tick);
            }
        }
        store.noteChange();
        const double before = threadSeconds();
        store.save(nullptr);
        const double seconds = threadSeconds() - before;
        figures.later = std::min(figures.later, seconds);
        figures.worst = std::max(figures.worst, seconds);
        store.waitForPendingWrites();
    }
    malloc_trim(0);
    figures.residentAfter = residentMiB();
    store.setJournal(nullptr);
    return figures;
}

void savePause(int years)
{
    for (int scale : {1, years}) {
        const VXHeavyConfigurationParameters parameters = yearsOf(scale);
        const VXDictionaryRef live = VXMakeHeavyConfiguration(parameters);
        const SaveFigures whole = measureSaves(live, false);
        const SaveFigures told = measureSaves(live, true);
        std::printf("%d-year record (%d windows, %lld log numbers): main thread during a half-hourly save %.1f ms "
                    "told by the journal what moved, %.1f ms comparing the whole tree (ratio %.3f; best of 3; worst "
                    "%.1f and %.1f ms; the first save after start %.1f ms)\n",
                    scale, parameters.windowCount, static_cast<long long>(parameters.eventLogNumbers),
                    told.later * 1000, whole.later * 1000, told.later / whole.later, told.worst * 1000,
                    whole.worst * 1000, told.first * 1000);
        for (const SaveFigures *figures : {&told, &whole}) {
            std::printf("  %s: resident %.0f MiB at start, %.0f MiB with the saved snapshot kept, %.0f MiB after "
                        "three more saves\n",
                        figures == &told ? "told" : "whole", figures->residentAtStart, figures->residentBefore,
                        figures->residentAfter);
        }
    }
}

// The saves that follow a change of the tree as a whole, on an N-year record through the real
// controller on the busy desktop: the main thread's part of the first save (the journal's flush,
// which saves whole) after a timer reset of one window of the heaviest application, an undo, a
// redo, a reset of the pool timers and an import; of the half-hourly save after a change of the
// sort column; and the best and worst of a day's half-hourly saves (one of them compares the
// heaviest application value for value, the round that catches changes no one reported).
void firstSaves(int scale, const QStringList &rows = {}, int sortChanges = 1)
{
    Folders folders;
    const VXHeavyConfigurationParameters parameters = yearsOf(scale);
    BusyProgram program(folders, parameters);
    // Dormant applications keep their lists of windows (the heaviest one's is re-sorted).
    program.defaults.setBool(true, VXShowInactiveApplicationItemsKey);
    VXVirtualScheduler &time = program.time;
    VXMainController &controller = *program.controller;
    VXConfigurationStore &store = controller.store();
    controller.applicationWillFinishLaunching();
    controller.applicationDidFinishLaunching({}, {});
    double at = kStart + VXJournal::kFlushInterval;
    time.advanceTo(at);
    store.waitForPendingWrites();
    const auto ticks = [&](double seconds) {
        at += seconds;
        time.advanceTo(at);
    };
    // `profiled`: with perf told to record the save's main-thread part alone (not the writer's
    // after it).
    const auto measured = [&](const std::function<void()> &save, bool profiled = false) {
        if (profiled)
            perfControl("enable");
        const double before = threadSeconds();
        save();
        const double seconds = threadSeconds() - before;
        if (profiled)
            perfControl("disable");
        store.waitForPendingWrites();
        return seconds * 1000;
    };
    // With rows named, their saves alone are profiled, and the run ends after the last of them.
    QStringList rowsLeft = rows;
    bool rowDone = false;
    const auto profiled = [&](const QString &row, const std::function<void()> &save) {
        if (!rows.contains(row))
            return measured(save);
        rowsLeft.removeAll(row);
        const double start = wallSeconds();
        const double seconds = measured(save, true);
        std::printf("%s: main thread of the save %.1f ms (monotonic clock %.6f to %.6f s)\n", qPrintable(row), seconds,
                    start, wallSeconds());
        rowDone = !rows.isEmpty() && rowsLeft.isEmpty();
        return seconds;
    };
    const auto flush = [&](const QString &row) { return profiled(row, [&] { controller.journal().flush(); }); };
    const auto halfHourly = [&](const QString &row = {}) { return profiled(row, [&] { store.save(nullptr); }); };

    const VXDictionary *applications = controller.configuration()->value(VXApplicationsKey).dictionary();
    VXDictionaryRef heaviest;
    for (const auto &entry : *applications) {
        const VXDictionary *windows = entry.value.dictionary()->value(VXWindowsByNameKey).dictionary();
        const VXDictionary *most = heaviest ? heaviest->value(VXWindowsByNameKey).dictionary() : nullptr;
        if (windows && (!most || windows->size() > most->size()))
            heaviest = entry.value.dictionaryRef();
    }
    const VXDictionary &windows = *heaviest->value(VXWindowsByNameKey).dictionary();
    const VXDictionaryRef window = windows.entries()[windows.size() / 2].value.dictionaryRef();

    ticks(1);
    const double firstAfterStart = halfHourly(QStringLiteral("first"));
    if (rowDone)
        return;
    ticks(1);
    const double reference = halfHourly();
    const std::size_t windowMarks = controller.journal().windowMarks();
    // The actions themselves (the undo state taken and saved, the tree restored, the forced tick)
    // are given apart from the saves that follow them.
    const double itemReset = measured([&] { controller.resets().resetTimerViaMenuItem(window); });
    const double afterItemReset = flush(QStringLiteral("item-reset"));
    if (rowDone)
        return;
    const double undo = measured([&] { controller.undo(nullptr); });
    const double afterUndo = flush(QStringLiteral("undo"));
    if (rowDone)
        return;
    const double redo = measured([&] { controller.redo(nullptr); });
    const double afterRedo = flush(QStringLiteral("redo"));
    if (rowDone)
        return;
    const double poolReset = measured([&] { controller.resets().resetApplicationTimers(false, true, true, false); });
    const double afterPoolReset = flush(QStringLiteral("pool-reset"));
    if (rowDone)
        return;
    ticks(1);
    halfHourly();
    // One save is at the mercy of the machine's load: with `sortChanges`, the column changes back
    // and forth that many times (each change re-sorts every list), and the median is given.
    std::vector<double> sorts;
    // (Each change comes a while after the last save, as the user's would: the journal has
    // flushed in between.)
    for (int i = 0; i < std::max(sortChanges, 1); ++i) {
        ticks(VXJournal::kFlushInterval + 1);
        controller.setSortColumn(controller.sortColumn() == 0 ? 2 : 0);
        ticks(1);
        sorts.push_back(halfHourly(QStringLiteral("sort")));
    }
    std::vector<double> sorted = sorts;
    std::sort(sorted.begin(), sorted.end());
    const double afterSort = sorted[sorted.size() / 2];
    if (sorts.size() > 1)
        std::printf("sort, %zu changes: best %.1f ms, median %.1f ms, worst %.1f ms\n", sorts.size(), sorted.front(),
                    afterSort, sorted.back());
    if (rowDone)
        return;
    // As the program meets a sort change: the journal's next flush finds every list sorted anew,
    // which an entry cannot say, and saves the tree whole.
    std::vector<double> sortFlushes;
    std::vector<double> sortActions;
    for (int i = 0; i < std::max(sortChanges, 1); ++i) {
        ticks(VXJournal::kFlushInterval + 1);
        sortActions.push_back(measured([&] { controller.setSortColumn(controller.sortColumn() == 0 ? 2 : 0); }));
        ticks(1);
        sortFlushes.push_back(flush(QStringLiteral("sort-flush")));
    }
    std::sort(sortActions.begin(), sortActions.end());
    std::sort(sortFlushes.begin(), sortFlushes.end());
    std::printf("sort, %zu changes, the flush that follows (saving whole): best %.1f ms, median %.1f ms, worst "
                "%.1f ms\n",
                sortFlushes.size(), sortFlushes.front(), sortFlushes[sortFlushes.size() / 2], sortFlushes.back());
    std::printf("  the sort changes themselves (the forced tick that sorts every list): best %.1f ms, median %.1f "
                "ms, worst %.1f ms\n",
                sortActions.front(), sortActions[sortActions.size() / 2], sortActions.back());
    if (rowDone)
        return;
    // A day of saves, each after a flush of the journal (which compares the windows of the
    // save's slice ahead of it), as between two half-hourly saves.
    double best = 1e9;
    double worst = 0;
    double flushBest = 1e9;
    double flushWorst = 0;
    for (std::uint64_t round = 0; round < VXJournal::kVerifyRounds; ++round) {
        ticks(1);
        const double flushed = flush(QStringLiteral("day-flush"));
        flushBest = std::min(flushBest, flushed);
        flushWorst = std::max(flushWorst, flushed);
        ticks(1);
        const double seconds = halfHourly(QStringLiteral("day"));
        best = std::min(best, seconds);
        worst = std::max(worst, seconds);
    }
    std::printf("a day of half-hourly saves, the flushes before them: best %.1f ms, worst %.1f ms\n", flushBest,
                flushWorst);
    if (rowDone)
        return;
    QFile record(folders.record());
    record.open(QIODevice::ReadOnly);
    VXValue twin;
    VXDictionaryRef imported = VXBinaryPropertyListReader::read(record.readAll(), &twin).dictionaryRef();
    record.close();
    bool importSaved = false;
    const double import = measured([&] {
        controller.importConfiguration(std::move(imported), twin.dictionaryRef(),
                                       [&](bool written) { importSaved = written; });
    });
    if (!importSaved)
        std::printf("the import was not saved\n");
    ticks(1);
    const double afterImport = flush({});
    std::printf("%d-year record, main thread of the save (ms): half-hourly %.1f; first after a window's timer "
                "reset %.1f, an undo %.1f, a redo %.1f, a pool timers reset %.1f; half-hourly after a sort change "
                "%.1f; a day of half-hourly saves best %.1f worst %.1f; an import's own save %.1f, the first "
                "save after it %.1f\n",
                scale, reference, afterItemReset, afterUndo, afterRedo, afterPoolReset, afterSort, best, worst, import,
                afterImport);
    std::printf("  the first half-hourly save after start %.1f ms\n", firstAfterStart);
    std::printf("  windows the journal follows after the first saves: %zu\n", windowMarks);
    std::printf("  the actions themselves (ms): a window's timer reset %.1f, the undo %.1f, the redo %.1f, the pool "
                "timers reset %.1f\n",
                itemReset, undo, redo, poolReset);
}

}   // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    int years = 10;
    const QStringList arguments = application.arguments();
    if (const qsizetype at = arguments.indexOf(QStringLiteral("--years")); at > 0 && at + 1 < arguments.size())
        years = arguments[at + 1].toInt();
    std::printf("load average: %s\n", loadAverage().constData());
    if (arguments.contains(QStringLiteral("--first-saves-only"))) {
        const qsizetype rows = arguments.indexOf(QStringLiteral("--rows"));
        const qsizetype changes = arguments.indexOf(QStringLiteral("--sort-changes"));
        firstSaves(years, rows > 0 && rows + 1 < arguments.size() ? arguments[rows + 1].split(u',') : QStringList(),
                   changes > 0 && changes + 1 < arguments.size() ? arguments[changes + 1].toInt() : 1);
        return 0;
    }
    // (The journal's figures on a heavy year, or on N years with --journal-only.)
    if (arguments.contains(QStringLiteral("--journal-only"))) {
        busyHour(years);
        dayReplay(years);
        return 0;
    }
    if (!arguments.contains(QStringLiteral("--saves-only"))) {
        busyHour(1);
        dayReplay(1);
    }
    if (!arguments.contains(QStringLiteral("--without-start")))
        startUp(years);
    if (!arguments.contains(QStringLiteral("--without-first-saves"))) {
        for (int scale : {1, years})
            firstSaves(scale);
    }
    savePause(years);
    std::printf("load average: %s\n", loadAverage().constData());
    return 0;
}
