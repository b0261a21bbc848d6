#include "VXExportCommand.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXLibraryFolders.h"
#include "VXListedItems.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXRegisteredDefaults.h"
#include "VXReportEventLogs.h"
#include "VXSingleInstance.h"
#include "VXStringExtensions.h"
#include "VXSystemClock.h"
#include "VXTerminalText.h"
#include "VXUserDefaults.h"
#include "VXWhenParser.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTextStream>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>

#include <sys/stat.h>

const QString VXExportCommand::kExportName = QStringLiteral("export");
const QString VXExportCommand::kSummaryName = QStringLiteral("summary");

namespace {

// The messages' context for translators.
struct Text {
    Q_DECLARE_TR_FUNCTIONS(VXExportCommand)
};

// Writes an export through `write` into a file only this user may read (window titles are
// private), replaced whole or not at all. Empty when written, else why not.
QString writeExportFile(const QString &path, const std::function<bool(QSaveFile &)> &write)
{
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return file.errorString();
    if (::fchmod(file.handle(), 0600) != 0)
        return QString::fromLocal8Bit(std::strerror(errno));
    if (!write(file))
        return file.errorString();
    return file.commit() ? QString() : file.errorString();
}

// Longer names are cut in the summary's table (in terminal columns).
constexpr qsizetype kLongestName = 60;
// How long the running Wendle may take to write out its record.
constexpr int kConfigurationTimeout = 10000;   // milliseconds

// The settings store for the length of a command, installed as the standard store (the
// duration texts read it) and taken out again after.
class CommandSettings
{
public:
    explicit CommandSettings(const QString &folder) :
        m_defaults(VXUserDefaults::kDomain, folder, nullptr, VXUserDefaults::Watching::None),
        m_previous(VXUserDefaults::standard())
    {
        VXRegisterDefaults(m_defaults);
        VXUserDefaults::setStandard(&m_defaults);
    }
    ~CommandSettings() { VXUserDefaults::setStandard(m_previous); }
    CommandSettings(const CommandSettings &) = delete;
    CommandSettings &operator=(const CommandSettings &) = delete;

