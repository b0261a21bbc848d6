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
    EXPECT_EQ(entry.name, QStringLiteral("Text Editor\\One"));
    EXPECT_EQ(entry.startupWMClass, QStringLiteral("GEdit"));
    EXPECT_EQ(entry.localizedNames.size(), 3);
    EXPECT_EQ(entry.localizedNames.value(QStringLiteral("sr@latin")), QStringLiteral("Uređivač"));

    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(QStringLiteral("pt_BR.UTF-8"))),
              QStringLiteral("Editor de texto"));
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(QStringLiteral("de_AT"))), QStringLiteral("Texteditor"));
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(QStringLiteral("fr_FR"))),
              QStringLiteral("Text Editor\\One"));
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(QStringLiteral("sr_RS@latin"))),
              QStringLiteral("Uređivač"));
    EXPECT_EQ(entry.localizedName(VXDesktopEntry::localeForms(QStringLiteral("C"))),
              QStringLiteral("Text Editor\\One"));

    VXDesktopEntry none;
    EXPECT_FALSE(VXDesktopEntry::parse("[Desktop Action x]\nName=Only an action\n", none));
    EXPECT_FALSE(VXDesktopEntry::parse("Name=No group at all\n", none));
    EXPECT_FALSE(VXDesktopEntry::parse(QByteArray(), none));
}

TEST(VXDesktopEntry, LocaleFormsAndIDs)
{
    EXPECT_EQ(VXDesktopEntry::localeForms(QStringLiteral("pt_BR.UTF-8@euro")),
              QStringList({QStringLiteral("pt_BR@euro"), QStringLiteral("pt_BR"), QStringLiteral("pt@euro"),
                           QStringLiteral("pt")}));
    EXPECT_EQ(VXDesktopEntry::localeForms(QStringLiteral("de_DE")),
              QStringList({QStringLiteral("de_DE"), QStringLiteral("de")}));
    EXPECT_EQ(VXDesktopEntry::localeForms(QStringLiteral("de")), QStringList({QStringLiteral("de")}));
    EXPECT_TRUE(VXDesktopEntry::localeForms(QStringLiteral("POSIX")).isEmpty());

    EXPECT_EQ(VXDesktopEntry::idForRelativePath(QStringLiteral("kde4/konsole.desktop")),
              QStringLiteral("kde4-konsole"));
    EXPECT_EQ(VXDesktopEntry::idForRelativePath(QStringLiteral("org.gnome.TextEditor.desktop")),
              QStringLiteral("org.gnome.TextEditor"));
    EXPECT_TRUE(VXDesktopEntry::idForRelativePath(QStringLiteral("readme.txt")).isEmpty());
    EXPECT_TRUE(VXDesktopEntry::idForRelativePath(QStringLiteral(".desktop")).isEmpty());
}

TEST(VXDesktopEntry, SurvivesHostileFiles)
{
    // Invalid UTF-8 is replaced, not fatal.
    VXDesktopEntry broken;
    ASSERT_TRUE(VXDesktopEntry::parse("[Desktop Entry]\nName=Bad \xff\xfe bytes\xc3\nStartupWMClass=ok\n", broken));
    EXPECT_TRUE(broken.name.startsWith(QStringLiteral("Bad ")));
    EXPECT_EQ(broken.startupWMClass, QStringLiteral("ok"));

    // A line past the bound is skipped; what follows it is still read.
    VXDesktopEntry longLine;
    const QByteArray huge(VXDesktopEntry::kMaximumLineLength + 10, 'x');
    ASSERT_TRUE(VXDesktopEntry::parse("[Desktop Entry]\nName=" + huge + "\nName=After\n", longLine));
    EXPECT_EQ(longLine.name, QStringLiteral("After"));

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
    ASSERT_TRUE(VXWriteFile(dir.filePath(QStringLiteral("big.desktop")), big));
    EXPECT_FALSE(VXDesktopEntry::read(dir.filePath(QStringLiteral("big.desktop")), bigEntry));
    EXPECT_FALSE(VXDesktopEntry::read(dir.filePath(QStringLiteral("missing.desktop")), bigEntry));

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
                  QStringList({QStringLiteral("/tmp/wendle-home-data/applications"),
                               QStringLiteral("/opt/one/applications"), QStringLiteral("/opt/two/applications")}));
    }
    VXScopedEnvironment home("XDG_DATA_HOME", std::nullopt);
    VXScopedEnvironment dirs("XDG_DATA_DIRS", std::nullopt);
    EXPECT_EQ(
        VXDesktopEntryIndex::applicationFolders(),
        QStringList({QDir::homePath() + QStringLiteral("/.local/share/applications"),
                     QStringLiteral("/usr/local/share/applications"), QStringLiteral("/usr/share/applications")}));
}

