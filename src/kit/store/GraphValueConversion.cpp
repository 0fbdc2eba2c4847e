#include "kit/store/GraphValueConversion.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace corvantis::GraphValueConversion {

using namespace ladybug;

namespace {

const QString idKey = QStringLiteral("id");

std::optional<QString> textId(const LadybugFields& fields) {
    for (const auto& [key, value] : fields)
        if (key == idKey) {
            if (auto text = value.get<QString>())
                return *text;
            return std::nullopt;
        }
    return std::nullopt;
}

// Records keep every property but "id" (their id) and the engine's own keys, which begin with "_".
bool keptKey(const QString& key) {
    return key != idKey && !key.startsWith(QLatin1Char('_'));
}

// Every kept property, each converted; nulls stay as null.
PropertyMap properties(const LadybugFields& fields) {
    PropertyMap result;
    for (const auto& [key, value] : fields) {
        if (!keptKey(key))
            continue;
        result.insert(key, toGraphValue(value));
    }
    return result;
}

std::optional<NodeRecord> nodeRecord(const LadybugNode& node) {
    auto id = textId(node.properties);
    if (!id)
        return std::nullopt;
    return NodeRecord{*id, node.label, properties(node.properties)};
}

std::optional<RelRecord> relRecord(const LadybugRelationship& rel, const QString& from, const QString& to) {
    auto id = textId(rel.properties);
    if (!id)
        return std::nullopt;
    return RelRecord{*id, rel.label, from, to, properties(rel.properties)};
}

void learnNode(const LadybugNode& node, NodeIds& known) {
    if (auto id = textId(node.properties))
        known.insert(node.id, *id);
}

GraphValue nodeValue(const LadybugNode& node) {
    if (auto record = nodeRecord(node))
        return GraphValue::node(*record);
    return GraphValue::string(LadybugValue::node(node).description());
}

GraphValue relValue(const LadybugRelationship& rel, const NodeIds& ids) {
    if (auto record = relRecord(rel, ids.value(rel.sourceId), ids.value(rel.targetId)))
        return GraphValue::relationship(*record);
    return GraphValue::string(LadybugValue::relationship(rel).description());
}

} // namespace

void collectNodeIds(const LadybugValue& value, NodeIds& known, QSet<LadybugInternalId>& wanted) {
    if (auto node = value.asNode()) {
        learnNode(*node, known);
    } else if (auto rel = value.asRelationship()) {
        wanted.insert(rel->sourceId);
        wanted.insert(rel->targetId);
    } else if (auto path = value.asRecursiveRelationship()) {
        for (const auto& node : path->nodes)
            learnNode(node, known);
        for (const auto& rel : path->relationships) {
            wanted.insert(rel.sourceId);
            wanted.insert(rel.targetId);
        }
    } else if (auto list = value.asList()) {
        for (const auto& item : *list)
            collectNodeIds(item, known, wanted);
    } else if (auto pairs = value.asPairs()) {
        for (const auto& [key, item] : *pairs) {
            collectNodeIds(key, known, wanted);
            collectNodeIds(item, known, wanted);
        }
    } else if (auto fields = value.asFields()) {
        for (const auto& [key, item] : *fields)
            collectNodeIds(item, known, wanted);
    }
}

