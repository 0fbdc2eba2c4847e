#pragma once

#include "kit/schema/GraphValue.h"

#include <QString>
#include <optional>

namespace corvantis {

// Write `value` into every row of `table` whose `column` is null, or, with `replacing`, also where the
// column equals that old default. Made by the migration when a shape change brings a default.
struct DefaultFill {
    QString table;
    bool isNode = true;
    QString column;
    GraphValue value;
    std::optional<GraphValue> replacing;
    bool operator==(const DefaultFill& other) const = default;
};

} // namespace corvantis
