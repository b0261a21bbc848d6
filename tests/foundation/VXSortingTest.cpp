#include "VXSorting.h"
#include "VXNumberExtensions.h"
#include "VXSeededRandom.h"

#include <QLocale>
#include <QStringList>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString u16(const char16_t *text)
{
    return QString::fromUtf16(text);
}

QStringList sorted(QStringList list)
{
    std::sort(list.begin(), list.end(), VXStringOrder());
    return list;
}

// Random names from pieces where the order has something to decide: case, digit runs with and
// without leading zeros, non-ASCII letters, characters outside the BMP, blanks and punctuation.
std::vector<QString> randomNames(VXSeededRandom &random, int count)
{
    const std::vector<QString> pieces = {
        u"a"_s,         u"A"_s,
        u"b"_s,         u"B"_s,
        u"z"_s,         u" "_s,
        u"-"_s,         u"_"_s,
        u"."_s,         u"0"_s,
        u"00"_s,        u"1"_s,
        u"01"_s,        u"9"_s,
        u"10"_s,        u"007"_s,
        u"42"_s,        u16(u"\u00e4"),
        u16(u"\u00c4"), u16(u"\u00e9"),
        u16(u"\u03c3"), u16(u"\u03a3"),
        u16(u"\u03c2"), u16(u"\u212a"),
        u"k"_s,         u16(u"\U0001F600"),
        u16(u"\uFFFD"), u16(u"\u0661"),
    };
    std::uniform_int_distribution<int> length(0, 5);
    std::uniform_int_distribution<std::size_t> piece(0, pieces.size() - 1);
    std::vector<QString> names;
    for (int i = 0; i < count; ++i) {
        QString name;
        for (int n = length(random); n > 0; --n)
            name += pieces[piece(random)];
        names.push_back(name);
    }
    return names;
}

}   // namespace

TEST(VXSortStrings, EmptyTextSortsLast)
{
    EXPECT_EQ(VXSortStrings(u"", u"a"), VXOrderedDescending);
    EXPECT_EQ(VXSortStrings(u"a", u""), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"", u""), VXOrderedSame);
    EXPECT_EQ(VXSortStrings(QString(), u""), VXOrderedSame);
    EXPECT_EQ(VXSortStrings(u"", u" "), VXOrderedDescending);   // a blank is text
    EXPECT_EQ(sorted({u""_s, u"b"_s, QString(), u"a"_s}), (QStringList {u"a"_s, u"b"_s, u""_s, QString()}));
}

TEST(VXSortStrings, DigitRunsCompareByValue)
{
    EXPECT_EQ(VXSortStrings(u"Item 9", u"Item 10"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"a2", u"A10"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"a1b10", u"a1b2"), VXOrderedDescending);
    // Longer than any machine integer: compared digit by digit, no overflow.
    EXPECT_EQ(VXSortStrings(u"n123456789012345678901234567891", u"n123456789012345678901234567890"),
              VXOrderedDescending);
    // Leading zeros do not change the value: "08" sits between 7 and 9.
    EXPECT_EQ(sorted({u"Take 9"_s, u"Take 08"_s, u"Take 7"_s, u"Take 10"_s}),
              (QStringList {u"Take 7"_s, u"Take 08"_s, u"Take 9"_s, u"Take 10"_s}));
    // A digit run against a non-digit compares as its first digit would (digits lie between "/" and ":").
    EXPECT_EQ(VXSortStrings(u"a10", u"ab"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"a10", u"a:"), VXOrderedAscending);
    // Only ASCII digits form numbers: ARABIC-INDIC DIGIT ONE is a character like any other.
    EXPECT_EQ(VXSortStrings(u16(u"a\u0661"), u"a9"), VXOrderedDescending);
    // A prefix sorts first.
    EXPECT_EQ(VXSortStrings(u"Item", u"Item 1"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"a1", u"a1x"), VXOrderedAscending);
}

