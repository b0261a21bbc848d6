// The quoting rules of the snapshot reader, on the scanner alone: cells and lines as the rules
// cut them, the line read in one pass against the same line read cell by cell, and the
// placeholder mode.

#include "VXReportSnapshotScanner.h"
#include "VXReportSnapshotParser.h"

#include "VXPersistenceTestSupport.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

using namespace vxtest;

namespace {

using Lines = std::vector<std::vector<std::string>>;

// Every line's cells, read cell by cell, empty lines skipped as the reader skips them.
Lines cellsOf(std::string_view text, char separator)
{
    VXReportSnapshotScanner scanner(text.data(), text.data() + text.size(), separator);
    Lines lines;
    std::string scratch;
    for (scanner.skipLineBreaks(); !scanner.atEnd(); scanner.skipLineBreaks()) {
        std::vector<std::string> cells;
        VXReportSnapshotScanner::Cell cell;
        VXReportSnapshotScanner::CellEnd ending;
        do {
            ending = scanner.scanCell(cell);
            cells.emplace_back(scanner.cellText(cell, scratch, true));
        } while (ending == VXReportSnapshotScanner::CellEnd::Separator);
        lines.push_back(cells);
    }
    return lines;
}

// The same through readLine(), which reads a line without quotes in one pass; it keeps as many
// columns as it has slots.
Lines linesOf(std::string_view text, char separator)
{
    VXReportSnapshotScanner scanner(text.data(), text.data() + text.size(), separator);
    VXReportSnapshotScanner::KeptColumns kept;
    for (std::size_t column = 0; column < VXSlotCount; ++column)
        kept.emplace_back(column, static_cast<VXReportSnapshotSlot>(column));
    Lines lines;
    for (scanner.skipLineBreaks(); !scanner.atEnd(); scanner.skipLineBreaks()) {
        VXReportSnapshotScanner::Cells cells;
        const std::size_t count = scanner.readLine(kept, cells);
        lines.emplace_back(cells.begin(), cells.begin() + std::min<std::size_t>(count, VXSlotCount));
    }
    return lines;
}

}   // namespace

TEST(VXReportSnapshotScanner, QuotesHoldSeparatorsPairsAndLineBreaksAnywhereInACell)
{
    const struct {
        const char *text;
        char separator;
        Lines lines;
    } cases[] = {
        {"a,b,,c", ',', {{"a", "b", "", "c"}}},
        {"a;\"b;c\";d", ';', {{"a", "b;c", "d"}}},
        {"\"say \"\"hi\"\"\",x", ',', {{"say \"hi\"", "x"}}},
        {"\"\"\"\"", ',', {{"\""}}},
        {"part \"one,\" and \"two\",x", ',', {{"part one, and two", "x"}}},
        {"\"two\nlines\"\t\"\xE2\x80\xA8\"", '\t', {{"two\nlines", "\xE2\x80\xA8"}}},
        // Every line break ends a line outside quotes; "\r\n" leaves an empty line, skipped.
        {"a\r\nb\x0B"
         "c\x0C"
         "d\xC2\x85"
         "e\xE2\x80\xA8"
         "f\xE2\x80\xA9"
         "g\n\n",
         ',',
         {{"a"}, {"b"}, {"c"}, {"d"}, {"e"}, {"f"}, {"g"}}},
        // Lead bytes of those breaks that start other characters, and other control bytes, are text.
        {"\xC2\xA0,\xE2\x82\xAC,\x01\x7F", ',', {{"\xC2\xA0", "\xE2\x82\xAC", "\x01\x7F"}}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(cellsOf(row.text, row.separator), row.lines);
        EXPECT_EQ(linesOf(row.text, row.separator), row.lines);
    }

    const char closed[] = "\"a\"\"b\"c";
    EXPECT_EQ(VXReportSnapshotScanner::afterClosingQuote(closed, closed + 7), closed + 6);
    const char unclosed[] = "\"a\"\"";
    EXPECT_EQ(VXReportSnapshotScanner::afterClosingQuote(unclosed, unclosed + 4), unclosed + 4);
}

TEST(VXReportSnapshotScanner, ALineReadInOnePassHasTheCellsOfOneReadCellByCell)
{
    // Lines long enough for the 64-byte blocks of the fast path, with every kind of byte it
    // stops at falling at every place of a block.
    Random random(7);
    const char *const pieces[]
        = {",", "x", "yyyyyyyyyyyy", "\xE2\x80\xA8", "\xE2\x82\xAC", "\xC2\x85", "\xC2\xA0", "\t", "\x01"};
    // Quotes send a line to the reading cell by cell, and breaks end it: both rare.
    const char *const rare[] = {"\n", "\r\n", "\x0B", "\"q,\"", "\"\"", "\"a\nb\""};
    for (int round = 0; round < 2000; ++round) {
        std::string text;
        const int count = random.below(120);
        for (int i = 0; i < count; ++i)
            text += random.chance(0.02) ? rare[random.below(int(std::size(rare)))]
                                        : pieces[random.below(int(std::size(pieces)))];
        if (VXReportSnapshotScanner::countQuotes(text.data(), text.data() + text.size()) % 2 != 0)
            continue;
        SCOPED_TRACE(text);
        Lines expected = cellsOf(text, ',');
        for (auto &line : expected)
            line.resize(std::min<std::size_t>(line.size(), VXSlotCount));
        ASSERT_EQ(linesOf(text, ','), expected);
    }
}

TEST(VXReportSnapshotScanner, InPlaceholderModeQuotedTextsReplaceEveryPlaceholderInFileOrder)
{
    const std::string placeholder = VXReportSnapshotParser::kQuotedStringPlaceholder.toStdString();
    const std::string text = "\"one\"," + placeholder + ",\"t\"\"wo\"\n" + placeholder + "x," + placeholder;
    VXReportSnapshotScanner scanner(text.data(), text.data() + text.size(), ',');
    std::vector<std::pair<const char *, const char *>> quoted;
    for (const char *p = text.data(); (p = std::strchr(p, '"')) != nullptr;) {
        const char *after = VXReportSnapshotScanner::afterClosingQuote(p, text.data() + text.size());
        quoted.emplace_back(p + 1, after - 1);
        p = after;
    }
    scanner.usePlaceholders(quoted);
    ASSERT_TRUE(scanner.usesPlaceholders());
    std::vector<std::string> cells;
    std::string scratch;
    for (scanner.skipLineBreaks(); !scanner.atEnd(); scanner.skipLineBreaks()) {
        VXReportSnapshotScanner::Cell cell;
        VXReportSnapshotScanner::CellEnd ending;
        do {
            ending = scanner.scanCell(cell);
            cells.emplace_back(scanner.cellText(cell, scratch, true));
        } while (ending == VXReportSnapshotScanner::CellEnd::Separator);
    }
    // Five placeholders (three literal ones) and two quoted texts: the first two placeholders
    // take the texts, the rest keep the placeholder's text.
    EXPECT_EQ(cells, (std::vector<std::string> {"one", "t\"wo", placeholder, placeholder + "x", placeholder}));
}
