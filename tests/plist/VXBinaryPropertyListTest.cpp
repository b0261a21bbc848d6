#include "VXBinaryPropertyListReader.h"
#include "VXBinaryPropertyListWriter.h"
#include "VXMappedTable.h"
#include "VXPlistCodecTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXTestProcess.h"
#include "VXTestSupport.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTimeZone>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <map>
#include <numeric>
#include <optional>
#include <random>
#include <string_view>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Cases = std::map<QString, VXValue>;

QString s(const char *utf8)
{
    return QString::fromUtf8(utf8);
}

VXValue dict(std::initializer_list<std::pair<const char *, VXValue>> entries)
{
    VXDictionaryRef d = VXMakeDictionary();
    for (const auto &[key, value] : entries)
        d->insert(s(key), value);
    return VXValue(d);
}

VXValue array(std::initializer_list<VXValue> items)
{
    VXArrayRef a = VXMakeArray();
    for (const VXValue &item : items)
        a->append(item);
    return VXValue(a);
}

VXValue utcDate(int y, int mo, int d, int h, int mi, int sec)
{
    const QDateTime when(QDate(y, mo, d), QTime(h, mi, sec), QTimeZone::utc());
    return VXValue::dateFromUnixTime(static_cast<double>(when.toSecsSinceEpoch()));
}

// The same cases as tests/plist/plist_peer.py builds on Python's side.
Cases peerCases()
{
    Cases cases;
    cases[s("empty_dict")] = VXValue(VXMakeDictionary());
    cases[s("empty_array")] = VXValue(VXMakeArray());
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(static_cast<char>(i));
    cases[s("scalars")] = dict({
        {"int0", 0},
        {"int255", 255},
        {"int256", 256},
        {"int65535", 65535},
        {"int65536", 65536},
        {"int2p32", 4294967296LL},
        {"neg1", -1},
        {"min64", std::numeric_limits<long long>::min()},
        {"max64", std::numeric_limits<long long>::max()},
        {"umax64", VXValue::unsignedInteger(~0ull)},
        {"real", 0.1},
        {"negzero", -0.0},
        {"big", 1e300},
        {"tiny", 5e-324},
        {"inf", std::numeric_limits<double>::infinity()},
        {"neginf", -std::numeric_limits<double>::infinity()},
        {"yes", true},
        {"no", false},
        {"date", utcDate(2026, 11, 21, 10, 30, 15)},
        {"olddate", utcDate(1970, 1, 1, 0, 0, 0)},
        {"data", VXValue(bytes)},
        {"emptydata", VXValue(QByteArray())},
        {"emptystring", VXValue(QString())},
        {"ascii", "Front Time"},
        {"bmp", VXValue(s("Gr\u00fc\u00dfe \u2013 \u2603 \u25b8"))},
        {"astral", VXValue(s("\U0001F600 \U0001D11E"))},
        {"long", VXValue(QString(1000, QLatin1Char('x')))},
        {"markup", "a < b & c > d \"quoted\" 'single'"},
    });
    VXValue window = dict({{"Name", "Inbox"}, {"Path", "_Window"}, {"Time", 12.5}});
    cases[s("shared")] = dict({{"Windows By Name", dict({{"Inbox", window}})}, {"Children", array({window})}});
    cases[s("dedup")] = array({"a", "a", 1, 1, 1.0, true, "a", VXValue(QByteArray("a")), 1.0, false, 0,
                               VXValue(VXMakeArray()), VXValue(VXMakeArray()), VXValue(VXMakeDictionary())});
    VXArrayRef wide = VXMakeArray();
    for (int i = 0; i < 70000; ++i)
        wide->append(i);
    cases[s("wide")] = VXValue(wide);
    VXValue nested = array({dict({{"deep", array({"down"})}})});
    for (int i = 0; i < 9; ++i)
        nested = array({nested});
    cases[s("nested")] = nested;
    return cases;
}

class PeerFiles : public ::testing::Test
{
protected:
    void SetUp() override
    {
        python = VXTestPython();
        if (python.isEmpty())
            GTEST_SKIP() << "python3 is not installed, so plistlib cannot act as the peer";
        ASSERT_TRUE(dir.isValid());
        const VXProcessResult result
            = VXRunProcess(python, {VXTestDataPath(s("plist/plist_peer.py")), s("write"), dir.path()});
        ASSERT_EQ(result.exitCode, 0) << result.standardError.constData();
    }

    QString python;
    QTemporaryDir dir;
};

}   // namespace

TEST_F(PeerFiles, ReadsWhatPlistlibWritesAndWritesTheSameBytes)
{
    for (const auto &[name, expected] : peerCases()) {
        SCOPED_TRACE(name.toStdString());
        const QByteArray theirs = VXReadFile(dir.filePath(name + s(".binary.plist")));
        ASSERT_FALSE(theirs.isEmpty());
        const VXValue read = VXBinaryPropertyListReader::read(theirs);
        EXPECT_EQ(read, expected);

        const std::optional<QByteArray> ours = VXBinaryPropertyListWriter::write(expected);
        ASSERT_TRUE(ours.has_value());
        EXPECT_EQ(ours->toHex().toStdString(), theirs.toHex().toStdString());
        EXPECT_TRUE(writeDataToFile(*ours, dir.filePath(name + s(".wendle.binary.plist")), true));
    }
    const VXProcessResult check
        = VXRunProcess(python, {VXTestDataPath(s("plist/plist_peer.py")), s("check"), dir.path()});
    EXPECT_EQ(check.exitCode, 0) << check.standardOutput.constData() << check.standardError.constData();
}

