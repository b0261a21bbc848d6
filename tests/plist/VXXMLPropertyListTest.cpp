// The XML property-list reader and writer, checked against Python's plistlib (the reference for
// the exact bytes) and libplist's plistutil, and fed damaged and hostile documents.

#include "VXPlistCodecTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXSeededRandom.h"
#include "VXTestProcess.h"
#include "VXTestSupport.h"
#include "VXXMLPropertyListReader.h"
#include "VXXMLPropertyListWriter.h"

#include <QFile>
#include <QStringEncoder>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace {

// The peer side in Python. Modes:
//   write PATH       writes the edge-value tree with plistlib (XML) to PATH
//   binary PATH      writes the same tree as a binary property list
//   check PATH       reads PATH (XML or binary) with plistlib and compares it, type for type, with
//                    the tree (dates without their fractions, as the format keeps them)
//   rewrite          reads a property list from stdin and writes it back to stdout as XML
const char kPeerScript[] = R"PY(
import datetime, plistlib, sys

def pattern(n):
    return bytes((i * 7 + n) % 256 for i in range(n))

def tree(fractions):
    deep = {'bottom': pattern(50)}
    for level in range(14):
        deep = {'level': level, 'data': pattern(level * 9 + 1), 'next': [deep]}
    return {
        'empty dict': {}, 'empty array': [], 'empty string': '', 'empty data': b'',
        'unicode': 'h\u00e9llo \u4e16\u754c \U0001F600 \U00010000 \u00a0\u2028',
        'specials': 'a & b < c > d "q" \'s\' ]]> &amp; \t tab\nnewline',
        'integers': [0, 1, -1, 2**31, 2**63 - 1, 2**63, 2**64 - 1, -2**63, 255],
        'reals': [0.0, -0.0, 0.1, 1e16, 1e-05, 1.5e-05, 123456789.0, 1e15, 0.0001, 1 / 3, 2.5e-300,
                  1.7976931348623157e308, 5e-324, float('inf'), float('-inf'), 9007199254740993.0,
                  100.0, -273.15, 1e22, 1.2345678901234567e-07],
        'booleans': [True, False],
        'dates': [datetime.datetime(2001, 1, 1), datetime.datetime(1970, 1, 1),
                  datetime.datetime(1969, 12, 31, 23, 59, 59, 500000 if fractions else 0),
                  datetime.datetime(2024, 2, 29, 12, 34, 56, 999999 if fractions else 0),
                  datetime.datetime(1, 1, 1), datetime.datetime(9999, 12, 31, 23, 59, 59)],
        'data': [pattern(n) for n in (1, 2, 3, 56, 57, 58, 100, 1000)],
        'deep': deep,
        'Zebra': 1, 'apple': 2, '\U0001F600': 3, '\ufffd': 4, '\u00e9': 5,
    }

def same(a, b):
    if type(a) is not type(b):
        return False
    if isinstance(a, dict):
        return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list):
        return len(a) == len(b) and all(map(same, a, b))
    if isinstance(a, float):
        return repr(a) == repr(b)
    return a == b

mode = sys.argv[1]
if mode == 'write':
    open(sys.argv[2], 'wb').write(plistlib.dumps(tree(True)))
elif mode == 'binary':
    open(sys.argv[2], 'wb').write(plistlib.dumps(tree(False), fmt=plistlib.FMT_BINARY))
elif mode == 'check':
    if not same(plistlib.loads(open(sys.argv[2], 'rb').read()), tree(False)):
        sys.exit('plistlib read something else from ' + sys.argv[2])
elif mode == 'rewrite':
    sys.stdout.buffer.write(plistlib.dumps(plistlib.loads(sys.stdin.buffer.read())))
)PY";

QByteArray pattern(int n)
{
    QByteArray bytes(n, Qt::Uninitialized);
    for (int i = 0; i < n; ++i)
        bytes[i] = static_cast<char>((i * 7 + n) % 256);
    return bytes;
}

