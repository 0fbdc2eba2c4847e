#include "kit/ladybug/LadybugValue.h"

#include "kit/ladybug/LadybugError.h"
#include "kit/ladybug/TextPool.h"

#include <QHash>
#include <QStringList>
#include <cstdlib>
#include <string>
#include <type_traits>
#include <vector>

namespace corvantis::ladybug {

size_t qHash(const LadybugInternalId& id, size_t seed) {
    return qHashMulti(seed, id.tableId, id.offset);
}

LadybugValue LadybugValue::list(LadybugList items) {
    return LadybugValue(std::make_shared<const LadybugList>(std::move(items)));
}

LadybugValue LadybugValue::pairs(LadybugPairs entries) {
    return LadybugValue(std::make_shared<const LadybugPairs>(std::move(entries)));
}

LadybugValue LadybugValue::fields(LadybugFields entries) {
    return LadybugValue(std::make_shared<const LadybugFields>(std::move(entries)));
}

LadybugValue LadybugValue::node(LadybugNode node) {
    return LadybugValue(std::make_shared<const LadybugNode>(std::move(node)));
}

LadybugValue LadybugValue::relationship(LadybugRelationship rel) {
    return LadybugValue(std::make_shared<const LadybugRelationship>(std::move(rel)));
}

LadybugValue LadybugValue::recursiveRelationship(LadybugRecursiveRelationship path) {
    return LadybugValue(std::make_shared<const LadybugRecursiveRelationship>(std::move(path)));
}

namespace {

template <typename T> const T* pointee(const LadybugValue::Storage& storage) {
    auto held = std::get_if<std::shared_ptr<const T>>(&storage);
    return held ? held->get() : nullptr;
}

QString fieldsDescription(const LadybugFields& fields) {
    QStringList parts;
    for (const auto& [name, value] : fields)
        parts << name + QStringLiteral(": ") + value.description();
    return QLatin1Char('{') + parts.join(QStringLiteral(", ")) + QLatin1Char('}');
}

QString idDescription(const LadybugInternalId& id) {
    return QStringLiteral("%1:%2").arg(id.tableId).arg(id.offset);
}

} // namespace

const LadybugList* LadybugValue::asList() const& {
    return pointee<LadybugList>(m_storage);
}
const LadybugPairs* LadybugValue::asPairs() const& {
    return pointee<LadybugPairs>(m_storage);
}
const LadybugFields* LadybugValue::asFields() const& {
    return pointee<LadybugFields>(m_storage);
}
const LadybugNode* LadybugValue::asNode() const& {
    return pointee<LadybugNode>(m_storage);
}
const LadybugRelationship* LadybugValue::asRelationship() const& {
    return pointee<LadybugRelationship>(m_storage);
}
const LadybugRecursiveRelationship* LadybugValue::asRecursiveRelationship() const& {
    return pointee<LadybugRecursiveRelationship>(m_storage);
}

std::optional<qint64> LadybugValue::integer() const {
    return std::visit(
        [](const auto& v) -> std::optional<qint64> {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>)
                return static_cast<qint64>(v);
            else
                return std::nullopt;
        },
        m_storage);
}

std::optional<QString> LadybugValue::text() const {
    if (auto held = std::get_if<QString>(&m_storage))
        return *held;
    return std::nullopt;
}

