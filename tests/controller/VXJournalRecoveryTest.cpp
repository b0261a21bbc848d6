// The journal at start-up, against real files: torn at every byte of its last entry, damaged in
// the middle, written for another record, unreadable, or holding well-framed garbage. Each is
// recovered as far as it is whole, and what is not whole is kept aside; nothing crashes, nothing
// is applied to the wrong record.

#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXItemSorting.h"
#include "VXJournal.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXTrackingTestSupport.h"
#include "VXVirtualScheduler.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include <csignal>
#include <random>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'750'000'000.0;
const QString kEditorID = u"org.example.Editor"_s;

class JournalRecoveryTest : public ::testing::Test
{
protected:
    JournalRecoveryTest()
    {
        settings.defaults->setInteger(0, u"Hibernation Interval"_s);
        VXLaunchExample(desktop, u"Editor"_s, 10);
        desktop.activate(10);
    }
    ~JournalRecoveryTest() override { VXSetCurrentSortColumn(1); }

    std::unique_ptr<VXMainController> start()
    {
        auto controller = std::make_unique<VXMainController>(desktop, time, time, *settings.defaults, &ui);
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({}, {});
        time.runDue();
        return controller;
    }

    // A minute of work with windows coming and going, then a kill: the record of the first
    // whole save and a journal of a dozen entries are left.
    void trackAndCrash()
    {
        auto controller = start();
        const std::uint64_t report = desktop.openWindow(10, u"Report.odt"_s);
        time.advanceTo(kStart + 20);
        desktop.openWindow(10, u"Notes.txt"_s);
        time.advanceTo(kStart + 40);
        desktop.closeWindow(report);
        time.advanceTo(kStart + 64);
        controller->store().waitForPendingWrites();
        controller.reset();
        record = readFile(dataHome.configurationFile());
        journal = readFile(journalFile());
        const VXJournalFile::Contents contents = VXJournalFile::read(journal, record);
        ASSERT_EQ(contents.status, VXJournalFile::Contents::Status::Matches);
        ASSERT_GE(contents.entries.size(), 5u);
        qsizetype at = VXJournalFile::kHeaderSize;
        for (const QByteArray &entry : contents.entries) {
            entryStarts.push_back(at);
            at += entry.size() + 8;
        }
        ASSERT_EQ(at, journal.size());
    }

    QString journalFile() const { return dataHome.configurationFolder() + u"/Default.journal"_s; }

    // The tree a start-up loads with this journal beside the record (both put back first).
    VXValue recoverWith(const QByteArray &withJournal)
    {
        for (const QString &name : QDir(dataHome.configurationFolder()).entryList(QDir::Files | QDir::Hidden))
            QFile::remove(dataHome.configurationFolder() + u'/' + name);
        EXPECT_TRUE(writeFile(dataHome.configurationFile(), record));
        EXPECT_TRUE(writeFile(journalFile(), withJournal));
        VXMainController controller(desktop, time, time, *settings.defaults);
        controller.loadConfiguration();
        controller.store().waitForPendingWrites();
        recoveredSeconds = controller.store().recoveredSeconds();
        return controller.configuration() ? VXValue(controller.configuration()) : VXValue();
    }

    // What is beside the record after a start-up, other than the record and its journal.
    QStringList setAside() const
    {
        QStringList names = QDir(dataHome.configurationFolder()).entryList(QDir::Files | QDir::Hidden);
        names.removeAll(u"Default.plist"_s);
        names.removeAll(u"Default.journal"_s);
        return names;
    }

    Settings settings;
    ScopedDataHome dataHome;
    VXVirtualScheduler time {kStart};
    VXFakeDesktop desktop;
    ScriptedUserInterface ui;
    QByteArray record;
    QByteArray journal;
    std::vector<qsizetype> entryStarts;
    double recoveredSeconds = -1.0;   // as the last start-up reported it
};

double lastTimestampOf(const VXValue &tree)
{
    return tree.dictionary() ? tree.dictionary()->value(VXLastTimestampKey).toDouble() : 0.0;
}

}   // namespace

