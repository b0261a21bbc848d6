// Randomized desktops, reproducible by seed: applications start and quit, windows open, close,
// get renamed, change spaces and stacking, the front changes, pauses cut gaps into the time line,
// and the user edits the rules and the tree between ticks the way the organizer, resets and undo
// do (renaming, deleting and re-filing windows, deleting applications, resetting times, replacing
// a window table or the whole tree). After every tick the tree must keep its invariants, the
// credits must follow the credit rule, and the sampler that skips dormant windows (walking only
// the tables that changed on a forced tick) must leave exactly the tree that a walk over every
// item leaves. The walk credits pools by the plain walk over every pool, member and entry; the
// skipping sampler by its prepared matcher, which must notice every pool edit by itself.

#include "VXActivitySampler.h"
#include "VXBlacklists.h"
#include "VXConfigurationKeys.h"
#include "VXFakeDesktop.h"
#include "VXSeededRandom.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

#include <map>
#include <thread>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

struct ApplicationProfile {
    QString name;
    QString path;
    QString identifier;
    VXActivationPolicy policy = VXActivationPolicy::Regular;
};

const ApplicationProfile kApplications[] = {
    {u"Editor"_s, u"/usr/share/applications/org.example.Editor.desktop"_s, u"org.example.Editor"_s},
    {u"Mail"_s, u"/usr/share/applications/org.example.Mail.desktop"_s, u"org.example.Mail"_s},
    {u"Web"_s, u"/usr/share/applications/org.example.Web.desktop"_s, u"org.example.Web"_s},
    {u"Terminal"_s, u"/usr/bin/terminal"_s, QString()},
    {u"Wendle"_s, u"/usr/share/applications/wendle.desktop"_s, u"wendle"_s},
    {u"Tray Helper"_s, u"/usr/libexec/helper"_s, u"org.example.Helper"_s, VXActivationPolicy::Accessory},
    {u" Notes "_s, u"/usr/share/applications/org.example.Notes.desktop"_s, u"org.example.Notes"_s},
};

const QString kTitles[] = {
    u"Report - Draft"_s,
    u"Report - Final"_s,
    u"Notes"_s,
    u"Inbox (3)"_s,
    u"Inbox (4)"_s,
    u"https://example.org/news"_s,
    u"   "_s,
    u"Secret plan"_s,
    u"R\u00E9sum\u00E9"_s,
    u"Budget.key"_s,
    u"Build 7 - Terminal"_s,
    u"Build 8 - Terminal"_s,
    u"Draft"_s,
};

const double kSteps[] = {0.5, 0.5, 0.5, 0.5, 1.0, 1.0, 2.5, 7.0, 0.0};

constexpr double kStart = 1'750'000'000.0;

VXDictionaryRef makeConfiguration()
{
    VXArrayRef pools = VXMakeArray();
    pools->append(
        pool(u"Writing"_s,
             {member(u"Editor"_s, u"org.example.Editor"_s, {windowEntry(u"Report*"_s), windowEntry(u"*draft*"_s)}),
              member(u"Mail"_s, u"org.example.Mail"_s)}));
    VXDictionaryRef anyApplication = member(QString(), QString());
    setBool(*anyApplication, true, VXMatchAnyApplicationKey);
    pools->append(pool(u"Everything"_s, {anyApplication}));
    VXDictionaryRef inboxes = member(u"Web"_s, u"org.example.Web"_s, {windowEntry(u"*(*)"_s)});
    setBool(*inboxes, true, VXMatchAnyApplicationKey);
    pools->append(pool(QString(), {inboxes, member(u"W*"_s, u"org.example.Web"_s)}));
    pools->append(pool(u"Shell"_s, {member(u"terminal"_s, u"/usr/bin/terminal"_s, {windowEntry(u"Build*"_s)})}));
    pools->append(pool(u"Empty"_s, {}));

    return dictionary({
        {VXPoolsKey, pools},
        {VXWindowBlacklistKey, strings({u"http*://*", u"Editor \u25B8 Secret*", u"*.key"})},
        {VXCutoffsKey,
         dictionary({{u"editor"_s, dictionary({{VXSeparatorsKey, strings({u" - "})}})},
                     {u"mail"_s, dictionary({{VXSeparatorsKey, strings({u" ("})}})},
                     {u"terminal"_s, dictionary({{VXSeparatorsKey, strings({u" - "})}})}})},
    });
}

