// The controller's tracking half: the chain of ticks on the scheduler, the pause and editing
// gate, what the user interface is told after a tick, and the commands on blacklists and pools.

#include "VXMainController.h"
#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXMainControllerDelegate.h"
#include "VXTrackingTestSupport.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

constexpr double kStart = 1'750'000'000.0;
const QString kEditorPath = u"/usr/share/applications/org.example.Editor.desktop"_s;
const QString kEditorID = u"org.example.Editor"_s;

class RecordingDelegate : public VXMainControllerDelegate
{
public:
    bool isEditingListItem() const override { return editing; }
    void reloadApplicationList() override { ++applicationReloads; }
    void reloadPoolList() override { ++poolReloads; }
    bool runsAsStatusItem() const override { return statusItem; }
    bool isListWindowVisible() const override { return listVisible; }
    bool isReportWindowVisible() const override { return reportVisible; }
    void restoreExpansionStates() override { ++expansionRestores; }
    void updateReport() override { ++reportUpdates; }
    void updateIcon() override { ++iconUpdates; }
    void showBlacklistText(const QString &name, const QString &text) override { shownBlacklists[name] = text; }
    void selectPoolListItem(const VXDictionaryRef &item) override { selected = item; }
    void beep() override { ++beeps; }

    bool editing = false;
    bool statusItem = false;
    bool listVisible = true;
    bool reportVisible = false;
    int applicationReloads = 0;
    int poolReloads = 0;
    int expansionRestores = 0;
    int reportUpdates = 0;
    int iconUpdates = 0;
    int beeps = 0;
    std::map<QString, QString> shownBlacklists;
    VXDictionaryRef selected;
};

// Records the tree as it is when an undo state is pushed: the change must not have happened yet.
class UndoRecordingController : public VXMainController
{
public:
    using VXMainController::VXMainController;
    void pushUndoStateAndClearRedoStatesAfterDelay() override
    {
        pushedStates.push_back(VXValue(configuration()).deepCopy());
    }
    std::vector<VXValue> pushedStates;
};

class ControllerTest : public ::testing::Test
{
protected:
    ControllerTest()
    {
        desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
        desktop.activate(10);
    }

    int pendingTicks() const { return time.pendingCount(&controller, VXMainController::kUpdateListsOperation); }
    double nextTick() const { return *time.nextDueTime(&controller, VXMainController::kUpdateListsOperation); }
    VXDictionary &editor() { return *applicationItem(*controller.configuration(), kEditorID); }

    Settings settings;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    RecordingDelegate delegate;
    UndoRecordingController controller {desktop, time, time, *settings.defaults, &delegate};
};

}   // namespace

TEST_F(ControllerTest, SettingTheSortColumnStartsAChainOfTicksOneIntervalApart)
{
    EXPECT_EQ(controller.configuration(), VXDictionaryRef());
    controller.setSortColumn(2);
    EXPECT_EQ(settings.defaults->integerForKey(u"Sort"_s), 2);
    EXPECT_EQ(VXCurrentSortColumn(), 2);
    EXPECT_EQ(desktop.snapshotCount(), 1);   // the first tick ran at once
    ASSERT_NE(controller.configuration(), VXDictionaryRef());
    EXPECT_EQ(pendingTicks(), 1);
    EXPECT_EQ(nextTick(), kStart + 0.5);   // no "Update Interval": 0.5 s

    time.advanceBy(2.0);
    EXPECT_EQ(desktop.snapshotCount(), 5);
    EXPECT_EQ(timeOf(editor()), 2.0);
    EXPECT_EQ(controller.overallApplicationTime(), 2.0);
    EXPECT_EQ(controller.lastDate(), kStart + 2.0);

    settings.defaults->setDouble(0.2, u"Update Interval"_s);   // too short: 0.5
    time.advanceBy(0.5);
    EXPECT_EQ(nextTick(), kStart + 3.0);
    settings.defaults->setDouble(2.0, u"Update Interval"_s);   // taken when the next tick is scheduled
    time.advanceBy(0.5);
    EXPECT_EQ(nextTick(), kStart + 5.0);
    EXPECT_EQ(controller.updateInterval(), 2.0);
    controller.setUpdateInterval(std::nan(""));
    EXPECT_EQ(controller.updateInterval(), 0.5);
    VXSetCurrentSortColumn(1);
}

