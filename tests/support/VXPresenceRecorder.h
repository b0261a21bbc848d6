#pragma once

// A presence observer that writes down what it hears: every event by name, and when input came
// (milliseconds since the recorder was made).

#include "VXPresence.h"

#include <QElapsedTimer>
#include <QStringList>

#include <algorithm>
#include <vector>

class VXPresenceRecorder final : public VXPresenceObserver
{
public:
    VXPresenceRecorder() { m_clock.start(); }

    void inputHappened() override
    {
        events << QStringLiteral("input");
        inputTimes.push_back(m_clock.elapsed());
    }
    void systemWillSleep() override { events << QStringLiteral("sleep"); }
    void systemDidWake() override { events << QStringLiteral("wake"); }
    void sessionDidResignActive() override { events << QStringLiteral("resign"); }
    void sessionDidBecomeActive() override { events << QStringLiteral("active"); }
    void screenDidLock() override { events << QStringLiteral("lock"); }
    void screenDidUnlock() override { events << QStringLiteral("unlock"); }

    int inputs() const { return int(inputTimes.size()); }
    int inputsSince(qint64 at) const
    {
        return int(std::count_if(inputTimes.begin(), inputTimes.end(), [&](qint64 t) { return t >= at; }));
    }
    qint64 elapsed() const { return m_clock.elapsed(); }

    QStringList events;
    std::vector<qint64> inputTimes;

private:
    QElapsedTimer m_clock;
};
