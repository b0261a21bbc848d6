#include "VXUserDefaults.h"
#include "VXRegisteredDefaults.h"
#include "VXSettingsTestSupport.h"
#include "VXStringExtensions.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <cmath>
#include <string_view>

using namespace Qt::StringLiterals;

namespace {

const QString kTestDomain = u"org.example.SettingsTest"_s;

class VXUserDefaultsTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    QString folder() const { return m_dir.path() + u"/Wendle"_s; }
    QString filePath() const { return folder() + u'/' + kTestDomain + u".plist"_s; }

    std::unique_ptr<VXUserDefaults> makeStore() const
    {
        return std::make_unique<VXUserDefaults>(kTestDomain, folder());
    }

    QStringList damagedCopies() const
    {
        return QDir(folder()).entryList({kTestDomain + u".plist.damaged-*"_s}, QDir::Files);
    }

    QTemporaryDir m_dir;
};

// Records the keys a store announces.
struct Announcements {
    explicit Announcements(VXUserDefaults &defaults)
    {
        QObject::connect(&defaults, &VXUserDefaults::valueChanged, &defaults,
                         [this](const QString &key) { keys.append(key); });
    }
    QStringList sorted() const
    {
        QStringList copy = keys;
        copy.sort();
        return copy;
    }
    QStringList keys;
};

}   // namespace

TEST_F(VXUserDefaultsTest, TypedGettersReadEachTypeAndMistypedValuesAsNothingAndContainersAreCopies)
{
    auto defaults = makeStore();
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(u"inner"_s, 1);
    defaults->setBool(true, u"bool"_s);
    defaults->setInteger(-42, u"int"_s);
    defaults->setDouble(2.75, u"real"_s);
    defaults->setString(u"Inbox"_s, u"string"_s);
    defaults->setObject(VXValue(QByteArray("\x00\x01", 2)), u"data"_s);
    defaults->setObject(VXValue::dateFromUnixTime(1700000000), u"date"_s);
    defaults->setObject(VXArrayOf({0.2, 0.4, 0.6}), u"array"_s);
    defaults->setObject(VXValue(dictionary), u"dict"_s);
    defaults->setString(u" 600 "_s, u"numeric string"_s);
    defaults->setString(u"0.5"_s, u"decimal string"_s);
    defaults->setString(u"YES"_s, u"yes string"_s);
    defaults->setString(u"true"_s, u"true string"_s);
    defaults->setString(u"NO"_s, u"no string"_s);

    // Each type through its own getter.
    EXPECT_TRUE(defaults->boolForKey(u"bool"_s));
    EXPECT_EQ(defaults->integerForKey(u"int"_s), -42);
    EXPECT_EQ(defaults->doubleForKey(u"real"_s), 2.75);
    EXPECT_EQ(defaults->stringForKey(u"string"_s), u"Inbox"_s);
    EXPECT_EQ(defaults->dataForKey(u"data"_s), QByteArray("\x00\x01", 2));
    EXPECT_EQ(defaults->objectForKey(u"date"_s).dateAsUnixTime(), 1700000000.0);
    ASSERT_NE(defaults->arrayForKey(u"array"_s), nullptr);
    EXPECT_EQ(defaults->arrayForKey(u"array"_s)->at(2), VXValue(0.6));
    ASSERT_NE(defaults->dictionaryForKey(u"dict"_s), nullptr);
    EXPECT_EQ(defaults->dictionaryForKey(u"dict"_s)->value(u"inner"_s), VXValue(1));

    // Numbers convert among themselves; reals truncate.
    EXPECT_EQ(defaults->integerForKey(u"real"_s), 2);
    EXPECT_EQ(defaults->integerForKey(u"bool"_s), 1);
    EXPECT_EQ(defaults->doubleForKey(u"int"_s), -42.0);
    EXPECT_TRUE(defaults->boolForKey(u"int"_s));

    // Strings that spell numbers or YES/true read as such (what `wendle defaults write` stores
    // without a type flag); other strings read as nothing.
    EXPECT_EQ(defaults->integerForKey(u"numeric string"_s), 600);
    EXPECT_EQ(defaults->doubleForKey(u"decimal string"_s), 0.5);
    EXPECT_EQ(defaults->integerForKey(u"decimal string"_s), 0);
    EXPECT_TRUE(defaults->boolForKey(u"yes string"_s));
    EXPECT_TRUE(defaults->boolForKey(u"true string"_s));
    EXPECT_FALSE(defaults->boolForKey(u"no string"_s));
    EXPECT_FALSE(defaults->boolForKey(u"string"_s));
    EXPECT_EQ(defaults->integerForKey(u"string"_s), 0);

    // Everything else of the wrong type, and missing keys, read as 0, false, empty or null.
    for (const QString &key : {u"data"_s, u"date"_s, u"array"_s, u"dict"_s, u"missing"_s}) {
        SCOPED_TRACE(key.toStdString());
        EXPECT_FALSE(defaults->boolForKey(key));
        EXPECT_EQ(defaults->integerForKey(key), 0);
        EXPECT_EQ(defaults->doubleForKey(key), 0.0);
        EXPECT_TRUE(defaults->stringForKey(key).isEmpty());
    }
    EXPECT_TRUE(defaults->stringForKey(u"int"_s).isEmpty());
    EXPECT_TRUE(defaults->dataForKey(u"string"_s).isEmpty());
    EXPECT_EQ(defaults->arrayForKey(u"dict"_s), nullptr);
    EXPECT_EQ(defaults->dictionaryForKey(u"array"_s), nullptr);
    EXPECT_TRUE(defaults->objectForKey(u"missing"_s).isNull());

    // Containers are stored and handed out as copies.
    Announcements announced(*defaults);
    VXValue components = VXArrayOf({0.2, 0.4, 0.6});
    defaults->setObject(components, u"Pie Color Components"_s);
    components.array()->append(1.0);   // the caller's array is its own
    EXPECT_EQ(defaults->arrayForKey(u"Pie Color Components"_s)->size(), 3u);

    // Changing what objectForKey gave changes nothing until it is stored again.
    VXValue copy = defaults->objectForKey(u"Pie Color Components"_s);
    (*copy.array())[0] = VXValue(0.9);
    EXPECT_EQ(defaults->arrayForKey(u"Pie Color Components"_s)->at(0), VXValue(0.2));
    defaults->setObject(copy, u"Pie Color Components"_s);
    EXPECT_EQ(defaults->arrayForKey(u"Pie Color Components"_s)->at(0), VXValue(0.9));
    EXPECT_EQ(announced.keys, QStringList({u"Pie Color Components"_s, u"Pie Color Components"_s}));

    // A tree with an empty element is no property list: refused, nothing changes.
    defaults->setObject(VXArrayOf({1, VXValue()}), u"Pie Color Components"_s);
    EXPECT_EQ(defaults->arrayForKey(u"Pie Color Components"_s)->size(), 3u);
    EXPECT_EQ(announced.keys.size(), 2);
}

