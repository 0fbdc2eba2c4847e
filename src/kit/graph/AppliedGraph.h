#pragma once

#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"
#include "kit/schema/PropertyOwner.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace corvantis {

// The graph as the database holds it: the shape last applied to it and the records loaded under that
// shape's tables, as an open project keeps them in memory. Answers what the records say about the shape:
// which columns hold values, what they hold, what a change of default would move. A view over the
// caller's values, which must outlive it. Without an applied shape the database holds no type at all.
class AppliedGraph {
public:
    AppliedGraph(const std::optional<GraphSchema>& shape, const QHash<QString, NodeRecord>& nodes,
                 const QHash<QString, RelRecord>& rels)
        : m_shape(shape ? &*shape : nullptr)
        , m_nodes(&nodes)
        , m_rels(&rels) {}
    // A shape made for the call (a `GraphSchema` converted, say) would be gone before the view is used.
    AppliedGraph(std::optional<GraphSchema>&&, const QHash<QString, NodeRecord>&,
                 const QHash<QString, RelRecord>&) = delete;

    // The applied shape, or nullptr.
    const GraphSchema* shape() const { return m_shape; }
    const QHash<QString, NodeRecord>& nodes() const { return *m_nodes; }
    const QHash<QString, RelRecord>& rels() const { return *m_rels; }

    // The table the database holds for a type id: the applied shape's name for it.
    std::optional<QString> nodeTable(const QUuid& id) const;
    std::optional<QString> relTable(const QUuid& id) const;
    std::optional<QString> tableOf(const PropertyOwner& owner) const;
    struct Column {
        QString table;
        QString column;
        bool operator==(const Column& other) const = default;
    };
    // The owner's table and the property's column, when the applied shape has both.
    std::optional<Column> column(const QUuid& property, const PropertyOwner& owner) const;
    // The values of the rows of a node table, or of a relationship table.
    QList<const PropertyMap*> rowsOf(const QString& table, bool isNode) const;
    // Relationships of the table from a node of `fromTable` to a node of `toTable`.
    qint64 relsAlong(const QString& relTable, const QString& fromTable, const QString& toTable) const;

    // The relationship type is in the applied shape (its table is not new).
    bool isApplied(const RelType& type) const;
    // The property is in the database and at least one row holds a value in its column.
    bool isLocked(const QUuid& property, const PropertyOwner& owner) const;
    // A relationship of the type runs along the endpoint.
    bool isLocked(const RelEndpoint& endpoint, const QUuid& rel) const;
    // The kinds the property of the `current` shape may switch to now: every kind while no row holds a
    // value; once one does, only kinds of the same column type (text and enum, and link as it stands);
    // none for a property the shape doesn't have.
    QList<PropertyKind> allowedKinds(const GraphSchema& current, const QUuid& property,
                                     const PropertyOwner& owner) const;
    // Rows of the owner's table with no value (absent or null) for the property; all of them while the
    // database has no column for it; none when it has no table for the owner.
    int missingCount(const QUuid& property, const PropertyOwner& owner) const;
    // The distinct texts (`titleText`) in the property's column, most frequent first, then in the
    // locale's order; at most `limit`.
    QStringList distinctValues(const QUuid& property, const PropertyOwner& owner, int limit) const;

    // The rows that going from `before` to `after` (one property of `owner`, by its id) moves by the
    // default the migration fills in (`DDLBuilder::fills`): with a new accepted default that differs
    // from the old accepted one, every row whose column holds nothing, and every row that still holds
    // the old default when the column keeps its type; when the column type changes the column comes
    // back empty and every row is filled. Each row's id with the value it held (null for none), so that
    // undoing the change can put back exactly those rows. Rows of the owner's applied table only.
    QHash<QString, GraphValue> movedByDefault(const PropertyOwner& owner, const PropertyDef& before,
                                              const PropertyDef& after) const;

private:
    const GraphSchema* m_shape;
    const QHash<QString, NodeRecord>* m_nodes;
    const QHash<QString, RelRecord>* m_rels;
};

} // namespace corvantis
