// The preferences window through its real controls: a click, then what the other controls show
// and what the settings file holds, for every dependency between the controls; the selectors'
// tags, the interval slider and its label, the export folder that cannot be written, the
// blacklist editors, and an accessible name on every control.

#include "VXShellTestSupport.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXExporter.h"
#include "VXPreferenceHandlers.h"
#include "VXPreferencesWindow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSlider>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

using C = VXPreferenceControl;

class PreferencesTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        program.trayAvailable = true;
        program.defaults->setBool(true, VXWelcomeKey);
        program.launch();
        program.controller->showPreferencesWindow();
        window = program.shell->preferencesWindow();
        ASSERT_NE(window, nullptr);
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    }
    QCheckBox *box(C control) const { return qobject_cast<QCheckBox *>(window->control(control)); }
    QComboBox *selector(C control) const { return qobject_cast<QComboBox *>(window->control(control)); }
    void click(C control) const
    {
        box(control)->click();
        QApplication::processEvents();
    }
    // Chooses the entry with this text, as a person does with the keyboard.
    void choose(C control, const QString &text) const
    {
        QComboBox *list = selector(control);
        const int index = list->findText(text);
        ASSERT_GE(index, 0) << text.toStdString();
        list->setCurrentIndex(index);
        Q_EMIT list->activated(index);
        QApplication::processEvents();
    }
    std::unique_ptr<VXUserDefaults> stored() const { return program.reread(); }

    ShellFixture program;
    VXPreferencesWindow *window = nullptr;
};

}   // namespace

TEST_F(PreferencesTest, SwitchesThatDependOnEachOtherNeverLeaveAnImpossibleExport)
{
    struct Row {
        const char *what;
        std::vector<C> clicks;
        std::vector<std::pair<C, bool>> checked;   // what the switches then show
        std::vector<std::pair<C, bool>> enabled;
        std::vector<std::pair<QString, bool>> settings;   // what the file then holds
    };
    const QString pool = u"Export Column: Pool"_s, notes = u"Export Column: Pool Notes"_s,
                  application = u"Export Column: Application"_s, windowColumn = u"Export Column: Window"_s,
                  front = u"Export Column: Front"_s, total = u"Export Column: Total"_s,
                  liveApplications = u"Live Report: Applications"_s, livePools = u"Live Report: Pools"_s;
    const Row rows[] = {
        {"pool notes on",
         {C::ExportColumnPoolInfoSwitch},
         {{C::ExportColumnPoolInfoSwitch, true}},
         {{C::ExportColumnPoolInfoSwitch, true}},
         {{notes, true}}},
        {"the pool column off takes its notes with it",
         {C::ExportColumnPoolSwitch},
         {{C::ExportColumnPoolSwitch, false}, {C::ExportColumnPoolInfoSwitch, false}},
         {{C::ExportColumnPoolInfoSwitch, false}},
         {{pool, false}, {notes, false}, {application, true}}},
        {"the application column off while the pool column is off turns the pool column on",
         {C::ExportColumnApplicationSwitch},
         {{C::ExportColumnApplicationSwitch, false},
          {C::ExportColumnPoolSwitch, true},
          {C::ExportColumnWindowSwitch, false}},
         {{C::ExportColumnWindowSwitch, false}, {C::ExportColumnPoolInfoSwitch, true}},
         {{application, false}, {pool, true}, {windowColumn, false}}},
        {"and the pool column off then turns the application column on",
         {C::ExportColumnPoolSwitch},
         {{C::ExportColumnPoolSwitch, false}, {C::ExportColumnApplicationSwitch, true}},
         {{C::ExportColumnWindowSwitch, true}},
         {{pool, false}, {application, true}}},
        {"front and total are never both off",
         {C::ExportColumnFrontSwitch},
         {{C::ExportColumnFrontSwitch, false}, {C::ExportColumnTotalSwitch, true}},
         {},
         {{front, false}, {total, true}}},
        {"nor total and front",
         {C::ExportColumnTotalSwitch},
         {{C::ExportColumnTotalSwitch, false}, {C::ExportColumnFrontSwitch, true}},
         {},
         {{front, true}, {total, false}}},
        {"the live report keeps applications or pools",
         {C::LiveReportApplicationSwitch, C::LiveReportPoolSwitch},
         {{C::LiveReportApplicationSwitch, true}, {C::LiveReportPoolSwitch, false}},
         {},
         {{liveApplications, true}, {livePools, false}}},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        for (C control : row.clicks)
            click(control);
        for (const auto &[control, on] : row.checked)
            EXPECT_EQ(box(control)->isChecked(), on) << int(control);
        for (const auto &[control, on] : row.enabled)
            EXPECT_EQ(box(control)->isEnabled(), on) << int(control);
        const auto file = stored();
        for (const auto &[key, on] : row.settings)
            EXPECT_EQ(file->boolForKey(key), on) << key.toStdString();
    }
}

