// The menus through the real menu bar and tray menu: every row of the validation table (enabled,
// checked, title) as the entry shows when its menu opens, the entries held with Shift, the
// action menu's order, and the three ways to quit.

#include "VXShellTestSupport.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXHibernation.h"
#include "VXLog.h"
#include "VXMenuBuilder.h"
#include "VXOrganizerWindow.h"
#include "VXStatusItemController.h"
#include "VXStringExtensions.h"

#include <QDateTime>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QTest>

#include <gtest/gtest.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

// The entry of the organizer's menu bar, as it shows once its menu opened (Shift up or down).
QAction *openedEntry(ShellFixture &program, VXMenuEntry entry, bool shift = false)
{
    QMenuBar *bar = program.shell->organizerWindow()->menuBar();
    for (QAction *title : bar->actions()) {
        QMenu *menu = title->menu();
        if (!menu)
            continue;
        program.shell->menuBuilder()->validateMenu(menu, shift);
        for (QAction *action : menu->actions()) {
            const VXMenuEntryDefinition *definition = VXMenuBuilder::definitionOfAction(action);
            if (definition && definition->entry == entry)
                return action;
        }
    }
    return nullptr;
}

QStringList visibleTitles(QMenu *menu)
{
    QStringList titles;
    for (QAction *action : menu->actions())
        if (action->isVisible())
            titles << (action->isSeparator() ? u"-"_s : action->text());
    return titles;
}

void launchWindowed(ShellFixture &program)
{
    program.defaults->setBool(true, VXWelcomeKey);
    program.launch();
    program.shell->organizerWindow()->activateWindow();
    QApplication::processEvents();
}

void addPool(ShellFixture &program)
{
    VXDictionaryRef pool = VXMakeDictionary();
    pool->insert(VXNameKey, u"Writing"_s);
    pool->insert(VXPathKey, VXPoolPathMarker);
    VXArrayRef pools = VXMakeArray();
    pools->append(VXValue(pool));
    program.controller->configuration()->insert(VXPoolsKey, VXValue(pools));
}

}   // namespace

