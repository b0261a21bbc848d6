#include "VXReportBottomBar.h"

#include "VXChameleonDatePicker.h"
#include "VXMainController.h"
#include "VXUserDefaults.h"

#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QResizeEvent>

#include <algorithm>

namespace {

QColor white(qreal level, qreal opacity = 1.0)
{
    return QColor::fromRgbF(float(level), float(level), float(level), float(opacity));
}

}   // namespace

VXReportBottomBar::VXReportBottomBar(QWidget *parent) : QWidget(parent)
{
    setFixedHeight(kHeight);
}

void VXReportBottomBar::setInsidePanel(bool insidePanel)
{
    if (insidePanel == m_insidePanel)
        return;
    m_insidePanel = insidePanel;
    update();
}

VXReportBottomBar::Gradient VXReportBottomBar::gradientForScheme(qint64 colorScheme, bool floating)
{
    // Made once each: they are drawn on every repaint of every report.
    static const Gradient light {white(0.93), white(0.98)};
    static const Gradient normal {white(1.0, 0.1), white(1.0, 0.6)};
    static const Gradient floatingFlat {white(0.85), white(0.95)};
    static const Gradient floatingRaised {white(0.7), white(0.95)};
    if (colorScheme == 2)
        return light;
    if (!floating)
        return normal;
    return VXChameleonDatePicker::kDrawsFlatInterface ? floatingFlat : floatingRaised;
}

VXReportBottomBar::Gradient VXReportBottomBar::currentGradient() const
{
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    const qint64 scheme = defaults ? defaults->integerForKey(VXColorSchemeKey) : 0;
    // (The tray's panel stays on top of the windows, but the report in it does not float.)
    const bool floating = !m_insidePanel && window() && window()->windowFlags().testFlag(Qt::WindowStaysOnTopHint);
    return gradientForScheme(scheme, floating);
}

void VXReportBottomBar::paintEvent(QPaintEvent *event)
{
    Q_UNUSED(event);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF bounds = rect();
    if (!m_insidePanel) {
        // Square top corners, rounded bottom corners, as the window's bezel.
        QPainterPath bezel;
        const qreal r = kCornerRadius;
        bezel.moveTo(bounds.topLeft());
        bezel.lineTo(bounds.topRight());
        bezel.lineTo(bounds.right(), bounds.bottom() - r);
        bezel.quadTo(bounds.bottomRight(), QPointF(bounds.right() - r, bounds.bottom()));
        bezel.lineTo(bounds.left() + r, bounds.bottom());
        bezel.quadTo(bounds.bottomLeft(), QPointF(bounds.left(), bounds.bottom() - r));
        bezel.closeSubpath();
        painter.setClipPath(bezel);
    }
    const Gradient colors = currentGradient();
    QLinearGradient gradient(bounds.bottomLeft(), bounds.topLeft());
    gradient.setColorAt(0.0, colors.bottom);
    gradient.setColorAt(1.0, colors.top);
    painter.fillRect(bounds, gradient);
}

void VXReportBottomBar::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    const int reference = m_referenceWidth >= 0 ? m_referenceWidth : event->oldSize().width();
    m_referenceWidth = event->size().width();
    const int delta = reference < 0 ? 0 : event->size().width() - reference;
    if (delta == 0)
        return;
    for (QObject *child : children()) {
        auto *widget = qobject_cast<QWidget *>(child);
        if (widget && widget->property(kAnchoredRightProperty).toBool())
            widget->move(widget->pos() + QPoint(delta, 0));
    }
}

QSize VXReportBottomBar::minimumSizeHint() const
{
    // The right group keeps its distance to the right edge of the width it was laid out for.
    const int laidOutWidth = m_referenceWidth >= 0 ? m_referenceWidth : width();
    int leftGroupEnd = 0;
    int rightGroupExtent = 0;
    for (const QObject *child : children()) {
        const auto *widget = qobject_cast<const QWidget *>(child);
        if (!widget || widget->isHidden())
            continue;
        if (widget->property(kAnchoredRightProperty).toBool())
            rightGroupExtent = std::max(rightGroupExtent, laidOutWidth - widget->x());
        else
            leftGroupEnd = std::max(leftGroupEnd, widget->x() + widget->width());
    }
    return QSize(leftGroupEnd + kGroupGap + rightGroupExtent, kHeight);
}

void VXReportBottomBar::childEvent(QChildEvent *event)
{
    QWidget::childEvent(event);
    if (event->added() && event->child()->isWidgetType())
        event->child()->installEventFilter(this);
    if (event->added() || event->removed())
        updateGeometry();
}

bool VXReportBottomBar::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::ShowToParent:
    case QEvent::HideToParent: updateGeometry(); break;
    default: break;
    }
    return QWidget::eventFilter(watched, event);
}
