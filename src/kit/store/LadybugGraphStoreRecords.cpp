// LadybugGraphStore: writing records, one at a time or in batches of one transaction.
#include "kit/store/LadybugGraphStore.h"
#include "kit/store/LadybugStoreSupport.h"

namespace corvantis {

using namespace LadybugStoreSupport;

namespace {

// "k: $p_k" for each property that is not null, keys sorted, with the parameters they name.
QString propertyList(const PropertyMap& properties, GraphParameters& parameters) {
    QStringList pieces;
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        if (it.value().isNull())
            continue;
        requireName(it.key());
        pieces << QStringLiteral("%1: $p_%1").arg(it.key());
        parameters.append({QStringLiteral("p_") + it.key(), it.value()});
    }
    return pieces.join(QStringLiteral(", "));
}

// "v.k = NULL" or "v.k = $p_k" for each entry, keys sorted.
QString assignments(const QString& variable, const PropertyMap& set, GraphParameters& parameters) {
    QStringList pieces;
    for (auto it = set.cbegin(); it != set.cend(); ++it) {
        requireName(it.key());
        if (it.value().isNull()) {
            pieces << QStringLiteral("%1.%2 = NULL").arg(variable, it.key());
        } else {
            pieces << QStringLiteral("%1.%2 = $p_%2").arg(variable, it.key());
            parameters.append({QStringLiteral("p_") + it.key(), it.value()});
        }
    }
    return pieces.join(QStringLiteral(", "));
}

} // namespace

void LadybugGraphStore::insertNodeUnlocked(const NodeRecord& record) {
    requireName(record.label);
    GraphParameters parameters{{QStringLiteral("id"), GraphValue::string(record.id)}};
    const QString list = propertyList(record.properties, parameters);
    runPrepared(QStringLiteral("CREATE (n:%1 {id: $id%2})")
                    .arg(record.label, list.isEmpty() ? QString() : QStringLiteral(", ") + list),
                parameters);
}

void LadybugGraphStore::insertRelUnlocked(const RelRecord& record, const QString& fromLabel,
                                          const QString& toLabel) {
    requireName(record.label);
    requireName(fromLabel);
    requireName(toLabel);
    GraphParameters parameters{{QStringLiteral("from"), GraphValue::string(record.from)},
                               {QStringLiteral("to"), GraphValue::string(record.to)},
                               {QStringLiteral("id"), GraphValue::string(record.id)}};
    const QString list = propertyList(record.properties, parameters);
    runPrepared(
        QStringLiteral("MATCH (a:%1 {id: $from}), (b:%2 {id: $to}) CREATE (a)-[:%3 {id: $id%4}]->(b)")
            .arg(fromLabel, toLabel, record.label, list.isEmpty() ? QString() : QStringLiteral(", ") + list),
        parameters);
}

void LadybugGraphStore::deleteNodeUnlocked(const QString& id, const QString& label) {
    requireName(label);
    runPrepared(QStringLiteral("MATCH (n:%1 {id: $id}) DETACH DELETE n").arg(label),
                {{QStringLiteral("id"), GraphValue::string(id)}});
}

void LadybugGraphStore::deleteRelUnlocked(const QString& id, const QString& label) {
    requireName(label);
    runPrepared(QStringLiteral("MATCH ()-[r:%1]->() WHERE r.id = $id DELETE r").arg(label),
                {{QStringLiteral("id"), GraphValue::string(id)}});
}

void LadybugGraphStore::insertNode(const NodeRecord& record) {
    std::lock_guard guard(m_lock);
    guarded([&] { insertNodeUnlocked(record); });
}

void LadybugGraphStore::updateNode(const QString& id, const QString& label, const PropertyMap& set) {
    setValues(QStringLiteral("MATCH (x:%1 {id: $id})"), id, label, set);
}

void LadybugGraphStore::deleteNode(const QString& id, const QString& label) {
    std::lock_guard guard(m_lock);
    guarded([&] { deleteNodeUnlocked(id, label); });
}

void LadybugGraphStore::insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) {
    std::lock_guard guard(m_lock);
    guarded([&] { insertRelUnlocked(record, fromLabel, toLabel); });
}

void LadybugGraphStore::updateRel(const QString& id, const QString& label, const PropertyMap& set) {
    setValues(QStringLiteral("MATCH ()-[x:%1]->() WHERE x.id = $id"), id, label, set);
}

// Sets the columns of the one record that `match` (with the table for %1 and the id as $id) binds to x;
// an empty map runs nothing.
void LadybugGraphStore::setValues(const QString& match, const QString& id, const QString& label,
                                  const PropertyMap& set) {
    if (set.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        requireName(label);
        GraphParameters parameters{{QStringLiteral("id"), GraphValue::string(id)}};
        const QString list = assignments(QStringLiteral("x"), set, parameters);
        runPrepared(match.arg(label) + QStringLiteral(" SET ") + list, parameters);
    });
}

void LadybugGraphStore::deleteRel(const QString& id, const QString& label) {
    std::lock_guard guard(m_lock);
    guarded([&] { deleteRelUnlocked(id, label); });
}

void LadybugGraphStore::deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels) {
    if (nodes.isEmpty() && rels.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& rel : rels)
                deleteRelUnlocked(rel.id, rel.label);
            for (const auto& node : nodes)
                deleteNodeUnlocked(node.id, node.label);
        });
    });
}

void LadybugGraphStore::insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels) {
    if (nodes.isEmpty() && rels.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& node : nodes)
                insertNodeUnlocked(node);
            for (const auto& rel : rels)
                insertRelUnlocked(rel.rel, rel.fromLabel, rel.toLabel);
        });
    });
}

} // namespace corvantis
