#include "VXCSVExport.h"

#include "VXListRows.h"
#include "VXPersistenceTestSupport.h"
#include "VXStringExtensions.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

VXExportSettings settingsWith(std::initializer_list<const char *> columns, const char *separator = ",",
                              const char *rowSeparator = "\n")
{
    VXExportSettings settings;
    settings.pool = settings.poolNotes = settings.application = settings.window = settings.front = settings.total
        = false;
    for (const char *column : columns) {
        const std::string name(column);
        settings.pool |= name == "pool";
        settings.poolNotes |= name == "notes";
        settings.application |= name == "application";
        settings.window |= name == "window";
        settings.front |= name == "front";
        settings.total |= name == "total";
    }
    settings.columnSeparator = QString::fromUtf8(separator);
    settings.rowSeparator = QString::fromUtf8(rowSeparator);
    return settings;
}

std::string csv(const VXDictionary &configuration, double begin, double end, const VXExportSettings &settings,
                const VXListRows *rows = nullptr)
{
    const std::optional<QByteArray> data = CSVDataWithBeginTimestamp(&configuration, begin, end, settings, rows);
    return data ? data->toStdString() : std::string("<nothing>");
}

}   // namespace

TEST(VXCSVExport, TheHeaderNamesTheChosenColumnsInTheirFixedOrderAndColumnsWithoutTimesAreRefused)
{
    VXEnsureCoreApplication();
    const VXDictionaryRef empty = VXMakeDictionary();
    EXPECT_EQ(csv(*empty, 0, 1, settingsWith({"application", "total"})),
              "Application,Total Begin (Unix Time),Total End (Unix Time)\n");
    EXPECT_EQ(
        csv(*empty, 0, 1, settingsWith({"total", "window", "front", "notes", "application", "pool"}, "\t", "\r\n")),
        "Pool\tPool Notes\tApplication\tWindow\tForeground Begin (Unix Time)\tForeground End (Unix Time)\t"
        "Total Begin (Unix Time)\tTotal End (Unix Time)\r\n");
    EXPECT_EQ(
        CSVDataWithBeginTimestamp(nullptr, 0, 1, settingsWith({"pool", "front"}, ";", "\r"), nullptr)->toStdString(),
        "Pool;Foreground Begin (Unix Time);Foreground End (Unix Time)\r");

    // Columns that leave nothing to write are refused, with their log line.
    QTemporaryDir folder;
    const QString path = folder.filePath(u"out.csv"_s);
    for (const auto &columns :
         {settingsWith({"window", "front", "total", "notes"}), settingsWith({"pool", "application", "window"})}) {
        LogCapture log;
        EXPECT_FALSE(exportCSVWithBeginTimestamp(empty.get(), 0, 1, path, columns, nullptr));
        EXPECT_EQ(log.take(), QStringList {VXNothingToExportMessage});
        EXPECT_FALSE(QFileInfo::exists(path));
    }
}

TEST(VXCSVExport, CellsAreQuotedWhenTheyHoldTheSeparatorAQuoteOrALineBreak)
{
    VXEnsureCoreApplication();
    ScopedLocale english(QLocale(QLocale::English, QLocale::UnitedStates));
    const VXDictionaryRef configuration = VXMakeDictionary();
    const VXDictionaryRef application = addApplication(*configuration, u"id"_s, item(u"Editor"_s));
    addWindow(*application, withLogs(item(u"a, b"_s, VXWindowPathMarker), numbers({100, -200}), VXArrayRef()));
    addWindow(*application, withLogs(item(u"say \"hi\""_s, VXWindowPathMarker), numbers({300, -400}), VXArrayRef()));
    addWindow(*application, withLogs(item(u"two\nlines"_s, VXWindowPathMarker), numbers({500, -600}), VXArrayRef()));
    addWindow(*application, withLogs(item(u" blanks "_s, VXWindowPathMarker), numbers({700, -800}), VXArrayRef()));
    // A title saved before titles were cleaned: no raw NUL in the file.
    addWindow(*application,
              withLogs(item(u"nul"_s + QChar(0) + u"title"_s, VXWindowPathMarker), numbers({900, -950}), VXArrayRef()));

    EXPECT_EQ(csv(*configuration, 0, 1000, settingsWith({"application", "window", "front"})),
              "Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
              "Editor,\"a, b\",100.00,200.00\n"
              "Editor,\"say \"\"hi\"\"\",300.00,400.00\n"
              "Editor,\"two\nlines\",500.00,600.00\n"
              "Editor, blanks ,700.00,800.00\n"
              "Editor,nul\xEF\xBF\xBDtitle,900.00,950.00\n");
    // With the tab separator a comma needs no quotes.
    EXPECT_EQ(csv(*configuration, 0, 250, settingsWith({"application", "window", "front"}, "\t")),
              "Application\tWindow\tForeground Begin (Unix Time)\tForeground End (Unix Time)\n"
              "Editor\ta, b\t100.00\t200.00\n");
}

