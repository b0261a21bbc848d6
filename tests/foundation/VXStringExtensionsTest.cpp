#include "VXStringExtensions.h"
#include "VXClock.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDate>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTimeZone>
#include <QTranslator>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <pwd.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QString u16(const char16_t *text)
{
    return QString::fromUtf16(text);
}

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInfinity = std::numeric_limits<double>::infinity();

// Puts the default locale back after each test that changes it.
class LocaleTest : public ::testing::Test
{
protected:
    void TearDown() override { QLocale::setDefault(m_saved); }
    void use(QLocale::Language language, QLocale::Territory territory)
    {
        QLocale::setDefault(QLocale(language, territory));
    }

private:
    QLocale m_saved;
};

class FixedClock final : public VXClock
{
public:
    FixedClock(double now, QTimeZone zone) : m_now(now), m_zone(std::move(zone)) { }
    double now() const override { return m_now; }
    QTimeZone timeZone() const override { return m_zone; }

private:
    double m_now;
    QTimeZone m_zone;
};

}   // namespace

// ---- Durations

using Durations = LocaleTest;

TEST_F(Durations, ClockFormBelowADay)
{
    use(QLocale::English, QLocale::UnitedStates);
    struct Case {
        double interval;
        const char16_t *text;
    };
    const Case cases[] = {
        {0.999, u"-"},   // fractions are dropped, never rounded
        {1, u"0:01"},         {5, u"0:05"},         {59.9, u"0:59"},
        {60, u"1:00"},        {-65, u"1:05"},   // the sign carries no meaning
        {599, u"9:59"},       {3599, u"59:59"},     {3599.99, u"59:59"},
        {3600, u"1:00:00"},   {3661.5, u"1:01:01"}, {-3600, u"1:00:00"},
        {36000, u"10:00:00"}, {86399, u"23:59:59"}, {86399.999, u"23:59:59"},
    };
    for (const Case &c : cases) {
        for (const bool days : {true, false})
            EXPECT_EQ(stringWithTimeInterval(c.interval, false, days), u16(c.text))
                << c.interval << (days ? " days" : "");
    }
    // Zero: empty with eatZero, a dash without. eatZero changes nothing else.
    EXPECT_EQ(stringWithTimeInterval(0, true, true), u""_s);
    EXPECT_EQ(stringWithTimeInterval(0, false, true), u"-"_s);
    EXPECT_EQ(stringWithTimeInterval(-0.5, true, false), u""_s);
    EXPECT_EQ(stringWithTimeInterval(5, true, true), u"0:05"_s);
    EXPECT_EQ(stringWithTimeInterval(3600, true, false), u"1:00:00"_s);
}

TEST_F(Durations, DaysOnAndOff)
{
    use(QLocale::English, QLocale::UnitedStates);
    // Days off: hours are not limited.
    EXPECT_EQ(stringWithTimeInterval(86400, false, false), u"24:00:00"_s);
    EXPECT_EQ(stringWithTimeInterval(86401, false, false), u"24:00:01"_s);
    EXPECT_EQ(stringWithTimeInterval(360000, true, false), u"100:00:00"_s);
    EXPECT_EQ(stringWithTimeInterval(-129600, false, false), u"36:00:00"_s);

    // Days on: one trimmed fraction digit.
    EXPECT_EQ(stringWithTimeInterval(86400, false, true), u"1 day"_s);
    EXPECT_EQ(stringWithTimeInterval(86400, true, true), u"1 day"_s);
    EXPECT_EQ(stringWithTimeInterval(90000, false, true), u"1 day"_s);   // 1.04 prints 1.0
    EXPECT_EQ(stringWithTimeInterval(129600, false, true), u"1.5 days"_s);
    EXPECT_EQ(stringWithTimeInterval(-129600, false, true), u"1.5 days"_s);
    EXPECT_EQ(stringWithTimeInterval(172800, false, true), u"2 days"_s);
    EXPECT_EQ(stringWithTimeInterval(169344, false, true), u"2 days"_s);   // 1.96 prints 2.0
    EXPECT_EQ(stringWithTimeInterval(864000, false, true), u"10 days"_s);   // not "1 days"
    EXPECT_EQ(stringWithTimeInterval(8640000, false, true), u"100 days"_s);
    EXPECT_EQ(stringWithTimeInterval(95040, false, true), u"1.1 days"_s);
}

