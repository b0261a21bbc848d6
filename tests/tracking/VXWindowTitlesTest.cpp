#include "VXWindowTitles.h"

#include "VXTestSupport.h"

#include <gtest/gtest.h>

namespace {

QString repeated(const QString &piece, qsizetype times)
{
    QString result;
    for (qsizetype i = 0; i < times; ++i)
        result += piece;
    return result;
}

}   // namespace

TEST(VXWindowTitles, CleansWhatOtherProgramsSend)
{
    const QString replacement(QChar::ReplacementCharacter);
    struct Row {
        const char *what;
        QByteArray bytes;
        bool truncated;
        QString expected;
    };
    const Row rows[] = {
        {"plain text is kept", "Inbox \xe2\x80\x94 Mail", false, QStringLiteral(u"Inbox \u2014 Mail")},
        {"NUL and other C0 controls go",
         QByteArray("a\0b\x01"
                    "c\x1b",
                    6),
         false, QStringLiteral("abc")},
        {"DEL and C1 controls go",
         "a\x7f"
         "b\xc2\x85"
         "c\xc2\x9b"
         "d",
         false, QStringLiteral("ab c") + QStringLiteral("d")},
        {"tabs and line breaks part words", "one\ttwo\nthree\r\nfour", false, QStringLiteral("one two three  four")},
        {"invalid bytes are replaced",
         "a\xff"
         "b\xc3",
         false, QStringLiteral("a") + replacement + QStringLiteral("b") + replacement},
        {"a sequence cut by the source is dropped", "ab\xe2\x80", true, QStringLiteral("ab")},
        {"a complete last character of a cut read stays", "ab\xe2\x80\x94", true, QStringLiteral(u"ab\u2014")},
        {"an empty title stays empty", "", false, QString()},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(VXWindowTitleFromUtf8(row.bytes, row.truncated), row.expected);
    }
}

TEST(VXWindowTitles, CutsLongTitlesOnACharacterBoundary)
{
    // 4095 ASCII bytes, then a three-byte character that would end past the limit.
    const QByteArray bytes = QByteArray(kVXMaxWindowTitleBytes - 1, 'x') + "\xe2\x80\x94" + "tail";
    const QString title = VXWindowTitleFromUtf8(bytes);
    EXPECT_EQ(title, QString(kVXMaxWindowTitleBytes - 1, u'x'));

    // Surrogate pairs are never split, and lone halves are replaced.
    const QString emoji = QStringLiteral(u"\U0001F600");
    const QString cut = VXCleanWindowTitle(repeated(emoji, 2000));
    EXPECT_EQ(cut.toUtf8().size(), kVXMaxWindowTitleBytes);
    EXPECT_TRUE(QChar::isLowSurrogate(cut.back().unicode()));
    const QString lone = QStringLiteral("a") + QChar(0xD800) + QStringLiteral("b") + QChar(0xDC00);
    EXPECT_EQ(VXCleanWindowTitle(lone), QStringLiteral("a\uFFFDb\uFFFD"));
}

TEST(VXWindowTitles, SharesACleanTitle)
{
    const QString title = QString::fromLatin1("Report.pdf - Viewer");
    const QString cleaned = VXCleanWindowTitle(title);
    EXPECT_EQ(cleaned, title);
    EXPECT_TRUE(cleaned.isSharedWith(title));
}
