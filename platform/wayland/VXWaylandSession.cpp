#include "VXWaylandSession.h"

#include "VXGnomeShellDesktop.h"
#include "VXKWinScriptDesktop.h"
#include "VXMutterIdleSource.h"
#include "VXPlasmaWindowDesktop.h"
#include "VXSessionBus.h"
#include "VXWaylandConnection.h"
#include "VXWaylandIdleSource.h"
#include "VXWlrootsDesktop.h"

#include <QDBusConnection>

namespace {

const QString kKWinService = QStringLiteral("org.kde.KWin");
const QString kShellService = QStringLiteral("org.gnome.Shell");

// The names on the session bus.
QStringList sessionBusNames()
{
    QDBusConnection bus = VXConnectSessionBus(QStringLiteral("wendle-session-probe"));
    const QStringList names = bus.isConnected() ? VXBusNames(bus) : QStringList();
    const QString name = bus.name();
    bus = QDBusConnection(QString());
    QDBusConnection::disconnectFromBus(name);
    return names;
}

}   // namespace

VXWaylandChoice VXChooseWaylandDesktop(const QString &display)
{
    VXWaylandChoice choice;
    QString whyNot;
    choice.connection = VXWaylandConnection::connect(display, &whyNot);
    if (!choice.connection) {
        choice.description = QStringLiteral("No Wayland compositor to read: %1.").arg(whyNot);
        return choice;
    }
    const QString where = choice.connection->displayName();
    if (VXWaylandIdleSource::isOffered(*choice.connection))
        choice.idleSources.push_back(std::make_unique<VXWaylandIdleSource>(choice.connection));

    if (auto wlroots = VXWlrootsDesktop::create(choice.connection)) {
        choice.description = QStringLiteral("Tracking %1: the compositor offers zwlr_foreign_toplevel_manager_v1.")
                                 .arg(wlroots->name());
        choice.desktop = std::move(wlroots);
        return choice;
    }
    if (auto plasma = VXPlasmaWindowDesktop::create(choice.connection)) {
        choice.description = QStringLiteral("Tracking %1: KWin offers org_kde_plasma_window_management to Wendle, "
                                            "whose desktop entry authorises it.")
                                 .arg(plasma->name());
        choice.desktop = std::move(plasma);
        return choice;
    }
    const QStringList names = sessionBusNames();
    if (names.contains(kKWinService)) {
        if (auto kwin = VXKWinScriptDesktop::create({}, &whyNot)) {
            choice.description
                = QStringLiteral("Tracking %1 on %2: org.kde.KWin is on the session bus.").arg(kwin->name(), where);
            choice.desktop = std::move(kwin);
            return choice;
        }
        choice.description = QStringLiteral("KWin is there, but Wendle cannot track it: %1.").arg(whyNot);
        return choice;
    }
    if (names.contains(kShellService)) {
        if (auto gnome = VXGnomeShellDesktop::create({}, {}, &whyNot)) {
            choice.description
                = QStringLiteral("Tracking %1 on %2: org.gnome.Shell is on the session bus.").arg(gnome->name(), where);
            choice.desktop = std::move(gnome);
            if (choice.idleSources.empty() && names.contains(VXMutterIdleSource::kService))
                choice.idleSources.push_back(std::make_unique<VXMutterIdleSource>());
            return choice;
        }
        choice.description = QStringLiteral("GNOME Shell is there, but Wendle cannot track it: %1.").arg(whyNot);
        return choice;
    }
    choice.description = QStringLiteral("The Wayland compositor on %1 offers no supported way to read the frontmost "
                                        "window (neither zwlr_foreign_toplevel_manager_v1 nor KWin or GNOME Shell on "
                                        "the session bus); window tracking needs a supported compositor. Wendle keeps "
                                        "running and counts nothing until then.")
                             .arg(where);
    return choice;
}
