// The two lists as a person sees them: rows, header totals, sorting, selection across the
// lists, the keyboard, renaming, expansion kept across a restart, models that follow the
// ticks without resetting, and the cells a tick draws again.

#include "VXOrganizerTestSupport.h"

#include "VXItemSorting.h"
#include "VXPieCell.h"
#include "VXStringExtensions.h"
#include "VXTrackingTestSupport.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QPaintEvent>
#include <QScrollBar>
#include <QSignalSpy>
#include <QStyledItemDelegate>
#include <QTest>

using namespace vxtest;

namespace {

class OrganizerListsTest : public ::testing::Test
{
protected:
    void TearDown() override { VXSetCurrentSortColumn(1); }
    Organizer organizer;
};

// The list's open name editor (closed ones linger until deleted).
QLineEdit *openEditor(VXItemList *list)
{
    for (QLineEdit *editor : list->findChildren<QLineEdit *>()) {
        if (editor->isVisible())
            return editor;
    }
    return nullptr;
}

QString duration(double seconds)
{
    return stringWithTimeInterval(seconds, true);
}

}   // namespace

TEST_F(OrganizerListsTest, RowsShowTheDayWithHeaderRowsTimesAndStates)
{
    organizer.startDay(12.0);
    VXItemList *apps = organizer.appList();
    VXItemList *pools = organizer.poolList();
    EXPECT_EQ(Organizer::names(apps), (QStringList {u"Applications"_s, u"Editor"_s, u"Terminal"_s, u"Viewer"_s}));
    EXPECT_EQ(Organizer::names(pools), QStringList {u"Pools"_s});
    const QModelIndex editor = Organizer::row(apps, u"Editor"_s);
    apps->expand(editor);
    EXPECT_EQ(Organizer::names(apps, editor), (QStringList {u"Report.odt"_s, u"Notes.txt"_s}));

    // The header row: not selectable, bold, the overall time in the total column only.
    const QModelIndex header = apps->model()->index(0, 0);
    EXPECT_FALSE(apps->model()->flags(header) & Qt::ItemIsSelectable);
    EXPECT_TRUE(header.data(Qt::FontRole).value<QFont>().bold());
    EXPECT_EQ(header.siblingAtColumn(VXFrontColumn).data().toString(), QString());
    EXPECT_EQ(header.siblingAtColumn(VXTotalColumn).data().toString(), duration(12.0));

    // Front and total, the pie of each, bold while in front, dimmed while neither.
    EXPECT_EQ(editor.siblingAtColumn(VXFrontColumn).data().toString(), duration(12.0));
    EXPECT_EQ(editor.siblingAtColumn(VXTotalColumn).data().toString(), duration(12.0));
    EXPECT_DOUBLE_EQ(editor.siblingAtColumn(VXTotalColumn).data(VXItemListModel::PieFractionRole).toDouble(), 1.0);
    EXPECT_TRUE(editor.data(Qt::FontRole).value<QFont>().bold());
    const QModelIndex terminal = Organizer::row(apps, u"Terminal"_s);
    EXPECT_EQ(terminal.siblingAtColumn(VXFrontColumn).data().toString(), QString());   // zero parts dropped
    EXPECT_DOUBLE_EQ(terminal.siblingAtColumn(VXFrontColumn).data(VXItemListModel::PieFractionRole).toDouble(), 0.0);
    EXPECT_FALSE(terminal.data(Qt::FontRole).value<QFont>().bold());
    EXPECT_FALSE(terminal.data(VXItemListModel::DimmedRole).toBool());

    organizer.desktop.fake.quit(20);
    organizer.settings.defaults->setBool(true, VXShowInactiveApplicationItemsKey);
    organizer.controller->setShowInactiveApplicationItems(true);
    organizer.time.advanceBy(1.0);
    EXPECT_TRUE(Organizer::row(apps, u"Terminal"_s).data(VXItemListModel::DimmedRole).toBool());
}