// The tree of kPeerScript's tree(), built independently here.
VXValue edgeTree(bool fractions)
{
    VXValue deep = VXDictionaryOf({{u"bottom"_s, pattern(50)}});
    for (int level = 0; level < 14; ++level)
        deep = VXDictionaryOf(
            {{u"level"_s, level}, {u"data"_s, pattern(level * 9 + 1)}, {u"next"_s, VXArrayOf({deep})}});
    VXArrayRef data = VXMakeArray();
    for (int n : {1, 2, 3, 56, 57, 58, 100, 1000})
        data->append(pattern(n));
    return VXDictionaryOf({
        {u"empty dict"_s, VXValue(VXMakeDictionary())},
        {u"empty array"_s, VXValue(VXMakeArray())},
        {u"empty string"_s, QString()},
        {u"empty data"_s, QByteArray()},
        {u"unicode"_s, u"h\u00e9llo \u4e16\u754c \U0001F600 \U00010000 \u00a0\u2028"_s},
        {u"specials"_s, u"a & b < c > d \"q\" 's' ]]> &amp; \t tab\nnewline"_s},
        {u"integers"_s,
         VXArrayOf({0, 1, -1, 2147483648LL, std::numeric_limits<long long>::max(), VXValue::unsignedInteger(1ULL << 63),
                    std::numeric_limits<unsigned long long>::max(), std::numeric_limits<long long>::min(), 255})},
        {u"reals"_s,
         VXArrayOf({0.0,
                    -0.0,
                    0.1,
                    1e16,
                    1e-05,
                    1.5e-05,
                    123456789.0,
                    1e15,
                    0.0001,
                    1.0 / 3.0,
                    2.5e-300,
                    1.7976931348623157e308,
                    5e-324,
                    std::numeric_limits<double>::infinity(),
                    -std::numeric_limits<double>::infinity(),
                    9007199254740993.0,
                    100.0,
                    -273.15,
                    1e22,
                    1.2345678901234567e-07})},
        {u"booleans"_s, VXArrayOf({true, false})},
        {u"dates"_s,
         VXArrayOf({VXValue::dateFromUnixTime(978307200.0), VXValue::dateFromUnixTime(0.0),
                    VXValue::dateFromUnixTime(fractions ? -0.5 : -1.0),
                    VXValue::dateFromUnixTime(fractions ? 1709210096.999999 : 1709210096.0),
                    VXValue::dateFromUnixTime(-62135596800.0), VXValue::dateFromUnixTime(253402300799.0)})},
        {u"data"_s, VXValue(data)},
        {u"deep"_s, deep},
        {u"Zebra"_s, 1},
        {u"apple"_s, 2},
        {u"\U0001F600"_s, 3},
        {u"\ufffd"_s, 4},
        {u"\u00e9"_s, 5},
    });
}

VXProcessResult runPeer(const QStringList &arguments, const QByteArray &input = QByteArray())
{
    return VXRunProcess(VXTestPython(), QStringList {u"-c"_s, QString::fromUtf8(kPeerScript)} + arguments, 120000,
                        input);
}

// The first line where two documents differ, for a readable failure.
std::string firstDifference(const QByteArray &a, const QByteArray &b)
{
    const QList<QByteArray> x = a.split('\n');
    const QList<QByteArray> y = b.split('\n');
    for (qsizetype i = 0; i < std::max(x.size(), y.size()); ++i) {
        const QByteArray left = x.value(i, "<none>");
        const QByteArray right = y.value(i, "<none>");
        if (left != right)
            return "line " + std::to_string(i + 1) + ": ours \"" + left.toStdString() + "\", theirs \""
                + right.toStdString() + "\"";
    }
    return "no difference";
}

QByteArray written(const VXValue &value)
{
    const std::optional<QByteArray> bytes = VXXMLPropertyListWriter::write(value);
    return bytes.value_or(QByteArray());
}

// The document as plistlib writes it after reading it.
QByteArray rewrittenByPlistlib(const QByteArray &document)
{
    const VXProcessResult result = runPeer({u"rewrite"_s}, document);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    return result.standardOutput;
}

QByteArray nestedDocument(int depth)
{
    return QByteArray("<array>").repeated(depth) + QByteArray("</array>").repeated(depth);
}