TEST_F(Durations, NaNAndInfinityHaveDefinedTexts)
{
    use(QLocale::English, QLocale::UnitedStates);
    // NaN counts as no time at all.
    EXPECT_EQ(stringWithTimeInterval(kNaN, true, true), u""_s);
    EXPECT_EQ(stringWithTimeInterval(kNaN, false, false), u"-"_s);
    // Infinity saturates at 2^64 - 1 seconds.
    EXPECT_EQ(stringWithTimeInterval(kInfinity, false, false), u"5124095576030431:00:15"_s);
    EXPECT_EQ(stringWithTimeInterval(-kInfinity, true, false), u"5124095576030431:00:15"_s);
    EXPECT_EQ(stringWithTimeInterval(1e300, false, true), u"213503982334601.3 days"_s);
    EXPECT_EQ(stringWithTimeInterval(-kInfinity, false, true), u"213503982334601.3 days"_s);
}

TEST_F(Durations, DecimalCommaInGerman)
{
    use(QLocale::German, QLocale::Germany);
    EXPECT_EQ(stringWithTimeInterval(129600, false, true), u"1,5 days"_s);
    EXPECT_EQ(stringWithTimeInterval(864000, false, true), u"10 days"_s);
    EXPECT_EQ(stringWithTimeInterval(90000, false, true), u"1 day"_s);   // "1,0" loses its comma too
    EXPECT_EQ(stringWithTimeInterval(3661, false, true), u"1:01:01"_s);
}

namespace {

// A translation of the two day texts, as a translation file would give them.
class DayTexts final : public QTranslator
{
public:
    DayTexts(QString oneDay, QString days) : m_oneDay(std::move(oneDay)), m_days(std::move(days)) { }
    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *source, const char *, int) const override
    {
        if (qstrcmp(source, "1 day") == 0)
            return m_oneDay;
        return qstrcmp(source, "%@ days") == 0 ? m_days : QString();
    }

private:
    QString m_oneDay;
    QString m_days;
};

}   // namespace

