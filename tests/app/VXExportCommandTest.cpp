// `wendle export` and `wendle summary`: in-process against a configuration file and a settings
// folder of their own, and as the built program with its XDG folders in a temporary place, its
// CSV read back by Python's csv module.

#include "VXExportCommand.h"
#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXPropertyListSerialization.h"
#include "VXSettingsTestSupport.h"
#include "VXTerminalText.h"
#include "VXTestProcess.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"
#include "VXWhenParser.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimeZone>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

using vxtest::numbers;

namespace {

const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));

double berlin(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    return VXVirtualScheduler::unixTime(QDate(year, month, day), QTime(hour, minute, second), kBerlin);
}

VXDictionaryRef named(const QString &name, const QString &path, VXArrayRef front, VXArrayRef total)
{
    VXDictionaryRef item = VXMakeDictionary();
    item->insert(VXNameKey, name);
    item->insert(VXPathKey, path);
    if (front)
        item->insert(VXFrontActiveLogKey, front);
    if (total)
        item->insert(VXActiveLogKey, total);
    return item;
}

// A working morning on 2026-11-20 (Berlin): Mail 9:00-10:00 in front of an editor that is
// open 9:00-12:00 and in front 10:00-11:30; a pool "Writing" over the editor.
VXDictionaryRef morning()
{
    const double nine = berlin(2026, 11, 20, 9);
    VXDictionaryRef configuration = VXMakeDictionary();
    configuration->insert(VXFirstTimestampKey, nine);
    configuration->insert(VXFirstPoolTimestampKey, nine);
    configuration->insert(VXLastTimestampKey, nine + 3 * 3600);
    VXDictionaryRef applications = VXMakeDictionary();
    VXDictionaryRef mail
        = named(u"Mail"_s, u"/mail"_s, numbers({nine, -(nine + 3600)}), numbers({nine, -(nine + 3 * 3600)}));
    VXDictionaryRef inbox = named(u"Inbox, 3 unread"_s, VXWindowPathMarker, numbers({nine, -(nine + 1800)}),
                                  numbers({nine, -(nine + 3600)}));
    VXDictionaryRef windows = VXMakeDictionary();
    windows->insert(u"Inbox, 3 unread"_s, inbox);
    mail->insert(VXWindowsByNameKey, windows);
    VXDictionaryRef editor
        = named(u"Editor"_s, u"/editor"_s, numbers({nine + 3600, -(nine + 9000)}), numbers({nine, -(nine + 3 * 3600)}));
    applications->insert(u"org.example.Mail"_s, mail);
    applications->insert(u"org.example.Editor"_s, editor);
    configuration->insert(VXApplicationsKey, applications);
    VXDictionaryRef pool = named(u"Writing"_s, VXPoolPathMarker, numbers({nine + 3600, -(nine + 9000)}), VXArrayRef());
    pool->insert(VXTypeKey, VXPoolItemType);
    pool->insert(VXPoolNotesKey, u"book"_s);
    VXArrayRef pools = VXMakeArray();
    pools->append(pool);
    configuration->insert(VXPoolsKey, pools);
    return configuration;
}

struct CommandRun {
    int status = -1;
    QString out;
    QString err;
};

class VXExportCommandTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        ASSERT_TRUE(QDir(m_dir.path()).mkpath(u"data/Wendle/Configurations"_s));
        ASSERT_TRUE(writeToBinaryFile(VXValue(morning()), configurationPath(), true));
        m_environment.clock = &m_clock;
        m_environment.settingsFolder = m_dir.filePath(u"config/Wendle"_s);
        m_environment.socketPath = m_dir.filePath(u"no-wendle-runs.socket"_s);
        m_environment.configurationPath = configurationPath();
    }

    QString configurationPath() const { return m_dir.filePath(u"data/Wendle/Configurations/Default.plist"_s); }

    CommandRun run(const QString &command, const QStringList &arguments)
    {
        CommandRun result;
        QTextStream out(&result.out);
        QTextStream err(&result.err);
        result.status = command == VXExportCommand::kExportName
            ? VXExportCommand::runExport(arguments, out, err, m_environment)
            : VXExportCommand::runSummary(arguments, out, err, m_environment);
        return result;
    }

    void setSetting(const QString &key, const VXValue &value)
    {
        VXUserDefaults defaults(VXUserDefaults::kDomain, m_environment.settingsFolder);
        defaults.setObject(value, key);
        ASSERT_TRUE(defaults.synchronize());
    }

    QTemporaryDir m_dir;
    VXVirtualScheduler m_clock {berlin(2026, 11, 21, 8, 30), kBerlin};
    VXExportCommand::Environment m_environment;
};

}   // namespace

