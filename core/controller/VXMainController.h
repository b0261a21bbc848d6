#pragma once

// The application's controller: it owns the configuration tree and the state that lives for
// the whole run, and wires the subsystems together. It holds no logic of its own beyond that
// wiring: the tick is VXActivitySampler's, the pattern rules are in VXBlacklists and VXPools.
//
// The tick runs as a chain of single delayed calls: each tick schedules the next after the
// update interval, and a forced tick (any sender) cancels the pending one and runs at once.
//
//     scheduled:  tick ---0.5s--- tick ---0.5s--- tick
//     forced:                  tick!  ---0.5s--- tick   (the pending one is dropped)
//
// Its dependencies come in through the constructor, so a test runs a day of ticks on a fake
// desktop and a virtual clock.

#include "VXActivitySampler.h"
#include "VXDesktop.h"
#include "VXValue.h"

#include <QString>

#include <optional>

class VXClock;
class VXMainControllerDelegate;
class VXScheduler;
class VXUserDefaults;

class VXMainController
{
public:
    // The name under which the tick is scheduled (with the controller as target).
    static const QString kUpdateListsOperation;   // "updateLists:"

    // Reads "Show Inactive Application Items" and "Show Inactive Pools" now: they are start-up
    // settings. The delegate may be null (no user interface).
    VXMainController(VXDesktop &desktop, VXScheduler &scheduler, VXClock &clock, VXUserDefaults &defaults,
                     VXMainControllerDelegate *delegate = nullptr);
    virtual ~VXMainController();

    VXMainController(const VXMainController &) = delete;
    VXMainController &operator=(const VXMainController &) = delete;

    void setDelegate(VXMainControllerDelegate *delegate) { m_delegate = delegate; }

    // ---- The configuration

    // The tree; null until loaded or until the first tick makes an empty one.
    const VXDictionaryRef &configuration() const { return m_configuration; }
    // Replaces the tree (loading, undo, clearing with null). Call updateLists() with a sender
    // afterwards, as every change does.
    void setConfiguration(VXDictionaryRef configuration) { m_configuration = std::move(configuration); }

    // ---- The sampler

    // One tick. Without a sender it is the scheduled tick, which leaves the tree alone while
    // tracking is paused or a list item is being edited. With a sender it is forced: it cancels
    // the pending tick and runs in full whatever the state. Either way it refreshes the report
    // and schedules the next tick.
    void updateLists(const void *sender);

    // The delay between ticks: "Update Interval", at least 0.5 seconds. A change takes effect
    // when the next tick is scheduled.
    double updateInterval() const;
    void setUpdateInterval(double interval);

    // Stores the organizer's sort column (process-wide and under "Sort") and forces a tick. At
    // launch this is what starts the chain of ticks.
    void setSortColumn(int column);
    int sortColumn() const;

    std::optional<double> lastDate() const { return m_sampler.lastDate(); }
    void forgetLastDate() { m_sampler.forgetLastDate(); }
    // Set by the end of a pause and by resets: the next tick credits nothing.
    bool ignoreLastDate() const { return m_sampler.ignoreLastDate(); }
    void setIgnoreLastDate(bool ignore) { m_sampler.setIgnoreLastDate(ignore); }

    double overallApplicationTime() const { return m_sampler.overallApplicationTime(); }
    double overallPoolTime() const { return m_sampler.overallPoolTime(); }
    // The organizer's two lists, sorted.
    const VXArrayRef &applicationArray() const { return m_sampler.applicationArray(); }
    const VXArrayRef &poolArray() const { return m_sampler.poolArray(); }

    bool showInactiveApplicationItems() const { return m_showInactiveApplicationItems; }
    bool showInactivePools() const { return m_showInactivePools; }

    // ---- The pause gate

    // Pauses nest: each setPaused(true) needs its setPaused(false). When the last one ends, the
    // next tick is a gap, so the paused time is never credited. Hibernation, sleep, session
    // changes and the transitory pause of a list edit all go through this one counter.
    void setPaused(bool paused);
    bool isPaused() const { return m_pauseLevel > 0; }
    int pauseLevel() const { return m_pauseLevel; }

    // ---- Blacklists, cut-offs and pools

    // The blacklist stored under "Application Blacklist" or "Window Blacklist", created with its
    // default entry when missing (and the configuration with it).
    VXArray &blacklistWithName(const QString &name);
    // Sorts both blacklists and shows them in the preferences.
    void updateBlacklists();
    // The user edited a blacklist's text view: its lines replace the entries.
    void blacklistTextDidChange(const QString &name, const QString &text);
    // "Cutoffs", or null.
    VXDictionary *cutoffs() const;

    // Flips "Match Any Application" on the pool member of `item` (the member itself, or the
    // member holding a window entry): pushes an undo state first, then forces a tick and selects
    // the member. Beeps and answers false when the item belongs to no member.
    bool toggleMatchAnyApplicationViaMenuItem(const VXDictionary *item);
    // The title of that command for the item's member (empty when it has none).
    QString matchAnyApplicationMenuTitle(const VXDictionary *item) const;

    // ---- Undo

    // Every change the user makes to the tree calls this first, before it changes anything.
    // This is where the undo history plugs in: it is to encode the tree as it is, save it, push
    // it on the undo stack and clear the redo stack on the next turn of the loop. Until the
    // history exists it does nothing.
    virtual void pushUndoStateAndClearRedoStatesAfterDelay();

private:
    VXDesktop &m_desktop;
    VXScheduler &m_scheduler;
    VXClock &m_clock;
    VXUserDefaults &m_defaults;
    VXMainControllerDelegate *m_delegate;

    VXDictionaryRef m_configuration;
    VXActivitySampler m_sampler;
    VXSamplerSettings m_settings;
    VXDesktopSnapshot m_snapshot;
    bool m_showInactiveApplicationItems = false;
    bool m_showInactivePools = true;
    bool m_hasCompletedFullTick = false;
    int m_pauseLevel = 0;
};
