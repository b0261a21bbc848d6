#pragma once

#include <QLoggingCategory>

// Log lines of the controller: start-up, quit, hibernation.
Q_DECLARE_LOGGING_CATEGORY(lcController)
