#include "VXCommandLine.h"

#include "VXConfigCommand.h"
#include "VXDefaultsCommand.h"
#include "VXExportCommand.h"
#include "VXHelpPages.h"
#include "VXLog.h"
#include "VXSimulateCommand.h"
#include "VXStatusCommand.h"
#include "VXUserDefaults.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>
#include <mutex>
#include <vector>

const QString VXCommandLine::kHelpCommand = QStringLiteral("help");
const QString VXCommandLine::kVerboseOption = QStringLiteral("--verbose");
const QString VXCommandLine::kHelpPageOption = QStringLiteral("--help-page");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXCommandLine", text);
}

// Edits (a letter inserted, removed, replaced, or two neighbours swapped) from one word to the
// other.
qsizetype editDistance(const QString &a, const QString &b)
{
    std::vector<std::vector<qsizetype>> d(std::size_t(a.size() + 1), std::vector<qsizetype>(std::size_t(b.size() + 1)));
    for (qsizetype i = 0; i <= a.size(); ++i)
        d[std::size_t(i)][0] = i;
    for (qsizetype j = 0; j <= b.size(); ++j)
        d[0][std::size_t(j)] = j;
    for (qsizetype i = 1; i <= a.size(); ++i) {
        for (qsizetype j = 1; j <= b.size(); ++j) {
            const auto row = std::size_t(i);
            const auto column = std::size_t(j);
            const qsizetype replace = a.at(i - 1) == b.at(j - 1) ? 0 : 1;
            d[row][column]
                = std::min({d[row - 1][column] + 1, d[row][column - 1] + 1, d[row - 1][column - 1] + replace});
            if (i > 1 && j > 1 && a.at(i - 1) == b.at(j - 2) && a.at(i - 2) == b.at(j - 1))
                d[row][column] = std::min(d[row][column], d[row - 2][column - 2] + 1);
        }
    }
    return d[std::size_t(a.size())][std::size_t(b.size())];
}

void discardMessage(QtMsgType, const QMessageLogContext &, const QString &) { }

// The settings folder a command started with (a simulation points the XDG folders elsewhere while
// it runs).
QString &commandSettingsFolder()
{
    static QString folder;
    return folder;
}

// A command's first log line: its lines reach standard error from now on when debug logging is
// on, and nowhere otherwise.
void routeByDebugSetting(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static std::once_flag decided;
    static QtMessageHandler route = discardMessage;
    std::call_once(decided, [] {
        // Quiet first: reading the settings may itself log.
        qInstallMessageHandler(discardMessage);
        if (VXUserDefaults(VXUserDefaults::kDomain, commandSettingsFolder(), nullptr, VXUserDefaults::Watching::None)
                .boolForKey(VXDebugLogKey)) {
            VXInstallMessageHandler();
            route = qInstallMessageHandler(nullptr);
            qInstallMessageHandler(route);
        }
    });
    // This line too (Qt writes a line logged inside a handler as it is).
    route(type, context, message);
}

}   // namespace

const QStringList &VXCommandLine::commandNames()
{
    static const QStringList names {VXDefaultsCommand::kName,
                                    VXExportCommand::kExportName,
                                    VXExportCommand::kSummaryName,
                                    VXStatusCommand::kName,
                                    VXConfigCommand::kName,
                                    VXSimulateCommand::kName,
                                    kHelpCommand};
    return names;
}

QString VXCommandLine::commandOf(const QStringList &arguments)
{
    return arguments.size() > 1 && commandNames().contains(arguments.at(1)) ? arguments.at(1) : QString();
}

QString VXCommandLine::suggestionFor(const QString &word)
{
    // Short words leave little to go by: one edit there, two in longer ones.
    const qsizetype allowed = word.size() < 5 ? 1 : 2;
    QString best;
    qsizetype bestDistance = allowed + 1;
    for (const QString &name : commandNames()) {
        const qsizetype distance = editDistance(word.toLower(), name);
        if (distance < bestDistance) {
            best = name;
            bestDistance = distance;
        }
    }
    return best;
}

