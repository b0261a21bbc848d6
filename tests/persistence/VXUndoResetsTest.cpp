// Undo and redo, resets, clears and removals through the controller, on a desktop with an
// editor and a mail program and a pool over both. Every undo is checked against the whole tree
// as it was (timers, event logs, blacklists, pools), and the deferred clearing of the redo
// stack against the turns of the event loop.

#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXTrackingTestSupport.h"
#include "VXUndoHistory.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

constexpr double kStart = 1'750'000'000.0;
const QString kEditorID = u"org.example.Editor"_s;
const QString kMailID = u"org.example.Mail"_s;

// The tree without timers that read 0: a forced tick that is no gap credits 0 seconds, which
// stores "Time" 0 where a gap stored nothing; both read the same.
VXValue withoutZeroTimers(const VXValue &value)
{
    VXValue copy = value.deepCopy();
    std::function<void(const VXValue &)> strip = [&](const VXValue &node) {
        if (VXDictionary *dictionary = node.dictionary()) {
            for (const QString *key : {&VXTimeKey, &VXFrontTimeKey}) {
                if (dictionary->value(*key).isNumber() && dictionary->value(*key).toDouble() == 0.0)
                    dictionary->remove(*key);
            }
            for (const VXDictionary::Entry &entry : *dictionary)
                strip(entry.value);
        } else if (const VXArray *array = node.array()) {
            for (const VXValue &element : *array)
                strip(element);
        }
    };
    strip(copy);
    return copy;
}

class UndoTest : public ::testing::Test
{
protected:
    UndoTest()
    {
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        VXLaunchExample(desktop, u"Mail"_s, 20);
        reportWindow = desktop.openWindow(10, u"Report.odt"_s);
        desktop.openWindow(10, u"Notes.txt"_s);
        desktop.openWindow(20, u"Inbox"_s);
        desktop.activate(10);
        controller = std::make_unique<VXMainController>(desktop, time, time, *settings.defaults, &ui);
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({&input}, {});
        time.runDue();

        VXArrayRef pools = VXMakeArray();
        pools->append(pool(u"Writing"_s,
                           {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s)}), member(u"Mail"_s, kMailID)}));
        controller->configuration()->insert(VXPoolsKey, pools);
        controller->updateLists(this);
        // Mail comes to the front for a while.
        time.advanceTo(kStart + 40);
        desktop.activate(20);
        time.advanceTo(kStart + 70);
        desktop.activate(10);
        time.advanceTo(kStart + 100);
    }
    ~UndoTest() override { VXSetCurrentSortColumn(1); }

    VXDictionary &tree() { return *controller->configuration(); }
    VXValue snapshot() { return VXValue(controller->configuration()).deepCopy(); }
    std::string differenceFrom(const VXValue &expected)
    {
        return firstDifference(VXValue(controller->configuration()), expected);
    }
    VXDictionary *editor() { return applicationItem(tree(), kEditorID); }
    VXDictionary *mail() { return applicationItem(tree(), kMailID); }
    VXDictionary &writing() { return *tree().value(VXPoolsKey).array()->at(0).dictionary(); }
    // The pool's members by name ("Editor" has the window entry), wherever the sort put them.
    VXDictionary &poolMember(const QString &name)
    {
        for (const VXValue &value : *writing().value(VXChildrenKey).array()) {
            if (value.dictionary() && value.dictionary()->value(VXNameKey).toString() == name)
                return *value.dictionary();
        }
        ADD_FAILURE() << "no member " << name.toStdString();
        static VXDictionary none;
        return none;
    }
    VXUndoHistory &history() { return controller->undoHistory(); }
    // The file once the writer thread has written what it was given.
    VXDictionaryRef savedTree()
    {
        controller->store().waitForPendingWrites();
        return deeplyMutableDictionaryWithData(VXReadFile(dataHome.configurationFile()));
    }

    Settings settings;
    ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    std::uint64_t reportWindow = 0;
    ScriptedUserInterface ui;
    ManualPresenceSource input;
    std::unique_ptr<VXMainController> controller;
};

}   // namespace

