#pragma once

// Reading the saved record for the program and its commands: the file is mapped rather than
// copied into memory (only the decoded tree stays), and a file whose tree could not fit in the
// memory available is refused whole, before any of it is decoded, never half-loaded.

#include "VXBinaryPropertyListReader.h"
#include "VXValue.h"

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QtGlobal>

#include <cstddef>
#include <memory>

struct VXRecordReading {
    VXDictionaryRef configuration;   // null when the file is missing, unreadable, damaged or refused
    bool exists = false;
    bool tooLarge = false;   // refused for its size; the file is left as it is
    QString problem;   // why there is no tree, for a message (empty when the file is missing)
    // With VXRecordSnapshot::Made: the tree's snapshot as read (VXBinaryPropertyListReader's
    // twin), when the file is a binary record without equal keys; null otherwise.
    VXDictionaryRef snapshot;
    // The header that names the file's bytes in a journal (VXJournalFile::header), taken beside
    // the decoding when the journal is applied or named; empty otherwise.
    QByteArray journalHeader;
};

// Whether VXReadRecordFile applies the journal beside the record (the commands), leaves it, or
// leaves it and names the file for one (the program, which replays the journal itself and
// continues the record with a journal of its own).
enum class VXRecordJournal { Applied, Ignored, Named };

// Whether VXReadRecordFile makes the tree's snapshot as it decodes it (the program, which keeps
// the record as it stands as its last save).
enum class VXRecordSnapshot { None, Made };

// The record file at `path`, decoded, with the journal beside it applied (see below) or not.
VXRecordReading VXReadRecordFile(const QString &path, VXRecordJournal journal = VXRecordJournal::Applied,
                                 VXRecordSnapshot snapshot = VXRecordSnapshot::None);

// Applies the journal beside the record file at `recordPath` to `tree`, the tree decoded from
// that file, whose bytes' journal header (VXJournalFile::header) is `recordHeader` (the journal
// must continue them), read-only: neither file is written, so that a command run between a
// crash and the next start sees the tracking the journal kept, and the next start still
// recovers it. Periods open at the last entry end there,
// as a restart closes them. Answers how many entries were applied (0: no journal, an empty one,
// one of another record, or damage before the first whole entry).
std::size_t VXApplyJournalToReadTree(VXDictionary &tree, const QByteArray &recordHeader, const QString &recordPath);

// Whether a journal with entries lies beside the record file (a look at its size only): a
// reader that does not decode the tree then reads it with VXReadRecordFile instead.
bool VXJournalHasEntries(const QString &recordPath);

// The memory the decoded tree of a record file of this size may take (a binary record's tree
// is about its size again; the slack covers the decoder's tables).
qint64 VXMemoryNeededForRecord(qint64 fileSize);
// The memory the system can give without swapping ("MemAvailable"); -1 when it cannot tell.
qint64 VXAvailableMemory();

// Keeps the tree alive until the process ends, for commands: freeing millions of values one by
// one just before exiting is work the system does at once.
void VXKeepUntilExit(const VXValue &value);

// A binary record file read in place, for the commands that read parts of it once: the file is
// mapped and only what they ask for is decoded (VXBinaryPropertyListView), so that a record of
// years costs what the asked part costs.
class VXMappedRecord
{
public:
    // The record at `path`, or null when it cannot be read in place and the tree must be read
    // (VXReadRecordFile gives the reason, when there is one): missing, empty, unreadable, not a
    // binary record, damaged in its header, or followed by a journal with changes the file
    // does not hold yet.
    static std::unique_ptr<VXMappedRecord> open(const QString &path);
    ~VXMappedRecord();
    VXMappedRecord(const VXMappedRecord &) = delete;
    VXMappedRecord &operator=(const VXMappedRecord &) = delete;

    VXBinaryPropertyListView &view() { return *m_view; }
    // The root's own entries (the timestamps, the lists' settings) without the tables of
    // applications and pools, which are read in place; null when the record is damaged.
    VXDictionaryRef rootWithoutItems();

private:
    struct Population;
    VXMappedRecord();
    void populate(std::size_t size);

    QFile m_file;
    uchar *m_mapped = nullptr;
    QByteArray m_data;
    std::unique_ptr<VXBinaryPropertyListView> m_view;
    std::unique_ptr<Population> m_population;   // its thread joined before the file is unmapped
};
