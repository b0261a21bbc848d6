// The commands between a crash and the next start: the program tracks on the fake desktop in
// virtual time and is killed (its record saved whole once, an application seen only since then
// kept in the journal alone). The tree the commands read is the tree a restart recovers, and the
// built `wendle status`, `summary` and `config show` list that application, leaving the record and
// the journal as they found them.

#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXTrackingTestSupport.h"
#include "VXVirtualScheduler.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'750'000'000.0;   // 2025-06-15 15:06:40 UTC

class JournalCommandsTest : public ::testing::Test
{
protected:
    JournalCommandsTest()
    {
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.openWindow(10, u"Report.odt"_s);
        desktop.activate(10);
    }
    ~JournalCommandsTest() override { VXSetCurrentSortColumn(1); }

    // A minute of tracking, the terminal launched after the first whole save, then a kill.
    void trackAndCrash()
    {
        VXMainController controller(desktop, time, time, *settings.defaults, &ui);
        controller.applicationWillFinishLaunching();
        controller.applicationDidFinishLaunching({}, {});
        time.advanceTo(kStart + 20);
        VXLaunchExample(desktop, u"Terminal"_s, 20);
        desktop.openWindow(20, u"make test"_s);
        desktop.activate(20);
        time.advanceTo(kStart + 64);
        controller.store().waitForPendingWrites();
    }

    QString journalFile() const { return VXConfigurationStore::journalPathFor(dataHome.configurationFile()); }

    // The built program's command, with this test's folders and no running instance to ask.
    QByteArray wendle(const QStringList &arguments)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, dataHome.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, elsewhere.filePath(u"config"_s));
        environment.insert(u"XDG_RUNTIME_DIR"_s, elsewhere.path());
        environment.insert(u"TZ"_s, u"UTC"_s);
        environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), arguments);
        EXPECT_TRUE(process.waitForFinished(30000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();
        return process.readAllStandardOutput();
    }

    Settings settings;
    ScopedDataHome dataHome;
    QTemporaryDir elsewhere;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
};

bool hasApplication(const VXValue &tree, const QString &identifier)
{
    const VXDictionary *applications
        = tree.dictionary() ? tree.dictionary()->value(VXApplicationsKey).dictionary() : nullptr;
    return applications && applications->contains(identifier);
}

}   // namespace

TEST_F(JournalCommandsTest, ACommandReadsTheRecordWithItsJournalAndWritesNeither)
{
    trackAndCrash();
    const QByteArray record = VXReadFile(dataHome.configurationFile());
    const QByteArray journal = VXReadFile(journalFile());
    ASSERT_GT(journal.size(), 24);
    // The terminal came after the whole save: only the journal has it.
    ASSERT_FALSE(hasApplication(deeplyMutableDictionaryWithData(record), u"org.example.Terminal"_s));

    const VXRecordReading reading = VXReadRecordFile(dataHome.configurationFile());
    ASSERT_TRUE(reading.configuration);
    EXPECT_TRUE(VXJournalHasEntries(dataHome.configurationFile()));
    EXPECT_EQ(VXReadFile(dataHome.configurationFile()), record);
    EXPECT_EQ(VXReadFile(journalFile()), journal);

    // A restart recovers the same tree (it rewrites the files, so it runs on a copy).
    {
        ScopedDataHome restartHome;
        QDir().mkpath(restartHome.configurationFolder());
        ASSERT_TRUE(VXWriteFile(restartHome.configurationFile(), record));
        ASSERT_TRUE(VXWriteFile(VXConfigurationStore::journalPathFor(restartHome.configurationFile()), journal));
        VXMainController restarted(desktop, time, time, *settings.defaults);
        restarted.loadConfiguration();
        restarted.store().waitForPendingWrites();
        EXPECT_EQ(firstDifference(VXValue(reading.configuration), VXValue(restarted.configuration())), "");
    }
    EXPECT_TRUE(hasApplication(VXValue(reading.configuration), u"org.example.Terminal"_s));
}

TEST_F(JournalCommandsTest, TheBuiltCommandsListWhatOnlyTheJournalHolds)
{
    if (!QFileInfo(QStringLiteral(WENDLE_BINARY)).isExecutable())
        GTEST_SKIP() << "the wendle program has not been built";
    trackAndCrash();
    const QByteArray record = VXReadFile(dataHome.configurationFile());
    const QByteArray journal = VXReadFile(journalFile());

    const struct {
        QStringList arguments;
    } commands[] = {
        {{u"status"_s}},
        {{u"summary"_s, u"--from"_s, u"2025-06-15 00:00"_s, u"--to"_s, u"2025-06-16 00:00"_s}},
        {{u"config"_s, u"show"_s}},
    };
    for (const auto &command : commands) {
        SCOPED_TRACE(command.arguments.join(u' ').toStdString());
        const QByteArray out = wendle(command.arguments);
        EXPECT_TRUE(out.contains("Editor")) << out.constData();
        EXPECT_TRUE(out.contains("Terminal")) << out.constData();
    }
    EXPECT_EQ(VXReadFile(dataHome.configurationFile()), record);
    EXPECT_EQ(VXReadFile(journalFile()), journal);

    // Without the journal the same commands show the record alone.
    QFile::remove(journalFile());
    for (const auto &command : commands) {
        SCOPED_TRACE(command.arguments.join(u' ').toStdString());
        const QByteArray out = wendle(command.arguments);
        EXPECT_TRUE(out.contains("Editor")) << out.constData();
        EXPECT_FALSE(out.contains("Terminal")) << out.constData();
    }
}
