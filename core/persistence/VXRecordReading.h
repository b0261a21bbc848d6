#pragma once

// Reading the saved record for the program and its commands: the file is mapped rather than
// copied into memory (only the decoded tree stays), and a file whose tree could not fit in the
// memory available is refused whole, before any of it is decoded, never half-loaded.

#include "VXValue.h"

#include <QString>
#include <QtGlobal>

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
