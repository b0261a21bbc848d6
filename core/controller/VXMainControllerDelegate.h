#pragma once

// How the core reaches the user interface: the organizer lists, the report and the alerts
// implement this, and the controller calls it. Every operation has a do-nothing default, so a
// program without a window (or a test) implements only what it needs.

#include "VXValue.h"

#include <QString>

class VXMainControllerDelegate
{
public:
    virtual ~VXMainControllerDelegate() = default;

    // The user is editing a name in the application list or the pool list (a field editor is
    // open): scheduled ticks leave the tree alone until the edit ends.
    virtual bool isEditingListItem() const { return false; }

    // After every full tick: the two lists show the controller's applicationArray() and
    // poolArray() again.
    virtual void reloadApplicationList() {}
    virtual void reloadPoolList() {}

    // Facts about the windows that decide whether a tick restores the expansion states.
    virtual bool runsAsStatusItem() const { return false; }
    virtual bool isListWindowVisible() const { return true; }
    virtual bool isReportWindowVisible() const { return false; }
    // Expand the rows whose items have "Expanded" set.
    virtual void restoreExpansionStates() {}

    // After every tick, full or skipped: the live report refreshes itself.
    virtual void updateReport() {}

    // A blacklist changed its order or content: show its entries (joined with "\n") in its text
    // view of the preferences.
    virtual void showBlacklistText(const QString &blacklistName, const QString &text)
    {
        Q_UNUSED(blacklistName);
        Q_UNUSED(text);
    }

    // Select this item of the pool list (after a command changed it).
    virtual void selectPoolListItem(const VXDictionaryRef &item) { Q_UNUSED(item); }

    // A command had nothing to act on.
    virtual void beep() {}
};
