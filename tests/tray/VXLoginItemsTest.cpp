// Starting at login, on real files: the user's autostart folder and a system-wide one in a
// temporary folder, and a real executable file standing in for Wendle.

#include "VXLoginItems.h"
#include "VXAutostartFolder.h"
#include "VXDesktopEntry.h"
#include "VXTestSettings.h"
#include "VXTestSupport.h"
#include "VXVirtualScheduler.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QStringList strings(std::initializer_list<const char *> texts)
{
    QStringList list;
    for (const char *text : texts)
        list << QString::fromUtf8(text);
    return list;
}

class Delegate : public VXLoginItemDelegate
{
public:
    bool isApplicationHidden() const override { return hidden; }
    bool showHiddenLoginItemAlert(const QString &title, const QString &text, const QString &button) override
    {
        alerts << title << text << button;
        return press;
    }
    bool hidden = true;
    bool press = true;
    QStringList alerts;
};

class LoginItemsTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VXEnsureCoreApplication();
        ASSERT_TRUE(root.isValid());
        user = root.filePath(QStringLiteral("config/autostart"));
        system = root.filePath(QStringLiteral("xdg/autostart"));
        ours = makeExecutable(QStringLiteral("Programs/Wendle Tracker/wendle"));
    }

    QString makeExecutable(const QString &relativePath)
    {
        const QString path = root.filePath(relativePath);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        return QFileInfo(path).canonicalFilePath();
    }

    static void writeFile(const QString &path, const QByteArray &contents)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(contents);
    }

    static QByteArray entryFor(const QString &executable, const QByteArray &extra = QByteArray())
    {
        return "[Desktop Entry]\nType=Application\nName=X\nExec="
            + VXAutostartFolder::commandLineForExecutable(executable).toUtf8() + " --flag\n" + extra;
    }

    QStringList userFiles() const { return QDir(user).entryList(QDir::Files, QDir::Name); }

    VXDesktopEntry readUser(const QString &name) const
    {
        VXDesktopEntry entry;
        EXPECT_TRUE(VXDesktopEntry::read(user + u'/' + name, entry)) << name.toStdString();
        return entry;
    }

    QTemporaryDir root;
    QString user;
    QString system;
    QString ours;
};

TEST_F(LoginItemsTest, CommandLinesNameTheExecutableTheyStart)
{
    // Paths that need quoting, escaping in quotes, and doubling of "%" in the file survive the trip
    // through a written entry and back.
    const QString plain = makeExecutable(QStringLiteral("bin/wendle"));
    const QString odd = makeExecutable(QStringLiteral("a \"b\" $c `d` 100%\\e/wendle"));
    for (const QString &path : {plain, ours, odd}) {
        SCOPED_TRACE(path.toStdString());
        VXAutostartFolder folder(user, {});
        ASSERT_TRUE(folder.insert(path));
        const VXDesktopEntry entry = readUser(VXAutostartFolder::kEntryFileName);
        EXPECT_EQ(VXAutostartFolder::executableForCommandLine(entry.exec), path);
        EXPECT_EQ(entry.type, QStringLiteral("Application"));
        QFile::remove(user + u'/' + VXAutostartFolder::kEntryFileName);
    }
    EXPECT_EQ(VXAutostartFolder::commandLineForExecutable(plain), plain);

    // A bare name is looked up on PATH; a relative path, an unterminated quote or nothing is no
    // executable at all.
    const QByteArray oldPath = qgetenv("PATH");
    qputenv("PATH", QFileInfo(plain).path().toUtf8());
    EXPECT_EQ(VXAutostartFolder::executableForCommandLine(QStringLiteral("wendle --tray")), plain);
    qputenv("PATH", oldPath);
    for (const char *line : {"bin/wendle", "\"/usr/bin/wendle", "", "   "})
        EXPECT_TRUE(VXAutostartFolder::executableForCommandLine(QString::fromUtf8(line)).isEmpty()) << line;
}

