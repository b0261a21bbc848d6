// One tick at a time on a scripted desktop: what is credited, to which item, and what the event
// logs and the lists say afterwards. Times are literal; every tick is checked for the tree's
// invariants.

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXFakeDesktop.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

#include <functional>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

constexpr double T = 1'750'000'000.0;   // a realistic Unix time

const QString kEditorPath = u"/usr/share/applications/org.example.Editor.desktop"_s;
const QString kEditorID = u"org.example.Editor"_s;
const QString kMailPath = u"/usr/share/applications/org.example.Mail.desktop"_s;
const QString kMailID = u"org.example.Mail"_s;

class SamplerTest : public ::testing::Test
{
protected:
    void tick(double at, bool fullWalk = true)
    {
        desktop.takeSnapshot(snapshot);
        sampler.sample(configuration, snapshot, at, settings, fullWalk);
        ASSERT_TRUE(treeKeepsItsInvariants(*configuration)) << "after the tick at T + " << at - T;
    }

    VXDictionary &editor() { return *applicationItem(*configuration, kEditorID); }
    VXDictionary *window(const QString &applicationID, const QString &key)
    {
        return windowItem(*configuration, applicationID, key);
    }

    VXFakeDesktop desktop;
    VXActivitySampler sampler;
    VXSamplerSettings settings;
    VXDictionaryRef configuration = VXMakeDictionary();
    VXDesktopSnapshot snapshot;
};

}   // namespace

TEST_F(SamplerTest, TheFirstTickIsAGapThatClosesWhatTheLastRunLeftOpen)
{
    // The program quit while the editor was in front: its periods are open, and the last sample
    // was taken at T + 100. It starts again at T + 1000.
    VXDictionaryRef saved = dictionary({{VXNameKey, u"Editor"_s},
                                        {VXApplicationIDKey, kEditorID},
                                        {VXPathKey, kEditorPath},
                                        {VXActiveKey, true},
                                        {VXFrontActiveKey, true},
                                        {VXTimeKey, 100.0},
                                        {VXFrontTimeKey, 100.0},
                                        {VXActiveLogKey, numbers({T})},
                                        {VXFrontActiveLogKey, numbers({T})}});
    configuration->insert(VXApplicationsKey, dictionary({{kEditorID, saved}}));
    configuration->insert(VXLastTimestampKey, T + 100);
    configuration->insert(VXFirstTimestampKey, T);
    configuration->insert(VXOverallTimeKey, 100.0);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.activate(10);

    // input:   [T ........ T+100)   (not running)   T+1000  T+1002
    // output:  [T      -T+100]                      [T+1000 ...
    tick(T + 1000);
    EXPECT_EQ(timeOf(editor()), 100.0);   // the time the program did not run is never credited
    EXPECT_EQ(activeLog(editor()), (Log {T, -(T + 100), T + 1000}));
    EXPECT_EQ(frontLog(editor()), (Log {T, -(T + 100), T + 1000}));
    EXPECT_EQ(configuration->value(VXOverallTimeKey), VXValue(100.0));
    EXPECT_EQ(configuration->value(VXFirstTimestampKey), VXValue(T));   // kept
    EXPECT_EQ(configuration->value(VXFirstPoolTimestampKey), VXValue(T + 1000));   // set where missing
    EXPECT_EQ(configuration->value(VXLastTimestampKey), VXValue(T + 1000));

    tick(T + 1002);
    EXPECT_EQ(timeOf(editor()), 102.0);
    EXPECT_EQ(frontTimeOf(editor()), 102.0);
    EXPECT_EQ(sampler.overallApplicationTime(), 102.0);
    EXPECT_EQ(sampler.overallPoolTime(), 2.0);
    EXPECT_EQ(activeLog(editor()), (Log {T, -(T + 100), T + 1000}));
}

