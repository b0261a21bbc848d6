#pragma once

#include "VXStringExtensions.h"

#include <QLoggingCategory>

// Log lines of persistence and data exchange: the export, the daily export, CSV snapshots and
// the library folders. Their texts are filled with VXFillFormat().
Q_DECLARE_LOGGING_CATEGORY(lcPersistence)