TEST(VXWhenParser, DatesTimesAndWordsAreReadInTheClocksLocalTime)
{
    // The evening of the day the clocks went forward, a day of 23 hours.
    const VXVirtualScheduler clock(berlin(2026, 3, 29, 20, 30), kBerlin);
    const auto when = [&](const char *text) { return VXWhenParser::timestampFromText(QString::fromUtf8(text), clock); };
    EXPECT_EQ(when("now"), clock.now());
    EXPECT_EQ(when("  NOW "), clock.now());
    EXPECT_EQ(when("today"), berlin(2026, 3, 29));
    EXPECT_EQ(*when("today"), clock.now() - 19.5 * 3600);
    EXPECT_EQ(when("yesterday"), berlin(2026, 3, 28));
    EXPECT_EQ(when("1 day ago"), berlin(2026, 3, 28, 20, 30));
    EXPECT_EQ(*when("1 day ago"), clock.now() - 23 * 3600);
    EXPECT_EQ(when("2 weeks ago"), berlin(2026, 3, 15, 20, 30));
    EXPECT_EQ(when("24 hours ago"), clock.now() - 24 * 3600);
    EXPECT_EQ(when("1 hour ago"), clock.now() - 3600);
    EXPECT_EQ(when("90 Minutes ago"), clock.now() - 5400);
    EXPECT_EQ(when("2026-11-20"), berlin(2026, 11, 20));
    EXPECT_EQ(when("2026-11-20 14:00"), berlin(2026, 11, 20, 14));
    EXPECT_EQ(when("2026-11-20T14:00:30"), berlin(2026, 11, 20, 14, 0, 30));
    EXPECT_EQ(when("2026-11-20 7:05"), berlin(2026, 11, 20, 7, 5));

    // As the end of a range, a whole day ends where the next begins; a time is that time.
    const auto until
        = [&](const char *text) { return VXWhenParser::endTimestampFromText(QString::fromUtf8(text), clock); };
    EXPECT_EQ(until("2026-11-20"), berlin(2026, 11, 21));
    EXPECT_EQ(until("today"), berlin(2026, 3, 30));
    EXPECT_EQ(*until("today") - *when("today"), 23 * 3600);   // the day of the change
    EXPECT_EQ(until("yesterday"), when("today"));
    EXPECT_EQ(until("2026-11-20 14:00"), when("2026-11-20 14:00"));
    EXPECT_EQ(until("2 hours ago"), when("2 hours ago"));

    for (const char *wrong : {"", "tomorrow", "2026-02-30", "2026-11-20 25:00", "2026-11-20 14:61", "3 fortnights ago",
                              "-2 days ago", "20.11.2026", "2026-11-20 14"}) {
        QString error;
        EXPECT_FALSE(VXWhenParser::timestampFromText(QString::fromUtf8(wrong), clock, &error)) << wrong;
        EXPECT_FALSE(error.isEmpty()) << wrong;
    }
}

TEST_F(VXExportCommandTest, ExportWritesTheUsersColumnsForTheRangeToStandardOutput)
{
    const CommandRun all = run(VXExportCommand::kExportName, {});
    EXPECT_EQ(all.status, VXExportCommand::Success) << all.err.toStdString();
    EXPECT_TRUE(all.err.isEmpty());
    const double nine = berlin(2026, 11, 20, 9);
    const auto t = [&](double offset) { return QString::number(nine + offset, 'f', 2); };
    EXPECT_EQ(all.out,
              QStringLiteral("Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                             ",Mail,,%1,%2\n"
                             ",Mail,\"Inbox, 3 unread\",%1,%3\n"
                             ",Editor,,%2,%4\n"
                             "Writing,,,%2,%4\n")
                  .arg(t(0), t(3600), t(1800), t(9000)));

    // A range given in words and dates, clipping the periods.
    const CommandRun range
        = run(VXExportCommand::kExportName, {u"--from"_s, u"2026-11-20 09:45"_s, u"--to=2026-11-20 10:15"_s});
    EXPECT_EQ(range.status, VXExportCommand::Success);
    EXPECT_EQ(range.out.count(u'\n'), 4);
    EXPECT_TRUE(range.out.contains(u",Mail,,%1,%2\n"_s.arg(t(2700), t(3600))));
    EXPECT_TRUE(range.out.contains(u",Editor,,%1,%2\n"_s.arg(t(3600), t(4500))));
    // Yesterday (for the clock: 2026-11-20) until today holds the whole morning.
    EXPECT_EQ(run(VXExportCommand::kExportName, {u"--from"_s, u"yesterday"_s, u"--to"_s, u"today"_s}).out, all.out);
}

