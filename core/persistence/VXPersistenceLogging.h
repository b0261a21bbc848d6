#pragma once

#include <QLoggingCategory>
#include <QString>
#include <QStringList>

// Log lines of persistence and data exchange: the export, the daily export, CSV snapshots and
// the library folders.
Q_DECLARE_LOGGING_CATEGORY(lcPersistence)

// The message texts keep their "%@" and "%lu" placeholders; this fills them from left to
// right with the arguments (an argument's own "%@" is left alone). Placeholders without an
// argument stay as they are.
QString VXFillFormat(const QString &format, const QStringList &arguments);
