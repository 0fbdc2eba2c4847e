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

// The graph store over one LadybugDB database file: one database, one connection, and one lock held
// for the whole of every public operation, so the store is safe to share between threads.
class LadybugGraphStore final : public GraphStore {
public:
    // The id of the row that an empty node table holds only while one of its columns is dropped.
    static const QString placeholderId;

    // Opens the database (creating it when missing), sets the 30-second query time-out, and removes
    // placeholder rows that an interrupted migration left behind. Fails with GraphStoreError; when
    // another process has the database open, the message holds the word "lock".
    explicit LadybugGraphStore(const QString& path);
    ~LadybugGraphStore() override;
    LadybugGraphStore(const LadybugGraphStore&) = delete;
    LadybugGraphStore& operator=(const LadybugGraphStore&) = delete;

    // The database engine's version text.
    static QString engineVersion();

    void execute(const QStringList& statements) override;
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
    QueryOutput runReadOnly(const QString& cypher, int rowLimit) override;

    // Writes the log into the database file; a session calls it on closing.
    void checkpoint();
    // Deletes relationships, then nodes, in one transaction.
    void deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels);
    // Inserts nodes, then relationships, in one transaction.
    void insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels);

    // The tables (by their name before the batch) from which a batch of statements drops a column.
    static QSet<QString> tablesLosingColumns(const QStringList& statements);

    // Points inside a migration that drops columns, for tests that stop a process there.
    enum class MigrationStep { PlaceholdersInserted, StatementsCommitted };
    void setMigrationObserver(std::function<void(MigrationStep)> observer);

private:
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

    std::mutex m_lock;
    std::shared_ptr<ladybug::Database> m_database;
    std::shared_ptr<ladybug::Connection> m_connection;
    std::function<void(MigrationStep)> m_observer;
};

} // namespace corvantis
