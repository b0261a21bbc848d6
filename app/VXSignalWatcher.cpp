#include "VXSignalWatcher.h"
#include "VXAppLogging.h"

#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};
constexpr int kWatchedSignals[] = {SIGTERM, SIGINT, SIGHUP};
volatile sig_atomic_t quitDeadlineArmed = 0;

extern "C" void forwardSignal(int number)
{
    const int saved = errno;
    const char byte = static_cast<char>(number);
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[0], &byte, 1);
    if (!quitDeadlineArmed) {
        quitDeadlineArmed = 1;
        ::alarm(VXSignalWatcher::kQuitDeadline);
    }
    errno = saved;
}

extern "C" void quitDeadlinePassed(int)
{
    static const char message[] = "wendle: asked to quit, but start-up did not finish; quitting without saving\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, message, sizeof message - 1);
    ::_exit(1);
}

}   // namespace

bool VXSignalWatcher::installHandlers()
{
    if (signalPipe[0] >= 0)
        return true;
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, signalPipe) != 0) {
        qCWarning(lcInstance, "cannot watch for termination signals: %s", std::strerror(errno));
        signalPipe[0] = signalPipe[1] = -1;
        return false;
    }
    struct sigaction action {
    };
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    action.sa_handler = quitDeadlinePassed;
    ::sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = forwardSignal;
    for (int number : kWatchedSignals)
        ::sigaction(number, &action, nullptr);
    return true;
}

VXSignalWatcher::VXSignalWatcher(QObject *parent) : QObject(parent)
{
    if (!installHandlers())
        return;
    // Signals written before now are waiting in the pair: the notifier reports them at once.
    m_notifier = new QSocketNotifier(signalPipe[1], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &VXSignalWatcher::readSignals);
}

VXSignalWatcher::~VXSignalWatcher()
{
    if (!m_notifier)
        return;
    for (int number : kWatchedSignals)
        ::signal(number, SIG_DFL);
    ::signal(SIGALRM, SIG_DFL);
    delete m_notifier;
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}

void VXSignalWatcher::readSignals()
{
    // The event loop has the signal: the quit path runs now, and may take as long as saving takes.
    ::alarm(0);
    char numbers[16];
    const ssize_t count = ::read(signalPipe[1], numbers, sizeof numbers);
    for (ssize_t i = 0; i < count; ++i)
        Q_EMIT quitRequested(numbers[i]);
}
