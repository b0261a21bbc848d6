#pragma once

// A window's frame as the settings keep it: "x y width height" in whole pixels, the form every
// saved frame of the program has (the report windows, the tray's panel, the preferences).

#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <QString>
#include <QStringList>

#include <algorithm>
#include <optional>

inline QString VXWindowFrameText(const QRect &frame)
{
    return QStringLiteral("%1 %2 %3 %4").arg(frame.x()).arg(frame.y()).arg(frame.width()).arg(frame.height());
}

// The frame a text stands for; nothing unless it is four whole numbers with a size that is not
// empty.
inline std::optional<QRect> VXWindowFrameFromText(const QString &text)
{
    const QStringList parts = text.split(u' ', Qt::SkipEmptyParts);
    if (parts.size() != 4)
        return std::nullopt;
    int numbers[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        numbers[i] = parts.at(i).toInt(&ok);
        if (!ok)
            return std::nullopt;
    }
    if (numbers[2] <= 0 || numbers[3] <= 0)
        return std::nullopt;
    return QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
}

// A saved frame kept within the available area of the screen under its centre (else the
// primary screen), no smaller than `minimum`: a frame saved at another scale, or on a screen that
// is gone, would otherwise open mostly off screen.
inline QRect VXClampedToScreen(QRect frame, const QSize &minimum)
{
    const QScreen *screen = QGuiApplication::screenAt(frame.center());
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    if (!screen)
        return frame;
    const QRect available = screen->availableGeometry();
    const auto fit = [](int length, int least, int room) { return std::max(least, std::min(length, room)); };
    frame.setSize(QSize(fit(frame.width(), minimum.width(), available.width()),
                        fit(frame.height(), minimum.height(), available.height())));
    const auto inside = [](int start, int length, int areaStart, int areaLength) {
        return std::max(areaStart, std::min(start, areaStart + areaLength - length));
    };
    frame.moveTopLeft(QPoint(inside(frame.x(), frame.width(), available.x(), available.width()),
                             inside(frame.y(), frame.height(), available.y(), available.height())));
    return frame;
}
