// Pause and hibernation through the controller: the idle countdown, sleep, session and screen
// lock in every order, the menu command and deep hibernation across a restart, and what a
// pause does to the timers and event logs. Presence arrives as the desktop adapters deliver
// it, through the observer the controller starts its sources with; time is virtual.

#include "VXHibernation.h"
#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXMainController.h"
#include "VXRegisteredDefaults.h"
#include "VXTrackingTestSupport.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <memory>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

namespace {

constexpr double kStart = 1'750'000'000.0;
const QString kEditorID = u"org.example.Editor"_s;

class HibernationTest : public ::testing::Test
{
protected:
    HibernationTest()
    {
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.activate(10);
        controller = makeController();
    }
    ~HibernationTest() override { VXSetCurrentSortColumn(1); }

    std::unique_ptr<VXMainController> makeController()
    {
        return std::make_unique<VXMainController>(desktop, time, time, *settings.defaults, &ui);
    }

    // The launch of the program with an input monitor that works (or not) and a sleep and
    // session source.
    void launch(bool inputWorks = true)
    {
        input = std::make_unique<ManualPresenceSource>(inputWorks);
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({input.get()}, {&system});
        time.runDue();
    }

    VXHibernation &hibernation() { return controller->hibernation(); }
    VXPresenceObserver &observer() { return *system.observer; }
    std::optional<double> countdown() const
    {
        return time.nextDueTime(&controller->hibernation(), VXHibernation::kHibernateOperation);
    }
    VXDictionary &editor() { return *applicationItem(*controller->configuration(), kEditorID); }

    Settings settings;
    ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
    std::unique_ptr<ManualPresenceSource> input;
    ManualPresenceSource system;
    std::unique_ptr<VXMainController> controller;
};

}   // namespace

TEST_F(HibernationTest, AnIdleUserIsHibernatedOneIntervalAfterTheLastInputAndWokenByTheNext)
{
    launch();
    ASSERT_NE(input->observer, nullptr);
    EXPECT_EQ(hibernation().hibernationInterval(), 600);
    EXPECT_EQ(countdown(), kStart + 600);   // the launch counts as activity

    time.advanceTo(kStart + 300.25);
    input->observer->inputHappened();
    EXPECT_EQ(countdown(), kStart + 900.25);
    EXPECT_EQ(time.pendingCount(&controller->hibernation(), VXHibernation::kHibernateOperation), 1);

    time.advanceTo(kStart + 900.0);
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(controller->isPaused());
    time.advanceTo(kStart + 900.25);
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_TRUE(controller->isPaused());
    ASSERT_EQ(ui.hibernationStates.size(), 1u);
    EXPECT_EQ(ui.hibernationStates.back(), std::make_pair(true, true));
    const int icons = ui.iconUpdates;
    EXPECT_FALSE(countdown());

    // Hibernation stops the timers: 900 s were counted, not a second more.
    time.advanceTo(kStart + 1000.0);
    EXPECT_EQ(timeOf(editor()), 900.0);

    input->observer->inputHappened();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(controller->isPaused());
    EXPECT_EQ(ui.hibernationStates.back(), std::make_pair(false, true));
    EXPECT_EQ(ui.iconUpdates, icons + 1);
    EXPECT_EQ(countdown(), kStart + 1600.0);
    time.advanceTo(kStart + 1010.0);
    EXPECT_EQ(timeOf(editor()), 909.5);   // the first tick after the pause, 1000.5, is a gap

    // A shorter interval takes effect at the next input.
    hibernation().setHibernationInterval(60);
    EXPECT_EQ(settings.defaults->integerForKey(u"Hibernation Interval"_s), 60);
    input->observer->inputHappened();
    EXPECT_EQ(countdown(), kStart + 1070.0);
}

TEST_F(HibernationTest, WithoutAnIntervalOnlySleepSessionsAndTheMenuHibernate)
{
    settings.defaults->setInteger(0, u"Hibernation Interval"_s);
    launch();
    EXPECT_FALSE(countdown());
    time.advanceBy(7200);
    input->observer->inputHappened();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(countdown());

    observer().sessionDidResignActive();
    EXPECT_TRUE(hibernation().isHibernating());
    observer().sessionDidBecomeActive();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(countdown());

    ui.alertAnswers = {0};   // "Wake Up Automatically"
    hibernation().toggleHibernation();
    time.advanceBy(0.5);
    EXPECT_TRUE(hibernation().isHibernating());
}

