#include "kit/schema/NodeType.h"

#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"

#include <QJsonArray>

namespace corvantis {

namespace ExpandPriorities {

QString id(ExpandPriority priority) {
    switch (priority) {
    case ExpandPriority::First:
        return QStringLiteral("first");
    case ExpandPriority::Normal:
        return QStringLiteral("normal");
    case ExpandPriority::WhenAsked:
        return QStringLiteral("whenAsked");
    }
    return QString();
}

int rank(ExpandPriority priority) {
    switch (priority) {
    case ExpandPriority::First:
        return 0;
    case ExpandPriority::Normal:
        return 1;
    case ExpandPriority::WhenAsked:
        return 2;
    }
    return 1;
}

std::optional<ExpandPriority> fromId(const QString& id) {
    for (auto priority : {ExpandPriority::First, ExpandPriority::Normal, ExpandPriority::WhenAsked}) {
        if (ExpandPriorities::id(priority) == id)
            return priority;
    }
    return std::nullopt;
}

} // namespace ExpandPriorities

QString NodeType::table() const {
    return Identifier::nodeTable(name);
}

const PropertyDef* NodeType::title() const {
    if (!titleProperty)
        return nullptr;
    const PropertyDef* found = property(*titleProperty);
    return found && PropertyKinds::canBeTitle(found->kind) ? found : nullptr;
}

const PropertyDef* NodeType::mark() const {
    if (!markProperty)
        return nullptr;
    const PropertyDef* found = property(*markProperty);
    return found && found->kind == PropertyKind::Boolean ? found : nullptr;
}

const PropertyDef* NodeType::property(const QUuid& id) const {
    return PropertyDef::title(id, properties);
}

PropertyDef* NodeType::property(const QUuid& id) {
    for (auto& candidate : properties) {
        if (candidate.id == id)
            return &candidate;
    }
    return nullptr;
}

QJsonObject NodeType::toJson() const {
    QJsonObject object{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("name"), name},
                       {QStringLiteral("color"), color},
                       {QStringLiteral("properties"), PropertyDef::listToJson(properties)},
                       {QStringLiteral("x"), x},
                       {QStringLiteral("y"), y}};
    json::putOptional(object, QStringLiteral("symbol"), symbol);
    json::putOptional(object, QStringLiteral("titleProperty"), titleProperty);
    json::putOptional(object, QStringLiteral("markProperty"), markProperty);
    if (expand)
        object.insert(QStringLiteral("expand"), ExpandPriorities::id(*expand));
    return object;
}

NodeType NodeType::fromJson(const QJsonObject& json) {
    NodeType type;
    type.id = json::requireUuid(json, QStringLiteral("id"));
    type.name = json::requireString(json, QStringLiteral("name"));
    type.color = json::requireString(json, QStringLiteral("color"));
    type.properties = PropertyDef::listFromJson(json::requireArray(json, QStringLiteral("properties")));
    type.x = json::requireDouble(json, QStringLiteral("x"));
    type.y = json::requireDouble(json, QStringLiteral("y"));
    type.symbol = json::optionalString(json, QStringLiteral("symbol"));
    type.titleProperty = json::optionalUuid(json, QStringLiteral("titleProperty"));
    type.markProperty = json::optionalUuid(json, QStringLiteral("markProperty"));
    if (auto expand = json::optionalString(json, QStringLiteral("expand"))) {
        type.expand = ExpandPriorities::fromId(*expand);
        if (!type.expand)
            throw json::DecodeError(
                QStringLiteral("unknown expand priority \"%1\"").arg(*expand).toStdString());
    }
    return type;
}

} // namespace corvantis
