#pragma once

// The colours of the organizer's pies and of the reports: the colour schemes of the user default
// "Color Scheme", the platform's highlight colours, and the active pie colour.

#include <QColor>
#include <QPalette>
#include <QString>

#include <array>

// Three numbers (red, green, blue, 0..1) for the active pie colour of the "Original" scheme.
inline const QString kPieColorComponentsKey = QStringLiteral("Pie Color Components");

// The values of VXColorSchemeKey: 0 "Original", 2 "Light", 3 "Dark" (what the View menu stores);
// 1 is never stored by the menu and draws like "Original" without the rows' shading.
enum VXColorScheme : int {
    VXColorSchemeOriginal = 0,
    VXColorSchemeUnshaded = 1,
    VXColorSchemeLight = 2,
    VXColorSchemeDark = 3
};

// The stored colour scheme, VXColorSchemeKey (0 without a settings store).
int currentColorScheme();

// The highlight of a selected control: a light tint of the desktop theme's highlight colour.
QColor selectedControlColor();
// The highlight of selected content: the desktop theme's highlight colour itself.
QColor alternateSelectedControlColor();

// The palette of a whole report window in a colour scheme, so that its bar, date pickers and
// scroll bar match the report: light for "Light", dark for the others. The desktop theme's
// palette when it already is light (or dark); otherwise one made to match, with the theme's
// highlight colour.
QPalette reportPalette(int colorScheme);

// "Pie Color Components" when that is an array of exactly three numbers, else (0.6, 0.4, 0.6).
std::array<double, 3> activePieColorComponents();
// With the schemes "Light" and "Dark" the theme's highlight colour; otherwise the opaque colour
// of activePieColorComponents(), made once per run.
QColor activePieColor(int colorScheme);
QColor activePieColor();

// `color` with its lightness lowered, hue and saturation kept, just enough that, seen through a
// white veil of `veilOpacity` (as the light rows' shading lays over them), it stands out from the
// light `background` by at least `ratio` (the contrast ratio of relative luminances, 1 to 21);
// `color` itself when it already does.
QColor darkenedForContrast(const QColor &color, const QColor &background, double ratio, double veilOpacity);

// A grey level with opacity, as the report's colours are given.
inline QColor whiteColor(double white, double alpha = 1.0)
{
    return QColor::fromRgbF(float(white), float(white), float(white), float(alpha));
}
