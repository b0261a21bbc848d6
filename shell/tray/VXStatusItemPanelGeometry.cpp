#include "VXStatusItemPanelGeometry.h"

#include <algorithm>

VXPanelPlacement VXPositionPanel(const QSize &size, const QRect &available, const QRect &screen,
                                 const std::optional<QRect> &iconGeometry, const std::optional<QPoint> &clickPosition)
{
    VXPanelPlacement placement;
    // The tray's geometry when it reports one on this screen, else the click as a point-sized icon.
    std::optional<QRect> icon;
    const bool reported = iconGeometry && iconGeometry->isValid() && screen.intersects(*iconGeometry);
    if (reported)
        icon = *iconGeometry;
    else if (clickPosition && screen.contains(*clickPosition))
        icon = QRect(*clickPosition, QSize(1, 1));
    if (icon)
        placement.anchoredAtTop = icon->center().y() < available.center().y();

    // A tray bar that reserves no room of its own lies inside the available area: the panel hangs
    // below its icon (or stands above it) rather than over it.
    QRect area = available;
    if (reported && available.contains(icon->center())) {
        if (placement.anchoredAtTop)
            area.setTop(std::clamp(icon->bottom() + 1, available.top(), available.center().y()));
        else
            area.setBottom(std::clamp(icon->top() - 1, available.center().y(), available.bottom()));
    }

    placement.maximumSize = area.size();
    placement.minimumSize = VXPanelMinimumSize.boundedTo(area.size());
    const QSize fitted = size.expandedTo(placement.minimumSize).boundedTo(placement.maximumSize);
    QRect frame(QPoint(), fitted);

    if (icon) {
        frame.moveLeft(icon->left());
        placement.canResizeRight = true;
        if (frame.right() > available.right()) {
            frame.moveRight(icon->right());
            placement.canResizeRight = false;
            placement.canResizeLeft = true;
            if (frame.left() < available.left()) {
                frame.moveLeft(available.left());
                placement.canResizeRight = true;
            }
        }
        // An icon beside the available area (a tray in a side panel) still opens inside it.
        if (frame.right() > available.right())
            frame.moveRight(available.right());
        if (frame.left() < available.left())
            frame.moveLeft(available.left());
    } else {
        frame.moveRight(available.right());
        placement.canResizeLeft = true;
        placement.canResizeRight = true;
    }
    if (placement.anchoredAtTop)
        frame.moveTop(area.top());
    else
        frame.moveBottom(area.bottom());
    placement.frame = frame;
    return placement;
}

QRect VXResizedPanelFrame(const QRect &start, const QPoint &delta, VXPanelResizeHandle handle, bool anchoredAtTop,
                          const QSize &minimum, const QSize &maximum)
{
    const auto bounded = [](int value, int low, int high) { return std::max(low, std::min(value, high)); };
    const int height
        = bounded(start.height() + (anchoredAtTop ? delta.y() : -delta.y()), minimum.height(), maximum.height());
    int width = start.width();
    if (handle == VXPanelResizeHandle::Left)
        width = start.width() - delta.x();
    else if (handle == VXPanelResizeHandle::Right)
        width = start.width() + delta.x();
    width = bounded(width, minimum.width(), maximum.width());

    QRect frame(start.topLeft(), QSize(width, height));
    if (handle == VXPanelResizeHandle::Left)
        frame.moveRight(start.right());
    if (!anchoredAtTop)
        frame.moveBottom(start.bottom());
    return frame;
}
