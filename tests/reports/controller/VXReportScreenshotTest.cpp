// Screenshots of report windows on a real X server: a private Xvfb with openbox, a live report
// over a working day on the fake desktop and a snapshot read from a CSV file, each in the
// "Original", "Light" and "Dark" colour schemes, written as PNG files a person can open.
//
// The test starts the X server, then runs this same program again on it (the drawing needs an
// application of its own on that display), and checks the pictures it leaves.

#include "VXReportControllerTestSupport.h"

#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXMainController.h"
#include "VXReportController.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXScreenshotSupport.h"
#include "VXVirtualScheduler.h"
#include "VXX11TestRig.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include <gtest/gtest.h>

#include <cstdio>
#include <set>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

const char *const kOutputVariable = "WENDLE_REPORT_SCREENSHOTS";
constexpr double kMorning = 1'763'712'000.0;   // 2025-11-21 08:00 UTC

struct Scheme {
    const char16_t *name;
    int value;
};
constexpr Scheme kSchemes[] = {{u"original", 0}, {u"light", 2}, {u"dark", 3}};

// The drawing runs twice: at the display's own scale and at a device pixel ratio of 2.
const char *const kScaleVariable = "WENDLE_REPORT_SCREENSHOT_SCALE";
constexpr const char16_t *kScaleSuffixes[] = {u"", u"@2x"};

QString fileName(const QString &folder, const QString &kind, const char16_t *scheme, const QString &suffix)
{
    return folder + u"/report-"_s + kind + u'-' + QString::fromUtf16(scheme) + suffix + u".png"_s;
}

// A working day live and from a file; a new user's report before anything was tracked and after
// the first minute; a file without total columns.
constexpr const char16_t *kKinds[] = {u"live", u"snapshot", u"empty", u"first", u"foreground-only"};

QStringList expectedFiles(const QString &folder)
{
    QStringList files;
    for (const char16_t *suffix : kScaleSuffixes) {
        for (const Scheme &scheme : kSchemes) {
            for (const char16_t *kind : kKinds)
                files << fileName(folder, QString::fromUtf16(kind), scheme.name, QString::fromUtf16(suffix));
        }
    }
    return files;
}

const QByteArray kSnapshotCSV
    = "Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time),Total Begin (Unix Time),Total End (Unix Time)\n"
      ",Editor,,1763712000.00,1763719200.00,1763712000.00,1763740800.00\n"
      ",Editor,report.txt,1763712000.00,1763715600.00,1763712000.00,1763726400.00\n"
      ",Editor,notes.txt,1763715600.00,1763719200.00,1763715600.00,1763740800.00\n"
      ",Terminal,,1763719200.00,1763722800.00,1763712000.00,1763740800.00\n"
      ",Browser,,1763722800.00,1763730000.00,1763722800.00,1763737200.00\n"
      ",Browser,,1763733600.00,1763737200.00,1763737200.00,1763740000.00\n"
      "Writing,Editor,,1763712000.00,1763719200.00,1763712000.00,1763740800.00\n"
      "Research,Browser,,1763722800.00,1763730000.00,1763722800.00,1763737200.00\n";

const QByteArray kForegroundOnlyCSV
    = "Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
      ",Editor,,1763712000.00,1763719200.00\n"
      ",Editor,notes.txt,1763715600.00,1763719200.00\n"
      ",Terminal,,1763719200.00,1763722800.00\n"
      ",Browser,,1763722800.00,1763730000.00\n";

// A picture of the window as the X server shows it.
bool saveWindow(QWidget *window, const QString &path)
{
    window->raise();
    window->activateWindow();
    QTest::qWait(300);
    const QPixmap shot = window->screen()->grabWindow(window->winId());
    if (shot.isNull() || !shot.save(path))
        return false;
    std::printf("screenshot: %s\n", qPrintable(path));
    std::fflush(stdout);
    return true;
}

}   // namespace

