#pragma once

// What the pause counter and hibernation need from their owner: the sampler's gap flag, the
// user interface's hibernation state, and a modal alert. The controller implements it.

#include <QString>
#include <QStringList>

class VXHibernationDelegate
{
public:
    virtual ~VXHibernationDelegate() = default;

    // The last pause ended: the next tick must treat the time since the previous one as a gap.
    virtual void lastPauseDidEnd() = 0;

    // The status item's view and both lists enter or leave the hibernation state (animated or
    // not). Called before the pause counter changes.
    virtual void showHibernationState(bool hibernating, bool animated) = 0;

    // Hibernation began or ended and the pause counter has changed: the icon is redrawn.
    virtual void hibernationDidChange() = 0;

    // Brings the program to the front and runs a modal alert with the buttons in this order.
    // Answers the index of the button chosen (0 for the first), or -1 when nobody can answer.
    virtual int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles)
        = 0;
};
