#include "VXApplicationIcon.h"
#include "VXCommandLine.h"
#include "VXConfigCommand.h"
#include "VXDefaultsCommand.h"
#include "VXExportCommand.h"
#include "VXHelpWindow.h"
#include "VXSignalWatcher.h"
#include "VXSimulateCommand.h"
#include "VXSingleInstance.h"
#include "VXStatusCommand.h"
#include "VXTrackerProgram.h"
#include "VXTranslations.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <csignal>
#include <cstring>
#include <memory>

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
    QTextStream err(stderr);
    const auto refuse = [&](const QString &problem) {
        err << "wendle: " << problem << '\n'
            << QCoreApplication::translate("VXCommandLine", "Run 'wendle --help' for the commands and options.")
            << '\n';
        return 2;
    };
    const bool tracker = startsTheTracker(argc, argv);
    // A word that is neither a command nor a CSV file is said to be so before anything starts,
    // and before the options after it are looked at ("wendle exprot --from today").
    if (tracker && argc > 1 && argv[1][0] != '-') {
        const QString argument = QString::fromLocal8Bit(argv[1]);
        if (!VXCommandLine::fileArgumentProblem(argument).isEmpty()) {
            // Said in the user's language, which takes an application to load.
            QCoreApplication messages(argc, argv);
            VXTranslations::install();
            return refuse(VXCommandLine::fileArgumentProblem(argument));
        }
    }
    // A quit asked for while the program starts is taken up once it runs.
    if (tracker)
        VXSignalWatcher::installHandlers();

    const bool withDisplay
        = tracker && (qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY"));
    std::unique_ptr<QCoreApplication> application
        = withDisplay ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Wendle"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WENDLE_VERSION));
    if (withDisplay) {
        // Closing the last window leaves Wendle tracking; only Quit (or the session) ends it.
        QApplication::setQuitOnLastWindowClosed(false);
        // The desktop entry that launchers and taskbars (and Wayland's app id) know it by.
        QGuiApplication::setDesktopFileName(QStringLiteral("wendle"));
        // Every window without an icon of its own shows this one, or the live report drawn
        // into it when the taskbar icon shows the report.
        QApplication::setWindowIcon(applicationIcon());
    }
    VXTranslations::install();

    QCommandLineParser parser;
    parser.setApplicationDescription(VXCommandLine::help());
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("files"),
                                 QCoreApplication::translate("VXCommandLine", "CSV files to open as reports."),
                                 QStringLiteral("[FILE.csv...]"));
    const QCommandLineOption reportOption(
        QStringLiteral("report"), QCoreApplication::translate("VXCommandLine", "Open the live activity report."));
    parser.addOption(reportOption);
    const QCommandLineOption helpPageOption(
        VXCommandLine::kHelpPageOption.mid(2),
        QCoreApplication::translate("VXCommandLine",
                                    "Open the help window at PAGE (%1), or at the first page without one.")
            .arg(VXHelpWindow::pageNames().join(QStringLiteral(", "))),
        QStringLiteral("PAGE"));
    parser.addOption(helpPageOption);
    // The tracker always writes its log; the option is there for the commands.
    parser.addOption(
        QCommandLineOption(VXCommandLine::kVerboseOption.mid(2),
                           QCoreApplication::translate("VXCommandLine", "Commands show the program's log lines too.")));

    // Commands take their own arguments (macOS-style "-int" flags and the like), so they are
    // dispatched before the program's options are parsed.
    const QStringList arguments = QCoreApplication::arguments();
    const QString command = VXCommandLine::commandOf(arguments);
    if (command == VXCommandLine::kHelpCommand)
        parser.showHelp(0);
    if (!command.isEmpty())
        return runCommand(command, arguments.mid(2));

    parser.process(VXCommandLine::withHelpPage(arguments, VXHelpWindow::pageNames().constFirst()));
    const QString helpPage = parser.value(helpPageOption);
    if (parser.isSet(helpPageOption) && !VXHelpWindow::pageNames().contains(helpPage))
        return refuse(QCoreApplication::translate("VXCommandLine", "there is no help page '%1' (the pages: %2)")
                          .arg(helpPage, VXHelpWindow::pageNames().join(QStringLiteral(", "))));
    for (const QString &file : parser.positionalArguments()) {
        if (const QString problem = VXCommandLine::fileArgumentProblem(file); !problem.isEmpty())
            return refuse(problem);
    }

    VXTrackerProgram program(withDisplay);
    program.setOpensLiveReport(parser.isSet(reportOption));
    program.setHelpPage(helpPage);
    return program.run(parser.positionalArguments());
}
