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
#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcInstance)

namespace {

bool isWaylandSession()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QStringLiteral("wayland")
        || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

}   // namespace

VXDesktopBackends VXMakeDesktopBackends()
{
    VXDesktopBackends backends;
    if (isWaylandSession()) {
#ifdef WENDLE_HAVE_WAYLAND
        VXWaylandChoice choice = VXChooseWaylandDesktop();
        backends.description = choice.description;
        backends.waylandConnection = choice.connection;
        backends.waylandDesktop = choice.desktop.get();
        backends.desktop = std::move(choice.desktop);
        for (auto &source : choice.idleSources)
            backends.presenceSources.push_back(std::move(source));
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
            backends.presenceSources.push_back(std::make_unique<VXX11IdleSource>());
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
    backends.presenceSources.push_back(std::make_unique<VXLogindPresenceSource>());
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
    if (waylandConnection)
        QObject::connect(waylandConnection.get(), &VXWaylandConnection::lost, waylandConnection.get(), handler);
#else
    Q_UNUSED(handler);
#endif
}
