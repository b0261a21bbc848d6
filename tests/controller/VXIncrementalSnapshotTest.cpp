// The half-hourly save's snapshot, taken from the last one and what the journal saw move since,
// against the whole tree compared: random tracking (windows opening, closing and retitled, the
// front switching, pools crediting) with saves in between. Every item the journal calls
// settled equals its saved counterpart value for value, every save writes the file a snapshot
// of the whole tree would give, and the journal that goes on after each save replays onto it.

#include "VXActivitySampler.h"
#include "VXBinaryPropertyListReader.h"
#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXJournal.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXTrackingTestSupport.h"
#include "VXTreeSnapshots.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <optional>
#include <random>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'750'000'000.0;

struct Application {
    QString name;
    QString id;
    qint64 pid;
};

const Application kApplications[] = {
    {u"Editor"_s, u"org.example.Editor"_s, 10},
    {u"Mail"_s, u"org.example.Mail"_s, 20},
    {u"Browser"_s, u"org.example.Browser"_s, 30},
    {u"Terminal"_s, u"org.example.Terminal"_s, 40},
};

// Two pools: one crediting the editor and the browser's documentation windows, one any
// application's reports.
VXDictionaryRef poolsOnly()
{
    VXArrayRef pools = VXMakeArray();
    pools->append(pool(u"Writing"_s,
                       {member(u"Editor"_s, kApplications[0].id),
                        member(u"Browser"_s, kApplications[2].id, {windowEntry(u"*Docs*"_s)})}));
    VXDictionaryRef anyReports = member(QString(), QString(), {windowEntry(u"Report*"_s)});
    anyReports->insert(VXMatchAnyApplicationKey, true);
    pools->append(pool(u"Reports anywhere"_s, {anyReports}));
    return dictionary({{VXPoolsKey, pools}});
}

// Applications that ran for a while before the day and stay in the tree, dormant.
const Application kFormerApplications[] = {
    {u"Viewer"_s, u"org.example.Viewer"_s, 50},
    {u"Player"_s, u"org.example.Player"_s, 60},
};

// The four applications on the fake desktop, tracked by the controller from the pools alone
// (and two that ran a minute first); each step opens, closes or brings forward a window at
// random and lets a few seconds pass.
struct TrackedDesktop {
    explicit TrackedDesktop(unsigned seed) : random(seed)
    {
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        for (const Application &application : kFormerApplications) {
            desktop.launch(application.name, u"/usr/share/applications/"_s + application.id + u".desktop"_s,
                           application.id, application.pid);
            desktop.openWindow(application.pid, application.name + u" window"_s);
        }
        controller.applicationWillFinishLaunching();
        controller.applicationDidFinishLaunching({}, {});
        time.runDue();
        controller.setConfiguration(poolsOnly());
        at += 60;
        time.advanceTo(at);
        for (const Application &application : kFormerApplications)
            desktop.quit(application.pid);
        for (const Application &application : kApplications) {
            desktop.launch(application.name, u"/usr/share/applications/"_s + application.id + u".desktop"_s,
                           application.id, application.pid);
        }
        desktop.activate(kApplications[0].pid);
    }
    // The tracker leaves the sort column shared by every test behind it.
    ~TrackedDesktop() { VXSetCurrentSortColumn(1); }

    void step()
    {
        static const QString titles[] = {u"Report.odt"_s, u"Notes.txt"_s,  u"Docs - Index"_s, u"Inbox"_s,
                                         u"Report 2"_s,   u"Docs - API"_s, u"build log"_s,    u"Draft"_s};
        const Application &application = kApplications[random() % std::size(kApplications)];
        switch (random() % 4) {
        case 0: windows.push_back(desktop.openWindow(application.pid, titles[random() % std::size(titles)])); break;
        case 1:
            if (!windows.empty()) {
                const std::size_t index = random() % windows.size();
                desktop.closeWindow(windows[index]);
                windows.erase(windows.begin() + std::ptrdiff_t(index));
            }
            break;
        default: desktop.activate(application.pid); break;
        }
        at += 1 + random() % 12;
        time.advanceTo(at);
    }

