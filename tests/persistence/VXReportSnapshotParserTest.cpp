#include "VXReportSnapshotParser.h"

#include "VXPersistenceTestSupport.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportSnapshotTimestampFormatter.h"

#include <gtest/gtest.h>

#include <QFile>

#include <thread>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

const QString kPath = u"/home/someone/report.csv"_s;

VXDictionaryRef parse(const QByteArray &text, QChar fallback = u',')
{
    return VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(text, kPath, fallback);
}

// The node at root / names..., through each node's "Children".
const VXDictionary *node(const VXDictionaryRef &root, std::initializer_list<const char *> names)
{
    const VXDictionary *current = root.get();
    for (const char *name : names) {
        if (!current)
            return nullptr;
        const VXDictionary *children = current->value(VXChildrenKey).dictionary();
        current = children ? children->value(QString::fromUtf8(name)).dictionary() : nullptr;
    }
    return current;
}

std::vector<double> log(const VXDictionary *item, const QString &key)
{
    return item ? doublesOf(item->value(key)) : std::vector<double> {-1};
}

std::vector<std::string> childNames(const VXDictionary *item)
{
    std::vector<std::string> names;
    if (const VXDictionary *children = item ? item->value(VXChildrenKey).dictionary() : nullptr) {
        for (const VXDictionary::Entry &entry : *children)
            names.push_back(entry.key.text().toStdString());
    }
    std::sort(names.begin(), names.end());
    return names;
}

QString message(const QString &format, const QString &argument = kPath)
{
    return QString(format).replace(u"%@"_s, argument);
}

// Reading logs through Qt; most tests look at what it logged from their start on.
class SnapshotParserTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }
};

}   // namespace

TEST_F(SnapshotParserTest, AnExportWithSemicolonsAndDecimalCommasIsReadIntoTheSnapshotTree)
{
    LogCapture captured;
    const VXDictionaryRef root = parse(
        "Pool;Pool Notes;Application;Window;Foreground Begin (Unix Time);Foreground End (Unix Time);Total Begin (Unix Time);Total End (Unix Time)\n"
        ";;Mail;;1700000000,25;1700000300,50;0,00;0,00\n"
        ";;Mail;Inbox;1700000010,00;1700000020,00;0,00;0,00\n"
        "Writing;notes;;;1700000100,00;1700000200,00;0,00;0,00\n"
        "Writing;notes;Editor;;1700000100,00;1700000150,00;0,00;0,00\n"
        "Writing;notes;Editor;chapter 1;1700000100,00;1700000110,00;0,00;0,00\n"
        ";;Mail;;0,00;0,00;1699999000,00;1700001000,00\n"
        ";;Mail;;1700000400,00;1700000500,00;0,00;0,00\n");
    ASSERT_TRUE(root);
    EXPECT_EQ(captured.take(), QStringList {u"decimal separator: <,> (inferred grouping separator: <.>)"_s});

    EXPECT_EQ(root->value(VXPathKey).toString(), kPath);
    EXPECT_DOUBLE_EQ(root->value(VXFirstTimestampKey).toDouble(), 1699999000);
    EXPECT_DOUBLE_EQ(root->value(VXLastTimestampKey).toDouble(), 1700001000);
    EXPECT_TRUE(boolForKey(*root, VXForegroundActivityKey));
    EXPECT_TRUE(boolForKey(*root, VXTotalActivityKey));
    EXPECT_EQ(childNames(root.get()), (std::vector<std::string> {"Applications", "Pools"}));

    const VXDictionary *mail = node(root, {"Applications", "Mail"});
    EXPECT_EQ(log(mail, VXFrontActiveLogKey),
              (std::vector<double> {1700000000.25, -1700000300.5, 1700000400, -1700000500}));
    EXPECT_EQ(log(mail, VXActiveLogKey), (std::vector<double> {1699999000, -1700001000}));
    EXPECT_EQ(mail->value(VXPathKey).toString(), u"Mail"_s);
    EXPECT_FALSE(mail->contains(VXTypeKey));
    const VXDictionary *inbox = node(root, {"Applications", "Mail", "Inbox"});
    EXPECT_EQ(log(inbox, VXFrontActiveLogKey), (std::vector<double> {1700000010, -1700000020}));
    EXPECT_EQ(inbox->value(VXPathKey).toString(), VXWindowPathMarker);
    EXPECT_FALSE(inbox->contains(VXActiveLogKey));

    const VXDictionary *pools = node(root, {"Pools"});
    EXPECT_EQ(pools->value(VXTypeKey).toString(), VXPoolItemType);
    const VXDictionary *writing = node(root, {"Pools", "Writing"});
    EXPECT_EQ(writing->value(VXPathKey).toString(), VXPoolPathMarker);
    EXPECT_EQ(log(writing, VXFrontActiveLogKey), (std::vector<double> {1700000100, -1700000200}));
    const VXDictionary *chapter = node(root, {"Pools", "Writing", "Editor", "chapter 1"});
    EXPECT_EQ(chapter->value(VXTypeKey).toString(), VXPoolItemType);
    EXPECT_EQ(node(root, {"Pools", "Writing", "Editor"})->value(VXTypeKey).toString(), VXPoolItemType);
    EXPECT_EQ(log(chapter, VXFrontActiveLogKey), (std::vector<double> {1700000100, -1700000110}));
}

