#include "VXPersistenceLogging.h"

Q_LOGGING_CATEGORY(lcPersistence, "wendle.persistence")
