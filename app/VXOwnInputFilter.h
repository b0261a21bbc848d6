#pragma once

// The program's own input: keys, clicks, wheel turns and moves in Wendle's windows defer
// hibernation as input anywhere else does, reported at most once a second however fast the
// events come. Installed on the application object.

#include "VXPresence.h"

#include <QElapsedTimer>
#include <QObject>

class VXOwnInputFilter final : public QObject
{
public:
    explicit VXOwnInputFilter(VXPresenceObserver &observer, QObject *parent = nullptr) :
        QObject(parent), m_observer(observer)
    {
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    VXPresenceObserver &m_observer;
    QElapsedTimer m_reported;
};
