#pragma once

// The desktop of KDE Plasma read through the Plasma window-management protocol
// (org_kde_plasma_window_management): title, app id, process and state flags of every window,
// with no script inside KWin. KWin offers the protocol only to a program whose executable is the
// absolute Exec of a desktop entry that lists it in X-KDE-Wayland-Interfaces; where Wendle's
// entry does, this adapter is used instead of the KWin script.
//
// The compositor's events are read as they come and once more, without blocking, at each tick.
// Windows on other virtual desktops are not told apart from those on the current one.

#include "VXToplevelDesktop.h"

#include <memory>

class VXWaylandConnection;

class VXPlasmaWindowDesktop final : public VXToplevelDesktop
{
    Q_OBJECT
public:
    // Answers null, with the reason, when the compositor does not offer the protocol to Wendle.
    static std::unique_ptr<VXPlasmaWindowDesktop> create(std::shared_ptr<VXWaylandConnection> connection,
                                                         const VXToplevelMirror::Options &options = {},
                                                         QString *whyNot = nullptr);
    ~VXPlasmaWindowDesktop() override;

    static bool isOffered(const VXWaylandConnection &connection);

    QString name() const override;
    QString limitations() const override;
    bool isConnected() const override;

protected:
    void beforeSnapshot() override;
    bool activateToplevel(Id id, QString *whyNot) override;
    bool closeToplevel(Id id, QString *whyNot) override;

private:
    struct Private;
    VXPlasmaWindowDesktop(std::shared_ptr<VXWaylandConnection> connection, const VXToplevelMirror::Options &options);
    std::unique_ptr<Private> d;
};
