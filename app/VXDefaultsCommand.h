#pragma once

// `wendle defaults read [KEY]`, `wendle defaults write KEY [-TYPE] VALUE...` and
// `wendle defaults delete KEY`: reading and changing the program's settings from a terminal,
// as the hidden settings ("VXStatusItemWidth", "Pie Color Components", ...) are meant to be
// reached. A running Wendle sees the change through its settings store's file watch.

#include "VXValue.h"

#include <QString>
#include <QStringList>

class QTextStream;

class VXDefaultsCommand
{
public:
    // The word after the program name that selects this command.
    static const QString kName;   // "defaults"

    // Exit statuses: done; the key or domain does not exist, or the file could not be written;
    // the command line was wrong.
    enum ExitStatus { Success = 0, Failure = 1, UsageError = 2 };

    // Runs the command with the arguments after "defaults". `folder` holds the settings files;
    // empty means the store's default folder.
    static int run(const QStringList &arguments, QTextStream &out, QTextStream &err, const QString &folder = QString());

    // The value given by the arguments after KEY of `write`: one plain value, or a type flag and
    // its value(s). Null with the reason in `error` when they do not make one.
    static VXValue valueFromArguments(const QStringList &arguments, QString *error);

    // The value as old-style property-list text, as `read` prints a domain or a container.
    static QString propertyListText(const VXValue &value, int indent = 0);

    static QString usage();
};
