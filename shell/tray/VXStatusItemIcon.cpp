#include "VXStatusItemIcon.h"

#include "VXApplicationIcon.h"

#include <QFile>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QSvgRenderer>

namespace {

const QString kReportImage = QStringLiteral("Report");
const QString kHibernateSuffix = QStringLiteral("Hibernate");
const QString kInvertedSuffix = QStringLiteral("Inverted");
// The drawings are designed on an 18-point square.
constexpr qreal kDesignSize = 18.0;

const QColor kTemplateBlack(0x1a, 0x1a, 0x1a);
const QColor kTemplateWhite(Qt::white);
const QColor kTemplateRed(0xd0, 0x26, 0x1c);
const QColor kTemplateGrey(0x8c, 0x8c, 0x8c);

QString imageBaseName(int style)
{
    switch (style) {
    case 2: return kReportImage;
    case 101: return QStringLiteral("Menu");
    case 102: return QStringLiteral("MenuReport");
    case 111: return QStringLiteral("MenuSimple");
    case 112: return QStringLiteral("MenuSimpleReport");
    case 121: return QStringLiteral("MenuQuince");
    case 122: return QStringLiteral("MenuQuinceReport");
    default: return QString();
    }
}

// Style 11: a stopwatch whose face is filled with the time gone by.
void drawStopwatch(QPainter &painter, const QColor &color)
{
    painter.setPen(QPen(color, 1.6));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(9, 10), 6.6, 6.6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(7.5, 1, 3, 1.8), 0.6, 0.6);
    painter.drawRoundedRect(QRectF(14.1, 3.1, 1.8, 2.6), 0.5, 0.5);
    QPainterPath wedge;
    wedge.moveTo(9, 10);
    wedge.arcTo(QRectF(9 - 4.4, 10 - 4.4, 8.8, 8.8), 90, -130);
    wedge.closeSubpath();
    painter.drawPath(wedge);
}

// Style 12: the stopwatch's ring around the rows of a report.
void drawStopwatchReport(QPainter &painter, const QColor &color)
{
    painter.setPen(QPen(color, 1.6));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(QPointF(9, 10), 6.6, 6.6);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawRoundedRect(QRectF(7.5, 1, 3, 1.8), 0.6, 0.6);
    painter.drawRoundedRect(QRectF(5.2, 6.9, 6.6, 1.7), 0.85, 0.85);
    painter.drawRoundedRect(QRectF(7.2, 9.2, 5.6, 1.7), 0.85, 0.85);
    painter.drawRoundedRect(QRectF(5.2, 11.5, 4.4, 1.7), 0.85, 0.85);
}

QImage greyScale(QImage image)
{
    image = image.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int grey = qGray(line[x]);
            line[x] = qRgba(grey, grey, grey, qAlpha(line[x]));
        }
    }
    return image;
}

}   // namespace

int VXResolvedStatusItemIconStyle(int style, bool reporting)
{
    if (style % 10 == 0 && style >= 0 && style <= 120)
        style += reporting ? 2 : 1;
    switch (style) {
    case 1:
    case 2:
    case 11:
    case 12:
    case 101:
    case 102:
    case 111:
    case 112:
    case 121:
    case 122: return style;
    default: return 11;
    }
}

QString VXStatusItemImageName(const VXStatusItemIconState &state)
{
    const int style = VXResolvedStatusItemIconStyle(state.style, state.reporting);
    QString name = imageBaseName(style);
    if (name.isEmpty() || style == 2)
        return name;
    if (state.hibernating)
        return name + kHibernateSuffix;
    if (style >= 111 && (state.darkPanel || state.highlighted))
        return name + kInvertedSuffix;
    return name;
}

QColor VXStatusItemTemplateColor(const VXStatusItemIconState &state)
{
    if (state.darkPanel || state.highlighted)
        return kTemplateWhite;
    if (state.hibernating)
        return state.deepHibernation ? kTemplateRed : kTemplateGrey;
    return kTemplateBlack;
}

bool VXPaletteIsDark(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() < 0.5;
}

QImage VXNamedStatusImage(const QString &name, int pixels)
{
    const QString path = QStringLiteral(":/status-item/%1.svg").arg(name);
    if (name.isEmpty() || !QFile::exists(path))
        return QImage();
    QSvgRenderer renderer(path);
    if (!renderer.isValid())
        return QImage();
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter, QRectF(0, 0, pixels, pixels));
    return image;
}

QImage VXStatusItemImage(const VXStatusItemIconState &state, int points, qreal devicePixelRatio)
{
    const int pixels = qRound(points * devicePixelRatio);
    const int style = VXResolvedStatusItemIconStyle(state.style, state.reporting);
    QImage image;
    if (style == 1) {
        image = applicationIconImage(pixels);
    } else if (style == 2) {
        // The report picture is a little smaller than the others (16 of 18 points), centred.
        const int inner = qRound(pixels * 16.0 / kDesignSize);
        QImage report = VXNamedStatusImage(kReportImage, inner);
        if (state.hibernating)
            report = greyScale(report);
        image = QImage(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.drawImage(QPoint((pixels - inner) / 2, (pixels - inner) / 2), report);
    } else if (style == 11 || style == 12) {
        image = QImage(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(pixels / kDesignSize, pixels / kDesignSize);
        (style == 11 ? drawStopwatch : drawStopwatchReport)(painter, VXStatusItemTemplateColor(state));
    } else {
        image = VXNamedStatusImage(VXStatusItemImageName(state), pixels);
    }
    if (!image.isNull())
        image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

QIcon VXStatusItemIcon(const VXStatusItemIconState &state)
{
    QIcon icon;
    for (const int points : {16, 22, 24, 32}) {
        for (const qreal ratio : {1.0, 2.0})
            icon.addPixmap(QPixmap::fromImage(VXStatusItemImage(state, points, ratio)));
    }
    return icon;
}
