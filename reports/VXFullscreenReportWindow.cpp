#include "VXFullscreenReportWindow.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

VXFullscreenReportWindow::VXFullscreenReportWindow(QWidget *parent) :
    QWidget(parent,
            Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint | Qt::WindowDoesNotAcceptFocus
                | Qt::WindowTransparentForInput | Qt::Tool)
{
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
}

void VXFullscreenReportWindow::setImage(const QImage &image)
{
    if (image.cacheKey() == m_image.cacheKey())
        return;
    m_image = image;
    update();
}

void VXFullscreenReportWindow::fitToScreen(QScreen *screen)
{
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (screen)
        setGeometry(screen->availableGeometry());
}

void VXFullscreenReportWindow::drawOverlayInBounds(QPainter &painter, const QRectF &bounds, QWidget *view,
                                                   const VXFullscreenReportWindow *window)
{
    Q_UNUSED(view);
    if (!window || window->image().isNull())
        return;
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.setOpacity(1.0);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.drawImage(bounds, window->image());
    painter.restore();
}

void VXFullscreenReportWindow::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    QPainter painter(this);
    drawOverlayInBounds(painter, rect(), this, this);
}
