// The report drawn into images: colours at the computed places of known periods, in the colour
// schemes, at a device pixel ratio of 2, rotated for y-up image code; and the widget itself
// sized by its rows inside a scroll area, its drawn rows answering hit tests.

#include "VXColorExtensions.h"
#include "VXRegisteredDefaults.h"
#include "VXReportViewTestSupport.h"

#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>

#include <gtest/gtest.h>

using namespace reportviewtest;

namespace {

[[maybe_unused]] ::testing::Environment *const environment
    = ::testing::AddGlobalTestEnvironment(new ApplicationEnvironment);

class ReportViewRender : public ::testing::Test
{
protected:
    void SetUp() override
    {
        defaults().setInteger(VXColorSchemeUnshaded, VXColorSchemeKey);
        defaults().setBool(false, VXDefaultsKey::kHeaderTranslucency);
        view.setDelegate(&delegate);
        delegate.view = &view;
    }
    void TearDown() override
    {
        defaults().removeObjectForKey(VXColorSchemeKey);
        defaults().removeObjectForKey(VXDefaultsKey::kHeaderTranslucency);
    }

    // The report without text over the whole image (a single row fills it).
    QImage render(int width, int height, qreal dpr = 1.0, bool includeText = false)
    {
        view.update(nullptr);
        QImage image(int(width * dpr), int(height * dpr), QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(dpr);
        image.fill(Qt::magenta);
        QPainter painter(&image);
        const QRectF bounds(0, 0, width, height);
        view.drawReportInBounds(painter, bounds, bounds, false, includeText, includeText, -1, nullptr);
        return image;
    }

    TestDelegate delegate;
    VXReportView view;
};

}   // namespace

TEST_F(ReportViewRender, TimeLapseColoursAtThePlacesOfKnownPeriods)
{
    // 1000 seconds over 999 + 1 points: one point per second.
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 1000}}),
                           eventLog({{100, 300}, {500, 500.2}, {600.0, 600.05}, {600.3, 600.35}, {700, 700.05}}))};
    const QImage image = render(999, 40);

    EXPECT_EQ(image.pixel(50, 20), grey(0.2)) << "total activity";
    EXPECT_EQ(image.pixel(100, 20), pieColor()) << "foreground from 100 s";
    EXPECT_EQ(image.pixel(299, 20), pieColor());
    EXPECT_EQ(image.pixel(300, 20), grey(0.2)) << "foreground ends at 300 s";
    EXPECT_EQ(image.pixel(500, 20), pieColor()) << "a 0.2-second period is a 1-point tick";
    EXPECT_EQ(image.pixel(501, 20), grey(0.2));
    EXPECT_EQ(image.pixel(600, 20), pieColor()) << "two short periods add up in one column";
    EXPECT_EQ(image.pixel(700, 20), grey(0.2)) << "one short period alone does not show";
    EXPECT_EQ(image.pixel(500, 0), pieColor()) << "the tick spans the row's height";
    EXPECT_EQ(image.pixel(500, 39), pieColor());

    // Without total activity the background shows where there is no foreground.
    delegate.total = false;
    const QImage frontOnly = render(999, 40);
    EXPECT_EQ(frontOnly.pixel(50, 20), grey(0.1));
    EXPECT_EQ(frontOnly.pixel(150, 20), pieColor());
}

TEST_F(ReportViewRender, SchemesColourTheBackgroundChannelsAndShading)
{
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 500}}), eventLog({{0, 250}}))};

    defaults().setInteger(VXColorSchemeOriginal, VXColorSchemeKey);
    QImage original = render(999, 40);
    // Near-black background; black shading darkens the rows, more at the bottom than at the top.
    EXPECT_LT(qRed(original.pixel(800, 20)), qRed(grey(0.1)));
    EXPECT_LT(qRed(original.pixel(400, 39)), qRed(original.pixel(400, 0)));
    EXPECT_LT(qRed(original.pixel(100, 20)), qRed(pieColor()));
    EXPECT_GT(qRed(original.pixel(100, 20)), qGreen(original.pixel(100, 20))) << "still the pie colour's hue";

    defaults().setInteger(VXColorSchemeDark, VXColorSchemeKey);
    QImage dark = render(999, 40);
    // The dark scheme draws foreground in the theme's highlight colour.
    const QColor highlight = alternateSelectedControlColor();
    const QColor darkFront = QColor::fromRgb(dark.pixel(100, 0));
    EXPECT_NEAR(darkFront.hueF(), highlight.hueF(), 0.02);
}