TEST_F(PeerFiles, SharedContainersStayShared)
{
    const VXValue read = VXBinaryPropertyListReader::read(VXReadFile(dir.filePath(s("shared.binary.plist"))));
    ASSERT_TRUE(read.isDictionary());
    const VXValue byName = read.dictionary()->value(s("Windows By Name")).dictionary()->value(s("Inbox"));
    const VXValue child = read.dictionary()->value(s("Children")).array()->at(0);
    EXPECT_TRUE(byName.isSameObject(child));
}

TEST(VXBinaryPropertyList, ReadsEveryWidthAndObjectType)
{
    // [int8 200, int16, int32, int64 -5, int128 2^64-1, float32 1.5, real, date, data, ascii,
    //  utf-16 "é", utf-8 "ü", set {true}, uid 7, dict {"k": false}] with 3-byte offsets and refs.
    std::vector<QByteArray> objects = {
        QByteArray(),
        hex("10c8"),
        hex("110102"),
        hex("1201020304"),
        hex("13fffffffffffffffb"),
        hex("14"
            "0000000000000000"
            "ffffffffffffffff"),
        hex("223fc00000"),
        hex("23400921fb54442d18"),
        hex("3341d2c4e4b3000000"),
        hex("43010203"),
        hex("53686921"),
        hex("6100e9"),
        hex("72c3bc"),
        hex("c1") + ref(17, 3),
        hex("8007"),
        hex("d1") + ref(16, 3) + ref(18, 3),
        hex("516b"),
        hex("09"),
        hex("08"),
    };
    QByteArray root = hex("af10") + QByteArray(1, char(15));
    for (int i = 1; i <= 15; ++i)
        root += ref(static_cast<std::uint64_t>(i), 3);
    objects[0] = root;
    const VXValue value = VXBinaryPropertyListReader::read(assemble(objects, 3, 3));
    ASSERT_TRUE(value.isArray());
    const VXArray &a = *value.array();
    ASSERT_EQ(a.size(), 15u);
    EXPECT_EQ(a.at(0), VXValue(200));
    EXPECT_EQ(a.at(1), VXValue(258));
    EXPECT_EQ(a.at(2), VXValue(16909060));
    EXPECT_EQ(a.at(3), VXValue(-5));
    EXPECT_EQ(a.at(4), VXValue::unsignedInteger(~0ull));
    EXPECT_EQ(a.at(5), VXValue(1.5));
    EXPECT_EQ(a.at(6), VXValue(M_PI));
    EXPECT_TRUE(a.at(7).isDate());
    EXPECT_EQ(a.at(8), VXValue(QByteArray("\x01\x02\x03", 3)));
    EXPECT_EQ(a.at(9), VXValue("hi!"));
    EXPECT_EQ(a.at(10), VXValue(s("\u00e9")));
    EXPECT_EQ(a.at(11), VXValue(s("\u00fc")));
    EXPECT_EQ(a.at(12), array({true}));
    EXPECT_EQ(a.at(13), dict({{"CF$UID", 7}}));
    EXPECT_EQ(a.at(14), dict({{"k", false}}));

    // The same objects with 8-byte offsets and references, and a negative 16-byte integer.
    objects[5] = hex("14"
                     "ffffffffffffffff"
                     "fffffffffffffffe");
    objects[13] = hex("c1") + ref(17, 8);
    objects[15] = hex("d1") + ref(16, 8) + ref(18, 8);
    root = hex("af10") + QByteArray(1, char(15));
    for (int i = 1; i <= 15; ++i)
        root += ref(static_cast<std::uint64_t>(i), 8);
    objects[0] = root;
    const VXValue wide = VXBinaryPropertyListReader::read(assemble(objects, 8, 8));
    ASSERT_TRUE(wide.isArray());
    EXPECT_EQ(wide.array()->at(4), VXValue(-2));
    EXPECT_EQ(wide.array()->at(14), dict({{"k", false}}));

    // A string that starts with U+FEFF keeps it: inside a file it is a character, not a mark.
    const VXValue marked = VXBinaryPropertyListReader::read(assemble({hex("74efbbbf41")}, 1, 1));
    EXPECT_EQ(marked, VXValue(QString(QChar(0xFEFF)) + QLatin1Char('A')));
}

