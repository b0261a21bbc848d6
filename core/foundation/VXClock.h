#pragma once

// The wall clock and the local time zone, injected so that tests can run a day in microseconds
// and across daylight-saving changes. The program uses VXSystemClock; tests use the virtual
// scheduler, which is also a clock.

#include <QTimeZone>

class VXClock
{
public:
    virtual ~VXClock() = default;
    // Seconds since 1970-01-01 00:00:00 UTC.
    virtual double now() const = 0;
    // The zone in which days and hours are counted (daily tasks, day stamps, read-outs).
    virtual QTimeZone timeZone() const = 0;
};