QString LadybugValue::description() const {
    return std::visit(
        [](const auto& v) -> QString {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::monostate>)
                return QStringLiteral("NULL");
            else if constexpr (std::is_same_v<T, bool>)
                return v ? QStringLiteral("True") : QStringLiteral("False");
            else if constexpr (std::is_integral_v<T>)
                return QString::number(v);
            else if constexpr (std::is_floating_point_v<T>)
                return QString::number(v, 'g', std::is_same_v<T, float> ? 7 : 15);
            else if constexpr (std::is_same_v<T, QString>)
                return v;
            else if constexpr (std::is_same_v<T, LadybugDecimal> || std::is_same_v<T, LadybugInt128>)
                return v.text;
            else if constexpr (std::is_same_v<T, QUuid>)
                return v.toString(QUuid::WithoutBraces);
            else if constexpr (std::is_same_v<T, QDate>)
                return v.toString(Qt::ISODate);
            else if constexpr (std::is_same_v<T, QDateTime>)
                return v.toString(v.time().msec() ? Qt::ISODateWithMs : Qt::ISODate);
            else if constexpr (std::is_same_v<T, LadybugInterval>) {
                QStringList parts;
                if (v.months)
                    parts << QStringLiteral("%1 months").arg(v.months);
                if (v.days)
                    parts << QStringLiteral("%1 days").arg(v.days);
                if (v.micros || parts.isEmpty())
                    parts << QStringLiteral("%1 microseconds").arg(v.micros);
                return parts.join(QLatin1Char(' '));
            } else if constexpr (std::is_same_v<T, LadybugInternalId>)
                return idDescription(v);
            else if constexpr (std::is_same_v<T, QByteArray>)
                return QString::fromLatin1(v.toHex());
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugList>>) {
                QStringList parts;
                for (const auto& item : *v)
                    parts << item.description();
                return QLatin1Char('[') + parts.join(QStringLiteral(",")) + QLatin1Char(']');
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugPairs>>) {
                QStringList parts;
                for (const auto& [key, value] : *v)
                    parts << key.description() + QLatin1Char('=') + value.description();
                return QLatin1Char('{') + parts.join(QStringLiteral(", ")) + QLatin1Char('}');
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugFields>>)
                return fieldsDescription(*v);
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugNode>>)
                return QStringLiteral("(%1 %2 %3)")
                    .arg(v->label, idDescription(v->id), fieldsDescription(v->properties));
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugRelationship>>)
                return QStringLiteral("(%1)-[%2 %3]->(%4)")
                    .arg(idDescription(v->sourceId), v->label, fieldsDescription(v->properties),
                         idDescription(v->targetId));
            else {
                static_assert(std::is_same_v<T, std::shared_ptr<const LadybugRecursiveRelationship>>);
                QStringList parts;
                for (const auto& node : v->nodes)
                    parts << LadybugValue::node(node).description();
                for (const auto& rel : v->relationships)
                    parts << LadybugValue::relationship(rel).description();
                return parts.join(QStringLiteral(", "));
            }
        },
        m_storage);
}

bool LadybugValue::operator==(const LadybugValue& other) const {
    if (m_storage.index() != other.m_storage.index())
        return false;
    return std::visit(
        [&](const auto& v) -> bool {
            using T = std::decay_t<decltype(v)>;
            const auto& w = std::get<T>(other.m_storage);
            if constexpr (std::is_same_v<T, std::monostate>)
                return true;
            else if constexpr (requires { v.get(); })
                return v == w || *v == *w;
            else
                return v == w;
        },
        m_storage);
}

namespace {

const LadybugValue* findProperty(const LadybugFields& fields, const QString& name) {
    for (const auto& [key, value] : fields)
        if (key == name)
            return &value;
    return nullptr;
}

} // namespace

const LadybugValue* LadybugNode::property(const QString& name) const {
    return findProperty(properties, name);
}

const LadybugValue* LadybugRelationship::property(const QString& name) const {
    return findProperty(properties, name);
}

// -- Reading ---------------------------------------------------------------------------------------