// The texts prepared once for a table write what the function writes call by call, under a
// translation whose placeholder stands anywhere or nowhere, and in the locale's separator.
TEST_F(Durations, PreparedTextsUnderATranslation)
{
    int argc = 1;
    char name[] = "test_foundation_formatting";
    char *argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    struct Row {
        const char16_t *oneDay;   // null: no translation
        const char16_t *days;
        QLocale::Language language;
        double interval;
        bool eatZero;
        bool inDays;
        const char16_t *text;
    };
    const Row rows[] = {
        {nullptr, nullptr, QLocale::English, 129600, false, true, u"1.5 days"},
        {nullptr, nullptr, QLocale::English, 90000, false, true, u"1 day"},
        {nullptr, nullptr, QLocale::English, 129600, false, false, u"36:00:00"},
        {nullptr, nullptr, QLocale::English, 0, true, true, u""},
        {nullptr, nullptr, QLocale::English, 0.5, false, true, u"-"},
        {nullptr, nullptr, QLocale::German, 1e300, false, true, u"213503982334601,3 days"},
        // Tenths of a day rounded to the nearest, a tie to the even one.
        {nullptr, nullptr, QLocale::English, 99359, false, true, u"1.1 days"},
        {nullptr, nullptr, QLocale::English, 99361, false, true, u"1.2 days"},
        {nullptr, nullptr, QLocale::English, 108000, false, true, u"1.2 days"},
        {nullptr, nullptr, QLocale::English, 116640, false, true, u"1.4 days"},
        {nullptr, nullptr, QLocale::English, 1099511627775, false, true, u"12725829 days"},
        {nullptr, nullptr, QLocale::English, 1099511627776, false, true, u"12725829 days"},
        {u"1 Tag", u"%@ Tage", QLocale::German, 129600, false, true, u"1,5 Tage"},
        {u"1 Tag", u"%@ Tage", QLocale::German, 86400, true, true, u"1 Tag"},
        {u"1 Tag", u"%@ Tage", QLocale::German, 864000, false, true, u"10 Tage"},
        {u"ein Tag", u"seit %@ Tagen!", QLocale::German, 95040, false, true, u"seit 1,1 Tagen!"},
        {u"ein Tag", u"seit %@ Tagen!", QLocale::English, 95040, false, true, u"seit 1.1 Tagen!"},
        {u"ein Tag", u"Tage: %@", QLocale::German, 172800, false, true, u"Tage: 2"},
        {u"ein Tag", u"viele Tage", QLocale::German, 172800, false, true, u"viele Tage"},
        {u"ein Tag", u"viele Tage", QLocale::German, 3661, false, true, u"1:01:01"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(u"%1 in \"%2\""_s.arg(row.interval).arg(row.days ? u16(row.days) : u"English"_s).toStdString());
        use(row.language, QLocale::AnyTerritory);
        std::optional<DayTexts> translation;
        if (row.oneDay) {
            translation.emplace(u16(row.oneDay), u16(row.days));
            ASSERT_TRUE(QCoreApplication::installTranslator(&*translation));
        }
        const VXDurationTexts prepared;
        const std::string expected = u16(row.text).toStdString();
        EXPECT_EQ(prepared.text(row.interval, row.eatZero, row.inDays).toStdString(), expected);
        EXPECT_EQ(stringWithTimeInterval(row.interval, row.eatZero, row.inDays).toStdString(), expected);
        if (translation)
            QCoreApplication::removeTranslator(&*translation);
    }
}

TEST_F(Durations, TheSettingDecidesAndDefaultsToDays)
{
    use(QLocale::English, QLocale::UnitedStates);
    // The store watches its file, which takes an application object.
    int argc = 1;
    char name[] = "test_foundation_formatting";
    char *argv[] = {name, nullptr};
    const QCoreApplication application(argc, argv);
    VXUserDefaults *const saved = VXUserDefaults::standard();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    {
        VXUserDefaults defaults(VXUserDefaults::kDomain, folder.path());
        VXUserDefaults::setStandard(&defaults);
        VXDictionaryRef registered = VXMakeDictionary();
        registered->insert(kExpressTimeIntervalsAsDaysKey, true);
        defaults.registerDefaults(registered);

        EXPECT_TRUE(expressTimeIntervalsAsDays());
        EXPECT_EQ(stringWithTimeInterval(129600, false), u"1.5 days"_s);
        defaults.setBool(false, u"Express Time Intervals As Days"_s);
        EXPECT_FALSE(expressTimeIntervalsAsDays());
        EXPECT_EQ(stringWithTimeInterval(129600, false), u"36:00:00"_s);
        EXPECT_EQ(stringWithTimeInterval(0, false), u"-"_s);
        EXPECT_EQ(stringWithTimeInterval(0, true), u""_s);
        defaults.removeObjectForKey(kExpressTimeIntervalsAsDaysKey);
        EXPECT_EQ(stringWithTimeInterval(129600, false), u"1.5 days"_s);
        VXUserDefaults::setStandard(nullptr);
    }
    // Without a store the registered default (days) holds.
    EXPECT_TRUE(expressTimeIntervalsAsDays());
    EXPECT_EQ(stringWithTimeInterval(86400, true), u"1 day"_s);
    VXUserDefaults::setStandard(saved);
}

// ---- Localized decimals

using LocalizedDecimals = LocaleTest;

TEST_F(LocalizedDecimals, EnglishFixedPointAndTrim)
{
    use(QLocale::English, QLocale::UnitedStates);
    EXPECT_EQ(localizedStringWithDouble(10.0, 1, true), u"10"_s);
    EXPECT_EQ(localizedStringWithDouble(0.5, 2, true), u"0.5"_s);
    EXPECT_EQ(localizedStringWithDouble(2.0, 1, true), u"2"_s);
    EXPECT_EQ(localizedStringWithDouble(0.04, 1, true), u"0"_s);   // "0.0": the leading zero stays
    EXPECT_EQ(localizedStringWithDouble(-2.5, 1, true), u"-2.5"_s);
    EXPECT_EQ(localizedStringWithDouble(0.75, 1, true), u"0.8"_s);   // no trailing zero: untouched
    EXPECT_EQ(localizedStringWithDouble(100.0, 0, true), u"1"_s);   // the routine's own behaviour
    EXPECT_EQ(localizedStringWithDouble(0.0, 0, true), u""_s);
    // Without trim: the fixed-point text, no grouping, rounded from the exact binary value.
    EXPECT_EQ(localizedStringWithDouble(1709814896.5, 2, false), u"1709814896.50"_s);
    EXPECT_EQ(localizedStringWithDouble(0.0, 2, false), u"0.00"_s);
    EXPECT_EQ(localizedStringWithDouble(10.0, 1, false), u"10.0"_s);
    EXPECT_EQ(localizedStringWithDouble(1.05, 1, false), u"1.1"_s);   // 1.05000000000000004441
    EXPECT_EQ(localizedStringWithDouble(0.25, 1, false), u"0.2"_s);   // an exact tie goes to even
    EXPECT_EQ(localizedStringWithDouble(2.675, 2, false), u"2.67"_s);   // 2.67499999999999982236
    EXPECT_EQ(localizedStringWithDouble(1.5, -1, false), u"1.500000"_s);   // printf's negative precision
    EXPECT_EQ(localizedStringWithDouble(1.0, 32000, false).size(), 102);   // capped at 100 digits
    // Non-finite values print as the C library would.
    EXPECT_EQ(localizedStringWithDouble(kNaN, 1, true), u"nan"_s);
    EXPECT_EQ(localizedStringWithDouble(-kInfinity, 2, false), u"-inf"_s);
}

TEST_F(LocalizedDecimals, GermanCommaAndNoGrouping)
{
    use(QLocale::German, QLocale::Germany);
    EXPECT_EQ(localizedStringWithDouble(1.5, 1, true), u"1,5"_s);
    EXPECT_EQ(localizedStringWithDouble(10.0, 1, true), u"10"_s);
    EXPECT_EQ(localizedStringWithDouble(0.5, 2, true), u"0,5"_s);
    EXPECT_EQ(localizedStringWithDouble(1234567.891, 2, false), u"1234567,89"_s);
    EXPECT_EQ(localizedStringWithDouble(-0.125, 2, false), u"-0,12"_s);
    // The trimming strips "." and ",", not a separator of another kind.
    use(QLocale::Arabic, QLocale::Egypt);
    const QString point = QLocale().decimalPoint();
    if (point != u"."_s && point != u","_s) {
        EXPECT_EQ(localizedStringWithDouble(10.0, 1, true), u"10"_s + point);
        EXPECT_EQ(localizedStringWithDouble(1.5, 1, true), u"1"_s + point + u"5"_s);   // ASCII digits
    }
    // Back in English, the next call follows at once.
    use(QLocale::English, QLocale::UnitedKingdom);
    EXPECT_EQ(localizedStringWithDouble(1.5, 1, true), u"1.5"_s);
}

// ---- Dates and day stamps

using Dates = LocaleTest;

TEST_F(Dates, ReadOutIsTheMediumStyleWithSecondsInTheZone)
{
    const QTimeZone berlin("Europe/Berlin");
    if (!berlin.isValid())
        GTEST_SKIP() << "the time-zone database has no Europe/Berlin (tzdata missing)";
    const double moment = 1709814896.999;   // 2024-03-07 12:34:56.999 UTC, a Thursday

    // The month's short name, no weekday, seconds truncated (not rounded), no zone name, whether
    // the weekday comes first or last and however the zone is written.
    const struct {
        QLocale::Language language;
        QLocale::Territory territory;
        QTimeZone zone;
        QString expected;
    } rows[] = {
        {QLocale::English, QLocale::UnitedStates, QTimeZone::utc(), u"Mar 7, 2024 12:34:56 PM"_s},
        {QLocale::English, QLocale::UnitedKingdom, berlin, u"7 Mar 2024 13:34:56"_s},
        {QLocale::German, QLocale::Germany, berlin, u"7. März 2024 13:34:56"_s},
        {QLocale::Japanese, QLocale::Japan, berlin, u"2024年3月7日 13時34分56秒"_s},
        {QLocale::Spanish, QLocale::Spain, berlin, u"7 de mar de 2024 13:34:56"_s},
    };
    for (const auto &row : rows) {
        use(row.language, row.territory);
        SCOPED_TRACE(QLocale().name().toStdString());
        EXPECT_EQ(stringWithTimeIntervalAsDate(moment, row.zone).toStdString(), row.expected.toStdString());
    }

    // Beyond the range of dates: empty, not a crash.
    EXPECT_EQ(stringWithTimeIntervalAsDate(kNaN, berlin), QString());
    EXPECT_EQ(stringWithTimeIntervalAsDate(kInfinity), QString());
    EXPECT_EQ(stringWithTimeIntervalAsDate(1e300), QString());
}

TEST(DayStamp, FollowsTheClockAndItsZone)
{
    const QTimeZone berlin("Europe/Berlin");
    const QTimeZone losAngeles("America/Los_Angeles");
    if (!berlin.isValid() || !losAngeles.isValid())
        GTEST_SKIP() << "the time-zone database is missing (tzdata)";
    const double lateEvening = 1709854200.0;   // 2024-03-07 23:30 UTC
    int hour = -1;
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(lateEvening, QTimeZone::utc()), &hour), u"2024-03-07"_s);
    EXPECT_EQ(hour, 23);
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(lateEvening, berlin), &hour), u"2024-03-08"_s);
    EXPECT_EQ(hour, 0);
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(lateEvening, losAngeles), &hour), u"2024-03-07"_s);
    EXPECT_EQ(hour, 15);
    // Across the change to summer time in Berlin (2024-03-31 01:00 UTC): 01:59 then 03:00.
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(1711846740.0, berlin), &hour), u"2024-03-31"_s);
    EXPECT_EQ(hour, 1);
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(1711846800.0, berlin), &hour), u"2024-03-31"_s);
    EXPECT_EQ(hour, 3);
    // Zero padding, and no hour wanted.
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(978307200.0, QTimeZone::utc())), u"2001-01-01"_s);
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(-30610224000.0, QTimeZone::utc())), u"1000-01-01"_s);
    // A clock gone wrong gives a stamp that matches no real day.
    EXPECT_EQ(currentYearMonthDayStringWithHour(FixedClock(kNaN, berlin), &hour), u"0000-00-00"_s);
    EXPECT_EQ(hour, 0);

    // The system clock's form: today, as the system sees it (allowing for midnight in between).
    const QDate before = QDate::currentDate();
    const QString today = currentYearMonthDayStringWithHour(&hour);
    const QDate after = QDate::currentDate();
    EXPECT_TRUE(today == before.toString(u"yyyy-MM-dd"_s) || today == after.toString(u"yyyy-MM-dd"_s))
        << today.toStdString();
    EXPECT_GE(hour, 0);
    EXPECT_LE(hour, 23);
}

