#include "VXPools.h"

#include "VXConfigurationKeys.h"
#include "VXContainerChanges.h"
#include "VXDictionaryExtensions.h"

#include <QCoreApplication>
#include <QHashFunctions>

#include <unordered_map>

namespace {

const char *const kTranslationContext = "VXPools";
const char *const kTrackOnlyFormat = QT_TRANSLATE_NOOP("VXPools", "Track %1 Only");
const char *const kTrackAllApplicationsText = QT_TRANSLATE_NOOP("VXPools", "Track All Applications");
const char *const kTrackAcrossAllApplicationsText = QT_TRANSLATE_NOOP("VXPools", "Track Across All Applications");
const char *const kTrackWindowTitlesAcrossAllApplicationsText
    = QT_TRANSLATE_NOOP("VXPools", "Track Window Titles Across All Applications");

// One entry, member or pool gains the interval once per tick: the first credit sets the working
// mark, later ones in the same tick find it set. Answers whether this was the first.
bool credit(VXDictionary &item, bool gap, double interval, bool isFrontmost)
{
    // One pass over the item's dozen entries finds the six keys, instead of hashing each (the
    // pools of a long record are credited by the hundred every tick).
    const VXValue *mark = nullptr;
    const VXValue *frontMark = nullptr;
    const VXValue *active = nullptr;
    const VXValue *frontActive = nullptr;
    VXValue *time = nullptr;
    VXValue *frontTime = nullptr;
    for (std::size_t i = 0; i < item.size(); ++i) {
        const QString &key = item.entries()[i].key;
        VXValue &value = item.valueAt(i);
        if (key == VXActiveMarkKey)
            mark = &value;
        else if (key == VXFrontActiveMarkKey)
            frontMark = &value;
        else if (key == VXActiveKey)
            active = &value;
        else if (key == VXFrontActiveKey)
            frontActive = &value;
        else if (key == VXTimeKey)
            time = &value;
        else if (key == VXFrontTimeKey)
            frontTime = &value;
    }
    const bool first = !(mark && mark->toBool());
    const bool creditTime = first && !gap && active && active->toBool();
    const bool firstInFront = isFrontmost && !(frontMark && frontMark->toBool());
    const bool creditFrontTime = firstInFront && !gap && frontActive && frontActive->toBool();
    // Stored times change in place before any entry is added, which may move the entries.
    if (creditTime && time)
        *time = VXValue(time->toDouble() + interval);
    if (creditFrontTime && frontTime)
        *frontTime = VXValue(frontTime->toDouble() + interval);
    if (first)
        item.insert(VXActiveMarkKey, true);
    if (creditTime && !time)
        item.insert(VXTimeKey, interval);
    if (firstInFront)
        item.insert(VXFrontActiveMarkKey, true);
    if (creditFrontTime && !frontTime)
        item.insert(VXFrontTimeKey, interval);
    return first;
}

// credit() for an item whose marks are kept outside it: `first` and `firstInFront` say whether
// this is its first credit of the tick, and its first as frontmost.
void creditTimes(VXDictionary &item, VXTickSlots &slots, bool gap, double interval, bool first, bool firstInFront)
{
    if (gap)
        return;
    using Slot = VXTickSlots::Slot;
    const VXValue *active = first ? slots.value(item, Slot::Active) : nullptr;
    const VXValue *frontActive = firstInFront ? slots.value(item, Slot::FrontActive) : nullptr;
    const bool creditTime = active && active->toBool();
    const bool creditFrontTime = frontActive && frontActive->toBool();
    VXValue *time = creditTime ? slots.value(item, Slot::Time) : nullptr;
    VXValue *frontTime = creditFrontTime ? slots.value(item, Slot::FrontTime) : nullptr;
    // Stored times change in place before any entry is added, which may move the entries.
    if (time)
        *time = VXValue(time->toDouble() + interval);
    if (frontTime)
        *frontTime = VXValue(frontTime->toDouble() + interval);
    if (creditTime && !time)
        item.insert(VXTimeKey, interval);
    if (creditFrontTime && !frontTime)
        item.insert(VXFrontTimeKey, interval);
}

const VXArray *nonEmptyChildren(const VXDictionary &item)
{
    const VXArray *children = item.value(VXChildrenKey).array();
    return children && !children->isEmpty() ? children : nullptr;
}

}   // namespace

