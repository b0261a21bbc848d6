#include "VXConfigCommand.h"
#include "VXDefaultsCommand.h"
#include "VXExportCommand.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Wendle"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WENDLE_VERSION));

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
        return arguments.at(1) == VXExportCommand::kExportName ? VXExportCommand::runExport(arguments.mid(2), out, err)
                                                                : VXExportCommand::runSummary(arguments.mid(2), out, err);
    }
    if (arguments.size() > 1 && arguments.at(1) == VXConfigCommand::kName) {
        QTextStream out(stdout);
        QTextStream err(stderr);
        return VXConfigCommand::run(arguments.mid(2), out, err);
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
        "  config show | import FILE        the saved record as XML, or replace it (wendle config --help)"));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(app);
    return 0;
}
