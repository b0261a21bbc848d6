// The report's geometry with exact numbers: the time mapping, the view's height, rows and
// pinned headers, the pixels a log fills, the read-out label's place and the chooser's grips.

#include "VXReportGeometry.h"
#include "VXReportViewTestSupport.h"

#include <gtest/gtest.h>

#include <functional>

using namespace VXReportGeometry;
using namespace reportviewtest;

namespace {

QRectF rect(qreal x, qreal y, qreal w, qreal h)
{
    return QRectF(x, y, w, h);
}

std::vector<QRectF> channel(const VXArrayRef &log, const QRectF &r, bool emboss = false, double range = 1000.0)
{
    std::vector<QRectF> fills;
    appendNaturalChannelRects(*log, kBase, kBase + range, r, emboss, &fills);
    return fills;
}

}   // namespace

TEST(ReportGeometry, TimeMappingIsLinearClampedAndRoundedDown)
{
    // Half way over 801 points is 400.5, drawn at 400.
    EXPECT_EQ(xCoordinateForTimestamp(kBase + 500.0, kBase, kBase + 1000.0, 801.0), 400.0);
    EXPECT_EQ(xCoordinateForTimestamp(kBase + 999.9, kBase, kBase + 1000.0, 800.0), 799.0);
    EXPECT_EQ(xCoordinateForTimestamp(kBase - 50.0, kBase, kBase + 1000.0, 800.0), 0.0);
    EXPECT_EQ(xCoordinateForTimestamp(kBase + 5000.0, kBase, kBase + 1000.0, 800.0), 800.0);
    // An empty span maps nowhere but the left edge.
    EXPECT_EQ(xCoordinateForTimestamp(kBase, kBase, kBase, 800.0), 0.0);

    EXPECT_DOUBLE_EQ(timestampForX(200.0, kBase, kBase + 1000.0, 800.0), kBase + 250.0);
    EXPECT_DOUBLE_EQ(timestampForX(-30.0, kBase, kBase + 1000.0, 800.0), kBase);
    EXPECT_DOUBLE_EQ(timestampForX(900.0, kBase, kBase + 1000.0, 800.0), kBase + 1000.0);
    // Round trip within one point's worth of time.
    const double t = timestampForX(xCoordinateForTimestamp(kBase + 333.0, kBase, kBase + 1000.0, 800.0), kBase,
                                   kBase + 1000.0, 800.0);
    EXPECT_LE(kBase + 333.0 - t, 1000.0 / 800.0);
    EXPECT_GE(kBase + 333.0 - t, 0.0);
}

TEST(ReportGeometry, HeightCountsRowsHeadersAndStripButNeverLessThanTheContent)
{
    EXPECT_EQ(reportHeight(3, false, false, 100.0), 138.0);
    EXPECT_EQ(reportHeight(3, true, false, 100.0), 198.0);
    EXPECT_EQ(reportHeight(3, true, true, 100.0), 213.0);
    EXPECT_EQ(reportHeight(3, true, true, 500.0), 500.0);
    EXPECT_EQ(reportHeight(0, false, false, 0.0), 1.0);
    EXPECT_EQ(reportHeight(0, false, true, 0.0), 16.0);
    EXPECT_EQ(reportHeight(300, true, true, 1000.0), 13875.0);
}