TEST_F(SamplerTest, ApplicationsAreKeyedByIdentifierOrPathAndKeepTheirFirstName)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.launch(u" Tool \n"_s, u"/opt/tool/bin/tool"_s, QString(), 11);
    desktop.launch(u"Wendle"_s, u"/usr/share/applications/wendle.desktop"_s, u"wendle"_s, 12);   // itself
    desktop.launch(u"Tray Helper"_s, u"/usr/bin/helper"_s, u"helper"_s, 13, VXActivationPolicy::Accessory);
    desktop.launch(u"No Bundle"_s, QString(), u"nobundle"_s, 14);
    desktop.launch(u"   "_s, u"/usr/bin/blank"_s, u"blank"_s, 15);
    desktop.setFrontmostApplicationPath(u"/usr/bin/helper"_s);   // a helper in front is still not tracked
    tick(T);
    tick(T + 0.5);

    const VXDictionary &applications = *configuration->value(VXApplicationsKey).dictionary();
    EXPECT_EQ(applications.size(), 2u);
    ASSERT_NE(applicationItem(*configuration, u"/opt/tool/bin/tool"_s), nullptr);
    EXPECT_EQ(applicationItem(*configuration, u"/opt/tool/bin/tool"_s)->value(VXNameKey), VXValue(u"Tool"_s));
    EXPECT_EQ(timeOf(editor()), 0.5);
    EXPECT_EQ(frontTimeOf(editor()), 0.0);   // nothing tracked was in front
    EXPECT_EQ(namesOf(*sampler.applicationArray()), (QStringList {u"Editor"_s, u"Tool"_s}));

    // Renamed and moved: the item keeps its name, takes the new path.
    desktop.state().runningApplications[0].localizedName = u"Editor Pro"_s;
    desktop.state().runningApplications[0].bundlePath = u"/opt/editor.desktop"_s;
    tick(T + 1);
    EXPECT_EQ(editor().value(VXNameKey), VXValue(u"Editor"_s));
    EXPECT_EQ(editor().value(VXPathKey), VXValue(u"/opt/editor.desktop"_s));
    EXPECT_EQ(timeOf(editor()), 1.0);
}

TEST_F(SamplerTest, AProcessWithoutIdentifierHasTimeButNoWindows)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, -1);
    desktop.openWindow(-1, u"Report"_s);
    desktop.activate(-1);
    tick(T);
    tick(T + 2);
    EXPECT_EQ(timeOf(editor()), 2.0);
    EXPECT_EQ(frontTimeOf(editor()), 2.0);
    EXPECT_FALSE(editor().contains(VXWindowsByNameKey));
}

TEST_F(SamplerTest, TwoProcessesOfOneApplicationCreditItOnceEach)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 11);
    desktop.activate(10);
    tick(T);
    tick(T + 1.5);
    // 1.5 s, once for each process; both share the path, so both are in front.
    EXPECT_EQ(timeOf(editor()), 3.0);
    EXPECT_EQ(frontTimeOf(editor()), 3.0);
    EXPECT_EQ(sampler.overallApplicationTime(), 1.5);
    EXPECT_EQ(activeLog(editor()), (Log {T}));
}

TEST_F(SamplerTest, WindowsWhoseTitlesCutToOneKeyCountOnceAndPassNoFrontStatus)
{
    configuration->insert(VXCutoffsKey,
                          dictionary({{u"editor"_s, dictionary({{VXSeparatorsKey, strings({u" - "})}})}}));
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 11);
    desktop.openWindow(11, u"Notes"_s);
    desktop.openWindow(11, u"Report - B"_s);   // the second process's front window
    desktop.openWindow(10, u"Report - A"_s);
    desktop.activate(10);
    tick(T);
    tick(T + 1);

    // Process 10 files "Report - A" under "Report" and takes the front. Process 11 is in front
    // too (same path): its front window "Report - B" is the same item, which it does not credit
    // again, and it passes the front to none of its other windows.
    VXDictionary *report = window(kEditorID, u"Report"_s);
    ASSERT_NE(report, nullptr);
    EXPECT_EQ(report->value(VXNameKey), VXValue(u"Report"_s));
    EXPECT_EQ(timeOf(*report), 1.0);
    EXPECT_EQ(frontTimeOf(*report), 1.0);
    EXPECT_EQ(window(kEditorID, u"Report - B"_s), nullptr);
    VXDictionary *notes = window(kEditorID, u"Notes"_s);
    ASSERT_NE(notes, nullptr);
    EXPECT_EQ(timeOf(*notes), 1.0);
    EXPECT_FALSE(notes->contains(VXFrontTimeKey));
    EXPECT_TRUE(frontLog(*notes).empty());
    EXPECT_EQ(report->value(VXPIDKey), VXValue(10));   // the owner when first seen
}

