// Pool crediting: which pools, members and window entries an application or a window feeds, and
// that each of them gains an interval at most once per tick.

#include "VXPools.h"
#include "VXConfigurationKeys.h"
#include "VXSeededRandom.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

#include <set>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

// An item as the sampler hands it to the pools: marked for the tick in progress.
VXDictionaryRef applicationItem(const QString &name, const QString &applicationID)
{
    return dictionary({{VXNameKey, name},
                       {VXPathKey, u"/usr/share/applications/"_s + applicationID},
                       {VXApplicationIDKey, applicationID}});
}

VXDictionaryRef windowItem(const QString &title, const QString &applicationID)
{
    return dictionary({{VXNameKey, title}, {VXPathKey, VXWindowPathMarker}, {VXApplicationIDKey, applicationID}});
}

// Everything of a pool tree active and frontmost at the previous tick, so that every credit
// shows in the times.
void wasActiveAndFront(const VXArray &pools)
{
    VXDictionaryRef root = VXMakeDictionary();
    root->insert(VXPoolsKey, VXArrayRef(const_cast<VXArray *>(&pools)));
    forEachItem(*root, [](const VXDictionary &item, const QString &) {
        auto &mutableItem = const_cast<VXDictionary &>(item);
        setBool(mutableItem, true, VXActiveKey);
        setBool(mutableItem, true, VXFrontActiveKey);
    });
}

VXArrayRef poolsOf(std::initializer_list<VXDictionaryRef> pools)
{
    VXArrayRef array = VXMakeArray();
    for (const VXDictionaryRef &p : pools)
        array->append(p);
    wasActiveAndFront(*array);
    return array;
}

}   // namespace

TEST(VXPoolCrediting, ApplicationsFeedMembersWithoutWindowEntriesByName)
{
    VXDictionaryRef mail = member(u"Mail"_s, u"org.example.Mail"_s);
    VXDictionaryRef mailWindows = member(u"Mail"_s, u"org.example.Mail"_s, {windowEntry(u"Inbox*"_s)});
    VXDictionaryRef anyApplication = member(QString(), QString());
    setBool(*anyApplication, true, VXMatchAnyApplicationKey);
    VXDictionaryRef communication = pool(u"Communication"_s, {mail, mailWindows});
    VXDictionaryRef everything = pool(u"Everything"_s, {anyApplication});
    VXArrayRef pools = poolsOf({communication, everything});

    VXDictionaryRef mailApplication = applicationItem(u"MAIL"_s, u"other.id"_s);   // the name decides
    checkPools(pools.get(), *mailApplication, false, 2.0, true);
    EXPECT_EQ(timeOf(*mail), 2.0);
    EXPECT_EQ(frontTimeOf(*mail), 2.0);
    EXPECT_EQ(timeOf(*mailWindows), 0.0);   // reached only through windows
    EXPECT_TRUE(boolForKey(*mail, VXActiveMarkKey));
    EXPECT_FALSE(mailWindows->contains(VXActiveMarkKey));
    EXPECT_EQ(timeOf(*communication), 2.0);
    EXPECT_EQ(timeOf(*anyApplication), 2.0);   // any application, whatever its name
    EXPECT_EQ(timeOf(*everything), 2.0);

    // A second application in the same tick finds the marks set: nothing is credited twice.
    VXDictionaryRef editor = applicationItem(u"Editor"_s, u"org.example.Editor"_s);
    checkPools(pools.get(), *editor, false, 2.0, true);
    EXPECT_EQ(timeOf(*anyApplication), 2.0);
    EXPECT_EQ(frontTimeOf(*everything), 2.0);
}

