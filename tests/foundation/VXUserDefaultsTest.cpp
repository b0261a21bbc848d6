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

namespace {

const QString kTestDomain = QStringLiteral("org.example.SettingsTest");

class VXUserDefaultsTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    QString folder() const { return m_dir.path() + QStringLiteral("/Wendle"); }
    QString filePath() const { return folder() + u'/' + kTestDomain + QStringLiteral(".plist"); }

    std::unique_ptr<VXUserDefaults> makeStore() const
    {
        return std::make_unique<VXUserDefaults>(kTestDomain, folder());
    }

    static QByteArray readAll(const QString &path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static void writeAll(const QString &path, const QByteArray &bytes)
    {
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }

    QStringList damagedCopies() const
    {
        return QDir(folder()).entryList({kTestDomain + QStringLiteral(".plist.damaged-*")}, QDir::Files);
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

VXValue array(std::initializer_list<VXValue> values)
{
    VXArrayRef result = VXMakeArray();
    for (const VXValue &value : values)
        result->append(value);
    return VXValue(result);
}

}   // namespace

TEST_F(VXUserDefaultsTest, TypedGettersReadEachTypeAndMistypedValuesAsNothing)
{
    auto defaults = makeStore();
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(QStringLiteral("inner"), 1);
    defaults->setBool(true, QStringLiteral("bool"));
    defaults->setInteger(-42, QStringLiteral("int"));
    defaults->setDouble(2.75, QStringLiteral("real"));
    defaults->setString(QStringLiteral("Inbox"), QStringLiteral("string"));
    defaults->setObject(VXValue(QByteArray("\x00\x01", 2)), QStringLiteral("data"));
    defaults->setObject(VXValue::dateFromUnixTime(1700000000), QStringLiteral("date"));
    defaults->setObject(array({0.2, 0.4, 0.6}), QStringLiteral("array"));
    defaults->setObject(VXValue(dictionary), QStringLiteral("dict"));
    defaults->setString(QStringLiteral(" 600 "), QStringLiteral("numeric string"));
    defaults->setString(QStringLiteral("0.5"), QStringLiteral("decimal string"));
    defaults->setString(QStringLiteral("YES"), QStringLiteral("yes string"));
    defaults->setString(QStringLiteral("true"), QStringLiteral("true string"));
    defaults->setString(QStringLiteral("NO"), QStringLiteral("no string"));

    // Each type through its own getter.
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("bool")));
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("int")), -42);
    EXPECT_EQ(defaults->doubleForKey(QStringLiteral("real")), 2.75);
    EXPECT_EQ(defaults->stringForKey(QStringLiteral("string")), QStringLiteral("Inbox"));
    EXPECT_EQ(defaults->dataForKey(QStringLiteral("data")), QByteArray("\x00\x01", 2));
    EXPECT_EQ(defaults->objectForKey(QStringLiteral("date")).dateAsUnixTime(), 1700000000.0);
    ASSERT_NE(defaults->arrayForKey(QStringLiteral("array")), nullptr);
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("array"))->at(2), VXValue(0.6));
    ASSERT_NE(defaults->dictionaryForKey(QStringLiteral("dict")), nullptr);
    EXPECT_EQ(defaults->dictionaryForKey(QStringLiteral("dict"))->value(QStringLiteral("inner")), VXValue(1));

    // Numbers convert among themselves; reals truncate.
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("real")), 2);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("bool")), 1);
    EXPECT_EQ(defaults->doubleForKey(QStringLiteral("int")), -42.0);
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("int")));

    // Strings that spell numbers or YES/true read as such (what `wendle defaults write` stores
    // without a type flag); other strings read as nothing.
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("numeric string")), 600);
    EXPECT_EQ(defaults->doubleForKey(QStringLiteral("decimal string")), 0.5);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("decimal string")), 0);
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("yes string")));
    EXPECT_TRUE(defaults->boolForKey(QStringLiteral("true string")));
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("no string")));
    EXPECT_FALSE(defaults->boolForKey(QStringLiteral("string")));
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("string")), 0);

    // Everything else of the wrong type, and missing keys, read as 0, false, empty or null.
    for (const QString &key : {QStringLiteral("data"), QStringLiteral("date"), QStringLiteral("array"),
                               QStringLiteral("dict"), QStringLiteral("missing")}) {
        SCOPED_TRACE(key.toStdString());
        EXPECT_FALSE(defaults->boolForKey(key));
        EXPECT_EQ(defaults->integerForKey(key), 0);
        EXPECT_EQ(defaults->doubleForKey(key), 0.0);
        EXPECT_TRUE(defaults->stringForKey(key).isEmpty());
    }
    EXPECT_TRUE(defaults->stringForKey(QStringLiteral("int")).isEmpty());
    EXPECT_TRUE(defaults->dataForKey(QStringLiteral("string")).isEmpty());
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("dict")), nullptr);
    EXPECT_EQ(defaults->dictionaryForKey(QStringLiteral("array")), nullptr);
    EXPECT_TRUE(defaults->objectForKey(QStringLiteral("missing")).isNull());
}

