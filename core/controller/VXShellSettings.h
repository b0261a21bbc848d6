#pragma once

// The settings of the application shell: the mode, the welcome choice, the windows' states and
// the quit confirmation. The controller owns them; the report windows keep the live report's
// own three up to date.

#include <QString>

inline const QString VXStatusItemKey = QStringLiteral("Status Item");   // tray mode (after the welcome)
inline const QString VXWelcomeKey = QStringLiteral("Welcome");   // the welcome choice was offered
// The preferences window's frame ("x y width height") to show again after a mode switch.
inline const QString VXPreferencesFrameKey = QStringLiteral("Preferences Frame");
inline const QString VXListWindowStayInFrontKey = QStringLiteral("ListWindow: Stay In Front");
inline const QString VXListWindowClosedKey = QStringLiteral("ListWindow: Closed");
inline const QString VXQuitWithoutConfirmationKey = QStringLiteral("Quit Without Confirmation");
// The live report's window: left open at the last quit, floating, and closed after the organizer.
inline const QString VXReportDefaultVisibleKey = QStringLiteral("Report: Default: Visible");
inline const QString VXReportDefaultStayInFrontKey = QStringLiteral("Report: Default: Stay In Front");
inline const QString VXReportDefaultClosedLastKey = QStringLiteral("Report: Default: Closed Last");
