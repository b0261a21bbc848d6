// Tray mode through the real shell: the organizer's lists and the live report move into the
// tray's panel and back to their windows at every switch (the same widgets, never copies); the
// menus' "Organizer" and "Activity Report" open the panel on their section; the icon follows the
// style setting, the panel's section and the desktop's theme; the autostart entry is written at
// a tray-mode launch, removed by a deliberate quit only, and its hidden state is offered to be
// cleared; the taskbar's icon and the desktop report follow their settings.

#include "VXScreenshotSupport.h"
#include "VXShellTestSupport.h"

#include "VXAutostartFolder.h"
#include "VXDesktopReport.h"
#include "VXFullscreenReportWindow.h"
#include "VXOrganizerWindow.h"
#include "VXReportBottomBar.h"
#include "VXStatusItemController.h"
#include "VXStatusItemPanel.h"
#include "VXTaskbarReportIcon.h"

#include <QDir>
#include <QSettings>
#include <QSystemTrayIcon>
#include <QWindow>

#include <gtest/gtest.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

void launchInTray(ShellFixture &program)
{
    program.trayAvailable = true;
    program.defaults->setBool(true, VXWelcomeKey);
    program.defaults->setBool(true, VXStatusItemKey);
    program.launch();
}

QString autostartEntryPath(const ShellFixture &program)
{
    return program.configFolder.filePath(u"autostart/"_s + VXAutostartFolder::kEntryFileName);
}

}   // namespace

TEST(ShellTray, TheWindowsViewsMoveIntoThePanelAndBackAtEverySwitch)
{
    ShellFixture program;
    launchInTray(program);
    VXApplicationShell &shell = *program.shell;
    ASSERT_NE(shell.statusItemController(), nullptr);
    ASSERT_NE(shell.liveReport(), nullptr);
    QWidget *lists = shell.organizerWindow()->listContainer();
    QWidget *report = shell.liveReport()->reportContainer();
    ASSERT_TRUE(lists && report);

    // The windows open before each switch to the tray open again on the way back: none at a
    // tray launch (the organizer then, as the way in), both, the report alone.
    struct Round {
        bool organizerAfter, reportAfter;
    };
    const Round rounds[] = {{true, false}, {true, true}, {false, true}};
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        VXStatusItemPanel *panel = shell.statusItemController()->panel();
        EXPECT_EQ(panel->view(VXStatusItemPanel::kOrganizerIdentifier), lists);
        EXPECT_EQ(panel->view(VXStatusItemPanel::kActivityReportIdentifier), report);
        EXPECT_EQ(lists->window(), panel);
        EXPECT_EQ(report->window(), panel);
        EXPECT_FALSE(shell.organizerWindow()->isVisible());
        EXPECT_FALSE(shell.liveReport()->reportWindow()->isVisible());
        // The report's bar is drawn as a band of the panel, not as a floating window's.
        VXReportBottomBar *bar = shell.liveReport()->bottomBar();
        EXPECT_TRUE(bar->isInsidePanel());
        EXPECT_EQ(bar->currentGradient().top, VXReportBottomBar::gradientForScheme(0, false).top);

        // The menus' entries open the panel on their section.
        program.controller->performMenuAction(VXMenuAction::ToggleReportWindow, 0);
        EXPECT_TRUE(panel->isPanelVisible());
        EXPECT_EQ(panel->selectedIdentifier(), VXStatusItemPanel::kActivityReportIdentifier);
        EXPECT_TRUE(shell.isReportWindowVisible());
        EXPECT_FALSE(shell.isListWindowVisible());
        program.controller->toggleListWindow();
        EXPECT_EQ(panel->selectedIdentifier(), VXStatusItemPanel::kOrganizerIdentifier);
        EXPECT_TRUE(shell.isListWindowVisible());
        EXPECT_FALSE(shell.isReportWindowVisible());
        // A second start opens the closed panel (the way in while the tray shows no icon).
        panel->vanishAndCloseIfAppropriate();
        ASSERT_FALSE(panel->isPanelVisible());
        program.controller->applicationShouldHandleReopen(false);
        EXPECT_TRUE(panel->isPanelVisible());

        // To windows: the panel and the icon go, the lists and the report are in their windows.
        program.controller->setStatusItem(false);
        program.settle();
        EXPECT_EQ(shell.statusItemController(), nullptr);
        EXPECT_EQ(shell.organizerWindow()->centralWidget(), lists);
        EXPECT_EQ(report->window(), shell.liveReport()->reportWindow());
        EXPECT_FALSE(bar->isInsidePanel());
        EXPECT_EQ(shell.organizerWindow()->isVisible(), rounds[round].organizerAfter);
        EXPECT_EQ(shell.liveReport()->reportWindow()->isVisible(), rounds[round].reportAfter);
        if (!rounds[round].organizerAfter)
            shell.showWindow(VXMainControllerDelegate::Window::Organizer);
        EXPECT_TRUE(lists->isVisible());
        if (!rounds[round].reportAfter)
            program.controller->performMenuAction(VXMenuAction::ToggleReportWindow, 0);
        EXPECT_TRUE(shell.liveReport()->reportWindow()->isVisible());
        EXPECT_TRUE(report->isVisible());
        if (round == 1)
            shell.organizerWindow()->close();

        // And back to the tray.
        program.controller->setStatusItem(true);
        program.settle();
        ASSERT_NE(shell.statusItemController(), nullptr);
        EXPECT_TRUE(shell.statusItemController()->trayIcon()->isVisible());
    }
}