TEST(VXBinaryPropertyList, LogsAreReadPackedInEveryWidth)
{
    // An array of reals and what may stand among them, with every width of offsets and
    // references (3 bytes: one that no writer uses), read packed while its elements are reals.
    const QByteArray real15 = hex("233ff8000000000000");
    const QByteArray realMinus25 = hex("23c004000000000000");
    const QByteArray real4 = hex("234010000000000000");
    const struct {
        const char *what;
        std::vector<QByteArray> elements;   // objects 1, 2, ...: the array refers to each in turn
        std::vector<std::uint64_t> references;   // of the array, when they are not 1, 2, ...
        VXValue expected;   // null: refused with `line`
        bool packed;
        const char *line;
    } cases[] = {
        {"reals alone", {real15, realMinus25, real4}, {}, array({1.5, -2.5, 4.0}), true, nullptr},
        {"one real", {real4}, {}, array({4.0}), true, nullptr},
        {"a real read twice", {real15, realMinus25}, {2, 1, 2}, array({-2.5, 1.5, -2.5}), true, nullptr},
        {"an integer among them", {real15, hex("1003"), real4}, {}, array({1.5, VXValue(3LL), 4.0}), false, nullptr},
        {"a four-byte real among them", {real15, hex("223fc00000"), real4}, {}, array({1.5, 1.5, 4.0}), false, nullptr},
        {"a text first", {hex("5161"), real15}, {}, array({s("a"), 1.5}), false, nullptr},
        {"a reference past the last object",
         {real15, real4},
         {1, 9, 2},
         VXValue(),
         false,
         "a reference points past the last object"},
        {"a real cut short by the offset table",
         {real15, hex("233ff80000")},
         {},
         VXValue(),
         false,
         "a real runs past the end of the objects"},
        {"a null among them",
         {real15, hex("00"), real4},
         {},
         VXValue(),
         false,
         "it holds a null or fill object, which a property-list tree cannot hold"},
    };
    for (const auto &test : cases) {
        for (const int offsetWidth : {1, 2, 3, 4, 8}) {
            for (const int refWidth : {1, 2, 3, 4, 8}) {
                std::vector<std::uint64_t> references = test.references;
                if (references.empty()) {
                    references.resize(test.elements.size());
                    std::iota(references.begin(), references.end(), 1);
                }
                QByteArray root = hex("af10") + QByteArray(1, char(references.size()));
                for (const std::uint64_t reference : references)
                    root += ref(reference, refWidth);
                std::vector<QByteArray> objects {root};
                objects.insert(objects.end(), test.elements.begin(), test.elements.end());
                const std::string where = std::string(test.what) + ", widths " + std::to_string(offsetWidth) + "/"
                    + std::to_string(refWidth);
                VXLogCapture captured("wendle.plist");
                VXValue twin;
                const VXValue read = VXBinaryPropertyListReader::read(assemble(objects, offsetWidth, refWidth), &twin);
                if (test.expected.isNull()) {
                    EXPECT_TRUE(read.isNull()) << where;
                    EXPECT_EQ(captured.take(), QStringList {s("cannot read binary property list: ") + s(test.line)})
                        << where;
                    continue;
                }
                ASSERT_TRUE(read.isArray()) << where;
                EXPECT_EQ(read, test.expected) << where;
                EXPECT_EQ(read.array()->isPacked(), test.packed) << where;
                EXPECT_EQ(twin, test.expected) << where;
                EXPECT_TRUE(captured.take().isEmpty()) << where;
            }
        }
    }
}