TEST_F(ReportViewRender, LightBarsStandOutFromTheWhiteBackgroundInTheirOwnHue)
{
    defaults().setInteger(VXColorSchemeLight, VXColorSchemeKey);
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 500}}), eventLog({{0, 250}}))};
    const QPalette saved = QApplication::palette();
    // The theme's highlight colour decides the foreground's hue: a usual blue, a pale yellow that
    // would vanish on white, a dark blue that needs no darkening.
    for (const QColor highlight : {QColor(0x30, 0x8c, 0xc6), QColor(0xff, 0xf0, 0xa0), QColor(0x1a, 0x23, 0x7e)}) {
        SCOPED_TRACE(highlight.name().toStdString());
        QPalette palette = saved;
        palette.setColor(QPalette::Highlight, highlight);
        QApplication::setPalette(palette);
        const QImage light = render(999, 40);
        const QRgb background = light.pixel(800, 20);
        EXPECT_EQ(background, grey(1.0));
        // At the rows' top, where the shading is palest, and at their bottom.
        for (int y : {0, 39}) {
            const QRgb total = light.pixel(400, y);
            const QRgb front = light.pixel(100, y);
            EXPECT_TRUE(isNeutral(total));
            EXPECT_GE(contrast(total, background), 3.0) << "y " << y;
            EXPECT_GE(contrast(front, background), 3.0) << "y " << y;
            EXPECT_GT(contrast(front, background), contrast(total, background)) << "foreground darker than total";
            EXPECT_NEAR(QColor::fromRgb(front).hueF(), highlight.hueF(), 0.03) << "the highlight's hue";
        }
        EXPECT_GT(qRed(light.pixel(400, 0)), qRed(light.pixel(400, 39))) << "lighter towards the top";
    }
    QApplication::setPalette(saved);
}

TEST_F(ReportViewRender, TimePortionsAreNormalisedToTheLongestItem)
{
    delegate.format = 1;
    // Two applications: 500 s and 250 s running, 100 s and 50 s in front.
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 500}}), eventLog({{0, 100}})),
                      item(QStringLiteral("Mail"), eventLog({{600, 850}}), eventLog({{600, 650}}))};
    const QImage image = render(400, 100);
    // Without text the two rows are 1..50 and 51..100.
    EXPECT_EQ(image.pixel(399, 25), grey(0.2)) << "the longest item spans the row";
    EXPECT_EQ(image.pixel(79, 25), pieColor()) << "100 of 500 s: 80 points";
    EXPECT_EQ(image.pixel(80, 25), grey(0.2));
    EXPECT_EQ(image.pixel(199, 75), grey(0.2)) << "250 of 500 s: 200 points";
    EXPECT_EQ(image.pixel(200, 75), grey(0.1));
    EXPECT_EQ(image.pixel(39, 75), pieColor()) << "50 of 500 s: 40 points";
    EXPECT_EQ(image.pixel(40, 75), grey(0.2));

    // Foreground only: the longest foreground time is the measure.
    delegate.total = false;
    const QImage front = render(400, 100);
    EXPECT_EQ(front.pixel(399, 25), pieColor());
    EXPECT_EQ(front.pixel(199, 75), pieColor());
    EXPECT_EQ(front.pixel(200, 75), grey(0.1));

    // Neither activity: nothing is measured, nothing drawn.
    delegate.front = false;
    const QImage none = render(400, 100);
    EXPECT_EQ(none.pixel(10, 25), grey(0.1));
}

