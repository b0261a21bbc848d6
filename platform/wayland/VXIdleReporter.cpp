#include "VXIdleReporter.h"

VXIdleReporter::VXIdleReporter(QObject *parent) : QObject(parent)
{
    m_cooling.setSingleShot(true);
    m_cooling.setInterval(kCoolingMs);
    m_cooling.setTimerType(Qt::CoarseTimer);
    connect(&m_cooling, &QTimer::timeout, this, &VXIdleReporter::coolingEnded);
}

void VXIdleReporter::start(VXPresenceObserver &observer)
{
    m_observer = &observer;
    m_idle = false;
    m_pending = false;
    m_reports = 0;
    m_cooling.start();
}

void VXIdleReporter::stop()
{
    m_observer = nullptr;
    m_cooling.stop();
}

void VXIdleReporter::idled()
{
    m_idle = true;
}

void VXIdleReporter::resumed()
{
    m_idle = false;
    if (!m_observer)
        return;
    if (m_cooling.isActive())
        m_pending = true;
    else
        report();
}

void VXIdleReporter::coolingEnded()
{
    if (m_observer && (m_pending || !m_idle))
        report();
}

void VXIdleReporter::report()
{
    m_pending = false;
    ++m_reports;
    m_cooling.start();
    // Last, as the observer may stop the source.
    m_observer->inputHappened();
}