TEST_F(PreferencesTest, RowsShowWhatTheirSwitchAndTheModeAllow)
{
    const auto shown = [&](C control) { return window->control(control)->isVisibleTo(window); };
    window->changePreferencesSection(u"Report"_s);
    EXPECT_FALSE(shown(C::LiveReportDesktopFractionSlider));
    click(C::LiveReportDesktopSwitch);
    EXPECT_TRUE(shown(C::LiveReportDesktopFractionSlider));
    EXPECT_TRUE(stored()->boolForKey(u"Show Activity Report On Desktop"_s));
    // The opacity slider applies at once.
    qobject_cast<QSlider *>(window->control(C::LiveReportDesktopFractionSlider))->setValue(40);
    EXPECT_DOUBLE_EQ(stored()->doubleForKey(u"Show Activity Report On Desktop: Alpha"_s), 0.4);

    window->changePreferencesSection(u"Export"_s);
    QApplication::processEvents();
    const int heightWithout = window->height();
    EXPECT_FALSE(shown(C::AutoExportTimeSelector));
    EXPECT_FALSE(shown(C::AutoExportRangeSelector));
    click(C::AutoExportSwitch);
    EXPECT_TRUE(shown(C::AutoExportTimeSelector));
    EXPECT_TRUE(shown(C::AutoExportRangeSelector));
    EXPECT_GT(window->height(), heightWithout) << "the window fits the rows shown";
    choose(C::AutoExportTimeSelector, u"21:00"_s);
    EXPECT_EQ(stored()->integerForKey(u"Auto-Export Hour"_s), 21);

    // Windowed: no icon to choose, and the taskbar report can be switched on.
    window->changePreferencesSection(u"General"_s);
    EXPECT_FALSE(shown(C::StatusItemIconSelector));
    EXPECT_TRUE(box(C::LiveReportDockSwitch)->isEnabled());
    box(C::LiveReportDockSwitch)->click();
    EXPECT_TRUE(stored()->boolForKey(u"Show Activity Report In Dock"_s));
    // In the tray: the icon can be chosen, and the taskbar report is off and cannot be turned on.
    click(C::StatusItemSwitch);
    program.settle();
    window = program.shell->preferencesWindow();
    EXPECT_EQ(window->windowTitle(), u"Wendle Preferences"_s);
    EXPECT_TRUE(shown(C::StatusItemIconSelector));
    EXPECT_FALSE(box(C::LiveReportDockSwitch)->isEnabled());
    EXPECT_FALSE(box(C::LiveReportDockSwitch)->isChecked());
    EXPECT_FALSE(stored()->boolForKey(u"Show Activity Report In Dock"_s));
    choose(C::StatusItemIconSelector, u"Wendle icon"_s);
    EXPECT_EQ(stored()->integerForKey(u"Status Item Icon (1231)"_s), 1);
}

TEST_F(PreferencesTest, SelectorsStoreTheirTagsAndTheSliderItsInterval)
{
    struct Row {
        C control;
        QString entry;
        QString key;
        int stored;
    };
    for (const Row &row :
         {Row {C::HibernationIntervalSelector, u"5 minutes"_s, u"Hibernation Interval"_s, 300},
          Row {C::LiveReportContentSelector, u"All items"_s, u"Live Report Content"_s, 1},
          Row {C::ExportContentSelector, u"Only items shown in the organizer"_s, u"Exported Report Content"_s, 0},
          Row {C::ExportColumnSeparatorSelector, u"Tab"_s, u"Exported Report Column Separator"_s, 2},
          Row {C::ExportRowSeparatorSelector, u"CR LF (Windows)"_s, u"Exported Report Row Separator"_s, 2}}) {
        SCOPED_TRACE(row.key.toStdString());
        choose(row.control, row.entry);
        EXPECT_EQ(stored()->integerForKey(row.key), row.stored);
    }
    EXPECT_EQ(program.controller->hibernation().hibernationInterval(), 300);
    // An interval written from outside that the list does not offer shows as an entry of its own,
    // until a listed one is chosen.
    auto *hibernation = qobject_cast<QComboBox *>(window->control(C::HibernationIntervalSelector));
    const int listed = hibernation->count();
    for (const auto &[seconds, text, place] :
         {std::tuple {30, u"30 seconds"_s, 0}, std::tuple {0, u"Never"_s, 0}, std::tuple {5400, u"90 minutes"_s, 7},
          std::tuple {10800, u"3 hours"_s, listed}}) {
        program.defaults->setInteger(seconds, u"Hibernation Interval"_s);
        window->refresh();
        EXPECT_EQ(hibernation->currentText(), text);
        EXPECT_EQ(hibernation->currentIndex(), place);
        EXPECT_EQ(hibernation->count(), listed + 1);
    }
    choose(C::HibernationIntervalSelector, u"2 minutes"_s);
    EXPECT_EQ(hibernation->count(), listed);
    EXPECT_EQ(stored()->integerForKey(u"Hibernation Interval"_s), 120);

    auto *slider = qobject_cast<QSlider *>(window->control(C::UpdateIntervalSlider));
    auto *label = window->findChild<QLabel *>(u"updateIntervalField"_s);
    for (const auto &[steps, interval, text] :
         {std::tuple {2, 1.0, u"1 second"_s}, std::tuple {5, 2.5, u"2.5 seconds"_s},
          std::tuple {1, 0.5, u"0.5 seconds"_s}}) {
        slider->setValue(steps);
        EXPECT_DOUBLE_EQ(stored()->doubleForKey(u"Update Interval"_s), interval);
        EXPECT_EQ(label->text(), text);
    }
    // A value written from outside that is too short shows as the shortest.
    program.defaults->setDouble(0.3, u"Update Interval"_s);
    EXPECT_EQ(label->text(), u"0.5 seconds"_s);
    EXPECT_EQ(slider->value(), 1);
}