TEST_F(UndoTest, UndoAfterAResetRestoresEveryTimerAndLogAndRedoEmptiesThemAgain)
{
    ASSERT_EQ(timeOf(*editor()), 100.0);
    ASSERT_EQ(frontTimeOf(*mail()), 29.5);   // in front at the ticks from 40.5 to 70.0
    ASSERT_EQ(timeOf(writing()), 100.0);
    const VXValue before = snapshot();

    ui.alertAnswers = {0};   // "Reset"
    controller->resets().resetAllTimers();
    ASSERT_EQ(ui.alerts.size(), 1u);   // one question for both halves
    EXPECT_EQ(ui.alerts[0].message, u"Reset timers?"_s);
    EXPECT_EQ(ui.alerts[0].informative,
              u"Are you sure you want to reset?\n\nIf you change your mind after the fact, this action is undoable."_s);
    EXPECT_EQ(ui.alerts[0].buttons, QStringList({u"Reset"_s, u"Cancel"_s}));
    EXPECT_EQ(history().undoCount(), 1u);   // one state for both halves
    // The push saved the tree as it was before the reset.
    EXPECT_EQ(firstDifference(VXValue(savedTree()), before), "");

    // Applications start again from zero with what runs; pools keep their members.
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(activeLog(*editor()), Log({kStart + 100}));
    EXPECT_EQ(windowItem(tree(), kEditorID, u"Notes.txt"_s) != nullptr, true);
    EXPECT_EQ(timeOf(writing()), 0.0);
    EXPECT_EQ(activeLog(writing()), Log({kStart + 100}));
    EXPECT_EQ(poolMember(u"Editor"_s).value(VXChildrenKey).array()->size(), 1u);
    EXPECT_FALSE(tree().contains(VXFirstTimestampKey) && tree().value(VXFirstTimestampKey).toDouble() < kStart + 100);
    const VXValue afterReset = snapshot();

    controller->undo(this);
    EXPECT_EQ(differenceFrom(before), "");
    EXPECT_FALSE(controller->canUndo());
    EXPECT_TRUE(controller->canRedo());
    EXPECT_EQ(firstDifference(VXValue(savedTree()), before), "");   // undo does not save

    controller->redo(this);
    EXPECT_EQ(firstDifference(withoutZeroTimers(snapshot()), withoutZeroTimers(afterReset)), "");
    EXPECT_TRUE(controller->canUndo());
    EXPECT_FALSE(controller->canRedo());
    controller->undo(this);
    EXPECT_EQ(differenceFrom(before), "");

    // The restored tree goes on counting from the restored timers.
    time.advanceTo(kStart + 110);
    EXPECT_EQ(timeOf(*editor()), 110.0);
    EXPECT_EQ(timeOf(writing()), 110.0);
    EXPECT_TRUE(treeKeepsItsInvariants(tree()));
}

TEST_F(UndoTest, TheRedoStackIsClearedOneTurnLaterUnlessThePushIsWithdrawn)
{
    controller->resets().clearPools();
    time.runDue();
    controller->undo(this);
    ASSERT_TRUE(controller->canRedo());
    ASSERT_FALSE(controller->canUndo());

    // A change refused after its push, in the same turn: the redo stack survives.
    controller->pushUndoStateAndClearRedoStatesAfterDelay();
    EXPECT_EQ(history().undoCount(), 1u);
    controller->popUndoStateAndCancelRedoStateClearing();
    time.runDue();
    EXPECT_TRUE(controller->canRedo());
    EXPECT_FALSE(controller->canUndo());

    // Two changes in one turn: the redo stack is still there until the turn ends, then gone.
    controller->resets().resetTimerViaMenuItem(VXDictionaryRef(editor()));
    controller->resets().resetTimerViaMenuItem(VXDictionaryRef(mail()));
    EXPECT_TRUE(controller->canRedo());
    EXPECT_EQ(time.pendingCount(&history(), VXUndoHistory::kPushRedoStateOperation), 2);
    time.runDue();
    EXPECT_FALSE(controller->canRedo());
    EXPECT_EQ(history().undoCount(), 2u);

    // A withdrawal cancels every clearing still pending.
    controller->undo(this);
    controller->pushUndoStateAndClearRedoStatesAfterDelay();
    controller->pushUndoStateAndClearRedoStatesAfterDelay();
    controller->popUndoStateAndCancelRedoStateClearing();
    time.runDue();
    EXPECT_TRUE(controller->canRedo());
    EXPECT_EQ(history().undoCount(), 2u);

    // A state that cannot be read is dropped, and nothing else happens.
    const VXValue current = snapshot();
    history().pushUndoState(QByteArray("bplist00 damaged"));
    controller->undo(this);
    EXPECT_EQ(history().undoCount(), 2u);
    EXPECT_EQ(differenceFrom(current), "");
    history().pushUndoState(std::nullopt);
    EXPECT_FALSE(controller->canUndo());
}

