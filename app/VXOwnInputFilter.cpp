#include "VXOwnInputFilter.h"

#include <QEvent>

bool VXOwnInputFilter::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::Wheel:
        if (!m_reported.isValid() || m_reported.elapsed() >= 1000) {
            m_reported.start();
            m_observer.inputHappened();
        }
        break;
    default: break;
    }
    return QObject::eventFilter(watched, event);
}
