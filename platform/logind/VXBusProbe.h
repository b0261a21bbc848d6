#pragma once

// Whether a D-Bus bus answers at all, found out without blocking and within a bound.
//
// Qt connects to a bus synchronously, and a bus that accepts the connection but never answers
// (a hung daemon, a stale socket some other program listens on) holds that connection forever,
// and with it every other bus connection of the process (they are all made on one thread). So
// the program asks first, on a socket of its own: it opens the connection and starts the
// authentication, and the bus answers (with OK, or REJECTED: either way it is alive) or the time
// is up. Only a bus that answered is then handed to Qt.
//
//     auto *probe = new VXBusProbe(this);
//     connect(probe, &VXBusProbe::finished, this, [](bool answered, const QString &whyNot) { ... });
//     probe->start(VXBusProbe::systemBusAddress(), 3000);
//
// Before the event loop runs (the program's check of its session bus at start-up), ask() does
// the same and waits for the answer.

#include <QObject>
#include <QString>
#include <QTimer>

class QSocketNotifier;

class VXBusProbe final : public QObject
{
    Q_OBJECT
public:
    explicit VXBusProbe(QObject *parent = nullptr);
    ~VXBusProbe() override;

    // DBUS_SYSTEM_BUS_ADDRESS, else the system bus's usual socket.
    static QString systemBusAddress();

    enum class Answer {
        Answered,   // the bus answered, or the address has no unix socket to ask
        NobodyListens,   // nothing takes the connection: Qt finds that out at once as well
        Silent,   // the connection was taken but the bus said nothing in time, or hung up
    };
    // Asks the bus at `address` and waits at most timeoutMs; the reason in `whyNot` when the
    // answer is not Answered.
    static Answer ask(const QString &address, int timeoutMs, QString *whyNot = nullptr);

    // Starts asking the bus at `address` (D-Bus address syntax; its first unix socket entry is
    // asked). Answers false, with the reason, when nothing listens there; otherwise finished()
    // follows within timeoutMs. An address with no unix socket entry cannot be asked and is
    // taken as answering.
    bool start(const QString &address, int timeoutMs, QString *whyNot = nullptr);

Q_SIGNALS:
    void finished(bool answered, const QString &whyNot);

private:
    void onWritable();
    void onReadable();
    void finish(bool answered, const QString &whyNot);
    void close();

    int m_socket = -1;
    QSocketNotifier *m_readable = nullptr;
    QSocketNotifier *m_writable = nullptr;
    QByteArray m_unsent;
    QTimer m_deadline;
    QString m_address;
};
