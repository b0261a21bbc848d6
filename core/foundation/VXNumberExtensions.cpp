#include "VXNumberExtensions.h"

#include <QTimeZone>

#include <cmath>

namespace {

// Beyond about 30 million years QDateTime's milliseconds would overflow; nothing real is there.
constexpr double kLargestDateMagnitude = 1e15;

}   // namespace

VXValue numberWithTimeInterval(double interval)
{
    return VXValue(interval);
}

double timeIntervalValue(const VXValue &number) noexcept
{
    return number.isNumber() ? number.toDouble() : 0.0;
}

VXValue numberWithDate(const QDateTime &date)
{
    if (!date.isValid())
        return numberWithTimeInterval(0.0);
    return numberWithTimeInterval(static_cast<double>(date.toMSecsSinceEpoch()) / 1000.0);
}

QDateTime dateValue(const VXValue &number)
{
    const double seconds = timeIntervalValue(number);
    if (!std::isfinite(seconds) || std::fabs(seconds) > kLargestDateMagnitude)
        return QDateTime();
    return QDateTime::fromMSecsSinceEpoch(std::llround(seconds * 1000.0), QTimeZone::utc());
}
