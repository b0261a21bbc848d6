// The lists' models as they follow the ticks of randomized days (with rows opened and closed,
// rows selected, and the lists' window hidden and shown again) against models made from scratch
// on the same tree after every step: the rows, their items and every cell that can be seen.

#include "VXOrganizerTestSupport.h"

#include "VXItemSorting.h"
#include "VXPieCell.h"
#include "VXStringExtensions.h"
#include "VXTrackingTestSupport.h"

#include <QHeaderView>
#include <QRandomGenerator>

#include <set>
#include <tuple>

using namespace vxtest;

namespace {

// What a list shows, one line a row, indented by depth: the item, the three cells' texts, the
// pies, the dimmed and bold states and the notes highlight. Rows under a row are listed only
// where `isOpen` says the row is open.
template <class IsOpen>
void describe(const QAbstractItemModel &model, const QModelIndex &parent, int depth, const IsOpen &isOpen,
              QStringList &lines)
{
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, VXNameColumn, parent);
        QString line
            = QString(depth * 2, u' ') + QString::number(index.data(VXItemListModel::ItemRole).value<quintptr>(), 16);
        for (int column : {VXNameColumn, VXFrontColumn, VXTotalColumn}) {
            const QModelIndex cell = model.index(row, column, parent);
            line += u" | "_s + cell.data().toString() + u' ' + cell.data(VXItemListModel::PieFractionRole).toString()
                + u' ' + (cell.data(Qt::FontRole).value<QFont>().bold() ? u"bold"_s : u""_s);
        }
        line += index.data(VXItemListModel::DimmedRole).toBool() ? u" dimmed"_s : u""_s;
        line += index.data(VXItemListModel::NotesHighlightRole).toBool() ? u" notes"_s : u""_s;
        lines.append(line);
        if (isOpen(index))
            describe(model, index, depth + 1, isOpen, lines);
    }
}

// The list as its view shows it, and as a model made now from the same tree shows it with the
// same rows open.
struct Compared {
    QStringList kept;
    QStringList fresh;
};

Compared compare(Organizer &organizer, VXItemList *list)
{
    std::set<quintptr> open;
    Compared compared;
    describe(
        *list->model(), QModelIndex(), 0,
        [&](const QModelIndex &index) {
            if (!list->isExpanded(index))
                return false;
            open.insert(index.data(VXItemListModel::ItemRole).value<quintptr>());
            return true;
        },
        compared.kept);
    VXItemListModel fresh(*organizer.controller, list->list());
    describe(
        fresh, QModelIndex(), 0,
        [&](const QModelIndex &index) {
            return open.count(index.data(VXItemListModel::ItemRole).value<quintptr>()) > 0;
        },
        compared.fresh);
    return compared;
}

// The items of the top rows.
QList<quintptr> topItems(const QAbstractItemModel &model)
{
    QList<quintptr> items;
    for (int row = 0; row < model.rowCount(); ++row)
        items.append(model.index(row, 0).data(VXItemListModel::ItemRole).value<quintptr>());
    return items;
}

// Every row of the list, at every level the model holds.
QModelIndexList allRows(const QAbstractItemModel &model, const QModelIndex &parent = QModelIndex())
{
    QModelIndexList rows;
    for (int row = 0; row < model.rowCount(parent); ++row) {
        const QModelIndex index = model.index(row, 0, parent);
        rows.append(index);
        rows.append(allRows(model, index));
    }
    return rows;
}