QString VXCommandLine::fileArgumentProblem(const QString &argument)
{
    const QFileInfo info(argument);
    const bool looksLikeFile = argument.contains(u'/') || argument.contains(u'.');
    if (!info.exists()) {
        if (!looksLikeFile) {
            const QString suggestion = suggestionFor(argument);
            return suggestion.isEmpty()
                ? tr("unknown command '%1'").arg(argument)
                : tr("unknown command '%1' \u2014 did you mean '%2'?").arg(argument, suggestion);
        }
        if (info.suffix().compare(QStringLiteral("csv"), Qt::CaseInsensitive) == 0)
            return tr("cannot open <%1>: there is no such file").arg(argument);
        return tr("'%1' is not a command, an option or a CSV file").arg(argument);
    }
    if (info.isDir())
        return tr("<%1> is a folder; a report opens from a CSV file").arg(argument);
    if (info.suffix().compare(QStringLiteral("csv"), Qt::CaseInsensitive) != 0)
        return tr("'%1' is not a command, an option or a CSV file").arg(argument);
    QFile file(argument);
    if (!file.open(QIODevice::ReadOnly))
        return tr("cannot open <%1>: %2").arg(argument, file.errorString());
    return QString();
}

QString VXCommandLine::help()
{
    return tr("Wendle tracks how long each application and window is in front and open.\n"
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
              "  help                             this help\n"
              "\n"
              "Commands answer from the running Wendle when there is one, so they show the day up to now;\n"
              "otherwise from the record it saved. They print their own messages; add --verbose to see the\n"
              "program's log lines as well.\n"
              "\n"
              "Without a command, Wendle starts tracking (once per user: a second start hands its files,\n"
              "--report and --help-page to the first and exits). It saves its record on quit, on SIGTERM,\n"
              "SIGINT and SIGHUP.");
}

void VXCommandLine::nameApplication()
{
    QCoreApplication::setApplicationName(QStringLiteral("Wendle"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WENDLE_VERSION));
}

VXCommandLine::ProgramOptions VXCommandLine::describeProgram(QCommandLineParser &parser)
{
    parser.setApplicationDescription(help());
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("files"), tr("CSV files to open as reports."),
                                 QStringLiteral("[FILE.csv...]"));
    ProgramOptions options {
        QCommandLineOption(QStringLiteral("report"), tr("Open the live activity report.")),
        QCommandLineOption(kHelpPageOption.mid(2),
                           tr("Open the help window at PAGE (%1), or at the first page without one.")
                               .arg(VXHelpPages::names().join(QStringLiteral(", "))),
                           QStringLiteral("PAGE")),
    };
    parser.addOption(options.report);
    parser.addOption(options.helpPage);
    // The tracker always writes its log; the option is there for the commands.
    parser.addOption(QCommandLineOption(kVerboseOption.mid(2), tr("Commands show the program's log lines too.")));
    return options;
}

int VXCommandLine::refuse(const QString &problem)
{
    QTextStream(stderr) << "wendle: " << problem << '\n'
                        << tr("Run 'wendle --help' for the commands and options.") << '\n';
    return 2;
}

QStringList VXCommandLine::withHelpPage(QStringList arguments, const QString &page)
{
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        if (arguments.at(i) == QStringLiteral("--"))
            break;
        if (arguments.at(i) == kHelpPageOption && (i + 1 == arguments.size() || arguments.at(i + 1).startsWith(u'-')))
            arguments.insert(i + 1, page);
    }
    return arguments;
}

bool VXCommandLine::takeVerbose(QStringList &arguments)
{
    return arguments.removeAll(kVerboseOption) > 0;
}

void VXCommandLine::routeCommandLogging(bool verbose)
{
    if (verbose) {
        VXInstallMessageHandler();
        return;
    }
    // The debug setting is read when the first line comes: most commands write none, and a
    // settings store of its own (its file read and watched) would cost every command's start.
    commandSettingsFolder() = VXUserDefaults::defaultFolder();
    qInstallMessageHandler(routeByDebugSetting);
}
