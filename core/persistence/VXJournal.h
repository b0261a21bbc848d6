#pragma once

// The journal beside the record (Configurations/Default.journal, mode 0600): what the tracker
// changed since the last full save, so that a kill, a power cut or a crashed display server
// costs seconds of tracking instead of the half hour between saves.
//
// A full save writes the whole record and starts a new journal tied to it (the header holds the
// record file's size and checksum). Between full saves, at most every kFlushInterval seconds
// while the sampler changes the tree (never while nothing does), one entry is appended and
// flushed to the disk. An entry holds only what changed since the previous one: the root's
// totals, the times and flags of the items that moved, the numbers appended to their event logs,
// new windows and applications whole, the order of re-sorted lists. Each entry carries its
// length and checksum, so a torn last entry is recognised and ignored.
//
//     record (full save, checksum C) | journal: header(C) [entry 1][entry 2][entry 3, torn...]
//     restart:  record + entry 1 + entry 2, open periods closed at entry 2's "Last Timestamp"
//
// What a user changes (a reset, an undo, a pool edit, an import) is never journalled: the
// save before the change already wrote the record, and the tree after the change is saved
// whole at the next flush, which starts a new journal (an imported tree is saved as it came
// at once, and the journal continues it as after a load). That save still shares what did not move
// with the undo state an undo restored (noteTreeRestored), or with the save before a reset that
// said what it touched (noteChangeConfinedTo). A journal whose header names another record is
// set aside, never applied.
//
// The journal also tells the half-hourly save which items did not move since the last one
// (settledSince), so that the save shares them with the last snapshot unseen instead of comparing
// a ten-year record value for value on the main thread. An application or pool item counts as
// settled only when the journal saw no change to it AND its change counts
// (VXDictionary::changeCount, its own and its window table's) did not move since it was last
// known equal to the saved item, so that a flag stored by a path that tells no one is still
// saved. A window counts as settled unless a tick or a change named it since the save (the
// journal follows only those: as many marks as windows that change between two saves, not as
// many as the record holds). Changes made in place, which no count sees,
// are caught by the slice each save compares in full (every item within kVerifyRounds saves:
// a slice of the applications' own values and of every application's windows, so that no save
// compares a whole heavy window table; the windows' share is compared ahead by the flushes
// between two saves where there are any) and logged. The sampler tells the journal which windows,
// applications and pool items each tick may have changed (VXTickWindows), so an entry between saves compares those, not
// every item of the record; the entry a save writes first still compares every item (an
// application's windows: those the ticks named). For an application that moved, the save takes
// its window table and list from the last save's with only the windows that changed compared
// anew, while the table was only added to since; it never visits the others.

#include "VXTreeSnapshots.h"
#include "VXValue.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class VXConfigurationStore;
class VXScheduler;
struct VXTickWindows;

// CRC-32 (the polynomial of zlib and PNG).
std::uint32_t VXChecksum(const char *data, std::size_t size, std::uint32_t crc = 0);
inline std::uint32_t VXChecksum(const QByteArray &data)
{
    return VXChecksum(data.constData(), std::size_t(data.size()));
}

// The journal's file: a header naming its record, then framed entries.
namespace VXJournalFile {

inline constexpr int kHeaderSize = 24;

// The header of a journal that continues the record whose file holds `record`.
QByteArray header(const QByteArray &record);
// One entry as it goes to the file: length, checksum, payload.
QByteArray frame(const QByteArray &payload);

struct Contents {
    enum class Status {
        Missing,   // no journal, or one with no entry
        Matches,   // its header names this record
        OtherRecord,   // a journal of another record (never applied)
        Damaged,   // no readable header
    };
    Status status = Status::Missing;
    std::vector<QByteArray> entries;   // the intact payloads, in order
    // Where the intact part ends; past it: a torn last entry (ignored) or damage in the middle
    // (kept aside).
    qsizetype intactSize = 0;
    bool damagedInTheMiddle = false;
};
// Splits a journal's bytes for the record whose file holds `record`.
Contents read(const QByteArray &journal, const QByteArray &record);
// The same for the record whose journal header is `recordHeader`: header(record), taken
// beforehand (a large record's checksum is taken on another thread while this one decodes it).
Contents readContinuing(const QByteArray &journal, const QByteArray &recordHeader);

}   // namespace VXJournalFile

// Applies entries to a tree that holds the record they continue (the tree the record file
// holds, then each entry in order). Answers false, leaving the tree as far as it got, at an
// entry that does not fit the tree (it came from another record, or it is damaged).
class VXJournalReplay
{
public:
    explicit VXJournalReplay(VXDictionary &tree);
    bool apply(const QByteArray &payload);

private:
    VXDictionary &m_tree;
    std::vector<VXDictionaryRef> m_items;   // by the journal's item numbers
    // Pool items in the order the record holds them: pools, then members, then entries.
    std::vector<std::vector<std::vector<VXDictionaryRef>>> m_canonicalPools;
};

// Closes every event-log period still open at the tree's "Last Timestamp", as the next tick
// after a gap would: a period that began then is dropped, any other ends then. A record that a
// replay recovered claims no time that was not seen.
void VXCloseOpenPeriods(VXDictionary &tree);