TEST(ShellMenus, EveryEntryShowsWhatTheControllerAnswers)
{
    ShellFixture program;
    launchWindowed(program);
    ASSERT_TRUE(program.shell->organizerWindow()->isActiveWindow()) << "the offscreen platform activates windows";
    struct Row {
        const char *what;
        VXMenuEntry entry;
        std::function<void()> setUp;
        bool enabled;
        bool checked;
        QString title;
    };
    VXUserDefaults &settings = *program.defaults;
    const Row rows[] = {
        {"no pools: nothing to clear", VXMenuEntry::ClearPools, [] {}, false, false, {}},
        {"no pools: nothing to reset", VXMenuEntry::ResetPoolTimers, [] {}, false, false, {}},
        {"a pool", VXMenuEntry::ClearPools, [&] { addPool(program); }, true, false, {}},
        {"a pool to reset", VXMenuEntry::ResetPoolTimers, [] {}, true, false, {}},
        {"export with the default columns", VXMenuEntry::ExportSnapshot, [] {}, true, false, {}},
        {"export without pool and application",
         VXMenuEntry::ExportSnapshot,
         [&] {
             settings.setBool(false, VXDefaultsKey::kExportColumnPool);
             settings.setBool(false, VXDefaultsKey::kExportColumnApplication);
         },
         false,
         false,
         {}},
        {"export without front and total",
         VXMenuEntry::ExportSnapshot,
         [&] {
             settings.setBool(true, VXDefaultsKey::kExportColumnPool);
             settings.setBool(false, VXDefaultsKey::kExportColumnFront);
             settings.setBool(false, VXExportKey::kExportColumnTotal);
         },
         false,
         false,
         {}},
        {"export with total only",
         VXMenuEntry::ExportSnapshot,
         [&] { settings.setBool(true, VXExportKey::kExportColumnTotal); },
         true,
         false,
         {}},
        {"organizer in front: stay in front offered", VXMenuEntry::StayInFront, [] {}, true, false, {}},
        {"organizer floats",
         VXMenuEntry::StayInFront,
         [&] {
             program.controller->toggleStayInFront();
             // It stays where it is, in front.
             EXPECT_TRUE(program.shell->organizerWindow()->isActiveWindow());
             EXPECT_TRUE(program.shell->organizerWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
         },
         true,
         true,
         {}},
        {"organizer in front: checked", VXMenuEntry::Organizer, [] {}, true, true, {}},
        {"report not in front", VXMenuEntry::ActivityReport, [] {}, true, false, {}},
        {"debug logging off", VXMenuEntry::EnableDebugLogging, [] {}, true, false, {}},
        {"debug logging on",
         VXMenuEntry::EnableDebugLogging,
         [&] { program.controller->toggleDebugLogging(); },
         true,
         true,
         {}},
        {"tracking", VXMenuEntry::SuspendTimers, [] {}, true, false, u"Suspend Timers..."_s},
        {"deep hibernation", VXMenuEntry::SuspendTimers, [&] { settings.setBool(true, VXDeepHibernationKey); }, true,
         false, u"Wake Up"_s},
        {"nothing to undo", VXMenuEntry::Undo, [] {}, false, false, {}},
        {"a reset to undo",
         VXMenuEntry::Undo,
         [&] { program.controller->resets().resetPoolTimers(); },
         true,
         false,
         {}},
        {"nothing to redo", VXMenuEntry::Redo, [] {}, false, false, {}},
        {"no selection to pool", VXMenuEntry::NewPoolFromSelection, [] {}, false, false, {}},
        {"no selection to delete", VXMenuEntry::Delete, [] {}, false, false, {}},
        {"always", VXMenuEntry::Preferences, [] {}, true, false, {}},
    };
    // "Reset Pool Timers" asks first.
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        if (row.entry == VXMenuEntry::Undo && row.enabled) {
            answerNextModal([](QWidget *alert) { EXPECT_TRUE(clickButton(alert, u"Reset"_s)); });
        }
        row.setUp();
        QApplication::processEvents();
        // An alternate shows (and so can be chosen) only with Shift held.
        QAction *action = openedEntry(program, row.entry, VXMenuEntryDefinitionFor(row.entry).alternate);
        ASSERT_NE(action, nullptr);
        EXPECT_EQ(action->isEnabled(), row.enabled);
        EXPECT_EQ(action->isChecked(), row.checked);
        if (!row.title.isEmpty()) {
            EXPECT_EQ(action->text(), row.title);
        }
    }

    // The View menu's own rows, through the controller's table.
    struct ViewRow {
        VXMenuAction action;
        int tag;
        bool enabled;
        bool checked;
    };
    settings.setInteger(3, VXColorSchemeKey);
    settings.setBool(false, kExpressTimeIntervalsAsDaysKey);
    for (const ViewRow &row : {ViewRow {VXMenuAction::SetTimeFormatFromMenuItem, 0, false, false},
                               ViewRow {VXMenuAction::ToggleShownActivityFromMenuItem, 1, false, true},
                               ViewRow {VXMenuAction::ToggleConversionToDaysFromMenuItem, 0, true, false},
                               ViewRow {VXMenuAction::SelectColorScheme, 3, true, true},
                               ViewRow {VXMenuAction::SelectColorScheme, 2, true, false}}) {
        SCOPED_TRACE(int(row.action));
        const VXMenuItemState state = program.controller->validateMenuItem(row.action, row.tag);
        EXPECT_EQ(state.enabled, row.enabled);
        EXPECT_EQ(state.checked, row.checked);
    }
    // Stay in Front applies to no window when none of Wendle's is in front.
    program.shell->organizerWindow()->hide();
    QApplication::processEvents();
    const VXMenuItemState stay = program.controller->validateMenuItem(VXMenuAction::ToggleStayInFront, 0);
    EXPECT_FALSE(stay.enabled);
    EXPECT_FALSE(stay.checked);
}

TEST(ShellMenus, AShortcutWorksAfterItsMenuShowedTheEntryGreyed)
{
    ShellFixture program;
    launchWindowed(program);
    VXOrganizerWindow *organizer = program.shell->organizerWindow();
    QAction *undo = openedEntry(program, VXMenuEntry::Undo);
    ASSERT_NE(undo, nullptr);
    QMenu *edit = nullptr;
    for (QObject *owner : undo->associatedObjects())
        if (auto *menu = qobject_cast<QMenu *>(owner))
            edit = menu;
    ASSERT_NE(edit, nullptr);
    // The Edit menu opens with nothing to undo, and closes.
    edit->popup(organizer->mapToGlobal(QPoint(10, 10)));
    QApplication::processEvents();
    EXPECT_FALSE(undo->isEnabled());
    edit->hide();
    QApplication::processEvents();
    // Then something to undo (a pool's timers reset), and its shortcut without opening the menu.
    addPool(program);
    answerNextModal([](QWidget *alert) { EXPECT_TRUE(clickButton(alert, u"Reset"_s)); });
    program.controller->resets().resetPoolTimers();
    ASSERT_TRUE(program.controller->canUndo());
    EXPECT_TRUE(undo->isEnabled()) << "the closed menu left its entry greyed";
    organizer->activateWindow();
    QApplication::processEvents();
    EXPECT_TRUE(organizer->isActiveWindow());
    QTest::keyClick(organizer, Qt::Key_Z, Qt::ControlModifier);
    QApplication::processEvents();
    EXPECT_FALSE(program.controller->canUndo()) << "Ctrl+Z did not undo";
    EXPECT_TRUE(program.controller->canRedo());
    // With nothing left to undo, the shortcut does nothing.
    QTest::keyClick(organizer, Qt::Key_Z, Qt::ControlModifier);
    QApplication::processEvents();
    EXPECT_TRUE(program.controller->canRedo());
}

