#pragma once

#include "kit/schema/GraphSchema.h"

#include <QMap>
#include <QSet>
#include <QString>
#include <utility>

namespace corvantis {

// The tables of a database as its definitions stand: what a database holds (GraphStore.describeTables)
// or what a shape needs (`of`), so that the two can be compared. Every name is folded to lower case,
// since the database's names ignore case.
struct TableCatalog {
    // Column name to its type ("STRING", "DOUBLE", "BOOLEAN"), the "id" column included.
    using Columns = QMap<QString, QString>;

    QMap<QString, Columns> nodeTables;
    QMap<QString, Columns> relTables;
    // Each relationship table's pairs of end tables, from and to.
    QMap<QString, QSet<std::pair<QString, QString>>> relEnds;

    // The tables that the migration from the empty shape makes for `shape`. Defaults, options, titles
    // and the case of names leave no trace here, so shapes that differ only in those have equal
    // catalogs.
    static TableCatalog of(const GraphSchema& shape);
    // The type a column of this type is listed with; the engine calls "BOOLEAN" "BOOL".
    static QString canonicalType(const QString& type);

    bool operator==(const TableCatalog& other) const = default;
};

} // namespace corvantis