TEST_F(LoginItemsTest, EnablingKeepsOneEntryAndRemovesStrayCopies)
{
    const QString stray = makeExecutable(QStringLiteral("Old/WENDLE"));
    const QString other = makeExecutable(QStringLiteral("bin/othertool"));
    writeFile(user + QStringLiteral("/old-wendle.desktop"), entryFor(stray));
    writeFile(user + QStringLiteral("/othertool.desktop"), entryFor(other));
    writeFile(user + QStringLiteral("/broken.desktop"), "not a desktop entry");

    VXAutostartFolder folder(user, {system});
    VXLoginItems items(folder, ours, QStringLiteral("Wendle"));
    EXPECT_FALSE(items.isLoginItem());
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_TRUE(items.setLoginItem(true, true));
    EXPECT_TRUE(items.isLoginItem());
    EXPECT_FALSE(items.isLoginItemHidden());
    // One entry of ours; the copy elsewhere is gone; another program's and an unreadable entry stay.
    EXPECT_EQ(userFiles(), strings({"broken.desktop", "othertool.desktop", "wendle.desktop"}));

    // An entry naming our path in other letter case is ours.
    QFile::remove(user + QStringLiteral("/wendle.desktop"));
    writeFile(user + QStringLiteral("/mine.desktop"), entryFor(ours.toUpper()));
    EXPECT_TRUE(items.isLoginItem());
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_FALSE(QFile::exists(user + QStringLiteral("/wendle.desktop")));

    // Disabling removes ours, and a stray copy that came back; a second time it has nothing to do.
    writeFile(user + QStringLiteral("/old-wendle.desktop"), entryFor(stray));
    EXPECT_TRUE(items.setLoginItem(false));
    EXPECT_FALSE(items.setLoginItem(false));
    EXPECT_FALSE(items.isLoginItem());
    EXPECT_EQ(userFiles(), strings({"broken.desktop", "othertool.desktop"}));
}

TEST_F(LoginItemsTest, SystemWideEntriesAreRespected)
{
    writeFile(system + QStringLiteral("/wendle.desktop"), entryFor(ours));
    VXAutostartFolder folder(user, {system});
    VXLoginItems items(folder, ours, QStringLiteral("Wendle"));

    // Started by the system-wide entry: enabling writes nothing of its own.
    EXPECT_TRUE(items.isLoginItem());
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_TRUE(userFiles().isEmpty());

    // Disabling cannot delete it: a user entry switches it off, and enabling takes that back.
    EXPECT_TRUE(items.setLoginItem(false));
    EXPECT_FALSE(items.isLoginItem());
    EXPECT_TRUE(readUser(QStringLiteral("wendle.desktop")).hidden);
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_TRUE(items.isLoginItem());
    EXPECT_FALSE(items.isLoginItemHidden());

    // A person's own switch (a hidden copy that still names Wendle) is kept by enabling; the
    // warning asks, and only while no window is shown.
    writeFile(user + QStringLiteral("/wendle.desktop"), entryFor(ours, "Hidden=true\n"));
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_TRUE(items.isLoginItemHidden());
    Delegate delegate;
    delegate.hidden = false;
    EXPECT_FALSE(items.showHiddenLoginItemWarning(delegate));
    delegate.hidden = true;
    delegate.press = false;
    EXPECT_FALSE(items.showHiddenLoginItemWarning(delegate));
    EXPECT_TRUE(items.isLoginItemHidden());
    EXPECT_EQ(delegate.alerts,
              strings({"Wendle Login Item set to Hidden",
                       "Wendle may not function properly if set to run at login and marked Hidden. To make sure "
                       "Wendle works as expected, click the button below to remove the Hidden option from "
                       "Wendle's Login Items entry.",
                       "Unhide Wendle"}));
    delegate.press = true;
    EXPECT_TRUE(items.showHiddenLoginItemWarning(delegate));
    EXPECT_TRUE(items.isLoginItem());
    EXPECT_FALSE(items.isLoginItemHidden());
}

