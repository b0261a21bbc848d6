#pragma once

// A connection of Wendle's own to the Wayland compositor, apart from the one Qt may hold for its
// windows: the globals the compositor offers, and its events served from Qt's event loop (a
// socket notifier) or, at a tick, read without blocking. A lost connection (the compositor
// went away) is logged once and announced; the objects made on it stay valid but hear nothing.

#include <QByteArray>
#include <QObject>
#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

struct wl_display;
struct wl_registry;
struct wl_interface;
class QSocketNotifier;

class VXWaylandConnection final : public QObject
{
    Q_OBJECT
public:
    struct Global {
        std::uint32_t name = 0;
        QByteArray interface;
        std::uint32_t version = 0;
    };

    // Connects to the display (empty: $WAYLAND_DISPLAY, else "wayland-0") and reads its globals
    // (one round trip). Answers null, with the reason in `whyNot`, when there is no compositor.
    static std::shared_ptr<VXWaylandConnection> connect(const QString &display, QString *whyNot = nullptr);
    ~VXWaylandConnection() override;

    wl_display *display() const { return m_display; }
    QString displayName() const { return m_displayName; }
    const std::vector<Global> &globals() const { return m_globals; }
    // The first global of that interface, or null.
    const Global *global(const char *interface) const;
    // Binds a global at its version or `maxVersion`, whichever is lower.
    void *bind(const Global &global, const wl_interface *interface, std::uint32_t maxVersion);

    // Reads and dispatches what the compositor sent, without blocking; sends what is queued.
    void dispatchPending();
    // Sends the requests made so far.
    void flush();
    // Waits (at most timeoutMs) until the compositor has answered everything sent so far.
    bool roundtrip(int timeoutMs = 5000);
    bool isConnected() const { return !m_lost; }

Q_SIGNALS:
    // The compositor closed the connection or broke the protocol. Emitted once.
    void lost();

private:
    VXWaylandConnection(wl_display *display, QString name);
    bool failed();
    static void handleGlobal(void *data, wl_registry *registry, std::uint32_t name, const char *interface,
                             std::uint32_t version);
    static void handleGlobalRemove(void *data, wl_registry *registry, std::uint32_t name);

    wl_display *m_display = nullptr;
    wl_registry *m_registry = nullptr;
    QString m_displayName;
    QSocketNotifier *m_notifier = nullptr;
    std::vector<Global> m_globals;
    bool m_lost = false;
    bool m_dispatching = false;
};
