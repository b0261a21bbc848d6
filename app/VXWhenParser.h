#pragma once

// The times the command line accepts (wendle export --from WHEN, wendle summary --to WHEN),
// read in the clock's local time:
//
//     2026-11-20              the start of that day
//     2026-11-20 14:00        that minute (seconds may follow: 14:00:30; "T" may join them)
//     now                     this moment
//     today, yesterday        the start of this day, of the day before
//     3 days ago              this time of day, three calendar days back
//     2 hours ago             also "minutes", "weeks", and the singular forms
//
// Words are read in any case, blanks around them are ignored. As the end of a range, a day
// without a time of day (a date, today, yesterday) means the end of that day, so that
// "--from 2026-11-20 --to 2026-11-20" is that whole day.

#include <QString>

#include <optional>

class VXClock;

class VXWhenParser
{
public:
    // Unix seconds, or nothing with the reason in `error`.
    static std::optional<double> timestampFromText(const QString &text, const VXClock &clock, QString *error = nullptr);
    // The same as the end of a range: a whole day ends at the start of the next.
    static std::optional<double> endTimestampFromText(const QString &text, const VXClock &clock,
                                                      QString *error = nullptr);

    // The accepted forms, for help texts.
    static QString syntax();

private:
    static std::optional<double> timestamp(const QString &text, const VXClock &clock, bool endOfDay, QString *error);
};