TEST_F(SnapshotParserTest, AFileASpreadsheetSavedIsReadAsWell)
{
    LogCapture captured;
    // A byte-order mark, every cell quoted, CRLF, the columns reordered and one added, numbers
    // with grouping, blank lines at the end.
    const VXDictionaryRef root = parse(
        "\xEF\xBB\xBF\"Window\",\"Comment\",\"Application\",\"Foreground End (Unix Time)\",\"Foreground Begin (Unix Time)\"\r\n"
        "\"Budget, 2026.ods\",\"checked\",\"Calc\",\"1,700,000,300.00\",\"1,700,000,000.00\"\r\n"
        "\"\",\"\",\"Calc\",\"1700000600.00\",\"1700000500.00\"\r\n"
        "\r\n\r\n");
    ASSERT_TRUE(root);
    EXPECT_EQ(log(node(root, {"Applications", "Calc", "Budget, 2026.ods"}), VXFrontActiveLogKey),
              (std::vector<double> {1700000000, -1700000300}));
    EXPECT_EQ(log(node(root, {"Applications", "Calc"}), VXFrontActiveLogKey),
              (std::vector<double> {1700000500, -1700000600}));
    EXPECT_FALSE(boolForKey(*root, VXTotalActivityKey));
    EXPECT_TRUE(captured.take().contains(u"decimal separator: <.> (inferred grouping separator: <,>)"_s));
}

TEST_F(SnapshotParserTest, AWindowWithoutAnApplicationGoesUnderTheWildcardAndLinesWithoutEitherAreSkipped)
{
    LogCapture captured;
    const VXDictionaryRef root = parse("Pool,Application,Window,Total Begin (Unix Time),Total End (Unix Time)\n"
                                       ",,Untitled,100.00,200.00\n"
                                       ",,,300.00,400.00\n"
                                       "Home,,Untitled,500.00,600.00\n");
    ASSERT_TRUE(root);
    EXPECT_EQ(log(node(root, {"Applications", "*", "Untitled"}), VXActiveLogKey), (std::vector<double> {100, -200}));
    EXPECT_EQ(log(node(root, {"Pools", "Home", "*", "Untitled"}), VXActiveLogKey), (std::vector<double> {500, -600}));
    EXPECT_EQ(node(root, {"Pools", "Home", "*"})->value(VXPathKey).toString(), u"*"_s);
    // The skipped line's interval counts nowhere, not even in the range.
    EXPECT_DOUBLE_EQ(root->value(VXFirstTimestampKey).toDouble(), 100);
    EXPECT_DOUBLE_EQ(root->value(VXLastTimestampKey).toDouble(), 600);
}