void checkPools(const VXArray *pools, VXDictionary &item, bool gap, double interval, bool isFrontmost)
{
    const VXValue &nameValue = item.value(VXNameKey);
    if (!pools || !nameValue.isString())
        return;
    const QString name = nameValue.stringRef();
    const bool isWindow = item.value(VXPathKey).stringRef() == VXWindowPathMarker;
    const QString applicationID = isWindow ? item.value(VXApplicationIDKey).stringRef() : QString();

    for (const VXValue &poolValue : *pools) {
        VXDictionary *pool = poolValue.dictionary();
        const VXArray *members = pool ? pool->value(VXChildrenKey).array() : nullptr;
        if (!members)
            continue;
        bool hit = false;
        for (const VXValue &memberValue : *members) {
            VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            const bool matchesAny = boolForKey(*member, VXMatchAnyApplicationKey);
            if (isWindow) {
                if (!matchesAny && member->value(VXApplicationIDKey).stringRef() != applicationID)
                    continue;
                bool matched = false;
                if (const VXArray *entries = member->value(VXChildrenKey).array()) {
                    for (const VXValue &entryValue : *entries) {
                        VXDictionary *entry = entryValue.dictionary();
                        if (entry && matchesQuery(name, entry->value(VXNameKey).toString())) {
                            credit(*entry, gap, interval, isFrontmost);
                            matched = true;
                        }
                    }
                }
                if (!matched)
                    continue;
            } else {
                if (nonEmptyChildren(*member))
                    continue;
                if (!matchesAny && !matchesQuery(name, member->value(VXNameKey).toString()))
                    continue;
            }
            credit(*member, gap, interval, isFrontmost);
            hit = true;
        }
        if (hit)
            credit(*pool, gap, interval, isFrontmost);
    }
}

// ---- VXPoolMatcher

struct VXPoolMatcher::MatchKey {
    bool isWindow;
    QString applicationID;
    QString name;
    bool operator==(const MatchKey &other) const
    {
        return isWindow == other.isWindow && applicationID == other.applicationID && name == other.name;
    }
};

namespace {

// Remembered outcomes are dropped when they grow past this (titles with running counters).
constexpr qsizetype kMaximumRememberedNames = 8192;

}   // namespace

struct VXPoolMatcher::Matches {
    struct Hash {
        std::size_t operator()(const MatchKey &key) const noexcept
        {
            return qHashMulti(0, key.isWindow, key.applicationID, key.name);
        }
    };
    std::unordered_map<MatchKey, std::vector<std::uint32_t>, Hash> byName;
};

VXPoolMatcher::VXPoolMatcher() : m_matches(std::make_unique<Matches>()) { }

VXPoolMatcher::~VXPoolMatcher() = default;

void VXPoolMatcher::clear()
{
    m_touched.clear();
    m_changedOutside.clear();
    m_pools.reset();
    m_settled = false;
    m_prepared.clear();
    m_lists.clear();
    m_listItems.clear();
    m_items.clear();
    m_itemIndexes.clear();
    m_listIndexes.clear();
    m_matches->byName.clear();
    m_holdsAnItemTwice = false;
}

std::optional<std::uint32_t> VXPoolMatcher::numberOf(const VXDictionary *item) const
{
    const auto found = m_itemIndexes.find(item);
    return found != m_itemIndexes.end() ? std::optional(std::uint32_t(found->second)) : std::nullopt;
}

void VXPoolMatcher::tieList(const VXArray *array)
{
    if (!array)
        return;
    m_listIndexes[array] = m_lists.size();
    m_lists.push_back({array, m_listItems.size(), array->size()});
    for (const VXValue &value : *array)
        m_listItems.push_back(value.dictionary());
}

