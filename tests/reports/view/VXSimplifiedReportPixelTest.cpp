// The report without text (taskbar icon, desktop report) of randomized records, pixel for pixel
// against a plain drawing of the same rows made here: every period's rectangle filled on its
// own, as the channel's rule has it (a period on its column, short ones in one column adding up
// to a 1-point tick), with no merging, no one rectangle per column and no shortcut. Any rounding
// or grouping slip of the drawing's walk shows as a differing pixel; no tolerance. Then the same
// while the record grows tick by tick: the drawing a view keeps from tick to tick against a
// fresh view's and the plain one.

#include "VXColorExtensions.h"
#include "VXReportGeometry.h"
#include "VXReportViewTestSupport.h"
#include "VXSeededRandom.h"

#include <QPainter>

#include <gtest/gtest.h>

using namespace reportviewtest;

namespace {

constexpr double kDay = 86400.0;

// A log over [0, kDay) after kBase: long periods, lone short ones, bursts of very short ones
// (many per pixel column), and now and then an opening repeated.
VXArrayRef randomLog(VXSeededRandom &random)
{
    VXArrayRef log = VXMakeArray();
    double t = random.uniform() * 600.0;
    while (t < kDay) {
        const int kind = random.below(3);
        const int count = kind == 2 ? 5 + random.below(40) : 1;
        for (int i = 0; i < count && t < kDay; ++i) {
            const double length = kind == 0 ? 60.0 + random.exponential() * 3000.0
                : kind == 1                 ? 1.0 + random.uniform() * 120.0
                                            : 0.05 + random.uniform() * 8.0;
            log->append(kBase + t);
            if (random.chance(0.02))
                log->append(kBase + t + 0.01);
            log->append(-(kBase + std::min(t + length, kDay)));
            t += length + (kind == 2 ? random.uniform() * 20.0 : 10.0 + random.exponential() * 4000.0);
        }
    }
    return log;
}

// The channel's rule, period by period.
void fillChannelPlainly(QPainter &painter, const VXArray &log, double begin, double end, const QRectF &r, bool emboss,
                        QRgb color)
{
    const double scale = (r.width() + 1.0) / (end - begin);
    double prev = -1.0, lastX = -1.0, acc = 0.0;
    for (const VXValue &number : log) {
        const double v = number.toDouble();
        if ((v > 0.0) == (prev > 0.0))
            continue;
        if (v > 0.0) {
            prev = v;
            continue;
        }
        const double x = std::floor((prev - begin) * scale);
        const double w = scale * (-v - prev);
        acc = lastX > -0.1 && std::abs(x - lastX) <= 0.1 ? acc + w : w;
        if (acc > 0.09) {
            const double width = acc < 1.1 ? 1.0 : std::floor(acc);
            const double extra = emboss ? 1.0 : 0.0;
            painter.fillRect(QRectF(r.x() + x - extra, r.y(), width + 2.0 * extra, r.height()), QColor(color));
        }
        lastX = x;
        prev = v;
    }
}

// The rows as the small renderings lay them out, drawn bottom row first so that upper rows
// cover what overlaps them, each with its total and foreground channels and the separator
// along its top (unshaded scheme: no gradient).
void drawPlainly(QPainter &painter, const QRectF &bounds, const VXArray &entries, double begin, double end, bool emboss)
{
    painter.fillRect(bounds, QColor(grey(0.1)));
    const VXReportGeometry::RowLayout layout
        = VXReportGeometry::layoutRows(bounds, entries.size(), entries.size(), false, false, bounds.top());
    for (std::size_t i = entries.size(); i-- > 0;) {
        const VXDictionary &entry = *entries.at(i).dictionary();
        QRectF r = layout.rows[i];
        if (r.height() < 1.0)
            r.setHeight(1.0);
        if (const VXArray *log = entry.value(VXActiveLogKey).array())
            fillChannelPlainly(painter, *log, begin, end, r, emboss, grey(0.2));
        if (const VXArray *log = entry.value(VXFrontActiveLogKey).array())
            fillChannelPlainly(painter, *log, begin, end, r, emboss, pieColor());
        if (r.top() > bounds.top() + 0.1)
            painter.fillRect(QRectF(r.left(), r.top(), r.width(), 1.0), QColor(0, 0, 0, 128));
    }
}

class SimplifiedReportPixels : public ::testing::Test
{
protected:
    void SetUp() override { defaults().setInteger(VXColorSchemeUnshaded, VXColorSchemeKey); }
    void TearDown() override { defaults().removeObjectForKey(VXColorSchemeKey); }
};

}   // namespace

