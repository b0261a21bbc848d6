#include "VXReportsLogging.h"

Q_LOGGING_CATEGORY(lcReports, "wendle.reports")
