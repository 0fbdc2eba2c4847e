#pragma once

#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <iterator>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

namespace corvantis {

struct NodeRecord;
struct RelRecord;
struct GraphPath;
class GraphValue;
class PropertyMap;

// What one cell of the database holds. The composite cases are held behind shared immutable pointers
// so that a value stays cheap to copy; equality and hashing are structural.
class GraphValue {
public:
    // The cases, in their fixed order.
    enum class Kind { String, Number, Integer, Bool, Node, Relationship, Path, List, Map, Null };
    using List = QList<GraphValue>;
    using Map = QMap<QString, GraphValue>;

    GraphValue(); // null
    static GraphValue string(const QString& text);
    static GraphValue string(QString&& text);
    static GraphValue number(double value);
    static GraphValue integer(qint64 value);
    static GraphValue boolean(bool value);
    static GraphValue node(const NodeRecord& node);
    static GraphValue relationship(const RelRecord& rel);
    static GraphValue path(const GraphPath& path);
    static GraphValue list(const List& items);
    static GraphValue map(const Map& entries);
    static GraphValue null() { return GraphValue(); }

    Kind kind() const;
    bool isNull() const { return kind() == Kind::Null; }

    // The payload of one case, or nullptr when the value is of another case.
    const QString* asString() const;
    const double* asNumber() const;
    const qint64* asInteger() const;
    const bool* asBool() const;
    const NodeRecord* asNode() const;
    const RelRecord* asRelationship() const;
    const GraphPath* asPath() const;
    const List* asList() const;
    const Map* asMap() const;

    // The text of a non-empty string; absent otherwise.
    std::optional<QString> stringValue() const;
    // A number as it is, an integer as a double; absent otherwise.
    std::optional<double> doubleValue() const;
    // The text a cell shows.
    QString displayText() const;
    // Absent for null; otherwise displayText trimmed, absent when that is empty.
    std::optional<QString> titleText() const;

    // A whole number below 1e15 in magnitude without a point, anything else with "%.6g".
    static QString format(double x);

    // A bare JSON value: string, number (integers by way of a double), bool; null for every other case.
    QJsonValue toJson() const;
    // null, bool, number, string in that order of trying; an array or object fails with json::DecodeError.
    static GraphValue fromJson(const QJsonValue& json);

    bool operator==(const GraphValue& other) const;
    bool operator!=(const GraphValue& other) const { return !(*this == other); }

private:
    using Storage = std::variant<QString, double, qint64, bool, std::shared_ptr<const NodeRecord>,
                                 std::shared_ptr<const RelRecord>, std::shared_ptr<const GraphPath>,
                                 std::shared_ptr<const List>, std::shared_ptr<const Map>, std::monostate>;
    explicit GraphValue(Storage storage);
    Storage m_storage;
};

size_t qHash(const GraphValue& value, size_t seed = 0);

// Column name to value, in the order of the names; the "id" column is never in it. The interface is
// QMap's: iterators give `key()` and `value()`, `*it` is the value, and copies share their entries until
// one of them changes. An open project holds hundreds of thousands of records with a handful of
// properties each, so a map is one pointer to one block that holds its values, and the names are held
// apart, in a list that the maps of one table's records share (`PropertyMap(keysOf, values)`): a tree
// would allocate once per entry and hold a copy of every name. Inserting keys in their order appends.
class PropertyMap {
    struct Names;
    struct Data;

public:
    using key_type = QString;
    using mapped_type = GraphValue;
    using size_type = qsizetype;

    template <bool Const> class Iterator {
        using Value = std::conditional_t<Const, const GraphValue, GraphValue>;

    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using difference_type = qptrdiff;
        using value_type = GraphValue;
        using pointer = Value*;
        using reference = Value&;

        Iterator() = default;
        Iterator(const QString* key, Value* value)
            : m_key(key)
            , m_value(value) {}
        // A mutable iterator passes for a constant one.
        template <bool Other, typename = std::enable_if_t<Const && !Other>>
        Iterator(const Iterator<Other>& other)
            : m_key(other.keyPointer())
            , m_value(other.valuePointer()) {}

        const QString& key() const { return *m_key; }
        Value& value() const { return *m_value; }
        Value& operator*() const { return *m_value; }
        Value* operator->() const { return m_value; }
        Iterator& operator++() {
            ++m_key;
            ++m_value;
            return *this;
        }
        Iterator operator++(int) {
            Iterator before = *this;
            ++*this;
            return before;
        }
        Iterator& operator--() {
            --m_key;
            --m_value;
            return *this;
        }
        Iterator operator--(int) {
            Iterator before = *this;
            --*this;
            return before;
        }
        template <bool Other> bool operator==(const Iterator<Other>& other) const {
            return m_value == other.valuePointer();
        }
        const QString* keyPointer() const { return m_key; }
        Value* valuePointer() const { return m_value; }

    private:
        const QString* m_key = nullptr;
        Value* m_value = nullptr;
    };
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    PropertyMap() = default;
    PropertyMap(std::initializer_list<std::pair<QString, GraphValue>> entries);
    // The keys of `keysOf`, shared with it, with the values taken out of `values` (as many as the keys,
    // in their order); `values` is left empty, with its room kept.
    PropertyMap(const PropertyMap& keysOf, QList<GraphValue>& values);
    PropertyMap(const PropertyMap& other);
    PropertyMap(PropertyMap&& other) noexcept
        : d(std::exchange(other.d, nullptr)) {}
    PropertyMap& operator=(const PropertyMap& other);
    PropertyMap& operator=(PropertyMap&& other) noexcept {
        std::swap(d, other.d);
        return *this;
    }
    ~PropertyMap();

