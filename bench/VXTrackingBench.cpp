// The sampler tick on a heavy year's tree (about 300 applications, 20,000 window items, 50 pools
// of 5 members, 2 million event-log numbers) with 40 running applications and 150 open windows
// on the fake desktop: the tick that runs twice a second all day.
//
// Figures, each against references measured in the same run:
//   BM_Tick/steady        a scheduled tick on a steady desktop (the program's idle cost)
//   BM_Tick/forced        a forced tick, which walks every item of the tree
//   BM_Tick/controller    a scheduled tick as the controller runs it (settings, scheduling)
//   BM_Tick/inactive...   a tick with "Show Inactive Application Items" on
//   BM_EmptyTick          reference: a tick on an empty tree and an empty desktop
//   BM_DeepCopy           reference: one deep copy of the heavy tree
//   BM_SteadyMemory       100,000 steady ticks (after 1,000 to settle); heap in use and resident
//                         size before and after
//
// A record of several heavy years (VXHeavyConfigurationParametersForYears): --years N, first.
//
// Memory over time: bench_tracking --heap-probe[=ROUNDS] prints the heap in use and the resident
// size every 50,000 steady ticks.
//
// Instructions per tick: run under callgrind with a fixed count, collecting only inside
// runMeasured():
//   valgrind --tool=callgrind --toggle-collect='*runMeasured*' bench_tracking --callgrind=steady:1000
// and divide the total Ir by the count (also for forced, controller, empty and deepcopy).

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXFakeDesktop.h"
#include "VXHeavyConfiguration.h"
#include "VXMainController.h"
#include "VXRegisteredDefaults.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <benchmark/benchmark.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <string>

// Allocations through operator new, counted for the figure "allocations per tick".
static std::atomic<std::uint64_t> allocationCount {0};

void *operator new(std::size_t size)
{
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    if (void *p = std::malloc(size ? size : 1))
        return p;
    throw std::bad_alloc();
}
void operator delete(void *p) noexcept
{
    std::free(p);
}
void operator delete(void *p, std::size_t) noexcept
{
    std::free(p);
}

namespace {

constexpr int kRunningApplications = 40;
constexpr int kOpenWindows = 150;
constexpr double kInterval = 0.5;

// The heavy years the tree spans (--years).
int gYears = 1;

// The heavy tree, and a desktop on which 40 of its applications run with 150 of its windows
// open. The tree's application blacklist keeps its entries but the inverted one ("!Text*"),
// which would leave only a handful of applications to track.
struct Workload {
    VXDictionaryRef configuration;
    VXFakeDesktop desktop;
    double now = 0.0;
    VXHeavyConfigurationSummary summary;

    Workload()
    {
        const VXHeavyConfigurationParameters year;
        configuration = VXMakeHeavyConfiguration(
            VXHeavyConfigurationParametersForYears(gYears, year.firstTimestamp + year.span), &summary);
        now = configuration->value(VXLastTimestampKey).toDouble() + 60.0;

        VXArrayRef blacklist = VXMakeArray();
        for (const VXValue &entry : *configuration->value(VXApplicationBlacklistKey).array()) {
            if (!entry.stringRef().startsWith(u'!'))
                blacklist->append(entry);
        }
        configuration->insert(VXApplicationBlacklistKey, blacklist);

        // The applications with the most windows run (the generator gives the first ones most).
        const VXDictionary &applications = *configuration->value(VXApplicationsKey).dictionary();
        std::vector<const VXDictionary *> chosen;
        for (const VXDictionary::Entry &entry : applications) {
            if (chosen.size() == kRunningApplications)
                break;
            chosen.push_back(entry.value.dictionary());
        }
        std::int64_t pid = 2000;
        int windows = 0;
        for (std::size_t a = 0; a < chosen.size(); ++a, ++pid) {
            const VXDictionary &application = *chosen[a];
            const QString path = application.value(VXPathKey).toString();
            const QString id = application.value(VXApplicationIDKey).toString();
            desktop.launch(application.value(VXNameKey).toString(), path, id == path ? QString() : id, pid);
            // 150 windows over 40 applications: 4 each for the first 30, 3 for the rest.
            const int count = a < 30 ? 4 : 3;
            const VXDictionary &byName = *application.value(VXWindowsByNameKey).dictionary();
            for (int w = 0; w < count && w < int(byName.size()); ++w, ++windows)
                desktop.openWindow(pid, byName.entries()[std::size_t(w) * 7 % byName.size()].key);
        }
        desktop.activate(2000);
        if (windows != kOpenWindows)
            std::fprintf(stderr, "note: %d windows open instead of %d\n", windows, kOpenWindows);
    }
};

Workload &workload()
{
    static Workload shared;
    return shared;
}

struct SamplerRun {
    VXActivitySampler sampler;
    VXSamplerSettings settings;
    VXDesktopSnapshot snapshot;
    VXDictionaryRef configuration;
    double now;

