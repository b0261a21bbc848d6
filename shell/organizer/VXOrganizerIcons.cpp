#include "VXOrganizerIcons.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QHash>
#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>

#include <functional>

namespace {

// An icon drawn by a function at whatever size and pixel ratio it is asked for, so that it stays
// sharp at every scale.
class DrawnIconEngine final : public QIconEngine
{
public:
    using Draw = std::function<void(QPainter &, const QRectF &, QIcon::Mode)>;
    explicit DrawnIconEngine(Draw draw) : m_draw(std::move(draw)) { }
    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) override
    {
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        m_draw(*painter, QRectF(rect), mode);
        painter->restore();
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override
    {
        return scaledPixmap(size, mode, state, 1.0);
    }
    // Drawn once per size, scale, mode and palette: rows repaint often.
    QPixmap scaledPixmap(const QSize &size, QIcon::Mode mode, QIcon::State state, qreal scale) override
    {
        const QPalette palette = QGuiApplication::palette();
        const QString key = QStringLiteral("%1x%2@%3:%4:%5:%6")
                                .arg(size.width())
                                .arg(size.height())
                                .arg(scale)
                                .arg(int(mode))
                                .arg(palette.color(QPalette::Text).rgba())
                                .arg(palette.color(QPalette::Highlight).rgba());
        if (const auto cached = m_pixmaps.constFind(key); cached != m_pixmaps.constEnd())
            return *cached;
        QPixmap pixmap(size * scale);
        pixmap.setDevicePixelRatio(scale);
        pixmap.fill(Qt::transparent);
        {
            QPainter painter(&pixmap);
            paint(&painter, QRect(QPoint(), size), mode, state);
        }
        if (m_pixmaps.size() > 64)
            m_pixmaps.clear();
        m_pixmaps.insert(key, pixmap);
        return pixmap;
    }
    QIconEngine *clone() const override { return new DrawnIconEngine(m_draw); }

private:
    Draw m_draw;
    QHash<QString, QPixmap> m_pixmaps;
};

QIcon drawnIcon(DrawnIconEngine::Draw draw)
{
    return QIcon(new DrawnIconEngine(std::move(draw)));
}

QColor ink(QIcon::Mode mode)
{
    const QPalette palette = QGuiApplication::palette();
    return palette.color(mode == QIcon::Selected ? QPalette::HighlightedText : QPalette::Text);
}

// The "Icon=" value of a desktop entry's main group.
QString desktopEntryIconName(const QString &path)
{
    QFile file(path);
    if (!path.endsWith(QLatin1String(".desktop")) || !file.open(QIODevice::ReadOnly | QIODevice::Text))
        return QString();
    bool inMainGroup = false;
    // Entries are small; a huge file is not one.
    for (int lines = 0; !file.atEnd() && lines < 2000; ++lines) {
        const QString line = QString::fromUtf8(file.readLine(4096)).trimmed();
        if (line.startsWith(u'['))
            inMainGroup = line == QLatin1String("[Desktop Entry]");
        else if (inMainGroup && line.startsWith(QLatin1String("Icon=")))
            return line.mid(5).trimmed();
    }
    return QString();
}

}   // namespace

