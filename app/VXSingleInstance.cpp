#include "VXSingleInstance.h"
#include "VXAppLogging.h"

#include "VXPrivateFiles.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>
#include <QPointer>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

const QString VXSingleInstance::kOpenRequest = QStringLiteral("open");
const QString VXSingleInstance::kReportRequest = QStringLiteral("report");
const QString VXSingleInstance::kImportRequest = QStringLiteral("import");
const QString VXSingleInstance::kStatusRequest = QStringLiteral("status");
const QString VXSingleInstance::kConfigurationRequest = QStringLiteral("configuration");
const QString VXSingleInstance::kReopenRequest = QStringLiteral("reopen");
const QString VXSingleInstance::kHelpRequest = QStringLiteral("help");

namespace {

// The messages' context for translators.
struct Text {
    Q_DECLARE_TR_FUNCTIONS(VXSingleInstance)
};

const QByteArray kOk = QByteArrayLiteral("ok");
const QByteArray kError = QByteArrayLiteral("error");

// Out of file descriptors, the waiting connection cannot be taken: look again after this long.
constexpr int kAcceptRetryDelay = 1000;   // milliseconds

QString dataFolder()
{
    const QString base = qEnvironmentVariable("XDG_DATA_HOME");
    return (QDir::isAbsolutePath(base) ? base : QDir::homePath() + QStringLiteral("/.local/share"))
        + QStringLiteral("/Wendle");
}

// The folder with its missing parents; the last one private to the user (it holds the record).
bool makeFolder(const QString &folder, QString *error)
{
    // Mostly the data folder itself: made private here when this is the first to need it.
    errno = 0;
    if (VXMakePrivateFolder(folder))
        return true;
    const QString reason = QFileInfo::exists(folder) ? Text::tr("it is not a folder")
                                                     : QString::fromLocal8Bit(strerror(errno ? errno : ENOENT));
    *error = Text::tr("cannot use the data folder <%1>: %2").arg(folder, reason);
    return false;
}

// A file name may hold anything but NUL: the tab between words, the line break after the last, a
// carriage return and the backslash that escapes them go as a backslash and a letter.
constexpr std::pair<char16_t, char16_t> kEscapes[] = {{u'\\', u'\\'}, {u'\t', u't'}, {u'\n', u'n'}, {u'\r', u'r'}};

QString escapedWord(const QString &word)
{
    QString escaped;
    escaped.reserve(word.size());
    for (const QChar c : word) {
        const auto *escape
            = std::find_if(std::begin(kEscapes), std::end(kEscapes), [c](const auto &pair) { return pair.first == c; });
        if (escape != std::end(kEscapes))
            escaped.append(u'\\').append(QChar(escape->second));
        else
            escaped += c;
    }
    return escaped;
}

// The word escapedWord() wrote; nothing for a backslash it cannot have written.
std::optional<QString> plainWord(const QString &word)
{
    QString plain;
    plain.reserve(word.size());
    for (qsizetype i = 0; i < word.size(); ++i) {
        if (word.at(i) != u'\\') {
            plain += word.at(i);
            continue;
        }
        const QChar letter = ++i < word.size() ? word.at(i) : QChar();
        const auto *escape = std::find_if(std::begin(kEscapes), std::end(kEscapes),
                                          [letter](const auto &pair) { return pair.second == letter; });
        if (escape == std::end(kEscapes))
            return std::nullopt;
        plain += escape->first;
    }
    return plain;
}

}   // namespace

VXSingleInstance::VXSingleInstance(const QString &lockPath, const QString &socketPath, QObject *parent) :
    QObject(parent), m_lockPath(lockPath), m_socketPath(socketPath)
{
}

VXSingleInstance::~VXSingleInstance()
{
    if (m_listenFd >= 0) {
        delete m_listener;
        ::close(m_listenFd);
        QFile::remove(m_socketPath);
    }
    if (m_lockFd >= 0)
        ::close(m_lockFd);
}

QString VXSingleInstance::defaultLockPath()
{
    return dataFolder() + QStringLiteral("/wendle.lock");
}

QString VXSingleInstance::defaultSocketPath()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtime) && QFileInfo(runtime).isDir())
        return runtime + QStringLiteral("/wendle.socket");
    return dataFolder() + QStringLiteral("/wendle.socket");
}

// ---- Requests and replies