TEST(VXPoolCrediting, WindowsFeedTheEntriesOfMembersOfTheirApplication)
{
    VXDictionaryRef reports = windowEntry(u"Report*"_s);
    VXDictionaryRef drafts = windowEntry(u"*draft*"_s);
    VXDictionaryRef editor = member(u"Editor"_s, u"org.example.Editor"_s, {reports, drafts});
    VXDictionaryRef wholeEditor = member(u"Editor"_s, u"org.example.Editor"_s);   // no entries
    VXDictionaryRef anyDraftEntry = windowEntry(u"*draft*"_s);
    VXDictionaryRef anyDraft = member(u"Anything"_s, u"org.example.Other"_s, {anyDraftEntry});
    setBool(*anyDraft, true, VXMatchAnyApplicationKey);
    VXDictionaryRef writing = pool(u"Writing"_s, {editor, wholeEditor, anyDraft});
    VXArrayRef pools = poolsOf({writing});

    // Two windows of one tick match the same entries: each entry gains the interval once.
    checkPools(pools.get(), *windowItem(u"Report draft 1"_s, u"org.example.Editor"_s), false, 1.5, true);
    checkPools(pools.get(), *windowItem(u"Report draft 2"_s, u"org.example.Editor"_s), false, 1.5, false);
    EXPECT_EQ(timeOf(*reports), 1.5);
    EXPECT_EQ(timeOf(*drafts), 1.5);
    EXPECT_EQ(timeOf(*editor), 1.5);
    EXPECT_EQ(timeOf(*wholeEditor), 0.0);   // members without entries are fed by applications
    EXPECT_EQ(timeOf(*anyDraftEntry), 1.5);   // across all applications
    EXPECT_EQ(timeOf(*writing), 1.5);
    EXPECT_EQ(frontTimeOf(*writing), 1.5);

    // A window of another application reaches only the members that match any application.
    VXDictionaryRef other = pool(u"Other"_s, {member(u"Editor"_s, u"org.example.Editor"_s, {windowEntry(u"*"_s)})});
    VXArrayRef morePools = poolsOf({other});
    checkPools(morePools.get(), *windowItem(u"Report"_s, u"org.example.Web"_s), false, 1.0, true);
    EXPECT_EQ(timeOf(*other), 0.0);
    EXPECT_FALSE(other->contains(VXActiveMarkKey));
    // A window that matches no entry of its member leaves member and pool alone.
    checkPools(pools.get(), *windowItem(u"Notes"_s, u"org.example.Editor"_s), false, 1.0, true);
    EXPECT_EQ(timeOf(*editor), 1.5);
}

TEST(VXPoolCrediting, FrontTimeComesOnlyFromTheFrontItemAndAGapCreditsNothing)
{
    VXDictionaryRef editor = member(u"Editor"_s, u"org.example.Editor"_s);
    VXDictionaryRef aPool = pool(u"P"_s, {editor});
    VXArrayRef pools = poolsOf({aPool});

    checkPools(pools.get(), *applicationItem(u"Editor"_s, u"org.example.Editor"_s), false, 3.0, false);
    EXPECT_EQ(timeOf(*editor), 3.0);
    EXPECT_EQ(frontTimeOf(*editor), 0.0);
    EXPECT_FALSE(editor->contains(VXFrontActiveMarkKey));

    // Not active at the previous tick: marked now, credited from the next tick on.
    VXDictionaryRef fresh = member(u"Editor"_s, u"org.example.Editor"_s);
    VXArrayRef freshPools = VXMakeArray();
    freshPools->append(pool(u"Fresh"_s, {fresh}));
    checkPools(freshPools.get(), *applicationItem(u"Editor"_s, u"x"_s), false, 3.0, true);
    EXPECT_TRUE(boolForKey(*fresh, VXActiveMarkKey));
    EXPECT_TRUE(boolForKey(*fresh, VXFrontActiveMarkKey));
    EXPECT_FALSE(fresh->contains(VXTimeKey));

    VXDictionaryRef gapMember = member(u"Editor"_s, u"org.example.Editor"_s);
    VXArrayRef gapPools = poolsOf({pool(u"Gap"_s, {gapMember})});
    checkPools(gapPools.get(), *applicationItem(u"Editor"_s, u"x"_s), true, 3.0, true);
    EXPECT_TRUE(boolForKey(*gapMember, VXActiveMarkKey));
    EXPECT_FALSE(gapMember->contains(VXTimeKey));

    // An item without a name feeds nothing.
    VXDictionaryRef unnamedMember = member(u"*"_s, u"x"_s);
    VXArrayRef unnamedPools = poolsOf({pool(u"U"_s, {unnamedMember})});
    VXDictionaryRef unnamed = applicationItem(u"x"_s, u"x"_s);
    unnamed->remove(VXNameKey);
    checkPools(unnamedPools.get(), *unnamed, false, 1.0, true);
    EXPECT_FALSE(unnamedMember->contains(VXActiveMarkKey));
}

