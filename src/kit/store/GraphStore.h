#pragma once

#include "kit/schema/DefaultFill.h"
#include "kit/schema/GraphValue.h"
#include "kit/schema/QueryOutput.h"
#include "kit/store/MigrationPlan.h"
#include "kit/store/TableCatalog.h"
#include "kit/store/ValueReplacement.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace corvantis {

// A whole graph as loaded: the nodes, then the relationships, table by table.
struct GraphRecords {
    QList<NodeRecord> nodes;
    QList<RelRecord> rels;
};

// The one door to a project's database: every Cypher text that changes data, and every read of
// records, goes through it. Every operation fails with GraphStoreError.
class GraphStore {
public:
    virtual ~GraphStore() = default;

    // Runs the plan's statements as one transaction, and nothing else of the plan: its fills and
    // replacements are the caller's to run, once it has recorded that the statements went through. No
    // statements send nothing. Fails with a plain GraphStoreError when nothing was committed, and with
    // MigrationCleanupError when the statements were committed but a step after them failed.
    virtual void migrate(const MigrationPlan& plan) = 0;
    // Writes defaults into existing rows, in one transaction; an empty list sends nothing.
    virtual void fill(const QList<DefaultFill>& fills) = 0;
    // Rewrites one choice value to another, in one transaction; an empty list sends nothing.
    virtual void replace(const QList<ValueReplacement>& replacements) = 0;

    virtual void insertNode(const NodeRecord& record) = 0;
    // Sets the given columns; a null value clears its column. An empty map runs nothing.
    virtual void updateNode(const QString& id, const QString& label, const PropertyMap& set) = 0;
    // Removes the node with its relationships.
    virtual void deleteNode(const QString& id, const QString& label) = 0;
    virtual void insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) = 0;
    virtual void updateRel(const QString& id, const QString& label, const PropertyMap& set) = 0;
    virtual void deleteRel(const QString& id, const QString& label) = 0;

    // Every node of the given tables, table by table.
    virtual QList<NodeRecord> loadNodes(const QStringList& labels) = 0;
    // Every relationship of the given tables, table by table.
    virtual QList<RelRecord> loadRels(const QStringList& labels) = 0;
    // Both at once: the same records as loadNodes and loadRels. A store may read faster this way, and
    // may let each relationship's ends share the text of their node's id.
    virtual GraphRecords loadGraph(const QStringList& nodeLabels, const QStringList& relLabels) {
        return {loadNodes(nodeLabels), loadRels(relLabels)};
    }

    // The tables and columns that the database holds now.
    virtual TableCatalog describeTables() = 0;

    // Runs Cypher in a read-only transaction and keeps at most `rowLimit` rows; `totalRows` is the
    // count of all rows the query gave.
    virtual QueryOutput runReadOnly(const QString& cypher, int rowLimit) = 0;
};

} // namespace corvantis
