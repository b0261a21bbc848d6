// A CSV snapshot with huge cells (a window title of megabytes, megabytes of line breaks inside
// quotes) opens as a report like any other: the reader keeps a title's worth of each, and labels
// lay out no more than they can show.

#include "VXReportControllerTestSupport.h"

#include "VXReportController.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotParser.h"
#include "VXReportSnapshotWindows.h"
#include "VXReportView.h"
#include "VXStringDrawingExtensions.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

// Big enough to be read in parts side by side; small enough for every run of the tests.
constexpr qsizetype kHugeCell = 12 * 1024 * 1024;

// The names of the clipped entries the report shows.
QStringList namesShown(VXReportView *view)
{
    QStringList names;
    if (view->eventLogs()) {
        for (const VXValue &entry : *view->eventLogs())
            names << entry.dictionary()->value(VXNameKey).toString();
    }
    return names;
}

}   // namespace

TEST(HugeSnapshotCell, IsCutToATitlesLengthAndTheReportDrawsIt)
{
    PrivateSettings settings;
    VXReportSnapshotWindows windows(settings.defaults.get());
    VXReportSnapshotManager manager;
    manager.setPresenter(&windows);

    // "x" then two-byte characters: the cut falls inside one and steps back before it.
    QByteArray title = "x";
    while (title.size() < kHugeCell)
        title += "\xC3\xA9";
    const QByteArray text = "Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                            "Editor,"
        + title + ",1750000000.00,1750001800.00\n" + "Editor,\"" + QByteArray(kHugeCell, '\n')
        + "\",1750001800.00,1750003600.00\n";
    const QString path = settings.folder.filePath(u"huge.csv"_s);
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(text), text.size());
    }

    QSignalSpy shown(&manager, &VXReportSnapshotManager::reportSnapshotShown);
    manager.showReportSnapshotFromCSVFile(path, u","_s);
    ASSERT_TRUE(shown.wait(60000));
    auto controller = manager.controllerForPath(path);
    auto *report = dynamic_cast<VXReportController *>(controller.get());
    ASSERT_NE(report, nullptr);

    const QStringList names = namesShown(report->reportView());
    const QString keptTitle = u"x"_s + QString(2047, QChar(0xE9));
    EXPECT_EQ(keptTitle.toUtf8().size(), 4095);
    EXPECT_EQ(names.size(), 3);
    EXPECT_TRUE(names.contains(keptTitle));
    EXPECT_TRUE(names.contains(QString(4096, u'\n')));

    // The window draws, rows and labels.
    const QImage image = report->reportWindow()->grab().toImage();
    EXPECT_FALSE(image.isNull());
    report->reportWindow()->close();
    QCoreApplication::processEvents();
}

TEST(HugeSnapshotCell, ALabelLaysOutOnlyWhatItsWidthCanShow)
{
    application();
    const QString huge(kHugeCell, u'W');
    EXPECT_EQ(labelTextVisibleInWidth(huge, 150.0).size(), 302);
    EXPECT_EQ(labelTextVisibleInWidth(u"Mail"_s, 150.0), u"Mail"_s);
    // Never half a character outside the basic plane.
    QString faces;
    for (int i = 0; i < 200; ++i)
        faces += QString::fromUcs4(U"\U0001F642");
    const QString cut = labelTextVisibleInWidth(faces, 20.0);
    EXPECT_FALSE(cut.back().isHighSurrogate());
    EXPECT_TRUE(faces.startsWith(cut));

    // Drawn at the smallest size, cut at its tail, inside the rectangle.
    QImage image(400, 40, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::black);
    QPainter painter(&image);
    VXTextAttributes attributes;
    attributes.alignment = Qt::AlignLeft;
    EXPECT_EQ(scaleToFitAndDrawInRect(huge, painter, QRectF(0, 0, 150, 40), &attributes, QFont::Normal, nullptr, 0),
              11);
    painter.end();
    int right = -1;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qGray(image.pixel(x, y)) > 60)
                right = std::max(right, x);
    EXPECT_GT(right, 100);
    EXPECT_LE(right, 150);
}
