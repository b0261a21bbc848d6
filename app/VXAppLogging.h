#pragma once

#include <QLoggingCategory>

// Log lines of the program itself: its start and end, the single instance, the desktop adapters
// it chose, signals.
Q_DECLARE_LOGGING_CATEGORY(lcInstance)
