// The order of the organizer lists: by time (larger first, items with a time before items
// without), then by display name, then by path.

#include "VXItemSorting.h"
#include "VXConfigurationKeys.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

VXDictionaryRef item(const QString &name, std::optional<double> time, std::optional<double> frontTime,
                     const QString &path = QStringLiteral("/p"))
{
    VXDictionaryRef result = dictionary({{VXNameKey, name}, {VXPathKey, path}});
    if (time)
        result->insert(VXTimeKey, *time);
    if (frontTime)
        result->insert(VXFrontTimeKey, *frontTime);
    return result;
}

QStringList sortedNames(std::initializer_list<VXDictionaryRef> items, int column)
{
    VXArrayRef array = VXMakeArray();
    for (const VXDictionaryRef &i : items)
        array->append(i);
    VXSortItemArray(*array, column);
    return namesOf(*array);
}

}   // namespace

TEST(VXItemSorting, EachColumnOrdersByItsTimesThenByName)
{
    const auto a = item(QStringLiteral("a"), 10.0, 1.0);
    const auto b = item(QStringLiteral("b"), 30.0, 0.0);
    const auto c = item(QStringLiteral("c"), std::nullopt, std::nullopt);
    const auto d = item(QStringLiteral("d"), 30.0, 5.0);
    const auto e = item(QStringLiteral("e"), 20.0, std::nullopt);

    EXPECT_EQ(sortedNames({c, e, d, b, a}, 0), (QStringList {u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s}));
    // Front time: a zero front time still comes before none at all.
    EXPECT_EQ(sortedNames({c, e, d, b, a}, 1), (QStringList {u"d"_s, u"a"_s, u"b"_s, u"c"_s, u"e"_s}));
    // Total time, then front time between equal totals.
    EXPECT_EQ(sortedNames({c, e, d, b, a}, 2), (QStringList {u"d"_s, u"b"_s, u"e"_s, u"a"_s, u"c"_s}));
}

TEST(VXItemSorting, NamesCompareIgnoringCaseAndNumbersByValueThenPathsDecide)
{
    // Names that differ only in letter case or in leading zeros are the same name: the path
    // decides between them, compared the same way, and equal paths leave the items the same.
    const struct {
        const char16_t *nameA, *pathA, *nameB, *pathB;
        VXComparisonResult expected;
    } rows[] = {
        {u"Mail", u"/b", u"mail", u"/a", VXOrderedDescending},
        {u"mail", u"/a", u"Mail", u"/b", VXOrderedAscending},
        {u"Mail", u"/a/mail", u"MAIL", u"/A/Mail", VXOrderedSame},
        {u"Track 1", u"/b", u"track 01", u"/a", VXOrderedDescending},
        {u"Item 9", u"/z", u"item 10", u"/a", VXOrderedAscending},
        {u"Same", u"/a/Same", u"Same", u"/b/Same", VXOrderedAscending},
        {u"", u"/a", u"z", u"/z", VXOrderedDescending},
        {u"", u"/a", u"", u"/A", VXOrderedSame},
    };
    for (const auto &row : rows) {
        const auto a = item(QString::fromUtf16(row.nameA), std::nullopt, std::nullopt, QString::fromUtf16(row.pathA));
        const auto b = item(QString::fromUtf16(row.nameB), std::nullopt, std::nullopt, QString::fromUtf16(row.pathB));
        for (int column : {0, 1, 2}) {
            SCOPED_TRACE(QStringLiteral("%1 %2 | %3 %4 | column %5")
                             .arg(QString::fromUtf16(row.nameA), QString::fromUtf16(row.pathA),
                                  QString::fromUtf16(row.nameB), QString::fromUtf16(row.pathB))
                             .arg(column)
                             .toStdString());
            EXPECT_EQ(VXSortItemsWithSortColumn(VXValue(a), VXValue(b), column), row.expected);
            EXPECT_EQ(VXSortItemsWithSortColumn(VXValue(b), VXValue(a), column), -row.expected);
        }
    }

    // The string order of the program stays total where a total order is asked for.
    EXPECT_EQ(VXSortStrings(u"Mail", u"mail"), VXOrderedAscending);
    const auto item10 = item(QStringLiteral("Item 10"), std::nullopt, std::nullopt);
    const auto item9 = item(QStringLiteral("item 9"), std::nullopt, std::nullopt);
    const auto unnamed = item(QString(), std::nullopt, std::nullopt);
    EXPECT_EQ(sortedNames({unnamed, item10, item9}, 0), (QStringList {u"item 9"_s, u"Item 10"_s, QString()}));
}

TEST(VXItemSorting, TheCurrentColumnIsProcessWide)
{
    const auto named = item(QStringLiteral("a"), std::nullopt, 1.0);
    const auto longer = item(QStringLiteral("b"), std::nullopt, 9.0);
    const int saved = VXCurrentSortColumn();
    VXSetCurrentSortColumn(0);
    EXPECT_EQ(VXSortItems(VXValue(named), VXValue(longer)), VXOrderedAscending);
    VXSetCurrentSortColumn(1);
    EXPECT_EQ(VXSortItems(VXValue(named), VXValue(longer)), VXOrderedDescending);
    VXSetCurrentSortColumn(saved);
}

TEST(VXItemSorting, NumberValuesAscendWithMissingOnesLast)
{
    const QString key = VXLastTimestampKey;
    const auto early = dictionary({{key, 5.0}});
    const auto late = dictionary({{key, 7}});
    const auto none = VXMakeDictionary();
    const auto text = dictionary({{key, QStringLiteral("1")}});
    EXPECT_EQ(VXSortDictionaryNumberValuesByKey(VXValue(early), VXValue(late), key), VXOrderedAscending);
    EXPECT_EQ(VXSortDictionaryNumberValuesByKey(VXValue(none), VXValue(late), key), VXOrderedDescending);
    EXPECT_EQ(VXSortDictionaryNumberValuesByKey(VXValue(text), VXValue(none), key), VXOrderedSame);
    EXPECT_EQ(VXSortDictionaryNumberValuesByKey(VXValue(late), VXValue(late), key), VXOrderedSame);
}