// What the sampler counts as a tracked process of an application.
bool isTracked(const VXRunningApplication &process, const VXDictionary &configuration)
{
    const VXArray *blacklist = configuration.value(VXApplicationBlacklistKey).array();
    return process.activationPolicy == VXActivationPolicy::Regular && !process.bundlePath.isEmpty()
        && validItemNameCheckedAgainstBlacklist(process.localizedName, VXApplicationBlacklistPatterns(*blacklist));
}

QString idOf(const VXRunningApplication &process)
{
    return process.bundleIdentifier.isEmpty() ? process.bundlePath : process.bundleIdentifier;
}

struct Times {
    QString where;
    double time;
    double frontTime;
    bool active;
    bool frontActive;
};
using TimesByItem = std::map<const VXDictionary *, Times>;

// Times of every item of the tree (items stay the same objects from tick to tick).
TimesByItem timesOf(const VXDictionary &configuration)
{
    TimesByItem times;
    forEachItem(configuration, [&](const VXDictionary &item, const QString &where) {
        times[&item] = {where, timeOf(item), frontTimeOf(item), boolForKey(item, VXActiveKey),
                        boolForKey(item, VXFrontActiveKey)};
    });
    return times;
}

class Scenario
{
public:
    explicit Scenario(std::uint32_t seed) : m_random(seed) { }

    bool chance(double p) { return m_random.chance(p); }
    template <class C> const auto &pick(const C &choices) { return choices[m_random() % std::size(choices)]; }

    void run(int ticks)
    {
        VXDictionaryRef walked = makeConfiguration();
        VXDictionaryRef skipping = makeConfiguration();
        VXActivitySampler walking;
        VXActivitySampler skipper;
        walking.setPlainPoolWalk(true);
        VXSamplerSettings settings;
        VXDesktopSnapshot snapshot;
        double now = kStart;
        std::optional<double> lastTick;
        for (int tick = 0; tick < ticks; ++tick) {
            SCOPED_TRACE(::testing::Message() << "tick " << tick);
            bool forced = mutateDesktop(settings);
            if (chance(0.01)) {
                // The user edits a rule. The program forces a tick after every such change; the
                // skipping sampler is not told, to show that it notices by itself.
                const std::uint32_t edit = m_random();
                editRules(*walked, edit);
                editRules(*skipping, edit);
            }
            if (chance(0.1)) {
                // The user edits the tree, and the program forces a tick.
                const std::uint32_t edit = m_random();
                if (edit % 23 == 0) {
                    // Undo or a load: the tree is replaced by an equal one.
                    walked = VXValue(walked).deepCopy().dictionaryRef();
                    skipping = VXValue(skipping).deepCopy().dictionaryRef();
                } else {
                    editTree(*walked, edit);
                    editTree(*skipping, edit);
                }
                forced = true;
            }
            const double step = pick(kSteps);
            now += step;
            if (chance(0.02)) {   // a pause ended
                walking.setIgnoreLastDate(true);
                skipper.setIgnoreLastDate(true);
            }
            const bool gap = skipper.ignoreLastDate() || !lastTick;
            const double elapsed = gap ? 0.0 : now - *lastTick;

            const TimesByItem before = timesOf(*skipping);
            const double overallBefore = timeIntervalForKey(*skipping, VXOverallTimeKey);

            m_desktop.takeSnapshot(snapshot);
            // The walk ticks on a thread of its own, so that the skipping sampler sees no change
            // to its thread's containers but the user's (VXPoolMatcher::settle()).
            std::thread([&] {
                walking.invalidateDormancyRecord();
                walking.sample(walked, snapshot, now, settings, true);
            }).join();
            skipper.sample(skipping, snapshot, now, settings, forced);
            lastTick = now;

            EXPECT_TRUE(treeKeepsItsInvariants(*skipping));
            if (VXValue(walked) != VXValue(skipping))
                FAIL() << "skipping dormant items changed the tree: "
                       << firstDifference(VXValue(walked), VXValue(skipping));
            if (VXValue(walking.applicationArray()) != VXValue(skipper.applicationArray()))
                FAIL() << "application lists differ: "
                       << firstDifference(VXValue(walking.applicationArray()), VXValue(skipper.applicationArray()));
            if (VXValue(walking.poolArray()) != VXValue(skipper.poolArray()))
                FAIL() << "pool lists differ: "
                       << firstDifference(VXValue(walking.poolArray()), VXValue(skipper.poolArray()));
            ASSERT_EQ(timeIntervalForKey(*skipping, VXOverallTimeKey), overallBefore + elapsed);

            const TimesByItem after = timesOf(*skipping);
            checkApplicationCredits(before, after, elapsed, snapshot, *skipping);
            checkPoolCredits(before, after, elapsed);
            if (::testing::Test::HasFatalFailure())
                return;
            if (noApplicationRunsTwice(snapshot, *skipping)) {
                double frontGain = 0.0;
                for (const auto &[item, times] : after) {
                    if (times.where.startsWith(u"application "_s)) {
                        const auto old = before.find(item);
                        frontGain += times.frontTime - (old != before.end() ? old->second.frontTime : 0.0);
                    }
                }
                ASSERT_LE(frontGain, elapsed + 1e-9) << "applications were in front longer than the tick";
            } else {
                ++m_duplicateTicks;
            }
            if (::testing::Test::HasFailure())
                return;
        }
        for (const VXDictionary::Entry &entry : *skipping->value(VXApplicationsKey).dictionary())
            if (const VXDictionary *table = entry.value.dictionary()->value(VXWindowsByNameKey).dictionary())
                m_filedWindows += table->size();
    }

