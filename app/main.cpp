#include "VXCommandLine.h"
#include "VXConfigCommand.h"
#include "VXDefaultsCommand.h"
#include "VXExportCommand.h"
#include "VXHelpPages.h"
#include "VXSimulateCommand.h"
#include "VXSingleInstance.h"
#include "VXStatusCommand.h"
#include "VXTrackerModule.h"
#include "VXTranslations.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <csignal>
#include <cstring>

// `wendle` itself answers the commands, --help and --version with QtCore and QtNetwork alone;
// tracking (and its windows) is loaded from the tracker's module only when it starts
// (VXTrackerModule.h), so that a command in a script or over ssh starts in a few milliseconds.

namespace {

// The tracker shows an indicator when there is a display to show it on; the commands never
// need one (they must work over ssh and in scripts).
bool startsTheTracker(int argc, char *argv[])
{
    if (argc < 2)
        return true;
    for (const char *option : {"--help", "-h", "--help-all", "--version", "-v"})
        if (std::strcmp(argv[1], option) == 0)
            return false;
    return !VXCommandLine::commandNames().contains(QString::fromLocal8Bit(argv[1]));
}

int runCommand(const QString &command, QStringList arguments)
{
    QTextStream out(stdout);
    QTextStream err(stderr);
    VXCommandLine::routeCommandLogging(VXCommandLine::takeVerbose(arguments));
    if (command == VXDefaultsCommand::kName)
        return VXDefaultsCommand::run(arguments, out, err);
    if (command == VXExportCommand::kExportName)
        return VXExportCommand::runExport(arguments, out, err);
    if (command == VXExportCommand::kSummaryName)
        return VXExportCommand::runSummary(arguments, out, err);
    if (command == VXConfigCommand::kName)
        return VXConfigCommand::run(arguments, out, err);
    if (command == VXSimulateCommand::kName)
        return VXSimulateCommand::run(arguments, out, err);
    return VXStatusCommand::run(arguments, out, err, VXSingleInstance::defaultSocketPath());
}

}   // namespace

int main(int argc, char *argv[])
{
    // A closed standard error (a terminal gone, `wendle status | head`) must fail the write, not
    // end the program before it saves.
    std::signal(SIGPIPE, SIG_IGN);
    if (startsTheTracker(argc, argv)) {
        // A word that is neither a command nor a CSV file is said to be so before anything
        // starts, and before the options after it are looked at ("wendle exprot --from today").
        if (argc > 1 && argv[1][0] != '-') {
            const QString argument = QString::fromLocal8Bit(argv[1]);
            if (!VXCommandLine::fileArgumentProblem(argument).isEmpty()) {
                // Said in the user's language, which takes an application to load.
                QCoreApplication messages(argc, argv);
                VXTranslations::install();
                return VXCommandLine::refuse(VXCommandLine::fileArgumentProblem(argument));
            }
        }
        return VXTrackerModule::run(argc, argv);
    }

    QCoreApplication application(argc, argv);
    VXCommandLine::nameApplication();
    VXTranslations::install();
    // Commands take their own arguments (macOS-style "-int" flags and the like), so they are
    // dispatched before the program's options are parsed.
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = VXCommandLine::commandOf(arguments);
    if (!command.isEmpty() && command != VXCommandLine::kHelpCommand)
        return runCommand(command, arguments.mid(2));
    QCommandLineParser parser;
    VXCommandLine::describeProgram(parser);
    if (command == VXCommandLine::kHelpCommand)
        parser.showHelp(0);
    // --help or --version: answered, and the program ends there.
    parser.process(VXCommandLine::withHelpPage(arguments, VXHelpPages::names().constFirst()));
    return 0;
}
