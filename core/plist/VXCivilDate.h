#pragma once

// Days since 1970-01-01 and the civil date (year, month, day) of the proleptic Gregorian
// calendar, both ways, in eras of 400 years: exact for any year a 64-bit day count holds, with
// no time-zone data and no allocation, as the property-list dates need.

#include <cstdint>

struct VXCivilDate {
    std::int64_t year = 1970;
    int month = 1;   // 1-12
    int day = 1;   // 1-31
};

constexpr std::int64_t VXDaysFromCivil(std::int64_t year, int month, int day)
{
    year -= month <= 2 ? 1 : 0;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

constexpr VXCivilDate VXCivilFromDays(std::int64_t days)
{
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const std::int64_t dayOfEra = days - era * 146097;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthIndex = (5 * dayOfYear + 2) / 153;
    const int day = static_cast<int>(dayOfYear - (153 * monthIndex + 2) / 5 + 1);
    const int month = static_cast<int>(monthIndex < 10 ? monthIndex + 3 : monthIndex - 9);
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

static_assert(VXDaysFromCivil(1970, 1, 1) == 0 && VXDaysFromCivil(2001, 1, 1) == 11323);
static_assert(VXCivilFromDays(-1).year == 1969 && VXCivilFromDays(-1).month == 12 && VXCivilFromDays(-1).day == 31);