// Names apart in their bytes are apart items, each with its own periods, even where one differs
// from the other only in a leading U+FEFF (which decoding as UTF-8 usually drops).
TEST_F(SnapshotParserTest, NamesApartOnlyInALeadingByteOrderMarkAreTwoItems)
{
    const VXDictionaryRef root = parse("Application,Total Begin (Unix Time),Total End (Unix Time)\n"
                                       "\xEF\xBB\xBF"
                                       "Editor,100.00,200.00\n"
                                       "Editor,300.00,400.00\n");
    const VXDictionary *applications = node(root, {"Applications"});
    const VXDictionary *children = applications ? applications->value(VXChildrenKey).dictionary() : nullptr;
    ASSERT_TRUE(children);
    EXPECT_EQ(log(children->value(u"\uFEFFEditor"_s).dictionary(), VXActiveLogKey), (std::vector<double> {100, -200}));
    EXPECT_EQ(log(children->value(u"Editor"_s).dictionary(), VXActiveLogKey), (std::vector<double> {300, -400}));
}

TEST_F(SnapshotParserTest, TheSeparatorIsGuessedFromTheHeaderAndOtherwiseTakenFromTheSetting)
{
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("Pool;Application", ','), ';');
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("Application\tWindow", ','), '\t');
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("Window,Pool", ';'), ',');
    // "Pool Notes" first leaves a blank; a quoted header leaves a quote; nothing leaves nothing.
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("Pool Notes;Pool", ','), ',');
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("\"Pool\";\"Window\"", '\t'), '\t');
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("PoolWindowApplication", ';'), ';');
    // One pass per word: taking out "Pool" can make a "Window" that then goes too.
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText("WinPooldow;x", ','), ';');
    // The words may run on far beyond the first lines.
    std::string words;
    for (int i = 0; i < 5000; ++i)
        words += "PoolApplicationWindow";
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText(words + ";x", ','), ';');
    // A word cut by the end of the first part read: the reader reads on.
    std::string cut;
    for (int i = 0; i < 195; ++i)
        cut += "PoolApplicationWindow";
    ASSERT_EQ(cut.size(), 4095u);
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText(cut + "Pool\tWindow", ','), '\t');
    // Left-overs of a word are text like any other.
    EXPECT_EQ(VXReportSnapshotParser::columnSeparatorForText(words.substr(0, 4093) + "PoolApplication\tWindow", ','),
              ',');

    VXEnsureCoreApplication();
    LogCapture captured;
    const QByteArray notesFirst
        = "Pool Notes;Pool;Application;Foreground Begin (Unix Time);Foreground End (Unix Time)\n"
          ";Home;Web;100.00;200.00\n";
    EXPECT_TRUE(parse(notesFirst, u';'));
    EXPECT_FALSE(parse(notesFirst, u','));
    EXPECT_TRUE(captured.take().contains(message(VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage)));
}

TEST_F(SnapshotParserTest, EveryRefusalSaysWhyInItsOwnLogLine)
{
    const QString header = u"Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"_s;
    const struct {
        QByteArray text;
        QString message;
    } cases[] = {
        {"", message(VXReportSnapshotParser::kEmptyFileMessage)},
        {"\r\n\r\n\n", message(VXReportSnapshotParser::kEmptyFileMessage)},
        {header.toUtf8() + "\r\n", message(VXReportSnapshotParser::kEmptyFileMessage)},
        {"Application,Window\nMail,Inbox\n", message(VXReportSnapshotParser::kNoEventStreamsMessage)},
        {"Application,Foreground Begin (Unix Time),Total End (Unix Time)\nMail,1.00,2.00\n",
         message(VXReportSnapshotParser::kNoEventStreamsMessage)},
        {"Pool Notes,Foreground Begin (Unix Time),Foreground End (Unix Time)\nx,1.00,2.00\n",
         message(VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage)},
        {header.toUtf8() + "Mail,1700000000.0000,1700000000.0005\n",
         message(VXReportSnapshotParser::kNoSignificantTimestampsMessage)},
        {header.toUtf8() + "Mail,0.00,0.00\nMail,abc,def\n,1.00,2.00\n",
         message(VXReportSnapshotParser::kNoSignificantTimestampsMessage)},
        {header.toUtf8() + "Mail,\"1.00,2.00\n",
         message(VXReportSnapshotParser::kClosingQuoteMissingMessage, u"1.00,2.00\n"_s)},
        {header.toUtf8() + "\"Mail\"\"\n",
         message(VXReportSnapshotParser::kClosingQuoteMissingMessage, u"Mail\"\"\n"_s)},
    };
    for (const auto &refused : cases) {
        SCOPED_TRACE(refused.text.toStdString());
        // Read whole and in parts (the survey of the text is then made in parts too).
        for (int parts = 1; parts <= 4; ++parts) {
            LogCapture captured;
            EXPECT_FALSE(
                VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(refused.text, kPath, u',', parts));
            const QStringList lines = captured.take();
            ASSERT_FALSE(lines.isEmpty());
            EXPECT_EQ(lines.last(), refused.message);
        }
    }
    // An interval of half a millisecond is refused; one of two is kept.
    EXPECT_TRUE(parse(header.toUtf8() + "Mail,1700000000.0000,1700000000.0020\n"));

    LogCapture captured;
    // A file that is not there.
    EXPECT_FALSE(VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(u"/nonexistent/x.csv"_s, u','));
    EXPECT_TRUE(captured.take().contains(message(VXReportSnapshotParser::kEmptyFileMessage, u"/nonexistent/x.csv"_s)));
}

