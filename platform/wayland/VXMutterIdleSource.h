#pragma once

// User input on GNOME, through Mutter's idle monitor on the session bus
// (org.gnome.Mutter.IdleMonitor, /org/gnome/Mutter/IdleMonitor/Core): an idle watch fires when
// the user has been idle for half a second, and a user-active watch, armed again after each
// idle, fires at the next input. VXIdleReporter makes the reports of them. The watches live as
// long as the connection; when GNOME Shell restarts they are set again.

#include "VXPresence.h"

#include <QDBusConnection>
#include <QObject>
#include <QSet>
#include <QString>

#include <memory>

class QDBusMessage;
class QDBusServiceWatcher;
class VXIdleReporter;

class VXMutterIdleSource final : public QObject, public VXInputMonitor
{
    Q_OBJECT
public:
    static const QString kService;   // "org.gnome.Mutter.IdleMonitor"

    explicit VXMutterIdleSource(QObject *parent = nullptr);
    ~VXMutterIdleSource() override;

    bool start(VXPresenceObserver &observer) override;
    void stop() override;
    QString name() const override;

    const VXIdleReporter &reporter() const { return *m_reporter; }

private Q_SLOTS:
    void watchFired(const QDBusMessage &message);

private:
    void arm();
    void armUserActiveWatch();
    void idleWatchFired();
    void activeWatchFired();

    std::unique_ptr<QDBusConnection> m_bus;
    QDBusServiceWatcher *m_watcher = nullptr;
    VXIdleReporter *m_reporter;
    quint32 m_idleWatch = 0;
    quint32 m_activeWatch = 0;
    // Watches that fired before the answer that named them came back.
    QSet<quint32> m_unclaimed;
    int m_generation = 0;
};