// ---- CSV fields, UUIDs and marks

TEST(CSVStringWithString, QuotesOnlyWhatNeedsIt)
{
    const QString comma = u","_s;
    EXPECT_EQ(CSVStringWithString(QString(), comma), u""_s);
    EXPECT_EQ(CSVStringWithString(u""_s, comma), u""_s);
    EXPECT_EQ(CSVStringWithString(u"Safari"_s, comma), u"Safari"_s);
    EXPECT_EQ(CSVStringWithString(u"  padded  "_s, comma), u"  padded  "_s);
    EXPECT_EQ(CSVStringWithString(u"Inbox, 3 unread"_s, comma), u"\"Inbox, 3 unread\""_s);
    EXPECT_EQ(CSVStringWithString(u"Inbox, 3 unread"_s, u";"_s), u"Inbox, 3 unread"_s);
    EXPECT_EQ(CSVStringWithString(u"a;b"_s, u";"_s), u"\"a;b\""_s);
    EXPECT_EQ(CSVStringWithString(u"a\tb"_s, u"\t"_s), u"\"a\tb\""_s);
    EXPECT_EQ(CSVStringWithString(u"say \"hi\""_s, comma), u"\"say \"\"hi\"\"\""_s);
    EXPECT_EQ(CSVStringWithString(u"\""_s, comma), u"\"\"\"\""_s);
    EXPECT_EQ(CSVStringWithString(u"two\nlines"_s, comma), u"\"two\nlines\""_s);
    EXPECT_EQ(CSVStringWithString(u"old\rmac"_s, comma), u"\"old\rmac\""_s);
    EXPECT_EQ(CSVStringWithString(u"a,\"b\"\r\n"_s, comma), u"\"a,\"\"b\"\"\r\n\""_s);
    // A separator of several characters is searched as a whole; an empty one is never found.
    EXPECT_EQ(CSVStringWithString(u"a | b"_s, u" | "_s), u"\"a | b\""_s);
    EXPECT_EQ(CSVStringWithString(u"a|b"_s, u" | "_s), u"a|b"_s);
    EXPECT_EQ(CSVStringWithString(u"abc"_s, QString()), u"abc"_s);
    EXPECT_FALSE(CSVStringWithString(QString(), comma).isNull());
}

