#include "VXReportEventLogs.h"

#include "VXEventLogDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXListRows.h"
#include "VXListedItems.h"
#include "VXPersistenceTestSupport.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXSeededRandom.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

// A small tree: two applications with windows, a pool with two members, one with entries.
struct Tree {
    VXDictionaryRef configuration = VXMakeDictionary();
    VXDictionaryRef mail, inbox, drafts, editor, notes, pool, mailMember, editorMember, draftsEntry;

    Tree()
    {
        configuration->insert(VXFirstTimestampKey, 1000.0);
        configuration->insert(VXFirstPoolTimestampKey, 1100.0);
        configuration->insert(VXLastTimestampKey, 9000.0);
        // Mail has more foreground time in the whole record, Editor more between 2000 and 3000.
        mail = addApplication(*configuration, u"org.example.Mail"_s,
                              withLogs(item(u"Mail"_s, u"/apps/mail.desktop"_s), numbers({1000, -1900, 2000, -2100}),
                                       numbers({1000, -9000})));
        mail->insert(VXFrontTimeKey, 1000.0);
        inbox = addWindow(
            *mail, withLogs(item(u"Inbox"_s, VXWindowPathMarker), numbers({2000, -2050}), numbers({2000, -2500})));
        drafts
            = addWindow(*mail, withLogs(item(u"Drafts"_s, VXWindowPathMarker), VXArrayRef(), numbers({5000, -5100})));
        editor = addApplication(
            *configuration, u"org.example.Editor"_s,
            withLogs(item(u"Editor"_s, u"/apps/editor.desktop"_s), numbers({2200, -2900}), numbers({2200, -2950})));
        editor->insert(VXFrontTimeKey, 700.0);
        notes = addWindow(*editor,
                          withLogs(item(u"notes.txt"_s, VXWindowPathMarker), numbers({2200, -2300}), VXArrayRef()));
        // An unnamed pool: shown by its members' names.
        pool = addPool(*configuration, withLogs(makePool(QString()), numbers({2000, -2900}), VXArrayRef()));
        mailMember = addChild(*pool, withLogs(makeMember(u"Mail"_s), numbers({2000, -2100}), VXArrayRef()));
        editorMember = addChild(*pool, withLogs(makeMember(u"Editor"_s), numbers({2200, -2900}), VXArrayRef()));
        draftsEntry
            = addChild(*mailMember, withLogs(item(u"Draft*"_s, VXWindowPathMarker), VXArrayRef(), VXArrayRef()));
    }
};

struct Row {
    std::string name;
    int depth;
    bool operator==(const Row &) const = default;
};

std::vector<Row> rowsOf(const VXDictionary &configuration, const VXReportContentSettings &settings,
                        const VXListRows *rows, double lo = 2000, double hi = 3000)
{
    std::vector<Row> result;
    collectEventLogsClippedBetweenTimestamp(
        configuration, lo, hi, settings, rows, [&](const VXDictionaryRef &entry, int depth) {
            result.push_back({entry->value(VXNameKey).toString().toStdString(), depth});
        });
    return result;
}

std::ostream &operator<<(std::ostream &out, const Row &row)
{
    return out << std::string(static_cast<std::size_t>(row.depth) * 2, ' ') << row.name;
}

}   // namespace

