// The start-up order and the two modes through the real windows: the welcome window at the
// first launch, each of its choices, a relaunch that honours the choice, a session without a
// tray, the switch with the preferences open, and reopening the window closed last.

#include "VXShellTestSupport.h"

#include "VXOrganizerWindow.h"
#include "VXPreferenceHandlers.h"
#include "VXPreferencesWindow.h"
#include "VXStatusItemController.h"
#include "VXStatusItemPanel.h"
#include "VXWelcomeWindow.h"

#include <QCheckBox>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

// The log lines of the test, kept while it runs.
class LogCapture
{
public:
    LogCapture() { s_lines = &m_lines, m_previous = qInstallMessageHandler(&LogCapture::handle); }
    ~LogCapture()
    {
        qInstallMessageHandler(m_previous);
        s_lines = nullptr;
    }
    int count(const QString &line) const { return int(m_lines.count(line)); }

private:
    static void handle(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        if (s_lines)
            s_lines->append(message);
    }
    static inline QStringList *s_lines = nullptr;
    QStringList m_lines;
    QtMessageHandler m_previous = nullptr;
};

bool isShown(const QWidget *window)
{
    return window && window->isVisible();
}

}   // namespace

TEST(ShellStartUp, TheFirstLaunchAsksOnceAndTheWindowsChoiceOpensTheOrganizer)
{
    ShellFixture program;
    // A tray choice stored before any welcome is not honoured: the first launch is windowed.
    program.defaults->setBool(true, VXStatusItemKey);
    bool welcomed = false;
    answerNextModal([&](QWidget *modal) {
        welcomed = qobject_cast<VXWelcomeWindow *>(modal) != nullptr;
        // Without a tray, its choice is there but cannot be taken.
        EXPECT_FALSE(static_cast<VXWelcomeWindow *>(modal)->menuBarButton()->isEnabled());
        EXPECT_TRUE(clickButton(modal, u"In Windows"_s));
    });
    program.launch();
    EXPECT_TRUE(welcomed);
    EXPECT_TRUE(program.controller->isStatusItem());
    EXPECT_EQ(program.shell->statusItemController(), nullptr);
    EXPECT_TRUE(isShown(program.shell->organizerWindow()));
    EXPECT_EQ(program.shell->welcomeWindow(), nullptr);
    const auto stored = program.reread();
    EXPECT_TRUE(stored->boolForKey(VXWelcomeKey));
    EXPECT_FALSE(stored->boolForKey(VXStatusItemKey));

    // Centred the first time; moved and resized by the person, that frame is kept.
    VXOrganizerWindow *organizer = program.shell->organizerWindow();
    const QRect available = organizer->screen()->availableGeometry();
    EXPECT_LE((organizer->frameGeometry().center() - available.center()).manhattanLength(), 8);
    const QRect moved(available.x() + 20, available.y() + 10, 450, 400);
    organizer->setGeometry(moved);

    // Started again: no welcome, the organizer as it was left, where it was left.
    program.launch();
    EXPECT_EQ(program.shell->welcomeWindow(), nullptr);
    EXPECT_TRUE(isShown(program.shell->organizerWindow()));
    EXPECT_EQ(program.shell->organizerWindow()->geometry(), moved);
}

TEST(ShellStartUp, TheTrayChoiceSwitchesInPlaceAndARelaunchHonoursIt)
{
    ShellFixture program;
    program.trayAvailable = true;
    answerNextModal([](QWidget *modal) { EXPECT_TRUE(clickButton(modal, u"In the Tray"_s)); });
    program.launch();
    EXPECT_TRUE(program.controller->runsAsStatusItem());
    ASSERT_NE(program.shell->statusItemController(), nullptr);
    EXPECT_FALSE(isShown(program.shell->organizerWindow()));
    EXPECT_TRUE(program.reread()->boolForKey(VXStatusItemKey));
    // "Organizer" opens the tray's panel on the organizer, not the window.
    program.controller->toggleListWindow();
    EXPECT_TRUE(program.shell->statusItemController()->panel()->isPanelVisible());
    EXPECT_EQ(program.shell->statusItemController()->panel()->selectedIdentifier(),
              VXStatusItemPanel::kOrganizerIdentifier);
    EXPECT_FALSE(isShown(program.shell->organizerWindow()));

    program.launch();
    EXPECT_EQ(program.shell->welcomeWindow(), nullptr);
    EXPECT_TRUE(program.controller->runsAsStatusItem());
    EXPECT_NE(program.shell->statusItemController(), nullptr);

    // Back to windows from the preferences, in place: the tray goes, the organizer comes.
    program.controller->showPreferencesWindow();
    auto *trayItem
        = qobject_cast<QCheckBox *>(program.shell->preferencesWindow()->control(VXPreferenceControl::StatusItemSwitch));
    ASSERT_NE(trayItem, nullptr);
    EXPECT_TRUE(trayItem->isChecked());
    trayItem->click();
    program.settle();
    EXPECT_TRUE(program.controller->isStatusItem());
    EXPECT_EQ(program.shell->statusItemController(), nullptr);
    EXPECT_TRUE(isShown(program.shell->organizerWindow()));
    EXPECT_FALSE(program.reread()->boolForKey(VXStatusItemKey));
}

