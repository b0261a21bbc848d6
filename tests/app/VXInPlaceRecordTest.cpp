// `wendle summary` and `wendle export` read a saved binary record in place, without its tree.
// Their output must be the same bytes as the tree's: randomized records (open periods, empty and
// missing logs, repeated openings, whole-number times, names that need CSV quoting, non-ASCII
// titles, names that are missing or no text, pools named by their members, members that match
// any application) written to a file, each read both ways for ranges
// inside, across the ends of, and beyond the record. And a damaged record is refused, with no
// file written.

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXExportCommand.h"
#include "VXJournal.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXReportEventLogs.h"
#include "VXSeededRandom.h"
#include "VXSettingsTestSupport.h"
#include "VXVirtualScheduler.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTextStream>

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <mutex>

namespace {

constexpr double kFirst = 1'763'625'600.0;   // 2025-11-20 08:00 UTC
constexpr double kLast = kFirst + 6 * 86400.0;

const QString kNames[] = {QStringLiteral("Mail"),
                          QStringLiteral("Mail, Inc."),
                          QStringLiteral("say \"hi\""),
                          QStringLiteral("Résumé — draft"),
                          QStringLiteral("日本語のメモ ✓"),
                          QStringLiteral("two\nlines"),
                          QStringLiteral("tab\there; semicolon"),
                          QStringLiteral("😀 emoji"),
                          QString(),
                          QStringLiteral("Editor")};

// An event log in time order: periods inside [kFirst - a day, kLast], some still open at the
// end, some with repeated openings or closings, some times whole numbers.
VXArrayRef randomLog(VXSeededRandom &random)
{
    VXArrayRef log = VXMakeArray();
    double time = kFirst - 86400.0 + random.uniform() * 86400.0;
    const int periods = random.below(3) == 0 ? 0 : random.below(40);
    for (int i = 0; i < periods && time < kLast; ++i) {
        const bool whole = random.chance(0.2);
        const auto add
            = [&](double value) { log->append(whole ? VXValue(static_cast<long long>(value)) : VXValue(value)); };
        add(time);
        if (random.chance(0.05))
            add(time + 1.0);   // a repeated opening
        time += 1.0 + random.exponential() * 3600.0;
        if (i + 1 == periods && random.chance(0.3))
            break;   // still open
        add(-std::min(time, kLast));
        if (random.chance(0.05))
            add(-std::min(time + 1.0, kLast));   // a repeated closing
        time += random.exponential() * 7200.0;
    }
    return log;
}

VXDictionaryRef randomItem(VXSeededRandom &random, const QString &path)
{
    VXDictionaryRef item = VXMakeDictionary();
    item->insert(VXNameKey, random.pick(kNames));
    if (random.chance(0.05))
        item->insert(VXNameKey, random.chance(0.5) ? VXValue(42) : VXValue());   // no name as text
    item->insert(VXPathKey, path);
    for (const QString &key : {VXActiveLogKey, VXFrontActiveLogKey}) {
        if (!random.chance(0.1))
            item->insert(key, randomLog(random));
    }
    return item;
}

VXDictionaryRef randomRecord(std::uint64_t seed)
{
    VXSeededRandom random(seed);
    VXDictionaryRef applications = VXMakeDictionary();
    for (int a = random.below(6) + 1; a > 0; --a) {
        VXDictionaryRef application = randomItem(random, QStringLiteral("/usr/bin/app%1").arg(a));
        VXDictionaryRef windows = VXMakeDictionary();
        VXArrayRef list = VXMakeArray();
        for (int w = random.below(5); w > 0; --w) {
            VXDictionaryRef window = randomItem(random, VXWindowPathMarker);
            windows->insert(QStringLiteral("window %1").arg(w), window);
            list->append(window);   // the same window, shared as the tracker keeps it
        }
        application->insert(VXWindowsByNameKey, windows);
        application->insert(VXChildrenKey, list);
        applications->insert(QStringLiteral("org.example.app%1").arg(a), application);
    }
    VXArrayRef pools = VXMakeArray();
    for (int p = random.below(4); p > 0; --p) {
        VXDictionaryRef pool = randomItem(random, random.chance(0.5) ? VXPoolPathMarker : QStringLiteral("/pool"));
        pool->insert(VXTypeKey, VXPoolItemType);
        if (random.chance(0.3))
            pool->insert(VXNameKey, QString());   // named by its members
        if (random.chance(0.5))
            pool->insert(VXPoolNotesKey, QStringLiteral("notes, with \"quotes\"\nand ünïcode"));
        VXArrayRef members = VXMakeArray();
        for (int m = random.below(3) + 1; m > 0; --m) {
            VXDictionaryRef member = randomItem(random, QStringLiteral("/usr/bin/member%1").arg(m));
            if (random.chance(0.2))
                member->insert(VXMatchAnyApplicationKey, random.chance(0.5));   // named "Any Application"
            VXArrayRef entries = VXMakeArray();
            for (int e = random.below(3); e > 0; --e)
                entries->append(randomItem(random, VXWindowPathMarker));
            member->insert(VXChildrenKey, entries);
            members->append(member);
        }
        pool->insert(VXChildrenKey, members);
        pools->append(pool);
    }
    VXDictionaryRef configuration = VXMakeDictionary();
    configuration->insert(VXFirstTimestampKey, kFirst);
    configuration->insert(VXFirstPoolTimestampKey, kFirst);
    configuration->insert(VXLastTimestampKey, kLast);
    configuration->insert(VXApplicationsKey, applications);
    configuration->insert(VXPoolsKey, pools);
    return configuration;
}

struct Range {
    const char *what;
    double begin;
    double end;
};

const Range kRanges[] = {
    {"the whole record", kFirst - 86400.0, kLast},
    {"a day inside", kFirst + 2 * 86400.0, kFirst + 3 * 86400.0},
    {"an hour across many periods' starts", kFirst + 86400.0 + 1234.5, kFirst + 86400.0 + 5000.0},
    {"across the end", kLast - 7200.0, kLast + 86400.0},
    {"before the record", kFirst - 10 * 86400.0, kFirst - 9 * 86400.0},
    {"after the record", kLast + 86400.0, kLast + 2 * 86400.0},
};

VXExportSettings exportSettings(int variant)
{
    VXExportSettings settings;
    settings.poolNotes = variant % 2 == 1;
    settings.total = variant != 0;
    settings.front = variant != 3;
    settings.window = variant != 2;
    settings.columnSeparator = VXColumnSeparatorForValue(variant % 3);
    settings.rowSeparator = VXRowSeparatorForValue(variant % 3);
    return settings;
}

// What a walk over a record read in place hands out: each entry with its depth, and whether the
// record read whole.
struct Walk {
    std::vector<std::pair<VXValue, int>> entries;
    bool whole = false;
};

// Reading ahead never (the largest size), or for every level with children (0).
constexpr std::size_t kNeverAhead = std::numeric_limits<std::size_t>::max();
constexpr std::size_t kAlwaysAhead = 0;

Walk walkInPlace(VXBinaryPropertyListView &view, double begin, double end, std::int64_t content, int sortColumn,
                 std::size_t readAheadFrom)
{
    VXReportContentSettings settings;
    settings.liveReportContent = content;
    settings.sortColumn = sortColumn;
    Walk walk;
    walk.whole = collectEventTimesBetweenTimestamp(
        view, begin, end, settings,
        [&walk](const VXDictionaryRef &entry, int depth) { walk.entries.emplace_back(VXValue(entry), depth); },
        readAheadFrom);
    return walk;
}

// The record reader's warnings, from whichever thread logs them.
std::mutex s_warningsMutex;
QStringList s_warnings;
void collectWarnings(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArrayView(context.category) == QByteArrayView("wendle.plist")) {
        const std::lock_guard<std::mutex> lock(s_warningsMutex);
        s_warnings << message;
    }
}

