#pragma once

// Where the tray panel opens and which of its edges may be dragged: a plain function of the
// screen's available area, the panel's size and what is known of the tray icon's place, so
// that every rule can be checked without a window.

#include <QPoint>
#include <QRect>
#include <QSize>

#include <optional>

struct VXPanelPlacement {
    QRect frame;
    QSize minimumSize;
    QSize maximumSize;
    bool canResizeLeft = false;
    bool canResizeRight = false;
    // The panel hangs from the top of the area (its top edge stays put while resizing); false
    // when the tray sits at the bottom, and the panel stands on the bottom edge instead.
    bool anchoredAtTop = true;
};

// The smallest panel.
inline constexpr QSize VXPanelMinimumSize(480, 300);

// Places a panel of `size` in `available`, the part of `screen` that panels leave free: under
// (or above) the tray icon when its geometry is known and on that screen (the tray itself
// usually lies outside the available part), else at the place of the click that opened it, else at the top right of
// the area. Left edge at the icon's left edge, resizable to the right; right-aligned with the
// icon when that crosses the area's right edge, resizable to the left; pinned to the left edge
// when that crosses the left edge too, resizable on both sides. With nothing known, right-aligned
// with the area and resizable on both sides. The size stays between the minimum and the area.
VXPanelPlacement VXPositionPanel(const QSize &size, const QRect &available, const QRect &screen,
                                 const std::optional<QRect> &iconGeometry, const std::optional<QPoint> &clickPosition);

// The part of the resize strip that was pressed.
enum class VXPanelResizeHandle { Vertical, Left, Right };

// The frame after dragging `handle` by `delta` from `start`: the anchored edge (top or bottom)
// stays, the dragged corner follows, and the size stays between `minimum` and `maximum`.
QRect VXResizedPanelFrame(const QRect &start, const QPoint &delta, VXPanelResizeHandle handle, bool anchoredAtTop,
                          const QSize &minimum, const QSize &maximum);
