#include "VXXdgLogging.h"

Q_LOGGING_CATEGORY(lcXdg, "wendle.xdg")