void VXPoolMatcher::build(const VXArray *pools)
{
    clear();
    if (!pools)
        return;
    m_pools = VXArrayRef(const_cast<VXArray *>(pools));
    m_prepared.reserve(pools->size());
    tieList(pools);
    const auto tie = [this](VXDictionary *item, std::uint32_t member, std::uint32_t entry, Place place) {
        const auto index = std::uint32_t(m_items.size());
        if (!m_itemIndexes.emplace(item, index).second)
            m_holdsAnItemTwice = true;
        ItemTie &made = m_items.emplace_back();
        made.dictionary = item;
        made.changes = item->changeCount();
        made.pool = std::uint32_t(m_prepared.size() - 1);
        made.member = member;
        made.entry = entry;
        made.place = place;
        return index;
    };
    for (const VXValue &poolValue : *pools) {
        VXDictionary *pool = poolValue.dictionary();
        if (!pool)
            continue;
        Pool &prepared = m_prepared.emplace_back();
        prepared.dictionary = VXDictionaryRef(pool);
        prepared.children = pool->value(VXChildrenKey);
        prepared.tie = tie(pool, kNone, kNone, {nullptr, pool});
        VXArray *members = prepared.children.array();
        if (!members)
            continue;
        tieList(members);
        prepared.members.reserve(members->size());
        for (const VXValue &memberValue : *members) {
            VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            const auto memberIndex = std::uint32_t(prepared.members.size());
            Member &preparedMember = prepared.members.emplace_back();
            preparedMember.dictionary = VXDictionaryRef(member);
            preparedMember.tie = tie(member, memberIndex, kNone, {members, pool});
            preparedMember.name = member->value(VXNameKey);
            preparedMember.applicationIDValue = member->value(VXApplicationIDKey);
            preparedMember.matchAnyApplication = member->value(VXMatchAnyApplicationKey);
            preparedMember.children = member->value(VXChildrenKey);
            preparedMember.matchesAnyApplication = preparedMember.matchAnyApplication.toBool();
            preparedMember.applicationID = preparedMember.applicationIDValue.stringRef();
            preparedMember.namePattern = VXPattern(preparedMember.name.toString(), false);
            VXArray *entries = preparedMember.children.array();
            preparedMember.hasEntries = entries && !entries->isEmpty();
            if (!entries)
                continue;
            tieList(entries);
            preparedMember.entries.reserve(entries->size());
            for (const VXValue &entryValue : *entries) {
                if (VXDictionary *entry = entryValue.dictionary()) {
                    const VXValue &entryName = entry->value(VXNameKey);
                    const std::uint32_t index
                        = tie(entry, memberIndex, std::uint32_t(preparedMember.entries.size()), {entries, pool});
                    preparedMember.entries.push_back(
                        {VXDictionaryRef(entry), index, entryName, VXPattern(entryName.toString(), false)});
                }
            }
        }
    }
}

namespace {

// The values of the keys a member is matched by, found in one pass over it (cheaper than hashing
// four keys for each of hundreds of members on every tick).
struct MemberValues {
    const VXValue *name = nullptr;
    const VXValue *applicationID = nullptr;
    const VXValue *matchAnyApplication = nullptr;
    const VXValue *children = nullptr;

    explicit MemberValues(const VXDictionary &member)
    {
        const auto values
            = entryValues<4>(member, {&VXNameKey, &VXApplicationIDKey, &VXMatchAnyApplicationKey, &VXChildrenKey});
        name = values[0];
        applicationID = values[1];
        matchAnyApplication = values[2];
        children = values[3];
    }
};

bool sameValue(const VXValue *found, const VXValue &prepared)
{
    return found ? *found == prepared : prepared.isNull();
}

}   // namespace

