#include "VXTrackerProgram.h"
#include "VXAppLogging.h"

#include "VXAbruptEnd.h"
#include "VXApplicationShell.h"
#include "VXConfigCommand.h"
#include "VXConfigurationStore.h"
#include "VXDesktopBackends.h"
#include "VXEventLoopScheduler.h"
#include "VXExporter.h"
#include "VXHelpPages.h"
#include "VXLiveReportNotification.h"
#include "VXLog.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXOwnInputFilter.h"
#include "VXPropertyListSerialization.h"
#include "VXReportController.h"
#include "VXReportSnapshotManager.h"
#include "VXReportSnapshotWindows.h"
#include "VXSessionBusProbe.h"
#include "VXSignalWatcher.h"
#include "VXStatusCommand.h"
#include "VXSystemClock.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QSet>
#include <QTextStream>

#include <cstdio>
#include <vector>

namespace {

// A file named as the snapshot reader names it in its log and its answers.
QString cleanAbsolutePath(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

// A message of the running instance (one problem a line), as this program's own.
void printProblems(const QString &message)
{
    QTextStream err(stderr);
    for (const QString &line : message.split(u'\n', Qt::SkipEmptyParts))
        err << "wendle: " << line << '\n';
}

// The answer to files this start was given: problems go where the person who started it sees them.
void logProblems(const QByteArray &reply)
{
    QString problems;
    if (!VXSingleInstance::isOkReply(reply, &problems))
        printProblems(problems);
}

// The files of one "open" request, until each is shown or refused.
struct FileBatch {
    QSet<QString> waiting;
    QStringList problems;
    VXSingleInstance::Reply reply;

    void settle(const QString &path, const QString &problem)
    {
        if (!waiting.remove(path))
            return;
        if (!problem.isEmpty())
            problems.append(problem);
        if (waiting.isEmpty())
            reply(problems.isEmpty() ? VXSingleInstance::okReply()
                                     : VXSingleInstance::errorReply(problems.join(u'\n')));
    }
};

template <typename Source>
std::vector<VXPresenceSource *> presenceSources(const std::vector<std::unique_ptr<Source>> &owned)
{
    std::vector<VXPresenceSource *> sources;
    for (const auto &source : owned)
        sources.push_back(source.get());
    return sources;
}

}   // namespace

struct VXTrackerProgram::Private {
    bool withIndicator = false;
    bool quitting = false;
    VXSingleInstance instance {VXSingleInstance::defaultLockPath(), VXSingleInstance::defaultSocketPath()};
    VXSystemClock clock;
    std::unique_ptr<VXEventLoopScheduler> scheduler;
    std::unique_ptr<VXUserDefaults> defaults;
    VXDesktopBackends backends;
    // The windows and the tray: the controller's user interface (none without a display).
    std::unique_ptr<VXApplicationShell> shell;
    std::unique_ptr<VXMainController> controller;
    std::unique_ptr<VXSignalWatcher> signals;
    std::unique_ptr<VXOwnInputFilter> ownInput;
    bool opensLiveReport = false;
    QString helpPage;
    std::unique_ptr<VXReportSnapshotWindows> snapshotWindows;
    bool saved = true;
    std::vector<std::shared_ptr<FileBatch>> fileBatches;
};

VXTrackerProgram::VXTrackerProgram(bool withIndicator, QObject *parent) :
    QObject(parent), d(std::make_unique<Private>())
{
    d->withIndicator = withIndicator;
}

VXTrackerProgram::~VXTrackerProgram()
{
    VXAbruptEnd::disarm();
    if (d->ownInput && QCoreApplication::instance())
        QCoreApplication::instance()->removeEventFilter(d->ownInput.get());
    d->ownInput.reset();
    // Report windows go while the application and the controller they ask are still there.
    if (d->snapshotWindows)
        delete VXReportSnapshotManager::snapshotManager();
    // The windows ask the controller; the controller refers to the adapters and the settings.
    d->shell.reset();
    d->controller.reset();
    d->backends = VXDesktopBackends();
    if (VXUserDefaults::standard() == d->defaults.get())
        VXUserDefaults::setStandard(nullptr);
}

int VXTrackerProgram::run(const QStringList &files)
{
    QString error;
    switch (d->instance.acquire(&error)) {
    case VXSingleInstance::Lock::Failed: QTextStream(stderr) << "wendle: " << error << '\n'; return 1;
    case VXSingleInstance::Lock::HeldByAnother: return handOver(files);
    case VXSingleInstance::Lock::Acquired: break;
    }

    VXInstallMessageHandler();
    checkSessionBus();
    d->signals = std::make_unique<VXSignalWatcher>();
    connect(d->signals.get(), &VXSignalWatcher::quitRequested, this,
            [this](int number) { quit(QStringLiteral("signal %1").arg(number)); });

    d->scheduler = std::make_unique<VXEventLoopScheduler>(&d->clock);
    d->defaults = std::make_unique<VXUserDefaults>();
    VXUserDefaults::setStandard(d->defaults.get());
    d->backends = VXMakeDesktopBackends();
    d->backends.onSessionLost([this] { quit(QStringLiteral("the compositor went away")); });
    if (d->withIndicator)
        d->shell = std::make_unique<VXApplicationShell>(*d->defaults);
    d->controller = std::make_unique<VXMainController>(*d->backends.desktop, *d->scheduler, d->clock, *d->defaults,
                                                       d->shell.get());
    if (d->shell) {
        d->shell->setController(d->controller.get());
        d->shell->setTerminateHandler([this] { quit(QStringLiteral("Quit")); });
        d->shell->setStatusText([this] { return statusText(); });
        // "Open Snapshot..." answers in the report windows it opens, or in the log.
        d->shell->setOpenFilesHandler([this](const QStringList &paths) { openFiles(paths, logProblems); });
    }

    const std::vector<VXPresenceSource *> inputMonitors = presenceSources(d->backends.inputMonitors);
    const std::vector<VXPresenceSource *> notificationSources = presenceSources(d->backends.sessionNotificationSources);
    for (const auto &source : d->backends.sessionNotificationSources) {
        source->setBeforeShutdown([this] { quit(QStringLiteral("shutdown")); });
        // A battery that runs out while the machine sleeps loses nothing.
        source->setBeforeSleep([this] { saveBeforeSleep(); });
    }

    // The start-up order: settings and the mode; snapshot reports; presence, the record and the
    // first tick (completeUISetup, with the welcome choice and the windows or the tray, follows
    // on the loop's first turn); then the files this start was given.
    d->controller->applicationWillFinishLaunching();
    setUpReports();
    d->controller->applicationDidFinishLaunching(inputMonitors, notificationSources);
    VXAbruptEnd::install([this] { saveAtAbruptEnd(); });

    d->ownInput = std::make_unique<VXOwnInputFilter>(d->controller->presenceObserver());
    QCoreApplication::instance()->installEventFilter(d->ownInput.get());

    d->instance.setRequestHandler(
        [this](const VXInstanceRequest &request, const VXSingleInstance::Reply &reply) { answer(request, reply); });
    if (!files.isEmpty())
        openFiles(files, logProblems);
    if (d->opensLiveReport)
        QMetaObject::invokeMethod(
            this, [this] { openLiveReport(); }, Qt::QueuedConnection);
    if (!d->helpPage.isEmpty())
        QMetaObject::invokeMethod(
            this, [this] { logProblems(helpReply(d->helpPage)); }, Qt::QueuedConnection);

    // The session ending closes the connection to the display, which ends the loop: the quit
    // path runs then too.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, this,
            [this] { quit(QStringLiteral("session end")); });
    QCoreApplication::exec();
    return reportSaveAtQuit();
}

