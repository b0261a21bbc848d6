#include "VXDesktopBackends.h"

#include "VXLogindPresenceSource.h"
#ifdef WENDLE_HAVE_X11
#include "VXX11Desktop.h"
#include "VXX11IdleSource.h"
#endif
#ifdef WENDLE_HAVE_WAYLAND
#include "VXToplevelDesktop.h"
#include "VXWaylandConnection.h"
#include "VXWaylandSession.h"
#endif

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLoggingCategory>
#include <QSemaphore>
#include <QThread>

#include <atomic>
#include <cstdio>

Q_DECLARE_LOGGING_CATEGORY(lcInstance)

namespace {

#ifdef WENDLE_HAVE_WAYLAND
// ---- Qt's Wayland platform, which draws Wendle's own windows in a Wayland session. Two of its
// habits the program answers for:
//
// - For the first window it loads its EGL integration (Mesa: some 50 MB resident) though Wendle
//   paints with the raster engine. Naming no integration keeps it on shared memory; it then says
//   it found none, which the program does not repeat.
// - It ends the process (with _exit, from its event thread) when the compositor goes away, right
//   after saying so: the program's own connection may not get to tell first. That message is the
//   last moment to save, so the session-lost handler runs on the main thread while Qt waits.

struct QtWaylandHook {
    QtMessageHandler previous = nullptr;
    bool installed = false;
    bool quietBufferIntegration = false;
    std::function<void()> sessionLost;
    std::atomic<bool> posted {false};
    std::atomic<bool> ran {false};
    // Released once the handler has run, for the threads that wait for it.
    QSemaphore done;
};

QtWaylandHook &qtWaylandHook()
{
    static QtWaylandHook hook;
    return hook;
}

const char *const kBufferIntegrationVariable = "QT_WAYLAND_CLIENT_BUFFER_INTEGRATION";
// How long Qt's thread is held for the save.
constexpr int kSaveBeforeExitMs = 5000;

void runSessionLostHandlerOnce()
{
    QtWaylandHook &hook = qtWaylandHook();
    if (!hook.ran.exchange(true) && hook.sessionLost)
        hook.sessionLost();
    hook.done.release(64);
}

// Runs the handler on the main thread: at once when called there (Qt's main thread may meet the
// broken connection too, and end the process right after), else posted there and waited for.
void runSessionLostHandler()
{
    QCoreApplication *application = QCoreApplication::instance();
    if (!application)
        return;
    if (QThread::currentThread() == application->thread()) {
        runSessionLostHandlerOnce();
        return;
    }
    QtWaylandHook &hook = qtWaylandHook();
    if (!hook.posted.exchange(true))
        QMetaObject::invokeMethod(application, &runSessionLostHandlerOnce, Qt::QueuedConnection);
    hook.done.tryAcquire(1, kSaveBeforeExitMs);
}

void watchQtWaylandMessages(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    QtWaylandHook &hook = qtWaylandHook();
    if (hook.quietBufferIntegration
        && (message.startsWith(QLatin1StringView("Failed to load client buffer integration"))
            || message.startsWith(QLatin1StringView("Available client buffer integrations"))))
        return;
    if (hook.previous)
        hook.previous(type, context, message);
    else
        std::fprintf(stderr, "%s\n", qPrintable(qFormatLogMessage(type, context, message)));
    // "The Wayland connection broke. Did the Wayland compositor die?", or "... experienced a fatal
    // error".
    if (type == QtWarningMsg && message.startsWith(QLatin1StringView("The Wayland connection ")))
        runSessionLostHandler();
}

void installQtWaylandHook()
{
    QtWaylandHook &hook = qtWaylandHook();
    if (hook.installed)
        return;
    hook.installed = true;
    hook.previous = qInstallMessageHandler(watchQtWaylandMessages);
}

// Before the first window: Qt picks its buffer integration then.
void useRasterBuffersOnWayland()
{
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance())
        || QGuiApplication::platformName() != QLatin1StringView("wayland")
        || qEnvironmentVariableIsSet(kBufferIntegrationVariable))
        return;
    qputenv(kBufferIntegrationVariable, "none");
    qtWaylandHook().quietBufferIntegration = true;
    installQtWaylandHook();
}
#endif