TEST(VXBinaryPropertyList, RefusesDamagedAndHostileData)
{
    const std::optional<QByteArray> good = VXBinaryPropertyListWriter::write(
        dict({{"Applications",
               dict({{"org.example.Mail", dict({{"Active Log", array({1.5, -2.5, 3.0})}, {"Name", "Mail"}})}})},
              {"Pools", array({dict({{"Name", s("P\u00f6\u00f6l")}, {"Type", "Pool Item"}})})}}));
    ASSERT_TRUE(good.has_value());
    ASSERT_FALSE(VXBinaryPropertyListReader::read(*good).isNull());

    // Every truncation, and every single-byte corruption, must be refused or read without harm.
    for (qsizetype n = 0; n < good->size(); ++n)
        EXPECT_TRUE(VXBinaryPropertyListReader::read(good->left(n)).isNull()) << n;
    for (qsizetype i = 0; i < good->size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray damaged = *good;
            damaged[i] = static_cast<char>(damaged[i] ^ (1 << bit));
            VXBinaryPropertyListReader::read(damaged);   // no crash, no hang; sanitizers watch
        }
    }

    // An array that contains itself, and two arrays that contain each other.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("a100")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("a101"), hex("a100")}, 1, 1)).isNull());
    // A reference past the last object; an offset into the trailer; a top object out of range.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("a105")}, 1, 1)).isNull());
    QByteArray offsetOut = assemble({hex("09")}, 1, 1);
    offsetOut[9] = char(0x40);
    EXPECT_TRUE(VXBinaryPropertyListReader::read(offsetOut).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("09")}, 1, 1, 1)).isNull());
    // A count far beyond the data; a string longer than the file.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("af13ffffffffffffffff")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("5f13ffffffffffffff00")}, 1, 1)).isNull());
    // Invalid text: a lone surrogate, a byte above 127 in ASCII, broken UTF-8.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("61d800")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("51ff")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("71c3")}, 1, 1)).isNull());
    // Unknown and unrepresentable objects; a key that is not a string; a 128-bit integer.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("00")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("90")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("d10101"), hex("1001")}, 1, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("14"
                                                               "0000000000000001"
                                                               "0000000000000000")},
                                                          1, 1))
                    .isNull());
    // Keys that are no string, met first as a key or first as a value (then read again from
    // what the reader keeps of objects met before): refused alike, with the line that says so.
    const struct {
        const char *what;
        QByteArray file;
    } badKeys[] = {
        {"a number met first as a key", assemble({hex("d10101"), hex("1001")}, 1, 1)},
        {"data met first as a value", assemble({hex("d201020202"), hex("5161"), hex("4100")}, 1, 1)},
        {"an array met first as a value", assemble({hex("d201020202"), hex("5161"), hex("a0")}, 1, 1)},
        {"a text met first as a value, then a key", assemble({hex("d201020202"), hex("5161"), hex("5162")}, 1, 1)},
    };
    for (const auto &bad : badKeys) {
        for (const bool withTwin : {false, true}) {
            VXLogCapture captured("wendle.plist");
            VXValue twin;
            const VXValue read = VXBinaryPropertyListReader::read(bad.file, withTwin ? &twin : nullptr);
            if (std::string_view(bad.what).starts_with("a text")) {
                // The control: a key read again from what the reader kept is a key like any other.
                EXPECT_EQ(read, dict({{"a", s("b")}, {"b", s("b")}})) << bad.what;
                EXPECT_TRUE(captured.take().isEmpty()) << bad.what;
                continue;
            }
            EXPECT_TRUE(read.isNull()) << bad.what;
            EXPECT_TRUE(twin.isNull()) << bad.what;
            EXPECT_EQ(captured.take(),
                      QStringList {s("cannot read binary property list: a dictionary key is not a string")})
                << bad.what;
        }
    }
    // Widths outside 1 to 8.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("09")}, 0, 1)).isNull());
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble({hex("09")}, 1, 9)).isNull());
}

TEST(VXBinaryPropertyList, TheViewReadsPartsWithTheReadersChecks)
{
    const std::optional<QByteArray> good = VXBinaryPropertyListWriter::write(
        dict({{"Applications",
               dict({{"org.example.Mail",
                      dict({{"Active Log", array({1.5, -2.5, VXValue(3LL), true})}, {"Name", s("M\u00e4il")}})}})},
              {"Pools", array({})}}));
    ASSERT_TRUE(good.has_value());
    {
        VXBinaryPropertyListView view(*good);
        const auto applications = view.container(view.valueForKey(view.root(), s("Applications")));
        ASSERT_EQ(applications.kind, VXBinaryPropertyListView::Kind::Dictionary);
        ASSERT_EQ(applications.count, 1u);
        const auto mail = view.valueAt(applications, 0);
        const auto log = view.container(view.valueForKey(mail, s("Active Log")));
        ASSERT_EQ(log.kind, VXBinaryPropertyListView::Kind::Array);
        std::vector<double> numbers;
        for (std::uint64_t i = 0; i < log.count; ++i)
            numbers.push_back(view.numberAt(log, i));
        EXPECT_EQ(numbers, (std::vector<double> {1.5, -2.5, 3.0, 1.0}));
        EXPECT_TRUE(view.valueForKey(mail, s("Missing")).isNull());
        EXPECT_TRUE(view.valueForKey(view.valueForKey(mail, s("Name")), s("Name")).isNull());   // no dictionary
        EXPECT_EQ(view.value(mail, {s("Active Log")}), dict({{"Name", s("M\u00e4il")}}));
        EXPECT_FALSE(view.isDamaged());
    }

    // Damaged data: every truncation and single-bit corruption of the file, and hostile files.
    // Decoding from the root refuses exactly what the reader refuses; walking to the log meets
    // the damage or reads within the data (the sanitizers watch).
    std::vector<QByteArray> inputs {assemble({hex("a100")}, 1, 1),
                                    assemble({hex("a101"), hex("a100")}, 1, 1),
                                    assemble({hex("a105")}, 1, 1),
                                    assemble({hex("af13ffffffffffffffff")}, 1, 1),
                                    assemble({hex("d10101"), hex("1001")}, 1, 1),
                                    assemble({hex("d10102"), hex("51ff"), hex("09")}, 1, 1)};
    for (qsizetype n = 0; n < good->size(); ++n)
        inputs.push_back(good->left(n));
    for (qsizetype i = 0; i < good->size(); ++i) {
        for (int bit = 0; bit < 8; ++bit) {
            inputs.push_back(*good);
            inputs.back()[i] = static_cast<char>(inputs.back()[i] ^ (1 << bit));
        }
    }
    int refused = 0;
    for (const QByteArray &input : inputs) {
        const bool readerRefuses = VXBinaryPropertyListReader::read(input).isNull();
        refused += readerRefuses ? 1 : 0;
        VXBinaryPropertyListView whole(input);
        EXPECT_EQ(whole.value(whole.root()).isNull(), readerRefuses) << input.toHex().toStdString();
        EXPECT_EQ(whole.isDamaged(), readerRefuses) << input.toHex().toStdString();
        VXBinaryPropertyListView walked(input);
        const auto applications = walked.container(walked.valueForKey(walked.root(), s("Applications")));
        for (std::uint64_t i = 0; i < applications.count; ++i) {
            const auto log = walked.container(walked.valueForKey(walked.valueAt(applications, i), s("Active Log")));
            for (std::uint64_t n = 0; n < log.count; ++n)
                walked.numberAt(log, n);
        }
    }
    EXPECT_GT(refused, good->size());
}

