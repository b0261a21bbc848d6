// Desktop entries: the reader, the index of the application folders and the resolver that turns
// a process and its window hints into an application. Real files in temporary folders; no display.

#include "VXDesktopEntry.h"
#include "VXApplicationResolver.h"
#include "VXDesktopEntryIndex.h"
#include "VXSeededRandom.h"
#include "VXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <QElapsedTimer>
#include <QThread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

QByteArray entryText(const QByteArray &name, const QByteArray &extra = QByteArray())
{
    return "[Desktop Entry]\nType=Application\nName=" + name + "\nExec=true\n" + extra;
}

}   // namespace

TEST(VXDesktopEntry, ReadsOnlyTheDesktopEntryGroupWithItsLocalizedNames)
{
    const QByteArray text = "# a comment before anything\r\n"
                            "[Desktop Action early]\nName=Not this one\n"
                            "\n"
                            "[Desktop Entry]\r\n"
                            "  # indented comment\n"
                            "Type=Application\n"
                            "Name = Text\\sEditor\\\\One \r\n"
                            "Name=Second Name Is Ignored\n"
                            "Name[de]=Texteditor\n"
                            "Name[pt_BR]=Editor de texto\n"
                            "Name[sr@latin]=Uređivač\n"
                            "StartupWMClass=GEdit\n"
                            "NoDisplay=true\n"
                            "no equals sign here\n"
                            "=value without key\n"
                            "[Desktop Action new-window]\nName=New Window\nStartupWMClass=Wrong\n";
    VXDesktopEntry entry;
    ASSERT_TRUE(VXDesktopEntry::parse(text, entry));
    EXPECT_EQ(entry.name, u"Text Editor\\One"_s);
    EXPECT_EQ(entry.startupWMClass, u"GEdit"_s);
    EXPECT_EQ(entry.localizedNames.size(), 3);
    EXPECT_EQ(entry.localizedNames.value(u"sr@latin"_s), u"Uređivač"_s);

    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(u"pt_BR.UTF-8"_s)), u"Editor de texto"_s);
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(u"de_AT"_s)), u"Texteditor"_s);
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(u"fr_FR"_s)), u"Text Editor\\One"_s);
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(u"sr_RS@latin"_s)), u"Uređivač"_s);
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(u"C"_s)), u"Text Editor\\One"_s);

    VXDesktopEntry none;
    EXPECT_FALSE(VXDesktopEntry::parse("[Desktop Action x]\nName=Only an action\n", none));
    EXPECT_FALSE(VXDesktopEntry::parse("Name=No group at all\n", none));
    EXPECT_FALSE(VXDesktopEntry::parse(QByteArray(), none));
}

TEST(VXDesktopEntry, LocaleFormsAndIDs)
{
    EXPECT_EQ(VXDesktopEntry::localeForms(u"pt_BR.UTF-8@euro"_s),
              QStringList({u"pt_BR@euro"_s, u"pt_BR"_s, u"pt@euro"_s, u"pt"_s}));
    EXPECT_EQ(VXDesktopEntry::localeForms(u"de_DE"_s), QStringList({u"de_DE"_s, u"de"_s}));
    EXPECT_EQ(VXDesktopEntry::localeForms(u"de"_s), QStringList({u"de"_s}));
    EXPECT_TRUE(VXDesktopEntry::localeForms(u"POSIX"_s).isEmpty());

    EXPECT_EQ(VXDesktopEntry::idForRelativePath(u"kde4/konsole.desktop"_s), u"kde4-konsole"_s);
    EXPECT_EQ(VXDesktopEntry::idForRelativePath(u"org.gnome.TextEditor.desktop"_s), u"org.gnome.TextEditor"_s);
    EXPECT_TRUE(VXDesktopEntry::idForRelativePath(u"readme.txt"_s).isEmpty());
    EXPECT_TRUE(VXDesktopEntry::idForRelativePath(u".desktop"_s).isEmpty());
}