TEST_F(VXUserDefaultsTest, RegisteredDefaultsLieUnderThePersistentValues)
{
    auto defaults = makeStore();
    Announcements announced(*defaults);
    VXRegisterDefaults(*defaults);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kSort), 1);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kHibernationInterval), 600);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kStatusItemIcon), 11);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kExportedReportContent), 1);
    EXPECT_EQ(defaults->objectForKey(VXDefaultsKey::kShowActivityReportOnDesktopAlpha), VXValue(1.0));
    for (const QString &key :
         {kExpressTimeIntervalsAsDaysKey, VXDefaultsKey::kIncludeWindowsFromAllSpaces,
          VXDefaultsKey::kShowInactivePools, VXDefaultsKey::kLiveReportApplications, VXDefaultsKey::kLiveReportPools,
          VXDefaultsKey::kReportDefaultFront, VXDefaultsKey::kReportDefaultTotal, VXDefaultsKey::kExportColumnPool,
          VXDefaultsKey::kExportColumnApplication, VXDefaultsKey::kExportColumnWindow,
          VXDefaultsKey::kExportColumnFront, VXDefaultsKey::kHeaderTranslucency,
          VXDefaultsKey::kEnableLoginItemAutomatically, VXDefaultsKey::kDisableLoginItemAutomatically,
          VXDefaultsKey::kScreenLockCountsAsAway})
        EXPECT_EQ(defaults->objectForKey(key), VXValue(true)) << key.toStdString();
    // Settings without a default of their own are not registered.
    for (const char *key : {"Status Item", "Update Interval", "Export Column: Total", "Auto-Export Hour", "VXDebugLog"})
        EXPECT_TRUE(defaults->objectForKey(QString::fromLatin1(key)).isNull()) << key;
    EXPECT_EQ(VXRegisteredDefaults()->size(), 20u);
    // Registering changed what the keys read, and said so.
    EXPECT_EQ(announced.keys.size(), 20);
    announced.keys.clear();

    defaults->setInteger(2, VXDefaultsKey::kSort);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kSort), 2);
    // Storing the registered value changes nothing anyone can read: no announcement, but the
    // value is the user's own from now on.
    defaults->setInteger(600, VXDefaultsKey::kHibernationInterval);
    EXPECT_EQ(defaults->persistentObjectForKey(VXDefaultsKey::kHibernationInterval), VXValue(600));
    defaults->removeObjectForKey(VXDefaultsKey::kSort);
    EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kSort), 1);
    EXPECT_TRUE(defaults->persistentObjectForKey(VXDefaultsKey::kSort).isNull());
    EXPECT_EQ(announced.keys, QStringList({VXDefaultsKey::kSort, VXDefaultsKey::kSort}));

    // The registered layer never reaches the file.
    ASSERT_TRUE(defaults->synchronize());
    const VXDictionaryRef stored = defaults->persistentDictionary();
    EXPECT_EQ(stored->size(), 1u);
    EXPECT_TRUE(stored->contains(VXDefaultsKey::kHibernationInterval));
}

