// The report controller with its real data sources: a snapshot read from a CSV file by the
// snapshot manager and shown through the report windows, and the live report served by the
// application controller on the fake desktop in virtual time, with its View menu.

#include "VXReportControllerTestSupport.h"

#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXMainController.h"
#include "VXReportController.h"
#include "VXReportMenuAdapter.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXReportView.h"
#include "VXVirtualScheduler.h"

#include <QAction>
#include <QImage>
#include <QMenu>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'750'000'000.0;

// Asks the report for everything but which activities to draw.
class ActivityOverride : public VXReportViewDelegate
{
public:
    ActivityOverride(VXReportViewDelegate &report, bool front, bool total) :
        m_report(report), m_front(front), m_total(total)
    {
    }
    void getBeginTimestamp(double *b, double *e, double *f, double *l, VXReportView *view) override
    {
        m_report.getBeginTimestamp(b, e, f, l, view);
    }
    void setBeginTimestamp(double b, double e, VXReportView *view) override { m_report.setBeginTimestamp(b, e, view); }
    VXArrayRef eventLogsForReportView(VXReportView *view, double b, double e) override
    {
        return m_report.eventLogsForReportView(view, b, e);
    }
    std::unique_ptr<QMenu> contextMenuForEventLog(const VXDictionaryRef &) override { return nullptr; }
    int timeFormat() const override { return m_report.timeFormat(); }
    bool drawFrontActivity() const override { return m_front; }
    bool drawTotalActivity() const override { return m_total; }

private:
    VXReportViewDelegate &m_report;
    bool m_front;
    bool m_total;
};

// The report drawn by a view of its own, at a fixed size.
QImage render(VXReportViewDelegate &delegate)
{
    VXReportView view;
    view.resize(640, 240);
    view.setDelegate(&delegate);
    view.update(static_cast<QObject *>(nullptr));
    view.resize(640, 240);
    return view.grab().toImage();
}

QString writeCSV(const QString &folder, const QString &name, const QByteArray &text)
{
    const QString path = folder + u'/' + name;
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size())
        return QString();
    return path;
}

const QByteArray kDayCSV = "Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time),"
                           "Total Begin (Unix Time),Total End (Unix Time)\n"
                           "Editor,,1750000000.00,1750001800.00,1750000000.00,1750007200.00\n"
                           "Editor,notes.txt,1750000000.00,1750001800.00,1750000000.00,1750003600.00\n"
                           "Terminal,,1750001800.00,1750003600.00,1750000000.00,1750007200.00\n";

QAction *actionTitled(QMenu *menu, const QString &title)
{
    for (QAction *action : menu->actions()) {
        if (action->text() == title)
            return action;
    }
    return nullptr;
}

QStringList titles(QMenu *menu)
{
    QStringList result;
    for (QAction *action : menu->actions())
        result << (action->isSeparator() ? u"-"_s : action->text());
    return result;
}

void validate(QMenu *menu)
{
    Q_EMIT menu->aboutToShow();
    for (QAction *action : menu->actions()) {
        if (action->menu())
            Q_EMIT action->menu()->aboutToShow();
    }
}

class SnapshotReportTest : public ::testing::Test
{
protected:
    SnapshotReportTest()
    {
        manager.setPresenter(&windows);
        path = writeCSV(settings.folder.path(), u"2026-11-21.csv"_s, kDayCSV);
    }

    VXReportController *open(const QString &file)
    {
        QSignalSpy shown(&manager, &VXReportSnapshotManager::reportSnapshotShown);
        manager.showReportSnapshotFromCSVFile(file, u","_s);
        // An open file's report is shown at once; a new one once the file is read.
        if (shown.isEmpty() && !shown.wait(10000))
            return nullptr;
        auto controller = manager.controllerForPath(file);
        return dynamic_cast<VXReportController *>(controller.get());
    }

    PrivateSettings settings;
    VXReportSnapshotWindows windows {settings.defaults.get()};
    VXReportSnapshotManager manager;
    QString path;
};

}   // namespace

