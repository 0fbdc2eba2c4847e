#include "kit/schema/GraphValue.h"

#include "kit/schema/NodeType.h"
#include "kit/schema/RelType.h"
#include "kit/support/Json.h"

#include <QHashFunctions>
#include <QJsonObject>
#include <algorithm>
#include <cmath>

namespace corvantis {

namespace {

// Shared pointers are compared by what they hold; the same pointer is trivially equal.
template <typename T> bool samePointee(const std::shared_ptr<const T>& a, const std::shared_ptr<const T>& b) {
    return a == b || *a == *b;
}

template <typename Map> size_t hashProperties(const Map& properties, size_t seed) {
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        seed = qHashMulti(seed, it.key(), it.value());
    return seed;
}

QJsonObject propertiesJson(const PropertyMap& properties) {
    QJsonObject object;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it)
        object.insert(it.key(), it.value().toJson());
    return object;
}

PropertyMap propertiesFromJson(const QJsonObject& object) {
    PropertyMap properties;
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        properties.insert(it.key(), GraphValue::fromJson(it.value()));
    return properties;
}

// A stable short title for a record seen without its shape: a name-like property if one holds
// text, else the table's name.
QString recordTitleWithoutShape(const QString& label, const PropertyMap& properties) {
    for (const auto* column : {"name", "title", "label"}) {
        auto it = properties.constFind(QString::fromLatin1(column));
        if (it != properties.cend() && it->asString()) {
            if (auto text = it->titleText())
                return *text;
        }
    }
    return label;
}

} // namespace

// -- PropertyMap ---------------------------------------------------------------------------------------

// The names of one or more maps' entries; never changed while shared.
struct PropertyMap::Names {
    QAtomicInt ref{1};
    QStringList list;
};

// A map's values, with the count of maps that share them, in one allocation: the values follow the
// header.
struct PropertyMap::Data {
    QAtomicInt ref{1};
    int size = 0;
    int capacity = 0;
    Names* names = nullptr; // as many names as values

    GraphValue* values() { return reinterpret_cast<GraphValue*>(this + 1); }

    static Data* allocate(qsizetype capacity) {
        static_assert(sizeof(Data) % alignof(GraphValue) == 0);
        void* memory = ::operator new(sizeof(Data) + static_cast<size_t>(capacity) * sizeof(GraphValue));
        Data* data = new (memory) Data;
        data->capacity = static_cast<int>(capacity);
        return data;
    }
    static void release(Data* data) {
        if (!data || data->ref.deref())
            return;
        GraphValue* values = data->values();
        for (int i = 0; i < data->size; ++i)
            values[i].~GraphValue();
        if (data->names && !data->names->ref.deref())
            delete data->names;
        data->~Data();
        ::operator delete(data);
    }
};

PropertyMap::PropertyMap(std::initializer_list<std::pair<QString, GraphValue>> entries) {
    reserve(static_cast<qsizetype>(entries.size()));
    for (const auto& [key, value] : entries)
        insert(key, value);
}

PropertyMap::PropertyMap(const PropertyMap& keysOf, QList<GraphValue>& values) {
    Q_ASSERT(keysOf.size() == values.size());
    if (values.isEmpty())
        return;
    d = Data::allocate(values.size());
    d->names = keysOf.d->names;
    d->names->ref.ref();
    GraphValue* out = d->values();
    for (GraphValue& value : values)
        new (out + d->size++) GraphValue(std::move(value));
    values.clear();
}

PropertyMap::PropertyMap(const PropertyMap& other)
    : d(other.d) {
    if (d)
        d->ref.ref();
}

PropertyMap& PropertyMap::operator=(const PropertyMap& other) {
    PropertyMap copy(other);
    std::swap(d, copy.d);
    return *this;
}

PropertyMap::~PropertyMap() {
    Data::release(d);
}

qsizetype PropertyMap::size() const {
    return d ? d->size : 0;
}

const QString* PropertyMap::keyData() const {
    return d ? d->names->list.constData() : nullptr;
}

const GraphValue* PropertyMap::valueData() const {
    return d ? d->values() : nullptr;
}

