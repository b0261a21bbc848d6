#include "VXExporter.h"

#include "VXCSVExport.h"
#include "VXExportUserInterface.h"
#include "VXFolderAccessDelegate.h"
#include "VXLibraryFolders.h"
#include "VXPersistenceTestSupport.h"
#include "VXStringExtensions.h"
#include "VXTestSupport.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimeZone>

#include <csignal>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

const QTimeZone kBerlin(QByteArrayLiteral("Europe/Berlin"));

// The lines of a CSV file below its header.
QStringList rowsOf(const QString &path)
{
    QStringList rows = QString::fromUtf8(VXReadFile(path)).split(u'\n', Qt::SkipEmptyParts);
    if (!rows.isEmpty())
        rows.removeFirst();
    return rows;
}

// The bookmark manager as the export sees it: answers as told, and records the calls.
class FolderAccess final : public VXFolderAccessDelegate
{
public:
    bool grant = true;
    QString bookmark = u"/bookmarks/exports"_s;
    QStringList asked;
    QStringList released;

    bool confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                   QString *accessedBookmarkPath, const SandboxExplanation &) override
    {
        asked << path;
        EXPECT_FALSE(viaParentFolder);
        EXPECT_EQ(cancel, nullptr);
        if (grant && accessedBookmarkPath)
            *accessedBookmarkPath = bookmark;
        return grant;
    }
    void stopAccessingBookmarkForPath(const QString &bookmarkPath) override { released << bookmarkPath; }
    int runAlert(const QString &, const QString &, const QStringList &) override { return 0; }
};

// The shell's side of "Export Snapshot", scripted.
class UserInterface final : public VXExportUserInterface
{
public:
    bool hasReportWindow = true;
    std::optional<QString> answer;   // the save panel's answer
    double begin = 0;
    double end = 0;
    bool revealWorks = true;
    QStringList calls;
    int beeps = 0;

    bool prepareExportPanelParentWindow() override
    {
        calls << u"prepare"_s;
        return hasReportWindow;
    }
    void getReportBeginTimestamp(double *beginTimestamp, double *endTimestamp) override
    {
        *beginTimestamp = begin;
        *endTimestamp = end;
    }
    void setExportPanelModal(bool modal) override { calls << (modal ? u"modal"_s : u"modeless"_s); }
    void runSavePanel(const QString &title, const QString &fileType, const QString &suggestedName,
                      std::function<void(const std::optional<QString> &)> completion) override
    {
        calls << u"panel %1 %2 %3"_s.arg(title, fileType, suggestedName);
        completion(answer);
    }
    bool revealFolderInFileManager(const QString &path) override
    {
        calls << u"reveal "_s + path;
        return revealWorks;
    }
    void beep() override { ++beeps; }
};

// A tree that the "tracker" below keeps adding to: Mail in front for 40 s of every minute.
struct Tracker {
    VXDictionaryRef configuration = VXMakeDictionary();
    VXDictionaryRef mail;
    std::vector<std::pair<double, double>> periods;

    explicit Tracker(double start)
    {
        configuration->insert(VXFirstTimestampKey, start);
        configuration->insert(VXFirstPoolTimestampKey, start);
        configuration->insert(VXLastTimestampKey, start);
        mail = addApplication(*configuration, u"org.example.Mail"_s,
                              withLogs(item(u"Mail"_s), numbers({}), numbers({})));
    }
    void minutePassed(double now)
    {
        periods.emplace_back(now - 50, now - 10);
        mail->value(VXFrontActiveLogKey).array()->append(now - 50);
        mail->value(VXFrontActiveLogKey).array()->append(-(now - 10));
        configuration->insert(VXLastTimestampKey, now);
    }
    VXExportSource source()
    {
        return {[this] { return configuration; }, {}, {}, [] { return 0; }};
    }
};

}   // namespace

