// Wendle's icon: drawn from the compiled-in picture, in colour and in grey scale; carried by the
// report windows (the tray's icon in the state of tracking is the shell's test).

#include "VXReportControllerTestSupport.h"

#include "VXApplicationIcon.h"
#include "VXReportController.h"

#include <QApplication>
#include <QWidget>

#include <gtest/gtest.h>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

// Pixels that are neither transparent nor grey.
int colouredPixels(const QImage &image)
{
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = image.pixel(x, y);
            count += qAlpha(p) > 0 && (qRed(p) != qGreen(p) || qGreen(p) != qBlue(p)) ? 1 : 0;
        }
    }
    return count;
}

QImage iconImage(const QIcon &icon)
{
    return icon.pixmap(QSize(48, 48)).toImage().convertToFormat(QImage::Format_ARGB32);
}

}   // namespace

TEST(ApplicationIcon, DrawnInColourAndInGreyWithTheSameShape)
{
    application();
    for (int pixels : {16, 48, 256}) {
        SCOPED_TRACE(pixels);
        const QImage colour = applicationIconImage(pixels).convertToFormat(QImage::Format_ARGB32);
        const QImage grey = applicationIconImage(pixels, true).convertToFormat(QImage::Format_ARGB32);
        ASSERT_EQ(colour.size(), QSize(pixels, pixels));
        ASSERT_EQ(grey.size(), colour.size());
        EXPECT_GT(colouredPixels(colour), pixels * pixels / 4) << "a coloured picture";
        EXPECT_EQ(colouredPixels(grey), 0);
        EXPECT_EQ(qAlpha(colour.pixel(0, 0)), 0) << "rounded corners";
        for (int y = 0; y < pixels; y += 3)
            for (int x = 0; x < pixels; x += 3)
                ASSERT_EQ(qAlpha(grey.pixel(x, y)), qAlpha(colour.pixel(x, y)));
    }
    EXPECT_FALSE(applicationIcon().isNull());
    EXPECT_TRUE(applicationIconImage(0).isNull());
}

TEST(ApplicationIcon, ReportWindowsShowTheProgramsIcon)
{
    PrivateSettings settings;
    FakeDataSource source;
    auto report = VXReportController::reportControllerWithUniqueID(u"Day"_s, &source, settings.defaults.get());
    ASSERT_NE(report->loadReportWindow(), nullptr);
    // No icon of its own: it follows the program's, which the taskbar may replace by the live
    // report drawn into it.
    for (const QIcon &icon : {applicationIcon(), applicationIcon(true)}) {
        QApplication::setWindowIcon(icon);
        EXPECT_EQ(iconImage(report->reportWindow()->windowIcon()), iconImage(icon));
    }
}
