#pragma once

// The machine's own wall clock and local time zone, as the program sees them.

#include "VXClock.h"

class VXSystemClock final : public VXClock
{
public:
    // Unix time to the microsecond or better (QDateTime stops at the millisecond, which is too
    // coarse to tell two ticks' timestamps apart by the 0.001-second rule with room to spare).
    double now() const override;
    // The zone the session runs in, read on every call (a few microseconds), so that a change of
    // zone while the program runs (travel) counts from the next question on.
    QTimeZone timeZone() const override;
};
