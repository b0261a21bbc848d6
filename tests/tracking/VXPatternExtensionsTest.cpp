// The pattern language of blacklists and pools, the blacklist checks built on it and the title
// cut-offs. A fault here either records what the user excluded or loses what they wanted.

#include "VXPatternExtensions.h"
#include "VXBlacklists.h"
#include "VXConfigurationKeys.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

TEST(VXPatternTest, PlainPatternsCompareWholeNamesIgnoringCase)
{
    EXPECT_TRUE(matchesQuery(u"Mail"_s, u"mail"_s));
    EXPECT_TRUE(matchesQuery(u"STRASSE"_s, u"strasse"_s));
    EXPECT_FALSE(matchesQuery(u"Mail Helper"_s, u"Mail"_s));
    EXPECT_FALSE(matchesQuery(u"Mail"_s, u" Mail"_s));   // no trimming without an asterisk
    EXPECT_FALSE(matchesQuery(u"Mail"_s, QString()));   // a missing pattern matches nothing
    EXPECT_TRUE(matchesQueryInvert(u"Mail"_s, QString(), true));
    EXPECT_TRUE(matchesQueryInvert(u"Mail"_s, u"Web"_s, true));
    EXPECT_FALSE(matchesQueryInvert(u"Mail"_s, u"MAIL"_s, true));
}

TEST(VXPatternTest, WildcardsAnchorTheEndsAndFindMiddlePartsInOrder)
{
    // The default window pattern: begins with http, later contains ://.
    EXPECT_TRUE(matchesQuery(u"https://example.org - Browser"_s, u"http*://*"_s));
    EXPECT_TRUE(matchesQuery(u"HTTP://x"_s, u"http*://*"_s));
    EXPECT_FALSE(matchesQuery(u"Notes on http://example.org"_s, u"http*://*"_s));
    EXPECT_FALSE(matchesQuery(u"http notes"_s, u"http*://*"_s));

    EXPECT_TRUE(matchesQuery(u"ab"_s, u"a*b"_s));
    EXPECT_TRUE(matchesQuery(u"aXb"_s, u"a*b"_s));
    EXPECT_FALSE(matchesQuery(u"ab"_s, u"ab*b"_s));   // the end is matched in what the start left
    EXPECT_FALSE(matchesQuery(u"aXb"_s, u"a**b"_s));   // two adjacent asterisks never match
    EXPECT_FALSE(matchesQuery(u"ab"_s, u"a**b"_s));
    EXPECT_TRUE(matchesQuery(u"anything"_s, u"*"_s));
    EXPECT_TRUE(matchesQuery(QString(), u"*"_s));

    // Middle parts in order, each after the previous one, without overlap.
    EXPECT_TRUE(matchesQuery(u"Report - Draft - Editor"_s, u"*report*draft*"_s));
    EXPECT_FALSE(matchesQuery(u"Draft of the Report"_s, u"*report*draft*"_s));
    EXPECT_FALSE(matchesQuery(u"abab"_s, u"*aba*bab*"_s));
    EXPECT_TRUE(matchesQuery(u"ababab"_s, u"*aba*bab*"_s));

    // Blanks around an asterisk do not count; inside a part they do.
    EXPECT_TRUE(matchesQuery(u"Mail Draft"_s, u"Mail * Draft"_s));
    EXPECT_TRUE(matchesQuery(u"MailDraft"_s, u" mail * draft "_s));
    EXPECT_FALSE(matchesQuery(u"MailDraft"_s, u"*l D*"_s));
}

TEST(VXPatternTest, WildcardMatchingFoldsCaseAndComposition)
{
    const QString decomposed = u"Re\u0301sume\u0301.odt"_s;   // e + combining acute
    EXPECT_TRUE(matchesQuery(decomposed, u"R\u00C9SUM\u00C9*"_s));
    EXPECT_TRUE(matchesQuery(u"R\u00E9sum\u00E9.odt"_s, u"re\u0301sume\u0301*"_s));
    EXPECT_TRUE(
        matchesQuery(u"\u0417\u0430\u0434\u0430\u0447\u0438 2024"_s, u"\u0437\u0430\u0434\u0430\u0447\u0438*"_s));
}