TEST(VXDesktopEntry, SurvivesHostileFiles)
{
    // Invalid UTF-8 is replaced, not fatal.
    VXDesktopEntry broken;
    ASSERT_TRUE(VXDesktopEntry::parse("[Desktop Entry]\nName=Bad \xff\xfe bytes\xc3\nStartupWMClass=ok\n", broken));
    EXPECT_TRUE(broken.name.startsWith(u"Bad "_s));
    EXPECT_EQ(broken.startupWMClass, u"ok"_s);

    // A line past the bound is skipped; what follows it is still read.
    VXDesktopEntry longLine;
    const QByteArray huge(VXDesktopEntry::kMaximumLineLength + 10, 'x');
    ASSERT_TRUE(VXDesktopEntry::parse("[Desktop Entry]\nName=" + huge + "\nName=After\n", longLine));
    EXPECT_EQ(longLine.name, u"After"_s);

    // Too many localized names are cut at the bound.
    QByteArray many = "[Desktop Entry]\nName=Many\n";
    for (int i = 0; i < VXDesktopEntry::kMaximumLocalizedNames + 100; ++i)
        many += "Name[x" + QByteArray::number(i) + "]=n\n";
    VXDesktopEntry manyNames;
    ASSERT_TRUE(VXDesktopEntry::parse(many, manyNames));
    EXPECT_EQ(manyNames.localizedNames.size(), VXDesktopEntry::kMaximumLocalizedNames);

    // A file past the size bound is refused whole, in memory and on disk.
    QByteArray big = entryText("Big");
    big += QByteArray(VXDesktopEntry::kMaximumFileSize, '#');
    VXDesktopEntry bigEntry;
    EXPECT_FALSE(VXDesktopEntry::parse(big, bigEntry));
    QTemporaryDir dir;
    ASSERT_TRUE(VXWriteFile(dir.filePath(u"big.desktop"_s), big));
    EXPECT_FALSE(VXDesktopEntry::read(dir.filePath(u"big.desktop"_s), bigEntry));
    EXPECT_FALSE(VXDesktopEntry::read(dir.filePath(u"missing.desktop"_s), bigEntry));

    // Random bytes, and random mutations of a good file, never crash and end.
    VXSeededRandom random(20240521);
    const QByteArray good = entryText("Good", "Name[de]=Gut\nStartupWMClass=good\n");
    for (int round = 0; round < 2000; ++round) {
        QByteArray data = good;
        if (round % 2) {
            data = QByteArray(random.below(4096), Qt::Uninitialized);
            for (char &c : data)
                c = char(random.below(256));
        } else {
            for (int i = 0; i < 8; ++i)
                data[random.below(int(data.size()))] = char(random.below(256));
        }
        VXDesktopEntry entry;
        VXDesktopEntry::parse(data, entry);
        EXPECT_LE(entry.localizedNames.size(), VXDesktopEntry::kMaximumLocalizedNames);
    }
}

TEST(VXDesktopEntryIndex, FoldersComeFromTheEnvironment)
{
    {
        VXScopedEnvironment home("XDG_DATA_HOME", "/tmp/wendle-home-data");
        VXScopedEnvironment dirs("XDG_DATA_DIRS", "/opt/one:relative/ignored::/opt/two/");
        EXPECT_EQ(VXDesktopEntryIndex::applicationFolders(),
                  QStringList({u"/tmp/wendle-home-data/applications"_s, u"/opt/one/applications"_s,
                               u"/opt/two/applications"_s}));
    }
    VXScopedEnvironment home("XDG_DATA_HOME", std::nullopt);
    VXScopedEnvironment dirs("XDG_DATA_DIRS", std::nullopt);
    EXPECT_EQ(VXDesktopEntryIndex::applicationFolders(),
              QStringList({QDir::homePath() + u"/.local/share/applications"_s, u"/usr/local/share/applications"_s,
                           u"/usr/share/applications"_s}));
}

TEST(VXDesktopEntryIndex, MatchesIDsAndWindowClassesInPrecedenceOrder)
{
    QTemporaryDir temporary;
    const QString home = temporary.filePath(u"home/applications"_s);
    const QString system = temporary.filePath(u"system/applications"_s);
    ASSERT_TRUE(VXWriteFile(home + u"/org.example.Viewer.desktop"_s, entryText("Home Viewer")));
    ASSERT_TRUE(VXWriteFile(system + u"/org.example.Viewer.desktop"_s, entryText("System Viewer")));
    ASSERT_TRUE(VXWriteFile(system + u"/sampleterm.desktop"_s, entryText("Matched By File Name")));
    ASSERT_TRUE(
        VXWriteFile(system + u"/tools/other.desktop"_s, entryText("Matched By Class", "StartupWMClass=SampleTerm\n")));
    ASSERT_TRUE(VXWriteFile(system + u"/gimp.desktop"_s, entryText("GIMP")));
    ASSERT_TRUE(VXWriteFile(system + u"/notes.txt"_s, entryText("Not an entry")));
    ASSERT_TRUE(VXWriteFile(system + u"/broken.desktop"_s, "garbage without a group"));

    VXDesktopEntryIndex index({home, system, temporary.filePath(u"missing/applications"_s)});
    const VXDesktopEntry *viewer = index.entryForID(u"org.example.Viewer"_s);
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->name, u"Home Viewer"_s);   // the earlier folder hides the later
    EXPECT_EQ(viewer->path, home + u"/org.example.Viewer.desktop"_s);
    EXPECT_EQ(index.entryForID(u"org.example.Viewer.desktop"_s), viewer);
    EXPECT_EQ(index.entryForID(u"/usr/share/applications/org.example.Viewer.desktop"_s), viewer);
    EXPECT_EQ(index.entryForID(u"ORG.EXAMPLE.VIEWER"_s), viewer);
    EXPECT_EQ(index.entryForID(u"broken"_s), nullptr);
    EXPECT_EQ(index.entryForID(u"notes"_s), nullptr);

    // Window classes: StartupWMClass before the file name; the reverse-DNS prefix on either side.
    const VXDesktopEntry *term = index.entryForWMClass(u"sampleterm"_s);
    ASSERT_NE(term, nullptr);
    EXPECT_EQ(term->id, u"tools-other"_s);
    EXPECT_EQ(index.entryForWMClass(u"viewer"_s), viewer);
    EXPECT_EQ(index.entryForWMClass(u"Org.Example.Viewer"_s), viewer);
    EXPECT_EQ(index.entryForWMClass(u"org.gimp.GIMP"_s)->name, u"GIMP"_s);
    EXPECT_EQ(index.entryForWMClass(u"unknown"_s), nullptr);
    EXPECT_EQ(index.entryForWMClass(QString()), nullptr);
    EXPECT_EQ(index.buildCount(), 1);
}

