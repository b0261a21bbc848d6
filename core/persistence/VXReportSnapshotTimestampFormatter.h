#pragma once

// Reads the time cells of a CSV snapshot. The export writes every time with two fraction
// digits in the exporting user's locale, so the third character from the end of a time is its
// decimal separator: "1700000000.25" or "1700000000,25". When that is "." or ",", the other one
// is taken as the grouping separator; anything else falls back to the reading user's locale.
//
// The formatter is built from the first time cell of a file that can give it and kept for
// the rest of that file. Each parse has its own, so files parsed at the same time cannot
// disturb each other's inference.

#include <QChar>
#include <QLocale>
#include <QString>

#include <functional>
#include <string_view>

class VXReportSnapshotTimestampFormatter
{
public:
    enum class Kind { None, Decimal, Localized };

    // Messages logged when the formatter is built ("%@" filled with the separators).
    static const QString kInferredMessage;   // "decimal separator: <%@> (inferred grouping separator: <%@>)"
    static const QString kLocalizedMessage;   // "decimal separator: <%@> (falling back to localized formatting)"

    // Where the lines saying how the formatter was built go; without a sink, to the log.
    void setMessageSink(std::function<void(const QString &)> sink) { m_messageSink = std::move(sink); }

    // Drops the formatter: the next time cell builds a new one.
    void reset() { m_kind = Kind::None; }
    bool isBuilt() const { return m_kind != Kind::None; }
    Kind kind() const { return m_kind; }
    QChar decimalSeparator() const { return m_decimal; }
    QChar groupingSeparator() const { return m_grouping; }

    // Builds the formatter from a time cell (UTF-8) and logs which separators it uses. False,
    // with no formatter, when the cell has fewer than 4 characters.
    bool rebuildWithCell(std::string_view cell);

    // The cell's number, or 0 when it is not one (or no formatter is built). Blanks around
    // the number are allowed; grouping separators are skipped before the decimal separator.
    // Read exactly: the nearest double to the written decimal.
    double numberFromCell(std::string_view cell) const;

    // One interval of a line: the formatter is built from the begin cell first when
    // `resetFormatter` is set or none is built yet. False when it cannot be built, when a time
    // is not above 0.001 s (unreadable cells read as 0, and the zero cells an export writes
    // into the other stream's columns end here), is not finite, or when the interval is not
    // longer than 0.001 s.
    bool intervalFromCells(std::string_view beginCell, std::string_view endCell, bool resetFormatter, double *begin,
                           double *end);

private:
    void report(const QString &message) const;

    Kind m_kind = Kind::None;
    QChar m_decimal;
    QChar m_grouping;
    QLocale m_locale;
    std::function<void(const QString &)> m_messageSink;
};
