// Wendle in German: the program's windows built as the German build shows them (the system
// locale de_DE, the translation loaded the way the program loads it), on the offscreen platform:
// the reports, and every window of the shell (welcome, organizer, its menus, each section of the
// preferences, About, each help page, the quit alert, the tray's menu and panel).
// Every text a person can read on them (titles, labels, buttons, menu entries, tool tips) is
// checked against the program's own English texts: any that shows untranslated has escaped the
// translation (a text never marked, or looked up under another context than it was marked in).
// A picture of each window is left in screenshots/de for a person to look at.

#include "VXReportControllerTestSupport.h"
#include "VXShellTestSupport.h"

#include "VXAboutDialog.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXHelpPages.h"
#include "VXHelpWindow.h"
#include "VXMainController.h"
#include "VXMenuBuilder.h"
#include "VXOrganizerWindow.h"
#include "VXPreferencesWindow.h"
#include "VXReportController.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXStatusItemController.h"
#include "VXStatusItemPanel.h"
#include "VXTranslations.h"
#include "VXVirtualScheduler.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAction>
#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTabBar>
#include <QTest>
#include <QTextBrowser>
#include <QXmlStreamReader>

#include <gtest/gtest.h>

#include <set>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kMorning = 1'763'712'000.0;   // 2025-11-21 08:00 UTC

const QByteArray kSnapshotCSV
    = "Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time),Total Begin (Unix Time),Total End (Unix Time)\n"
      ",Editor,,1763712000.00,1763719200.00,1763712000.00,1763740800.00\n"
      ",Editor,report.txt,1763712000.00,1763715600.00,1763712000.00,1763726400.00\n"
      ",Terminal,,1763719200.00,1763722800.00,1763712000.00,1763740800.00\n"
      "Writing,Editor,,1763712000.00,1763719200.00,1763712000.00,1763740800.00\n";

// Words of the program's own titles that no German text of it contains: one of them in a window
// means English got through, even in a text the translation does not know.
const QStringList kEnglishWords {u"Activity"_s, u"Report"_s,   u"Foreground"_s, u"Total"_s,   u"Applications"_s,
                                 u"Quit"_s,     u"Tracking"_s, u"Tracked"_s,    u"Nothing"_s, u"Time"_s,
                                 u"From"_s,     u"View"_s,     u"Cancel"_s,     u"Reset"_s,   u"Light"_s,
                                 u"Dark"_s,     u"Scheme"_s,   u"Display"_s,    u"Hours"_s,   u"Days"_s};

// A text as a person reads it: without the ampersands that mark mnemonics, trimmed.
QString readable(QString text)
{
    static const QRegularExpression mnemonic(u"&(?=\\S)"_s);
    return text.remove(mnemonic).trimmed();
}

// Every English text of the German translation, but those that read the same in German ("Wendle",
// "Pools"): a text still waiting for its translation counts, since it would show in English.
std::set<QString> englishTexts()
{
    std::set<QString> texts;
    QFile file(QStringLiteral(WENDLE_GERMAN_TS));
    if (!file.open(QIODevice::ReadOnly))
        return texts;
    QXmlStreamReader reader(&file);
    QString source;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == u"source"_s) {
            source = reader.readElementText();
        } else if (reader.name() == u"translation"_s) {
            if (reader.readElementText() != source)
                texts.insert(readable(source));
        }
    }
    return texts;
}

// The entries of a menu and of its submenus.
void addMenuTexts(const QMenu *menu, QStringList &texts)
{
    texts << menu->title();
    for (QAction *action : menu->actions()) {
        texts << action->text() << action->toolTip();
        if (action->menu() && action->menu() != menu)
            addMenuTexts(action->menu(), texts);
    }
}

