#pragma once

#include <QLoggingCategory>

// Log lines of the property-list readers and writers: one sentence per failure.
Q_DECLARE_LOGGING_CATEGORY(lcPlist)