// ---- A second start

int VXTrackerProgram::handOver(const QStringList &files)
{
    const QString socket = VXSingleInstance::defaultSocketPath();
    const auto noAnswer = [] {
        printProblems(tr("another Wendle holds <%1> but does not answer").arg(VXSingleInstance::defaultLockPath()));
        return 1;
    };
    std::vector<VXInstanceRequest> requests;
    if (!files.isEmpty()) {
        VXInstanceRequest open {VXInstanceRequest::Kind::Open, {}};
        for (const QString &file : files)
            open.files << cleanAbsolutePath(file);
        requests.push_back(open);
    }
    if (d->opensLiveReport)
        requests.push_back({VXInstanceRequest::Kind::Report, {}});
    if (!d->helpPage.isEmpty())
        requests.push_back({VXInstanceRequest::Kind::Help, {d->helpPage}});
    if (requests.empty()) {
        // Started again from the launcher: the running Wendle brings its window back.
        if (!VXSingleInstance::send(socket, {VXInstanceRequest::Kind::Reopen, {}}))
            return noAnswer();
        QTextStream(stderr) << tr("Wendle is already running.") << '\n';
        return 0;
    }
    int status = 0;
    for (const VXInstanceRequest &request : requests) {
        // Reading a large file takes the running Wendle a while before it can answer.
        const std::optional<QByteArray> reply
            = VXSingleInstance::send(socket, request, VXSingleInstance::kReplyTimeout);
        if (!reply)
            return noAnswer();
        QString problems;
        if (!VXSingleInstance::isOkReply(*reply, &problems)) {
            printProblems(problems);
            status = 1;
        }
    }
    return status;
}

void VXTrackerProgram::saveBeforeSleep()
{
    qCInfo(lcInstance, "the machine is going to sleep: saving the record");
    d->controller->saveConfiguration(true, true, false);
    d->defaults->synchronize();
}