TEST(VXDesktopEntryIndex, MatchesIDsAndWindowClassesInPrecedenceOrder)
{
    QTemporaryDir temporary;
    const QString home = temporary.filePath(QStringLiteral("home/applications"));
    const QString system = temporary.filePath(QStringLiteral("system/applications"));
    ASSERT_TRUE(VXWriteFile(home + QStringLiteral("/org.example.Viewer.desktop"), entryText("Home Viewer")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/org.example.Viewer.desktop"), entryText("System Viewer")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/sampleterm.desktop"), entryText("Matched By File Name")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/tools/other.desktop"),
                            entryText("Matched By Class", "StartupWMClass=SampleTerm\n")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/gimp.desktop"), entryText("GIMP")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/notes.txt"), entryText("Not an entry")));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/broken.desktop"), "garbage without a group"));

    VXDesktopEntryIndex index({home, system, temporary.filePath(QStringLiteral("missing/applications"))});
    const VXDesktopEntry *viewer = index.entryForID(QStringLiteral("org.example.Viewer"));
    ASSERT_NE(viewer, nullptr);
    EXPECT_EQ(viewer->name, QStringLiteral("Home Viewer"));   // the earlier folder hides the later
    EXPECT_EQ(viewer->path, home + QStringLiteral("/org.example.Viewer.desktop"));
    EXPECT_EQ(index.entryForID(QStringLiteral("org.example.Viewer.desktop")), viewer);
    EXPECT_EQ(index.entryForID(QStringLiteral("/usr/share/applications/org.example.Viewer.desktop")), viewer);
    EXPECT_EQ(index.entryForID(QStringLiteral("ORG.EXAMPLE.VIEWER")), viewer);
    EXPECT_EQ(index.entryForID(QStringLiteral("broken")), nullptr);
    EXPECT_EQ(index.entryForID(QStringLiteral("notes")), nullptr);

    // Window classes: StartupWMClass before the file name; the reverse-DNS prefix on either side.
    const VXDesktopEntry *term = index.entryForWMClass(QStringLiteral("sampleterm"));
    ASSERT_NE(term, nullptr);
    EXPECT_EQ(term->id, QStringLiteral("tools-other"));
    EXPECT_EQ(index.entryForWMClass(QStringLiteral("viewer")), viewer);
    EXPECT_EQ(index.entryForWMClass(QStringLiteral("Org.Example.Viewer")), viewer);
    EXPECT_EQ(index.entryForWMClass(QStringLiteral("org.gimp.GIMP"))->name, QStringLiteral("GIMP"));
    EXPECT_EQ(index.entryForWMClass(QStringLiteral("unknown")), nullptr);
    EXPECT_EQ(index.entryForWMClass(QString()), nullptr);
    EXPECT_EQ(index.buildCount(), 1);
}