namespace {

void check(lbug_state state, const char* type) {
    if (state != LbugSuccess)
        throw LadybugError(LadybugError::Kind::GetValueFailed,
                           QStringLiteral("Failed to get %1 value with status %2")
                               .arg(QLatin1String(type))
                               .arg(static_cast<int>(state)));
}

// Takes a string that the engine allocated for us and frees it.
QString takeString(char* text) {
    QString result = QString::fromUtf8(text);
    lbug_destroy_string(text);
    return result;
}

lbug_data_type_id typeOf(lbug_value* value) {
    lbug_logical_type type;
    lbug_value_get_data_type(value, &type);
    auto id = lbug_data_type_get_id(&type);
    lbug_data_type_destroy(&type);
    return id;
}

QDateTime fromMicros(qint64 micros) {
    // Floor division keeps instants before 1970 on the right millisecond.
    qint64 ms = micros / 1000 - (micros % 1000 < 0 ? 1 : 0);
    return QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
}

template <typename T, typename Getter> T get(lbug_value* value, Getter getter, const char* type) {
    T out{};
    check(getter(value, &out), type);
    return out;
}

LadybugInternalId readId(lbug_value* value) {
    auto id = get<lbug_internal_id_t>(value, lbug_value_get_internal_id, "INTERNAL_ID");
    return {id.table_id, id.offset};
}

// The label text, reusing the column's last label when it repeats (it nearly always does).
QString takeLabel(char* text, LadybugColumnShape* shape) {
    if (!shape)
        return takeString(text);
    if (shape->lastLabelBytes != text) {
        shape->lastLabelBytes = text;
        shape->lastLabel = QString::fromUtf8(text);
    }
    lbug_destroy_string(text);
    return shape->lastLabel;
}

// Sees one property of a node or relationship being read in place: its position among the fields, its
// name, the engine's value (valid only during the call) and its type (LBUG_ANY when not known).
using PropertyVisitor =
    std::function<void(qsizetype position, const QString& name, lbug_value* value, lbug_data_type_id type)>;

using PropertyCount = lbug_state (*)(lbug_value*, uint64_t*);
using PropertyName = lbug_state (*)(lbug_value*, uint64_t, char**);
using PropertyValue = lbug_state (*)(lbug_value*, uint64_t, lbug_value*);

// The properties of a node or relationship, one by one. Every value of one result column has the same
// fields, so with a shape the names and types are asked once per column instead of once per row.
void visitProperties(lbug_value* value, LadybugColumnShape* shape, PropertyCount countOf, PropertyName nameAt,
                     PropertyValue valueAt, const char* type, const PropertyVisitor& visit) {
    uint64_t count = 0;
    check(countOf(value, &count), type);
    const bool cached = shape && shape->known && static_cast<uint64_t>(shape->names.size()) == count;
    if (shape && !cached) {
        shape->names.clear();
        shape->types.clear();
    }
    for (uint64_t i = 0; i < count; ++i) {
        lbug_value property;
        check(valueAt(value, i, &property), type);
        if (cached) {
            visit(static_cast<qsizetype>(i), shape->names[static_cast<qsizetype>(i)], &property,
                  shape->types[i]);
            continue;
        }
        char* name = nullptr;
        check(nameAt(value, i, &name), type);
        QString text = takeString(name);
        if (shape) {
            shape->names.append(text);
            shape->types.push_back(typeOf(&property));
            visit(static_cast<qsizetype>(i), text, &property, shape->types.back());
        } else {
            visit(static_cast<qsizetype>(i), text, &property, LBUG_ANY);
        }
    }
    if (shape)
        shape->known = true;
}

LadybugFields readProperties(lbug_value* value, LadybugColumnShape* shape, PropertyCount countOf,
                             PropertyName nameAt, PropertyValue valueAt, const char* type) {
    LadybugFields properties;
    visitProperties(
        value, shape, countOf, nameAt, valueAt, type,
        [&](qsizetype, const QString& name, lbug_value* property, lbug_data_type_id propertyType) {
            properties.append({name, readValue(property, propertyType)});
        });
    return properties;
}

// The label of a node or relationship.
template <typename LabelOf>
QString readLabel(lbug_value* value, LadybugColumnShape* shape, LabelOf labelOf, const char* type) {
    lbug_value label;
    check(labelOf(value, &label), type);
    char* text = nullptr;
    check(lbug_value_get_string(&label, &text), "STRING");
    return takeLabel(text, shape);
}

LadybugNode readNode(lbug_value* value, LadybugColumnShape* shape) {
    LadybugNode node;
    lbug_value id;
    check(lbug_node_val_get_id_val(value, &id), "NODE");
    node.id = readId(&id);
    node.label = readLabel(value, shape, lbug_node_val_get_label_val, "NODE");
    node.properties =
        readProperties(value, shape, lbug_node_val_get_property_size, lbug_node_val_get_property_name_at,
                       lbug_node_val_get_property_value_at, "NODE");
    return node;
}

LadybugRelationship readRel(lbug_value* value, LadybugColumnShape* shape) {
    LadybugRelationship rel;
    lbug_value id, source, target;
    check(lbug_rel_val_get_id_val(value, &id), "REL");
    rel.id = readId(&id);
    check(lbug_rel_val_get_src_id_val(value, &source), "REL");
    rel.sourceId = readId(&source);
    check(lbug_rel_val_get_dst_id_val(value, &target), "REL");
    rel.targetId = readId(&target);
    rel.label = readLabel(value, shape, lbug_rel_val_get_label_val, "REL");
    rel.properties =
        readProperties(value, shape, lbug_rel_val_get_property_size, lbug_rel_val_get_property_name_at,
                       lbug_rel_val_get_property_value_at, "REL");
    return rel;
}

LadybugList readElements(lbug_value* value, uint64_t count) {
    LadybugList items;
    items.reserve(static_cast<qsizetype>(count));
    for (uint64_t i = 0; i < count; ++i) {
        lbug_value element;
        check(lbug_value_get_list_element(value, i, &element), "LIST");
        items.append(readValue(&element));
    }
    return items;
}

LadybugFields readFields(lbug_value* value) {
    uint64_t count = 0;
    check(lbug_value_get_struct_num_fields(value, &count), "STRUCT");
    LadybugFields fields;
    fields.reserve(static_cast<qsizetype>(count));
    for (uint64_t i = 0; i < count; ++i) {
        char* name = nullptr;
        check(lbug_value_get_struct_field_name(value, i, &name), "STRUCT");
        lbug_value field;
        check(lbug_value_get_struct_field_value(value, i, &field), "STRUCT");
        fields.append({takeString(name), readValue(&field)});
    }
    return fields;
}

// Only for types without an accessor of their own (SERIAL, and kinds added later): the engine's text.
QString plainText(lbug_value* value) {
    return takeString(lbug_value_to_string(value));
}

} // namespace

