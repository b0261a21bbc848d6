#include "VXPools.h"

#include "VXConfigurationKeys.h"
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
    const bool first = !boolForKey(item, VXActiveMarkKey);
    if (first) {
        setBool(item, true, VXActiveMarkKey);
        if (!gap && boolForKey(item, VXActiveKey))
            addTimeInterval(item, interval, VXTimeKey);
    }
    if (isFrontmost && !boolForKey(item, VXFrontActiveMarkKey)) {
        setBool(item, true, VXFrontActiveMarkKey);
        if (!gap && boolForKey(item, VXFrontActiveKey))
            addTimeInterval(item, interval, VXFrontTimeKey);
    }
    return first;
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
    std::unordered_map<MatchKey, std::vector<VXDictionary *>, Hash> byName;
};

VXPoolMatcher::VXPoolMatcher() : m_matches(std::make_unique<Matches>()) { }

VXPoolMatcher::~VXPoolMatcher() = default;

void VXPoolMatcher::clear()
{
    m_touched.clear();
    m_pools.reset();
    m_poolCount = 0;
    m_prepared.clear();
    m_matches->byName.clear();
    m_places.clear();
}

const VXPoolMatcher::Place *VXPoolMatcher::placeOf(const VXDictionary *item) const
{
    const auto found = m_places.find(item);
    return found != m_places.end() ? &found->second : nullptr;
}

