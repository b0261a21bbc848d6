#pragma once

// Text helpers used throughout the program: how durations, decimals, dates, day stamps and CSV
// fields are written, and how names and paths are trimmed, cut and shown. None of them fails:
// bad input gives a defined result. Main thread only (they read the default locale and the
// user defaults).

#include <QString>
#include <QStringList>
#include <QStringView>

#include <cstdint>
#include <optional>

class QTimeZone;
class VXClock;

// Setting: durations of a day or more print as days ("1.5 days"). Registered default YES.
extern const QString kExpressTimeIntervalsAsDaysKey;   // "Express Time Intervals As Days"

// ---- Durations, numbers and dates

// The setting above; YES when no settings store is installed (its registered default).
bool expressTimeIntervalsAsDays();

// A duration written from its absolute value in whole seconds (fractions are dropped, never
// rounded): "0:05", "59:59", "1:02:03", "100:00:00"; from a day on, with days on, "1 day" or
// "%@ days" with one trimmed fraction digit ("1.5 days", "2 days"). Zero is "" with eatZero and
// "-" without. NaN counts as 0; magnitudes beyond 2^64 seconds as 2^64 - 1. Runs for every
// visible row on every tick: below a day it makes its result text and nothing else.
QString stringWithTimeInterval(double interval, bool eatZero, bool expressTimeIntervalsAsDays);
// The same, reading the setting.
QString stringWithTimeInterval(double interval, bool eatZero);

// The durations above with their translated day texts and the decimal separator read once, for
// a table that writes many of them: make one where the table is made (a translator or locale
// installed later is not seen by it).
class VXDurationTexts
{
public:
    VXDurationTexts();
    QString text(double interval, bool eatZero, bool expressTimeIntervalsAsDays) const;
    // "1 day" or "%@ days" for a duration of a day or more.
    QString daysText(std::uint64_t seconds) const;

private:
    QString m_oneDay;
    QString m_daysPrefix;   // the days format around its placeholder
    QString m_daysSuffix;
    bool m_hasPlaceholder = true;
    QString m_decimalPoint;
};

// The value written with that many fraction digits in the default locale's decimal separator,
// ASCII digits and "-", no grouping, rounded to nearest from the exact binary value. With trim,
// trailing zeros and then a trailing "." or "," are removed when the text ends in "0" (10.0 gives
// 10, 0.50 gives 0.5; with 0 digits 100 gives 1, which is how this routine behaves). A negative
// digit count means 6, counts above 100 mean 100. NaN and infinities print as "nan", "inf", "-inf".
QString localizedStringWithDouble(double value, std::int16_t numberOfFractionDigits, bool trim);

// The timestamp (Unix seconds) as a date and time in the default locale's medium styles (the
// month's short name without the weekday, "Mar 7, 2024"; the time with seconds and without the
// zone name), in the given zone (the system zone when none is given). Empty for a timestamp that
// is not finite or beyond the range of dates.
QString stringWithTimeIntervalAsDate(double timestamp, const QTimeZone &zone);
QString stringWithTimeIntervalAsDate(double timestamp);

// Today's day stamp "YYYY-MM-DD" in the clock's zone (the system clock and zone when none is
// given), and the hour (0 to 23) through `hour` when given.
QString currentYearMonthDayStringWithHour(const VXClock &clock, int *hour = nullptr);
QString currentYearMonthDayStringWithHour(int *hour = nullptr);

// A CSV field: a null field is the empty text; a field holding the separator, a double quote,
// "\n" or "\r" is enclosed in double quotes with its quotes doubled; every other field stands
// as it is. An empty separator is never found.
QString CSVStringWithString(const QString &field, const QString &separator);

// A fresh random UUID, upper case, hyphenated, 36 characters.
QString newUUIDString();

// U+25B8, " \u25B8 ", U+2014, " \u2014 ", U+2022.
QString rightTriangleArrowString();
QString spacedRightTriangleArrowString();
QString dashString();
QString spacedDashString();
QString bulletString();