TEST_F(SamplerTest, UntitledAndBlacklistedWindowsAreNeverTracked)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.openWindow(10, QString());
    desktop.openWindow(10, u"   "_s);
    desktop.openWindow(10, u"\n"_s);
    desktop.openWindow(10, u"https://example.org - Browser"_s);   // the default window blacklist
    desktop.openWindow(10, u"  Report  "_s);
    tick(T);
    const VXDictionary *windows = editor().value(VXWindowsByNameKey).dictionary();
    ASSERT_NE(windows, nullptr);
    EXPECT_EQ(windows->size(), 1u);
    EXPECT_NE(window(kEditorID, u"Report"_s), nullptr);   // trimmed
}

TEST_F(SamplerTest, ABlacklistedFrontWindowPassesTheFrontOnOrTakesItAlong)
{
    configuration->insert(VXWindowBlacklistKey, strings({u"Editor \u25B8 Secret*"}));
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.openWindow(10, u"Report"_s);
    desktop.openWindow(10, u"Secret plan"_s);   // in front
    desktop.activate(10);
    tick(T);
    tick(T + 1);
    EXPECT_EQ(window(kEditorID, u"Secret plan"_s), nullptr);
    EXPECT_EQ(frontTimeOf(*window(kEditorID, u"Report"_s)), 1.0);   // the next window became the front one

    settings.qualifiedBlacklistEatsFrontmostWindow = true;
    tick(T + 2);
    tick(T + 3);
    EXPECT_EQ(frontTimeOf(*window(kEditorID, u"Report"_s)), 1.0);   // no front window any more
    EXPECT_EQ(timeOf(*window(kEditorID, u"Report"_s)), 3.0);
    EXPECT_EQ(frontLog(*window(kEditorID, u"Report"_s)), (Log {T, -(T + 1)}));
    EXPECT_EQ(frontTimeOf(editor()), 3.0);   // the application stays in front
}

TEST_F(SamplerTest, WindowLevelsSpacesAndTheOrderedInTest)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.setWindowLevels(3, 101);
    const auto hidden = desktop.openWindow(10, u"Minimised"_s);
    const auto elsewhere = desktop.openWindow(10, u"Other Space"_s);   // in front of the visible ones
    desktop.openWindow(10, u"Palette"_s, 3);
    desktop.openWindow(10, u"Menu"_s, 101);
    desktop.openWindow(10, u"Sheet"_s, 2);
    desktop.setWindowOnScreen(hidden, false, false);
    desktop.setWindowOnScreen(elsewhere, false, true);
    desktop.raiseWindow(elsewhere);
    desktop.activate(10);
    tick(T);

    auto tracked = [&] {
        QStringList keys;
        if (const VXDictionary *windows = editor().value(VXWindowsByNameKey).dictionary())
            for (const auto &entry : *windows)
                if (boolForKey(*entry.value.dictionary(), VXActiveKey))
                    keys.append(entry.key);
        keys.sort();
        return keys;
    };
    EXPECT_EQ(tracked(), (QStringList {u"Other Space"_s, u"Sheet"_s}));
    // Windows on screen come first: the front window is the visible one.
    EXPECT_TRUE(boolForKey(*window(kEditorID, u"Sheet"_s), VXFrontActiveKey));
    EXPECT_FALSE(boolForKey(*window(kEditorID, u"Other Space"_s), VXFrontActiveKey));

    settings.includeFloatingWindows = true;
    settings.includeWindowsFromAllSpaces = false;
    tick(T + 1);
    EXPECT_EQ(tracked(), (QStringList {u"Palette"_s, u"Sheet"_s}));
}

