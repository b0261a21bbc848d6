#include "VXColorExtensions.h"

#include "VXMainController.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QGuiApplication>
#include <QPalette>
#include <QStyle>

#include <algorithm>
#include <cmath>

namespace {

double linearChannel(double channel)
{
    return channel <= 0.04045 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

// The colour as it shows through a white veil of that opacity.
QColor underWhiteVeil(const QColor &color, double opacity)
{
    const auto veiled = [opacity](float channel) { return float(channel * (1.0 - opacity) + opacity); };
    const QColor rgb = color.toRgb();
    return QColor::fromRgbF(veiled(rgb.redF()), veiled(rgb.greenF()), veiled(rgb.blueF()));
}

// The relative luminance of an opaque colour (sRGB), from 0 for black to 1 for white.
double relativeLuminance(const QColor &color)
{
    const QColor rgb = color.toRgb();
    return 0.2126 * linearChannel(rgb.redF()) + 0.7152 * linearChannel(rgb.greenF())
        + 0.0722 * linearChannel(rgb.blueF());
}

// The contrast ratio of two opaque colours: 1 for the same luminance, 21 for black on white.
double contrastRatio(const QColor &a, const QColor &b)
{
    const double la = relativeLuminance(a);
    const double lb = relativeLuminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

// Whether a palette draws dark text on a light window.
bool isLightPalette(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightnessF() > palette.color(QPalette::WindowText).lightnessF();
}

QColor grey(int level)
{
    return QColor(level, level, level);
}

// Dark greys in the report's own tones (its background is white 0.1), light text.
QPalette darkPalette(const QPalette &theme)
{
    QPalette palette;
    const struct {
        QPalette::ColorRole role;
        QColor active;
        QColor disabled;
    } roles[] = {
        {QPalette::Window, grey(0x1f), grey(0x1f)},         {QPalette::WindowText, grey(0xe8), grey(0x80)},
        {QPalette::Base, grey(0x2a), grey(0x22)},           {QPalette::AlternateBase, grey(0x33), grey(0x2a)},
        {QPalette::Text, grey(0xe8), grey(0x80)},           {QPalette::PlaceholderText, grey(0x90), grey(0x70)},
        {QPalette::Button, grey(0x38), grey(0x2a)},         {QPalette::ButtonText, grey(0xe8), grey(0x80)},
        {QPalette::BrightText, Qt::white, Qt::white},       {QPalette::Light, grey(0x55), grey(0x45)},
        {QPalette::Midlight, grey(0x45), grey(0x38)},       {QPalette::Mid, grey(0x2d), grey(0x2d)},
        {QPalette::Dark, grey(0x18), grey(0x18)},           {QPalette::Shadow, grey(0x05), grey(0x05)},
        {QPalette::ToolTipBase, grey(0x38), grey(0x38)},    {QPalette::ToolTipText, grey(0xe8), grey(0xe8)},
        {QPalette::HighlightedText, Qt::white, grey(0xc0)},
    };
    for (const auto &entry : roles) {
        palette.setColor(QPalette::Active, entry.role, entry.active);
        palette.setColor(QPalette::Inactive, entry.role, entry.active);
        palette.setColor(QPalette::Disabled, entry.role, entry.disabled);
    }
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        palette.setColor(group, QPalette::Highlight, theme.color(group, QPalette::Highlight));
        palette.setColor(group, QPalette::Link, theme.color(group, QPalette::Link).lighter(150));
    }
    return palette;
}

}   // namespace

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

QColor darkenedForContrast(const QColor &color, const QColor &background, double ratio, double veilOpacity)
{
    const auto enough = [&](const QColor &candidate) {
        return contrastRatio(underWhiteVeil(candidate, veilOpacity), background) >= ratio;
    };
    if (enough(color))
        return color;
    float hue = 0.0f, saturation = 0.0f, lightness = 0.0f, alpha = 1.0f;
    color.toHsl().getHslF(&hue, &saturation, &lightness, &alpha);
    // The lightest lightness that is dark enough: contrast with a light background only grows
    // as the colour darkens. Halving the interval 16 times is finer than 8-bit channels.
    float dark = 0.0f;
    float light = lightness;
    for (int i = 0; i < 16; ++i) {
        const float middle = (dark + light) / 2.0f;
        if (enough(QColor::fromHslF(hue, saturation, middle, alpha)))
            dark = middle;
        else
            light = middle;
    }
    // 8-bit channels may round the found lightness up again: step down until it holds.
    QColor result = QColor::fromHslF(hue, saturation, dark, alpha).toRgb();
    for (float step = dark; step > 0.0f && !enough(result);) {
        step = std::max(0.0f, step - 1.0f / 255.0f);
        result = QColor::fromHslF(hue, saturation, step, alpha).toRgb();
    }
    return result;
}

QPalette reportPalette(int colorScheme)
{
    const QPalette theme = QApplication::palette();
    const bool light = colorScheme == VXColorSchemeLight;
    if (isLightPalette(theme) == light)
        return theme;
    if (!light)
        return darkPalette(theme);
    // The style's own palette (a light one for the usual styles); the theme's highlight stays.
    QPalette palette = QApplication::style() ? QApplication::style()->standardPalette() : QPalette();
    if (!isLightPalette(palette))
        palette = QPalette(grey(0xef));
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled})
        palette.setColor(group, QPalette::Highlight, theme.color(group, QPalette::Highlight));
    return palette;
}