TEST_F(VXUserDefaultsTest, ChangesAreWrittenOnceAsAPrivateXMLFileThatPlistlibReads)
{
    if (VXTestPython().isEmpty())
        GTEST_SKIP() << "no Python interpreter to read the file with plistlib";
    auto defaults = makeStore();
    ASSERT_TRUE(QFileInfo(folder()).isDir());

    // Count the files renamed into place under the domain's name.
    const int inotify = inotify_init1(IN_NONBLOCK);
    ASSERT_GE(inotify, 0);
    ASSERT_GE(inotify_add_watch(inotify, QFile::encodeName(folder()).constData(), IN_MOVED_TO | IN_CLOSE_WRITE), 0);

    for (int i = 0; i < 50; ++i)
        defaults->setInteger(i, u"Key %1"_s.arg(i));
    defaults->setString(u"a < b & \"c\" \u25B8"_s, u"Markup"_s);
    defaults->setObject(VXValue::dateFromUnixTime(1700000000), u"Date"_s);
    defaults->setObject(VXValue(QByteArray("\xff\x00", 2)), u"Data"_s);
    defaults->setObject(VXArrayOf({0.25, true, u"x"_s}), u"Array"_s);
    defaults->setInteger(49, u"Key 0"_s);
    EXPECT_FALSE(QFileInfo::exists(filePath())) << "written before the loop turned";

    ASSERT_TRUE(VXWaitUntil([&] { return QFileInfo::exists(filePath()); }));
    VXSpinEventLoop(200);
    int writes = 0;
    char buffer[4096];
    for (ssize_t length; (length = read(inotify, buffer, sizeof buffer)) > 0;) {
        for (char *p = buffer; p < buffer + length;) {
            const auto *event = reinterpret_cast<const inotify_event *>(p);
            if (event->len && QString::fromUtf8(event->name) == QFileInfo(filePath()).fileName())
                ++writes;
            p += sizeof(inotify_event) + event->len;
        }
    }
    close(inotify);
    EXPECT_EQ(writes, 1);

    EXPECT_EQ(QFileInfo(filePath()).permissions() & 0x7777,
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser | QFileDevice::WriteUser);
    EXPECT_EQ(QFileInfo(folder()).permissions() & 0x7777,
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner | QFileDevice::ReadUser
                  | QFileDevice::WriteUser | QFileDevice::ExeUser);
    EXPECT_TRUE(VXReadFile(filePath()).startsWith("<?xml"));

    QString failure;
    const std::optional<VXValue> read = VXReadWithPlistlib(filePath(), &failure);
    ASSERT_TRUE(read) << failure.toStdString();
    EXPECT_EQ(*read, VXValue(defaults->persistentDictionary()));
    EXPECT_EQ(read->dictionary()->value(u"Key 0"_s), VXValue(49));
    EXPECT_EQ(read->dictionary()->size(), 54u);
}