TEST_F(OrganizerListsTest, ThePoolHeaderShowsATotalOnlyWhenItDiffersByMoreThanAlmostASecond)
{
    organizer.startDay(20.0);
    const QModelIndex poolHeader = organizer.poolList()->model()->index(0, VXTotalColumn);
    const QModelIndex applicationHeader = organizer.appList()->model()->index(0, VXTotalColumn);
    // Both totals run with every tick: the same, so the pool header says nothing.
    EXPECT_EQ(organizer.controller->overallPoolTime(), organizer.controller->overallApplicationTime());
    EXPECT_EQ(poolHeader.data().toString(), QString());

    // The pool timers start again: the pool header shows its own total.
    organizer.controller->resets().resetApplicationTimers(false, true, false, false);
    organizer.controller->updateLists(&organizer);
    organizer.time.advanceBy(3.0);
    ASSERT_GT(organizer.controller->overallApplicationTime() - organizer.controller->overallPoolTime(), 0.99);
    EXPECT_EQ(poolHeader.data().toString(), duration(organizer.controller->overallPoolTime()));
    EXPECT_EQ(applicationHeader.data().toString(), duration(organizer.controller->overallApplicationTime()));
}

TEST_F(OrganizerListsTest, ClickingAHeaderSortsBothListsByThatColumn)
{
    // The Terminal runs longest, the Editor is in front longest, the Viewer comes last by name.
    organizer.desktop.fake.launch(u"Terminal"_s, organizer.desktopEntry(kTerminalID), kTerminalID, 20);
    organizer.desktop.fake.activate(20);
    organizer.controller->setSortColumn(1);
    organizer.time.advanceBy(4.0);
    organizer.desktop.fake.launch(u"Viewer"_s, organizer.desktopEntry(kViewerID), kViewerID, 30);
    organizer.desktop.fake.launch(u"Editor"_s, organizer.desktopEntry(kEditorID), kEditorID, 10);
    organizer.time.advanceBy(2.0);
    organizer.desktop.fake.activate(10);
    organizer.time.advanceBy(10.0);

    const struct {
        int column;
        QStringList order;
        Qt::SortOrder indicator;
    } cases[] = {
        {0, {u"Applications"_s, u"Editor"_s, u"Terminal"_s, u"Viewer"_s}, Qt::AscendingOrder},
        {1, {u"Applications"_s, u"Editor"_s, u"Terminal"_s, u"Viewer"_s}, Qt::DescendingOrder},
        {2, {u"Applications"_s, u"Terminal"_s, u"Editor"_s, u"Viewer"_s}, Qt::DescendingOrder},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.column);
        QHeaderView *header = organizer.poolList()->header();
        const QPoint point(header->sectionViewportPosition(row.column) + 5, header->height() / 2);
        QTest::mouseClick(header->viewport(), Qt::LeftButton, Qt::NoModifier, point);
        EXPECT_EQ(organizer.settings.defaults->integerForKey(u"Sort"_s), row.column);
        EXPECT_EQ(Organizer::names(organizer.appList()), row.order);
        for (VXItemList *list : {organizer.appList(), organizer.poolList()}) {
            EXPECT_EQ(list->header()->sortIndicatorSection(), row.column);
            EXPECT_EQ(list->header()->sortIndicatorOrder(), row.indicator);
        }
    }
    // By name the Editor and Viewer stay where they are as times change; sort by front time
    // moves the Terminal up when it gains the front.
    QTest::mouseClick(organizer.appList()->header()->viewport(), Qt::LeftButton, Qt::NoModifier,
                      QPoint(organizer.appList()->header()->sectionViewportPosition(1) + 5, 5));
    organizer.desktop.fake.activate(20);
    organizer.time.advanceBy(20.0);
    EXPECT_EQ(Organizer::names(organizer.appList()).at(1), u"Terminal"_s);
}