TEST(ShellTray, TheIconFollowsTheStyleSettingAndThePanelsSection)
{
    ShellFixture program;
    program.defaults->setInteger(10, VXDefaultsKey::kStatusItemIcon);
    launchInTray(program);
    VXStatusItemController *tray = program.shell->statusItemController();
    ASSERT_NE(tray, nullptr);
    const auto shows = [&](const VXStatusItemIconState &state) {
        return tray->trayIcon()->icon().pixmap(32).toImage() == VXStatusItemIcon(state).pixmap(32).toImage();
    };
    struct Step {
        const char *what;
        std::function<void()> action;
        int style;
        bool reporting;
        bool highlighted;
        bool dark = false;
    };
    VXStatusItemPanel *panel = tray->panel();
    const QPalette light = QApplication::palette();
    const Step steps[] = {
        {"the organizer", [] {}, 10, false, false},
        {"the report, open", [&] { program.controller->performMenuAction(VXMenuAction::ToggleReportWindow, 0); }, 10,
         true, true},
        {"closed", [&] { panel->vanishAndCloseIfAppropriate(); }, 10, true, false},
        {"another style chosen", [&] { program.defaults->setInteger(12, VXDefaultsKey::kStatusItemIcon); }, 12, true,
         false},
        {"the organizer again", [&] { panel->selectSection(VXStatusItemPanel::kOrganizerIdentifier); }, 12, false,
         false},
        {"a dark theme", [] { QApplication::setPalette(VXTestDarkPalette()); }, 12, false, false, true},
        {"a light one", [&] { QApplication::setPalette(light); }, 12, false, false, false},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.what);
        step.action();
        program.settle();
        EXPECT_EQ(tray->iconState().style, step.style);
        EXPECT_EQ(tray->iconState().reporting, step.reporting);
        EXPECT_EQ(tray->iconState().highlighted, step.highlighted);
        EXPECT_EQ(tray->iconState().darkPanel, step.dark);
        EXPECT_TRUE(shows(tray->iconState()));
    }
    // The automatic style draws differently for each section.
    EXPECT_NE(VXResolvedStatusItemIconStyle(10, false), VXResolvedStatusItemIconStyle(10, true));
}

