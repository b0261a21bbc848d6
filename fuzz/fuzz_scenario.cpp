// libFuzzer target: the scenario reader of `wendle simulate`. A refused scenario names its
// fault; an accepted one keeps the order and range of times the run relies on.
//
// Input: the JSON text.

#include "VXFuzzTargets.h"

#include "VXScenario.h"

#include <cmath>

namespace {

const char kTarget[] = "scenario reader";

bool onGrid(double seconds)
{
    return std::isfinite(seconds) && seconds * 8.0 == std::floor(seconds * 8.0);
}

}   // namespace

int VXFuzzScenario(const std::uint8_t *data, std::size_t size)
{
    // The command reads the whole file into an array of its own.
    const QByteArray json(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    QString error;
    const std::optional<VXScenario> scenario = VXScenario::fromJson(json, &error);
    if (!scenario) {
        if (error.isEmpty())
            VXFuzzFail(kTarget, QStringLiteral("a scenario is refused without a reason"));
        return 0;
    }
    VXFuzzCountAccepted();
    if (!scenario->defaults || !onGrid(scenario->start) || !onGrid(scenario->end) || scenario->end < 0)
        VXFuzzFail(kTarget, QStringLiteral("accepted with settings missing, or a start or end off the grid"));
    const auto inRange = [&](double at) { return onGrid(at) && at >= 0 && at <= scenario->end; };
    for (std::size_t i = 0; i < scenario->desktop.size(); ++i) {
        const double at = scenario->desktop[i].at;
        if (!inRange(at) || (i > 0 && at <= scenario->desktop[i - 1].at))
            VXFuzzFail(kTarget, QStringLiteral("accepted desktop[%1] at %2").arg(i).arg(at));
    }
    for (std::size_t i = 0; i < scenario->events.size(); ++i) {
        const double at = scenario->events[i].at;
        if (!inRange(at) || (i > 0 && at < scenario->events[i - 1].at))
            VXFuzzFail(kTarget, QStringLiteral("accepted events[%1] at %2").arg(i).arg(at));
    }
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzScenario(data, size);
}
#endif
