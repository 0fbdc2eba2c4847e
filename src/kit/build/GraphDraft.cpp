#include "kit/build/GraphDraft.h"

#include "kit/support/Json.h"

#include <QJsonArray>

namespace corvantis {

namespace {

QJsonObject objectAt(const QJsonArray& array, qsizetype i) {
    if (!array.at(i).isObject())
        throw json::DecodeError("expected an object in the list");
    return array.at(i).toObject();
}

} // namespace

QJsonArray DraftProperties::toJson(const QList<GraphDraft::Property>& properties) {
    QJsonArray array;
    for (const GraphDraft::Property& property : properties)
        array.append(
            QJsonObject{{QStringLiteral("name"), property.name}, {QStringLiteral("value"), property.value}});
    return array;
}

QList<GraphDraft::Property> DraftProperties::fromJson(const QJsonArray& array) {
    QList<GraphDraft::Property> properties;
    properties.reserve(array.size());
    for (qsizetype i = 0; i < array.size(); ++i) {
        const QJsonObject object = objectAt(array, i);
        properties.append({json::requireString(object, QStringLiteral("name")),
                           json::requireString(object, QStringLiteral("value"))});
    }
    return properties;
}

QJsonObject GraphDraft::toJson() const {
    QJsonArray nodeArray;
    for (const Node& node : nodes)
        nodeArray.append(
            QJsonObject{{QStringLiteral("ref"), node.ref},
                        {QStringLiteral("type"), node.type},
                        {QStringLiteral("properties"), DraftProperties::toJson(node.properties)}});
    QJsonArray relArray;
    for (const Relationship& rel : relationships)
        relArray.append(QJsonObject{{QStringLiteral("type"), rel.type},
                                    {QStringLiteral("from"), rel.from},
                                    {QStringLiteral("to"), rel.to},
                                    {QStringLiteral("properties"), DraftProperties::toJson(rel.properties)}});
    QJsonArray changeArray;
    for (const Change& change : changes)
        changeArray.append(
            QJsonObject{{QStringLiteral("action"), change.action},
                        {QStringLiteral("description"), change.description},
                        {QStringLiteral("query"), change.query},
                        {QStringLiteral("properties"), DraftProperties::toJson(change.properties)}});
    return QJsonObject{{QStringLiteral("nodes"), nodeArray},
                       {QStringLiteral("relationships"), relArray},
                       {QStringLiteral("changes"), changeArray},
                       {QStringLiteral("summary"), summary}};
}

GraphDraft GraphDraft::fromJson(const QJsonObject& json) {
    GraphDraft draft;
    const QJsonArray nodeArray = json::requireArray(json, QStringLiteral("nodes"));
    for (qsizetype i = 0; i < nodeArray.size(); ++i) {
        const QJsonObject object = objectAt(nodeArray, i);
        draft.nodes.append(
            {json::requireString(object, QStringLiteral("ref")),
             json::requireString(object, QStringLiteral("type")),
             DraftProperties::fromJson(json::requireArray(object, QStringLiteral("properties")))});
    }
    const QJsonArray relArray = json::requireArray(json, QStringLiteral("relationships"));
    for (qsizetype i = 0; i < relArray.size(); ++i) {
        const QJsonObject object = objectAt(relArray, i);
        draft.relationships.append(
            {json::requireString(object, QStringLiteral("type")),
             json::requireString(object, QStringLiteral("from")),
             json::requireString(object, QStringLiteral("to")),
             DraftProperties::fromJson(json::requireArray(object, QStringLiteral("properties")))});
    }
    if (auto changeArray = json::optionalArray(json, QStringLiteral("changes"))) {
        for (qsizetype i = 0; i < changeArray->size(); ++i) {
            const QJsonObject object = objectAt(*changeArray, i);
            draft.changes.append(
                {json::requireString(object, QStringLiteral("action")),
                 json::requireString(object, QStringLiteral("description")),
                 json::requireString(object, QStringLiteral("query")),
                 DraftProperties::fromJson(json::requireArray(object, QStringLiteral("properties")))});
        }
    }
    draft.summary = json::requireString(json, QStringLiteral("summary"));
    return draft;
}

} // namespace corvantis
