#pragma once

#include <QLoggingCategory>

// Log lines of the Wayland desktop adapters (wlroots, KWin, GNOME Shell) and their idle sources.
Q_DECLARE_LOGGING_CATEGORY(lcWayland)
