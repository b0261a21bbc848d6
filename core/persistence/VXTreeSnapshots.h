#pragma once

// Whole-tree snapshots that cost little to take and to keep: an undo state, or the tree handed
// to the file writer. A snapshot is a copy of the live tree that is never changed afterwards,
// so it may share every part that is equal to the same part of an earlier snapshot. Between two
// user actions only a few items change (the timers and logs of what is open), so a new snapshot
// copies those and the containers above them, and shares the rest:
//
//     live tree:       root --- Applications --- Editor (changed) --- Active Log (changed)
//                                             \- Mail   (same)    --- Active Log (same)
//     new snapshot:    root' -- Applications' -- Editor' ----------- Active Log'
//                                             \- Mail (the earlier snapshot's) ...
//
// A container that the live tree holds in two places (a window under "Windows By Name" and
// under "Children") is one container in the snapshot, and again one in a copy made from it, as
// a binary property list keeps it. Being immutable, a snapshot may be read on another thread
// (the file writer) while the main thread goes on changing the live tree: the only parts it
// shares with the live tree are texts and the elements of event logs (VXArray's copy-on-write
// buffers, which the live tree copies before it changes them), and the texts that a reader
// could change (those over static data) are copied.

#include "VXValue.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

// What the caller knows of a live container since `previous` was taken: the container of
// `previous` that it continues (`same`, null when that is not known), and where it differs.
// - Without `partial`: the live dictionary equals `same`, which the snapshot shares unseen.
// - A dictionary with `partial` (a table of items): it holds `same`'s keys at the same places,
//   then keys added since; the values at the places in `changed` may differ from `same`'s, the
//   others equal them.
// - An array with `partial` (a list of items): element i equals `same`'s element from[i], except
//   where from[i] is -1 or i is in `changed` (compared anew, with `same`'s element from[i] as the
//   earlier one when there is one).
// A table and a list that hold the same items must be answered both or neither: an item taken
// from `same` unseen is the earlier snapshot's object, which the other must then name too.
struct VXSettledPart {
    VXValue same;
    bool partial = false;
    std::vector<std::size_t> changed;
    std::vector<std::ptrdiff_t> from;
};

// The journal answers it (VXJournal::settledSince) for the items that did not move since the
// last save and for the window tables and lists of the applications that did. `holder`: the
// live dictionary that holds `live` (null for an array's element or the root).
using VXSettledParts = std::function<VXSettledPart(const VXValue &live, const VXDictionary *holder)>;

// An open-addressing table from one address to another (or to a number), for passes over
// hundreds of thousands of containers where a node per entry would cost more than the work.
class VXAddressMap
{
public:
    explicit VXAddressMap(std::size_t expected) : m_slots(capacityFor(expected)) { }

    const void *find(const void *key) const
    {
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = hash(key) & mask;; i = (i + 1) & mask) {
            const Slot &slot = m_slots[i];
            if (slot.key == key)
                return slot.value;
            if (!slot.key)
                return nullptr;
        }
    }

    // Fetches the slot where `key` would be looked for first, ahead of a find.
    void prefetch(const void *key) const { __builtin_prefetch(&m_slots[hash(key) & (m_slots.size() - 1)]); }

    void insert(const void *key, const void *value)
    {
        if ((m_count + 1) * 3 > m_slots.size() * 2)
            grow();
        place(key, value);
    }

private:
    struct Slot {
        const void *key = nullptr;
        const void *value = nullptr;
    };

    static std::size_t capacityFor(std::size_t count)
    {
        std::size_t size = 1024;
        while (size * 2 < count * 3)
            size *= 2;
        return size;
    }
    static std::size_t hash(const void *key)
    {
        std::uint64_t h = std::uint64_t(reinterpret_cast<std::uintptr_t>(key)) * 0x9E3779B97F4A7C15ull;
        return std::size_t(h ^ (h >> 29));
    }
    void place(const void *key, const void *value)
    {
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = hash(key) & mask;; i = (i + 1) & mask) {
            Slot &slot = m_slots[i];
            if (!slot.key) {
                slot = {key, value};
                ++m_count;
                return;
            }
            if (slot.key == key) {
                slot.value = value;
                return;
            }
        }
    }
    void grow()
    {
        std::vector<Slot> old(m_slots.size() * 2);
        old.swap(m_slots);
        m_count = 0;
        for (const Slot &slot : old) {
            if (slot.key)
                place(slot.key, slot.value);
        }
    }

    std::vector<Slot> m_slots;
    std::size_t m_count = 0;
};

// An immutable copy of `live` sharing what equals `previous` (an earlier snapshot, or null).
// Null when `live` is null or holds a null value anywhere (it could not be written). Without
// `settled` every value is compared (a ten-year record's event logs are tens of millions of
// numbers); with it, a settled dictionary is shared whole without a look inside, so the copy
// costs what changed. `settled` may answer only containers of `previous`, and only for live
// containers whose holders are found nowhere else in the tree (an application, a window).
VXDictionaryRef VXTreeSnapshot(const VXDictionaryRef &live, const VXDictionaryRef &previous,
                               const VXSettledParts &settled = {});

// A mutable tree, independent of the snapshot, with its shared containers shared the same way.
VXDictionaryRef VXMutableCopyOfSnapshot(const VXDictionaryRef &snapshot);

// A mutable tree equal to the snapshot `state`, made from `live` and `current`, a snapshot of
// `live` taken since its last change that shares with `state` what did not change between them
// (an undo: `live` the tree undone, `state` the tree restored): the live containers `current`
// shares with `state` are kept (they leave `live`), and only the others are copied from `state`,
// so an undo costs what changed, not the record.
VXDictionaryRef VXRestoredTree(const VXDictionaryRef &live, const VXDictionaryRef &current,
                               const VXDictionaryRef &state);
