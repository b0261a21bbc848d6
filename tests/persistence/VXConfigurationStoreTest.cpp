// The configuration file through the controller: its place and modes, the three save points
// and the 1800-second chain, the forms read at start-up (damaged, XML, old-style, array-rooted),
// the fallback copy in the settings when the file cannot be written, and the sandboxed path's
// one-time question. Real files in a temporary library folder; plistlib as the independent
// reader and writer.

#include "VXConfigurationStore.h"
#include "VXConfigurationKeys.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXJournal.h"
#include "VXMainController.h"
#include "VXPrivateFiles.h"
#include "VXPropertyListSerialization.h"
#include "VXTestProcess.h"
#include "VXTrackingTestSupport.h"
#include "VXUserDefaultsExtensions.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>

#include <csignal>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'750'000'000.0;
const QString kEditorID = u"org.example.Editor"_s;

// Files may not grow beyond `bytes` while it lives; writing more fails with EFBIG instead of
// killing the process. (Tests run as root in CI, where file modes stop no write.)
class FileSizeLimit
{
public:
    explicit FileSizeLimit(rlim_t bytes)
    {
        ::getrlimit(RLIMIT_FSIZE, &m_previous);
        m_previousHandler = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limit = m_previous;
        limit.rlim_cur = bytes;
        m_active = ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
    }
    ~FileSizeLimit()
    {
        ::setrlimit(RLIMIT_FSIZE, &m_previous);
        std::signal(SIGXFSZ, m_previousHandler);
    }
    bool isActive() const { return m_active; }

private:
    rlimit m_previous {};
    void (*m_previousHandler)(int) = nullptr;
    bool m_active = false;
};

class StoreTest : public ::testing::Test
{
protected:
    StoreTest()
    {
        // Nobody types in these tests: no idle hibernation.
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.activate(10);
    }
    ~StoreTest() override { VXSetCurrentSortColumn(1); }

    void launch()
    {
        controller = std::make_unique<VXMainController>(desktop, time, time, *settings.defaults, &ui);
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({&input}, {});
        time.runDue();
    }
    void quit()
    {
        controller->applicationShouldTerminate();
        controller.reset();
    }

    VXConfigurationStore &store() { return controller->store(); }
    std::optional<double> nextSave() { return time.nextDueTime(&store(), VXConfigurationStore::kSaveOperation); }
    int pendingSaves() { return time.pendingCount(&store(), VXConfigurationStore::kSaveOperation); }
    // The record on disk, once the saves handed to the writer thread are done.
    VXDictionaryRef savedTree()
    {
        if (controller)
            store().waitForPendingWrites();
        return deeplyMutableDictionaryWithData(readFile(dataHome.configurationFile()));
    }
    VXDictionary *editor() { return applicationItem(*controller->configuration(), kEditorID); }

    Settings settings;
    ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
    ManualPresenceSource input;
    std::unique_ptr<VXMainController> controller;
};

unsigned modeOf(const QString &path)
{
    struct stat status {
    };
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

// Python's plistlib on a file: the command's output, or nothing when Python is missing.
std::optional<QByteArray> plistlib(const QString &code)
{
    const QString python = VXTestPython();
    if (python.isEmpty())
        return std::nullopt;
    const VXProcessResult result = VXRunProcess(python, {u"-c"_s, u"import plistlib, sys\n"_s + code});
    if (!result.started || result.exitCode != 0)
        return std::nullopt;
    return result.standardOutput;
}

}   // namespace