// The texts a person reads on a window: its title and those of its widgets, menus and actions,
// lists' headers and entries, and a page's title, without the mnemonics' ampersands.
QStringList visibleTexts(QWidget *window)
{
    QStringList texts {window->windowTitle()};
    if (auto *menu = qobject_cast<QMenu *>(window))
        addMenuTexts(menu, texts);
    for (QMenu *menu : window->findChildren<QMenu *>())
        addMenuTexts(menu, texts);
    for (QAbstractItemView *view : window->findChildren<QAbstractItemView *>()) {
        const QAbstractItemModel *model = view->model();
        for (int column = 0; model && column < model->columnCount(); ++column)
            texts << model->headerData(column, Qt::Horizontal).toString();
    }
    for (QListWidget *list : window->findChildren<QListWidget *>()) {
        for (int i = 0; i < list->count(); ++i)
            texts << list->item(i)->text();
    }
    for (QTextBrowser *browser : window->findChildren<QTextBrowser *>())
        texts << browser->documentTitle();
    for (QLabel *label : window->findChildren<QLabel *>())
        texts << label->text();
    for (QAbstractButton *button : window->findChildren<QAbstractButton *>())
        texts << button->text() << button->toolTip();
    for (QGroupBox *box : window->findChildren<QGroupBox *>())
        texts << box->title();
    for (QComboBox *box : window->findChildren<QComboBox *>()) {
        for (int i = 0; i < box->count(); ++i)
            texts << box->itemText(i);
    }
    for (QTabBar *bar : window->findChildren<QTabBar *>()) {
        for (int i = 0; i < bar->count(); ++i)
            texts << bar->tabText(i) << bar->tabToolTip(i);
    }
    for (QAction *action : window->findChildren<QAction *>())
        texts << action->text() << action->toolTip();
    for (QWidget *widget : window->findChildren<QWidget *>())
        texts << widget->toolTip();
    QStringList shown;
    for (const QString &text : texts) {
        if (!readable(text).isEmpty())
            shown << readable(text);
    }
    return shown;
}

// What escaped the translation on a window, one line each.
QStringList englishOn(QWidget *window, const std::set<QString> &english)
{
    QStringList found;
    for (const QString &text : visibleTexts(window)) {
        if (english.count(text))
            found << u"\"%1\" (an English text of the program)"_s.arg(text);
        for (const QString &word : kEnglishWords) {
            if (text.contains(QRegularExpression(u"\\b%1\\b"_s.arg(word))))
                found << u"\"%1\" (the English word \"%2\")"_s.arg(text, word);
        }
    }
    return found;
}

void saveScreenshot(QWidget *window, const QString &name)
{
    const QString folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
    QDir().mkpath(folder);
    EXPECT_TRUE(window->grab().save(folder + u'/' + name + u".png"_s))
        << "cannot write the screenshot " << name.toStdString();
}

// Says what escaped the translation on a window shown as `name`, and leaves its picture.
void checkWindow(const QString &name, QWidget *window, const std::set<QString> &english)
{
    SCOPED_TRACE(name.toStdString());
    ASSERT_NE(window, nullptr);
    EXPECT_FALSE(visibleTexts(window).isEmpty()) << "no text found on the window";
    const QStringList escaped = englishOn(window, english);
    EXPECT_TRUE(escaped.isEmpty()) << "English on the German window: " << escaped.join(u"; "_s).toStdString();
    saveScreenshot(window, name);
}

// The German translation, loaded once for the process as the program loads it.
bool germanLoaded()
{
    static const bool loaded = VXTranslations::install();
    return loaded;
}

class GermanWindows : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (!qEnvironmentVariable("LANG").startsWith(u"de"_s))
            GTEST_SKIP() << "needs LANG=de_DE.UTF-8 (set by CTest) so that the system locale is German";
        application();
        ASSERT_EQ(QLocale().language(), QLocale::German);
        ASSERT_TRUE(germanLoaded()) << "the German translation is not in the program";
        english = englishTexts();
        ASSERT_GT(english.size(), 100u) << "cannot read the German translation " << WENDLE_GERMAN_TS;
    }

    std::set<QString> english;
};

}   // namespace

TEST_F(GermanWindows, NoEnglishTextOnTheReports)
{

    PrivateSettings settings;
    vxtest::ScopedDataHome dataHome;
    VXVirtualScheduler time {kMorning};
    VXFakeDesktop desktop;
    VXLaunchExample(desktop, u"Editor"_s, 10);
    VXLaunchExample(desktop, u"Terminal"_s, 11);
    desktop.openWindow(10, u"report.txt"_s);
    VXMainController controller(desktop, time, time, *settings.defaults);
    controller.updateLists(&controller);
    for (std::int64_t process : {10, 11, 10}) {
        desktop.activate(process);
        time.advanceBy(40 * 60.0);
    }

    // The live report.
    auto live = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, &controller,
                                                                 settings.defaults.get());
    live->toggleReportWindow(nullptr);
    live->reportWindow()->resize(900, 560);

    // A report reopened from an exported file.
    SnapshotReports snapshots(settings, controller);
    VXReportController *snapshot = snapshots.open(u"2025-11-21.csv"_s, kSnapshotCSV);
    ASSERT_NE(snapshot, nullptr);
    snapshot->reportWindow()->resize(900, 560);

    const std::pair<QString, QWidget *> shownWindows[]
        = {{u"report-live"_s, live->reportWindow()}, {u"report-snapshot"_s, snapshot->reportWindow()}};
    for (const auto &[name, window] : shownWindows) {
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
        checkWindow(name, window, english);
    }
}

