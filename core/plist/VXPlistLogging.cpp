#include "VXPlistLogging.h"

Q_LOGGING_CATEGORY(lcPlist, "wendle.plist")