// The recorder and its flush cadence. The controller tells it when the sampler changed the
// tree (noteTick) and when something else replaced or rebuilt it (noteTreeReplaced); the store
// tells it when a full save took a new snapshot (rebase).
class VXJournal
{
public:
    static const QString kFlushOperation;   // "flushJournal"
    static constexpr double kFlushInterval = 5.0;
    // The half-hourly saves over which every item is compared value for value once, whatever the
    // journal says (a day's worth): a change that reached the tree by a path no one reported is
    // in the record within that many saves, and logged.
    static constexpr std::uint64_t kVerifyRounds = 48;
    // The windows a flush compares ahead of the next save at most (their application's slice
    // finished): a ten-year record's slice is spread over two or three flushes.
    static constexpr std::size_t kWindowsVerifiedPerFlush = 4096;

    VXJournal(VXScheduler &scheduler, VXConfigurationStore &store, std::function<VXDictionaryRef()> configuration);
    ~VXJournal();

    VXJournal(const VXJournal &) = delete;
    VXJournal &operator=(const VXJournal &) = delete;

    // The sampler changed the tree: a flush is due within kFlushInterval. `windows`: the windows
    // the tick may have changed (the sampler's list); without it, every window of an application
    // that moved is compared at the next entry.
    void noteTick(const VXTickWindows *windows = nullptr);
    // The tick listed the applications' windows anew (in another sort order, or with dormant
    // windows shown or hidden), dormant applications' included: the next flush saves the tree
    // whole, sharing what the marks call settled (an entry would name every window listed). An
    // entry that finds a list so changed by itself does the same (see VXJournal.cpp).
    void noteListsSorted();
    // The tree was replaced or rebuilt outside the sampler (undo, redo, a user's change, a
    // blacklist edit): the next flush saves it whole.
    void noteTreeReplaced();
    // The tree just replaced (noteTreeReplaced) is a mutable copy of `snapshot`
    // (VXRestoredTree of an undo state), unchanged since: the next flush still saves it
    // whole, but that save shares with `snapshot` what did not move since, as a half-hourly save
    // shares with the last one.
    void noteTreeRestored(const VXDictionaryRef &snapshot);
    // The user's change that follows the last save (rebase with `changeFollows`) touched no
    // window but `windows`, the applications only where their change counts see it, and the
    // pools in any way: the marks made at that save still hold but for the pools (compared
    // whole), and the next save, which writes the tree whole, shares what they call settled.
    // Ignored once a tick or anything else came between.
    void noteChangeConfinedTo(const VXTickWindows &windows);
    // A full save took `snapshot` of the live tree (an immutable copy, the record as written).
    // `changeFollows`: the save comes before a user's change, so the tree is saved whole again
    // at the next flush.
    void rebase(const VXDictionaryRef &snapshot, bool changeFollows);

    // Appends what changed since the last flush (or saves whole, see above). Runs by itself
    // kFlushInterval after the first change; the program calls it before it ends abruptly.
    void flush();
    // Before a full save that takes a snapshot of the tree with `previous` the last one taken:
    // appends what changed since the last flush, then answers which items did not move since
    // `previous`, and which windows of the applications that did, for the snapshot to share
    // the rest unseen (after a restore, `previous` is the state restored and nothing is
    // appended: the save writes the tree whole). Nothing when the journal cannot tell (the tree
    // was replaced or changed by the user, or `previous` is not the snapshot the journal
    // continues): the snapshot then compares the tree whole. The answer holds until the tree
    // changes or the journal flushes or rebases again.
    VXSettledParts settledSince(const VXDictionaryRef &previous);
    // The snapshot the next save takes as the last one: `lastSaved`, or the state the tree was
    // restored from since (noteTreeRestored).
    VXDictionaryRef continuedSnapshot(const VXDictionaryRef &lastSaved) const;
    // The entry the next flush would write (empty when nothing changed), without writing it;
    // nothing when the tree must be saved whole instead.
    std::optional<QByteArray> entry();

    bool isFlushPending() const;
    // How many windows the journal follows: those changed since the last full save (which lets
    // go of them all).
    std::size_t windowMarks() const;
    // How many items the slice compared at the saves found changed although the journal called
    // them settled (each is logged; the save copied it).
    std::size_t missedChanges() const;
    // The windows a flush compares ahead of the next save at most (kWindowsVerifiedPerFlush).
    void setWindowsVerifiedPerFlush(std::size_t windows) { m_windowsVerifiedPerFlush = windows; }

private:
    struct Mark;
    struct Encoder;

    // Something changed since the last flush: a flush is due within kFlushInterval.
    void noteChange();

    VXScheduler &m_scheduler;
    VXConfigurationStore &m_store;
    std::function<VXDictionaryRef()> m_configuration;
    bool m_saveWhole = true;
    // The marks describe the live tree against the encoder's base (the last save, or a snapshot
    // restored), every change since followed: a save may share what they call settled.
    bool m_marksHold = false;
    // Between a save before a user's change and the change (see noteChangeConfinedTo).
    bool m_changeFollows = false;
    // The marks describe the live tree as it is now (settledSince ran, no tick since): a full
    // save of it keeps them.
    bool m_marksCurrent = false;
    std::size_t m_windowsVerifiedPerFlush = kWindowsVerifiedPerFlush;
    std::unique_ptr<Encoder> m_encoder;
};
