#include "VXX11Logging.h"

Q_LOGGING_CATEGORY(lcX11, "wendle.x11")