TEST_F(ReportViewRender, DevicePixelRatioTwoDrawsEveryPointAsTwoPixels)
{
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 1000}}), eventLog({{100, 300}, {500, 500.2}}))};
    const QImage image = render(999, 40, 2.0);
    ASSERT_EQ(image.width(), 1998);
    EXPECT_EQ(image.pixel(199, 40), grey(0.2));
    EXPECT_EQ(image.pixel(200, 40), pieColor());
    EXPECT_EQ(image.pixel(599, 40), pieColor());
    EXPECT_EQ(image.pixel(600, 40), grey(0.2));
    EXPECT_EQ(image.pixel(1000, 40), pieColor()) << "the tick is one point: two pixels";
    EXPECT_EQ(image.pixel(1001, 40), pieColor());
    EXPECT_EQ(image.pixel(1002, 40), grey(0.2));

    // Text is drawn at the device's resolution too: the row's name leaves bright pixels.
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 1000}}), VXArrayRef())};
    const QImage text = render(400, 46, 2.0, true);
    int bright = 0;
    for (int y = 0; y < text.height(); ++y)
        for (int x = 0; x < text.width(); ++x)
            bright += qRed(text.pixel(x, y)) > 200 ? 1 : 0;
    EXPECT_GT(bright, 50);
    const QImage noText = render(400, 46, 2.0, false);
    EXPECT_EQ(noText.pixel(30, 30), grey(0.2));
}

TEST_F(ReportViewRender, FlippedRenderingStaysUprightForYUpPainters)
{
    // The first entry (foreground only) is the top row, the second (total only) the bottom one.
    delegate.items = {item(QStringLiteral("Editor"), VXArrayRef(), eventLog({{0, 1000}})),
                      item(QStringLiteral("Mail"), eventLog({{0, 1000}}), VXArrayRef())};
    view.update(nullptr);
    for (bool yUp : {false, true}) {
        QImage image(32, 32, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::magenta);
        QPainter painter(&image);
        if (yUp) {
            painter.translate(0, 32);
            painter.scale(1, -1);
        }
        view.drawFlippedAndSimplifiedReportInRect(painter, QRectF(0, 0, 32, 32), false);
        painter.end();
        EXPECT_EQ(image.pixel(16, 4), pieColor()) << "y up: " << yUp;
        EXPECT_EQ(image.pixel(16, 28), grey(0.2)) << "y up: " << yUp;
    }
}

TEST_F(ReportViewRender, HeadersArePinnedPushedAndShadowed)
{
    defaults().setInteger(VXColorSchemeOriginal, VXColorSchemeKey);
    // Two applications and two pools, all in front all the time: rows are purple, headers grey.
    for (const char *name : {"Editor", "Mail"})
        delegate.items.push_back(item(QString::fromLatin1(name), VXArrayRef(), eventLog({{0, 1000}})));
    for (const char *name : {"Work", "Play"})
        delegate.items.push_back(pool(QString::fromLatin1(name), VXArrayRef(), eventLog({{0, 1000}})));
    view.update(nullptr);
    ASSERT_TRUE(view.containsApplications());
    ASSERT_TRUE(view.containsPools());

    // The view is 244 points high (4 rows and 2 headers); the pools header lies at 122..152.
    const QRectF bounds(0, 0, 400, 244);
    const auto renderVisible = [&](qreal top, qreal height) {
        QImage image(400, int(height), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::magenta);
        QPainter painter(&image);
        painter.translate(0, -top);
        std::vector<VXEventLogRect> rects;
        view.drawReportInBounds(painter, bounds, QRectF(0, top, 400, height), false, true, false, 0, &rects);
        return image;
    };
    const auto headerGrey = [](qreal headerTop, qreal y) {
        // The band's gradient from 0.2 at its top to 0.1 at its bottom.
        return 255.0 * (0.2 - 0.1 * (y + 0.5 - headerTop) / 30.0);
    };

    // Scrolled by 100: the applications header is pushed to 92..122 by the pools header.
    const QImage pushed = renderVisible(100, 100);
    const QRgb atTop = pushed.pixel(2, 1);   // view y 101
    EXPECT_TRUE(isNeutral(atTop));
    EXPECT_NEAR(qRed(atTop), headerGrey(92, 101), 3.0);
    EXPECT_TRUE(isNeutral(pushed.pixel(2, 30))) << "the pools header at its own place";
    EXPECT_NEAR(qRed(pushed.pixel(2, 30)), headerGrey(122, 130), 3.0);
    EXPECT_FALSE(isNeutral(pushed.pixel(2, 60))) << "a pool row below the header";

    // Scrolled by 40: the applications header is pinned at the top and casts a shadow on the
    // row below it, which the same row does not have when not scrolled.
    const QImage pinned = renderVisible(40, 100);
    EXPECT_NEAR(qRed(pinned.pixel(2, 1)), headerGrey(40, 41), 3.0);
    const QImage unscrolled = renderVisible(0, 140);
    const QRgb shaded = pinned.pixel(2, 72 - 40);   // view y 72, inside the first row
    const QRgb plain = unscrolled.pixel(2, 72);
    EXPECT_FALSE(isNeutral(plain));
    EXPECT_LT(qRed(shaded), qRed(plain));
    EXPECT_EQ(pinned.pixel(2, 95 - 40), unscrolled.pixel(2, 95)) << "below the shadow nothing changes";
}

