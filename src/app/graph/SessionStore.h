#pragma once

#include "kit/store/GraphStore.h"
#include "kit/store/LadybugGraphStore.h"

#include <QString>
#include <functional>
#include <memory>

namespace corvantis {

// What an open session needs of its database: the graph store's operations, plus the batch deletes and
// inserts that undo needs as one transaction, and the checkpoint on closing. A LadybugGraphStore
// underneath in the program; tests may put a store of their own between the session and the database.
class SessionStore : public GraphStore {
public:
    // Deletes relationships, then nodes, in one transaction.
    virtual void deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels) = 0;
    // Inserts nodes, then relationships, in one transaction.
    virtual void insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels) = 0;
    virtual void checkpoint() = 0;
};

// Opens the store of the database file at a path; fails with GraphStoreError.
using SessionStoreOpener = std::function<std::shared_ptr<SessionStore>(const QString& path)>;

// The session's store over the project's LadybugDB file.
class LadybugSessionStore final : public SessionStore {
public:
    explicit LadybugSessionStore(const QString& path);

    static SessionStoreOpener opener();

    void migrate(const MigrationPlan& plan) override { m_store.migrate(plan); }
    void fill(const QList<DefaultFill>& fills) override { m_store.fill(fills); }
    void replace(const QList<ValueReplacement>& replacements) override { m_store.replace(replacements); }
    void insertNode(const NodeRecord& record) override { m_store.insertNode(record); }
    void updateNode(const QString& id, const QString& label, const PropertyMap& set) override {
        m_store.updateNode(id, label, set);
    }
    void deleteNode(const QString& id, const QString& label) override { m_store.deleteNode(id, label); }
    void insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) override {
        m_store.insertRel(record, fromLabel, toLabel);
    }
    void updateRel(const QString& id, const QString& label, const PropertyMap& set) override {
        m_store.updateRel(id, label, set);
    }
    void deleteRel(const QString& id, const QString& label) override { m_store.deleteRel(id, label); }
    QList<NodeRecord> loadNodes(const QStringList& labels) override { return m_store.loadNodes(labels); }
    QList<RelRecord> loadRels(const QStringList& labels) override { return m_store.loadRels(labels); }
    GraphRecords loadGraph(const QStringList& nodeLabels, const QStringList& relLabels) override {
        return m_store.loadGraph(nodeLabels, relLabels);
    }
    TableCatalog describeTables() override { return m_store.describeTables(); }
    QueryOutput runReadOnly(const QString& cypher, int rowLimit) override {
        return m_store.runReadOnly(cypher, rowLimit);
    }
    void deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels) override {
        m_store.deleteRecords(nodes, rels);
    }
    void insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels) override {
        m_store.insertRecords(nodes, rels);
    }
    void checkpoint() override { m_store.checkpoint(); }

private:
    LadybugGraphStore m_store;
};

} // namespace corvantis
