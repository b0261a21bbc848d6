#pragma once

// `wendle export [--from WHEN] [--to WHEN] [-o FILE]` writes the tracked periods of a range as
// CSV, with the user's columns and separators (or those given on the command line);
// `wendle summary [--from WHEN] [--to WHEN]` prints, per application, window and pool, the
// foreground and open time in the range with their shares of it. Both ask the running Wendle
// for its record as it is now, so they show the day up to now; without one they read the file
// it saved last.

#include "VXBinaryPropertyListReader.h"
#include "VXValue.h"

#include <QString>
#include <QStringList>

#include <optional>

class QTextStream;
class VXClock;

class VXExportCommand
{
public:
    // The words after the program name that select the commands.
    static const QString kExportName;   // "export"
    static const QString kSummaryName;   // "summary"

    // Exit statuses: done; no configuration or the file could not be written; the command line
    // was wrong.
    enum ExitStatus { Success = 0, Failure = 1, UsageError = 2 };

    // What the commands read, for tests: the clock for WHEN (the system clock when null), the
    // settings folder (the store's default when empty), the running instance's socket (the
    // default one when empty) and the configuration file it saves (the library's
    // Configurations/Default.plist when empty).
    struct Environment {
        const VXClock *clock = nullptr;
        QString settingsFolder;
        QString socketPath;
        QString configurationPath;
    };

    // Run with the arguments after the command's name.
    static int runExport(const QStringList &arguments, QTextStream &out, QTextStream &err,
                         const Environment &environment);
    static int runExport(const QStringList &arguments, QTextStream &out, QTextStream &err);
    static int runSummary(const QStringList &arguments, QTextStream &out, QTextStream &err,
                          const Environment &environment);
    static int runSummary(const QStringList &arguments, QTextStream &out, QTextStream &err);

    // The summary's table for the range: a row per application, window, pool, member and
    // window entry with activity in it, in the organizer's order (`sortColumn`), each with its
    // foreground and open time and their whole-number percentages of the range.
    static QString summaryTable(const VXDictionary &configuration, double beginTimestamp, double endTimestamp,
                                int sortColumn);
    // The same table from a record read in place (`root`: its root's own entries); nothing when
    // the record turns out damaged.
    static std::optional<QString> summaryTable(VXBinaryPropertyListView &record, const VXDictionary &root,
                                               double beginTimestamp, double endTimestamp, int sortColumn);

    static QString exportUsage();
    static QString summaryUsage();
};