// The prepared matcher must decide exactly as the plain function, on any tree.
TEST(VXPoolCrediting, ThePreparedMatcherCreditsExactlyAsThePlainFunction)
{
    const QString ids[] = {u"org.a"_s, u"org.b"_s, u"/opt/c"_s};
    const QString names[]
        = {u"Alpha"_s, u"alpha beta"_s, u"Gamma"_s, u"*a*"_s, u"!Alpha"_s, u"G*"_s, u"a**b"_s, QString()};
    const QString titles[] = {u"Report 1"_s, u"report draft"_s, u"Notes"_s, u"R\u00E9sum\u00E9"_s, u"Inbox (3)"_s};
    const QString patterns[] = {u"Report*"_s, u"*draft*"_s, u"notes"_s, u"re\u0301sume\u0301"_s, u"*"_s, u"In*(*)"_s};

    VXSeededRandom random(20240611);
    auto pick = [&](const auto &choices) { return choices[random() % std::size(choices)]; };
    for (int round = 0; round < 200; ++round) {
        auto build = [&](std::uint64_t seed) {
            VXSeededRandom r(seed);
            auto choose = [&](const auto &choices) { return choices[r() % std::size(choices)]; };
            VXArrayRef pools = VXMakeArray();
            for (int p = 0; p < 3; ++p) {
                VXDictionaryRef aPool = pool(QString(), {});
                VXArray &members = *aPool->value(VXChildrenKey).array();
                for (int m = 0, count = int(r() % 4); m < count; ++m) {
                    VXDictionaryRef aMember = member(choose(names), choose(ids));
                    if (r() % 4 == 0)
                        setBool(*aMember, true, VXMatchAnyApplicationKey);
                    if (r() % 2) {
                        VXArrayRef entries = VXMakeArray();
                        for (int e = 0, n = int(r() % 3); e < n; ++e)
                            entries->append(windowEntry(choose(patterns)));
                        aMember->insert(VXChildrenKey, entries);
                    }
                    members.append(aMember);
                }
                // At times a member of the pool before is held here as well (one object in two
                // places, which a file may hold): it still gains each interval once.
                if (p > 0 && r() % 6 == 0) {
                    const VXArray &before = *pools->at(std::size_t(p) - 1).dictionary()->value(VXChildrenKey).array();
                    if (!before.isEmpty())
                        members.append(before.at(0));
                }
                pools->append(aPool);
            }
            // Some were active or frontmost at the previous tick.
            VXDictionaryRef root = dictionary({{VXPoolsKey, pools}});
            forEachItem(*root, [&](const VXDictionary &item, const QString &) {
                auto &i = const_cast<VXDictionary &>(item);
                setBool(i, r() % 2, VXActiveKey);
                setBool(i, r() % 2, VXFrontActiveKey);
            });
            return pools;
        };
        const std::uint64_t seed = random();
        VXArrayRef plain = build(seed);
        VXArrayRef prepared = build(seed);
        VXPoolMatcher matcher;
        matcher.build(prepared.get());
        const bool gap = random() % 5 == 0;
        for (int item = 0; item < 6; ++item) {
            const bool isWindow = random() % 2;
            const bool front = random() % 3 == 0;
            const QString id = pick(ids);
            VXDictionaryRef a = isWindow ? windowItem(pick(titles), id) : applicationItem(pick(names), id);
            VXDictionaryRef b = VXValue(a).deepCopy().dictionaryRef();
            checkPools(plain.get(), *a, gap, 0.75, front);
            matcher.checkPools(*b, gap, 0.75, front);
        }
        if (round % 2) {
            // The marks it keeps, stored, are the ones the plain function stores.
            matcher.storeMarks();
        } else {
            // Consolidated with the marks it keeps, every item ends as one consolidated with the
            // marks stored in it.
            const auto consolidateEach = [](const VXArray &pools, auto &&consolidateItem) {
                std::set<const VXDictionary *> done;
                forEachItem(*dictionary({{VXPoolsKey, VXValue(VXArrayRef(const_cast<VXArray *>(&pools)))}}),
                            [&](const VXDictionary &item, const QString &) {
                                if (done.insert(&item).second)
                                    consolidateItem(const_cast<VXDictionary &>(item));
                            });
            };
            consolidateEach(*plain, [&](VXDictionary &item) { consolidateStates(item, gap, 2000.0, 1000.0); });
            consolidateEach(*prepared, [&](VXDictionary &item) {
                const std::optional<std::uint32_t> number = matcher.numberOf(&item);
                ASSERT_TRUE(number);
                matcher.consolidate(*number, gap, 2000.0, 1000.0);
            });
        }
        ASSERT_EQ(VXValue(plain), VXValue(prepared)) << "seed " << seed << (round % 2 ? ", marks" : ", consolidated");
    }
}