TEST_F(VXExportCommandTest, ExportTakesTheSettingsAndTheCommandLineOverridesThem)
{
    setSetting(VXExportKey::kExportedReportColumnSeparator, VXValue(2));
    setSetting(VXExportKey::kExportColumnTotal, VXValue(true));
    const CommandRun tabbed = run(VXExportCommand::kExportName, {});
    ASSERT_EQ(tabbed.status, VXExportCommand::Success);
    EXPECT_TRUE(
        tabbed.out.startsWith(QStringLiteral("Pool\tApplication\tWindow\tForeground Begin (Unix Time)\tForeground End "
                                             "(Unix Time)\tTotal Begin (Unix Time)\tTotal End (Unix Time)\n")));
    EXPECT_TRUE(tabbed.out.contains(u"\tMail\tInbox, 3 unread\t"_s));

    const CommandRun chosen = run(VXExportCommand::kExportName,
                                  {u"--columns"_s, u"application, total"_s, u"--column-separator"_s, u"semicolon"_s,
                                   u"--row-separator"_s, u"crlf"_s});
    ASSERT_EQ(chosen.status, VXExportCommand::Success) << chosen.err.toStdString();
    const QStringList rows = chosen.out.split(u"\r\n"_s);
    EXPECT_EQ(rows.size(), 4);   // the header, Mail, Editor (no window column, no window lines), the empty rest
    EXPECT_EQ(rows.first(), u"Application;Total Begin (Unix Time);Total End (Unix Time)"_s);
    EXPECT_TRUE(rows.last().isEmpty());

    // Written to a file: nothing on standard output, the file for its owner alone.
    const QString file = m_dir.filePath(u"out.csv"_s);
    const CommandRun written = run(VXExportCommand::kExportName, {u"-o"_s, file, u"--column-separator=,"_s});
    EXPECT_EQ(written.status, VXExportCommand::Success);
    EXPECT_TRUE(written.out.isEmpty());
    QFile csv(file);
    ASSERT_TRUE(csv.open(QIODevice::ReadOnly));
    EXPECT_TRUE(csv.readAll().startsWith("Pool,Application,Window,"));
    EXPECT_EQ(QFileInfo(file).permissions() & (QFile::ReadOther | QFile::ReadGroup), 0);
}

TEST_F(VXExportCommandTest, MistakesOnTheCommandLineAndAMissingConfigurationSayWhat)
{
    const struct {
        QStringList arguments;
        int status;
        const char *message;
    } cases[] = {
        {{u"--from"_s, u"next week"_s}, VXExportCommand::UsageError, "--from: \"next week\" is not a time"},
        {{u"--from"_s, u"today"_s, u"--to"_s, u"2 days ago"_s},
         VXExportCommand::UsageError,
         "the range ends before it begins: --to 2 days ago (2026-11-19 08:30:00) comes before --from today"},
        {{u"--columns"_s, u"application,colour"_s}, VXExportCommand::UsageError, "unknown column \"colour\""},
        {{u"--columns"_s, u"window,front"_s}, VXExportCommand::UsageError, "need application or pool"},
        {{u"--row-separator"_s, u"nl"_s}, VXExportCommand::UsageError, "unknown separator \"nl\""},
        {{u"--frm"_s, u"today"_s}, VXExportCommand::UsageError, "Unknown option 'frm'"},
        {{u"extra"_s}, VXExportCommand::UsageError, "unexpected argument \"extra\""},
        {{u"-o"_s, m_dir.filePath(u"data/Wendle/Configurations/Default.plist/x.csv"_s)},
         VXExportCommand::Failure,
         "cannot write"},
    };
    for (const auto &mistake : cases) {
        const CommandRun result = run(VXExportCommand::kExportName, mistake.arguments);
        EXPECT_EQ(result.status, mistake.status) << mistake.arguments.join(u' ').toStdString();
        EXPECT_TRUE(result.err.contains(QString::fromUtf8(mistake.message))) << result.err.toStdString();
        EXPECT_TRUE(result.out.isEmpty());
    }
    // A file that cannot be written says why, whichever way the record was read.
    const QString underAFile = m_dir.filePath(u"data/Wendle/Configurations/Default.plist/x.csv"_s);
    const CommandRun unwritable = run(VXExportCommand::kExportName, {u"-o"_s, underAFile});
    EXPECT_TRUE(unwritable.err.contains(
        QRegularExpression(u"cannot write "_s + QRegularExpression::escape(underAFile) + u": \\S"_s)))
        << unwritable.err.toStdString();
    const CommandRun help = run(VXExportCommand::kSummaryName, {u"--help"_s});
    EXPECT_EQ(help.status, VXExportCommand::Success);
    EXPECT_TRUE(help.out.startsWith(u"Usage: wendle summary"_s));

    ASSERT_TRUE(QFile::remove(configurationPath()));
    for (const QString &command : {VXExportCommand::kExportName, VXExportCommand::kSummaryName}) {
        const CommandRun missing = run(command, {});
        EXPECT_EQ(missing.status, VXExportCommand::Failure);
        EXPECT_TRUE(missing.err.contains(u"has saved no record at "_s + configurationPath()))
            << missing.err.toStdString();
    }
    QFile damaged(configurationPath());
    ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
    damaged.write("bplist00 but not really");
    damaged.close();
    EXPECT_EQ(run(VXExportCommand::kExportName, {}).status, VXExportCommand::Failure);
}

