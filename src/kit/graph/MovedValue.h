#pragma once

#include "kit/schema/DefaultFill.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"
#include "kit/store/ValueReplacement.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

namespace corvantis {

// One value that a migration's defaults or renamed options rewrite in a row, with what the row held
// before, so that undoing the change can put back exactly that row.
struct MovedValue {
    QString id;
    bool isNode = true;
    QUuid type; // the row's node or relationship type
    QString column;
    GraphValue before;
    bool operator==(const MovedValue& other) const = default;

    // The values that `fills`, then `replacements`, rewrite in the records of `shape` (the shape the
    // migration goes to); a value that both rewrite counts once, with what it held at first.
    static QList<MovedValue> by(const QList<DefaultFill>& fills, const QList<ValueReplacement>& replacements,
                                const GraphSchema& shape, const QHash<QString, NodeRecord>& nodes,
                                const QHash<QString, RelRecord>& rels);
};

} // namespace corvantis
