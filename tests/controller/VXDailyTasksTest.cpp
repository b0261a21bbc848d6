// The daily tasks on a virtual clock in Europe/Berlin: the check every 59 s, the hour from
// which it acts, each half of the reset at most once per calendar day, the export before the
// reset, and days of 23 and 25 hours. Check times are worked out from the launch time: the
// k-th check runs at launch + 59 k seconds.

#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXExporter.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXMainController.h"
#include "VXResets.h"
#include "VXTrackingTestSupport.h"
#include "VXUserDefaultsExtensions.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QTimeZone>

#include <memory>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

const QString kEditorID = u"org.example.Editor"_s;
const QTimeZone kBerlin("Europe/Berlin");

class DailyTasksTest : public ::testing::Test
{
protected:
    DailyTasksTest()
    {
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        // A tick a minute keeps days of ticks quick; the tasks do not depend on it.
        settings.defaults->setDouble(60.0, u"Update Interval"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.activate(10);
    }
    ~DailyTasksTest() override { VXSetCurrentSortColumn(1); }

    // Launches at local midnight (or another time) of the day.
    void launchAt(QDate day, QTime at = QTime(0, 0))
    {
        controller.reset();
        time = std::make_unique<VXVirtualScheduler>(VXVirtualScheduler::unixTime(day, at, kBerlin), kBerlin);
        launchTime = time->now();
        controller = std::make_unique<VXMainController>(desktop, *time, *time, *settings.defaults, &ui);
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({&input}, {});
        time->runDue();
    }
    double check(int k) const { return launchTime + 59.0 * k; }
    int pendingChecks() { return time->pendingCount(&controller->resets(), VXResets::kDoAutoTasksOperation); }
    std::size_t resets() { return controller->undoHistory().undoCount(); }
    VXDictionary *editor() { return applicationItem(*controller->configuration(), kEditorID); }

    Settings settings;
    ScopedDataHome dataHome;
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
    ManualPresenceSource input;
    std::unique_ptr<VXVirtualScheduler> time;
    double launchTime = 0.0;
    std::unique_ptr<VXMainController> controller;
};

}   // namespace

TEST_F(DailyTasksTest, NothingBeforeTheHourThenOneExportAndOneResetPerDay)
{
    QTemporaryDir exports;
    settings.defaults->setBool(true, u"Auto-Reset Applications"_s);
    settings.defaults->setBool(true, u"Auto-Export Reports"_s);
    setFolderPath(*settings.defaults, exports.path(), VXAutoExportKey::kAutoExportFolder);
    launchAt(QDate(2026, 3, 10), QTime(5, 0));
    EXPECT_EQ(controller->resets().autoTasksHour(), 6u);   // nothing stored: 6
    EXPECT_EQ(pendingChecks(), 1);

    // Check 61 runs at 05:59:59: too early.
    time->advanceTo(check(61));
    EXPECT_EQ(resets(), 0u);
    EXPECT_FALSE(QFileInfo::exists(exports.path() + u"/2026-03-10.csv"_s));
    EXPECT_TRUE(settings.defaults->objectForKey(u"Auto-Reset Applications: Last Date"_s).isNull());

    // Check 62 runs at 06:00:58: the export of the day's record, then the silent reset.
    time->advanceTo(check(62) - 1);
    const double before = timeOf(*editor());
    EXPECT_EQ(before, 3600.0);   // ticks every minute from 05:00 to 06:00
    time->advanceTo(check(62));
    EXPECT_EQ(resets(), 1u);
    EXPECT_TRUE(ui.alerts.empty());
    EXPECT_EQ(settings.defaults->stringForKey(u"Auto-Reset Applications: Last Date"_s), u"2026-03-10"_s);
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(activeLog(*editor()), Log({check(62)}));
    const QByteArray csv = VXReadFile(exports.path() + u"/2026-03-10.csv"_s);
    EXPECT_TRUE(csv.contains("Editor")) << csv.constData();

    // The rest of the day checks every 59 s and does nothing more.
    time->advanceTo(VXVirtualScheduler::unixTime(QDate(2026, 3, 11), QTime(5, 59, 59), kBerlin));
    EXPECT_EQ(resets(), 1u);
    EXPECT_EQ(pendingChecks(), 1);
    // The next day at check 1526, 06:00:34.
    time->advanceTo(check(1526) - 1);
    EXPECT_EQ(resets(), 1u);
    time->advanceTo(check(1526));
    EXPECT_EQ(resets(), 2u);
    EXPECT_EQ(settings.defaults->stringForKey(u"Auto-Reset Applications: Last Date"_s), u"2026-03-11"_s);
    EXPECT_TRUE(QFileInfo::exists(exports.path() + u"/2026-03-11.csv"_s));

    // The daily reset is undoable.
    controller->undo(this);
    EXPECT_GT(timeOf(*editor()), 80000.0);
}