TEST(VXReportEventLogs, AClippedEntryCarriesTheItemsNamePathAndStreamsInsideTheRange)
{
    VXEnsureCoreApplication();
    Tree tree;
    bool hasEvents = false;
    const VXDictionaryRef entry = eventLogClippedBetweenTimestamp(tree.mail, 2050, 3000, &hasEvents);
    EXPECT_TRUE(hasEvents);
    EXPECT_EQ(entry->value(VXNameKey).toString(), u"Mail"_s);
    EXPECT_EQ(entry->value(VXPathKey).toString(), u"/apps/mail.desktop"_s);
    EXPECT_FALSE(entry->contains(VXTypeKey));
    EXPECT_EQ(doublesOf(entry->value(VXFrontActiveLogKey)), (std::vector<double> {2050, -2100}));
    EXPECT_DOUBLE_EQ(entry->value(VXFrontTimeKey).toDouble(), 50);
    EXPECT_EQ(doublesOf(entry->value(VXActiveLogKey)), (std::vector<double> {2050, -3000}));
    EXPECT_DOUBLE_EQ(entry->value(VXTimeKey).toDouble(), 950);
    EXPECT_TRUE(entry->value(VXSourceKey).isSameObject(VXValue(tree.mail)));

    // Nothing in the range: no streams, no times, but the entry still names its item.
    const VXDictionaryRef empty = eventLogClippedBetweenTimestamp(tree.drafts, 2000, 3000, &hasEvents);
    EXPECT_FALSE(hasEvents);
    EXPECT_FALSE(empty->contains(VXActiveLogKey));
    EXPECT_FALSE(empty->contains(VXTimeKey));
    EXPECT_FALSE(empty->contains(VXFrontActiveLogKey));

    // A pool: its type, its display name, its marker path.
    const VXDictionaryRef pool = eventLogClippedBetweenTimestamp(tree.pool, 2000, 3000, &hasEvents);
    EXPECT_EQ(pool->value(VXTypeKey).toString(), VXPoolItemType);
    EXPECT_EQ(pool->value(VXNameKey).toString(), u"Mail (1) | Editor"_s);
    EXPECT_EQ(pool->value(VXPathKey).toString(), VXPoolPathMarker);
}

TEST(VXReportEventLogs, TheLiveReportListsEveryLevelDepthFirstInTheOrganizersOrder)
{
    VXEnsureCoreApplication();
    Tree tree;
    VXReportContentSettings settings;
    settings.liveReportContent = 1;
    settings.sortColumn = 0;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr),
              (std::vector<Row> {{"Editor", 0},
                                 {"notes.txt", 1},
                                 {"Mail", 0},
                                 {"Drafts", 1},
                                 {"Inbox", 1},
                                 {"Mail (1) | Editor", 0},
                                 {"Editor", 1},
                                 {"Mail", 1},
                                 {"Draft*", 2}}));

    // By foreground time inside the range (not the item's overall "Front Time"): Editor has
    // 700 s of it, Mail 100 s; an item without any comes after those with some.
    settings.sortColumn = 1;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr),
              (std::vector<Row> {{"Editor", 0},
                                 {"notes.txt", 1},
                                 {"Mail", 0},
                                 {"Inbox", 1},
                                 {"Drafts", 1},
                                 {"Mail (1) | Editor", 0},
                                 {"Editor", 1},
                                 {"Mail", 1},
                                 {"Draft*", 2}}));

    // Only the halves asked for.
    settings.pools = false;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr).size(), 5u);
    settings.pools = true;
    settings.applications = false;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr).front(), (Row {"Mail (1) | Editor", 0}));

    // The list form holds the same entries.
    settings.applications = true;
    const VXArrayRef list = eventLogsClippedBetweenTimestamp(*tree.configuration, 2000, 3000, settings, nullptr);
    ASSERT_EQ(list->size(), 9u);
    EXPECT_TRUE(list->at(0).dictionary()->value(VXSourceKey).isSameObject(VXValue(tree.editor)));
}

// Entries equal in everything the order reads (name, path, times) stay in the organizer's order,
// whatever the column: the children below them tell which came first.
TEST(VXReportEventLogs, EntriesThatTieKeepTheOrganizersOrder)
{
    VXEnsureCoreApplication();
    Tree tree;
    for (const char16_t *window : {u"first", u"second", u"third"}) {
        const VXDictionaryRef member
            = addChild(*tree.pool, withLogs(makeMember(u"Twin"_s), numbers({2400, -2500}), numbers({2400, -2600})));
        addChild(*member,
                 withLogs(item(QString::fromUtf16(window), VXWindowPathMarker), numbers({2400, -2450}), VXArrayRef()));
    }
    VXReportContentSettings settings;
    settings.liveReportContent = 1;
    settings.applications = false;
    for (int column = 0; column < 3; ++column) {
        SCOPED_TRACE(column);
        settings.sortColumn = column;
        std::vector<std::string> below;
        const std::vector<Row> rows = rowsOf(*tree.configuration, settings, nullptr);
        for (std::size_t i = 1; i < rows.size(); ++i) {
            if (rows[i - 1].name == "Twin")
                below.push_back(rows[i].name);
        }
        EXPECT_EQ(below, (std::vector<std::string> {"first", "second", "third"}));
    }
}

