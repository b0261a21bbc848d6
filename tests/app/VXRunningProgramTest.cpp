// The built program beside its commands, without a display (the tracker then has nothing to
// track, but keeps its record, answers on its socket and saves on the way out): the commands
// answer from the running Wendle, mistakes on the command line start nothing, log lines stay
// off the commands' standard error, and the program survives a closed standard error, idle
// clients, running out of file descriptors, a data folder it cannot use and a save that fails.

#include "VXConfigurationKeys.h"
#include "VXProgramTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXSingleInstance.h"

#include <QDateTime>
#include <QDirIterator>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

double now()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

QString text(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes);
}

VXDictionaryRef configurationIn(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? deeplyMutableDictionaryWithData(file.readAll()) : VXDictionaryRef();
}

// A record whose one application, "Mail", was in front for an hour two days ago.
VXDictionaryRef twoDaysAgo()
{
    const double start = std::floor(now()) - 2 * 86400;
    VXDictionaryRef mail = VXMakeDictionary();
    mail->insert(VXNameKey, u"Mail"_s);
    mail->insert(VXPathKey, u"/usr/share/applications/mail.desktop"_s);
    VXArrayRef log = VXMakeArray();
    log->append(start);
    log->append(-(start + 3600));
    mail->insert(VXFrontActiveLogKey, log);
    mail->insert(VXActiveLogKey, log);
    mail->insert(VXFrontTimeKey, 3600.0);
    mail->insert(VXTimeKey, 3600.0);
    VXDictionaryRef applications = VXMakeDictionary();
    applications->insert(u"mail"_s, mail);
    VXDictionaryRef record = VXMakeDictionary();
    record->insert(VXApplicationsKey, applications);
    record->insert(VXFirstTimestampKey, start);
    record->insert(VXLastTimestampKey, start + 3600);
    return record;
}

class RunningProgram : public ProgramTest
{
protected:
    bool seed(const QString &path, const VXDictionaryRef &dictionary)
    {
        return QDir().mkpath(QFileInfo(path).path()) && writeToBinaryFile(VXValue(dictionary), path, true);
    }
};

// A connection to the program's socket that says nothing.
int idleConnection(const QString &socketPath)
{
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(socketPath);
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd >= 0 && ::connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

}   // namespace

TEST(VXSingleInstance, RequestsReadBackAsWrittenAndOtherLinesAreRefused)
{
    using Kind = VXInstanceRequest::Kind;
    const VXInstanceRequest requests[] = {{Kind::Open, {u"/a b.csv"_s, u"/c\u00e9.csv"_s, u"/t\tn\nr\r\\t.csv "_s}},
                                          {Kind::Report, {}},
                                          {Kind::Import, {u"/r.plist"_s}},
                                          {Kind::Status, {}},
                                          {Kind::Configuration, {}},
                                          {Kind::Help, {u"pools"_s}}};
    for (const VXInstanceRequest &request : requests) {
        QByteArray line = VXSingleInstance::lineForRequest(request);
        SCOPED_TRACE(line.toStdString());
        ASSERT_TRUE(line.endsWith('\n'));
        EXPECT_EQ(line.count('\n'), 1);   // the server reads up to the first
        line.chop(1);
        const std::optional<VXInstanceRequest> read = VXSingleInstance::requestFromLine(line);
        ASSERT_TRUE(read);
        EXPECT_EQ(read->kind, request.kind);
        EXPECT_EQ(read->files, request.files);
    }
    for (const char *line : {"", "open", "import", "import\ta\tb", "help", "help\ta\tb", "status\tx", "report\t",
                             "open\t\t/x.csv", "open\t/x\\", "open\t\\x", "Status", "configuration ", "dance"}) {
        SCOPED_TRACE(line);
        EXPECT_FALSE(VXSingleInstance::requestFromLine(QByteArray(line)));
    }
    EXPECT_FALSE(VXSingleInstance::requestFromLine("open\t" + QByteArray(VXSingleInstance::kMaximumRequest, 'x')));

    QString message;
    EXPECT_TRUE(VXSingleInstance::isOkReply(VXSingleInstance::okReply() + "more", &message));
    EXPECT_FALSE(VXSingleInstance::isOkReply(VXSingleInstance::errorReply(u"why"_s), &message));
    EXPECT_EQ(message, u"why"_s);
    EXPECT_FALSE(VXSingleInstance::isOkReply("bplist00", &message));
}

