#include "VXReportSnapshotManager.h"

#include "VXCSVExport.h"
#include "VXPersistenceTestSupport.h"
#include "VXReportSnapshotParser.h"
#include "VXReportSnapshotPresenter.h"
#include "VXScenarioSteps.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QThread>
#include <QTimer>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

class Report final : public VXReportClient
{
public:
    Report(QString id, VXDictionaryRef configuration) : m_id(std::move(id)), m_configuration(std::move(configuration))
    {
    }
    QString uniqueID() const override { return m_id; }
    VXDictionaryRef snapshotConfiguration() const override { return m_configuration; }
    void detachReportView() override { detached = true; }
    bool detached = false;

private:
    QString m_id;
    VXDictionaryRef m_configuration;
};

// The reports layer, scripted: makes reports, records where and how often it shows them.
class Presenter final : public VXReportSnapshotPresenter
{
public:
    bool makes = true;
    QStringList made;
    int shown = 0;
    bool onMainThread = true;

    std::shared_ptr<VXReportClient> makeReportController(const QString &uniqueID, const VXDictionaryRef &configuration,
                                                         VXReportDataSource &) override
    {
        onMainThread = onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        if (!makes)
            return nullptr;
        made << uniqueID;
        return std::make_shared<Report>(uniqueID, configuration);
    }
    bool showReportController(VXReportClient &) override
    {
        onMainThread = onMainThread && QThread::currentThread() == QCoreApplication::instance()->thread();
        ++shown;
        return true;
    }
};

class Menu final : public VXReportMenu
{
public:
    QStringList titles;
    void addItem(const QString &title, int, std::function<void()>) override { titles << title; }
    void addSeparator() override { titles << u"-"_s; }
    void addHeading(const QString &title) override { titles << title; }
    VXReportMenu &addSubmenu(const QString &title) override
    {
        titles << title;
        return *this;
    }
};

// The application controller as the snapshots' delegate: it fills the View menu.
class Delegate final : public VXReportDataSource
{
public:
    void getFirstTimestamp(double *, double *, const VXReportClient &) override { }
    VXArrayRef eventLogsClippedBetweenTimestamp(double, double, const VXReportClient &) override
    {
        return VXMakeArray();
    }
    void populateViewMenu(VXReportMenu &menu, const VXReportClient &report) override
    {
        menu.addItem(u"as Time Lapse for "_s + report.uniqueID(), 0, {});
    }
};

QString writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        return QString();
    file.write(text);
    return path;
}

const QByteArray kSnapshot = "Application,Window,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                             "Mail,Inbox,1700000000.00,1700000100.00\n"
                             "Mail,,1700000200.00,1700000300.00\n";

}   // namespace

