#pragma once

// One Wendle per user. The first instance holds an exclusive lock on a file in the data folder
// (released by the kernel whatever way the process ends) and listens on a local socket; a later
// start finds the lock taken, hands its request to the first instance over the socket and exits.
//
// Requests are one line of tab-separated words: "open<TAB>FILE..." hands over files to show,
// "status" asks for the running instance's view of the desktop. A tab, a line break or a
// backslash in a word (file names may hold them) is written "\t", "\n" or "\\".

#include <QByteArray>
#include <QByteArrayView>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QLocalServer;

class VXSingleInstance : public QObject
{
    Q_OBJECT
public:
    static const QString kOpenRequest;   // "open"
    static const QString kStatusRequest;   // "status"

    // `lockPath` is the lock file; `socketPath` the local socket (a path, so that it is private
    // to the user's folders).
    VXSingleInstance(const QString &lockPath, const QString &socketPath, QObject *parent = nullptr);
    ~VXSingleInstance() override;

    // The lock and socket paths for this user: the lock in the data folder, the socket in
    // $XDG_RUNTIME_DIR (else beside the lock).
    static QString defaultLockPath();
    static QString defaultSocketPath();

    // Takes the lock and starts listening. False when another instance holds it (or the lock
    // file cannot be made, which is said in the log).
    bool acquire();
    bool isPrimary() const { return m_lockFd >= 0; }

    // Answers status requests while primary.
    void setStatusProvider(std::function<QByteArray()> provider) { m_statusProvider = std::move(provider); }

    // Sends a request to the primary instance and answers its reply, or nothing when no
    // instance answers within the timeout.
    static std::optional<QByteArray> send(const QString &socketPath, const QStringList &request, int timeoutMs = 3000);

    // A request as the primary instance reads it: what it asks for, and the files to open.
    struct Request {
        enum class Kind { Open, Status, Unknown };
        Kind kind = Kind::Unknown;
        QStringList files;
    };
    // The line send() writes for a request's words, and the request read from a line.
    static QByteArray lineForRequest(const QStringList &words);
    static Request requestFromLine(QByteArrayView line);

Q_SIGNALS:
    void filesOpened(const QStringList &paths);

private:
    void serve();

    QString m_lockPath;
    QString m_socketPath;
    int m_lockFd = -1;
    QLocalServer *m_server = nullptr;
    std::function<QByteArray()> m_statusProvider;
};
