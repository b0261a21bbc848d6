#pragma once

// User input on an X11 display, as the hibernation logic wants it: "input happened" within a
// second of the input, and no more than about once a second however much input there is.
//
// With the SYNC extension (the usual case) the source sets an alarm on the server's IDLETIME
// counter and sleeps:
//
//   quiet      a "reset" alarm waits for the idle time to drop below its current value, that
//              is for any input; it costs nothing while nobody types
//   input      the alarm fires: report at once, then look again one second later
//   one second the idle time is shorter than the second since the report: there was input in
//   later      between, report again and look again a second later; otherwise arm the reset
//              alarm just below the idle time read and be quiet
//
// so a minute of typing costs sixty wake-ups, and an idle desktop none. Input seen a second
// later is reported with its age, so that the observer can tell when it happened. Without SYNC, the
// MIT-SCREEN-SAVER extension's idle time is polled once a second. The X connection is served
// from Qt's event loop through a socket notifier.

#include "VXPresence.h"

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QTimer>

#include <cstdint>
#include <memory>

class QSocketNotifier;

class VXX11IdleSource final : public QObject, public VXInputMonitor
{
    Q_OBJECT

public:
    enum class Method {
        Automatic,   // SYNC when the server has it, else MIT-SCREEN-SAVER
        ScreenSaver,   // MIT-SCREEN-SAVER only (tests of the fallback)
    };

    // `display` empty: $DISPLAY.
    explicit VXX11IdleSource(const QString &display = QString(), Method method = Method::Automatic,
                             QObject *parent = nullptr);
    ~VXX11IdleSource() override;

    bool start(VXPresenceObserver &observer) override;
    void stop() override;
    QString name() const override;

    // How often the source woke up (socket activity or a timer) since it started: tests check
    // that input does not wake it for every event.
    std::uint64_t wakeUpCount() const { return m_wakeUps; }

private:
    struct Private;
    enum class State { Stopped, Quiet, Cooling };

    void onSocketActivity();
    void onCoolingTimer();
    void onScreenSaverTimer();
    void drainEvents();
    bool checkConnection();
    // Reports input that happened idleMs ago (the input seen at the end of a cooling second may
    // be that old), and starts cooling.
    void report(std::int64_t idleMs);
    // Reads the idle time: reports when there was input since the last report (afterReport),
    // else arms the reset alarm just below it and goes quiet.
    void settle(bool afterReport);

    std::unique_ptr<Private> d;
    QString m_display;
    Method m_method;
    VXPresenceObserver *m_observer = nullptr;
    QSocketNotifier *m_notifier = nullptr;
    QTimer m_coolingTimer;
    QTimer m_screenSaverTimer;
    QElapsedTimer m_sinceReport;
    QElapsedTimer m_sincePoll;
    State m_state = State::Stopped;
    bool m_draining = false;
    std::uint64_t m_wakeUps = 0;
};