TEST(VXFillFormat, FillsPlaceholdersFromLeftToRight)
{
    const struct {
        QString format;
        QStringList arguments;
        QString filled;
    } rows[] = {
        {u"Report: %@: %@"_s, {u"/tmp/a.csv"_s, u"Front"_s}, u"Report: /tmp/a.csv: Front"_s},
        {u"Total: %@ (%lu%%)"_s, {u"1:00"_s, u"42"_s}, u"Total: 1:00 (42%)"_s},
        // An argument's own placeholder stays as it is: a report named "%@" keeps its name.
        {u"Report: %@: %@"_s, {u"%@"_s, u"Total"_s}, u"Report: %@: Total"_s},
        // Placeholders without an argument stay; a lone "%" at the end too.
        {u"%@ and %@"_s, {u"one"_s}, u"one and %@"_s},
        {u"100%"_s, {u"x"_s}, u"100%"_s},
        {u"%d %@"_s, {u"x"_s}, u"%d x"_s},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.format.toStdString());
        EXPECT_EQ(VXFillFormat(row.format, row.arguments), row.filled);
    }
}

TEST(NewUUIDString, CanonicalUpperCaseAndFresh)
{
    const QRegularExpression form(u"^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"_s);
    QSet<QString> seen;
    for (int i = 0; i < 100; ++i) {
        const QString uuid = newUUIDString();
        EXPECT_TRUE(form.match(uuid).hasMatch()) << uuid.toStdString();
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 100);
}