TEST_F(SamplerTest, TheListsShowWhatIsActiveSortedAndHideTheRest)
{
    desktop.launch(u"Mail"_s, kMailPath, kMailID, 20);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    const auto draft = desktop.openWindow(10, u"Draft"_s);
    desktop.openWindow(10, u"Notes"_s);
    desktop.activate(10);
    VXDictionaryRef work = pool(u"Work"_s, {member(u"Mail"_s, kMailID), member(u"Editor"_s, kEditorID)});
    VXDictionaryRef idle = pool(u"Idle"_s, {member(u"Nothing"_s, u"org.example.None"_s)});
    VXArrayRef pools = VXMakeArray();
    pools->append(idle);
    pools->append(work);
    configuration->insert(VXPoolsKey, pools);
    tick(T);
    tick(T + 2);

    // Sorted by front time, then name.
    EXPECT_EQ(namesOf(*sampler.applicationArray()), (QStringList {u"Editor"_s, u"Mail"_s}));
    EXPECT_EQ(namesOf(*editor().value(VXChildrenKey).array()), (QStringList {u"Notes"_s, u"Draft"_s}));
    EXPECT_EQ(namesOf(*sampler.poolArray()), (QStringList {u"Work"_s, u"Idle"_s}));
    EXPECT_EQ(namesOf(*work->value(VXChildrenKey).array()),
              (QStringList {u"Editor"_s, u"Mail"_s}));   // sorted in place

    desktop.closeWindow(draft);
    desktop.quit(20);
    tick(T + 3);
    EXPECT_EQ(namesOf(*sampler.applicationArray()), (QStringList {u"Editor"_s}));
    EXPECT_EQ(namesOf(*editor().value(VXChildrenKey).array()), (QStringList {u"Notes"_s}));
    EXPECT_FALSE(applicationItem(*configuration, kMailID)->contains(VXChildrenKey));
    EXPECT_EQ(activeLog(*applicationItem(*configuration, kMailID)), (Log {T, -(T + 2)}));
    EXPECT_EQ(namesOf(*sampler.poolArray()), (QStringList {u"Work"_s, u"Idle"_s}));   // inactive pools shown

    settings.showInactivePools = false;
    settings.showInactiveApplicationItems = true;
    tick(T + 4);
    EXPECT_EQ(namesOf(*sampler.poolArray()), (QStringList {u"Work"_s}));
    EXPECT_EQ(namesOf(*sampler.applicationArray()), (QStringList {u"Editor"_s, u"Mail"_s}));
    EXPECT_EQ(namesOf(*editor().value(VXChildrenKey).array()), (QStringList {u"Notes"_s, u"Draft"_s}));
}

// With inactive items listed, a forced tick lists every application again: one whose windows
// are listed as before keeps its list and its change count (a save then shares it unseen), one
// whose order moved gets the new list.
TEST_F(SamplerTest, AForcedTickKeepsAListThatDidNotChange)
{
    settings.showInactiveApplicationItems = true;
    settings.sortColumn = 2;   // by time: a reset moves a window to the end
    desktop.launch(u"Mail"_s, kMailPath, kMailID, 20);
    desktop.openWindow(20, u"Inbox"_s);
    desktop.openWindow(20, u"Sent"_s);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.openWindow(10, u"Notes"_s);
    tick(T);
    tick(T + 5, false);
    desktop.quit(20);
    tick(T + 6, false);
    VXDictionary &mail = *applicationItem(*configuration, kMailID);
    window(kMailID, u"Inbox"_s)->insert(VXTimeKey, 9.0);   // Inbox before Sent, by time
    tick(T + 7);
    ASSERT_EQ(namesOf(*mail.value(VXChildrenKey).array()), (QStringList {u"Inbox"_s, u"Sent"_s}));

    const struct {
        const char *change;
        std::function<void()> make;
        bool listedAnew;
        QStringList order;
    } rows[] = {
        {"nothing", [] {}, false, {u"Inbox"_s, u"Sent"_s}},
        {"the first window's times reset",
         [&] { resetTimersRecursively(*window(kMailID, u"Inbox"_s)); },
         true,
         {u"Sent"_s, u"Inbox"_s}},
        {"nothing again", [] {}, false, {u"Sent"_s, u"Inbox"_s}},
    };
    double at = T + 8;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.change);
        row.make();
        const VXArray *before = mail.value(VXChildrenKey).array();
        const std::uint32_t changes = mail.changeCount();
        tick(at++);
        const VXArray *after = mail.value(VXChildrenKey).array();
        ASSERT_NE(after, nullptr);
        EXPECT_EQ(namesOf(*after), row.order);
        EXPECT_EQ(after != before, row.listedAnew);
        EXPECT_EQ(mail.changeCount() != changes, row.listedAnew);
    }
}