TEST_F(SnapshotParserTest, TheTextIsLookedOverWhereverItsBytesFall)
{
    // The text is looked over many bytes at a time: each kind of byte that matters (a bad or a
    // good character, a quote, the placeholder's text) is put after 0 to 47 plain bytes, so that
    // it falls at every place of a block and across blocks, in texts read whole and in parts.
    const QByteArray header = "Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n";
    const QByteArray placeholder = VXReportSnapshotParser::kQuotedStringPlaceholder.toUtf8();
    LogCapture captured;
    for (int pad = 0; pad < 48; ++pad) {
        SCOPED_TRACE(pad);
        const QByteArray plain(pad, 'x');
        for (int parts : {1, 3}) {
            const auto read = [&](const QByteArray &lines) {
                return VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(header + lines, kPath, u',',
                                                                                      parts);
            };
            for (const char *bad : {"\xE9", "\xED\xA0\x80", "\xC0\xAF", "\xF4\x90\x80\x80", "\xE6\x97", "\x80"})
                EXPECT_FALSE(read("Mail," + plain + bad + ",1.00,2.00\n"));
            const VXDictionaryRef good = read("Mail," + plain + "\xE6\x97\xA5\xF0\x9F\x98\x80,1.00,2.00\n");
            EXPECT_EQ(childNames(node(good, {"Applications", "Mail"})),
                      (std::vector<std::string> {plain.toStdString() + "\xE6\x97\xA5\xF0\x9F\x98\x80"}));

            EXPECT_FALSE(read("Mail," + plain + "\"a\"\"b,1.00,2.00\n"));
            const VXDictionaryRef quoted = read("Mail," + plain + "\"a\"\"b\",1.00,2.00\n");
            EXPECT_EQ(childNames(node(quoted, {"Applications", "Mail"})),
                      (std::vector<std::string> {plain.toStdString() + "a\"b"}));

            // The placeholder's own text takes the first quoted text; that one, with none left
            // for it, keeps the placeholder's text.
            const VXDictionaryRef replaced
                = read("Mail," + plain + placeholder + ",1.00,2.00\nMail,\"Web\",3.00,4.00\n");
            std::vector<std::string> expected {plain.toStdString() + "Web", placeholder.toStdString()};
            std::sort(expected.begin(), expected.end());
            EXPECT_EQ(childNames(node(replaced, {"Applications", "Mail"})), expected);
        }
    }
    const QStringList lines = captured.take();
    EXPECT_EQ(lines.count(message(VXReportSnapshotParser::kEmptyFileMessage)), 48 * 2 * 6);
}

TEST_F(SnapshotParserTest, LinesWithAnotherNumberOfCellsAreSkippedAndNamedInTheLog)
{
    LogCapture captured;
    QByteArray text = "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                      "Mail,100.00\n"
                      "Mail,100.00,200.00,extra\n"
                      "Mail,300.00,400.00\n";
    const VXDictionaryRef root = parse(text);
    ASSERT_TRUE(root);
    EXPECT_EQ(log(node(root, {"Applications", "Mail"}), VXFrontActiveLogKey), (std::vector<double> {300, -400}));
    EXPECT_EQ(captured.take().filter(u"number of columns"_s),
              (QStringList {u"number of columns is not 3 in CSV line: Mail,100.00"_s,
                            u"number of columns is not 3 in CSV line: Mail,100.00,200.00,extra"_s}));

    // Thousands of bad lines: twenty are named, the rest counted in one line.
    for (int i = 0; i < 5000; ++i)
        text += "bad\n";
    ASSERT_TRUE(parse(text));
    const QStringList lines = captured.take();
    EXPECT_EQ(lines.filter(u"number of columns is not 3 in CSV line"_s).size(), 20);
    EXPECT_TRUE(lines.contains(u"4982 more lines whose number of columns is not 3 in CSV file: "_s + kPath));
}