// ---- Names

TEST(Names, Trimming)
{
    EXPECT_EQ(trimmedString(u" \t Safari \r\n"_s), u"Safari"_s);
    EXPECT_EQ(trimmedString(u16(u"\u00a0\u3000Two  Words\u2028")), u"Two  Words"_s);
    EXPECT_EQ(trimmedString(u" \n "_s), u""_s);

    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"  Safari.app \n"_s), u"Safari"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"Mail.APP"_s), u"Mail"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"x.app"_s), u"x"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u" .app "_s), u".app"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"Foo.app.app"_s), u"Foo.app"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"Foo.apps"_s), u"Foo.apps"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"Foo.app x"_s), u"Foo.app x"_s);
    EXPECT_EQ(trimmedApplicationNameByIgnoringExtension(u"Application"_s), u"Application"_s);
}

TEST(Names, EmptyOrEndsWithCharacterFromSet)
{
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u""_s, u"*"));
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u" \t "_s, u"*"));
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u"Mail*  \t"_s, u"*"));
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u16(u"Mail*\u00a0"), u"*"));
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u"Mail"_s, u"*"));
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u"*Mail"_s, u"*?"));
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u"Mail?"_s, u"*?"));
    // Line breaks are not trimmed: they are the last character.
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u"Mail*\n"_s, u"*"));
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u"\n"_s, u"*"));
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u"Mail\n"_s, u"\n"));
    // Characters outside the BMP are whole characters, in the text and in the set.
    EXPECT_TRUE(isEmptyOrEndsWithCharacterFromSet(u16(u"go \U0001F600 "), u16(u"x\U0001F600")));
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u16(u"go \U0001F601"), u16(u"\U0001F600")));
    EXPECT_FALSE(isEmptyOrEndsWithCharacterFromSet(u"Mail"_s, u""));
}

TEST(Names, SubstringFamily)
{
    const QString path = u"a/b/c"_s;
    EXPECT_EQ(substringBefore(path, u"/"_s, false, false), u"a"_s);
    EXPECT_EQ(substringBefore(path, u"/"_s, true, false), u"a/b"_s);
    EXPECT_EQ(substringAfter(path, u"/"_s, false, false), u"b/c"_s);
    EXPECT_EQ(substringAfter(path, u"/"_s, true, false), u"c"_s);
    EXPECT_EQ(substringBefore(path, u"/"_s, false), u"a"_s);
    EXPECT_EQ(substringAfter(path, u"/"_s, false), u"b/c"_s);
    // Needles of several characters, at the ends.
    const QString title = u"one -- two -- three"_s;
    EXPECT_EQ(substringBefore(title, u" -- "_s, true, false), u"one -- two"_s);
    EXPECT_EQ(substringAfter(title, u" -- "_s, true, false), u"three"_s);
    EXPECT_EQ(substringBefore(title, u"one"_s, false), u""_s);
    EXPECT_EQ(substringAfter(title, u"three"_s, false), u""_s);
    // A missing (or empty) needle: the whole text with the flag, nothing without.
    for (const QString &needle : {u"x"_s, u""_s, QString()}) {
        EXPECT_EQ(substringBefore(path, needle, false, true), path);
        EXPECT_EQ(substringBefore(path, needle, true, true), path);
        EXPECT_EQ(substringAfter(path, needle, true, true), path);
        EXPECT_EQ(substringBefore(path, needle, false), std::nullopt);
        EXPECT_EQ(substringAfter(path, needle, true, false), std::nullopt);
    }
    // Case matters.
    EXPECT_EQ(substringAfter(u"Report.CSV"_s, u".csv"_s, false), std::nullopt);

    EXPECT_EQ(substringBetween(u"x[y]z"_s, u"["_s, u"]"_s, false), u"y"_s);
    EXPECT_EQ(substringBetween(u"[a] [b]"_s, u"["_s, u"]"_s, false), u"a"_s);
    EXPECT_EQ(substringBetween(u"x[yz"_s, u"["_s, u"]"_s, true), u"yz"_s);
    EXPECT_EQ(substringBetween(u"x[yz"_s, u"["_s, u"]"_s, false), std::nullopt);
    EXPECT_EQ(substringBetween(u"xy]z"_s, u"["_s, u"]"_s, true), u"xy"_s);
    EXPECT_EQ(substringBetween(u"xy]z"_s, u"["_s, u"]"_s, false), std::nullopt);
    EXPECT_EQ(substringBetween(u"xyz"_s, u"["_s, u"]"_s, true), u"xyz"_s);
}

// ---- Paths

