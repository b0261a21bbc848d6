#include "VXConfigCommand.h"
#include "VXDefaultsCommand.h"
#include "VXExportCommand.h"
#include "VXSimulateCommand.h"

#include "VXSingleInstance.h"
#include "VXStatusCommand.h"
#include "VXTrackerProgram.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

// The tracker shows an indicator when there is a display to show it on; the commands never
// need one (they must work over ssh and in scripts).
bool startsTheTracker(int argc, char *argv[])
{
    if (argc < 2)
        return true;
    for (const char *command :
         {"defaults", "export", "summary", "status", "config", "simulate", "--help", "-h", "--version", "-v"})
        if (std::strcmp(argv[1], command) == 0)
            return false;
    return true;
}

}   // namespace

int main(int argc, char *argv[])
{
    const bool withDisplay = startsTheTracker(argc, argv)
        && (qEnvironmentVariableIsSet("DISPLAY") || qEnvironmentVariableIsSet("WAYLAND_DISPLAY"));
    std::unique_ptr<QCoreApplication> application
        = withDisplay ? std::make_unique<QApplication>(argc, argv) : std::make_unique<QCoreApplication>(argc, argv);
    QCoreApplication &app = *application;
    QCoreApplication::setApplicationName(QStringLiteral("Wendle"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WENDLE_VERSION));
    if (withDisplay)
        QApplication::setQuitOnLastWindowClosed(false);

    // Sub-commands take their own arguments (macOS-style "-int" flags and the like), so they
    // are dispatched before the program's options are parsed.
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() > 1 && arguments.at(1) == VXDefaultsCommand::kName) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return VXDefaultsCommand::run(arguments.mid(2), out, err);
    }
    if (arguments.size() > 1
        && (arguments.at(1) == VXExportCommand::kExportName || arguments.at(1) == VXExportCommand::kSummaryName)) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return arguments.at(1) == VXExportCommand::kExportName
            ? VXExportCommand::runExport(arguments.mid(2), out, err)
            : VXExportCommand::runSummary(arguments.mid(2), out, err);
    }
    if (arguments.size() > 1 && arguments.at(1) == VXConfigCommand::kName) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return VXConfigCommand::run(arguments.mid(2), out, err);
    }

    if (arguments.size() > 1 && arguments.at(1) == VXSimulateCommand::kName) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return VXSimulateCommand::run(arguments.mid(2), out, err);
    }

    if (arguments.size() > 1 && arguments.at(1) == VXStatusCommand::kName) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return VXStatusCommand::run(arguments.mid(2), out, err, VXSingleInstance::defaultSocketPath());
    }

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Wendle tracks how long each application and window is in front and open.\n"
        "\n"
        "Commands:\n"
        "  defaults read|write|delete ...   read and change settings (wendle defaults --help)\n"
        "  export [--from WHEN] [--to WHEN] [-o FILE]\n"
        "                                   the tracked periods as CSV (wendle export --help)\n"
        "  summary [--from WHEN] [--to WHEN]\n"
        "                                   time per application, window and pool (wendle summary --help)\n"
        "  config show | import FILE        the saved record as XML, or replace it (wendle config --help)\n"
        "  status                           what the running Wendle sees now\n"
        "  simulate SCENARIO.json -o OUT.plist\n"
        "                                   run a scripted day in virtual time (wendle simulate --help)\n"
        "\n"
        "Without a command, Wendle starts tracking (once per user: a second start hands its files\n"
        "to the first and exits). It saves its record on quit, on SIGTERM, SIGINT and SIGHUP."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("files"), QStringLiteral("CSV files to open as reports."),
                                 QStringLiteral("[FILE...]"));
    const QCommandLineOption reportOption(QStringLiteral("report"), QStringLiteral("Open the live activity report."));
    parser.addOption(reportOption);
    parser.process(app);

    VXTrackerProgram program(withDisplay);
    program.setOpensLiveReport(parser.isSet(reportOption));
    return program.run(parser.positionalArguments());
}
