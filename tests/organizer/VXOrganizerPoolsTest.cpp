// Making, filling and removing pools through the real lists: drops onto pools and onto empty
// space with every refusal, the history-carrying drop, deleting by drag, by key and by menu,
// undo of each, the context menu of each kind of row with its commands, and the notes editor.

#include "VXOrganizerTestSupport.h"

#include "VXEventLogDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXNotesDialog.h"
#include "VXPropertyListSerialization.h"
#include "VXReportMenuAdapter.h"
#include "VXTrackingTestSupport.h"

#include <QMessageBox>
#include <QPlainTextEdit>
#include <QTest>

using namespace vxtest;

namespace {

class OrganizerPoolsTest : public ::testing::Test
{
protected:
    OrganizerPoolsTest() { organizer.startDay(10.0); }
    void TearDown() override { VXSetCurrentSortColumn(1); }

    VXItemList *apps() const { return organizer.appList(); }
    VXItemList *pools() const { return organizer.poolList(); }
    QModelIndex app(const QString &name) const { return Organizer::row(apps(), name); }
    QModelIndex poolRow(const QString &name) const { return Organizer::row(pools(), name); }

    // Drags the application list's row onto the pool list's row (or its empty space).
    bool dragOnto(const QString &appRow, const QString &poolRowName = QString(),
                  Qt::KeyboardModifiers modifiers = Qt::NoModifier, Organizer::Hover *hovered = nullptr)
    {
        const std::unique_ptr<QMimeData> mime = Organizer::drag(apps(), app(appRow));
        EXPECT_TRUE(mime && mime->hasFormat(VXListItemPasteboardType));
        const QPoint point = poolRowName.isEmpty() ? Organizer::emptySpace(pools())
                                                   : Organizer::pointOn(pools(), poolRow(poolRowName));
        return mime && Organizer::drop(pools(), point, *mime, modifiers, hovered);
    }

    Organizer organizer;
};

}   // namespace

TEST_F(OrganizerPoolsTest, APoolIsBuiltByDraggingAnApplicationAndThenAWindowOfAnother)
{
    EXPECT_EQ(Organizer::names(pools()), QStringList {u"Pools"_s});
    Organizer::Hover hovered;
    ASSERT_TRUE(dragOnto(u"Editor"_s, QString(), Qt::NoModifier, &hovered));
    EXPECT_TRUE(hovered.createPool);
    EXPECT_FALSE(hovered.historyArrow);
    EXPECT_FALSE(pools()->showsCreatePool());   // gone with the drop
    // An unnamed pool shows its member.
    EXPECT_EQ(Organizer::names(pools()), (QStringList {u"Pools"_s, u"Editor"_s}));
    VXDictionary &made = *organizer.pools()->at(0).dictionary();
    EXPECT_EQ(made.value(VXNameKey).toString(), QString());
    EXPECT_EQ(made.value(VXTypeKey).toString(), VXPoolItemType);
    const VXDictionary &editor = *made.value(VXChildrenKey).array()->at(0).dictionary();
    EXPECT_EQ(editor.value(VXApplicationIDKey).toString(), kEditorID);
    EXPECT_EQ(editor.value(VXPathKey).toString(), organizer.desktopEntry(kEditorID));

    apps()->expand(app(u"Terminal"_s));
    ASSERT_TRUE(dragOnto(u"build"_s, u"Editor"_s));
    EXPECT_EQ(Organizer::names(pools()), (QStringList {u"Pools"_s, u"Editor | Terminal (1)"_s}));
    const VXDictionary &terminal = *made.value(VXChildrenKey).array()->at(1).dictionary();
    EXPECT_EQ(terminal.value(VXNameKey).toString(), u"Terminal"_s);
    const VXDictionary &build = *terminal.value(VXChildrenKey).array()->at(0).dictionary();
    EXPECT_EQ(build.value(VXPathKey).toString(), VXWindowPathMarker);
    EXPECT_EQ(build.value(VXNameKey).toString(), u"build"_s);

    // The pool now gains the Editor's time and the Terminal window's.
    organizer.time.advanceBy(4.0);
    EXPECT_EQ(timeOf(made), 4.0);

    // Each drop is one undo step; redo brings them back.
    organizer.controller->undo(&organizer);
    EXPECT_EQ(Organizer::names(pools()), (QStringList {u"Pools"_s, u"Editor"_s}));
    organizer.controller->undo(&organizer);
    EXPECT_EQ(Organizer::names(pools()), QStringList {u"Pools"_s});
    organizer.controller->redo(&organizer);
    organizer.controller->redo(&organizer);
    EXPECT_EQ(Organizer::names(pools()), (QStringList {u"Pools"_s, u"Editor | Terminal (1)"_s}));
}