// What the view was told between two looks: the cells announced as changed, and whether rows
// came, went or moved (the view then lays out and draws every row anew).
class Announcements
{
public:
    explicit Announcements(const QAbstractItemModel &model)
    {
        QObject::connect(&model, &QAbstractItemModel::dataChanged, &m_context,
                         [this](const QModelIndex &topLeft, const QModelIndex &bottomRight) {
                             m_ranges.push_back({topLeft, bottomRight});
                         });
        const auto structural = [this] { m_structural = true; };
        QObject::connect(&model, &QAbstractItemModel::rowsInserted, &m_context, structural);
        QObject::connect(&model, &QAbstractItemModel::rowsRemoved, &m_context, structural);
        QObject::connect(&model, &QAbstractItemModel::rowsMoved, &m_context, structural);
        QObject::connect(&model, &QAbstractItemModel::layoutChanged, &m_context, structural);
        QObject::connect(&model, &QAbstractItemModel::modelReset, &m_context, structural);
    }
    void clear()
    {
        m_ranges.clear();
        m_structural = false;
    }
    bool structural() const { return m_structural; }
    bool covers(const QModelIndex &cell) const
    {
        for (const auto &[topLeft, bottomRight] : m_ranges) {
            if (topLeft.parent() == cell.parent() && topLeft.row() <= cell.row() && cell.row() <= bottomRight.row()
                && topLeft.column() <= cell.column() && cell.column() <= bottomRight.column())
                return true;
        }
        return false;
    }

private:
    QObject m_context;
    std::vector<std::pair<QPersistentModelIndex, QPersistentModelIndex>> m_ranges;
    bool m_structural = false;
};

// Everything a cell shows.
QString cellLook(const QModelIndex &cell)
{
    return cell.data().toString() + u' ' + cell.data(VXItemListModel::PieFractionRole).toString() + u' '
        + (cell.data(Qt::FontRole).value<QFont>().bold() ? u"bold"_s : u""_s)
        + (cell.data(VXItemListModel::DimmedRole).toBool() ? u" dimmed"_s : u""_s)
        + (cell.data(VXItemListModel::NotesHighlightRole).toBool() ? u" notes"_s : u""_s);
}

// The cells of the rows the list shows in its viewport, top to bottom, by place; with the
// columns' widths, so that a layout that changed tells.
struct Looks {
    QStringList places;
    QStringList looks;
    QList<QPersistentModelIndex> cells;
};
Looks looksInView(VXItemList *list)
{
    Looks looks;
    for (int column : {VXFrontColumn, VXTotalColumn})
        looks.places.append(QString::number(list->header()->sectionSize(column)));
    const int bottom = list->viewport()->height();
    for (QModelIndex index = list->indexAt(QPoint(0, 0)); index.isValid(); index = list->indexBelow(index)) {
        if (list->visualRect(index).top() >= bottom)
            break;
        looks.places.append(QString::number(index.data(VXItemListModel::ItemRole).value<quintptr>(), 16) + u'@'
                            + QString::number(list->visualRect(index).top()));
        for (int column : {VXNameColumn, VXFrontColumn, VXTotalColumn}) {
            const QModelIndex cell = index.siblingAtColumn(column);
            looks.looks.append(cellLook(cell));
            looks.cells.append(cell);
        }
    }
    return looks;
}

class OrganizerModelTest : public ::testing::TestWithParam<quint32>
{
protected:
    void TearDown() override { VXSetCurrentSortColumn(1); }
};

}   // namespace