TEST_F(UndoTest, ResetsAskOnceAndCancelledOnesChangeNothing)
{
    const VXValue before = snapshot();
    const int ticks = desktop.snapshotCount();
    ui.alertAnswers = {1};   // "Cancel"
    controller->resets().resetAllTimers();
    ui.alertAnswers = {-1};   // closed without an answer
    controller->resets().resetPoolTimers();
    EXPECT_EQ(ui.alerts.size(), 2u);
    EXPECT_EQ(differenceFrom(before), "");
    EXPECT_FALSE(controller->canUndo());
    EXPECT_EQ(desktop.snapshotCount(), ticks);

    // Applications only: pools keep their time; the forced tick after it is a gap.
    time.advanceTo(kStart + 100.25);
    ui.alertAnswers = {0};
    controller->resets().resetApplicationTimers();
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(timeOf(writing()), 100.0);
    EXPECT_EQ(history().undoCount(), 1u);

    // Pools only, silently and without undo (the shape of the daily reset without its push).
    controller->resets().resetApplicationTimers(false, true, false, false);
    EXPECT_EQ(timeOf(writing()), 0.0);
    EXPECT_FALSE(tree().contains(VXOverallPoolTimeKey) && tree().value(VXOverallPoolTimeKey).toDouble() > 0);
    EXPECT_EQ(history().undoCount(), 1u);
    EXPECT_EQ(ui.alerts.size(), 3u);
}

TEST_F(UndoTest, WithNothingToResetTheListsAreLeftAlone)
{
    // A desktop where nothing runs, and no pools.
    controller->resets().clearPools();
    desktop.quit(10);
    desktop.quit(20);
    ui.alertAnswers = {0};
    controller->resets().clearApplications();
    time.runDue();
    ASSERT_TRUE(tree().value(VXApplicationsKey).dictionary()->isEmpty());
    const std::size_t states = history().undoCount();
    const int ticks = desktop.snapshotCount();

    controller->resets().resetApplicationTimers();
    EXPECT_EQ(desktop.snapshotCount(), ticks);
    EXPECT_EQ(history().undoCount(), states);
    EXPECT_EQ(ui.alerts.size(), 0u);

    // Resetting pools when there are none still forgets the pool totals and updates.
    controller->resets().resetPoolTimers();
    EXPECT_EQ(desktop.snapshotCount(), ticks + 1);
    EXPECT_EQ(history().undoCount(), states);
    EXPECT_EQ(ui.alerts.size(), 0u);
}

