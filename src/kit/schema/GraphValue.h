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
// one of them changes. The entries are held in one sorted array rather than a tree: a record has a
// handful of properties and an open project holds hundreds of thousands of records, so one allocation
// per map instead of one per entry is much of a record's memory and of the time to load it. Inserting
// keys in their order appends.
class PropertyMap {
    using Entry = std::pair<QString, GraphValue>;
    using Entries = QList<Entry>;

public:
    using key_type = QString;
    using mapped_type = GraphValue;
    using size_type = qsizetype;

    template <bool Const> class Iterator {
        using EntryPointer = std::conditional_t<Const, const Entry*, Entry*>;
        using Value = std::conditional_t<Const, const GraphValue, GraphValue>;

    public:
        using iterator_category = std::bidirectional_iterator_tag;
        using difference_type = qptrdiff;
        using value_type = GraphValue;
        using pointer = Value*;
        using reference = Value&;

        Iterator() = default;
        explicit Iterator(EntryPointer entry)
            : m_entry(entry) {}
        // A mutable iterator passes for a constant one.
        template <bool Other, typename = std::enable_if_t<Const && !Other>>
        Iterator(const Iterator<Other>& other)
            : m_entry(other.entry()) {}

        const QString& key() const { return m_entry->first; }
        Value& value() const { return m_entry->second; }
        Value& operator*() const { return m_entry->second; }
        Value* operator->() const { return &m_entry->second; }
        Iterator& operator++() {
            ++m_entry;
            return *this;
        }
        Iterator operator++(int) { return Iterator(m_entry++); }
        Iterator& operator--() {
            --m_entry;
            return *this;
        }
        Iterator operator--(int) { return Iterator(m_entry--); }
        template <bool Other> bool operator==(const Iterator<Other>& other) const {
            return m_entry == other.entry();
        }
        EntryPointer entry() const { return m_entry; }

    private:
        EntryPointer m_entry = nullptr;
    };
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    PropertyMap() = default;
    PropertyMap(std::initializer_list<std::pair<QString, GraphValue>> entries);

    qsizetype size() const { return m_entries.size(); }
    qsizetype count() const { return m_entries.size(); }
    qsizetype count(const QString& key) const { return contains(key) ? 1 : 0; }
    bool isEmpty() const { return m_entries.isEmpty(); }
    bool empty() const { return m_entries.isEmpty(); }
    void reserve(qsizetype size) { m_entries.reserve(size); }
    void clear() { m_entries.clear(); }

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
    const QString& firstKey() const { return m_entries.first().first; }
    const QString& lastKey() const { return m_entries.last().first; }
    GraphValue& first() { return m_entries.first().second; }
    const GraphValue& first() const { return m_entries.first().second; }
    GraphValue& last() { return m_entries.last().second; }
    const GraphValue& last() const { return m_entries.last().second; }

    iterator find(const QString& key);
    const_iterator find(const QString& key) const { return constFind(key); }
    const_iterator constFind(const QString& key) const;

    iterator begin() { return iterator(m_entries.data()); }
    iterator end() { return iterator(m_entries.data() + m_entries.size()); }
    const_iterator begin() const { return const_iterator(m_entries.constData()); }
    const_iterator end() const { return const_iterator(m_entries.constData() + m_entries.size()); }
    const_iterator cbegin() const { return begin(); }
    const_iterator cend() const { return end(); }
    const_iterator constBegin() const { return begin(); }
    const_iterator constEnd() const { return end(); }

    bool operator==(const PropertyMap& other) const { return m_entries == other.m_entries; }
    bool operator!=(const PropertyMap& other) const { return m_entries != other.m_entries; }

private:
    // The position of the first entry whose key is not before `key`.
    qsizetype lowerBound(const QString& key) const;

    Entries m_entries;
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
