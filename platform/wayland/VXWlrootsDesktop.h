#pragma once

// The desktop of a wlroots compositor (sway and its kin), read through the foreign-toplevel
// protocol (zwlr_foreign_toplevel_manager_v1): every toplevel's title, app id and states, each
// change completed by the toplevel's "done". The activated toplevel is in front; the protocol
// gives no process identifiers and no workspaces, so applications are known by their app id
// alone and every window that is not minimised counts as on screen.
//
// The compositor's events are read as they come (from Qt's event loop) and once more, without
// blocking, at each tick; a tick on a steady desktop costs one poll of the socket and a copy.
// Bringing an application to the front and closing its windows are requests of the protocol.

#include "VXToplevelDesktop.h"

#include <memory>

class VXWaylandConnection;

class VXWlrootsDesktop final : public VXToplevelDesktop
{
    Q_OBJECT
public:
    // Answers null, with the reason, when the compositor does not offer the protocol.
    static std::unique_ptr<VXWlrootsDesktop> create(std::shared_ptr<VXWaylandConnection> connection,
                                                    const VXToplevelMirror::Options &options = {},
                                                    QString *whyNot = nullptr);
    ~VXWlrootsDesktop() override;

    // Whether the compositor offers the protocol.
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
    VXWlrootsDesktop(std::shared_ptr<VXWaylandConnection> connection, const VXToplevelMirror::Options &options);
    std::unique_ptr<Private> d;
};