TEST(VXCSVExport, TimesHaveTwoFractionDigitsInTheUsersLocaleAndAreQuotedWhenTheirSeparatorIsTheColumnSeparator)
{
    VXEnsureCoreApplication();
    const VXDictionaryRef configuration = VXMakeDictionary();
    addApplication(
        *configuration, u"id"_s,
        withLogs(item(u"Mail"_s), numbers({1700000000.125, -1700000300.999}), numbers({1700000000.5, -1700000400})));
    const VXExportSettings both = settingsWith({"application", "front", "total"});
    {
        ScopedLocale german(QLocale(QLocale::German, QLocale::Germany));
        // Every time cell, the other stream's zeros too, holds the comma: all quoted.
        EXPECT_EQ(
            csv(*configuration, 0, 2e9, both),
            "Application,Foreground Begin (Unix Time),Foreground End (Unix Time),Total Begin (Unix Time),Total End (Unix Time)\n"
            "Mail,\"1700000000,12\",\"1700000301,00\",\"0,00\",\"0,00\"\n"
            "Mail,\"0,00\",\"0,00\",\"1700000000,50\",\"1700000400,00\"\n");
        // Not with the semicolon.
        const VXExportSettings semicolon = settingsWith({"application", "front"}, ";");
        EXPECT_EQ(
            csv(*configuration, 0, 2e9, semicolon),
            "Application;Foreground Begin (Unix Time);Foreground End (Unix Time)\nMail;1700000000,12;1700000301,00\n");
    }
    // The cells are what the formatting helper writes, in any locale, for any value.
    Random random(7);
    for (const QLocale &locale :
         {QLocale(QLocale::English), QLocale(QLocale::German), QLocale(QLocale::Arabic, QLocale::Egypt),
          QLocale(QLocale::French, QLocale::Switzerland)}) {
        ScopedLocale scoped(locale);
        for (const char *separator : {",", ";", "\t"}) {
            VXSnapshotLines lines;
            lines.labels.push_back({});
            std::vector<double> values;
            // Exact ties round to even, near-ties by their exact binary value; the range's edges.
            const std::vector<double> awkward = {0.005,
                                                 0.015,
                                                 0.125,
                                                 0.375,
                                                 1.005,
                                                 2.675,
                                                 1e15 + 0.125,
                                                 0.0,
                                                 1e-300,
                                                 1699999999.995,
                                                 1699999999.985,
                                                 4503599627370495.5,
                                                 4503599627370496.0,
                                                 9007199254740993.0,
                                                 1e20,
                                                 1e300,
                                                 0.994999999,
                                                 99.995,
                                                 1.0 / 3};
            for (int i = 0; i < 200; ++i) {
                const double value = i < static_cast<int>(awkward.size()) ? awkward[static_cast<std::size_t>(i)]
                    : i % 2                                               ? random.uniform() * 2e9
                            : std::round(random.uniform() * 2e11) / 100.0 + (random.below(3) - 1) * 0.005;
                values.push_back(value);
                lines.lines.push_back({0, VXSnapshotStream::Foreground, value, value + 1});
            }
            const VXExportSettings settings = settingsWith({"application", "front"}, separator);
            const QStringList rows
                = QString::fromUtf8(CSVDataWithSnapshotLines(lines, settings)).split(u'\n', Qt::SkipEmptyParts);
            ASSERT_EQ(rows.size(), 201);
            for (int i = 0; i < 200; ++i) {
                const QString sep = QString::fromUtf8(separator);
                const QString expected = sep + CSVStringWithString(localizedStringWithDouble(values[i], 2, false), sep)
                    + sep + CSVStringWithString(localizedStringWithDouble(values[i] + 1, 2, false), sep);
                ASSERT_EQ(rows[i + 1], expected) << locale.name().toStdString() << " " << values[i];
            }
        }
    }
}

