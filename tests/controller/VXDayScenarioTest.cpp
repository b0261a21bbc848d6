// A working day on the fake desktop and the virtual clock, 08:00 to 18:00 with a tick every
// second, and every expected figure worked out by hand below (not by running the code).
//
// S is 08:00:00; ticks fall on S + k for whole k; every change to the desktop happens half a
// second after a tick, so it is first seen at the next whole second.
//
//   t (s)     what happens
//       0     Editor (pid 100) runs, in front, one window "Report - Draft 1"; the day starts
//    3600.5   Mail (pid 200) starts with its window "Inbox (12)"
//    5400.5   the report is renamed "Report - Draft 2" (cut-off " - ": still "Report")
//    7200.5   Mail comes to the front
//    9000.5   Browser (pid 300) starts with "Team Docs" and, on top of it, "Bank login"
//             (blacklisted for Browser), and comes to the front: "Team Docs" is its front window
//   10800.5   lunch: tracking paused
//   14400.5   back: the pause ends, so the tick at 14401 is a gap
//   16200.5   "Team Docs" closes; Editor comes to the front and opens "Notes" on top
//   18000.5   Mail quits
//   25200.5   "Notes" is renamed "Notes - Meeting" (cut: still "Notes")
//   30000.5   the report is renamed "Summary": a new window item
//   36000     the day ends (18:00)
//
// Credit rule: tick k credits 1 s to an item in the state at k-1 and at k, unless k is a gap.
// Ticks 10801..14400 are skipped (paused) and 14401 is the gap, so the most any item can gain
// is (10800 - 0) + (36000 - 14401) = 10800 + 21599 = 32399 s.

#include "VXConfigurationKeys.h"
#include "VXFakeDesktop.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXTrackingTestSupport.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

class CountingDelegate : public VXMainControllerDelegate
{
public:
    void reloadApplicationList() override { ++applicationReloads; }
    void reloadPoolList() override { ++poolReloads; }
    void updateReport() override { ++reportUpdates; }
    int applicationReloads = 0;
    int poolReloads = 0;
    int reportUpdates = 0;
};

const QString kEditor = u"org.example.Editor"_s;
const QString kMail = u"org.example.Mail"_s;
const QString kBrowser = u"org.example.Browser"_s;

}   // namespace

