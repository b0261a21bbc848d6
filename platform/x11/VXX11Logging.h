#pragma once

#include <QLoggingCategory>

// Log lines of the X11 desktop adapter and the X11 idle source.
Q_DECLARE_LOGGING_CATEGORY(lcX11)