// The daily tasks call the export once a day from their hour on (their own suite checks when):
// one file per local day, named by it; with "Auto-Export Range" 1 only what came since the last
// export.
TEST(VXExporter, TheDailyExportWritesOneFilePerLocalDayAndRangeOneOnlyWhatIsNew)
{
    Settings settings;
    QTemporaryDir folder;
    LogCapture log;
    const double firstExport = VXVirtualScheduler::unixTime(QDate(2026, 11, 20), QTime(6, 0, 57), kBerlin);
    VXVirtualScheduler time(firstExport, kBerlin);
    Tracker tracker(VXVirtualScheduler::unixTime(QDate(2026, 11, 19), QTime(22, 0), kBerlin));
    // The tracker's minutes up to `end`, and the clock there.
    const auto trackUntil = [&](double end) {
        for (double t = tracker.configuration->value(VXLastTimestampKey).toDouble() + 60; t <= end; t += 60)
            tracker.minutePassed(t);
        time.advanceTo(end);
    };
    trackUntil(firstExport);
    settings.defaults->setBool(true, VXAutoExportKey::kAutoExportReports);
    settings.defaults->setString(folder.path(), VXAutoExportKey::kAutoExportFolder);
    VXExporter exporter(tracker.source(), *settings.defaults, time);

    // Everything since the first timestamp, up to the last sample.
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Exported);
    const QString first = folder.filePath(u"2026-11-20.csv"_s);
    const QStringList firstRows = rowsOf(first);
    EXPECT_EQ(static_cast<std::size_t>(firstRows.size()), tracker.periods.size());
    EXPECT_EQ(
        firstRows.front(),
        u",Mail,,%1,%2"_s.arg(tracker.periods.front().first, 0, 'f', 2).arg(tracker.periods.front().second, 0, 'f', 2));
    EXPECT_DOUBLE_EQ(settings.defaults->doubleForKey(VXAutoExportKey::kLastAutoExport), firstExport);

    // Later that day: the file is there, nothing more is written, and the setting is left alone.
    trackUntil(VXVirtualScheduler::unixTime(QDate(2026, 11, 20), QTime(23, 59, 30), kBerlin));
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::AlreadyExported);
    EXPECT_EQ(rowsOf(first), firstRows);
    EXPECT_DOUBLE_EQ(settings.defaults->doubleForKey(VXAutoExportKey::kLastAutoExport), firstExport);

    // Half past midnight in Berlin (still the 20th in UTC) is the next day. With range 1 only
    // what came since the first export, a period that crossed it cut there.
    settings.defaults->setInteger(1, VXAutoExportKey::kAutoExportRange);
    const std::size_t crossing = firstRows.size();   // [06:00:10, 06:00:50] becomes [06:00:10, 06:01:02]
    tracker.periods[crossing].second = firstExport + 5;
    (*tracker.mail->value(VXFrontActiveLogKey).array())[2 * crossing + 1] = -(firstExport + 5);
    trackUntil(VXVirtualScheduler::unixTime(QDate(2026, 11, 21), QTime(0, 30), kBerlin));
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Exported);
    const QStringList secondRows = rowsOf(folder.filePath(u"2026-11-21.csv"_s));
    const auto since = std::count_if(tracker.periods.begin(), tracker.periods.end(),
                                     [&](const auto &period) { return period.second > firstExport; });
    EXPECT_EQ(secondRows.size(), since);
    EXPECT_GT(since, 18 * 60);
    ASSERT_FALSE(secondRows.isEmpty());
    EXPECT_EQ(secondRows.front().section(u',', 3, 3), QString::number(firstExport, 'f', 2));
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), (QStringList {u"2026-11-20.csv"_s, u"2026-11-21.csv"_s}));
    EXPECT_TRUE(log.take().isEmpty());
}

TEST(VXExporter, AnExistingFileForTodayMeansDoneAndDeletingItExportsAgain)
{
    Settings settings;
    QTemporaryDir folder;
    VXVirtualScheduler time(VXVirtualScheduler::unixTime(QDate(2026, 3, 29), QTime(9, 0), kBerlin), kBerlin);
    Tracker tracker(time.now() - 3600);
    tracker.minutePassed(time.now());
    settings.defaults->setBool(true, VXAutoExportKey::kAutoExportReports);
    settings.defaults->setString(folder.path(), VXAutoExportKey::kAutoExportFolder);
    settings.defaults->setDouble(12345, VXAutoExportKey::kLastAutoExport);
    VXExporter exporter(tracker.source(), *settings.defaults, time);

    const QString today = folder.filePath(u"2026-03-29.csv"_s);
    QFile existing(today);
    ASSERT_TRUE(existing.open(QIODevice::WriteOnly));
    existing.write("kept by hand\n");
    existing.close();
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::AlreadyExported);
    EXPECT_EQ(VXReadFile(today), QByteArray("kept by hand\n"));
    EXPECT_DOUBLE_EQ(settings.defaults->doubleForKey(VXAutoExportKey::kLastAutoExport), 12345);

    ASSERT_TRUE(QFile::remove(today));
    time.advanceBy(59);
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Exported);
    EXPECT_EQ(rowsOf(today).size(), 1);
    EXPECT_DOUBLE_EQ(settings.defaults->doubleForKey(VXAutoExportKey::kLastAutoExport), time.now());

    // Switched off: nothing at all.
    ASSERT_TRUE(QFile::remove(today));
    settings.defaults->setBool(false, VXAutoExportKey::kAutoExportReports);
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Off);
    EXPECT_FALSE(QFileInfo::exists(today));
}

