#pragma once

// Pools: user-named groups of applications and window titles that receive time of their own.
//
// A pool's "Children" are its members. A member made from an application carries its "Name",
// "Path" and "Application ID"; a member may hold window entries (patterns for window titles) in
// its own "Children", and then it is reached only through windows. A member with "Match Any
// Application" stands for every application: with window entries, its patterns match windows of
// every application; without, it receives the time of every tracked application.
//
// Crediting is guarded by the working marks, so a pool, member or entry gains each interval at
// most once per tick however many applications or windows match it:
//
//     windows of one tick:   [Report 1] [Report 2]     (both match the entry "Report*")
//     entry "Report*":       +interval, once

#include "VXDictionaryExtensions.h"
#include "VXPatternExtensions.h"
#include "VXValue.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

// Credits the pools for one application or window item of the tick in progress. A window item
// is one whose "Path" is "_Window"; its "Application ID" selects the members (unless they match
// any application) and its "Name" is tested against their window entries. An application item's
// "Name" is tested against the names of members without window entries. Unless `gap`, an item
// credited in this tick for the first time gains `interval` in "Time" when it was "Active" at the
// previous tick, and in "Front Time" when `isFrontmost` and it was "Front Active".
void checkPools(const VXArray *pools, VXDictionary &item, bool gap, double interval, bool isFrontmost);

// The same decisions with the pools prepared: patterns compiled once, and the outcome for each
// name remembered, so that a steady desktop matches nothing anew from tick to tick. update() at
// the start of every tick checks that the pools are still the ones it prepared (the same
// objects with the same names, identifiers, flags and children) and prepares them again when
// they are not; the pools must not change until the tick ends. The check is one pass over every
// list and the change count of every pool item; the tick tells the matcher what it changed
// itself (noteOwnChanges), so that an item it credited or a list it sorted is not compared value
// for value at the next tick. When no container changed at all since the last tick ended
// (settle), as on an idle desktop between ticks, there is no pass.
//
// The matcher keeps the working marks of the pools, members and entries it credits itself
// instead of storing them in the items, and consolidates those items with them
// (consolidate()); it finds each item's times where it found them at the tick before, so that a
// pool credited every tick is neither looked up nor changed but for its times. Only pools that
// hold one item in two places are credited through marks stored in the items, as checkPools()
// does.
class VXPoolMatcher
{
public:
    VXPoolMatcher();
    ~VXPoolMatcher();

    // Prepares the pools anew.
    void build(const VXArray *pools);
    // Prepares them only when they changed since the last call; answers whether it did.
    bool update(const VXArray *pools);
    // The pools, members and entries that the last update() found changed since the tick before
    // told its own changes, though still as prepared (times reset, a pool renamed): the changes
    // made outside the ticks. Empty after an update() that prepared the pools anew. By their
    // numbers (item()).
    const std::vector<std::uint32_t> &changedOutside() const { return m_changedOutside; }
    // Lets go of the pools.
    void clear();

    void checkPools(VXDictionary &item, bool gap, double interval, bool isFrontmost);

    // The tick changed these items (by number) and sorted these lists itself, after update():
    // nothing the pools are prepared from (only marks, flags, times and logs, and the order of a
    // list).
    void noteOwnChanges(const std::vector<std::uint32_t> &items, const std::vector<VXArray *> &sortedLists);
    // The same for every item and list (a tick that walked all of them).
    void noteOwnChangesToAll();
    // The tick is over and what it changed is noted: until this thread changes a container again
    // (VXContainerChangesOnThisThread()), update() knows the pools unchanged without a look.
    // Pools are changed on the thread that ticks.
    void settle();

    // The pools, members and entries (by number) that checkPools() marked since the last
    // clearTouched(). Until then they keep their marks (only consolidation takes them, after the
    // crediting), so a later match of one of them in the same tick, which would find its marks
    // set and change nothing, is skipped without a look at it.
    const std::vector<std::uint32_t> &touched() const { return m_touched; }
    void clearTouched()
    {
        m_touched.clear();
        ++m_round;
    }

