// The forced tick that follows a user action walks only the window tables that changed. On
// randomized days the user edits the tree between ticks the way the organizer, resets and undo
// do (renaming, deleting and re-filing windows, deleting applications, resetting times,
// replacing a window table or the whole tree, switching the lists' settings); after each edit
// one sampler runs its forced tick and another walks every item of the tree from scratch, and
// the two must leave the same tree and the same lists, tick by tick.

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXFakeDesktop.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

#include <random>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

const QString kNames[] = {u"Editor"_s, u"Mail"_s, u"Web"_s, u"Terminal"_s, u"Viewer"_s};
const QString kWords[] = {u"Report"_s, u"Inbox"_s, u"Notes"_s, u"Build"_s, u"Plan"_s, u"Draft"_s};
constexpr double kStart = 1'750'000'000.0;

VXDictionaryRef makeConfiguration()
{
    VXArrayRef pools = VXMakeArray();
    pools->append(pool(u"Writing"_s,
                       {member(u"Editor"_s, u"org.example.Editor"_s, {windowEntry(u"Report*"_s)}),
                        member(u"Mail"_s, u"org.example.Mail"_s)}));
    pools->append(pool(u"Builds"_s, {member(u"Terminal"_s, u"org.example.Terminal"_s, {windowEntry(u"Build*"_s)})}));
    return dictionary({{VXPoolsKey, pools}});
}

class Day
{
public:
    explicit Day(std::uint32_t seed) : m_random(seed) { }

    void run(int ticks)
    {
        VXDictionaryRef walked = makeConfiguration();
        VXDictionaryRef forced = makeConfiguration();
        VXActivitySampler walking;
        VXActivitySampler forcing;
        VXSamplerSettings settings;
        VXDesktopSnapshot snapshot;
        double now = kStart;
        for (int tick = 0; tick < ticks; ++tick) {
            SCOPED_TRACE(::testing::Message() << "tick " << tick);
            mutateDesktop();
            bool edited = false;
            if (below(100) < 15) {
                const std::uint32_t edit = next();
                if (edit % 23 == 0) {
                    // Undo or a load: the tree is replaced by an equal one.
                    walked = VXValue(walked).deepCopy().dictionaryRef();
                    forced = VXValue(forced).deepCopy().dictionaryRef();
                } else {
                    editTree(*walked, edit);
                    editTree(*forced, edit);
                }
                if (edit % 7 == 0)
                    settings.showInactiveApplicationItems = !settings.showInactiveApplicationItems;
                if (edit % 11 == 0)
                    settings.sortColumn = int(edit % 3);
                edited = true;
            }
            now += below(4) == 0 ? 2.0 : 0.5;
            m_desktop.takeSnapshot(snapshot);
            walking.invalidateDormancyRecord();
            walking.sample(walked, snapshot, now, settings, true);
            forcing.sample(forced, snapshot, now, settings, edited);

            if (VXValue(walked) != VXValue(forced))
                FAIL() << "the trees differ: " << firstDifference(VXValue(walked), VXValue(forced));
            if (VXValue(walking.applicationArray()) != VXValue(forcing.applicationArray()))
                FAIL() << "the application lists differ: "
                       << firstDifference(VXValue(walking.applicationArray()), VXValue(forcing.applicationArray()));
            if (VXValue(walking.poolArray()) != VXValue(forcing.poolArray()))
                FAIL() << "the pool lists differ: "
                       << firstDifference(VXValue(walking.poolArray()), VXValue(forcing.poolArray()));
            ASSERT_TRUE(treeKeepsItsInvariants(*forced));
        }
        // The day must have filed windows that went dormant, or it compared nothing worth it.
        std::size_t windows = 0;
        for (const VXDictionary::Entry &entry : *forced->value(VXApplicationsKey).dictionary())
            if (const VXDictionary *table = entry.value.dictionary()->value(VXWindowsByNameKey).dictionary())
                windows += table->size();
        EXPECT_GT(windows, 10u);
    }

private:
    std::uint32_t next() { return m_random(); }
    std::uint32_t below(std::uint32_t bound) { return next() % bound; }

    // The key at `index` in code-point order: the same entry in both trees, whatever the order
    // each table keeps.
    static QString keyAt(const VXDictionary &table, std::uint32_t index)
    {
        return table.entries()[table.sortedEntryIndexes()[index % table.size()]].key;
    }

