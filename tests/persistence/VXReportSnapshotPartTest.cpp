// One part of a snapshot's lines: the table that files a line's names under one item, and the
// lines of a range read into items, periods and log lines in file order.

#include "VXReportSnapshotPart.h"

#include "VXPersistenceTestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Qt::StringLiterals;

using namespace vxtest;

TEST(VXReportSnapshotPart, EachTripleOfNamesIsOneItemHoweverItsNamesStartOrSplit)
{
    VXReportSnapshotPart part;
    // Long names that share their start (longer than what a table entry holds of them) and
    // differ after it or in length only; names that join to the same bytes split differently.
    const std::string start(70, 'w');
    const std::vector<std::array<std::string, 3>> triples = {
        {"", "Mail", start + "x"}, {"", "Mail", start + "y"}, {"", "Mail", start}, {"", "Mail", start + "xx"},
        {"", "Mail", "w"},         {"ab", "c", ""},           {"a", "bc", ""},     {"", "abc", ""},
        {"Pool", "", ""},          {"", "Pool", ""},
    };
    for (std::size_t i = 0; i < triples.size(); ++i)
        EXPECT_EQ(part.itemFor(triples[i][0], triples[i][1], triples[i][2]), i);
    // Thousands more (the table grows many times), then each again finds its own.
    for (int i = 0; i < 5000; ++i)
        part.itemFor("", "App " + std::to_string(i), "");
    for (std::size_t i = 0; i < triples.size(); ++i) {
        EXPECT_EQ(part.itemFor(triples[i][0], triples[i][1], triples[i][2]), i);
        const std::string_view key(part.names.data() + part.items[i].nameOffset, part.items[i].nameLength);
        const auto names = VXReportSnapshotPart::namesOfKey(key);
        EXPECT_EQ((std::array<std::string, 3> {std::string(names[0]), std::string(names[1]), std::string(names[2])}),
                  triples[i]);
    }
    EXPECT_EQ(part.itemFor("", "App 4999", ""), triples.size() + 4999);
    EXPECT_EQ(part.items.size(), triples.size() + 5000);
}

TEST(VXReportSnapshotPart, LinesBecomeItemsPeriodsAndMessagesInFileOrder)
{
    VXEnsureCoreApplication();
    LogCapture captured;
    const std::string text = "Mail,Inbox,100.00,200.00\n"
                             "Mail,,300.00,400.00\n"
                             "wrong\n"
                             ",Untitled,500.00,600.00\n"
                             ",,700.00,800.00\n"
                             "Mail,Inbox,0.00,0.00\n"
                             "Mail,Inbox,900.00,950.00\n\n\n"
                             "x,y";
    VXReportSnapshotHeader header;
    header.columnCount = 4;
    header.kept = {{0, VXApplicationSlot}, {1, VXWindowSlot}, {2, VXForegroundBeginSlot}, {3, VXForegroundEndSlot}};
    header.hasForeground = true;
    VXReportSnapshotScanner scanner(text.data(), text.data() + text.size(), ',');
    VXReportSnapshotPart part;
    part.readLines(scanner, header, false);
    part.collectCounts();

    ASSERT_EQ(part.items.size(), 3u);   // Mail/Inbox, Mail, */Untitled; the line naming nothing is skipped
    EXPECT_EQ(VXReportSnapshotPart::namesOfKey(
                  std::string_view(part.names).substr(part.items[2].nameOffset, part.items[2].nameLength))[1],
              "*");
    std::vector<std::array<double, 3>> periods;
    for (const VXReportSnapshotPart::Period &period : part.periods)
        periods.push_back({double(period.item), period.begin, period.end});
    EXPECT_EQ(periods,
              (std::vector<std::array<double, 3>> {{0, 100, 200}, {1, 300, 400}, {2, 500, 600}, {0, 900, 950}}));
    EXPECT_EQ(part.items[0].counts[0], 2u);
    EXPECT_EQ(part.first, 100);
    EXPECT_EQ(part.last, 950);
    EXPECT_TRUE(part.foregroundActivity);
    EXPECT_FALSE(part.totalActivity);
    ASSERT_EQ(part.wrongLines, 2u);
    ASSERT_EQ(part.messages.size(), 2u);
    EXPECT_TRUE(part.messages[0].countsAsWrongLine);
    EXPECT_EQ(part.messages[0].text, u"number of columns is not 4 in CSV line: wrong"_s);
    EXPECT_EQ(part.messages[1].text, u"number of columns is not 4 in CSV line: x,y"_s);
}