std::optional<VXInstanceRequest> VXSingleInstance::requestFromLine(QByteArrayView line)
{
    if (line.size() > kMaximumRequest)
        return std::nullopt;
    const QStringList words = QString::fromUtf8(line).split(u'\t');
    const QString &word = words.constFirst();
    VXInstanceRequest request;
    request.files = words.mid(1);
    const bool noFiles = request.files.isEmpty();
    if (word == kOpenRequest && !noFiles)
        request.kind = VXInstanceRequest::Kind::Open;
    else if (word == kImportRequest && request.files.size() == 1)
        request.kind = VXInstanceRequest::Kind::Import;
    else if (word == kReportRequest && noFiles)
        request.kind = VXInstanceRequest::Kind::Report;
    else if (word == kStatusRequest && noFiles)
        request.kind = VXInstanceRequest::Kind::Status;
    else if (word == kConfigurationRequest && noFiles)
        request.kind = VXInstanceRequest::Kind::Configuration;
    else if (word == kReopenRequest && noFiles)
        request.kind = VXInstanceRequest::Kind::Reopen;
    else if (word == kHelpRequest && request.files.size() == 1)
        request.kind = VXInstanceRequest::Kind::Help;
    else
        return std::nullopt;
    // An empty file name, or one escaped as no request is, cannot have come from a real request.
    for (QString &file : request.files) {
        std::optional<QString> plain = plainWord(file);
        if (file.isEmpty() || !plain)
            return std::nullopt;
        file = std::move(*plain);
    }
    return request;
}

QByteArray VXSingleInstance::lineForRequest(const VXInstanceRequest &request)
{
    static const QString *const words[] = {&kOpenRequest,          &kReportRequest, &kImportRequest, &kStatusRequest,
                                           &kConfigurationRequest, &kReopenRequest, &kHelpRequest};
    QStringList line {*words[int(request.kind)]};
    for (const QString &file : request.files)
        line += escapedWord(file);
    return line.join(u'\t').toUtf8() + '\n';
}

QByteArray VXSingleInstance::okReply()
{
    return kOk + '\n';
}

QByteArray VXSingleInstance::errorReply(const QString &message)
{
    return kError + '\n' + message.toUtf8() + '\n';
}

bool VXSingleInstance::isOkReply(const QByteArray &reply, QString *message)
{
    const qsizetype end = reply.indexOf('\n');
    const QByteArray first = reply.left(end);
    if (first == kOk)
        return true;
    if (message)
        *message = first == kError ? QString::fromUtf8(reply.mid(end + 1)).trimmed()
                                   : Text::tr("the running Wendle gave an answer this version does not know");
    return false;
}

// ---- The lock and the server

VXSingleInstance::Lock VXSingleInstance::acquire(QString *error)
{
    const Lock result = lock(error);
    if (result == Lock::Acquired && m_listenFd < 0 && !listen())
        qCWarning(lcInstance, "cannot listen on <%s>: %s; a second start will not reach this one",
                  qPrintable(m_socketPath), strerror(errno));
    return result;
}

VXSingleInstance::Lock VXSingleInstance::lock(QString *error)
{
    QString ignored;
    if (!error)
        error = &ignored;
    if (m_lockFd >= 0)
        return Lock::Acquired;
    if (!makeFolder(QFileInfo(m_lockPath).absolutePath(), error))
        return Lock::Failed;
    const QByteArray path = QFile::encodeName(m_lockPath);
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        *error = Text::tr("cannot use the data folder <%1>: %2")
                     .arg(QFileInfo(m_lockPath).absolutePath(), QString::fromLocal8Bit(strerror(errno)));
        return Lock::Failed;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int reason = errno;
        ::close(fd);
        if (reason == EWOULDBLOCK)
            return Lock::HeldByAnother;
        *error = Text::tr("cannot lock <%1>: %2").arg(m_lockPath, QString::fromLocal8Bit(strerror(reason)));
        return Lock::Failed;
    }
    m_lockFd = fd;
    return Lock::Acquired;
}