TEST_F(SnapshotReportTest, ANewSnapshotOpensAsTimeLapseAndDrawsBothActivities)
{
    ASSERT_FALSE(path.isEmpty());
    VXReportController *report = open(path);
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->uniqueID(), path);
    ASSERT_NE(report->reportWindow(), nullptr);
    EXPECT_TRUE(report->reportWindow()->isVisible());
    EXPECT_EQ(report->reportWindow()->windowTitle(), u"2026-11-21.csv"_s);
    EXPECT_EQ(report->reportWindow()->windowFilePath(), path);

    // Nothing stored for this ID: time lapse, both activities, and no front or total keys read.
    EXPECT_EQ(report->timeFormat(), 0);
    EXPECT_TRUE(report->drawFrontActivity());
    EXPECT_TRUE(report->drawTotalActivity());
    EXPECT_TRUE(settings.defaults->objectForKey(u"Report: "_s + path + u": Front"_s).isNull());
    EXPECT_TRUE(settings.defaults->objectForKey(u"Report: "_s + path + u": Total"_s).isNull());

    // Shown and rebuilt at once, over the file's range.
    VXReportView *view = report->reportView();
    EXPECT_EQ(view->firstTimestamp(), 1'750'000'000.0);
    EXPECT_EQ(view->lastTimestamp(), 1'750'007'200.0);
    ASSERT_TRUE(view->eventLogs());
    EXPECT_EQ(view->eventLogs()->size(), 3);   // Editor, notes.txt, Terminal

    // Its drawing holds both activities: it differs from the drawing of either one alone, and
    // each alone differs from a drawing without activity.
    ActivityOverride frontOnly(*report, true, false);
    ActivityOverride totalOnly(*report, false, true);
    ActivityOverride neither(*report, false, false);
    const QImage both = render(*report);
    const QImage front = render(frontOnly);
    const QImage total = render(totalOnly);
    const QImage none = render(neither);
    ASSERT_FALSE(both.isNull());
    EXPECT_NE(both, front);
    EXPECT_NE(both, total);
    EXPECT_NE(front, none);
    EXPECT_NE(total, none);

    // Opening the same file again brings the one window forward.
    EXPECT_EQ(open(path), report);
    EXPECT_EQ(manager.controllers().size(), 1u);

    // Closing the window lets the manager forget the report.
    report->reportWindow()->close();
    EXPECT_TRUE(manager.controllers().empty());
    QCoreApplication::processEvents();
}

TEST_F(SnapshotReportTest, AFileWithoutTotalColumnsShowsItsForegroundActivityOnly)
{
    const QString file = writeCSV(settings.folder.path(), u"foreground.csv"_s,
                                  "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                                  "Editor,1750000000.00,1750003600.00\n");
    VXReportController *report = open(file);
    ASSERT_NE(report, nullptr);
    EXPECT_TRUE(report->drawFrontActivity());
    EXPECT_FALSE(report->drawTotalActivity()) << "no \"(Total: -)\" on every row";
    EXPECT_FALSE(report->validateMenuItem(VXReportMenuAction::ToggleShownActivityFromMenuItem, 1).checked);
    report->reportWindow()->close();
    QCoreApplication::processEvents();
}

TEST_F(SnapshotReportTest, ASnapshotKeepsItsRangeAndFrameUnderItsPath)
{
    VXReportController *report = open(path);
    ASSERT_NE(report, nullptr);
    report->setBeginTimestamp(1'750'001'000.0, 0.0, report->reportView());
    report->reportWindow()->move(60, 70);
    QCoreApplication::processEvents();
    report->reportWindow()->close();
    QCoreApplication::processEvents();
    ASSERT_TRUE(manager.controllers().empty());

    // Opened again: read anew, with its settings restored.
    report = open(path);
    ASSERT_NE(report, nullptr);
    EXPECT_TRUE(report->beginDateSwitch()->isChecked());
    EXPECT_EQ(report->reportView()->beginTimestamp(), 1'750'001'000.0);
    EXPECT_EQ(report->reportWindow()->pos(), QPoint(60, 70));
    report->reportWindow()->close();
    QCoreApplication::processEvents();
}

TEST_F(SnapshotReportTest, AFileThatCannotBeReadOpensNoWindow)
{
    const QString empty = writeCSV(settings.folder.path(), u"empty.csv"_s, "Application\n");
    QSignalSpy refused(&manager, &VXReportSnapshotManager::reportSnapshotRefused);
    manager.showReportSnapshotFromCSVFile(empty, u","_s);
    ASSERT_TRUE(refused.wait(10000));
    EXPECT_TRUE(manager.controllers().empty());
    for (QWidget *window : QApplication::topLevelWidgets())
        EXPECT_FALSE(window->isVisible() && window->windowTitle() == u"empty.csv"_s);
}

// ---- The live report

class LiveReportTest : public ::testing::Test
{
protected:
    LiveReportTest()
    {
        // Every item, whether or not the organizer shows a row for it.
        settings.defaults->setInteger(1, u"Live Report Content"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.activate(10);
        desktop.openWindow(10, u"notes.txt"_s);
        controller.updateLists(&controller);
        time.advanceBy(600.0);
    }
    PrivateSettings settings;
    vxtest::ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    VXMainController controller {desktop, time, time, *settings.defaults};
};

TEST_F(LiveReportTest, TheApplicationControllerAnswersTheRangeAndTheClippedEntries)
{
    auto report = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, &controller,
                                                                   settings.defaults.get());
    report->toggleReportWindow(nullptr);
    ASSERT_TRUE(report->reportWindow()->isVisible());

    double begin = 0, end = 0, first = 0, last = 0;
    report->getBeginTimestamp(&begin, &end, &first, &last, report->reportView());
    EXPECT_EQ(first, kStart);
    EXPECT_EQ(last, kStart + 600.0);
    EXPECT_EQ(controller.configuration()->value(u"Last Timestamp"_s).toDouble(), kStart + 600.0);
    EXPECT_EQ(begin, first);
    EXPECT_EQ(end, last);

    const auto frontTimeOf = [](const VXArrayRef &entries, const QString &name) {
        for (const VXValue &value : *entries) {
            const VXDictionary *entry = value.dictionary();
            if (entry && entry->value(u"Name"_s).toString() == name)
                return entry->value(u"Front Time"_s).toDouble();
        }
        return -1.0;
    };
    ASSERT_TRUE(report->reportView()->eventLogs());
    EXPECT_EQ(frontTimeOf(report->reportView()->eventLogs(), u"Editor"_s), 600.0);
    EXPECT_EQ(frontTimeOf(report->reportView()->eventLogs(), u"notes.txt"_s), 600.0);

    // A range chosen with the mouse cuts the entries to it; later ticks keep the range.
    report->setBeginTimestamp(kStart + 100.0, kStart + 300.0, report->reportView());
    EXPECT_EQ(frontTimeOf(report->reportView()->eventLogs(), u"Editor"_s), 200.0);
    time.advanceBy(60.0);
    report->update(nullptr);
    EXPECT_EQ(frontTimeOf(report->reportView()->eventLogs(), u"Editor"_s), 200.0);
    report->setBeginTimestamp(0.0, 0.0, report->reportView());
    EXPECT_EQ(frontTimeOf(report->reportView()->eventLogs(), u"Editor"_s), 660.0);
    report->reportWindow()->close();
}

TEST_F(LiveReportTest, TheViewMenuActsOnTheReportAndOnTheProgram)
{
    auto report = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, &controller,
                                                                   settings.defaults.get());
    report->toggleReportWindow(nullptr);
    QMenu *menu = report->viewMenu();
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(
        titles(menu),
        QStringList({u"View"_s, u"as Time Lapse"_s, u"as Time Portions"_s, u"-"_s, u"Foreground Activity"_s,
                     u"Total Activity"_s, u"-"_s, u"Display >24-Hour Intervals as Days"_s, u"-"_s, u"Color Scheme"_s}));
    QMenu *schemes = actionTitled(menu, u"Color Scheme"_s)->menu();
    ASSERT_NE(schemes, nullptr);
    EXPECT_EQ(titles(schemes),
              QStringList({u"Original"_s, u"-"_s, u"Standard Highlight Color"_s, u"Dark"_s, u"Light"_s}));
    EXPECT_FALSE(actionTitled(schemes, u"Standard Highlight Color"_s)->isEnabled());
    EXPECT_EQ(VXReportMenuAdapter::tagOfAction(actionTitled(schemes, u"Dark"_s)), 3);
    EXPECT_EQ(VXReportMenuAdapter::tagOfAction(actionTitled(schemes, u"Light"_s)), 2);

    validate(menu);
    EXPECT_TRUE(actionTitled(menu, u"as Time Lapse"_s)->isChecked());
    EXPECT_TRUE(actionTitled(menu, u"as Time Lapse"_s)->isEnabled());
    EXPECT_FALSE(actionTitled(menu, u"as Time Portions"_s)->isChecked());
    EXPECT_TRUE(actionTitled(menu, u"Foreground Activity"_s)->isChecked());
    EXPECT_TRUE(actionTitled(menu, u"Display >24-Hour Intervals as Days"_s)->isChecked());
    EXPECT_TRUE(actionTitled(schemes, u"Original"_s)->isChecked());

    actionTitled(menu, u"as Time Portions"_s)->trigger();
    actionTitled(menu, u"Foreground Activity"_s)->trigger();
    actionTitled(menu, u"Display >24-Hour Intervals as Days"_s)->trigger();
    actionTitled(schemes, u"Dark"_s)->trigger();
    EXPECT_EQ(settings.defaults->integerForKey(u"Report: Default: Time Format"_s), 1);
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: Default: Front"_s));
    EXPECT_FALSE(settings.defaults->boolForKey(u"Express Time Intervals As Days"_s));
    EXPECT_EQ(settings.defaults->integerForKey(u"Color Scheme"_s), 3);

    validate(menu);
    EXPECT_FALSE(actionTitled(menu, u"as Time Lapse"_s)->isChecked());
    EXPECT_TRUE(actionTitled(menu, u"as Time Portions"_s)->isChecked());
    EXPECT_FALSE(actionTitled(menu, u"Foreground Activity"_s)->isChecked());
    EXPECT_TRUE(actionTitled(menu, u"Total Activity"_s)->isChecked());
    EXPECT_FALSE(actionTitled(menu, u"Display >24-Hour Intervals as Days"_s)->isChecked());
    EXPECT_TRUE(actionTitled(schemes, u"Dark"_s)->isChecked());
    EXPECT_FALSE(actionTitled(schemes, u"Original"_s)->isChecked());

    // With the window closed the report's own entries are disabled; the program's stay enabled.
    report->reportWindow()->close();
    validate(menu);
    EXPECT_FALSE(actionTitled(menu, u"as Time Portions"_s)->isEnabled());
    EXPECT_FALSE(actionTitled(menu, u"as Time Portions"_s)->isChecked());
    EXPECT_FALSE(actionTitled(menu, u"Total Activity"_s)->isEnabled());
    EXPECT_TRUE(actionTitled(menu, u"Display >24-Hour Intervals as Days"_s)->isEnabled());
    EXPECT_TRUE(actionTitled(schemes, u"Light"_s)->isEnabled());
}

TEST_F(LiveReportTest, ASnapshotsViewMenuComesFromTheApplicationControllerAndActsOnTheSnapshot)
{
    VXReportSnapshotWindows windows(settings.defaults.get());
    VXReportSnapshotManager manager;
    manager.setPresenter(&windows);
    manager.setDelegate(&controller);
    const QString path = writeCSV(settings.folder.path(), u"day.csv"_s,
                                  "Application,Total Begin (Unix Time),Total End (Unix Time)\n"
                                  "Editor,1750000000.00,1750003600.00\n");
    QSignalSpy shown(&manager, &VXReportSnapshotManager::reportSnapshotShown);
    manager.showReportSnapshotFromCSVFile(path, u","_s);
    ASSERT_TRUE(shown.wait(10000));
    auto *report = dynamic_cast<VXReportController *>(manager.controllerForPath(path).get());
    ASSERT_NE(report, nullptr);
    QMenu *menu = report->viewMenu();
    ASSERT_NE(menu, nullptr);

    validate(menu);
    // The file has total periods only; neither entry can be changed.
    EXPECT_FALSE(actionTitled(menu, u"Foreground Activity"_s)->isChecked());
    EXPECT_FALSE(actionTitled(menu, u"Foreground Activity"_s)->isEnabled());
    EXPECT_TRUE(actionTitled(menu, u"Total Activity"_s)->isChecked());
    EXPECT_FALSE(actionTitled(menu, u"Total Activity"_s)->isEnabled());

    actionTitled(menu, u"as Time Portions"_s)->trigger();
    EXPECT_EQ(settings.defaults->integerForKey(u"Report: "_s + path + u": Time Format"_s), 1);
    EXPECT_EQ(settings.defaults->integerForKey(u"Report: Default: Time Format"_s), 0);
    report->reportWindow()->close();
    QCoreApplication::processEvents();
}