TEST_F(VXUserDefaultsTest, ContainersAreStoredAndHandedOutAsCopies)
{
    auto defaults = makeStore();
    Announcements announced(*defaults);
    VXValue components = array({0.2, 0.4, 0.6});
    defaults->setObject(components, QStringLiteral("Pie Color Components"));
    components.array()->append(1.0);   // the caller's array is its own
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("Pie Color Components"))->size(), 3u);

    // Changing what objectForKey gave changes nothing until it is stored again.
    VXValue copy = defaults->objectForKey(QStringLiteral("Pie Color Components"));
    (*copy.array())[0] = VXValue(0.9);
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("Pie Color Components"))->at(0), VXValue(0.2));
    defaults->setObject(copy, QStringLiteral("Pie Color Components"));
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("Pie Color Components"))->at(0), VXValue(0.9));
    EXPECT_EQ(announced.keys,
              QStringList({QStringLiteral("Pie Color Components"), QStringLiteral("Pie Color Components")}));

    // A tree with an empty element is no property list: refused, nothing changes.
    defaults->setObject(array({1, VXValue()}), QStringLiteral("Pie Color Components"));
    EXPECT_EQ(defaults->arrayForKey(QStringLiteral("Pie Color Components"))->size(), 3u);
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
        defaults->setInteger(i, QStringLiteral("Key %1").arg(i));
    defaults->setString(QStringLiteral("a < b & \"c\" \u25B8"), QStringLiteral("Markup"));
    defaults->setObject(VXValue::dateFromUnixTime(1700000000), QStringLiteral("Date"));
    defaults->setObject(VXValue(QByteArray("\xff\x00", 2)), QStringLiteral("Data"));
    defaults->setObject(array({0.25, true, QStringLiteral("x")}), QStringLiteral("Array"));
    defaults->setInteger(49, QStringLiteral("Key 0"));
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
    EXPECT_TRUE(readAll(filePath()).startsWith("<?xml"));

    QString failure;
    const std::optional<VXValue> read = VXReadWithPlistlib(filePath(), &failure);
    ASSERT_TRUE(read) << failure.toStdString();
    EXPECT_EQ(*read, VXValue(defaults->persistentDictionary()));
    EXPECT_EQ(read->dictionary()->value(QStringLiteral("Key 0")), VXValue(49));
    EXPECT_EQ(read->dictionary()->size(), 54u);
}

TEST_F(VXUserDefaultsTest, PendingChangesReachTheFileOnSynchronizeAndAtDestruction)
{
    {
        auto defaults = makeStore();
        defaults->setString(QStringLiteral("first"), QStringLiteral("A"));
        ASSERT_TRUE(defaults->synchronize());
        EXPECT_EQ(makeStore()->stringForKey(QStringLiteral("A")), QStringLiteral("first"));
        defaults->setString(QStringLiteral("second"), QStringLiteral("B"));
        defaults->removeObjectForKey(QStringLiteral("A"));
    }   // no event loop ran
    auto reopened = makeStore();
    EXPECT_EQ(reopened->stringForKey(QStringLiteral("B")), QStringLiteral("second"));
    EXPECT_TRUE(reopened->objectForKey(QStringLiteral("A")).isNull());
}

