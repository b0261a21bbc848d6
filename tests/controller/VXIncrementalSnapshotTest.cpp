// The half-hourly save's snapshot, taken from the last one and what the journal saw move since,
// against the whole tree compared: random tracking (windows opening, closing and retitled, the
// front switching, pools crediting) with saves in between. Every item the journal calls
// settled equals its saved counterpart value for value, every save writes the file a snapshot
// of the whole tree would give, and the journal that goes on after each save replays onto it.

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

}   // namespace

TEST(IncrementalSnapshots, SavesAfterRandomTrackingWriteTheWholeTreesFile)
{
    const QString titles[] = {u"Report.odt"_s, u"Notes.txt"_s,  u"Docs - Index"_s, u"Inbox"_s,
                              u"Report 2"_s,   u"Docs - API"_s, u"build log"_s,    u"Draft"_s};
    // The tracker leaves the sort column shared by every test behind it.
    struct SortColumnReset {
        ~SortColumnReset() { VXSetCurrentSortColumn(1); }
    } sortColumnReset;
    int settledItems = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        Settings settings;
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        ScopedDataHome dataHome;
        VXVirtualScheduler time {kStart};
        VXFakeDesktop desktop;
        ScriptedUserInterface ui;
        for (const Application &application : kApplications) {
            desktop.launch(application.name, u"/usr/share/applications/"_s + application.id + u".desktop"_s,
                           application.id, application.pid);
        }
        desktop.activate(kApplications[0].pid);
        VXMainController controller(desktop, time, time, *settings.defaults, &ui);
        controller.applicationWillFinishLaunching();
        controller.applicationDidFinishLaunching({}, {});
        time.runDue();
        controller.setConfiguration(poolsOnly());
        std::mt19937 random(seed);
        std::vector<std::pair<qint64, std::uint64_t>> windows;
        double at = kStart;
        for (int step = 0; step < 120; ++step) {
            const Application &application = kApplications[random() % std::size(kApplications)];
            switch (random() % 4) {
            case 0:
                windows.emplace_back(application.pid,
                                     desktop.openWindow(application.pid, titles[random() % std::size(titles)]));
                break;
            case 1:
                if (!windows.empty()) {
                    const std::size_t index = random() % windows.size();
                    desktop.closeWindow(windows[index].second);
                    windows.erase(windows.begin() + std::ptrdiff_t(index));
                }
                break;
            default: desktop.activate(application.pid); break;
            }
            at += 1 + random() % 12;
            time.advanceTo(at);
            if (step % 10 != 9)
                continue;
            // The save, as the half-hourly one takes it: told what did not move since the last.
            VXConfigurationStore &store = controller.store();
            const VXDictionaryRef previous = store.lastSnapshot();
            ASSERT_TRUE(previous);
            const VXSettledParts settled = controller.journal().settledSince(previous);
            ASSERT_TRUE(settled) << "the journal continues the last save at step " << step;
            forEachItem(*controller.configuration(), [&](const VXDictionary &item, const QString &name) {
                if (const VXDictionary *same = settled(item)) {
                    ++settledItems;
                    EXPECT_EQ(VXValue(VXDictionaryRef(const_cast<VXDictionary *>(same))),
                              VXValue(VXDictionaryRef(const_cast<VXDictionary *>(&item))))
                        << qPrintable(name) << " at step " << step;
                }
            });
            // The journal went on from the last save with the marks it kept: the record and the
            // journal beside it give the tree back.
            store.waitForPendingWrites();
            const QByteArray record = readFile(dataHome.configurationFile());
            const VXJournalFile::Contents journal
                = VXJournalFile::read(readFile(dataHome.configurationFolder() + u"/Default.journal"_s), record);
            ASSERT_EQ(journal.status, VXJournalFile::Contents::Status::Matches) << "at step " << step;
            const VXDictionaryRef replayed = deeplyMutableDictionaryWithData(record);
            VXJournalReplay replay(*replayed);
            for (const QByteArray &entry : journal.entries)
                ASSERT_TRUE(replay.apply(entry)) << "at step " << step;
            EXPECT_EQ(VXValue(replayed), VXValue(controller.configuration()))
                << "at step " << step << ": "
                << firstDifference(VXValue(replayed), VXValue(controller.configuration()));
            store.noteChange();
            store.writeWhole();
            store.waitForPendingWrites();
            const VXDictionaryRef live = controller.configuration();
            const std::optional<QByteArray> whole = propertyListData(VXValue(VXTreeSnapshot(live, VXDictionaryRef())));
            ASSERT_TRUE(whole);
            EXPECT_EQ(propertyListData(VXValue(store.lastSnapshot())), whole) << "at step " << step;
            const QByteArray file = readFile(dataHome.configurationFile());
            EXPECT_EQ(VXValue(deeplyMutableDictionaryWithData(file)), VXValue(live)) << "at step " << step;
        }
    }
    // Not every save may fall back on comparing the whole tree.
    EXPECT_GT(settledItems, 0);
}