TEST_F(SnapshotParserTest, TheDecimalSeparatorIsInferredOncePerFileAndFallsBackToTheLocale)
{
    // Without fraction digits the third character from the end is a digit: the reader's own
    // locale decides, here a German one, so "1.700.000.100" is grouped.
    {
        ScopedLocale german(QLocale(QLocale::German));
        LogCapture captured;
        const VXDictionaryRef root = parse("Application;Total Begin (Unix Time);Total End (Unix Time)\n"
                                           "Mail;1.700.000.100;1.700.000.200\n",
                                           u';');
        ASSERT_TRUE(root);
        EXPECT_EQ(log(node(root, {"Applications", "Mail"}), VXActiveLogKey),
                  (std::vector<double> {1700000100, -1700000200}));
        EXPECT_EQ(captured.take(), QStringList {u"decimal separator: <1> (falling back to localized formatting)"_s});
    }
    // Cells too short to tell leave the formatter unbuilt until a cell can build it (the line's
    // item is made all the same); after the first interval read, it stays.
    LogCapture captured;
    const VXDictionaryRef root = parse("Application\tForeground Begin (Unix Time)\tForeground End (Unix Time)\n"
                                       "A\t1.5\t2.5\n"
                                       "B\t100.00\t200.00\n"
                                       "C\t300,00\t400,00\n");
    ASSERT_TRUE(root);
    ASSERT_TRUE(node(root, {"Applications", "A"}));
    EXPECT_FALSE(node(root, {"Applications", "A"})->contains(VXFrontActiveLogKey));
    EXPECT_EQ(log(node(root, {"Applications", "B"}), VXFrontActiveLogKey), (std::vector<double> {100, -200}));
    // "300,00" under "." decimals and "," grouping reads as 30000.
    EXPECT_EQ(log(node(root, {"Applications", "C"}), VXFrontActiveLogKey), (std::vector<double> {30000, -40000}));
    EXPECT_EQ(captured.take(), QStringList {u"decimal separator: <.> (inferred grouping separator: <,>)"_s});

    VXReportSnapshotTimestampFormatter formatter;
    EXPECT_FALSE(formatter.rebuildWithCell("1,5"));
    EXPECT_FALSE(formatter.isBuilt());
    ASSERT_TRUE(formatter.rebuildWithCell("0,00"));
    EXPECT_DOUBLE_EQ(formatter.numberFromCell(" 1.700.000.000,75 "), 1700000000.75);
    EXPECT_DOUBLE_EQ(formatter.numberFromCell("-2,5"), -2.5);
    for (const char *unreadable : {"", "abc", "1,2,3", ",", "1.7e9", "inf", "12a", "1 2"})
        EXPECT_EQ(formatter.numberFromCell(unreadable), 0.0) << unreadable;
}

TEST_F(SnapshotParserTest, FilesReadAtTheSameTimeInferTheirSeparatorsEachOnItsOwn)
{
    QByteArray comma = "Application;Foreground Begin (Unix Time);Foreground End (Unix Time)\n";
    QByteArray point = "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n";
    for (int i = 0; i < 20000; ++i) {
        comma += "A;1700000000,50;1700000001,25\n";
        point += "A,1700000000.50,1700000001.25\n";
    }
    LogCapture captured;
    for (int round = 0; round < 5; ++round) {
        VXDictionaryRef a;
        VXDictionaryRef b;
        std::thread first([&] { a = parse(comma, u','); });
        std::thread second([&] { b = parse(point, u','); });
        first.join();
        second.join();
        ASSERT_TRUE(a && b);
        for (const VXDictionaryRef &root : {a, b}) {
            const std::vector<double> values = log(node(root, {"Applications", "A"}), VXFrontActiveLogKey);
            ASSERT_EQ(values.size(), 40000u);
            EXPECT_EQ(values.front(), 1700000000.5);
            EXPECT_EQ(values.back(), -1700000001.25);
        }
    }
}

