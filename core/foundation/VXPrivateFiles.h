#pragma once

// Files that hold a person's record and settings: damaged ones are set aside for a person to
// look at instead of being overwritten.

#include <QString>

// Renames a file that cannot be read to PATH.damaged-YYYYMMDD-HHMMSS beside it (with "-2",
// "-3"... when that name is taken): nothing is overwritten. Answers the new path, or nothing
// when the file could not be renamed. The caller says what was set aside.
QString VXSetDamagedFileAside(const QString &path);