TEST(VXExporter, AFolderThatCannotBeWrittenOrAFileThatCannotBeWrittenIsLoggedAndLeavesTheSettingAlone)
{
    Settings settings;
    QTemporaryDir folder;
    VXVirtualScheduler time(VXVirtualScheduler::unixTime(QDate(2026, 11, 20), QTime(7, 0), kBerlin), kBerlin);
    Tracker tracker(time.now() - 86400);
    for (int i = 0; i < 1000; ++i)
        tracker.minutePassed(time.now() - 86400 + 60 * (i + 1));
    settings.defaults->setBool(true, VXAutoExportKey::kAutoExportReports);
    VXExporter exporter(tracker.source(), *settings.defaults, time);

    // Under a regular file: no folder there, whoever runs the test.
    const QString file = folder.filePath(u"plain-file"_s);
    QFile plain(file);
    ASSERT_TRUE(plain.open(QIODevice::WriteOnly));
    plain.close();
    const QString impossible = file + u"/exports"_s;
    settings.defaults->setString(impossible, VXAutoExportKey::kAutoExportFolder);
    {
        LogCapture log;
        EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::NoAccess);
        EXPECT_EQ(log.take(), QStringList {u"cannot auto-export to <%1>"_s.arg(impossible)});
        EXPECT_FALSE(settings.defaults->persistentObjectForKey(VXAutoExportKey::kLastAutoExport).isNumber());
    }

    // A folder that can be written, but a file that cannot: larger than the process may write.
    settings.defaults->setString(folder.path(), VXAutoExportKey::kAutoExportFolder);
    const QString target = folder.filePath(u"2026-11-20.csv"_s);
    {
        LogCapture log;
        struct rlimit old {
        };
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
        const auto previous = std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit small = old;
        small.rlim_cur = 4096;
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
        const VXAutoExportResult result = exporter.autoExportIfNecessary();
        setrlimit(RLIMIT_FSIZE, &old);
        std::signal(SIGXFSZ, previous);
        EXPECT_EQ(result, VXAutoExportResult::Failed);
        EXPECT_EQ(log.take(), QStringList {u"cannot auto-export to <%1>"_s.arg(target)});
        EXPECT_FALSE(QFileInfo::exists(target));
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList {u"plain-file"_s});
        EXPECT_FALSE(settings.defaults->persistentObjectForKey(VXAutoExportKey::kLastAutoExport).isNumber());
    }
    // The next check, with room again, succeeds.
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Exported);
    EXPECT_EQ(rowsOf(target).size(), 1000);
}

TEST(VXExporter, TheBookmarkManagerIsAskedForTheFolderAndItsAccessAlwaysReleased)
{
    Settings settings;
    QTemporaryDir folder;
    VXVirtualScheduler time(VXVirtualScheduler::unixTime(QDate(2026, 11, 20), QTime(7, 0), kBerlin), kBerlin);
    Tracker tracker(time.now() - 600);
    tracker.minutePassed(time.now());
    settings.defaults->setBool(true, VXAutoExportKey::kAutoExportReports);
    settings.defaults->setString(folder.path(), VXAutoExportKey::kAutoExportFolder);
    FolderAccess access;
    VXExporter exporter(tracker.source(), *settings.defaults, time, &access);

    access.grant = false;
    LogCapture log;
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::NoAccess);
    EXPECT_EQ(access.asked, QStringList {folder.path()});
    EXPECT_TRUE(access.released.isEmpty());
    EXPECT_EQ(log.take().size(), 1);

    access.grant = true;
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::Exported);
    EXPECT_EQ(exporter.autoExportIfNecessary(), VXAutoExportResult::AlreadyExported);
    EXPECT_EQ(access.released, (QStringList {access.bookmark, access.bookmark}));

    // Choosing a folder asks the same way and keeps no access.
    access.released.clear();
    EXPECT_TRUE(exporter.setExportFolderPath(folder.path()));
    EXPECT_EQ(access.released, QStringList {access.bookmark});
    access.grant = false;
    EXPECT_FALSE(exporter.setExportFolderPath(u"/elsewhere"_s));
    EXPECT_EQ(exporter.autoExportFolderPath(), folder.path());
}