void PropertyMap::detach(qsizetype capacity, bool ownNames) {
    capacity = std::max(capacity, size());
    if (!d || d->ref.loadRelaxed() != 1 || d->capacity < capacity) {
        Data* copy = Data::allocate(std::max<qsizetype>(capacity, 1));
        copy->names = d ? d->names : new Names;
        if (d) {
            copy->names->ref.ref();
            const GraphValue* from = d->values();
            GraphValue* to = copy->values();
            const bool steal = d->ref.loadRelaxed() == 1;
            for (int i = 0; i < d->size; ++i)
                new (to + copy->size++)
                    GraphValue(steal ? std::move(const_cast<GraphValue&>(from[i])) : from[i]);
        }
        Data::release(std::exchange(d, copy));
    }
    if (ownNames && d->names->ref.loadRelaxed() != 1) {
        Names* names = new Names;
        names->list = d->names->list;
        if (!d->names->ref.deref())
            delete d->names;
        d->names = names;
    }
}

void PropertyMap::reserve(qsizetype size) {
    if (size > (d ? d->capacity : 0))
        detach(size, false);
}

void PropertyMap::clear() {
    Data::release(std::exchange(d, nullptr));
}

qsizetype PropertyMap::lowerBound(const QString& key) const {
    const QString* keys = keyData();
    const qsizetype count = size();
    // Keys in order, so the usual case of filling a map appends without a search.
    if (count == 0 || keys[count - 1] < key)
        return count;
    return std::lower_bound(keys, keys + count, key) - keys;
}

bool PropertyMap::holdsAt(qsizetype position, const QString& key) const {
    return position < size() && keyData()[position] == key;
}

PropertyMap::iterator PropertyMap::begin() {
    if (!d)
        return {};
    detach(d->capacity, false);
    return iterator(keyData(), d->values());
}

PropertyMap::iterator PropertyMap::end() {
    if (!d)
        return {};
    detach(d->capacity, false);
    return iterator(keyData() + d->size, d->values() + d->size);
}

PropertyMap::const_iterator PropertyMap::begin() const {
    return const_iterator(keyData(), valueData());
}

PropertyMap::const_iterator PropertyMap::end() const {
    return const_iterator(keyData() + size(), valueData() + size());
}

PropertyMap::const_iterator PropertyMap::constFind(const QString& key) const {
    const qsizetype position = lowerBound(key);
    if (!holdsAt(position, key))
        return cend();
    return const_iterator(keyData() + position, valueData() + position);
}

PropertyMap::iterator PropertyMap::find(const QString& key) {
    const qsizetype position = lowerBound(key);
    if (!holdsAt(position, key))
        return end();
    detach(d->capacity, false);
    return iterator(keyData() + position, d->values() + position);
}

GraphValue PropertyMap::value(const QString& key, const GraphValue& defaultValue) const {
    const qsizetype position = lowerBound(key);
    return holdsAt(position, key) ? valueData()[position] : defaultValue;
}

template <typename Value> PropertyMap::iterator PropertyMap::put(const QString& key, Value&& value) {
    const qsizetype position = lowerBound(key);
    if (holdsAt(position, key)) {
        detach(d->capacity, false);
        d->values()[position] = std::forward<Value>(value);
        return iterator(keyData() + position, d->values() + position);
    }
    const qsizetype count = size();
    const qsizetype capacity = d ? d->capacity : 0;
    detach(count < capacity ? capacity : std::max<qsizetype>(4, count * 2), true);
    d->names->list.insert(position, key);
    GraphValue* values = d->values();
    new (values + count) GraphValue();
    ++d->size;
    for (qsizetype i = count; i > position; --i)
        values[i] = std::move(values[i - 1]);
    values[position] = std::forward<Value>(value);
    return iterator(keyData() + position, values + position);
}

GraphValue& PropertyMap::operator[](const QString& key) {
    const qsizetype position = lowerBound(key);
    if (holdsAt(position, key)) {
        detach(d->capacity, false);
        return d->values()[position];
    }
    return put(key, GraphValue()).value();
}

PropertyMap::iterator PropertyMap::insert(const QString& key, const GraphValue& value) {
    return put(key, value);
}