TEST_F(HibernationTest, SleepAndWakeInEveryOrder)
{
    launch();
    time.advanceTo(kStart + 100);

    // Sleep, then wake with no input in between: awake, with a new countdown from the wake.
    observer().systemWillSleep();
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_EQ(hibernation().userAwayLevel(), 1);
    EXPECT_FALSE(countdown());   // leaving cancels the countdown
    time.advanceTo(kStart + 5000);
    EXPECT_TRUE(hibernation().isHibernating());
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(countdown(), kStart + 5600);

    // Two sleeps need two wakes; input in between neither wakes nor starts a countdown.
    observer().systemWillSleep();
    observer().systemWillSleep();
    EXPECT_EQ(hibernation().userAwayLevel(), 2);
    EXPECT_EQ(controller->pauseLevel(), 1);   // hibernation pauses once
    input->observer->inputHappened();
    observer().systemDidWake();
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_FALSE(countdown());
    input->observer->inputHappened();
    EXPECT_TRUE(hibernation().isHibernating());
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(controller->pauseLevel(), 0);

    // A wake without a sleep does not take the count below zero: the next sleep is balanced by
    // one wake.
    observer().systemDidWake();
    observer().systemDidWake();
    EXPECT_EQ(hibernation().userAwayLevel(), 0);
    observer().systemWillSleep();
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());

    // Sleep and a session switch interleaved: back only when both have returned, in any order.
    observer().sessionDidResignActive();
    observer().systemWillSleep();
    observer().sessionDidBecomeActive();
    EXPECT_TRUE(hibernation().isHibernating());
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(hibernation().userAwayLevel(), 0);
    EXPECT_EQ(controller->pauseLevel(), 0);

    // Already hibernated by the idle countdown, the user leaves and returns: one wake suffices.
    time.advanceBy(600);
    EXPECT_TRUE(hibernation().isHibernating());
    observer().systemWillSleep();
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(controller->pauseLevel(), 0);
}

TEST_F(HibernationTest, ALockedScreenCountsAsAwayWhileTheSettingIsOn)
{
    launch();
    EXPECT_TRUE(settings.defaults->boolForKey(u"Screen Lock Counts As Away"_s));   // registered default

    observer().screenDidLock();
    observer().screenDidLock();   // a repeated report counts once
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_EQ(hibernation().userAwayLevel(), 1);
    input->observer->inputHappened();   // typing the password
    EXPECT_TRUE(hibernation().isHibernating());
    observer().screenDidUnlock();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(hibernation().userAwayLevel(), 0);

    // A lock counted before the setting was turned off is still balanced by its unlock.
    observer().screenDidLock();
    settings.defaults->setBool(false, u"Screen Lock Counts As Away"_s);
    observer().screenDidUnlock();
    EXPECT_EQ(hibernation().userAwayLevel(), 0);
    EXPECT_FALSE(hibernation().isHibernating());

    // Off: locking is not leaving, and an unlock does not count as a return.
    observer().screenDidLock();
    EXPECT_FALSE(hibernation().isHibernating());
    observer().systemWillSleep();
    observer().screenDidUnlock();
    EXPECT_EQ(hibernation().userAwayLevel(), 1);
    EXPECT_TRUE(hibernation().isHibernating());
}

TEST_F(HibernationTest, TheMenuCommandAsksHowToSuspend)
{
    launch();
    EXPECT_EQ(hibernation().toggleHibernationTitle(), u"Suspend Timers..."_s);

    ui.alertAnswers = {2};   // "Cancel"
    hibernation().toggleHibernation();
    ASSERT_EQ(ui.alerts.size(), 1u);
    EXPECT_EQ(ui.alerts[0].message, u"Suspend Timers..."_s);
    EXPECT_EQ(
        ui.alerts[0].informative,
        u"Wendle can wake up automatically next time you do something, or it can remain in deep suspension until you wake it up manually."_s);
    EXPECT_EQ(ui.alerts[0].buttons, QStringList({u"Wake Up Automatically"_s, u"Wake Up Manually"_s, u"Cancel"_s}));
    time.advanceBy(1);
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(controller->isModal());

    // Automatically: half a second later, so that the closing click does not wake it again.
    ui.alertAnswers = {0};
    hibernation().toggleHibernation();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_EQ(countdown(), time.now() + 0.5);
    time.advanceBy(0.5);
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_FALSE(hibernation().isDeepHibernating());
    input->observer->inputHappened();
    EXPECT_FALSE(hibernation().isHibernating());

    // Manually: at once, and neither input nor a wake from sleep ends it.
    ui.alertAnswers = {1};
    hibernation().toggleHibernation();
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_TRUE(settings.defaults->boolForKey(u"Deep Hibernation"_s));
    EXPECT_EQ(hibernation().toggleHibernationTitle(), u"Wake Up"_s);
    input->observer->inputHappened();
    observer().systemWillSleep();
    observer().systemDidWake();
    time.advanceBy(3600);
    EXPECT_TRUE(hibernation().isHibernating());

    // Nobody to answer (no user interface): nothing happens.
    const std::size_t alerts = ui.alerts.size();
    hibernation().toggleHibernation();   // "Wake Up" asks nothing
    EXPECT_EQ(ui.alerts.size(), alerts);
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(settings.defaults->boolForKey(u"Deep Hibernation"_s));
    EXPECT_EQ(countdown(), time.now() + 600);
    hibernation().toggleHibernation();   // the alert goes unanswered
    time.advanceBy(1);
    EXPECT_FALSE(hibernation().isHibernating());
}