// Makes every object of the binary record at `path` whose marker byte `matches` lie past the
// objects (its offset all ones); answers how many it damaged, or -1 when the file cannot be read.
int damageObjects(const QString &path, const std::function<bool(quint8 marker)> &matches)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite))
        return -1;
    QByteArray bytes = file.readAll();
    const auto trailer = [&](int at) {
        quint64 value = 0;
        for (int i = 0; i < 8; ++i)
            value = (value << 8) | static_cast<quint8>(bytes[bytes.size() - 32 + at + i]);
        return static_cast<qsizetype>(value);
    };
    const qsizetype offsetWidth = static_cast<quint8>(bytes[bytes.size() - 32 + 6]);
    const qsizetype objects = trailer(8);
    const qsizetype table = trailer(24);
    int damaged = 0;
    for (qsizetype i = 0; i < objects; ++i) {
        const qsizetype entry = table + i * offsetWidth;
        quint64 offset = 0;
        for (qsizetype b = 0; b < offsetWidth; ++b)
            offset = (offset << 8) | static_cast<quint8>(bytes[entry + b]);
        if (matches(static_cast<quint8>(bytes[qsizetype(offset)]))) {
            bytes.replace(entry, offsetWidth, QByteArray(offsetWidth, '\xff'));
            ++damaged;
        }
    }
    file.seek(0);
    file.write(bytes);
    return damaged;
}

}   // namespace