    qsizetype size() const;
    qsizetype count() const { return size(); }
    qsizetype count(const QString& key) const { return contains(key) ? 1 : 0; }
    bool isEmpty() const { return size() == 0; }
    bool empty() const { return isEmpty(); }
    void reserve(qsizetype size);
    void clear();

    bool contains(const QString& key) const { return constFind(key) != cend(); }
    GraphValue value(const QString& key, const GraphValue& defaultValue = GraphValue()) const;
    // The value under `key`, inserted as null when missing.
    GraphValue& operator[](const QString& key);
    GraphValue operator[](const QString& key) const { return value(key); }
    // Sets the value under `key`, in place when the key is there.
    iterator insert(const QString& key, const GraphValue& value);
    iterator insert(const QString& key, GraphValue&& value);
    // Every entry of `other`, over those with the same keys.
    void insert(const PropertyMap& other);
    qsizetype remove(const QString& key);
    GraphValue take(const QString& key);
    iterator erase(const_iterator position);
    // Removes each entry for whose iterator `predicate` holds.
    template <typename Predicate> qsizetype removeIf(Predicate predicate) {
        qsizetype removed = 0;
        for (auto it = begin(); it != end();) {
            if (predicate(it)) {
                it = erase(it);
                ++removed;
            } else {
                ++it;
            }
        }
        return removed;
    }

    QStringList keys() const;
    QList<GraphValue> values() const;
    const QString& firstKey() const { return *cbegin().keyPointer(); }
    const QString& lastKey() const { return *(--cend()).keyPointer(); }
    GraphValue& first() { return *begin(); }
    const GraphValue& first() const { return *cbegin(); }
    GraphValue& last() { return *--end(); }
    const GraphValue& last() const { return *--cend(); }

    iterator find(const QString& key);
    const_iterator find(const QString& key) const { return constFind(key); }
    const_iterator constFind(const QString& key) const;

    iterator begin();
    iterator end();
    const_iterator begin() const;
    const_iterator end() const;
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    const_iterator constBegin() const { return begin(); }
    const_iterator constEnd() const { return end(); }

    bool operator==(const PropertyMap& other) const;
    bool operator!=(const PropertyMap& other) const { return !(*this == other); }

private:
    const QString* keyData() const;
    const GraphValue* valueData() const;
    // The position of the first key that is not before `key`.
    qsizetype lowerBound(const QString& key) const;
    bool holdsAt(qsizetype position, const QString& key) const;
    // Makes the block this map's own, with room for `capacity` values; with `ownNames`, the names too.
    void detach(qsizetype capacity, bool ownNames);
    template <typename Value> iterator put(const QString& key, Value&& value);
    void removeAt(qsizetype position);

    Data* d = nullptr;
};

struct NodeType;
struct RelType;

// One node: a program-made upper-case UUID text, its table's name, and its property values.
struct NodeRecord {
    QString id;
    QString label;
    PropertyMap properties;

    // The title property's text when the type, its title property and a value exist; otherwise the
    // type's name; with no type, the label.
    QString title(const NodeType* type) const;

    QJsonObject toJson() const;
    static NodeRecord fromJson(const QJsonObject& json); // all keys required; fails with json::DecodeError
    bool operator==(const NodeRecord& other) const = default;
};

// One relationship from the node `from` to the node `to`.
struct RelRecord {
    QString id;
    QString label;
    QString from;
    QString to;
    PropertyMap properties;

    // The title property's text, or absent.
    std::optional<QString> title(const RelType* type) const;

    QJsonObject toJson() const;
    static RelRecord fromJson(const QJsonObject& json);
    bool operator==(const RelRecord& other) const = default;
};

struct GraphPath {
    QList<NodeRecord> nodes;
    QList<RelRecord> relationships;
    bool operator==(const GraphPath& other) const = default;
};

size_t qHash(const NodeRecord& node, size_t seed = 0);
size_t qHash(const RelRecord& rel, size_t seed = 0);

} // namespace corvantis