TEST(VXReportEventLogs, ContentSettingsFilterByEventsOrByTheOrganizersRows)
{
    VXEnsureCoreApplication();
    Tree tree;
    VXReportContentSettings settings;
    settings.sortColumn = 0;

    // Only items with events in the range: Drafts (running at 5000) and the empty entry go.
    settings.liveReportContent = 2;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr),
              (std::vector<Row> {{"Editor", 0},
                                 {"notes.txt", 1},
                                 {"Mail", 0},
                                 {"Inbox", 1},
                                 {"Mail (1) | Editor", 0},
                                 {"Editor", 1},
                                 {"Mail", 1}}));
    // An application without events takes its windows along, even one that has events.
    tree.notes->insert(VXActiveLogKey, numbers({5000, -5050}));
    EXPECT_EQ(rowsOf(*tree.configuration, settings, nullptr, 5000, 5100),
              (std::vector<Row> {{"Mail", 0}, {"Drafts", 1}}));

    // Only items with a row: the lists as the organizer shows them. Mail is expanded, Editor
    // not; the pool is expanded, its Mail member not.
    settings.liveReportContent = 0;
    tree.mail->insert(VXChildrenKey, numbers({}));
    tree.mail->value(VXChildrenKey).array()->append(tree.inbox);
    tree.mail->insert(VXExpandedKey, true);
    tree.editor->insert(VXChildrenKey, numbers({}));
    tree.editor->value(VXChildrenKey).array()->append(tree.notes);
    tree.pool->insert(VXExpandedKey, true);
    VXArrayRef applications = VXMakeArray();
    applications->append(tree.mail);
    applications->append(tree.editor);
    VXArrayRef pools = VXMakeArray();
    pools->append(tree.pool);
    const VXListedItems listed(applications.get(), pools.get());
    EXPECT_EQ(rowsOf(*tree.configuration, settings, &listed),
              (std::vector<Row> {
                  {"Editor", 0}, {"Mail", 0}, {"Inbox", 1}, {"Mail (1) | Editor", 0}, {"Editor", 1}, {"Mail", 1}}));

    // The same rows worked out from the saved tree: "Children" marks the listed applications,
    // a pool is listed when it is active or inactive pools are shown.
    const VXListedItems saved = VXListedItems::fromConfiguration(*tree.configuration, false);
    EXPECT_TRUE(saved.applicationListHasRowForItem(*tree.mail));
    EXPECT_TRUE(saved.applicationListHasRowForItem(*tree.inbox));
    EXPECT_FALSE(saved.applicationListHasRowForItem(*tree.notes));
    EXPECT_FALSE(saved.poolListHasRowForItem(*tree.pool));
    EXPECT_TRUE(VXListedItems::fromConfiguration(*tree.configuration, true).poolListHasRowForItem(*tree.mailMember));
    tree.pool->insert(VXActiveKey, true);
    EXPECT_TRUE(VXListedItems::fromConfiguration(*tree.configuration, false).poolListHasRowForItem(*tree.pool));

    // Content 1 asks no rows at all.
    ListRows none;
    settings.liveReportContent = 1;
    EXPECT_EQ(rowsOf(*tree.configuration, settings, &none).size(), 9u);
}