TEST(VXDesktopEntryIndex, LooksAtTheFoldersAgainOnlyAfterTheInterval)
{
    QTemporaryDir temporary;
    const QString folder = temporary.filePath(u"applications"_s);
    const QString later = temporary.filePath(u"later/applications"_s);
    ASSERT_TRUE(VXWriteFile(folder + u"/first.desktop"_s, entryText("First")));

    // Within the interval nothing is looked at: a new entry stays unseen.
    VXDesktopEntryIndex patient({folder}, 60 * 60 * 1000);
    ASSERT_NE(patient.entryForID(u"first"_s), nullptr);
    ASSERT_TRUE(VXWriteFile(folder + u"/second.desktop"_s, entryText("Second")));
    EXPECT_EQ(patient.entryForID(u"second"_s), nullptr);
    EXPECT_EQ(patient.buildCount(), 1);

    // With no interval, an unchanged folder is not reread, a changed one is, and so is a
    // folder that did not exist before (and a new subfolder).
    VXDesktopEntryIndex eager({folder, later}, 0);
    ASSERT_NE(eager.entryForID(u"second"_s), nullptr);
    for (int i = 0; i < 5; ++i)
        EXPECT_NE(eager.entryForID(u"first"_s), nullptr);
    EXPECT_EQ(eager.buildCount(), 1);
    ASSERT_TRUE(VXWriteFile(later + u"/third.desktop"_s, entryText("Third")));
    EXPECT_NE(eager.entryForID(u"third"_s), nullptr);
    EXPECT_EQ(eager.buildCount(), 2);
    ASSERT_TRUE(VXWriteFile(folder + u"/sub/fourth.desktop"_s, entryText("Fourth")));
    EXPECT_NE(eager.entryForID(u"sub-fourth"_s), nullptr);
    ASSERT_TRUE(QFile::remove(folder + u"/first.desktop"_s));
    EXPECT_EQ(eager.entryForID(u"first"_s), nullptr);
    EXPECT_EQ(eager.buildCount(), 4);
}