TEST_F(OrganizerListsTest, OneSelectionAcrossBothListsAndTheKeyboard)
{
    organizer.startDay();
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID)}));
    organizer.controller->updateLists(&organizer);
    VXItemList *apps = organizer.appList();
    VXItemList *pools = organizer.poolList();

    // A click on the header row selects nothing.
    QTest::mouseClick(apps->viewport(), Qt::LeftButton, Qt::NoModifier,
                      Organizer::pointOn(apps, apps->model()->index(0, 0)));
    EXPECT_FALSE(apps->selectionModel()->hasSelection());

    QTest::mouseClick(apps->viewport(), Qt::LeftButton, Qt::NoModifier,
                      Organizer::pointOn(apps, Organizer::row(apps, u"Terminal"_s)));
    EXPECT_EQ(itemName(*organizer.lists->selectedItem()), u"Terminal"_s);
    QTest::mouseClick(pools->viewport(), Qt::LeftButton, Qt::NoModifier,
                      Organizer::pointOn(pools, Organizer::row(pools, u"Writing"_s)));
    EXPECT_FALSE(apps->selectionModel()->hasSelection());
    EXPECT_EQ(itemName(*organizer.lists->selectedItem()), u"Writing"_s);

    // Arrows expand and move; Escape deselects; the selection survives ticks.
    pools->setFocus();
    QTest::keyClick(pools, Qt::Key_Right);
    EXPECT_TRUE(pools->isExpanded(Organizer::row(pools, u"Writing"_s)));
    QTest::keyClick(pools, Qt::Key_Down);
    EXPECT_EQ(itemName(*organizer.lists->selectedItem()), u"Editor"_s);
    organizer.time.advanceBy(5.0);
    EXPECT_EQ(itemName(*organizer.lists->selectedItem()), u"Editor"_s);
    QTest::keyClick(pools, Qt::Key_Escape);
    EXPECT_EQ(organizer.lists->selectedItem(), VXDictionaryRef());

    // Undo and redo go to the controller.
    EXPECT_FALSE(organizer.controller->newPoolFromSelection());   // nothing selected
    apps->setFocus();
    QTest::mouseClick(apps->viewport(), Qt::LeftButton, Qt::NoModifier,
                      Organizer::pointOn(apps, Organizer::row(apps, u"Viewer"_s)));
    ASSERT_TRUE(organizer.controller->newPoolFromSelection());
    EXPECT_EQ(Organizer::names(pools).size(), 3);
    QTest::keyClick(apps, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(Organizer::names(pools), (QStringList {u"Pools"_s, u"Writing"_s}));
    QTest::keyClick(apps, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(Organizer::names(pools).size(), 3);
}

TEST_F(OrganizerListsTest, RenamingFollowsWhichEntriesAreEditableAndIgnoresBlankNamesExceptForPools)
{
    organizer.startDay();
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    VXDictionaryRef anyMember = member(u"Any"_s, u"org.example.Any"_s);
    setBool(*anyMember, true, VXMatchAnyApplicationKey);
    organizer.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s)})}));
    organizer.pools()->append(pool(u"All"_s, {anyMember}));
    organizer.controller->updateLists(&organizer);
    VXItemList *pools = organizer.poolList();
    pools->restoreExpansionStates(true);

    // Types a name into the row's editor and presses Return; answers whether an editor opened.
    const auto rename = [&](const QString &shown, const QString &typed) {
        const QModelIndex index = Organizer::row(pools, shown);
        pools->setCurrentIndex(index);
        pools->setFocus();
        QTest::keyClick(pools, Qt::Key_F2);
        QLineEdit *editor = openEditor(pools);
        if (!editor)
            return false;
        EXPECT_EQ(organizer.controller->pauseLevel(), 1);   // tracking pauses while the editor opens
        editor->selectAll();
        QTest::keyClicks(editor, typed);
        QTest::keyClick(editor, Qt::Key_Return);
        QCoreApplication::processEvents();   // the editor commits on the next turn of the loop
        return true;
    };

    const struct {
        const char *what;
        QString shown;
        QString typed;
        bool editable;
        QString shownAfter;
    } cases[] = {
        {"a pool takes a name", u"Writing"_s, u"Prose"_s, true, u"Prose"_s},
        {"a window entry takes a name", u"Report*"_s, u"Draft*"_s, true, u"Draft*"_s},
        {"a blank window name is ignored", u"Draft*"_s, u"   "_s, true, u"Draft*"_s},
        {"an application member is not editable", u"Editor"_s, u"Ed"_s, false, u"Editor"_s},
        {"a blank pool name shows the members", u"Prose"_s, u" "_s, true, u"Editor (1)"_s},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(Organizer::row(pools, row.shown).isValid());
        EXPECT_EQ(rename(row.shown, row.typed), row.editable);
        organizer.time.advanceBy(1.0);   // the transitory pause ends
        EXPECT_EQ(organizer.controller->pauseLevel(), 0);
        EXPECT_TRUE(Organizer::row(pools, row.shownAfter).isValid())
            << Organizer::names(pools).join(u", "_s).toStdString();
    }

    // Application members become editable by setting, never one that matches any application;
    // nothing in the application list is.
    organizer.settings.defaults->setBool(true, VXPoolsEditableApplicationNamesKey);
    const QModelIndex editorMember = Organizer::row(pools, u"Editor"_s);
    ASSERT_TRUE(editorMember.isValid());
    EXPECT_TRUE(pools->model()->flags(editorMember) & Qt::ItemIsEditable);
    EXPECT_FALSE(pools->model()->flags(Organizer::row(pools, u"Any Application"_s)) & Qt::ItemIsEditable);
    EXPECT_FALSE(organizer.appList()->model()->flags(Organizer::row(organizer.appList(), u"Editor"_s))
                 & Qt::ItemIsEditable);
    EXPECT_TRUE(rename(u"Editor"_s, u"Writer"_s));
    EXPECT_TRUE(Organizer::row(pools, u"Writer"_s).isValid());

    // Each rename is one undo step.
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(Organizer::row(pools, u"Editor"_s).isValid());
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(Organizer::row(pools, u"Prose"_s).isValid());
}