TEST(VXReportEventLogs, TheFirstTimestampIsTheEarlierHalfAndZeroWhileAHalfHasNone)
{
    Tree tree;
    double first = -1;
    double last = -1;
    getFirstTimestamp(*tree.configuration, &first, &last);
    EXPECT_DOUBLE_EQ(first, 1000);
    EXPECT_DOUBLE_EQ(last, 9000);
    tree.configuration->insert(VXFirstPoolTimestampKey, 900.0);
    EXPECT_DOUBLE_EQ(firstTimestamp(*tree.configuration), 900);
    tree.configuration->remove(VXFirstPoolTimestampKey);
    EXPECT_DOUBLE_EQ(firstTimestamp(*tree.configuration), 0);
    getFirstTimestamp(*tree.configuration, nullptr, nullptr);
}

TEST(VXReportEventLogs, ASnapshotListsEveryNodeInNameOrderWithOrWithoutEvents)
{
    VXEnsureCoreApplication();
    VXDictionaryRef root = VXMakeDictionary();
    VXDictionary &applications = reportSnapshotChildWithName(*root, VXApplicationsKey, false, QString());
    VXDictionary &pools = reportSnapshotChildWithName(*root, VXPoolsKey, true, QString());
    VXDictionary &zed = reportSnapshotChildWithName(applications, u"zed"_s, false, u"zed"_s);
    reportSnapshotChildWithName(zed, u"w10"_s, false, VXWindowPathMarker).insert(VXActiveLogKey, numbers({100, -200}));
    reportSnapshotChildWithName(zed, u"w9"_s, false, VXWindowPathMarker);
    reportSnapshotChildWithName(applications, u"Alpha"_s, false, u"Alpha"_s);
    VXDictionary &pool = reportSnapshotChildWithName(pools, u"Work"_s, true, VXPoolPathMarker);
    VXDictionary &member = reportSnapshotChildWithName(pool, u"*"_s, true, u"*"_s);
    reportSnapshotChildWithName(member, u"Report"_s, true, VXWindowPathMarker);
    // The same name again is the same node.
    EXPECT_EQ(&reportSnapshotChildWithName(applications, u"zed"_s, false, u"zed"_s), &zed);

    const VXArrayRef list = reportSnapshotEventLogsClippedBetweenTimestamp(*root, 0, 150);
    std::vector<std::string> names;
    for (const VXValue &entry : *list)
        names.push_back(entry.dictionary()->value(VXNameKey).toString().toStdString());
    EXPECT_EQ(names, (std::vector<std::string> {"Alpha", "zed", "w9", "w10", "Work", "*", "Report"}));
    EXPECT_EQ(doublesOf(list->at(3).dictionary()->value(VXActiveLogKey)), (std::vector<double> {100, -150}));
    EXPECT_EQ(list->at(4).dictionary()->value(VXTypeKey).toString(), VXPoolItemType);
    EXPECT_EQ(list->at(6).dictionary()->value(VXPathKey).toString(), VXWindowPathMarker);
}

namespace {

// A log as the tracker changes it, one tick at a time: periods opened and closed at the end, the
// last closing moved later in place, an opening that had no length taken back, now and then a
// repeated opening, and rarely an edit inside it that puts a new array in its place.
struct TrackedLog {
    VXArrayRef log = VXMakeArray();
    double now = 1000.0;

    void tick(VXSeededRandom &random)
    {
        now += random.chance(0.05) ? 3600.0 * random.uniform() : 0.5 + 30.0 * random.uniform();
        const bool open = !log->isEmpty() && log->last().toDouble() > 0;
        const double roll = random.uniform();
        if (open && roll < 0.3) {
            log->append(-now);
        } else if (open && roll < 0.35) {
            log->removeLast();
        } else if (!open && roll < 0.3) {
            log->append(now);
            if (random.chance(0.03))
                log->append(now + 0.2);
        } else if (!open && !log->isEmpty() && roll < 0.4) {
            (*log)[log->size() - 1] = VXValue(-now);
        } else if (roll > 0.98 && log->size() > 6) {
            VXArrayRef edited = VXMakeArray();
            for (std::size_t i = 0; i < log->size(); ++i)
                if (i < 2 || i >= 4)
                    edited->append(log->at(i));
            log = edited;
        }
    }
};

}   // namespace

