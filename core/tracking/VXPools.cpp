#include "VXPools.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"

#include <QCoreApplication>

namespace {

const char *const kTranslationContext = "VXPools";
const char *const kTrackOnlyFormat = QT_TRANSLATE_NOOP("VXPools", "Track %1 Only");
const char *const kTrackAllApplicationsText = QT_TRANSLATE_NOOP("VXPools", "Track All Applications");
const char *const kTrackAcrossAllApplicationsText = QT_TRANSLATE_NOOP("VXPools", "Track Across All Applications");
const char *const kTrackWindowTitlesAcrossAllApplicationsText =
    QT_TRANSLATE_NOOP("VXPools", "Track Window Titles Across All Applications");

// One entry, member or pool gains the interval once per tick: the first credit sets the working
// mark, later ones in the same tick find it set.
void credit(VXDictionary &item, bool gap, double interval, bool isFrontmost)
{
    if (!boolForKey(item, VXActiveMarkKey)) {
        setBool(item, true, VXActiveMarkKey);
        if (!gap && boolForKey(item, VXActiveKey))
            addTimeInterval(item, interval, VXTimeKey);
    }
    if (isFrontmost && !boolForKey(item, VXFrontActiveMarkKey)) {
        setBool(item, true, VXFrontActiveMarkKey);
        if (!gap && boolForKey(item, VXFrontActiveKey))
            addTimeInterval(item, interval, VXFrontTimeKey);
    }
}

const VXArray *nonEmptyChildren(const VXDictionary &item)
{
    const VXArray *children = item.value(VXChildrenKey).array();
    return children && !children->isEmpty() ? children : nullptr;
}

} // namespace

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

void VXPoolMatcher::build(const VXArray *pools)
{
    m_pools.clear();
    if (!pools)
        return;
    m_pools.reserve(pools->size());
    for (const VXValue &poolValue : *pools) {
        VXDictionary *pool = poolValue.dictionary();
        const VXArray *members = pool ? pool->value(VXChildrenKey).array() : nullptr;
        if (!members)
            continue;
        Pool &prepared = m_pools.emplace_back();
        prepared.dictionary = pool;
        prepared.members.reserve(members->size());
        for (const VXValue &memberValue : *members) {
            VXDictionary *member = memberValue.dictionary();
            if (!member)
                continue;
            Member &preparedMember = prepared.members.emplace_back();
            preparedMember.dictionary = member;
            preparedMember.matchesAnyApplication = boolForKey(*member, VXMatchAnyApplicationKey);
            preparedMember.applicationID = member->value(VXApplicationIDKey).stringRef();
            preparedMember.namePattern = VXPattern(member->value(VXNameKey).toString(), false);
            const VXArray *entries = member->value(VXChildrenKey).array();
            preparedMember.hasEntries = entries && !entries->isEmpty();
            if (!entries)
                continue;
            preparedMember.entries.reserve(entries->size());
            for (const VXValue &entryValue : *entries) {
                if (VXDictionary *entry = entryValue.dictionary())
                    preparedMember.entries.push_back({entry, VXPattern(entry->value(VXNameKey).toString(), false)});
            }
        }
    }
}

void VXPoolMatcher::checkPools(VXDictionary &item, bool gap, double interval, bool isFrontmost) const
{
    const VXValue &nameValue = item.value(VXNameKey);
    if (m_pools.empty() || !nameValue.isString())
        return;
    const VXPatternSubject name(nameValue.stringRef());
    const bool isWindow = item.value(VXPathKey).stringRef() == VXWindowPathMarker;
    const QString applicationID = isWindow ? item.value(VXApplicationIDKey).stringRef() : QString();

    for (const Pool &pool : m_pools) {
        bool hit = false;
        for (const Member &member : pool.members) {
            if (isWindow) {
                if (!member.matchesAnyApplication && member.applicationID != applicationID)
                    continue;
                bool matched = false;
                for (const Entry &entry : member.entries) {
                    if (entry.pattern.matches(name)) {
                        credit(*entry.dictionary, gap, interval, isFrontmost);
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
            credit(*member.dictionary, gap, interval, isFrontmost);
            hit = true;
        }
        if (hit)
            credit(*pool.dictionary, gap, interval, isFrontmost);
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
        return QCoreApplication::translate(kTranslationContext, kTrackOnlyFormat).arg(member.value(VXNameKey).stringRef());
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