// Where to look first: the session type when the session manager says it, else whether a Wayland
// display is named. What the compositor then offers decides.
bool isWaylandSession()
{
    const QString type = qEnvironmentVariable("XDG_SESSION_TYPE");
    if (type == QLatin1StringView("wayland"))
        return true;
    return type != QLatin1StringView("x11") && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

}   // namespace

VXDesktopBackends VXMakeDesktopBackends()
{
    VXDesktopBackends backends;
    bool wayland = isWaylandSession();
#ifdef WENDLE_HAVE_WAYLAND
    useRasterBuffersOnWayland();
    VXWaylandChoice choice;
    if (wayland) {
        choice = VXChooseWaylandDesktop();
        // A Wayland display named in an X11 session that answers nothing (a nested compositor
        // gone): the X11 desktop is the session's.
        if (!choice.connection && qEnvironmentVariable("XDG_SESSION_TYPE") != QLatin1StringView("wayland")
            && !qEnvironmentVariableIsEmpty("DISPLAY")) {
            qCInfo(lcInstance).noquote() << choice.description << "Looking at the X11 desktop instead.";
            wayland = false;
        }
    }
#endif
    if (wayland) {
#ifdef WENDLE_HAVE_WAYLAND
        backends.description = choice.description;
        backends.waylandConnection = choice.connection;
        backends.waylandDesktop = choice.desktop.get();
        backends.desktop = std::move(choice.desktop);
        for (auto &source : choice.idleSources)
            backends.inputMonitors.push_back(std::move(source));
#else
        backends.description = QStringLiteral("This Wendle was built without its Wayland adapters: it cannot read "
                                              "the windows of this Wayland session and counts nothing.");
#endif
        // Through XWayland only X11 programs would be visible, and the frontmost window would be
        // wrong whenever a native Wayland program is in front: counting nothing is more honest.
        if (backends.desktop)
            qCInfo(lcInstance).noquote() << backends.description;
        else
            qCWarning(lcInstance).noquote() << backends.description;
    } else {
#ifdef WENDLE_HAVE_X11
        QString whyNot;
        backends.desktop = VXMakeX11Desktop(&whyNot);
        if (backends.desktop) {
            backends.description
                = QStringLiteral("Tracking the X11 desktop on %1.").arg(qEnvironmentVariable("DISPLAY"));
            backends.inputMonitors.push_back(std::make_unique<VXX11IdleSource>());
        } else {
            backends.description = QStringLiteral("Cannot track windows: %1").arg(whyNot);
        }
#else
        backends.description = QStringLiteral("Cannot track windows: this Wendle was built without its X11 adapter.");
#endif
        qCInfo(lcInstance, "%s", qPrintable(backends.description));
    }
    if (!backends.desktop)
        backends.desktop = std::make_unique<VXNullDesktop>();
    backends.sessionNotificationSources.push_back(std::make_unique<VXLogindPresenceSource>());
    return backends;
}

QString VXDesktopBackends::status() const
{
    QString text = description;
#ifdef WENDLE_HAVE_WAYLAND
    if (waylandDesktop) {
        const QString limitations = waylandDesktop->limitations();
        if (!limitations.isEmpty())
            text += QLatin1Char('\n')
                + QCoreApplication::translate("VXDesktopBackends", "Not seen: %1").arg(limitations);
        const QString step = notice();
        if (!step.isEmpty())
            text += QLatin1Char('\n') + QCoreApplication::translate("VXDesktopBackends", "To do: %1").arg(step);
    }
#endif
    return text;
}

QString VXDesktopBackends::notice() const
{
#ifdef WENDLE_HAVE_WAYLAND
    if (waylandDesktop)
        return waylandDesktop->notice();
#endif
    return QString();
}

void VXDesktopBackends::onSessionLost(const std::function<void()> &handler) const
{
#ifdef WENDLE_HAVE_WAYLAND
    if (!waylandConnection)
        return;
    qtWaylandHook().sessionLost = handler;
    installQtWaylandHook();
    QObject::connect(waylandConnection.get(), &VXWaylandConnection::lost, waylandConnection.get(),
                     &runSessionLostHandler);
#else
    Q_UNUSED(handler);
#endif
}