TEST_F(OrganizerPoolsTest, RefusedDropsLeaveNoTrace)
{
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(u"Whole Editor"_s, {member(u"Editor"_s, kEditorID)}));
    organizer.pools()->append(
        pool(u"Terminal Windows"_s, {member(u"Terminal"_s, kTerminalID, {windowEntry(u"BUILD"_s)})}));
    organizer.controller->updateLists(&organizer);
    organizer.time.advanceBy(1.0);
    apps()->restoreExpansionStates(true);
    pools()->restoreExpansionStates(true);

    // Another program's data under our type, a dictionary without the keys a drop needs, and a
    // window of an application the record does not hold.
    QMimeData garbage;
    garbage.setData(VXListItemPasteboardType, "\x01\x02 not a property list");
    QMimeData incomplete;
    incomplete.setData(VXListItemPasteboardType, *propertyListData(VXValue(dictionary({{VXNameKey, u"Lost"_s}}))));
    QMimeData stranger;
    stranger.setData(
        VXListItemPasteboardType,
        *propertyListData(VXValue(dictionary(
            {{VXNameKey, u"Other"_s}, {VXPathKey, VXWindowPathMarker}, {VXApplicationIDKey, u"org.example.Gone"_s}}))));
    QMimeData deleting;
    deleting.setData(VXDeleteFromListPasteboardType, QByteArray());

    const auto mimeOf = [&](const QString &appRow) { return Organizer::drag(apps(), app(appRow)); };
    const std::unique_ptr<QMimeData> editor = mimeOf(u"Editor"_s), notes = mimeOf(u"Notes.txt"_s),
                                     build = mimeOf(u"build"_s);
    const struct {
        const char *why;
        VXItemList *list;
        QPoint point;
        const QMimeData *mime;
    } cases[] = {
        {"the application list takes no drops", apps(), Organizer::pointOn(apps(), app(u"Viewer"_s)), editor.get()},
        {"not onto the header row", pools(), Organizer::pointOn(pools(), pools()->model()->index(0, 0)), editor.get()},
        {"only onto pools", pools(), Organizer::pointOn(pools(), poolRow(u"Editor"_s)), notes.get()},
        {"the application is already whole in the pool", pools(),
         Organizer::pointOn(pools(), poolRow(u"Whole Editor"_s)), editor.get()},
        {"a window of an application already whole", pools(), Organizer::pointOn(pools(), poolRow(u"Whole Editor"_s)),
         notes.get()},
        {"the same window name in other letters", pools(), Organizer::pointOn(pools(), poolRow(u"Terminal Windows"_s)),
         build.get()},
        {"no application for the window", pools(), Organizer::pointOn(pools(), poolRow(u"Whole Editor"_s)), &stranger},
        {"not a property list", pools(), Organizer::emptySpace(pools()), &garbage},
        {"a dictionary without its keys", pools(), Organizer::emptySpace(pools()), &incomplete},
        {"a pool dragged out is no list item", pools(), Organizer::emptySpace(pools()), &deleting},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.why);
        const VXValue before = snapshotOf(organizer.configuration());
        const bool couldUndo = organizer.controller->canUndo();
        const int undoDepth = int(organizer.controller->undoHistory().undoCount());
        EXPECT_FALSE(Organizer::drop(row.list, row.point, *row.mime));
        EXPECT_EQ(firstDifference(before, VXValue(organizer.controller->configuration())), "");
        EXPECT_EQ(organizer.controller->canUndo(), couldUndo);
        EXPECT_EQ(int(organizer.controller->undoHistory().undoCount()), undoDepth);
    }

    // The rules the lists cannot produce by pointing: a drop between rows, and onto another
    // list.
    VXOrganizerOperations &operations = organizer.controller->organizer();
    const VXDictionaryRef whole = organizer.pools()->at(0).dictionaryRef();
    const VXDictionaryRef terminal
        = VXOrganizerOperations::draggedItemFromData(mimeOf(u"Terminal"_s)->data(VXListItemPasteboardType));
    ASSERT_TRUE(terminal);
    EXPECT_TRUE(operations.validateDrop(VXOrganizerList::Pools, whole.get(), -1, terminal.get()));
    EXPECT_FALSE(operations.validateDrop(VXOrganizerList::Pools, whole.get(), 0, terminal.get()));
    EXPECT_FALSE(operations.acceptDrop(VXOrganizerList::Pools, whole, 1, terminal.get(), false));
    EXPECT_FALSE(operations.validateDrop(VXOrganizerList::Applications, nullptr, -1, terminal.get()));
    EXPECT_FALSE(operations.acceptDrop(VXOrganizerList::Applications, VXDictionaryRef(), -1, terminal.get(), false));
}