TEST_F(ControllerTest, AForcedTickReplacesThePendingOne)
{
    controller.updateLists(this);
    time.advanceBy(0.3);
    controller.updateLists(this);
    EXPECT_EQ(pendingTicks(), 1);
    EXPECT_EQ(nextTick(), kStart + 0.8);
    time.advanceBy(0.4);   // the tick that was due at +0.5 does not come
    EXPECT_EQ(desktop.snapshotCount(), 2);
    time.advanceBy(0.1);
    EXPECT_EQ(desktop.snapshotCount(), 3);
}

TEST_F(ControllerTest, PausedOrEditingTheScheduledTickOnlyRefreshesTheReportAndKeepsTheChain)
{
    controller.updateLists(this);
    time.advanceBy(1.0);
    EXPECT_EQ(timeOf(editor()), 1.0);

    controller.setPaused(true);
    controller.setPaused(true);   // pauses nest
    time.advanceBy(10.0);
    EXPECT_EQ(desktop.snapshotCount(), 3);
    EXPECT_EQ(delegate.reportUpdates, 23);   // every tick refreshes the report
    EXPECT_EQ(pendingTicks(), 1);
    controller.setPaused(false);
    EXPECT_TRUE(controller.isPaused());
    EXPECT_FALSE(controller.ignoreLastDate());

    // A forced tick runs even while paused; its interval since the last tick is credited.
    controller.updateLists(this);
    EXPECT_EQ(timeOf(editor()), 11.0);

    controller.setPaused(false);
    EXPECT_FALSE(controller.isPaused());
    EXPECT_TRUE(controller.ignoreLastDate());
    time.advanceBy(0.5);
    EXPECT_EQ(timeOf(editor()), 11.0);   // the first tick after the pause is a gap
    time.advanceBy(0.5);
    EXPECT_EQ(timeOf(editor()), 11.5);
    EXPECT_EQ(activeLog(editor()), (Log {kStart, -(kStart + 11.0), kStart + 11.5}));

    delegate.editing = true;
    const int snapshots = desktop.snapshotCount();
    time.advanceBy(2.0);
    EXPECT_EQ(desktop.snapshotCount(), snapshots);
    delegate.editing = false;
    time.advanceBy(0.5);
    EXPECT_EQ(desktop.snapshotCount(), snapshots + 1);
    EXPECT_EQ(timeOf(editor()), 14.0);   // editing is no pause: the time in between counts
}

TEST_F(ControllerTest, FullTicksReloadTheListsAndRestoreExpansionWhenSomethingShowsThem)
{
    delegate.statusItem = true;
    delegate.listVisible = false;
    controller.updateLists(this);
    EXPECT_EQ(delegate.expansionRestores, 1);   // the first full tick always restores
    time.advanceBy(1.0);
    EXPECT_EQ(delegate.applicationReloads, 3);
    EXPECT_EQ(delegate.poolReloads, 3);
    EXPECT_EQ(delegate.expansionRestores, 1);   // nothing shows the lists

    delegate.reportVisible = true;   // the report shows the lists' content ("Live Report Content" 0)
    time.advanceBy(0.5);
    EXPECT_EQ(delegate.expansionRestores, 2);
    settings.defaults->setInteger(1, u"Live Report Content"_s);
    time.advanceBy(0.5);
    EXPECT_EQ(delegate.expansionRestores, 2);
    settings.defaults->setBool(true, u"Show Activity Report On Desktop"_s);
    time.advanceBy(0.5);
    EXPECT_EQ(delegate.expansionRestores, 3);
    settings.defaults->setBool(false, u"Show Activity Report On Desktop"_s);
    settings.defaults->setBool(true, u"Show Activity Report In Dock"_s);
    time.advanceBy(0.5);
    EXPECT_EQ(delegate.expansionRestores, 4);
    settings.defaults->setBool(false, u"Show Activity Report In Dock"_s);
    delegate.statusItem = false;   // with its own windows: always
    time.advanceBy(0.5);
    EXPECT_EQ(delegate.expansionRestores, 5);

    EXPECT_TRUE(
        VXShouldRestoreExpansionStates({.firstFullTick = false, .runsAsStatusItem = true, .listWindowVisible = true}));
    EXPECT_FALSE(VXShouldRestoreExpansionStates({.firstFullTick = false, .runsAsStatusItem = true}));
}