TEST_F(SimplifiedReportPixels, RandomRecordsDrawTheSamePixelsAsEveryPeriodFilledOnItsOwn)
{
    struct Row {
        const char *name;
        std::uint64_t seed;
        int items;
        QRectF rect;
        double dpr;
        bool emboss;
        bool yUp;
        double beginOffset, endOffset;   // the shown range within the day
    };
    const Row rows[] = {
        {"taskbar icon: 300 rows in 86 points", 1, 300, QRectF(9, 27, 110, 86), 1.0, false, false, 0, kDay},
        {"taskbar icon at ratio 2, y-up painter", 2, 40, QRectF(9, 27, 110, 86), 2.0, false, true, 0, kDay},
        {"desktop report, embossed", 3, 25, QRectF(0, 0, 800, 600), 1.0, true, false, 0, kDay},
        {"one row over an odd width", 4, 1, QRectF(0, 0, 333, 40), 1.0, false, false, 0, kDay},
        {"an afternoon of the day", 5, 12, QRectF(0, 0, 640, 120), 1.0, true, false, 13 * 3600.0, 17.5 * 3600.0},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VXSeededRandom random(row.seed);
        TestDelegate delegate;
        delegate.first = kBase;
        delegate.last = kBase + kDay;
        delegate.begin = kBase + row.beginOffset;
        delegate.end = kBase + row.endOffset;
        for (int i = 0; i < row.items; ++i)
            delegate.items.push_back(item(QStringLiteral("Item %1").arg(i), randomLog(random), randomLog(random)));
        VXReportView view;
        view.setDelegate(&delegate);
        view.update(nullptr);
        ASSERT_TRUE(view.eventLogs());

        const QSize pixels(int(std::ceil((row.rect.right() + 9) * row.dpr)),
                           int(std::ceil((row.rect.bottom() + 9) * row.dpr)));
        QImage drawn(pixels, QImage::Format_ARGB32_Premultiplied);
        drawn.setDevicePixelRatio(row.dpr);
        drawn.fill(Qt::magenta);
        QImage expected = drawn;
        {
            QPainter painter(&drawn);
            if (row.yUp) {
                painter.translate(0, pixels.height() / row.dpr);
                painter.scale(1, -1);
                view.drawFlippedAndSimplifiedReportInRect(painter,
                                                          QRectF(row.rect.x(),
                                                                 pixels.height() / row.dpr - row.rect.bottom(),
                                                                 row.rect.width(), row.rect.height()),
                                                          row.emboss);
            } else {
                view.drawFlippedAndSimplifiedReportInRect(painter, row.rect, row.emboss);
            }
        }
        {
            QPainter painter(&expected);
            drawPlainly(painter, row.rect, *view.eventLogs(), delegate.begin, delegate.end, row.emboss);
        }

        int differing = 0;
        QPoint firstDifference;
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                if (drawn.pixel(x, y) != expected.pixel(x, y) && differing++ == 0)
                    firstDifference = QPoint(x, y);
        EXPECT_EQ(differing, 0) << "first at " << firstDifference.x() << ", " << firstDifference.y();
        // The record is busy enough to test something: foreground (the pie colour's hue, darkened
        // or not by separators) shows in a good part of the picture.
        int front = 0;
        for (int y = 0; y < pixels.height(); ++y)
            for (int x = 0; x < pixels.width(); ++x)
                front += qRed(expected.pixel(x, y)) > qGreen(expected.pixel(x, y)) + 8 ? 1 : 0;
        EXPECT_GT(front, row.rect.width() * row.rect.height() * row.dpr * row.dpr / 20);
    }
}

namespace {

// The rendering of `view` in `rect`, on a magenta sheet a little larger.
QImage simplifiedImage(VXReportView &view, const QRectF &rect, bool emboss)
{
    QImage image(int(rect.right()) + 9, int(rect.bottom()) + 9, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::magenta);
    QPainter painter(&image);
    view.drawFlippedAndSimplifiedReportInRect(painter, rect, emboss);
    return image;
}

}   // namespace

TEST_F(SimplifiedReportPixels, DrawingsKeptFromTickToTickEqualFreshOnes)
{
    // A day of 30 items grows tick by tick as the tracker grows it: periods opened and closed at
    // the end, the last closing moved later; the range ends at the record's end. Most ticks are
    // short (the columns stay), now and then one jumps a column's time or more (they move).
    VXSeededRandom random(7);
    VXEventLogClipCache cache;
    TestDelegate delegate;
    delegate.clipCache = &cache;
    delegate.first = delegate.begin = kBase;
    double now = kBase + kDay;
    for (int i = 0; i < 30; ++i)
        delegate.items.push_back(item(QStringLiteral("Item %1").arg(i), randomLog(random), randomLog(random)));
    struct Target {
        const char *name;
        QRectF rect;
        bool emboss;
    };
    const Target targets[]
        = {{"taskbar icon", QRectF(9, 27, 110, 86), false}, {"desktop report", QRectF(0, 0, 640, 300), true}};
    VXReportView kept;
    kept.setDelegate(&delegate);
    for (int tick = 0; tick < 160; ++tick) {
        now += tick % 40 == 39 ? 1500.0 * random.uniform() : 0.5 + 20.0 * random.uniform();
        for (const VXDictionaryRef &source : delegate.items) {
            for (const QString *key : {&VXActiveLogKey, &VXFrontActiveLogKey}) {
                VXArray &log = *source->value(*key).array();
                const bool open = !log.isEmpty() && log.last().toDouble() > 0;
                const double roll = random.uniform();
                if (roll < 0.15)
                    log.append(open ? -now : now);
                else if (!open && roll < 0.3)
                    log[log.size() - 1] = VXValue(-now);
            }
        }
        delegate.end = delegate.last = now;
        kept.update(nullptr);
        VXReportView fresh;
        fresh.setDelegate(&delegate);
        fresh.update(nullptr);
        for (const Target &target : targets) {
            SCOPED_TRACE(testing::Message() << target.name << ", tick " << tick);
            const QImage drawn = simplifiedImage(kept, target.rect, target.emboss);
            ASSERT_EQ(drawn, simplifiedImage(fresh, target.rect, target.emboss));
            if (tick % 20 == 0) {
                QImage expected(drawn.size(), QImage::Format_ARGB32_Premultiplied);
                expected.fill(Qt::magenta);
                QPainter painter(&expected);
                drawPlainly(painter, target.rect, *kept.eventLogs(), delegate.begin, delegate.end, target.emboss);
                painter.end();
                ASSERT_EQ(drawn, expected);
            }
        }
    }
    EXPECT_GT(cache.continuedCount(), 0u);
}