std::optional<ScalarValue> readScalar(lbug_value* value, lbug_data_type_id type, TextPool* texts) {
    if (value == nullptr || value->_value == nullptr || lbug_value_is_null(value))
        return ScalarValue{};
    if (type == LBUG_ANY)
        type = typeOf(value);
    switch (type) {
    case LBUG_STRING: {
        char* text = nullptr;
        check(lbug_value_get_string(value, &text), "STRING");
        if (!texts)
            return ScalarValue{takeString(text)};
        QString pooled = texts->text(text);
        lbug_destroy_string(text);
        return ScalarValue{std::move(pooled)};
    }
    case LBUG_DOUBLE:
        return ScalarValue{get<double>(value, lbug_value_get_double, "DOUBLE")};
    case LBUG_BOOL:
        return ScalarValue{get<bool>(value, lbug_value_get_bool, "BOOL")};
    case LBUG_INT64:
        return ScalarValue{static_cast<qint64>(get<int64_t>(value, lbug_value_get_int64, "INT64"))};
    default:
        return std::nullopt;
    }
}

LadybugValue readValue(lbug_value* value, lbug_data_type_id knownType, LadybugColumnShape* shape) {
    if (value == nullptr || value->_value == nullptr || lbug_value_is_null(value))
        return {};
    auto type = knownType != LBUG_ANY ? knownType : typeOf(value);
    switch (type) {
    case LBUG_BOOL:
        return get<bool>(value, lbug_value_get_bool, "BOOL");
    case LBUG_INT64:
        return static_cast<qint64>(get<int64_t>(value, lbug_value_get_int64, "INT64"));
    case LBUG_INT32:
        return static_cast<qint32>(get<int32_t>(value, lbug_value_get_int32, "INT32"));
    case LBUG_INT16:
        return static_cast<qint16>(get<int16_t>(value, lbug_value_get_int16, "INT16"));
    case LBUG_INT8:
        return static_cast<qint8>(get<int8_t>(value, lbug_value_get_int8, "INT8"));
    case LBUG_UINT64:
        return static_cast<quint64>(get<uint64_t>(value, lbug_value_get_uint64, "UINT64"));
    case LBUG_UINT32:
        return static_cast<quint32>(get<uint32_t>(value, lbug_value_get_uint32, "UINT32"));
    case LBUG_UINT16:
        return static_cast<quint16>(get<uint16_t>(value, lbug_value_get_uint16, "UINT16"));
    case LBUG_UINT8:
        return static_cast<quint8>(get<uint8_t>(value, lbug_value_get_uint8, "UINT8"));
    case LBUG_SERIAL: {
        bool ok = false;
        qint64 number = plainText(value).toLongLong(&ok);
        check(ok ? LbugSuccess : LbugError, "SERIAL");
        return number;
    }
    case LBUG_INT128: {
        auto wide = get<lbug_int128_t>(value, lbug_value_get_int128, "INT128");
        char* text = nullptr;
        check(lbug_int128_t_to_string(wide, &text), "INT128");
        return LadybugInt128{wide.low, wide.high, takeString(text)};
    }
    case LBUG_DOUBLE:
        return get<double>(value, lbug_value_get_double, "DOUBLE");
    case LBUG_FLOAT:
        return get<float>(value, lbug_value_get_float, "FLOAT");
    case LBUG_DATE: {
        auto date = get<lbug_date_t>(value, lbug_value_get_date, "DATE");
        return QDate(1970, 1, 1).addDays(date.days);
    }
    case LBUG_TIMESTAMP:
        return fromMicros(get<lbug_timestamp_t>(value, lbug_value_get_timestamp, "TIMESTAMP").value);
    case LBUG_TIMESTAMP_TZ:
        return fromMicros(get<lbug_timestamp_tz_t>(value, lbug_value_get_timestamp_tz, "TIMESTAMP_TZ").value);
    case LBUG_TIMESTAMP_SEC:
        return QDateTime::fromSecsSinceEpoch(
            get<lbug_timestamp_sec_t>(value, lbug_value_get_timestamp_sec, "TIMESTAMP_SEC").value, Qt::UTC);
    case LBUG_TIMESTAMP_MS:
        return QDateTime::fromMSecsSinceEpoch(
            get<lbug_timestamp_ms_t>(value, lbug_value_get_timestamp_ms, "TIMESTAMP_MS").value, Qt::UTC);
    case LBUG_TIMESTAMP_NS: {
        qint64 ns = get<lbug_timestamp_ns_t>(value, lbug_value_get_timestamp_ns, "TIMESTAMP_NS").value;
        return fromMicros(ns / 1000 - (ns % 1000 < 0 ? 1 : 0));
    }
    case LBUG_INTERVAL: {
        auto interval = get<lbug_interval_t>(value, lbug_value_get_interval, "INTERVAL");
        return LadybugInterval{interval.months, interval.days, interval.micros};
    }
    case LBUG_DECIMAL: {
        char* text = nullptr;
        check(lbug_value_get_decimal_as_string(value, &text), "DECIMAL");
        return LadybugDecimal{takeString(text)};
    }
    case LBUG_INTERNAL_ID:
        return readId(value);
    case LBUG_STRING: {
        char* text = nullptr;
        check(lbug_value_get_string(value, &text), "STRING");
        return takeString(text);
    }
    case LBUG_BLOB: {
        uint8_t* bytes = nullptr;
        uint64_t length = 0;
        check(lbug_value_get_blob(value, &bytes, &length), "BLOB");
        QByteArray blob(reinterpret_cast<const char*>(bytes), static_cast<qsizetype>(length));
        lbug_destroy_blob(bytes);
        return blob;
    }
    case LBUG_UUID: {
        char* text = nullptr;
        check(lbug_value_get_uuid(value, &text), "UUID");
        return QUuid::fromString(takeString(text));
    }
    case LBUG_LIST: {
        uint64_t count = 0;
        check(lbug_value_get_list_size(value, &count), "LIST");
        return LadybugValue::list(readElements(value, count));
    }
    case LBUG_ARRAY: {
        lbug_logical_type arrayType;
        lbug_value_get_data_type(value, &arrayType);
        uint64_t count = 0;
        auto state = lbug_data_type_get_num_elements_in_array(&arrayType, &count);
        lbug_data_type_destroy(&arrayType);
        check(state, "ARRAY");
        return LadybugValue::list(readElements(value, count));
    }
    case LBUG_STRUCT:
        return LadybugValue::fields(readFields(value));
    case LBUG_MAP: {
        uint64_t count = 0;
        check(lbug_value_get_map_size(value, &count), "MAP");
        LadybugPairs entries;
        entries.reserve(static_cast<qsizetype>(count));
        for (uint64_t i = 0; i < count; ++i) {
            lbug_value key, item;
            check(lbug_value_get_map_key(value, i, &key), "MAP");
            check(lbug_value_get_map_value(value, i, &item), "MAP");
            entries.append({readValue(&key), readValue(&item)});
        }
        return LadybugValue::pairs(std::move(entries));
    }
    case LBUG_UNION: {
        // The engine keeps only the active member of a union, as its first child.
        lbug_value member;
        check(lbug_value_get_struct_field_value(value, 0, &member), "UNION");
        return readValue(&member);
    }
    case LBUG_NODE:
        return LadybugValue::node(readNode(value, shape));
    case LBUG_REL:
        return LadybugValue::relationship(readRel(value, shape));
    case LBUG_RECURSIVE_REL: {
        lbug_value nodes, rels;
        check(lbug_value_get_recursive_rel_node_list(value, &nodes), "RECURSIVE_REL");
        check(lbug_value_get_recursive_rel_rel_list(value, &rels), "RECURSIVE_REL");
        LadybugRecursiveRelationship path;
        uint64_t count = 0;
        check(lbug_value_get_list_size(&nodes, &count), "LIST");
        for (uint64_t i = 0; i < count; ++i) {
            lbug_value element;
            check(lbug_value_get_list_element(&nodes, i, &element), "LIST");
            path.nodes.append(readNode(&element, nullptr));
        }
        check(lbug_value_get_list_size(&rels, &count), "LIST");
        for (uint64_t i = 0; i < count; ++i) {
            lbug_value element;
            check(lbug_value_get_list_element(&rels, i, &element), "LIST");
            path.relationships.append(readRel(&element, nullptr));
        }
        return LadybugValue::recursiveRelationship(std::move(path));
    }
    default:
        return plainText(value);
    }
}

