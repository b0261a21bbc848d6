#pragma once

// Wendle running for real: one instance per user, the desktop adapters of this session, the
// controller with its start-up order, the indicator that shows it is tracking, and the quit
// path on every way out (the Quit command, SIGTERM, SIGINT, SIGHUP, logind's shutdown, the
// session ending). main() builds one and runs it.

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

class VXTrackerProgram : public QObject
{
    Q_OBJECT
public:
    // `withIndicator`: show the tray icon or window (needs a QApplication).
    explicit VXTrackerProgram(bool withIndicator, QObject *parent = nullptr);
    ~VXTrackerProgram() override;

    // Starts tracking and runs the event loop until quit; answers the exit status. When another
    // instance runs, hands `files` to it and answers at once.
    int run(const QStringList &files);

    // Opens the live report window once tracking has started (needs a display).
    void setOpensLiveReport(bool opens);

private:
    void quit(const QString &why);
    // Before the machine sleeps, as at quit: the record to disk, or to the settings when the
    // disk refuses it.
    void saveBeforeSleep();
    QByteArray statusReply() const;
    void refreshIndicator();
    void setUpReports();
    void openFiles(const QStringList &paths);

    struct Private;
    std::unique_ptr<Private> d;
};
