// The CSV export and the snapshot import of a heavy year, in one run against Python's csv
// module reading the same file:
//
//   - the whole export (collecting, sorting and writing every period, atomically), target < 2 s;
//   - the import of the written file into a snapshot tree, target >= 5 x faster than Python's
//     csv.reader merely reading its rows;
//   - the event loop during an import through VXReportSnapshotManager: a 10 ms timer keeps
//     ticking (the longest gap between two ticks is reported).
//
//     bench_export [--intervals N] [--folder DIR] [--python PYTHON] [--runs N]

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXHeavyConfiguration.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotParser.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

#include <ctime>

#include <sys/resource.h>

namespace {

// Wall-clock and processor time (all threads of the process) of some work. The machine is
// shared, so both are reported: the processor time is the steadier figure.
struct Times {
    double wall = 1e300;
    double cpu = 1e300;
};

double processSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// The best of `runs`; `prepare` runs before each, outside the timing.
Times best(int runs, const std::function<void()> &work, const std::function<void()> &prepare = {})
{
    Times fastest;
    for (int i = 0; i < runs; ++i) {
        if (prepare)
            prepare();
        QElapsedTimer timer;
        const double cpu = processSeconds();
        timer.start();
        work();
        fastest.wall = std::min(fastest.wall, static_cast<double>(timer.nsecsElapsed()) / 1e9);
        fastest.cpu = std::min(fastest.cpu, processSeconds() - cpu);
    }
    return fastest;
}

long peakResidentMegabytes()
{
    struct rusage usage {
    };
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss / 1024;
}

std::size_t countIntervals(const VXDictionary &node)
{
    std::size_t count = 0;
    for (const QString &key : {VXFrontActiveLogKey, VXActiveLogKey}) {
        if (const VXArray *log = node.value(key).array())
            count += log->size() / 2;
    }
    if (const VXDictionary *children = node.value(VXChildrenKey).dictionary()) {
        for (const VXDictionary::Entry &child : *children) {
            if (const VXDictionary *dictionary = child.value.dictionary())
                count += countIntervals(*dictionary);
        }
    }
    return count;
}

// Python's csv module on the same file: its rows only, and its rows with the times read as
// floats and filed by name (what the import does).
constexpr char kPythonReader[] = R"PY(
import csv, sys, time
path, mode = sys.argv[1], sys.argv[2]
start = time.perf_counter()
cpu = time.process_time()
rows = 0
if mode == "rows":
    with open(path, newline="", encoding="utf-8") as f:
        for row in csv.reader(f):
            rows += 1
else:
    tree = {}
    with open(path, newline="", encoding="utf-8") as f:
        reader = csv.reader(f)
        header = next(reader)
        index = {name: i for i, name in enumerate(header)}
        fb, fe = index["Foreground Begin (Unix Time)"], index["Foreground End (Unix Time)"]
        tb, te = index["Total Begin (Unix Time)"], index["Total End (Unix Time)"]
        p, a, w = index["Pool"], index["Application"], index["Window"]
        for row in reader:
            rows += 1
            logs = tree.setdefault((row[p], row[a], row[w]), ([], []))
            for (b, e, log) in ((fb, fe, logs[0]), (tb, te, logs[1])):
                begin, end = float(row[b]), float(row[e])
                if begin > 0.001 and end - begin > 0.001:
                    log.append(begin)
                    log.append(-end)
print(rows, time.perf_counter() - start, time.process_time() - cpu)
)PY";