TEST_F(ControllerTest, TheStartUpSettingsAreReadOnce)
{
    settings.defaults->setBool(true, u"Show Inactive Application Items"_s);
    settings.defaults->setBool(false, u"Show Inactive Pools"_s);
    UndoRecordingController later(desktop, time, time, *settings.defaults);
    EXPECT_TRUE(later.showInactiveApplicationItems());
    EXPECT_FALSE(later.showInactivePools());
    EXPECT_FALSE(controller.showInactiveApplicationItems());   // registered defaults: NO, YES
    EXPECT_TRUE(controller.showInactivePools());

    later.updateLists(this);
    desktop.quit(10);
    later.updateLists(this);
    EXPECT_EQ(namesOf(*later.applicationArray()), QStringList {u"Editor"_s});   // inactive, still listed
}

TEST_F(ControllerTest, BlacklistsAreSortedShownAndEditedAndTheNextTickHonoursThem)
{
    controller.updateLists(this);
    EXPECT_NE(applicationItem(*controller.configuration(), kEditorID), nullptr);
    controller.blacklistTextDidChange(u"Application Blacklist"_s, u"Wendle\nEditor\n"_s);
    controller.updateBlacklists();
    EXPECT_EQ(delegate.shownBlacklists[u"Application Blacklist"_s], u"Editor\nWendle"_s);   // no blank entry
    EXPECT_EQ(delegate.shownBlacklists[u"Window Blacklist"_s], u"http*://*"_s);

    time.advanceBy(0.5);
    EXPECT_TRUE(controller.applicationArray()->isEmpty());
    EXPECT_FALSE(boolForKey(editor(), VXActiveKey));
    EXPECT_EQ(controller.cutoffs(), nullptr);
}

TEST_F(ControllerTest, MatchAnyApplicationPushesAnUndoStateThenTogglesAndForcesATick)
{
    VXDictionaryRef entry = windowEntry(u"Report*"_s);
    VXDictionaryRef web = member(u"Web"_s, u"org.example.Web"_s, {entry});
    VXDictionaryRef aPool = pool(u"Reports"_s, {web});
    VXArrayRef pools = VXMakeArray();
    pools->append(aPool);
    controller.setConfiguration(dictionary({{VXPoolsKey, pools}}));
    desktop.openWindow(10, u"Report 3"_s);
    controller.updateLists(this);
    time.advanceBy(1.0);
    EXPECT_FALSE(entry->contains(VXTimeKey));   // an Editor window: not for a Web member
    EXPECT_EQ(controller.matchAnyApplicationMenuTitle(entry.get()), u"Track Across All Applications"_s);

    const int snapshots = desktop.snapshotCount();
    ASSERT_TRUE(controller.toggleMatchAnyApplicationViaMenuItem(entry.get()));   // opened on the entry
    ASSERT_EQ(controller.pushedStates.size(), 1u);
    // The state pushed is the tree before the change.
    const VXDictionary &pushed = *controller.pushedStates[0].dictionary();
    const VXDictionary &pushedMember
        = *pushed.value(VXPoolsKey).array()->at(0).dictionary()->value(VXChildrenKey).array()->at(0).dictionary();
    EXPECT_FALSE(pushedMember.contains(VXMatchAnyApplicationKey));
    EXPECT_TRUE(boolForKey(*web, VXMatchAnyApplicationKey));
    EXPECT_EQ(desktop.snapshotCount(), snapshots + 1);   // forced tick
    EXPECT_EQ(delegate.selected, web);
    EXPECT_EQ(controller.matchAnyApplicationMenuTitle(web.get()), u"Track Web Only"_s);

    time.advanceBy(1.0);
    EXPECT_EQ(timeOf(*entry), 1.0);   // now across all applications

    ASSERT_TRUE(controller.toggleMatchAnyApplicationViaMenuItem(web.get()));
    EXPECT_FALSE(web->contains(VXMatchAnyApplicationKey));
    EXPECT_EQ(controller.pushedStates.size(), 2u);

    // Nothing to act on: a beep, no undo state, no tick.
    EXPECT_FALSE(controller.toggleMatchAnyApplicationViaMenuItem(aPool.get()));
    EXPECT_FALSE(controller.toggleMatchAnyApplicationViaMenuItem(nullptr));
    EXPECT_EQ(delegate.beeps, 2);
    EXPECT_EQ(controller.pushedStates.size(), 2u);
    EXPECT_EQ(controller.matchAnyApplicationMenuTitle(aPool.get()), QString());
}