TEST_F(StoreTest, TheSavePointsKeepOnePeriodicSavePendingAndWriteAPrivateBinaryFile)
{
    launch();
    const QString file = dataHome.configurationFile();
    // The end of launch writes nothing and schedules the first save 1800 s later.
    EXPECT_EQ(store().configurationPath(), file);
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_EQ(pendingSaves(), 1);
    EXPECT_EQ(nextSave(), kStart + 1800);

    // The save was scheduled before the tick due at the same instant, so it runs first and
    // writes the tick of 1799.5.
    time.advanceTo(kStart + 1800);
    store().waitForPendingWrites();
    ASSERT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(readFile(file).startsWith("bplist00"));
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 1799.5);
    EXPECT_EQ(nextSave(), kStart + 3600);
    EXPECT_EQ(modeOf(file), 0600);
    for (const QString &folder : {dataHome.path() + u"/Wendle"_s, dataHome.configurationFolder()})
        EXPECT_EQ(modeOf(folder), 0700) << folder.toStdString();

    // Two saves on demand 10 minutes apart: one save pending, 1800 s after the second.
    time.advanceTo(kStart + 2000);
    controller->save(this);
    EXPECT_EQ(nextSave(), kStart + 3800);
    time.advanceTo(kStart + 2600);
    controller->save(this);
    EXPECT_EQ(pendingSaves(), 1);
    EXPECT_EQ(nextSave(), kStart + 4400);
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 2600.0);
    time.advanceTo(kStart + 4399);
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 2600.0);
    time.advanceTo(kStart + 4400);
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 4399.5);
    EXPECT_EQ(nextSave(), kStart + 6200);

    // The quit path writes the file and schedules nothing more.
    time.advanceTo(kStart + 4500.5);
    controller->applicationShouldTerminate();
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 4500.5);
    EXPECT_EQ(pendingSaves(), 1);
    EXPECT_TRUE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());

    // plistlib reads the file as the program wrote it.
    const std::optional<QByteArray> read
        = plistlib(u"p = plistlib.load(open(sys.argv[1] if len(sys.argv) > 1 else %1, 'rb'))\n"
                   "print(p['Applications']['org.example.Editor']['Time'])"_s.arg(u"'"_s + file + u"'"_s));
    if (!read)
        GTEST_SKIP() << "no python3 with plistlib";
    EXPECT_EQ(read->trimmed(), "4500.5");
}

TEST_F(StoreTest, ARecordThatCannotBeReadIsSetAsideAndNeverOverwritten)
{
    // A record of 300 s of the editor, then damaged: its last byte (where the binary form says
    // where its offsets are) changed, or replaced by a list.
    VXDictionaryRef applications = VXMakeDictionary();
    applications->insert(kEditorID,
                         dictionary({{VXNameKey, u"Editor"_s}, {VXApplicationIDKey, kEditorID}, {VXTimeKey, 300.0}}));
    const std::optional<QByteArray> good = propertyListData(VXValue(dictionary({{VXApplicationsKey, applications}})));
    ASSERT_TRUE(good);
    QByteArray oneByte = *good;
    oneByte[oneByte.size() - 1] = char(oneByte.back() ^ 0x40);
    ASSERT_FALSE(deeplyMutableDictionaryWithData(oneByte));
    const std::optional<QByteArray> list = propertyListData(VXValue(strings({u"Applications", u"Pools"})));
    const VXValue copy(dictionary({{VXApplicationsKey, VXValue(applications).deepCopy()}}));

    const struct {
        const char *what;
        QByteArray damaged;
        bool withCopy;
    } cases[] = {
        {"one byte", oneByte, false},
        {"one byte, with the copy a failed quit left in the settings", oneByte, true},
        {"a list", *list, false},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.what);
        ASSERT_TRUE(QDir().mkpath(dataHome.configurationFolder()));
        ASSERT_TRUE(writeFile(dataHome.configurationFile(), row.damaged));
        if (row.withCopy)
            settings.defaults->setObject(copy, u"Default Configuration"_s);
        VXLogCapture captured("wendle.persistence");
        launch();
        // Set aside beside itself, said in the log and kept as a fact for the windows.
        const QString aside = controller->damagedConfigurationPath();
        EXPECT_TRUE(QFileInfo(aside).fileName().startsWith(u"Default.plist.damaged-"_s)) << aside.toStdString();
        EXPECT_EQ(QFileInfo(aside).path(), dataHome.configurationFolder());
        EXPECT_EQ(readFile(aside), row.damaged);
        EXPECT_FALSE(QFileInfo::exists(dataHome.configurationFile()));
        EXPECT_TRUE(captured.take().contains(
            u"the configuration <%1> cannot be read: set aside as <%2>"_s.arg(dataHome.configurationFile(), aside)));
        // The copy in the settings if there is one, else an empty record.
        EXPECT_EQ(timeOf(*editor()), row.withCopy ? 300.0 : 0.0);

        // The next saves write a new record and leave the damaged one as it was.
        time.advanceTo(time.now() + 10);
        controller->save(this);
        quit();
        EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), row.withCopy ? 310.0 : 10.0);
        EXPECT_EQ(readFile(aside), row.damaged);
        launch();
        EXPECT_EQ(controller->damagedConfigurationPath(), QString());
        quit();
        ASSERT_TRUE(QDir(dataHome.configurationFolder()).removeRecursively());
    }
}

