#pragma once

// Turns SIGTERM, SIGINT and SIGHUP into a Qt signal on the main thread, so that logout,
// shutdown, Ctrl-C and `kill` all run the program's quit path and nothing tracked is lost. The
// handler only writes the signal's number to a socket pair; the event loop reads it.

#include <QObject>

class QSocketNotifier;

class VXSignalWatcher : public QObject
{
    Q_OBJECT
public:
    explicit VXSignalWatcher(QObject *parent = nullptr);
    ~VXSignalWatcher() override;

    bool isWatching() const { return m_notifier != nullptr; }

Q_SIGNALS:
    void quitRequested(int signalNumber);

private:
    void readSignals();

    QSocketNotifier *m_notifier = nullptr;
};