TEST(VXPatternTest, InversionOnlyWhereAllowed)
{
    EXPECT_TRUE(matchesQueryAllowInversion(u"Web"_s, u"!Mail"_s, true));
    EXPECT_FALSE(matchesQueryAllowInversion(u"Mail"_s, u"!Mail"_s, true));
    EXPECT_FALSE(matchesQueryAllowInversion(u"Web"_s, u"!Mail"_s, false));
    EXPECT_TRUE(matchesQueryAllowInversion(u"!Mail"_s, u"!Mail"_s, false));
    EXPECT_TRUE(matchesQueryAllowInversion(u"Terminal"_s, u"  !Text*"_s, true));   // the trimmed form decides
    EXPECT_FALSE(matchesQueryAllowInversion(u"TextEdit"_s, u"!Text*"_s, true));
    EXPECT_TRUE(matchesQueryAllowInversion(u"Anything"_s, u"!"_s, true));   // "!" alone: everything named
}

TEST(VXBlacklistTest, NamesAreTrimmedAndCheckedAgainstEveryPattern)
{
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"  Editor \n"_s, QStringList {u"Wendle"_s}), u"Editor"_s);
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"Wendle"_s, QStringList {u"Wendle"_s}), std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"   "_s, QStringList {}), std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"Editor"_s, QStringList {QString(), u""_s}), u"Editor"_s);
    // "!" and one name: only that application is tracked.
    const QStringList onlyEditor {u"!Editor"_s};
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"Editor"_s, onlyEditor), u"Editor"_s);
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"Mail"_s, onlyEditor), std::nullopt);
    // Prepared patterns decide the same.
    std::vector<VXPattern> prepared {VXPattern(u"!Editor"_s, true)};
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u"Mail"_s, prepared), std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstBlacklist(u" Editor"_s, prepared), u"Editor"_s);
}

TEST(VXBlacklistTest, ApplicationEntriesLoseTheirExtension)
{
    const QStringList patterns
        = VXApplicationBlacklistPatterns(*strings({u" Safari.app ", u"Mail.APP", u".app", u"x.app", u"Notes"}));
    EXPECT_EQ(patterns, (QStringList {u"Safari"_s, u"Mail"_s, u".app"_s, u"x"_s, u"Notes"_s}));
}

TEST(VXBlacklistTest, WindowLinesAreSplitIntoPlainPatternsAndQualifiedEntries)
{
    const VXPreprocessedWindowBlacklist preprocessed = VXPreprocessWindowBlacklist(*strings({
        u"http*://*", u"Mail \u25B8 *Draft*",
        u"Editor.app\u25B8",   // every window of Editor
        u" * \u25B8 Secret*",   // every application
        u"\u25B8 Private",   // no application named
        u"Web \u25B8 a \u25B8 b",   // split at the first triangle
    }));
    EXPECT_EQ(preprocessed.unqualified, (QStringList {u"http*://*"_s, u"Secret*"_s, u"Private"_s}));
    ASSERT_EQ(preprocessed.qualified.size(), 3u);
    EXPECT_EQ(preprocessed.qualified[0].qualifier, u"Mail"_s);
    EXPECT_EQ(preprocessed.qualified[0].value, u"*Draft*"_s);
    EXPECT_EQ(preprocessed.qualified[1].qualifier, u"Editor"_s);
    EXPECT_EQ(preprocessed.qualified[1].value, u"*"_s);
    EXPECT_EQ(preprocessed.qualified[2].qualifier, u"Web"_s);
    EXPECT_EQ(preprocessed.qualified[2].value, u"a \u25B8 b"_s);

    const auto &qualified = preprocessed.qualified;
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"Re: Draft 2"_s, qualified, u"Mail"_s),
              std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"Re: Draft 2"_s, qualified, u"Web"_s),
              u"Re: Draft 2"_s);
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"anything"_s, qualified, u"editor"_s),
              std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"x"_s, {}, u"Mail"_s), u"x"_s);
    // Inversion on either side.
    const std::vector<VXQualifiedBlacklistEntry> inverted {{u"!Mail"_s, u"!Inbox"_s}};
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"Notes"_s, inverted, u"Web"_s), std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"Inbox"_s, inverted, u"Web"_s), u"Inbox"_s);
    EXPECT_EQ(validItemNameCheckedAgainstPreprocessedQualifiedBlacklist(u"Notes"_s, inverted, u"Mail"_s), u"Notes"_s);
}