#define SKIP_WITHOUT_PYTHON()                                                                                          \
    if (VXTestPython().isEmpty())                                                                                      \
    GTEST_SKIP() << "no Python interpreter with plistlib at /usr/bin/python3"

}   // namespace

TEST(VXXMLPropertyList, AgreesWithPlistlibOnEdgeValues)
{
    SKIP_WITHOUT_PYTHON();
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    const QString theirsPath = dir.filePath(u"theirs.plist"_s);
    const QString oursPath = dir.filePath(u"ours.plist"_s);
    const VXProcessResult wrote = runPeer({u"write"_s, theirsPath});
    ASSERT_EQ(wrote.exitCode, 0) << wrote.standardError.toStdString();
    const QByteArray theirs = VXReadFile(theirsPath);

    // plistlib's document reads as the tree...
    const VXValue read = VXXMLPropertyListReader::read(theirs);
    EXPECT_EQ(read, edgeTree(false));

    // ...the tree (fractions of seconds included) writes as the same bytes...
    const QByteArray ours = written(edgeTree(true));
    EXPECT_EQ(ours, theirs) << firstDifference(ours, theirs);

    // ...and plistlib reads back, type for type, what was written.
    ASSERT_TRUE(VXWriteFile(oursPath, ours));
    const VXProcessResult checked = runPeer({u"check"_s, oursPath});
    EXPECT_EQ(checked.exitCode, 0) << checked.standardError.toStdString();
}

TEST(VXXMLPropertyList, WritesRealsAsPythonReprDoes)
{
    SKIP_WITHOUT_PYTHON();
    // Bit patterns of every kind, timestamps with milliseconds as the event logs hold, short
    // decimals, and the powers of ten either side of where repr() changes notation.
    VXSeededRandom random(20240229);
    VXArrayRef reals = VXMakeArray();
    for (int i = 0; i < 4000; ++i) {
        const std::uint64_t bits = random.next();
        double real;
        std::memcpy(&real, &bits, sizeof real);
        reals->append(real);
    }
    for (int i = 0; i < 4000; ++i)
        reals->append(std::round((1.5e9 + 0.3e9 * random.uniform()) * 1000.0) / 1000.0);
    for (int i = 0; i < 2000; ++i)
        reals->append(static_cast<double>(random.below(100000)) / std::pow(10.0, random.below(8)));
    for (int exponent = -325; exponent <= 309; ++exponent) {
        const double power = std::pow(10.0, exponent);
        for (double real :
             {power, std::nextafter(power, 0.0), std::nextafter(power, HUGE_VAL), 9.5 * power, -1.25 * power})
            reals->append(real);
    }
    // Few decimals are written by a shortcut that holds up to 2^48 scaled by 10^decimals: its
    // edges, numbers a unit in the last place off a short decimal, and products near a half.
    for (int decimals = 0; decimals <= 8; ++decimals) {
        const double scale = std::pow(10.0, decimals);
        const double edge = 281474976710656.0 / scale;
        for (double real : {edge, std::nextafter(edge, 0.0), std::nextafter(edge, HUGE_VAL), std::floor(edge) / scale})
            reals->append(real);
        for (int i = 0; i < 300; ++i) {
            const double digits = static_cast<double>(random.next() % (std::uint64_t(1) << (10 + i % 40)));
            const double real = (digits + (i % 3 == 0 ? 0.5 : 0.0)) / scale;
            for (double near : {real, std::nextafter(real, 0.0), std::nextafter(real, HUGE_VAL), -real, 1.0 + real})
                reals->append(near);
        }
    }
    reals->append(std::numeric_limits<double>::quiet_NaN());
    reals->append(std::numeric_limits<double>::denorm_min());
    const VXValue tree {reals};

    const QByteArray ours = written(tree);
    ASSERT_FALSE(ours.isEmpty());
    const QByteArray theirs = rewrittenByPlistlib(ours);
    EXPECT_EQ(ours, theirs) << firstDifference(ours, theirs);
    // Every real reads back to the same bits (the sign of zero included).
    EXPECT_EQ(VXXMLPropertyListReader::read(ours), tree);
}