TEST_F(ControllerTest, ReplacingTheTreeStartsFromItAndDestroyingTheControllerEndsTheChain)
{
    controller.updateLists(this);
    time.advanceBy(1.0);
    controller.setConfiguration(VXDictionaryRef());
    controller.forgetLastDate();
    controller.updateLists(this);
    ASSERT_NE(controller.configuration(), VXDictionaryRef());
    EXPECT_EQ(timeOf(editor()), 0.0);
    EXPECT_EQ(activeLog(editor()), (Log {kStart + 1.0}));

    const int ours = time.pendingCount();
    {
        VXMainController shortLived(desktop, time, time, *settings.defaults);
        shortLived.updateLists(this);
        EXPECT_EQ(time.pendingCount(&shortLived, VXMainController::kUpdateListsOperation), 1);
    }
    EXPECT_EQ(time.pendingCount(), ours);   // only ours are left
}

TEST_F(ControllerTest, ASettingWrittenFromOutsideTakesEffectAtOnce)
{
    ManualPresenceSource input;
    controller.applicationWillFinishLaunching();
    controller.applicationDidFinishLaunching({&input}, {});
    time.advanceBy(1.0);
    const auto hibernateDue
        = [this] { return time.nextDueTime(&controller.hibernation(), VXHibernation::kHibernateOperation); };
    ASSERT_EQ(hibernateDue(), kStart + 600.0);

    // The program's own change acts once: the sort column forces one tick, not two.
    int snapshots = desktop.snapshotCount();
    controller.setSortColumn(2);
    EXPECT_EQ(desktop.snapshotCount(), snapshots + 1);

    // Each row is written as `wendle defaults write` writes it: by another store, to the file.
    struct Row {
        const char16_t *key;
        VXValue value;
        std::function<bool()> tookEffect;
    };
    snapshots = desktop.snapshotCount();
    const int iconUpdates = delegate.iconUpdates;
    const int listReloads = delegate.applicationReloads;
    const Row rows[] = {
        {u"Hibernation Interval", VXValue(60), [&] { return hibernateDue() == time.now() + 60.0; }},
        {u"Show Inactive Application Items", VXValue(true), [&] { return controller.showInactiveApplicationItems(); }},
        {u"Show Inactive Pools", VXValue(false), [&] { return !controller.showInactivePools(); }},
        {u"Sort", VXValue(0), [&] { return controller.sortColumn() == 0 && desktop.snapshotCount() == snapshots + 1; }},
        {u"Update Interval", VXValue(3600.0), [&] { return nextTick() == time.now() + 0.5; }},   // not sooner
        {u"Live Report Content", VXValue(2), [&] { return delegate.iconUpdates == iconUpdates + 1; }},
        {u"Color Scheme", VXValue(3), [&] { return delegate.applicationReloads > listReloads; }},
        {u"Auto-Reset Applications", VXValue(true),
         [&] { return !settings.defaults->stringForKey(VXAutoResetApplicationsLastDateKey).isEmpty(); }},
        {u"Hibernation Interval", VXValue(0), [&] { return !hibernateDue(); }},
    };
    for (const Row &row : rows) {
        const QString key = QString::fromUtf16(row.key);
        SCOPED_TRACE(key.toStdString());
        VXUserDefaults outside(settings.defaults->domain(), settings.folder.path());
        outside.setObject(row.value, key);
        ASSERT_TRUE(outside.synchronize());
        EXPECT_TRUE(VXWaitUntil(row.tookEffect));
    }
    ASSERT_GT(nextTick(), time.now() + 1800.0);   // the reset's forced tick scheduled the next an hour ahead
    VXUserDefaults outside(settings.defaults->domain(), settings.folder.path());
    outside.setDouble(1.0, u"Update Interval"_s);
    ASSERT_TRUE(outside.synchronize());
    EXPECT_TRUE(VXWaitUntil([&] { return nextTick() == time.now() + 1.0; }));   // a shorter one at once
    VXSetCurrentSortColumn(1);
}