TEST(VXSortStrings, CaseFoldsAndTiesBreakDeterministically)
{
    // Case does not group: "apple" before "Banana" (a plain code-point order would put B first).
    EXPECT_EQ(VXSortStrings(u"apple", u"Banana"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u16(u"\u00c4rger"), u16(u"\u00e4rgern")), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u16(u"\u03a3\u03b1"), u16(u"\u03c3\u03b2")), VXOrderedAscending);   // Σα, σβ

    // Texts equal after folding still have an order, by their first difference: upper case first...
    EXPECT_EQ(VXSortStrings(u"Item", u"item"), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u"iTem", u"ItEM"), VXOrderedDescending);   // the first difference decides
    // ...and fewer leading zeros first.
    EXPECT_EQ(VXSortStrings(u"file7", u"file007"), VXOrderedAscending);
    // A tie never outweighs a later real difference.
    EXPECT_EQ(VXSortStrings(u"Item 2", u"item 1"), VXOrderedDescending);
    EXPECT_EQ(VXSortStrings(u"a01b", u"a1c"), VXOrderedAscending);
    // Final sigma and KELVIN SIGN fold with their letters (σ, k).
    EXPECT_EQ(VXSortStrings(u16(u"\u03c2x"), u16(u"\u03c3y")), VXOrderedAscending);
    EXPECT_EQ(VXSortStrings(u16(u"\u212ay"), u"kx"), VXOrderedDescending);
    // Only identical texts are the same.
    EXPECT_EQ(VXSortStrings(u"Item 10", u"Item 10"), VXOrderedSame);
}

TEST(VXSortStrings, NonAsciiInCodePointOrderInEveryLocale)
{
    const QLocale saved;
    const QStringList names
        = {u16(u"\u00e9cole"), u"zebra"_s, u16(u"\u00c5ngstr\u00f6m"), u"Zulu"_s, u16(u"\u00e4pfel"), u"apfel"_s};
    // é (U+00E9) and å after z, whatever a dictionary would say.
    const QStringList expected
        = {u"apfel"_s, u"zebra"_s, u"Zulu"_s, u16(u"\u00e4pfel"), u16(u"\u00c5ngstr\u00f6m"), u16(u"\u00e9cole")};
    for (const auto language : {QLocale::English, QLocale::German, QLocale::Swedish, QLocale::Turkish}) {
        QLocale::setDefault(QLocale(language));
        EXPECT_EQ(sorted(names), expected) << QLocale().name().toStdString();
        // No Turkish dotless i: I folds to i everywhere.
        EXPECT_EQ(VXSortStrings(u"I", u"i"), VXOrderedAscending);
        EXPECT_EQ(VXSortStrings(u"Ix", u"iy"), VXOrderedAscending);
    }
    QLocale::setDefault(saved);

    // By code point, not by UTF-16 unit: U+1F600 (a surrogate pair, D83D DE00) after U+FFFD.
    EXPECT_EQ(VXSortStrings(u16(u"a\U0001F600"), u16(u"a\uFFFD")), VXOrderedDescending);
    // A lone surrogate stands for itself and does not crash.
    const char16_t lone[] = {u'a', 0xD800, 0};
    EXPECT_EQ(VXSortStrings(QStringView(lone), u16(u"a\uFFFD")), VXOrderedAscending);
}

TEST(VXSortStrings, IsATotalOrder)
{
    VXSeededRandom random(20240307);
    std::vector<QString> names = randomNames(random, 400);

    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = 0; j < names.size(); ++j) {
            const int forward = VXSortStrings(names[i], names[j]);
            const int backward = VXSortStrings(names[j], names[i]);
            ASSERT_EQ(forward, -backward) << names[i].toStdString() << " / " << names[j].toStdString();
            ASSERT_EQ(forward == 0, names[i] == names[j]) << names[i].toStdString() << " / " << names[j].toStdString();
        }
    }

    // Sorted, every earlier name precedes every later one: this fails for any intransitive triple
    // the sort runs into.
    std::sort(names.begin(), names.end(), VXStringOrder());
    for (std::size_t i = 0; i < names.size(); ++i) {
        for (std::size_t j = i + 1; j < names.size(); ++j)
            ASSERT_LE(VXSortStrings(names[i], names[j]), 0)
                << names[i].toStdString() << " / " << names[j].toStdString();
    }
}