TEST_F(LoginItemsTest, WarningAndAutomaticSwitchesFollowTheirSettings)
{
    vxtest::Settings settings;
    VXAutostartFolder folder(user, {});
    VXLoginItems items(folder, ours, QStringLiteral("Wendle"));
    settings.defaults->setBool(false, VXDefaultsKey::kEnableLoginItemAutomatically);
    EXPECT_FALSE(items.enableAtLaunch(*settings.defaults));
    EXPECT_FALSE(items.isLoginItem());
    settings.defaults->removeObjectForKey(VXDefaultsKey::kEnableLoginItemAutomatically);   // on by default
    EXPECT_TRUE(items.enableAtLaunch(*settings.defaults));
    EXPECT_TRUE(items.isLoginItem());

    // The warning comes half a second after it is asked for, and unhides the entry.
    writeFile(user + QStringLiteral("/wendle.desktop"), entryFor(ours, "Hidden=true\n"));
    VXVirtualScheduler scheduler;
    Delegate delegate;
    items.showHiddenLoginItemWarningAfterDelay(scheduler, delegate);
    scheduler.advanceBy(0.4);
    EXPECT_TRUE(delegate.alerts.isEmpty());
    scheduler.advanceBy(0.2);
    EXPECT_EQ(delegate.alerts.size(), 3);
    EXPECT_FALSE(items.isLoginItemHidden());

    settings.defaults->setBool(false, VXDefaultsKey::kDisableLoginItemAutomatically);
    EXPECT_FALSE(items.disableAtQuit(*settings.defaults));
    EXPECT_TRUE(items.isLoginItem());
    settings.defaults->setBool(true, VXDefaultsKey::kDisableLoginItemAutomatically);
    EXPECT_TRUE(items.disableAtQuit(*settings.defaults));
    EXPECT_FALSE(items.isLoginItem());
}

TEST_F(LoginItemsTest, BadFoldersAndDamagedEntriesAreNamedAndNothingIsLost)
{
    // Something that is not a folder where the autostart folder belongs.
    writeFile(user, "a file");
    {
        VXAutostartFolder folder(user, {});
        VXLoginItems items(folder, ours, QStringLiteral("Wendle"));
        VXLogCapture log;
        EXPECT_FALSE(items.setLoginItem(true));
        EXPECT_FALSE(items.isLoginItem());
        EXPECT_EQ(log.take(),
                  strings({"[VXLoginItem] cannot create shared file list",
                           "[VXLoginItem] cannot create shared file list while determining login item status"}));
    }
    // A folder that cannot be made (a file is in the way of its parent): the insertion fails.
    {
        VXAutostartFolder folder(user + QStringLiteral("/autostart"), {});
        VXLoginItems items(folder, ours, QStringLiteral("Wendle"));
        VXLogCapture log("wendle.controller");
        EXPECT_FALSE(items.setLoginItem(true));
        EXPECT_EQ(log.take(), strings({"[VXLoginItem] cannot insert login item"}));
    }
    QFile::remove(user);

    // An unreadable file under our name is not ours: it stays, and ours gets a name of its own.
    writeFile(user + QStringLiteral("/wendle.desktop"), "\x01\x02 garbage");
    VXAutostartFolder folder(user, {});
    VXLoginItems items(folder, ours, QStringLiteral("Wendle"));
    {
        VXLogCapture log("wendle.controller");
        EXPECT_FALSE(items.isLoginItem());
        EXPECT_EQ(log.take(), strings({"[VXLoginItem] cannot resolve login item while determining login item status"}));
    }
    EXPECT_TRUE(items.setLoginItem(true));
    EXPECT_EQ(userFiles(), strings({"wendle-2.desktop", "wendle.desktop"}));
    EXPECT_EQ(VXAutostartFolder::executableForCommandLine(readUser(QStringLiteral("wendle-2.desktop")).exec), ours);

    // A damaged entry of ours (no longer an application entry) is written again, hidden state kept.
    QFile::remove(user + QStringLiteral("/wendle-2.desktop"));
    writeFile(user + QStringLiteral("/mine.desktop"),
              "[Desktop Entry]\nExec=" + VXAutostartFolder::commandLineForExecutable(ours).toUtf8()
                  + "\nHidden=true\n");
    EXPECT_TRUE(items.setLoginItem(true));
    const VXDesktopEntry mended = readUser(QStringLiteral("mine.desktop"));
    EXPECT_EQ(mended.type, QStringLiteral("Application"));
    EXPECT_TRUE(mended.hidden);
    EXPECT_EQ(userFiles(), strings({"mine.desktop", "wendle.desktop"}));
}

}   // namespace