TEST(ShellTray, TheAutostartEntryComesWithATrayLaunchAndGoesWithADeliberateQuitOnly)
{
    struct Case {
        const char *what;
        bool tray;
        bool enableAutomatically;
        bool disableAutomatically;
        bool deliberateQuit;
        bool afterLaunch;
        bool afterQuit;
    };
    const Case cases[] = {
        {"tray, quit from the menu", true, true, true, true, true, false},
        {"tray, the session ends", true, true, true, false, true, true},
        {"windows", false, true, true, true, false, false},
        {"tray, not enabled automatically", true, false, true, false, false, false},
        {"tray, not disabled automatically", true, true, false, true, true, true},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        ShellFixture program;
        program.defaults->setBool(c.enableAutomatically, VXDefaultsKey::kEnableLoginItemAutomatically);
        program.defaults->setBool(c.disableAutomatically, VXDefaultsKey::kDisableLoginItemAutomatically);
        program.defaults->setBool(c.tray, VXStatusItemKey);
        program.defaults->setBool(true, VXWelcomeKey);
        program.trayAvailable = true;
        program.launch();
        ASSERT_EQ(program.controller->runsAsStatusItem(), c.tray);
        const QString entry = autostartEntryPath(program);
        EXPECT_EQ(QFile::exists(entry), c.afterLaunch);
        if (c.afterLaunch) {
            const QSettings read(entry, QSettings::IniFormat);
            EXPECT_EQ(VXAutostartFolder::executableForCommandLine(read.value("Desktop Entry/Exec").toString()),
                      QFileInfo(QCoreApplication::applicationFilePath()).canonicalFilePath());
        }
        if (c.deliberateQuit) {
            program.controller->quitDeliberately(1);
            EXPECT_EQ(program.terminations, 1);
        }
        program.quit();
        EXPECT_EQ(QFile::exists(entry), c.afterQuit);
    }
}

TEST(ShellTray, AHiddenEntryIsOfferedToBeUnhiddenWhileNoWindowIsShown)
{
    ShellFixture program;
    const QString entry = autostartEntryPath(program);
    ASSERT_TRUE(QDir().mkpath(QFileInfo(entry).path()));
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nName=Wendle\nExec="
               + VXAutostartFolder::commandLineForExecutable(QCoreApplication::applicationFilePath()).toUtf8()
               + "\nHidden=true\n");
    file.close();

    QString title;
    answerNextModal([&](QWidget *alert) {
        title = static_cast<QMessageBox *>(alert)->text();
        EXPECT_TRUE(clickButton(alert, u"Unhide Wendle"_s));
    });
    launchInTray(program);
    // Half a second after the launch.
    program.time.advanceBy(1.0);
    QApplication::processEvents();
    EXPECT_EQ(title, u"Wendle Login Item set to Hidden"_s);
    const QSettings read(entry, QSettings::IniFormat);
    EXPECT_FALSE(read.value("Desktop Entry/Hidden", false).toBool());
    EXPECT_TRUE(QFile::exists(entry));
}

TEST(ShellTray, TheTaskbarIconAndTheDesktopReportFollowTheirSettingsAndTheMode)
{
    ShellFixture program;
    program.defaults->setBool(true, VXWelcomeKey);
    program.defaults->setBool(true, VXTaskbarReportIcon::kShowInDockKey);
    program.trayAvailable = true;
    program.launch();
    VXApplicationShell &shell = *program.shell;
    ASSERT_NE(shell.taskbarReportIcon(), nullptr);
    EXPECT_EQ(shell.taskbarReportIcon()->kind(), VXTaskbarReportIcon::Kind::LiveReport);
    EXPECT_FALSE(shell.taskbarReportIcon()->liveImage().isNull());
    // The windows show it in the taskbar: they have no icon of their own (what a window hands
    // its platform window, which would otherwise carry an empty icon).
    EXPECT_EQ(shell.organizerWindow()->windowIcon().cacheKey(), QApplication::windowIcon().cacheKey());
    EXPECT_EQ(shell.liveReport()->reportWindow()->windowIcon().cacheKey(), QApplication::windowIcon().cacheKey());
    // Nothing of the desktop report while it is off.
    EXPECT_EQ(shell.desktopReport(), nullptr);

    program.defaults->setBool(true, VXDesktopReport::kShowOnDesktopKey);
    program.settle();
    ASSERT_NE(shell.desktopReport(), nullptr);
    EXPECT_TRUE(shell.desktopReport()->isShown());
    program.defaults->setDouble(0.4, VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
    EXPECT_NEAR(shell.desktopReport()->window()->windowOpacity(), 0.4, 0.01);

    // In the tray the taskbar shows no windows of Wendle: the program's icon, drawn once.
    program.controller->setStatusItem(true);
    program.settle();
    EXPECT_EQ(shell.taskbarReportIcon()->kind(), VXTaskbarReportIcon::Kind::ProgramIcon);
    EXPECT_TRUE(shell.desktopReport()->isShown());
    program.defaults->setBool(false, VXDesktopReport::kShowOnDesktopKey);
    program.settle();
    EXPECT_FALSE(shell.desktopReport()->isShown());
}