TEST(VXExporter, TheExportFolderDefaultsToReportsInTheLibraryAndIsStoredWithATilde)
{
    Settings settings;
    QTemporaryDir home;
    const VXScopedEnvironment homeVariable("HOME", home.path().toUtf8());
    const VXScopedEnvironment dataHome("XDG_DATA_HOME", home.filePath(u"data"_s).toUtf8());
    VXVirtualScheduler time(0);
    Tracker tracker(1000);
    VXExporter exporter(tracker.source(), *settings.defaults, time);

    const QString reports = home.filePath(u"data/Wendle/Reports"_s);
    EXPECT_EQ(exporter.defaultAutoExportFolderPath(), reports);
    EXPECT_TRUE(QFileInfo(reports).isDir());
    EXPECT_EQ(QFileInfo(reports).permissions() & (QFile::ReadGroup | QFile::ReadOther | QFile::ExeOther), 0);
    EXPECT_EQ(QFileInfo(home.filePath(u"data/Wendle"_s)).permissions() & QFile::ReadOther, 0);
    EXPECT_EQ(exporter.autoExportFolderPath(), reports);
    EXPECT_EQ(VXDefaultConfigurationFilePath(), home.filePath(u"data/Wendle/Configurations/Default.plist"_s));

    // "Other...": a folder in the home is stored with "~", and read back expanded.
    ASSERT_TRUE(QDir(home.path()).mkpath(u"Exports/2026"_s));
    EXPECT_TRUE(exporter.setExportFolderPath(home.filePath(u"Exports/2026/"_s)));
    EXPECT_EQ(settings.defaults->stringForKey(VXAutoExportKey::kAutoExportFolder), u"~/Exports/2026"_s);
    EXPECT_EQ(exporter.autoExportFolderPath(), home.filePath(u"Exports/2026"_s));
    const VXExportFolderSelectorItem selector = exporter.autoExportFolderSelectorItem();
    EXPECT_EQ(selector.title, u"2026"_s);
    EXPECT_EQ(selector.path, home.filePath(u"Exports/2026"_s));
    EXPECT_TRUE(selector.detail.startsWith(spacedDashString()));
    EXPECT_TRUE(selector.detail.endsWith(u"2026"_s));
    // Nothing for an empty path, or a folder that is not there.
    EXPECT_FALSE(exporter.setExportFolderPath(QString()));
    EXPECT_FALSE(exporter.setExportFolderPath(home.filePath(u"missing"_s)));
    EXPECT_EQ(settings.defaults->stringForKey(VXAutoExportKey::kAutoExportFolder), u"~/Exports/2026"_s);

    // The first timestamp for the daily export: with range 1, the later of it and the last export.
    tracker.configuration->insert(VXFirstPoolTimestampKey, 900.0);
    settings.defaults->setDouble(500, VXAutoExportKey::kLastAutoExport);
    EXPECT_DOUBLE_EQ(exporter.autoExportBeginTimestamp(), 900);
    settings.defaults->setInteger(1, VXAutoExportKey::kAutoExportRange);
    EXPECT_DOUBLE_EQ(exporter.autoExportBeginTimestamp(), 900);
    settings.defaults->setDouble(950, VXAutoExportKey::kLastAutoExport);
    EXPECT_DOUBLE_EQ(exporter.autoExportBeginTimestamp(), 950);
}

