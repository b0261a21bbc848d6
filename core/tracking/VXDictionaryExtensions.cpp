#include "VXDictionaryExtensions.h"

#include "VXConfigurationKeys.h"
#include "VXSorting.h"
#include "VXStringExtensions.h"

#include <QCoreApplication>

#include <cmath>
#include <limits>

namespace {

// Translatable names of items that have none of their own.
const char *const kTranslationContext = "VXItem";
const char *const kAnyApplicationText = QT_TRANSLATE_NOOP("VXItem", "Any Application");
const char *const kEmptyPoolText = QT_TRANSLATE_NOOP("VXItem", "Empty Pool");
const QString kPoolMemberSeparator = QStringLiteral(" | ");

// An earlier period is taken to have begun at the previous sample when the two times are within
// the program's tolerance for equal timestamps.
constexpr double kNoPreviousTimestamp = 0.001;

// Whether nothing but white space and line breaks is left once trimmed, without making the
// trimmed copy (the sort of every list asks this for every comparison).
bool isBlank(QStringView text)
{
    for (QChar c : text) {
        if (!c.isSpace())
            return false;
    }
    return true;
}

}   // namespace

double timeIntervalForKey(const VXDictionary &item, const QString &key)
{
    return item.value(key).toDouble();
}

void setTimeInterval(VXDictionary &item, double interval, const QString &key)
{
    item.insert(key, interval);
}

void addTimeInterval(VXDictionary &item, double interval, const QString &key)
{
    if (VXValue *stored = item.valuePointer(key)) {
        *stored = VXValue(stored->toDouble() + interval);
        return;
    }
    item.insert(key, interval);
}

bool boolForKey(const VXDictionary &item, const QString &key)
{
    return item.value(key).toBool();
}

void setBool(VXDictionary &item, bool value, const QString &key)
{
    if (value)
        item.insert(key, true);
    else
        item.remove(key);
}

std::uint64_t unsignedIntegerForKey(const VXDictionary &item, const QString &key)
{
    const VXValue &value = item.value(key);
    if (value.isUnsignedInteger())
        return static_cast<std::uint64_t>(value.integerBits());
    if (value.isReal()) {
        const double real = value.realValue();
        if (!(real > 0.0))
            return 0;   // also NaN
        if (real >= 18446744073709551615.0)
            return std::numeric_limits<std::uint64_t>::max();
        return static_cast<std::uint64_t>(real);
    }
    const std::int64_t integer = value.toInteger();
    return integer > 0 ? static_cast<std::uint64_t>(integer) : 0;
}

void setOrRemoveObject(VXDictionary &item, const VXValue &object, const QString &key)
{
    if (object.isNull())
        item.remove(key);
    else
        item.insert(key, object);
}

void tryToSetObject(VXDictionary &item, const VXValue &object, const QString &key)
{
    if (!object.isNull() && !key.isNull())
        item.insert(key, object);
}

namespace {

// One state of consolidateFrontState, its three values found: seen when marked here or by
// `marked`.
bool consolidateFound(VXDictionary &item, bool frontState, const VXValue *mark, const VXValue *flag,
                      const VXValue *logValue, bool marked, bool gap, double timestamp, double previousTimestamp)
{
    const QString &markKey = frontState ? VXFrontActiveMarkKey : VXActiveMarkKey;
    const QString &flagKey = frontState ? VXFrontActiveKey : VXActiveKey;
    const QString &logKey = frontState ? VXFrontActiveLogKey : VXActiveLogKey;
    // The log is a shared object: its address survives the changes to the item below, which may
    // move the item's entries.
    VXArray *log = logValue ? logValue->array() : nullptr;
    const bool hasMark = mark != nullptr;
    const bool seen = marked || (hasMark && mark->toBool());

    // The mark becomes the flag (stored as true, or removed), and goes.
    if (seen) {
        if (!(flag && flag->isBoolean() && flag->toBool()))
            item.insert(flagKey, true);
    } else if (flag) {
        item.remove(flagKey);
    }
    if (hasMark)
        item.remove(markKey);

    double last = (log && !log->isEmpty()) ? log->last().toDouble() : -1.0;

    // A period left open across a gap ends at the last sample before the gap; begun there, it
    // had no length and goes.
    if (gap && last > 0) {
        if (previousTimestamp < kNoPreviousTimestamp || VXSimilarAbsoluteTimeIntervals(last, previousTimestamp))
            log->removeLast();
        else
            log->append(-previousTimestamp);
        last = -1.0;
    }

    const bool open = last > 0;
    if (seen) {
        if (!open) {
            if (!log) {
                VXArrayRef created = VXMakeArray();
                log = created.get();
                item.insert(logKey, std::move(created));
            }
            log->append(timestamp);
        }
        return true;
    }
    if (open) {
        // The period ends at the last sample that still saw the item, not at this one.
        if (previousTimestamp < kNoPreviousTimestamp)
            log->append(-timestamp);
        else if (VXSimilarAbsoluteTimeIntervals(last, previousTimestamp))
            log->removeLast();
        else
            log->append(-previousTimestamp);
    }
    return false;
}

}   // namespace

