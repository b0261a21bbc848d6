// The old-style (OpenStep/NeXT) text property-list reader: the forms CoreFoundation and GNUstep
// write, the strings-file form, and damaged and hostile text.

#include "VXOpenStepPropertyListReader.h"
#include "VXPlistCodecTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXSeededRandom.h"

#include <QStringEncoder>

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::Literals::StringLiterals;

namespace {

VXValue read(const QByteArray &text)
{
    return VXOpenStepPropertyListReader::read(text);
}

const QByteArray kSettingsFile = R"OS({
    // A hand-written settings file.
    Name = "Mail";
    "Quoted key" = "Tab\tNew line\nQuote\" Apostrophe\' Backslash\\ Octal\101\351\377 Unicode\U00e9\U2603 Bell\a\b\f\r\v\z \
continued\0end";
    'single' = 'it\'s "fine"';
    Unquoted = some_word.with-dots/and:colons$+1;
    Numbers = (1672531200.5, -3, 0x1F);   /* no numbers in this form: all strings */
    Bytes = <0fbd77 1c2735ae
             FF00>;
    "Empty data" = <>;
    "Empty string" = "";
    Nested = { Inner = ( a, (b, c,), {}, ); Empty = {}; /* a
        multi-line comment */ };
    Shorthand;
    Unicode = "Résumé — 日本 😀";
    Count = <*I42>;
    Big = <*I18446744073709551615>;
    Negative = <*I-7>;
    Ratio = <*R1.5>;
    Yes = <*BY>;
    No = <*BN>;
    When = <*D2001-01-01 00:00:00 +0000>;
    Later = <*D2001-01-01 01:30:00 +0130>;
    Repeated = first;
    Repeated = second;
    Last = "no semicolon before the brace"
}
)OS";

VXValue settingsTree()
{
    return VXDictionaryOf({
        {u"Name"_s, u"Mail"_s},
        {u"Quoted key"_s,
         u"Tab\tNew line\nQuote\" Apostrophe' Backslash\\ OctalA\u00d8\ufffd Unicode\u00e9\u2603 Bell\a\b\f\r\vz \ncontinued"_s
             + QChar(0) + u"end"_s},
        {u"single"_s, u"it's \"fine\""_s},
        {u"Unquoted"_s, u"some_word.with-dots/and:colons$+1"_s},
        {u"Numbers"_s, VXArrayOf({u"1672531200.5"_s, u"-3"_s, u"0x1F"_s})},
        {u"Bytes"_s, QByteArray("\x0f\xbd\x77\x1c\x27\x35\xae\xff\x00", 9)},
        {u"Empty data"_s, QByteArray()},
        {u"Empty string"_s, QString()},
        {u"Nested"_s,
         VXDictionaryOf({{u"Inner"_s, VXArrayOf({u"a"_s, VXArrayOf({u"b"_s, u"c"_s}), VXValue(VXMakeDictionary())})},
                         {u"Empty"_s, VXValue(VXMakeDictionary())}})},
        {u"Shorthand"_s, u"Shorthand"_s},
        {u"Unicode"_s, u"Résumé — 日本 😀"_s},
        {u"Count"_s, 42},
        {u"Big"_s, std::numeric_limits<unsigned long long>::max()},
        {u"Negative"_s, -7},
        {u"Ratio"_s, 1.5},
        {u"Yes"_s, true},
        {u"No"_s, false},
        {u"When"_s, VXValue::dateSince2001(0.0)},
        {u"Later"_s, VXValue::dateSince2001(0.0)},
        {u"Repeated"_s, u"second"_s},
        {u"Last"_s, u"no semicolon before the brace"_s},
    });
}

}   // namespace

