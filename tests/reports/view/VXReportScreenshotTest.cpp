// Screenshots of a report in each colour scheme, taken from a private X server (Xvfb with
// openbox) and written where a person can open them; checked for each scheme's colours.

#include "VXX11TestRig.h"

#include <QDir>
#include <QImage>
#include <QProcess>

#include <gtest/gtest.h>

#include <iostream>

#ifndef WENDLE_REPORT_SCREENSHOT_TOOL
#error "WENDLE_REPORT_SCREENSHOT_TOOL must name the screenshot tool"
#endif
#ifndef WENDLE_SCREENSHOT_DIR
#error "WENDLE_SCREENSHOT_DIR must name the folder for the screenshots"
#endif

namespace {

struct Census {
    int neutralDark = 0;   // grey at or below 0.25
    int neutralLight = 0;   // grey at or above 0.9
    int purple = 0;   // the original pie colour's hue
    int bluish = 0;   // a highlight colour's hue (blue above red)
};

Census census(const QImage &image)
{
    Census c;
    for (int y = 0; y < image.height(); y += 2) {
        for (int x = 0; x < image.width(); x += 2) {
            const QRgb p = image.pixel(x, y);
            const int r = qRed(p), g = qGreen(p), b = qBlue(p);
            if (r == g && g == b) {
                c.neutralDark += r <= 64 ? 1 : 0;
                c.neutralLight += r >= 230 ? 1 : 0;
            } else if (r > g + 15 && b > g + 15 && std::abs(r - b) < 20) {
                ++c.purple;
            } else if (b > r + 20) {
                ++c.bluish;
            }
        }
    }
    return c;
}

}   // namespace

TEST(ReportViewScreenshots, EachColourSchemeOnARealDisplay)
{
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();

    const QString folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
    QDir(folder).removeRecursively();
    QProcess tool;
    QProcessEnvironment environment = rig.environment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("xcb"));
    environment.insert(QStringLiteral("DISPLAY"), rig.display());
    tool.setProcessEnvironment(environment);
    tool.start(QStringLiteral(WENDLE_REPORT_SCREENSHOT_TOOL), {folder});
    ASSERT_TRUE(tool.waitForStarted(10000));
    ASSERT_TRUE(tool.waitForFinished(120000)) << "the screenshot tool did not finish";
    const QByteArray errors = tool.readAllStandardError();
    ASSERT_EQ(tool.exitStatus(), QProcess::NormalExit) << errors.constData();
    ASSERT_EQ(tool.exitCode(), 0) << errors.constData();
    const QStringList written = QString::fromLocal8Bit(tool.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(written.size(), 7);
    EXPECT_TRUE(written.contains(QDir(folder).filePath(QStringLiteral("report-light.png"))));
    std::cout << "Report screenshots in " << folder.toStdString() << std::endl;

    for (const char *name : {"original", "light", "dark"}) {
        for (const char *suffix : {"", "-portions"}) {
            const QString path = QDir(folder).filePath(
                QStringLiteral("report-%1%2.png").arg(QLatin1String(name), QLatin1String(suffix)));
            SCOPED_TRACE(path.toStdString());
            const QImage image(path);
            ASSERT_FALSE(image.isNull());
            EXPECT_EQ(image.size(), QSize(900, 560));
            const Census c = census(image);
            const int total = (image.width() / 2) * (image.height() / 2);
            if (QLatin1String(name) == QLatin1String("light")) {
                EXPECT_GT(c.neutralLight, total / 3) << "a white report";
                EXPECT_GT(c.bluish, total / 50) << "foreground in the highlight tint";
                EXPECT_EQ(c.purple, 0);
            } else {
                EXPECT_GT(c.neutralDark, total / 10) << "a near-black report";
                EXPECT_LT(c.neutralLight, total / 20);
                if (QLatin1String(name) == QLatin1String("original")) {
                    EXPECT_GT(c.purple, total / 50) << "foreground in the pie colour";
                } else {
                    EXPECT_GT(c.bluish, total / 50) << "foreground in the highlight colour";
                    EXPECT_EQ(c.purple, 0);
                }
            }
        }
    }
    const QImage icon(QDir(folder).filePath(QStringLiteral("report-icon@2x.png")));
    ASSERT_FALSE(icon.isNull());
    EXPECT_EQ(icon.size(), QSize(128, 128));
    EXPECT_GT(census(icon).purple, 0);

    // A window on a display scaled by 2: twice the pixels per point, the same colours.
    QProcess scaled;
    environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QStringLiteral("2"));
    scaled.setProcessEnvironment(environment);
    scaled.start(QStringLiteral(WENDLE_REPORT_SCREENSHOT_TOOL), {folder, QStringLiteral("@2x")});
    ASSERT_TRUE(scaled.waitForStarted(10000));
    ASSERT_TRUE(scaled.waitForFinished(120000));
    ASSERT_EQ(scaled.exitCode(), 0) << scaled.readAllStandardError().constData();
    const QImage original2x(QDir(folder).filePath(QStringLiteral("report-original@2x.png")));
    ASSERT_FALSE(original2x.isNull());
    EXPECT_EQ(original2x.size(), QSize(1240, 960));
    const Census c = census(original2x);
    const int total = (original2x.width() / 2) * (original2x.height() / 2);
    EXPECT_GT(c.neutralDark, total / 10);
    EXPECT_GT(c.purple, total / 50);
}
