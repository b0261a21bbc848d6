#pragma once

// The settings that have a default value of their own, in one place: their keys and the
// values registered under the persistent settings at start-up. A key that is not listed here
// reads as false, 0 or nothing until the user sets it. ("Express Time Intervals As Days" is
// kExpressTimeIntervalsAsDaysKey, beside the duration formatting that reads it.)

#include "VXValue.h"

#include <QString>

class VXUserDefaults;

namespace VXDefaultsKey {

inline const QString kSort = QStringLiteral("Sort");
inline const QString kHibernationInterval = QStringLiteral("Hibernation Interval");
inline const QString kIncludeWindowsFromAllSpaces = QStringLiteral("Include Windows From All Spaces");
inline const QString kShowInactivePools = QStringLiteral("Show Inactive Pools");
inline const QString kLiveReportApplications = QStringLiteral("Live Report: Applications");
inline const QString kLiveReportPools = QStringLiteral("Live Report: Pools");
inline const QString kShowActivityReportOnDesktopAlpha = QStringLiteral("Show Activity Report On Desktop: Alpha");
inline const QString kReportDefaultFront = QStringLiteral("Report: Default: Front");
inline const QString kReportDefaultTotal = QStringLiteral("Report: Default: Total");
inline const QString kExportedReportContent = QStringLiteral("Exported Report Content");
inline const QString kExportColumnPool = QStringLiteral("Export Column: Pool");
inline const QString kExportColumnApplication = QStringLiteral("Export Column: Application");
inline const QString kExportColumnWindow = QStringLiteral("Export Column: Window");
inline const QString kExportColumnFront = QStringLiteral("Export Column: Front");
inline const QString kHeaderTranslucency = QStringLiteral("Header Translucency");
inline const QString kStatusItemIcon = QStringLiteral("Status Item Icon (1231)");
inline const QString kEnableLoginItemAutomatically = QStringLiteral("Enable Login Item Automatically");
inline const QString kDisableLoginItemAutomatically = QStringLiteral("Disable Login Item Automatically");
// Locking the screen counts as leaving the desk while this is on.
inline const QString kScreenLockCountsAsAway = QStringLiteral("Screen Lock Counts As Away");

}   // namespace VXDefaultsKey

// A new dictionary of every registered default (key -> value).
VXDictionaryRef VXRegisteredDefaults();

// Registers them on the store, under whatever the user has set.
void VXRegisterDefaults(VXUserDefaults &defaults);