TEST_F(VXUserDefaultsTest, PendingChangesReachTheFileOnSynchronizeAndAtDestruction)
{
    {
        auto defaults = makeStore();
        defaults->setString(u"first"_s, u"A"_s);
        ASSERT_TRUE(defaults->synchronize());
        EXPECT_EQ(makeStore()->stringForKey(u"A"_s), u"first"_s);
        defaults->setString(u"second"_s, u"B"_s);
        defaults->removeObjectForKey(u"A"_s);
    }   // no event loop ran
    auto reopened = makeStore();
    EXPECT_EQ(reopened->stringForKey(u"B"_s), u"second"_s);
    EXPECT_TRUE(reopened->objectForKey(u"A"_s).isNull());
}

TEST_F(VXUserDefaultsTest, AnotherWriterIsAnnouncedKeyByKeyAndOwnWritesAreNot)
{
    auto running = makeStore();
    Announcements announced(*running);
    VXDictionaryRef registered = VXMakeDictionary();
    registered->insert(u"c"_s, 3);
    running->registerDefaults(registered);
    EXPECT_EQ(announced.keys, QStringList({u"c"_s}));
    announced.keys.clear();
    running->setInteger(1, u"a"_s);
    running->setInteger(2, u"b"_s);
    running->setInteger(30, u"c"_s);
    running->setInteger(4, u"e"_s);
    VXSpinEventLoop(300);
    // Its own write came back through the file watch and was recognised.
    EXPECT_EQ(announced.keys, QStringList({u"a"_s, u"b"_s, u"c"_s, u"e"_s}));
    announced.keys.clear();

    {
        auto other = makeStore();
        EXPECT_EQ(other->integerForKey(u"b"_s), 2);
        other->setInteger(1, u"a"_s);   // unchanged
        other->setInteger(20, u"b"_s);   // changed
        other->removeObjectForKey(u"c"_s);   // the registered 3 shows again
        other->setString(u"new"_s, u"d"_s);
        other->setDouble(4.0, u"e"_s);   // same number, other type
        ASSERT_TRUE(other->synchronize());
    }
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 4; }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced.sorted(), QStringList({u"b"_s, u"c"_s, u"d"_s, u"e"_s}));
    EXPECT_EQ(running->integerForKey(u"b"_s), 20);
    EXPECT_EQ(running->integerForKey(u"c"_s), 3);
    EXPECT_EQ(running->stringForKey(u"d"_s), u"new"_s);

    // A file deleted by someone else takes every stored value with it.
    announced.keys.clear();
    ASSERT_TRUE(QFile::remove(filePath()));
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 4; }));
    VXSpinEventLoop(100);
    EXPECT_EQ(announced.sorted(), QStringList({u"a"_s, u"b"_s, u"d"_s, u"e"_s}));
    EXPECT_EQ(running->integerForKey(u"c"_s), 3);
    EXPECT_EQ(running->persistentDictionary()->size(), 0u);
}