// Best of `runs` of the Python reader: its own timing of the reading, without its start-up.
bool pythonTimes(const QString &python, const QString &path, const char *mode, int runs, Times *fastest, qint64 *rows)
{
    *fastest = Times();
    for (int i = 0; i < runs; ++i) {
        QProcess process;
        process.start(python,
                      {QStringLiteral("-c"), QString::fromLatin1(kPythonReader), path, QString::fromLatin1(mode)});
        if (!process.waitForFinished(600000) || process.exitCode() != 0) {
            std::fprintf(stderr, "python failed: %s\n", process.readAllStandardError().constData());
            return false;
        }
        const QList<QByteArray> answer = process.readAllStandardOutput().trimmed().split(' ');
        if (answer.size() != 3)
            return false;
        *rows = answer[0].toLongLong();
        fastest->wall = std::min(fastest->wall, answer[1].toDouble());
        fastest->cpu = std::min(fastest->cpu, answer[2].toDouble());
    }
    return true;
}

}   // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QLocale::setDefault(QLocale::c());
    qint64 intervals = 2'000'000;
    QString folderPath;
    QString python = QStringLiteral("/usr/bin/python3");
    int runs = 3;
    const QStringList arguments = QCoreApplication::arguments();
    for (int i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == QStringLiteral("--intervals"))
            intervals = arguments[i + 1].toLongLong();
        else if (arguments[i] == QStringLiteral("--folder"))
            folderPath = arguments[i + 1];
        else if (arguments[i] == QStringLiteral("--python"))
            python = arguments[i + 1];
        else if (arguments[i] == QStringLiteral("--runs"))
            runs = std::max(1, arguments[i + 1].toInt());
    }
    QTemporaryDir temporary;
    if (folderPath.isEmpty())
        folderPath = temporary.path();
    const QString path = folderPath + QStringLiteral("/heavy-year.csv");

    // A heavy year: two numbers per interval.
    VXHeavyConfigurationParameters parameters;
    parameters.eventLogNumbers = intervals * 2;
    VXHeavyConfigurationSummary summary;
    const VXDictionaryRef configuration = VXMakeHeavyConfiguration(parameters, &summary);
    std::printf("tree: %d applications, %d windows, %d pools, %lld event-log numbers\n", summary.applications,
                summary.windows, summary.pools, static_cast<long long>(summary.eventLogNumbers));

    // Every column, so that every period of the year is a row.
    VXExportSettings settings;
    settings.pool = settings.poolNotes = settings.application = settings.window = settings.front = settings.total
        = true;
    const double begin = parameters.firstTimestamp - 1;
    const double end = parameters.firstTimestamp + parameters.span + 1;

    VXSnapshotLines lines;
    QByteArray data;
    const Times collect = best(
        runs, [&] { lines = snapshotLinesBetweenTimestamp(*configuration, begin, end, settings, nullptr); },
        [&] { lines = {}; });
    const Times format = best(
        runs, [&] { data = CSVDataWithSnapshotLines(lines, settings); }, [&] { data.clear(); });
    bool written = false;
    const Times whole = best(
        runs, [&] { written = exportCSVWithBeginTimestamp(configuration.get(), begin, end, path, settings, nullptr); });
    if (!written) {
        std::fprintf(stderr, "the export failed\n");
        return 1;
    }
    std::printf("export: %zu rows, %.1f MB\n", lines.lines.size(), static_cast<double>(QFileInfo(path).size()) / 1e6);
    std::printf("  collect and sort %.3f s (cpu %.3f s), format %.3f s (cpu %.3f s)\n", collect.wall, collect.cpu,
                format.wall, format.cpu);
    std::printf("  whole export to the file, atomically: %.3f s (cpu %.3f s); target < 2 s: %s\n", whole.wall,
                whole.cpu, whole.wall < 2.0 ? "met" : "MISSED");

    // The import, called from this thread.
    VXDictionaryRef snapshot;
    const Times import = best(
        runs, [&] { snapshot = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(path, u','); },
        [&] { snapshot.reset(); });
    if (!snapshot) {
        std::fprintf(stderr, "the import failed\n");
        return 1;
    }
    const std::size_t imported = countIntervals(*snapshot);
    std::printf("import: %zu intervals in %.3f s (cpu %.3f s, all threads); peak resident %ld MB\n", imported,
                import.wall, import.cpu, peakResidentMegabytes());
    if (imported != lines.lines.size())
        std::printf("  (the import holds %zu intervals, the export wrote %zu rows)\n", imported, lines.lines.size());

    Times pythonRows;
    Times pythonTree;
    qint64 rowsRead = 0;
    qint64 rowsFiled = 0;
    if (QFileInfo(python).isExecutable() && pythonTimes(python, path, "rows", runs, &pythonRows, &rowsRead)
        && pythonTimes(python, path, "tree", 1, &pythonTree, &rowsFiled)) {
        std::printf("python csv.reader, rows only: %lld rows in %.3f s (cpu %.3f s)\n",
                    static_cast<long long>(rowsRead), pythonRows.wall, pythonRows.cpu);
        std::printf("  import faster by %.1f x in wall time, %.1f x in processor time; target >= 5 x: %s\n",
                    pythonRows.wall / import.wall, pythonRows.cpu / import.cpu,
                    pythonRows.wall / import.wall >= 5 ? "met" : "MISSED");
        std::printf("python csv.reader, rows read as floats and filed by name: %.3f s (cpu %.3f s); import faster by "
                    "%.1f x (wall), %.1f x (cpu)\n",
                    pythonTree.wall, pythonTree.cpu, pythonTree.wall / import.wall, pythonTree.cpu / import.cpu);
    } else {
        std::printf("python: not run (no %s)\n", qPrintable(python));
    }
    snapshot.reset();

    // The event loop while the snapshot manager reads the file on a worker.
    VXReportSnapshotManager manager;
    bool done = false;
    QObject::connect(&manager, &VXReportSnapshotManager::reportSnapshotShown, [&] { done = true; });
    QElapsedTimer clock;
    qint64 last = 0;
    qint64 longest = 0;
    int ticks = 0;
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = std::max(longest, now - last);
        last = now;
        ++ticks;
    });
    QObject::connect(&manager, &VXReportSnapshotManager::reportSnapshotShown, &application, [&] {
        const qint64 now = clock.nsecsElapsed();
        longest = std::max(longest, now - last);
        timer.stop();
        QCoreApplication::quit();
    });
    clock.start();
    timer.start(10);
    manager.showReportSnapshotFromCSVFile(path, QStringLiteral(","));
    QCoreApplication::exec();
    const double parse = static_cast<double>(clock.nsecsElapsed()) / 1e9;
    std::printf("event loop during a background import of %.3f s: %d ticks of a 10 ms timer (%.0f expected), "
                "longest gap %.1f ms\n",
                parse, ticks, parse * 100.0, static_cast<double>(longest) / 1e6);
    return done ? 0 : 1;
}
