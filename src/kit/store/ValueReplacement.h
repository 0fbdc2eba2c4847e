#pragma once

#include <QHashFunctions>
#include <QString>

namespace corvantis {

// In every row of `table`, turn the choice value `from` into `to`. Made by the migration when one
// option of a choice property was renamed; the names are those of the new shape.
struct ValueReplacement {
    QString table;
    bool isNode = true;
    QString column;
    QString from;
    QString to;
    bool operator==(const ValueReplacement& other) const = default;
};

inline size_t qHash(const ValueReplacement& r, size_t seed = 0) {
    return qHashMulti(seed, r.table, r.isNode, r.column, r.from, r.to);
}

} // namespace corvantis
