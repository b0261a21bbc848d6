#pragma once

// `wendle config show` and `wendle config import FILE`: the saved record from a terminal.
//
// `show` prints the configuration file ($XDG_DATA_HOME/Wendle/Configurations/Default.plist, in
// whatever form it is) as an XML property list; without a file, the copy kept in the settings
// under "Default Configuration" when there is one. `import` replaces the record with a property
// list in any form (binary, XML, old-style text) whose root is a dictionary holding at least one
// of a record's keys. While Wendle runs, the running program takes it in (an undoable change,
// saved at once); otherwise the file is written as the program writes it (binary, atomically,
// mode 0600), with the single-instance lock held so that no Wendle starts meanwhile. Either way
// the previous record is kept beside the file as "Default <date> <time>.plist".

#include "VXValue.h"

#include <QString>
#include <QStringList>

class QTextStream;

class VXConfigCommand
{
public:
    // The word after the program name that selects this command.
    static const QString kName;   // "config"

    // Exit statuses: done; nothing to show, or the file could not be read or written; the
    // command line was wrong.
    enum ExitStatus { Success = 0, Failure = 1, UsageError = 2 };

    // Runs the command with the arguments after "config". The configuration lives under
    // $XDG_DATA_HOME; `settingsFolder` holds the settings files (empty: the store's default).
    static int run(const QStringList &arguments, QTextStream &out, QTextStream &err,
                   const QString &settingsFolder = QString());

    static QString usage();

    // The dictionary in the file at `path`, when it can be imported as a record; null with the
    // reason (naming the file, and what is missing) in `error` otherwise. With `twin`, also the
    // dictionary's immutable copy made as it is decoded (VXBinaryPropertyListReader), when the
    // reader can make one; left null otherwise.
    static VXDictionaryRef importableConfiguration(const QString &path, QString *error,
                                                   VXDictionaryRef *twin = nullptr);
    // The keys of which an importable dictionary holds at least one.
    static const QStringList &recordKeys();

    // Where the record at `file` is kept before it is replaced: "Default 2026-11-21
    // 09.30.00.plist" beside it, with " 2", " 3", ... added when that is taken.
    static QString backupPathFor(const QString &file);
};