TEST(ShellMenus, ShiftShowsTheSilentQuitAndDebugLoggingInPlaceOfTheirEntries)
{
    ShellFixture program;
    launchWindowed(program);
    for (bool shift : {false, true}) {
        SCOPED_TRACE(shift);
        EXPECT_EQ(openedEntry(program, VXMenuEntry::Quit, shift)->isVisible(), !shift);
        EXPECT_EQ(openedEntry(program, VXMenuEntry::QuitWithoutAsking, shift)->isVisible(), shift);
        EXPECT_EQ(openedEntry(program, VXMenuEntry::Preferences, shift)->isVisible(), !shift);
        EXPECT_EQ(openedEntry(program, VXMenuEntry::EnableDebugLogging, shift)->isVisible(), shift);
    }
    EXPECT_EQ(openedEntry(program, VXMenuEntry::Quit)->shortcut(), QKeySequence(u"Ctrl+Q"_s));
    EXPECT_EQ(openedEntry(program, VXMenuEntry::Redo)->shortcut(), QKeySequence(u"Ctrl+Shift+Z"_s));
    EXPECT_EQ(openedEntry(program, VXMenuEntry::Preferences)->shortcut(), QKeySequence(u"Ctrl+,"_s));
}

TEST(ShellMenus, TheTrayMenuIsTheActionMenuAndItsIconGreysWhileHibernating)
{
    ShellFixture program;
    program.trayAvailable = true;
    program.defaults->setBool(true, VXWelcomeKey);
    program.defaults->setBool(true, VXStatusItemKey);
    program.launch();
    VXStatusItemController *tray = program.shell->statusItemController();
    ASSERT_NE(tray, nullptr);
    QMenu *menu = tray->actionMenu();
    program.shell->menuBuilder()->validateMenu(menu, false);
    EXPECT_EQ(visibleTitles(menu),
              QStringList({u"Suspend Timers..."_s, u"-"_s, u"About Wendle"_s, u"Help"_s, u"-"_s, u"Preferences..."_s,
                           u"-"_s, u"File"_s, u"View"_s, u"-"_s, u"Undo"_s, u"Redo"_s, u"-"_s, u"Quit"_s}));
    // The icon of the style in the settings, in its hibernating colours while tracking sleeps.
    const auto shown = [&] { return tray->trayIcon()->icon().pixmap(32).toImage(); };
    const auto drawn = [](const VXStatusItemIconState &state) { return VXStatusItemIcon(state).pixmap(32).toImage(); };
    const QImage awake = shown();
    EXPECT_EQ(awake, drawn({.style = 11}));
    program.controller->hibernation().hibernate(nullptr);
    ASSERT_TRUE(program.controller->hibernation().isHibernating());
    EXPECT_EQ(shown(), drawn({.style = 11, .hibernating = true}));
    EXPECT_NE(shown(), awake);
}

// Hibernation stops the ticks, so the status at the organizer's foot and in the tray's tooltip
// must follow it on its own.
TEST(ShellMenus, TheStatusFollowsHibernationInEitherMode)
{
    for (const bool tray : {false, true}) {
        SCOPED_TRACE(tray ? "tray" : "windows");
        ShellFixture program;
        program.trayAvailable = true;
        program.defaults->setBool(true, VXWelcomeKey);
        program.defaults->setBool(tray, VXStatusItemKey);
        program.launch();
        VXHibernation &hibernation = program.controller->hibernation();
        program.shell->setStatusText([&] { return hibernation.isHibernating() ? u"asleep"_s : u"awake"_s; });
        const auto shown = [&] {
            return tray ? program.shell->statusItemController()->trayIcon()->toolTip()
                        : program.shell->organizerWindow()->statusBar()->currentMessage();
        };
        hibernation.hibernate(nullptr);
        EXPECT_EQ(shown(), u"asleep"_s);
        hibernation.deferHibernation();
        EXPECT_EQ(shown(), u"awake"_s);
    }
}

