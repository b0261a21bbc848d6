// The help pages as the program shows them: every page there in English, every translated copy
// whole (its links reaching pages of the program, its language said), the copy in the language
// the translation was loaded in chosen page by page, and the help window opened at a page with
// its links kept within the chosen language. CTest runs this under a German locale and under a
// locale Wendle has no translation for.

#include "VXShellTestSupport.h"

#include "VXHelpPages.h"
#include "VXHelpWindow.h"
#include "VXTranslations.h"

#include <QDirIterator>
#include <QListWidget>
#include <QRegularExpression>
#include <QTextBrowser>

#include <gtest/gtest.h>

using namespace vxshelltest;
using namespace Qt::StringLiterals;

namespace {

QString pageText(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The language the program's translation is expected to have been loaded in, from LANG.
QString expectedLanguage()
{
    return qEnvironmentVariable("LANG").startsWith(u"de"_s) ? u"de"_s : QString();
}

}   // namespace

TEST(HelpPages, EveryCopyIsWholeAndLinksOnlyToPagesOfTheProgram)
{
    application();
    static const QRegularExpression link(uR"re(href="([^"]*)")re"_s);
    static const QRegularExpression language(uR"re(<html lang="([a-z]+)")re"_s);
    const QStringList pages = VXHelpPages::names();
    QStringList folders {QString()};
    for (QDirIterator it(u":/help"_s, QDir::Dirs | QDir::NoDotAndDotDot); it.hasNext();)
        folders << QFileInfo(it.next()).fileName() + u'/';
    ASSERT_GE(folders.size(), 2) << "no translated help pages are compiled in";
    for (const QString &folder : folders) {
        for (const QString &page : pages) {
            const QString path = u":/help/"_s + folder + page + u".html"_s;
            SCOPED_TRACE(path.toStdString());
            const QString text = pageText(path);
            ASSERT_FALSE(text.isEmpty()) << "the page is missing";
            const QString lang = language.match(text).captured(1);
            EXPECT_EQ(lang, folder.isEmpty() ? u"en"_s : folder.chopped(1));
            int links = 0;
            for (auto it = link.globalMatch(text); it.hasNext(); ++links) {
                const QString target = it.next().captured(1);
                if (target.contains(u':'))
                    continue;   // another site, opened in the browser
                EXPECT_TRUE(target.endsWith(u".html"_s) && pages.contains(target.chopped(5)))
                    << "a link to " << target.toStdString() << ", which is no page";
            }
            EXPECT_GE(links, pages.size()) << "the pages' list at its foot is incomplete";
        }
    }
}

TEST(HelpPages, TheWindowOpensAtAPageInTheTranslationsLanguage)
{
    application();
    const QString expected = expectedLanguage();
    EXPECT_EQ(VXTranslations::install(), !expected.isEmpty());
    EXPECT_EQ(VXTranslations::language().section(u'_', 0, 0), expected);
    const QString folder = expected.isEmpty() ? u"/help/"_s : u"/help/"_s + expected + u'/';

    // What the running program does for `wendle --help-page pools`.
    ShellFixture program;
    program.shell = std::make_unique<VXApplicationShell>(*program.defaults);
    program.shell->showHelpPage(u"pools"_s);
    VXHelpWindow *help = program.shell->helpWindow();
    ASSERT_NE(help, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(help));
    EXPECT_EQ(help->currentPage(), u"pools"_s);
    EXPECT_EQ(help->browser()->source().path(), folder + u"pools.html"_s);
    // The page's list shows the titles of the copies shown, the page shown chosen in it.
    const QString title = help->browser()->documentTitle();
    const QListWidget *topics = help->findChild<QListWidget *>();
    EXPECT_FALSE(topics->findItems(title, Qt::MatchExactly).isEmpty()) << title.toStdString();
    EXPECT_EQ(topics->currentItem()->text(), title);

    // A link from one page to another keeps to the language, and the list follows.
    Q_EMIT help->browser()->anchorClicked(QUrl(u"modes.html"_s));
    EXPECT_EQ(help->browser()->source().path(), folder + u"modes.html"_s);
    EXPECT_EQ(help->currentPage(), u"modes"_s);
    EXPECT_EQ(topics->currentItem()->text(), help->browser()->documentTitle());
}