TEST(ReportGeometry, RowsStackFromTheBottomWithHeadersBetweenTheGroups)
{
    // Two applications and two pools in exactly the height the view sizes itself to.
    RowLayout layout = layoutRows(rect(0, 0, 400, 244), 4, 2, true, true, 0.0);
    ASSERT_EQ(layout.rows.size(), 4u);
    EXPECT_EQ(layout.rows[3], rect(0, 201, 400, 43));
    EXPECT_EQ(layout.rows[2], rect(0, 155, 400, 43));
    EXPECT_EQ(layout.rows[1], rect(0, 79, 400, 43));
    EXPECT_EQ(layout.rows[0], rect(0, 33, 400, 43));
    ASSERT_TRUE(layout.applicationsHeader.shown);
    ASSERT_TRUE(layout.poolsHeader.shown);
    EXPECT_EQ(layout.applicationsHeader.rect, rect(0, 0, 400, 30));
    EXPECT_EQ(layout.poolsHeader.rect, rect(0, 122, 400, 30));
    EXPECT_FALSE(layout.applicationsHeader.topBorder);
    EXPECT_TRUE(layout.poolsHeader.topBorder);
    EXPECT_EQ(layout.applicationsHeader.shadowHeight, 0.0);

    // Two more points than the rows divide: they stay at the top, under the applications header.
    layout = layoutRows(rect(0, 0, 400, 250), 4, 2, true, true, 0.0);
    EXPECT_EQ(layout.rows[3], rect(0, 206, 400, 44));
    EXPECT_EQ(layout.rows[0], rect(0, 35, 400, 44));
    EXPECT_EQ(layout.poolsHeader.rect.top(), 126.0);

    // One group only: no headers, rows share the whole height.
    layout = layoutRows(rect(0, 10, 400, 138), 3, 3, true, false, 0.0);
    EXPECT_FALSE(layout.applicationsHeader.shown);
    EXPECT_EQ(layout.rows[0], rect(0, 13, 400, 43));
    EXPECT_EQ(layout.rows[2], rect(0, 105, 400, 43));

    // A single row fills the rectangle; with text only up to the tallest row.
    layout = layoutRows(rect(0, 0, 400, 300), 1, 1, false, false, 0.0);
    EXPECT_EQ(layout.rows[0], rect(0, 0, 400, 300));
    layout = layoutRows(rect(0, 0, 400, 300), 1, 1, true, false, 0.0);
    EXPECT_EQ(layout.rows[0], rect(0, 0, 400, 69));
    layout = layoutRows(rect(0, 0, 400, 50), 1, 1, true, false, 0.0);
    EXPECT_EQ(layout.rows[0], rect(0, 0, 400, 50));

    // Rows at their tallest keep their groups together at the top; the rest stays empty below.
    layout = layoutRows(rect(0, 0, 400, 600), 3, 2, true, true, 0.0);
    EXPECT_EQ(layout.applicationsHeader.rect, rect(0, 0, 400, 30));
    EXPECT_EQ(layout.rows[0], rect(0, 34, 400, 65));
    EXPECT_EQ(layout.rows[1], rect(0, 103, 400, 65));
    EXPECT_EQ(layout.poolsHeader.rect, rect(0, 168, 400, 30));
    EXPECT_EQ(layout.rows[2], rect(0, 202, 400, 65));
}

TEST(ReportGeometry, HeadersArePinnedAndThePoolsHeaderPushesTheApplicationsHeader)
{
    HeaderPlacement a, p;
    // Scrolled 50 points: the applications header is pinned with a full shadow.
    pinHeaders(0.0, 122.0, 0.0, 400.0, 50.0, &a, &p);
    EXPECT_EQ(a.rect, rect(0, 50, 400, 30));
    EXPECT_EQ(a.shadowHeight, 15.0);
    EXPECT_FALSE(a.topBorder);
    EXPECT_EQ(p.rect.top(), 122.0);
    EXPECT_TRUE(p.topBorder);

    // Scrolled 7 points: the shadow is as high as the header was moved.
    pinHeaders(0.0, 122.0, 0.0, 400.0, 7.0, &a, &p);
    EXPECT_EQ(a.shadowHeight, 7.0);

    // Scrolled 100: the pools header (at 122) keeps the applications header 30 points above
    // it, and a pushed header casts no shadow.
    pinHeaders(0.0, 122.0, 0.0, 400.0, 100.0, &a, &p);
    EXPECT_EQ(a.rect.top(), 92.0);
    EXPECT_EQ(a.shadowHeight, 0.0);
    EXPECT_FALSE(a.topBorder);
    EXPECT_EQ(p.rect.top(), 122.0);
    EXPECT_TRUE(p.topBorder);

    // Scrolled past the pools header: it is pinned in turn, the other pushed out above.
    pinHeaders(0.0, 122.0, 0.0, 400.0, 130.0, &a, &p);
    EXPECT_EQ(p.rect.top(), 130.0);
    EXPECT_EQ(p.shadowHeight, 8.0);
    EXPECT_FALSE(p.topBorder);
    EXPECT_EQ(a.rect.top(), 100.0);
    EXPECT_EQ(a.shadowHeight, 0.0);
    pinHeaders(0.0, 122.0, 0.0, 400.0, 400.0, &a, &p);
    EXPECT_EQ(p.shadowHeight, 15.0);
}