TEST(ShellMenus, QuitAsksUnlessToldNotToOrHeldWithShift)
{
    ShellFixture program;
    launchWindowed(program);
    const auto quitFromMenu = [&](VXMenuEntry entry) {
        QAction *action = openedEntry(program, entry, entry == VXMenuEntry::QuitWithoutAsking);
        action->trigger();
        QApplication::processEvents();
    };
    struct Step {
        const char *what;
        VXMenuEntry entry;
        const char16_t *answer;   // the alert's button, or null when no alert may come
        int terminations;
        bool dontAsk;
    };
    const Step steps[] = {
        {"Cancel stays", VXMenuEntry::Quit, u"Cancel", 0, false},
        {"Quit quits", VXMenuEntry::Quit, u"Quit", 1, false},
        {"the silent Quit never asks", VXMenuEntry::QuitWithoutAsking, nullptr, 2, false},
        {"Quit and don't ask again", VXMenuEntry::Quit, u"Quit and don't ask again", 3, true},
        {"then Quit never asks", VXMenuEntry::Quit, nullptr, 4, true},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.what);
        bool asked = false;
        if (step.answer) {
            answerNextModal([&](QWidget *alert) {
                asked = true;
                auto *box = qobject_cast<QMessageBox *>(alert);
                ASSERT_NE(box, nullptr);
                EXPECT_EQ(box->text(), u"Quit Wendle?"_s);
                EXPECT_EQ(box->informativeText(),
                          u"Are you sure you want Wendle to stop tracking your activities and quit now?"_s);
                EXPECT_TRUE(clickButton(alert, QString::fromUtf16(step.answer)));
            });
        }
        quitFromMenu(step.entry);
        EXPECT_EQ(asked, step.answer != nullptr);
        EXPECT_EQ(program.terminations, step.terminations);
        EXPECT_EQ(program.reread()->boolForKey(VXQuitWithoutConfirmationKey), step.dontAsk);
    }
}

// Export Snapshot offers the day's name in the home folder, then the folder of the last export.
TEST(ShellMenus, ExportSnapshotSuggestsTheDaysNameAndKeepsTheLastFolder)
{
    ShellFixture program;
    launchWindowed(program);
    QTemporaryDir home;
    QTemporaryDir elsewhere;
    struct HomeFolder {
        QByteArray previous = qgetenv("HOME");
        ~HomeFolder() { qputenv("HOME", previous); }
    } restored;
    qputenv("HOME", QFile::encodeName(home.path()));
    const QString today = QDateTime::fromSecsSinceEpoch(qint64(kMorning)).date().toString(u"yyyy-MM-dd"_s) + u".csv"_s;
    struct Round {
        const char *what;
        QString offeredFolder;
        QString chosen;   // empty: cancelled
    };
    const Round rounds[] = {
        {"first: the home folder", home.path(), elsewhere.filePath(u"week"_s)},
        {"then where the last one went", elsewhere.path(), {}},
        {"a cancel changes nothing", elsewhere.path(), {}},
    };
    for (const Round &round : rounds) {
        SCOPED_TRACE(round.what);
        QString offered;
        answerNextModal([&](QWidget *modal) {
            auto *panel = qobject_cast<QFileDialog *>(modal);
            ASSERT_NE(panel, nullptr);
            offered = panel->selectedFiles().value(0);
            if (round.chosen.isEmpty()) {
                panel->reject();
                return;
            }
            // Typed as a whole path: selectFile() would change folders, which the dialog finishes
            // later by putting the name it had back.
            auto *name = panel->findChild<QLineEdit *>(u"fileNameEdit"_s);
            ASSERT_NE(name, nullptr);
            name->setText(round.chosen);
            static_cast<QDialog *>(panel)->accept();
        });
        QAction *action = openedEntry(program, VXMenuEntry::ExportSnapshot);
        ASSERT_NE(action, nullptr);
        action->trigger();
        QApplication::processEvents();
        EXPECT_EQ(offered, QDir(round.offeredFolder).filePath(today));
    }
    // The name given without its extension gets it.
    EXPECT_TRUE(QFileInfo::exists(elsewhere.filePath(u"week.csv"_s)));
}
