#include "kit/store/TableCatalog.h"

namespace corvantis {

namespace {

TableCatalog::Columns columnsOf(const QList<PropertyDef>& properties) {
    TableCatalog::Columns columns{{QStringLiteral("id"), QStringLiteral("STRING")}};
    for (const PropertyDef& property : properties)
        columns.insert(property.column().toLower(), PropertyKinds::columnType(property.kind));
    return columns;
}

} // namespace

TableCatalog TableCatalog::of(const GraphSchema& shape) {
    TableCatalog catalog;
    for (const NodeType& type : shape.nodeTypes)
        catalog.nodeTables.insert(type.table().toLower(), columnsOf(type.properties));
    for (const RelType& type : shape.relTypes) {
        const QString table = type.table().toLower();
        catalog.relTables.insert(table, columnsOf(type.properties));
        QSet<std::pair<QString, QString>>& ends = catalog.relEnds[table];
        for (const RelEndpoint& endpoint : type.endpoints) {
            const NodeType* from = shape.nodeType(endpoint.from);
            const NodeType* to = shape.nodeType(endpoint.to);
            if (from && to)
                ends.insert({from->table().toLower(), to->table().toLower()});
        }
    }
    return catalog;
}

QString TableCatalog::canonicalType(const QString& type) {
    const QString upper = type.toUpper();
    if (upper == QLatin1String("BOOL"))
        return QStringLiteral("BOOLEAN");
    return upper;
}

} // namespace corvantis