    explicit SamplerRun(bool showInactiveApplicationItems = false)
    {
        Workload &shared = workload();
        configuration = VXValue(shared.configuration).deepCopy().dictionaryRef();
        now = shared.now;
        settings.showInactiveApplicationItems = showInactiveApplicationItems;
        // The first tick files the windows under their cut titles; a few more settle the record.
        for (int i = 0; i < 4; ++i)
            tick(i == 0);
    }

    void tick(bool fullWalk)
    {
        now += kInterval;
        workload().desktop.takeSnapshot(snapshot);
        sampler.sample(configuration, snapshot, now, settings, fullWalk);
    }
};

void BM_Tick(benchmark::State &state, bool fullWalk, bool showInactive)
{
    SamplerRun run(showInactive);
    for (auto _ : state)
        run.tick(fullWalk);
    state.counters["applications listed"] = double(run.sampler.applicationArray()->size());
    state.counters["pools listed"] = double(run.sampler.poolArray()->size());
}
BENCHMARK_CAPTURE(BM_Tick, steady, false, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Tick, forced, true, false)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(BM_Tick, inactiveApplicationItemsShown, false, true)->Unit(benchmark::kMicrosecond);

void BM_ControllerTick(benchmark::State &state)
{
    int argc = 1;
    char name[] = "bench_tracking";
    char *argv[] = {name, nullptr};
    static QCoreApplication *application = QCoreApplication::instance() ? nullptr : new QCoreApplication(argc, argv);
    Q_UNUSED(application);
    QTemporaryDir folder;
    VXUserDefaults defaults(QStringLiteral("org.example.WendleBench"), folder.path());
    VXRegisterDefaults(defaults);
    Workload &shared = workload();
    VXVirtualScheduler time(shared.now);
    VXMainController controller(shared.desktop, time, time, defaults);
    controller.setConfiguration(VXValue(shared.configuration).deepCopy().dictionaryRef());
    controller.updateLists(&controller);
    time.advanceBy(2.0);
    for (auto _ : state)
        time.advanceBy(kInterval);
}
BENCHMARK(BM_ControllerTick)->Unit(benchmark::kMicrosecond);

void BM_EmptyTick(benchmark::State &state)
{
    VXActivitySampler sampler;
    VXSamplerSettings settings;
    VXDesktopSnapshot snapshot;
    VXDictionaryRef configuration = VXMakeDictionary();
    double now = 1'750'000'000.0;
    for (auto _ : state)
        sampler.sample(configuration, snapshot, now += kInterval, settings, false);
}
BENCHMARK(BM_EmptyTick)->Unit(benchmark::kMicrosecond);

void BM_DeepCopy(benchmark::State &state)
{
    const VXValue tree(workload().configuration);
    for (auto _ : state) {
        VXValue copy = tree.deepCopy();
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_DeepCopy)->Unit(benchmark::kMillisecond);

std::size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

std::size_t residentBytes()
{
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly))
        return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.size() > 1 ? std::size_t(fields[1].toULongLong()) * std::size_t(sysconf(_SC_PAGESIZE)) : 0;
}

// Every value in the tree, containers included: a steady desktop must not grow the tree.
std::size_t countValues(const VXValue &value)
{
    std::size_t count = 1;
    if (const VXArray *array = value.array()) {
        for (const VXValue &item : *array)
            count += countValues(item);
    } else if (const VXDictionary *dictionary = value.dictionary()) {
        for (const VXDictionary::Entry &entry : *dictionary)
            count += countValues(entry.value);
    }
    return count;
}

// 100,000 ticks of a steady desktop: what the heap holds and what is resident must not grow.
void BM_SteadyMemory(benchmark::State &state)
{
    SamplerRun run;
    // Containers reach their working size in the first ticks; measure from there.
    for (int i = 0; i < 1000; ++i)
        run.tick(false);
    malloc_trim(0);
    const std::size_t heapBefore = heapInUse();
    const std::size_t residentBefore = residentBytes();
    for (auto _ : state)
        run.tick(false);
    malloc_trim(0);
    state.counters["heap before (MiB)"] = double(heapBefore) / (1 << 20);
    state.counters["heap growth (bytes)"] = double(std::int64_t(heapInUse()) - std::int64_t(heapBefore));
    state.counters["resident before (MiB)"] = double(residentBefore) / (1 << 20);
    state.counters["resident growth (KiB)"]
        = double(std::int64_t(residentBytes()) - std::int64_t(residentBefore)) / 1024;
}
BENCHMARK(BM_SteadyMemory)->Iterations(100000)->Unit(benchmark::kMicrosecond);

}   // namespace

