#include "kit/schema/RelType.h"

#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"

#include <QHashFunctions>
#include <QJsonArray>

namespace corvantis {

namespace {

QJsonArray endpointsJson(const QList<RelEndpoint>& endpoints) {
    QJsonArray array;
    for (const auto& endpoint : endpoints)
        array.append(endpoint.toJson());
    return array;
}

QList<RelEndpoint> endpointsFromJson(const QJsonArray& array) {
    QList<RelEndpoint> endpoints;
    endpoints.reserve(array.size());
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw json::DecodeError("an endpoint is not an object");
        endpoints << RelEndpoint::fromJson(value.toObject());
    }
    return endpoints;
}

} // namespace

QJsonObject RelEndpoint::toJson() const {
    return QJsonObject{{QStringLiteral("from"), json::uuidText(from)},
                       {QStringLiteral("to"), json::uuidText(to)}};
}

RelEndpoint RelEndpoint::fromJson(const QJsonObject& json) {
    return {json::requireUuid(json, QStringLiteral("from")), json::requireUuid(json, QStringLiteral("to"))};
}

size_t qHash(const RelEndpoint& endpoint, size_t seed) {
    return qHashMulti(seed, endpoint.from, endpoint.to);
}

QString RelType::table() const {
    return Identifier::relTable(name);
}

const PropertyDef* RelType::title() const {
    if (!titleProperty)
        return nullptr;
    const PropertyDef* found = property(*titleProperty);
    return found && PropertyKinds::canBeTitle(found->kind) ? found : nullptr;
}

const PropertyDef* RelType::mark() const {
    if (!markProperty)
        return nullptr;
    const PropertyDef* found = property(*markProperty);
    return found && found->kind == PropertyKind::Boolean ? found : nullptr;
}

const PropertyDef* RelType::property(const QUuid& id) const {
    return PropertyDef::title(id, properties);
}

PropertyDef* RelType::property(const QUuid& id) {
    for (auto& candidate : properties) {
        if (candidate.id == id)
            return &candidate;
    }
    return nullptr;
}

QList<RelEndpoint> RelType::connections() const {
    QList<RelEndpoint> listed;
    for (const auto& endpoint : endpoints) {
        if (!endpoint.isLoop() && listed.contains(endpoint.reversed()))
            continue;
        listed << endpoint;
    }
    return listed;
}

bool RelType::isTwoWay(const RelEndpoint& endpoint) const {
    if (!endpoints.contains(endpoint))
        return false;
    if (endpoint.isLoop())
        return twoWayLoops && twoWayLoops->contains(endpoint);
    return endpoints.contains(endpoint.reversed());
}

QJsonObject RelType::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("name"), name},
                       {QStringLiteral("properties"), PropertyDef::listToJson(properties)},
                       {QStringLiteral("endpoints"), endpointsJson(endpoints)}};
    if (twoWayLoops)
        object.insert(QStringLiteral("twoWayLoops"), endpointsJson(*twoWayLoops));
    json::putOptional(object, QStringLiteral("titleProperty"), titleProperty);
    json::putOptional(object, QStringLiteral("markProperty"), markProperty);
    return object;
}

RelType RelType::fromJson(const QJsonObject& json) {
    RelType type;
    type.id = json::requireUuid(json, QStringLiteral("id"));
    type.name = json::requireString(json, QStringLiteral("name"));
    type.properties = PropertyDef::listFromJson(json::requireArray(json, QStringLiteral("properties")));
    type.endpoints = endpointsFromJson(json::requireArray(json, QStringLiteral("endpoints")));
    if (auto loops = json::optionalArray(json, QStringLiteral("twoWayLoops")))
        type.twoWayLoops = endpointsFromJson(*loops);
    type.titleProperty = json::optionalUuid(json, QStringLiteral("titleProperty"));
    type.markProperty = json::optionalUuid(json, QStringLiteral("markProperty"));
    return type;
}

} // namespace corvantis