PropertyMap::iterator PropertyMap::insert(const QString& key, GraphValue&& value) {
    return put(key, std::move(value));
}

void PropertyMap::insert(const PropertyMap& other) {
    for (auto it = other.cbegin(); it != other.cend(); ++it)
        insert(it.key(), it.value());
}

void PropertyMap::removeAt(qsizetype position) {
    detach(d->capacity, true);
    d->names->list.remove(position);
    GraphValue* values = d->values();
    for (qsizetype i = position; i + 1 < d->size; ++i)
        values[i] = std::move(values[i + 1]);
    values[--d->size].~GraphValue();
}

qsizetype PropertyMap::remove(const QString& key) {
    const qsizetype position = lowerBound(key);
    if (!holdsAt(position, key))
        return 0;
    removeAt(position);
    return 1;
}

GraphValue PropertyMap::take(const QString& key) {
    const qsizetype position = lowerBound(key);
    if (!holdsAt(position, key))
        return GraphValue();
    GraphValue taken = valueData()[position];
    removeAt(position);
    return taken;
}

PropertyMap::iterator PropertyMap::erase(const_iterator position) {
    const qsizetype index = position.keyPointer() - keyData();
    removeAt(index);
    return iterator(keyData() + index, d->values() + index);
}

QStringList PropertyMap::keys() const {
    return d ? d->names->list : QStringList();
}

QList<GraphValue> PropertyMap::values() const {
    return QList<GraphValue>(valueData(), valueData() + size());
}

bool PropertyMap::operator==(const PropertyMap& other) const {
    if (d == other.d)
        return true;
    if (size() != other.size())
        return false;
    if (isEmpty())
        return true;
    if (d->names != other.d->names && d->names->list != other.d->names->list)
        return false;
    return std::equal(valueData(), valueData() + size(), other.valueData());
}

// -- GraphValue ----------------------------------------------------------------------------------------

GraphValue::GraphValue()
    : m_storage(std::monostate{}) {
}

GraphValue::GraphValue(Storage storage)
    : m_storage(std::move(storage)) {
}

GraphValue GraphValue::string(const QString& text) {
    return GraphValue(Storage(std::in_place_index<0>, text));
}

GraphValue GraphValue::string(QString&& text) {
    return GraphValue(Storage(std::in_place_index<0>, std::move(text)));
}

GraphValue GraphValue::number(double value) {
    return GraphValue(Storage(std::in_place_index<1>, value));
}

GraphValue GraphValue::integer(qint64 value) {
    return GraphValue(Storage(std::in_place_index<2>, value));
}

GraphValue GraphValue::boolean(bool value) {
    return GraphValue(Storage(std::in_place_index<3>, value));
}

GraphValue GraphValue::node(const NodeRecord& node) {
    return GraphValue(Storage(std::make_shared<const NodeRecord>(node)));
}

GraphValue GraphValue::relationship(const RelRecord& rel) {
    return GraphValue(Storage(std::make_shared<const RelRecord>(rel)));
}

GraphValue GraphValue::path(const GraphPath& path) {
    return GraphValue(Storage(std::make_shared<const GraphPath>(path)));
}

GraphValue GraphValue::list(const List& items) {
    return GraphValue(Storage(std::make_shared<const List>(items)));
}

GraphValue GraphValue::map(const Map& entries) {
    return GraphValue(Storage(std::make_shared<const Map>(entries)));
}

GraphValue::Kind GraphValue::kind() const {
    return static_cast<Kind>(m_storage.index());
}

const QString* GraphValue::asString() const {
    return std::get_if<0>(&m_storage);
}

const double* GraphValue::asNumber() const {
    return std::get_if<1>(&m_storage);
}

const qint64* GraphValue::asInteger() const {
    return std::get_if<2>(&m_storage);
}

const bool* GraphValue::asBool() const {
    return std::get_if<3>(&m_storage);
}

const NodeRecord* GraphValue::asNode() const {
    auto p = std::get_if<4>(&m_storage);
    return p ? p->get() : nullptr;
}

const RelRecord* GraphValue::asRelationship() const {
    auto p = std::get_if<5>(&m_storage);
    return p ? p->get() : nullptr;
}

