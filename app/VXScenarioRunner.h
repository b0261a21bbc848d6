#pragma once

// Runs a scenario through the program's own engine: the same controller, sampler, pools,
// blacklists, cut-offs, pause and hibernation, resets, undo and quit path as the running
// program, with the scripted desktop in place of the real one and a virtual clock in place of
// the event loop's timers, so a working day takes seconds and every run of a scenario gives
// the same record.
//
// The program's files live in a temporary data and settings folder for the run: the user's own
// record and settings are never read or written.
//
//     offset:   0 ........................ t .......................... end
//     start-up (first tick) | events at t, then timers due at t | events at end, quit

#include "VXScenario.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

class VXDesktop;
class VXUserDefaults;
class VXVirtualScheduler;

class VXScenarioRunner
{
public:
    explicit VXScenarioRunner(const VXScenario &scenario) : m_scenario(scenario) { }

    // The configuration file that the quit path saved (a binary property list), or empty with
    // the reason in `error`. A scenario that ends in a crash answers the record a restart
    // recovers from what was on disk at the crash (the last full save and its journal), with
    // the periods still open ended at its last moment.
    QByteArray run(QString *error);

    // After a run: how many delayed calls of the program fired (ticks, countdowns, saves).
    std::uint64_t firedCalls() const { return m_firedCalls; }

private:
    QByteArray recoverAfterCrash(VXDesktop &desktop, VXVirtualScheduler &time, VXUserDefaults &defaults,
                                 QString *error);

    const VXScenario &m_scenario;
    std::uint64_t m_firedCalls = 0;
};