TEST(ReportGeometry, RowsWithoutTextArePackedOverTheWholeHeight)
{
    // A taskbar icon: 20 rows in 32 pixels, each one or two high, none lost.
    const RowLayout layout = layoutRows(rect(0, 0, 32, 32), 20, 12, false, false, 0.0);
    EXPECT_FALSE(layout.applicationsHeader.shown);
    qreal covered = 0.0;
    qreal expectedTop = 0.0;
    for (const QRectF &row : layout.rows) {
        EXPECT_EQ(row.top(), expectedTop);
        EXPECT_GE(row.height(), 1.0);
        EXPECT_LE(row.height(), 2.0);
        covered += row.height();
        expectedTop = row.bottom();
    }
    EXPECT_EQ(covered, 32.0);

    // Taller rows keep one point apart.
    const RowLayout roomy = layoutRows(rect(0, 0, 100, 100), 2, 1, false, false, 0.0);
    EXPECT_EQ(roomy.rows[0], rect(0, 1, 100, 49));
    EXPECT_EQ(roomy.rows[1], rect(0, 51, 100, 49));
}

TEST(ReportGeometry, ChannelPixelsInNaturalTime)
{
    // 1000 seconds over 999 + 1 points: one point per second, the row starting at x = 10.
    const QRectF r(10, 5, 999, 20);

    // A period of 200 seconds.
    EXPECT_EQ(channel(eventLog({{100, 300}}), r), std::vector<QRectF> {rect(110, 5, 200, 20)});
    // A period of 0.2 seconds still shows as a 1-point tick; one of 0.05 does not show.
    EXPECT_EQ(channel(eventLog({{500, 500.2}}), r), std::vector<QRectF> {rect(510, 5, 1, 20)});
    EXPECT_TRUE(channel(eventLog({{500, 500.05}}), r).empty());
    // Three periods of 0.05 in one pixel column add up to a tick (after the second).
    EXPECT_EQ(channel(eventLog({{600.0, 600.05}, {600.3, 600.35}, {600.6, 600.65}}), r),
              std::vector<QRectF> {rect(610, 5, 1, 20)});
    // The same three spread over three columns do not.
    EXPECT_TRUE(channel(eventLog({{600.0, 600.05}, {601.3, 601.35}, {602.6, 602.65}}), r).empty());
    // Left of the range (a log not yet clipped to a narrowed range) short periods never add up,
    // and a period reaching into the range starts left of the row.
    EXPECT_TRUE(channel(eventLog({{-50.0, -49.95}, {-49.7, -49.65}, {-49.4, -49.35}}), r).empty());
    EXPECT_EQ(channel(eventLog({{-20.5, 30}}), r), std::vector<QRectF> {rect(-11, 5, 50, 20)});
    // 3.5 points are drawn 3 wide; 1.05 points as a 1-point tick.
    EXPECT_EQ(channel(eventLog({{700, 703.5}}), r), std::vector<QRectF> {rect(710, 5, 3, 20)});
    EXPECT_EQ(channel(eventLog({{800, 801.05}}), r), std::vector<QRectF> {rect(810, 5, 1, 20)});
    // Periods that meet are filled as one; repeated openings and closings count once.
    EXPECT_EQ(channel(eventLog({{100, 150}, {150, 200}}), r), std::vector<QRectF> {rect(110, 5, 100, 20)});
    VXArrayRef repeated = VXMakeArray();
    for (double v : {100.0, 150.0, -200.0, -250.0})
        repeated->append(v > 0 ? kBase + v : -(kBase - v));
    EXPECT_EQ(channel(repeated, r), std::vector<QRectF> {rect(110, 5, 100, 20)});
    // A log that starts by closing draws nothing for it.
    VXArrayRef closingFirst = VXMakeArray();
    closingFirst->append(-(kBase + 50.0));
    closingFirst->append(kBase + 60.0);
    closingFirst->append(-(kBase + 70.0));
    EXPECT_EQ(channel(closingFirst, r), std::vector<QRectF> {rect(70, 5, 10, 20)});

    // Emboss widens each fill by a point on both sides.
    EXPECT_EQ(channel(eventLog({{100, 300}}), r, true), std::vector<QRectF> {rect(109, 5, 202, 20)});

    // A year over 1600 points: one column holds 5.5 hours.
    const double year = 365.0 * 86400.0;
    const auto fills = channel(eventLog({{0.0, 3600.0}}), rect(0, 0, 1599, 10), false, year);
    ASSERT_EQ(fills.size(), 1u);
    EXPECT_EQ(fills[0], rect(0, 0, 1, 10));
}