// -- Writing ---------------------------------------------------------------------------------------

void LbugValueDeleter::operator()(lbug_value* value) const {
    lbug_value_destroy(value);
}

namespace {

[[noreturn]] void conversionFailed(const QString& message) {
    throw LadybugError(LadybugError::Kind::ValueConversionFailed, message);
}

OwnedLbugValue own(lbug_value* value) {
    if (value == nullptr)
        conversionFailed(QStringLiteral("Failed to create a database value."));
    return OwnedLbugValue(value);
}

OwnedLbugValue makeList(const LadybugList& items) {
    if (items.isEmpty())
        conversionFailed(QStringLiteral("Cannot convert empty array to Ladybug list"));
    std::vector<OwnedLbugValue> owned;
    std::vector<lbug_value*> raw;
    for (const auto& item : items) {
        owned.push_back(makeValue(item));
        raw.push_back(owned.back().get());
    }
    lbug_value* out = nullptr;
    if (lbug_value_create_list(raw.size(), raw.data(), &out) != LbugSuccess)
        conversionFailed(
            QStringLiteral("Cannot convert an array whose elements differ in type to Ladybug list"));
    return own(out);
}

OwnedLbugValue makeMap(const LadybugPairs& entries) {
    if (entries.isEmpty())
        conversionFailed(QStringLiteral("Cannot convert empty array to Ladybug list"));
    std::vector<OwnedLbugValue> owned;
    std::vector<lbug_value*> keys, values;
    for (const auto& [key, item] : entries) {
        owned.push_back(makeValue(key));
        keys.push_back(owned.back().get());
        owned.push_back(makeValue(item));
        values.push_back(owned.back().get());
    }
    lbug_value* out = nullptr;
    if (lbug_value_create_map(keys.size(), keys.data(), values.data(), &out) != LbugSuccess)
        conversionFailed(
            QStringLiteral("Cannot convert a map whose keys or values differ in type to Ladybug map"));
    return own(out);
}

OwnedLbugValue makeStruct(const LadybugFields& fields) {
    if (fields.isEmpty())
        conversionFailed(QStringLiteral("Cannot convert an empty struct to a Ladybug struct"));
    std::vector<OwnedLbugValue> owned;
    std::vector<QByteArray> names;
    std::vector<const char*> rawNames;
    std::vector<lbug_value*> values;
    names.reserve(static_cast<size_t>(fields.size()));
    for (const auto& [name, item] : fields) {
        names.push_back(name.toUtf8());
        rawNames.push_back(names.back().constData());
        owned.push_back(makeValue(item));
        values.push_back(owned.back().get());
    }
    lbug_value* out = nullptr;
    if (lbug_value_create_struct(values.size(), rawNames.data(), values.data(), &out) != LbugSuccess)
        conversionFailed(QStringLiteral("Cannot convert a struct to a Ladybug struct"));
    return own(out);
}

qint64 toMicros(const QDateTime& time) {
    return time.toMSecsSinceEpoch() * 1000;
}

} // namespace

