#include "VXWhenParser.h"

#include "VXClock.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>

#include <cmath>

namespace {

// The messages' context for translators.
struct Text {
    Q_DECLARE_TR_FUNCTIONS(VXWhenParser)
};

QDateTime localNow(const VXClock &clock)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(clock.now() * 1000.0)), clock.timeZone());
}

double unixTime(const QDateTime &moment)
{
    return static_cast<double>(moment.toMSecsSinceEpoch()) / 1000.0;
}

std::optional<double> failure(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return std::nullopt;
}

}   // namespace

std::optional<double> VXWhenParser::timestampFromText(const QString &text, const VXClock &clock, QString *error)
{
    return timestamp(text, clock, false, error);
}

std::optional<double> VXWhenParser::endTimestampFromText(const QString &text, const VXClock &clock, QString *error)
{
    return timestamp(text, clock, true, error);
}

std::optional<double> VXWhenParser::timestamp(const QString &text, const VXClock &clock, bool endOfDay, QString *error)
{
    const QString when = text.simplified().toLower();
    const QDateTime now = localNow(clock);
    // The start of the day, or of the next: midnight, or the first moment after a clock change
    // that skips it.
    const auto wholeDay = [&](const QDate &day) -> std::optional<double> {
        const QDateTime midnight = (endOfDay ? day.addDays(1) : day).startOfDay(clock.timeZone());
        if (!midnight.isValid())
            return failure(error, Text::tr("\"%1\" is out of range").arg(text));
        return unixTime(midnight);
    };
    if (when == QStringLiteral("now"))
        return clock.now();
    if (when == QStringLiteral("today") || when == QStringLiteral("yesterday"))
        return wholeDay(now.date().addDays(when == QStringLiteral("today") ? 0 : -1));

    static const QRegularExpression ago(QStringLiteral("^(\\d{1,9}) (minute|hour|day|week)s? ago$"));
    const QRegularExpressionMatch agoMatch = ago.match(when);
    if (agoMatch.hasMatch()) {
        const qint64 count = agoMatch.captured(1).toLongLong();
        const QString unit = agoMatch.captured(2);
        if (unit == QStringLiteral("minute"))
            return clock.now() - 60.0 * static_cast<double>(count);
        if (unit == QStringLiteral("hour"))
            return clock.now() - 3600.0 * static_cast<double>(count);
        // Days and weeks are calendar days: the same time of day, across daylight-saving changes.
        const QDateTime then = now.addDays(-count * (unit == QStringLiteral("week") ? 7 : 1));
        if (!then.isValid())
            return failure(error, Text::tr("\"%1\" is too long ago").arg(text));
        return unixTime(then);
    }

    static const QRegularExpression date(
        QStringLiteral("^(\\d{4})-(\\d{2})-(\\d{2})(?:[ t](\\d{1,2}):(\\d{2})(?::(\\d{2}))?)?$"));
    const QRegularExpressionMatch dateMatch = date.match(when);
    if (dateMatch.hasMatch()) {
        const QDate day(dateMatch.captured(1).toInt(), dateMatch.captured(2).toInt(), dateMatch.captured(3).toInt());
        if (!day.isValid())
            return failure(error, Text::tr("\"%1\" is not a date").arg(text));
        if (dateMatch.captured(4).isEmpty())
            return wholeDay(day);
        const QTime time(dateMatch.captured(4).toInt(), dateMatch.captured(5).toInt(), dateMatch.captured(6).toInt());
        if (!time.isValid())
            return failure(error, Text::tr("\"%1\" is not a time of day").arg(text));
        return unixTime(QDateTime(day, time, clock.timeZone()));
    }
    return failure(error, Text::tr("\"%1\" is not a time: use %2").arg(text, syntax()));
}

QString VXWhenParser::syntax()
{
    return Text::tr("a date (2026-11-20), a date and time (\"2026-11-20 14:00\"), now, today, yesterday, "
                    "\"N days ago\" or \"N hours ago\"");
}
