#include "VXUserDefaultsExtensions.h"
#include "VXFolderAccessDelegate.h"
#include "VXSettingsTestSupport.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <deque>

using namespace Qt::StringLiterals;

namespace {

const QString kExportFolderKey = u"Auto-Export Folder"_s;
const QString kSandboxKey = u"Auto-Export Folder (Sandbox)"_s;
const QString kConversionFlagKey = u"Auto-Export Folder (Sandbox): Conversion Attempted"_s;
const QString kContainerData = u"/Library/Containers/com.brasswing.WendleClient/Data"_s;

// Answers as scripted and writes down every call.
class RecordingDelegate : public VXFolderAccessDelegate
{
public:
    struct Confirmation {
        bool granted = false;
        bool cancelled = false;
        QString bookmarkPath;
    };

    bool confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                   QString *accessedBookmarkPath, const SandboxExplanation &) override
    {
        calls.append(u"confirm %1 via-parent=%2 may-ask=%3"_s.arg(path).arg(viaParentFolder).arg(cancel != nullptr));
        if (confirmations.empty()) {
            ADD_FAILURE() << "unexpected access request for " << path.toStdString();
            return false;
        }
        const Confirmation answer = confirmations.front();
        confirmations.pop_front();
        if (cancel)
            *cancel = answer.cancelled;
        if (answer.granted && accessedBookmarkPath)
            *accessedBookmarkPath = answer.bookmarkPath;
        return answer.granted;
    }

    void stopAccessingBookmarkForPath(const QString &bookmarkPath) override
    {
        calls.append(u"stop %1"_s.arg(bookmarkPath));
    }

    int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles) override
    {
        calls.append(u"alert %1 [%2]"_s.arg(messageText, buttonTitles.join(u" | "_s)));
        alertTexts.append(informativeText);
        return alertChoice;
    }

    bool isSandboxed() const override { return sandboxed; }

    bool sandboxed = false;
    std::deque<Confirmation> confirmations;
    int alertChoice = -1;
    QStringList calls;
    QStringList alertTexts;
};

class VXUserDefaultsExtensionsTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        m_savedHome = qgetenv("HOME");
        m_defaults = std::make_unique<VXUserDefaults>(VXUserDefaults::kDomain, m_dir.path() + u"/Wendle"_s);
    }

    void TearDown() override
    {
        if (m_savedHome.isNull())
            qunsetenv("HOME");
        else
            qputenv("HOME", m_savedHome);
    }

    // A sandboxed home: the container's data folder inside a fake real home, with the real
    // home's Library/Reports folder present. Answers the real Reports folder.
    QString enterContainer()
    {
        const QString realHome = m_dir.path() + u"/home"_s;
        const QString reports = realHome + u"/Library/Reports"_s;
        EXPECT_TRUE(QDir().mkpath(reports));
        EXPECT_TRUE(QDir().mkpath(realHome + kContainerData + u"/Library"_s));
        qputenv("HOME", QFile::encodeName(realHome + kContainerData));
        return reports;
    }

    QString defaultPath() const { return m_dir.path() + u"/Default Reports"_s; }

    QTemporaryDir m_dir;
    std::unique_ptr<VXUserDefaults> m_defaults;
    QByteArray m_savedHome;
};

}   // namespace

TEST_F(VXUserDefaultsExtensionsTest, ImportCopiesMissingKeysOfTheOlderDomainOnce)
{
    const QString flagKey = u"Imported User Defaults: com.brasswing.Wendle"_s;
    {
        VXUserDefaults older(VXUserDefaults::kOlderDomain, m_dir.path() + u"/Wendle"_s);
        older.setInteger(5, u"Sort"_s);
        older.setString(u"old"_s, u"Name"_s);
        VXArrayRef components = VXMakeArray();
        components->append(0.1);
        older.setObject(VXValue(components), u"Pie Color Components"_s);
    }
    VXDictionaryRef registered = VXMakeDictionary();
    registered->insert(u"Sort"_s, 1);
    m_defaults->registerDefaults(registered);
    m_defaults->setString(u"current"_s, u"Name"_s);

    EXPECT_TRUE(importUserDefaultsFromDomain(*m_defaults, VXUserDefaults::kOlderDomain));
    EXPECT_EQ(m_defaults->integerForKey(u"Sort"_s), 5) << "a registered default is no value of the user's";
    EXPECT_EQ(m_defaults->stringForKey(u"Name"_s), u"current"_s);
    ASSERT_NE(m_defaults->arrayForKey(u"Pie Color Components"_s), nullptr);
    EXPECT_TRUE(m_defaults->boolForKey(flagKey));

    // Once only: later changes of the older domain are not looked at again.
    m_defaults->removeObjectForKey(u"Sort"_s);
    EXPECT_FALSE(importUserDefaultsFromDomain(*m_defaults, VXUserDefaults::kOlderDomain));
    EXPECT_EQ(m_defaults->integerForKey(u"Sort"_s), 1);

    // Nothing to copy: the flag is set all the same.
    EXPECT_FALSE(importUserDefaultsFromDomain(*m_defaults, u"org.example.Absent"_s));
    EXPECT_TRUE(m_defaults->boolForKey(u"Imported User Defaults: org.example.Absent"_s));
    ASSERT_TRUE(m_defaults->synchronize());
    VXUserDefaults reopened(VXUserDefaults::kDomain, m_dir.path() + u"/Wendle"_s);
    EXPECT_TRUE(reopened.boolForKey(flagKey));
}

