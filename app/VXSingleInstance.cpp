#include "VXSingleInstance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QStandardPaths>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

Q_LOGGING_CATEGORY(lcInstance, "wendle.app")

const QString VXSingleInstance::kOpenRequest = QStringLiteral("open");
const QString VXSingleInstance::kStatusRequest = QStringLiteral("status");

namespace {

// A request is one line; anything longer than this is not one of ours.
constexpr qint64 kMaximumRequest = 64 * 1024;

QString dataFolder()
{
    const QString base = qEnvironmentVariable("XDG_DATA_HOME");
    return (QDir::isAbsolutePath(base) ? base : QDir::homePath() + QStringLiteral("/.local/share"))
        + QStringLiteral("/Wendle");
}

}   // namespace

VXSingleInstance::VXSingleInstance(const QString &lockPath, const QString &socketPath, QObject *parent) :
    QObject(parent), m_lockPath(lockPath), m_socketPath(socketPath)
{
}

VXSingleInstance::~VXSingleInstance()
{
    if (m_server) {
        m_server->close();
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

bool VXSingleInstance::acquire()
{
    if (m_lockFd >= 0)
        return true;
    const QString folder = QFileInfo(m_lockPath).absolutePath();
    if (!QDir().mkpath(folder)) {
        qCWarning(lcInstance, "cannot create the folder <%s>", qPrintable(folder));
        return false;
    }
    const QByteArray path = QFile::encodeName(m_lockPath);
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        qCWarning(lcInstance, "cannot open the lock file <%s>: %s", path.constData(), std::strerror(errno));
        return false;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return false;
    }
    m_lockFd = fd;

    // Whoever held the lock before is gone, so a socket file left behind is stale.
    QLocalServer::removeServer(m_socketPath);
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server->listen(m_socketPath))
        qCWarning(lcInstance, "cannot listen on <%s>: %s; a second start will not reach this one",
                  qPrintable(m_socketPath), qPrintable(m_server->errorString()));
    connect(m_server, &QLocalServer::newConnection, this, &VXSingleInstance::serve);
    return true;
}

void VXSingleInstance::serve()
{
    while (QLocalSocket *socket = m_server->nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, socket, [this, socket] {
            if (!socket->canReadLine()) {
                if (socket->bytesAvailable() > kMaximumRequest)
                    socket->abort();
                return;
            }
            const Request request = requestFromLine(socket->readLine(kMaximumRequest));
            if (request.kind == Request::Kind::Open) {
                Q_EMIT filesOpened(request.files);
                socket->write("ok\n");
            } else if (request.kind == Request::Kind::Status && m_statusProvider) {
                socket->write(m_statusProvider());
            } else {
                socket->write("unknown request\n");
            }
            socket->disconnectFromServer();
        });
    }
}

std::optional<QByteArray> VXSingleInstance::send(const QString &socketPath, const QStringList &request, int timeoutMs)
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

QByteArray VXSingleInstance::lineForRequest(const QStringList &words)
{
    QStringList escaped = words;
    for (QString &word : escaped)
        word.replace(u'\\', QStringLiteral("\\\\"))
            .replace(u'\t', QStringLiteral("\\t"))
            .replace(u'\n', QStringLiteral("\\n"));
    return escaped.join(u'\t').toUtf8() + '\n';
}

VXSingleInstance::Request VXSingleInstance::requestFromLine(QByteArrayView line)
{
    // Only the line end goes: blanks at either end belong to the words (a file name may end in one).
    if (line.endsWith('\n'))
        line.chop(1);
    QStringList words = QString::fromUtf8(line).split(u'\t');
    for (QString &word : words) {
        if (!word.contains(u'\\'))
            continue;
        QString plain;
        for (qsizetype i = 0; i < word.size(); ++i) {
            QChar c = word.at(i);
            if (c == u'\\' && i + 1 < word.size()) {
                c = word.at(++i);
                c = c == u't' ? QChar(u'\t') : c == u'n' ? QChar(u'\n') : c;
            }
            plain += c;
        }
        word = plain;
    }
    Request request;
    if (words.value(0) == kOpenRequest) {
        request.kind = Request::Kind::Open;
        request.files = words.mid(1);
    } else if (words.value(0) == kStatusRequest) {
        request.kind = Request::Kind::Status;
    }
    return request;
}