const GraphPath* GraphValue::asPath() const {
    auto p = std::get_if<6>(&m_storage);
    return p ? p->get() : nullptr;
}

const GraphValue::List* GraphValue::asList() const {
    auto p = std::get_if<7>(&m_storage);
    return p ? p->get() : nullptr;
}

const GraphValue::Map* GraphValue::asMap() const {
    auto p = std::get_if<8>(&m_storage);
    return p ? p->get() : nullptr;
}

std::optional<QString> GraphValue::stringValue() const {
    if (auto text = asString(); text && !text->isEmpty())
        return *text;
    return std::nullopt;
}

std::optional<double> GraphValue::doubleValue() const {
    if (auto x = asNumber())
        return *x;
    if (auto n = asInteger())
        return static_cast<double>(*n);
    return std::nullopt;
}

QString GraphValue::format(double x) {
    if (std::isfinite(x) && std::fabs(x) < 1e15 && x == std::floor(x))
        return QString::number(static_cast<qint64>(x));
    return QString::asprintf("%.6g", x);
}

QString GraphValue::displayText() const {
    switch (kind()) {
    case Kind::String:
        return *asString();
    case Kind::Number:
        return format(*asNumber());
    case Kind::Integer:
        return QString::number(*asInteger());
    case Kind::Bool:
        return *asBool() ? QStringLiteral("true") : QStringLiteral("false");
    case Kind::Node: {
        const NodeRecord* node = asNode();
        return recordTitleWithoutShape(node->label, node->properties);
    }
    case Kind::Relationship: {
        const RelRecord* rel = asRelationship();
        return recordTitleWithoutShape(rel->label, rel->properties);
    }
    case Kind::Path: {
        // Nodes and relationships alternate along the path: n0 → r0 → n1 → ...
        const GraphPath* path = asPath();
        QStringList steps;
        qsizetype count = std::max(path->nodes.size(), path->relationships.size());
        for (qsizetype i = 0; i < count; ++i) {
            if (i < path->nodes.size())
                steps << GraphValue::node(path->nodes[i]).displayText();
            if (i < path->relationships.size())
                steps << GraphValue::relationship(path->relationships[i]).displayText();
        }
        return steps.join(QStringLiteral(" → "));
    }
    case Kind::List: {
        QStringList parts;
        for (const auto& item : *asList())
            parts << item.displayText();
        return parts.join(QStringLiteral(", "));
    }
    case Kind::Map: {
        // QMap iterates in key order.
        QStringList parts;
        const Map* entries = asMap();
        for (auto it = entries->cbegin(); it != entries->cend(); ++it)
            parts << it.key() + QStringLiteral(": ") + it.value().displayText();
        return parts.join(QStringLiteral(", "));
    }
    case Kind::Null:
        break;
    }
    return QStringLiteral("—");
}