TEST(VXBinaryPropertyList, TheViewFindsAskedKeysInItemAfterItem)
{
    // Key objects 0 to 5; "Name" twice (a writer that keeps equal keys apart), one key in UTF-16.
    const char16_t *const keyTexts[] = {u"Name", u"Path", u"Time", u"Log", u"N\u00e4m\u00e9", u"Name"};
    std::vector<QByteArray> objects;
    for (const char16_t *text : keyTexts) {
        const QString key = QString::fromUtf16(text);
        QByteArray object;
        if (key.toLatin1() == key.toUtf8()) {
            object = char(0x50 | key.size()) + key.toLatin1();
        } else {
            object.append(char(0x60 | key.size()));
            for (const QChar c : key)
                object += ref(c.unicode(), 2);
        }
        objects.push_back(object);
    }
    // Items listing keys (some more than once: the last counts) and a number for each. Most
    // repeat one of a few lists of keys, the others are drawn, so that more lists are met than
    // the view keeps.
    const std::vector<std::vector<int>> common {{0, 1, 2, 3}, {3, 2, 1, 0}, {0, 2}, {5, 1, 4}, {0, 0, 4, 3}};
    std::mt19937 random(21);
    std::vector<std::vector<std::pair<int, std::uint64_t>>> items(300);
    const std::uint64_t firstItem = objects.size() + 1;   // after the keys and the root array
    std::uint64_t next = firstItem + items.size();   // the numbers follow the items
    for (auto &item : items) {
        std::vector<int> keys = common[random() % common.size()];
        if (random() % 3 == 0) {
            keys.resize(1 + random() % 6);
            for (int &key : keys)
                key = int(random() % std::size(keyTexts));
        }
        for (const int key : keys)
            item.emplace_back(key, next++);
    }
    QByteArray root = hex("af11") + ref(items.size(), 2);
    for (std::size_t i = 0; i < items.size(); ++i)
        root += ref(firstItem + i, 2);
    objects.push_back(root);
    for (const auto &item : items) {
        QByteArray dictionary(1, char(0xD0 | item.size()));
        for (const auto &[key, number] : item)
            dictionary += ref(std::uint64_t(key), 2);
        for (const auto &[key, number] : item)
            dictionary += ref(number, 2);
        objects.push_back(dictionary);
    }
    for (std::uint64_t number = firstItem + items.size(); number < next; ++number)
        objects.push_back(hex("11") + ref(number, 2));
    const QByteArray data = assemble(objects, 4, 2, std::size(keyTexts));

    VXBinaryPropertyListView view(data);
    const VXBinaryPropertyListView::Container list = view.container(view.root());
    ASSERT_EQ(list.count, items.size());
    const VXBinaryPropertyListView::Keys names {u"Name", u"Time", u"N\u00e4m\u00e9"};
    const VXBinaryPropertyListView::Keys others {u"Log", u"Path", u"Missing", u"Name"};
    const std::vector<QStringView> nameTexts {u"Name", u"Time", u"N\u00e4m\u00e9"};
    const std::vector<QStringView> otherTexts {u"Log", u"Path", u"Missing", u"Name"};
    // One set of keys through all the items, the other, then both in turn on each item.
    for (const int order : {0, 1, 2}) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            for (const int which : {0, 1}) {
                if ((order == 0 && which == 1) || (order == 1 && which == 0))
                    continue;
                const VXBinaryPropertyListView::Keys &keys = which == 0 ? names : others;
                const std::vector<QStringView> &texts = which == 0 ? nameTexts : otherTexts;
                SCOPED_TRACE(testing::Message() << "order " << order << ", item " << i << ", keys " << which);
                std::vector<VXBinaryPropertyListView::Object> found(keys.size());
                view.valuesForKeys(view.container(view.itemAt(list, i)), keys, found.data());
                for (std::size_t k = 0; k < texts.size(); ++k) {
                    std::uint64_t expected = ~std::uint64_t(0);
                    for (const auto &[key, number] : items[i]) {
                        if (QStringView(keyTexts[key]) == texts[k])
                            expected = number;
                    }
                    EXPECT_EQ(found[k].index, expected) << texts[k].toString().toStdString();
                }
            }
        }
    }
    EXPECT_FALSE(view.isDamaged());
}

