#include "VXControllerLogging.h"

Q_LOGGING_CATEGORY(lcController, "wendle.controller")