TEST_F(VXExportCommandTest, SummaryTabulatesForegroundAndOpenTimeWithTheirSharesOfTheRange)
{
    const CommandRun summary
        = run(VXExportCommand::kSummaryName, {u"--from"_s, u"2026-11-20 09:00"_s, u"--to"_s, u"2026-11-20 13:00"_s});
    ASSERT_EQ(summary.status, VXExportCommand::Success) << summary.err.toStdString();
    // By foreground time (the registered sort column), the range of four hours the whole.
    EXPECT_EQ(summary.out,
              QStringLiteral("From 2026-11-20 09:00:00 to 2026-11-20 13:00:00 (4:00:00)\n"
                             "\n"
                             "Applications       Foreground    %     Open    %\n"
                             "Editor                1:30:00   37  3:00:00   75\n"
                             "Mail                  1:00:00   25  3:00:00   75\n"
                             "  Inbox, 3 unread       30:00   12  1:00:00   25\n"
                             "\n"
                             "Pools              Foreground    %     Open    %\n"
                             "Writing               1:30:00   37        -    0\n"));

    // A range with nothing in it; one that starts after the record ends says when it ran.
    const CommandRun quiet
        = run(VXExportCommand::kSummaryName, {u"--from"_s, u"2026-11-20 13:00"_s, u"--to"_s, u"2026-11-20 14:00"_s});
    EXPECT_TRUE(quiet.out.endsWith(u"Nothing was tracked in this range.\n"_s));
    const CommandRun later = run(VXExportCommand::kSummaryName, {u"--from"_s, u"today"_s});
    EXPECT_EQ(later.status, VXExportCommand::Success) << later.err.toStdString();
    EXPECT_EQ(
        later.out,
        QStringLiteral("From 2026-11-21 00:00:00 to 2026-11-21 00:00:00 (-)\n\nNothing was tracked in this range.\n"
                       "The record runs from 2026-11-20 09:00:00 to 2026-11-20 12:00:00.\n"));
    // A day as --to is the whole of that day.
    const CommandRun day
        = run(VXExportCommand::kSummaryName, {u"--from"_s, u"2026-11-20"_s, u"--to"_s, u"2026-11-20"_s});
    EXPECT_TRUE(day.out.startsWith(u"From 2026-11-20 00:00:00 to 2026-11-21 00:00:00 (1 day)\n"_s))
        << day.out.toStdString();
    EXPECT_TRUE(day.out.contains(u"Editor"_s));
    // Names that would break the table are kept on one line and cut; wide characters (two
    // columns each in a terminal) and combining accents (none) keep the columns in line.
    VXDictionaryRef configuration = morning();
    configuration->value(VXPoolsKey)
        .array()
        ->at(0)
        .dictionary()
        ->insert(VXNameKey, u"two\nlines"_s + QString(100, u'x'));
    configuration->value(VXApplicationsKey)
        .dictionary()
        ->value(u"org.example.Mail"_s)
        .dictionary()
        ->insert(VXNameKey, u"\u65E5\u672C\u8A9E\u30E1\u30FC\u30EB e\u0301"_s);
    const QString table
        = VXExportCommand::summaryTable(*configuration, berlin(2026, 11, 20, 9), berlin(2026, 11, 20, 13), 0);
    const QStringList lines = table.split(u'\n', Qt::SkipEmptyParts);
    EXPECT_EQ(lines.size(), 6);
    for (const QString &line : lines)
        EXPECT_EQ(VXDisplayWidth(line), VXDisplayWidth(lines.first())) << line.toStdString();
    EXPECT_TRUE(lines.last().startsWith(u"two lines"_s));
    EXPECT_EQ(lines.last().indexOf(QChar(0x2026)), 59);   // cut to 60 columns
}