GraphValue toGraphValue(const LadybugValue& value, const NodeIds& ids) {
    return std::visit(
        [&](const auto& v) -> GraphValue {
            using T = std::decay_t<decltype(v)>;
            if constexpr (std::is_same_v<T, std::monostate>)
                return GraphValue::null();
            else if constexpr (std::is_same_v<T, QString>)
                return GraphValue::string(v);
            else if constexpr (std::is_same_v<T, bool>)
                return GraphValue::boolean(v);
            else if constexpr (std::is_integral_v<T>)
                return GraphValue::integer(static_cast<qint64>(v));
            else if constexpr (std::is_floating_point_v<T>)
                return GraphValue::number(static_cast<double>(v));
            else if constexpr (std::is_same_v<T, LadybugDecimal>)
                return GraphValue::number(v.toDouble());
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugList>>) {
                GraphValue::List items;
                items.reserve(v->size());
                for (const auto& item : *v)
                    items.append(toGraphValue(item, ids));
                return GraphValue::list(items);
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugFields>>) {
                GraphValue::Map entries;
                for (const auto& [key, item] : *v)
                    entries.insert(key, toGraphValue(item, ids));
                return GraphValue::map(entries);
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugPairs>>) {
                bool textKeys = std::all_of(v->begin(), v->end(), [](const auto& entry) {
                    return entry.first.template get<QString>();
                });
                if (textKeys) {
                    GraphValue::Map entries;
                    for (const auto& [key, item] : *v)
                        entries.insert(*key.template get<QString>(), toGraphValue(item, ids));
                    return GraphValue::map(entries);
                }
                GraphValue::List entries;
                for (const auto& [key, item] : *v)
                    entries.append(GraphValue::list({toGraphValue(key, ids), toGraphValue(item, ids)}));
                return GraphValue::list(entries);
            } else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugNode>>)
                return nodeValue(*v);
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugRelationship>>)
                return relValue(*v, ids);
            else if constexpr (std::is_same_v<T, std::shared_ptr<const LadybugRecursiveRelationship>>) {
                GraphPath path;
                for (const auto& node : v->nodes)
                    if (auto record = nodeRecord(node))
                        path.nodes.append(*record);
                for (const auto& rel : v->relationships)
                    if (auto record = relRecord(rel, ids.value(rel.sourceId), ids.value(rel.targetId)))
                        path.relationships.append(*record);
                return GraphValue::path(path);
            } else if constexpr (std::is_same_v<T, QUuid>)
                return GraphValue::string(v.toString(QUuid::WithoutBraces).toUpper());
            else if constexpr (std::is_same_v<T, QDate>)
                return GraphValue::string(v.toString(Qt::ISODate));
            else if constexpr (std::is_same_v<T, QDateTime>)
                return GraphValue::string(
                    v.toUTC().toString(v.time().msec() ? Qt::ISODateWithMs : Qt::ISODate));
            else
                return GraphValue::string(value.description());
        },
        value.storage());
}

GraphValue fromEngine(lbug_value* value, lbug_data_type_id type, TextPool* texts) {
    if (auto scalar = readScalar(value, type, texts)) {
        return std::visit(
            [](auto& v) -> GraphValue {
                using T = std::decay_t<decltype(v)>;
                if constexpr (std::is_same_v<T, std::monostate>)
                    return GraphValue::null();
                else if constexpr (std::is_same_v<T, QString>)
                    return GraphValue::string(std::move(v));
                else if constexpr (std::is_same_v<T, double>)
                    return GraphValue::number(v);
                else if constexpr (std::is_same_v<T, bool>)
                    return GraphValue::boolean(v);
                else
                    return GraphValue::integer(v);
            },
            *scalar);
    }
    return toGraphValue(readValue(value, type));
}

RecordReader::RecordReader(const QStringList& columns)
    : m_roles(static_cast<size_t>(columns.size()), Role::Skip)
    , m_slots(static_cast<size_t>(columns.size()), -1)
    , m_texts(static_cast<size_t>(columns.size())) {
    for (qsizetype i = 0; i < columns.size(); ++i) {
        const QString& name = columns[i];
        if (name == idKey) {
            m_roles[static_cast<size_t>(i)] = Role::Id;
        } else if (keptKey(name)) {
            m_roles[static_cast<size_t>(i)] = Role::Keep;
            m_names.insert(name, GraphValue());
        }
    }
    const QStringList kept = m_names.keys();
    for (qsizetype i = 0; i < columns.size(); ++i)
        if (m_roles[static_cast<size_t>(i)] == Role::Keep)
            m_slots[static_cast<size_t>(i)] = kept.indexOf(columns[i]);
}

void RecordReader::add(qsizetype position, lbug_value* value, lbug_data_type_id type) {
    const auto at = static_cast<size_t>(position);
    switch (m_roles[at]) {
    case Role::Id: {
        // Read as fromEngine reads it, the common case of a text without a graph value between.
        if (auto scalar = readScalar(value, type)) {
            if (QString* text = std::get_if<QString>(&*scalar))
                m_id = std::move(*text);
            return;
        }
        GraphValue read = toGraphValue(readValue(value, type));
        if (auto text = read.asString())
            m_id = *text;
        return;
    }
    case Role::Skip:
        return;
    case Role::Keep:
        if (m_values.isEmpty())
            m_values.resize(m_names.size());
        m_values[m_slots[at]] = fromEngine(value, type, &m_texts[at]);
        return;
    }
}

std::optional<QString> RecordReader::takeId() {
    return std::exchange(m_id, std::nullopt);
}

PropertyMap RecordReader::takeProperties() {
    if (m_values.isEmpty())
        m_values.resize(m_names.size());
    return PropertyMap(m_names, m_values);
}

LadybugValue toParameter(const GraphValue& value) {
    if (auto text = value.asString())
        return *text;
    if (auto number = value.asNumber())
        return *number;
    if (auto integer = value.asInteger())
        return *integer;
    if (auto flag = value.asBool())
        return *flag;
    return {};
}

} // namespace corvantis::GraphValueConversion
