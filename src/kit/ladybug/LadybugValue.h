#pragma once

#include <QByteArray>
#include <QDate>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QUuid>
#include <cstdint>
#include <functional>
#include <lbug.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace corvantis::ladybug {

// The engine's own address of a node or relationship: its table and its offset in that table.
struct LadybugInternalId {
    quint64 tableId = 0;
    quint64 offset = 0;
    bool operator==(const LadybugInternalId& other) const = default;
};

size_t qHash(const LadybugInternalId& id, size_t seed = 0);

// A DECIMAL as the engine writes it; the text keeps every digit.
struct LadybugDecimal {
    QString text;
    double toDouble() const { return text.toDouble(); }
    bool operator==(const LadybugDecimal& other) const = default;
};

// A 128-bit integer, kept as its two halves and its decimal text.
struct LadybugInt128 {
    quint64 low = 0;
    qint64 high = 0;
    QString text;
    bool operator==(const LadybugInt128& other) const = default;
};

// An INTERVAL: months, days and microseconds, as the engine keeps them apart.
struct LadybugInterval {
    qint32 months = 0;
    qint32 days = 0;
    qint64 micros = 0;
    bool operator==(const LadybugInterval& other) const = default;
};

struct LadybugNode;
struct LadybugRelationship;
struct LadybugRecursiveRelationship;
class LadybugValue;

using LadybugList = QList<LadybugValue>;
// A MAP: its entries as key and value pairs, keys of any type.
using LadybugPairs = QList<std::pair<LadybugValue, LadybugValue>>;
// A STRUCT: its fields in their declared order.
using LadybugFields = QList<std::pair<QString, LadybugValue>>;

// One value as the engine hands it out, in native form. Composite cases sit behind shared immutable
// pointers so that a value stays cheap to copy.
class LadybugValue {
public:
    using Storage =
        std::variant<std::monostate, bool, qint8, qint16, qint32, qint64, quint8, quint16, quint32, quint64,
                     float, double, QString, LadybugDecimal, LadybugInt128, QUuid, QDate, QDateTime,
                     LadybugInterval, LadybugInternalId, QByteArray, std::shared_ptr<const LadybugList>,
                     std::shared_ptr<const LadybugPairs>, std::shared_ptr<const LadybugFields>,
                     std::shared_ptr<const LadybugNode>, std::shared_ptr<const LadybugRelationship>,
                     std::shared_ptr<const LadybugRecursiveRelationship>>;

    LadybugValue() = default; // null
    template <typename T>
    requires std::is_constructible_v<Storage, T> LadybugValue(T value)
        : m_storage(std::move(value)) {}
    LadybugValue(const char*) = delete; // text must be a QString, never a bool by accident
    static LadybugValue list(LadybugList items);
    static LadybugValue pairs(LadybugPairs entries);
    static LadybugValue fields(LadybugFields entries);
    static LadybugValue node(LadybugNode node);
    static LadybugValue relationship(LadybugRelationship rel);
    static LadybugValue recursiveRelationship(LadybugRecursiveRelationship path);

    bool isNull() const { return std::holds_alternative<std::monostate>(m_storage); }
    const Storage& storage() const { return m_storage; }
    // The payload of one case, or nullptr. Only on a value that outlives the pointer: never on a
    // temporary.
    template <typename T> const T* get() const& { return std::get_if<T>(&m_storage); }
    template <typename T> const T* get() const&& = delete;

    const LadybugList* asList() const&;
    const LadybugPairs* asPairs() const&;
    const LadybugFields* asFields() const&;
    const LadybugNode* asNode() const&;
    const LadybugRelationship* asRelationship() const&;
    const LadybugRecursiveRelationship* asRecursiveRelationship() const&;
    const LadybugList* asList() const&& = delete;
    const LadybugPairs* asPairs() const&& = delete;
    const LadybugFields* asFields() const&& = delete;
    const LadybugNode* asNode() const&& = delete;
    const LadybugRelationship* asRelationship() const&& = delete;
    const LadybugRecursiveRelationship* asRecursiveRelationship() const&& = delete;

    // Any signed or unsigned integer of 64 bits or less as a 64-bit signed integer (an unsigned value
    // above its range wraps); absent for every other case.
    std::optional<qint64> integer() const;
    // The text of a STRING value, copied; absent for every other case.
    std::optional<QString> text() const;
    // A plain description for display, for cases that have no closer form.
    QString description() const;

    bool operator==(const LadybugValue& other) const;

private:
    Storage m_storage;
};

// A node as the engine returns it; `properties` keep the engine's order and include "id" and the
// engine's own keys that begin with "_".
struct LadybugNode {
    LadybugInternalId id;
    QString label;
    LadybugFields properties;
    const LadybugValue* property(const QString& name) const;
    bool operator==(const LadybugNode& other) const = default;
};

struct LadybugRelationship {
    LadybugInternalId id;
    LadybugInternalId sourceId;
    LadybugInternalId targetId;
    QString label;
    LadybugFields properties;
    const LadybugValue* property(const QString& name) const;
    bool operator==(const LadybugRelationship& other) const = default;
};

// A path of variable length: its nodes and its relationships, in order.
struct LadybugRecursiveRelationship {
    QList<LadybugNode> nodes;
    QList<LadybugRelationship> relationships;
    bool operator==(const LadybugRecursiveRelationship& other) const = default;
};

// What the nodes or relationships of one result column share: their property names and types, learnt
// from the first row, and the last label read.
struct LadybugColumnShape {
    bool known = false;
    QList<QString> names;
    std::vector<lbug_data_type_id> types;
    std::string lastLabelBytes;
    QString lastLabel;
};

class TextPool;

// Reads one engine value into native form; fails with LadybugError (getValueFailed) when the engine
// refuses an accessor. `knownType` is the value's type when the caller knows it (a result column's type):
// asking the engine copies the whole type, which for a node or relationship is all of its fields. `shape`
// belongs to the value's column and spares asking each row for the same names and types.
LadybugValue readValue(lbug_value* value, lbug_data_type_id knownType = LBUG_ANY,
                       LadybugColumnShape* shape = nullptr);

// The common plain kinds read straight from the engine: null, text, double, bool, 64-bit integer.
using ScalarValue = std::variant<std::monostate, QString, double, bool, qint64>;
// The value when it is of one of those kinds; absent for every other kind (read it with readValue). With
// `texts`, a text is taken from that pool of the value's column.
std::optional<ScalarValue> readScalar(lbug_value* value, lbug_data_type_id type, TextPool* texts = nullptr);

// An engine value that this program made and must destroy.
struct LbugValueDeleter {
    void operator()(lbug_value* value) const;
};
using OwnedLbugValue = std::unique_ptr<lbug_value, LbugValueDeleter>;

// Makes an engine value from a native one. Null, bool, the integers, float, double, text, UUID (sent as
// text), date, timestamp, interval, internal id, lists, pairs (as a MAP) and fields (as a STRUCT) are
// writable; an empty list fails with "Cannot convert empty array to Ladybug list", and so do lists or
// maps whose elements differ in type. Nodes and relationships cannot be written.
OwnedLbugValue makeValue(const LadybugValue& value);

} // namespace corvantis::ladybug