TEST_P(OrganizerModelTest, ModelsThatFollowTheTicksShowWhatModelsMadeFromScratchShow)
{
    Organizer organizer;
    QRandomGenerator random(GetParam());
    const QStringList identifiers {kEditorID, kTerminalID, kViewerID, u"org.example.Mail"_s, u"org.example.Music"_s};
    const QStringList titles {u"Notes.txt"_s, u"Report.odt"_s, u"build"_s, u"Inbox"_s, u"Draft"_s, u"Playlist"_s};
    organizer.startDay(1.0);
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(
        pool(u"Writing"_s,
             {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s), windowEntry(u"*.txt"_s)}),
              member(u"org.example.Mail"_s, u"org.example.Mail"_s)}));
    organizer.pools()->append(pool(u"Shell"_s, {member(u"Terminal"_s, kTerminalID, {windowEntry(u"build"_s)})}));
    organizer.pools()->append(pool(u"Leisure"_s,
                                   {member(u"org.example.Music"_s, u"org.example.Music"_s),
                                    member(u"Viewer"_s, kViewerID, {windowEntry(u"*"_s)})}));
    organizer.controller->updateLists(&organizer);

    std::vector<std::int64_t> running {10, 20, 30};
    std::vector<std::uint64_t> windows;
    std::int64_t nextPID = 40;
    const auto pick = [&random](auto &values) { return values[std::size_t(random.bounded(int(values.size())))]; };
    int hiddenChecks = 0, shownChecks = 0;
    const auto check = [&] {
        for (VXItemList *list : {organizer.appList(), organizer.poolList()}) {
            if (!organizer.window->isVisible()) {
                // The top rows follow even out of sight.
                VXItemListModel fresh(*organizer.controller, list->list());
                EXPECT_EQ(topItems(*list->model()), topItems(fresh));
                ++hiddenChecks;
                continue;
            }
            const Compared compared = compare(organizer, list);
            ASSERT_EQ(compared.kept, compared.fresh);
            ++shownChecks;
        }
    };

    for (int step = 0; step < 160; ++step) {
        SCOPED_TRACE(step);
        switch (random.bounded(10)) {
        case 0: {
            const QString identifier = pick(identifiers);
            organizer.desktop.fake.launch(identifier, organizer.desktopEntry(identifier), identifier, nextPID);
            running.push_back(nextPID++);
            break;
        }
        case 1:
            if (running.size() > 1) {
                const std::int64_t pid = pick(running);
                organizer.desktop.fake.quit(pid);
                std::erase(running, pid);
            }
            break;
        case 2:
        case 3: windows.push_back(organizer.desktop.fake.openWindow(pick(running), pick(titles))); break;
        case 4:
            if (!windows.empty()) {
                const std::uint64_t window = pick(windows);
                organizer.desktop.fake.closeWindow(window);
                std::erase(windows, window);
            }
            break;
        case 5:
            if (!windows.empty())
                organizer.desktop.fake.setWindowTitle(pick(windows), pick(titles) + u" (modified)"_s);
            break;
        case 6: organizer.desktop.fake.activate(pick(running)); break;
        case 7: {
            // A row opened or closed, or selected, in either list.
            VXItemList *list = random.bounded(2) ? organizer.appList() : organizer.poolList();
            const QModelIndexList rows = allRows(*list->model());
            if (rows.isEmpty())
                break;
            const QModelIndex row = pick(rows);
            if (random.bounded(3) == 0)
                list->setCurrentIndex(row);
            else
                list->setExpanded(row, !list->isExpanded(row));
            break;
        }
        case 8: organizer.controller->setSortColumn(int(random.bounded(3))); break;
        default:
            // The lists go out of sight for a while, or come back.
            organizer.window->setVisible(!organizer.window->isVisible());
            break;
        }
        // Right after the step (a list that comes back into sight shows the tree at once),
        // and after the ticks that follow.
        check();
        organizer.time.advanceBy(0.5 + random.bounded(5) * 0.5);
        check();
    }
    // The day went through both states often.
    EXPECT_GT(hiddenChecks, 40);
    EXPECT_GT(shownChecks, 40);
}