TEST_F(RunningProgram, TheCommandsAskTheRunningWendle)
{
    ASSERT_TRUE(seed(folders.configurationFile(), twoDaysAgo()));
    TrackerProcess tracker(folders);
    ASSERT_TRUE(tracker.waitUntilTracking()) << tracker.finish(1000).out.constData();
    const QString today = QDate::currentDate().toString(Qt::ISODate);

    // The record up to now, not the one saved two days ago; "--from today" is no mistake.
    const ProgramResult summary = folders.run({u"summary"_s});
    EXPECT_EQ(summary.exitCode, 0) << summary.err.constData();
    EXPECT_TRUE(text(summary.out).contains(u" to "_s + today)) << summary.out.constData();
    EXPECT_TRUE(summary.out.contains("Mail")) << summary.out.constData();
    const ProgramResult fromToday = folders.run({u"summary"_s, u"--from"_s, u"today"_s});
    EXPECT_EQ(fromToday.exitCode, 0) << fromToday.err.constData();
    EXPECT_TRUE(text(fromToday.out).startsWith(u"From "_s + today + u" 00:00:00 to "_s + today))
        << fromToday.out.constData();
    const ProgramResult csv = folders.run({u"export"_s, u"--from"_s, u"3 days ago"_s});
    EXPECT_EQ(csv.exitCode, 0) << csv.err.constData();
    EXPECT_TRUE(csv.out.contains(",Mail,")) << csv.out.constData();

    // An import goes to the running Wendle, which keeps it (its own save at quit included); a
    // dictionary that is no record (the settings file, say) is refused, saying what it lacks.
    const QString imported = folders.path(u"imported.plist"_s);
    VXDictionaryRef record = twoDaysAgo();
    record->value(VXApplicationsKey).dictionary()->value(u"mail"_s).dictionary()->insert(VXNameKey, u"Imported"_s);
    ASSERT_TRUE(seed(imported, record));
    const ProgramResult import = folders.run({u"config"_s, u"import"_s, imported});
    EXPECT_EQ(import.exitCode, 0) << import.err.constData();
    EXPECT_TRUE(import.out.contains("into the running Wendle")) << import.out.constData();
    // The answer comes once the imported record is on the disk.
    const VXDictionaryRef answered = configurationIn(folders.configurationFile());
    ASSERT_TRUE(answered);
    EXPECT_EQ(
        answered->value(VXApplicationsKey).dictionary()->value(u"mail"_s).dictionary()->value(VXNameKey).toString(),
        u"Imported"_s);
    const QString settingsLike = folders.path(u"settings.plist"_s);
    VXDictionaryRef settings = VXMakeDictionary();
    settings->insert(u"Sort"_s, 2);
    ASSERT_TRUE(seed(settingsLike, settings));
    const ProgramResult refused = folders.run({u"config"_s, u"import"_s, settingsLike});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains("holds none of its keys (\"Applications\", \"Pools\"")) << refused.err.constData();

    // Windows need a display, which this Wendle has not: it says so.
    const ProgramResult report = folders.run({u"--report"_s});
    EXPECT_EQ(report.exitCode, 1);
    EXPECT_TRUE(report.err.contains("no display")) << report.err.constData();
    const ProgramResult help = folders.run({u"--help-page"_s});
    EXPECT_EQ(help.exitCode, 1);
    EXPECT_TRUE(help.err.contains("no display to show the help on")) << help.err.constData();
    const ProgramResult second = folders.run({});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_TRUE(second.err.contains("already running")) << second.err.constData();

    tracker.terminate();
    const ProgramResult ended = tracker.finish();
    EXPECT_EQ(ended.exitCode, 0) << ended.out.constData();
    const VXDictionaryRef saved = configurationIn(folders.configurationFile());
    ASSERT_TRUE(saved);
    const VXDictionary *mail = saved->value(VXApplicationsKey).dictionary()->value(u"mail"_s).dictionary();
    ASSERT_TRUE(mail);
    EXPECT_EQ(mail->value(VXNameKey).toString(), u"Imported"_s);
    // The record from before the import is kept beside it.
    QStringList kept = QDir(QFileInfo(folders.configurationFile()).path()).entryList({u"Default *.plist"_s});
    ASSERT_EQ(kept.size(), 1);
    const VXDictionaryRef previous = configurationIn(QFileInfo(folders.configurationFile()).path() + u'/' + kept[0]);
    ASSERT_TRUE(previous);
    EXPECT_EQ(
        previous->value(VXApplicationsKey).dictionary()->value(u"mail"_s).dictionary()->value(VXNameKey).toString(),
        u"Mail"_s);
}