TEST_F(OrganizerPoolsTest, AnApplicationDroppedOnAPoolHoldingSomeOfItsWindowsReplacesThem)
{
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(u"Docs"_s, {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s)})}));
    organizer.controller->updateLists(&organizer);
    ASSERT_TRUE(dragOnto(u"Editor"_s, u"Docs"_s));
    const VXDictionary &editor
        = *organizer.pools()->at(0).dictionary()->value(VXChildrenKey).array()->at(0).dictionary();
    EXPECT_FALSE(editor.contains(VXChildrenKey));
    EXPECT_EQ(organizer.pools()->at(0).dictionary()->value(VXChildrenKey).array()->size(), 1u);
}

TEST_F(OrganizerPoolsTest, AShiftDropCarriesTheHistorySoThePoolsTimesEqualTheApplicationsAtOnce)
{
    // The Terminal's history: front for a while, then in the background.
    organizer.desktop.fake.activate(20);
    organizer.time.advanceBy(6.0);
    organizer.desktop.fake.activate(10);
    organizer.time.advanceBy(3.0);
    const VXDictionary &terminal = *applicationItem(organizer.configuration(), kTerminalID);
    ASSERT_GT(frontTimeOf(terminal), 5.0);

    Organizer::Hover hovered;
    ASSERT_TRUE(dragOnto(u"Terminal"_s, QString(), Qt::ShiftModifier, &hovered));
    EXPECT_TRUE(hovered.createPool && hovered.historyArrow);
    const VXDictionary &made = *organizer.pools()->at(0).dictionary();
    const VXDictionary &member = *made.value(VXChildrenKey).array()->at(0).dictionary();
    for (const VXDictionary *entry : {&made, &member}) {
        EXPECT_NEAR(timeOf(*entry), timeOf(terminal), 1e-6);
        EXPECT_NEAR(frontTimeOf(*entry), frontTimeOf(terminal), 1e-6);
        EXPECT_EQ(activeLog(*entry), activeLog(terminal));
        EXPECT_TRUE(boolForKey(*entry, VXActiveKey));
    }
    EXPECT_EQ(Organizer::row(pools(), u"Terminal"_s).siblingAtColumn(VXTotalColumn).data().toString(),
              app(u"Terminal"_s).siblingAtColumn(VXTotalColumn).data().toString());
    // And they keep step.
    organizer.time.advanceBy(5.0);
    EXPECT_NEAR(timeOf(made), timeOf(terminal), 1e-6);

    // Without Shift a new pool starts from nothing.
    ASSERT_TRUE(dragOnto(u"Viewer"_s));
    EXPECT_EQ(timeOf(*organizer.pools()->at(1).dictionary()), 0.0);
}

