#include "VXBusProbe.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QSocketNotifier>
#include <QStringList>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

// One entry of a D-Bus address ("unix:path=/run/dbus/system_bus_socket,guid=..."), as the
// socket address it names; false when the entry is no unix socket or is malformed.
bool unixSocketAddress(const QString &entry, sockaddr_un &address, socklen_t &length)
{
    if (!entry.startsWith(QLatin1StringView("unix:")))
        return false;
    for (const QString &pair : entry.mid(5).split(u',')) {
        const qsizetype equals = pair.indexOf(u'=');
        if (equals < 0)
            continue;
        const QString key = pair.left(equals);
        const bool abstract = key == QLatin1StringView("abstract");
        if (key != QLatin1StringView("path") && !abstract)
            continue;
        const QByteArray value = QByteArray::fromPercentEncoding(pair.mid(equals + 1).toUtf8());
        // An abstract name starts with a NUL byte; a path ends with one.
        const qsizetype offset = abstract ? 1 : 0;
        if (value.isEmpty() || value.size() + offset + 1 > qsizetype(sizeof address.sun_path))
            return false;
        std::memset(&address, 0, sizeof address);
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path + offset, value.constData(), std::size_t(value.size()));
        length = socklen_t(offsetof(sockaddr_un, sun_path) + std::size_t(offset + value.size() + (abstract ? 0 : 1)));
        return true;
    }
    return false;
}

// The credentials byte, then the first line of the authentication: the bus answers it with a
// line of its own, whatever it decides.
QByteArray greeting()
{
    return QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(::getuid()).toHex() + "\r\n";
}

QString errorText()
{
    return QString::fromLocal8Bit(strerror(errno));
}

// A non-blocking socket connecting (or connected) to the first unix socket of the address: -2
// when the address names none, -1 (with the reason) when nothing takes the connection.
int connectTo(const QString &address, QString *whyNot)
{
    sockaddr_un socketAddress {};
    socklen_t length = 0;
    bool found = false;
    for (const QString &entry : address.split(u';', Qt::SkipEmptyParts)) {
        if ((found = unixSocketAddress(entry, socketAddress, length)))
            break;
    }
    if (!found)
        return -2;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0
        || (::connect(fd, reinterpret_cast<const sockaddr *>(&socketAddress), length) != 0 && errno != EINPROGRESS
            && errno != EAGAIN)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot connect to %1: %2").arg(address, errorText());
        if (fd >= 0)
            ::close(fd);
        return -1;
    }
    return fd;
}

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

}   // namespace

VXBusProbe::Answer VXBusProbe::ask(const QString &address, int timeoutMs, QString *whyNot)
{
    const QDeadlineTimer deadline(timeoutMs);
    const int fd = connectTo(address, whyNot);
    if (fd == -2)
        return Answer::Answered;
    if (fd == -1)
        return Answer::NobodyListens;
    const auto silent = [&](const QString &reason) {
        ::close(fd);
        if (whyNot)
            *whyNot = reason;
        return Answer::Silent;
    };
    QByteArray unsent = greeting();
    while (!unsent.isEmpty()) {
        if (!waitFor(fd, POLLOUT, deadline))
            return silent(QStringLiteral("%1 did not answer in time").arg(address));
        const ssize_t written = ::send(fd, unsent.constData(), std::size_t(unsent.size()), MSG_NOSIGNAL);
        if (written < 0 && errno != EAGAIN && errno != EINTR)
            return silent(QStringLiteral("cannot write to %1: %2").arg(address, errorText()));
        if (written > 0)
            unsent.remove(0, written);
    }
    char buffer[256];
    if (!waitFor(fd, POLLIN, deadline))
        return silent(QStringLiteral("%1 did not answer in time").arg(address));
    if (::recv(fd, buffer, sizeof buffer, 0) <= 0)
        return silent(QStringLiteral("%1 closed the connection").arg(address));
    ::close(fd);
    return Answer::Answered;
}

VXBusProbe::VXBusProbe(QObject *parent) : QObject(parent)
{
    m_deadline.setSingleShot(true);
    connect(&m_deadline, &QTimer::timeout, this,
            [this] { finish(false, QStringLiteral("%1 did not answer in time").arg(m_address)); });
}

VXBusProbe::~VXBusProbe()
{
    close();
}

QString VXBusProbe::systemBusAddress()
{
    const QString address = qEnvironmentVariable("DBUS_SYSTEM_BUS_ADDRESS");
    return address.isEmpty() ? QStringLiteral("unix:path=/run/dbus/system_bus_socket") : address;
}

bool VXBusProbe::start(const QString &address, int timeoutMs, QString *whyNot)
{
    close();
    m_address = address;
    m_socket = connectTo(address, whyNot);
    if (m_socket == -2) {
        m_socket = -1;
        QTimer::singleShot(0, this, [this] { Q_EMIT finished(true, QString()); });
        return true;
    }
    if (m_socket < 0)
        return false;
    m_unsent = greeting();
    m_writable = new QSocketNotifier(m_socket, QSocketNotifier::Write, this);
    connect(m_writable, &QSocketNotifier::activated, this, &VXBusProbe::onWritable);
    m_readable = new QSocketNotifier(m_socket, QSocketNotifier::Read, this);
    connect(m_readable, &QSocketNotifier::activated, this, &VXBusProbe::onReadable);
    m_deadline.start(timeoutMs);
    return true;
}

void VXBusProbe::onWritable()
{
    const ssize_t written = ::send(m_socket, m_unsent.constData(), std::size_t(m_unsent.size()), MSG_NOSIGNAL);
    if (written < 0 && errno != EAGAIN && errno != EINTR) {
        finish(false, QStringLiteral("cannot write to %1: %2").arg(m_address, errorText()));
        return;
    }
    if (written > 0)
        m_unsent.remove(0, written);
    if (m_unsent.isEmpty())
        m_writable->setEnabled(false);
}

void VXBusProbe::onReadable()
{
    char buffer[256];
    const ssize_t got = ::recv(m_socket, buffer, sizeof buffer, 0);
    if (got > 0)
        finish(true, QString());
    else if (got == 0 || (errno != EAGAIN && errno != EINTR))
        finish(false, QStringLiteral("%1 closed the connection").arg(m_address));
}

void VXBusProbe::finish(bool answered, const QString &whyNot)
{
    close();
    Q_EMIT finished(answered, whyNot);
}

void VXBusProbe::close()
{
    m_deadline.stop();
    // Possibly from inside a notifier's own signal: they go later.
    for (QSocketNotifier *notifier : {m_readable, m_writable}) {
        if (notifier) {
            notifier->setEnabled(false);
            notifier->deleteLater();
        }
    }
    m_readable = m_writable = nullptr;
    if (m_socket >= 0)
        ::close(m_socket);
    m_socket = -1;
}
