#include "VXSessionBusProbe.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QByteArray kSessionBusVariable = QByteArrayLiteral("DBUS_SESSION_BUS_ADDRESS");
// A socket file that cannot be connected to: connecting fails at once.
const QByteArray kNowhere = QByteArrayLiteral("unix:path=/dev/null");

class Descriptor
{
public:
    explicit Descriptor(int fd) : m_fd(fd) { }
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int get() const { return m_fd; }

private:
    int m_fd;
};

// Waits for `events` on the descriptor until the deadline.
bool waitFor(int fd, short events, const QDeadlineTimer &deadline)
{
    for (;;) {
        pollfd entry {fd, events, 0};
        const int result = ::poll(&entry, 1, int(deadline.remainingTime()));
        if (result > 0)
            return true;
        if (result == 0 || errno != EINTR)
            return false;
    }
}

bool fail(QString *why, const QString &reason)
{
    if (why)
        *why = reason;
    return false;
}

}   // namespace

QByteArray VXSessionBusSocketAddress(const QByteArray &addresses)
{
    for (const QByteArray &address : addresses.split(';')) {
        if (!address.startsWith("unix:"))
            continue;
        for (const QByteArray &pair : address.mid(5).split(',')) {
            if (pair.startsWith("path=") && pair.size() > 5)
                return QByteArray::fromPercentEncoding(pair.mid(5));
            if (pair.startsWith("abstract=") && pair.size() > 9)
                return '\0' + QByteArray::fromPercentEncoding(pair.mid(9));
        }
    }
    return QByteArray();
}

bool VXSessionBusAnswers(int timeoutMs, QString *why)
{
    QByteArray socketAddress;
    if (qEnvironmentVariableIsSet(kSessionBusVariable.constData())) {
        socketAddress = VXSessionBusSocketAddress(qgetenv(kSessionBusVariable.constData()));
    } else {
        const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
        if (QDir::isAbsolutePath(runtime) && QFileInfo::exists(runtime + QStringLiteral("/bus")))
            socketAddress = QFile::encodeName(runtime + QStringLiteral("/bus"));
    }
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    if (socketAddress.isEmpty() || std::size_t(socketAddress.size()) >= sizeof address.sun_path)
        return true;
    std::memcpy(address.sun_path, socketAddress.constData(), std::size_t(socketAddress.size()));
    const auto length = socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(socketAddress.size())
                                  + (socketAddress.startsWith('\0') ? 0 : 1));

    const QDeadlineTimer deadline(timeoutMs);
    const Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (socket.get() < 0)
        return true;
    if (::connect(socket.get(), reinterpret_cast<const sockaddr *>(&address), length) != 0) {
        if (errno != EAGAIN && errno != EINPROGRESS)
            return true;   // nobody listens: Qt finds that out at once as well
        if (!waitFor(socket.get(), POLLOUT, deadline))
            return fail(why, QStringLiteral("the session bus does not take the connection"));
    }
    // The first step of every D-Bus connection: a NUL byte, then the request to authenticate.
    const QByteArray hello = '\0' + QByteArrayLiteral("AUTH EXTERNAL ") + QByteArray::number(::getuid()).toHex()
        + QByteArrayLiteral("\r\n");
    if (::send(socket.get(), hello.constData(), std::size_t(hello.size()), MSG_NOSIGNAL) != hello.size())
        return true;   // gone already: not a bus that hangs
    char answer[64];
    if (!waitFor(socket.get(), POLLIN, deadline))
        return fail(why, QStringLiteral("the session bus does not answer within %1 ms").arg(timeoutMs));
    return ::recv(socket.get(), answer, sizeof answer, 0) != 0
        || fail(why, QStringLiteral("the session bus closed the connection without an answer"));
}

void VXForgetSessionBus()
{
    qputenv(kSessionBusVariable.constData(), kNowhere);
}