TEST(VXXMLPropertyList, WrapsDataAsPlistlibAtEveryDepth)
{
    SKIP_WITHOUT_PYTHON();
    // Line length is 76 columns less 8 per tab, never under 16: the sizes straddle the line
    // lengths of every depth down to where the floor takes over.
    VXValue level = VXValue(VXMakeArray());
    for (int depth = 0; depth < 12; ++depth) {
        VXArrayRef array = VXMakeArray();
        for (int size : {0, 1, 2, 3, 11, 12, 13, 44, 45, 46, 50, 51, 52, 56, 57, 58, 59, 100, 115})
            array->append(pattern(size + depth));
        array->append(level);
        level = VXValue(array);
    }
    const QByteArray ours = written(level);
    const QByteArray theirs = rewrittenByPlistlib(ours);
    EXPECT_EQ(ours, theirs) << firstDifference(ours, theirs);
    EXPECT_EQ(VXXMLPropertyListReader::read(ours), level);
}

TEST(VXXMLPropertyList, KeepsWhatPlistlibWouldChangeAndReplacesWhatXMLCannotCarry)
{
    // A carriage return survives as a character reference, for plistlib as for us.
    const VXValue lines = VXDictionaryOf({{u"dos\r\nkey"_s, u"one\r\ntwo\rthree\n"_s}});
    const QByteArray bytes = written(lines);
    EXPECT_TRUE(bytes.contains("<key>dos&#13;\nkey</key>")) << bytes.toStdString();
    EXPECT_TRUE(bytes.contains("<string>one&#13;\ntwo&#13;three\n</string>")) << bytes.toStdString();
    EXPECT_EQ(VXXMLPropertyListReader::read(bytes), lines);
    if (!VXTestPython().isEmpty()) {
        const VXProcessResult result = VXRunProcess(
            VXTestPython(),
            {u"-c"_s,
             u"import plistlib,sys; d=plistlib.loads(sys.stdin.buffer.read()); sys.exit(d != {'dos\\r\\nkey': 'one\\r\\ntwo\\rthree\\n'})"_s},
            60000, bytes);
        EXPECT_EQ(result.exitCode, 0) << result.standardError.toStdString();
    }

    // A null anywhere and dates with no calendar form are refused with one log line each, never
    // written in a form other readers reject.
    VXPlistLogCapture log;
    VXArrayRef withNull = VXMakeArray();
    withNull->append(1);
    withNull->append(VXValue());
    const VXValue refused[] = {
        VXValue(),
        VXValue(withNull),
        VXValue::dateSince2001(std::numeric_limits<double>::quiet_NaN()),
        VXValue::dateSince2001(std::numeric_limits<double>::infinity()),
        VXValue::dateSince2001(1e300),
    };
    for (const VXValue &value : refused) {
        EXPECT_FALSE(VXXMLPropertyListWriter::write(VXArrayOf({u"fine"_s, value})).has_value());
        const QStringList logged = log.take();
        ASSERT_EQ(logged.size(), 1) << logged.join(u'\n').toStdString();
        EXPECT_TRUE(logged.first().startsWith(u"cannot write XML property list: "_s)) << logged.first().toStdString();
    }
    // Characters XML 1.0 cannot carry (a NUL in a title saved before titles were cleaned, other
    // controls, unpaired surrogates, U+FFFE and U+FFFF), in keys and values, become U+FFFD: the
    // rest of the record is written, with one log line.
    const QString damaged[] = {u"nul "_s + QChar(0) + u" title"_s,
                               u"bell \a"_s,
                               u"vertical\vtab"_s,
                               QString(QChar(0xD83D)) + u"x"_s,
                               u"x"_s + QString(QChar(0xDE00)),
                               QString(QChar(0xFFFE)),
                               QString(QChar(0xFFFF))};
    const QString cleaned[]
        = {u"nul \uFFFD title"_s, u"bell \uFFFD"_s, u"vertical\uFFFDtab"_s, u"\uFFFDx"_s, u"x\uFFFD"_s,
           u"\uFFFD"_s,           u"\uFFFD"_s};
    for (std::size_t i = 0; i < std::size(damaged); ++i) {
        SCOPED_TRACE(i);
        const std::optional<QByteArray> document = VXXMLPropertyListWriter::write(
            VXDictionaryOf({{u"fine"_s, 1}, {damaged[i], VXArrayOf({u"fine"_s, damaged[i]})}}));
        ASSERT_TRUE(document.has_value());
        EXPECT_EQ(VXXMLPropertyListReader::read(*document),
                  VXDictionaryOf({{u"fine"_s, 1}, {cleaned[i], VXArrayOf({u"fine"_s, cleaned[i]})}}));
        const QStringList logged = log.take();
        ASSERT_EQ(logged.size(), 1) << logged.join(u'\n').toStdString();
        EXPECT_TRUE(logged.first().startsWith(u"XML property list: 2 characters that XML cannot carry written as "_s))
            << logged.first().toStdString();
    }

    // Other characters outside ASCII, controls of the upper range among them, are plain text.
    const VXValue allowed = VXArrayOf({u"\u0085\u009f\u007f\ufffd\U0010FFFF"_s, u"\t"_s});
    EXPECT_EQ(VXXMLPropertyListReader::read(written(allowed)), allowed);

    // Dates outside the years 0-9999 keep their year in full and read back.
    const VXValue farDates = VXArrayOf({VXValue::dateFromUnixTime(-62167219200.0 - 86400.0 * 365),   // 2 BC: -0001
                                        VXValue::dateFromUnixTime(253402300800.0),   // 10000-01-01
                                        VXValue::dateFromUnixTime(-62167219200.0)});   // 1 BC: 0000
    const QByteArray far = written(farDates);
    EXPECT_TRUE(far.contains("<date>-0001-01-01T00:00:00Z</date>")) << far.toStdString();
    EXPECT_TRUE(far.contains("<date>10000-01-01T00:00:00Z</date>")) << far.toStdString();
    EXPECT_TRUE(far.contains("<date>0000-01-01T00:00:00Z</date>")) << far.toStdString();
    EXPECT_EQ(VXXMLPropertyListReader::read(far), farDates);
}

