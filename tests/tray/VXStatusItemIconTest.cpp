// The tray icon's pictures, checked by their pixels: the colour each state draws in, crisp
// pictures at a device pixel ratio of 2, the named pictures and their variants, the automatic
// styles following the panel's section.

#include "VXStatusItemIcon.h"
#include "VXApplicationIcon.h"
#include "VXTrayTestSupport.h"

#include <QPalette>

#include <gtest/gtest.h>

#include <map>

namespace {

struct Census {
    int opaque = 0;   // alpha above 200
    int translucent = 0;   // alpha between 1 and 200 (the antialiased rim)
    std::map<QRgb, int> colours;   // of the opaque pixels, unpremultiplied
    bool greyOnly = true;
    QRgb dominant() const
    {
        auto best = colours.begin();
        for (auto it = colours.begin(); it != colours.end(); ++it)
            best = it->second > best->second ? it : best;
        return colours.empty() ? 0 : best->first;
    }
};

Census census(const QImage &image)
{
    Census c;
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < argb.height(); ++y) {
        for (int x = 0; x < argb.width(); ++x) {
            const QRgb p = argb.pixel(x, y);
            if (qAlpha(p) > 200) {
                ++c.opaque;
                ++c.colours[p | 0xff000000u];
            } else if (qAlpha(p) > 0) {
                ++c.translucent;
            }
            if (qAlpha(p) > 0 && (qRed(p) != qGreen(p) || qGreen(p) != qBlue(p)))
                c.greyOnly = false;
        }
    }
    return c;
}

class StatusItemIconTest : public VXWidgetTest
{
protected:
};

TEST_F(StatusItemIconTest, TheDrawnIconsTakeTheColourOfTheirState)
{
    struct Row {
        const char *name;
        VXStatusItemIconState state;
        QRgb colour;
    };
    const Row rows[] = {
        {"running", {.style = 11}, qRgb(0x1a, 0x1a, 0x1a)},
        {"hibernating", {.style = 11, .hibernating = true}, qRgb(0x8c, 0x8c, 0x8c)},
        {"deep hibernation", {.style = 12, .hibernating = true, .deepHibernation = true}, qRgb(0xd0, 0x26, 0x1c)},
        {"dark panel", {.style = 12, .darkPanel = true}, qRgb(255, 255, 255)},
        {"dark panel while hibernating", {.style = 11, .hibernating = true, .darkPanel = true}, qRgb(255, 255, 255)},
        {"panel open", {.style = 10, .deepHibernation = true, .highlighted = true}, qRgb(255, 255, 255)},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const QImage one = VXStatusItemImage(row.state, 18, 1.0);
        const QImage two = VXStatusItemImage(row.state, 18, 2.0);
        ASSERT_EQ(one.size(), QSize(18, 18));
        ASSERT_EQ(two.size(), QSize(36, 36));
        EXPECT_EQ(two.devicePixelRatio(), 2.0);
        const Census c1 = census(one), c2 = census(two);
        EXPECT_EQ(c1.dominant(), row.colour);
        EXPECT_EQ(c2.dominant(), row.colour);
        // Drawn for the ratio, not scaled up: four times the solid pixels, a rim only twice as long.
        EXPECT_GT(c2.opaque, 3 * c1.opaque);
        EXPECT_LT(c2.translucent, 3 * c1.translucent);
    }
    // The two drawn styles differ.
    EXPECT_NE(VXStatusItemImage({.style = 11}, 18, 1.0), VXStatusItemImage({.style = 12}, 18, 1.0));
}

TEST_F(StatusItemIconTest, NamedPicturesAndTheirVariants)
{
    struct Row {
        VXStatusItemIconState state;
        const char *name;
    };
    const Row rows[] = {
        {{.style = 110}, "MenuSimple"},
        {{.style = 110, .reporting = true}, "MenuSimpleReport"},
        {{.style = 100, .reporting = true, .darkPanel = true}, "MenuReport"},   // no inverted Menu pictures
        {{.style = 101, .hibernating = true}, "MenuHibernate"},
        {{.style = 111, .darkPanel = true}, "MenuSimpleInverted"},
        {{.style = 112, .highlighted = true}, "MenuSimpleReportInverted"},
        {{.style = 121, .hibernating = true, .darkPanel = true}, "MenuQuinceHibernate"},
        {{.style = 120, .reporting = true}, "MenuQuinceReport"},
        {{.style = 122, .darkPanel = true}, "MenuQuinceReportInverted"},
        {{.style = 0, .reporting = true}, "Report"},
        {{.style = 11}, ""},
        {{.style = 0}, ""},
        {{.style = 57}, ""},   // unknown: the default drawn icon
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const QString name = VXStatusItemImageName(row.state);
        EXPECT_EQ(name, QString::fromLatin1(row.name));
        if (name.isEmpty())
            continue;
        const QImage image = VXStatusItemImage(row.state, 18, 2.0);
        ASSERT_FALSE(image.isNull());
        const Census c = census(image);
        EXPECT_GT(c.opaque, 60);
        QRgb expected = qRgb(0x1a, 0x1a, 0x1a);
        if (name.endsWith(QLatin1String("Inverted")))
            expected = qRgb(255, 255, 255);
        else if (name.endsWith(QLatin1String("Hibernate")))
            expected = qRgb(0x8c, 0x8c, 0x8c);
        if (name.startsWith(QLatin1String("Menu"))) {
            EXPECT_EQ(c.dominant(), expected);
        }
    }
    EXPECT_TRUE(VXNamedStatusImage(QStringLiteral("NoSuchPicture"), 18).isNull());

    // The report picture of style 2 has colour, and none while hibernating; style 1 is the
    // program's own icon.
    EXPECT_FALSE(census(VXStatusItemImage({.style = 2}, 18, 2.0)).greyOnly);
    EXPECT_TRUE(census(VXStatusItemImage({.style = 2, .hibernating = true}, 18, 2.0)).greyOnly);
    EXPECT_EQ(VXStatusItemImage({.style = 1}, 18, 1.0).convertToFormat(QImage::Format_ARGB32),
              applicationIconImage(18).convertToFormat(QImage::Format_ARGB32));

    // An icon for the tray has every size at both ratios.
    const QIcon icon = VXStatusItemIcon({.style = 10});
    EXPECT_EQ(icon.availableSizes().size(), 8);
    QPalette light, dark;
    light.setColor(QPalette::Window, QColor(240, 240, 240));
    dark.setColor(QPalette::Window, QColor(40, 40, 44));
    EXPECT_FALSE(VXPaletteIsDark(light));
    EXPECT_TRUE(VXPaletteIsDark(dark));
}

}   // namespace