TEST_F(RunningProgram, MistakesOnTheCommandLineStartNothing)
{
    const struct {
        QStringList arguments;
        int exitCode;
        const char *message;
    } rows[] = {
        {{u"sumary"_s}, 2, "wendle: unknown command 'sumary' \u2014 did you mean 'summary'?"},
        {{u"exprot"_s, u"--from"_s, u"today"_s}, 2, "did you mean 'export'?"},
        {{u"notes.txt"_s}, 2, "'notes.txt' is not a command, an option or a CSV file"},
        {{folders.path(u"week.csv"_s)}, 2, "there is no such file"},
        {{u"summary"_s, u"--frm"_s, u"today"_s}, 2, "Run 'wendle summary --help'"},
        {{u"config"_s, u"imprt"_s, u"x"_s}, 2, "wendle config: unknown use"},
        {{u"simulate"_s, u"day.json"_s}, 2, "-o OUT.plist is needed"},
        {{u"--help-page"_s, u"nosuch"_s}, 2, "there is no help page 'nosuch' (the pages: index, modes, pools,"},
        {{u"--help-page=pool"_s, u"--report"_s}, 2, "there is no help page 'pool'"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.arguments.join(u' ').toStdString());
        // A tracker started by mistake would not end.
        const ProgramResult result = folders.run(row.arguments, 10000);
        ASSERT_TRUE(result.finished);
        EXPECT_EQ(result.exitCode, row.exitCode);
        EXPECT_TRUE(text(result.err).contains(QString::fromUtf8(row.message))) << result.err.constData();
        EXPECT_TRUE(result.err.count('\n') <= 2) << result.err.constData();   // no usage text
    }
    EXPECT_FALSE(QFileInfo::exists(folders.path(u"data/Wendle/wendle.lock"_s)));

    const ProgramResult help = folders.run({u"help"_s});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains("Commands:")) << help.out.constData();
    const ProgramResult scenarioHelp = folders.run({u"simulate"_s, u"--help"_s});
    EXPECT_TRUE(scenarioHelp.out.contains("\"desktop\"")) << scenarioHelp.out.constData();
    EXPECT_TRUE(scenarioHelp.out.contains("setDefault"));
}

TEST_F(RunningProgram, LogLinesReachACommandsStandardErrorOnlyWithVerbose)
{
    const QString scenario = QStringLiteral(WENDLE_TESTS_DIR "/app/scenarios/morning.json");
    const QString output = folders.path(u"out.plist"_s);
    const ProgramResult quiet = folders.run({u"simulate"_s, scenario, u"-o"_s, output});
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_TRUE(quiet.err.isEmpty()) << quiet.err.constData();
    const ProgramResult verbose = folders.run({u"simulate"_s, scenario, u"-o"_s, output, u"--verbose"_s});
    EXPECT_EQ(verbose.exitCode, 0);
    EXPECT_TRUE(verbose.err.contains("watching input through scenario input")) << verbose.err.constData();

    // A damaged file: the command's own message, not the codec's before it.
    const QString damaged = folders.path(u"damaged.plist"_s);
    QFile file(damaged);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("bplist00 and then nothing");
    file.close();
    const ProgramResult import = folders.run({u"config"_s, u"import"_s, damaged});
    EXPECT_EQ(import.exitCode, 1);
    EXPECT_EQ(import.err.count('\n'), 1) << import.err.constData();
    EXPECT_TRUE(import.err.startsWith("cannot import <")) << import.err.constData();
}

