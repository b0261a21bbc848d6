#pragma once

// Turns a compositor's idle notifications into the reports the hibernation logic wants: "input
// happened" within a second of the input, and no more than once a second however much input
// there is. The compositor is asked to say when the user has been idle for kIdleTimeoutMs and
// when input ends that; nothing else wakes the program.
//
//   idle     "resumed": report at once, and look again one second later
//   a second no "idled" since: input came after the report (the compositor would have said idled
//   later    kIdleTimeoutMs after the last input), so report again and look again; input that
//            came and went within the second ("resumed" after "idled") is reported too;
//            otherwise wait for the next "resumed"
//
// The watch starts as if input had just been reported: a user typing when the program starts
// is reported a second later, an idle one not at all.

#include "VXPresence.h"

#include <QObject>
#include <QTimer>

class VXIdleReporter final : public QObject
{
    Q_OBJECT
public:
    // What the compositor is asked for: idle after this many milliseconds without input.
    static constexpr int kIdleTimeoutMs = 500;
    // How long after a report the reporter looks again.
    static constexpr int kCoolingMs = 1000;

    explicit VXIdleReporter(QObject *parent = nullptr);

    void start(VXPresenceObserver &observer);
    void stop();

    // The compositor's notifications.
    void idled();
    void resumed();

    // How many times input was reported since the start, for tests.
    int reports() const { return m_reports; }

private:
    void report();
    void coolingEnded();

    VXPresenceObserver *m_observer = nullptr;
    QTimer m_cooling;
    bool m_idle = false;
    bool m_pending = false;
    int m_reports = 0;
};
