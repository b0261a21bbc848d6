#include "VXTrackerProgram.h"

#include "VXDesktopBackends.h"
#include "VXEventLoopScheduler.h"
#include "VXExporter.h"
#include "VXLiveReportNotification.h"
#include "VXLog.h"
#include "VXLogindPresenceSource.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXOwnInputFilter.h"
#include "VXReportController.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXSignalWatcher.h"
#include "VXSingleInstance.h"
#include "VXStatusCommand.h"
#include "VXSystemClock.h"
#include "VXTrackingIndicator.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTextStream>

#include <cstdio>

Q_DECLARE_LOGGING_CATEGORY(lcInstance)

namespace {

// Until the organizer and the reports exist, the indicator is the program's only face: it
// learns of every tick through the list reloads.
class IndicatorDelegate final : public VXMainControllerDelegate
{
public:
    explicit IndicatorDelegate(std::function<void()> changed) : m_changed(std::move(changed)) { }
    void reloadApplicationList() override { m_changed(); }
    // The live report follows every tick.
    void updateReport() override
    {
        if (liveReport)
            liveReport->update(nullptr);
    }
    bool isReportWindowVisible() const override
    {
        return liveReport && liveReport->reportWindow() && liveReport->reportWindow()->isVisible();
    }
    // Quitting closes the report windows: they keep their open state for the next launch.
    void tearDownUserInterface() override { VXReportController::setApplicationTerminating(true); }
    VXReportController *liveReport = nullptr;
    void showHibernationState(bool, bool) override { m_changed(); }
    void beep() override { std::fputc('\a', stderr); }

private:
    std::function<void()> m_changed;
};

}   // namespace

struct VXTrackerProgram::Private {
    bool withIndicator = false;
    bool quitting = false;
    VXSingleInstance instance {VXSingleInstance::defaultLockPath(), VXSingleInstance::defaultSocketPath()};
    VXSystemClock clock;
    std::unique_ptr<VXEventLoopScheduler> scheduler;
    std::unique_ptr<VXUserDefaults> defaults;
    VXDesktopBackends backends;
    std::unique_ptr<IndicatorDelegate> delegate;
    std::unique_ptr<VXMainController> controller;
    std::unique_ptr<VXTrackingIndicator> indicator;
    std::unique_ptr<VXSignalWatcher> signals;
    std::unique_ptr<VXOwnInputFilter> ownInput;
    bool opensLiveReport = false;
    std::unique_ptr<VXReportSnapshotWindows> snapshotWindows;
    std::shared_ptr<VXReportController> liveReport;
};

VXTrackerProgram::VXTrackerProgram(bool withIndicator, QObject *parent) :
    QObject(parent), d(std::make_unique<Private>())
{
    d->withIndicator = withIndicator;
}