TEST_F(OrganizerListsTest, TicksNeverResetTheModelsNorDisturbSelectionScrollOrAnOpenEditor)
{
    organizer.startDay();
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID)}));
    for (int i = 0; i < 40; ++i) {
        const auto window = organizer.desktop.fake.openWindow(20, u"shell %1"_s.arg(i, 2, 10, QChar(u'0')));
        Q_UNUSED(window);
    }
    organizer.controller->updateLists(&organizer);
    VXItemList *apps = organizer.appList();
    VXItemList *pools = organizer.poolList();

    // An edit in the pool list, a selection, an expanded row and a scroll position in the other.
    pools->setCurrentIndex(Organizer::row(pools, u"Writing"_s));
    pools->edit(pools->currentIndex());
    ASSERT_TRUE(organizer.lists->isEditingListItem());
    apps->expand(Organizer::row(apps, u"Terminal"_s));
    apps->setCurrentIndex(Organizer::row(apps, u"shell 20"_s));
    apps->verticalScrollBar()->setValue(apps->verticalScrollBar()->maximum() / 2);
    const int scrolled = apps->verticalScrollBar()->value();
    ASSERT_GT(scrolled, 0);
    QSignalSpy appResets(apps->model(), &QAbstractItemModel::modelReset);
    QSignalSpy poolResets(pools->model(), &QAbstractItemModel::modelReset);
    QSignalSpy appInserts(apps->model(), &QAbstractItemModel::rowsInserted);

    // Only times change: no row comes or goes. The open editor holds the scheduled ticks; a
    // forced one reloads around it.
    const int changedBefore = apps->itemModel()->changes().changedRows;
    organizer.time.advanceBy(3.0);
    EXPECT_EQ(apps->itemModel()->changes().changedRows, changedBefore);
    organizer.controller->updateLists(&organizer);   // after the pause: a gap, no time
    organizer.time.advanceBy(1.0);
    organizer.controller->updateLists(&organizer);
    EXPECT_TRUE(organizer.lists->isEditingListItem());
    EXPECT_GT(apps->itemModel()->changes().changedRows, changedBefore);
    EXPECT_EQ(appInserts.count(), 0);
    QLineEdit *editor = openEditor(pools);
    ASSERT_NE(editor, nullptr);
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_FALSE(organizer.lists->isEditingListItem());
    organizer.time.advanceBy(3.0);

    // A window comes and one goes: rows, not resets.
    organizer.desktop.fake.openWindow(20, u"another shell"_s);
    organizer.time.advanceBy(1.0);
    EXPECT_EQ(appInserts.count(), 1);
    EXPECT_EQ(appResets.count() + poolResets.count(), 0);
    EXPECT_TRUE(apps->isExpanded(Organizer::row(apps, u"Terminal"_s)));
    EXPECT_EQ(itemName(*apps->selectedItem()), u"shell 20"_s);
    EXPECT_EQ(apps->verticalScrollBar()->value(), scrolled);
}

