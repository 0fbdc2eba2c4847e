#pragma once

#include <QIcon>
#include <QString>

namespace corvantis {

// A round dot in the hue of a node type's palette name, as lists and pickers show a type.
QIcon typeSwatch(const QString& colorName, int size = 12);

} // namespace corvantis