    // The prepared pools, members and entries are numbered, in the order of the tree, until
    // they are prepared anew.
    VXDictionary *item(std::uint32_t number) const { return m_items[number].dictionary; }
    std::optional<std::uint32_t> numberOf(const VXDictionary *item) const;
    // Where a member or entry is listed: the array that holds it (a pool's members, a member's
    // entries) and the pool it belongs to. A pool has no array.
    struct Place {
        VXArray *array = nullptr;
        VXDictionary *pool = nullptr;
    };
    const Place &placeOf(std::uint32_t number) const { return m_items[number].place; }
    // Whether checkPools() credited the item as frontmost since the last clearTouched().
    bool creditedInFront(std::uint32_t number) const { return m_items[number].frontMarked == m_round; }
    // consolidateStates with the marks checkPools() kept for the item since the last
    // clearTouched().
    bool consolidate(std::uint32_t number, bool gap, double timestamp, double previousTimestamp);
    // Stores the marks kept here in the items, as checkPools() would have (for a walk that
    // consolidates every item through the marks it finds in them).
    void storeMarks();
    // Whether one item is held in two places: then checkPools() marks the items themselves, and
    // consolidation must walk the tree.
    bool holdsAnItemTwice() const { return m_holdsAnItemTwice; }

private:
    struct Entry {
        VXDictionaryRef dictionary;
        std::uint32_t tie = 0;   // into m_items
        VXValue name;
        VXPattern pattern;
    };
    struct Member {
        VXDictionaryRef dictionary;
        std::uint32_t tie = 0;
        VXValue name;
        VXValue applicationIDValue;
        VXValue matchAnyApplication;
        VXValue children;
        bool matchesAnyApplication = false;
        bool hasEntries = false;
        QString applicationID;
        VXPattern namePattern;
        std::vector<Entry> entries;
    };
    struct Pool {
        VXDictionaryRef dictionary;
        std::uint32_t tie = 0;
        VXValue children;
        std::vector<Member> members;
    };
    struct MatchKey;
    struct Matches;
    // What isCurrent() walks, flat: each list (the pools, a pool's members, a member's entries)
    // with the items it held, and each pool item with its change count when it was last known
    // to hold what it was prepared from. `member` and `entry` place it in m_prepared (kNone for
    // a pool, or a member).
    static constexpr std::uint32_t kNone = ~std::uint32_t(0);
    struct ListTie {
        const VXArray *array = nullptr;
        std::size_t first = 0;   // into m_listItems
        std::size_t size = 0;
    };
    struct ItemTie {
        VXDictionary *dictionary = nullptr;
        std::uint32_t changes = 0;
        std::uint32_t pool = 0;
        std::uint32_t member = kNone;
        std::uint32_t entry = kNone;
        // The round (see clearTouched()) in which checkPools() last credited it, and last
        // credited it as frontmost.
        std::uint64_t marked = 0;
        std::uint64_t frontMarked = 0;
        Place place;
        VXTickSlots slots;
    };

    bool isCurrent(const VXArray *pools);
    bool holdsPreparedValues(const ItemTie &tie) const;
    void tieList(const VXArray *array);
    void retieList(const ListTie &list);
    // The entries, members and pools a name credits (their places in m_items), in the order of
    // the plain function.
    std::vector<std::uint32_t> matchesFor(bool isWindow, const QString &applicationID,
                                          const VXPatternSubject &name) const;

    VXArrayRef m_pools;
    bool m_settled = false;
    std::uint64_t m_settledChanges = 0;   // this thread's container changes when it settled
    std::vector<Pool> m_prepared;
    std::vector<ListTie> m_lists;
    std::vector<const VXDictionary *> m_listItems;
    std::vector<ItemTie> m_items;
    std::unordered_map<const VXDictionary *, std::size_t> m_itemIndexes;   // into m_items
    std::unordered_map<const VXArray *, std::size_t> m_listIndexes;   // into m_lists
    std::unique_ptr<Matches> m_matches;
    std::vector<std::uint32_t> m_touched;
    std::vector<std::uint32_t> m_changedOutside;
    std::uint64_t m_round = 1;
    bool m_holdsAnItemTwice = false;
};

// The member that the "Match Any Application" command acts on for an item of the pool list:
// the item itself when it is a pool member, the member holding it when it is a window entry;
// null otherwise (a pool, or an item in no pool).
VXDictionary *VXPoolMemberForItem(const VXArray *pools, const VXDictionary *item);

// The title of that command for a member: "Track <name> Only" while the member matches any
// application; otherwise, by its number of window entries, "Track All Applications" (none),
// "Track Across All Applications" (one) or "Track Window Titles Across All Applications" (two or
// more). Opened on a window entry, fewer than two entries give "Track Across All Applications".
QString VXMatchAnyApplicationMenuTitle(const VXDictionary &member, bool openedOnWindowEntry);

// Flips the member's "Match Any Application" (clearing removes the key).
void VXToggleMatchAnyApplication(VXDictionary &member);