VXTrackerProgram::~VXTrackerProgram()
{
    if (d->ownInput && QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(d->ownInput.get());
    d->ownInput.reset();
    // Report windows go while the application and the controller they ask are still there.
    if (d->snapshotWindows)
        delete VXReportSnapshotManager::snapshotManager();
    if (d->delegate)
        d->delegate->liveReport = nullptr;
    d->liveReport.reset();
    // The controller refers to the adapters and the settings: it goes first.
    d->controller.reset();
    d->backends = VXDesktopBackends();
    if (VXUserDefaults::standard() == d->defaults.get())
        VXUserDefaults::setStandard(nullptr);
}

int VXTrackerProgram::run(const QStringList &files)
{
    if (!d->instance.acquire()) {
        QStringList request {VXSingleInstance::kOpenRequest};
        for (const QString &file : files)
            request << QFileInfo(file).absoluteFilePath();
        QTextStream err(stderr);
        if (VXSingleInstance::send(VXSingleInstance::defaultSocketPath(), request))
            err << QCoreApplication::translate("VXTrackerProgram", "Wendle is already running.") << '\n';
        else
            err << QCoreApplication::translate("VXTrackerProgram", "Another Wendle holds <%1> but does not answer.")
                       .arg(VXSingleInstance::defaultLockPath())
                << '\n';
        return 0;
    }

    VXInstallMessageHandler();
    d->signals = std::make_unique<VXSignalWatcher>();
    connect(d->signals.get(), &VXSignalWatcher::quitRequested, this,
            [this](int number) { quit(QStringLiteral("signal %1").arg(number)); });

    d->scheduler = std::make_unique<VXEventLoopScheduler>(&d->clock);
    d->defaults = std::make_unique<VXUserDefaults>();
    VXUserDefaults::setStandard(d->defaults.get());
    d->backends = VXMakeDesktopBackends();
    d->backends.onSessionLost([this] { quit(QStringLiteral("the compositor went away")); });
    d->delegate = std::make_unique<IndicatorDelegate>([this] { refreshIndicator(); });
    d->controller = std::make_unique<VXMainController>(*d->backends.desktop, *d->scheduler, d->clock, *d->defaults,
                                                       d->delegate.get());

    // Input monitors feed the idle countdown; the others report sleep, sessions and locks.
    std::vector<VXPresenceSource *> inputMonitors;
    std::vector<VXPresenceSource *> notificationSources;
    for (const auto &source : d->backends.presenceSources) {
        if (auto *logind = dynamic_cast<VXLogindPresenceSource *>(source.get())) {
            logind->setShutdownHandler([this] { quit(QStringLiteral("shutdown")); });
            notificationSources.push_back(source.get());
        } else {
            inputMonitors.push_back(source.get());
        }
    }

    d->controller->applicationWillFinishLaunching();
    d->controller->applicationDidFinishLaunching(inputMonitors, notificationSources);

    d->ownInput = std::make_unique<VXOwnInputFilter>(d->controller->presenceObserver());
    QCoreApplication::instance()->installEventFilter(d->ownInput.get());

    d->instance.setStatusProvider([this] { return statusReply(); });
    setUpReports();
    openFiles(files);
    connect(&d->instance, &VXSingleInstance::filesOpened, this, [this](const QStringList &paths) { openFiles(paths); });

    if (d->withIndicator) {
        d->indicator = std::make_unique<VXTrackingIndicator>();
        connect(d->indicator.get(), &VXTrackingIndicator::quitRequested, this,
                [this] { quit(QStringLiteral("Quit")); });
        refreshIndicator();
        d->indicator->show();
    }
    // The session ending closes the connection to the display, which ends the loop: the quit
    // path runs then too.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { quit(QStringLiteral("session end")); });
    return QCoreApplication::exec();
}

void VXTrackerProgram::quit(const QString &why)
{
    if (d->quitting)
        return;
    d->quitting = true;
    qCInfo(lcInstance, "quitting (%s): saving the record", qPrintable(why));
    d->controller->applicationShouldTerminate();
    QCoreApplication::quit();
}

QByteArray VXTrackerProgram::statusReply() const
{
    VXStatusSnapshot snapshot;
    snapshot.configuration = d->controller->configuration();
    snapshot.applications = d->controller->applicationArray();
    snapshot.pools = d->controller->poolArray();
    snapshot.running = true;
    snapshot.paused = d->controller->isPaused();
    snapshot.hibernating = d->controller->hibernation().isHibernating();
    snapshot.source
        = QCoreApplication::translate("VXTrackerProgram", "Wendle is running. %1").arg(d->backends.status());
    return VXStatusCommand::statusText(snapshot).toUtf8();
}

void VXTrackerProgram::refreshIndicator()
{
    if (!d->indicator || !d->controller)
        return;
    QString state;
    if (d->controller->hibernation().isHibernating())
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is hibernating");
    else if (d->controller->isPaused())
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is paused");
    else
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is tracking");
    // A step the user must take before windows can be tracked stays in view until it is done.
    const QString notice = d->backends.notice();
    d->indicator->setStatus(notice.isEmpty() ? state : state + QLatin1Char('\n') + notice);
}

void VXTrackerProgram::setOpensLiveReport(bool opens)
{
    d->opensLiveReport = opens;
}

void VXTrackerProgram::setUpReports()
{
    if (!d->withIndicator)
        return;
    d->snapshotWindows = std::make_unique<VXReportSnapshotWindows>(d->defaults.get());
    VXReportSnapshotManager *snapshots = VXReportSnapshotManager::snapshotManager();
    snapshots->setPresenter(d->snapshotWindows.get());
    snapshots->setDelegate(d->controller.get());

    d->liveReport = VXReportController::reportControllerWithUniqueID(VXReportKey::kDefaultUniqueID, d->controller.get(),
                                                                     d->defaults.get());
    d->delegate->liveReport = d->liveReport.get();
    connect(VXLiveReportNotification::defaultCenter(), &VXLiveReportNotification::posted, d->liveReport.get(),
            &VXReportController::updateRegardless);
    // Asked for, or left open at the last quit.
    if (d->opensLiveReport || d->defaults->boolForKey(VXReportKey::kDefaultVisible))
        d->liveReport->toggleReportWindow(nullptr);
}

void VXTrackerProgram::openFiles(const QStringList &paths)
{
    // CSV files open as snapshot reports; others are ignored.
    for (const QString &path : paths) {
        if (!d->snapshotWindows) {
            qCInfo(lcInstance, "no display to show the report of <%s>", qPrintable(path));
            continue;
        }
        if (QFileInfo(path).suffix().toLower() == VXExportFileType)
            VXReportSnapshotManager::snapshotManager()->showReportSnapshotFromCSVFile(path);
    }
}