    // Ticks in which some application ran as two processes.
    int duplicateTicks() const { return m_duplicateTicks; }
    // Windows filed in the tree at the end.
    std::size_t filedWindows() const { return m_filedWindows; }

private:
    // A title of a few words and numbers: windows come and go under ever new titles, and
    // window tables fill with dormant windows.
    QString title() { return chance(0.5) ? pick(kTitles) : pick(kTitles) + u' ' + QString::number(m_random() % 40); }

    // The key at `index` in code-point order: the same entry in both trees, whatever the order
    // each table keeps.
    static QString keyAt(const VXDictionary &table, std::uint32_t index)
    {
        return table.entries()[table.sortedEntryIndexes()[index % table.size()]].key;
    }

    // One change to the rules, chosen by `edit`, the same on every tree it is applied to.
    static void editRules(VXDictionary &configuration, std::uint32_t edit)
    {
        const QString patterns[] = {u"Report*"_s, u"*(*)"_s, u"Notes"_s, u"!Mail"_s, u"Build*"_s, u"*a*"_s};
        const QString lines[] = {u"Notes"_s, u"Editor \u25B8 Report*"_s, u"Mail \u25B8"_s, u"* \u25B8 Build*"_s};
        VXArray &pools = *configuration.value(VXPoolsKey).array();
        VXDictionary &aPool = *pools.at(edit % pools.size()).dictionary();
        VXArray &members = *aPool.value(VXChildrenKey).array();
        VXDictionary *aMember = members.isEmpty() ? nullptr : members.at((edit / 7) % members.size()).dictionary();
        const QString pattern = patterns[(edit / 11) % std::size(patterns)];
        switch ((edit / 101) % 10) {
        case 9:   // a member moved to another pool: only lists change
            if (aMember) {
                const VXValue moved(VXDictionaryRef {aMember});
                members.removeAt(std::size_t(members.indexOfIdentical(moved)));
                pools.at((edit / 5) % pools.size()).dictionary()->value(VXChildrenKey).array()->append(moved);
            }
            break;
        case 7:   // an entry renamed in place
            if (const VXArray *entries = aMember ? aMember->value(VXChildrenKey).array() : nullptr;
                entries && !entries->isEmpty())
                entries->at((edit / 3) % entries->size()).dictionary()->insert(VXNameKey, pattern);
            break;
        case 8:   // a member re-identified
            if (aMember)
                aMember->insert(VXApplicationIDKey, edit % 2 ? u"org.example.Mail"_s : u"org.example.Editor"_s);
            break;
        case 0:
            if (aMember)
                setBool(*aMember, !boolForKey(*aMember, VXMatchAnyApplicationKey), VXMatchAnyApplicationKey);
            break;
        case 1:
            if (aMember)
                aMember->insert(VXNameKey, pattern);
            break;
        case 2:
            if (aMember) {
                VXArray *entries = aMember->value(VXChildrenKey).array();
                if (!entries) {
                    aMember->insert(VXChildrenKey, VXMakeArray());
                    entries = aMember->value(VXChildrenKey).array();
                }
                entries->append(windowEntry(pattern));
            }
            break;
        case 3: members.append(member(pattern, u"org.example.Mail"_s)); break;
        case 4: {
            VXArray &blacklist = *configuration.value(VXWindowBlacklistKey).array();
            blacklist.append(lines[(edit / 13) % std::size(lines)]);
            break;
        }
        case 5: {
            VXArray &blacklist = *configuration.value(VXApplicationBlacklistKey).array();
            if (blacklist.size() > 1)
                blacklist.removeLast();
            else
                blacklist.append(u"Notes"_s);
            break;
        }
        default:
            configuration.insert(
                VXCutoffsKey,
                dictionary({{u"editor"_s, dictionary({{VXSeparatorsKey, strings({edit % 2 ? u" - " : u" "})}})}}));
            break;
        }
    }