TEST_F(SnapshotParserTest, HostileInputIsRefusedOrSkippedWithoutCrashingOrGrowingWithoutBound)
{
    LogCapture captured;
    const QByteArray header = "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n";
    // A line of ten million cells.
    QByteArray wide = header;
    wide += QByteArray(10'000'000, ',');
    wide += "\nMail,100.00,200.00\n";
    ASSERT_TRUE(parse(wide));
    // A header of a hundred thousand cells, and lines that match it.
    QByteArray manyColumns
        = "Application" + QByteArray(99'997, ',') + ",Foreground Begin (Unix Time),Foreground End (Unix Time)\n";
    for (int i = 0; i < 10; ++i)
        manyColumns += "Mail" + QByteArray(99'997, ',') + "," + QByteArray::number(100 + i * 10) + ".00,"
            + QByteArray::number(105 + i * 10) + ".00\n";
    const VXDictionaryRef many = parse(manyColumns);
    ASSERT_TRUE(many);
    EXPECT_EQ(log(node(many, {"Applications", "Mail"}), VXFrontActiveLogKey).size(), 20u);
    // Thirty megabytes without a separator or a line break.
    EXPECT_FALSE(parse(QByteArray(30'000'000, 'x')));
    // Hundreds of thousands of quotes, NUL bytes, a huge number.
    EXPECT_FALSE(parse(header + QByteArray(300'000, '"') + "\n"));
    const VXDictionaryRef nul = parse(header + QByteArray("Ma\0il,1.00,2.00\n", 17));
    ASSERT_TRUE(nul);
    EXPECT_TRUE(node(nul, {"Applications"})
                    ->value(VXChildrenKey)
                    .dictionary()
                    ->contains(QString(u"Ma"_s) + QChar(0) + u"il"_s));
    EXPECT_TRUE(parse(header + "Mail," + QByteArray(5000, '9') + ".00,1.00\nMail,1.00,2.00\n"));
    captured.take();
    // Long names are cut to a title's length, in any number of parts, with one line.
    const QByteArray longName(10'000, 'n');
    for (int parts : {1, 3}) {
        const VXDictionaryRef cut = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(
            header + longName + ",1.00,2.00\n" + longName + "x,3.00,4.00\n", kPath, u',', parts);
        EXPECT_EQ(childNames(node(cut, {"Applications"})), (std::vector<std::string> {std::string(4096, 'n')}));
        EXPECT_EQ(captured.take().filter(u"cut"_s),
                  QStringList {u"cells longer than 4096 bytes cut to that length in CSV file: "_s + kPath
                               + u" (2 of them)"_s});
    }
}

TEST_F(SnapshotParserTest, AFileOnDiskIsReadThroughAMapAndItsPathIsKept)
{
    QTemporaryDir folder;
    const QString path = folder.filePath(u"snapshot.csv"_s);
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("Pool\tApplication\tTotal Begin (Unix Time)\tTotal End (Unix Time)\nHome\tWeb\t100.00\t200.00\n");
    file.close();
    const VXDictionaryRef root = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(path, u',');
    ASSERT_TRUE(root);
    EXPECT_EQ(root->value(VXPathKey).toString(), path);
    EXPECT_EQ(log(node(root, {"Pools", "Home", "Web"}), VXActiveLogKey), (std::vector<double> {100, -200}));

    // Larger than the reader takes: refused before anything is read (the file is sparse).
    const QString huge = folder.filePath(u"huge.csv"_s);
    QFile big(huge);
    ASSERT_TRUE(big.open(QIODevice::WriteOnly));
    ASSERT_TRUE(big.resize(VXReportSnapshotParser::kMaximumFileSize + 1));
    big.close();
    LogCapture captured;
    EXPECT_FALSE(VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(huge, u','));
    EXPECT_EQ(captured.take(),
              (QStringList {
                  u"CSV file <%1> is larger than %2 bytes"_s.arg(huge).arg(VXReportSnapshotParser::kMaximumFileSize),
                  u"empty CSV file: "_s + huge}));
    // Empty, and not a regular file.
    const QString empty = folder.filePath(u"empty.csv"_s);
    QFile(empty).open(QIODevice::WriteOnly);
    EXPECT_FALSE(VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(empty, u','));
    EXPECT_FALSE(VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(folder.path(), u','));
    EXPECT_EQ(captured.take().filter(u"empty CSV file"_s).size(), 2);
}

TEST_F(SnapshotParserTest, AFileReadInPartsSideBySideGivesTheTreeAndLogOfOneReading)
{
    // The tree and the log lines of the file read whole, then in 2 to 5 parts.
    const auto expectOneReading = [](const QByteArray &data) {
        LogCapture captured;
        const VXDictionaryRef whole
            = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(data, kPath, u',', 1);
        const QStringList wholeLog = captured.take();
        ASSERT_TRUE(whole);
        for (int parts = 2; parts <= 5; ++parts) {
            const VXDictionaryRef inParts
                = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(data, kPath, u',', parts);
            ASSERT_TRUE(inParts);
            EXPECT_TRUE(VXValue(whole) == VXValue(inParts)) << parts << " parts";
            EXPECT_EQ(captured.take(), wholeLog) << parts << " parts";
        }
    };
    Random random(4242);
    const char *const names[] = {"Mail", "Web", "Editor, \"draft\"", "two\nlines", "Caf\xC3\xA9", "\xE2\x80\xA8", ""};
    for (int round = 0; round < 40; ++round) {
        const char separator = ",;\t"[round % 3];
        const char *decimal = round % 2 ? "," : ".";
        const auto quoted = [&](const std::string &cell) {
            const bool needs = cell.find_first_of(std::string(1, separator) + "\"\n\r") != std::string::npos
                || cell.find("\xE2\x80\xA8") != std::string::npos || random.chance(0.1);
            if (!needs)
                return cell;
            std::string out = "\"";
            for (const char c : cell)
                out += c == '"' ? std::string("\"\"") : std::string(1, c);
            return out + "\"";
        };
        std::string text = std::string("Pool") + separator + "Application" + separator + "Window" + separator
            + "Foreground Begin (Unix Time)" + separator + "Foreground End (Unix Time)" + separator
            + "Total Begin (Unix Time)" + separator + "Total End (Unix Time)\r\n";
        // Lines before the first interval: bad ones, and ones whose times cannot be read.
        text += "bad line\n";
        text += std::string(1, separator) + "Mail" + std::string(5, separator) + "\n";
        const int lines = 200 + random.below(400);
        for (int i = 0; i < lines; ++i) {
            if (random.chance(0.05)) {
                text += "wrong" + std::string(1, separator) + "count\n";
                continue;
            }
            const double begin = 1'700'000'000.0 + i * 100 + random.below(50);
            const auto time = [&](double t) {
                std::string number = QString::number(t, 'f', 2).toStdString();
                number.replace(number.find('.'), 1, decimal);
                return quoted(number);
            };
            const bool total = random.chance(0.4);
            text += quoted(random.chance(0.3) ? "Pool " + std::to_string(random.below(3)) : "") + separator
                + quoted(names[random.below(7)]) + separator + quoted(names[random.below(7)]) + separator
                + (total ? time(0) + separator + time(0) : time(begin) + separator + time(begin + 30)) + separator
                + (total ? time(begin) + separator + time(begin + 30) : time(0) + separator + time(0))
                + (random.chance(0.5)       ? "\r\n"
                       : random.chance(0.5) ? "\n"
                                            : "\xE2\x80\xA8");
        }
        SCOPED_TRACE(round);
        expectOneReading(QByteArray::fromStdString(text));
    }
    // The last line's quoted text runs over line breaks up to the end of the file: no part may
    // start inside it (read in 5 parts, these 96 bytes were cut there).
    const QByteArray lastQuoted = "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                                  "A,1.00,2.00\n"
                                  "\"\n\n\n\n\n\n\",3.0,4.0";
    ASSERT_EQ(lastQuoted.size(), 96);
    expectOneReading(lastQuoted);
}