TEST(VXReportEventLogs, ACachedClipContinuedTickAfterTickEqualsAFreshClipNumberForNumber)
{
    // Ranges as the live report moves: the end follows the record, the begin stays for a while
    // (all the data, a chosen day, a point inside a period); now and then the range moves back.
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE(seed);
        VXSeededRandom random(seed);
        std::vector<TrackedLog> logs(5);
        VXEventLogClipCache cache;
        double lo = 0.0;
        std::size_t clips = 0;
        for (int tick = 0; tick < 600; ++tick) {
            for (TrackedLog &tracked : logs)
                tracked.tick(random);
            const double now = logs[0].now;
            if (tick % 97 == 50)
                lo = random.chance(0.5) ? 1000.0 + (now - 1000.0) * random.uniform() : 0.0;
            const double hi = random.chance(0.03) ? lo + (now - lo) * random.uniform() : now;
            for (std::size_t i = 0; i < logs.size(); ++i) {
                SCOPED_TRACE(testing::Message()
                             << "tick " << tick << ", log " << i << ", range " << lo << " to " << hi);
                double freshInterval = -1.0, cachedInterval = -1.0;
                const VXArrayRef fresh = eventStreamClippedBetweenTimestamp(*logs[i].log, lo, hi, &freshInterval);
                // Either order of the two times, as for a fresh clip.
                const VXArrayRef cached = tick % 2 ? cache.clip(logs[i].log, hi, lo, &cachedInterval)
                                                   : cache.clip(logs[i].log, lo, hi, &cachedInterval);
                ASSERT_EQ(doublesOf(VXValue(cached)), doublesOf(VXValue(fresh)));
                ASSERT_EQ(cachedInterval, freshInterval);
                ++clips;
            }
            cache.forgetUnused();
        }
        // Most clips continued a kept one: the comparison is about the continued walk.
        EXPECT_GT(cache.continuedCount(), clips * 3 / 4);
    }
}

TEST(VXReportEventLogs, TheLiveListThroughACacheEqualsTheListWithoutAndForgetsItemsThatWent)
{
    VXEnsureCoreApplication();
    Tree tree;
    VXReportContentSettings settings;
    VXEventLogClipCache cache;
    const auto entries = [](const VXArrayRef &list) {
        std::vector<std::tuple<std::string, std::vector<double>, std::vector<double>, double, double>> result;
        for (const VXValue &value : *list) {
            const VXDictionary &entry = *value.dictionary();
            result.emplace_back(entry.value(VXNameKey).toString().toStdString(), doublesOf(entry.value(VXActiveLogKey)),
                                doublesOf(entry.value(VXFrontActiveLogKey)), entry.value(VXTimeKey).toDouble(),
                                entry.value(VXFrontTimeKey).toDouble());
        }
        return result;
    };
    // Mail comes to the front again at 9000 and stays there while the record grows.
    VXArray &front = *tree.mail->value(VXFrontActiveLogKey).array();
    front.append(9000.0);
    for (double last = 9001; last < 9010; last += 1.5) {
        SCOPED_TRACE(last);
        const VXArrayRef plain = eventLogsClippedBetweenTimestamp(*tree.configuration, 1000, last, settings, nullptr);
        const VXArrayRef cached
            = eventLogsClippedBetweenTimestamp(*tree.configuration, 1000, last, settings, nullptr, &cache);
        EXPECT_EQ(entries(cached), entries(plain));
    }
    const std::size_t kept = cache.size();
    EXPECT_GT(cache.continuedCount(), 0u);
    tree.configuration->value(VXApplicationsKey).dictionary()->remove(u"org.example.Editor"_s);
    const VXArrayRef plain = eventLogsClippedBetweenTimestamp(*tree.configuration, 1000, 9010, settings, nullptr);
    EXPECT_EQ(entries(eventLogsClippedBetweenTimestamp(*tree.configuration, 1000, 9010, settings, nullptr, &cache)),
              entries(plain));
    // The editor's two logs and its window's one are no longer kept.
    EXPECT_EQ(cache.size(), kept - 3);
}
