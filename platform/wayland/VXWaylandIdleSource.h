#pragma once

// User input on a Wayland compositor, through its idle protocol: ext_idle_notifier_v1 where the
// compositor offers it (KWin, newer wlroots), else KDE's org_kde_kwin_idle (sway 1.7). The
// compositor tells when the user has been idle for half a second and when input ends that;
// VXIdleReporter makes the reports of them.

#include "VXPresence.h"

#include <QObject>
#include <QString>

#include <memory>

class VXIdleReporter;
class VXWaylandConnection;

class VXWaylandIdleSource final : public QObject, public VXInputMonitor
{
    Q_OBJECT
public:
    enum class Protocol { Automatic, KdeIdle };

    // On a connection of its own to $WAYLAND_DISPLAY, or on `connection` when given.
    explicit VXWaylandIdleSource(std::shared_ptr<VXWaylandConnection> connection = nullptr,
                                 Protocol protocol = Protocol::Automatic, QObject *parent = nullptr);
    ~VXWaylandIdleSource() override;

    bool start(VXPresenceObserver &observer) override;
    void stop() override;
    QString name() const override;

    // Whether the compositor offers an idle protocol this source understands.
    static bool isOffered(const VXWaylandConnection &connection);

    const VXIdleReporter &reporter() const { return *m_reporter; }

private:
    struct Private;
    std::unique_ptr<Private> d;
    std::shared_ptr<VXWaylandConnection> m_connection;
    Protocol m_protocol;
    VXIdleReporter *m_reporter;
};
