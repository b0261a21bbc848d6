#pragma once

#include <QLoggingCategory>

// Log lines of the desktop-entry index and the resolution of processes to applications.
Q_DECLARE_LOGGING_CATEGORY(lcXdg)
