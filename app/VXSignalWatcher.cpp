#include "VXSignalWatcher.h"

#include <QLoggingCategory>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

Q_DECLARE_LOGGING_CATEGORY(lcInstance)

namespace {

int signalPipe[2] = {-1, -1};
constexpr int kWatchedSignals[] = {SIGTERM, SIGINT, SIGHUP};

extern "C" void forwardSignal(int number)
{
    const int saved = errno;
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &byte, 1);
    errno = saved;
}

}   // namespace

VXSignalWatcher::VXSignalWatcher(QObject *parent) : QObject(parent)
{
    if (signalPipe[0] >= 0 || ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalPipe) != 0) {
        qCWarning(lcInstance, "cannot watch for termination signals: %s", std::strerror(errno));
        return;
    }
    m_notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &VXSignalWatcher::readSignals);
    struct sigaction action {
    };
    action.sa_handler = forwardSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int number : kWatchedSignals)
        ::sigaction(number, &action, nullptr);
}

VXSignalWatcher::~VXSignalWatcher()
{
    if (!m_notifier)
        return;
    for (int number : kWatchedSignals)
        ::signal(number, SIG_DFL);
    delete m_notifier;
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void VXSignalWatcher::readSignals()
{
    char numbers[16];
    const ssize_t count = ::read(signalPipe[1], numbers, sizeof numbers);
    for (ssize_t i = 0; i < count; ++i)
        Q_EMIT quitRequested(numbers[i]);
}
