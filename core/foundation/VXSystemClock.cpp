#include "VXSystemClock.h"

#include <chrono>

double VXSystemClock::now() const
{
    // The system clock counts from the Unix epoch (guaranteed since C++20).
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration<double>(sinceEpoch).count();
}

QTimeZone VXSystemClock::timeZone() const
{
    return QTimeZone::systemTimeZone();
}
