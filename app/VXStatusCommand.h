#pragma once

// `wendle status`: what Wendle sees now — the frontmost application and window, the
// applications, windows and pools with their foreground and open time as the lists show them,
// and whether tracking is paused or hibernating. It asks the running instance; without one it
// reads the saved configuration and says so.

#include "VXValue.h"

#include <QString>
#include <QStringList>

class QTextStream;

struct VXStatusSnapshot {
    VXDictionaryRef configuration;
    // The organizer's sorted lists; null to derive them from the configuration (saved file).
    VXArrayRef applications;
    VXArrayRef pools;
    bool running = false;
    bool paused = false;
    bool hibernating = false;
    // What the running program tracks, or where the saved record came from.
    QString source;
    // Where a record that could not be read was set aside at start-up (empty when none was).
    QString damagedRecordPath;
};

class VXStatusCommand
{
public:
    static const QString kName;   // "status"
    enum ExitStatus { Success = 0, Failure = 1, UsageError = 2 };

    // The readable status text for a snapshot.
    static QString statusText(const VXStatusSnapshot &snapshot);

    // Asks the instance listening on `socketPath`; without one, reads `configurationPath`
    // (the saved file's usual place when empty).
    static int run(const QStringList &arguments, QTextStream &out, QTextStream &err, const QString &socketPath,
                   const QString &configurationPath = QString());
};
