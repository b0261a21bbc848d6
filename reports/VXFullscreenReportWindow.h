#pragma once

// The desktop report: a frameless window kept below all others over the screen's available
// area, showing one image (a rendering of the live report) scaled to its size. It takes neither
// focus nor input. The application controller renders the image and sets it.

#include <QImage>
#include <QWidget>

class QPainter;
class QScreen;

class VXFullscreenReportWindow : public QWidget
{
    Q_OBJECT
public:
    explicit VXFullscreenReportWindow(QWidget *parent = nullptr);

    const QImage &image() const { return m_image; }
    // Nothing for the same image; otherwise replaces it and schedules a redraw.
    void setImage(const QImage &image);

    // Covers the screen's available area (the primary screen when none is given).
    void fitToScreen(QScreen *screen = nullptr);

    // Draws the window's image, if it has one, scaled into `bounds`, replacing what was there
    // (copy compositing at full opacity). `view` is the widget being drawn.
    static void drawOverlayInBounds(QPainter &painter, const QRectF &bounds, QWidget *view,
                                    const VXFullscreenReportWindow *window);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QImage m_image;
};
