#include "VXEventStreamExtensions.h"

#include "VXPersistenceTestSupport.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

using vxtest::doublesOf;
using vxtest::numbers;

namespace {

struct Clipped {
    std::vector<double> stream;
    double interval = -1.0;
};

Clipped clip(std::initializer_list<double> values, double timestamp, double otherTimestamp)
{
    Clipped result;
    result.stream
        = doublesOf(eventStreamClippedBetweenTimestamp(*numbers(values), timestamp, otherTimestamp, &result.interval));
    return result;
}

void expectClip(std::initializer_list<double> values, double lo, double hi, std::vector<double> stream, double interval)
{
    SCOPED_TRACE(::testing::Message() << "range " << lo << " to " << hi);
    for (const auto &[a, b] : {std::pair {lo, hi}, std::pair {hi, lo}}) {
        const Clipped clipped = clip(values, a, b);
        EXPECT_EQ(clipped.stream, stream);
        EXPECT_DOUBLE_EQ(clipped.interval, interval);
    }
}

}   // namespace

TEST(VXEventStreamExtensions, PeriodsCrossingTheEndsOfTheRangeAreCutThere)
{
    // Open before the range, closed inside it, and the other way round.
    expectClip({100, -300}, 200, 250, {200, -250}, 50);
    expectClip({100, -220}, 200, 250, {200, -220}, 20);
    expectClip({210, -300}, 200, 250, {210, -250}, 40);
    // Outside the range on either side.
    expectClip({300, -400}, 200, 250, {}, 0);
    expectClip({100, -150}, 200, 250, {}, 0);
    // Several periods, the middle ones kept as they are.
    expectClip({100, -205, 210, -220, 230, -240, 245, -300}, 200, 250, {200, -205, 210, -220, 230, -240, 245, -250},
               30);
    expectClip({}, 200, 250, {}, 0);
}

TEST(VXEventStreamExtensions, OpenPeriodsEndAtTheEndOfTheRange)
{
    // Open across the whole range, open inside it, open after it.
    expectClip({100}, 200, 250, {200, -250}, 50);
    expectClip({100, -150, 210}, 200, 250, {210, -250}, 40);
    expectClip({260}, 200, 250, {}, 0);
    // The range ends within the tolerance of a closing: the period runs to the range's end.
    expectClip({210, -249.9995}, 200, 250, {210, -250}, 40);
}

TEST(VXEventStreamExtensions, TimesWithinAMillisecondOfTheBeginCountAsTheBegin)
{
    // An opening at the begin opens there; a closing at the begin closes nothing inside.
    expectClip({199.9995, -230}, 200, 250, {200, -230}, 30);
    expectClip({100, -200.0005, 220, -240}, 200, 250, {220, -240}, 20);
    // A period that ends exactly where the range begins, or begins where it ends: nothing.
    expectClip({100, -200}, 200, 250, {}, 0);
    expectClip({250, -300}, 200, 250, {}, 0);
    // One millisecond away is no longer the same time.
    expectClip({100, -200.0011, 220, -240}, 200, 250, {200, -200.0011, 220, -240}, 20.0011);
}

TEST(VXEventStreamExtensions, AnEmptyRangeGivesAZeroLengthPeriodWhereOneIsOpen)
{
    expectClip({100, -300}, 200, 200, {200, -200}, 0);
    expectClip({100}, 200, 200, {200, -200}, 0);
    expectClip({300, -400}, 200, 200, {}, 0);
}

TEST(VXEventStreamExtensions, DamagedStreamsAreKeptAsTheyAreWithoutBreakingTheWalk)
{
    // Repeated openings and closings are output; the duration runs from the first opening of a
    // run to the first closing after it.
    expectClip({100, 200, -300, -400}, 0, 450, {100, 200, -300, -400}, 200);
    // A stream that starts with a closing inside the range was open at its begin.
    expectClip({-120, 130, -140}, 100, 150, {100, -120, 130, -140}, 30);
    // An opening inside the range does not look back at a period left open before it.
    expectClip({100, 210, -220, -230}, 200, 250, {210, -220, -230}, 10);
    // A stream ending on a run of openings is closed at the range's end, from the last one.
    expectClip({210, 220}, 200, 250, {210, 220, -250}, 30);
    // NaN is no event; a value that is no number reads as 0, before every range.
    VXArrayRef log = numbers({std::numeric_limits<double>::quiet_NaN(), 210});
    log->insert(0, u"garbage"_s);
    double interval = 0;
    EXPECT_EQ(doublesOf(eventStreamClippedBetweenTimestamp(*log, 200, 250, &interval)),
              (std::vector<double> {210, -250}));
    EXPECT_DOUBLE_EQ(interval, 40);
}

TEST(VXEventStreamExtensions, RecordingAppendsToTheRecordAndTheIntervalIsOptional)
{
    VXArrayRef record = numbers({1, -2});
    recordEventStream(*record, *numbers({100, -300}), 250, 200);
    EXPECT_EQ(doublesOf(record), (std::vector<double> {1, -2, 200, -250}));
    EXPECT_TRUE(eventStreamClippedBetweenTimestamp(*numbers({100}), 200, 250)->size() == 2);
}

// Well-formed logs against an independent reading: each period intersected with the range.
TEST(VXEventStreamExtensions, WellFormedLogsClipToTheIntersectionOfEveryPeriodWithTheRange)
{
    vxtest::Random random(20261120);
    for (int round = 0; round < 2000; ++round) {
        const VXArrayRef log = vxtest::randomLog(random, 1000.0, 5000.0, 1 + random.below(12));
        // Range ends on hundredths, and away from every time in the log by more than the tolerance.
        double lo = 0.0;
        double hi = 0.0;
        for (;;) {
            lo = std::round((800.0 + random.uniform() * 4400.0) * 100.0) / 100.0;
            hi = std::round((lo + random.uniform() * 3000.0) * 100.0) / 100.0;
            bool clear = true;
            for (const VXValue &value : *log)
                clear = clear && std::fabs(std::fabs(value.toDouble()) - lo) > 0.01
                    && std::fabs(std::fabs(value.toDouble()) - hi) > 0.01;
            if (clear)
                break;
        }
        std::vector<double> expected;
        double expectedInterval = 0.0;
        const std::vector<double> values = doublesOf(log);
        for (std::size_t i = 0; i < values.size(); i += 2) {
            const double open = values[i];
            const double close = i + 1 < values.size() ? -values[i + 1] : std::numeric_limits<double>::infinity();
            const double begin = std::max(open, lo);
            const double end = std::min(close, hi);
            if (begin < end) {
                expected.push_back(begin);
                expected.push_back(-end);
                expectedInterval += end - begin;
            }
        }
        double interval = -1.0;
        const std::vector<double> clipped = doublesOf(eventStreamClippedBetweenTimestamp(*log, hi, lo, &interval));
        ASSERT_EQ(clipped, expected) << "round " << round << " range " << lo << " to " << hi;
        ASSERT_NEAR(interval, expectedInterval, 1e-6) << "round " << round;
    }
}
