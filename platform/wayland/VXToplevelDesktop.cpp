#include "VXToplevelDesktop.h"

#include "VXDesktopEntryLauncher.h"
#include "VXWaylandConnection.h"
#include "VXWaylandLogging.h"

#include <QCoreApplication>
#include <QFile>

VXToplevelDesktop::VXToplevelDesktop(const VXToplevelMirror::Options &options, QObject *parent) :
    QObject(parent), m_mirror(options)
{
}

VXToplevelDesktop::~VXToplevelDesktop() = default;

void VXToplevelDesktop::takeSnapshot(VXDesktopSnapshot &snapshot)
{
    beforeSnapshot();
    m_mirror.takeSnapshot(snapshot);
}

QString VXToplevelDesktop::notAvailableHere(const QString &what)
{
    return QCoreApplication::translate("VXToplevelDesktop", "%1 is not available here.").arg(what);
}

void VXToplevelDesktop::followConnection(VXWaylandConnection &connection)
{
    connect(&connection, &VXWaylandConnection::lost, this, [this] {
        m_mirror.clear();
        Q_EMIT connectionLost();
    });
}

QByteArray VXToplevelDesktop::resource(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

namespace {

bool noWindows(const QString &bundlePath, QString *whyNot)
{
    if (whyNot)
        *whyNot = QCoreApplication::translate("VXToplevelDesktop", "<%1> has no open window.").arg(bundlePath);
    return false;
}

}   // namespace

bool VXToplevelDesktop::activateApplication(const QString &bundlePath, QString *whyNot)
{
    const std::vector<Id> ids = m_mirror.toplevelsOfApplication(bundlePath);
    if (ids.empty())
        return noWindows(bundlePath, whyNot);
    return activateToplevel(ids.front(), whyNot);
}

bool VXToplevelDesktop::quitApplication(const QString &bundlePath, QString *whyNot)
{
    const std::vector<Id> ids = m_mirror.toplevelsOfApplication(bundlePath);
    if (ids.empty())
        return noWindows(bundlePath, whyNot);
    return closeToplevels(ids, whyNot);
}

bool VXToplevelDesktop::closeToplevels(const std::vector<Id> &ids, QString *whyNot)
{
    bool closed = true;
    for (const Id id : ids)
        closed = closeToplevel(id, whyNot) && closed;
    return closed;
}

bool VXToplevelDesktop::launchApplication(const QString &bundlePath, QString *whyNot)
{
    return launch(bundlePath, whyNot);
}

bool VXToplevelDesktop::launch(const QString &bundlePath, QString *whyNot)
{
    return VXLaunchApplication(bundlePath, whyNot);
}
