#include "kit/schema/GraphSchema.h"

#include "kit/schema/Identifier.h"
#include "kit/support/Json.h"

#include <QHash>
#include <QJsonArray>

namespace corvantis {

namespace {

template <typename Type> Type* findById(QList<Type>& types, const QUuid& id) {
    for (auto& type : types) {
        if (type.id == id)
            return &type;
    }
    return nullptr;
}

template <typename Type> const Type* findById(const QList<Type>& types, const QUuid& id) {
    for (const auto& type : types) {
        if (type.id == id)
            return &type;
    }
    return nullptr;
}

PropertyDef* propertyByColumn(QList<PropertyDef>& properties, const QString& column) {
    for (auto& property : properties) {
        if (property.column() == column)
            return &property;
    }
    return nullptr;
}

// The property with that id anywhere in the shape.
const PropertyDef* propertyAnywhere(const GraphSchema& schema, const QUuid& id) {
    for (const auto& type : schema.nodeTypes) {
        if (const PropertyDef* found = type.property(id))
            return found;
    }
    for (const auto& type : schema.relTypes) {
        if (const PropertyDef* found = type.property(id))
            return found;
    }
    return nullptr;
}

template <typename Type> QJsonArray typesJson(const QList<Type>& types) {
    QJsonArray array;
    for (const auto& type : types)
        array.append(type.toJson());
    return array;
}

template <typename Type> QList<Type> typesFromJson(const QJsonArray& array) {
    QList<Type> types;
    types.reserve(array.size());
    for (const QJsonValue& value : array) {
        if (!value.isObject())
            throw json::DecodeError("a shape element is not an object");
        types << Type::fromJson(value.toObject());
    }
    return types;
}

void appendMissing(QList<RelEndpoint>& into, const QList<RelEndpoint>& from) {
    for (const auto& endpoint : from) {
        if (!into.contains(endpoint))
            into << endpoint;
    }
}

// The one check of a type's properties that validate runs for node and relationship types alike.
void checkProperties(const QList<PropertyDef>& properties, const QString& owner, QList<SchemaIssue>& issues) {
    QSet<QString> seen;
    for (const auto& property : properties) {
        if (property.name.trimmed().isEmpty()) {
            issues << SchemaIssue{QStringLiteral("%1 has a property without a name.").arg(owner)};
            continue;
        }
        const QString column = property.column().toLower();
        if (column == QLatin1String("id")) {
            issues << SchemaIssue{
                QStringLiteral("%1: “%2” is built in and can't be added again.").arg(owner, property.name)};
        } else if (seen.contains(column)) {
            issues << SchemaIssue{
                QStringLiteral("%1 has two properties named “%2”.").arg(owner, property.name)};
        } else {
            seen.insert(column);
        }
    }
}

} // namespace

QString EmbeddedProperty::reference() const {
    return table + QLatin1Char('.') + property.column();
}

const QStringList& GraphSchema::palette() {
    static const QStringList names{"iris", "peach", "mint", "sky", "rose", "lime", "orchid", "slate"};
    return names;
}

const NodeType* GraphSchema::nodeType(const QUuid& id) const {
    return findById(nodeTypes, id);
}

NodeType* GraphSchema::nodeType(const QUuid& id) {
    return findById(nodeTypes, id);
}

const RelType* GraphSchema::relType(const QUuid& id) const {
    return findById(relTypes, id);
}

RelType* GraphSchema::relType(const QUuid& id) {
    return findById(relTypes, id);
}

const NodeType* GraphSchema::nodeTypeForTable(const QString& table) const {
    for (const auto& type : nodeTypes) {
        if (type.table() == table)
            return &type;
    }
    return nullptr;
}

const RelType* GraphSchema::relTypeForTable(const QString& table) const {
    for (const auto& type : relTypes) {
        if (type.table() == table)
            return &type;
    }
    return nullptr;
}

QList<const RelType*> GraphSchema::relTypesBetween(const QUuid& from, const QUuid& to) const {
    QList<const RelType*> found;
    const RelEndpoint wanted{from, to};
    for (const auto& type : relTypes) {
        if (type.endpoints.contains(wanted))
            found << &type;
    }
    return found;
}

QString GraphSchema::uniqueNodeTypeName(const QString& base) const {
    QSet<QString> taken;
    for (const auto& type : nodeTypes)
        taken.insert(type.table());
    return uniqueName(base, taken, [](const QString& name) { return Identifier::nodeTable(name); });
}

QString GraphSchema::uniquePropertyName(const QString& base, const QList<PropertyDef>& among,
                                        bool /*isNode*/) const {
    QSet<QString> taken;
    for (const auto& property : among)
        taken.insert(property.column());
    return uniqueName(base, taken, [](const QString& name) { return Identifier::property(name); });
}

QString GraphSchema::nextColor() const {
    QSet<QString> used;
    for (const auto& type : nodeTypes)
        used.insert(type.color);
    for (const QString& name : palette()) {
        if (!used.contains(name))
            return name;
    }
    return palette()[nodeTypes.size() & 7];
}

QList<EmbeddedProperty> GraphSchema::embeddedProperties() const {
    QList<EmbeddedProperty> found;
    for (const auto& type : nodeTypes) {
        for (const auto& property : type.properties) {
            if (property.isEmbedded())
                found << EmbeddedProperty{type.id, type.name, type.table(), true, property};
        }
    }
    for (const auto& type : relTypes) {
        for (const auto& property : type.properties) {
            if (property.isEmbedded())
                found << EmbeddedProperty{type.id, type.displayName(), type.table(), false, property};
        }
    }
    return found;
}

std::optional<EmbeddedProperty> GraphSchema::embeddedProperty(const QUuid& id) const {
    for (const auto& candidate : embeddedProperties()) {
        if (candidate.id() == id)
            return candidate;
    }
    return std::nullopt;
}

QList<EmbeddedProperty> GraphSchema::textProperties() const {
    QList<EmbeddedProperty> found;
    for (const auto& type : nodeTypes) {
        for (const auto& property : type.properties) {
            if (PropertyKinds::isWords(property.kind))
                found << EmbeddedProperty{type.id, type.name, type.table(), true, property};
        }
    }
    for (const auto& type : relTypes) {
        for (const auto& property : type.properties) {
            if (PropertyKinds::isWords(property.kind))
                found << EmbeddedProperty{type.id, type.displayName(), type.table(), false, property};
        }
    }
    return found;
}

QList<SchemaIssue> GraphSchema::validate() const {
    QList<SchemaIssue> issues;
    if (nodeTypes.isEmpty())
        issues << SchemaIssue{QStringLiteral("Add at least one node type.")};

    // Node and relationship tables share one namespace that ignores case.
    QHash<QString, QString> claimed;
    auto claim = [&](const QString& table, const QString& name) {
        const QString key = table.toLower();
        auto first = claimed.constFind(key);
        if (first != claimed.cend()) {
            issues << SchemaIssue{
                QStringLiteral("“%1” and “%2” resolve to the same name in the database.").arg(name, *first)};
            return;
        }
        claimed.insert(key, name);
    };

    for (const auto& type : nodeTypes) {
        if (type.name.trimmed().isEmpty()) {
            issues << SchemaIssue{QStringLiteral("A node type has no name.")};
            continue;
        }
        claim(type.table(), type.name);
        checkProperties(type.properties, type.name, issues);
    }
    for (const auto& type : relTypes) {
        if (type.name.trimmed().isEmpty()) {
            issues << SchemaIssue{QStringLiteral("A relationship has no name.")};
            continue;
        }
        const QString table = type.table();
        claim(table, type.name);
        if (type.endpoints.isEmpty())
            issues << SchemaIssue{QStringLiteral("%1 doesn't connect anything.").arg(table)};
        checkProperties(type.properties, table, issues);
    }
    return issues;
}

void GraphSchema::removeNodeType(const QUuid& id) {
    nodeTypes.removeIf([&](const NodeType& type) { return type.id == id; });
    auto touches = [&](const RelEndpoint& endpoint) {
        return endpoint.from == id || endpoint.to == id;
    };
    QList<RelType> kept;
    kept.reserve(relTypes.size());
    for (RelType& type : relTypes) {
        const bool hadEndpoints = !type.endpoints.isEmpty();
        type.endpoints.removeIf(touches);
        if (type.twoWayLoops)
            type.twoWayLoops->removeIf(touches);
        // A type that had no endpoints to begin with is still being drawn; it stays.
        if (hadEndpoints && type.endpoints.isEmpty())
            continue;
        kept << std::move(type);
    }
    relTypes = std::move(kept);
}

void GraphSchema::mergeDuplicateRelTypes() {
    for (qsizetype first = 0; first < relTypes.size(); ++first) {
        const QString name = Identifier::relName(relTypes[first].name);
        for (qsizetype later = first + 1; later < relTypes.size();) {
            if (Identifier::relName(relTypes[later].name) != name) {
                ++later;
                continue;
            }
            const RelType folded = relTypes.takeAt(later);
            RelType& survivor = relTypes[first];

            appendMissing(survivor.endpoints, folded.endpoints);
            if (folded.twoWayLoops && !folded.twoWayLoops->isEmpty()) {
                if (!survivor.twoWayLoops)
                    survivor.twoWayLoops = QList<RelEndpoint>();
                appendMissing(*survivor.twoWayLoops, *folded.twoWayLoops);
            }
            for (const auto& property : folded.properties) {
                if (!propertyByColumn(survivor.properties, property.column()))
                    survivor.properties << property;
            }
            // The title and mark follow their column onto the survivor's property of that column.
            auto carry = [&](std::optional<QUuid>& into, const PropertyDef* from) {
                if (into || !from)
                    return;
                if (const PropertyDef* target = propertyByColumn(survivor.properties, from->column()))
                    into = target->id;
            };
            carry(survivor.titleProperty, folded.title());
            carry(survivor.markProperty, folded.mark());
        }
    }
}

void GraphSchema::dropDefaults(const QList<DefaultFill>& fills, const GraphSchema& keeping) {
    for (const auto& fill : fills) {
        QList<PropertyDef>* properties = nullptr;
        if (fill.isNode) {
            for (auto& type : nodeTypes) {
                if (type.table() == fill.table) {
                    properties = &type.properties;
                    break;
                }
            }
        } else {
            for (auto& type : relTypes) {
                if (type.table() == fill.table) {
                    properties = &type.properties;
                    break;
                }
            }
        }
        if (!properties)
            continue;
        PropertyDef* property = propertyByColumn(*properties, fill.column);
        if (!property)
            continue;
        const PropertyDef* kept = propertyAnywhere(keeping, property->id);
        property->defaultValue = kept ? kept->defaultValue : std::nullopt;
    }
}

void GraphSchema::adoptBuiltInName() {
    for (auto& type : nodeTypes) {
        // The same type always gives the same property id, so the shape and the applied shape agree.
        QByteArray bytes = type.id.toRfc4122();
        bytes[0] = static_cast<char>(static_cast<unsigned char>(bytes[0]) ^ 0x5A);
        const QUuid nameId = QUuid::fromRfc4122(bytes);
        if (type.property(nameId))
            continue;
        PropertyDef name;
        name.id = nameId;
        name.name = QStringLiteral("name");
        name.kind = PropertyKind::Text;
        type.properties.prepend(name);
    }
}

void GraphSchema::adoptLikelyTitles() {
    for (auto& type : nodeTypes) {
        if (type.titleProperty)
            continue;
        if (auto likely = PropertyDef::likelyTitle(type.properties))
            type.titleProperty = likely->id;
    }
}

QJsonObject GraphSchema::toJson() const {
    return QJsonObject{{QStringLiteral("nodeTypes"), typesJson(nodeTypes)},
                       {QStringLiteral("relTypes"), typesJson(relTypes)}};
}

GraphSchema GraphSchema::fromJson(const QJsonObject& json) {
    GraphSchema schema;
    schema.nodeTypes = typesFromJson<NodeType>(json::requireArray(json, QStringLiteral("nodeTypes")));
    schema.relTypes = typesFromJson<RelType>(json::requireArray(json, QStringLiteral("relTypes")));
    return schema;
}

QString uniqueName(const QString& base, const QSet<QString>& taken,
                   const std::function<QString(const QString&)>& key) {
    QSet<QString> lowered;
    for (const QString& name : taken)
        lowered.insert(name.toLower());
    QString candidate = base;
    for (int n = 2; lowered.contains(key(candidate).toLower()); ++n)
        candidate = QStringLiteral("%1 %2").arg(base).arg(n);
    return candidate;
}

} // namespace corvantis