TEST_F(HibernationTest, ADeepHibernationSurvivesQuittingAndRelaunching)
{
    launch();
    time.advanceTo(kStart + 60);
    ui.alertAnswers = {1};
    hibernation().toggleHibernation();
    time.advanceTo(kStart + 120);
    controller->applicationShouldTerminate();
    EXPECT_EQ(input->stops, 1);
    EXPECT_EQ(system.stops, 1);
    EXPECT_EQ(ui.tearDowns, 1);
    controller.reset();
    EXPECT_EQ(time.pendingCount(), 0);

    // The second run: same settings, same files, an hour later.
    time.advanceTo(kStart + 3600);
    ui.hibernationStates.clear();
    controller = makeController();
    launch();
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_TRUE(controller->isPaused());
    ASSERT_FALSE(ui.hibernationStates.empty());
    EXPECT_EQ(ui.hibernationStates.front(), std::make_pair(true, false));   // without animation
    ASSERT_NE(controller->configuration(), VXDictionaryRef());
    EXPECT_EQ(timeOf(editor()), 60.0);   // the tree of the first run, from the file
    time.advanceTo(kStart + 4000);
    input->observer->inputHappened();
    observer().systemWillSleep();
    observer().systemDidWake();
    EXPECT_TRUE(hibernation().isHibernating());
    EXPECT_EQ(timeOf(editor()), 60.0);

    hibernation().toggleHibernation();   // "Wake Up"
    EXPECT_FALSE(hibernation().isHibernating());
    time.advanceTo(kStart + 4010);
    EXPECT_EQ(timeOf(editor()), 69.5);   // a gap at the first tick, 4000.5, then 9.5 s
}

TEST_F(HibernationTest, WithoutAnInputMonitorTheProgramNeverHibernatesByItself)
{
    std::vector<QString> warnings;
    static std::vector<QString> *capture = nullptr;
    capture = &warnings;
    const QtMessageHandler previous
        = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &text) {
              if (type == QtWarningMsg && capture)
                  capture->push_back(text);
          });
    launch(false);
    qInstallMessageHandler(previous);
    capture = nullptr;
    EXPECT_NE(std::find(warnings.begin(), warnings.end(), u"cannot install event monitor"_s), warnings.end());
    EXPECT_FALSE(hibernation().isEventMonitorInstalled());
    EXPECT_EQ(input->observer, nullptr);

    EXPECT_FALSE(countdown());
    observer().systemWillSleep();
    EXPECT_TRUE(hibernation().isHibernating());
    observer().systemDidWake();
    EXPECT_FALSE(hibernation().isHibernating());
    EXPECT_FALSE(countdown());   // no input would ever defer it
    time.advanceBy(86400);
    EXPECT_FALSE(hibernation().isHibernating());
}

TEST_F(HibernationTest, TheEventLogsSplitExactlyAtAPause)
{
    launch();   // ticks at kStart + 0.5 k
    EXPECT_EQ(activeLog(editor()), Log({kStart}));

    // A transitory pause from 1.2 to 1.7 swallows the tick at 1.5: the tick at 2.0 is a gap.
    time.advanceTo(kStart + 1.2);
    hibernation().pauseTransitorily();
    EXPECT_TRUE(controller->isPaused());
    time.advanceTo(kStart + 1.6);
    EXPECT_TRUE(controller->isPaused());
    time.advanceTo(kStart + 1.7);
    EXPECT_FALSE(controller->isPaused());
    EXPECT_TRUE(controller->ignoreLastDate());
    time.advanceTo(kStart + 2.0);
    EXPECT_EQ(activeLog(editor()), Log({kStart, -(kStart + 1.0), kStart + 2.0}));
    EXPECT_EQ(timeOf(editor()), 1.0);

    // Sleep at 10.2 (last sample 10.0), wake at 100.3: the first tick after it, 100.5, credits
    // nothing and opens a new period.
    time.advanceTo(kStart + 10.2);
    observer().systemWillSleep();
    time.advanceTo(kStart + 100.3);
    EXPECT_EQ(timeOf(editor()), 9.0);
    EXPECT_EQ(controller->lastDate(), kStart + 10.0);
    observer().systemDidWake();
    time.advanceTo(kStart + 100.5);
    EXPECT_EQ(activeLog(editor()), Log({kStart, -(kStart + 1.0), kStart + 2.0, -(kStart + 10.0), kStart + 100.5}));
    EXPECT_EQ(frontLog(editor()), activeLog(editor()));
    EXPECT_EQ(timeOf(editor()), 9.0);
    time.advanceTo(kStart + 110.5);
    EXPECT_EQ(timeOf(editor()), 19.0);
    EXPECT_EQ(frontTimeOf(editor()), 19.0);
    EXPECT_EQ(controller->overallApplicationTime(), 19.0);
    EXPECT_TRUE(treeKeepsItsInvariants(*controller->configuration()));

    // A transitory pause overlapping hibernation: both only raise and lower the one counter.
    observer().systemWillSleep();
    hibernation().pauseTransitorily();
    EXPECT_EQ(controller->pauseLevel(), 2);
    time.advanceBy(0.5);
    EXPECT_EQ(controller->pauseLevel(), 1);
    EXPECT_FALSE(controller->ignoreLastDate());
    observer().systemDidWake();
    EXPECT_EQ(controller->pauseLevel(), 0);
    EXPECT_TRUE(controller->ignoreLastDate());
}