TEST_F(OrganizerPoolsTest, DeletingByDragByKeyAndByMenuEachUndoable)
{
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID)}));
    organizer.pools()->append(pool(u"Shell"_s, {member(u"Terminal"_s, kTerminalID)}));
    organizer.controller->updateLists(&organizer);

    // A pool dragged out of the pool list is deleted; one dropped back on it is not.
    std::unique_ptr<QMimeData> out = Organizer::drag(pools(), poolRow(u"Shell"_s));
    ASSERT_TRUE(out);
    EXPECT_TRUE(out->hasFormat(VXDeleteFromListPasteboardType));
    EXPECT_TRUE(out->data(VXDeleteFromListPasteboardType).isEmpty());
    pools()->dragDidEnd(Qt::IgnoreAction, pools()->viewport());
    EXPECT_TRUE(poolRow(u"Shell"_s).isValid());
    out = Organizer::drag(pools(), poolRow(u"Shell"_s));
    pools()->dragDidEnd(Qt::IgnoreAction, nullptr);
    EXPECT_FALSE(poolRow(u"Shell"_s).isValid());
    EXPECT_EQ(organizer.controller->organizer().itemToDelete(), VXDictionaryRef());

    // Delete removes the selected member.
    pools()->expand(poolRow(u"Writing"_s));
    pools()->setCurrentIndex(poolRow(u"Editor"_s));
    pools()->setFocus();
    QTest::keyClick(pools(), Qt::Key_Delete);
    EXPECT_EQ(Organizer::names(pools(), poolRow(u"Writing"_s)), QStringList());

    // The menu's entry with the blacklist removes a running application for good.
    std::unique_ptr<QMenu> menu = apps()->contextMenuForIndex(app(u"Viewer"_s));
    ASSERT_TRUE(menu);
    QAction *blacklist = Organizer::menuAction(menu.get(), u"Remove from List and Add to Blacklist"_s);
    ASSERT_NE(blacklist, nullptr);
    blacklist->trigger();
    organizer.time.advanceBy(2.0);
    EXPECT_FALSE(app(u"Viewer"_s).isValid());
    const VXArray &blacklisted = organizer.controller->blacklistWithName(VXApplicationBlacklistKey);
    EXPECT_TRUE(std::any_of(blacklisted.begin(), blacklisted.end(),
                            [](const VXValue &name) { return name.toString() == u"Viewer"_s; }));

    // Plain removal is offered only for an application that no longer runs.
    organizer.desktop.fake.quit(20);
    organizer.controller->setShowInactiveApplicationItems(true);
    organizer.time.advanceBy(1.0);
    menu = apps()->contextMenuForIndex(app(u"Terminal"_s));
    ASSERT_TRUE(menu);
    Organizer::menuAction(menu.get(), u"Remove from List"_s)->trigger();
    EXPECT_FALSE(app(u"Terminal"_s).isValid());

    // Undo brings each back, in turn.
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(app(u"Terminal"_s).isValid());
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(app(u"Viewer"_s).isValid());
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(poolRow(u"Editor"_s).isValid());
    organizer.controller->undo(&organizer);
    EXPECT_TRUE(poolRow(u"Shell"_s).isValid());
}

