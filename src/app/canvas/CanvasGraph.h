#pragma once

#include "app/graph/SessionCore.h"
#include "kit/schema/GraphSchema.h"

#include <QHash>
#include <QList>
#include <QString>
#include <optional>
#include <span>
#include <vector>

namespace corvantis {

class Settings;

// What the canvases read of the session, in one narrow place: the records, their types in the shape,
// each node's relationships, the neighbour limit. The relationships of each node are derived once per
// change of the records (`topology`) and shared by both canvases.
class CanvasGraph {
public:
    CanvasGraph(SessionCore& core, Settings* settings);

    SessionCore& core() const { return m_core; }
    const QHash<QString, NodeRecord>& nodes() const { return m_core.nodes(); }
    const QHash<QString, RelRecord>& rels() const { return m_core.rels(); }
    int topology() const { return m_core.topology(); }
    // The shape the canvases show types by: the one the database holds, else the project's.
    const GraphSchema& schema() const;

    // Types by table, through a map kept while the shape's type names stay as they were.
    const NodeType* typeOf(const NodeRecord& node) const;
    const NodeType* typeOfNode(const QString& id) const;
    const RelType* typeOf(const RelRecord& rel) const;
    // A node type's priority; `Normal` for none or an unknown type.
    ExpandPriority priority(const NodeType* type) const;
    QString title(const QString& nodeId) const;
    // As NodeRecord::title, with the title column looked up once per table.
    QString title(const NodeRecord& node) const;

    // The ids of the relationships that touch a node, ordered by id; a loop stands once.
    std::span<const QString> relsOf(const QString& nodeId) const;
    int degree(const QString& nodeId) const { return m_core.nodeIndex().degree(nodeId); }

    // "graph.neighbourLimit": missing or below 1 means 25 (25 without settings too).
    int neighbourLimit() const;
    Settings* settings() const { return m_settings; }

private:
    void refresh() const;
    struct TableInfo {
        int index = -1;      // in the shape's list of types
        QString name;        // the type's name when the map was made
        QString titleColumn; // node types: the title property's column, empty if none
    };
    void mapTables() const;
    const TableInfo* tableInfo(const QString& table, bool node) const;

    SessionCore& m_core;
    Settings* m_settings;
    // Each node's relationships, by the node's number in the session's index: ids[offsets[n] …
    // offsets[n + 1]).
    mutable int m_builtFor = -1;
    mutable std::vector<int> m_offsets;
    mutable std::vector<QString> m_relIds;
    mutable QHash<QString, TableInfo> m_nodeTables;
    mutable QHash<QString, TableInfo> m_relTables;
    mutable QStringList m_typeNames; // node types then relationship types, as mapped
};

} // namespace corvantis
