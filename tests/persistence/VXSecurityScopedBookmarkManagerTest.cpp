// The bookmark manager as the program's permission test: outside a sandbox the file system
// answers; sandboxed (when the build turns it on) stored bookmarks cover their folders and what
// lies inside them, wider bookmarks replace narrower ones, and the unlock panel is asked only
// when the caller allows it. Real folders and links in a temporary home.

#include "VXSecurityScopedBookmarkManager.h"
#include "VXPersistenceTestSupport.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <unistd.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

class PanelScript : public VXFolderAccessUserInterface
{
public:
    std::optional<QString> runUnlockPanel(const VXUnlockPanelRequest &request) override
    {
        requests.push_back(request);
        return answer;
    }
    std::optional<QString> answer;
    std::vector<VXUnlockPanelRequest> requests;
};

class BookmarkTest : public ::testing::Test
{
protected:
    BookmarkTest()
    {
        home = QDir(folder.path()).canonicalPath();
        reports = home + u"/Reports"_s;
        QDir().mkpath(reports + u"/2026"_s);
        QDir().mkpath(home + u"/Reports2"_s);
        settings.defaults->setBool(true, u"VXDebugLog"_s);
    }
    Settings settings;
    QTemporaryDir folder;
    QString home;
    QString reports;
    PanelScript panel;
    VXSecurityScopedBookmarkManager manager {*settings.defaults, &panel};
};

}   // namespace

TEST(BookmarkCoverage, AFolderCoversItselfAndWhatIsInsideItOnly)
{
    EXPECT_TRUE(VXBookmarkPathCoversPath(u"/home/ann/Reports"_s, u"/home/ann/Reports"_s));
    EXPECT_TRUE(VXBookmarkPathCoversPath(u"/home/ann/Reports"_s, u"/home/ann/Reports/2026-11-21.csv"_s));
    EXPECT_FALSE(VXBookmarkPathCoversPath(u"/home/ann/Reports"_s, u"/home/ann/Reports2"_s));
    EXPECT_FALSE(VXBookmarkPathCoversPath(u"/home/ann/Reports"_s, u"/home/ann"_s));
    EXPECT_TRUE(VXBookmarkPathCoversPath(u"/"_s, u"/etc/passwd"_s));
    EXPECT_FALSE(VXBookmarkPathCoversPath(QString(), u"/etc"_s));
}

TEST_F(BookmarkTest, LinksAreResolvedAlsoBelowAPathThatDoesNotExistYet)
{
    ASSERT_TRUE(QFile::link(reports, home + u"/Latest"_s));
    EXPECT_EQ(VXPathByResolvingSymlinks(home + u"/Latest/2026/new.csv"_s), reports + u"/2026/new.csv"_s);
    EXPECT_EQ(VXPathByResolvingSymlinks(home + u"/Latest/../Reports2/./x"_s), home + u"/Reports2/x"_s);
    EXPECT_EQ(VXPathByResolvingSymlinks(u"/nonexistent-wendle/a/b"_s), u"/nonexistent-wendle/a/b"_s);
    EXPECT_EQ(VXPathByResolvingSymlinks(QString()), QString());
}

TEST_F(BookmarkTest, OutsideASandboxTheFileSystemAnswersAndNobodyIsAsked)
{
    manager.setSandboxed(false);
    QString accessed = u"untouched"_s;
    EXPECT_TRUE(manager.confirmWriteAccessForPath(reports, false, nullptr, &accessed, {}));
    EXPECT_EQ(accessed, u"untouched"_s);   // no bookmark involved
    EXPECT_TRUE(manager.confirmWriteAccessForPath(reports + u"/new.csv"_s, true, nullptr, nullptr, {}));
    EXPECT_TRUE(manager.confirmReadAccessForPath(reports, nullptr, nullptr, {}));

    // A path that cannot be read: no, without a panel, even when asking is allowed.
    bool cancel = true;
    EXPECT_FALSE(manager.confirmReadAccessForPath(reports + u"/missing.csv"_s, &cancel, &accessed, {}));
    EXPECT_FALSE(cancel);
    EXPECT_TRUE(panel.requests.empty());
    // Even a stored bookmark does not count outside a sandbox.
    manager.setSandboxed(true);
    ASSERT_TRUE(manager.createBookmarkForURL(QUrl::fromLocalFile(reports)));
    manager.setSandboxed(false);
    EXPECT_FALSE(manager.confirmReadAccessForPath(reports + u"/missing.csv"_s, nullptr, nullptr, {}));
}

TEST_F(BookmarkTest, TheUnlockPanelIsShownOnlyWhenTheCallerMayAskAndItsChoiceBecomesABookmark)
{
    manager.setSandboxed(true);
    const QString target = home + u"/Reports2/2026-11-21.csv"_s;
    auto explanation = [](const QString &path) { return u"Wendle exports to %1."_s.arg(path); };

    bool cancel = false;
    EXPECT_FALSE(manager.confirmWriteAccessForPath(target, false, &cancel, nullptr, explanation));
    EXPECT_TRUE(cancel);
    ASSERT_EQ(panel.requests.size(), 1u);
    EXPECT_EQ(panel.requests[0].title, u"Unlock"_s);
    EXPECT_EQ(panel.requests[0].prompt, u"Unlock"_s);
    EXPECT_EQ(panel.requests[0].directoryPath, home + u"/Reports2"_s);
    EXPECT_EQ(panel.requests[0].explanation, u"Wendle exports to %1."_s.arg(target));

    // A folder that does not hold the path: no use.
    VXLogCapture log;
    panel.answer = reports;
    EXPECT_FALSE(manager.confirmWriteAccessForPath(target, false, &cancel, nullptr, {}));
    EXPECT_FALSE(cancel);
    EXPECT_TRUE(manager.bookmarksByPath().empty());
    EXPECT_TRUE(log.peek().contains(
        u"[Wendle Debug Log] [Security-Scoped Bookmark Manager] confused by useless bookmark for URL: %1 (requested URL: %2)"_s
            .arg(QUrl::fromLocalFile(reports).toString(), QUrl::fromLocalFile(target).toString())));

    // The folder that holds it: granted, remembered, and not asked again.
    panel.answer = home + u"/Reports2"_s;
    EXPECT_TRUE(manager.confirmWriteAccessForPath(target, false, &cancel, nullptr, {}));
    EXPECT_EQ(panel.requests.size(), 3u);
    EXPECT_TRUE(manager.bookmarksByPath().contains(home + u"/Reports2"_s));
    QString accessed;
    EXPECT_TRUE(manager.confirmWriteAccessForPath(target, false, &cancel, &accessed, {}));
    EXPECT_EQ(accessed, home + u"/Reports2"_s);
    EXPECT_EQ(panel.requests.size(), 3u);

    // Through the parent folder the panel is titled for a folder.
    EXPECT_FALSE(manager.confirmWriteAccessForPath(u"/nonexistent-wendle/Configurations/Default.plist"_s, true, &cancel,
                                                   nullptr, {}));
    ASSERT_EQ(panel.requests.size(), 4u);
    EXPECT_EQ(panel.requests.back().title, u"Unlock Folder"_s);
    EXPECT_EQ(panel.requests.back().directoryPath, u"/nonexistent-wendle"_s);
}