TEST_F(ReportViewRender, TheWidgetSizesItselfAndAnswersHitTestsForWhatItDrew)
{
    QScrollArea scrollArea;
    scrollArea.setFrameShape(QFrame::NoFrame);
    scrollArea.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    scrollArea.resize(500, 300);
    auto *report = new VXReportView;
    scrollArea.setWidget(report);
    TestDelegate data;
    data.view = report;
    report->setDelegate(&data);
    QWidget indicator;
    report->setDirectionIndicator(&indicator);
    scrollArea.show();

    // Ten applications over all data: 460 points, no chooser strip.
    for (int i = 0; i < 10; ++i)
        data.items.push_back(
            item(QStringLiteral("App %1").arg(i), eventLog({{0, 1000}}), eventLog({{i * 100.0, i * 100.0 + 50}})));
    report->update(&scrollArea);
    const int contentWidth = scrollArea.viewport()->width();
    EXPECT_EQ(report->size(), QSize(contentWidth, 460));
    EXPECT_FALSE(report->showTimestampIntervalChooser());
    EXPECT_FALSE(indicator.isHidden());

    // A narrower range adds the 15-point strip.
    data.begin = kBase + 100.0;
    report->update(&scrollArea);
    EXPECT_TRUE(report->showTimestampIntervalChooser());
    EXPECT_EQ(report->height(), 475);

    // Drawn rows are the visible ones; hit testing finds them and nothing else.
    report->grab();
    const auto &rects = report->eventLogRects();
    ASSERT_FALSE(rects.empty());
    EXPECT_LT(rects.size(), 10u) << "rows outside the visible part are skipped";
    const QRectF visible = report->visibleRect();
    for (const VXEventLogRect &r : rects)
        EXPECT_TRUE(r.rect.intersects(visible));
    const QRectF firstRow = rects.back().rect;   // drawn from the bottom up: the top row last
    const VXDictionaryRef found = report->eventLogAtLocation(firstRow.center());
    ASSERT_TRUE(found);
    EXPECT_EQ(found->value(VXNameKey).toString(), QStringLiteral("App 0"));
    EXPECT_FALSE(report->eventLogAtLocation(QPointF(10, firstRow.top() - 1.5))) << "the spacing between rows";
    EXPECT_FALSE(report->eventLogAtLocation(QPointF(10, 5000)));

    // The context menu is asked for the row under the mouse only.
    data.offerMenus = true;
    EXPECT_FALSE(report->menuForEvent(QPointF(10, 5000)));
    EXPECT_TRUE(data.menusAskedFor.empty());
    const std::unique_ptr<QMenu> menu = report->menuForEvent(firstRow.center());
    ASSERT_TRUE(menu);
    EXPECT_EQ(menu->title(), QStringLiteral("App 0"));
    ASSERT_EQ(data.menusAskedFor.size(), 1u);
    EXPECT_TRUE(data.menusAskedFor[0] == found);

    // Scrolled to the bottom, the last row is drawn and found.
    scrollArea.verticalScrollBar()->setValue(scrollArea.verticalScrollBar()->maximum());
    report->grab();
    const VXDictionaryRef last = report->eventLogAtLocation(report->eventLogRects().front().rect.center());
    ASSERT_TRUE(last);
    EXPECT_EQ(last->value(VXNameKey).toString(), QStringLiteral("App 9"));

    // An empty range: no rows, the indicator hidden, the view as high as the viewport.
    data.end = data.begin;
    report->update(&scrollArea);
    EXPECT_FALSE(report->eventLogs());
    EXPECT_TRUE(indicator.isHidden());
    EXPECT_EQ(report->height(), scrollArea.viewport()->height());
    const auto marked = [&] {
        const QImage image = report->grab().toImage();
        int count = 0;
        for (int y = 0; y < image.height() - 20; ++y)
            for (int x = 0; x < image.width(); ++x)
                count += image.pixel(x, y) != grey(0.1) ? 1 : 0;
        return count;
    };
    EXPECT_EQ(marked(), 0) << "an empty report without a message is empty";
    EXPECT_TRUE(report->eventLogRects().empty());
    report->setOverlayMessage(QStringLiteral("No Activity"), QStringLiteral("in this range"));
    EXPECT_GT(marked(), 100);
    // With rows to show the message is not drawn.
    data.end = data.begin + 50.0;
    report->update(&scrollArea);
    report->setOverlayMessage(QString());
    const int withoutMessage = marked();
    report->setOverlayMessage(QStringLiteral("No Activity"), QStringLiteral("in this range"));
    EXPECT_EQ(marked(), withoutMessage);
}