TEST_F(OrganizerPoolsTest, TheContextMenuOfEachKindOfRowAndItsCommands)
{
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    VXDictionaryRef anyMember = member(u"Any"_s, u"org.example.Any"_s, {windowEntry(u"*.odt"_s)});
    setBool(*anyMember, true, VXMatchAnyApplicationKey);
    organizer.pools()->append(pool(u"Writing"_s, {member(u"Editor"_s, kEditorID)}));
    organizer.pools()->append(pool(u"Docs"_s, {anyMember}));
    organizer.pools()->append(pool(u"Shell"_s, {member(u"Terminal"_s, kTerminalID, {windowEntry(u"build"_s)})}));
    organizer.pools()
        ->at(0)
        .dictionary()
        ->value(VXChildrenKey)
        .array()
        ->at(0)
        .dictionary()
        ->insert(VXPathKey, organizer.desktopEntry(kEditorID));
    organizer.controller->updateLists(&organizer);
    organizer.desktop.fake.quit(30);
    organizer.controller->setShowInactiveApplicationItems(true);
    organizer.time.advanceBy(1.0);
    apps()->restoreExpansionStates(true);
    pools()->restoreExpansionStates(true);

    const struct {
        const char *row;
        VXItemList *list;
        QModelIndex index;
        QStringList titles;
    } cases[] = {
        {"running application",
         apps(),
         app(u"Editor"_s),
         {u"Reset Timer"_s, u"-"_s, u"Remove from List and Add to Blacklist"_s, u"-"_s, u"Bring to Foreground"_s,
          u"Quit"_s}},
        {"application no longer running",
         apps(),
         app(u"Viewer"_s),
         {u"Reset Timer"_s, u"-"_s, u"Remove from List"_s, u"Remove from List and Add to Blacklist"_s, u"-"_s,
          u"Launch"_s}},
        {"window", apps(), app(u"Notes.txt"_s), {u"Reset Timer"_s, u"-"_s}},
        {"pool",
         pools(),
         poolRow(u"Writing"_s),
         {u"Edit Notes"_s, u"-"_s, u"Reset Timer"_s, u"-"_s, u"Remove from List"_s}},
        {"whole application in a pool",
         pools(),
         poolRow(u"Editor"_s),
         {u"Reset Timer"_s, u"-"_s, u"Track All Applications"_s, u"Remove from List"_s, u"-"_s,
          u"Bring to Foreground"_s, u"Quit"_s}},
        {"window entry in a pool",
         pools(),
         poolRow(u"build"_s),
         {u"Reset Timer"_s, u"-"_s, u"Track Across All Applications"_s, u"Remove from List"_s}},
        {"member for any application",
         pools(),
         poolRow(u"Any Application"_s),
         {u"Reset Timer"_s, u"-"_s, u"Track Any Only"_s, u"Remove from List"_s}},
        {"header row", pools(), pools()->model()->index(0, 0), {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.row);
        ASSERT_TRUE(row.index.isValid());
        const std::unique_ptr<QMenu> menu = row.list->contextMenuForIndex(row.index);
        EXPECT_EQ(Organizer::menuTitles(menu.get()), row.titles);
        if (menu) {
            EXPECT_EQ(menu->title(), u"Context"_s);
        }
    }

    // The commands: the desktop's, with its refusal told to the person.
    std::unique_ptr<QMenu> menu = apps()->contextMenuForIndex(app(u"Editor"_s));
    Organizer::menuAction(menu.get(), u"Quit"_s)->trigger();
    Organizer::menuAction(menu.get(), u"Bring to Foreground"_s)->trigger();
    organizer.desktop.refusal = u"No desktop entry can start it."_s;
    menu = apps()->contextMenuForIndex(app(u"Viewer"_s));
    Organizer::menuAction(menu.get(), u"Launch"_s)->trigger();
    EXPECT_EQ(organizer.desktop.commands,
              (QStringList {u"quit "_s + organizer.desktopEntry(kEditorID),
                            u"activate "_s + organizer.desktopEntry(kEditorID),
                            u"launch "_s + organizer.desktopEntry(kViewerID)}));
    auto *box = organizer.window->findChild<QMessageBox *>();
    ASSERT_NE(box, nullptr);
    EXPECT_EQ(box->text(), u"\"Viewer\" cannot be launched."_s);
    EXPECT_EQ(box->informativeText(), u"No desktop entry can start it."_s);
    box->close();

    // Reset Timer clears the row's times; tracking across applications flips the member.
    menu = pools()->contextMenuForIndex(poolRow(u"Writing"_s));
    Organizer::menuAction(menu.get(), u"Reset Timer"_s)->trigger();
    EXPECT_EQ(timeOf(*organizer.pools()->at(0).dictionary()), 0.0);
    menu = pools()->contextMenuForIndex(poolRow(u"build"_s));
    Organizer::menuAction(menu.get(), u"Track Across All Applications"_s)->trigger();
    EXPECT_TRUE(poolRow(u"Any Application"_s).isValid());
    organizer.controller->undo(&organizer);
    organizer.controller->undo(&organizer);
    EXPECT_GT(timeOf(*organizer.pools()->at(0).dictionary()), 0.0);

    // From a report row: the item's name as title, and Collapse or Expand by its state here.
    struct LiveReport : VXReportClient {
        QString uniqueID() const override { return u"Default"_s; }
        VXDictionaryRef snapshotConfiguration() const override { return VXDictionaryRef(); }
    } report;
    VXDictionaryRef entry = VXMakeDictionary();
    entry->insert(VXSourceKey, apps()->itemModel()->itemForIndex(app(u"Editor"_s)));
    apps()->expand(app(u"Editor"_s));
    QMenu reportMenu;
    ASSERT_TRUE(
        organizer.controller->contextMenuForEventLog(*entry, report, VXReportMenuAdapter::attachedTo(&reportMenu)));
    EXPECT_EQ(Organizer::menuTitles(&reportMenu).mid(0, 4),
              (QStringList {u"Editor"_s, u"Collapse"_s, u"-"_s, u"Reset Timer"_s}));
    ASSERT_NE(Organizer::menuAction(&reportMenu, u"Collapse"_s), nullptr);
    Organizer::menuAction(&reportMenu, u"Collapse"_s)->trigger();
    EXPECT_FALSE(apps()->isExpanded(app(u"Editor"_s)));
    organizer.settings.defaults->setInteger(1, VXLiveReportContentKey);
    QMenu otherContent;
    organizer.controller->contextMenuForEventLog(*entry, report, VXReportMenuAdapter::attachedTo(&otherContent));
    EXPECT_EQ(Organizer::menuTitles(&otherContent).mid(0, 2), (QStringList {u"Editor"_s, u"-"_s}));
}

TEST_F(OrganizerPoolsTest, NotesAreEditedInASheetAndStoredWithUndo)
{
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(pool(QString(), {member(u"Editor"_s, kEditorID)}));
    organizer.controller->updateLists(&organizer);
    organizer.settings.defaults->setBool(true, VXInfoIconsReflectNotesStatusKey);
    const VXDictionary &writing = *organizer.pools()->at(0).dictionary();

    const auto openNotes = [&] {
        std::unique_ptr<QMenu> menu = pools()->contextMenuForIndex(poolRow(u"Editor"_s));
        EXPECT_TRUE(menu);
        if (menu)
            Organizer::menuAction(menu.get(), u"Edit Notes"_s)->trigger();
        return organizer.lists->notesDialog();
    };
    VXNotesDialog *dialog = openNotes();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->windowTitle(), u"\"Editor\" - Notes"_s);
    EXPECT_EQ(dialog->parentWidget(), organizer.window.get());
    EXPECT_TRUE(dialog->isVisible());
    // While it is open, no context menu, and no second editor.
    EXPECT_EQ(pools()->contextMenuForIndex(poolRow(u"Editor"_s)), nullptr);
    QTest::keyClicks(dialog->textView(), u"Draft by Friday"_s);
    dialog->noteEditorDone();
    EXPECT_EQ(writing.value(VXPoolNotesKey).toString(), u"Draft by Friday"_s);
    EXPECT_TRUE(poolRow(u"Editor"_s).data(VXItemListModel::NotesHighlightRole).toBool());

    dialog = openNotes();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->textView()->toPlainText(), u"Draft by Friday"_s);
    dialog->textView()->clear();
    QTest::keyClicks(dialog->textView(), u"thrown away"_s);
    dialog->noteEditorCancel();
    EXPECT_EQ(writing.value(VXPoolNotesKey).toString(), u"Draft by Friday"_s);

    // An empty text removes the notes; each change is one undo step.
    dialog = openNotes();
    ASSERT_NE(dialog, nullptr);
    dialog->textView()->clear();
    dialog->noteEditorDone();
    EXPECT_FALSE(writing.contains(VXPoolNotesKey));
    EXPECT_FALSE(poolRow(u"Editor"_s).data(VXItemListModel::NotesHighlightRole).toBool());
    organizer.controller->undo(&organizer);
    EXPECT_EQ(organizer.pools()->at(0).dictionary()->value(VXPoolNotesKey).toString(), u"Draft by Friday"_s);
    organizer.controller->undo(&organizer);
    EXPECT_FALSE(organizer.pools()->at(0).dictionary()->contains(VXPoolNotesKey));
}