TEST_F(PreferencesTest, AnExportFolderThatCannotBeWrittenIsRefusedAndThePreviousKept)
{
    const QString previous = program.controller->exporter().autoExportFolderPath();
    // A folder this user cannot write: one made read-only, else (for root, who writes there all
    // the same) a process's folder of /proc.
    QTemporaryDir parent;
    const QString readOnly = parent.path() + u"/locked"_s;
    ASSERT_TRUE(QDir().mkpath(readOnly));
    ASSERT_TRUE(QFile::setPermissions(readOnly, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
    QString locked;
    for (const QString &candidate : {readOnly, u"/proc/1"_s})
        if (locked.isEmpty() && QFileInfo(candidate).isDir() && ::access(QFile::encodeName(candidate), W_OK) != 0)
            locked = candidate;
    if (locked.isEmpty())
        GTEST_SKIP() << "no folder here that this user cannot write";
    QString chooserTitle;
    bool alerted = false;
    answerNextModal([&](QWidget *modal) {
        auto *chooser = qobject_cast<QFileDialog *>(modal);
        ASSERT_NE(chooser, nullptr);
        chooserTitle = chooser->windowTitle();
        answerNextModal([&](QWidget *alert) {
            alerted = true;
            EXPECT_TRUE(clickButton(alert, u"OK"_s));
        });
        chooser->setDirectory(locked);
        static_cast<QDialog *>(chooser)->accept();
    });
    choose(C::AutoExportFolderSelector, u"Other..."_s);
    EXPECT_EQ(chooserTitle, u"Choose Folder"_s);
    EXPECT_TRUE(alerted);
    EXPECT_EQ(program.controller->exporter().autoExportFolderPath(), previous);
    EXPECT_EQ(selector(C::AutoExportFolderSelector)->currentData(Qt::ToolTipRole).toString(), previous);
}

TEST_F(PreferencesTest, BlacklistsApplyWhenLeftSortedAndWithoutBlankLines)
{
    window->changePreferencesSection(u"Blacklist"_s);
    QPlainTextEdit *editor = window->blacklistEditor(VXApplicationBlacklistKey);
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->toPlainText(), u"Wendle"_s);
    editor->setFocus();
    editor->selectAll();
    QTest::keyClicks(editor, u"Terminal"_s);
    QTest::keyClick(editor, Qt::Key_Return);
    QTest::keyClicks(editor, u"   "_s);
    QTest::keyClick(editor, Qt::Key_Return);
    QTest::keyClicks(editor, u"Editor"_s);
    // Typing changes nothing yet; leaving the editor applies it.
    const VXArray &blacklist = program.controller->blacklistWithName(VXApplicationBlacklistKey);
    EXPECT_EQ(blacklist.size(), 1);
    window->blacklistEditor(VXWindowBlacklistKey)->setFocus();
    QApplication::processEvents();
    ASSERT_EQ(blacklist.size(), 2);
    EXPECT_EQ(blacklist.at(0).toString(), u"Editor"_s);
    EXPECT_EQ(blacklist.at(1).toString(), u"Terminal"_s);
    EXPECT_EQ(editor->toPlainText(), u"Editor\nTerminal"_s);
}

TEST_F(PreferencesTest, EveryControlHasANameForScreenReadersAndEscapeCloses)
{
    for (QWidget *control : window->findChildren<QWidget *>()) {
        const bool input = qobject_cast<QAbstractButton *>(control) || qobject_cast<QComboBox *>(control)
            || qobject_cast<QSlider *>(control) || qobject_cast<QPlainTextEdit *>(control);
        if (!input)
            continue;
        const auto *button = qobject_cast<QAbstractButton *>(control);
        const QString name = control->accessibleName().isEmpty() && button ? button->text() : control->accessibleName();
        EXPECT_FALSE(name.isEmpty()) << control->objectName().toStdString();
    }
    QTest::keyClick(window, Qt::Key_Escape);
    EXPECT_FALSE(window->isVisible());
}