    // One user action, chosen by `edit`, the same on every tree it is applied to.
    static void editTree(VXDictionary &configuration, std::uint32_t edit)
    {
        if ((edit / 5) % 9 >= 7) {
            // A pool's times reset, or one member's or entry's: the lists that hold them change
            // order, and the pool list may.
            const VXArray &pools = *configuration.value(VXPoolsKey).array();
            VXDictionary &aPool = *pools.at(edit % pools.size()).dictionary();
            const VXArray &members = *aPool.value(VXChildrenKey).array();
            VXDictionary *aMember = members.isEmpty() ? nullptr : members.at((edit / 7) % members.size()).dictionary();
            const VXArray *entries = aMember ? aMember->value(VXChildrenKey).array() : nullptr;
            if ((edit / 5) % 9 == 7 || !aMember)
                resetTimersRecursively(aPool);
            else if (entries && !entries->isEmpty() && edit % 2)
                resetTimersRecursively(*entries->at((edit / 3) % entries->size()).dictionary());
            else
                resetTimersRecursively(*aMember);
            return;
        }
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

    // One random change to the desktop; answers whether it is one after which the program
    // forces a tick.
    bool mutateDesktop(VXSamplerSettings &settings)
    {
        auto &running = m_desktop.state().runningApplications;
        auto &windows = m_desktop.state().windows;
        const int events = int(m_random() % 3);
        for (int e = 0; e < events; ++e) {
            const unsigned kind = m_random() % 100;
            if (kind < 12 && running.size() < 8) {
                const ApplicationProfile &profile = pick(kApplications);
                const bool alreadyRuns = std::any_of(running.begin(), running.end(),
                                                     [&](const auto &p) { return p.bundlePath == profile.path; });
                if (!alreadyRuns || chance(0.2))
                    m_desktop.launch(profile.name, profile.path, profile.identifier, chance(0.05) ? -1 : m_nextPID++,
                                     profile.policy);
            } else if (kind < 18 && !running.empty()) {
                m_desktop.quit(running[m_random() % running.size()].processIdentifier);
            } else if (kind < 40 && !running.empty()) {
                if (chance(0.1))
                    m_desktop.setFrontmostApplicationPath(QString());
                else
                    m_desktop.activate(running[m_random() % running.size()].processIdentifier);
            } else if (kind < 58 && !running.empty()) {
                m_desktop.openWindow(running[m_random() % running.size()].processIdentifier, title(),
                                     chance(0.1) ? 3 : 0);
            } else if (kind < 66 && !windows.empty()) {
                m_desktop.closeWindow(windows[m_random() % windows.size()].number);
            } else if (kind < 76 && !windows.empty()) {
                m_desktop.setWindowTitle(windows[m_random() % windows.size()].number, title());
            } else if (kind < 88 && !windows.empty()) {
                m_desktop.raiseWindow(windows[m_random() % windows.size()].number);
            } else if (kind < 94 && !windows.empty()) {
                m_desktop.setWindowOnScreen(windows[m_random() % windows.size()].number, chance(0.5), chance(0.7));
            } else if (kind < 96) {
                settings.qualifiedBlacklistEatsFrontmostWindow = !settings.qualifiedBlacklistEatsFrontmostWindow;
            } else if (kind < 97) {
                settings.showInactiveApplicationItems = !settings.showInactiveApplicationItems;
            } else if (kind < 98) {
                switch (m_random() % 3) {
                case 0: settings.includeFloatingWindows = !settings.includeFloatingWindows; break;
                case 1: settings.showInactivePools = !settings.showInactivePools; break;
                default: settings.sortColumn = int(m_random() % 3); break;
                }
            } else {
                return true;   // a user action: the program forces a tick
            }
        }
        return false;
    }

    // An application gains the interval once per tracked process, when it was active at the
    // previous tick; its front time the same for the processes in front, when it was in front.
    void checkApplicationCredits(const TimesByItem &before, const TimesByItem &after, double elapsed,
                                 const VXDesktopSnapshot &snapshot, const VXDictionary &configuration)
    {
        for (const auto &[item, times] : after) {
            const QString &where = times.where;
            if (!where.startsWith(u"application "_s))
                continue;
            const QString id = where.mid(12);
            int processes = 0;
            int frontProcesses = 0;
            for (const VXRunningApplication &process : snapshot.runningApplications) {
                if (isTracked(process, configuration) && idOf(process) == id) {
                    ++processes;
                    if (process.bundlePath == snapshot.frontmostApplicationPath)
                        ++frontProcesses;
                }
            }
            const auto old = before.find(item);
            const Times was = old != before.end() ? old->second : Times {where, 0, 0, false, false};
            const double expectedTime = was.active ? elapsed * processes : 0.0;
            const double expectedFront = was.frontActive ? elapsed * frontProcesses : 0.0;
            ASSERT_NEAR(times.time - was.time, expectedTime, 1e-9) << where.toStdString();
            ASSERT_NEAR(times.frontTime - was.frontTime, expectedFront, 1e-9) << where.toStdString();
        }
    }

    // Pools, members and entries gain each interval at most once.
    void checkPoolCredits(const TimesByItem &before, const TimesByItem &after, double elapsed)
    {
        for (const auto &[item, times] : after) {
            const QString &where = times.where;
            if (where.startsWith(u"application "_s) || where.startsWith(u"window "_s))
                continue;
            const auto old = before.find(item);
            if (old == before.end())
                continue;
            ASSERT_GE(times.time - old->second.time, -1e-9) << where.toStdString();
            ASSERT_LE(times.time - old->second.time, elapsed + 1e-9) << where.toStdString();
            ASSERT_LE(times.frontTime - old->second.frontTime, elapsed + 1e-9) << where.toStdString();
        }
    }

    static bool noApplicationRunsTwice(const VXDesktopSnapshot &snapshot, const VXDictionary &configuration)
    {
        std::map<QString, int> counts;
        for (const VXRunningApplication &process : snapshot.runningApplications) {
            if (isTracked(process, configuration) && ++counts[idOf(process)] > 1)
                return false;
        }
        return true;
    }

    VXSeededRandom m_random;
    VXFakeDesktop m_desktop;
    std::int64_t m_nextPID = 100;
    int m_duplicateTicks = 0;
    std::size_t m_filedWindows = 0;
};

}   // namespace

TEST(VXRandomizedSampler, EveryTickKeepsTheInvariantsAndSkippingDormantWindowsChangesNothing)
{
    int duplicateTicks = 0;
    std::size_t filedWindows = 0;
    for (std::uint32_t seed : {1u, 2u, 3u, 5u, 8u, 13u, 21u, 34u, 55u, 89u, 144u, 233u}) {
        SCOPED_TRACE(::testing::Message() << "seed " << seed);
        Scenario scenario(seed);
        scenario.run(800);
        duplicateTicks += scenario.duplicateTicks();
        filedWindows += scenario.filedWindows();
        if (HasFailure())
            return;
    }
    // The scenarios did run two processes of one application at times, and filed windows that
    // went dormant (or the forced ticks compared nothing worth it).
    EXPECT_GT(duplicateTicks, 100);
    EXPECT_GT(filedWindows, 200u);
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