TEST_F(UndoTest, ClearingPoolsLeavesTheTimeSinceTheLastTickToBeCreditedUnlikeEveryOtherClear)
{
    // Between two ticks (the last at 100.0), each change forces a tick at 100.25.
    time.advanceTo(kStart + 100.25);
    controller->resets().clearPools();
    EXPECT_EQ(timeOf(*editor()), 100.25);
    EXPECT_TRUE(tree().value(VXPoolsKey).array()->isEmpty());
    EXPECT_LT(tree().value(VXOverallPoolTimeKey).toDouble(), 1.0);
    EXPECT_EQ(history().undoCount(), 1u);
    controller->resets().clearPools();   // nothing left: no state
    EXPECT_EQ(history().undoCount(), 1u);

    // The forced tick moved the chain to 100.75, 101.25, ...: 110.5 lies between two ticks.
    time.advanceTo(kStart + 110.5);
    EXPECT_EQ(timeOf(*editor()), 110.25);
    const double mailBefore = timeOf(*mail());
    controller->resets().resetTimerViaMenuItem(VXDictionaryRef(editor()));
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(timeOf(*mail()), mailBefore + 0.25);   // per item: no gap, totals kept
    EXPECT_EQ(controller->overallApplicationTime(), 110.5);

    // Ticks at 111.0, 111.5, ...: 120.25 lies between two.
    time.advanceTo(kStart + 120.25);
    controller->resets().clearApplications();
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(timeOf(*mail()), 0.0);
    EXPECT_EQ(controller->overallApplicationTime(), 0.0);
    EXPECT_EQ(history().undoCount(), 3u);
    time.runDue();
    controller->resets().clearApplications();   // pushes even when there is little to clear
    EXPECT_EQ(history().undoCount(), 4u);

    // One undo after another walks back through every state.
    controller->undo(this);
    controller->undo(this);
    EXPECT_EQ(timeOf(*editor()), 9.5);   // reset at 110.5, counted at the ticks 111.0 to 120.0
    controller->undo(this);
    EXPECT_EQ(timeOf(*editor()), 110.25);   // the state pushed at 110.5 holds the tick of 110.25
    controller->undo(this);
    EXPECT_EQ(timeOf(writing()), 100.0);
    EXPECT_EQ(itemName(writing()), u"Writing"_s);
}

TEST_F(UndoTest, ClearAllAsksAndStartsANewTree)
{
    const VXValue before = snapshot();
    ui.alertAnswers = {1};
    controller->resets().clearAll();
    ASSERT_EQ(ui.alerts.size(), 1u);
    EXPECT_EQ(ui.alerts[0].message, u"Clear all?"_s);
    EXPECT_EQ(
        ui.alerts[0].informative,
        u"Are you sure you want to clear all your applications and pools?\n\nIf you change your mind after the fact, this action is undoable."_s);
    EXPECT_EQ(ui.alerts[0].buttons, QStringList({u"Clear All"_s, u"Cancel"_s}));
    EXPECT_EQ(differenceFrom(before), "");

    const VXDictionaryRef old = controller->configuration();
    ui.alertAnswers = {0};
    controller->resets().clearAll();
    ASSERT_NE(controller->configuration(), VXDictionaryRef());
    EXPECT_NE(controller->configuration(), old);
    EXPECT_FALSE(tree().contains(VXPoolsKey) && !tree().value(VXPoolsKey).array()->isEmpty());
    EXPECT_EQ(timeOf(*editor()), 0.0);
    EXPECT_EQ(activeLog(*editor()), Log({kStart + 100}));

    controller->undo(this);
    EXPECT_EQ(differenceFrom(before), "");
}