class Paths : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(m_folder.isValid()); }
    QString path(const QString &relative) const { return m_folder.filePath(relative); }
    QString root() const { return QDir::cleanPath(m_folder.path()); }
    void makeFile(const QString &relative) const
    {
        QFile file(path(relative));
        ASSERT_TRUE(QDir().mkpath(QFileInfo(file).path()));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    // The components of the temporary folder itself: "/", then its names.
    QStringList rootComponents() const { return QStringList {u"/"_s} + root().split(u'/', Qt::SkipEmptyParts); }

private:
    QTemporaryDir m_folder;
};

TEST_F(Paths, FoldersAreFoundAndMade)
{
    makeFile(u"file.txt"_s);
    EXPECT_TRUE(isFolderPath(root()));
    EXPECT_TRUE(isFolderPath(root() + u"/"_s));
    EXPECT_FALSE(isFolderPath(path(u"file.txt"_s)));
    EXPECT_FALSE(isFolderPath(path(u"missing"_s)));
    EXPECT_FALSE(isFolderPath(QString()));
    ASSERT_TRUE(QFile::link(root(), path(u"link"_s)));
    EXPECT_TRUE(isFolderPath(path(u"link"_s)));

    const QString deep = path(u"Reports/2024/03"_s);
    EXPECT_TRUE(checkFolderPathAndCreateIfNecessary(deep));
    EXPECT_TRUE(QFileInfo(deep).isDir());
    EXPECT_TRUE(checkFolderPathAndCreateIfNecessary(deep));
    // A file in the way: no folder, and the file is left alone.
    EXPECT_FALSE(checkFolderPathAndCreateIfNecessary(path(u"file.txt"_s)));
    EXPECT_FALSE(checkFolderPathAndCreateIfNecessary(path(u"file.txt/below"_s)));
    EXPECT_TRUE(QFileInfo(path(u"file.txt"_s)).isFile());
    EXPECT_FALSE(checkFolderPathAndCreateIfNecessary(QString()));

    // A leading "~" is the home folder.
    const QByteArray savedHome = qgetenv("HOME");
    qputenv("HOME", root().toUtf8());
    const bool made = checkFolderPathAndCreateIfNecessary(u"~/Library/Wendle"_s);
    const bool home = checkFolderPathAndCreateIfNecessary(u"~"_s);
    qputenv("HOME", savedHome);
    EXPECT_TRUE(made);
    EXPECT_TRUE(home);
    EXPECT_TRUE(QFileInfo(path(u"Library/Wendle"_s)).isDir());
}

TEST_F(Paths, EqualityIgnoresCase)
{
    EXPECT_TRUE(isEqualToPath(u"/home/Joe/Reports"_s, u"/HOME/joe/reports"_s));
    EXPECT_FALSE(isEqualToPath(u"/home/joe/Reports"_s, u"/home/joe/Report"_s));
    EXPECT_FALSE(isEqualToPath(u"/home/joe"_s, QString()));
    EXPECT_FALSE(isEqualToPath(u""_s, QString()));
    EXPECT_TRUE(isEqualToPath(u""_s, u""_s));
}

TEST_F(Paths, VolumesAreTheFoldersUnderTheMountRoots)
{
    // The login name, as the mount roots are named (USER, else the password database).
    QString user = qEnvironmentVariable("USER");
    if (const passwd *entry = user.isEmpty() ? ::getpwuid(::getuid()) : nullptr)
        user = QString::fromLocal8Bit(entry->pw_name);
    ASSERT_FALSE(user.isEmpty());
    const QString media = u"/media/"_s + user;
    const QString runMedia = u"/run/media/"_s + user;
    const struct {
        QString path;
        QString volume;
    } rows[] = {
        {media + u"/Backup/Reports/day.csv"_s, media + u"/Backup"_s},
        {runMedia + u"/My Disk/x"_s, runMedia + u"/My Disk"_s},
        {u"/mnt/usb"_s, u"/mnt/usb"_s},
        {u"/mnt//x"_s, QString()},
        {media + u"/"_s, QString()},
        {u"/media/someone-else-entirely/Disk/x"_s, u"/"_s},
        {u"/mntx/a/b"_s, u"/"_s},
        {u"/home/joe/Reports"_s, u"/"_s},
        {QString(), u"/"_s},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.path.toStdString());
        EXPECT_EQ(volumePath(row.path), row.volume);
    }
    // A volume that is not mounted is currently not available; a missing path elsewhere is not found.
    EXPECT_EQ(readablePathRepresentation(media + u"/NoSuchDisk-wendle/Reports"_s),
              media + u16(u"/NoSuchDisk-wendle/Reports \u2014 Currently not available"));
    EXPECT_EQ(readablePathRepresentation(u"/mnt//Reports"_s), u16(u"/mnt//Reports \u2014 Currently not available"));
}