TEST(VXCSVExport, EachStreamGivesOneLinePerPeriodInsideTheRangeAndTheLinesAreSortedByBegin)
{
    VXEnsureCoreApplication();
    ScopedLocale english(QLocale(QLocale::English));
    const VXDictionaryRef configuration = VXMakeDictionary();
    // Repeated numbers count once, a period still open when the range ends yields nothing.
    addApplication(*configuration, u"a"_s,
                   withLogs(item(u"A"_s), numbers({100, 200, -300, -400, 500}), numbers({50, -450})));
    addApplication(*configuration, u"b"_s,
                   withLogs(item(u"B"_s), numbers({150, -160, 310, -320}), numbers({50, -60, 440})));
    EXPECT_EQ(
        csv(*configuration, 0, 450, settingsWith({"application", "front", "total"})),
        "Application,Foreground Begin (Unix Time),Foreground End (Unix Time),Total Begin (Unix Time),Total End (Unix Time)\n"
        "A,100.00,300.00,0.00,0.00\n"
        "B,150.00,160.00,0.00,0.00\n"
        "B,310.00,320.00,0.00,0.00\n"
        // Total lines after all foreground lines; equal begins keep the order of the tree.
        "A,0.00,0.00,50.00,450.00\n"
        "B,0.00,0.00,50.00,60.00\n"
        "B,0.00,0.00,440.00,450.00\n");
    // Clipped to the range: the open total period of B ends with the range.
    EXPECT_EQ(csv(*configuration, 305, 445, settingsWith({"application", "total"})),
              "Application,Total Begin (Unix Time),Total End (Unix Time)\nA,305.00,445.00\nB,440.00,445.00\n");

    VXSnapshotLines lines;
    lines.lines = {{0, VXSnapshotStream::Total, 10, 20}, {0, VXSnapshotStream::Foreground, 30, 40}};
    EXPECT_EQ(VXSortSnapshotLines(lines.lines[0], lines.lines[1]), VXOrderedDescending);
    EXPECT_EQ(VXSortSnapshotLines(lines.lines[1], lines.lines[1]), VXOrderedSame);
    EXPECT_EQ(lines.lines[0].totalBegin(), 10.0);
    EXPECT_FALSE(lines.lines[0].foregroundBegin().has_value());

    // Sorted, every line is in VXSortSnapshotLines order with its neighbour, and lines that
    // compare the same keep the order in which they came.
    Random random(11);
    lines.lines.clear();
    for (std::uint32_t i = 0; i < 5000; ++i)
        lines.lines.push_back({i, random.chance(0.5) ? VXSnapshotStream::Foreground : VXSnapshotStream::Total,
                               static_cast<double>(random.below(300)), 1000.0});
    sortSnapshotLines(lines);
    for (std::size_t i = 1; i < lines.lines.size(); ++i) {
        const VXComparisonResult order = VXSortSnapshotLines(lines.lines[i - 1], lines.lines[i]);
        ASSERT_NE(order, VXOrderedDescending) << i;
        if (order == VXOrderedSame) {
            ASSERT_LT(lines.lines[i - 1].labels, lines.lines[i].labels) << i;
        }
    }
}

