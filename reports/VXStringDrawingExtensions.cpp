#include "VXStringDrawingExtensions.h"

#include "VXConfigurationKeys.h"

#include <QApplication>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QFontMetricsF>
#include <QHash>
#include <QIcon>
#include <QPainter>
#include <QStaticText>
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

}   // namespace

QString labelTextVisibleInWidth(const QString &self, qreal width)
{
    // Two UTF-16 units per pixel leave room for characters outside the basic plane.
    const qsizetype limit = 2 * qsizetype(std::ceil(std::max<qreal>(width, 0.0))) + 2;
    if (self.size() <= limit)
        return self;
    const qsizetype length = self.at(limit - 1).isHighSurrogate() ? limit - 1 : limit;
    return self.left(length);
}

int scaleToFitSize(const QString &whole, const QSizeF &size, int weight, qreal maximumSize, qreal *textHeight)
{
    const QString self = labelTextVisibleInWidth(whole, size.width());
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

namespace {

// A label as fitted to a rectangle: its size, line height, the text as cut to the width and laid
// out once. Reports draw the same labels on every redraw (a moving mouse, scrolling), so fitted
// labels are kept, up to a bound, until the application's font changes.
struct FittedLabel {
    int size = 0;
    qreal textHeight = 0.0;
    qreal width = 0.0;
    QFont font;
    QStaticText text;
};

const FittedLabel &fittedLabel(const QString &self, const QSizeF &size, int weight, qreal maximumSize,
                               Qt::TextElideMode elideMode)
{
    static QHash<QString, FittedLabel> cache;
    static QFont applicationFont;
    constexpr qsizetype kMaximumCount = 2048;
    const QFont currentFont = QApplication::font();
    if (!(currentFont == applicationFont)) {
        cache.clear();
        applicationFont = currentFont;
    }
    QString key = self;
    key.append(QChar(0x1F)).append(QString::number(qRound(size.width() * 64.0)));
    key.append(QChar(0x1F)).append(QString::number(qRound(size.height() * 64.0)));
    key.append(QChar(0x1F)).append(QString::number(weight));
    key.append(QChar(0x1F)).append(QString::number(qRound(maximumSize * 64.0)));
    key.append(QChar(0x1F)).append(QString::number(int(elideMode)));
    const auto found = cache.constFind(key);
    if (found != cache.constEnd())
        return *found;

    if (cache.size() >= kMaximumCount)
        cache.clear();
    FittedLabel label;
    label.size = scaleToFitSize(self, size, weight, maximumSize, &label.textHeight);
    label.font = fontOf(weight, label.size);
    const QFontMetricsF metrics(label.font);
    const QString shown = metrics.elidedText(self, elideMode, size.width());
    label.width = metrics.horizontalAdvance(shown);
    label.text.setText(shown);
    label.text.setTextFormat(Qt::PlainText);
    label.text.setPerformanceHint(QStaticText::AggressiveCaching);
    label.text.prepare(QTransform(), label.font);
    return *cache.insert(key, label);
}

}   // namespace

int scaleToFitAndDrawInRect(const QString &whole, QPainter &painter, const QRectF &rect, VXTextAttributes *attributes,
                            int weight, const QColor *color, qreal maximumSize)
{
    static VXTextAttributes sharedAttributes;
    VXTextAttributes &a = attributes ? *attributes : sharedAttributes;
    if (whole.isEmpty() || rect.width() <= 0.0)
        return 0;
    const QString self = labelTextVisibleInWidth(whole, rect.width());

    const FittedLabel &label = fittedLabel(self, rect.size(), weight, maximumSize, a.elideMode);
    a.font = label.font;
    a.color = color && color->isValid() ? *color : QColor(Qt::white);

    qreal x = rect.x();
    if (a.alignment & Qt::AlignHCenter)
        x += (rect.width() - label.width) / 2.0;
    else if (a.alignment & Qt::AlignRight)
        x += rect.width() - label.width;
    const QPointF origin(x, rect.y() + std::round((rect.height() - label.textHeight) * 0.5));
    painter.save();
    painter.setFont(a.font);
    if (a.shadowColor.isValid()) {
        painter.setPen(a.shadowColor);
        painter.drawStaticText(origin + a.shadowOffset, label.text);
    }
    painter.setPen(a.color);
    painter.drawStaticText(origin, label.text);
    painter.restore();
    return label.size;
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