TEST(VXXMLPropertyList, ReadsTheXMLOfOtherWriters)
{
    // Everything XML allows around a property list: a byte-order mark, declarations, comments
    // and processing instructions, attributes in either quote, CDATA, references, line ends to
    // normalise, numbers in every spelling CoreFoundation and plistlib accept, loose base64,
    // empty elements, and a repeated key (the last one wins).
    const QByteArray document
        = "\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
          "<!-- before the doctype -->\n"
          "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
          "<?some-instruction with data?>\n"
          "<plist version = '1.0' >\n"
          "<dict>\r\n"
          "  <key>entities</key><string>&amp;&lt;&gt;&quot;&apos;&#65;&#x42;&#x1F600;&#233;</string>\n"
          "  <key>cdata</key><string><![CDATA[<not a tag> & raw\r\n]]> tail</string>\n"
          "  <key>comment inside</key><string>be<!-- hidden --><?pi?>fore</string>\n"
          "  <key>line ends</key><string>one\r\ntwo\rthree&#13;\n</string>\n"
          "  <key>integers</key><array><integer> 0x1F </integer><integer>-0x10</integer><integer>+7</integer>"
          "<integer>18446744073709551615</integer><integer>-9223372036854775808</integer><integer>-0</integer>"
          "<integer>0XfF</integer></array>\n"
          "  <key>reals</key><array><real>+infinity</real><real>-Infinity</real><real>inf</real><real>NaN</real>"
          "<real> 2.5 </real><real>.5</real><real>5.</real><real>1e400</real><real>-1e-400</real><real>1E3</real></array>\n"
          "  <key>dates</key><array><date>2001-01-01T00:00:00Z</date><date>2001-01-01T00:00:00.25Z</date>"
          "<date>2001-02Z</date><date>1969-12-31T23:59:59Z</date><date>2000-02-29T12:00Z</date></array>\n"
          "  <key>data</key><data>\n\t\tAAEC\n  AwQ=\n\t</data>\n"
          "  <key>unpadded</key><data>AAECAw</data>\n"
          "  <key>empty</key><array><string/><data/><dict/><array/><data></data><string></string><dict></dict></array>\n"
          "  <key>booleans</key><array><true/><false /><true></true></array>\n"
          "  <key>repeated</key><string>first</string>\n"
          "  <key>repeated</key><string>second</string>\n"
          "  <key/><string>empty key</string>\n"
          "  <key>non-ASCII \xE2\x80\x94 key</key><string>\xC3\xA9\xF0\x9F\x98\x80</string>\n"
          "</dict>\n"
          "</plist>\n"
          "<!-- trailing comment -->\n";
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    const VXValue expected = VXDictionaryOf({
        {u"entities"_s, u"&<>\"'AB\U0001F600\u00e9"_s},
        {u"cdata"_s, u"<not a tag> & raw\n tail"_s},
        {u"comment inside"_s, u"before"_s},
        {u"line ends"_s, u"one\ntwo\nthree\r\n"_s},
        {u"integers"_s,
         VXArrayOf({31, -16, 7, std::numeric_limits<unsigned long long>::max(), std::numeric_limits<long long>::min(),
                    0, 255})},
        {u"reals"_s, VXArrayOf({inf, -inf, inf, nan, 2.5, 0.5, 5.0, inf, -0.0, 1000.0})},
        {u"dates"_s,
         VXArrayOf({VXValue::dateSince2001(0.0), VXValue::dateSince2001(0.25), VXValue::dateSince2001(31 * 86400.0),
                    VXValue::dateFromUnixTime(-1.0), VXValue::dateFromUnixTime(951825600.0)})},
        {u"data"_s, QByteArray("\x00\x01\x02\x03\x04", 5)},
        {u"unpadded"_s, QByteArray("\x00\x01\x02\x03", 4)},
        {u"empty"_s,
         VXArrayOf({QString(), QByteArray(), VXValue(VXMakeDictionary()), VXValue(VXMakeArray()), QByteArray(),
                    QString(), VXValue(VXMakeDictionary())})},
        {u"booleans"_s, VXArrayOf({true, false, true})},
        {u"repeated"_s, u"second"_s},
        {QString(), u"empty key"_s},
        {u"non-ASCII \u2014 key"_s, u"\u00e9\U0001F600"_s},
    });
    VXPlistLogCapture log;
    EXPECT_EQ(VXXMLPropertyListReader::read(document), expected);
    EXPECT_TRUE(log.take().isEmpty());

    // A root without the <plist> wrapper, and a UTF-16 document with its byte-order mark.
    EXPECT_EQ(VXXMLPropertyListReader::read("<array><integer>1</integer><string>x</string></array>"),
              VXArrayOf({1, u"x"_s}));
    const QString text
        = u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><plist><dict><key>\u00e9</key><string>\U0001F600</string></dict></plist>"_s;
    for (QStringConverter::Encoding encoding : {QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
        QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
        const QByteArray utf16 = encoder.encode(text);
        EXPECT_EQ(VXXMLPropertyListReader::read(utf16), VXDictionaryOf({{u"\u00e9"_s, u"\U0001F600"_s}}));
    }
}

TEST(VXXMLPropertyList, RefusesMalformedDocumentsWithOneLogLine)
{
    const QByteArray malformed[] = {
        "",
        "  \n ",
        "<plist version=\"1.0\"></plist>",
        "<plist/>",
        "<plist><string>a</string><string>b</string></plist>",
        "<plist><plist><string/></plist></plist>",
        "<foo/>",
        "<dict><key>a</key><foo>1</foo></dict>",
        "<String>a</String>",
        // References
        "<string>&foo;</string>",
        "<string>&amp</string>",
        "<string>& amp;</string>",
        "<string>&#xD800;</string>",
        "<string>&#0;</string>",
        "<string>&#x110000;</string>",
        "<string>&#99999999999999;</string>",
        "<string>&#;</string>",
        "<string>&#x;</string>",
        "<string>&#-65;</string>",
        "<!DOCTYPE plist [<!ENTITY x \"y\">]><string>&x;</string>",
        "<!DOCTYPE plist SYSTEM \"file:///etc/passwd\"><string>&xxe;</string>",
        // Encoding
        "<string>\xC3\x28</string>",
        "<string>\xED\xA0\x80</string>",
        "<string>\xC0\xAF</string>",
        "<string>\xF4\x90\x80\x80</string>",
        "<string>\xE2\x82</string>",
        "<string>\xFF</string>",
        QByteArray("<string>a\0b</string>", 20),
        "\xFF\xFE<\x00",
        // Numbers, dates, data
        "<integer>18446744073709551616</integer>",
        "<integer>-9223372036854775809</integer>",
        "<integer>99999999999999999999999999999999999999</integer>",
        "<integer></integer>",
        "<integer/>",
        "<integer>12abc</integer>",
        "<integer>0x</integer>",
        "<integer>--1</integer>",
        "<integer>+-1</integer>",
        "<integer>1.5</integer>",
        "<real>abc</real>",
        "<real/>",
        "<real>1.5.5</real>",
        "<real>+-1</real>",
        "<real>0x1p3</real>",
        "<date>2001-13-01T00:00:00Z</date>",
        "<date>2001-02-29T00:00:00Z</date>",
        "<date>2001-01-01T24:00:00Z</date>",
        "<date>2001-01-01T00:00:00</date>",
        "<date>2001-1-01T00:00:00Z</date>",
        "<date>yesterday</date>",
        "<date/>",
        "<data>AAA*</data>",
        "<data>A</data>",
        "<data>AA==AA</data>",
        "<data>A===</data>",
        "<true>yes</true>",
        // Structure
        "<array><string>a</array></string>",
        "<array><string>a</string></dict>",
        "<array><string>a</string></arrayx>",
        "<dict><string>a</string></dict>",
        "<dict><key>a</key></dict>",
        "<dict><key>a</key><key>b</key></dict>",
        "<key>a</key>",
        "<array>text<string>a</string></array>",
        "text<string>a</string>",
        "<string>a</string>trailing",
        "<string>a</string><string>b</string>",
        "<string>a<b>c</b></string>",
        "<!-- unterminated <string>a</string>",
        "<string>a<!-- unterminated</string>",
        "<string><![CDATA[abc</string>",
        "<?pi unterminated <string>a</string>",
        "<!DOCTYPE plist <string>a</string>",
        "<array attribute></array>",
        "<array a=\"<\"></array>",
        "<array a=\"1\"b=\"2\"></array>",
        "<array a=\"1></array>",
        "< array></array>",
        "<array/ >",
        "<![CDATA[x]]>",
    };
    VXPlistLogCapture log;
    for (const QByteArray &document : malformed) {
        EXPECT_TRUE(VXXMLPropertyListReader::read(document).isNull()) << document.toStdString();
        const QStringList lines = log.take();
        EXPECT_EQ(lines.size(), 1) << document.toStdString() << "\n" << lines.join(u'\n').toStdString();
        if (!lines.isEmpty()) {
            EXPECT_TRUE(lines.first().startsWith(u"cannot read XML property list: "_s)) << lines.first().toStdString();
        }
    }
    // The failure says where.
    VXXMLPropertyListReader::read("<array>\n<string>a</string>\n<bogus/>\n</array>");
    EXPECT_EQ(log.take(), QStringList {u"cannot read XML property list: unexpected element <bogus> at line 3"_s});
}

TEST(VXXMLPropertyList, SurvivesTruncationAtEveryOffset)
{
    const QByteArray document = written(VXDictionaryOf({
        {u"name"_s, u"Tom & Jerry \u00e9\U0001F600"_s},
        {u"numbers"_s, VXArrayOf({-42, 3.25, 1e-7, VXValue::unsignedInteger(1ULL << 63)})},
        {u"when"_s, VXValue::dateFromUnixTime(1700000000.0)},
        {u"bytes"_s, pattern(120)},
        {u"flags"_s, VXArrayOf({true, false, VXValue(VXMakeDictionary())})},
        {u"nested"_s, VXDictionaryOf({{u"deeper"_s, VXArrayOf({u"x"_s, VXArrayOf({u"y"_s})})}})},
    }));
    ASSERT_FALSE(document.isEmpty());
    const VXValue whole = VXXMLPropertyListReader::read(document);
    ASSERT_FALSE(whole.isNull());
    VXPlistLogCapture log;
    for (qsizetype length = 0; length < document.size(); ++length) {
        const VXValue value = VXXMLPropertyListReader::read(document.left(length));
        // Only the final newline may go missing without harm.
        if (length >= document.size() - 1) {
            EXPECT_EQ(value, whole);
            continue;
        }
        EXPECT_TRUE(value.isNull()) << "a document cut after " << length << " bytes was read";
        EXPECT_EQ(log.take().size(), 1) << "at length " << length;
    }
}

TEST(VXXMLPropertyList, BoundsNesting)
{
    const int limit = VXPropertyListSerialization::kMaximumDepth;
    // The deepest tree allowed reads and writes; one level more is refused both ways.
    const VXValue deepest = VXNestedArrays(limit);
    EXPECT_EQ(VXXMLPropertyListReader::read(nestedDocument(limit)), deepest);
    ASSERT_TRUE(VXXMLPropertyListWriter::write(deepest).has_value());
    EXPECT_EQ(VXXMLPropertyListReader::read(*VXXMLPropertyListWriter::write(deepest)), deepest);

    VXPlistLogCapture log;
    EXPECT_TRUE(VXXMLPropertyListReader::read(nestedDocument(limit + 1)).isNull());
    EXPECT_FALSE(VXXMLPropertyListWriter::write(VXNestedArrays(limit + 1)).has_value());
    // Absurd nesting is refused without exhausting the stack.
    EXPECT_TRUE(VXXMLPropertyListReader::read(QByteArray("<plist>") + QByteArray("<array>").repeated(100000)).isNull());
    EXPECT_TRUE(VXXMLPropertyListReader::read(QByteArray("<dict><key>k</key>").repeated(100000)).isNull());
    EXPECT_EQ(log.take().size(), 4);

    // A tree that holds itself is refused instead of recursing forever.
    VXArrayRef loop = VXMakeArray();
    loop->append(VXValue(loop));
    EXPECT_FALSE(VXXMLPropertyListWriter::write(VXValue(loop)).has_value());
    loop->clear();
}

TEST(VXXMLPropertyList, SurvivesRandomDamage)
{
    // Random edits of a valid document: whatever is read must be a tree that writes and reads
    // back; everything else must fail cleanly.
    const QByteArray original = written(VXDictionaryOf({
        {u"a & b"_s, VXArrayOf({1, -2.5, u"text <with> markup"_s, pattern(80), VXValue::dateFromUnixTime(0.0)})},
        {u"b"_s,
         VXDictionaryOf({{u"c"_s, VXArrayOf({true, false, VXValue(VXMakeArray())})}, {u"d"_s, u"\u00e9\r\n"_s}})},
    }));
    const char pieces[] = "<>/&;#x=\"'![]-?CDATA0123456789abcdef \n\r\t\xC3\xA9\xFF\x00";
    VXSeededRandom random(7);
    VXPlistLogCapture log;
    int accepted = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray document = original;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits && !document.isEmpty(); ++e) {
            const auto at = static_cast<qsizetype>(random() % static_cast<std::uint32_t>(document.size()));
            switch (random() % 4) {
            case 0: document[at] = pieces[random() % (sizeof pieces - 1)]; break;
            case 1: document.remove(at, 1 + static_cast<qsizetype>(random() % 16)); break;
            case 2:
                document.insert(
                    at,
                    document.mid(static_cast<qsizetype>(random() % static_cast<std::uint32_t>(document.size())), 12));
                break;
            default: document.insert(at, pieces[random() % (sizeof pieces - 1)]); break;
            }
        }
        const VXValue value = VXXMLPropertyListReader::read(document);
        const QStringList lines = log.take();
        if (value.isNull()) {
            EXPECT_EQ(lines.size(), 1) << document.toStdString();
            continue;
        }
        ++accepted;
        if (const std::optional<QByteArray> again = VXXMLPropertyListWriter::write(value)) {
            EXPECT_FALSE(VXXMLPropertyListReader::read(*again).isNull()) << again->toStdString();
        }
        log.take();
    }
    // Some edits (inside text or base64) leave a valid document: the loop saw both outcomes.
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 3000);
}
