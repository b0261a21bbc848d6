#pragma once

#include <QLoggingCategory>

// Log lines of the tracker: the sampler, the item model and the pattern rules.
Q_DECLARE_LOGGING_CATEGORY(lcTracking)
