#pragma once

// A small reading shape and graph for the builder's tests: Person (name, born: number, status: enum),
// Book (title); WROTE Person → Book, KNOWS Person → Person; Tag without a title property.
#include "kit/build/GraphBuilder.h"
#include "tests/support/ShapeBuilders.h"

#include <QHash>

namespace corvantis::test {

struct Library {
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QList<RelRecord> rels;

    Library() {
        PropertyDef status = property("status", PropertyKind::Choice);
        status.options = QStringList{"Alive", "Dead"};
        schema.nodeTypes = {
            nodeType("Person", {property("name"), property("born", PropertyKind::Number), status}),
            nodeType("Book", {property("title"), property("read", PropertyKind::Boolean)}),
            nodeType("Tag", {property("label")}, "mint", false)};
        schema.relTypes = {
            relType("wrote", {{person().id, book().id}}, {property("year", PropertyKind::Number)}),
            relType("knows", {{person().id, person().id}})};
    }
    const NodeType& person() const { return schema.nodeTypes[0]; }
    const NodeType& book() const { return schema.nodeTypes[1]; }

    QString add(const QString& label, const QString& column, const QString& title, PropertyMap more = {}) {
        NodeRecord node{QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(), label, more};
        node.properties.insert(column, GraphValue::string(title));
        nodes.insert(node.id, node);
        return node.id;
    }
    QString link(const QString& label, const QString& from, const QString& to) {
        RelRecord rel{QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper(), label, from, to, {}};
        rels.append(rel);
        return rel.id;
    }
};

inline GraphDraft::Node draftNode(const QString& ref, const QString& type,
                                  QList<GraphDraft::Property> properties) {
    return GraphDraft::Node{ref, type, properties};
}

} // namespace corvantis::test
