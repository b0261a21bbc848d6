#include "VXApplicationIcon.h"

#include "VXReportsLogging.h"

#include <QPainter>
#include <QPixmap>
#include <QSvgRenderer>

namespace {

const QString kIconResource = QStringLiteral(":/icons/wendle.svg");

// Sizes desktops ask for: menus and trays, taskbars, window switchers, large previews.
constexpr int kIconSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

QSvgRenderer &renderer()
{
    static QSvgRenderer picture(kIconResource);
    static const bool reported = [] {
        if (!picture.isValid())
            qCWarning(lcReports, "cannot draw the program's icon from <%s>", qPrintable(kIconResource));
        return true;
    }();
    Q_UNUSED(reported);
    return picture;
}

QIcon makeIcon(bool greyScale)
{
    QIcon icon;
    for (int size : kIconSizes) {
        const QImage image = applicationIconImage(size, greyScale);
        if (image.isNull())
            return QIcon();
        icon.addPixmap(QPixmap::fromImage(image));
    }
    return icon;
}

}   // namespace

QImage applicationIconImage(int pixels, bool greyScale)
{
    QSvgRenderer &picture = renderer();
    if (!picture.isValid() || pixels <= 0)
        return QImage();
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    picture.render(&painter);
    painter.end();
    if (greyScale) {
        // Each pixel's grey level, its opacity kept (premultiplied channels stay premultiplied).
        for (int y = 0; y < image.height(); ++y) {
            auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                const int grey = qGray(line[x]);
                line[x] = qRgba(grey, grey, grey, qAlpha(line[x]));
            }
        }
    }
    return image;
}

QIcon applicationIcon(bool greyScale)
{
    static const QIcon colour = makeIcon(false);
    static const QIcon grey = makeIcon(true);
    return greyScale ? grey : colour;
}