TEST_F(Paths, DisplayComponents)
{
    makeFile(u"Reports/2024/day.csv"_s);
    const QString file = path(u"Reports/2024/day.csv"_s);
    const QStringList all = rootComponents() + QStringList {u"Reports"_s, u"2024"_s, u"day.csv"_s};

    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, QString(), true), all);
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, QString(), false), all.mid(0, all.size() - 1));
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, root(), true),
              (QStringList {u"Reports"_s, u"2024"_s, u"day.csv"_s}));
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, root(), false), (QStringList {u"Reports"_s, u"2024"_s}));
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, path(u"Reports/2024"_s), false), QStringList());
    // A trailing slash or "." in the path changes nothing.
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(path(u"Reports/./2024/"_s), root(), true),
              (QStringList {u"Reports"_s, u"2024"_s}));
    // A base that is missing, or not shorter than the path, counts as none.
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, path(u"missing"_s), true), all);
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(file, file, false), all.mid(0, all.size() - 1));
    // The root alone keeps its one component.
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(u"/"_s, QString(), false), QStringList {u"/"_s});
    // A missing path has none.
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(path(u"missing/x"_s), root(), true), std::nullopt);
    EXPECT_EQ(pathComponentsToDisplayRelativeToPath(QString(), QString(), true), std::nullopt);
}

TEST_F(Paths, ReadableRepresentation)
{
    makeFile(u"Reports/2024/day.csv"_s);
    const QString arrow = u16(u" \u25B8 ");
    EXPECT_EQ(readablePathRepresentationRelativeToPath(path(u"Reports/2024/day.csv"_s), root(), true),
              u"Reports"_s + arrow + u"2024"_s + arrow + u"day.csv"_s);
    EXPECT_EQ(readablePathRepresentationRelativeToPath(path(u"Reports/2024/day.csv"_s), root(), false),
              u"Reports"_s + arrow + u"2024"_s);
    EXPECT_EQ(readablePathRepresentation(path(u"Reports"_s)),
              (rootComponents() + QStringList {u"Reports"_s}).join(arrow));
    EXPECT_TRUE(readablePathRepresentation(u"/"_s) == u"/"_s);

    // Missing paths: the path, a spaced em dash and the reason.
    const QString missing = path(u"Reports/1999"_s);
    EXPECT_EQ(readablePathRepresentation(missing), missing + u16(u" \u2014 Not found"));
    EXPECT_EQ(readablePathRepresentationRelativeToPath(missing, root(), false), missing + u16(u" \u2014 Not found"));
}

TEST_F(Paths, ContainerPathsAndDisplayNames)
{
    EXPECT_EQ(
        stringByDeletingWendleContainerPathComponents(
            u"/home/joe/Library/Containers/com.brasswing.WendleClient/Data/Library/Wendle/Configurations/Default.plist"_s),
        u"/home/joe/Library/Wendle/Configurations/Default.plist"_s);
    // Only the first occurrence.
    EXPECT_EQ(
        stringByDeletingWendleContainerPathComponents(
            u"/a/Library/Containers/com.brasswing.WendleClient/Data/Library/b/Library/Containers/com.brasswing.WendleClient/Data/Library/c"_s),
        u"/a/Library/b/Library/Containers/com.brasswing.WendleClient/Data/Library/c"_s);
    EXPECT_EQ(stringByDeletingWendleContainerPathComponents(u"/home/joe/.local/share/Wendle"_s),
              u"/home/joe/.local/share/Wendle"_s);
    EXPECT_EQ(stringByDeletingWendleContainerPathComponents(
                  u"/home/joe/Library/Containers/com.brasswing.Wendle/Data/Library/Wendle"_s),
              u"/home/joe/Library/Containers/com.brasswing.Wendle/Data/Library/Wendle"_s);

    EXPECT_EQ(displayFileName(u"/home/joe/Reports/2024-03-07.csv"_s), u"2024-03-07"_s);
    EXPECT_EQ(displayFileName(u"/home/joe/archive.tar.gz"_s), u"archive.tar"_s);
    EXPECT_EQ(displayFileName(u"/home/joe/.hidden"_s), u".hidden"_s);
    EXPECT_EQ(displayFileName(u"/home/joe/Reports/"_s), u"Reports"_s);
    EXPECT_EQ(displayFileName(u"Default.plist"_s), u"Default"_s);
    EXPECT_EQ(displayFileName(u"/"_s), u"/"_s);
    EXPECT_EQ(displayFileName(u""_s), u""_s);
}
