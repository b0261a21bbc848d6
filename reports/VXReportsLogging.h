#pragma once

#include <QLoggingCategory>

// Log lines of the activity reports: their windows, settings and drawing.
Q_DECLARE_LOGGING_CATEGORY(lcReports)