TEST(VXBinaryPropertyList, BoundsNestingAndExpansion)
{
    // A chain of 100,000 arrays, each holding the next: refused at the depth limit, no stack
    // overflow.
    std::vector<QByteArray> chain;
    const int depth = 100000;
    for (int i = 0; i < depth - 1; ++i)
        chain.push_back(hex("a1") + ref(static_cast<std::uint64_t>(i + 1), 4));
    chain.push_back(hex("a0"));
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble(chain, 4, 4)).isNull());

    // Just under the limit is fine.
    std::vector<QByteArray> shallow;
    for (int i = 0; i < VXPropertyListSerialization::kMaximumDepth - 1; ++i)
        shallow.push_back(hex("a1") + ref(static_cast<std::uint64_t>(i + 1), 2));
    shallow.push_back(hex("a0"));
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble(shallow, 2, 2)).isArray());

    // A billion laughs: each array refers twice to the one below, sixty levels in a few hundred
    // bytes.
    // Shared objects stay shared, so reading is quick, but whatever walks the tree would not
    // finish: refused, with a line saying why.
    std::vector<QByteArray> laughs;
    for (int i = 0; i < 60; ++i)
        laughs.push_back(hex("a2") + ref(static_cast<std::uint64_t>(i + 1), 1)
                         + ref(static_cast<std::uint64_t>(i + 1), 1));
    laughs.push_back(hex("5161"));
    const QByteArray bomb = assemble(laughs, 1, 1);
    {
        VXLogCapture captured("wendle.plist");
        EXPECT_TRUE(VXBinaryPropertyListReader::read(bomb).isNull());
        EXPECT_EQ(captured.take(),
                  QStringList {s("cannot read binary property list: its shared objects expand to far more than its "
                                 "size")});
    }
    // A few levels of sharing, as a writer that keeps shared containers shared makes them, read.
    laughs.erase(laughs.begin(), laughs.end() - 4);
    for (int i = 0; i < 3; ++i)
        laughs[i] = hex("a2") + ref(static_cast<std::uint64_t>(i + 1), 1) + ref(static_cast<std::uint64_t>(i + 1), 1);
    EXPECT_TRUE(VXBinaryPropertyListReader::read(assemble(laughs, 1, 1)).isArray());

    // Objects laid over each other: thousands of offsets into one long string, each a slightly
    // shorter string, referenced from one array. Refused instead of expanding quadratically.
    const int copies = 4000;
    QByteArray body = hex("5f11") + ref(30000, 2) + QByteArray(30000, 'a');
    QByteArray file("bplist00");
    const qsizetype stringAt = file.size();
    file += body;
    const qsizetype arrayAt = file.size();
    file += hex("af11") + ref(copies, 2);
    for (int i = 0; i < copies; ++i)
        file += ref(static_cast<std::uint64_t>(i + 1), 2);
    const qsizetype tableAt = file.size();
    file += ref(static_cast<std::uint64_t>(arrayAt), 4);
    for (int i = 0; i < copies; ++i)
        file += ref(static_cast<std::uint64_t>(stringAt), 4);
    file += QByteArray(6, '\0') + QByteArray(1, char(4)) + QByteArray(1, char(2)) + ref(copies + 1, 8) + ref(0, 8)
        + ref(static_cast<std::uint64_t>(tableAt), 8);
    // Every offset here names the same object; cached by index, each is still read anew,
    // which the expansion budget stops.
    EXPECT_TRUE(VXBinaryPropertyListReader::read(file).isNull());
}

TEST(VXBinaryPropertyList, WriterRefusesWhatTheFormatCannotHold)
{
    EXPECT_FALSE(VXBinaryPropertyListWriter::write(VXValue()).has_value());
    EXPECT_FALSE(VXBinaryPropertyListWriter::write(array({1, VXValue()})).has_value());
    VXArrayRef loop = VXMakeArray();
    loop->append(VXValue(loop));
    EXPECT_FALSE(VXBinaryPropertyListWriter::write(VXValue(loop)).has_value());
    loop->clear();   // break the cycle so the array is freed

    // Half a surrogate pair (a title cut in the middle of an emoji, say) must not make the
    // configuration unreadable: it is written as U+FFFD, and whole pairs are kept.
    QString title = s("Inbox ");
    title.append(QChar(0xD83D));
    title.append(s(" \U0001F600 "));
    title.append(QChar(0xDE00));
    const std::optional<QByteArray> data = VXBinaryPropertyListWriter::write(array({VXValue(title)}));
    ASSERT_TRUE(data.has_value());
    const VXValue read = VXBinaryPropertyListReader::read(*data);
    ASSERT_TRUE(read.isArray());
    EXPECT_EQ(read.array()->at(0).stringRef(), s("Inbox \uFFFD \U0001F600 \uFFFD"));
}