namespace VXOrganizerIcons {

QIcon iconForDesktopEntry(const QString &path)
{
    static QHash<QString, QIcon> cache;
    const auto cached = cache.constFind(path);
    if (cached != cache.constEnd())
        return *cached;
    QIcon icon;
    const QString name = desktopEntryIconName(path);
    if (!name.isEmpty()) {
        if (QFileInfo(name).isAbsolute())
            icon = QFileInfo::exists(name) ? QIcon(name) : QIcon();
        else
            icon = QIcon::fromTheme(name);
    }
    cache.insert(path, icon);
    return icon;
}

QIcon genericApplicationIcon()
{
    static const QIcon icon = QIcon::fromTheme(
        QStringLiteral("application-x-executable"), drawnIcon([](QPainter &p, const QRectF &r, QIcon::Mode mode) {
            // A window with a title bar: any application.
            const QRectF frame = r.adjusted(r.width() * 0.1, r.height() * 0.16, -r.width() * 0.1, -r.height() * 0.12);
            p.setPen(QPen(ink(mode), std::max(1.0, r.width() / 16.0)));
            p.setBrush(QColor(0x8a, 0x9b, 0xb0));
            p.drawRoundedRect(frame, r.width() * 0.12, r.width() * 0.12);
            p.setBrush(QColor(0xf2, 0xf4, 0xf7));
            p.drawRect(frame.adjusted(frame.width() * 0.12, frame.height() * 0.3, -frame.width() * 0.12,
                                      -frame.height() * 0.14));
        }));
    return icon;
}

QIcon windowIcon()
{
    static const QIcon icon = drawnIcon([](QPainter &p, const QRectF &r, QIcon::Mode mode) {
        const QRectF frame = r.adjusted(r.width() * 0.12, r.height() * 0.2, -r.width() * 0.12, -r.height() * 0.18);
        const QColor color = mode == QIcon::Selected ? ink(mode) : QColor(0x4a, 0x7d, 0xc4);
        p.setPen(QPen(color, std::max(1.0, r.width() / 16.0)));
        p.setBrush(Qt::NoBrush);
        p.drawRect(frame);
        p.fillRect(QRectF(frame.left(), frame.top(), frame.width(), frame.height() * 0.25), color);
    });
    return icon;
}

QIcon poolIcon()
{
    static const QIcon icon = drawnIcon([](QPainter &p, const QRectF &r, QIcon::Mode mode) {
        // Three overlapping drops gathered in a basin.
        const QColor color = mode == QIcon::Selected ? ink(mode) : QColor(0x2f, 0x8f, 0x83);
        QPainterPath basin;
        basin.moveTo(r.left() + r.width() * 0.08, r.top() + r.height() * 0.45);
        basin.quadTo(r.center().x(), r.bottom() + r.height() * 0.2, r.right() - r.width() * 0.08,
                     r.top() + r.height() * 0.45);
        basin.closeSubpath();
        p.setPen(Qt::NoPen);
        p.setBrush(color);
        p.drawPath(basin);
        p.setBrush(color.lighter(135));
        const double d = r.width() * 0.26;
        for (double x : {0.22, 0.42, 0.62})
            p.drawEllipse(QRectF(r.left() + r.width() * x - d * 0.1, r.top() + r.height() * 0.14, d, d));
    });
    return icon;
}

QIcon infoIcon(bool highlighted)
{
    static const QIcon plain = drawnIcon([](QPainter &p, const QRectF &r, QIcon::Mode mode) {
        const QColor color = ink(mode);
        p.setPen(QPen(color, std::max(1.0, r.width() / 14.0)));
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(r.adjusted(1, 1, -1, -1));
        QFont font;
        font.setBold(true);
        font.setPixelSize(std::max(6, int(r.height() * 0.7)));
        p.setFont(font);
        p.drawText(r, Qt::AlignCenter, QStringLiteral("i"));
    });
    static const QIcon marked = drawnIcon([](QPainter &p, const QRectF &r, QIcon::Mode mode) {
        const QColor fill = mode == QIcon::Selected ? ink(mode) : QGuiApplication::palette().color(QPalette::Highlight);
        p.setPen(Qt::NoPen);
        p.setBrush(fill);
        p.drawEllipse(r.adjusted(0.5, 0.5, -0.5, -0.5));
        QFont font;
        font.setBold(true);
        font.setPixelSize(std::max(6, int(r.height() * 0.7)));
        p.setFont(font);
        p.setPen(mode == QIcon::Selected ? QGuiApplication::palette().color(QPalette::Highlight) : QColor(Qt::white));
        p.drawText(r, Qt::AlignCenter, QStringLiteral("i"));
    });
    return highlighted ? marked : plain;
}

QIcon iconForItem(const VXDictionary &item)
{
    const QString &path = item.value(VXPathKey).stringRef();
    if (boolForKey(item, VXMatchAnyApplicationKey))
        return genericApplicationIcon();
    if (path == VXPoolPathMarker)
        return poolIcon();
    if (path == VXWindowPathMarker)
        return windowIcon();
    const QIcon icon = iconForDesktopEntry(path);
    return icon.isNull() ? genericApplicationIcon() : icon;
}

}   // namespace VXOrganizerIcons
