#pragma once

#include "kit/schema/GraphValue.h"

#include <QString>

namespace corvantis {

// A fill or an edit of one node or relationship: the values to set on the record with that id. A null
// value clears its property.
struct NodeUpdate {
    QString id;
    PropertyMap properties;
    bool operator==(const NodeUpdate& other) const = default;
};

} // namespace corvantis
