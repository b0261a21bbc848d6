#include "VXTrackingLogging.h"

Q_LOGGING_CATEGORY(lcTracking, "wendle.tracking")