// One manager through opening, closing, asking twice and refusing; each step names its fault.
TEST(VXReportSnapshotManager, FilesAreOpenedOnceClosedAndRefusedThroughOneManager)
{
    Settings settings;
    QTemporaryDir folder;
    LogCapture log;
    Presenter presenter;
    VXReportSnapshotManager manager;
    manager.setPresenter(&presenter);
    QStringList shown;
    QObject::connect(&manager, &VXReportSnapshotManager::reportSnapshotShown,
                     [&](const QString &path) { shown << path; });
    QStringList refused;
    QStringList reasons;
    QObject::connect(&manager, &VXReportSnapshotManager::reportSnapshotRefused,
                     [&](const QString &path, const QString &reason) {
                         refused << path;
                         reasons << reason;
                     });

    const QString path = writeFile(folder.filePath(u"a.csv"_s), kSnapshot);
    VXScenarioSteps steps;
    VX_STEP(steps, "a file is read off the main thread and its report shown on it");
    manager.showReportSnapshotFromCSVFile(path);
    // Nothing happens before the event loop turns: the reading is elsewhere.
    EXPECT_EQ(manager.pendingCount(), 1);
    EXPECT_TRUE(presenter.made.isEmpty());
    ASSERT_TRUE(VXWaitUntil([&] { return !shown.isEmpty(); }));
    EXPECT_EQ(shown, QStringList {path});
    EXPECT_EQ(presenter.made, QStringList {path});
    EXPECT_EQ(presenter.shown, 1);
    EXPECT_TRUE(presenter.onMainThread);
    ASSERT_EQ(manager.controllers().size(), 1u);
    EXPECT_EQ(manager.pendingCount(), 0);

    VX_STEP(steps, "the manager answers the report's questions from the file's data");
    const VXReportClient &report = *manager.controllers().front();
    double first = 0;
    double last = 0;
    manager.getFirstTimestamp(&first, &last, report);
    EXPECT_DOUBLE_EQ(first, 1700000000);
    EXPECT_DOUBLE_EQ(last, 1700000300);
    const VXArrayRef entries = manager.eventLogsClippedBetweenTimestamp(1700000050, 1700000250, report);
    ASSERT_EQ(entries->size(), 2u);
    EXPECT_EQ(entries->at(0).dictionary()->value(VXNameKey).toString(), u"Mail"_s);
    EXPECT_EQ(doublesOf(entries->at(0).dictionary()->value(VXFrontActiveLogKey)),
              (std::vector<double> {1700000200, -1700000250}));
    EXPECT_EQ(doublesOf(entries->at(1).dictionary()->value(VXFrontActiveLogKey)),
              (std::vector<double> {1700000050, -1700000100}));

    // The View menu comes from the delegate; there is no context menu.
    Menu menu;
    manager.populateViewMenu(menu, report);
    EXPECT_TRUE(menu.titles.isEmpty());
    Delegate delegate;
    manager.setDelegate(&delegate);
    manager.populateViewMenu(menu, report);
    EXPECT_EQ(menu.titles, QStringList {u"as Time Lapse for "_s + path});
    EXPECT_FALSE(manager.contextMenuForEventLog(*entries->at(0).dictionary(), report, menu));
    manager.setDelegate(nullptr);

    VX_STEP(steps, "closing a report forgets it on the next turn of the loop, reopening reads the file again");
    std::weak_ptr<VXReportClient> weak = manager.controllers().front();
    Report &closing = static_cast<Report &>(*manager.controllers().front());
    manager.reportWindowWillCloseForReportController(closing);
    EXPECT_TRUE(manager.controllers().empty());
    // Still alive while its own close code runs.
    EXPECT_FALSE(weak.expired());
    EXPECT_TRUE(closing.detached);
    ASSERT_TRUE(VXWaitUntil([&] { return weak.expired(); }));

    // A report the manager does not know changes nothing.
    Report stranger(u"x"_s, VXDictionaryRef());
    manager.reportWindowWillCloseForReportController(stranger);

    manager.showReportSnapshotFromCSVFile(path);
    ASSERT_TRUE(VXWaitUntil([&] { return manager.controllers().size() == 1; }));
    EXPECT_EQ(presenter.made.size(), 2);
    manager.reportWindowWillCloseForReportController(*manager.controllers().front());

    VX_STEP(steps, "one file opens one report however it is named or how often it is asked for");
    const QString other = writeFile(folder.filePath(u"b.csv"_s), kSnapshot);
    ASSERT_TRUE(QDir(folder.path()).mkdir(u"sub"_s));
    ASSERT_TRUE(QFile::link(other, folder.filePath(u"link.csv"_s)));
    const qsizetype shownBefore = shown.size();
    const int presentedBefore = presenter.shown;
    // Asked again while the first reading is under way: still one.
    manager.showReportSnapshotFromCSVFile(other);
    manager.showReportSnapshotFromCSVFile(folder.filePath(u"sub/../b.csv"_s));
    ASSERT_TRUE(VXWaitUntil([&] { return shown.size() == shownBefore + 1; }));
    // Asked again when it is open: brought forward, not read again.
    manager.showReportSnapshotFromCSVFile(folder.filePath(u"link.csv"_s));
    EXPECT_EQ(shown.size(), shownBefore + 2);
    EXPECT_EQ(presenter.shown, presentedBefore + 2);
    EXPECT_EQ(presenter.made.count(other), 1);
    EXPECT_EQ(manager.controllers().size(), 1u);
    EXPECT_EQ(manager.controllerForPath(folder.filePath(u"sub/../b.csv"_s)), manager.controllers().front());
    EXPECT_EQ(manager.controllerForPath(folder.filePath(u"other.csv"_s)), nullptr);

    // Nothing for no path.
    manager.showReportSnapshotFromCSVFile(QString());
    EXPECT_EQ(manager.pendingCount(), 0);

    VX_STEP(steps, "a file that cannot be used opens nothing");
    const qsizetype made = presenter.made.size();
    log.take();   // what the earlier readings logged
    // The reader's own refusal reaches whoever asked, the same words as the log.
    const QString empty = writeFile(folder.filePath(u"empty.csv"_s), "Application\n");
    manager.showReportSnapshotFromCSVFile(empty);
    ASSERT_TRUE(VXWaitUntil([&] { return !refused.isEmpty(); }));
    EXPECT_EQ(presenter.made.size(), made);
    EXPECT_EQ(manager.controllers().size(), 1u);
    EXPECT_EQ(log.take(), QStringList {u"empty CSV file: "_s + empty});
    EXPECT_EQ(reasons, QStringList {u"empty CSV file: "_s + empty});

    // The reports layer cannot make a report: nothing kept either.
    presenter.makes = false;
    const QString good = writeFile(folder.filePath(u"good.csv"_s), kSnapshot);
    manager.showReportSnapshotFromCSVFile(good);
    ASSERT_TRUE(VXWaitUntil([&] { return refused.size() == 2; }));
    EXPECT_EQ(manager.controllers().size(), 1u);
    EXPECT_EQ(reasons.last(), QString());
    // And may be asked again later.
    presenter.makes = true;
    manager.showReportSnapshotFromCSVFile(good);
    ASSERT_TRUE(VXWaitUntil([&] { return manager.controllers().size() == 2; }));
}

