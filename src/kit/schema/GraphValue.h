#pragma once

#include <QJsonValue>
#include <QList>
#include <QMap>
#include <QString>
#include <memory>
#include <optional>
#include <variant>

namespace corvantis {

struct NodeRecord;
struct RelRecord;
struct GraphPath;
class GraphValue;

// Column name to value; the "id" column is never in it.
using PropertyMap = QMap<QString, GraphValue>;

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