TEST(VXOpenStepPropertyList, ReadsTheFormsOfCoreFoundationAndGNUstep)
{
    VXPlistLogCapture log;
    EXPECT_EQ(read(kSettingsFile), settingsTree());
    // The same with a byte-order mark, and as UTF-16 in either byte order.
    EXPECT_EQ(read("\xEF\xBB\xBF" + kSettingsFile), settingsTree());
    for (QStringConverter::Encoding encoding : {QStringConverter::Utf16LE, QStringConverter::Utf16BE}) {
        QStringEncoder encoder(encoding, QStringConverter::Flag::WriteBom);
        EXPECT_EQ(read(encoder.encode(QString::fromUtf8(kSettingsFile))), settingsTree());
    }
    EXPECT_TRUE(log.take().isEmpty());

    // Any value may be the root.
    EXPECT_EQ(read("\"just a string\""), VXValue(u"just a string"_s));
    EXPECT_EQ(read("  word  // trailing comment"), VXValue(u"word"_s));
    EXPECT_EQ(
        read("( one, \"two\", <>, ( three ), { four = 4; } )"),
        VXArrayOf({u"one"_s, u"two"_s, QByteArray(), VXArrayOf({u"three"_s}), VXDictionaryOf({{u"four"_s, u"4"_s}})}));
    EXPECT_EQ(read("()"), VXValue(VXMakeArray()));
    EXPECT_EQ(read("{}"), VXValue(VXMakeDictionary()));
    EXPECT_EQ(read("<0001 02>"), VXValue(QByteArray("\x00\x01\x02", 3)));
    EXPECT_EQ(read("<*R-inf>").toDouble(), -std::numeric_limits<double>::infinity());
    // Whitespace and comments alone are an empty strings file.
    EXPECT_EQ(read(" \n\t/* nothing */ // at all\n"), VXValue(VXMakeDictionary()));
    EXPECT_TRUE(log.take().isEmpty());
}

TEST(VXOpenStepPropertyList, ReadsStringsFiles)
{
    const QString strings = uR"(/* Menu titles */
"Quit" = "Beenden";
Open = "Öffnen";
"Cancel";
'Help' = ( "a", b );
"Line\nbreak" = "Zeilen\U000Aumbruch";
)"_s;
    const VXValue expected = VXDictionaryOf({
        {u"Quit"_s, u"Beenden"_s},
        {u"Open"_s, u"Öffnen"_s},
        {u"Cancel"_s, u"Cancel"_s},
        {u"Help"_s, VXArrayOf({u"a"_s, u"b"_s})},
        {u"Line\nbreak"_s, u"Zeilen\numbruch"_s},
    });
    EXPECT_EQ(read(strings.toUtf8()), expected);
    // Strings files are often UTF-16.
    QStringEncoder encoder(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    EXPECT_EQ(read(encoder.encode(strings)), expected);
}

