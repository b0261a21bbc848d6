// libFuzzer target: the WHEN words of `wendle export` and `wendle summary`, read in any time
// zone at any moment a system clock may show. A refused text says why; an accepted one gives a
// finite time, and the words for the past are not after now, today begins in the last day and
// yesterday in the last two; as the end of a range it is no earlier, and at most a day later.
//
// Input: a line with the zone's ID (UTC when it names none), a line with the clock's Unix
// seconds (kept between 1970 and 2100), then the text.

#include "VXFuzzTargets.h"

#include "VXClock.h"
#include "VXWhenParser.h"

#include <QByteArrayList>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace {

const char kTarget[] = "WHEN reader";
constexpr qint64 kLatestClock = 4102444800;   // 2100-01-01

class FixedClock final : public VXClock
{
public:
    FixedClock(double now, const QTimeZone &zone) : m_now(now), m_zone(zone) { }
    double now() const override { return m_now; }
    QTimeZone timeZone() const override { return m_zone; }

private:
    double m_now;
    QTimeZone m_zone;
};

QTimeZone zoneNamed(const QByteArray &id)
{
    // Only the zones the system has: any other ID would only test Qt's search for its file.
    static const QList<QByteArray> available = QTimeZone::availableTimeZoneIds();
    static const QSet<QByteArray> known(available.cbegin(), available.cend());
    return known.contains(id) ? QTimeZone(id) : QTimeZone::utc();
}

}   // namespace

int VXFuzzWhen(const std::uint8_t *data, std::size_t size)
{
    const QByteArrayList lines
        = QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)).split('\n');
    if (lines.size() < 3)
        return 0;
    const qint64 seconds = std::clamp<qint64>(lines[1].toLongLong(), 0, kLatestClock);
    const FixedClock clock(static_cast<double>(seconds), zoneNamed(lines[0]));
    const QByteArray text = lines.mid(2).join('\n');

    QString error;
    const std::optional<double> when = VXWhenParser::timestampFromText(QString::fromUtf8(text), clock, &error);
    if (!when) {
        if (error.isEmpty())
            VXFuzzFail(kTarget, QStringLiteral("a text is refused without a reason"));
        return 0;
    }
    VXFuzzCountAccepted();
    const QString words = QString::fromUtf8(text).simplified().toLower();
    const double now = clock.now();
    // A day is at most 25 hours long, and a day left out by a zone moves midnight by one more.
    constexpr double kLongestDay = 26 * 3600;
    const bool wrong = !std::isfinite(*when)
        || ((words.endsWith(QLatin1StringView(" ago")) || words == u"today" || words == u"yesterday") && *when > now)
        || (words == u"today" && *when < now - kLongestDay) || (words == u"yesterday" && *when < now - 2 * kLongestDay);
    // As the end of a range, a whole day reaches to the next; any other time is the same.
    const std::optional<double> end = VXWhenParser::endTimestampFromText(QString::fromUtf8(text), clock);
    if (end && (*end < *when || *end > *when + kLongestDay))
        VXFuzzFail(kTarget,
                   QStringLiteral("<%1> in %2 at %3 begins at %4 and ends at %5")
                       .arg(QString::fromUtf8(text), QString::fromUtf8(clock.timeZone().id()))
                       .arg(now, 0, 'f', 0)
                       .arg(*when, 0, 'f', 3)
                       .arg(*end, 0, 'f', 3));
    if (wrong)
        VXFuzzFail(kTarget,
                   QStringLiteral("<%1> in %2 at %3 reads as %4")
                       .arg(QString::fromUtf8(text), QString::fromUtf8(clock.timeZone().id()))
                       .arg(now, 0, 'f', 0)
                       .arg(*when, 0, 'f', 3));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzWhen(data, size);
}
#endif