TEST_F(JournalRecoveryTest, AWholeJournalIsReplayedOnceAndATornLastEntryIsIgnored)
{
    trackAndCrash();
    const VXValue everything = recoverWith(journal);
    // Up to the last flush before the kill, and the journal starts anew.
    EXPECT_GE(lastTimestampOf(everything), kStart + 64 - VXJournal::kFlushInterval);
    EXPECT_EQ(readFile(journalFile()), VXJournalFile::header(readFile(dataHome.configurationFile())));
    EXPECT_TRUE(setAside().isEmpty());
    ASSERT_NE(windowItem(*everything.dictionary(), kEditorID, u"Notes.txt"_s), nullptr);

    // Cut anywhere in its last entry, the journal gives what the entries before it give.
    const qsizetype last = entryStarts.back();
    const VXValue withoutLast = recoverWith(journal.left(last));
    EXPECT_LT(lastTimestampOf(withoutLast), lastTimestampOf(everything));
    for (qsizetype cut = last + 1; cut < journal.size(); ++cut) {
        SCOPED_TRACE("cut at " + std::to_string(cut) + " of " + std::to_string(journal.size()));
        EXPECT_EQ(firstDifference(recoverWith(journal.left(cut)), withoutLast), "");
        EXPECT_TRUE(setAside().isEmpty());
    }
}

TEST_F(JournalRecoveryTest, DamageInTheMiddleKeepsTheRestAsideAndAnotherRecordsJournalIsNeverApplied)
{
    trackAndCrash();
    const std::size_t middle = entryStarts.size() / 2;
    const VXValue beforeTheDamage = recoverWith(journal.left(entryStarts[middle]));

    QByteArray flipped = journal;
    flipped[entryStarts[middle] + 12] = char(flipped[entryStarts[middle] + 12] ^ 0x20);
    EXPECT_EQ(firstDifference(recoverWith(flipped), beforeTheDamage), "");
    EXPECT_EQ(setAside(), QStringList {u"Default.journal.damaged"_s});
    EXPECT_EQ(readFile(dataHome.configurationFolder() + u"/Default.journal.damaged"_s),
              flipped.mid(entryStarts[middle]));

    // The header of another record, or no readable header: the record as it was, the journal
    // set aside whole.
    const VXValue asSaved = VXPropertyListSerialization::valueFromData(record);
    QByteArray other = journal;
    other.replace(0, VXJournalFile::kHeaderSize, VXJournalFile::header(record + "another"));
    QByteArray unreadable = journal;
    unreadable[3] = 'X';
    for (const QByteArray &bad : {other, unreadable}) {
        EXPECT_EQ(firstDifference(recoverWith(bad), asSaved), "");
        const QStringList aside = setAside();
        ASSERT_EQ(aside.size(), 1);
        EXPECT_TRUE(aside[0].startsWith(u"Default.journal.damaged-"_s)) << aside[0].toStdString();
        EXPECT_EQ(readFile(dataHome.configurationFolder() + u'/' + aside[0]), bad);
    }
}

TEST_F(JournalRecoveryTest, WellFramedGarbageStopsTheReplayWithoutHarm)
{
    trackAndCrash();
    const VXValue whole = recoverWith(journal);
    std::mt19937 random(7);
    for (int round = 0; round < 60; ++round) {
        QByteArray payload(std::uniform_int_distribution<int>(1, 40)(random), Qt::Uninitialized);
        for (char &byte : payload)
            byte = char(std::uniform_int_distribution<int>(0, 255)(random));
        // Operations the journal knows, with operands that do not fit the record.
        payload[0] = char(std::uniform_int_distribution<int>(1, 10)(random));
        SCOPED_TRACE(payload.toHex().toStdString());
        const VXValue recovered = recoverWith(journal + VXJournalFile::frame(payload));
        ASSERT_TRUE(recovered.isDictionary());
        // No operation takes an item away: what the whole entries brought is all there.
        for (const auto &entry : *whole.dictionary()->value(VXApplicationsKey).dictionary())
            EXPECT_NE(applicationItem(*recovered.dictionary(), entry.key), nullptr) << entry.key.text().toStdString();
        EXPECT_NE(windowItem(*recovered.dictionary(), kEditorID, u"Notes.txt"_s), nullptr);
    }
}