void VXTrackerProgram::saveAtAbruptEnd()
{
    if (d->quitting || !d->controller)
        return;
    qCWarning(lcInstance, "ending without the quit path (the display's connection broke?): saving the record");
    d->controller->saveConfiguration(true, true, false);
    d->defaults->synchronize();
}

void VXTrackerProgram::quit(const QString &why)
{
    if (d->quitting)
        return;
    d->quitting = true;
    VXAbruptEnd::disarm();
    qCInfo(lcInstance, "quitting (%s): saving the record", qPrintable(why));
    d->saved = d->controller->applicationShouldTerminate();
    QCoreApplication::quit();
}

int VXTrackerProgram::reportSaveAtQuit()
{
    if (d->saved)
        return 0;
    // The store has said why in its log; the person who ends the program must hear it too.
    const QString path = d->controller->store().configurationPath();
    const bool kept
        = d->defaults->persistentObjectForKey(VXDefaultConfigurationKey).isDictionary() && d->defaults->synchronize();
    QTextStream err(stderr);
    if (kept)
        err << tr("wendle: cannot save the record to <%1>; it is kept in the settings (<%2>) until a save succeeds")
                   .arg(path, d->defaults->filePath());
    else
        err << tr("wendle: cannot save the record to <%1>, nor in the settings: what was tracked since the last "
                  "save is lost")
                   .arg(path);
    err << '\n';
    return 1;
}

// ---- Requests from other starts and commands

void VXTrackerProgram::answer(const VXInstanceRequest &request, const VXSingleInstance::Reply &reply)
{
    switch (request.kind) {
    case VXInstanceRequest::Kind::Open: openFiles(request.files, reply); return;
    case VXInstanceRequest::Kind::Report:
        if (!d->withIndicator) {
            reply(VXSingleInstance::errorReply(tr("the running Wendle has no display to show the report on")));
            return;
        }
        reply(openLiveReport() ? VXSingleInstance::okReply()
                               : VXSingleInstance::errorReply(tr("the live report cannot be shown")));
        return;
    case VXInstanceRequest::Kind::Help: reply(helpReply(request.files.constFirst())); return;
    case VXInstanceRequest::Kind::Import: import(request.files.constFirst(), reply); return;
    case VXInstanceRequest::Kind::Status: reply(statusReply()); return;
    case VXInstanceRequest::Kind::Configuration: reply(configurationReply()); return;
    case VXInstanceRequest::Kind::Reopen:
        // Without a display there is nothing to bring back: the start is answered all the same.
        if (d->shell)
            d->controller->applicationShouldHandleReopen(false);
        reply(VXSingleInstance::okReply());
        return;
    }
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
    snapshot.damagedRecordPath = d->controller->damagedConfigurationPath();
    snapshot.source
        = QCoreApplication::translate("VXTrackerProgram", "Wendle is running. %1").arg(d->backends.status());
    return VXStatusCommand::statusText(snapshot).toUtf8();
}

QByteArray VXTrackerProgram::configurationReply() const
{
    const VXDictionaryRef &configuration = d->controller->configuration();
    const std::optional<QByteArray> data = configuration ? VXPropertyListSerialization::dataFromValue(
                                               VXValue(configuration), VXPropertyListSerialization::Format::Binary)
                                                         : std::nullopt;
    return data ? *data : VXSingleInstance::errorReply(tr("the running Wendle cannot write out its record"));
}

void VXTrackerProgram::import(const QString &path, const VXSingleInstance::Reply &reply)
{
    QString error;
    VXDictionaryRef snapshot;
    VXDictionaryRef configuration = VXConfigCommand::importableConfiguration(path, &error, &snapshot);
    if (!configuration)
        return reply(VXSingleInstance::errorReply(error));
    // The record as it is now stays beside the file, as the command keeps it when Wendle is not
    // running; Undo brings it back too. Both it and the imported record are written by the
    // store's writer thread, and the answer goes once they are on the disk.
    VXConfigurationStore &store = d->controller->store();
    const QString target = store.configurationPath();
    const QString backup = VXConfigCommand::backupPathFor(target);
    auto replace = [this, path, target, backup, reply, configuration = std::move(configuration),
                    snapshot = std::move(snapshot)](bool kept) mutable {
        if (!kept)
            return reply(VXSingleInstance::errorReply(
                tr("cannot import <%1>: the record as it is cannot be kept as <%2>").arg(path, backup)));
        d->controller->importConfiguration(
            std::move(configuration), std::move(snapshot), [path, target, backup, reply](bool written) {
                if (!written)
                    return reply(VXSingleInstance::errorReply(
                        tr("imported <%1>, but it cannot be saved to <%2>: Wendle tries again at its next save")
                            .arg(path, target)));
                QString message = tr("imported <%1> into the running Wendle, which saved it to <%2>").arg(path, target);
                if (QFileInfo::exists(backup))
                    message += u'\n'
                        + tr("the previous record is kept as <%1>; Undo in Wendle brings it back too").arg(backup);
                reply(VXSingleInstance::okReply() + message.toUtf8() + '\n');
            });
    };
    if (d->controller->configuration())
        store.writeCopy(store.snapshotOfTree(), backup, std::move(replace));
    else
        replace(true);
}

