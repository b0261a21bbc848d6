#pragma once

// The strip along the panel's free edge that resizes it: a handle at each end for the corners
// that may move (with drawn diagonal cursors), the rest resizes the height only. The frame is
// saved under the panel's autosave name when the drag ends.

#include "VXStatusItemPanelGeometry.h"

#include <QWidget>

class VXStatusItemPanelResizeView : public QWidget
{
    Q_OBJECT
public:
    // The width of each corner handle.
    static constexpr int kHandleWidth = 32;
    static constexpr int kStripHeight = 10;

    explicit VXStatusItemPanelResizeView(QWidget *parent = nullptr);

    bool canResizeLeft() const { return m_canResizeLeft; }
    bool canResizeRight() const { return m_canResizeRight; }
    bool isResizing() const { return m_resizing; }
    // Which corners may move, and which edge of the panel stays (the strip is at the other).
    void setResizableEdges(bool left, bool right, bool anchoredAtTop);

    // The handle under a point of the strip.
    VXPanelResizeHandle handleAt(const QPoint &position) const;

    QSize sizeHint() const override;

Q_SIGNALS:
    // The drag ended: the panel keeps its new frame.
    void resizeFinished();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    void updateCursor(const QPoint &position);

    bool m_canResizeLeft = false;
    bool m_canResizeRight = false;
    bool m_anchoredAtTop = true;
    bool m_resizing = false;
    VXPanelResizeHandle m_handle = VXPanelResizeHandle::Vertical;
    QPoint m_pressPosition;
    QRect m_startFrame;
};