TEST_F(DailyTasksTest, TheHourIsLocalOnTheDaysTheClocksChange)
{
    settings.defaults->setBool(true, u"Auto-Reset Applications"_s);
    settings.defaults->setBool(true, u"Auto-Reset Pools"_s);
    // Spring forward: 6:00 summer time is 5 hours after midnight, so check 305 (05:59:55) does
    // nothing and check 306 (06:00:54) resets.
    launchAt(QDate(2026, 3, 29));
    time->advanceTo(check(305));
    EXPECT_EQ(resets(), 0u);
    time->advanceTo(check(306));
    EXPECT_EQ(resets(), 1u);   // both halves, one state
    EXPECT_EQ(settings.defaults->stringForKey(u"Auto-Reset Pools: Last Date"_s), u"2026-03-29"_s);
    EXPECT_EQ(activeLog(*editor()), Log({check(306)}));
    controller.reset();

    // Fall back: 7 hours from midnight to 6:00; check 427 (05:59:53) nothing, 428 (06:00:52).
    settings.defaults->removeObjectForKey(u"Auto-Reset Applications: Last Date"_s);
    settings.defaults->removeObjectForKey(u"Auto-Reset Pools: Last Date"_s);
    launchAt(QDate(2026, 10, 25));
    time->advanceTo(check(427));
    EXPECT_EQ(resets(), 0u);
    time->advanceTo(check(428));
    EXPECT_EQ(resets(), 1u);
    EXPECT_EQ(activeLog(*editor()), Log({check(428)}));
    time->advanceTo(check(1000));
    EXPECT_EQ(resets(), 1u);
}

TEST_F(DailyTasksTest, TheRepeatedHourResetsOnceAndTheSkippedOneStillResets)
{
    settings.defaults->setBool(true, u"Auto-Reset Applications"_s);
    settings.defaults->setInteger(2, u"Auto-Export Hour"_s);
    // 02:00 comes twice: check 123 (02:00:57 summer time) resets, check 184 (02:00:56 winter
    // time) finds the day done.
    launchAt(QDate(2026, 10, 25));
    EXPECT_EQ(controller->resets().autoTasksHour(), 2u);
    time->advanceTo(check(122));
    EXPECT_EQ(resets(), 0u);
    time->advanceTo(check(123));
    EXPECT_EQ(resets(), 1u);
    time->advanceTo(check(184));
    EXPECT_EQ(resets(), 1u);
    controller.reset();

    // 02:00 never comes: the first check of 03:00 (check 123, 03:00:57) resets.
    settings.defaults->removeObjectForKey(u"Auto-Reset Applications: Last Date"_s);
    launchAt(QDate(2026, 3, 29));
    time->advanceTo(check(122));
    EXPECT_EQ(resets(), 0u);
    time->advanceTo(check(123));
    EXPECT_EQ(resets(), 1u);
}

TEST_F(DailyTasksTest, TheLoopRunsOnlyWhileAnOptionIsOnAndThePreferencesRestartIt)
{
    launchAt(QDate(2026, 3, 10), QTime(9, 0));
    EXPECT_EQ(pendingChecks(), 0);   // all three off: no loop

    // Switched on after the hour: the first check resets at once.
    time->advanceBy(30);
    settings.defaults->setBool(true, u"Auto-Reset Pools"_s);
    controller->resets().doAutoTasksIfNecessary(this);
    EXPECT_EQ(resets(), 0u);   // no pools: nothing to push, but the day is taken
    EXPECT_EQ(settings.defaults->stringForKey(u"Auto-Reset Pools: Last Date"_s), u"2026-03-10"_s);
    settings.defaults->setBool(true, u"Auto-Reset Applications"_s);
    controller->resets().doAutoTasksIfNecessary(this);
    EXPECT_EQ(resets(), 1u);
    EXPECT_EQ(pendingChecks(), 1);
    EXPECT_EQ(time->nextDueTime(&controller->resets(), VXResets::kDoAutoTasksOperation), time->now() + 59);

    // Each preference change replaces the pending check.
    time->advanceBy(20);
    controller->resets().doAutoTasksIfNecessary(this);
    EXPECT_EQ(pendingChecks(), 1);
    EXPECT_EQ(time->nextDueTime(&controller->resets(), VXResets::kDoAutoTasksOperation), time->now() + 59);

    // All off: the next check ends the loop.
    settings.defaults->setBool(false, u"Auto-Reset Applications"_s);
    settings.defaults->setBool(false, u"Auto-Reset Pools"_s);
    time->advanceBy(59);
    EXPECT_EQ(pendingChecks(), 0);
    EXPECT_EQ(resets(), 1u);
}
