#include "VXRegisteredDefaults.h"

#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

VXDictionaryRef VXRegisteredDefaults()
{
    using namespace VXDefaultsKey;
    VXDictionaryRef defaults = VXMakeDictionary();
    // Sort column 1: foreground time.
    defaults->insert(kSort, 1);
    defaults->insert(kHibernationInterval, 600);
    defaults->insert(kExpressTimeIntervalsAsDaysKey, true);
    defaults->insert(kIncludeWindowsFromAllSpaces, true);
    defaults->insert(kShowInactivePools, true);
    defaults->insert(kLiveReportApplications, true);
    defaults->insert(kLiveReportPools, true);
    defaults->insert(kShowActivityReportOnDesktopAlpha, 1.0);
    defaults->insert(kReportDefaultFront, true);
    defaults->insert(kReportDefaultTotal, true);
    // 1: every item, not only those with a row in the organizer.
    defaults->insert(kExportedReportContent, 1);
    defaults->insert(kExportColumnPool, true);
    defaults->insert(kExportColumnApplication, true);
    defaults->insert(kExportColumnWindow, true);
    defaults->insert(kExportColumnFront, true);
    defaults->insert(kHeaderTranslucency, true);
    defaults->insert(kStatusItemIcon, 11);
    defaults->insert(kEnableLoginItemAutomatically, true);
    defaults->insert(kDisableLoginItemAutomatically, true);
    defaults->insert(kScreenLockCountsAsAway, true);
    return defaults;
}

void VXRegisterDefaults(VXUserDefaults &defaults)
{
    defaults.registerDefaults(VXRegisteredDefaults());
}