bool consolidateFrontState(VXDictionary &item, bool frontState, bool gap, double timestamp, double previousTimestamp)
{
    const QString &markKey = frontState ? VXFrontActiveMarkKey : VXActiveMarkKey;
    const QString &flagKey = frontState ? VXFrontActiveKey : VXActiveKey;
    const QString &logKey = frontState ? VXFrontActiveLogKey : VXActiveLogKey;

    // Every live item goes through here twice a tick: one pass finds the three keys.
    const auto [mark, flag, logValue] = entryValues<3>(item, {&markKey, &flagKey, &logKey});
    return consolidateFound(item, frontState, mark, flag, logValue, false, gap, timestamp, previousTimestamp);
}

bool consolidateStates(VXDictionary &item, bool gap, double timestamp, double previousTimestamp)
{
    consolidateFrontState(item, true, gap, timestamp, previousTimestamp);
    return consolidateFrontState(item, false, gap, timestamp, previousTimestamp);
}

void VXTickSlots::locate(const VXDictionary &item)
{
    static const std::array<const QString *, 8> keys {&VXActiveKey,          &VXFrontActiveKey,   &VXActiveMarkKey,
                                                      &VXFrontActiveMarkKey, &VXTimeKey,          &VXFrontTimeKey,
                                                      &VXActiveLogKey,       &VXFrontActiveLogKey};
    m_indexes = entryIndexes(item, keys);
    m_changes = item.changeCount();
    m_located = true;
}

bool consolidateStates(VXDictionary &item, VXTickSlots &slots, bool seen, bool seenInFront, bool gap, double timestamp,
                       double previousTimestamp)
{
    // Each state may store or remove entries, after which the slots are found anew.
    const auto state = [&](bool frontState, bool marked) {
        using Slot = VXTickSlots::Slot;
        return consolidateFound(item, frontState,
                                slots.value(item, frontState ? Slot::FrontActiveMark : Slot::ActiveMark),
                                slots.value(item, frontState ? Slot::FrontActive : Slot::Active),
                                slots.value(item, frontState ? Slot::FrontActiveLog : Slot::ActiveLog), marked, gap,
                                timestamp, previousTimestamp);
    };
    state(true, seenInFront);
    return state(false, seen);
}

void resetTimersRecursively(VXDictionary &item)
{
    for (const QString *key :
         {&VXActiveKey, &VXActiveLogKey, &VXTimeKey, &VXFrontActiveKey, &VXFrontActiveLogKey, &VXFrontTimeKey})
        item.remove(*key);

    if (VXDictionary *windows = item.value(VXWindowsByNameKey).dictionary()) {
        for (std::size_t i = 0; i < windows->size(); ++i) {
            if (VXDictionary *window = windows->valueAt(i).dictionary())
                resetTimersRecursively(*window);
        }
    } else if (VXArray *children = item.value(VXChildrenKey).array()) {
        for (const VXValue &child : *children) {
            if (VXDictionary *dictionary = child.dictionary())
                resetTimersRecursively(*dictionary);
        }
    }
}

QString itemName(const VXDictionary &item)
{
    if (boolForKey(item, VXMatchAnyApplicationKey))
        return QCoreApplication::translate(kTranslationContext, kAnyApplicationText);

    const QString &name = item.value(VXNameKey).stringRef();
    if (!poolNameIsMadeOfMembers(name) || item.value(VXPathKey).stringRef() != VXPoolPathMarker)
        return name;

    const VXArray *members = item.value(VXChildrenKey).array();
    if (!members || members->isEmpty())
        return QCoreApplication::translate(kTranslationContext, kEmptyPoolText);

    QString joined;
    bool first = true;
    for (const VXValue &value : *members) {
        if (!first)
            joined += kPoolMemberSeparator;
        first = false;
        const VXDictionary *member = value.dictionary();
        if (!member)
            continue;
        const VXArray *entries = member->value(VXChildrenKey).array();
        if (!entries || entries->isEmpty()) {
            joined += itemName(*member);
            continue;
        }
        // "<name> (<entries>)", the name as it is (a "%1" in it is text, not a place for the
        // count); appended, not filled into a format: the organizer names the pools in view on
        // every tick.
        joined += itemName(*member);
        joined += QLatin1StringView(" (");
        joined += QString::number(static_cast<qulonglong>(entries->size()));
        joined += u')';
    }
    return joined;
}

bool poolNameIsMadeOfMembers(QStringView ownName)
{
    return isBlank(ownName);
}

bool isPoolOrPoolItem(const VXDictionary &item)
{
    return item.value(VXTypeKey).stringRef() == VXPoolItemType || item.value(VXPathKey).stringRef() == VXPoolPathMarker;
}

const VXRunningApplication *itemRunningApplication(const VXDictionary &item,
                                                   const std::vector<VXRunningApplication> &runningApplications)
{
    const QString &applicationID = item.value(VXApplicationIDKey).stringRef();
    if (applicationID.isEmpty())
        return nullptr;
    for (const VXRunningApplication &application : runningApplications) {
        if (application.bundleIdentifier == applicationID || isEqualToPath(application.bundlePath, applicationID))
            return &application;
    }
    return nullptr;
}