// ---- Names

// Without white space and line breaks at both ends.
QString trimmedString(const QString &self);
// trimmedString() without a final ".app" in any case, when at least 5 characters remain before
// dropping it ("Mail.APP" gives "Mail"; ".app" stays ".app").
QString trimmedApplicationNameByIgnoringExtension(const QString &self);
// Blanks and tabs (not line breaks) trimmed at both ends: true when nothing is left, otherwise
// true exactly when the last character is one of `characters`.
bool isEmptyOrEndsWithCharacterFromSet(const QString &self, QStringView characters);

// ---- Cutting (an empty needle is never found)

// The text before the first (or last) occurrence of the needle. A missing needle gives the whole
// text when returnSelfIfNotFound is set, nothing otherwise.
std::optional<QString> substringBefore(const QString &self, const QString &needle, bool searchBackwards,
                                       bool returnSelfIfNotFound);
std::optional<QString> substringBefore(const QString &self, const QString &needle, bool returnSelfIfNotFound);
// The text after the end of the first (or last) occurrence; a missing needle as above.
std::optional<QString> substringAfter(const QString &self, const QString &needle, bool searchBackwards,
                                      bool returnSelfIfNotFound);
std::optional<QString> substringAfter(const QString &self, const QString &needle, bool returnSelfIfNotFound);
// substringAfter() the first needle, then substringBefore() the second, with the same flag.
std::optional<QString> substringBetween(const QString &self, const QString &first, const QString &second,
                                        bool returnSelfIfNotFound);

// ---- Formats

// The formats of messages and translated texts keep their "%@" (a text) and "%lu" (a number)
// placeholders: this fills them from left to right with the arguments and makes "%%" a "%". An
// argument's own placeholders are left alone; a placeholder without an argument stays as it is.
// Any thread.
QString VXFillFormat(const QString &format, const QStringList &arguments);

// ---- Paths

// Case-insensitive equality; false for a null path.
bool isEqualToPath(const QString &self, const QString &path);
// True when the path exists and is a folder (following symbolic links).
bool isFolderPath(const QString &self);
// "~" and "~/..." with the home folder in place of the "~"; any other path as it is.
QString stringByExpandingTildeInPath(const QString &self);
// The reverse: the home folder, or a path inside it, with "~" in place of the home folder.
QString stringByAbbreviatingWithTildeInPath(const QString &self);
// Expands a leading "~"; true when that is a folder, otherwise creates it with its missing
// parents and answers whether that worked.
bool checkFolderPathAndCreateIfNecessary(const QString &self);
// The mount point of the volume that holds the path, for paths under the folders where volumes
// are mounted: /media/USER/NAME (udisks on Debian), /run/media/USER/NAME (udisks elsewhere) and
// /mnt/NAME; empty when the name is missing ("/mnt//x"). "/" for every other path.
QString volumePath(const QString &self);
// The components shown for an existing path: "/" first, then each folder and the file. Relative
// to a base path with at least one component and fewer than the path's, the components after
// the base's count; the last one only with includeFileName (or when fewer than two remain of a
// path shown whole). Nothing when the path does not exist. A null or missing base is no base.
std::optional<QStringList> pathComponentsToDisplayRelativeToPath(const QString &self, const QString &basePath,
                                                                 bool includeFileName);
// Those components joined by spacedRightTriangleArrowString(); for a missing path, the path, a
// spaced em dash, and "Not found" (or "Currently not available" when nothing exists at
// volumePath()).
QString readablePathRepresentationRelativeToPath(const QString &self, const QString &basePath, bool includeFileName);
QString readablePathRepresentation(const QString &self);
// The path with the first "/Library/Containers/com.brasswing.WendleClient/Data/Library/" made
// "/Library/": a path inside the sandbox container as the same path in the real home.
QString stringByDeletingWendleContainerPathComponents(const QString &self);
// The path's last component without its extension ("Report.csv" gives "Report"; a leading dot
// is no extension).
QString displayFileName(const QString &self);