TEST(VXInPlaceRecord, SummaryAndExportAreTheTreesToTheByte)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    int tablesWithRows = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        ASSERT_TRUE(writeToBinaryFile(VXValue(randomRecord(seed)), path, true));
        // The reference: the tree the file reads back as (its dictionaries in the file's order).
        const VXDictionaryRef tree = VXReadRecordFile(path).configuration;
        ASSERT_TRUE(tree);
        const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
        ASSERT_TRUE(record);
        const VXDictionaryRef root = record->rootWithoutItems();
        ASSERT_TRUE(root);
        for (const Range &range : kRanges) {
            SCOPED_TRACE(range.what);
            for (int sortColumn = 0; sortColumn < 3; ++sortColumn) {
                const QString expected = VXExportCommand::summaryTable(*tree, range.begin, range.end, sortColumn);
                const std::optional<QString> inPlace
                    = VXExportCommand::summaryTable(record->view(), *root, range.begin, range.end, sortColumn);
                ASSERT_TRUE(inPlace);
                EXPECT_EQ(expected.toStdString(), inPlace->toStdString());
                tablesWithRows += expected.isEmpty() ? 0 : 1;
            }
            for (int variant = 0; variant < 4; ++variant) {
                SCOPED_TRACE(variant);
                const VXExportSettings settings = exportSettings(variant);
                const std::optional<QByteArray> expected
                    = CSVDataWithBeginTimestamp(tree.get(), range.begin, range.end, settings, nullptr);
                ASSERT_TRUE(expected);
                QByteArray written;
                bool damaged = true;
                ASSERT_TRUE(VXWriteCSVInPlace(
                    record->view(), range.begin, range.end, settings,
                    [&](const char *data, qsizetype size) {
                        written.append(data, size);
                        return true;
                    },
                    &damaged));
                EXPECT_FALSE(damaged);
                EXPECT_EQ(expected->toStdString(), written.toStdString());
            }
        }
    }
    // Most records have activity in most ranges: the comparisons compare something.
    EXPECT_GT(tablesWithRows, 40 * 3 * 2);
}

TEST(VXInPlaceRecord, ALargeExportIsTheTreesToTheByte)
{
    // Enough periods (about 200,000 lines) that the export is written in several slices of time.
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    VXSeededRandom random(11);
    VXDictionaryRef applications = VXMakeDictionary();
    for (int a = 0; a < 60; ++a) {
        VXDictionaryRef application = VXMakeDictionary();
        application->insert(VXNameKey, random.pick(kNames));
        VXDictionaryRef windows = VXMakeDictionary();
        for (int w = 0; w < 4; ++w) {
            VXDictionaryRef window = VXMakeDictionary();
            window->insert(VXNameKey, random.pick(kNames));
            for (const QString &key : {VXActiveLogKey, VXFrontActiveLogKey}) {
                VXArrayRef log = VXMakeArray();
                double time = kFirst;
                for (int p = 0; p < 420; ++p) {
                    log->append(time);
                    time += std::floor(random.uniform() * 400.0) + 1.0;   // equal begins across logs
                    log->append(-time);
                    time += std::floor(random.uniform() * 800.0) + 1.0;
                }
                window->insert(key, log);
            }
            windows->insert(QStringLiteral("window %1").arg(w), window);
        }
        application->insert(VXWindowsByNameKey, windows);
        applications->insert(QStringLiteral("org.example.app%1").arg(a), application);
    }
    VXDictionaryRef configuration = VXMakeDictionary();
    configuration->insert(VXFirstTimestampKey, kFirst);
    configuration->insert(VXLastTimestampKey, kLast);
    configuration->insert(VXApplicationsKey, applications);
    ASSERT_TRUE(writeToBinaryFile(VXValue(configuration), path, true));
    const VXDictionaryRef tree = VXReadRecordFile(path).configuration;
    const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
    ASSERT_TRUE(tree && record);
    VXExportSettings settings;
    settings.total = true;
    const std::optional<QByteArray> expected = CSVDataWithBeginTimestamp(tree.get(), kFirst, kLast, settings, nullptr);
    ASSERT_TRUE(expected);
    ASSERT_GT(expected->count('\n'), 150000);
    QByteArray written;
    bool damaged = false;
    ASSERT_TRUE(VXWriteCSVInPlace(
        record->view(), kFirst, kLast, settings,
        [&](const char *data, qsizetype size) {
            written.append(data, size);
            return true;
        },
        &damaged));
    EXPECT_TRUE(*expected == written);
}