TEST_F(VXUserDefaultsExtensionsTest, OutsideTheSandboxFolderPathsAreStoredAsTheyAre)
{
    RecordingDelegate delegate;
    EXPECT_EQ(folderPathForKey(*m_defaults, kExportFolderKey, defaultPath(), &delegate), defaultPath());
    setFolderPath(*m_defaults, u"~/Exports"_s, kExportFolderKey);
    EXPECT_EQ(m_defaults->stringForKey(kExportFolderKey), u"~/Exports"_s);
    EXPECT_EQ(folderPathForKey(*m_defaults, kExportFolderKey, defaultPath(), &delegate), u"~/Exports"_s);
    // A sandbox value of an earlier run is no business of the unsandboxed program.
    m_defaults->setString(u"/elsewhere"_s, kSandboxKey);
    EXPECT_EQ(folderPathForKey(*m_defaults, kExportFolderKey, defaultPath(), &delegate), u"~/Exports"_s);
    setFolderPath(*m_defaults, QString(), kExportFolderKey);
    EXPECT_TRUE(m_defaults->objectForKey(kExportFolderKey).isNull());
    EXPECT_TRUE(delegate.calls.isEmpty());
    EXPECT_FALSE(m_defaults->boolForKey(kConversionFlagKey));
}

TEST_F(VXUserDefaultsExtensionsTest, SandboxedConversionAsksOnceWhenTheFolderIsLocked)
{
    const QString reports = enterContainer();
    const QString alert = u"alert Export Folder Found [Unlock... | Switch to Sandbox Default]"_s;
    const QString silent = u"confirm %1 via-parent=0 may-ask=0"_s.arg(reports);
    const QString panel = u"confirm %1 via-parent=0 may-ask=1"_s.arg(reports);

    struct Case {
        const char *name;
        int choice;
        std::deque<RecordingDelegate::Confirmation> confirmations;
        bool kept;
        QStringList calls;
    };
    const Case cases[] = {
        {"unlocked in the panel",
         0,
         {{false, false, {}}, {true, false, u"/granted"_s}},
         true,
         {silent, alert, panel, u"stop /granted"_s}},
        {"panel cancelled", 0, {{false, false, {}}, {false, true, {}}}, false, {silent, alert, panel}},
        {"panel confirmed but still no access",
         0,
         {{false, false, {}}, {false, false, {}}},
         false,
         {silent, alert, panel}},
        {"switched to the sandbox default", 1, {{false, false, {}}}, false, {silent, alert}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        for (const QString &key : {kExportFolderKey, kSandboxKey, kConversionFlagKey})
            m_defaults->removeObjectForKey(key);
        m_defaults->setString(u"~/Library/Reports"_s, kExportFolderKey);
        RecordingDelegate delegate;
        delegate.sandboxed = true;
        delegate.confirmations = c.confirmations;
        delegate.alertChoice = c.choice;

        EXPECT_EQ(folderPathForKey(*m_defaults, kExportFolderKey, defaultPath(), &delegate),
                  c.kept ? reports : defaultPath());
        EXPECT_EQ(delegate.calls, c.calls);
        ASSERT_EQ(delegate.alertTexts.size(), 1);
        EXPECT_TRUE(delegate.alertTexts.first().contains(readablePathRepresentation(reports)));
        EXPECT_EQ(m_defaults->stringForKey(kSandboxKey), c.kept ? reports : QString());
        EXPECT_EQ(m_defaults->objectForKey(kExportFolderKey).isNull(), !c.kept) << "removed exactly when declined";
        EXPECT_TRUE(m_defaults->boolForKey(kConversionFlagKey));

        // The alert is shown once per key, whatever was chosen.
        delegate.calls.clear();
        EXPECT_EQ(folderPathForKey(*m_defaults, kExportFolderKey, defaultPath(), &delegate),
                  c.kept ? reports : defaultPath());
        EXPECT_TRUE(delegate.calls.isEmpty());
    }
}