    VXUserDefaults &defaults() { return m_defaults; }

private:
    VXUserDefaults m_defaults;
    VXUserDefaults *m_previous;
};

struct Range {
    double begin = 0.0;
    double end = 0.0;
};

const QCommandLineOption kFromOption(QStringList {QStringLiteral("from")},
                                     QStringLiteral("Start of the range (default: the first tracked moment)."),
                                     QStringLiteral("WHEN"));
const QCommandLineOption kToOption(QStringList {QStringLiteral("to")},
                                   QStringLiteral("End of the range (default: the last tracked moment)."),
                                   QStringLiteral("WHEN"));

void addHelp(QCommandLineParser &parser)
{
    parser.addOption(QCommandLineOption(QStringList {QStringLiteral("h"), QStringLiteral("help")},
                                        QStringLiteral("Show this help.")));
}

QString helpPointer(const QString &command)
{
    return Text::tr("Run 'wendle %1 --help' for its usage.").arg(command) + u'\n';
}

// Parses the arguments; false after writing the reason (or the help, with `helped` set).
bool parse(QCommandLineParser &parser, const QString &command, const QStringList &arguments, QTextStream &out,
           QTextStream &err, const QString &usage, bool *helped)
{
    *helped = false;
    if (!parser.parse(QStringList {QStringLiteral("wendle ") + command} + arguments)) {
        err << "wendle " << command << ": " << parser.errorText() << "\n" << helpPointer(command);
        return false;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        out << usage;
        *helped = true;
        return false;
    }
    if (!parser.positionalArguments().isEmpty()) {
        err << "wendle " << command << ": "
            << Text::tr("unexpected argument \"%1\"").arg(parser.positionalArguments().constFirst()) << '\n'
            << helpPointer(command);
        return false;
    }
    return true;
}

// What a command reads: the whole tree, or a saved record read in place with its root's own
// entries as the tree.
struct Record {
    VXDictionaryRef configuration;
    std::unique_ptr<VXMappedRecord> inPlace;
};

QString recordPath(const VXExportCommand::Environment &environment)
{
    return environment.configurationPath.isEmpty() ? VXDefaultConfigurationFilePath() : environment.configurationPath;
}

QString damagedRecordMessage(const QString &path)
{
    return Text::tr("cannot read the record %1: it is damaged or not a record").arg(path);
}

// The record as the running Wendle has it now; without one, as it saved it last, read in place
// when `inPlace` allows and the file can be.
Record currentRecord(const VXExportCommand::Environment &environment, const QString &command, QTextStream &err,
                     bool inPlace)
{
    const QString socket
        = environment.socketPath.isEmpty() ? VXSingleInstance::defaultSocketPath() : environment.socketPath;
    if (const std::optional<QByteArray> reply
        = VXSingleInstance::send(socket, {VXInstanceRequest::Kind::Configuration, {}}, kConfigurationTimeout)) {
        if (VXDictionaryRef configuration = deeplyMutableDictionaryWithData(*reply))
            return {configuration, nullptr};
        QString problem;
        VXSingleInstance::isOkReply(*reply, &problem);
        err << "wendle " << command << ": " << Text::tr("%1; using the record it saved last").arg(problem) << '\n';
    }
    const QString path = recordPath(environment);
    if (std::unique_ptr<VXMappedRecord> mapped = inPlace ? VXMappedRecord::open(path) : nullptr) {
        VXDictionaryRef root = mapped->rootWithoutItems();
        if (!root) {
            err << "wendle " << command << ": " << damagedRecordMessage(path) << '\n';
            return {};
        }
        return {std::move(root), std::move(mapped)};
    }
    const VXRecordReading reading = VXReadRecordFile(path);
    if (!reading.exists) {
        err << "wendle " << command << ": "
            << Text::tr("Wendle is not running and has saved no record at %1 yet (it saves every half hour and "
                        "when it quits)")
                   .arg(path)
            << '\n';
        return {};
    }
    if (reading.tooLarge)
        err << "wendle " << command << ": " << reading.problem << "\n";
    else if (!reading.configuration)
        err << "wendle " << command << ": " << damagedRecordMessage(path) << '\n';
    // Read once and dropped at exit: the system frees it faster than a walk over it does.
    if (reading.configuration)
        VXKeepUntilExit(VXValue(reading.configuration));
    return {reading.configuration, nullptr};
}

// Writes the export of a record read in place to the output (a file: atomically, readable by
// its owner alone) as it is made. Answers the command's status.
int exportInPlace(VXMappedRecord &record, double begin, double end, const VXExportSettings &settings,
                  const QString &output, QTextStream &out, QTextStream &err, const QString &path)
{
    bool damaged = false;
    bool written = false;
    if (output.isEmpty() || output == QStringLiteral("-")) {
        QByteArray text;   // for a stream over a string
        QIODevice *device = out.device();
        out.flush();
        written = VXWriteCSVInPlace(
            record.view(), begin, end, settings,
            [&](const char *data, qsizetype size) {
                if (!device) {
                    text.append(data, size);
                    return true;
                }
                return device->write(data, size) == size;
            },
            &damaged);
        if (!device && written)
            out << QString::fromUtf8(text);
        out.flush();
    } else {
        const QString why = writeExportFile(output, [&](QSaveFile &file) {
            return VXWriteCSVInPlace(
                record.view(), begin, end, settings,
                [&](const char *data, qsizetype size) { return file.write(data, size) == size; }, &damaged);
        });
        written = why.isEmpty();
        if (!written && !damaged) {
            err << "wendle export: " << Text::tr("cannot write %1").arg(output) << ": " << why << '\n';
            return VXExportCommand::Failure;
        }
    }
    if (damaged) {
        err << "wendle export: " << damagedRecordMessage(path) << '\n';
        return VXExportCommand::Failure;
    }
    return written ? VXExportCommand::Success : VXExportCommand::Failure;
}

QString localText(double timestamp, const VXClock &clock)
{
    return QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(std::floor(timestamp * 1000.0)), clock.timeZone())
        .toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

// The range from --from and --to, each defaulting to the tracked data's own bounds. With one end
// given beyond the record's other end, the range is empty at the given end (`clipped` says so).
std::optional<Range> rangeOf(const QCommandLineParser &parser, const VXDictionary &configuration, const VXClock &clock,
                             const QString &command, QTextStream &err, bool *clipped = nullptr)
{
    Range range;
    getFirstTimestamp(configuration, &range.begin, &range.end);
    for (const auto &[option, value] : {std::pair {&kFromOption, &range.begin}, std::pair {&kToOption, &range.end}}) {
        if (!parser.isSet(*option))
            continue;
        QString error;
        const std::optional<double> when = option == &kFromOption
            ? VXWhenParser::timestampFromText(parser.value(*option), clock, &error)
            : VXWhenParser::endTimestampFromText(parser.value(*option), clock, &error);
        if (!when) {
            err << "wendle " << command << ": --" << option->names().constFirst() << ": " << error << "\n";
            return std::nullopt;
        }
        *value = *when;
    }
    if (range.end < range.begin) {
        if (parser.isSet(kFromOption) && parser.isSet(kToOption)) {
            err << "wendle " << command << ": "
                << Text::tr("the range ends before it begins: --to %1 (%2) comes before --from %3 (%4)")
                       .arg(parser.value(kToOption), localText(range.end, clock), parser.value(kFromOption),
                            localText(range.begin, clock))
                << '\n';
            return std::nullopt;
        }
        if (parser.isSet(kFromOption))
            range.end = range.begin;
        else
            range.begin = range.end;
        if (clipped)
            *clipped = true;
    }
    return range;
}

// The end of what the record holds in the range: nothing after its last tick, where its open
// periods end (a range wholly after it holds nothing).
double recordedEnd(const VXDictionary &configuration, const Range &range)
{
    if (!configuration.contains(VXLastTimestampKey))
        return range.end;
    return std::max(range.begin, std::min(range.end, timeIntervalForKey(configuration, VXLastTimestampKey)));
}

std::optional<QString> separatorFromText(const QString &text, bool rows)
{
    const QString value = text.toLower();
    if (!rows) {
        if (value == QStringLiteral("comma") || value == QStringLiteral(",") || value == QStringLiteral("0"))
            return VXColumnSeparatorForValue(0);
        if (value == QStringLiteral("semicolon") || value == QStringLiteral(";") || value == QStringLiteral("1"))
            return VXColumnSeparatorForValue(1);
        if (value == QStringLiteral("tab") || value == QStringLiteral("\\t") || value == QStringLiteral("\t")
            || value == QStringLiteral("2"))
            return VXColumnSeparatorForValue(2);
        return std::nullopt;
    }
    if (value == QStringLiteral("lf") || value == QStringLiteral("\\n") || value == QStringLiteral("0"))
        return VXRowSeparatorForValue(0);
    if (value == QStringLiteral("cr") || value == QStringLiteral("\\r") || value == QStringLiteral("1"))
        return VXRowSeparatorForValue(1);
    if (value == QStringLiteral("crlf") || value == QStringLiteral("\\r\\n") || value == QStringLiteral("2"))
        return VXRowSeparatorForValue(2);
    return std::nullopt;
}

// --columns: the listed columns on, all others off. False for an unknown name.
bool applyColumns(const QString &text, VXExportSettings &settings, QString *unknown)
{
    VXExportSettings columns = settings;
    columns.pool = columns.poolNotes = columns.application = columns.window = columns.front = columns.total = false;
    const QStringList names = text.toLower().split(QRegularExpression(QStringLiteral("[,\\s]+")), Qt::SkipEmptyParts);
    for (const QString &name : names) {
        if (name == QStringLiteral("pool"))
            columns.pool = true;
        else if (name == QStringLiteral("pool-notes") || name == QStringLiteral("notes"))
            columns.poolNotes = true;
        else if (name == QStringLiteral("application") || name == QStringLiteral("app"))
            columns.application = true;
        else if (name == QStringLiteral("window"))
            columns.window = true;
        else if (name == QStringLiteral("front") || name == QStringLiteral("foreground"))
            columns.front = true;
        else if (name == QStringLiteral("total") || name == QStringLiteral("open"))
            columns.total = true;
        else {
            *unknown = name;
            return false;
        }
    }
    settings = columns;
    return true;
}

QString whenHelp()
{
    return Text::tr("WHEN is a date (2026-11-20), a date and time (\"2026-11-20 14:00\"), now, today,\n"
                    "yesterday, or \"N days ago\", \"N hours ago\" (also minutes and weeks), in local time.\n"
                    "A day as --to means the end of that day: --from 2026-11-20 --to 2026-11-20 is that day.\n");
}

QString percentOf(double interval, double range)
{
    if (!(range > 0) || !(interval > 0))
        return QStringLiteral("0");
    return QString::number(static_cast<qulonglong>(interval * 100.0 / range));
}

}   // namespace