TEST_F(StoreTest, LeftoversOfAnInterruptedSaveGoAtStartAndTheLibraryIsPrivateWhoeverMadeIt)
{
    // The library as a lock made it before it was made private, and a save cut short beside the
    // record (the temporary file of an atomic write).
    const QString library = dataHome.path() + u"/Wendle"_s;
    ASSERT_TRUE(QDir().mkpath(dataHome.configurationFolder()));
    ASSERT_TRUE(QFile::setPermissions(library,
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
                                          | QFile::ExeGroup | QFile::ReadOther | QFile::ExeOther));
    const QString folder = dataHome.configurationFolder() + u'/';
    for (const QString &name : {u"Default.plist.Xy12Zw"_s, u"Default.plist.damaged-20260101-000000"_s,
                                u"Default.plist.notes"_s, u"Other.plist.Ab12Cd"_s})
        ASSERT_TRUE(writeFile(folder + name, "x"));
    launch();
    EXPECT_EQ(
        QDir(folder).entryList(QDir::Files),
        QStringList({u"Default.plist.damaged-20260101-000000"_s, u"Default.plist.notes"_s, u"Other.plist.Ab12Cd"_s}));
    EXPECT_EQ(modeOf(library), 0700);

    // A folder made for the first time is private from the start, whatever the process's mask.
    const mode_t mask = ::umask(0);
    EXPECT_TRUE(VXMakePrivateFolder(dataHome.path() + u"/new/Wendle"_s));
    ::umask(mask);
    EXPECT_EQ(modeOf(dataHome.path() + u"/new/Wendle"_s), 0700);
    EXPECT_EQ(modeOf(dataHome.path() + u"/new"_s), 0777);   // the desktop's folders are its own
}

TEST_F(StoreTest, AnyFormIsReadAndTheNextSaveWritesBinary)
{
    ASSERT_TRUE(QDir().mkpath(dataHome.configurationFolder()));
    const QString file = dataHome.configurationFile();
    // XML, written by plistlib: an earlier day's record of the editor.
    const std::optional<QByteArray> written = plistlib(
        u"plistlib.dump({'Applications': {'org.example.Editor': {'Name': 'Editor', 'Application ID': 'org.example.Editor',"
        " 'Time': 100.0, 'Front Time': 40.0, 'Active Log': [1749990000.0, -1749990100.0]}},"
        " 'Last Timestamp': 1749990100.0, 'Window Blacklist': ['Mail \u25b8 *Draft*']}, open('%1', 'wb'), fmt=plistlib.FMT_XML)"_s
            .arg(file));
    if (!written)
        GTEST_SKIP() << "no python3 with plistlib";
    ASSERT_TRUE(readFile(file).startsWith("<?xml"));
    launch();
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(timeOf(*editor()), 100.0);   // the first tick is a gap
    EXPECT_EQ(frontTimeOf(*editor()), 40.0);
    EXPECT_EQ(activeLog(*editor()), std::vector<double>({1749990000.0, -1749990100.0, kStart}));
    EXPECT_EQ(controller->configuration()->value(VXWindowBlacklistKey).array()->at(0).toString(),
              u"Mail \u25B8 *Draft*"_s);

    time.advanceTo(kStart + 1800);
    store().waitForPendingWrites();
    ASSERT_TRUE(readFile(file).startsWith("bplist00"));
    const std::optional<QByteArray> read = plistlib(
        u"p = plistlib.load(open('%1', 'rb'))\nprint(p['Applications']['org.example.Editor']['Time'], p['Window Blacklist'][0] == 'Mail \u25b8 *Draft*')"_s
            .arg(file));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->trimmed(), "1899.5 True");   // 100 + the ticks up to 1799.5
    quit();

    // The old-style text form is read too.
    ASSERT_TRUE(writeFile(file, "{ \"Application Blacklist\" = ( Terminal, \"Wendle\" ); Cutoffs = {}; }"));
    launch();
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(controller->configuration()->value(VXApplicationBlacklistKey).array()->at(0).toString(), u"Terminal"_s);
}

