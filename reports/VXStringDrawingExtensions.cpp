#include "VXStringDrawingExtensions.h"

#include "VXConfigurationKeys.h"

#include <QApplication>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QHash>
#include <QIcon>
#include <QPainter>
#include <QStyle>

#include <cmath>

namespace {

constexpr int kMeasuringSize = 20;
constexpr int kMinimumSize = 11;
constexpr double kSlack = 17.0;

QFont fontOf(int weight, int pixelSize)
{
    QFont font = QApplication::font();
    font.setWeight(QFont::Weight(weight));
    font.setPixelSize(pixelSize);
    return font;
}

int roundHalfAway(double value)
{
    return int(std::lround(value));
}

} // namespace

int scaleToFitSize(const QString &self, const QSizeF &size, int weight, qreal maximumSize, qreal *textHeight)
{
    const QFontMetricsF at20(fontOf(weight, kMeasuringSize));
    const double width20 = at20.horizontalAdvance(self);
    const double height20 = at20.height();

    int widthSize = width20 > 0.0 ? roundHalfAway(size.width() * kSlack / width20) : kMinimumSize;
    if (maximumSize > 0.0 && widthSize > maximumSize)
        widthSize = int(maximumSize);
    widthSize = std::max(widthSize, 1);
    double widthHeight = QFontMetricsF(fontOf(weight, widthSize)).height();

    int heightSize = height20 > 0.0 ? roundHalfAway(size.height() * kSlack / height20) : kMinimumSize;
    heightSize = std::max(heightSize, 1);
    const double heightHeight = QFontMetricsF(fontOf(weight, heightSize)).height();

    int chosen = widthSize;
    double chosenHeight = widthHeight;
    if (widthSize > heightSize || widthHeight > size.height()) {
        chosen = heightSize;
        chosenHeight = heightHeight;
    }
    if (chosen < kMinimumSize) {
        chosen = kMinimumSize;
        chosenHeight = QFontMetricsF(fontOf(weight, chosen)).height();
    }
    if (textHeight)
        *textHeight = chosenHeight;
    return chosen;
}

int scaleToFitAndDrawInRect(const QString &self, QPainter &painter, const QRectF &rect,
                            VXTextAttributes *attributes, int weight, const QColor *color, qreal maximumSize)
{
    static VXTextAttributes sharedAttributes;
    VXTextAttributes &a = attributes ? *attributes : sharedAttributes;
    if (self.isEmpty() || rect.width() <= 0.0)
        return 0;

    qreal textHeight = 0.0;
    const int size = scaleToFitSize(self, rect.size(), weight, maximumSize, &textHeight);
    a.font = fontOf(weight, size);
    a.color = color && color->isValid() ? *color : QColor(Qt::white);

    const QRectF textRect(rect.x(), rect.y() + std::round((rect.height() - textHeight) * 0.5), rect.width(),
                          textHeight);
    const QString shown = QFontMetricsF(a.font).elidedText(self, a.elideMode, rect.width());
    const int flags = int(a.alignment) | Qt::AlignVCenter | Qt::TextSingleLine;
    painter.save();
    painter.setFont(a.font);
    if (a.shadowColor.isValid()) {
        painter.setPen(a.shadowColor);
        painter.drawText(textRect.translated(a.shadowOffset), flags, shown);
    }
    painter.setPen(a.color);
    painter.drawText(textRect, flags, shown);
    painter.restore();
    return size;
}

QPixmap cached16Icon(const QString &self)
{
    static QHash<QString, QPixmap> cache;
    const auto found = cache.constFind(self);
    if (found != cache.constEnd())
        return *found;

    QIcon icon;
    if (self == VXWindowPathMarker) {
        icon = QIcon::fromTheme(QStringLiteral("window"));
        if (icon.isNull() && qApp)
            icon = QApplication::style()->standardIcon(QStyle::SP_TitleBarNormalButton);
    } else if (self == VXPoolPathMarker) {
        icon = QIcon::fromTheme(QStringLiteral("folder"));
        if (icon.isNull() && qApp)
            icon = QApplication::style()->standardIcon(QStyle::SP_DirIcon);
    } else if (!self.isEmpty() && QFileInfo::exists(self)) {
        icon = QFileIconProvider().icon(QFileInfo(self));
    }
    if (icon.isNull())
        return QPixmap();
    // Always 16 by 16 points, the icon fitted and centred in them, at the screen's resolution.
    const qreal dpr = qApp ? qApp->devicePixelRatio() : 1.0;
    QPixmap pixmap(QSize(16, 16) * dpr);
    pixmap.setDevicePixelRatio(dpr);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    icon.paint(&painter, QRect(0, 0, 16, 16));
    painter.end();
    cache.insert(self, pixmap);
    return pixmap;
}

QPixmap activeCached16Icon(const QString &self, bool active)
{
    if (active)
        return cached16Icon(self);
    static QHash<QString, QPixmap> cache;
    const auto found = cache.constFind(self);
    if (found != cache.constEnd())
        return *found;
    const QPixmap icon = cached16Icon(self);
    if (icon.isNull())
        return icon;
    QPixmap faded(icon.size());
    faded.setDevicePixelRatio(icon.devicePixelRatio());
    faded.fill(Qt::transparent);
    QPainter painter(&faded);
    painter.setOpacity(0.5);
    painter.drawPixmap(0, 0, icon);
    painter.end();
    cache.insert(self, faded);
    return faded;
}