int VXExportCommand::runExport(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    return runExport(arguments, out, err, Environment());
}

int VXExportCommand::runExport(const QStringList &arguments, QTextStream &out, QTextStream &err,
                               const Environment &environment)
{
    QCommandLineParser parser;
    addHelp(parser);
    parser.addOption(kFromOption);
    parser.addOption(kToOption);
    const QCommandLineOption output(QStringList {QStringLiteral("o"), QStringLiteral("output")},
                                    QStringLiteral("Write to FILE instead of standard output."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption columnsOption(QStringList {QStringLiteral("columns")}, QString(), QStringLiteral("LIST"));
    const QCommandLineOption columnSeparator(QStringList {QStringLiteral("column-separator")}, QString(),
                                             QStringLiteral("SEP"));
    const QCommandLineOption rowSeparator(QStringList {QStringLiteral("row-separator")}, QString(),
                                          QStringLiteral("SEP"));
    parser.addOption(output);
    parser.addOption(columnsOption);
    parser.addOption(columnSeparator);
    parser.addOption(rowSeparator);
    bool helped = false;
    if (!parse(parser, kExportName, arguments, out, err, exportUsage(), &helped))
        return helped ? Success : UsageError;

    CommandSettings settings(environment.settingsFolder);
    VXExportSettings exportSettings = VXExportSettings::fromDefaults(settings.defaults());
    if (parser.isSet(columnsOption)) {
        QString unknown;
        if (!applyColumns(parser.value(columnsOption), exportSettings, &unknown)) {
            err << "wendle export: "
                << Text::tr("unknown column \"%1\" (columns: pool, pool-notes, application, window, front, total)")
                       .arg(unknown)
                << '\n';
            return UsageError;
        }
    }
    for (const auto &[option, rows] : {std::pair {&columnSeparator, false}, std::pair {&rowSeparator, true}}) {
        if (!parser.isSet(*option))
            continue;
        const std::optional<QString> separator = separatorFromText(parser.value(*option), rows);
        if (!separator) {
            err << "wendle export: "
                << (rows ? Text::tr("unknown separator \"%1\" for --%2 (lf, cr or crlf)")
                         : Text::tr("unknown separator \"%1\" for --%2 (comma, semicolon or tab)"))
                       .arg(parser.value(*option), option->names().constFirst())
                << '\n';
            return UsageError;
        }
        (rows ? exportSettings.rowSeparator : exportSettings.columnSeparator) = *separator;
    }
    if (!exportSettings.hasRelevantColumns()) {
        err << "wendle export: " << Text::tr("the columns need application or pool, and front or total") << '\n';
        return UsageError;
    }

    // Only the organizer's lists need the whole tree.
    const Record record = currentRecord(environment, kExportName, err, exportSettings.exportedReportContent == 1);
    const VXDictionaryRef &configuration = record.configuration;
    if (!configuration)
        return Failure;
    const VXSystemClock systemClock;
    const VXClock &clock = environment.clock ? *environment.clock : systemClock;
    const std::optional<Range> range = rangeOf(parser, *configuration, clock, kExportName, err);
    if (!range)
        return UsageError;

    // A range that holds nothing of the record gives the header alone.
    const double end = recordedEnd(*configuration, *range);
    if (record.inPlace && end > range->begin)
        return exportInPlace(*record.inPlace, range->begin, end, exportSettings, parser.value(output), out, err,
                             recordPath(environment));
    std::optional<VXListedItems> rows;
    if (exportSettings.exportedReportContent != 1)
        rows = VXListedItems::fromConfiguration(*configuration,
                                                settings.defaults().boolForKey(VXDefaultsKey::kShowInactivePools));
    const VXDictionaryRef source = end > range->begin ? configuration : VXMakeDictionary();
    const std::optional<QByteArray> data
        = CSVDataWithBeginTimestamp(source.get(), range->begin, end, exportSettings, rows ? &*rows : nullptr);
    if (!data)
        return UsageError;
    if (!parser.isSet(output) || parser.value(output) == QStringLiteral("-")) {
        out << QString::fromUtf8(*data);
        out.flush();
        return Success;
    }
    if (const QString why
        = writeExportFile(parser.value(output), [&](QSaveFile &file) { return file.write(*data) == data->size(); });
        !why.isEmpty()) {
        err << "wendle export: " << Text::tr("cannot write %1").arg(parser.value(output)) << ": " << why << '\n';
        return Failure;
    }
    return Success;
}

int VXExportCommand::runSummary(const QStringList &arguments, QTextStream &out, QTextStream &err)
{
    return runSummary(arguments, out, err, Environment());
}

int VXExportCommand::runSummary(const QStringList &arguments, QTextStream &out, QTextStream &err,
                                const Environment &environment)
{
    QCommandLineParser parser;
    addHelp(parser);
    parser.addOption(kFromOption);
    parser.addOption(kToOption);
    bool helped = false;
    if (!parse(parser, kSummaryName, arguments, out, err, summaryUsage(), &helped))
        return helped ? Success : UsageError;

    CommandSettings settings(environment.settingsFolder);
    const Record record = currentRecord(environment, kSummaryName, err, true);
    const VXDictionaryRef &configuration = record.configuration;
    if (!configuration)
        return Failure;
    if (!configuration->contains(VXLastTimestampKey)) {
        out << Text::tr("Nothing has been tracked yet.") << '\n';
        return Success;
    }
    const VXSystemClock systemClock;
    const VXClock &clock = environment.clock ? *environment.clock : systemClock;
    bool clipped = false;
    const std::optional<Range> range = rangeOf(parser, *configuration, clock, kSummaryName, err, &clipped);
    if (!range)
        return UsageError;

    out << Text::tr("From %1 to %2 (%3)")
               .arg(localText(range->begin, clock), localText(range->end, clock),
                    stringWithTimeInterval(range->end - range->begin, false))
        << "\n\n";
    const int sortColumn = static_cast<int>(settings.defaults().integerForKey(VXDefaultsKey::kSort));
    const std::optional<QString> table = record.inPlace
        ? summaryTable(record.inPlace->view(), *configuration, range->begin, range->end, sortColumn)
        : summaryTable(*configuration, range->begin, range->end, sortColumn);
    if (!table) {
        err << "wendle summary: " << damagedRecordMessage(recordPath(environment)) << '\n';
        return Failure;
    }
    out << (table->isEmpty() ? Text::tr("Nothing was tracked in this range.") + u'\n' : *table);
    if (clipped) {
        double first = 0.0;
        double last = 0.0;
        getFirstTimestamp(*configuration, &first, &last);
        out << Text::tr("The record runs from %1 to %2.").arg(localText(first, clock), localText(last, clock)) << '\n';
    }
    out.flush();
    return Success;
}

namespace {

// The summary's table from a walk that hands out the clipped entries (with their times) of the
// items with activity in the range, in the organizer's order.
using EntryWalk = std::function<bool(double begin, double recorded, const VXReportContentSettings &content,
                                     const std::function<void(const VXDictionaryRef &entry, int depth)> &visit)>;

std::optional<QString> tableOf(const VXDictionary &configuration, double beginTimestamp, double endTimestamp,
                               int sortColumn, const EntryWalk &walk)
{
    struct Row {
        QString cells[5];   // name, foreground, its share, open, its share
        bool heading = false;
        qsizetype widths[5] = {-1, -1, -1, -1, -1};   // in terminal columns; -1 until measured
    };
    const double range = endTimestamp - beginTimestamp;
    std::vector<Row> rows;
    // Shares are of the range asked for; periods end where the record does.
    const double recorded = recordedEnd(configuration, {beginTimestamp, endTimestamp});
    if (!(recorded > beginTimestamp))
        return QString();
    // Items with activity in the range, both halves, in the organizer's order.
    VXReportContentSettings content;
    content.liveReportContent = 2;
    content.sortColumn = sortColumn;
    // Percentages take at least three columns ("100").
    qsizetype widths[5] = {0, 0, 3, 0, 3};
    const auto add = [&](Row row) {
        for (int i = 0; i < 5; ++i) {
            if (row.widths[i] < 0)
                row.widths[i] = VXDisplayWidth(row.cells[i]);
            widths[i] = std::max(widths[i], row.widths[i]);
        }
        rows.push_back(std::move(row));
    };
    // Whether durations of a day and more are told in days, read once for the table.
    const bool inDays = expressTimeIntervalsAsDays();
    const VXDurationTexts durations;
    bool inPools = false;
    const bool whole = walk(beginTimestamp, recorded, content, [&](const VXDictionaryRef &entry, int depth) {
        const bool pool = depth == 0 && isPoolOrPoolItem(*entry);
        if (rows.empty() || (pool && !inPools)) {
            inPools = inPools || pool;
            add({{pool ? Text::tr("Pools") : Text::tr("Applications"), Text::tr("Foreground"), QStringLiteral("%"),
                  Text::tr("Open"), QStringLiteral("%")},
                 true});
        }
        const double front = timeIntervalForKey(*entry, VXFrontTimeKey);
        const double total = timeIntervalForKey(*entry, VXTimeKey);
        qsizetype nameWidth = 0;
        const QString name = VXTerminalCell(entry->value(VXNameKey).toString(), kLongestName, &nameWidth);
        add({{depth > 0 ? QString(depth * 2, u' ') + name : name, durations.text(front, false, inDays),
              percentOf(front, range), durations.text(total, false, inDays), percentOf(total, range)},
             false,
             {depth * 2 + nameWidth, -1, -1, -1, -1}});
    });
    if (!whole)
        return std::nullopt;
    if (rows.empty())
        return QString();

    // Cells padded with blanks to their column's width: names on the left, the rest on the right.
    // A month of a long record has tens of thousands of rows: the table's length is counted
    // first, and the text written into it in place.
    const auto missing = [&widths](const Row &row, int i) { return std::max<qsizetype>(widths[i] - row.widths[i], 0); };
    qsizetype length = 0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Row &row = rows[r];
        length += (row.heading && r > 0 ? 1 : 0) + 4 * 2 + 1;
        for (int i = 0; i < 5; ++i)
            length += row.cells[i].size() + missing(row, i);
    }
    QString table(length, Qt::Uninitialized);
    char16_t *at = reinterpret_cast<char16_t *>(table.data());
    const auto put = [&at](const QString &text) {
        at = std::copy_n(reinterpret_cast<const char16_t *>(text.constData()), text.size(), at);
    };
    const auto pad = [&at](qsizetype blanks) { at = std::fill_n(at, blanks, u' '); };
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const Row &row = rows[r];
        if (row.heading && r > 0)
            *at++ = u'\n';
        put(row.cells[0]);
        pad(missing(row, 0));
        for (int i = 1; i < 5; ++i) {
            pad(2 + missing(row, i));
            put(row.cells[i]);
        }
        *at++ = u'\n';
    }
    Q_ASSERT(at == reinterpret_cast<const char16_t *>(table.constData()) + length);
    return table;
}

}   // namespace

