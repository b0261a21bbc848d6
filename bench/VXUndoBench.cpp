// Undo on a heavy year's tree (about 300 applications, 20,000 window items, 50 pools, 2 million
// event-log numbers): what every user action costs before it changes anything, and what the
// history holds.
//
// Between two pushes a tick has changed a little of the tree (one event log grows, "Last
// Timestamp" moves), as in real use.
//
//   BM_UndoPush         one push as the user's action waits for it: the state taken (a snapshot
//                       sharing what did not change) and handed to the writer thread
//   BM_UndoPushWritten  the same until the writer thread has encoded the state as a binary
//                       property list and written it to a real file (atomically, with fsync)
//   BM_Undo             one undo: the current tree kept for redo, the state copied back into a
//                       mutable tree, the old tree released
//   BM_Encode           reference: encoding the tree as a binary property list
//   BM_Save             reference: the atomic write of the encoded tree alone
//   BM_DeepCopy         reference: one deep copy of the tree in memory
//
// After the timings the program prints: the figures above as ratios to the deep copy; Python's
// plistlib dumping and loading the same tree in binary form (timed inside Python, best of 3);
// and the memory held by 100 undo states (the resident size they add) against the resident size
// of the tree itself and against 100 encoded states.

#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXHeavyConfiguration.h"
#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXUndoHistory.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>

namespace {

std::size_t residentBytes()
{
    long pages = 0;
    long resident = 0;
    if (std::FILE *statm = std::fopen("/proc/self/statm", "r")) {
        if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2)
            resident = 0;
        std::fclose(statm);
    }
    return std::size_t(resident) * std::size_t(::sysconf(_SC_PAGESIZE));
}

struct Workload {
    QTemporaryDir folder;
    std::unique_ptr<VXUserDefaults> defaults;
    VXVirtualScheduler time {1'700'000'000.0};
    VXDictionaryRef tree;
    std::size_t treeResidentBytes = 0;
    QByteArray state;
    std::unique_ptr<VXConfigurationStore> store;
    std::unique_ptr<VXUndoHistory> history;
    VXArray *growingLog = nullptr;
    double now = 0.0;

    Workload()
    {
        qputenv("XDG_DATA_HOME", QFile::encodeName(folder.path()));
        defaults = std::make_unique<VXUserDefaults>(QStringLiteral("org.example.WendleBench"), folder.path());
        VXRegisterDefaults(*defaults);
        malloc_trim(0);
        const std::size_t before = residentBytes();
        tree = VXMakeHeavyConfiguration();
        treeResidentBytes = residentBytes() - before;
        state = *propertyListData(VXValue(tree));
        store = std::make_unique<VXConfigurationStore>(
            *defaults, time, [this] { return tree; }, nullptr);
        history = std::make_unique<VXUndoHistory>(
            time, *store, [this] { return tree; },
            [this](VXDictionaryRef replacement) { tree = std::move(replacement); });
        now = tree->value(VXLastTimestampKey).toDouble();
    }

    // What a tick does between two user actions: one application's log grows, the time moves.
    void tick()
    {
        if (!growingLog) {
            const VXDictionary &applications = *tree->value(VXApplicationsKey).dictionary();
            for (const VXDictionary::Entry &entry : applications) {
                if (VXArray *log
                    = entry.value.dictionary() ? entry.value.dictionary()->value(VXActiveLogKey).array() : nullptr) {
                    growingLog = log;
                    break;
                }
            }
        }
        now += 1.0;
        if (growingLog)
            growingLog->append(now);
        tree->insert(VXLastTimestampKey, now);
    }
};

Workload &workload()
{
    static Workload shared;
    return shared;
}

void BM_UndoPush(benchmark::State &state)
{
    Workload &w = workload();
    w.history->pushUndoStateAndClearRedoStatesAfterDelay();   // the first state has nothing to share
    w.store->waitForPendingWrites();
    for (auto _ : state) {
        state.PauseTiming();
        w.tick();
        state.ResumeTiming();
        w.history->pushUndoStateAndClearRedoStatesAfterDelay();
        state.PauseTiming();
        w.store->waitForPendingWrites();
        w.history->pushUndoState(std::nullopt);
        state.ResumeTiming();
    }
    state.counters["state MB"] = double(w.state.size()) / 1e6;
}
BENCHMARK(BM_UndoPush)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_UndoPushWritten(benchmark::State &state)
{
    Workload &w = workload();
    for (auto _ : state) {
        state.PauseTiming();
        w.tick();
        state.ResumeTiming();
        w.history->pushUndoStateAndClearRedoStatesAfterDelay();
        w.store->waitForPendingWrites();
        state.PauseTiming();
        w.history->pushUndoState(std::nullopt);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_UndoPushWritten)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_Undo(benchmark::State &state)
{
    Workload &w = workload();
    for (auto _ : state) {
        state.PauseTiming();
        w.tick();
        w.history->pushUndoStateAndClearRedoStatesAfterDelay();
        w.store->waitForPendingWrites();
        w.tick();
        w.growingLog = nullptr;   // the undo replaces the tree
        state.ResumeTiming();
        benchmark::DoNotOptimize(w.history->undo());
        state.PauseTiming();
        w.history->pushRedoState(std::nullopt);
        w.history->pushUndoState(std::nullopt);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_Undo)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_Encode(benchmark::State &state)
{
    Workload &w = workload();
    for (auto _ : state)
        benchmark::DoNotOptimize(propertyListData(VXValue(w.tree)));
}
BENCHMARK(BM_Encode)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_Save(benchmark::State &state)
{
    Workload &w = workload();
    const QString path = w.store->configurationPath();
    for (auto _ : state)
        benchmark::DoNotOptimize(writeDataToFile(w.state, path, true));
}
BENCHMARK(BM_Save)->Unit(benchmark::kMillisecond)->MinTime(3.0);

void BM_DeepCopy(benchmark::State &state)
{
    Workload &w = workload();
    for (auto _ : state)
        benchmark::DoNotOptimize(VXValue(w.tree).deepCopy());
}
BENCHMARK(BM_DeepCopy)->Unit(benchmark::kMillisecond)->MinTime(3.0);

// Keeps each benchmark's wall and main-thread CPU time per iteration, in milliseconds, for the
// ratios at the end. (On a shared machine the CPU time is the steadier figure; the writer
// thread's CPU time is not in it.)
class RatioReporter : public benchmark::ConsoleReporter
{
public:
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration && run.iterations > 0) {
                milliseconds[run.run_name.function_name] = run.GetAdjustedRealTime();
                cpuMilliseconds[run.run_name.function_name] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> milliseconds;
    std::map<std::string, double> cpuMilliseconds;
};

// plistlib's binary dump and load of the tree, in seconds (best of 3), or negative without Python.
std::pair<double, double> plistlibSeconds(const QByteArray &state)
{
    QTemporaryDir folder;
    const QString file = folder.path() + QStringLiteral("/tree.plist");
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(state) != state.size())
        return {-1, -1};
    out.close();
    QProcess python;
    python.start(
        QStringLiteral("/usr/bin/python3"),
        {QStringLiteral("-c"),
         QStringLiteral(
             "import plistlib, sys, time\n"
             "data = open(sys.argv[1], 'rb').read()\n"
             "tree = plistlib.loads(data)\n"
             "def best(f):\n"
             "    r = []\n"
             "    for _ in range(3):\n"
             "        t = time.perf_counter(); f(); r.append(time.perf_counter() - t)\n"
             "    return min(r)\n"
             "print(best(lambda: plistlib.dumps(tree, fmt=plistlib.FMT_BINARY)), best(lambda: plistlib.loads(data)))\n"),
         file});
    if (!python.waitForFinished(600000) || python.exitCode() != 0)
        return {-1, -1};
    const QList<QByteArray> figures = python.readAllStandardOutput().trimmed().split(' ');
    if (figures.size() != 2)
        return {-1, -1};
    return {figures[0].toDouble(), figures[1].toDouble()};
}

}   // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    Workload &w = workload();
    std::printf("heavy tree: %.1f MB resident, state %.1f MB encoded\n", double(w.treeResidentBytes) / 1e6,
                double(w.state.size()) / 1e6);

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double copy = reporter.milliseconds["BM_DeepCopy"];
    const double copyCPU = reporter.cpuMilliseconds["BM_DeepCopy"];
    if (copy > 0 && copyCPU > 0) {
        std::printf("\nper operation, and as a multiple of one deep copy (wall %.1f ms, main-thread CPU %.1f ms):\n",
                    copy, copyCPU);
        for (const char *name : {"BM_UndoPush", "BM_UndoPushWritten", "BM_Undo", "BM_Encode", "BM_Save"}) {
            const double ms = reporter.milliseconds[name];
            const double cpu = reporter.cpuMilliseconds[name];
            if (ms > 0)
                std::printf("  %-18s wall %8.1f ms %6.2f x   CPU %8.1f ms %6.2f x\n", name, ms, ms / copy, cpu,
                            cpu / copyCPU);
        }
    }