// Kept out of line and named, so that callgrind can collect inside them alone.
__attribute__((noinline)) void runSteadyTicks(SamplerRun &run, int ticks)
{
    for (int i = 0; i < ticks; ++i)
        run.tick(false);
}

__attribute__((noinline)) void runMeasured(const std::function<void()> &work, int times)
{
    for (int i = 0; i < times; ++i)
        work();
}

// One of the measured operations, `times` times, for callgrind: "steady", "forced" (a tick that
// walks everything), "controller" (a scheduled tick through the controller), "empty" (a tick on
// an empty tree and desktop) or "deepcopy" (of the heavy tree).
int runForCallgrind(const char *what, int times)
{
    if (std::strcmp(what, "steady") == 0 || std::strcmp(what, "forced") == 0) {
        SamplerRun run;
        const bool forced = std::strcmp(what, "forced") == 0;
        const std::uint64_t allocationsBefore = allocationCount.load();
        runMeasured([&] { run.tick(forced); }, times);
        std::printf("%d %s ticks, %.1f allocations (operator new) per tick\n", times, what,
                    double(allocationCount.load() - allocationsBefore) / std::max(times, 1));
        return 0;
    }
    if (std::strcmp(what, "controller") == 0) {
        int argc = 1;
        char name[] = "bench_tracking";
        char *argv[] = {name, nullptr};
        QCoreApplication application(argc, argv);
        QTemporaryDir folder;
        VXUserDefaults defaults(QStringLiteral("org.example.WendleBench"), folder.path());
        VXRegisterDefaults(defaults);
        Workload &shared = workload();
        VXVirtualScheduler time(shared.now);
        VXMainController controller(shared.desktop, time, time, defaults);
        controller.setConfiguration(VXValue(shared.configuration).deepCopy().dictionaryRef());
        controller.updateLists(&controller);
        time.advanceBy(2.0);
        runMeasured([&] { time.advanceBy(kInterval); }, times);
        std::printf("%d controller ticks\n", times);
        return 0;
    }
    if (std::strcmp(what, "empty") == 0) {
        VXActivitySampler sampler;
        VXSamplerSettings settings;
        VXDesktopSnapshot snapshot;
        VXDictionaryRef configuration = VXMakeDictionary();
        double now = 1'750'000'000.0;
        runMeasured([&] { sampler.sample(configuration, snapshot, now += kInterval, settings, false); }, times);
        std::printf("%d empty ticks\n", times);
        return 0;
    }
    if (std::strcmp(what, "deepcopy") == 0) {
        const VXValue tree(workload().configuration);
        runMeasured([&] { benchmark::DoNotOptimize(tree.deepCopy()); }, times);
        std::printf("%d deep copies\n", times);
        return 0;
    }
    std::fprintf(stderr, "unknown operation %s\n", what);
    return 1;
}

int main(int argc, char **argv)
{
    if (argc > 2 && std::strcmp(argv[1], "--years") == 0) {
        gYears = std::max(1, std::atoi(argv[2]));
        argv[2] = argv[0];
        argv += 2;
        argc -= 2;
    }
    for (int i = 1; i < argc; ++i) {
        // --callgrind=steady:1000
        if (std::strncmp(argv[i], "--callgrind=", 12) == 0) {
            const char *what = argv[i] + 12;
            const char *colon = std::strchr(what, ':');
            const std::string operation(what, colon ? std::size_t(colon - what) : std::strlen(what));
            return runForCallgrind(operation.c_str(), colon ? std::atoi(colon + 1) : 100);
        }
    }
    if (argc > 1 && std::strncmp(argv[1], "--heap-probe", 12) == 0) {
        // Heap and resident size every 50,000 steady ticks: a leak shows as a steady climb.
        // --heap-probe=ROUNDS (6 when not given).
        const int rounds = argv[1][12] == '=' ? std::atoi(argv[1] + 13) : 6;
        SamplerRun run;
        for (int round = 1; round <= rounds; ++round) {
            runSteadyTicks(run, 50000);
            malloc_trim(0);
            std::printf("after %d ticks: heap in use %zu bytes, resident %zu KiB, %zu values in the tree\n",
                        round * 50000, heapInUse(), residentBytes() / 1024, countValues(VXValue(run.configuration)));
            std::fflush(stdout);
        }
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