TEST(ShellStartUp, WithoutATrayAStoredTrayChoiceGetsTheWindowsAndOneLogLine)
{
    ShellFixture program;
    program.defaults->setBool(true, VXWelcomeKey);
    program.defaults->setBool(true, VXStatusItemKey);
    program.defaults->synchronize();
    LogCapture log;
    program.launch();
    EXPECT_TRUE(program.controller->isStatusItem());
    EXPECT_EQ(program.shell->statusItemController(), nullptr);
    EXPECT_TRUE(isShown(program.shell->organizerWindow()));
    // The choice stays for a session that has a tray.
    EXPECT_TRUE(program.defaults->boolForKey(VXStatusItemKey));
    program.controller->checkStatusItem();
    EXPECT_EQ(log.count(VXNoSystemTrayMessage), 1);
    // The switch that would leave no way in is not offered.
    program.controller->showPreferencesWindow();
    const QWidget *trayItem = program.shell->preferencesWindow()->control(VXPreferenceControl::StatusItemSwitch);
    EXPECT_FALSE(trayItem->isEnabled());
    EXPECT_FALSE(trayItem->toolTip().isEmpty());
}

TEST(ShellStartUp, SwitchingModesWithThePreferencesOpenKeepsTheirFrame)
{
    ShellFixture program;
    program.trayAvailable = true;
    program.defaults->setBool(true, VXWelcomeKey);
    program.launch();
    program.controller->showPreferencesWithFrame(u"130 90 640 300"_s);
    VXPreferencesWindow *preferences = program.shell->preferencesWindow();
    ASSERT_TRUE(isShown(preferences));
    EXPECT_EQ(preferences->windowTitle(), u"Preferences"_s);
    const QPoint place = preferences->geometry().topLeft();
    EXPECT_EQ(place, QPoint(130, 90));
    qobject_cast<QCheckBox *>(preferences->control(VXPreferenceControl::StatusItemSwitch))->click();
    program.settle();
    EXPECT_TRUE(program.controller->runsAsStatusItem());
    ASSERT_TRUE(isShown(program.shell->preferencesWindow()));
    EXPECT_EQ(program.shell->preferencesWindow()->geometry().topLeft(), place);
    EXPECT_EQ(program.shell->preferencesWindow()->windowTitle(), u"Wendle Preferences"_s);
    EXPECT_TRUE(program.defaults->objectForKey(VXPreferencesFrameKey).isNull());
}

TEST(ShellStartUp, StartingAgainWithNoWindowOpenReopensTheOneClosedLast)
{
    ShellFixture program;
    program.defaults->setBool(true, VXWelcomeKey);
    program.launch();
    VXOrganizerWindow *organizer = program.shell->organizerWindow();
    ASSERT_TRUE(isShown(organizer));
    // A window open: it comes forward, nothing else opens.
    EXPECT_TRUE(program.controller->applicationShouldHandleReopen(false));
    EXPECT_FALSE(program.shell->isReportWindowVisible());

    organizer->close();
    EXPECT_TRUE(program.defaults->boolForKey(VXListWindowClosedKey));
    EXPECT_FALSE(program.controller->applicationShouldHandleReopen(false));
    EXPECT_TRUE(isShown(organizer));
    EXPECT_FALSE(program.defaults->boolForKey(VXListWindowClosedKey));

    // The report, closed after the organizer, is the one that comes back.
    program.shell->showWindow(VXMainControllerDelegate::Window::Report);
    ASSERT_TRUE(program.shell->isReportWindowVisible());
    organizer->close();
    program.shell->liveReport()->reportWindow()->close();
    EXPECT_TRUE(program.defaults->boolForKey(VXReportDefaultClosedLastKey));
    EXPECT_FALSE(program.controller->applicationShouldHandleReopen(false));
    EXPECT_TRUE(program.shell->isReportWindowVisible());
    EXPECT_FALSE(isShown(organizer));

    // And at the next launch, the report alone, as it was left.
    program.launch();
    EXPECT_TRUE(program.shell->isReportWindowVisible());
    EXPECT_FALSE(isShown(program.shell->organizerWindow()));
}