// Whether an item whose change count moved still holds what it was prepared from.
bool VXPoolMatcher::holdsPreparedValues(const ItemTie &tie) const
{
    const Pool &pool = m_prepared[tie.pool];
    if (tie.member == kNone)
        return tie.dictionary->value(VXChildrenKey) == pool.children;
    const Member &member = pool.members[tie.member];
    if (tie.entry != kNone)
        return tie.dictionary->value(VXNameKey) == member.entries[tie.entry].name;
    const MemberValues values(*tie.dictionary);
    return sameValue(values.name, member.name) && sameValue(values.applicationID, member.applicationIDValue)
        && sameValue(values.matchAnyApplication, member.matchAnyApplication)
        && sameValue(values.children, member.children);
}

// The same objects holding the same values: each list holds the same items, and an item whose
// change count did not move is unchanged. (A list replaced by another changes its holder's
// count.)
bool VXPoolMatcher::isCurrent(const VXArray *pools)
{
    if (!pools || pools != m_pools.get())
        return false;
    for (const ListTie &list : m_lists) {
        const VXArray &items = *list.array;
        if (items.size() != list.size)
            return false;
        const VXDictionary *const *held = m_listItems.data() + list.first;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items.objectAt(i).dictionary() != held[i])
                return false;
        }
    }
    for (std::size_t i = 0; i < m_items.size(); ++i) {
        ItemTie &tie = m_items[i];
        const std::uint32_t changes = tie.dictionary->changeCount();
        if (changes == tie.changes)
            continue;
        if (!holdsPreparedValues(tie))
            return false;
        tie.changes = changes;
        m_changedOutside.push_back(std::uint32_t(i));
    }
    return true;
}

bool VXPoolMatcher::update(const VXArray *pools)
{
    const bool untouched = m_settled && m_settledChanges == VXContainerChangesOnThisThread();
    m_settled = false;
    m_changedOutside.clear();
    if (pools && pools == m_pools.get() && untouched)
        return false;
    if (isCurrent(pools))
        return false;
    m_changedOutside.clear();
    build(pools);
    return true;
}

void VXPoolMatcher::settle()
{
    m_settled = true;
    m_settledChanges = VXContainerChangesOnThisThread();
}

void VXPoolMatcher::retieList(const ListTie &list)
{
    for (std::size_t i = 0; i < list.size && i < list.array->size(); ++i)
        m_listItems[list.first + i] = list.array->objectAt(i).dictionary();
}

void VXPoolMatcher::noteOwnChanges(const std::vector<std::uint32_t> &items, const std::vector<VXArray *> &sortedLists)
{
    for (const std::uint32_t number : items)
        m_items[number].changes = m_items[number].dictionary->changeCount();
    for (const VXArray *array : sortedLists) {
        const auto found = m_listIndexes.find(array);
        if (found != m_listIndexes.end())
            retieList(m_lists[found->second]);
    }
}

void VXPoolMatcher::noteOwnChangesToAll()
{
    for (ItemTie &tie : m_items)
        tie.changes = tie.dictionary->changeCount();
    for (const ListTie &list : m_lists)
        retieList(list);
}

std::vector<std::uint32_t> VXPoolMatcher::matchesFor(bool isWindow, const QString &applicationID,
                                                     const VXPatternSubject &name) const
{
    std::vector<std::uint32_t> matches;
    for (const Pool &pool : m_prepared) {
        bool hit = false;
        for (const Member &member : pool.members) {
            if (isWindow) {
                if (!member.matchesAnyApplication && member.applicationID != applicationID)
                    continue;
                bool matched = false;
                for (const Entry &entry : member.entries) {
                    if (entry.pattern.matches(name)) {
                        matches.push_back(entry.tie);
                        matched = true;
                    }
                }
                if (!matched)
                    continue;
            } else {
                if (member.hasEntries)
                    continue;
                if (!member.matchesAnyApplication && !member.namePattern.matches(name))
                    continue;
            }
            matches.push_back(member.tie);
            hit = true;
        }
        if (hit)
            matches.push_back(pool.tie);
    }
    return matches;
}