TEST(VXExporter, ExportSnapshotAndRevealingTheFolderBeepWhenTheyCannot)
{
    Settings settings;
    QTemporaryDir folder;
    LogCapture log;
    // The panel offers the local day's name (in UTC it is still the day before).
    VXVirtualScheduler time(VXVirtualScheduler::unixTime(QDate(2026, 11, 21), QTime(0, 30), kBerlin), kBerlin);
    Tracker tracker(1000);
    tracker.mail->value(VXFrontActiveLogKey).array()->append(1100);
    tracker.mail->value(VXFrontActiveLogKey).array()->append(-1300);
    VXExporter exporter(tracker.source(), *settings.defaults, time);
    UserInterface ui;
    ui.begin = 1200;
    ui.end = 1250;

    // No report window: a log line and a beep, no panel.
    ui.hasReportWindow = false;
    exporter.exportCSV(ui);
    EXPECT_EQ(ui.calls, QStringList {u"prepare"_s});
    EXPECT_EQ(ui.beeps, 1);
    EXPECT_EQ(log.take(), QStringList {VXNoReportWindowMessage});

    // Cancelled: modal while the panel runs, nothing written.
    ui.hasReportWindow = true;
    ui.calls.clear();
    exporter.exportCSV(ui);
    EXPECT_EQ(ui.calls,
              (QStringList {u"prepare"_s, u"modal"_s, u"panel Export Snapshot csv 2026-11-21.csv"_s, u"modeless"_s}));
    EXPECT_EQ(ui.beeps, 1);

    // Chosen: the report's range goes to the file.
    ui.answer = folder.filePath(u"chosen.csv"_s);
    exporter.exportCSV(ui);
    EXPECT_EQ(rowsOf(*ui.answer), QStringList {u",Mail,,1200.00,1250.00"_s});
    EXPECT_EQ(ui.beeps, 1);
    EXPECT_EQ(ui.calls.last(), u"modeless"_s);

    // A file that cannot be written beeps, and the program is modeless again.
    ui.answer = folder.filePath(u"chosen.csv/inside.csv"_s);
    exporter.exportCSV(ui);
    EXPECT_EQ(ui.beeps, 2);
    EXPECT_EQ(ui.calls.last(), u"modeless"_s);

    // So do columns that leave nothing to export, with their own log line.
    settings.defaults->setBool(false, VXDefaultsKey::kExportColumnFront);
    ui.answer = folder.filePath(u"none.csv"_s);
    log.take();
    exporter.exportCSV(ui);
    EXPECT_EQ(ui.beeps, 3);
    EXPECT_EQ(log.take(), QStringList {VXNothingToExportMessage});
    EXPECT_FALSE(QFileInfo::exists(*ui.answer));

    // Revealing the export folder needs a folder that is there and a file manager.
    settings.defaults->setString(folder.path(), VXAutoExportKey::kAutoExportFolder);
    ui.calls.clear();
    exporter.revealExportFolder(ui);
    EXPECT_EQ(ui.calls, QStringList {u"reveal "_s + folder.path()});
    EXPECT_EQ(ui.beeps, 3);
    ui.revealWorks = false;
    exporter.revealExportFolder(ui);
    EXPECT_EQ(ui.beeps, 4);
    EXPECT_EQ(log.take(), QStringList {u"cannot reveal export folder: "_s + folder.path()});
    const QString missing = folder.filePath(u"gone"_s);
    settings.defaults->setString(missing, VXAutoExportKey::kAutoExportFolder);
    ui.calls.clear();
    exporter.revealExportFolder(ui);
    EXPECT_TRUE(ui.calls.isEmpty());
    EXPECT_EQ(ui.beeps, 5);
    EXPECT_EQ(log.take(), QStringList {u"cannot reveal export folder: "_s + missing});
}

TEST(VXExporter, TheLiveReportsDataComesFromTheSourceWithTheReportSettings)
{
    Settings settings;
    VXVirtualScheduler time(0);
    Tracker tracker(1000);
    tracker.mail->value(VXFrontActiveLogKey).array()->append(1100);
    const VXDictionaryRef editor = addApplication(*tracker.configuration, u"org.example.Editor"_s,
                                                  withLogs(item(u"Editor"_s), numbers({1000, -1050}), VXArrayRef()));
    tracker.configuration->insert(VXLastTimestampKey, 2000.0);
    VXArrayRef listed = VXMakeArray();
    listed->append(tracker.mail);
    VXExportSource source = tracker.source();
    source.applicationList = [listed] { return listed; };
    VXExporter exporter(source, *settings.defaults, time);
    settings.defaults->setInteger(1, u"Live Report Content"_s);

    double first = 0;
    double last = 0;
    exporter.getFirstTimestamp(&first, &last);
    EXPECT_DOUBLE_EQ(first, 1000);
    EXPECT_DOUBLE_EQ(last, 2000);
    EXPECT_EQ(exporter.eventLogsClippedBetweenTimestamp(1000, 2000)->size(), 2u);
    // "Live Report Content" 0: only the organizer's rows.
    settings.defaults->setInteger(0, u"Live Report Content"_s);
    const VXArrayRef shown = exporter.eventLogsClippedBetweenTimestamp(1000, 2000);
    ASSERT_EQ(shown->size(), 1u);
    EXPECT_EQ(shown->at(0).dictionary()->value(VXNameKey).toString(), u"Mail"_s);
    EXPECT_EQ(doublesOf(shown->at(0).dictionary()->value(VXFrontActiveLogKey)), (std::vector<double> {1100, -2000}));
    // Without a tree: nothing, and zeros.
    VXExporter empty({[] { return VXDictionaryRef(); }, {}, {}, {}}, *settings.defaults, time);
    EXPECT_EQ(empty.eventLogsClippedBetweenTimestamp(0, 1)->size(), 0u);
    EXPECT_DOUBLE_EQ(empty.firstTimestamp(), 0);
    Q_UNUSED(editor);
}