TEST(VXDesktopEntryIndex, SpecialFilesAndCrowdedFoldersHoldNothingBack)
{
    // In memory where there is such a file system: twenty thousand files on a disk take seconds.
    const QString shared = u"/dev/shm"_s;
    QTemporaryDir temporary(QFileInfo(shared).isWritable() ? shared + u"/wendle-test-XXXXXX"_s
                                                           : QDir::tempPath() + u"/wendle-test-XXXXXX"_s);
    const QString crowded = temporary.filePath(u"crowded/applications"_s);
    const QString system = temporary.filePath(u"system/applications"_s);
    ASSERT_TRUE(VXWriteFile(system + u"/org.example.Editor.desktop"_s, entryText("Editor")));
    // Entries that name a FIFO (directly and through a symbolic link) or a device: opening one
    // for reading used to wait for a writer for good.
    ASSERT_TRUE(QDir().mkpath(crowded));
    const QString fifo = temporary.filePath(u"fifo"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(fifo, crowded + u"/aa-fifo-link.desktop"_s));
    ASSERT_EQ(::mkfifo(QFile::encodeName(crowded + u"/aa-fifo.desktop"_s).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(u"/dev/zero"_s, crowded + u"/aa-zero.desktop"_s));
    // And more entries in one folder than it may hold: the next folder is indexed all the same.
    for (int i = 0; i < 20000; ++i) {
        ASSERT_TRUE(VXWriteFile(crowded + u"/junk-%1.desktop"_s.arg(i, 5, 10, QLatin1Char('0')), entryText("Junk")));
    }

    VXDesktopEntryIndex index({crowded, system});
    std::atomic<bool> built = false;
    std::thread building([&] {
        index.refreshIfStale();
        built = true;
    });
    QElapsedTimer timer;
    timer.start();
    while (!built && timer.elapsed() < 20000)
        QThread::msleep(10);
    const bool builtInTime = built;
    if (!builtInTime) {
        // Release the reader stuck on a FIFO, so that the test ends.
        for (const QString &name : {u"/aa-fifo-link.desktop"_s, u"/aa-fifo.desktop"_s})
            ::close(::open(QFile::encodeName(crowded + name).constData(), O_WRONLY | O_NONBLOCK));
    }
    building.join();
    ASSERT_TRUE(builtInTime) << "the index hung on a special file";
    EXPECT_NE(index.entryForID(u"org.example.Editor"_s), nullptr);
    EXPECT_EQ(index.entryForID(u"aa-fifo-link"_s), nullptr);
    EXPECT_EQ(index.entryForID(u"aa-fifo"_s), nullptr);
    EXPECT_EQ(index.entryForID(u"aa-zero"_s), nullptr);
}

TEST(VXApplicationResolver, NamesProcessesThroughEntriesElseTheirExecutable)
{
    QTemporaryDir temporary;
    const QString folder = temporary.filePath(u"applications"_s);
    ASSERT_TRUE(VXWriteFile(folder + u"/org.example.Editor.desktop"_s,
                            entryText("Editor", "Name[de]=Bearbeiter\nName[de_CH]=Bearbeiter (CH)\n")));
    VXDesktopEntryIndex index({folder}, 60 * 60 * 1000);
    VXApplicationResolver resolver(index, VXDesktopEntry::localeForms(u"de_DE"_s));

    const std::int64_t self = ::getpid();
    const QString executable = QFileInfo(u"/proc/self/exe"_s).canonicalFilePath();
    EXPECT_GT(VXApplicationResolver::processStartTime(self), 0u);
    EXPECT_EQ(VXApplicationResolver::processExecutable(self), executable);

    // Matched by WM_CLASS: the entry is the bundle, its German name the name.
    VXRunningApplication application;
    resolver.resolve(self, {QString(), u"editor"_s, u"Editor"_s}, false, application);
    EXPECT_EQ(application.processIdentifier, self);
    EXPECT_EQ(application.bundleIdentifier, u"org.example.Editor"_s);
    EXPECT_EQ(application.bundlePath, folder + u"/org.example.Editor.desktop"_s);
    EXPECT_EQ(application.localizedName, u"Bearbeiter"_s);
    EXPECT_EQ(resolver.processReads(), 1);

    // The same process again costs nothing; a check reads its start time once more.
    resolver.resolve(self, {QString(), u"editor"_s, u"Editor"_s}, false, application);
    EXPECT_EQ(resolver.processReads(), 1);
    resolver.resolve(self, {QString(), u"editor"_s, u"Editor"_s}, true, application);
    EXPECT_EQ(resolver.processReads(), 2);
    EXPECT_EQ(application.bundleIdentifier, u"org.example.Editor"_s);

    // No entry: the executable is the bundle, the class the name; without a class, the file name.
    resolver.resolve(self, {QString(), u"nothing"_s, u"Nothing"_s}, false, application);
    EXPECT_TRUE(application.bundleIdentifier.isEmpty());
    EXPECT_EQ(application.bundlePath, executable);
    EXPECT_EQ(application.localizedName, u"Nothing"_s);
    resolver.resolve(self, {}, false, application);
    EXPECT_EQ(application.localizedName, QFileInfo(executable).fileName());
    EXPECT_EQ(resolver.processReads(), 2);

    // A desktop-file ID from the window wins over the class.
    resolver.resolve(self, {u"org.example.Editor"_s, u"x"_s, u"X"_s}, false, application);
    EXPECT_EQ(application.bundleIdentifier, u"org.example.Editor"_s);

    // A forgotten process is read again; an unknown one has neither executable nor start time.
    resolver.retainProcesses({});
    resolver.resolve(self, {}, false, application);
    EXPECT_EQ(resolver.processReads(), 3);
    const std::int64_t absent = 0x7ffffff0;
    EXPECT_EQ(VXApplicationResolver::processStartTime(absent), 0u);
    resolver.resolve(absent, {}, false, application);
    EXPECT_TRUE(application.bundlePath.isEmpty());
    EXPECT_TRUE(application.localizedName.isEmpty());

    // An unknown process (-1) is named by its hints alone.
    resolver.resolve(-1, {QString(), u"editor"_s, u"Editor"_s}, false, application);
    EXPECT_EQ(application.processIdentifier, -1);
    EXPECT_EQ(application.bundleIdentifier, u"org.example.Editor"_s);
}