TEST(VXDayScenario, AWorkingDayIsCreditedSecondBySecond)
{
    Settings settings;
    settings.defaults->setDouble(1.0, u"Update Interval"_s);
    const QTimeZone zone = QTimeZone::utc();
    const double S = VXVirtualScheduler::unixTime(QDate(2026, 3, 2), QTime(8, 0), zone);
    VXVirtualScheduler time(S, zone);
    VXFakeDesktop desktop;
    CountingDelegate delegate;
    VXMainController controller(desktop, time, time, *settings.defaults, &delegate);

    // The user's rules: cut-offs for the editor, a qualified window blacklist, three pools.
    VXDictionaryRef writingEditor = member(u"Editor"_s, kEditor);
    VXDictionaryRef docsEntry = windowEntry(u"*Docs*"_s);
    VXDictionaryRef writingBrowser = member(u"Browser"_s, kBrowser, {docsEntry});
    VXDictionaryRef writing = pool(u"Writing"_s, {writingEditor, writingBrowser});
    VXDictionaryRef correspondenceMail = member(u"Mail"_s, kMail);
    VXDictionaryRef correspondence = pool(u"Correspondence"_s, {correspondenceMail});
    VXDictionaryRef reportsEntry = windowEntry(u"Report*"_s);
    VXDictionaryRef anyReports = member(QString(), QString(), {reportsEntry});
    setBool(*anyReports, true, VXMatchAnyApplicationKey);
    VXDictionaryRef reports = pool(u"Reports anywhere"_s, {anyReports});
    VXArrayRef pools = VXMakeArray();
    for (const VXDictionaryRef &p : {correspondence, reports, writing})
        pools->append(p);
    controller.setConfiguration(dictionary({
        {VXPoolsKey, pools},
        {VXCutoffsKey, dictionary({{u"editor"_s, dictionary({{VXSeparatorsKey, strings({u" - "})}})}})},
        {VXWindowBlacklistKey, strings({u"http*://*", u"Browser \u25B8 Bank*"})},
    }));

    VXLaunchExample(desktop, u"Editor"_s, 100);
    const auto report = desktop.openWindow(100, u"Report - Draft 1"_s);
    desktop.activate(100);
    controller.setSortColumn(1);   // the first tick, as at launch

    auto at = [&](double t) { time.advanceTo(S + t); };
    at(3600.5);
    VXLaunchExample(desktop, u"Mail"_s, 200);
    desktop.openWindow(200, u"Inbox (12)"_s);
    at(5400.5);
    desktop.setWindowTitle(report, u"Report - Draft 2"_s);
    at(7200.5);
    desktop.activate(200);
    at(9000.5);
    VXLaunchExample(desktop, u"Browser"_s, 300);
    const auto docs = desktop.openWindow(300, u"Team Docs"_s);
    desktop.openWindow(300, u"Bank login"_s);
    desktop.activate(300);
    at(10800.5);
    controller.setPaused(true);
    at(14400.5);
    controller.setPaused(false);
    at(16200.5);
    desktop.closeWindow(docs);
    desktop.activate(100);
    const auto notes = desktop.openWindow(100, u"Notes"_s);
    at(18000.5);
    desktop.quit(200);
    at(25200.5);
    desktop.setWindowTitle(notes, u"Notes - Meeting"_s);
    at(30000.5);
    desktop.setWindowTitle(report, u"Summary"_s);
    at(36000);

    const VXDictionary &configuration = *controller.configuration();
    ASSERT_TRUE(treeKeepsItsInvariants(configuration));

    // Ticks: 36001 in all (0..36000); 3600 skipped while paused (10801..14400); the rest full.
    EXPECT_EQ(delegate.reportUpdates, 36001);
    EXPECT_EQ(delegate.applicationReloads, 32401);
    EXPECT_EQ(delegate.poolReloads, 32401);
    EXPECT_EQ(desktop.snapshotCount(), 32401);

    // Overall: 10800 + 21599.
    EXPECT_EQ(controller.overallApplicationTime(), 32399.0);
    EXPECT_EQ(controller.overallPoolTime(), 32399.0);
    EXPECT_EQ(configuration.value(VXFirstTimestampKey), VXValue(S));
    EXPECT_EQ(configuration.value(VXLastTimestampKey), VXValue(S + 36000));

    // Editor, active all day: 32399. In front 0..7200 and 16201..36000: 7200 + (36000 - 16201).
    //   active: [0          10800]   [14401 ...
    //   front:  [0    7200]                   [16201 ...
    const VXDictionary &editor = *applicationItem(configuration, kEditor);
    EXPECT_EQ(timeOf(editor), 32399.0);
    EXPECT_EQ(frontTimeOf(editor), 7200.0 + 19799.0);
    EXPECT_EQ(activeLog(editor), (Log {S, -(S + 10800), S + 14401}));
    EXPECT_EQ(frontLog(editor), (Log {S, -(S + 7200), S + 16201}));

    // "Report" (both drafts cut to it) until renamed "Summary" after 30000:
    //   10800 + (30000 - 14401) = 26399; its front time is the editor's first stretch, 7200.
    const VXDictionary &reportItem = *windowItem(configuration, kEditor, u"Report"_s);
    EXPECT_EQ(reportItem.value(VXNameKey), VXValue(u"Report"_s));
    EXPECT_EQ(timeOf(reportItem), 26399.0);
    EXPECT_EQ(frontTimeOf(reportItem), 7200.0);
    EXPECT_EQ(activeLog(reportItem), (Log {S, -(S + 10800), S + 14401, -(S + 30000)}));
    EXPECT_EQ(frontLog(reportItem), (Log {S, -(S + 7200)}));
    EXPECT_EQ(windowItem(configuration, kEditor, u"Report - Draft 1"_s), nullptr);

    // "Notes" from 16201, on top, so in front while the editor is: 36000 - 16201 = 19799 both.
    const VXDictionary &notesItem = *windowItem(configuration, kEditor, u"Notes"_s);
    EXPECT_EQ(timeOf(notesItem), 19799.0);
    EXPECT_EQ(frontTimeOf(notesItem), 19799.0);
    EXPECT_EQ(activeLog(notesItem), (Log {S + 16201}));
    EXPECT_EQ(frontLog(notesItem), (Log {S + 16201}));

    // "Summary" from 30001: 36000 - 30001 = 5999, never in front.
    const VXDictionary &summary = *windowItem(configuration, kEditor, u"Summary"_s);
    EXPECT_EQ(timeOf(summary), 5999.0);
    EXPECT_FALSE(summary.contains(VXFrontTimeKey));
    EXPECT_EQ(activeLog(summary), (Log {S + 30001}));

    // Mail from 3601 to 18000: (10800 - 3601) + (18000 - 14401) = 7199 + 3599 = 10798; in front
    // 7201..9000: 9000 - 7201 = 1799. Its one window the same.
    for (const VXDictionary *item :
         {applicationItem(configuration, kMail), windowItem(configuration, kMail, u"Inbox (12)"_s)}) {
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(timeOf(*item), 10798.0);
        EXPECT_EQ(frontTimeOf(*item), 1799.0);
        EXPECT_EQ(activeLog(*item), (Log {S + 3601, -(S + 10800), S + 14401, -(S + 18000)}));
        EXPECT_EQ(frontLog(*item), (Log {S + 7201, -(S + 9000)}));
    }

    // Browser from 9001: (10800 - 9001) + 21599 = 1799 + 21599 = 23398; in front 9001..10800 and
    // 14401..16200: 1799 + 1799 = 3598.
    const VXDictionary &browser = *applicationItem(configuration, kBrowser);
    EXPECT_EQ(timeOf(browser), 23398.0);
    EXPECT_EQ(frontTimeOf(browser), 3598.0);
    EXPECT_EQ(activeLog(browser), (Log {S + 9001, -(S + 10800), S + 14401}));
    EXPECT_EQ(frontLog(browser), (Log {S + 9001, -(S + 10800), S + 14401, -(S + 16200)}));

    // "Team Docs", the browser's front window while "Bank login" (blacklisted) is on top, until
    // it closes: 1799 + 1799 = 3598, all of it in front.
    const VXDictionary &teamDocs = *windowItem(configuration, kBrowser, u"Team Docs"_s);
    EXPECT_EQ(timeOf(teamDocs), 3598.0);
    EXPECT_EQ(frontTimeOf(teamDocs), 3598.0);
    EXPECT_EQ(activeLog(teamDocs), (Log {S + 9001, -(S + 10800), S + 14401, -(S + 16200)}));
    EXPECT_EQ(frontLog(teamDocs), activeLog(teamDocs));
    EXPECT_EQ(windowItem(configuration, kBrowser, u"Bank login"_s), nullptr);

    // Pools. "Writing" is fed by the editor (by name) and by "Team Docs" (by title), once a tick:
    // active as long as the editor, 32399. In front while the editor or "Team Docs" is:
    // 0..7200, 9001..10800, 14401..16200 and, without a break (16200 Team Docs, 16201 Editor),
    // on to 36000: 7200 + 1799 + 1799 + (36000 - 16200) = 30598.
    EXPECT_EQ(timeOf(*writing), 32399.0);
    EXPECT_EQ(frontTimeOf(*writing), 30598.0);
    EXPECT_EQ(activeLog(*writing), (Log {S, -(S + 10800), S + 14401}));
    EXPECT_EQ(frontLog(*writing), (Log {S, -(S + 7200), S + 9001, -(S + 10800), S + 14401}));
    EXPECT_EQ(timeOf(*writingEditor), 32399.0);
    EXPECT_EQ(frontTimeOf(*writingEditor), 26999.0);
    EXPECT_EQ(timeOf(*writingBrowser), 3598.0);
    EXPECT_EQ(frontTimeOf(*docsEntry), 3598.0);

    // "Correspondence" follows Mail.
    for (const VXDictionaryRef &item : {correspondence, correspondenceMail}) {
        EXPECT_EQ(timeOf(*item), 10798.0);
        EXPECT_EQ(frontTimeOf(*item), 1799.0);
    }

    // "Reports anywhere" matches "Report" in any application: as the window, 26399 and 7200.
    for (const VXDictionaryRef &item : {reports, anyReports, reportsEntry}) {
        EXPECT_EQ(timeOf(*item), 26399.0);
        EXPECT_EQ(frontTimeOf(*item), 7200.0);
        EXPECT_EQ(activeLog(*item), (Log {S, -(S + 10800), S + 14401, -(S + 30000)}));
        EXPECT_EQ(frontLog(*item), (Log {S, -(S + 7200)}));
    }

    // The lists at 18:00, by front time: the applications that run, with their open windows;
    // every pool (inactive ones are shown).
    EXPECT_EQ(namesOf(*controller.applicationArray()), (QStringList {u"Editor"_s, u"Browser"_s}));
    EXPECT_EQ(namesOf(*editor.value(VXChildrenKey).array()), (QStringList {u"Notes"_s, u"Summary"_s}));
    EXPECT_TRUE(browser.value(VXChildrenKey).array()->isEmpty());
    EXPECT_FALSE(applicationItem(configuration, kMail)->contains(VXChildrenKey));
    EXPECT_EQ(namesOf(*controller.poolArray()),
              (QStringList {u"Writing"_s, u"Reports anywhere"_s, u"Correspondence"_s}));
}