bool VXSingleInstance::listen()
{
    const QByteArray path = QFile::encodeName(m_socketPath);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (std::size_t(path.size()) >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(address.sun_path, path.constData(), std::size_t(path.size()));
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return false;
    // Whoever held the lock before is gone, so a socket file left behind is stale.
    ::unlink(path.constData());
    if (::bind(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0
        || ::chmod(path.constData(), 0600) != 0 || ::listen(fd, kMaximumConnections) != 0) {
        const int reason = errno;
        ::close(fd);
        errno = reason;
        return false;
    }
    m_listenFd = fd;
    m_listener = new QSocketNotifier(fd, QSocketNotifier::Read, this);
    connect(m_listener, &QSocketNotifier::activated, this, &VXSingleInstance::acceptConnections);
    return true;
}

void VXSingleInstance::acceptConnections()
{
    while (m_connections < kMaximumConnections) {
        const int descriptor = ::accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (descriptor >= 0) {
            serve(descriptor);
            continue;
        }
        if (errno == EINTR || errno == ECONNABORTED)
            continue;
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            // The connection stays queued; the notifier would report it again at once.
            if (!m_waitingForDescriptors)
                qCWarning(lcInstance, "cannot take a connection on <%s>: %s; trying again", qPrintable(m_socketPath),
                          strerror(errno));
            m_waitingForDescriptors = true;
            m_listener->setEnabled(false);
            QTimer::singleShot(kAcceptRetryDelay, this, [this] {
                m_listener->setEnabled(true);
                acceptConnections();
            });
            return;
        }
        m_waitingForDescriptors = false;
        m_listener->setEnabled(true);
        return;   // nothing more is waiting
    }
    // At the cap: the rest wait in the queue until a connection closes.
    m_listener->setEnabled(false);
}

void VXSingleInstance::serve(int descriptor)
{
    auto *socket = new QLocalSocket(this);
    if (!socket->setSocketDescriptor(descriptor)) {
        ::close(descriptor);
        delete socket;
        return;
    }
    ++m_connections;
    connect(socket, &QObject::destroyed, this, [this] {
        --m_connections;
        if (m_listener && !m_waitingForDescriptors && !m_listener->isEnabled())
            QTimer::singleShot(0, this, &VXSingleInstance::acceptConnections);
    });
    connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
    const auto drop = [socket] {
        socket->abort();
        socket->deleteLater();
    };
    // A client that says nothing, or does not take its reply, does not keep its connection.
    auto *deadline = new QTimer(socket);
    deadline->setSingleShot(true);
    connect(deadline, &QTimer::timeout, socket, drop);
    deadline->start(kRequestTimeout);
    connect(socket, &QLocalSocket::readyRead, socket, [this, socket, deadline, drop] {
        if (!socket->canReadLine()) {
            if (socket->bytesAvailable() > kMaximumRequest)
                drop();
            return;
        }
        deadline->stop();
        QByteArray line = socket->readLine(kMaximumRequest + 2);
        if (!line.endsWith('\n')) {   // longer than any request
            drop();
            return;
        }
        line.chop(1);
        // Nothing else is read from this connection.
        disconnect(socket, &QLocalSocket::readyRead, socket, nullptr);
        handle(socket, deadline, line);
    });
}

void VXSingleInstance::handle(QLocalSocket *socket, QTimer *deadline, const QByteArray &line)
{
    const std::optional<VXInstanceRequest> request = requestFromLine(line);
    // The timer belongs to the socket: both are there, or neither.
    const Reply reply = [client = QPointer<QLocalSocket>(socket), deadline](const QByteArray &answer) {
        if (!client || client->state() != QLocalSocket::ConnectedState)
            return;
        client->write(answer);
        client->disconnectFromServer();
        deadline->start(kReplyTimeout);
    };
    if (!request || !m_handler) {
        reply(errorReply(QStringLiteral("unknown request")));
        return;
    }
    m_handler(*request, reply);
}

std::optional<QByteArray> VXSingleInstance::send(const QString &socketPath, const VXInstanceRequest &request,
                                                 int timeoutMs)
{
    QLocalSocket socket;
    socket.connectToServer(socketPath);
    if (!socket.waitForConnected(timeoutMs))
        return std::nullopt;
    socket.write(lineForRequest(request));
    if (!socket.waitForBytesWritten(timeoutMs))
        return std::nullopt;
    QByteArray reply;
    while (socket.state() == QLocalSocket::ConnectedState || socket.bytesAvailable() > 0) {
        if (socket.bytesAvailable() == 0 && !socket.waitForReadyRead(timeoutMs))
            break;
        reply += socket.readAll();
    }
    if (reply.isEmpty())
        return std::nullopt;
    return reply;
}