TEST(ReportGeometry, AChannelWalkPicksUpAtItsLastColumnAfterTheLogChangedAtItsEnd)
{
    // One point per second from kBase (then a little less, as when the range's end moves on);
    // the last column begins with the period at 699.5. A walk that picked up where it should not,
    // or restored the wrong fills, differs from a fresh one.
    const QRectF r(0, 0, 999, 10);
    struct Row {
        const char *name;
        std::function<void(VXArray &)> change;
        double scale;
    };
    const auto unchanged = [](VXArray &) {};
    const Row rows[] = {
        {"the last closing moved later", [](VXArray &log) { log[log.size() - 1] = VXValue(-(kBase + 750.0)); }, 1.0},
        {"a period in a new column", [](VXArray &log) { log.append(kBase + 900.0), log.append(-(kBase + 950.0)); },
         1.0},
        {"the last closing moved earlier (the merged fill shrinks)",
         [](VXArray &log) { log[log.size() - 1] = VXValue(-(kBase + 700.5)); }, 1.0},
        {"the last period taken back", [](VXArray &log) { log.removeLast(), log.removeLast(); }, 1.0},
        {"the last opening changed", [](VXArray &log) { log[log.size() - 2] = VXValue(kBase + 710.0); }, 1.0},
        {"the end moved on by a tenth of a column", unchanged, 1.0 - 1e-4},
        {"the end moved on by a column: the 600 s period moves left", unchanged, 599.0 / 600.0},
        {"the end moved on so far that the 200-point fill narrows", unchanged, 0.9},
        {"the end moved back", unchanged, 1.0 + 1e-4},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        // The last period meets the one before it, so the two are one fill before the change.
        VXArrayRef log = eventLog({{100, 300}, {600, 699.5}, {699.5, 720}});
        std::vector<QRectF> kept;
        ChannelWalkPoint point;
        walkNaturalChannel(*log, kBase, 1.0, r, false, &kept, &point);
        ASSERT_EQ(point.index, log->size() - 1);
        ASSERT_EQ(kept, (std::vector<QRectF> {rect(100, 0, 200, 10), rect(600, 0, 119, 10)}));
        row.change(*log);
        walkNaturalChannel(*log, kBase, row.scale, r, false, &kept, &point);
        std::vector<QRectF> fresh;
        walkNaturalChannel(*log, kBase, row.scale, r, false, &fresh, nullptr);
        EXPECT_EQ(kept, fresh);
    }
}

TEST(ReportGeometry, TimePortionsAreScaledToTheLongestItem)
{
    VXArrayRef entries = VXMakeArray();
    auto entry = [&](double time, double frontTime) {
        VXDictionaryRef e = VXMakeDictionary();
        if (time > 0)
            e->insert(VXTimeKey, time);
        if (frontTime > 0)
            e->insert(VXFrontTimeKey, frontTime);
        entries->append(e);
    };
    entry(500.0, 100.0);
    entry(250.0, 400.0);
    entry(0.05, 0.05);
    EXPECT_EQ(normalizingInterval(*entries, true, true), 500.0);
    EXPECT_EQ(normalizingInterval(*entries, true, false), 500.0);
    EXPECT_EQ(normalizingInterval(*entries, false, true), 400.0);
    EXPECT_EQ(normalizingInterval(*entries, false, false), -1.0);
    VXArrayRef tiny = VXMakeArray();
    tiny->append(entries->at(2));
    EXPECT_EQ(normalizingInterval(*tiny, true, true), -1.0);

    EXPECT_EQ(normalizedBarWidth(250.0, 500.0, 1000.0, 400.0), 200.0);
    EXPECT_EQ(normalizedBarWidth(500.0, 500.0, 1000.0, 400.0), 400.0);
    EXPECT_EQ(normalizedBarWidth(50.0, 200.0, 1000.0, 399.0), 99.0);
    // Without a normalising interval the bar is a share of the range.
    EXPECT_EQ(normalizedBarWidth(50.0, -1.0, 1000.0, 399.0), 19.0);

    EXPECT_DOUBLE_EQ(eventLogDuration(*eventLog({{0, 100}, {200, 250.5}})), 150.5);
}

