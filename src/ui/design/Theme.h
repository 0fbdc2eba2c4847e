#pragma once

#include "app/app/AppEnums.h"

#include <QColor>
#include <QString>

class QApplication;

// The one place for colours, type and spacing. Views ask here; they never hard-code a colour.
namespace corvantis::Theme {

// Spacing on a 4-point grid: space(1) is 4, space(4) is 16.
constexpr int space(int steps) {
    return 4 * steps;
}
// Corner radius of cards and panels.
constexpr int radius = 8;

// Applies the appearance as a palette switch over the whole application.
void apply(QApplication& app, Appearance appearance);
// Whether the palette now in force is dark.
bool isDark();

// The hue of a palette name of the shape ("iris", "peach", ...), in the appearance now in force; an
// unknown name gives slate.
QColor paletteColor(const QString& name);
// Selection and focus.
QColor accent();
// Text of lesser weight: dates, counts, hints.
QColor secondaryText();
// The surface of cards and panels, a step away from the window's background.
QColor cardSurface();
QColor cardBorder();
// Errors and destructive actions.
QColor danger();

} // namespace corvantis::Theme
