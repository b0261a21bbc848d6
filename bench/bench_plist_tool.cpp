// bench_plist_tool: the property-list codecs as a command, so that a script can time them
// against other tools on the same files.
//
//   bench_plist_tool generate OUT.plist [SCALE]   writes the heavy configuration in binary
//                                                 (SCALE divides its size, default 1)
//   bench_plist_tool generate OUT.plist --years N  writes a record of N heavy years instead
//   bench_plist_tool read IN [REPEAT]              decodes IN, mapped as the store maps a record,
//                                                 REPEAT times (default 5): each time, the best,
//                                                 and the peak resident size
//   bench_plist_tool convert IN OUT binary|xml     reads any form, writes the given form
//   bench_plist_tool roundtrip IN OUT              reads binary, writes binary
//
// Each prints the elapsed time of its phases to stderr ("read: 12.345 ms (user 9.1 ms, system
// 3.0 ms)"): file access is included, and system time shows what page faults and copies cost.

#include "VXHeavyConfiguration.h"
#include "VXPropertyListSerialization.h"

#include <QByteArray>
#include <QDateTime>
#include <QFile>
#include <QString>

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace {

using VXPropertyListSerialization::Format;

struct Stamp {
    std::chrono::steady_clock::time_point wall;
    double user = 0.0;   // ms
    double system = 0.0;   // ms

    static Stamp now()
    {
        Stamp stamp;
        stamp.wall = std::chrono::steady_clock::now();
        rusage usage {};
        if (getrusage(RUSAGE_SELF, &usage) == 0) {
            stamp.user = usage.ru_utime.tv_sec * 1e3 + usage.ru_utime.tv_usec / 1e3;
            stamp.system = usage.ru_stime.tv_sec * 1e3 + usage.ru_stime.tv_usec / 1e3;
        }
        return stamp;
    }
};

void reportPhase(const char *phase, const Stamp &since)
{
    const Stamp end = Stamp::now();
    const double ms = std::chrono::duration<double, std::milli>(end.wall - since.wall).count();
    std::fprintf(stderr, "%s: %.3f ms (user %.1f ms, system %.1f ms)\n", phase, ms, end.user - since.user,
                 end.system - since.system);
}

int usage()
{
    std::fprintf(stderr,
                 "usage: bench_plist_tool generate OUT.plist [SCALE | --years N]\n"
                 "       bench_plist_tool read IN [REPEAT]\n"
                 "       bench_plist_tool convert IN OUT binary|xml\n"
                 "       bench_plist_tool roundtrip IN OUT\n");
    return 2;
}

std::optional<QByteArray> readFile(const char *path)
{
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "cannot read %s\n", path);
        return std::nullopt;
    }
    return file.readAll();
}

bool writeFile(const char *path, const QByteArray &data)
{
    QFile file(QString::fromLocal8Bit(path));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(data) != data.size()) {
        std::fprintf(stderr, "cannot write %s\n", path);
        return false;
    }
    return true;
}

// Reads IN with `reader`, writes OUT in `format`, timing both phases (file access included).
int transcode(const char *in, const char *out, VXValue (*reader)(const QByteArray &), Format format)
{
    auto start = Stamp::now();
    const std::optional<QByteArray> input = readFile(in);
    if (!input)
        return 1;
    const VXValue value = reader(*input);
    if (value.isNull()) {
        std::fprintf(stderr, "%s is not a property list this reader accepts\n", in);
        return 1;
    }
    reportPhase("read", start);

    start = Stamp::now();
    const std::optional<QByteArray> output = VXPropertyListSerialization::dataFromValue(value, format);
    if (!output) {
        std::fprintf(stderr, "cannot encode the value read from %s\n", in);
        return 1;
    }
    if (!writeFile(out, *output))
        return 1;
    reportPhase("write", start);
    return 0;
}

VXValue readAnyForm(const QByteArray &data)
{
    return VXPropertyListSerialization::valueFromData(data);
}

// Decodes IN `repeat` times from its mapping (the tree of each pass freed before the next, outside
// the timing; the last one left to the exit, so that a profile shows the decoding alone), then
// prints the best pass and the process's peak resident size.
int readMapped(const char *in, int repeat)
{
    QFile file(QString::fromLocal8Bit(in));
    uchar *mapped = file.open(QIODevice::ReadOnly) ? file.map(0, file.size()) : nullptr;
    if (!mapped) {
        std::fprintf(stderr, "cannot map %s\n", in);
        return 1;
    }
    const QByteArray data = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), file.size());
    double best = 1e300;
    for (int i = 0; i < repeat; ++i) {
        const Stamp began = Stamp::now();
        VXDictionaryRef tree = deeplyMutableDictionaryWithData(data);
        const double ms
            = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - began.wall).count();
        if (!tree) {
            std::fprintf(stderr, "%s is not a record this reader accepts\n", in);
            return 1;
        }
        reportPhase("read", began);
        best = std::min(best, ms);
        if (i + 1 == repeat)
            new VXDictionaryRef(std::move(tree));
    }
    rusage usage {};
    getrusage(RUSAGE_SELF, &usage);
    std::fprintf(stderr, "best of %d: %.3f ms, peak resident %.1f MB, file %.1f MB\n", repeat, best,
                 double(usage.ru_maxrss) / 1024.0, double(file.size()) / 1e6);
    return 0;
}

}   // namespace

int main(int argc, char **argv)
{
    if (argc < 3)
        return usage();
    const char *command = argv[1];

    if (std::strcmp(command, "generate") == 0 && (argc == 3 || argc == 4 || argc == 5)) {
        VXHeavyConfigurationParameters parameters;
        if (argc == 5 && std::strcmp(argv[3], "--years") == 0)
            parameters = VXHeavyConfigurationParametersForYears(std::atoi(argv[4]),
                                                                double(QDateTime::currentSecsSinceEpoch()));
        else if (argc == 4)
            parameters = VXScaledHeavyConfigurationParameters(std::atoi(argv[3]));
        else if (argc == 5)
            return usage();
        auto start = Stamp::now();
        VXHeavyConfigurationSummary summary;
        const VXDictionaryRef tree = VXMakeHeavyConfiguration(parameters, &summary);
        reportPhase("generate", start);
        start = Stamp::now();
        const std::optional<QByteArray> data
            = VXPropertyListSerialization::dataFromValue(VXValue(tree), Format::Binary);
        if (!data || !writeFile(argv[2], *data))
            return 1;
        reportPhase("write", start);
        std::fprintf(
            stderr,
            "%d applications, %d windows, %d pools, %d members, %d window entries, %lld event-log numbers, %lld bytes\n",
            summary.applications, summary.windows, summary.pools, summary.poolMembers, summary.windowEntries,
            static_cast<long long>(summary.eventLogNumbers), static_cast<long long>(data->size()));
        return 0;
    }
    if (std::strcmp(command, "convert") == 0 && argc == 5) {
        if (std::strcmp(argv[4], "binary") == 0)
            return transcode(argv[2], argv[3], readAnyForm, Format::Binary);
        if (std::strcmp(argv[4], "xml") == 0)
            return transcode(argv[2], argv[3], readAnyForm, Format::XML);
        return usage();
    }
    if (std::strcmp(command, "read") == 0 && (argc == 3 || argc == 4))
        return readMapped(argv[2], argc == 4 ? std::max(1, std::atoi(argv[3])) : 5);
    if (std::strcmp(command, "roundtrip") == 0 && argc == 4)
        return transcode(argv[2], argv[3], VXPropertyListSerialization::valueFromBinaryData, Format::Binary);
    return usage();
}