TEST_F(GermanWindows, NoEnglishTextOnAnyWindowOfTheShell)
{
    // As the program names itself (the About window shows it).
    QCoreApplication::setApplicationName(u"Wendle"_s);
    QCoreApplication::setApplicationVersion(u"0.1.0"_s);
    vxshelltest::ShellFixture program;
    program.trayAvailable = true;
    // The first start's welcome; Wendle then lives in windows.
    vxshelltest::answerNextModal([&](QWidget *welcome) {
        welcome->adjustSize();
        checkWindow(u"welcome"_s, welcome, english);
        EXPECT_TRUE(vxshelltest::clickButton(welcome, u"In Fenstern"_s));
    });
    program.launch();
    VXOrganizerWindow *organizer = program.shell->organizerWindow();
    ASSERT_NE(organizer, nullptr);
    checkWindow(u"organizer"_s, organizer, english);
    // Each menu of the menu bar as it opens with Shift held (its hidden entries shown too).
    for (QAction *title : organizer->menuBar()->actions()) {
        QMenu *menu = title->menu();
        program.shell->menuBuilder()->validateMenu(menu, true);
        menu->adjustSize();
        checkWindow(u"menu-"_s + title->text().remove(u'&').toLower(), menu, english);
    }

    program.controller->showPreferencesWindow();
    VXPreferencesWindow *preferences = program.shell->preferencesWindow();
    for (const QString &section : {u"General"_s, u"Blacklist"_s, u"Report"_s, u"Export"_s}) {
        preferences->changePreferencesSection(section);
        QApplication::processEvents();
        checkWindow(u"preferences-"_s + section.toLower(), preferences, english);
    }

    program.controller->performMenuAction(VXMenuAction::ShowAboutWindow, 0);
    checkWindow(u"about"_s, program.shell->aboutDialog(), english);
    program.controller->performMenuAction(VXMenuAction::ShowHelp, 0);
    VXHelpWindow *help = program.shell->helpWindow();
    ASSERT_NE(help, nullptr);
    for (const QString &page : VXHelpPages::names()) {
        help->showPage(page);
        checkWindow(u"help-"_s + page, help, english);
    }

    vxshelltest::answerNextModal([&](QWidget *alert) {
        alert->adjustSize();
        checkWindow(u"quit-alert"_s, alert, english);
        EXPECT_TRUE(vxshelltest::clickButton(alert, u"Abbrechen"_s));
    });
    program.controller->quitDeliberately(0);
    EXPECT_EQ(program.terminations, 0) << "the quit alert was not answered";

    // In the tray: its menu, with Shift held, and its panel.
    program.controller->setStatusItem(true);
    ASSERT_NE(program.shell->statusItemController(), nullptr);
    QMenu *actionMenu = program.shell->statusItemController()->actionMenu();
    program.shell->menuBuilder()->validateMenu(actionMenu, true);
    actionMenu->adjustSize();
    checkWindow(u"menu-tray"_s, actionMenu, english);
    // The program's own panel, with the organizer's lists and the live report moved into it.
    VXStatusItemPanel *panel = program.shell->statusItemController()->panel();
    ASSERT_NE(panel, nullptr);
    panel->resize(VXPanelMinimumSize);
    for (const QString &section :
         {VXStatusItemPanel::kOrganizerIdentifier, VXStatusItemPanel::kActivityReportIdentifier}) {
        panel->selectSection(section);
        ASSERT_NE(panel->view(section), nullptr) << qPrintable(section);
        panel->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(panel));
        checkWindow(u"tray-panel-"_s + section.toLower().replace(u' ', u'-'), panel, english);
    }
}
