#pragma once

// The bar under a report: the begin and end date controls and the View button on a vertical
// gradient that depends on the colour scheme and on whether the window floats. In a window its
// bottom corners follow the window's rounded bezel; inside the tray panel it is a plain band.
// Children with the property "anchoredRight" set keep their distance to the bar's right edge
// when the bar is resized (the others keep theirs to the left edge). The bar is never narrower
// than its two groups of children side by side with a gap between them (its minimum size hint
// follows them as they move and resize), so the right group cannot slide over the left one.

#include <QColor>
#include <QWidget>

class VXReportBottomBar : public QWidget
{
    Q_OBJECT
    // The width for which the children's places were laid out.
    Q_PROPERTY(int referenceWidth READ referenceWidth WRITE setReferenceWidth)
public:
    // The bar's fixed height, the window's bottom border.
    static constexpr int kHeight = 39;
    // The radius of the bezel's bottom corners.
    static constexpr qreal kCornerRadius = 4.0;
    // The name of the dynamic property that anchors a child at the right edge.
    static constexpr char kAnchoredRightProperty[] = "anchoredRight";
    // The least room between the left-anchored and the right-anchored children.
    static constexpr int kGroupGap = 12;

    explicit VXReportBottomBar(QWidget *parent = nullptr);

    // True while the bar is shown in the tray panel (no bezel outline).
    bool isInsidePanel() const { return m_insidePanel; }
    int referenceWidth() const { return m_referenceWidth; }
    void setReferenceWidth(int width) { m_referenceWidth = width; }
    void setInsidePanel(bool insidePanel);

    // The gradient's colours from the bottom edge to the top edge, for a colour scheme and a
    // window that floats or not.
    struct Gradient {
        QColor bottom;
        QColor top;
    };
    static Gradient gradientForScheme(qint64 colorScheme, bool floating);

    // What this bar draws now: the scheme in the settings and its window's level.
    Gradient currentGradient() const;

    // Wide enough for the children as they now stand, without overlap.
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void childEvent(QChildEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_insidePanel = false;
    int m_referenceWidth = -1;
};