TEST_F(VXUserDefaultsTest, PlistlibWritingTheFileIsPickedUpEitherWay)
{
    if (VXTestPython().isEmpty())
        GTEST_SKIP() << "no Python interpreter to write the file with plistlib";
    auto running = makeStore();
    running->setInteger(1, u"Sort"_s);
    ASSERT_TRUE(running->synchronize());
    Announcements announced(*running);

    // Renamed over the file, as careful writers do.
    ASSERT_TRUE(VXWriteWithPlistlib(filePath(), u"{'Sort': 2, 'VXDebugLog': True}"_s, true));
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 2; }));
    EXPECT_EQ(announced.sorted(), QStringList({u"Sort"_s, u"VXDebugLog"_s}));
    EXPECT_EQ(running->integerForKey(u"Sort"_s), 2);
    EXPECT_TRUE(running->boolForKey(u"VXDebugLog"_s));

    // Rewritten in place, as an editor may.
    announced.keys.clear();
    ASSERT_TRUE(VXWriteWithPlistlib(filePath(), u"{'Sort': 0, 'VXDebugLog': True}"_s, false));
    ASSERT_TRUE(VXWaitUntil([&] { return !announced.keys.isEmpty(); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced.keys, QStringList({u"Sort"_s}));
    EXPECT_EQ(running->integerForKey(u"Sort"_s), 0);
}

TEST_F(VXUserDefaultsTest, UnwrittenLocalChangesSurviveAnotherWriter)
{
    auto running = makeStore();
    running->setInteger(1, u"shared"_s);
    running->setInteger(1, u"mine"_s);
    ASSERT_TRUE(running->synchronize());

    // A local change is pending when another writer replaces the file.
    running->setInteger(2, u"mine"_s);
    running->removeObjectForKey(u"shared"_s);
    {
        auto other = makeStore();
        other->setInteger(7, u"theirs"_s);
        other->setInteger(7, u"mine"_s);
        ASSERT_TRUE(other->synchronize());
    }
    ASSERT_TRUE(VXWaitUntil([&] { return running->integerForKey(u"theirs"_s) == 7; }));
    VXSpinEventLoop(200);
    EXPECT_EQ(running->integerForKey(u"mine"_s), 2);
    EXPECT_TRUE(running->objectForKey(u"shared"_s).isNull());

    // And the file ends up with both.
    auto reopened = makeStore();
    EXPECT_EQ(reopened->integerForKey(u"mine"_s), 2);
    EXPECT_EQ(reopened->integerForKey(u"theirs"_s), 7);
    EXPECT_TRUE(reopened->objectForKey(u"shared"_s).isNull());
}

// The file watches this process holds (QFileSystemWatcher keeps one inotify instance a watcher).
int fileWatches()
{
    int watches = 0;
    for (const QString &name : QDir(u"/proc/self/fd"_s).entryList(QDir::System | QDir::NoDotAndDotDot)) {
        char target[64] = {};
        const QByteArray link = QFile::encodeName(u"/proc/self/fd/"_s + name);
        if (::readlink(link.constData(), target, sizeof target - 1) > 0)
            watches += std::string_view(target) == "anon_inode:inotify";
    }
    return watches;
}

TEST_F(VXUserDefaultsTest, AStoreMadeForACommandWatchesNothingButReadsAndWritesTheFile)
{
    {
        auto running = makeStore();
        running->setString(u"before"_s, u"A"_s);
        ASSERT_TRUE(running->synchronize());
    }
    const int watchesBefore = fileWatches();
    auto running = makeStore();
    EXPECT_EQ(fileWatches(), watchesBefore + 1);
    {
        VXUserDefaults command(kTestDomain, folder(), nullptr, VXUserDefaults::Watching::None);
        EXPECT_EQ(fileWatches(), watchesBefore + 1);
        EXPECT_EQ(command.stringForKey(u"A"_s), u"before"_s);
        command.setString(u"from a command"_s, u"A"_s);
    }
    // Written at its end, and the running store, which watches, hears of it.
    EXPECT_EQ(makeStore()->stringForKey(u"A"_s), u"from a command"_s);
    EXPECT_TRUE(VXWaitUntil([&] { return running->stringForKey(u"A"_s) == u"from a command"_s; }));
}

TEST_F(VXUserDefaultsTest, DamagedFileIsSetAsideAndTheStoreStartsFromItsDefaults)
{
    const QByteArray damaged = "<?xml version=\"1.0\"?><plist><dict><key>Sort</key><integer>2";
    for (const QByteArray &contents :
         {damaged, QByteArray("<?xml version=\"1.0\"?><plist><array/></plist>"), QByteArray()}) {
        SCOPED_TRACE(contents.toStdString());
        QDir(folder()).removeRecursively();
        ASSERT_TRUE(VXWriteFile(filePath(), contents));
        auto defaults = makeStore();
        VXRegisterDefaults(*defaults);
        EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kSort), 1);
        EXPECT_FALSE(QFileInfo::exists(filePath()));
        const QStringList copies = damagedCopies();
        ASSERT_EQ(copies.size(), 1);
        EXPECT_EQ(VXReadFile(folder() + u'/' + copies.first()), contents);

        // The next change makes a good file; the damaged one stays for a person to look at.
        defaults->setInteger(0, VXDefaultsKey::kSort);
        ASSERT_TRUE(defaults->synchronize());
        EXPECT_EQ(makeStore()->integerForKey(VXDefaultsKey::kSort), 0);
        EXPECT_EQ(damagedCopies().size(), 1);
    }
}

