#include "kit/projects/ExampleProject.h"

#include "kit/schema/Identifier.h"

#include <QHash>

namespace corvantis::ExampleProject {

namespace {

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

PropertyDef property(const QString& name, PropertyKind kind) {
    PropertyDef def;
    def.id = QUuid::createUuid();
    def.name = name;
    def.kind = kind;
    return def;
}

// A type whose first property is the built-in "name", which is also its title.
NodeType nodeType(const QString& name, const QString& color, double x, double y,
                  const QList<PropertyDef>& further) {
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.color = color;
    type.x = x;
    type.y = y;
    type.properties.append(property(QStringLiteral("name"), PropertyKind::Text));
    type.properties.append(further);
    type.titleProperty = type.properties.first().id;
    return type;
}

RelType relType(const QString& name, const NodeType& from, const NodeType& to,
                const QList<PropertyDef>& properties = {}) {
    RelType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.endpoints = {RelEndpoint{from.id, to.id}};
    type.properties = properties;
    return type;
}

GraphValue text(const char* value) {
    return GraphValue::string(QString::fromUtf8(value));
}

GraphValue number(double value) {
    return GraphValue::number(value);
}

} // namespace

ProjectExport make() {
    const NodeType concepts =
        nodeType("Concept", "iris", -105, 30,
                 {property("summary", PropertyKind::Text), property("year", PropertyKind::Number),
                  property("reference", PropertyKind::Link)});
    const NodeType thinker =
        nodeType("Thinker", "peach", -400, -240,
                 {property("field", PropertyKind::Text), property("born", PropertyKind::Number)});
    const NodeType source =
        nodeType("Source", "mint", 190, -240,
                 {property("kind", PropertyKind::Text), property("published", PropertyKind::Number),
                  property("url", PropertyKind::Link)});
    GraphSchema shape;
    shape.nodeTypes = {concepts, thinker, source};
    const RelType proposed = relType("PROPOSED", thinker, concepts);
    const RelType supports =
        relType("SUPPORTS", source, concepts,
                {property("strength", PropertyKind::Number), property("excerpt", PropertyKind::Text),
                 property("clip", PropertyKind::Link)});
    const RelType contradicts = relType("CONTRADICTS", source, concepts);
    const RelType relatesTo = relType("RELATES_TO", concepts, concepts);
    const RelType explains = relType("EXPLAINS", concepts, concepts);
    shape.relTypes = {proposed, supports, contradicts, relatesTo, explains};

    ProjectExport example;
    example.project.id = QUuid::createUuid();
    example.project.name = name;
    example.project.createdAt = QDateTime::currentDateTimeUtc();
    example.project.modifiedAt = example.project.createdAt;
    example.project.schema = shape;
    example.project.appliedSchema = shape;
    example.project.version = Project::currentVersion;

    QHash<QString, QString> ids; // the seeding's short keys to node ids
    auto node = [&](const char* key, const NodeType& type, double x, double y, PropertyMap values) {
        NodeRecord record;
        record.id = newId();
        record.label = Identifier::nodeTable(type.name);
        record.properties = std::move(values);
        ids.insert(QString::fromLatin1(key), record.id);
        example.nodes.append(record);
        example.layout.positions.insert(record.id, LayoutPoint{x, y});
        example.layout.pinned.insert(record.id);
    };
    node("info", concepts, -50, -230,
         {{"name", text("Information")},
          {"summary", text("What reduces uncertainty; measured in bits.")},
          {"year", number(1948)}});
    node("ent", concepts, -220, -110,
         {{"name", text("Entropy")},
          {"summary", text("The average surprise of a source of messages.")},
          {"year", number(1948)},
          {"reference", text("https://en.wikipedia.org/wiki/Entropy_(information_theory)")}});
    node("fep", concepts, 10, 0,
         {{"name", text("Free energy principle")},
          {"summary", text("Self-organising systems persist by minimising the surprise of what they sense.")},
          {"year", number(2006)},
          {"reference", text("https://en.wikipedia.org/wiki/Free_energy_principle")}});
    node("pc", concepts, 240, 100,
         {{"name", text("Predictive coding")},
          {"summary", text("The brain predicts its inputs and passes on only the errors.")},
          {"year", number(1999)}});
    node("bb", concepts, 270, -140,
         {{"name", text("Bayesian brain")}, {"summary", text("Perception as probabilistic inference.")}});
    node("cyb", concepts, -260, 120,
         {{"name", text("Cybernetics")},
          {"summary", text("Control and communication in animals and machines.")},
          {"year", number(1948)}});
    node("homeo", concepts, -90, 250,
         {{"name", text("Homeostasis")},
          {"summary", text("Keeping internal conditions within livable bounds.")},
          {"year", number(1926)}});
    node("shannon", thinker, 140, -320,
         {{"name", text("Claude Shannon")}, {"field", text("Mathematics")}, {"born", number(1916)}});
    node("friston", thinker, 160, 290,
         {{"name", text("Karl Friston")}, {"field", text("Neuroscience")}, {"born", number(1959)}});
    node("wiener", thinker, -360, 280,
         {{"name", text("Norbert Wiener")}, {"field", text("Mathematics")}, {"born", number(1894)}});
    node("mtc", source, -270, -300,
         {{"name", text("A Mathematical Theory of Communication")},
          {"kind", text("Paper")},
          {"published", number(1948)},
          {"url", text("https://en.wikipedia.org/wiki/A_Mathematical_Theory_of_Communication")}});
    node("fepw", source, 360, -10,
         {{"name", text("The free-energy principle: a unified brain theory?")},
          {"kind", text("Paper")},
          {"published", number(2010)},
          {"url", text("https://www.nature.com/articles/nrn2787")}});

    auto rel = [&](const char* from, const RelType& type, const char* to, PropertyMap values = {}) {
        RelRecord record;
        record.id = newId();
        record.label = type.table();
        record.from = ids.value(QString::fromLatin1(from));
        record.to = ids.value(QString::fromLatin1(to));
        record.properties = std::move(values);
        example.relationships.append(record);
    };
    rel("shannon", proposed, "info");
    rel("mtc", supports, "info",
        {{"strength", number(1.0)}, {"excerpt", text("The fundamental problem of communication\u2026")}});
    rel("info", relatesTo, "ent");
    rel("cyb", relatesTo, "info");
    rel("ent", relatesTo, "fep");
    rel("fep", explains, "pc");
    rel("bb", relatesTo, "pc");
    rel("bb", relatesTo, "fep");
    rel("friston", proposed, "fep");
    rel("fepw", supports, "fep", {{"strength", number(0.9)}});
    rel("wiener", proposed, "cyb");
    rel("cyb", explains, "homeo");
    rel("homeo", relatesTo, "fep");
    return example;
}

} // namespace corvantis::ExampleProject