TEST_F(StoreTest, WithoutAFileTheSettingsCopyIsLoadedAndDroppedAfterTheNextSaveAtQuit)
{
    VXDictionaryRef applications = VXMakeDictionary();
    applications->insert(kEditorID,
                         dictionary({{VXNameKey, u"Editor"_s}, {VXApplicationIDKey, kEditorID}, {VXTimeKey, 300.0}}));
    settings.defaults->setObject(VXValue(dictionary({{VXApplicationsKey, applications}})), u"Default Configuration"_s);
    launch();
    ASSERT_NE(editor(), nullptr);
    EXPECT_EQ(timeOf(*editor()), 300.0);

    // A periodic save does not touch the copy; the quit path's does.
    time.advanceTo(kStart + 1800);
    EXPECT_FALSE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
    time.advanceTo(kStart + 1810);
    quit();
    EXPECT_TRUE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
    EXPECT_EQ(timeOf(*applicationItem(*savedTree(), kEditorID)), 2110.0);
}

TEST_F(StoreTest, AFullDiskIsReportedOnceAndRetriedAndAtTheNextStartTheNewerCopyWins)
{
    launch();
    time.advanceTo(kStart + 60);
    controller->save(this);
    store().waitForPendingWrites();
    const QString file = dataHome.configurationFile();
    const QByteArray previous = readFile(file);
    ASSERT_TRUE(previous.startsWith("bplist00"));

    // The editor opens enough windows that the tree no longer fits under the limit.
    for (int i = 0; i < 200; ++i)
        desktop.openWindow(10, u"A report with a long title, number %1 of many"_s.arg(i));
    time.advanceTo(kStart + 120);
    VXValue tree;
    {
        FileSizeLimit limit(rlim_t(previous.size() + 512));
        if (!limit.isActive())
            GTEST_SKIP() << "cannot limit the file size";
        VXLogCapture captured("wendle.persistence");
        controller->save(this);   // periodic kind: no fallback
        store().waitForPendingWrites();
        EXPECT_EQ(readFile(file), previous);
        EXPECT_TRUE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
        // Tried again every minute, and said once.
        EXPECT_EQ(nextSave(), kStart + 180);
        time.advanceTo(kStart + 300);
        EXPECT_EQ(pendingSaves(), 1);
        const QString failure = u"cannot write <%1>: File too large"_s.arg(file);
        EXPECT_EQ(store().saveFailure(), failure);
        EXPECT_EQ(captured.take().filter(u"cannot save"_s),
                  QStringList {u"cannot save the record: %1; it stays in memory and the save is tried again every 60 "
                               "seconds"_s.arg(failure)});

        // The quit answers the failure, and the tree goes to the settings.
        tree = VXValue(controller->configuration()).deepCopy();
        EXPECT_FALSE(controller->applicationShouldTerminate());
        EXPECT_EQ(readFile(file), previous);
    }
    // No temporary file is left beside it (the journal holds what was tracked up to the limit).
    EXPECT_EQ(QDir(dataHome.configurationFolder()).entryList(QDir::Files | QDir::Hidden),
              QStringList({u"Default.journal"_s, u"Default.plist"_s}));
    EXPECT_EQ(firstDifference(settings.defaults->objectForKey(u"Default Configuration"_s), tree), "");
    controller.reset();

    // The next start takes the copy, which is newer than the file (even with what its journal
    // recovered up to the limit); each stays until a save replaces it: the file at the next
    // save, the copy at a quit that saves.
    launch();
    EXPECT_EQ(timeOf(*editor()), 300.0);
    EXPECT_NE(windowItem(*controller->configuration(), kEditorID, u"A report with a long title, number 199 of many"_s),
              nullptr);
    EXPECT_LT(timeOf(*applicationItem(*deeplyMutableDictionaryWithData(readFile(file)), kEditorID)), 300.0);
    time.advanceTo(time.now() + 1800);
    EXPECT_GT(timeOf(*applicationItem(*savedTree(), kEditorID)), 300.0);
    EXPECT_FALSE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
    EXPECT_TRUE(controller->applicationShouldTerminate());
    EXPECT_TRUE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
    controller.reset();

    // Had the file been the newer one, the file would have won.
    settings.defaults->setObject(tree, u"Default Configuration"_s);
    launch();
    EXPECT_GT(timeOf(*editor()), 300.0);
}