TEST(VXDesktopEntryIndex, LooksAtTheFoldersAgainOnlyAfterTheInterval)
{
    QTemporaryDir temporary;
    const QString folder = temporary.filePath(QStringLiteral("applications"));
    const QString later = temporary.filePath(QStringLiteral("later/applications"));
    ASSERT_TRUE(VXWriteFile(folder + QStringLiteral("/first.desktop"), entryText("First")));

    // Within the interval nothing is looked at: a new entry stays unseen.
    VXDesktopEntryIndex patient({folder}, 60 * 60 * 1000);
    ASSERT_NE(patient.entryForID(QStringLiteral("first")), nullptr);
    ASSERT_TRUE(VXWriteFile(folder + QStringLiteral("/second.desktop"), entryText("Second")));
    EXPECT_EQ(patient.entryForID(QStringLiteral("second")), nullptr);
    EXPECT_EQ(patient.buildCount(), 1);

    // With no interval, an unchanged folder is not reread, a changed one is, and so is a
    // folder that did not exist before (and a new subfolder).
    VXDesktopEntryIndex eager({folder, later}, 0);
    ASSERT_NE(eager.entryForID(QStringLiteral("second")), nullptr);
    for (int i = 0; i < 5; ++i)
        EXPECT_NE(eager.entryForID(QStringLiteral("first")), nullptr);
    EXPECT_EQ(eager.buildCount(), 1);
    ASSERT_TRUE(VXWriteFile(later + QStringLiteral("/third.desktop"), entryText("Third")));
    EXPECT_NE(eager.entryForID(QStringLiteral("third")), nullptr);
    EXPECT_EQ(eager.buildCount(), 2);
    ASSERT_TRUE(VXWriteFile(folder + QStringLiteral("/sub/fourth.desktop"), entryText("Fourth")));
    EXPECT_NE(eager.entryForID(QStringLiteral("sub-fourth")), nullptr);
    ASSERT_TRUE(QFile::remove(folder + QStringLiteral("/first.desktop")));
    EXPECT_EQ(eager.entryForID(QStringLiteral("first")), nullptr);
    EXPECT_EQ(eager.buildCount(), 4);
}

TEST(VXDesktopEntryIndex, SpecialFilesAndCrowdedFoldersHoldNothingBack)
{
    // In memory where there is such a file system: twenty thousand files on a disk take seconds.
    const QString shared = QStringLiteral("/dev/shm");
    QTemporaryDir temporary(QFileInfo(shared).isWritable() ? shared + QStringLiteral("/wendle-test-XXXXXX")
                                                           : QDir::tempPath() + QStringLiteral("/wendle-test-XXXXXX"));
    const QString crowded = temporary.filePath(QStringLiteral("crowded/applications"));
    const QString system = temporary.filePath(QStringLiteral("system/applications"));
    ASSERT_TRUE(VXWriteFile(system + QStringLiteral("/org.example.Editor.desktop"), entryText("Editor")));
    // Entries that name a FIFO (directly and through a symbolic link) or a device: opening one
    // for reading used to wait for a writer for good.
    ASSERT_TRUE(QDir().mkpath(crowded));
    const QString fifo = temporary.filePath(QStringLiteral("fifo"));
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(fifo, crowded + QStringLiteral("/aa-fifo-link.desktop")));
    ASSERT_EQ(::mkfifo(QFile::encodeName(crowded + QStringLiteral("/aa-fifo.desktop")).constData(), 0600), 0);
    ASSERT_TRUE(QFile::link(QStringLiteral("/dev/zero"), crowded + QStringLiteral("/aa-zero.desktop")));
    // And more entries in one folder than it may hold: the next folder is indexed all the same.
    for (int i = 0; i < 20000; ++i) {
        ASSERT_TRUE(VXWriteFile(crowded + QStringLiteral("/junk-%1.desktop").arg(i, 5, 10, QLatin1Char('0')),
                                entryText("Junk")));
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
        for (const QString &name : {QStringLiteral("/aa-fifo-link.desktop"), QStringLiteral("/aa-fifo.desktop")})
            ::close(::open(QFile::encodeName(crowded + name).constData(), O_WRONLY | O_NONBLOCK));
    }
    building.join();
    ASSERT_TRUE(builtInTime) << "the index hung on a special file";
    EXPECT_NE(index.entryForID(QStringLiteral("org.example.Editor")), nullptr);
    EXPECT_EQ(index.entryForID(QStringLiteral("aa-fifo-link")), nullptr);
    EXPECT_EQ(index.entryForID(QStringLiteral("aa-fifo")), nullptr);
    EXPECT_EQ(index.entryForID(QStringLiteral("aa-zero")), nullptr);
}