// The view draws again only the cells it is told about: after the ticks, every cell in view that
// shows something else was announced, on days where some times are shown in days (whose texts
// stay the same for hours) and others to the second.
TEST_P(OrganizerModelTest, EveryCellInViewThatShowsSomethingElseAfterTheTicksIsAnnounced)
{
    Organizer organizer;
    QRandomGenerator random(GetParam());
    organizer.startDay(1.0);
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    organizer.pools()->append(
        pool(u"Writing"_s, {member(u"Editor"_s, kEditorID, {windowEntry(u"Report*"_s), windowEntry(u"*.txt"_s)})}));
    organizer.pools()->append(pool(u"Shell"_s, {member(u"Terminal"_s, kTerminalID, {windowEntry(u"build"_s)})}));
    // Long times: the editor's and the overall ones are shown in days.
    VXDictionary *applications = organizer.configuration().value(VXApplicationsKey).dictionary();
    ASSERT_NE(applications, nullptr);
    for (std::size_t i = 0; i < applications->size(); ++i) {
        VXDictionary *application = applications->valueAt(i).dictionary();
        if (application && itemName(*application) == u"Editor"_s) {
            setTimeInterval(*application, 3.0 * 86400 + 7000, VXTimeKey);
            setTimeInterval(*application, 2.0 * 86400 + 500, VXFrontTimeKey);
        }
    }
    setTimeInterval(organizer.configuration(), 3.5 * 86400, VXOverallTimeKey);
    organizer.controller->updateLists(&organizer);
    organizer.appList()->expandAll();

    Announcements apps(*organizer.appList()->model());
    Announcements pools(*organizer.poolList()->model());
    std::vector<std::uint64_t> windows;
    int checkedTicks = 0, changedCells = 0, unchangedCells = 0;
    for (int step = 0; step < 120; ++step) {
        SCOPED_TRACE(step);
        switch (random.bounded(8)) {
        case 0:
            windows.push_back(organizer.desktop.fake.openWindow(random.bounded(2) ? 10 : 20, u"Draft.txt"_s));
            break;
        case 1:
            if (!windows.empty()) {
                organizer.desktop.fake.closeWindow(windows.back());
                windows.pop_back();
            }
            break;
        case 2: organizer.desktop.fake.activate(random.bounded(2) ? 10 : 20); break;
        default: break;   // ticks alone
        }
        const Looks appsBefore = looksInView(organizer.appList());
        const Looks poolsBefore = looksInView(organizer.poolList());
        apps.clear();
        pools.clear();
        organizer.time.advanceBy(0.5 + random.bounded(4) * 0.5);
        for (const auto &[list, before, told] : {std::tuple {organizer.appList(), &appsBefore, &apps},
                                                 std::tuple {organizer.poolList(), &poolsBefore, &pools}}) {
            const Looks after = looksInView(list);
            // Rows that came, went or moved are all drawn anew.
            if (told->structural() || after.places != before->places)
                continue;
            ++checkedTicks;
            for (qsizetype i = 0; i < after.cells.size(); ++i) {
                if (after.looks[i] == before->looks[i]) {
                    ++unchangedCells;
                    continue;
                }
                ++changedCells;
                EXPECT_TRUE(told->covers(after.cells[i])) << "not announced: " << after.looks[i].toStdString()
                                                          << " (was " << before->looks[i].toStdString() << ")";
            }
        }
    }
    // The days moved on in view, and stood still as well.
    EXPECT_GT(checkedTicks, 100);
    EXPECT_GT(changedCells, 100);
    EXPECT_GT(unchangedCells, 100);
}

// A time shown in days keeps its text for hours: its cell is announced only at the tick where
// the text changes, not at every second.
TEST(OrganizerTimeCells, ATimeShownInDaysIsAnnouncedOnlyWhenItsTextChanges)
{
    Organizer organizer;
    organizer.startDay(1.0);
    // An overall time a few seconds before its text in days changes.
    double overall = 4.0 * 86400;
    while (stringWithTimeInterval(overall, true) == stringWithTimeInterval(overall + 1.0, true))
        overall += 1.0;
    overall -= 6.0;
    setTimeInterval(organizer.configuration(), overall, VXOverallTimeKey);
    organizer.controller->updateLists(&organizer);

    VXItemList *apps = organizer.appList();
    const QModelIndex headerTotal = apps->model()->index(0, VXTotalColumn);
    Announcements told(*apps->model());
    int changed = 0, unchanged = 0;
    for (int tick = 0; tick < 16; ++tick) {
        SCOPED_TRACE(tick);
        const QString before = headerTotal.data().toString();
        told.clear();
        organizer.time.advanceBy(1.0);
        const QString after = headerTotal.data().toString();
        ASSERT_TRUE(after.contains(u"days"_s)) << after.toStdString();
        EXPECT_EQ(told.covers(headerTotal), after != before) << before.toStdString() << " -> " << after.toStdString();
        ++(after != before ? changed : unchanged);
    }
    EXPECT_EQ(changed, 1);
    EXPECT_GE(unchanged, 10);
}

