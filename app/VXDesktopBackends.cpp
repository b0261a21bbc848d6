#include "VXDesktopBackends.h"

#include "VXLogindPresenceSource.h"
#ifdef WENDLE_HAVE_X11
#include "VXX11Desktop.h"
#include "VXX11IdleSource.h"
#endif

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcInstance)

VXDesktopBackends VXMakeDesktopBackends()
{
    VXDesktopBackends backends;
    const bool wayland = qEnvironmentVariable("XDG_SESSION_TYPE") == QStringLiteral("wayland")
        || (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") && qEnvironmentVariableIsEmpty("DISPLAY"));
    if (wayland) {
        // Through XWayland only X11 programs would be visible, and the frontmost window would be
        // wrong whenever a native Wayland program is in front: counting nothing is more honest.
        backends.description = QStringLiteral(
            "This Wayland session offers no supported way to read the frontmost window; window tracking needs a "
            "supported compositor. Wendle keeps running and counts nothing until then.");
        qCWarning(lcInstance, "%s", qPrintable(backends.description));
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