TEST(VXBinaryPropertyList, FilesAreWrittenAtomicallyAndPrivately)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString path = dir.filePath(s("Default.plist"));
    const VXValue first = dict({{"Overall Time", 10.0}});
    ASSERT_TRUE(writeToBinaryFile(first, path, true));
    struct stat info {
    };
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);

    // Rewriting keeps the mode private even when someone loosened it, and leaves no temporary.
    ::chmod(QFile::encodeName(path).constData(), 0644);
    ASSERT_TRUE(writeToBinaryFile(dict({{"Overall Time", 20.0}}), path, true));
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList {s("Default.plist")});
    ASSERT_TRUE(writeToBinaryFile(first, path, false));
    EXPECT_EQ(VXPropertyListSerialization::valueFromData(VXReadFile(path)), first);

    // A write that fails half way (here: the file-size limit, as a full disk would) leaves the
    // previous file intact and no temporary behind.
    VXArrayRef big = VXMakeArray();
    for (int i = 0; i < 100000; ++i)
        big->append(i * 0.5);
    struct rlimit saved {
    };
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    const auto previousHandler = ::signal(SIGXFSZ, SIG_IGN);
    struct rlimit limited = saved;
    limited.rlim_cur = 4096;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);
    const bool written = writeToBinaryFile(dict({{"Active Log", VXValue(big)}}), path, true);
    ::setrlimit(RLIMIT_FSIZE, &saved);
    ::signal(SIGXFSZ, previousHandler);
    EXPECT_FALSE(written);
    EXPECT_EQ(VXPropertyListSerialization::valueFromData(VXReadFile(path)), first);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files), QStringList {s("Default.plist")});

    // A folder that does not exist.
    EXPECT_FALSE(writeToBinaryFile(first, dir.filePath(s("missing/Default.plist")), true));
}

TEST(VXBinaryPropertyList, DeeplyMutableDictionaryNeedsADictionaryRoot)
{
    EXPECT_FALSE(deeplyMutableDictionaryWithData(QByteArray()));
    EXPECT_FALSE(deeplyMutableDictionaryWithData(*propertyListData(array({1, 2}))));
    EXPECT_FALSE(deeplyMutableDictionaryWithData(QByteArray("bplist00garbage")));
    VXDictionaryRef read = deeplyMutableDictionaryWithData(*propertyListData(dict({{"Pools", array({})}})));
    ASSERT_TRUE(read);
    read->value(s("Pools")).array()->append("changed in place");
    EXPECT_EQ(read->value(s("Pools")).array()->size(), 1u);
}

// An array of reals alone is kept packed (8 bytes a number); the same elements held as VXValues
// must compare equal and be written to the same bytes, and the reader must pack what it may.
TEST(VXBinaryPropertyList, PackedAndOrdinaryLogsAreWrittenAlike)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    struct Row {
        const char *name;
        std::vector<VXValue> elements;
        bool packs;   // whether the reader gives back a packed array
    };
    const std::vector<Row> rows {
        {"signed timestamps", {815000000.5, -815000030.25, 815000040.0, -815000100.0}, true},
        {"one real", {1.0}, true},
        {"the reals the writer merges, and odd ones", {1.5, 1.5, -0.0, 0.0, nan, inf, -inf, 5e-324, 1.5}, true},
        {"reals, then an integer", {1.5, 2.5, 3}, false},
        {"an integer, then reals", {3, 1.5, 2.5}, false},
        {"reals and a text", {1.5, VXValue(s("note")), 2.5}, false},
        {"a date among reals", {1.5, VXValue::dateSince2001(2)}, false},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const auto [packed, ordinary] = vxtest::inBothForms(row.elements);
        ASSERT_FALSE(ordinary->isPacked());
        // A window as the tracker keeps it: two logs, and a time equal to one of their numbers.
        const auto window = [&row](const VXArrayRef &log) {
            return dict({{"Active Log", VXValue(log)},
                         {"Front Active Log", VXValue(log)},
                         {"Time", 1.5},
                         {"Copy", VXValue(log).deepCopy()}});
        };
        const VXValue fromPacked = window(packed);
        const VXValue fromOrdinary = window(ordinary);
        EXPECT_EQ(fromPacked, fromOrdinary);
        EXPECT_EQ(fromOrdinary, fromPacked);

        for (const auto format :
             {VXPropertyListSerialization::Format::Binary, VXPropertyListSerialization::Format::XML}) {
            SCOPED_TRACE(format == VXPropertyListSerialization::Format::XML ? "XML" : "binary");
            const std::optional<QByteArray> bytes = VXPropertyListSerialization::dataFromValue(fromPacked, format);
            ASSERT_TRUE(bytes.has_value());
            EXPECT_EQ(bytes, VXPropertyListSerialization::dataFromValue(fromOrdinary, format));
            const VXValue read = VXPropertyListSerialization::valueFromData(*bytes);
            EXPECT_EQ(read, fromPacked);
            EXPECT_EQ(VXPropertyListSerialization::dataFromValue(read, format), bytes);
            if (format == VXPropertyListSerialization::Format::Binary) {
                const VXArray &log = *read.dictionary()->value(s("Active Log")).array();
                EXPECT_EQ(log.isPacked(), row.packs);
                // The file refers to the one log from both keys; it stays one object.
                EXPECT_EQ(&log, read.dictionary()->value(s("Front Active Log")).array());
            }
        }
    }
}