TEST_F(RunningProgram, AClosedStandardErrorDoesNotKeepTheProgramFromSaving)
{
    // Standard error is a pipe whose reading end is closed before the program starts: every log
    // line it writes fails.
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    ::close(pipeEnds[0]);
    const int writeEnd = pipeEnds[1];
    {
        TrackerProcess tracker(folders, {}, [writeEnd] { ::dup2(writeEnd, STDERR_FILENO); });
        ::close(writeEnd);
        ASSERT_TRUE(tracker.waitUntilTracking());
        tracker.terminate();
        const ProgramResult ended = tracker.finish();
        EXPECT_EQ(ended.exitCode, 0);
    }
    EXPECT_TRUE(configurationIn(folders.configurationFile()));
}

TEST_F(RunningProgram, TheSocketOutlastsIdleClientsAndRunningOutOfFileDescriptors)
{
    // Few descriptors: the idle clients below take the rest.
    TrackerProcess tracker(folders, {}, [] {
        const rlimit limit {20, 20};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    ASSERT_TRUE(tracker.waitUntilTracking());
    std::vector<int> idle;
    for (int i = 0; i < 48; ++i)
        if (const int fd = idleConnection(folders.socketPath()); fd >= 0)
            idle.push_back(fd);
    ASSERT_FALSE(idle.empty());
    // The first client is taken at once and dropped for saying nothing.
    pollfd first {idle.front(), POLLIN, 0};
    ASSERT_EQ(::poll(&first, 1, 15000), 1);
    char byte;
    EXPECT_EQ(::recv(idle.front(), &byte, 1, 0), 0);
    for (int fd : idle)
        ::close(fd);
    // The program still answers: it took up accepting again when descriptors came free.
    EXPECT_TRUE(tracker.waitUntilTracking(20000)) << tracker.lastStatus.constData();
    tracker.terminate();
    const ProgramResult ended = tracker.finish();
    EXPECT_EQ(ended.exitCode, 0) << ended.out.constData();
    EXPECT_TRUE(ended.out.contains("cannot take a connection")) << ended.out.constData();   // it did run out
}

TEST_F(RunningProgram, ADataFolderItCannotUseIsNamedAndEndsTheStart)
{
    // A file where the data folder should be.
    QDir().mkpath(folders.path(u"data"_s));
    QFile blocker(folders.path(u"data/Wendle"_s));
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    const ProgramResult start = folders.run({}, 10000);
    ASSERT_TRUE(start.finished);
    EXPECT_EQ(start.exitCode, 1);
    EXPECT_TRUE(start.err.contains("cannot use the data folder <" + QFile::encodeName(folders.path(u"data/Wendle"_s))))
        << start.err.constData();
    EXPECT_FALSE(start.err.contains("holds"));
}

TEST_F(RunningProgram, ASaveThatFailsAtQuitIsSaidAndEndsWithAFailure)
{
    // A folder put where the record is written, once the program has loaded it (a folder found
    // there at start is set aside like any record that cannot be read).
    TrackerProcess tracker(folders);
    ASSERT_TRUE(tracker.waitUntilTracking());
    ASSERT_TRUE(QDir().mkpath(folders.configurationFile()));
    tracker.terminate();
    const ProgramResult ended = tracker.finish();
    EXPECT_EQ(ended.exitCode, 1) << ended.out.constData();
    EXPECT_TRUE(ended.out.contains("cannot save the record to <" + QFile::encodeName(folders.configurationFile())))
        << ended.out.constData();
}
