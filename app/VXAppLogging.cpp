#include "VXAppLogging.h"

Q_LOGGING_CATEGORY(lcInstance, "wendle.app")