    if (reporter.milliseconds.contains("BM_Encode") || reporter.milliseconds.contains("BM_Undo")) {
        const auto [dump, load] = plistlibSeconds(w.state);
        if (dump > 0) {
            const double encode = reporter.milliseconds["BM_Encode"];
            std::printf("\nplistlib: dump %.0f ms, load %.0f ms", dump * 1e3, load * 1e3);
            if (encode > 0)
                std::printf("; encoding here takes %.3f of plistlib's dump", encode / (dump * 1e3));
            std::printf("\n");
        } else {
            std::printf("\nplistlib: not measured (no /usr/bin/python3 with plistlib)\n");
        }
    }

    // 100 states, a tick apart, as 100 user actions during a day would leave them.
    w.history->pushUndoState(std::nullopt);
    w.history->pushRedoState(std::nullopt);
    w.store->waitForPendingWrites();
    malloc_trim(0);
    const std::size_t before = residentBytes();
    VXUndoHistory hundred(
        w.time, *w.store, [&w] { return w.tree; }, [](VXDictionaryRef) {});
    for (int i = 0; i < 100; ++i) {
        w.tick();
        hundred.pushUndoStateAndClearRedoStatesAfterDelay();
    }
    w.store->waitForPendingWrites();
    malloc_trim(0);
    const std::size_t added = residentBytes() > before ? residentBytes() - before : 0;
    std::printf("\n100 undo states: %.1f MB resident added; the tree itself %.1f MB (states / tree: %.3f); "
                "100 encoded states would hold %.1f MB (states / encoded: %.4f)\n",
                double(added) / 1e6, double(w.treeResidentBytes) / 1e6, double(added) / double(w.treeResidentBytes),
                100.0 * double(w.state.size()) / 1e6, double(added) / (100.0 * double(w.state.size())));
    benchmark::Shutdown();
    return 0;
}
