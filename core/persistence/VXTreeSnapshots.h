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

#include <functional>

// What the caller knows of the live tree since `previous` was taken: for a live dictionary, the
// dictionary of `previous` that it still equals, or null when that is not known. The journal
// knows it for the items that did not move since the last save (VXJournal::settledSince).
using VXSettledParts = std::function<const VXDictionary *(const VXDictionary &live)>;

// An immutable copy of `live` sharing what equals `previous` (an earlier snapshot, or null).
// Null when `live` is null or holds a null value anywhere (it could not be written). Without
// `settled` every value is compared (a ten-year record's event logs are tens of millions of
// numbers); with it, a settled dictionary is shared whole without a look inside, so the copy
// costs what changed. `settled` may answer only dictionaries of `previous`, and only for live
// dictionaries whose containers are found nowhere else in the tree (an application, a window).
VXDictionaryRef VXTreeSnapshot(const VXDictionaryRef &live, const VXDictionaryRef &previous,
                               const VXSettledParts &settled = {});

// A mutable tree, independent of the snapshot, with its shared containers shared the same way.
VXDictionaryRef VXMutableCopyOfSnapshot(const VXDictionaryRef &snapshot);
