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
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

// The clipped stream as a new array; the covered seconds through `interval` when given.
VXArrayRef eventStreamClippedBetweenTimestamp(const VXArray &self, double timestamp, double otherTimestamp,
                                              double *interval = nullptr);

// Appends the clipped `eventStream` to this array; the covered seconds through `interval`.
void recordEventStream(VXArray &self, const VXArray &eventStream, double timestamp, double otherTimestamp,
                       double *interval = nullptr);

// The walk behind both, one number of the clipped stream at a time, over any stream that gives
// its numbers by index (an array of the tree, or a log read in place from the saved file).
// `first` and `lastBefore` start the walk later in a stream in time order: `first` is the index
// of the first number not before lo (within the tolerance) and `lastBefore` the number just
// before it (-1 when there is none), as VXFirstInRange() finds them. A walk continued from an
// opening that followed a closing inside the range (where an earlier walk of the same range stood,
// see VXEventLogClipCache) starts there with the seconds covered before it as `intervalBefore`.
template <class NumberAt> class VXEventStreamClipper
{
public:
    static constexpr double kTolerance = 0.001;

    VXEventStreamClipper(std::size_t count, NumberAt numberAt, double timestamp, double otherTimestamp,
                         std::size_t first = 0, double lastBefore = -1.0, double intervalBefore = 0.0) :
        m_numberAt(std::move(numberAt)),
        m_count(count), m_index(first), m_lo(std::min(timestamp, otherTimestamp)),
        m_hi(std::max(timestamp, otherTimestamp)), m_lastUsed(lastBefore), m_interval(intervalBefore)
    {
        if (count == 0)
            m_phase = Phase::Done;
    }

    // The next number of the clipped stream; false after the last.
    bool next(double &value)
    {
        for (;;) {
            if (m_pendingAt < m_pendingCount) {
                value = m_pending[m_pendingAt++];
                m_lastOutput = value;
                m_hasOutput = true;
                return true;
            }
            m_pendingAt = m_pendingCount = 0;
            switch (m_phase) {
            case Phase::Done: return false;
            case Phase::Closing:
                m_phase = Phase::Done;
                if (m_hasOutput && m_lastOutput > 0) {
                    m_interval += m_hi - m_lastOutput;
                    push(-m_hi);
                }
                break;
            case Phase::Walking: walk(); break;
            }
        }
    }

    // The covered seconds, once next() has answered false; before, those of the periods closed so
    // far.
    double interval() const { return m_interval; }

private:
    enum class Phase : std::uint8_t { Walking, Closing, Done };

    void push(double value) { m_pending[m_pendingCount++] = value; }

    // Walks numbers until one gives output or the walk ends.
    void walk()
    {
        while (m_pendingCount == 0) {
            if (m_index >= m_count) {
                endWalk();
                return;
            }
            const double value = m_numberAt(m_index++);
            if (std::isnan(value))
                continue;
            const double magnitude = std::fabs(value);
            if (magnitude > m_hi - kTolerance) {
                endWalk();
                return;
            }
            m_lastUsed = value;
            if (!m_entered) {
                if (magnitude <= m_lo - kTolerance)
                    continue;
                m_entered = true;
                if (magnitude - m_lo < kTolerance) {
                    // At lo: an opening opens there; a closing closes nothing inside the range.
                    if (value > 0) {
                        push(m_lo);
                        m_openTime = m_lo;
                        m_isOpen = true;
                    }
                } else if (value < 0) {
                    // A closing after lo: the period was already open at lo.
                    push(m_lo);
                    push(value);
                    m_interval += magnitude - m_lo;
                } else {
                    push(value);
                    if (value > 0) {
                        m_openTime = magnitude;
                        m_isOpen = true;
                    }
                }
                continue;
            }
            push(value);
            if (value < 0) {
                if (m_isOpen) {
                    m_interval += magnitude - m_openTime;
                    m_isOpen = false;
                }
            } else if (value > 0 && !m_isOpen) {
                m_openTime = magnitude;
                m_isOpen = true;
            }
        }
    }

    void endWalk()
    {
        m_phase = Phase::Closing;
        if (!m_entered) {
            // Nothing inside the range: either a period open across all of it, or nothing at all.
            if (m_lastUsed > 0)
                push(m_lo);
            else
                m_phase = Phase::Done;
        }
    }

    NumberAt m_numberAt;
    std::size_t m_count;
    std::size_t m_index;
    double m_lo;
    double m_hi;
    double m_lastUsed;   // the last number walked over, before any was: -1
    double m_interval;
    double m_openTime = 0.0;
    double m_lastOutput = 0.0;
    double m_pending[2] = {0.0, 0.0};
    std::uint8_t m_pendingCount = 0;
    std::uint8_t m_pendingAt = 0;
    bool m_isOpen = false;
    bool m_entered = false;   // a number inside the range has been reached
    bool m_hasOutput = false;
    Phase m_phase = Phase::Walking;
};

// Where the walk of a stream in time order may start for the range beginning at `lo` (the lower
// of the range's two times): the first index whose number is not before lo, found by halving,
// and the number before it. Numbers out of order (a damaged or hand-made stream) are the
// caller's to rule out.
template <class NumberAt>
std::size_t VXFirstInRange(std::size_t count, const NumberAt &numberAt, double lo, double *lastBefore)
{
    std::size_t first = 0;
    std::size_t last = count;
    while (first < last) {
        const std::size_t middle = first + (last - first) / 2;
        if (std::fabs(numberAt(middle)) <= lo - VXEventStreamClipper<NumberAt>::kTolerance)
            first = middle + 1;
        else
            last = middle;
    }
    *lastBefore = first > 0 ? numberAt(first - 1) : -1.0;
    return first;
}

// The next period of a clipped stream, as the export writes it: the first opening of a run of
// openings begins it, the first closing after that ends it. `opening` carries the last opening
// or closing between calls (-1 before the first).
template <class Clipper> bool VXNextPeriod(Clipper &clipper, double &opening, double &begin, double &end)
{
    double value = 0.0;
    while (clipper.next(value)) {
        if ((value > 0) == (opening > 0))
            continue;
        const double previous = opening;
        opening = value;
        if (value < 0) {
            begin = previous;
            end = -value;
            return true;
        }
    }
    return false;
}

// Hands each number of the clipped stream to `record` in order and answers the covered seconds.
// For callers that use the numbers once (the export), so that no array is made.
template <class Record>
double VXClipEventStream(const VXArray &stream, double timestamp, double otherTimestamp, Record &&record)
{
    const VXArray::Numbers items = stream.numbers();
    const auto numberAt = [items](std::size_t i) { return items[i]; };
    VXEventStreamClipper<decltype(numberAt)> clipper(stream.size(), numberAt, timestamp, otherTimestamp);
    double value = 0.0;
    while (clipper.next(value))
        record(value);
    return clipper.interval();
}
