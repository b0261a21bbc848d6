#pragma once

// Wendle running for real: one instance per user, the desktop adapters of this session, the
// controller with its start-up order, the indicator that shows it is tracking, and the quit
// path on every way out (the Quit command, SIGTERM, SIGINT, SIGHUP, logind's shutdown, the
// session ending). main() builds one and runs it.
//
// A session bus that takes connections but never answers would hold up any use of it for good
// (the tray icon's check first): start-up gives it a few seconds to answer, before anything in
// the process uses D-Bus, and leaves it out when it does not. Meanwhile a quit asked for by a
// signal waits for the event loop.

#include "VXSingleInstance.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class VXTrackerProgram : public QObject
{
    Q_OBJECT
public:
    // How long the session bus may take to answer before the program goes on without it.
    static constexpr int kSessionBusTimeout = 3000;   // milliseconds

    // `withIndicator`: show the windows or the tray (needs a QApplication).
    explicit VXTrackerProgram(bool withIndicator, QObject *parent = nullptr);
    ~VXTrackerProgram() override;

    // Starts tracking and runs the event loop until quit; answers the exit status (not 0 when
    // the record could not be saved at quit). When another instance runs, hands it `files`
    // (and the live report, and the help page) and answers at once.
    int run(const QStringList &files);

    // Opens the live report window once tracking has started (needs a display).
    void setOpensLiveReport(bool opens);
    // Opens the help window at a page (VXHelpPages::names()) once tracking has started
    // (needs a display); empty: none.
    void setHelpPage(const QString &page);

private:
    int handOver(const QStringList &files);
    void quit(const QString &why);
    int reportSaveAtQuit();
    void answer(const VXInstanceRequest &request, const VXSingleInstance::Reply &reply);
    // Before the machine sleeps, as at quit: the record to disk, or to the settings when the
    // disk refuses it.
    void saveBeforeSleep();
    // When the process ends without the quit path (VXAbruptEnd.h): the record to disk, or to
    // the settings when the disk refuses it.
    void saveAtAbruptEnd();
    QByteArray statusReply() const;
    QByteArray configurationReply() const;
    // Takes the record in the file at `path` in place of the running one; `reply` is answered
    // once both are saved (or at the first failure).
    void import(const QString &path, const VXSingleInstance::Reply &reply);
    // What Wendle does now, for the tray's tooltip.
    QString statusText() const;
    void checkSessionBus();
    void setUpReports();
    bool openLiveReport();
    // The answer to a request for the help window at `page`.
    QByteArray helpReply(const QString &page);
    void openFiles(const QStringList &paths, const VXSingleInstance::Reply &reply);
    void settleFile(const QString &path, const QString &problem);

    struct Private;
    std::unique_ptr<Private> d;
};
