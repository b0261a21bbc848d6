#pragma once

// One Wendle per user. The first instance holds an exclusive lock on a file in the data folder
// (released by the kernel whatever way the process ends) and listens on a local socket; a later
// start, and the commands that want the running program's view, send it a request over the
// socket.
//
// A request is one line of tab-separated words (requestFromLine() reads one):
//
//     open<TAB>FILE...      show these CSV files as reports ("ok", or "error" and why)
//     report                open or raise the live report ("ok", or "error" and why)
//     help<TAB>PAGE         open or raise the help window at PAGE ("ok", or "error" and why)
//     import<TAB>FILE       replace the record with the property list in FILE, undoably
//     status                the running instance's view of the desktop, as text
//     configuration         the record as it is now, as a binary property list
//
// A tab, line break, carriage return or backslash in a file name is written "\t", "\n", "\r" or
// "\\", so that any name arrives whole.
//
// Replies that can fail start with the line "ok" or "error"; after "error" comes the message.
//
// The server answers one request per connection. It keeps at most kMaximumConnections open
// (more wait in the queue), drops a connection that has not sent its request within
// kRequestTimeout, and when the process runs out of file descriptors it waits a moment and
// accepts again rather than giving up the socket.

#include <QByteArray>
#include <QByteArrayView>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

class QLocalSocket;
class QSocketNotifier;
class QTimer;

struct VXInstanceRequest {
    enum class Kind { Open, Report, Import, Status, Configuration, Reopen, Help };
    Kind kind = Kind::Status;
    // The files of "open", the file of "import", the page of "help".
    QStringList files;
};

class VXSingleInstance : public QObject
{
    Q_OBJECT
public:
    static const QString kOpenRequest;   // "open"
    static const QString kReportRequest;   // "report"
    static const QString kImportRequest;   // "import"
    static const QString kStatusRequest;   // "status"
    static const QString kConfigurationRequest;   // "configuration"
    static const QString kReopenRequest;   // "reopen": started again from the launcher
    static const QString kHelpRequest;   // "help"

    // A request is one line of at most this many bytes.
    static constexpr qsizetype kMaximumRequest = 64 * 1024;
    static constexpr int kMaximumConnections = 16;
    static constexpr int kRequestTimeout = 5000;   // milliseconds
    // How long a reply may take to be read by the other side.
    static constexpr int kReplyTimeout = 60000;   // milliseconds

    // `lockPath` is the lock file; `socketPath` the local socket (a path, so that it is private
    // to the user's folders).
    VXSingleInstance(const QString &lockPath, const QString &socketPath, QObject *parent = nullptr);
    ~VXSingleInstance() override;

    // The lock and socket paths for this user: the lock in the data folder, the socket in
    // $XDG_RUNTIME_DIR (else beside the lock).
    static QString defaultLockPath();
    static QString defaultSocketPath();

    // The request in one line (without its line break); nothing when it is not one: an unknown
    // word, "import" or "help" without exactly one word after it, "open" without files, words
    // after the others, an empty file name or an escape lineForRequest() does not write.
    static std::optional<VXInstanceRequest> requestFromLine(QByteArrayView line);
    // The line that requestFromLine() reads back as the request.
    static QByteArray lineForRequest(const VXInstanceRequest &request);

    // Replies of requests that can fail.
    static QByteArray okReply();
    static QByteArray errorReply(const QString &message);
    // True for an "ok" reply; otherwise false with the message of an "error" reply (or a sentence
    // about an answer that is neither) in `message`.
    static bool isOkReply(const QByteArray &reply, QString *message);

    enum class Lock { Acquired, HeldByAnother, Failed };
    // Takes the lock and starts listening. HeldByAnother when another instance holds it;
    // Failed, with the reason in `error`, when the lock file cannot be made or opened (a
    // read-only data folder, say).
    Lock acquire(QString *error = nullptr);
    // Takes the lock without listening: for a command that changes the program's files while it
    // does not run (no Wendle can start until this object goes).
    Lock lock(QString *error = nullptr);
    bool isPrimary() const { return m_lockFd >= 0; }

    // Answers the requests while primary: the handler gets each request with the function that
    // sends its reply (at once, or later; a reply to a client that has gone is dropped).
    using Reply = std::function<void(const QByteArray &reply)>;
    void setRequestHandler(std::function<void(const VXInstanceRequest &, const Reply &)> handler)
    {
        m_handler = std::move(handler);
    }

    // Sends a request to the primary instance and answers its reply, or nothing when no
    // instance answers: `timeoutMs` bounds the connection and each wait for the reply.
    static std::optional<QByteArray> send(const QString &socketPath, const VXInstanceRequest &request,
                                          int timeoutMs = 3000);

private:
    bool listen();
    void acceptConnections();
    void serve(int descriptor);
    void handle(QLocalSocket *socket, QTimer *deadline, const QByteArray &line);

    QString m_lockPath;
    QString m_socketPath;
    int m_lockFd = -1;
    int m_listenFd = -1;
    QSocketNotifier *m_listener = nullptr;
    int m_connections = 0;
    bool m_waitingForDescriptors = false;
    std::function<void(const VXInstanceRequest &, const Reply &)> m_handler;
};