TEST_F(VXUserDefaultsTest, AnotherWriterIsAnnouncedKeyByKeyAndOwnWritesAreNot)
{
    auto running = makeStore();
    Announcements announced(*running);
    VXDictionaryRef registered = VXMakeDictionary();
    registered->insert(QStringLiteral("c"), 3);
    running->registerDefaults(registered);
    EXPECT_EQ(announced.keys, QStringList({QStringLiteral("c")}));
    announced.keys.clear();
    running->setInteger(1, QStringLiteral("a"));
    running->setInteger(2, QStringLiteral("b"));
    running->setInteger(30, QStringLiteral("c"));
    running->setInteger(4, QStringLiteral("e"));
    VXSpinEventLoop(300);
    // Its own write came back through the file watch and was recognised.
    EXPECT_EQ(announced.keys,
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("e")}));
    announced.keys.clear();

    {
        auto other = makeStore();
        EXPECT_EQ(other->integerForKey(QStringLiteral("b")), 2);
        other->setInteger(1, QStringLiteral("a"));   // unchanged
        other->setInteger(20, QStringLiteral("b"));   // changed
        other->removeObjectForKey(QStringLiteral("c"));   // the registered 3 shows again
        other->setString(QStringLiteral("new"), QStringLiteral("d"));
        other->setDouble(4.0, QStringLiteral("e"));   // same number, other type
        ASSERT_TRUE(other->synchronize());
    }
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 4; }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced.sorted(),
              QStringList({QStringLiteral("b"), QStringLiteral("c"), QStringLiteral("d"), QStringLiteral("e")}));
    EXPECT_EQ(running->integerForKey(QStringLiteral("b")), 20);
    EXPECT_EQ(running->integerForKey(QStringLiteral("c")), 3);
    EXPECT_EQ(running->stringForKey(QStringLiteral("d")), QStringLiteral("new"));

    // A file deleted by someone else takes every stored value with it.
    announced.keys.clear();
    ASSERT_TRUE(QFile::remove(filePath()));
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 4; }));
    VXSpinEventLoop(100);
    EXPECT_EQ(announced.sorted(),
              QStringList({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("d"), QStringLiteral("e")}));
    EXPECT_EQ(running->integerForKey(QStringLiteral("c")), 3);
    EXPECT_EQ(running->persistentDictionary()->size(), 0u);
}

