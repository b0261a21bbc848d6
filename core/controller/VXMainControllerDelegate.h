#pragma once

// How the core reaches the user interface: the organizer lists, the report and the alerts
// implement this, and the controller calls it. Every operation has a do-nothing default, so a
// program without a window (or a test) implements only what it needs. The dialogs (alerts and
// the "Unlock" folder chooser) come from VXFolderAccessUserInterface: without a user interface
// nobody answers them, which every confirmation reads as "Cancel".

#include "VXFolderAccessUserInterface.h"
#include "VXValue.h"

#include <QString>

class VXMainControllerDelegate : public VXFolderAccessUserInterface
{
public:
    virtual ~VXMainControllerDelegate() = default;

    // The user is editing a name in the application list or the pool list (a field editor is
    // open): scheduled ticks leave the tree alone until the edit ends.
    virtual bool isEditingListItem() const { return false; }

    // After every full tick: the two lists show the controller's applicationArray() and
    // poolArray() again.
    virtual void reloadApplicationList() { }
    virtual void reloadPoolList() { }

    // Facts about the windows that decide whether a tick restores the expansion states.
    virtual bool runsAsStatusItem() const { return false; }
    virtual bool isListWindowVisible() const { return true; }
    virtual bool isReportWindowVisible() const { return false; }
    // Expand the rows whose items have "Expanded" set.
    virtual void restoreExpansionStates() { }

    // After every tick, full or skipped: the live report refreshes itself.
    virtual void updateReport() { }

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
    virtual void beep() { }

    // The item selected in the pool list, else in the application list; null when none.
    virtual VXDictionaryRef selectedItem() const { return VXDictionaryRef(); }

    // ---- Hibernation

    // The status item's view and both lists enter or leave the hibernation state (the lists
    // under their "Suspended" cloak), animated or not.
    virtual void showHibernationState(bool hibernating, bool animated)
    {
        Q_UNUSED(hibernating);
        Q_UNUSED(animated);
    }
    // The status icon (and the window icon's report) is to be redrawn.
    virtual void updateIcon() { }

    // ---- Start-up and quit

    // The windows' half of the end of launch, before the daily tasks run: the welcome choice
    // and the status item or windows. Answers false when the program is about to restart in
    // another mode, which ends the launch there.
    virtual bool buildUserInterface() { return true; }
    // After the daily tasks: the windows that were open at the last quit.
    virtual void showWindows() { }
    // The program quits: the status item goes.
    virtual void tearDownUserInterface() { }
};
