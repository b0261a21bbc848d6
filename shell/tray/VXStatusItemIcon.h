#pragma once

// The tray icon's pictures for each icon style ("Status Item Icon (1231)") and state: the two
// drawn template icons (11 and 12) in black, white on a dark or highlighted panel, red in deep
// hibernation and grey in hibernation; the named pictures of the other styles with their
// "Hibernate" and "Inverted" variants (compiled in from resources/status-item); the program's
// icon (1); and the "Report" picture (2), in grey scale while hibernating. A style that is a
// multiple of 10 follows the panel's section: plus 1 for the organizer, plus 2 for the report.

#include <QIcon>
#include <QImage>
#include <QString>

class QPalette;

struct VXStatusItemIconState {
    int style = 11;
    bool reporting = false;   // the panel shows the report section
    bool hibernating = false;
    bool deepHibernation = false;
    bool darkPanel = false;   // the tray's panel is dark
    bool highlighted = false;   // the panel is open

    bool operator==(const VXStatusItemIconState &) const = default;
};

// The concrete style drawn for a setting: automatic styles resolved, unknown ones as 11.
int VXResolvedStatusItemIconStyle(int style, bool reporting);

// The named picture a state shows, or empty for the drawn styles (1, 11, 12).
QString VXStatusItemImageName(const VXStatusItemIconState &state);

// The colour of the drawn template icons in a state.
QColor VXStatusItemTemplateColor(const VXStatusItemIconState &state);

// Whether a palette's window colour (the panel's, as far as the theme tells) is dark.
bool VXPaletteIsDark(const QPalette &palette);

// The picture `points` square at a device pixel ratio (the image carries it).
QImage VXStatusItemImage(const VXStatusItemIconState &state, int points, qreal devicePixelRatio);
// The icon at the sizes trays ask for (16 to 32 points, at ratios 1 and 2).
QIcon VXStatusItemIcon(const VXStatusItemIconState &state);

// A named picture of the tray ("Report", "MenuSimpleInverted", ...) drawn `pixels` square;
// null when there is no such picture.
QImage VXNamedStatusImage(const QString &name, int pixels);