QString VXExportCommand::summaryTable(const VXDictionary &configuration, double beginTimestamp, double endTimestamp,
                                      int sortColumn)
{
    return *tableOf(configuration, beginTimestamp, endTimestamp, sortColumn,
                    [&](double begin, double recorded, const VXReportContentSettings &content, const auto &visit) {
                        collectEventLogsClippedBetweenTimestamp(configuration, begin, recorded, content, nullptr,
                                                                visit);
                        return true;
                    });
}

std::optional<QString> VXExportCommand::summaryTable(VXBinaryPropertyListView &record, const VXDictionary &root,
                                                     double beginTimestamp, double endTimestamp, int sortColumn)
{
    return tableOf(root, beginTimestamp, endTimestamp, sortColumn,
                   [&](double begin, double recorded, const VXReportContentSettings &content, const auto &visit) {
                       return collectEventTimesBetweenTimestamp(record, begin, recorded, content, visit);
                   });
}

QString VXExportCommand::exportUsage()
{
    return Text::tr("Usage: wendle export [--from WHEN] [--to WHEN] [-o FILE] [--columns LIST]\n"
                    "                     [--column-separator SEP] [--row-separator SEP]\n"
                    "\n"
                    "Writes every foreground and open period of the range as CSV, one row per period, to\n"
                    "standard output or FILE, in the columns and separators chosen in the preferences.\n"
                    "The data is the running Wendle's record up to now; when Wendle is not running, the\n"
                    "record it saved last.\n"
                    "\n"
                    "  --from WHEN, --to WHEN   the range (default: everything tracked)\n"
                    "  -o, --output FILE        write to FILE (readable by you alone) instead\n"
                    "  --columns LIST           the columns, separated by commas: pool, pool-notes,\n"
                    "                           application, window, front, total\n"
                    "  --column-separator SEP   comma, semicolon or tab\n"
                    "  --row-separator SEP      lf, cr or crlf\n"
                    "\n"
                    "%1")
        .arg(whenHelp());
}

QString VXExportCommand::summaryUsage()
{
    return Text::tr("Usage: wendle summary [--from WHEN] [--to WHEN]\n"
                    "\n"
                    "Prints, for every application, window and pool with activity in the range, how long it\n"
                    "was in front and how long it was open, and each as a share of the range. The data is\n"
                    "the running Wendle's record up to now; when Wendle is not running, the record it saved\n"
                    "last.\n"
                    "\n"
                    "  --from WHEN, --to WHEN   the range (default: everything tracked)\n"
                    "\n"
                    "%1")
        .arg(whenHelp());
}
