#include "VXDesktopReport.h"

#include "VXFullscreenReportWindow.h"
#include "VXRegisteredDefaults.h"
#include "VXReportView.h"
#include "VXScheduler.h"
#include "VXStatusItemPanel.h"
#include "VXTaskbarReportIcon.h"
#include "VXUserDefaults.h"

#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPropertyAnimation>
#include <QScreen>

#include <algorithm>

namespace {

const QString kUpdateIconOperation = QStringLiteral("updateDesktopReport");
constexpr int kFadeMilliseconds = 300;

}   // namespace

VXDesktopReport::VXDesktopReport(VXUserDefaults &defaults, VXScheduler &scheduler, QObject *parent) :
    QObject(parent), m_defaults(defaults), m_scheduler(scheduler)
{
}

VXDesktopReport::~VXDesktopReport()
{
    m_scheduler.cancelAll(this);
    watchScreens(false);
}

void VXDesktopReport::setReportView(VXReportView *view)
{
    m_view = view;
}

bool VXDesktopReport::isShown() const
{
    return m_window && m_window->isVisible() && !(m_fade && m_fade->state() == QAbstractAnimation::Running);
}

void VXDesktopReport::watchScreens(bool watch)
{
    for (const QMetaObject::Connection &connection : std::as_const(m_screenConnections))
        disconnect(connection);
    m_screenConnections.clear();
    if (!watch)
        return;
    const auto refit = [this] { updateIcon(); };
    m_screenConnections << connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, refit);
    if (QScreen *screen = QGuiApplication::primaryScreen())
        m_screenConnections << connect(screen, &QScreen::availableGeometryChanged, this, refit);
}

void VXDesktopReport::updateIcon()
{
    m_scheduler.cancel(this, kUpdateIconOperation);
    if (!m_defaults.boolForKey(kShowOnDesktopKey)) {
        vanish();
        return;
    }
    if (!m_window) {
        m_window = std::make_unique<VXFullscreenReportWindow>();
        m_window->setWindowTitle(tr("Activity Report"));
    }
    if (m_fade)
        m_fade->stop();
    m_window->fitToScreen();
    m_window->setWindowOpacity(
        std::clamp(m_defaults.doubleForKey(VXDefaultsKey::kShowActivityReportOnDesktopAlpha), 0.0, 1.0));
    if (m_view) {
        VXTaskbarReportIcon::refreshHiddenView(m_view);
        const qreal ratio = m_window->devicePixelRatioF();
        // Drawn again only when the report or the window's size changed.
        const QImage &shown = m_window->image();
        if (m_drawnRevision != m_view->revision() || shown.devicePixelRatio() != ratio
            || shown.size() != m_window->size() * ratio) {
            QImage &image = m_canvases[m_nextCanvas];
            m_nextCanvas = 1 - m_nextCanvas;
            if (image.size() != m_window->size() * ratio)
                image = QImage(m_window->size() * ratio, QImage::Format_ARGB32_Premultiplied);
            image.setDevicePixelRatio(ratio);
            QPainter painter(&image);
            m_view->drawFlippedAndSimplifiedReportInRect(painter, QRectF(QPointF(), QSizeF(m_window->size())), false);
            painter.end();
            m_window->setImage(image);
            m_drawnRevision = m_view->revision();
        }
    }
    if (!m_window->isVisible()) {
        m_window->show();
        watchScreens(true);
    }
    m_scheduler.performAfterDelay(this, kUpdateIconOperation, kRefreshInterval, [this] { updateIcon(); });
}

void VXDesktopReport::vanish()
{
    watchScreens(false);
    m_canvases[0] = m_canvases[1] = QImage();
    if (!m_window || !m_window->isVisible() || (m_fade && m_fade->state() == QAbstractAnimation::Running))
        return;
    if (!VXStatusItemPanel::desktopComposites()) {
        m_window->hide();
        return;
    }
    if (!m_fade) {
        m_fade = new QPropertyAnimation(m_window.get(), "windowOpacity", this);
        m_fade->setDuration(kFadeMilliseconds);
        m_fade->setEndValue(0.0);
        connect(m_fade, &QPropertyAnimation::finished, this, [this] {
            if (m_window)
                m_window->hide();
        });
    }
    m_fade->setStartValue(m_window->windowOpacity());
    m_fade->start();
}