OwnedLbugValue makeValue(const LadybugValue& value) {
    return std::visit(
        [](const auto& v) -> OwnedLbugValue {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::monostate>)
                return own(lbug_value_create_null());
            else if constexpr (std::is_same_v<T, bool>)
                return own(lbug_value_create_bool(v));
            else if constexpr (std::is_same_v<T, qint8>)
                return own(lbug_value_create_int8(v));
            else if constexpr (std::is_same_v<T, qint16>)
                return own(lbug_value_create_int16(v));
            else if constexpr (std::is_same_v<T, qint32>)
                return own(lbug_value_create_int32(v));
            else if constexpr (std::is_same_v<T, qint64>)
                return own(lbug_value_create_int64(v));
            else if constexpr (std::is_same_v<T, quint8>)
                return own(lbug_value_create_uint8(v));
            else if constexpr (std::is_same_v<T, quint16>)
                return own(lbug_value_create_uint16(v));
            else if constexpr (std::is_same_v<T, quint32>)
                return own(lbug_value_create_uint32(v));
            else if constexpr (std::is_same_v<T, quint64>)
                return own(lbug_value_create_uint64(v));
            else if constexpr (std::is_same_v<T, float>)
                return own(lbug_value_create_float(v));
            else if constexpr (std::is_same_v<T, double>)
                return own(lbug_value_create_double(v));
            else if constexpr (std::is_same_v<T, QString>)
                return own(lbug_value_create_string(v.toUtf8().constData()));
            else if constexpr (std::is_same_v<T, QUuid>)
                return own(lbug_value_create_string(v.toString(QUuid::WithoutBraces).toUtf8().constData()));
            else if constexpr (std::is_same_v<T, QDate>)
                return own(lbug_value_create_date({static_cast<int32_t>(QDate(1970, 1, 1).daysTo(v))}));
            else if constexpr (std::is_same_v<T, QDateTime>)
                return own(lbug_value_create_timestamp({toMicros(v)}));
            else if constexpr (std::is_same_v<T, LadybugInterval>)
                return own(lbug_value_create_interval({v.months, v.days, v.micros}));
            else if constexpr (std::is_same_v<T, LadybugInternalId>)
                return own(lbug_value_create_internal_id({v.tableId, v.offset}));
            else if constexpr (std::is_same_v<T, LadybugInt128>)
                return own(lbug_value_create_int128({v.low, v.high}));
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugList>>)
                return makeList(*v);
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugPairs>>)
                return makeMap(*v);
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugFields>>)
                return makeStruct(*v);
            else {
                conversionFailed(QStringLiteral("A value of this kind cannot be sent to the database."));
            }
        },
        value.storage());
}

} // namespace corvantis::ladybug