    Settings settings;
    ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
    VXMainController controller {desktop, time, time, *settings.defaults, &ui};
    std::mt19937 random;
    std::vector<std::uint64_t> windows;
    double at = kStart;
};

// How many arrays of `saved` hold their elements in the same buffer as the live array at the
// same place.
int sharedLogs(const VXValue &saved, const VXValue &live)
{
    if (const VXArray *array = saved.array()) {
        const VXArray *other = live.array();
        if (!other)
            return 0;
        if (array->sharesElementsWith(*other))
            return 1;
        int shared = 0;
        for (std::size_t i = 0; i < std::min(array->size(), other->size()); ++i)
            shared += sharedLogs(array->at(i), other->at(i));
        return shared;
    }
    int shared = 0;
    if (const VXDictionary *dictionary = saved.dictionary(); dictionary && live.dictionary()) {
        for (const VXDictionary::Entry &entry : *dictionary)
            shared += sharedLogs(entry.value, live.dictionary()->value(entry.key));
    }
    return shared;
}

// The record and the journal beside it, once the writer is done: replayed, they give the live
// tree back (empty), or where they differ.
std::string replayedDifference(TrackedDesktop &day)
{
    day.controller.store().waitForPendingWrites();
    const QByteArray record = readFile(day.dataHome.configurationFile());
    const VXJournalFile::Contents journal
        = VXJournalFile::read(readFile(day.dataHome.configurationFolder() + u"/Default.journal"_s), record);
    if (journal.status != VXJournalFile::Contents::Status::Matches)
        return "the journal does not continue the record";
    const VXDictionaryRef replayed = deeplyMutableDictionaryWithData(record);
    VXJournalReplay replay(*replayed);
    for (const QByteArray &entry : journal.entries) {
        if (!replay.apply(entry))
            return "an entry does not apply";
    }
    return firstDifference(VXValue(replayed), VXValue(day.controller.configuration()));
}

}   // namespace

TEST(IncrementalSnapshots, SavesAfterRandomTrackingWriteTheWholeTreesFile)
{
    int settledItems = 0;
    int logsSharedWithTheLiveTree = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        TrackedDesktop day(seed);
        VXMainController &controller = day.controller;
        ScopedDataHome &dataHome = day.dataHome;
        // The record and the journal beside it give the live tree back.
        const auto expectReplayGivesTheTree
            = [&](int step) { EXPECT_EQ(replayedDifference(day), "") << "at step " << step; };
        // The last save's snapshot, and its bytes then: the ticks since (logs grown in place in
        // the live tree) must have left it as it was.
        VXDictionaryRef saved;
        std::optional<QByteArray> savedBytes;
        for (int step = 0; step < 120; ++step) {
            day.step();
            if (step % 10 == 4) {
                // Between saves: the entries alone (which compare only what the ticks changed).
                controller.journal().flush();
                expectReplayGivesTheTree(step);
                if (HasFatalFailure())
                    return;
            }
            if (step % 10 != 9)
                continue;
            if (saved) {
                EXPECT_EQ(propertyListData(VXValue(saved)), savedBytes) << "at step " << step;
            }
            // The save, as the half-hourly one takes it: told what did not move since the last.
            VXConfigurationStore &store = controller.store();
            const VXDictionaryRef previous = store.lastSnapshot();
            ASSERT_TRUE(previous);
            const VXSettledParts settled = controller.journal().settledSince(previous);
            ASSERT_TRUE(settled) << "the journal continues the last save at step " << step;
            forEachItem(*controller.configuration(), [&](const VXDictionary &item, const QString &name) {
                const VXSettledPart part
                    = settled(VXValue(VXDictionaryRef(const_cast<VXDictionary *>(&item))), nullptr);
                if (const VXDictionary *same = part.same.dictionary()) {
                    ++settledItems;
                    EXPECT_EQ(VXValue(VXDictionaryRef(const_cast<VXDictionary *>(same))),
                              VXValue(VXDictionaryRef(const_cast<VXDictionary *>(&item))))
                        << qPrintable(name) << " at step " << step;
                }
            });
            // The journal went on from the last save with the marks it kept.
            expectReplayGivesTheTree(step);
            if (HasFatalFailure())
                return;
            store.noteChange();
            store.writeWhole();
            store.waitForPendingWrites();
            const VXDictionaryRef live = controller.configuration();
            const std::optional<QByteArray> whole = propertyListData(VXValue(VXTreeSnapshot(live, VXDictionaryRef())));
            ASSERT_TRUE(whole);
            EXPECT_EQ(propertyListData(VXValue(store.lastSnapshot())), whole) << "at step " << step;
            const QByteArray file = readFile(dataHome.configurationFile());
            EXPECT_EQ(VXValue(deeplyMutableDictionaryWithData(file)), VXValue(live)) << "at step " << step;
            saved = store.lastSnapshot();
            savedBytes = propertyListData(VXValue(saved));
            logsSharedWithTheLiveTree += sharedLogs(VXValue(saved), VXValue(live));
        }
    }
    // Not every save may fall back on comparing the whole tree.
    EXPECT_GT(settledItems, 0);
    // The saves share the event logs with the live tree rather than copy them.
    EXPECT_GT(logsSharedWithTheLiveTree, 0);
}

