#pragma once

// A window's frame as the settings keep it: "x y width height" in whole pixels, the form every
// saved frame of the program has (the report windows, the tray's panel, the preferences).

#include <QRect>
#include <QString>
#include <QStringList>

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
