#pragma once

// Accessors on the items of the configuration tree (applications, windows, pools, pool members,
// window entries) and on the tree's root. Every other part of the program reads and writes the
// tree through these, so that a missing or mistyped value always reads the same way: as 0 or
// false, never as a failure. Booleans are stored only when true.
//
// Event logs. An item keeps one log per state (active, frontmost): a flat array of numbers in
// time order, +t opening a period at t and -t closing it at t. A final positive number is a
// period still open. Periods run from the first sample at which the item was seen in the state
// to the last sample at which it was still seen:
//
//     samples:      t1   t2   t3   t4   t5
//     seen:          x    x    x    .    x
//     log:         [+t1            -t3][+t5 ...
//
// A period of one sample has no length and is never stored.

#include "VXDesktop.h"
#include "VXValue.h"

#include <QString>

#include <array>
#include <cstdint>
#include <vector>

// The value's double, or 0 when missing or not a number.
double timeIntervalForKey(const VXDictionary &item, const QString &key);
void setTimeInterval(VXDictionary &item, double interval, const QString &key);
void addTimeInterval(VXDictionary &item, double interval, const QString &key);

// The value's truth, or false when missing or not a number.
bool boolForKey(const VXDictionary &item, const QString &key);
// true is stored; false removes the key.
void setBool(VXDictionary &item, bool value, const QString &key);

// The value as an unsigned whole number: reals are truncated, negative values and anything that
// is no number read as 0.
std::uint64_t unsignedIntegerForKey(const VXDictionary &item, const QString &key);

// Stores the object, or removes the key when the object is null.
void setOrRemoveObject(VXDictionary &item, const VXValue &object, const QString &key);
// Stores the object only when both the object and the key are present.
void tryToSetObject(VXDictionary &item, const VXValue &object, const QString &key);

// Ends a sample for one state of the item (the frontmost state when `frontState`, else the
// active state): the working mark becomes the persistent flag and is removed, and the event log
// opens or closes a period. `timestamp` is the sample's time; `previousTimestamp` the time of
// the previous sample (0 when there was none). One call per sample:
//
//     samples:        t1     t2     t3     t4     t5
//     marked:          x      x      .      x      .
//     log after t1:  [+t1 ...
//     log after t2:  [+t1 ...                                  still open
//     log after t3:  [+t1 -t2]                                 closed at the last sample that saw it
//     log after t4:  [+t1 -t2][+t4 ...
//     log after t5:  [+t1 -t2]                                 one sample has no length: dropped
//
// Without a previous sample (the first tick after launch) an open period closes at this one:
//
//     log before t:  [+t0 ...      not marked at t:    [+t0 -t]
//
// After a gap (a pause between t2 and t3) a period left open is closed at the previous sample,
// or dropped when it began there; then the sample counts as usual:
//
//     item seen at t1, t2 and t3:  log before t3: [+t1 ...   after t3: [+t1 -t2][+t3 ...
//     item seen at t2 and t3:      log before t3: [+t2 ...   after t3: [+t3 ...
//
// Answers whether the item was seen in the state during the sample.
bool consolidateFrontState(VXDictionary &item, bool frontState, bool gap, double timestamp, double previousTimestamp);
// The frontmost state, then the active state; answers the active state's result.
bool consolidateStates(VXDictionary &item, bool gap, double timestamp, double previousTimestamp);

// Where each of `keys` stands in the item's entries (-1: missing), found in one pass over them:
// cheaper than a lookup per key for the few keys read of every live item on every tick.
template <std::size_t N>
std::array<std::ptrdiff_t, N> entryIndexes(const VXDictionary &item, const std::array<const QString *, N> &keys)
{
    std::array<std::ptrdiff_t, N> indexes;
    indexes.fill(-1);
    for (std::size_t i = 0; i < item.size(); ++i) {
        const QString &key = item.entries()[i].key;
        for (std::size_t k = 0; k < N; ++k) {
            if (key.size() == keys[k]->size() && key == *keys[k]) {
                indexes[k] = std::ptrdiff_t(i);
                break;
            }
        }
    }
    return indexes;
}

// The values under `keys` (null: missing), found the same way.
template <std::size_t N>
std::array<const VXValue *, N> entryValues(const VXDictionary &item, const std::array<const QString *, N> &keys)
{
    const std::array<std::ptrdiff_t, N> indexes = entryIndexes(item, keys);
    std::array<const VXValue *, N> values;
    for (std::size_t k = 0; k < N; ++k)
        values[k] = indexes[k] < 0 ? nullptr : &item.entries()[std::size_t(indexes[k])].value;
    return values;
}

// Where the keys that a tick reads and writes sit among one item's entries, found in one pass and
// trusted while the item's change count stays where it was: entries move only when one is
// stored or removed, never when a value is changed in place. An item credited every tick keeps
// its keys where they are, so that a tick reads and adds its times without a look-up.
class VXTickSlots
{
public:
    enum Slot : std::uint8_t {
        Active,
        FrontActive,
        ActiveMark,
        FrontActiveMark,
        Time,
        FrontTime,
        ActiveLog,
        FrontActiveLog
    };

    // The item's value under the slot's key, or null. Always asked of the same item.
    VXValue *value(VXDictionary &item, Slot slot)
    {
        if (!m_located || m_changes != item.changeCount())
            locate(item);
        const std::ptrdiff_t index = m_indexes[slot];
        return index < 0 ? nullptr : &item.valueAt(std::size_t(index));
    }

private:
    void locate(const VXDictionary &item);

    bool m_located = false;
    std::uint32_t m_changes = 0;
    std::array<std::ptrdiff_t, 8> m_indexes {};
};

// consolidateStates for an item whose working marks are kept outside it: `seen` and
// `seenInFront` say whether the tick marked it (a mark stored in the item counts as well, and
// goes).
bool consolidateStates(VXDictionary &item, VXTickSlots &slots, bool seen, bool seenInFront, bool gap, double timestamp,
                       double previousTimestamp);

// Removes "Active", "Active Log", "Time", "Front Active", "Front Active Log" and "Front Time"
// from the item and from every item under it (through "Windows By Name", else "Children").
void resetTimersRecursively(VXDictionary &item);

// The name shown for the item: "Any Application" (translated) for a pool member that matches
// any application; the "Name" when it is not blank; for an unnamed pool its members' names
// joined with " | " (a member with window entries as "Name (count)"), or "Empty Pool" when it
// has no members. Anything else answers its "Name" as it is.
QString itemName(const VXDictionary &item);
// Whether itemName() makes a pool's name of its members' names: its own name is blank.
bool poolNameIsMadeOfMembers(QStringView ownName);

// Whether the item is a pool, a pool member or a window entry of one.
bool isPoolOrPoolItem(const VXDictionary &item);

// The first running application whose bundle identifier is the item's "Application ID", or
// whose bundle path is the same path as it (compared ignoring case); null when none runs.
const VXRunningApplication *itemRunningApplication(const VXDictionary &item,
                                                   const std::vector<VXRunningApplication> &runningApplications);