TEST_F(VXUserDefaultsTest, PlistlibWritingTheFileIsPickedUpEitherWay)
{
    if (VXTestPython().isEmpty())
        GTEST_SKIP() << "no Python interpreter to write the file with plistlib";
    auto running = makeStore();
    running->setInteger(1, QStringLiteral("Sort"));
    ASSERT_TRUE(running->synchronize());
    Announcements announced(*running);

    // Renamed over the file, as careful writers do.
    ASSERT_TRUE(VXWriteWithPlistlib(filePath(), QStringLiteral("{'Sort': 2, 'VXDebugLog': True}"), true));
    ASSERT_TRUE(VXWaitUntil([&] { return announced.keys.size() >= 2; }));
    EXPECT_EQ(announced.sorted(), QStringList({QStringLiteral("Sort"), QStringLiteral("VXDebugLog")}));
    EXPECT_EQ(running->integerForKey(QStringLiteral("Sort")), 2);
    EXPECT_TRUE(running->boolForKey(QStringLiteral("VXDebugLog")));

    // Rewritten in place, as an editor may.
    announced.keys.clear();
    ASSERT_TRUE(VXWriteWithPlistlib(filePath(), QStringLiteral("{'Sort': 0, 'VXDebugLog': True}"), false));
    ASSERT_TRUE(VXWaitUntil([&] { return !announced.keys.isEmpty(); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced.keys, QStringList({QStringLiteral("Sort")}));
    EXPECT_EQ(running->integerForKey(QStringLiteral("Sort")), 0);
}

TEST_F(VXUserDefaultsTest, UnwrittenLocalChangesSurviveAnotherWriter)
{
    auto running = makeStore();
    running->setInteger(1, QStringLiteral("shared"));
    running->setInteger(1, QStringLiteral("mine"));
    ASSERT_TRUE(running->synchronize());

    // A local change is pending when another writer replaces the file.
    running->setInteger(2, QStringLiteral("mine"));
    running->removeObjectForKey(QStringLiteral("shared"));
    {
        auto other = makeStore();
        other->setInteger(7, QStringLiteral("theirs"));
        other->setInteger(7, QStringLiteral("mine"));
        ASSERT_TRUE(other->synchronize());
    }
    ASSERT_TRUE(VXWaitUntil([&] { return running->integerForKey(QStringLiteral("theirs")) == 7; }));
    VXSpinEventLoop(200);
    EXPECT_EQ(running->integerForKey(QStringLiteral("mine")), 2);
    EXPECT_TRUE(running->objectForKey(QStringLiteral("shared")).isNull());

    // And the file ends up with both.
    auto reopened = makeStore();
    EXPECT_EQ(reopened->integerForKey(QStringLiteral("mine")), 2);
    EXPECT_EQ(reopened->integerForKey(QStringLiteral("theirs")), 7);
    EXPECT_TRUE(reopened->objectForKey(QStringLiteral("shared")).isNull());
}

TEST_F(VXUserDefaultsTest, DamagedFileIsSetAsideAndTheStoreStartsFromItsDefaults)
{
    const QByteArray damaged = "<?xml version=\"1.0\"?><plist><dict><key>Sort</key><integer>2";
    for (const QByteArray &contents :
         {damaged, QByteArray("<?xml version=\"1.0\"?><plist><array/></plist>"), QByteArray()}) {
        SCOPED_TRACE(contents.toStdString());
        QDir(folder()).removeRecursively();
        writeAll(filePath(), contents);
        auto defaults = makeStore();
        VXRegisterDefaults(*defaults);
        EXPECT_EQ(defaults->integerForKey(VXDefaultsKey::kSort), 1);
        EXPECT_FALSE(QFileInfo::exists(filePath()));
        const QStringList copies = damagedCopies();
        ASSERT_EQ(copies.size(), 1);
        EXPECT_EQ(readAll(folder() + u'/' + copies.first()), contents);

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
    running->setInteger(3, QStringLiteral("Sort"));
    ASSERT_TRUE(running->synchronize());
    Announcements announced(*running);

    writeAll(filePath(), QByteArray("{ Sort = "));
    ASSERT_TRUE(VXWaitUntil([&] { return damagedCopies().size() == 1 && QFileInfo::exists(filePath()); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(running->integerForKey(QStringLiteral("Sort")), 3);
    EXPECT_TRUE(announced.keys.isEmpty());
    EXPECT_EQ(makeStore()->integerForKey(QStringLiteral("Sort")), 3);
    EXPECT_EQ(readAll(folder() + u'/' + damagedCopies().first()), QByteArray("{ Sort = "));
}

TEST_F(VXUserDefaultsTest, OtherDomainsAreReadFromTheSameFolder)
{
    auto defaults = makeStore();
    EXPECT_FALSE(defaults->persistentDomainForName(QStringLiteral("org.example.Absent")));
    EXPECT_FALSE(defaults->persistentDomainForName(QStringLiteral("../escape")));

    {
        VXUserDefaults older(QStringLiteral("org.example.Older"), folder());
        older.setInteger(5, QStringLiteral("Sort"));
    }
    const VXDictionaryRef olderValues = defaults->persistentDomainForName(QStringLiteral("org.example.Older"));
    ASSERT_TRUE(olderValues);
    EXPECT_EQ(olderValues->value(QStringLiteral("Sort")), VXValue(5));

    // Another domain's damaged file is left where it is.
    const QString damagedPath = folder() + QStringLiteral("/org.example.Damaged.plist");
    writeAll(damagedPath, QByteArray("bplist00garbage"));
    EXPECT_FALSE(defaults->persistentDomainForName(QStringLiteral("org.example.Damaged")));
    EXPECT_TRUE(QFileInfo::exists(damagedPath));

    // The store's own domain answers its current values, as a copy.
    defaults->setInteger(9, QStringLiteral("Sort"));
    const VXDictionaryRef own = defaults->persistentDomainForName(kTestDomain);
    ASSERT_TRUE(own);
    own->insert(QStringLiteral("Sort"), 10);
    EXPECT_EQ(defaults->integerForKey(QStringLiteral("Sort")), 9);
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
    EXPECT_EQ(VXUserDefaults::defaultFolder(), m_dir.path() + QStringLiteral("/Wendle"));
    EXPECT_EQ(VXUserDefaults(VXUserDefaults::kDomain).filePath(),
              m_dir.path() + QStringLiteral("/Wendle/com.brasswing.WendleClient.plist"));
    qputenv("XDG_CONFIG_HOME", "relative/path");
    EXPECT_EQ(VXUserDefaults::defaultFolder(), QDir::homePath() + QStringLiteral("/.config/Wendle"));
    if (saved.isNull())
        qunsetenv("XDG_CONFIG_HOME");
    else
        qputenv("XDG_CONFIG_HOME", saved);
}
