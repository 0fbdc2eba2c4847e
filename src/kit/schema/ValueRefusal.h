#pragma once

#include "kit/schema/PropertyDef.h"

#include <QString>
#include <optional>

namespace corvantis {

// The sentence that refuses `text` as a value of the property, or absent when it parses.
std::optional<QString> refusalOfText(const PropertyDef& property, const QString& text);

} // namespace corvantis