// Run by the test below on its X server; skipped otherwise.
TEST(ReportScreenshotWindows, DrawLiveAndSnapshotReports)
{
    const QString folder = qEnvironmentVariable(kOutputVariable);
    if (folder.isEmpty())
        GTEST_SKIP() << "draws on the X server that ReportScreenshots.* starts";
    const bool doubled = qEnvironmentVariable(kScaleVariable) == u"2"_s;
    const QString suffix = QString::fromUtf16(kScaleSuffixes[doubled ? 1 : 0]);
    // Logical sizes: at twice the pixels both windows must still fit the 1280 by 1024 screen.
    const QRect liveFrame = doubled ? QRect(10, 10, 600, 360) : QRect(40, 40, 900, 560);
    const QRect snapshotFrame = doubled ? QRect(20, 130, 600, 360) : QRect(120, 120, 900, 560);
    application();
    PrivateSettings settings;
    vxtest::ScopedDataHome dataHome;

    // A working day: three applications taking turns in front, with windows.
    VXVirtualScheduler time {kMorning};
    VXFakeDesktop desktop;
    VXLaunchExample(desktop, u"Editor"_s, 10);
    VXLaunchExample(desktop, u"Terminal"_s, 11);
    VXLaunchExample(desktop, u"Browser"_s, 12);
    desktop.openWindow(10, u"report.txt"_s);
    desktop.openWindow(10, u"notes.txt"_s);
    desktop.openWindow(11, u"make"_s);
    desktop.openWindow(12, u"Documentation"_s);
    settings.defaults->setInteger(1, u"Live Report Content"_s);
    VXMainController controller(desktop, time, time, *settings.defaults);
    controller.updateLists(&controller);
    const std::int64_t turns[] = {10, 10, 11, 12, 10, 12, 12, 11, 10, 10, 12, 11};
    for (std::int64_t process : turns) {
        desktop.activate(process);
        time.advanceBy(40 * 60.0);
    }

    auto live = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, &controller,
                                                                 settings.defaults.get());
    live->toggleReportWindow(nullptr);
    live->reportWindow()->setGeometry(liveFrame);

    SnapshotReports snapshots(settings, controller);
    VXReportController *snapshot = snapshots.open(u"2025-11-21.csv"_s, kSnapshotCSV);
    ASSERT_NE(snapshot, nullptr);
    snapshot->reportWindow()->setGeometry(snapshotFrame);
    // The afternoon only, as a person would choose it.
    snapshot->setBeginTimestamp(kMorning + 3 * 3600.0, 0.0, snapshot->reportView());

    // A file without total columns.
    VXReportController *foregroundOnly = snapshots.open(u"foreground.csv"_s, kForegroundOnlyCSV);
    ASSERT_NE(foregroundOnly, nullptr);
    foregroundOnly->reportWindow()->setGeometry(snapshotFrame);

    // A new user's report: nothing yet, then the first minute of one application.
    FakeDataSource nothing;
    nothing.first = nothing.last = kMorning;
    auto empty = VXReportController::reportControllerWithUniqueID(u"Empty"_s, &nothing, settings.defaults.get());
    empty->toggleReportWindow(nullptr);
    empty->reportWindow()->setGeometry(liveFrame);
    FakeDataSource oneMinute;
    oneMinute.first = kMorning;
    oneMinute.last = kMorning + 60.0;
    oneMinute.entries = VXMakeArray();
    oneMinute.entries->append(applicationEntry(u"Terminal"_s, {kMorning, -(kMorning + 60.0)},
                                               {kMorning, -(kMorning + 60.0)}, kMorning, kMorning + 60.0));
    // (Drawn as the live report draws by default.)
    settings.defaults->setBool(true, u"Report: First: Front"_s);
    settings.defaults->setBool(true, u"Report: First: Total"_s);
    auto first = VXReportController::reportControllerWithUniqueID(u"First"_s, &oneMinute, settings.defaults.get());
    first->toggleReportWindow(nullptr);
    first->reportWindow()->setGeometry(liveFrame);

    const std::pair<const char16_t *, VXReportController *> windowsByKind[] = {{u"live", live.get()},
                                                                               {u"snapshot", snapshot},
                                                                               {u"empty", empty.get()},
                                                                               {u"first", first.get()},
                                                                               {u"foreground-only", foregroundOnly}};
    for (const auto &[kind, report] : windowsByKind)
        ASSERT_TRUE(QTest::qWaitForWindowExposed(report->reportWindow()));
    for (const Scheme &scheme : kSchemes) {
        settings.defaults->setInteger(scheme.value, VXColorSchemeKey);
        for (const auto &[kind, report] : windowsByKind)
            EXPECT_TRUE(
                saveWindow(report->reportWindow(), fileName(folder, QString::fromUtf16(kind), scheme.name, suffix)));
    }
    for (const auto &[kind, report] : windowsByKind)
        report->reportWindow()->close();
    QCoreApplication::processEvents();
}

TEST(ReportScreenshots, LiveAndSnapshotReportsInEachColourScheme)
{
    if (qEnvironmentVariableIsSet(kOutputVariable))
        GTEST_SKIP() << "this run draws the pictures";
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();

    const QString folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(folder));
    for (const QString &path : expectedFiles(folder))
        QFile::remove(path);

    ASSERT_NO_FATAL_FAILURE(VXRunDrawingAtScales(rig.environment(), kOutputVariable, kScaleVariable, folder,
                                                 u"ReportScreenshotWindows.*"_s, 120000));

    // Each picture is a real drawing (many colours, not an empty window), and the schemes
    // differ: "Light" is brighter than "Dark".
    const auto brightness = VXMeanGray;
    for (const QString &path : expectedFiles(folder)) {
        const QImage image(path);
        ASSERT_FALSE(image.isNull()) << path.toStdString();
        EXPECT_GE(image.width(), 600);
        std::set<QRgb> colours;
        for (int y = 0; y < image.height(); y += 3) {
            for (int x = 0; x < image.width(); x += 3)
                colours.insert(image.pixel(x, y));
        }
        EXPECT_GT(colours.size(), 20u) << path.toStdString();
    }
    for (const char16_t *suffix : kScaleSuffixes) {
        for (const char16_t *kind : {u"live", u"snapshot"}) {
            const QString light = fileName(folder, QString::fromUtf16(kind), u"light", QString::fromUtf16(suffix));
            const QString dark = fileName(folder, QString::fromUtf16(kind), u"dark", QString::fromUtf16(suffix));
            EXPECT_GT(brightness(QImage(light)), brightness(QImage(dark)) + 40.0) << light.toStdString();
        }
    }
    // The doubled pictures have twice the pixels of their windows' logical size.
    EXPECT_EQ(QImage(fileName(folder, u"live"_s, u"dark", u"@2x"_s)).width(), 1200);
}