TEST_F(SamplerTest, ARenamedWindowEndsOneItemAndStartsAnother)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    const auto number = desktop.openWindow(10, u"Untitled"_s);
    desktop.activate(10);
    tick(T);
    tick(T + 1);
    desktop.setWindowTitle(number, u"Report"_s);
    tick(T + 2);
    tick(T + 3);
    // input:   T  T+1 | T+2 T+3      (renamed between T+1 and T+2)
    // output:  [Untitled  ]  [Report  ]
    EXPECT_EQ(activeLog(*window(kEditorID, u"Untitled"_s)), (Log {T, -(T + 1)}));
    EXPECT_EQ(activeLog(*window(kEditorID, u"Report"_s)), (Log {T + 2}));
    EXPECT_EQ(timeOf(*window(kEditorID, u"Untitled"_s)), 1.0);
    EXPECT_EQ(timeOf(*window(kEditorID, u"Report"_s)), 1.0);
    EXPECT_EQ(timeOf(editor()), 3.0);
}

TEST_F(SamplerTest, AClockSetBackIsCreditedAsItIs)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    tick(T);
    tick(T + 10);
    tick(T + 4);   // the clock went back six seconds
    EXPECT_EQ(timeOf(editor()), 4.0);
    EXPECT_EQ(sampler.overallApplicationTime(), 4.0);
}

TEST_F(SamplerTest, AGapAfterAPauseCreditsNothingAndSplitsThePeriods)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.activate(10);
    tick(T);
    tick(T + 1);
    sampler.setIgnoreLastDate(true);   // a pause ended
    tick(T + 60);
    tick(T + 61);
    // input:   T  T+1  (paused)  T+60  T+61
    // output:  [T  -T+1]         [T+60 ...
    EXPECT_EQ(timeOf(editor()), 2.0);
    EXPECT_EQ(activeLog(editor()), (Log {T, -(T + 1), T + 60}));
    EXPECT_EQ(sampler.overallApplicationTime(), 2.0);
}

TEST_F(SamplerTest, TheRecordOfDormantWindowsNoticesATreeChangedBehindItsBack)
{
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    const auto report = desktop.openWindow(10, u"Report"_s);
    desktop.openWindow(10, u"Notes"_s);
    tick(T);
    tick(T + 1, false);
    desktop.closeWindow(report);
    tick(T + 2, false);
    EXPECT_EQ(activeLog(*window(kEditorID, u"Report"_s)), (Log {T, -(T + 1)}));

    // Someone files a live-looking window without a forced tick: the table changed size, so the
    // next tick walks it in full and closes the period.
    VXDictionaryRef stray
        = dictionary({{VXNameKey, u"Stray"_s}, {VXActiveKey, true}, {VXActiveLogKey, numbers({T + 1})}});
    editor().value(VXWindowsByNameKey).dictionary()->insert(u"Stray"_s, stray);
    tick(T + 3, false);
    EXPECT_EQ(activeLog(*stray), (Log {T + 1, -(T + 2)}));

    // A whole new tree (undo, loading) is another object: walked in full too.
    VXDictionaryRef copy = VXValue(configuration).deepCopy().dictionaryRef();
    VXDictionary *copiedReport = windowItem(*copy, kEditorID, u"Report"_s);
    setBool(*copiedReport, true, VXActiveKey);
    copiedReport->insert(VXActiveLogKey, numbers({T, -(T + 1), T + 3}));
    configuration = copy;
    tick(T + 4, false);
    EXPECT_EQ(activeLog(*copiedReport), (Log {T, -(T + 1)}));   // began at the previous sample: dropped
}

TEST_F(SamplerTest, ARootReplacedAroundTheSamePoolsStillClosesTheirPeriods)
{
    VXDictionaryRef editorMember = member(u"Editor"_s, kEditorID);
    VXDictionaryRef aPool = pool(u"Writing"_s, {editorMember});
    VXArrayRef pools = VXMakeArray();
    pools->append(aPool);
    configuration->insert(VXPoolsKey, pools);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    tick(T);
    tick(T + 1, false);
    tick(T + 2, false);
    EXPECT_EQ(timeOf(*aPool), 2.0);

    // A new root holding the very same pools and applications (as a shallow copy would).
    VXDictionaryRef shallow = VXMakeDictionary();
    for (const VXDictionary::Entry &entry : *configuration)
        shallow->insert(entry.key, entry.value);
    configuration = shallow;
    desktop.quit(10);
    tick(T + 3, false);
    EXPECT_EQ(activeLog(*aPool), (Log {T, -(T + 2)}));
    EXPECT_EQ(activeLog(*editorMember), (Log {T, -(T + 2)}));
    EXPECT_FALSE(aPool->contains(VXActiveKey));
}