TEST(VXOpenStepPropertyList, RefusesMalformedTextWithOneLogLine)
{
    const QByteArray malformed[] = {
        "",
        "{ a = b c = d; }",
        "{ a = b; } }",
        "{ a = b; } junk",
        "( a ) ( b )",
        "{ a = <0fb>; }",
        "{ a = <0fbg>; }",
        "{ a = <0f",
        "{ a = \"open; }",
        "{ a = 'open; }",
        "{ a = \"ends in a backslash\\",
        "{ a = b; /* never closed }",
        "{ a = ; }",
        "{ a b; }",
        "{ = b; }",
        "{ a = b;; }",
        "{ a = b",
        "( a b )",
        "( a, , b )",
        "(,)",
        "( a",
        "( a,",
        "{ a = (b; }",
        "a = b",
        "a = b; }",
        "\"a\" \"b\"",
        "a = b; c",
        "#",
        "{ a = # ; }",
        "{ a = <*I12; }",
        "<*Ix>",
        "<*I>",
        "<*I99999999999999999999999>",
        "<*I1.5>",
        "<*R>",
        "<*Rabc>",
        "<*R+-1>",
        "<*BX>",
        "<*BYES>",
        "<*D2001-13-01 00:00:00 +0000>",
        "<*D2001-02-29 00:00:00 +0000>",
        "<*D2001-01-01 00:00:00>",
        "<*D2001-01-01T00:00:00Z>",
        "<*Q1>",
        "<*",
        "{ key = \xC3\x28; }",
        "\"\xED\xA0\x80\"",
        QByteArray("{ a = \0; }", 10),
        "\xFF\xFE{",
    };
    VXPlistLogCapture log;
    for (const QByteArray &text : malformed) {
        EXPECT_TRUE(read(text).isNull()) << text.toStdString();
        const QStringList lines = log.take();
        EXPECT_EQ(lines.size(), 1) << text.toStdString() << "\n" << lines.join(u'\n').toStdString();
        if (!lines.isEmpty()) {
            EXPECT_TRUE(lines.first().startsWith(u"cannot read old-style property list: "_s))
                << lines.first().toStdString();
        }
    }
    // Lines are counted as the format counts them (\r\n, \r and \n each end one).
    read("{\r\n a = b;\r c = d;\n e = <zz>; }");
    EXPECT_EQ(log.take(),
              QStringList {u"cannot read old-style property list: invalid character 'z' in data at line 4"_s});
}

TEST(VXOpenStepPropertyList, SurvivesTruncationAndBoundsNesting)
{
    const VXValue whole = read(kSettingsFile);
    ASSERT_EQ(whole, settingsTree());
    VXPlistLogCapture log;
    for (qsizetype length = 0; length < kSettingsFile.size() - 1; ++length) {
        // Every cut before the closing brace loses it (or splits a UTF-8 sequence).
        EXPECT_TRUE(read(kSettingsFile.left(length)).isNull()) << "a text cut after " << length << " bytes was read";
        EXPECT_EQ(log.take().size(), 1) << "at length " << length;
    }

    const int limit = VXPropertyListSerialization::kMaximumDepth;
    EXPECT_EQ(read(QByteArray("(").repeated(limit) + QByteArray(")").repeated(limit)), VXNestedArrays(limit));
    EXPECT_TRUE(log.take().isEmpty());
    EXPECT_TRUE(read(QByteArray("(").repeated(limit + 1) + QByteArray(")").repeated(limit + 1)).isNull());
    EXPECT_TRUE(read(QByteArray("(").repeated(100000)).isNull());
    EXPECT_TRUE(read(QByteArray("{a=").repeated(100000)).isNull());
    EXPECT_EQ(log.take().size(), 3);
}

TEST(VXOpenStepPropertyList, SurvivesRandomDamage)
{
    const char pieces[] = "{}()<>*;=,\"'\\/ \n\r\tUIRBDY0123456789abcdef\xC3\xA9\xFF";
    VXSeededRandom random(11);
    VXPlistLogCapture log;
    int accepted = 0;
    for (int round = 0; round < 3000; ++round) {
        QByteArray text = kSettingsFile;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits && !text.isEmpty(); ++e) {
            const auto at = static_cast<qsizetype>(random() % static_cast<std::uint32_t>(text.size()));
            switch (random() % 4) {
            case 0: text[at] = pieces[random() % (sizeof pieces - 1)]; break;
            case 1: text.remove(at, 1 + static_cast<qsizetype>(random() % 16)); break;
            case 2:
                text.insert(at,
                            text.mid(static_cast<qsizetype>(random() % static_cast<std::uint32_t>(text.size())), 12));
                break;
            default: text.insert(at, pieces[random() % (sizeof pieces - 1)]); break;
            }
        }
        const VXValue value = read(text);
        const QStringList lines = log.take();
        if (value.isNull()) {
            EXPECT_EQ(lines.size(), 1) << text.toStdString();
        } else {
            ++accepted;
        }
    }
    EXPECT_GT(accepted, 0);
    EXPECT_LT(accepted, 3000);
}
