#pragma once

// What the words on the command line ask for, decided before anything starts: a command
// (`wendle summary ...`), the help, or the tracker with its options and the CSV files to open.
// A word that is none of these is an error with a hint, never a tracker started by mistake:
//
//     wendle sumary      ->  wendle: unknown command 'sumary' — did you mean 'summary'?   (status 2)
//     wendle notes.txt   ->  wendle: 'notes.txt' is not a command, an option or a CSV file
//
// Commands print their own messages; the program's log lines reach their standard error only
// with --verbose, or while debug logging ("VXDebugLog") is on.

#include <QCommandLineOption>
#include <QString>
#include <QStringList>

class QCommandLineParser;

class VXCommandLine
{
public:
    // The commands, in the order the help lists them ("defaults", "export", ..., "help").
    static const QStringList &commandNames();
    static const QString kHelpCommand;   // "help"
    static const QString kVerboseOption;   // "--verbose"
    static const QString kHelpPageOption;   // "--help-page"

    // The command the first argument names, or empty.
    static QString commandOf(const QStringList &arguments);

    // The command the word most likely meant (a letter or two wrong, missing or swapped), or
    // empty when none is close.
    static QString suggestionFor(const QString &word);

    // Why a word given to the tracker cannot be opened (empty when it is an existing CSV file):
    // an unknown command (with its hint), a file that is not there, not a CSV file, or unreadable.
    static QString fileArgumentProblem(const QString &argument);

    // The program's help (`wendle --help`, `wendle help`).
    static QString help();

    // Names the running application "Wendle", of this build's version.
    static void nameApplication();

    // The options of the program itself, besides the commands.
    struct ProgramOptions {
        QCommandLineOption report;   // --report
        QCommandLineOption helpPage;   // --help-page PAGE
    };
    // Describes the program's options (--help, --version, --report, --help-page, --verbose) and
    // its CSV files to `parser`, for its help and for the tracker's start alike.
    static ProgramOptions describeProgram(QCommandLineParser &parser);

    // Says `problem` on standard error with a hint to the help; answers the exit status, 2.
    static int refuse(const QString &problem);

    // The arguments with `page` given to a --help-page that names none (the last word, or one
    // followed by another option), so that its PAGE may be left out.
    static QStringList withHelpPage(QStringList arguments, const QString &page);

    // Takes --verbose out of the arguments; answers whether it was there.
    static bool takeVerbose(QStringList &arguments);

    // For a command: the program's log lines go to standard error when `verbose` or debug
    // logging is on, and nowhere otherwise.
    static void routeCommandLogging(bool verbose);
};