TEST(VXApplicationResolver, NamesProcessesThroughEntriesElseTheirExecutable)
{
    QTemporaryDir temporary;
    const QString folder = temporary.filePath(QStringLiteral("applications"));
    ASSERT_TRUE(VXWriteFile(folder + QStringLiteral("/org.example.Editor.desktop"),
                            entryText("Editor", "Name[de]=Bearbeiter\nName[de_CH]=Bearbeiter (CH)\n")));
    VXDesktopEntryIndex index({folder}, 60 * 60 * 1000);
    VXApplicationResolver resolver(index, VXDesktopEntry::localeForms(QStringLiteral("de_DE")));

    const std::int64_t self = ::getpid();
    const QString executable = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    EXPECT_GT(VXApplicationResolver::processStartTime(self), 0u);
    EXPECT_EQ(VXApplicationResolver::processExecutable(self), executable);

    // Matched by WM_CLASS: the entry is the bundle, its German name the name.
    VXRunningApplication application;
    resolver.resolve(self, {QString(), QStringLiteral("editor"), QStringLiteral("Editor")}, false, application);
    EXPECT_EQ(application.processIdentifier, self);
    EXPECT_EQ(application.bundleIdentifier, QStringLiteral("org.example.Editor"));
    EXPECT_EQ(application.bundlePath, folder + QStringLiteral("/org.example.Editor.desktop"));
    EXPECT_EQ(application.localizedName, QStringLiteral("Bearbeiter"));
    EXPECT_EQ(resolver.processReads(), 1);

    // The same process again costs nothing; a check reads its start time once more.
    resolver.resolve(self, {QString(), QStringLiteral("editor"), QStringLiteral("Editor")}, false, application);
    EXPECT_EQ(resolver.processReads(), 1);
    resolver.resolve(self, {QString(), QStringLiteral("editor"), QStringLiteral("Editor")}, true, application);
    EXPECT_EQ(resolver.processReads(), 2);
    EXPECT_EQ(application.bundleIdentifier, QStringLiteral("org.example.Editor"));

    // No entry: the executable is the bundle, the class the name; without a class, the file name.
    resolver.resolve(self, {QString(), QStringLiteral("nothing"), QStringLiteral("Nothing")}, false, application);
    EXPECT_TRUE(application.bundleIdentifier.isEmpty());
    EXPECT_EQ(application.bundlePath, executable);
    EXPECT_EQ(application.localizedName, QStringLiteral("Nothing"));
    resolver.resolve(self, {}, false, application);
    EXPECT_EQ(application.localizedName, QFileInfo(executable).fileName());
    EXPECT_EQ(resolver.processReads(), 2);

    // A desktop-file ID from the window wins over the class.
    resolver.resolve(self, {QStringLiteral("org.example.Editor"), QStringLiteral("x"), QStringLiteral("X")}, false,
                     application);
    EXPECT_EQ(application.bundleIdentifier, QStringLiteral("org.example.Editor"));

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
    resolver.resolve(-1, {QString(), QStringLiteral("editor"), QStringLiteral("Editor")}, false, application);
    EXPECT_EQ(application.processIdentifier, -1);
    EXPECT_EQ(application.bundleIdentifier, QStringLiteral("org.example.Editor"));
}
