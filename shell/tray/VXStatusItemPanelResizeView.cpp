#include "VXStatusItemPanelResizeView.h"

#include <QCursor>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace {

// A diagonal double arrow, black with a white outline so that it reads on any background;
// `rising` points to the top right and the bottom left. Hot spot in its middle.
QCursor diagonalCursor(bool rising)
{
    static const auto make = [](bool up) {
        QPixmap pixmap(16, 16);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        QPainterPath path;
        path.moveTo(2, 2);
        path.lineTo(8, 2);
        path.lineTo(2, 8);
        path.closeSubpath();
        path.moveTo(14, 14);
        path.lineTo(8, 14);
        path.lineTo(14, 8);
        path.closeSubpath();
        path.moveTo(3.5, 3.5);
        path.lineTo(12.5, 12.5);
        if (up) {
            painter.translate(16, 0);
            painter.scale(-1, 1);
        }
        painter.strokePath(path, QPen(Qt::white, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.fillPath(path, Qt::black);
        painter.strokePath(path, QPen(Qt::black, 1.2));
        return QCursor(pixmap, 8, 8);
    };
    static const QCursor risingCursor = make(true);
    static const QCursor fallingCursor = make(false);
    return rising ? risingCursor : fallingCursor;
}

}   // namespace

VXStatusItemPanelResizeView::VXStatusItemPanelResizeView(QWidget *parent) : QWidget(parent)
{
    setMouseTracking(true);
    setFixedHeight(kStripHeight);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setAccessibleName(tr("Resize"));
}

QSize VXStatusItemPanelResizeView::sizeHint() const
{
    return QSize(2 * kHandleWidth, kStripHeight);
}

void VXStatusItemPanelResizeView::setResizableEdges(bool left, bool right, bool anchoredAtTop)
{
    m_canResizeLeft = left;
    m_canResizeRight = right;
    m_anchoredAtTop = anchoredAtTop;
    updateCursor(mapFromGlobal(QCursor::pos()));
    update();
}

VXPanelResizeHandle VXStatusItemPanelResizeView::handleAt(const QPoint &position) const
{
    if (m_canResizeLeft && position.x() < kHandleWidth)
        return VXPanelResizeHandle::Left;
    if (m_canResizeRight && position.x() >= width() - kHandleWidth)
        return VXPanelResizeHandle::Right;
    return VXPanelResizeHandle::Vertical;
}

void VXStatusItemPanelResizeView::updateCursor(const QPoint &position)
{
    switch (handleAt(position)) {
    // At the bottom the left corner moves along the rising diagonal; at the top the right one.
    case VXPanelResizeHandle::Left: setCursor(diagonalCursor(m_anchoredAtTop)); break;
    case VXPanelResizeHandle::Right: setCursor(diagonalCursor(!m_anchoredAtTop)); break;
    case VXPanelResizeHandle::Vertical: setCursor(Qt::SizeVerCursor); break;
    }
}

void VXStatusItemPanelResizeView::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor grip = palette().color(QPalette::WindowText);
    grip.setAlphaF(0.35);
    painter.setPen(Qt::NoPen);
    painter.setBrush(grip);
    // Three dots in each corner that moves, and a short bar in the middle.
    const qreal y = height() / 2.0;
    const auto dots = [&](qreal centre) {
        for (int i = -1; i <= 1; ++i)
            painter.drawEllipse(QPointF(centre + 5 * i, y), 1.3, 1.3);
    };
    if (m_canResizeLeft)
        dots(kHandleWidth / 2.0);
    if (m_canResizeRight)
        dots(width() - kHandleWidth / 2.0);
    painter.drawRoundedRect(QRectF(width() / 2.0 - 12, y - 1, 24, 2), 1, 1);
}

void VXStatusItemPanelResizeView::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return QWidget::mousePressEvent(event);
    m_resizing = true;
    m_handle = handleAt(event->position().toPoint());
    m_pressPosition = event->globalPosition().toPoint();
    m_startFrame = window()->geometry();
}

void VXStatusItemPanelResizeView::mouseMoveEvent(QMouseEvent *event)
{
    if (!m_resizing)
        return updateCursor(event->position().toPoint());
    QWidget *panel = window();
    panel->setGeometry(VXResizedPanelFrame(m_startFrame, event->globalPosition().toPoint() - m_pressPosition, m_handle,
                                           m_anchoredAtTop, panel->minimumSize(), panel->maximumSize()));
}

void VXStatusItemPanelResizeView::mouseReleaseEvent(QMouseEvent *event)
{
    if (!m_resizing || event->button() != Qt::LeftButton)
        return QWidget::mouseReleaseEvent(event);
    mouseMoveEvent(event);
    m_resizing = false;
    Q_EMIT resizeFinished();
}
