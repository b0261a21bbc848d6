#pragma once

// What resets, clears and removals need from the tree's owner. The controller implements it.

#include "VXValue.h"

#include <QString>
#include <QStringList>

struct VXTickWindows;

class VXResetsDelegate
{
public:
    virtual ~VXResetsDelegate() = default;

    // The tree (null before the first tick and after "Clear all"), and its replacement.
    virtual VXDictionaryRef currentConfiguration() = 0;
    virtual void replaceConfiguration(VXDictionaryRef configuration) = 0;

    // Before every change: the undo state (which also saves the file).
    virtual void pushUndoStateAndClearRedoStatesAfterDelay() = 0;

    // The next tick credits nothing for the time since the previous one.
    virtual void ignoreTimeSinceLastUpdate() = 0;
    // The next tick starts afresh, as if there had been no previous one.
    virtual void forgetLastUpdate() = 0;
    // After a change: a forced tick rebuilds the lists.
    virtual void updateListsAfterChange() = 0;
    // Before it: the change touched no window but these (see VXJournal::noteChangeConfinedTo),
    // so the save after it need not compare the whole tree.
    virtual void noteChangeConfinedTo(const VXTickWindows &windows) { Q_UNUSED(windows); }

    // Brings the program to the front and runs a modal alert with the buttons in this order.
    // Answers the index of the button chosen (0 for the first), or -1 when nobody answered.
    virtual int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles)
        = 0;
    virtual void beep() = 0;

    // The item selected in the pool list, else in the application list; null when none.
    virtual VXDictionaryRef selectedItem() = 0;
    // A blacklist changed: its text view in the preferences shows this text.
    virtual void showBlacklistText(const QString &blacklistName, const QString &text) = 0;
};