TEST(VXBlacklistTest, TheRawCheckReadsQualifiedLinesAsTheUserWroteThem)
{
    const QStringList lines {u"http*://*"_s, u"Mail \u25B8 *Draft*"_s, u"Editor \u25B8"_s, u"* \u25B8 Secret*"_s};
    // A qualified line counts for its application only.
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"Draft 1"_s, lines, u"Mail"_s), std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u" Draft 1 "_s, lines, u"Web"_s), u"Draft 1"_s);
    // An empty window part covers nothing here (unlike the prepared form, where it is "*").
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"Report"_s, lines, u"Editor"_s), u"Report"_s);
    // "*" before the triangle: the window part counts for every application.
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"Secret plan"_s, lines, u"Web"_s),
              std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"https://x"_s, lines, u"Web"_s), std::nullopt);
    // Without a qualifier every line is a whole pattern.
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"Draft 1"_s, lines, QString()), u"Draft 1"_s);
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u"Mail \u25B8 *Draft*"_s, lines, QString()),
              std::nullopt);
    EXPECT_EQ(validItemNameCheckedAgainstPotentiallyQualifiedBlacklist(u" "_s, lines, u"Mail"_s), std::nullopt);
}

TEST(VXBlacklistTest, BlacklistsAreCreatedWithTheirDefaultsAndEditedAsText)
{
    VXDictionaryRef configuration = VXMakeDictionary();
    VXArray &applications = blacklistWithName(*configuration, VXApplicationBlacklistKey);
    VXArray &windows = blacklistWithName(*configuration, VXWindowBlacklistKey);
    EXPECT_EQ(VXValue(applications.items().front()), VXValue(u"Wendle"_s));
    EXPECT_EQ(applications.size(), 1u);
    EXPECT_EQ(VXValue(windows.items().front()), VXValue(u"http*://*"_s));
    EXPECT_EQ(&blacklistWithName(*configuration, VXWindowBlacklistKey), &windows);   // created once

    // A damaged entry is started anew, with one line in the log.
    static QStringList logged;
    logged.clear();
    const QtMessageHandler previous = qInstallMessageHandler(
        [](QtMsgType, const QMessageLogContext &, const QString &message) { logged.append(message); });
    configuration->insert(VXApplicationBlacklistKey, u"damaged"_s);
    EXPECT_EQ(blacklistWithName(*configuration, VXApplicationBlacklistKey).size(), 1u);
    qInstallMessageHandler(previous);
    EXPECT_EQ(logged, QStringList {u"<Application Blacklist> is not a list; starting it anew"_s});

    VXSetBlacklistText(*configuration, VXWindowBlacklistKey, u"zeta\n\nItem 10\nitem 9"_s);
    EXPECT_EQ(&blacklistWithName(*configuration, VXWindowBlacklistKey), &windows);   // the same array, refilled
    EXPECT_EQ(windows.size(), 4u);   // the empty line is kept
    VXSortBlacklist(windows);
    EXPECT_EQ(VXBlacklistText(windows), u"item 9\nItem 10\nzeta\n"_s);
}

TEST(VXCutoffTest, TitlesAreCutBeforeTheLastOccurrenceOfTheFirstUsefulSeparator)
{
    const QStringList dash {u" - "_s};
    EXPECT_EQ(windowNameByApplyingCutoffs(u"Report - Draft - Editor"_s, dash), u"Report - Draft"_s);
    EXPECT_EQ(windowNameByApplyingCutoffs(u" - Editor"_s, dash), u" - Editor"_s);   // nothing before it
    EXPECT_EQ(windowNameByApplyingCutoffs(u"Report"_s, dash), u"Report"_s);
    EXPECT_EQ(windowNameByApplyingCutoffs(u"Report - Editor"_s, {}), u"Report - Editor"_s);
    // In order: a separator that leaves nothing gives way to the next.
    EXPECT_EQ(windowNameByApplyingCutoffs(u" | a — b"_s, QStringList {u"|"_s, u" — "_s}), u"| a"_s);
    // Found case-sensitively; empty separators are never found.
    EXPECT_EQ(windowNameByApplyingCutoffs(u"Report X Editor"_s, QStringList {u" x "_s, QString()}),
              u"Report X Editor"_s);

    VXDictionaryRef configuration = dictionary(
        {{VXCutoffsKey, dictionary({{u"text editor"_s, dictionary({{VXSeparatorsKey, strings({u" - ", u" ("})}})}})}});
    EXPECT_EQ(VXSeparatorsForApplication(cutoffs(*configuration), u"Text Editor"_s), (QStringList {u" - "_s, u" ("_s}));
    EXPECT_TRUE(VXSeparatorsForApplication(cutoffs(*configuration), u"Mail"_s).isEmpty());
    EXPECT_TRUE(VXSeparatorsForApplication(nullptr, u"Mail"_s).isEmpty());
}
