#pragma once

#include "kit/notes/NoteItem.h"
#include "kit/notes/NoteTag.h"
#include "kit/notes/TagQuery.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace corvantis {

// Resolves tags against the records of a graph: walks, cards and the picker's choices. A view over
// the caller's maps, which must outlive it; build a new one when the graph changes.
class TagGraph {
public:
    TagGraph(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
             const QHash<QString, RelRecord>& rels);

    // The other ends of the relationships of the given nodes in the hop's direction (and of its type,
    // when named), each once, in order.
    QStringList step(const QStringList& from, const TagToken::Hop& hop) const;
    // The nodes a tag reaches: nothing for an unknown start, else the start walked through each hop.
    QStringList walk(const TagToken& token) const;

    NoteTag noteTag(const TagToken& token) const;
    NoteTag noteTag(const QString& id, const std::optional<QString>& property = {}) const;

    struct Choices {
        QList<TagChoice> rows;
        int more = 0; // rows left out by the limit
    };
    // The picker's rows for a query. `recent` lists nodes shown on the canvas, offered first for an
    // empty record query; `notes` are the book's items and `exceptNote` the note being edited.
    Choices choices(const TagQuery& query, int limit, const QStringList& recent = {},
                    const QList<NoteItem>& notes = {}, const QString& exceptNote = {}) const;
    // A row for one relationship of a hop, leading to a single node.
    TagChoice relChoice(const RelRecord& rel, bool outgoing) const;

private:
    const NodeType* nodeType(const NodeRecord& node) const;
    const RelType* relType(const RelRecord& rel) const;
    QString titleOf(const QString& nodeId) const;
    void readProperty(NoteTag& tag, const QList<PropertyDef>& properties, const PropertyMap& values,
                      const QString& typeName, const QString& property) const;

    const GraphSchema& m_schema;
    const QHash<QString, NodeRecord>& m_nodes;
    const QHash<QString, RelRecord>& m_rels;
    QHash<QString, QList<const RelRecord*>> m_connections;
};

} // namespace corvantis