namespace {

// The application and pool items of the live tree the changes below pick from (null when none).
VXDictionaryRef someApplication(const VXDictionaryRef &tree, std::mt19937 &random)
{
    const VXDictionary *applications = tree ? tree->value(VXApplicationsKey).dictionary() : nullptr;
    if (!applications || applications->isEmpty())
        return VXDictionaryRef();
    return applications->entries()[random() % applications->size()].value.dictionaryRef();
}

VXDictionaryRef somePool(const VXDictionaryRef &tree, std::mt19937 &random)
{
    const VXArray *pools = tree ? tree->value(VXPoolsKey).array() : nullptr;
    return pools && !pools->isEmpty() ? pools->at(random() % pools->size()).dictionaryRef() : VXDictionaryRef();
}

// A reset that asks first, confirmed.
void confirmed(TrackedDesktop &day, void (VXResets::*reset)())
{
    day.ui.alertAnswers.push_back(0);
    (day.controller.resets().*reset)();
    day.ui.alertAnswers.clear();
}

}   // namespace

// Every way the tree changes besides the sampler, at random between the half-hourly saves: each
// save writes what a save comparing the whole tree writes, byte for byte.
TEST(IncrementalSnapshots, SavesAfterEveryKindOfChangeWriteTheWholeTreesFile)
{
    using Change = std::function<void(TrackedDesktop &)>;
    const auto confirming
        = [](void (VXResets::*reset)()) { return [reset](TrackedDesktop &day) { confirmed(day, reset); }; };
    const std::pair<const char *, Change> changes[] = {
        {"reset application timers", confirming(&VXResets::resetApplicationTimers)},
        {"reset pool timers", confirming(&VXResets::resetPoolTimers)},
        {"reset all timers", confirming(&VXResets::resetAllTimers)},
        {"clear applications", confirming(&VXResets::clearApplications)},
        {"clear pools", confirming(&VXResets::clearPools)},
        {"undo", [](TrackedDesktop &day) { day.controller.undo(&day); }},
        {"redo", [](TrackedDesktop &day) { day.controller.redo(&day); }},
        {"window blacklist",
         [](TrackedDesktop &day) { day.controller.blacklistTextDidChange(VXWindowBlacklistKey, u"Inbox"_s); }},
        {"pool renamed",
         [](TrackedDesktop &day) {
             if (VXDictionaryRef pool = somePool(day.controller.configuration(), day.random))
                 day.controller.organizer().setObjectValue(VXOrganizerList::Pools, pool,
                                                           u"Pool %1"_s.arg(day.random() % 100));
         }},
        {"pool notes",
         [](TrackedDesktop &day) {
             if (VXDictionaryRef pool = somePool(day.controller.configuration(), day.random))
                 day.controller.organizer().noteEditorDone(pool, u"note %1"_s.arg(day.random() % 100));
         }},
        // The organizer stores an expansion with no undo state and no word to the journal.
        {"application expanded",
         [](TrackedDesktop &day) {
             if (VXDictionaryRef application = someApplication(day.controller.configuration(), day.random))
                 VXOrganizerOperations::storeExpandedState(*application, day.random() % 2 == 0);
         }},
        {"import",
         [](TrackedDesktop &day) {
             VXDictionaryRef imported = VXMutableCopyOfSnapshot(VXTreeSnapshot(day.controller.configuration(), {}));
             imported->insert(VXOverallTimeKey, 12.5);
             day.controller.importConfiguration(imported, VXDictionaryRef(), [](bool) {});
         }},
        {"forced tick", [](TrackedDesktop &day) { day.controller.updateLists(&day); }},
        // Every list in another order, or with dormant windows listed or not.
        {"sort column", [](TrackedDesktop &day) { day.controller.setSortColumn(int(day.random() % 3)); }},
        {"dormant windows shown or hidden",
         [](TrackedDesktop &day) {
             day.settings.defaults->setBool(day.random() % 2 == 0, VXShowInactiveApplicationItemsKey);
         }},
    };
    int told = 0;
    int saves = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        TrackedDesktop day(seed);
        VXConfigurationStore &store = day.controller.store();
        // (Half of the days with the windows closed listed too, which a sort puts in new places.)
        day.settings.defaults->setBool(seed % 2 == 0, VXShowInactiveApplicationItemsKey);
        std::string done;
        for (int step = 0; step < 160; ++step) {
            day.step();
            if (day.random() % 6 == 0) {
                const auto &[name, change] = changes[day.random() % std::size(changes)];
                change(day);
                done += std::string(done.empty() ? "" : ", ") + name;
            }
            if (step % 8 != 7)
                continue;
            SCOPED_TRACE("after " + done);
            // The half-hourly save, as its timer runs it (asked first whether the journal can
            // tell it what moved, which it asks again, then with nothing new to write).
            const VXDictionaryRef previous = store.lastSnapshot();
            told += previous
                && day.controller.journal().settledSince(day.controller.journal().continuedSnapshot(previous))
                    != nullptr;
            store.save(nullptr);
            store.waitForPendingWrites();
            const VXDictionaryRef live = day.controller.configuration();
            if (store.lastSnapshot() == previous)
                continue;   // nothing changed since the last save
            ++saves;
            const std::optional<QByteArray> whole = propertyListData(VXValue(VXTreeSnapshot(live, VXDictionaryRef())));
            ASSERT_TRUE(whole);
            EXPECT_EQ(propertyListData(VXValue(store.lastSnapshot())), whole) << "at step " << step;
            EXPECT_EQ(readFile(day.dataHome.configurationFile()), *whole) << "at step " << step;
            done.clear();
        }
        EXPECT_EQ(day.controller.journal().missedChanges(), 0u);
    }
    EXPECT_GT(saves, 40);
    // Not every change leaves the journal unable to tell (those that save whole do).
    EXPECT_GT(told, saves / 3);
}