void VXPoolMatcher::build(const VXArray *pools)
{
    clear();
    if (!pools)
        return;
    m_pools = VXArrayRef(const_cast<VXArray *>(pools));
    m_poolCount = pools->size();
    m_prepared.reserve(pools->size());
    for (const VXValue &poolValue : *pools) {
        VXDictionary *pool = poolValue.dictionary();
        if (!pool)
            continue;
        Pool &prepared = m_prepared.emplace_back();
        prepared.dictionary = VXDictionaryRef(pool);
        prepared.children = pool->value(VXChildrenKey);
        prepared.changes = pool->changeCount();
        VXArray *members = prepared.children.array();
        if (!members)
            continue;
        prepared.memberCount = members->size();
        prepared.members.reserve(members->size());
        for (const VXValue &memberValue : *members) {
            VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            Member &preparedMember = prepared.members.emplace_back();
            preparedMember.dictionary = VXDictionaryRef(member);
            preparedMember.changes = member->changeCount();
            m_places[member] = {members, pool};
            preparedMember.name = member->value(VXNameKey);
            preparedMember.applicationIDValue = member->value(VXApplicationIDKey);
            preparedMember.matchAnyApplication = member->value(VXMatchAnyApplicationKey);
            preparedMember.children = member->value(VXChildrenKey);
            preparedMember.matchesAnyApplication = preparedMember.matchAnyApplication.toBool();
            preparedMember.applicationID = preparedMember.applicationIDValue.stringRef();
            preparedMember.namePattern = VXPattern(preparedMember.name.toString(), false);
            VXArray *entries = preparedMember.children.array();
            preparedMember.childCount = entries ? entries->size() : 0;
            preparedMember.hasEntries = preparedMember.childCount > 0;
            if (!entries)
                continue;
            preparedMember.entries.reserve(entries->size());
            for (const VXValue &entryValue : *entries) {
                if (VXDictionary *entry = entryValue.dictionary()) {
                    const VXValue &entryName = entry->value(VXNameKey);
                    preparedMember.entries.push_back({VXDictionaryRef(entry), entryName,
                                                      VXPattern(entryName.toString(), false), entry->changeCount()});
                    m_places[entry] = {entries, pool};
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
        for (const VXDictionary::Entry &entry : member) {
            const qsizetype size = entry.key.size();
            if (size == VXNameKey.size() && entry.key == VXNameKey)
                name = &entry.value;
            else if (size == VXApplicationIDKey.size() && entry.key == VXApplicationIDKey)
                applicationID = &entry.value;
            else if (size == VXMatchAnyApplicationKey.size() && entry.key == VXMatchAnyApplicationKey)
                matchAnyApplication = &entry.value;
            else if (size == VXChildrenKey.size() && entry.key == VXChildrenKey)
                children = &entry.value;
        }
    }
};

bool sameValue(const VXValue *found, const VXValue &prepared)
{
    return found ? *found == prepared : prepared.isNull();
}

}   // namespace

// The same objects holding the same values: comparing values that were not replaced costs a
// pointer comparison each.
bool VXPoolMatcher::isCurrent(const VXArray *pools) const
{
    if (pools != m_pools.get() || !pools || pools->size() != m_poolCount)
        return false;
    std::size_t index = 0;
    for (const VXValue &poolValue : *pools) {
        const VXDictionary *pool = poolValue.dictionary();
        if (!pool)
            continue;
        if (index >= m_prepared.size())
            return false;
        const Pool &prepared = m_prepared[index++];
        if (prepared.dictionary.get() != pool)
            return false;
        if (pool->changeCount() != prepared.changes) {
            if (!(pool->value(VXChildrenKey) == prepared.children))
                return false;
            prepared.changes = pool->changeCount();
        }
        const VXArray *members = prepared.children.array();
        if (!members)
            continue;
        if (members->size() != prepared.memberCount)
            return false;
        std::size_t memberIndex = 0;
        for (const VXValue &memberValue : *members) {
            const VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            if (memberIndex >= prepared.members.size())
                return false;
            const Member &preparedMember = prepared.members[memberIndex++];
            if (preparedMember.dictionary.get() != member)
                return false;
            if (member->changeCount() != preparedMember.changes) {
                const MemberValues values(*member);
                if (!sameValue(values.name, preparedMember.name)
                    || !sameValue(values.applicationID, preparedMember.applicationIDValue)
                    || !sameValue(values.matchAnyApplication, preparedMember.matchAnyApplication)
                    || !sameValue(values.children, preparedMember.children))
                    return false;
                preparedMember.changes = member->changeCount();
            }
            const VXArray *entries = preparedMember.children.array();
            if (!entries)
                continue;
            if (entries->size() != preparedMember.childCount)
                return false;
            std::size_t entryIndex = 0;
            for (const VXValue &entryValue : *entries) {
                const VXDictionary *entry = entryValue.dictionary();
                if (!entry)
                    continue;
                if (entryIndex >= preparedMember.entries.size())
                    return false;
                const Entry &preparedEntry = preparedMember.entries[entryIndex++];
                if (preparedEntry.dictionary.get() != entry)
                    return false;
                if (entry->changeCount() != preparedEntry.changes) {
                    if (!(entry->value(VXNameKey) == preparedEntry.name))
                        return false;
                    preparedEntry.changes = entry->changeCount();
                }
            }
            if (entryIndex != preparedMember.entries.size())
                return false;
        }
        if (memberIndex != prepared.members.size())
            return false;
    }
    return index == m_prepared.size();
}

bool VXPoolMatcher::update(const VXArray *pools)
{
    if (isCurrent(pools))
        return false;
    build(pools);
    return true;
}

std::vector<VXDictionary *> VXPoolMatcher::matchesFor(bool isWindow, const QString &applicationID,
                                                      const VXPatternSubject &name) const
{
    std::vector<VXDictionary *> matches;
    for (const Pool &pool : m_prepared) {
        bool hit = false;
        for (const Member &member : pool.members) {
            if (isWindow) {
                if (!member.matchesAnyApplication && member.applicationID != applicationID)
                    continue;
                bool matched = false;
                for (const Entry &entry : member.entries) {
                    if (entry.pattern.matches(name)) {
                        matches.push_back(entry.dictionary.get());
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
            matches.push_back(member.dictionary.get());
            hit = true;
        }
        if (hit)
            matches.push_back(pool.dictionary.get());
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
        std::vector<VXDictionary *> matches = matchesFor(isWindow, key.applicationID, VXPatternSubject(key.name));
        found = byName.emplace(std::move(key), std::move(matches)).first;
    }
    for (VXDictionary *matched : found->second) {
        if (credit(*matched, gap, interval, isFrontmost))
            m_touched.push_back(matched);
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