TEST(ReportGeometry, PercentagesAreTruncatedAndTextsFollowTheShownActivities)
{
    EXPECT_EQ(percentage(599.0, 1000.0), 59u);
    EXPECT_EQ(percentage(1000.0, 1000.0), 100u);
    EXPECT_EQ(percentage(0.0, 1000.0), 0u);
    EXPECT_EQ(percentage(1800.0, 1000.0), 180u);
    EXPECT_EQ(percentage(10.0, 0.0), 0u);

    defaults().setBool(false, kExpressTimeIntervalsAsDaysKey);
    EXPECT_EQ(rowText(0.0, 3600.0, 7200.0, true, true, true),
              QStringLiteral("Foreground: - (0%) - Total: 1:00:00 (50%)"));
    EXPECT_EQ(rowText(5.0, 3600.0, 7200.0, true, true, false), QStringLiteral("Foreground: 0:05 (Total: 1:00:00)"));
    EXPECT_EQ(rowText(5.0, 3600.0, 7200.0, false, true, true), QStringLiteral("Total: 1:00:00 (50%)"));
    EXPECT_EQ(rowText(5.0, 3600.0, 7200.0, false, true, false), QStringLiteral("Total: 1:00:00"));
    EXPECT_EQ(rowText(4313.0, 3600.0, 7200.0, true, false, true), QStringLiteral("Foreground: 1:11:53 (59%)"));
    EXPECT_EQ(rowText(5.0, 3600.0, 7200.0, true, false, false), QStringLiteral("Foreground: 0:05"));
    // Neither activity shown: the combined text.
    EXPECT_EQ(rowText(5.0, 3600.0, 7200.0, false, false, false), QStringLiteral("Foreground: 0:05 (Total: 1:00:00)"));
}

TEST(ReportGeometry, ReadOutLabelStaysInsideItsArea)
{
    const QRectF area(0, 0, 400, 300);
    const QSizeF label(100, 16);
    EXPECT_EQ(mouseLabelRect(200, label, area), rect(150, 281, 100, 16));
    EXPECT_EQ(mouseLabelRect(20, label, area), rect(8, 281, 100, 16));
    // Near the right edge the label stands left of the line, 10 points away.
    EXPECT_EQ(mouseLabelRect(390, label, area), rect(280, 281, 100, 16));
    EXPECT_EQ(mouseLabelRect(345, label, area), rect(235, 281, 100, 16));
    // In the chooser strip (a 15-point area at the bottom) it sits above the strip's bottom.
    EXPECT_EQ(mouseLabelRect(200, label, rect(0, 285, 400, 15)).bottom(), 297.0);
}

TEST(ReportGeometry, ChooserGripsAndModes)
{
    EXPECT_EQ(chooserGrip(0, 100), 8.0);
    EXPECT_EQ(chooserGrip(0, 20), 5.0);
    EXPECT_EQ(chooserGrip(0, 8), 2.0);
    EXPECT_EQ(chooserGrip(0, 7), -1.0);

    // The shown part lies at 100..200 of the strip, begin at t = 1000, end at t = 2000.
    EXPECT_EQ(chooserPressMode(105, 100, 200, 1050, 1000, 2000), DragMode::Begin);
    EXPECT_EQ(chooserPressMode(108, 100, 200, 1080, 1000, 2000), DragMode::Begin);
    EXPECT_EQ(chooserPressMode(109, 100, 200, 1090, 1000, 2000), DragMode::Move);
    EXPECT_EQ(chooserPressMode(150, 100, 200, 1500, 1000, 2000), DragMode::Move);
    EXPECT_EQ(chooserPressMode(195, 100, 200, 1950, 1000, 2000), DragMode::End);
    // Outside the shown part: the nearer edge in time; a tie goes to the end.
    EXPECT_EQ(chooserPressMode(20, 100, 200, 200, 1000, 2000), DragMode::Begin);
    EXPECT_EQ(chooserPressMode(300, 100, 200, 3000, 1000, 2000), DragMode::End);
    EXPECT_EQ(chooserPressMode(100, 100, 200, 1500, 1000, 2000), DragMode::End);
    // Without grips (a part narrower than 8 points) a press on it moves it.
    EXPECT_EQ(chooserPressMode(103, 100, 105, 1030, 1000, 1050), DragMode::Move);
    EXPECT_EQ(chooserPressMode(99, 100, 105, 990, 1000, 1050), DragMode::Begin);

    double b = 0, e = 0;
    movedRange(1600, 1500, 1000, 1000, 0, 10000, &b, &e);
    EXPECT_EQ(b, 1100.0);
    EXPECT_EQ(e, 2100.0);
    movedRange(100, 1500, 1000, 1000, 0, 10000, &b, &e);
    EXPECT_EQ(b, 0.0);
    EXPECT_EQ(e, 1000.0);
    movedRange(99999, 1500, 1000, 1000, 0, 10000, &b, &e);
    EXPECT_EQ(b, 9000.0);
    EXPECT_EQ(e, 10000.0);
}