// A forced tick after a user action consolidates what the tick sees, what was seen before, and
// what the action changed; not the dormant rest of the record (which would change nothing, and
// on a long record is most of the cost of the tick).
TEST_F(SamplerTest, AForcedTickConsolidatesWhatIsSeenOrChangedNotTheDormantRest)
{
    constexpr int kDormant = 12;
    configuration->insert(VXApplicationsKey, VXMakeDictionary());
    VXDictionary &applications = *configuration->value(VXApplicationsKey).dictionary();
    VXArrayRef pools = VXMakeArray();
    VXArrayRef dormantMembers = VXMakeArray();
    for (int i = 0; i < kDormant; ++i) {
        const QString id = u"org.example.Old%1"_s.arg(i);
        const auto closedWindow = [](const QString &title) {
            return dictionary({{VXNameKey, title}, {VXTimeKey, 10.0}, {VXActiveLogKey, numbers({T - 50, -(T - 40)})}});
        };
        applications.insert(id,
                            dictionary({{VXNameKey, id},
                                        {VXApplicationIDKey, id},
                                        {VXTimeKey, 20.0 + i},
                                        {VXActiveLogKey, numbers({T - 60, -(T - 40)})},
                                        {VXWindowsByNameKey,
                                         dictionary({{u"Draft"_s, closedWindow(u"Draft"_s)},
                                                     {u"Final"_s, closedWindow(u"Final"_s)}})}}));
        VXDictionaryRef dormant = member(id, id, {windowEntry(u"Dr*"_s)});
        dormant->insert(VXTimeKey, 5.0 + i);
        dormantMembers->append(dormant);
    }
    VXDictionaryRef dormantPool = pool(u"Old"_s, {});
    dormantPool->insert(VXChildrenKey, dormantMembers);
    dormantPool->insert(VXTimeKey, 40.0);
    pools->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID)}));
    pools->append(dormantPool);
    configuration->insert(VXPoolsKey, pools);
    desktop.launch(u"Editor"_s, kEditorPath, kEditorID, 10);
    desktop.openWindow(10, u"Report"_s);

    tick(T);
    tick(T + 1, false);
    // The editor, its window, the pool "Writing" and its member.
    const std::size_t steady = sampler.consolidatedItemsOfLastTick();
    ASSERT_EQ(steady, 4u);

    VXDictionary &oldest = *applicationItem(*configuration, u"org.example.Old0"_s);
    VXDictionary &oldMember = *dormantMembers->at(3).dictionary();
    const struct {
        const char *action;
        std::function<void()> change;
        std::size_t more;   // items consolidated beyond the steady ones
    } rows[] = {
        {"no change", [] {}, 0},
        {"a dormant application's times reset", [&] { resetTimersRecursively(oldest); }, 1},
        // Its window table is walked, as a changed table is: the application and the window left.
        {"a window of a dormant application deleted",
         [&] { oldest.value(VXWindowsByNameKey).dictionary()->remove(u"Final"_s); }, 2},
        {"a dormant member's times reset", [&] { resetTimersRecursively(oldMember); }, 1},
        // The pool and the members that had times left (entries have none: a reset leaves them).
        {"a dormant pool's times reset", [&] { resetTimersRecursively(*dormantPool); }, 1 + kDormant - 1},
        // Every dormant application, window (one deleted above), pool, member and entry.
        {"the record forgotten", [&] { sampler.invalidateDormancyRecord(); }, 3 * kDormant - 1 + 1 + 2 * kDormant},
    };
    double at = T + 2;
    for (const auto &row : rows) {
        SCOPED_TRACE(row.action);
        row.change();
        tick(at++);
        EXPECT_EQ(sampler.consolidatedItemsOfLastTick(), steady + row.more);
        tick(at++, false);
        EXPECT_EQ(sampler.consolidatedItemsOfLastTick(), steady) << "the steady tick after it";
    }
}