TEST_F(OrganizerListsTest, ExpansionIsStoredInTheItemsAndRestoredAfterARestart)
{
    QTemporaryDir dataHome;
    {
        Organizer first(dataHome.path());
        first.startDay();
        first.configuration().insert(VXPoolsKey, VXMakeArray());
        first.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s)})}));
        first.pools()->append(pool(u"Shell"_s, {member(u"Terminal"_s, kTerminalID, {windowEntry(u"build"_s)})}));
        first.controller->updateLists(&first);
        VXItemList *pools = first.poolList();
        // Shift+Right opens a pool and everything below it.
        pools->setCurrentIndex(Organizer::row(pools, u"Writing"_s));
        pools->setFocus();
        QTest::keyClick(pools, Qt::Key_Right, Qt::ShiftModifier);
        EXPECT_TRUE(pools->isExpanded(Organizer::row(pools, u"Editor"_s)));
        first.appList()->expand(Organizer::row(first.appList(), u"Terminal"_s));
        first.appList()->collapse(Organizer::row(first.appList(), u"Terminal"_s));
        first.appList()->expand(Organizer::row(first.appList(), u"Editor"_s));
        ASSERT_TRUE(first.controller->saveConfiguration(true, false, false));
    }
    Organizer second(dataHome.path());
    second.controller->loadConfiguration();
    second.controller->setSortColumn(1);   // the first full tick restores the states
    VXItemList *pools = second.poolList();
    EXPECT_TRUE(pools->isExpanded(Organizer::row(pools, u"Writing"_s)));
    EXPECT_TRUE(pools->isExpanded(Organizer::row(pools, u"Editor"_s)));
    EXPECT_FALSE(pools->isExpanded(Organizer::row(pools, u"Shell"_s)));
    second.desktop.fake.launch(u"Editor"_s, second.desktopEntry(kEditorID), kEditorID, 10);
    second.desktop.fake.openWindow(10, u"Notes.txt"_s);
    second.desktop.fake.launch(u"Terminal"_s, second.desktopEntry(kTerminalID), kTerminalID, 20);
    second.desktop.fake.openWindow(20, u"build"_s);
    second.time.advanceBy(1.0);
    EXPECT_TRUE(second.appList()->isExpanded(Organizer::row(second.appList(), u"Editor"_s)));
    EXPECT_FALSE(second.appList()->isExpanded(Organizer::row(second.appList(), u"Terminal"_s)));
}

