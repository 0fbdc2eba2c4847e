#pragma once

#include "kit/store/GraphStore.h"

#include <QSet>
#include <functional>
#include <memory>
#include <mutex>

namespace corvantis {

namespace ladybug {
class Connection;
class Database;
} // namespace ladybug

// A node or relationship named for deletion.
struct RecordKey {
    QString id;
    QString label;
    bool operator==(const RecordKey& other) const = default;
};

// A relationship to insert, with the tables of its two ends.
struct RelInsertion {
    RelRecord rel;
    QString fromLabel;
    QString toLabel;
    bool operator==(const RelInsertion& other) const = default;
};

// The graph store over one LadybugDB database file, safe to share between threads. Its source is split
// by job: opening and transactions (LadybugGraphStore.cpp), record writes (…Records.cpp), migrations
// (…Migration.cpp), loading whole tables (…Loading.cpp) and read-only queries (…ReadOnly.cpp).
//
// Two connections to the one database. Every write, every load and every migration runs on the first,
// under `m_lock`, one at a time. Read-only queries, which a person or an AI writes and which may run for
// up to 30 seconds, run on the second under `m_readLock`, so that an edit never waits for one. The
// engine lets one write transaction run beside any number of read-only ones, but a checkpoint waits for
// every transaction to end, so what checkpoints (a migration, `checkpoint`) takes both locks at once.
class LadybugGraphStore final : public GraphStore {
public:
    // The id of the row that an empty node table holds only while one of its columns is dropped.
    static const QString placeholderId;

    // Opens the database (creating it when missing), sets the 30-second query time-out, and removes
    // placeholder rows that an interrupted migration left behind. Fails with GraphStoreError; when
    // another process, or this one, has the database open, its kind is Locked.
    explicit LadybugGraphStore(const QString& path);
    ~LadybugGraphStore() override;
    LadybugGraphStore(const LadybugGraphStore&) = delete;
    LadybugGraphStore& operator=(const LadybugGraphStore&) = delete;

    // The database engine's version text.
    static QString engineVersion();

    void migrate(const MigrationPlan& plan) override;
    void fill(const QList<DefaultFill>& fills) override;
    void replace(const QList<ValueReplacement>& replacements) override;
    void insertNode(const NodeRecord& record) override;
    void updateNode(const QString& id, const QString& label, const PropertyMap& set) override;
    void deleteNode(const QString& id, const QString& label) override;
    void insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) override;
    void updateRel(const QString& id, const QString& label, const PropertyMap& set) override;
    void deleteRel(const QString& id, const QString& label) override;
    QList<NodeRecord> loadNodes(const QStringList& labels) override;
    QList<RelRecord> loadRels(const QStringList& labels) override;
    GraphRecords loadGraph(const QStringList& nodeLabels, const QStringList& relLabels) override;
    TableCatalog describeTables() override;
    QueryOutput runReadOnly(const QString& cypher, int rowLimit) override;

    // Writes the log into the database file; a session calls it on closing. Waits for a read-only
    // query that is running.
    void checkpoint();
    // Deletes relationships, then nodes, in one transaction.
    void deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels);
    // Inserts nodes, then relationships, in one transaction.
    void insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels);

    // Points inside a migration, for tests: a process stopped there, or a failure injected there by an
    // observer that throws. `StatementsCommitted` comes right after the commit, `CheckpointWritten`
    // after the checkpoint that follows a column drop, before the placeholder rows go.
    enum class MigrationStep { PlaceholdersInserted, StatementsCommitted, CheckpointWritten };
    void setMigrationObserver(std::function<void(MigrationStep)> observer);
    // Called on the reading thread right before the engine is given a read-only query's text, with its
    // read-only transaction open; for tests that need a query known to be running.
    void setReadObserver(std::function<void()> observer);

private:
    void setValues(const QString& match, const QString& id, const QString& label, const PropertyMap& set);
    void run(const QString& cypher);
    void runPrepared(const QString& cypher, const QList<std::pair<QString, GraphValue>>& parameters);
    void transaction(const std::function<void()>& body);
    void transaction(const QStringList& statements);
    void dropColumns(const QStringList& statements, const QSet<QString>& tables);
    void deletePlaceholders();
    void removeLeftPlaceholders();
    void insertNodeUnlocked(const NodeRecord& record);
    void insertRelUnlocked(const RelRecord& record, const QString& fromLabel, const QString& toLabel);
    void deleteNodeUnlocked(const QString& id, const QString& label);
    void deleteRelUnlocked(const QString& id, const QString& label);
    void notify(MigrationStep step);
    // Runs a step after the commit; its failure is a MigrationCleanupError.
    void afterCommit(const std::function<void()>& step);

    std::mutex m_readLock; // read-only queries
    std::mutex m_lock;     // everything else
    std::shared_ptr<ladybug::Database> m_database;
    std::shared_ptr<ladybug::Connection> m_connection; // writes, loads, migrations
    std::shared_ptr<ladybug::Connection> m_reader;     // read-only queries
    std::function<void(MigrationStep)> m_observer;
    std::function<void()> m_readObserver;
};

} // namespace corvantis