TEST(VXInPlaceRecord, PeriodsOutOfOrderAreExportedInTheTreesOrder)
{
    // A hand-made log whose periods go back in time: the export sorts its lines all the same.
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    const VXDictionaryRef tree = randomRecord(7);
    VXArrayRef backwards = VXMakeArray();
    for (const double time : {kFirst + 5000.0, -(kFirst + 6000.0), kFirst + 100.0, -(kFirst + 200.0)})
        backwards->append(time);
    VXDictionaryRef odd = VXMakeDictionary();
    odd->insert(VXNameKey, QStringLiteral("Odd"));
    odd->insert(VXFrontActiveLogKey, backwards);
    tree->value(VXApplicationsKey).dictionary()->insert(QStringLiteral("org.example.odd"), odd);
    ASSERT_TRUE(writeToBinaryFile(VXValue(tree), path, true));
    const VXDictionaryRef reference = VXReadRecordFile(path).configuration;
    ASSERT_TRUE(reference);
    const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
    ASSERT_TRUE(record);
    QByteArray written;
    bool damaged = false;
    ASSERT_TRUE(VXWriteCSVInPlace(
        record->view(), kFirst - 86400.0, kLast, VXExportSettings(),
        [&](const char *data, qsizetype size) {
            written.append(data, size);
            return true;
        },
        &damaged));
    EXPECT_EQ(
        CSVDataWithBeginTimestamp(tree.get(), kFirst - 86400.0, kLast, VXExportSettings(), nullptr)->toStdString(),
        written.toStdString());
}

TEST(VXInPlaceRecord, TheCommandsReadInPlaceAndRefuseADamagedRecord)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    VXVirtualScheduler clock(kLast + 3600.0, QTimeZone::utc());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    ASSERT_TRUE(writeToBinaryFile(VXValue(randomRecord(3)), path, true));
    const VXDictionaryRef tree = VXReadRecordFile(path).configuration;
    ASSERT_TRUE(tree);
    VXExportCommand::Environment environment;
    environment.clock = &clock;
    environment.settingsFolder = folder.filePath(QStringLiteral("config"));
    environment.socketPath = folder.filePath(QStringLiteral("no-wendle-runs.socket"));
    environment.configurationPath = path;
    const QString csv = folder.filePath(QStringLiteral("out.csv"));
    const auto run = [&](bool summary, const QStringList &arguments, QString *out, QString *err) {
        QTextStream outStream(out);
        QTextStream errStream(err);
        return summary ? VXExportCommand::runSummary(arguments, outStream, errStream, environment)
                       : VXExportCommand::runExport(arguments, outStream, errStream, environment);
    };

    // The file written by the command is the tree's export, readable by its owner alone.
    QString out;
    QString err;
    ASSERT_EQ(run(false, {QStringLiteral("-o"), csv}, &out, &err), VXExportCommand::Success) << err.toStdString();
    QFile written(csv);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    const VXExportSettings settings;
    EXPECT_EQ(written.readAll().toStdString(),
              CSVDataWithBeginTimestamp(tree.get(), kFirst, kLast, settings, nullptr)->toStdString());
    EXPECT_EQ(written.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther), QFileDevice::Permissions());
    written.close();
    ASSERT_TRUE(QFile::remove(csv));
    ASSERT_EQ(run(true, {}, &out, &err), VXExportCommand::Success) << err.toStdString();
    EXPECT_TRUE(out.contains(VXExportCommand::summaryTable(*tree, kFirst, kLast, 1))) << out.toStdString();

    // Every object offset pointing past the objects: both refuse, and no file is left.
    // Every array (the event logs, the lists of windows and members) made to lie past the objects:
    // the root's own entries stay readable, so that the walk below it meets the damage.
    ASSERT_GT(damageObjects(path, [](quint8 marker) { return (marker >> 4) == 0xA; }), 0);
    for (const bool summary : {false, true}) {
        SCOPED_TRACE(summary ? "summary" : "export");
        out.clear();
        err.clear();
        const QStringList arguments = summary ? QStringList() : QStringList {QStringLiteral("-o"), csv};
        EXPECT_EQ(run(summary, arguments, &out, &err), VXExportCommand::Failure) << out.toStdString();
        EXPECT_TRUE(err.contains(QStringLiteral("damaged"))) << err.toStdString();
    }
    EXPECT_FALSE(QFile::exists(csv));
}