TEST(VXTerminalText, CellsAreCutToTheirColumnsAndTellTheirWidth)
{
    const struct {
        QString text;
        qsizetype maximum;
        QString cell;
        qsizetype width;
    } rows[] = {
        {u"Mail"_s, 60, u"Mail"_s, 4},
        {QString(60, u'x'), 60, QString(60, u'x'), 60},
        {QString(61, u'x'), 60, QString(59, u'x') + QChar(0x2026), 60},
        {u"abc"_s, 1, QString(QChar(0x2026)), 1},
        {QString(), 60, QString(), 0},
        {u"a\tb\u007f"_s, 60, u"a b "_s, 4},   // controls shown as blanks
        {u"\u65E5\u672C\u8A9E"_s, 5, u"\u65E5\u672C\u2026"_s, 5},   // two columns each
        {u"e\u0301 caf\u00e9"_s, 60, u"e\u0301 caf\u00e9"_s, 6},   // the accent takes none
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.text.toStdString());
        qsizetype width = -1;
        const QString cell = VXTerminalCell(row.text, row.maximum, &width);
        EXPECT_EQ(cell.toStdString(), row.cell.toStdString());
        EXPECT_EQ(width, row.width);
        EXPECT_EQ(VXDisplayWidth(cell), row.width);
    }
}

TEST_F(VXExportCommandTest, TheBuiltProgramReadsItsOwnFoldersAndWritesCSVThatPythonReads)
{
    if (!QFileInfo(QStringLiteral(WENDLE_BINARY)).isExecutable())
        GTEST_SKIP() << "the wendle program has not been built";
    const QString python = VXTestPython();
    if (python.isEmpty())
        GTEST_SKIP() << "no python3 to read the CSV";

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"XDG_DATA_HOME"_s, m_dir.filePath(u"data"_s));
    environment.insert(u"XDG_CONFIG_HOME"_s, m_dir.filePath(u"config"_s));
    environment.insert(u"XDG_RUNTIME_DIR"_s, m_dir.path());
    environment.insert(u"LC_ALL"_s, u"de_DE.UTF-8"_s);
    environment.insert(u"TZ"_s, u"Europe/Berlin"_s);
    setSetting(VXExportKey::kExportColumnPoolNotes, VXValue(true));
    const auto wendle = [&](const QStringList &arguments) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), arguments);
        EXPECT_TRUE(process.waitForFinished(30000));
        return std::pair {process.exitCode(), process.readAllStandardOutput()};
    };
    const auto [status, csv] = wendle({u"export"_s, u"--from"_s, u"2026-11-20"_s});
    ASSERT_EQ(status, 0);
    // Python's csv module as an independent reader.
    QProcess reader;
    reader.start(python, {u"-c"_s, u"import csv, json, sys; print(json.dumps(list(csv.reader(sys.stdin))))"_s});
    reader.write(csv);
    reader.closeWriteChannel();
    ASSERT_TRUE(reader.waitForFinished(30000));
    const QJsonArray rows = QJsonDocument::fromJson(reader.readAllStandardOutput()).array();
    ASSERT_EQ(rows.size(), 5);
    EXPECT_EQ(rows[0].toArray().size(), 6);
    EXPECT_EQ(rows[2].toArray()[3].toString(), u"Inbox, 3 unread"_s);
    EXPECT_EQ(rows[4].toArray()[1].toString(), u"book"_s);
    // In a German locale the times have decimal commas (and so are quoted).
    EXPECT_EQ(rows[1].toArray()[4].toString(), QString::number(berlin(2026, 11, 20, 9), 'f', 2).replace(u'.', u','));

    const auto [summaryStatus, summary]
        = wendle({u"summary"_s, u"--from"_s, u"2026-11-20 09:00"_s, u"--to"_s, u"2026-11-20 13:00"_s});
    EXPECT_EQ(summaryStatus, 0);
    // ... and the summary speaks German.
    EXPECT_TRUE(summary.startsWith("Von 2026-11-20 09:00:00 bis 2026-11-20 13:00:00 (4:00:00)\n"));
    EXPECT_TRUE(summary.contains("Editor             1:30:00   37   3:00:00   75\n")) << summary.toStdString();
}