TEST_F(UndoTest, RemovingItemsBlacklistsWhatIsStillOpen)
{
    const VXValue before = snapshot();
    VXDictionaryRef report(windowItem(tree(), kEditorID, u"Report.odt"_s));
    ASSERT_TRUE(report);

    // Open, not forced: still blacklisted, in the qualified form, or it would be back at once.
    EXPECT_TRUE(controller->resets().deleteItem(report, false));
    EXPECT_EQ(windowItem(tree(), kEditorID, u"Report.odt"_s), nullptr);
    const VXArray *windowBlacklist = tree().value(VXWindowBlacklistKey).array();
    ASSERT_NE(windowBlacklist, nullptr);
    EXPECT_EQ(windowBlacklist->last().toString(), u"Editor \u25B8 Report.odt"_s);
    EXPECT_EQ(ui.blacklistTexts[u"Window Blacklist"_s], u"Editor \u25B8 Report.odt\nhttp*://*"_s);
    time.advanceBy(5);
    EXPECT_EQ(windowItem(tree(), kEditorID, u"Report.odt"_s), nullptr);

    // Closed, not forced: removed only.
    desktop.quit(20);
    time.advanceBy(1);
    ASSERT_NE(mail(), nullptr);
    ASSERT_FALSE(boolForKey(*mail(), VXActiveKey));
    EXPECT_TRUE(controller->resets().deleteItemViaMenuItem(VXDictionaryRef(mail()), 0));
    EXPECT_EQ(mail(), nullptr);
    EXPECT_EQ(tree().value(VXApplicationBlacklistKey).array()->size(), 1u);   // the default entry only

    // Forced (the menu's negative tag): blacklisted even though it is closed, unless a line
    // covers it already.
    desktop.closeWindow(desktop.state().windows.front().number);   // Notes.txt
    time.advanceBy(1);
    VXDictionaryRef notes(windowItem(tree(), kEditorID, u"Notes.txt"_s));
    ASSERT_TRUE(notes);
    controller->blacklistTextDidChange(VXWindowBlacklistKey,
                                       u"http*://*\nEditor \u25B8 Report.odt\nEditor \u25B8 Notes*"_s);
    EXPECT_TRUE(controller->resets().deleteItemViaMenuItem(notes, -1));
    EXPECT_EQ(tree().value(VXWindowBlacklistKey).array()->size(), 3u);
    EXPECT_EQ(history().undoCount(), 3u);

    // An application forced out is entered by its name.
    EXPECT_TRUE(controller->resets().deleteItemViaMenuItem(VXDictionaryRef(editor()), -1));
    EXPECT_EQ(tree().value(VXApplicationBlacklistKey).array()->last().toString(), u"Editor"_s);
    time.advanceBy(5);
    EXPECT_EQ(editor(), nullptr);

    // Not found, or nothing: false, and the menu beeps.
    EXPECT_FALSE(controller->resets().deleteItem(report, true));
    EXPECT_FALSE(controller->resets().deleteItem(VXDictionaryRef(), true));
    EXPECT_FALSE(controller->resets().deleteItemViaMenuItem(report, -1));
    EXPECT_FALSE(controller->resets().canDeleteSelectedItem());
    EXPECT_EQ(ui.beeps, 1);
    EXPECT_EQ(history().undoCount(), 4u);

    // Back to where it started, step by step.
    for (int i = 0; i < 4; ++i)
        controller->undo(this);
    const VXValue restored = snapshot();
    EXPECT_EQ(firstDifference(restored.dictionary()->value(VXApplicationBlacklistKey),
                              before.dictionary()->value(VXApplicationBlacklistKey)),
              "");
    EXPECT_EQ(firstDifference(restored.dictionary()->value(VXWindowBlacklistKey),
                              before.dictionary()->value(VXWindowBlacklistKey)),
              "");
    EXPECT_EQ(activeLog(*windowItem(tree(), kEditorID, u"Report.odt"_s)),
              activeLog(*windowItem(*before.dictionary(), kEditorID, u"Report.odt"_s)));
}

