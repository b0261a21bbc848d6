#pragma once

// `wendle simulate SCENARIO.json -o OUT.plist`: runs a scripted day through the program's own
// engine in virtual time (VXScenarioRunner) and writes the record that its quit path saved, as a
// binary property list. The user's own record and settings are never touched.

#include <QString>
#include <QStringList>

class QTextStream;

class VXSimulateCommand
{
public:
    // The word after the program name that selects this command.
    static const QString kName;   // "simulate"

    // Exit statuses: done; the scenario could not be read or the result not written; the
    // scenario or the command line was refused.
    enum ExitStatus { Success = 0, Failure = 1, Refused = 2 };

    // Runs the command with the arguments after "simulate".
    static int run(const QStringList &arguments, QTextStream &out, QTextStream &err);

    static QString usage();
};