TEST(VXReportSnapshotManager, AManagerGoingAwayWhileAFileIsReadDropsTheResult)
{
    Settings settings;
    QTemporaryDir folder;
    QByteArray text = "Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n";
    for (int i = 0; i < 100'000; ++i)
        text += "App,1700000000.00,1700000001.00\n";
    const QString path = writeFile(folder.filePath(u"d.csv"_s), text);
    Presenter presenter;
    {
        VXReportSnapshotManager manager;
        manager.setPresenter(&presenter);
        manager.showReportSnapshotFromCSVFile(path);
    }
    QCoreApplication::processEvents();
    EXPECT_TRUE(presenter.made.isEmpty());

    // The separator setting is what a file without a header word to guess from falls back on.
    EXPECT_EQ(VXReportSnapshotManager::reportSnapshotColumnSeparator(), u","_s);
    settings.defaults->setInteger(2, VXExportKey::kExportedReportColumnSeparator);
    EXPECT_EQ(VXReportSnapshotManager::reportSnapshotColumnSeparator(), u"\t"_s);
    const QString tabbed
        = writeFile(folder.filePath(u"e.csv"_s),
                    "\"Application\"\tForeground Begin (Unix Time)\tForeground End (Unix Time)\nA\t1.00\t2.00\n");
    EXPECT_TRUE(VXReportSnapshotManager::reportSnapshotConfigurationFromCSVFile(tabbed));
    settings.defaults->setInteger(1, VXExportKey::kExportedReportColumnSeparator);
    LogCapture quiet;
    EXPECT_FALSE(VXReportSnapshotManager::reportSnapshotConfigurationFromCSVFile(tabbed));
    EXPECT_NE(VXReportSnapshotManager::snapshotManager(), nullptr);
    EXPECT_EQ(VXReportSnapshotManager::snapshotManager(), VXReportSnapshotManager::snapshotManager());
}