// A record names the same few keys in every item: each name is one text shared by every
// dictionary that uses it (and by their copies); read back, of the file's storage.
TEST(VXBinaryPropertyList, EachKeyNameIsOneSharedText)
{
    VXArrayRef items = VXMakeArray();
    for (int i = 0; i < 3; ++i) {
        VXDictionaryRef item = VXMakeDictionary();
        item->insert(QStringLiteral("Front Time"), i);   // a literal
        item->insert(QStringLiteral("Title %1").arg(i), QStringLiteral("Title %1").arg(i));   // made at run time
        item->insert(QStringLiteral("Time"), 2.5);
        items->append(VXValue(std::move(item)));
    }
    const std::optional<QByteArray> data
        = VXPropertyListSerialization::dataFromValue(VXValue(items), VXPropertyListSerialization::Format::Binary);
    ASSERT_TRUE(data);
    const VXValue read = VXPropertyListSerialization::valueFromBinaryData(*data);
    ASSERT_EQ(read, VXValue(items));

    for (const VXValue &tree : {VXValue(items), read, read.deepCopy()}) {
        const VXDictionary &first = *tree.array()->objectAt(0).dictionary();
        for (std::size_t i = 0; i < tree.array()->size(); ++i) {
            const VXDictionary &item = *tree.array()->objectAt(i).dictionary();
            for (std::size_t k = 0; k < item.size(); ++k) {
                const VXKey &key = item.entries()[k].key;
                SCOPED_TRACE(key.text().toStdString());
                // The literal and the file's shared names are one text; a title is its own.
                const bool sharedName = key.text().startsWith(u"Time") || key.text() == u"Front Time";
                EXPECT_EQ(key.sharesTextWith(first.entries()[k].key), sharedName || i == 0);
            }
        }
    }
    // A title read back shares its text with the value that names it, as the file does.
    const VXDictionary &item = *read.array()->objectAt(1).dictionary();
    const auto title = static_cast<std::size_t>(item.indexOf(QStringLiteral("Title 1")));
    EXPECT_TRUE(item.entries()[title].key.sharesTextWith(VXKey::ofValue(item.entries()[title].value)));
    for (std::size_t k = 0; k < item.size(); ++k)
        EXPECT_TRUE(item.entries()[k].key.text().data_ptr().isMutable()) << "read keys are the file's texts";
}

// A key made of a literal keeps the literal's text, so that finding it by that literal compares
// addresses; writing the tree (on the writer thread, while the main thread reads the same keys)
// must leave that text as it is, in either format.
TEST(VXBinaryPropertyList, KeysMadeOfALiteralKeepItsTextThroughWriting)
{
    static const QString name = QStringLiteral("A name only this test gives a key");
    VXDictionaryRef item = VXMakeDictionary();
    item->insert(name, 1.5);
    item->insert(QStringLiteral("Made at run time %1").arg(7), 2.5);
    for (const auto format : {VXPropertyListSerialization::Format::Binary, VXPropertyListSerialization::Format::XML}) {
        ASSERT_TRUE(VXPropertyListSerialization::dataFromValue(VXValue(item), format));
        const VXKey &key = item->entries()[0].key;
        EXPECT_EQ(key.text().constData(), name.constData());
        EXPECT_FALSE(key.text().data_ptr().isMutable());
        EXPECT_TRUE(key.sharesTextWith(VXKey(name)));
    }
}

TEST(VXBinaryPropertyList, ALargeTableIsPopulatedOnAThreadOfItsOwnWithoutChangingIt)
{
    // A table of 64 MiB, read and written while another thread populates it: every page ends
    // resident, and every value written stays as written.
    VXMappedTable<std::uint32_t> table(std::size_t(16) << 20);
    constexpr std::size_t kStride = std::size_t(1) << 20;
    const long page = sysconf(_SC_PAGESIZE);
    const std::size_t bytes = table.size() * sizeof(std::uint32_t);
    std::size_t populated = 0;
    {
        VXTablePopulation population(table.data(), bytes);
        // A value every 4 MiB: the pages between are the other thread's to make.
        for (std::size_t i = 0; i < table.size(); i += kStride)
            table[i] = table[i] + std::uint32_t(i) + 1;
        populated = population.wait();
    }
    if (populated == 0)
        GTEST_SKIP() << "this kernel cannot populate a range in advance (MADV_POPULATE_WRITE)";
    EXPECT_EQ(populated, bytes);
    std::vector<unsigned char> resident(bytes / std::size_t(page));
    ASSERT_EQ(mincore(table.data(), bytes, resident.data()), 0);
    EXPECT_EQ(std::count_if(resident.begin(), resident.end(), [](unsigned char flags) { return (flags & 1) == 0; }), 0);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < table.size(); ++i)
        wrong += table[i] != (i % kStride == 0 ? std::uint32_t(i) + 1 : 0) ? 1 : 0;
    EXPECT_EQ(wrong, 0u);

    // Less than a huge page (a table on the heap): nothing.
    VXMappedTable<std::uint32_t> small(1000);
    EXPECT_EQ(VXTablePopulation(small.data(), small.size() * sizeof(std::uint32_t)).wait(), 0u);
}
