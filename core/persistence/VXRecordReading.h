#pragma once

// Reading the saved record for the program and its commands: the file is mapped rather than
// copied into memory (only the decoded tree stays), and a file whose tree could not fit in the
// memory available is refused whole, before any of it is decoded, never half-loaded.

#include "VXBinaryPropertyListReader.h"
#include "VXValue.h"

#include <QFile>
#include <QString>
#include <QtGlobal>

#include <memory>

struct VXRecordReading {
    VXDictionaryRef configuration;   // null when the file is missing, unreadable, damaged or refused
    bool exists = false;
    bool tooLarge = false;   // refused for its size; the file is left as it is
    QString problem;   // why there is no tree, for a message (empty when the file is missing)
};

VXRecordReading VXReadRecordFile(const QString &path);

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
    VXMappedRecord() = default;

    QFile m_file;
    uchar *m_mapped = nullptr;
    QByteArray m_data;
    std::unique_ptr<VXBinaryPropertyListView> m_view;
};