// Changes to a dormant application that no one reports to the journal still reach the record:
// one stored the usual way (the organizer's expansion flag) at the next save, by the change
// counts; one made in place, where no count sees it (to the application itself or to one of its
// windows), within a day's saves, by the slice each save compares in full, which logs it.
TEST(IncrementalSnapshots, AChangeNoOneReportedReachesTheRecord)
{
    const struct {
        const char *name;
        std::function<void(VXDictionary &)> change;
        bool countsSeeIt;
    } rows[] = {
        {"expansion stored", [](VXDictionary &item) { VXOrganizerOperations::storeExpandedState(item, true); }, true},
        {"name changed in place", [](VXDictionary &item) { *item.valuePointer(VXNameKey) = VXValue(u"Renamed"_s); },
         false},
        // One window among the application's, compared with a slice of them at each save.
        {"a window's time changed in place",
         [](VXDictionary &item) {
             VXDictionary *window = item.value(VXWindowsByNameKey).dictionary()->value(u"Viewer window"_s).dictionary();
             *window->valuePointer(VXTimeKey) = VXValue(12345.0);
         },
         false},
    };
    // The saves as they come, or each after a flush of the journal, which compares the save's
    // slice ahead of it: all of it, or one application's (the save compares the others).
    const struct {
        const char *name;
        bool flushFirst;
        std::size_t windowsPerFlush;
    } ways[] = {
        {"the saves as they come", false, VXJournal::kWindowsVerifiedPerFlush},
        {"each save after a flush", true, VXJournal::kWindowsVerifiedPerFlush},
        {"each save after a flush comparing one application's windows", true, 1},
    };
    for (std::size_t pass = 0; pass < std::size(ways) * std::size(rows); ++pass) {
        const auto &row = rows[pass % std::size(rows)];
        const auto &way = ways[pass / std::size(rows)];
        const bool flushFirst = way.flushFirst;
        SCOPED_TRACE(row.name);
        SCOPED_TRACE(way.name);
        TrackedDesktop day(7);
        day.controller.journal().setWindowsVerifiedPerFlush(way.windowsPerFlush);
        VXConfigurationStore &store = day.controller.store();
        for (int step = 0; step < 40; ++step)
            day.step();
        store.save(nullptr);
        store.waitForPendingWrites();
        const VXDictionary *applications = day.controller.configuration()->value(VXApplicationsKey).dictionary();
        VXDictionary *viewer = applications ? applications->value(kFormerApplications[0].id).dictionary() : nullptr;
        ASSERT_TRUE(viewer);
        row.change(*viewer);
        std::uint64_t saves = 1;
        for (; saves <= VXJournal::kVerifyRounds; ++saves) {
            day.step();
            if (flushFirst)
                day.controller.journal().flush();
            store.save(nullptr);
            store.waitForPendingWrites();
            const VXDictionaryRef record = deeplyMutableDictionaryWithData(readFile(day.dataHome.configurationFile()));
            if (VXValue(record) == VXValue(VXTreeSnapshot(day.controller.configuration(), {})))
                break;
        }
        // And it stays there at the saves after.
        for (int more = 0; more < 2; ++more) {
            day.step();
            store.save(nullptr);
            store.waitForPendingWrites();
        }
        EXPECT_EQ(VXValue(deeplyMutableDictionaryWithData(readFile(day.dataHome.configurationFile()))),
                  VXValue(VXTreeSnapshot(day.controller.configuration(), {})));
        if (row.countsSeeIt) {
            EXPECT_EQ(saves, 1u);
            EXPECT_EQ(day.controller.journal().missedChanges(), 0u);
        } else {
            EXPECT_LE(saves, VXJournal::kVerifyRounds);
            EXPECT_EQ(day.controller.journal().missedChanges(), 1u);
        }
    }
}