TEST(VXSortAbsoluteDoubleNumbers, AscendingByMagnitude)
{
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(1.0, -2.0), VXOrderedAscending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(-3.0, 2.0), VXOrderedDescending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(5.0, -5.0), VXOrderedSame);   // a begin and an end at one instant
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(0.0, -0.0), VXOrderedSame);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(nan, 1e300), VXOrderedDescending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(-std::numeric_limits<double>::infinity(), nan), VXOrderedAscending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(nan, -nan), VXOrderedSame);

    // Boxed values: a value that is no number counts as 0.
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(VXValue(1709814896.5), VXValue(-1709814890.0)), VXOrderedDescending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(VXValue(u"12"_s), VXValue(0.5)), VXOrderedAscending);
    EXPECT_EQ(VXSortAbsoluteDoubleNumbers(VXValue(7), VXValue(-7.0)), VXOrderedSame);

    // An event log sorted with it: magnitudes ascend, NaN last.
    std::vector<double> log = {-30.0, nan, 10.0, -20.0, 25.0, 5.0};
    std::sort(log.begin(), log.end(), [](double a, double b) { return VXSortAbsoluteDoubleNumbers(a, b) < 0; });
    const std::vector<double> firstFive(log.begin(), log.begin() + 5);
    EXPECT_EQ(firstFive, (std::vector<double> {5.0, 10.0, -20.0, 25.0, -30.0}));
    EXPECT_TRUE(std::isnan(log.back()));
}

TEST(VXSimilarAbsoluteTimeIntervals, StrictlyBelowOneMillisecond)
{
    EXPECT_TRUE(VXSimilarAbsoluteTimeIntervals(5.0, -5.0009));
    EXPECT_FALSE(VXSimilarAbsoluteTimeIntervals(5.0, 5.001));
    EXPECT_FALSE(VXSimilarAbsoluteTimeIntervals(0.0, 0.001));   // exactly the threshold
    // At the size of today's timestamps.
    const double now = 1709814896.0;
    EXPECT_TRUE(VXSimilarAbsoluteTimeIntervals(now, -(now + 0.0009)));
    EXPECT_FALSE(VXSimilarAbsoluteTimeIntervals(now, now + 0.0011));

    // Bad input gives an answer, not a crash.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_FALSE(VXSimilarAbsoluteTimeIntervals(nan, nan));
    EXPECT_FALSE(VXSimilarAbsoluteTimeIntervals(inf, -inf));
    EXPECT_TRUE(VXSimilarAbsoluteTimeIntervals(1e300, -1e300));
}

TEST(VXNumberExtensions, NumbersReadAsTime)
{
    EXPECT_EQ(timeIntervalValue(numberWithTimeInterval(2.5)), 2.5);
    EXPECT_TRUE(numberWithTimeInterval(2.5).isReal());
    EXPECT_EQ(timeIntervalValue(VXValue(600)), 600.0);
    EXPECT_EQ(timeIntervalValue(VXValue(true)), 1.0);
    // Anything that is no number reads as 0 seconds, also a text that looks like one.
    EXPECT_EQ(timeIntervalValue(VXValue(u"12.5"_s)), 0.0);
    EXPECT_EQ(timeIntervalValue(VXValue::dateFromUnixTime(1709814896.0)), 0.0);

    const QDateTime moment(QDate(2024, 3, 7), QTime(12, 34, 56, 789), QTimeZone::utc());
    const VXValue boxed = numberWithDate(moment);
    EXPECT_DOUBLE_EQ(timeIntervalValue(boxed), 1709814896.789);
    EXPECT_EQ(dateValue(boxed), moment);
    EXPECT_EQ(dateValue(VXValue(u"text"_s)), QDateTime::fromMSecsSinceEpoch(0, QTimeZone::utc()));
    EXPECT_EQ(timeIntervalValue(numberWithDate(QDateTime())), 0.0);
    EXPECT_FALSE(dateValue(VXValue(std::numeric_limits<double>::quiet_NaN())).isValid());
    EXPECT_FALSE(dateValue(VXValue(1e300)).isValid());
}