TEST_F(StoreTest, WhenTheLibraryFolderCannotBeMadeOnlyTheQuitKeepsTheTree)
{
    // The data folder lies under a regular file.
    ASSERT_TRUE(writeFile(dataHome.path() + u"/plain"_s, "not a folder"));
    ScopedDataHome blocked(dataHome.path() + u"/plain/share"_s);
    launch();
    EXPECT_EQ(store().configurationPath(), QString());
    {
        // The periodic save finds no place and says so, once.
        VXLogCapture captured("wendle.persistence");
        time.advanceTo(kStart + 1900);
        EXPECT_EQ(captured.take().filter(u"cannot save the record"_s).size(), 1);
    }
    EXPECT_TRUE(settings.defaults->objectForKey(u"Default Configuration"_s).isNull());
    quit();
    const VXValue fallback = settings.defaults->objectForKey(u"Default Configuration"_s);
    ASSERT_TRUE(fallback.isDictionary());
    EXPECT_EQ(timeOf(*applicationItem(*fallback.dictionary(), kEditorID)), 1900.0);

    launch();
    EXPECT_EQ(timeOf(*editor()), 1900.0);
}

namespace {

// A folder access that the test scripts: whether access is granted silently, and after asking.
class ScriptedFolderAccess : public VXFolderAccessDelegate
{
public:
    bool isSandboxed() const override { return sandboxed; }
    bool confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                   QString *accessedBookmarkPath, const SandboxExplanation &) override
    {
        requests.push_back({path, viaParentFolder, cancel != nullptr});
        const bool granted = cancel ? grantedAfterAsking : grantedSilently;
        if (granted && accessedBookmarkPath)
            *accessedBookmarkPath = QFileInfo(path).path();
        if (cancel)
            *cancel = !granted;
        return granted;
    }
    void stopAccessingBookmarkForPath(const QString &bookmarkPath) override { stopped.append(bookmarkPath); }
    int runAlert(const QString &message, const QString &informative, const QStringList &buttons) override
    {
        alerts.push_back({message, informative, buttons});
        return alertAnswer;
    }

    struct Request {
        QString path;
        bool viaParentFolder;
        bool mayAsk;
    };
    std::vector<Request> requests;
    QStringList stopped;
    std::vector<Alert> alerts;
    bool sandboxed = false;
    bool grantedSilently = false;
    bool grantedAfterAsking = false;
    int alertAnswer = -1;
};

class SandboxedStoreTest : public ::testing::Test
{
protected:
    SandboxedStoreTest()
    {
        access.sandboxed = true;
        home = dataHome.path();
        earlierFile = home + u"/Library/Wendle/Configurations/Default.plist"_s;
    }

    Settings settings;
    ScopedDataHome dataHome;
    QString home;
    // The library folder inside the container, and the file an earlier version kept outside it.
    ScopedDataHome containerDataHome {dataHome.path()
                                      + u"/Library/Containers/com.brasswing.WendleClient/Data/Library"_s};
    QString earlierFile;
    VXVirtualScheduler time {kStart};
    ScriptedFolderAccess access;
    VXConfigurationStore store {*settings.defaults, time, [] { return VXMakeDictionary(); }, &access};
};

}   // namespace

