#pragma once

#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"
#include "tests/support/ShapeBuilders.h"

#include <QHash>
#include <functional>

namespace corvantis::test {

// A small applied shape with records in every table, shared by the tests of what records say about a
// shape. People write books (both ways), know each other (a two-way loop), visit places; books cite
// books; a topic has no nodes.
struct ShapeGraph {
    QUuid person, book, place, topic;
    QUuid wrote, knows, visited, cites, about;
    PropertyDef name, born, nick, alive, site, homepage, status, title, year, page;
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QHash<QString, RelRecord> rels;

    ShapeGraph() {
        auto prop = [](const QString& propertyName, PropertyKind kind = PropertyKind::Text) {
            return property(propertyName, kind);
        };
        name = prop("name");
        born = prop("born", PropertyKind::Number);
        nick = prop("nick");
        alive = prop("alive", PropertyKind::Boolean);
        site = prop("site", PropertyKind::Link);
        homepage = prop("homepage", PropertyKind::Link);
        status = prop("status");
        title = prop("title");
        year = prop("year", PropertyKind::Number);
        page = prop("page", PropertyKind::Number);

        auto node = [&](const QString& typeName, QList<PropertyDef> properties) {
            NodeType type;
            type.id = QUuid::createUuid();
            type.name = typeName;
            type.color = "iris";
            type.properties = properties;
            schema.nodeTypes << type;
            return type.id;
        };
        person = node("Person", {name, born, nick, alive, site, homepage, status});
        book = node("Book", {title});
        place = node("Place", {});
        topic = node("Topic", {});
        auto rel = [&](const QString& relName, QList<RelEndpoint> endpoints,
                       QList<PropertyDef> properties = {}) {
            RelType type;
            type.id = QUuid::createUuid();
            type.name = relName;
            type.endpoints = endpoints;
            type.properties = properties;
            schema.relTypes << type;
            return type.id;
        };
        wrote = rel("wrote", {{person, book}, {book, person}, {book, book}}, {year});
        knows = rel("knows", {{person, person}});
        schema.relTypes.last().twoWayLoops = QList<RelEndpoint>{{person, person}};
        visited = rel("visited", {{person, place}});
        cites = rel("cites", {{book, book}}, {page});
        about = rel("about", {{book, topic}});

        auto str = [](const char* text) {
            return GraphValue::string(QString::fromUtf8(text));
        };
        addNode("ada", "Person",
                {{"name", str("Ada")},
                 {"born", GraphValue::number(1815)},
                 {"nick", str("Countess")},
                 {"site", str("https://example.org/ada")},
                 {"status", str("Alive")}});
        addNode("grace", "Person",
                {{"name", str("Grace")}, {"nick", str("  ")}, {"alive", GraphValue::boolean(true)}});
        addNode("alan", "Person",
                {{"name", str("Alan")}, {"born", GraphValue::null()}, {"status", str("Alive")}});
        addNode("notes", "Book", {{"title", str("Notes")}});
        addNode("rome", "Place", {});
        addRel("r1", "WROTE", "ada", "notes", {{"year", GraphValue::number(1843)}});
        addRel("r2", "WROTE", "notes", "grace", {{"year", GraphValue::number(1850)}});
        addRel("r3", "KNOWS", "ada", "grace", {});
        addRel("r4", "VISITED", "grace", "rome", {});
        addRel("r5", "CITES", "notes", "notes", {{"page", GraphValue::number(12)}});
        addRel("r6", "CITES", "notes", "notes", {});
    }

    void addNode(const QString& id, const QString& label, const PropertyMap& properties) {
        nodes.insert(id, NodeRecord{id, label, properties});
    }
    void addRel(const QString& id, const QString& label, const QString& from, const QString& to,
                const PropertyMap& properties) {
        rels.insert(id, RelRecord{id, label, from, to, properties});
    }

    // The shape with changes made by hand.
    GraphSchema with(const std::function<void(GraphSchema&)>& change) const {
        GraphSchema changed = schema;
        change(changed);
        return changed;
    }
    QList<PropertyDef>& propertiesOf(GraphSchema& s, const QUuid& type) const {
        return s.nodeType(type) ? s.nodeType(type)->properties : s.relType(type)->properties;
    }
    GraphSchema withoutProperty(const QUuid& type, const QUuid& property) const {
        return with([&](GraphSchema& s) {
            propertiesOf(s, type).removeIf([&](const PropertyDef& p) { return p.id == property; });
        });
    }
    GraphSchema withKind(const QUuid& type, const QUuid& property, PropertyKind kind) const {
        return with([&](GraphSchema& s) {
            for (PropertyDef& p : propertiesOf(s, type))
                if (p.id == property)
                    p.kind = kind;
        });
    }
};

} // namespace corvantis::test
