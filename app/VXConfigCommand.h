#pragma once

// `wendle config show` and `wendle config import FILE`: the saved record from a terminal.
//
// `show` prints the configuration file ($XDG_DATA_HOME/Wendle/Configurations/Default.plist, in
// whatever form it is) as an XML property list; without a file, the copy kept in the settings
// under "Default Configuration" when there is one. `import` replaces the file with a property
// list in any form (binary, XML, old-style text) whose root is a dictionary, written as the
// program writes it (binary, atomically, mode 0600); the previous file is kept beside it as
// "Default <date> <time>.plist". A running Wendle saves its own record over the file, so it is
// to be quit first.

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
};