TEST_F(ReportViewRender, RowsWithTextGrowOnlyToASensibleHeight)
{
    QScrollArea scrollArea;
    scrollArea.resize(400, 300);
    auto *report = new VXReportView;
    scrollArea.setWidget(report);
    TestDelegate data;
    report->setDelegate(&data);
    scrollArea.show();
    const auto rowRects = [&] {
        report->update(&scrollArea);
        report->grab();
        std::vector<QRectF> rects;
        for (const VXEventLogRect &entry : report->eventLogRects())
            rects.insert(rects.begin(), entry.rect);   // drawn from the bottom up
        return rects;
    };

    // A single row stays at the top at its tallest, its name and read-out together; the rest
    // of the view is empty.
    data.items = {item(QStringLiteral("Editor"), eventLog({{0, 1000}}), VXArrayRef())};
    std::vector<QRectF> rows = rowRects();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(rows[0], QRectF(0, 0, report->width(), 69));
    const QImage image = report->grab().toImage();
    EXPECT_EQ(image.pixel(200, 150), grey(0.1)) << "below the row";

    // Three rows at their tallest, stacked from the top; with a narrower range too.
    data.items.push_back(item(QStringLiteral("Mail"), eventLog({{0, 1000}}), VXArrayRef()));
    data.items.push_back(item(QStringLiteral("Browser"), eventLog({{0, 1000}}), VXArrayRef()));
    data.end = kBase + 500.0;
    rows = rowRects();
    ASSERT_EQ(rows.size(), 3u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rows[i].bottom(), 69.0 * double(i + 1));
        EXPECT_LE(rows[i].height(), 69.0);
    }

    // Many rows share the view as before.
    for (int i = 0; i < 7; ++i)
        data.items.push_back(item(QStringLiteral("App %1").arg(i), eventLog({{0, 1000}}), VXArrayRef()));
    data.end = kBase + 1000.0;
    rows = rowRects();
    ASSERT_FALSE(rows.empty());
    EXPECT_EQ(rows[0].bottom(), 46.0);

    // Drawings without text (the tray, the taskbar icon) spread a single row over all of it.
    data.items.resize(1);
    report->update(&scrollArea);
    QImage icon(32, 32, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::magenta);
    QPainter painter(&icon);
    report->drawFlippedAndSimplifiedReportInRect(painter, QRectF(0, 0, 32, 32), false);
    painter.end();
    EXPECT_EQ(icon.pixel(16, 30), grey(0.2));
}

TEST_F(ReportViewRender, WindowsAndPoolMembersAreIndentedButPoolsAreNot)
{
    // The same name in each kind of row: a row drawn like the application's has no bullet and
    // no indent. Pools carry the pool item type as their members do.
    const auto rowImage = [&](const QString &path, const QString &type) {
        delegate.items = {item(QStringLiteral("Work"), eventLog({{0, 1000}}), VXArrayRef(), path, type)};
        return render(300, 46, 1.0, true);
    };
    const QImage application = rowImage(QStringLiteral("/usr/bin/work"), QString());
    const QImage window = rowImage(VXWindowPathMarker, QString());
    EXPECT_NE(window, application) << "a window is indented";
    EXPECT_EQ(rowImage(VXPoolPathMarker, VXPoolItemType), application) << "a pool heads its group";
    EXPECT_EQ(rowImage(VXPoolPathMarker, QString()), application);
    EXPECT_EQ(rowImage(QStringLiteral("/usr/bin/work"), VXPoolItemType), window) << "a pool member";
    EXPECT_EQ(rowImage(VXWindowPathMarker, VXPoolItemType), window) << "a window of a pool member";
}
