#pragma once

// Files and folders that hold a person's record and settings: folders only their owner may
// enter, and damaged files set aside for a person to look at instead of being overwritten.

#include <QString>

// Makes the folder (and any missing folder above it, as the desktop makes them) with mode 0700.
// The mode is given when the folder is made, so there is no moment when another user may enter
// it, whoever makes it first. A folder already there is left as it is, unless `tightenExisting`
// says it is the program's own: then a looser mode of one of ours becomes 0700. Answers whether
// the folder is there now, with a log line when not.
bool VXMakePrivateFolder(const QString &path, bool tightenExisting = false);

// Renames a file that cannot be read to PATH.damaged-YYYYMMDD-HHMMSS beside it (with "-2",
// "-3"... when that name is taken): nothing is overwritten. Answers the new path, or nothing
// when the file could not be renamed. The caller says what was set aside.
QString VXSetDamagedFileAside(const QString &path);