QString VXTrackerProgram::statusText() const
{
    QString state;
    if (d->controller->hibernation().isHibernating())
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is hibernating");
    else if (d->controller->isPaused())
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is paused");
    else
        state = QCoreApplication::translate("VXTrackerProgram", "Wendle is tracking");
    // A step the user must take before windows can be tracked stays in view until it is done.
    const QString notice = d->backends.notice();
    return notice.isEmpty() ? state : state + QLatin1Char('\n') + notice;
}

void VXTrackerProgram::setOpensLiveReport(bool opens)
{
    d->opensLiveReport = opens;
}

void VXTrackerProgram::setHelpPage(const QString &page)
{
    d->helpPage = page;
}

QByteArray VXTrackerProgram::helpReply(const QString &page)
{
    if (!d->shell)
        return VXSingleInstance::errorReply(tr("the running Wendle has no display to show the help on"));
    if (!VXHelpPages::names().contains(page))
        return VXSingleInstance::errorReply(tr("there is no help page '%1'").arg(page));
    d->shell->showHelpPage(page);
    return VXSingleInstance::okReply();
}

// ---- The user interface

void VXTrackerProgram::checkSessionBus()
{
    // Before anything in the process uses D-Bus: the bus addresses are read once, at the first
    // use of either bus.
    if (!d->withIndicator)
        return;
    QString problem;
    if (VXSessionBusAnswers(kSessionBusTimeout, &problem))
        return;
    qCWarning(lcInstance, "%s: the tray icon and other services of the session bus are left out", qPrintable(problem));
    VXForgetSessionBus();
}

void VXTrackerProgram::setUpReports()
{
    if (!d->withIndicator)
        return;
    d->snapshotWindows = std::make_unique<VXReportSnapshotWindows>(d->defaults.get());
    VXReportSnapshotManager *snapshots = VXReportSnapshotManager::snapshotManager();
    snapshots->setPresenter(d->snapshotWindows.get());
    snapshots->setDelegate(d->controller.get());
    connect(snapshots, &VXReportSnapshotManager::reportSnapshotShown, this,
            [this](const QString &path) { settleFile(path, QString()); });
    connect(snapshots, &VXReportSnapshotManager::reportSnapshotRefused, this,
            [this](const QString &path, const QString &reason) {
                settleFile(path,
                           tr("cannot open <%1> as a report: %2")
                               .arg(path, reason.isEmpty() ? tr("it is not a CSV file exported by Wendle") : reason));
            });
}

bool VXTrackerProgram::openLiveReport()
{
    if (!d->shell)
        return false;
    // Shown, or brought to the front; a report already in front stays open.
    d->shell->createDefaultReportController();
    d->shell->showWindow(VXMainControllerDelegate::Window::Report);
    return d->shell->isReportWindowVisible();
}

void VXTrackerProgram::openFiles(const QStringList &paths, const VXSingleInstance::Reply &reply)
{
    if (!d->withIndicator) {
        reply(VXSingleInstance::errorReply(tr("there is no display to show <%1> on").arg(paths.join(u">, <"))));
        return;
    }
    // CSV files open as snapshot reports; the request is answered once each is shown or refused.
    auto batch = std::make_shared<FileBatch>();
    batch->reply = reply;
    for (const QString &path : paths) {
        const QString file = cleanAbsolutePath(path);
        if (QFileInfo(file).suffix().toLower() == VXExportFileType)
            batch->waiting.insert(file);
        else
            batch->problems.append(tr("cannot open <%1> as a report: it is not a CSV file").arg(file));
    }
    if (batch->waiting.isEmpty()) {
        reply(VXSingleInstance::errorReply(batch->problems.join(u'\n')));
        return;
    }
    d->fileBatches.push_back(batch);
    const QStringList files(batch->waiting.cbegin(), batch->waiting.cend());
    for (const QString &file : files)
        VXReportSnapshotManager::snapshotManager()->showReportSnapshotFromCSVFile(file);
}

void VXTrackerProgram::settleFile(const QString &path, const QString &problem)
{
    for (const std::shared_ptr<FileBatch> &batch : std::vector(d->fileBatches))
        batch->settle(path, problem);
    std::erase_if(d->fileBatches, [](const std::shared_ptr<FileBatch> &batch) { return batch->waiting.isEmpty(); });
}