TEST_F(SandboxedStoreTest, TheConfigurationFoundQuestionIsAskedOnceAndUnlockingKeepsTheEarlierFile)
{
    const QString containerFile = containerDataHome.configurationFile();
    ASSERT_TRUE(QDir().mkpath(QFileInfo(earlierFile).path()));
    ASSERT_TRUE(writeFile(earlierFile, "{ Applications = {}; }"));

    // "Start Over": the file in the container, and the question is never asked again.
    access.alertAnswer = 1;
    EXPECT_EQ(store.configurationPath(), containerFile);
    ASSERT_EQ(access.alerts.size(), 1u);
    EXPECT_EQ(access.alerts[0].message, u"Configuration Found"_s);
    EXPECT_TRUE(access.alerts[0].informative.startsWith(
        u"You have previously used a version of Wendle that stored its configuration in the following folder:\n\n"_s));
    EXPECT_TRUE(access.alerts[0].informative.endsWith(
        u"\n\nIf you want to continue using this configuration, please unlock the Configurations folder to give Wendle access."_s));
    EXPECT_EQ(access.alerts[0].buttons, QStringList({u"Unlock..."_s, u"Start Over"_s}));
    EXPECT_TRUE(settings.defaults->boolForKey(u"Default Configuration (Sandbox): Conversion Attempted"_s));
    access.requests.clear();
    EXPECT_EQ(store.configurationPath(), containerFile);
    EXPECT_EQ(access.alerts.size(), 1u);
    EXPECT_TRUE(access.requests.empty());   // the stored flag short-cuts the search

    // "Unlock..." with the access granted: the earlier file from now on.
    settings.defaults->removeObjectForKey(u"Default Configuration (Sandbox): Conversion Attempted"_s);
    access.alertAnswer = 0;
    access.grantedAfterAsking = true;
    EXPECT_EQ(store.configurationPath(), earlierFile);
    EXPECT_EQ(access.alerts.size(), 2u);
    EXPECT_EQ(settings.defaults->stringForKey(u"Default Configuration (Sandbox)"_s), earlierFile);
    ASSERT_FALSE(access.requests.empty());
    EXPECT_TRUE(access.requests.back().viaParentFolder);
    EXPECT_TRUE(access.requests.back().mayAsk);
    EXPECT_EQ(access.stopped, QStringList({QFileInfo(earlierFile).path()}));   // released at once

    // Later calls confirm the stored path, asking if the bookmark no longer covers it.
    access.requests.clear();
    EXPECT_EQ(store.configurationPath(), earlierFile);
    ASSERT_EQ(access.requests.size(), 1u);
    EXPECT_EQ(access.requests[0].path, earlierFile);
    EXPECT_TRUE(access.requests[0].mayAsk);
    // Refused now, with the conversion done: the container's file.
    access.grantedAfterAsking = false;
    EXPECT_EQ(store.configurationPath(), containerFile);
    EXPECT_EQ(access.alerts.size(), 2u);
}

// The journal names its record by this checksum, so its values may never change: files written
// by an earlier version must still match. Known CRC-32 values, whole and continued, from every
// alignment of the eight-byte steps.
TEST(VXJournalChecksum, IsTheStandardCrc32)
{
    QByteArray pattern;
    for (int i = 0; i < 1000; ++i)
        pattern.append(char((i * 7 + 3) & 0xFF));
    EXPECT_EQ(VXChecksum(QByteArray()), 0u);
    EXPECT_EQ(VXChecksum(QByteArray("a")), 0xE8B7BE43u);
    EXPECT_EQ(VXChecksum(QByteArray("123456789")), 0xCBF43926u);
    EXPECT_EQ(VXChecksum(pattern), 0x17BC2A46u);
    EXPECT_EQ(VXChecksum(pattern.constData() + 13, 987), 0xB424B435u);
    for (std::size_t split = 0; split <= 16; ++split) {
        SCOPED_TRACE(split);
        EXPECT_EQ(VXChecksum(pattern.constData() + split, 1000 - split, VXChecksum(pattern.constData(), split)),
                  0x17BC2A46u);
    }
}