void VXPoolMatcher::checkPools(VXDictionary &item, bool gap, double interval, bool isFrontmost)
{
    const VXValue &nameValue = item.value(VXNameKey);
    if (m_prepared.empty() || !nameValue.isString())
        return;
    const bool isWindow = item.value(VXPathKey).stringRef() == VXWindowPathMarker;
    MatchKey key {isWindow, isWindow ? item.value(VXApplicationIDKey).stringRef() : QString(), nameValue.stringRef()};
    auto &byName = m_matches->byName;
    auto found = byName.find(key);
    if (found == byName.end()) {
        if (qsizetype(byName.size()) >= kMaximumRememberedNames)
            byName.clear();
        std::vector<std::uint32_t> matches = matchesFor(isWindow, key.applicationID, VXPatternSubject(key.name));
        found = byName.emplace(std::move(key), std::move(matches)).first;
    }
    for (const std::uint32_t index : found->second) {
        ItemTie &tie = m_items[index];
        // Credited already in this round, as frontmost too if this is: its marks are set.
        if (tie.marked == m_round && (!isFrontmost || tie.frontMarked == m_round))
            continue;
        const bool first = tie.marked != m_round;
        if (m_holdsAnItemTwice) {
            // The item's other place has its own tie: the marks in the item keep it to one credit.
            if (credit(*tie.dictionary, gap, interval, isFrontmost))
                m_touched.push_back(index);
        } else {
            creditTimes(*tie.dictionary, tie.slots, gap, interval, first, isFrontmost && tie.frontMarked != m_round);
            if (first)
                m_touched.push_back(index);
        }
        tie.marked = m_round;
        if (isFrontmost)
            tie.frontMarked = m_round;
    }
}

bool VXPoolMatcher::consolidate(std::uint32_t number, bool gap, double timestamp, double previousTimestamp)
{
    ItemTie &tie = m_items[number];
    return consolidateStates(*tie.dictionary, tie.slots, tie.marked == m_round, tie.frontMarked == m_round, gap,
                             timestamp, previousTimestamp);
}

void VXPoolMatcher::storeMarks()
{
    for (const std::uint32_t number : m_touched) {
        ItemTie &tie = m_items[number];
        setBool(*tie.dictionary, true, VXActiveMarkKey);
        if (tie.frontMarked == m_round)
            setBool(*tie.dictionary, true, VXFrontActiveMarkKey);
    }
}

// ---- "Match Any Application"

VXDictionary *VXPoolMemberForItem(const VXArray *pools, const VXDictionary *item)
{
    if (!pools || !item)
        return nullptr;
    for (const VXValue &poolValue : *pools) {
        const VXDictionary *pool = poolValue.dictionary();
        const VXArray *members = pool ? pool->value(VXChildrenKey).array() : nullptr;
        if (!members)
            continue;
        for (const VXValue &memberValue : *members) {
            VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            if (member == item)
                return member;
            if (const VXArray *entries = member->value(VXChildrenKey).array()) {
                for (const VXValue &entry : *entries) {
                    if (entry.dictionary() == item)
                        return member;
                }
            }
        }
    }
    return nullptr;
}

QString VXMatchAnyApplicationMenuTitle(const VXDictionary &member, bool openedOnWindowEntry)
{
    if (boolForKey(member, VXMatchAnyApplicationKey))
        return QCoreApplication::translate(kTranslationContext, kTrackOnlyFormat)
            .arg(member.value(VXNameKey).stringRef());
    const VXArray *entries = member.value(VXChildrenKey).array();
    const std::size_t count = entries ? entries->size() : 0;
    const char *text = kTrackWindowTitlesAcrossAllApplicationsText;
    if (openedOnWindowEntry) {
        if (count < 2)
            text = kTrackAcrossAllApplicationsText;
    } else if (count == 0) {
        text = kTrackAllApplicationsText;
    } else if (count == 1) {
        text = kTrackAcrossAllApplicationsText;
    }
    return QCoreApplication::translate(kTranslationContext, text);
}

void VXToggleMatchAnyApplication(VXDictionary &member)
{
    setBool(member, !boolForKey(member, VXMatchAnyApplicationKey), VXMatchAnyApplicationKey);
}
