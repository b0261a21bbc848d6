#include "VXPieCell.h"

#include "VXColorExtensions.h"
#include "VXItemListModel.h"

#include <QApplication>
#include <QPainter>

namespace {

constexpr int kPieSize = 16;
constexpr int kGap = 4;

}   // namespace

void VXPieCell::drawPie(QPainter &painter, const QRectF &rect, double fraction, const QColor &color)
{
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF disc = rect.adjusted(1, 1, -1, -1);
    QColor rim = color;
    rim.setAlphaF(0.75f);
    painter.setPen(QPen(rim, 1.0));
    QColor well = color;
    well.setAlphaF(0.12f);
    painter.setBrush(well);
    painter.drawEllipse(disc);
    if (fraction >= 0.999) {
        painter.setBrush(color);
        painter.drawEllipse(disc);
    } else if (fraction > 0.0) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(color);
        // From twelve o'clock, clockwise.
        painter.drawPie(disc, 90 * 16, -int(fraction * 360 * 16));
    }
    painter.restore();
}

void VXPieCell::paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    if (index.data(VXItemListModel::IsHeaderRole).toBool())
        opt.state |= QStyle::State_Enabled;
    QStyle *style = opt.widget ? opt.widget->style() : QApplication::style();
    const bool selected = opt.state & QStyle::State_Selected;
    const QVariant fraction = index.data(VXItemListModel::PieFractionRole);

    painter->save();
    style->drawPrimitive(QStyle::PE_PanelItemViewItem, &opt, painter, opt.widget);
    if (index.data(VXItemListModel::DimmedRole).toBool() && !selected)
        painter->setOpacity(0.5);
    QRect textRect = opt.rect.adjusted(kGap, 0, -kGap, 0);
    if (fraction.isValid()) {
        const QRectF pie(opt.rect.left() + kGap, opt.rect.center().y() - kPieSize / 2.0 + 0.5, kPieSize, kPieSize);
        drawPie(*painter, pie, fraction.toDouble(),
                selected ? QColor(Qt::white) : activePieColor(currentColorScheme()));
        textRect.setLeft(int(pie.right()) + kGap);
    }
    painter->setFont(opt.font);
    painter->setPen(opt.palette.color(opt.state & QStyle::State_Enabled ? QPalette::Normal : QPalette::Disabled,
                                      selected ? QPalette::HighlightedText : QPalette::Text));
    painter->drawText(textRect, Qt::AlignRight | Qt::AlignVCenter, textToDraw(opt.font, opt.text, textRect.width()));
    painter->restore();
}

int VXPieCell::widthBesidesText()
{
    return kGap + kPieSize + kGap + kGap;
}

QString VXPieCell::textToDraw(const QFont &font, const QString &text, int width) const
{
    // A duration nearly always fits: eliding would shape the text for nothing.
    const QFontMetrics metrics(font);
    return fitsUnelided(font, metrics, text, width) ? text : metrics.elidedText(text, Qt::ElideLeft, width);
}

bool VXPieCell::fitsUnelided(const QFont &font, const QFontMetrics &metrics, const QString &text, int width) const
{
    // Rows are drawn in a plain and a bold font: one set of advances for each, the older one
    // given up for a third font.
    Advances *advances = nullptr;
    for (Advances &known : m_advances) {
        if (known.measured && known.font == font)
            advances = &known;
    }
    if (!advances) {
        advances = &m_advances[m_nextAdvances];
        m_nextAdvances = (m_nextAdvances + 1) % m_advances.size();
        advances->font = font;
        advances->measured = true;
        advances->byUnit.fill(-1);
        advances->widest = 0;
    }
    // The characters' advances added up, and the widest one measured in this font to spare
    // for kerning; a character beyond ASCII is left to eliding.
    int sum = 0;
    for (const QChar character : text) {
        const char16_t unit = character.unicode();
        if (unit >= advances->byUnit.size())
            return false;
        int &advance = advances->byUnit[unit];
        if (advance < 0) {
            advance = metrics.horizontalAdvance(character);
            advances->widest = std::max(advances->widest, advance);
        }
        sum += advance;
    }
    return sum + advances->widest <= width;
}

QSize VXPieCell::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const
{
    QStyleOptionViewItem opt = option;
    initStyleOption(&opt, index);
    const int width = kGap + kPieSize + kGap + opt.fontMetrics.horizontalAdvance(opt.text) + kGap;
    return QSize(width, std::max(opt.fontMetrics.height(), kPieSize) + 4);
}
