#pragma once

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread, so that logout,
// shutdown, Ctrl-C and `kill` all run the program's quit path and nothing tracked is lost. The
// handler only writes the signal's number to a socket pair; the event loop reads it.
//
// The handlers are installed first thing in main() (installHandlers()), before anything that
// could keep the program from reaching its event loop: a signal that comes meanwhile waits in
// the socket pair for the watcher. Should the event loop not take it up within
// kQuitDeadline seconds (a start-up stuck in a call that never returns), the process ends
// without saving: the record on disk is the last one saved, and the program does not linger.

#include <QObject>

class QSocketNotifier;

class VXSignalWatcher : public QObject
{
    Q_OBJECT
public:
    static constexpr unsigned kQuitDeadline = 15;   // seconds

    // Installs the handlers (once; later calls do nothing). False, after a log line, when the
    // socket pair cannot be made.
    static bool installHandlers();

    // Installs the handlers if that has not been done, and reports the signals from the event
    // loop, those that came before it too.
    explicit VXSignalWatcher(QObject *parent = nullptr);
    ~VXSignalWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void quitRequested(int signalNumber);

private:
    void readSignals();

    QSocketNotifier *m_notifier = nullptr;
};
