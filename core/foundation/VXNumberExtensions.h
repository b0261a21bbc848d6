#pragma once

// Numbers of the configuration tree read as time: durations and timestamps are doubles of
// seconds, dates are held as their Unix time.

#include "VXValue.h"

#include <QDateTime>

// A number holding the interval.
VXValue numberWithTimeInterval(double interval);

// The value's double; 0 for anything that is no number (a text, a date, a container, null), so
// that a damaged entry of the tree reads as 0 seconds.
double timeIntervalValue(const VXValue &number) noexcept;

// A number holding the date's Unix time in seconds (with milliseconds); 0 for an invalid date.
VXValue numberWithDate(const QDateTime &date);

// The date (in UTC) at timeIntervalValue() seconds after 1970-01-01 00:00:00 UTC, to the nearest
// millisecond; an invalid date when that is not finite or lies outside the range of dates.
QDateTime dateValue(const VXValue &number);
