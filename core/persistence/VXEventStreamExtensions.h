#pragma once

// Cutting an event stream (an item's "Active Log" or "Front Active Log": +t opens a period at t,
// -t closes it) to a time range. Reports draw the cut streams, the export writes them, and a
// CSV snapshot is read back into the same form.
//
// The range is [lo, hi], whichever order the two times come in. Two times count as the same
// when they are less than 0.001 s apart.
//
//     range:              lo|                         |hi
//     input:     [+a ......... -b]  [+c -d]   [+e ............ -f]   [+g -h]
//     output:             [+lo -b]  [+c -d]   [+e  -hi]
//
// A period open at lo starts at lo, a period still open at hi ends there, and nothing after hi
// is kept. The covered duration comes with the result: (b - lo) + (d - c) + (hi - e) above.
//
// A period open across the whole range becomes the whole range:
//
//     range:              lo|             |hi
//     input:     [+a ..................................... -b]
//     output:             [+lo         -hi]
//
// A number within 0.001 s of lo counts as being at lo: an opening there opens at lo, a closing
// there closes nothing inside the range and is dropped:
//
//     input:     [+a    -lo][+lo ...  -b]
//     output:               [+lo      -b]
//
// Repeated openings or closings (a damaged or hand-made stream) are kept as they are; the
// duration counts from the first opening of a run to the first closing after it, except that a
// stream ending on an opening is closed at hi and counted from that last opening:
//
//     input:     [+a  +b  -c  -d]          output: the same, duration c - a
//
// Numbers that are no number read as 0, NaN is skipped.

#include "VXValue.h"

#include <algorithm>
#include <cmath>

// The clipped stream as a new array; the covered seconds through `interval` when given.
VXArrayRef eventStreamClippedBetweenTimestamp(const VXArray &self, double timestamp, double otherTimestamp,
                                              double *interval = nullptr);

// Appends the clipped `eventStream` to this array; the covered seconds through `interval`.
void recordEventStream(VXArray &self, const VXArray &eventStream, double timestamp, double otherTimestamp,
                       double *interval = nullptr);

// The walk behind both: hands each number of the clipped stream to `record` in order and
// answers the covered seconds. For callers that use the numbers once (the export), so that
// no array is made.
template <class Record>
double VXClipEventStream(const VXArray &stream, double timestamp, double otherTimestamp, Record &&record)
{
    constexpr double kTolerance = 0.001;
    const double lo = std::min(timestamp, otherTimestamp);
    const double hi = std::max(timestamp, otherTimestamp);
    double interval = 0.0;
    if (stream.isEmpty())
        return interval;

    double lastUsed = -1.0;   // the last number walked over, before any was: -1
    double openTime = 0.0;
    bool isOpen = false;
    bool entered = false;   // a number inside the range has been reached
    double lastOutput = 0.0;
    bool hasOutput = false;
    const auto output = [&](double value) {
        record(value);
        lastOutput = value;
        hasOutput = true;
    };

    for (const VXValue &item : stream) {
        const double value = item.toDouble();
        if (std::isnan(value))
            continue;
        const double magnitude = std::fabs(value);
        if (magnitude > hi - kTolerance)
            break;
        lastUsed = value;
        if (!entered) {
            if (magnitude <= lo - kTolerance)
                continue;
            entered = true;
            if (magnitude - lo < kTolerance) {
                // At lo: an opening opens there; a closing closes nothing inside the range.
                if (value > 0) {
                    output(lo);
                    openTime = lo;
                    isOpen = true;
                }
            } else if (value < 0) {
                // A closing after lo: the period was already open at lo.
                output(lo);
                output(value);
                interval += magnitude - lo;
            } else {
                output(value);
                if (value > 0) {
                    openTime = magnitude;
                    isOpen = true;
                }
            }
            continue;
        }
        output(value);
        if (value < 0) {
            if (isOpen) {
                interval += magnitude - openTime;
                isOpen = false;
            }
        } else if (value > 0 && !isOpen) {
            openTime = magnitude;
            isOpen = true;
        }
    }

    if (!entered) {
        // Nothing inside the range: either a period open across all of it, or nothing at all.
        if (lastUsed > 0)
            output(lo);
        else
            return 0.0;
    }
    if (hasOutput && lastOutput > 0) {
        interval += hi - lastOutput;
        output(-hi);
    }
    return interval;
}