TEST_F(UndoTest, RemovingPoolItemsSearchesTwoLevelsBelowThePools)
{
    VXDictionaryRef editorMember(&poolMember(u"Editor"_s));
    VXDictionaryRef entry(poolMember(u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary());
    const double entryTime = timeOf(*entry);
    ASSERT_EQ(entryTime, 100.0);

    ui.selection = entry;
    EXPECT_TRUE(controller->resets().canDeleteSelectedItem());
    EXPECT_TRUE(controller->resets().deleteSelectedItem());
    EXPECT_FALSE(editorMember->contains(VXChildrenKey));   // the last entry took the list along
    EXPECT_EQ(writing().value(VXChildrenKey).array()->size(), 2u);

    EXPECT_TRUE(controller->resets().deleteDraggedItem(VXDictionaryRef(&poolMember(u"Mail"_s))));
    EXPECT_EQ(writing().value(VXChildrenKey).array()->size(), 1u);
    VXDictionaryRef writingPool(&writing());
    EXPECT_TRUE(controller->resets().deleteItem(writingPool, false));
    EXPECT_TRUE(tree().value(VXPoolsKey).array()->isEmpty());
    // Nothing the pools hold any more, and no blacklisting for pool items.
    EXPECT_FALSE(controller->resets().deleteItem(entry, true));
    EXPECT_EQ(tree().value(VXWindowBlacklistKey).array()->size(), 1u);
    EXPECT_EQ(history().undoCount(), 3u);

    controller->undo(this);
    controller->undo(this);
    controller->undo(this);
    ASSERT_EQ(writing().value(VXChildrenKey).array()->size(), 2u);
    const VXDictionary &restoredEntry = *poolMember(u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary();
    EXPECT_EQ(timeOf(restoredEntry), entryTime);
    EXPECT_EQ(itemName(restoredEntry), u"Report*"_s);
}

TEST_F(UndoTest, ResettingOneItemNeedsAnItemAndTogglingAMemberIsUndoable)
{
    controller->resets().resetTimerViaMenuItem(VXDictionaryRef());
    EXPECT_EQ(ui.beeps, 1);
    EXPECT_FALSE(controller->canUndo());

    // Without a represented item, the selection.
    ui.selection = VXDictionaryRef(&writing());
    controller->resets().resetTimerViaMenuItem(VXDictionaryRef());
    EXPECT_EQ(timeOf(writing()), 0.0);
    EXPECT_EQ(timeOf(poolMember(u"Editor"_s)), 0.0);
    EXPECT_EQ(timeOf(*poolMember(u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary()), 0.0);
    EXPECT_EQ(timeOf(*editor()), 100.0);
    EXPECT_EQ(history().undoCount(), 1u);

    // "Match Any Application" pushes its state through the controller's undo.
    const VXValue before = snapshot();
    EXPECT_TRUE(controller->toggleMatchAnyApplicationViaMenuItem(&poolMember(u"Mail"_s)));
    EXPECT_TRUE(boolForKey(poolMember(u"Mail"_s), VXMatchAnyApplicationKey));
    EXPECT_EQ(history().undoCount(), 2u);
    controller->undo(this);
    EXPECT_EQ(firstDifference(withoutZeroTimers(snapshot()), withoutZeroTimers(before)), "");
    EXPECT_FALSE(boolForKey(poolMember(u"Mail"_s), VXMatchAnyApplicationKey));
}

TEST_F(UndoTest, TheFileEndsWithTheNewestTreeHoweverManyPushesAreStillBeingWritten)
{
    for (int i = 0; i < 20; ++i) {
        time.advanceBy(0.25);
        controller->pushUndoStateAndClearRedoStatesAfterDelay();
    }
    const VXValue lastPushed = VXValue(history().undoStates().back()).deepCopy();
    EXPECT_EQ(firstDifference(VXValue(savedTree()), lastPushed), "");
    // A save of the live tree after them is not overtaken by any of them.
    for (int i = 0; i < 5; ++i)
        controller->pushUndoStateAndClearRedoStatesAfterDelay();
    time.advanceBy(3);
    controller->applicationShouldTerminate();
    EXPECT_EQ(
        firstDifference(VXValue(deeplyMutableDictionaryWithData(VXReadFile(dataHome.configurationFile()))), snapshot()),
        "");
}

TEST_F(UndoTest, AnImportedTreeReplacesTheRecordUndoablyAndIsSavedAtOnce)
{
    const VXValue before = snapshot();
    VXDictionaryRef imported = VXMakeDictionary();
    imported->insert(VXApplicationBlacklistKey, VXValue(strings({u"Mail"})));
    imported->insert(VXApplicationsKey, VXMakeDictionary());

    const VXValue asImported = VXValue(imported).deepCopy();
    std::optional<bool> saved;
    controller->importConfiguration(imported, VXDictionaryRef(), [&](bool written) { saved = written; });
    // The tree is the imported one (as the first tick on it leaves it); the file holds it as it
    // came, and the answer comes once it is written.
    EXPECT_EQ(controller->configuration(), imported);
    EXPECT_EQ(mail(), nullptr);   // blacklisted by the imported record
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(firstDifference(VXValue(savedTree()), asImported), "");
    EXPECT_EQ(saved, std::optional<bool>(true));
    EXPECT_TRUE(ui.blacklistTexts[VXApplicationBlacklistKey].contains(u"Mail"_s));

    controller->undo(this);
    EXPECT_EQ(differenceFrom(before), "");
}
