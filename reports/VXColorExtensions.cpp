#include "VXColorExtensions.h"

#include "VXMainController.h"
#include "VXUserDefaults.h"

#include <QGuiApplication>
#include <QPalette>

int currentColorScheme()
{
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    return defaults ? int(defaults->integerForKey(VXColorSchemeKey)) : VXColorSchemeOriginal;
}

QColor alternateSelectedControlColor()
{
    QColor color = QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight);
    color.setAlpha(255);
    return color;
}

QColor selectedControlColor()
{
    // The tint of a selected control over a light background: a third of the highlight.
    const QColor highlight = alternateSelectedControlColor();
    const auto tint = [](int channel) { return (channel + 2 * 255) / 3; };
    return QColor(tint(highlight.red()), tint(highlight.green()), tint(highlight.blue()));
}

std::array<double, 3> activePieColorComponents()
{
    std::array<double, 3> components {0.6, 0.4, 0.6};
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    if (!defaults)
        return components;
    const VXArray *stored = defaults->arrayForKey(kPieColorComponentsKey);
    if (!stored || stored->size() != 3)
        return components;
    std::array<double, 3> read {};
    for (std::size_t i = 0; i < 3; ++i) {
        if (!stored->at(i).isNumber())
            return components;
        read[i] = stored->at(i).toDouble();
    }
    return read;
}

QColor activePieColor(int colorScheme)
{
    if (colorScheme == VXColorSchemeLight || colorScheme == VXColorSchemeDark)
        return alternateSelectedControlColor();
    static const QColor pieColor = [] {
        const std::array<double, 3> c = activePieColorComponents();
        const auto unit = [](double v) { return float(v < 0.0 ? 0.0 : v > 1.0 ? 1.0 : v); };
        return QColor::fromRgbF(unit(c[0]), unit(c[1]), unit(c[2]), 1.0f);
    }();
    return pieColor;
}

QColor activePieColor()
{
    return activePieColor(currentColorScheme());
}
