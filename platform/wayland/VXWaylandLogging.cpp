#include "VXWaylandLogging.h"

Q_LOGGING_CATEGORY(lcWayland, "wendle.wayland")