std::optional<QString> GraphValue::titleText() const {
    if (isNull())
        return std::nullopt;
    QString text = displayText().trimmed();
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

QJsonValue GraphValue::toJson() const {
    switch (kind()) {
    case Kind::String:
        return *asString();
    case Kind::Number:
        return *asNumber();
    case Kind::Integer:
        return static_cast<double>(*asInteger());
    case Kind::Bool:
        return *asBool();
    default:
        return QJsonValue(QJsonValue::Null);
    }
}

GraphValue GraphValue::fromJson(const QJsonValue& json) {
    if (json.isNull() || json.isUndefined())
        return GraphValue();
    if (json.isBool())
        return boolean(json.toBool());
    if (json.isDouble())
        return number(json.toDouble());
    if (json.isString())
        return string(json.toString());
    throw json::DecodeError("a value must be a string, a number, a bool or null");
}

bool GraphValue::operator==(const GraphValue& other) const {
    if (m_storage.index() != other.m_storage.index())
        return false;
    switch (kind()) {
    case Kind::String:
        return *asString() == *other.asString();
    case Kind::Number:
        return *asNumber() == *other.asNumber();
    case Kind::Integer:
        return *asInteger() == *other.asInteger();
    case Kind::Bool:
        return *asBool() == *other.asBool();
    case Kind::Node:
        return samePointee(std::get<4>(m_storage), std::get<4>(other.m_storage));
    case Kind::Relationship:
        return samePointee(std::get<5>(m_storage), std::get<5>(other.m_storage));
    case Kind::Path:
        return samePointee(std::get<6>(m_storage), std::get<6>(other.m_storage));
    case Kind::List:
        return samePointee(std::get<7>(m_storage), std::get<7>(other.m_storage));
    case Kind::Map:
        return samePointee(std::get<8>(m_storage), std::get<8>(other.m_storage));
    case Kind::Null:
        return true;
    }
    return false;
}

size_t qHash(const GraphValue& value, size_t seed) {
    using ::qHash; // the overloads of this namespace hide Qt's for built-in types
    seed = qHash(static_cast<int>(value.kind()), seed);
    switch (value.kind()) {
    case GraphValue::Kind::String:
        return qHash(*value.asString(), seed);
    case GraphValue::Kind::Number:
        return qHash(*value.asNumber(), seed);
    case GraphValue::Kind::Integer:
        return qHash(*value.asInteger(), seed);
    case GraphValue::Kind::Bool:
        return qHash(*value.asBool(), seed);
    case GraphValue::Kind::Node:
        return qHash(*value.asNode(), seed);
    case GraphValue::Kind::Relationship:
        return qHash(*value.asRelationship(), seed);
    case GraphValue::Kind::Path: {
        const GraphPath* path = value.asPath();
        for (const auto& node : path->nodes)
            seed = qHash(node, seed);
        for (const auto& rel : path->relationships)
            seed = qHash(rel, seed);
        return seed;
    }
    case GraphValue::Kind::List:
        for (const auto& item : *value.asList())
            seed = qHash(item, seed);
        return seed;
    case GraphValue::Kind::Map:
        return hashProperties(*value.asMap(), seed);
    case GraphValue::Kind::Null:
        break;
    }
    return seed;
}

QString NodeRecord::title(const NodeType* type) const {
    if (!type)
        return label;
    if (const PropertyDef* property = type->title()) {
        auto it = properties.constFind(property->column());
        if (it != properties.cend()) {
            if (auto text = it->titleText())
                return *text;
        }
    }
    return type->name;
}

QJsonObject NodeRecord::toJson() const {
    return QJsonObject{{QStringLiteral("id"), id},
                       {QStringLiteral("label"), label},
                       {QStringLiteral("properties"), propertiesJson(properties)}};
}

NodeRecord NodeRecord::fromJson(const QJsonObject& json) {
    NodeRecord node;
    node.id = json::requireString(json, QStringLiteral("id"));
    node.label = json::requireString(json, QStringLiteral("label"));
    node.properties = propertiesFromJson(json::requireObject(json, QStringLiteral("properties")));
    return node;
}

std::optional<QString> RelRecord::title(const RelType* type) const {
    if (!type)
        return std::nullopt;
    const PropertyDef* property = type->title();
    if (!property)
        return std::nullopt;
    return properties.value(property->column()).titleText();
}

QJsonObject RelRecord::toJson() const {
    return QJsonObject{{QStringLiteral("id"), id},
                       {QStringLiteral("label"), label},
                       {QStringLiteral("from"), from},
                       {QStringLiteral("to"), to},
                       {QStringLiteral("properties"), propertiesJson(properties)}};
}

RelRecord RelRecord::fromJson(const QJsonObject& json) {
    RelRecord rel;
    rel.id = json::requireString(json, QStringLiteral("id"));
    rel.label = json::requireString(json, QStringLiteral("label"));
    rel.from = json::requireString(json, QStringLiteral("from"));
    rel.to = json::requireString(json, QStringLiteral("to"));
    rel.properties = propertiesFromJson(json::requireObject(json, QStringLiteral("properties")));
    return rel;
}

size_t qHash(const NodeRecord& node, size_t seed) {
    return hashProperties(node.properties, qHashMulti(seed, node.id, node.label));
}

size_t qHash(const RelRecord& rel, size_t seed) {
    return hashProperties(rel.properties, qHashMulti(seed, rel.id, rel.label, rel.from, rel.to));
}

} // namespace corvantis
