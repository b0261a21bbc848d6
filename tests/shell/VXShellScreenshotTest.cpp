// Pictures of the shell's windows and menus for a person to look at: the welcome window, each
// section of the preferences, every menu of the menu bar and the tray's menu, the tray's panel
// in each of its sections, the quit alert,
// the about dialog and the help window, in a light and a dark theme. CTest runs this twice, at
// the display's scale and at twice it (QT_SCALE_FACTOR=2); the files go to build/screenshots.

#include "VXScreenshotSupport.h"
#include "VXShellTestSupport.h"

#include "VXAboutDialog.h"
#include "VXHelpWindow.h"
#include "VXMenuBuilder.h"
#include "VXOrganizerWindow.h"
#include "VXPreferencesWindow.h"
#include "VXStatusItemController.h"
#include "VXStatusItemPanel.h"
#include "VXWelcomeWindow.h"

#include <QDir>
#include <QImage>
#include <QMenuBar>
#include <QPalette>
#include <QStyle>
#include <QStyleFactory>

#include <gtest/gtest.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

double meanLightness(const QImage &image)
{
    double sum = 0.0;
    int count = 0;
    for (int y = 0; y < image.height(); y += 2)
        for (int x = 0; x < image.width(); x += 2, ++count)
            sum += QColor(image.pixel(x, y)).lightnessF();
    return count ? sum / count : 0.0;
}

class Shots
{
public:
    explicit Shots(const QString &theme) : m_theme(theme)
    {
        m_folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
        QDir().mkpath(m_folder);
        m_suffix = qEnvironmentVariable("QT_SCALE_FACTOR") == u"2"_s ? u"@2x"_s : QString();
    }
    // Writes the widget's picture; answers it (null when it could not be written).
    QImage take(QWidget *widget, const QString &name)
    {
        widget->ensurePolished();
        QApplication::processEvents();
        const QPixmap picture = widget->grab();
        const QString path = m_folder + u"/shell-"_s + name + u'-' + m_theme + m_suffix + u".png"_s;
        if (picture.isNull() || !picture.save(path))
            return QImage();
        std::printf("screenshot: %s\n", qPrintable(path));
        written << path;
        return picture.toImage();
    }
    QStringList written;

private:
    QString m_theme;
    QString m_folder;
    QString m_suffix;
};

}   // namespace

TEST(ShellScreenshots, EveryWindowAndMenuInLightAndDark)
{
    application();
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    const QPalette light = QApplication::style()->standardPalette();
    std::map<QString, double> lightness[2];
    const qreal scale = qEnvironmentVariable("QT_SCALE_FACTOR") == u"2"_s ? 2.0 : 1.0;
    int themeIndex = 0;
    for (const QString &theme : {u"light"_s, u"dark"_s}) {
        SCOPED_TRACE(theme.toStdString());
        QApplication::setPalette(theme == u"dark"_s ? VXTestDarkPalette() : light);
        ShellFixture program;
        program.trayAvailable = true;
        Shots shots(theme);
        std::map<QString, QImage> pictures;

        answerNextModal([&](QWidget *modal) {
            modal->adjustSize();
            pictures[u"welcome"_s] = shots.take(modal, u"welcome"_s);
            EXPECT_TRUE(clickButton(modal, u"In Windows"_s));
        });
        program.launch();
        VXOrganizerWindow *organizer = program.shell->organizerWindow();
        ASSERT_NE(organizer, nullptr);
        pictures[u"organizer"_s] = shots.take(organizer, u"organizer"_s);

        program.controller->showPreferencesWindow();
        VXPreferencesWindow *preferences = program.shell->preferencesWindow();
        for (const QString &section : {u"General"_s, u"Blacklist"_s, u"Report"_s, u"Export"_s}) {
            preferences->changePreferencesSection(section);
            QApplication::processEvents();
            pictures[u"preferences-"_s + section.toLower()]
                = shots.take(preferences, u"preferences-"_s + section.toLower());
        }

        for (QAction *title : organizer->menuBar()->actions()) {
            QMenu *menu = title->menu();
            program.shell->menuBuilder()->validateMenu(menu, false);
            menu->adjustSize();
            const QString name = u"menu-"_s + title->text().remove(u'&').toLower();
            pictures[name] = shots.take(menu, name);
        }
        // The tray's menu (switched to in place), with Shift held as it opens.
        program.controller->setStatusItem(true);
        ASSERT_NE(program.shell->statusItemController(), nullptr);
        QMenu *actionMenu = program.shell->statusItemController()->actionMenu();
        program.shell->menuBuilder()->validateMenu(actionMenu, false);
        actionMenu->adjustSize();
        pictures[u"menu-tray"_s] = shots.take(actionMenu, u"menu-tray"_s);
        program.shell->menuBuilder()->validateMenu(actionMenu, true);
        actionMenu->adjustSize();
        pictures[u"menu-tray-shift"_s] = shots.take(actionMenu, u"menu-tray-shift"_s);
        // The tray's panel with the organizer's lists and with the live report, after a few
        // minutes of the editor and a browser in front by turns.
        VXLaunchExample(program.desktop, u"Browser"_s, 11);
        program.desktop.openWindow(11, u"Documentation"_s);
        for (const int front : {10, 11, 10}) {
            program.desktop.activate(front);
            program.time.advanceBy(100.0);
        }
        VXStatusItemPanel *panel = program.shell->statusItemController()->panel();
        panel->resize(560, 400);
        for (const QString &section :
             {VXStatusItemPanel::kOrganizerIdentifier, VXStatusItemPanel::kActivityReportIdentifier}) {
            panel->selectSection(section);
            panel->setPanelVisible(true);
            const QString name = u"panel-"_s + section.toLower().replace(u' ', u'-');
            pictures[name] = shots.take(panel, name);
        }
        panel->vanishAndCloseIfAppropriate();

        answerNextModal([&](QWidget *alert) {
            alert->adjustSize();
            pictures[u"quit-alert"_s] = shots.take(alert, u"quit-alert"_s);
            EXPECT_TRUE(clickButton(alert, u"Cancel"_s));
        });
        program.controller->quitDeliberately(0);

        program.controller->performMenuAction(VXMenuAction::ShowAboutWindow, 0);
        pictures[u"about"_s] = shots.take(program.shell->aboutDialog(), u"about"_s);
        program.controller->performMenuAction(VXMenuAction::ShowHelp, 0);
        VXHelpWindow *help = program.shell->helpWindow();
        ASSERT_NE(help, nullptr);
        for (const QString &page : {u"index"_s, u"modes"_s}) {
            help->showPage(page);
            EXPECT_EQ(help->currentPage(), page);
            pictures[u"help-"_s + page] = shots.take(help, u"help-"_s + page);
        }

        for (const auto &[name, picture] : pictures) {
            SCOPED_TRACE(name.toStdString());
            ASSERT_FALSE(picture.isNull());
            EXPECT_GE(picture.devicePixelRatio(), scale);
            lightness[themeIndex][name] = meanLightness(picture);
        }
        ++themeIndex;
    }
    // The dark theme reaches every window and menu (the report keeps the colours of its own
    // scheme in the panel too).
    for (const auto &[name, value] : lightness[0]) {
        SCOPED_TRACE(name.toStdString());
        if (name == u"panel-activity-report"_s)
            continue;
        ASSERT_TRUE(lightness[1].count(name));
        EXPECT_LT(lightness[1][name] + 0.2, value);
    }
}