    // One user action, chosen by `edit`, the same on every tree it is applied to.
    static void editTree(VXDictionary &configuration, std::uint32_t edit)
    {
        VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary();
        if (!applications || applications->isEmpty())
            return;
        const QString applicationKey = keyAt(*applications, edit / 3);
        VXDictionary &application = *applications->value(applicationKey).dictionary();
        VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary();
        const QString windowKey = windows && !windows->isEmpty() ? keyAt(*windows, edit / 17) : QString();
        const VXValue window = windows && !windowKey.isNull() ? windows->value(windowKey) : VXValue();
        switch ((edit / 5) % 7) {
        case 0:   // renamed
            if (window.isDictionary()) {
                windows->remove(windowKey);
                window.dictionary()->insert(VXNameKey, windowKey + u" (renamed)"_s);
                windows->insert(windowKey + u" (renamed)"_s, window);
            }
            break;
        case 1:   // deleted
            if (window.isDictionary())
                windows->remove(windowKey);
            break;
        case 2:   // one deleted and another filed in its place: the table keeps its size
            if (window.isDictionary() && windows->size() > 1) {
                const QString other = keyAt(*windows, edit / 19 + 1);
                if (other != windowKey) {
                    windows->remove(other);
                    VXValue copy = window.deepCopy();
                    copy.dictionary()->insert(VXNameKey, other + u" (moved)"_s);
                    windows->insert(other + u" (moved)"_s, copy);
                }
            }
            break;
        case 3:   // the application's times reset, its windows' with it
            resetTimersRecursively(application);
            break;
        case 4:   // one window's times reset
            if (window.isDictionary())
                resetTimersRecursively(*window.dictionary());
            break;
        case 5:   // the window table replaced by a copy (an import)
            if (windows)
                application.insert(VXWindowsByNameKey, VXValue(VXDictionaryRef(windows)).deepCopy());
            break;
        default:   // the application deleted
            applications->remove(applicationKey);
            break;
        }
    }

    // Applications start and quit; windows open with ever new titles, close and get renamed.
    void mutateDesktop()
    {
        auto &running = m_desktop.state().runningApplications;
        auto &windows = m_desktop.state().windows;
        for (int events = int(below(3)); events > 0; --events) {
            const std::uint32_t kind = below(100);
            if (kind < 10 && running.size() < 4) {
                const QString &name = kNames[below(std::size(kNames))];
                m_desktop.launch(name, u"/usr/share/applications/org.example."_s + name + u".desktop"_s,
                                 u"org.example."_s + name, m_nextPID++);
            } else if (kind < 14 && !running.empty()) {
                m_desktop.quit(running[below(std::uint32_t(running.size()))].processIdentifier);
            } else if (kind < 35 && !running.empty()) {
                m_desktop.activate(running[below(std::uint32_t(running.size()))].processIdentifier);
            } else if (kind < 60 && !running.empty() && windows.size() < 12) {
                m_desktop.openWindow(running[below(std::uint32_t(running.size()))].processIdentifier, title());
            } else if (kind < 80 && !windows.empty()) {
                m_desktop.closeWindow(windows[below(std::uint32_t(windows.size()))].number);
            } else if (!windows.empty()) {
                m_desktop.setWindowTitle(windows[below(std::uint32_t(windows.size()))].number, title());
            }
        }
    }

    QString title() { return kWords[below(std::size(kWords))] + u' ' + QString::number(below(40)); }

    std::mt19937 m_random;
    VXFakeDesktop m_desktop;
    std::int64_t m_nextPID = 100;
};

}   // namespace

TEST(VXForcedTick, WalkingOnlyTheChangedTablesLeavesWhatAWalkOverEverythingLeaves)
{
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        Day(seed).run(1500);
        if (::testing::Test::HasFailure())
            return;
    }
}

// The change count that the forced tick trusts: every way of storing, replacing or removing an
// entry counts, and reading does not.
TEST(VXForcedTick, EveryChangeToATableCounts)
{
    VXDictionary table;
    std::uint32_t seen = table.changeCount();
    const auto changed = [&] {
        const bool counted = table.changeCount() != seen;
        seen = table.changeCount();
        return counted;
    };
    table.insert(u"a"_s, 1);
    EXPECT_TRUE(changed()) << "a new key";
    table.insert(u"a"_s, 2);
    EXPECT_TRUE(changed()) << "a value replaced";
    table.insertNew(u"b"_s, 3);
    EXPECT_TRUE(changed()) << "a key known to be new";
    EXPECT_EQ(table.value(u"a"_s).toInteger(), 2);
    EXPECT_TRUE(table.contains(u"b"_s));
    EXPECT_FALSE(changed()) << "reading";
    EXPECT_FALSE(table.remove(u"missing"_s));
    EXPECT_FALSE(changed()) << "removing a missing key";
    table.remove(u"a"_s);
    EXPECT_TRUE(changed()) << "a key removed";
    table.insert(u"b"_s, VXValue());
    EXPECT_TRUE(changed()) << "a key removed by storing nothing";
    table.clear();
    EXPECT_TRUE(changed()) << "cleared";
}