TEST(VXCSVExport, ThePoolHalfLabelsEveryLineWithThePoolItsNotesTheMemberAndTheEntry)
{
    VXEnsureCoreApplication();
    ScopedLocale english(QLocale(QLocale::English));
    const VXDictionaryRef configuration = VXMakeDictionary();
    const VXDictionaryRef application
        = addApplication(*configuration, u"id"_s, withLogs(item(u"Editor"_s), numbers({10, -20}), VXArrayRef()));
    addWindow(*application, withLogs(item(u"notes"_s, VXWindowPathMarker), numbers({11, -12}), VXArrayRef()));
    const VXDictionaryRef pool
        = addPool(*configuration, withLogs(makePool(u"Writing"_s, u"book; ch. 1"_s), numbers({30, -40}), VXArrayRef()));
    const VXDictionaryRef member = addChild(*pool, withLogs(makeMember(u"Editor"_s), numbers({31, -32}), VXArrayRef()));
    member->insert(VXMatchAnyApplicationKey, true);
    addChild(*member, withLogs(item(u"chapter*"_s), numbers({33, -34}), VXArrayRef()));
    const VXDictionaryRef quiet
        = addPool(*configuration, withLogs(makePool(u"Quiet"_s), numbers({50, -60}), VXArrayRef()));

    EXPECT_EQ(csv(*configuration, 0, 100, settingsWith({"pool", "notes", "application", "window", "front"}, ";")),
              "Pool;Pool Notes;Application;Window;Foreground Begin (Unix Time);Foreground End (Unix Time)\n"
              ";;Editor;;10.00;20.00\n"
              ";;Editor;notes;11.00;12.00\n"
              "Writing;\"book; ch. 1\";;;30.00;40.00\n"
              "Writing;\"book; ch. 1\";Any Application;;31.00;32.00\n"
              "Writing;\"book; ch. 1\";Any Application;chapter*;33.00;34.00\n"
              "Quiet;;;;50.00;60.00\n");
    // Without the application column there are no member or window lines in either half.
    EXPECT_EQ(
        csv(*configuration, 0, 100, settingsWith({"pool", "window", "front"})),
        "Pool,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\nWriting,,30.00,40.00\nQuiet,,50.00,60.00\n");

    // Only listed items ("Exported Report Content" other than 1): a window is checked by itself,
    // also when its application is not listed; an unlisted member takes its entries along.
    ListRows rows;
    rows.listed = {application->value(VXWindowsByNameKey).dictionary()->value(u"notes"_s).dictionary(), pool.get()};
    VXExportSettings listed = settingsWith({"pool", "application", "window", "front"});
    listed.exportedReportContent = 0;
    EXPECT_EQ(csv(*configuration, 0, 100, listed, &rows),
              "Pool,Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
              ",Editor,notes,11.00,12.00\n"
              "Writing,,,30.00,40.00\n");
    listed.exportedReportContent = 1;
    const std::string all = csv(*configuration, 0, 100, listed, &rows);
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 7);
    Q_UNUSED(quiet);
}

TEST(VXCSVExport, TheFileIsWrittenAtomicallyForItsOwnerAloneAndAFailureIsReported)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    const VXDictionaryRef configuration = VXMakeDictionary();
    addApplication(*configuration, u"id"_s, withLogs(item(u"Mail"_s), numbers({10, -20}), VXArrayRef()));
    const QString path = folder.filePath(u"export.csv"_s);
    QFile old(path);
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("old content that is longer than the export, so a partial write would show\n");
    old.close();
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther | QFile::ReadGroup);

    const VXExportSettings settings = settingsWith({"application", "front"});
    ASSERT_TRUE(exportCSVWithBeginTimestamp(configuration.get(), 0, 100, path, settings, nullptr));
    QFile written(path);
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), *CSVDataWithBeginTimestamp(configuration.get(), 0, 100, settings, nullptr));
    EXPECT_EQ(QFileInfo(path).permissions()
                  & (QFile::ReadGroup | QFile::ReadOther | QFile::WriteGroup | QFile::WriteOther),
              0);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files), QStringList {u"export.csv"_s});

    // A folder that is a regular file cannot hold the export (whoever runs the test).
    EXPECT_FALSE(exportCSVWithBeginTimestamp(configuration.get(), 0, 100, path + u"/inside.csv"_s, settings, nullptr));
}