TEST(VXInPlaceRecord, AWalkReadingAheadOnTwoThreadsHandsOutTheSameEntries)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    int compared = 0;
    for (std::uint64_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        ASSERT_TRUE(writeToBinaryFile(VXValue(randomRecord(seed)), path, true));
        const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
        ASSERT_TRUE(record);
        for (const Range &range : kRanges) {
            SCOPED_TRACE(range.what);
            for (const std::int64_t content : {1, 2}) {
                for (int sortColumn = 0; sortColumn < 3; ++sortColumn) {
                    const Walk alone
                        = walkInPlace(record->view(), range.begin, range.end, content, sortColumn, kNeverAhead);
                    const Walk ahead
                        = walkInPlace(record->view(), range.begin, range.end, content, sortColumn, kAlwaysAhead);
                    ASSERT_TRUE(alone.whole);
                    ASSERT_TRUE(ahead.whole);
                    ASSERT_EQ(alone.entries.size(), ahead.entries.size());
                    for (std::size_t i = 0; i < alone.entries.size(); ++i) {
                        SCOPED_TRACE(i);
                        EXPECT_EQ(alone.entries[i].second, ahead.entries[i].second);
                        EXPECT_TRUE(alone.entries[i].first == ahead.entries[i].first)
                            << alone.entries[i].first.dictionary()->value(VXNameKey).toString().toStdString();
                    }
                    compared += int(alone.entries.size());
                }
            }
        }
    }
    // Windows and members' entries too, not only the top level's.
    EXPECT_GT(compared, 40 * 6 * 6 * 5);
}

TEST(VXInPlaceRecord, DamageMetReadingAheadIsAnsweredAsWithoutIt)
{
    // One application with many windows, each open in the range: reading ahead (in runs of one
    // window), the calling thread makes the entries from the first window on and the other thread
    // from the last one back, so that the first window is the calling thread's and the last one,
    // unless the other thread starts very late, the other's. One window's open log is the record's
    // only array of six numbers; its offset is made to point past the objects.
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    const auto logOf = [](int periods, double start) {
        VXArrayRef log = VXMakeArray();
        for (int p = 0; p < periods; ++p) {
            log->append(start + p * 7200.0);
            log->append(-(start + p * 7200.0 + 3600.0));
        }
        return log;
    };
    struct Case {
        const char *what;
        int damagedWindow;
    };
    // Before the other thread's runs meet the calling thread's, the other thread has made entries
    // of windows after the damage: the walk must not hand them out.
    constexpr int kWindows = 20000;
    const Case cases[] = {{"where the calling thread begins", 0},
                          {"where the other thread begins", kWindows - 1},
                          {"before the middle", kWindows * 2 / 5}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        VXDictionaryRef application = VXMakeDictionary();
        application->insert(VXNameKey, QStringLiteral("Editor"));
        application->insert(VXActiveLogKey, logOf(2, kFirst));
        VXDictionaryRef windows = VXMakeDictionary();
        for (int w = 0; w < kWindows; ++w) {
            VXDictionaryRef window = VXMakeDictionary();
            window->insert(VXNameKey, QStringLiteral("window %1").arg(w));
            window->insert(VXPathKey, VXWindowPathMarker);
            window->insert(VXActiveLogKey, logOf(w == c.damagedWindow ? 3 : 2, kFirst + w * 20.0));
            windows->insert(QStringLiteral("window %1").arg(w, 4, 10, QLatin1Char('0')), window);
        }
        application->insert(VXWindowsByNameKey, windows);
        VXDictionaryRef applications = VXMakeDictionary();
        applications->insert(QStringLiteral("org.example.editor"), application);
        VXDictionaryRef configuration = VXMakeDictionary();
        configuration->insert(VXFirstTimestampKey, kFirst);
        configuration->insert(VXLastTimestampKey, kLast);
        configuration->insert(VXApplicationsKey, applications);
        ASSERT_TRUE(writeToBinaryFile(VXValue(configuration), path, true));

        // Undamaged, both walks hand out every window.
        {
            const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
            ASSERT_TRUE(record);
            const Walk walk = walkInPlace(record->view(), kFirst, kLast, 2, 0, kAlwaysAhead);
            ASSERT_TRUE(walk.whole);
            ASSERT_EQ(walk.entries.size(), std::size_t(kWindows) + 1);
        }

        // (The only array of six numbers.)
        ASSERT_EQ(damageObjects(path, [](quint8 marker) { return marker == 0xA6; }), 1);

        // Without reading ahead, then three times with it (which thread meets what varies).
        Walk walks[4];
        QStringList warnings[4];
        const std::size_t readAhead[4] = {kNeverAhead, kAlwaysAhead, kAlwaysAhead, kAlwaysAhead};
        for (int i = 0; i < 4; ++i) {
            // A fresh view each time: a view stays damaged once it met damage.
            s_warnings.clear();
            const QtMessageHandler previous = qInstallMessageHandler(collectWarnings);
            const std::unique_ptr<VXMappedRecord> fresh = VXMappedRecord::open(path);
            ASSERT_TRUE(fresh);
            walks[i] = walkInPlace(fresh->view(), kFirst, kLast, 2, 0, readAhead[i]);
            qInstallMessageHandler(previous);
            const std::lock_guard<std::mutex> lock(s_warningsMutex);
            warnings[i] = s_warnings;
        }
        // One report of the damage, the same one, and the same entries handed out before it.
        EXPECT_FALSE(walks[0].whole);
        ASSERT_EQ(warnings[0].size(), 1) << warnings[0].join(u'|').toStdString();
        for (int w = 1; w < 4; ++w) {
            SCOPED_TRACE(w);
            EXPECT_FALSE(walks[w].whole);
            EXPECT_EQ(warnings[0], warnings[w]) << warnings[w].join(u'|').toStdString();
            ASSERT_EQ(walks[0].entries.size(), walks[w].entries.size());
            for (std::size_t i = 0; i < walks[0].entries.size(); ++i) {
                EXPECT_EQ(walks[0].entries[i].second, walks[w].entries[i].second);
                EXPECT_TRUE(walks[0].entries[i].first == walks[w].entries[i].first);
            }
        }
    }
}