TEST(VXPoolCommands, MatchAnyApplicationActsOnTheMemberAndNamesItsMenuItem)
{
    VXDictionaryRef entry1 = windowEntry(u"Report*"_s);
    VXDictionaryRef entry2 = windowEntry(u"Draft*"_s);
    VXDictionaryRef twoEntries = member(u"Editor"_s, u"org.example.Editor"_s, {entry1, entry2});
    VXDictionaryRef oneEntry = member(u"Web"_s, u"org.example.Web"_s, {windowEntry(u"Docs*"_s)});
    VXDictionaryRef noEntries = member(u"Mail"_s, u"org.example.Mail"_s);
    VXDictionaryRef aPool = pool(u"Work"_s, {twoEntries, oneEntry, noEntries});
    VXArrayRef pools = VXMakeArray();
    pools->append(aPool);

    EXPECT_EQ(VXPoolMemberForItem(pools.get(), noEntries.get()), noEntries.get());
    EXPECT_EQ(VXPoolMemberForItem(pools.get(), entry2.get()), twoEntries.get());
    EXPECT_EQ(VXPoolMemberForItem(pools.get(), aPool.get()), nullptr);
    EXPECT_EQ(VXPoolMemberForItem(pools.get(), windowEntry(u"Report*"_s).get()), nullptr);   // identity, not equality
    EXPECT_EQ(VXPoolMemberForItem(nullptr, noEntries.get()), nullptr);

    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*noEntries, false), u"Track All Applications"_s);
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*oneEntry, false), u"Track Across All Applications"_s);
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*twoEntries, false), u"Track Window Titles Across All Applications"_s);
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*oneEntry, true), u"Track Across All Applications"_s);
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*twoEntries, true), u"Track Window Titles Across All Applications"_s);

    VXToggleMatchAnyApplication(*twoEntries);
    EXPECT_EQ(twoEntries->value(VXMatchAnyApplicationKey), VXValue(true));
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*twoEntries, false), u"Track Editor Only"_s);
    EXPECT_EQ(VXMatchAnyApplicationMenuTitle(*twoEntries, true), u"Track Editor Only"_s);
    VXToggleMatchAnyApplication(*twoEntries);
    EXPECT_FALSE(twoEntries->contains(VXMatchAnyApplicationKey));
}