namespace {

VXDictionary *applicationIn(const VXDictionaryRef &tree, const QString &id)
{
    const VXDictionary *applications = tree->value(VXApplicationsKey).dictionary();
    return applications ? applications->value(id).dictionary() : nullptr;
}

// Files `window` under `title` in the application's table and at the end of its list.
void fileWindow(VXDictionary &application, const QString &title, const VXDictionaryRef &window)
{
    application.value(VXWindowsByNameKey).dictionary()->insert(title, window);
    if (VXArray *list = application.value(VXChildrenKey).array())
        list->append(window);
}

// Takes the window filed under `title` out of the application's table and list.
VXDictionaryRef unfileWindow(VXDictionary &application, const QString &title)
{
    VXDictionary *table = application.value(VXWindowsByNameKey).dictionary();
    VXDictionaryRef window = table->value(title).dictionaryRef();
    table->remove(title);
    if (VXArray *list = application.value(VXChildrenKey).array()) {
        const std::ptrdiff_t at = list->indexOfIdentical(VXValue(window));
        if (at >= 0)
            list->removeAt(std::size_t(at));
    }
    return window;
}

// A change saved (the save before it, then a half-hourly one): the timers of the editor's
// window `title` reset by hand.
void resetWindowAndSave(TrackedDesktop &day, const QString &title)
{
    VXDictionary *application = applicationIn(day.controller.configuration(), kApplications[0].id);
    day.controller.resets().resetTimerViaMenuItem(
        application->value(VXWindowsByNameKey).dictionary()->value(title).dictionaryRef());
    day.time.advanceTo(day.at += 2);
    day.controller.store().save(nullptr);
    day.controller.store().waitForPendingWrites();
}

// The live tree replaced by a copy of itself read from its bytes, with the decoder's twin or
// without one (made by the import then), as `wendle config import` does it; the answer is taken.
void importItself(TrackedDesktop &day, bool withTwin)
{
    const std::optional<QByteArray> data = propertyListData(VXValue(day.controller.configuration()));
    ASSERT_TRUE(data);
    VXValue twin;
    const VXValue imported = VXBinaryPropertyListReader::read(*data, withTwin ? &twin : nullptr);
    ASSERT_TRUE(imported.isDictionary());
    ASSERT_EQ(twin.isDictionary(), withTwin);
    std::optional<bool> saved;
    day.controller.importConfiguration(imported.dictionaryRef(), twin.dictionaryRef(),
                                       [&saved](bool written) { saved = written; });
    day.controller.store().waitForPendingWrites();
    EXPECT_EQ(saved, std::optional<bool>(true));
}

// The editor quits and the record is saved; then `change` (a setting) and a forced tick list
// its windows anew, and the journal is flushed: the record and it give the live tree. The
// editor is started again.
void listAnewBetweenSaves(TrackedDesktop &day, const std::function<void()> &change)
{
    const Application &editor = kApplications[0];
    day.desktop.activate(kApplications[1].pid);
    day.desktop.quit(editor.pid);
    day.time.advanceTo(day.at += 2);
    day.controller.store().save(nullptr);
    change();
    day.controller.updateLists(&day);
    day.time.advanceTo(day.at += 1);
    day.controller.journal().flush();
    EXPECT_EQ(replayedDifference(day), "");
    day.desktop.launch(editor.name, u"/usr/share/applications/"_s + editor.id + u".desktop"_s, editor.id, editor.pid);
}

}   // namespace