// Rows out of sight, and rows under a closed row, that lost their items since they were last
// brought up to date.
TEST(OrganizerModelRows, ASelectionOutOfSightLeavesAWindowThatWentAndAClosedRowOpensWithoutIt)
{
    Organizer organizer;
    organizer.startDay(2.0);
    const std::uint64_t extra = organizer.desktop.fake.openWindow(20, u"tests"_s);
    organizer.time.advanceBy(1.0);
    VXItemList *apps = organizer.appList();
    apps->expand(Organizer::row(apps, u"Terminal"_s));
    apps->setCurrentIndex(Organizer::row(apps, u"tests"_s));
    const VXDictionaryRef closed = apps->selectedItem();
    ASSERT_EQ(itemName(*closed), u"tests"_s);

    // Out of sight, the selected window closes: the selection no longer answers it.
    organizer.window->hide();
    organizer.desktop.fake.closeWindow(extra);
    organizer.time.advanceBy(1.0);
    EXPECT_NE(apps->selectedItem(), closed);
    organizer.window->show();
    EXPECT_EQ(Organizer::names(apps, Organizer::row(apps, u"Terminal"_s)), QStringList {u"build"_s});

    // A closed row whose window went since is opened: it lists the windows there are now.
    const std::uint64_t draft = organizer.desktop.fake.openWindow(10, u"Draft.txt"_s);
    organizer.time.advanceBy(1.0);
    apps->expand(Organizer::row(apps, u"Editor"_s));
    apps->collapse(Organizer::row(apps, u"Editor"_s));
    organizer.desktop.fake.closeWindow(draft);
    organizer.time.advanceBy(1.0);
    const QModelIndex editor = Organizer::row(apps, u"Editor"_s);
    ASSERT_TRUE(Organizer::names(apps, editor).contains(u"Draft.txt"_s));   // as it was when it closed
    apps->expand(editor);
    QStringList names = Organizer::names(apps, editor);
    names.sort();
    EXPECT_EQ(names, (QStringList {u"Notes.txt"_s, u"Report.odt"_s}));
}

// A duration is drawn elided exactly where measuring it says it must be, in fonts of other sizes
// and weights drawn one after another, for texts beyond ASCII as well.
TEST(OrganizerTimeCells, ADurationIsElidedExactlyWhenItDoesNotFit)
{
    application();
    VXPieCell cell;
    QFont plain = QApplication::font();
    QFont bold = plain;
    bold.setBold(true);
    QFont large = plain;
    large.setPointSizeF(plain.pointSizeF() * 2.5);
    const QStringList texts {u"0:00"_s, u"12:34:56"_s, u"123:45:06"_s, u"3 Tage 04:05:06"_s, u"\u00fc 1:00"_s};
    for (int width = 0; width <= 260; width += 3) {
        for (const QFont &font : {plain, bold, large}) {
            for (const QString &text : texts) {
                SCOPED_TRACE(QStringLiteral("%1 in %2 px, %3 pt%4")
                                 .arg(text)
                                 .arg(width)
                                 .arg(font.pointSizeF())
                                 .arg(font.bold() ? u" bold"_s : u""_s)
                                 .toStdString());
                ASSERT_EQ(cell.textToDraw(font, text, width),
                          QFontMetrics(font).elidedText(text, Qt::ElideLeft, width));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(RandomDays, OrganizerModelTest, ::testing::Values(7u, 1234u, 90210u));
