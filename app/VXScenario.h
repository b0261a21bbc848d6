#pragma once

// A scripted day for `wendle simulate`, read from JSON and checked before anything runs.
//
//     {"start": 1767254400, "end": 3600,
//      "defaults": {"Hibernation Interval": 300},
//      "desktop": [{"at": 0, "front": "/apps/editor.desktop",
//                   "applications": [{"name": "Editor", "identifier": "editor",
//                                     "path": "/apps/editor.desktop", "pid": 100}],
//                   "windows": [{"pid": 100, "title": "Report.odt", "number": 1}]}],
//      "events": [{"at": 1800, "type": "sleep"}, {"at": 2400, "type": "wake"}]}
//
// Times are seconds after "start" on a 1/8-second grid, so that sums of them are exact. Each
// desktop state replaces the whole desktop from its "at" until the next state. With "crash":
// true, or at a "crash" event, the program ends abruptly instead of quitting. A refused
// scenario names the offending field ("desktop[2].windows[0].pid: missing").

#include "VXDesktop.h"
#include "VXValue.h"

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

enum class VXScenarioEventType {
    Input,
    Sleep,
    Wake,
    SessionResign,
    SessionActive,
    Lock,
    Unlock,
    SuspendAutomatic,
    SuspendManual,
    WakeUp,
    ResetApplicationTimers,
    ResetPoolTimers,
    ResetAllTimers,
    ClearApplications,
    ClearPools,
    ClearAll,
    Undo,
    Redo,
    ForceTick,
    SetDefault,
    // The program ends abruptly (killed, the power cut): no quit path.
    Crash,
};

struct VXScenarioEvent {
    double at = 0.0;
    VXScenarioEventType type = VXScenarioEventType::Input;
    // setDefault only: the key, and the value (null removes the key).
    QString key;
    VXValue value;
};

struct VXScenarioDesktopState {
    double at = 0.0;
    VXDesktopSnapshot desktop;
};

struct VXScenario {
    // Unix time of the program's start.
    double start = 0.0;
    // Seconds after the start at which the program quits.
    double end = 0.0;
    // It does not quit at the end but ends abruptly ("crash": true), as a crash event does.
    bool crash = false;
    // Settings of this run, on top of the registered defaults.
    VXDictionaryRef defaults;
    // The tree the program loads at start; null for none.
    VXDictionaryRef configuration;
    // Strictly increasing "at".
    std::vector<VXScenarioDesktopState> desktop;
    // Non-decreasing "at", in the order they are delivered.
    std::vector<VXScenarioEvent> events;

    // The scenario in `json`, or nothing with the reason in `error`.
    static std::optional<VXScenario> fromJson(const QByteArray &json, QString *error);

    // The settings a setDefault event may change: those with a control in the preferences whose
    // effect simulation reproduces.
    static const QStringList &settableKeys();
    // The daily tasks, which simulation does not run.
    static const QStringList &refusedDefaultsKeys();
};
