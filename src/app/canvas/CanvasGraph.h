#pragma once

#include "app/graph/SessionCore.h"
#include "kit/schema/GraphSchema.h"

#include <QHash>
#include <QList>
#include <QString>
#include <optional>

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

    const NodeType* typeOf(const NodeRecord& node) const { return schema().nodeTypeForTable(node.label); }
    const NodeType* typeOfNode(const QString& id) const;
    const RelType* typeOf(const RelRecord& rel) const { return schema().relTypeForTable(rel.label); }
    // A node type's priority; `Normal` for none or an unknown type.
    ExpandPriority priority(const NodeType* type) const;
    QString title(const QString& nodeId) const;

    // The ids of the relationships that touch a node, ordered by id; a loop stands once.
    const QList<QString>& relsOf(const QString& nodeId) const;
    int degree(const QString& nodeId) const { return m_core.nodeIndex().degree(nodeId); }

    // "graph.neighbourLimit": missing or below 1 means 25 (25 without settings too).
    int neighbourLimit() const;
    Settings* settings() const { return m_settings; }

private:
    void refresh() const;

    SessionCore& m_core;
    Settings* m_settings;
    mutable int m_builtFor = -1;
    mutable QHash<QString, QList<QString>> m_relsOf;
    const QList<QString> m_none;
};

} // namespace corvantis