TEST_F(VXUserDefaultsTest, DamageWrittenWhileRunningIsSetAsideAndTheGoodStateRestored)
{
    auto running = makeStore();
    running->setInteger(3, u"Sort"_s);
    ASSERT_TRUE(running->synchronize());
    Announcements announced(*running);

    ASSERT_TRUE(VXWriteFile(filePath(), QByteArray("{ Sort = ")));
    ASSERT_TRUE(VXWaitUntil([&] { return damagedCopies().size() == 1 && QFileInfo::exists(filePath()); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(running->integerForKey(u"Sort"_s), 3);
    EXPECT_TRUE(announced.keys.isEmpty());
    EXPECT_EQ(makeStore()->integerForKey(u"Sort"_s), 3);
    EXPECT_EQ(VXReadFile(folder() + u'/' + damagedCopies().first()), QByteArray("{ Sort = "));
}

TEST_F(VXUserDefaultsTest, OtherDomainsAreReadFromTheSameFolder)
{
    auto defaults = makeStore();
    EXPECT_FALSE(defaults->persistentDomainForName(u"org.example.Absent"_s));
    EXPECT_FALSE(defaults->persistentDomainForName(u"../escape"_s));

    {
        VXUserDefaults older(u"org.example.Older"_s, folder());
        older.setInteger(5, u"Sort"_s);
    }
    const VXDictionaryRef olderValues = defaults->persistentDomainForName(u"org.example.Older"_s);
    ASSERT_TRUE(olderValues);
    EXPECT_EQ(olderValues->value(u"Sort"_s), VXValue(5));

    // Another domain's damaged file is left where it is.
    const QString damagedPath = folder() + u"/org.example.Damaged.plist"_s;
    ASSERT_TRUE(VXWriteFile(damagedPath, QByteArray("bplist00garbage")));
    EXPECT_FALSE(defaults->persistentDomainForName(u"org.example.Damaged"_s));
    EXPECT_TRUE(QFileInfo::exists(damagedPath));

    // The store's own domain answers its current values, as a copy.
    defaults->setInteger(9, u"Sort"_s);
    const VXDictionaryRef own = defaults->persistentDomainForName(kTestDomain);
    ASSERT_TRUE(own);
    own->insert(u"Sort"_s, 10);
    EXPECT_EQ(defaults->integerForKey(u"Sort"_s), 9);
}

TEST_F(VXUserDefaultsTest, StandardStoreIsWhateverTheProgramInstalled)
{
    EXPECT_EQ(VXUserDefaults::standard(), nullptr);
    {
        auto defaults = makeStore();
        VXUserDefaults::setStandard(defaults.get());
        EXPECT_EQ(VXUserDefaults::standard(), defaults.get());
    }
    EXPECT_EQ(VXUserDefaults::standard(), nullptr) << "a destroyed store must not stay installed";

    // The default folder follows XDG_CONFIG_HOME, ignoring relative values.
    const QByteArray saved = qgetenv("XDG_CONFIG_HOME");
    qputenv("XDG_CONFIG_HOME", m_dir.path().toUtf8());
    EXPECT_EQ(VXUserDefaults::defaultFolder(), m_dir.path() + u"/Wendle"_s);
    EXPECT_EQ(VXUserDefaults(VXUserDefaults::kDomain).filePath(),
              m_dir.path() + u"/Wendle/com.brasswing.WendleClient.plist"_s);
    qputenv("XDG_CONFIG_HOME", "relative/path");
    EXPECT_EQ(VXUserDefaults::defaultFolder(), QDir::homePath() + u"/.config/Wendle"_s);
    if (saved.isNull())
        qunsetenv("XDG_CONFIG_HOME");
    else
        qputenv("XDG_CONFIG_HOME", saved);
}
