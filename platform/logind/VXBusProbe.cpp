#include "VXBusProbe.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QStringList>

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

}   // namespace

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
    sockaddr_un socketAddress {};
    socklen_t length = 0;
    bool found = false;
    for (const QString &entry : address.split(u';', Qt::SkipEmptyParts)) {
        if ((found = unixSocketAddress(entry, socketAddress, length)))
            break;
    }
    if (!found) {
        QTimer::singleShot(0, this, [this] { Q_EMIT finished(true, QString()); });
        return true;
    }
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (m_socket < 0
        || (::connect(m_socket, reinterpret_cast<const sockaddr *>(&socketAddress), length) != 0 && errno != EINPROGRESS
            && errno != EAGAIN)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot connect to %1: %2").arg(address, QString::fromLocal8Bit(strerror(errno)));
        close();
        return false;
    }
    // The credentials byte, then the first line of the authentication: the bus answers it with
    // a line of its own, whatever it decides.
    m_unsent = QByteArray(1, '\0') + "AUTH EXTERNAL " + QByteArray::number(::getuid()).toHex() + "\r\n";
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
        finish(false, QStringLiteral("cannot write to %1: %2").arg(m_address, QString::fromLocal8Bit(strerror(errno))));
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