// Cut short, a duration loses its leading digits (a thousand days would read as a few): the time
// columns grow to fit the overall time, the longest duration either list shows, in either
// format, and never shrink by themselves; a narrower width a person chose stands until the
// overall time outgrows it.
TEST_F(OrganizerListsTest, TimeColumnsGrowToFitTheOverallTimeAndKeepAPersonsWidthUntilItOutgrowsIt)
{
    organizer.startDay(12.0);
    const auto setOverall = [&](double seconds) {
        organizer.configuration().insert(VXOverallTimeKey, seconds);
        organizer.time.advanceBy(0.5);
    };
    // Whether the header row's total is drawn without eliding in the list's total column.
    const auto drawnWhole = [&](VXItemList *list) {
        const QString text = duration(organizer.controller->overallApplicationTime());
        auto *cell = qobject_cast<VXPieCell *>(list->itemDelegateForColumn(VXTotalColumn));
        QFont bold = list->font();
        bold.setBold(true);
        const int room = list->header()->sectionSize(VXTotalColumn) - VXPieCell::widthBesidesText();
        return cell && !text.isEmpty() && cell->textToDraw(bold, text, room) == text;
    };
    const struct {
        double days;
        bool asDays;
    } rows[] = {{0.4, true}, {412.25, true}, {3652.5, true}, {3652.5, false}, {12000.0, false}, {12000.0, true}};
    int widthBefore = 0;
    for (const auto &row : rows) {
        organizer.settings.defaults->setBool(row.asDays, kExpressTimeIntervalsAsDaysKey);
        setOverall(row.days * 86400);
        for (VXItemList *list : {organizer.appList(), organizer.poolList()}) {
            EXPECT_TRUE(drawnWhole(list)) << row.days << " days, as days " << row.asDays;
            EXPECT_EQ(list->header()->sectionSize(VXFrontColumn), list->header()->sectionSize(VXTotalColumn));
        }
        const int width = organizer.appList()->header()->sectionSize(VXTotalColumn);
        EXPECT_GE(width, widthBefore) << "a time column shrank by itself";
        widthBefore = width;
    }

    // A person narrows the column: it stays so while the text keeps its length, and grows again
    // when the overall time outgrows it.
    organizer.settings.defaults->setBool(true, kExpressTimeIntervalsAsDaysKey);
    setOverall(1000.25 * 86400);
    VXItemList *apps = organizer.appList();
    apps->header()->resizeSection(VXTotalColumn, 40);
    setOverall(1000.5 * 86400);
    EXPECT_EQ(apps->header()->sectionSize(VXTotalColumn), 40);
    setOverall(100000.5 * 86400);
    EXPECT_TRUE(drawnWhole(apps));
}

namespace {

// Counts what the list's cells are asked to measure, and passes everything on to the list's own
// cells.
class MeasuredCell final : public QStyledItemDelegate
{
public:
    MeasuredCell(QAbstractItemDelegate *cell, int &measured, QObject *parent) :
        QStyledItemDelegate(parent), m_cell(cell), m_measured(measured)
    {
    }
    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        m_cell->paint(painter, option, index);
    }
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override
    {
        ++m_measured;
        return m_cell->sizeHint(option, index);
    }

private:
    QAbstractItemDelegate *m_cell;
    int &m_measured;
};

// The parts of a widget that were drawn.
class PaintedRegion final : public QObject
{
public:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::Paint)
            painted += static_cast<QPaintEvent *>(event)->region();
        return QObject::eventFilter(watched, event);
    }
    QRegion painted;
};

}   // namespace

// The header's total changes with nearly every tick: its cell is drawn again, and every row
// keeps the height its cells ask for, whether the header row is measured again or not.
TEST_F(OrganizerListsTest, ATickDrawsTheHeaderTotalAgainAndRowsKeepTheHeightTheirCellsAskFor)
{
    organizer.startDay(5.0);
    VXItemList *apps = organizer.appList();
    apps->expand(Organizer::row(apps, u"Editor"_s));
    int measured = 0;
    for (int column : {VXNameColumn, VXFrontColumn, VXTotalColumn})
        apps->setItemDelegateForColumn(column, new MeasuredCell(apps->itemDelegateForColumn(column), measured, apps));
    // Laid out again with the cells, and settled over two ticks (a layout may ask for another).
    for (int settling = 0; settling < 2; ++settling) {
        organizer.time.advanceBy(1.0);
        QApplication::processEvents();
    }
    PaintedRegion region;
    apps->viewport()->installEventFilter(&region);

    const QModelIndex headerTotal = apps->model()->index(0, VXTotalColumn);
    for (int tick = 0; tick < 4; ++tick) {
        SCOPED_TRACE(tick);
        const QString before = headerTotal.data().toString();
        region.painted = QRegion();
        measured = 0;
        organizer.time.advanceBy(2.0);
        ASSERT_NE(headerTotal.data().toString(), before);
        QApplication::processEvents();
        EXPECT_TRUE(region.painted.contains(apps->visualRect(headerTotal)));
        // Only the times changed: nothing was measured.
        EXPECT_EQ(measured, 0);
        const int rowHeight = apps->sizeHintForRow(0);
        for (QModelIndex index = apps->model()->index(0, 0); index.isValid(); index = apps->indexBelow(index))
            EXPECT_EQ(apps->visualRect(index).height(), rowHeight) << index.data().toString().toStdString();
    }
    apps->viewport()->removeEventFilter(&region);
}