TEST(VXInPlaceRecord, ALongRecordIsMappedWithTwoThreadsAndReadAsTheTree)
{
    // Past 32 MB a second thread maps the file's pages from its end while the opening thread maps
    // them from its start; closing the record waits for it, even when it is still at work.
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    const VXDictionaryRef configuration = randomRecord(5);
    configuration->insert(QStringLiteral("Padding"), QByteArray(40 << 20, 'x'));
    ASSERT_TRUE(writeToBinaryFile(VXValue(configuration), path, true));
    ASSERT_GT(QFileInfo(path).size(), qint64(40) << 20);
    const VXDictionaryRef tree = VXReadRecordFile(path).configuration;
    ASSERT_TRUE(tree);
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(VXMappedRecord::open(path));   // closed at once
    const std::unique_ptr<VXMappedRecord> record = VXMappedRecord::open(path);
    ASSERT_TRUE(record);
    const VXDictionaryRef root = record->rootWithoutItems();
    ASSERT_TRUE(root);
    EXPECT_EQ(root->value(QStringLiteral("Padding")).dataRef().size(), 40 << 20);
    const QString expected = VXExportCommand::summaryTable(*tree, kFirst - 86400.0, kLast, 1);
    EXPECT_FALSE(expected.isEmpty());
    const std::optional<QString> inPlace
        = VXExportCommand::summaryTable(record->view(), *root, kFirst - 86400.0, kLast, 1);
    ASSERT_TRUE(inPlace);
    EXPECT_EQ(expected.toStdString(), inPlace->toStdString());
}

TEST(VXInPlaceRecord, AJournalWithEntriesSendsTheCommandsToTheTree)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString path = folder.filePath(QStringLiteral("Default.plist"));
    ASSERT_TRUE(writeToBinaryFile(VXValue(randomRecord(5)), path, true));
    const QString journal = VXConfigurationStore::journalPathFor(path);
    struct Case {
        const char *what;
        qsizetype journalSize;   // -1: no journal
        bool inPlace;
    } cases[] = {{"no journal", -1, true},
                 {"a journal without entries", VXJournalFile::kHeaderSize, true},
                 {"a journal with an entry", VXJournalFile::kHeaderSize + 16, false}};
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        QFile::remove(journal);
        if (c.journalSize >= 0) {
            QFile file(journal);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(c.journalSize, '\0'));
        }
        EXPECT_EQ(VXMappedRecord::open(path) != nullptr, c.inPlace);
    }
}
