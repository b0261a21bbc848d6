// Labels fitted into rectangles and the items' small icons.

#include "VXStringDrawingExtensions.h"
#include "VXReportViewTestSupport.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <cmath>

namespace {

QFont sized(int weight, int size)
{
    QFont font = QApplication::font();
    font.setWeight(QFont::Weight(weight));
    font.setPixelSize(size);
    return font;
}

// The rows of the image holding ink (pixels brighter than the black background).
std::pair<int, int> inkRows(const QImage &image, int *inkColumns = nullptr)
{
    int top = image.height(), bottom = -1, right = -1;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qGray(image.pixel(x, y)) > 60) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
                right = std::max(right, x);
            }
    if (inkColumns)
        *inkColumns = right + 1;
    return {top, bottom};
}

}   // namespace

TEST(StringDrawing, FittedSizesFollowTheRectangle)
{
    const int weight = QFont::Normal;
    // A wide, low rectangle: the height decides, 17/20 of the height at size 20.
    const QString word = QStringLiteral("Editor");
    const double height20 = QFontMetricsF(sized(weight, 20)).height();
    const int byHeight = int(std::lround(30.0 * 17.0 / height20));
    qreal textHeight = 0;
    EXPECT_EQ(scaleToFitSize(word, QSizeF(2000, 30), weight, 0, &textHeight), byHeight);
    EXPECT_LE(textHeight, 30.0);
    // A narrow, tall one: the width decides.
    const double width20 = QFontMetricsF(sized(weight, 20)).horizontalAdvance(word);
    const int byWidth = int(std::lround(60.0 * 17.0 / width20));
    ASSERT_GE(byWidth, 11);
    EXPECT_EQ(scaleToFitSize(word, QSizeF(60, 500), weight, 0, nullptr), byWidth);
    // A maximum caps the width-fitting size.
    EXPECT_EQ(scaleToFitSize(word, QSizeF(2000, 2000), weight, 13, nullptr), 13);
    // Never below 11: a long text in a small rectangle is cut instead.
    EXPECT_EQ(scaleToFitSize(QString(200, u'W'), QSizeF(100, 40), weight, 0, &textHeight), 11);
    EXPECT_DOUBLE_EQ(textHeight, QFontMetricsF(sized(weight, 11)).height());
}

TEST(StringDrawing, LabelsAreCentredCutAtTheirTailAndWhiteByDefault)
{
    QImage image(300, 60, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    QPainter painter(&image);
    const int size = scaleToFitAndDrawInRect(QStringLiteral("Mail"), painter, QRectF(0, 10, 300, 40), nullptr,
                                             QFont::Bold, nullptr, 20);
    painter.end();
    EXPECT_EQ(size, 20);
    const auto [top, bottom] = inkRows(image);
    ASSERT_GE(bottom, top);
    // The ink sits inside the rectangle, around its middle (the line's ascent and descent differ).
    EXPECT_GE(top, 10);
    EXPECT_LE(bottom, 50);
    EXPECT_NEAR((top + bottom) / 2.0, 30.0, 6.0);
    bool white = false;
    for (int x = 0; x < image.width() && !white; ++x) {
        const QRgb p = image.pixel(x, (top + bottom) / 2);
        white = qGray(p) > 200 && qRed(p) == qBlue(p);
    }
    EXPECT_TRUE(white);

    // A long text at the minimum size stays within the rectangle's width.
    QImage cut(400, 40, QImage::Format_ARGB32_Premultiplied);
    cut.fill(Qt::black);
    QPainter cutPainter(&cut);
    const QColor red(Qt::red);
    VXTextAttributes attributes;
    attributes.alignment = Qt::AlignLeft;
    scaleToFitAndDrawInRect(QString(300, u'W'), cutPainter, QRectF(0, 0, 150, 40), &attributes, QFont::Normal, &red, 0);
    cutPainter.end();
    int columns = 0;
    inkRows(cut, &columns);
    EXPECT_GT(columns, 100);
    EXPECT_LE(columns, 151);
    EXPECT_EQ(attributes.color, red) << "the attributes carry the colour used";
    EXPECT_EQ(attributes.font.pixelSize(), 11);

    // Nothing to draw: no size.
    QImage none(10, 10, QImage::Format_ARGB32_Premultiplied);
    QPainter nonePainter(&none);
    EXPECT_EQ(scaleToFitAndDrawInRect(QString(), nonePainter, QRectF(0, 0, 10, 10), nullptr, QFont::Normal, nullptr, 0),
              0);
}

TEST(StringDrawing, ItemIconsAreSixteenPointsCachedAndFadedWhenInactive)
{
    const QPixmap window = cached16Icon(VXWindowPathMarker);
    ASSERT_FALSE(window.isNull());
    EXPECT_EQ(window.deviceIndependentSize().toSize(), QSize(16, 16));
    EXPECT_EQ(cached16Icon(VXWindowPathMarker).cacheKey(), window.cacheKey()) << "made once";
    EXPECT_FALSE(cached16Icon(VXPoolPathMarker).isNull());

    QTemporaryFile file;
    ASSERT_TRUE(file.open());
    EXPECT_FALSE(cached16Icon(file.fileName()).isNull()) << "a file's icon";
    EXPECT_TRUE(cached16Icon(QStringLiteral("/nonexistent/wendle/app")).isNull());

    const QPixmap active = activeCached16Icon(VXWindowPathMarker, true);
    const QPixmap inactive = activeCached16Icon(VXWindowPathMarker, false);
    EXPECT_EQ(active.cacheKey(), window.cacheKey());
    ASSERT_FALSE(inactive.isNull());
    EXPECT_EQ(activeCached16Icon(VXWindowPathMarker, false).cacheKey(), inactive.cacheKey());
    const QImage a = active.toImage().convertToFormat(QImage::Format_ARGB32);
    const QImage b = inactive.toImage().convertToFormat(QImage::Format_ARGB32);
    ASSERT_EQ(a.size(), b.size());
    int compared = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            if (qAlpha(a.pixel(x, y)) == 255) {
                EXPECT_NEAR(qAlpha(b.pixel(x, y)), 128, 2);
                ++compared;
            }
    EXPECT_GT(compared, 0);
}
