#include "VXLog.h"

#include "VXUserDefaults.h"

#include <QByteArray>
#include <QMutex>
#include <QMutexLocker>
#include <QPointer>

#include <atomic>

#include <sys/stat.h>

Q_LOGGING_CATEGORY(lcFoundation, "wendle.foundation", QtInfoMsg)

// Debug lines have a category of their own, so that a developer can route them apart.
Q_LOGGING_CATEGORY(lcDebugLog, "wendle.debuglog", QtInfoMsg)

const QString VXDebugLogKey = QStringLiteral("VXDebugLog");
const QString VXDebugLogPrefix = QStringLiteral("[Wendle Debug Log] ");

namespace {

// The cached state of the "VXDebugLog" default. The store announces every change of a key, so
// the switch only has to read the store again after such an announcement or when a different
// store has become the standard one.
struct DebugLogSwitch {
    QBasicMutex mutex;
    VXUserDefaults *source = nullptr;   // the store the cached answer came from
    QPointer<VXUserDefaults> sourceAlive;   // null once that store is gone (its address may be reused)
    QMetaObject::Connection connection;
    std::atomic<bool> stale {true};
    bool enabled = false;
};

DebugLogSwitch &debugLogSwitch()
{
    static DebugLogSwitch instance;
    return instance;
}

struct MessageHandlerState {
    QBasicMutex mutex;
    std::FILE *stream = nullptr;
    bool journal = false;
    bool qtPattern = false;
    bool installed = false;
    QtMessageHandler previous = nullptr;
};

MessageHandlerState &messageHandlerState()
{
    static MessageHandlerState instance;
    return instance;
}

// systemd sets JOURNAL_STREAM to "<device>:<inode>" of the journal's socket for the standard output
// and error of what it starts; the stream is the journal when its file is that socket.
bool streamIsJournal(std::FILE *stream)
{
    const QByteArray value = qgetenv("JOURNAL_STREAM");
    const qsizetype colon = value.indexOf(':');
    if (colon <= 0)
        return false;
    bool deviceOk = false;
    bool inodeOk = false;
    const qulonglong device = value.left(colon).toULongLong(&deviceOk);
    const qulonglong inode = value.mid(colon + 1).toULongLong(&inodeOk);
    struct stat status = {};
    if (!deviceOk || !inodeOk || fstat(fileno(stream), &status) != 0)
        return false;
    return qulonglong(status.st_dev) == device && qulonglong(status.st_ino) == inode;
}

// The journal reads a leading "<N>" on each line as that line's syslog priority.
char syslogPriority(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg: return '7';
    case QtInfoMsg: return '6';
    case QtWarningMsg: return '4';
    case QtCriticalMsg: return '3';
    case QtFatalMsg: return '2';
    }
    return '6';
}

void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    MessageHandlerState &state = messageHandlerState();
    QMutexLocker lock(&state.mutex);
    if (!state.stream)
        return;
    const QString text = state.qtPattern ? qFormatLogMessage(type, context, message) : message;
    QByteArray lines;
    if (state.journal) {
        const QByteArray priority = QByteArray("<") + syslogPriority(type) + '>';
        for (const QStringView line : QStringView(text).split(u'\n'))
            lines += priority + line.toUtf8() + '\n';
    } else {
        lines = text.toUtf8() + '\n';
    }
    std::fwrite(lines.constData(), 1, size_t(lines.size()), state.stream);
    std::fflush(state.stream);
}

}   // namespace

bool VXDebugLogEnabled()
{
    VXUserDefaults *const defaults = VXUserDefaults::standard();
    DebugLogSwitch &state = debugLogSwitch();
    QMutexLocker lock(&state.mutex);
    const bool sameStore = defaults == state.source && (!defaults || !state.sourceAlive.isNull());
    if (sameStore && !state.stale.load(std::memory_order_acquire))
        return state.enabled;

    if (!sameStore) {
        QObject::disconnect(state.connection);
        state.connection = {};
        state.source = defaults;
        state.sourceAlive = defaults;
        if (defaults) {
            // The store may announce from whichever thread changed it: only mark the answer stale
            // here and read the value again in the asking thread.
            state.connection = QObject::connect(
                defaults, &VXUserDefaults::valueChanged, defaults,
                [](const QString &key) {
                    if (key == VXDebugLogKey)
                        debugLogSwitch().stale.store(true, std::memory_order_release);
                },
                Qt::DirectConnection);
        }
    }
    // Cleared before the read, so that a change announced during the read is read again next time.
    state.stale.store(false, std::memory_order_release);
    state.enabled = defaults && defaults->boolForKey(VXDebugLogKey);
    return state.enabled;
}

bool VXDebugLog(const QString &message)
{
    if (!VXDebugLogEnabled())
        return false;
    qCInfo(lcDebugLog).noquote() << VXDebugLogPrefix + message;
    return true;
}

void VXInstallMessageHandler(std::FILE *stream)
{
    MessageHandlerState &state = messageHandlerState();
    {
        QMutexLocker lock(&state.mutex);
        state.stream = stream;
        state.journal = stream && streamIsJournal(stream);
        state.qtPattern = qEnvironmentVariableIsSet("QT_MESSAGE_PATTERN");
        if (state.installed)
            return;
        state.installed = true;
    }
    const QtMessageHandler previous = qInstallMessageHandler(writeMessage);
    QMutexLocker lock(&state.mutex);
    state.previous = previous;
}

void VXRemoveMessageHandler()
{
    MessageHandlerState &state = messageHandlerState();
    QtMessageHandler previous = nullptr;
    {
        QMutexLocker lock(&state.mutex);
        if (!state.installed)
            return;
        state.installed = false;
        state.stream = nullptr;
        previous = state.previous;
        state.previous = nullptr;
    }
    qInstallMessageHandler(previous);
}