// The window table of an application that moved, taken from the last save's with only what
// changed in it: each kind of change to the table is in the save, which writes what a save
// comparing the whole tree writes. The journal answers the table only while the table was
// merely added to since the save.
TEST(IncrementalSnapshots, AnApplicationsWindowTableIsTheLastSavesWithWhatChangedInIt)
{
    // Either: a change saved whole, by the journal's flush that may come first or by this save.
    enum class Answer { Table, NoTable, Either };
    const QString &editor = kApplications[0].id;
    const struct {
        const char *name;
        std::function<void(TrackedDesktop &, std::uint64_t front)> change;
        Answer answer;
    } rows[] = {
        {"a log appended (the front window)", [](TrackedDesktop &, std::uint64_t) {}, Answer::Table},
        {"a window opened",
         [](TrackedDesktop &day, std::uint64_t) { day.desktop.openWindow(kApplications[0].pid, u"New draft"_s); },
         Answer::Table},
        {"a window retitled",
         [](TrackedDesktop &day, std::uint64_t front) {
             day.desktop.setWindowTitle(front, u"Report.odt (modified)"_s);
         },
         Answer::Table},
        {"a window closed", [](TrackedDesktop &day, std::uint64_t front) { day.desktop.closeWindow(front); },
         Answer::Table},
        // A window the ticks left alone since the save, changed by a path that names it (as the
        // resets do; one that names nothing is caught by the slices compared in full).
        {"a value stored on a dormant window",
         [editor](TrackedDesktop &day, std::uint64_t) {
             VXDictionary *application = applicationIn(day.controller.configuration(), editor);
             VXDictionary *window
                 = application->value(VXWindowsByNameKey).dictionary()->value(u"Notes.txt"_s).dictionary();
             window->insert(VXExpandedKey, true);
             VXTickWindows named;
             named.windows.push_back({application, u"Notes.txt"_s, window});
             day.controller.journal().noteTick(&named);
         },
         Answer::Table},
        {"a window removed",
         [editor](TrackedDesktop &day, std::uint64_t) {
             unfileWindow(*applicationIn(day.controller.configuration(), editor), u"Notes.txt"_s);
         },
         Answer::Either},
        {"a window moved to another application",
         [editor](TrackedDesktop &day, std::uint64_t) {
             const VXDictionaryRef tree = day.controller.configuration();
             VXDictionaryRef window = unfileWindow(*applicationIn(tree, editor), u"Notes.txt"_s);
             fileWindow(*applicationIn(tree, kApplications[1].id), u"Notes.txt"_s, window);
         },
         Answer::Either},
        // The same windows, but the table in another order, while none of them changes (saved
        // once they all went dormant).
        {"a window filed again under its title",
         [editor](TrackedDesktop &day, std::uint64_t front) {
             day.desktop.closeWindow(front);
             day.desktop.activate(kApplications[1].pid);
             day.time.advanceTo(day.at += 2);
             day.controller.store().save(nullptr);
             day.controller.store().waitForPendingWrites();
             VXDictionary &application = *applicationIn(day.controller.configuration(), editor);
             fileWindow(application, u"Notes.txt"_s, unfileWindow(application, u"Notes.txt"_s));
         },
         Answer::NoTable},
        // The dormant windows change places in the list.
        {"the list sorted by name",
         [](TrackedDesktop &day, std::uint64_t) {
             VXSetCurrentSortColumn(0);
             day.controller.updateLists(&day);
         },
         Answer::Table},
        // A dormant application's windows listed in another order, or no longer listed: the
        // journal between saves keeps it (a crash before the next save keeps the new list).
        {"a dormant application's list sorted anew between saves",
         [](TrackedDesktop &day, std::uint64_t) { listAnewBetweenSaves(day, [] { VXSetCurrentSortColumn(0); }); },
         Answer::Table},
        // Listed in another order than the record's with no tick naming the windows (the first
        // tick after a start sorts anew): the journal saves the tree whole instead of making a
        // mark for every window listed to name it.
        {"a list in another order that no tick named",
         [editor](TrackedDesktop &day, std::uint64_t) {
             VXDictionary &application = *applicationIn(day.controller.configuration(), editor);
             VXArrayRef reversed = VXMakeArray();
             const VXArray &list = *application.value(VXChildrenKey).array();
             for (std::size_t i = list.size(); i-- > 0;)
                 reversed->append(list.objectAt(i));
             application.insert(VXChildrenKey, std::move(reversed));
             day.controller.journal().flush();
             EXPECT_EQ(day.controller.journal().windowMarks(), 0u);
             EXPECT_EQ(replayedDifference(day), "");
         },
         Answer::Table},
        {"dormant windows hidden between saves",
         [](TrackedDesktop &day, std::uint64_t) {
             listAnewBetweenSaves(day,
                                  [&day] { day.settings.defaults->setBool(false, VXShowInactiveApplicationItemsKey); });
         },
         Answer::Either},
        // The tree a copy of an undo state, which the save takes as its last snapshot.
        {"an undo after the change was saved",
         [](TrackedDesktop &day, std::uint64_t) {
             resetWindowAndSave(day, u"Notes.txt"_s);
             day.controller.undo(&day);
         },
         Answer::Table},
        {"a redo after the undo was saved",
         [](TrackedDesktop &day, std::uint64_t) {
             resetWindowAndSave(day, u"Notes.txt"_s);
             day.controller.undo(&day);
             day.time.advanceTo(day.at += 2);
             day.controller.store().save(nullptr);
             day.controller.store().waitForPendingWrites();
             day.controller.redo(&day);
         },
         Answer::Table},
        // The save before the change marked the tree; the reset says which windows it touched
        // (here one of a dormant application, which no tick walks).
        {"a window's timers reset",
         [](TrackedDesktop &day, std::uint64_t) {
             VXDictionary *application = applicationIn(day.controller.configuration(), kFormerApplications[0].id);
             day.controller.resets().resetTimerViaMenuItem(
                 application->value(VXWindowsByNameKey).dictionary()->value(u"Viewer window"_s).dictionaryRef());
         },
         Answer::Table},
        // (The mail program in front: no pool gains time after the reset.)
        {"pool timers reset",
         [](TrackedDesktop &day, std::uint64_t) {
             day.desktop.activate(kApplications[1].pid);
             day.time.advanceTo(day.at += 1);
             confirmed(day, &VXResets::resetPoolTimers);
         },
         Answer::Table},
        {"pools cleared", [](TrackedDesktop &day, std::uint64_t) { confirmed(day, &VXResets::clearPools); },
         Answer::Table},
        // Saved as it came; the journal goes on from it as after a load.
        {"an import", [](TrackedDesktop &day, std::uint64_t) { importItself(day, true); }, Answer::Table},
        {"an import the decoder made no twin of", [](TrackedDesktop &day, std::uint64_t) { importItself(day, false); },
         Answer::Table},
        {"application timers reset",
         [](TrackedDesktop &day, std::uint64_t) { confirmed(day, &VXResets::resetApplicationTimers); }, Answer::Either},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        TrackedDesktop day(3);
        VXConfigurationStore &store = day.controller.store();
        // Every window listed. The editor with dormant windows and one in front, the mail
        // program with one, saved.
        day.settings.defaults->setBool(true, VXShowInactiveApplicationItemsKey);
        day.desktop.activate(kApplications[1].pid);
        day.desktop.openWindow(kApplications[1].pid, u"Inbox"_s);
        day.desktop.activate(kApplications[0].pid);
        // (In front for different times: by front time they are listed in another order than by name.)
        for (const auto &[title, seconds] : {std::pair {u"Notes.txt"_s, 3}, {u"Draft"_s, 5}, {u"Old log"_s, 7}}) {
            const std::uint64_t dormant = day.desktop.openWindow(kApplications[0].pid, title);
            day.time.advanceTo(day.at += seconds);
            day.desktop.closeWindow(dormant);
        }
        const std::uint64_t front = day.desktop.openWindow(kApplications[0].pid, u"Report.odt"_s);
        day.time.advanceTo(day.at += 5);
        store.save(nullptr);
        store.waitForPendingWrites();
        day.time.advanceTo(day.at += 5);

        row.change(day, front);
        day.time.advanceTo(day.at += 2);
        const VXDictionaryRef previous = day.controller.journal().continuedSnapshot(store.lastSnapshot());
        const VXSettledParts settled = day.controller.journal().settledSince(previous);
        if (row.answer != Answer::Either) {
            EXPECT_TRUE(settled);
        }
        const VXDictionaryRef live = day.controller.configuration();
        if (settled && row.answer != Answer::Either) {
            VXDictionary *application = applicationIn(live, editor);
            ASSERT_TRUE(application);
            const VXSettledPart table = settled(application->value(VXWindowsByNameKey), application);
            EXPECT_EQ(table.same.isDictionary(), row.answer == Answer::Table);
            if (table.same.isDictionary()) {
                EXPECT_TRUE(table.same.isSameObject(applicationIn(previous, editor)->value(VXWindowsByNameKey)));
            }
        }
        // This save, and the next one, taken from it, after a dormant window came back.
        for (int save = 0; save < 2; ++save) {
            SCOPED_TRACE(save ? "the save after" : "the save after the change");
            if (save) {
                day.desktop.activate(kApplications[0].pid);
                day.desktop.openWindow(kApplications[0].pid, u"Notes.txt"_s);
                day.time.advanceTo(day.at += 2);
            }
            const VXDictionaryRef before = store.lastSnapshot();
            store.save(nullptr);
            store.waitForPendingWrites();
            ASSERT_NE(store.lastSnapshot(), before);
            // The windows are as saved: the journal follows none of them.
            EXPECT_EQ(day.controller.journal().windowMarks(), 0u);
            const std::optional<QByteArray> whole = propertyListData(VXValue(VXTreeSnapshot(live, VXDictionaryRef())));
            ASSERT_TRUE(whole);
            EXPECT_EQ(propertyListData(VXValue(store.lastSnapshot())), whole);
            EXPECT_EQ(readFile(day.dataHome.configurationFile()), *whole);
            // The journal that goes on after it continues this record.
            day.time.advanceTo(day.at += 2);
            day.controller.journal().flush();
            store.waitForPendingWrites();
            const QByteArray record = readFile(day.dataHome.configurationFile());
            const VXJournalFile::Contents journal
                = VXJournalFile::read(readFile(day.dataHome.configurationFolder() + u"/Default.journal"_s), record);
            ASSERT_EQ(journal.status, VXJournalFile::Contents::Status::Matches);
            const VXDictionaryRef replayed = deeplyMutableDictionaryWithData(record);
            VXJournalReplay replay(*replayed);
            for (const QByteArray &entry : journal.entries)
                ASSERT_TRUE(replay.apply(entry));
            EXPECT_EQ(VXValue(replayed), VXValue(live)) << firstDifference(VXValue(replayed), VXValue(live));
        }
    }
}