// A start with a record and no journal: the record loaded is the last full save, so tracking goes
// to a journal tied to it and the record stays as it was (no whole save after the start); a kill
// then recovers the tracking from that journal.
TEST_F(JournalRecoveryTest, AStartContinuesTheRecordItLoadedWithoutSavingItWhole)
{
    trackAndCrash();
    auto seeded = recoverWith(QByteArray());
    ASSERT_TRUE(seeded.isDictionary());
    const QByteArray seededRecord = readFile(dataHome.configurationFile());
    // Wendle is started again a minute after the record's last moment, and killed 36 s later.
    const double restart = time.now();
    {
        auto controller = start();
        time.advanceTo(restart + 36);
        controller->store().waitForPendingWrites();
    }
    EXPECT_EQ(readFile(dataHome.configurationFile()), seededRecord);
    const VXJournalFile::Contents contents = VXJournalFile::read(readFile(journalFile()), seededRecord);
    ASSERT_EQ(contents.status, VXJournalFile::Contents::Status::Matches);
    EXPECT_GE(contents.entries.size(), 5u);
    const VXValue recovered = recoverWith(readFile(journalFile()));
    EXPECT_GT(lastTimestampOf(recovered), lastTimestampOf(seeded) + 30);
    // What it says it recovered is the lost run's tracking up to its last flush, not the minute
    // before it ran.
    ASSERT_GE(restart - lastTimestampOf(seeded), 50.0);
    EXPECT_LE(recoveredSeconds, 36.0);
    EXPECT_GE(recoveredSeconds, 36.0 - VXJournal::kFlushInterval - 1.0);
}

// A whole save cut short (the program ended while a large record was being written; here no file
// may grow past a limit the new record exceeds and the journal does not) leaves the journal
// holding the moments up to the save, not only up to the last flush before it.
TEST_F(JournalRecoveryTest, AWholeSaveCutShortLeavesItsLastMomentsInTheJournal)
{
    auto controller = start();
    // A record far larger than half a minute's journal: a long document's chapters, looked at
    // and closed, saved whole.
    std::vector<std::uint64_t> chapters;
    for (int chapter = 1; chapter <= 150; ++chapter)
        chapters.push_back(
            desktop.openWindow(10, u"Chapter %1 of a long document with a long title.odt"_s.arg(chapter)));
    time.advanceTo(kStart + 5);
    for (const std::uint64_t chapter : chapters)
        desktop.closeWindow(chapter);
    time.advanceTo(kStart + 10);
    ASSERT_TRUE(controller->store().saveConfiguration(true, false, false));
    // Between two flushes (every kFlushInterval seconds while the editor gains time).
    time.advanceTo(kStart + 42);
    controller->store().waitForPendingWrites();
    const double atSave = lastTimestampOf(VXValue(controller->configuration()));
    const QByteArray journalBefore = readFile(journalFile());
    const std::optional<QByteArray> whole = propertyListData(VXValue(controller->configuration()));
    ASSERT_TRUE(whole.has_value());
    const rlim_t limit = rlim_t(journalBefore.size() + 2048);
    ASSERT_LT(qint64(limit), whole->size()) << "the record must outgrow the limit the journal stays under";

    rlimit before {};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    rlimit cut = before;
    cut.rlim_cur = limit;
    const auto ignored = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &cut), 0);
    const bool saved = controller->store().saveConfiguration(true, false, false);
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, ignored);
    EXPECT_FALSE(saved);
    controller.reset();

    record = readFile(dataHome.configurationFile());
    ASSERT_NE(record, *whole) << "the record on the disk is the one before the save";
    const QByteArray journalAfter = readFile(journalFile());
    // The journal as the last flush left it ends before the save's moment; as the save left it,
    // at that moment.
    EXPECT_LT(lastTimestampOf(recoverWith(journalBefore)), atSave);
    EXPECT_EQ(lastTimestampOf(recoverWith(journalAfter)), atSave);
}
