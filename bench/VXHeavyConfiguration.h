#pragma once

// A synthetic configuration tree the size of a heavy year of tracking, for benchmarks of
// everything that reads, writes, copies or walks the tree (codecs, the sampler, undo, export,
// reports). It has the shape the tracker gives the real tree: applications keyed by their ID
// with their windows filed by title and listed again, as the same objects, under "Children";
// pools of members with window entries; blacklists, cut-offs, timestamps and overall times; and
// event logs of alternating +t/-t numbers spread over the year.
//
// The tree depends only on the parameters: the same seed gives the same tree, on every run and
// every machine.

#include "VXValue.h"

#include <cstdint>

struct VXHeavyConfigurationParameters {
    std::uint64_t seed = 0x5745'4E44'4C45ULL;
    int applicationCount = 300;
    int windowCount = 20000;   // over all applications, unevenly
    int poolCount = 50;
    int membersPerPool = 5;
    std::int64_t eventLogNumbers = 2'000'000;   // over every "Active Log" and "Front Active Log"
    double firstTimestamp = 1'672'531'200.0;   // 2023-01-01 00:00:00 UTC
    double span = 365.0 * 86400.0;   // seconds covered by the event logs
};

// What the generator made, for benchmarks that want to check or report it.
struct VXHeavyConfigurationSummary {
    int applications = 0;
    int windows = 0;
    int pools = 0;
    int poolMembers = 0;
    int windowEntries = 0;
    std::int64_t eventLogNumbers = 0;
};

// Builds the tree. Every container in it is a fresh object, except that each application's
// "Children" holds the very window objects of its "Windows By Name".
VXDictionaryRef VXMakeHeavyConfiguration(const VXHeavyConfigurationParameters &parameters = {},
                                         VXHeavyConfigurationSummary *summary = nullptr);

// The same parameters divided by `factor` (counts of at least one), for quick runs.
VXHeavyConfigurationParameters VXScaledHeavyConfigurationParameters(int factor);

// A record kept for `years` heavy years and ending at `lastTimestamp`: window titles and
// event-log numbers grow by a heavy year's worth every year, applications and pools more slowly
// (a few new ones each year, the old ones kept).
VXHeavyConfigurationParameters VXHeavyConfigurationParametersForYears(int years, double lastTimestamp);
