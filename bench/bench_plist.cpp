// Microbenchmarks of the property-list codecs on the heavy configuration, whole (argument 1)
// and divided by 10. Throughput is in bytes of the encoded form.

#include "VXHeavyConfiguration.h"
#include "VXPropertyListSerialization.h"

#include <benchmark/benchmark.h>

#include <map>

namespace {

using VXPropertyListSerialization::Format;

struct Encoded {
    VXValue tree;
    QByteArray binary;
    QByteArray xml;
};

// Built once per scale and kept for the whole run.
const Encoded &encoded(int scale)
{
    static std::map<int, Encoded> cache;
    auto found = cache.find(scale);
    if (found == cache.end()) {
        Encoded entry;
        entry.tree = VXValue(VXMakeHeavyConfiguration(VXScaledHeavyConfigurationParameters(scale)));
        entry.binary = VXPropertyListSerialization::dataFromValue(entry.tree, Format::Binary).value_or(QByteArray());
        entry.xml = VXPropertyListSerialization::dataFromValue(entry.tree, Format::XML).value_or(QByteArray());
        found = cache.emplace(scale, std::move(entry)).first;
    }
    return found->second;
}

void writeBenchmark(benchmark::State &state, Format format)
{
    const Encoded &input = encoded(static_cast<int>(state.range(0)));
    std::int64_t bytes = 0;
    for (auto _ : state) {
        auto data = VXPropertyListSerialization::dataFromValue(input.tree, format);
        if (!data) {
            state.SkipWithError("the writer refused the tree");
            return;
        }
        bytes += data->size();
        benchmark::DoNotOptimize(data);
    }
    state.SetBytesProcessed(bytes);
}

void readBenchmark(benchmark::State &state, const QByteArray &(*pick)(const Encoded &),
                   VXValue (*reader)(const QByteArray &))
{
    const QByteArray &data = pick(encoded(static_cast<int>(state.range(0))));
    if (data.isEmpty()) {
        state.SkipWithError("no encoded input");
        return;
    }
    for (auto _ : state) {
        VXValue value = reader(data);
        if (value.isNull()) {
            state.SkipWithError("the reader refused its own writer's output");
            return;
        }
        benchmark::DoNotOptimize(value);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * data.size());
}

const QByteArray &binaryOf(const Encoded &e)
{
    return e.binary;
}
const QByteArray &xmlOf(const Encoded &e)
{
    return e.xml;
}

void BM_WriteBinary(benchmark::State &state)
{
    writeBenchmark(state, Format::Binary);
}
void BM_WriteXML(benchmark::State &state)
{
    writeBenchmark(state, Format::XML);
}
void BM_ReadBinary(benchmark::State &state)
{
    readBenchmark(state, binaryOf, VXPropertyListSerialization::valueFromBinaryData);
}
void BM_ReadXML(benchmark::State &state)
{
    readBenchmark(state, xmlOf, VXPropertyListSerialization::valueFromXMLData);
}

void BM_GenerateHeavyConfiguration(benchmark::State &state)
{
    const auto parameters = VXScaledHeavyConfigurationParameters(static_cast<int>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(VXMakeHeavyConfiguration(parameters));
}

}   // namespace

BENCHMARK(BM_ReadBinary)->Arg(10)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteBinary)->Arg(10)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadXML)->Arg(10)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteXML)->Arg(10)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GenerateHeavyConfiguration)->Arg(10)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
