// LadybugGraphStore: opening, the connections, statements and transactions.
#include "kit/store/LadybugGraphStore.h"

#include "kit/ladybug/Connection.h"
#include "kit/ladybug/Database.h"
#include "kit/ladybug/PreparedStatement.h"
#include "kit/ladybug/QueryResult.h"
#include "kit/store/GraphValueConversion.h"
#include "kit/store/LadybugStoreSupport.h"

namespace corvantis {

using namespace ladybug;
using namespace LadybugStoreSupport;

const QString LadybugGraphStore::placeholderId = QStringLiteral("corvantis.placeholder");

namespace {

constexpr quint64 queryTimeoutMs = 30000;

// The engine's defaults, but with at least two workers: the engine runs every query on one pool of
// workers shared by all connections, and a read-only query must leave one free for the edits.
SystemConfig storeConfig() {
    SystemConfig config = SystemConfig::defaults();
    if (config.raw().max_num_threads < 2)
        config.raw().max_num_threads = 2;
    return config;
}

} // namespace

LadybugGraphStore::LadybugGraphStore(const QString& path) {
    guarded([&] {
        m_database = Database::open(path, storeConfig());
        m_connection = Connection::open(m_database);
        m_connection->setQueryTimeout(queryTimeoutMs);
        m_reader = Connection::open(m_database);
        m_reader->setQueryTimeout(queryTimeoutMs);
        // A query keeps the workers it has taken until it ends, so a read-only one takes all but one.
        const quint64 workers = m_connection->maxThreads();
        m_reader->setMaxThreads(workers > 1 ? workers - 1 : 1);
    });
    std::lock_guard guard(m_lock);
    guarded([&] { removeLeftPlaceholders(); });
}

// The database closes with the last connection that holds it.
LadybugGraphStore::~LadybugGraphStore() = default;

QString LadybugGraphStore::engineVersion() {
    return Database::engineVersion();
}

void LadybugGraphStore::setMigrationObserver(std::function<void(MigrationStep)> observer) {
    std::lock_guard guard(m_lock);
    m_observer = std::move(observer);
}

void LadybugGraphStore::setReadObserver(std::function<void()> observer) {
    std::lock_guard guard(m_readLock);
    m_readObserver = std::move(observer);
}

void LadybugGraphStore::notify(MigrationStep step) {
    if (m_observer)
        m_observer(step);
}

// -- Statements (the lock is held by the caller) ----------------------------------------------------

void LadybugGraphStore::run(const QString& cypher) {
    m_connection->query(cypher);
}

void LadybugGraphStore::runPrepared(const QString& cypher, const GraphParameters& parameters) {
    Parameters bound;
    bound.reserve(parameters.size());
    for (const auto& [name, value] : parameters)
        bound.append({name, GraphValueConversion::toParameter(value)});
    m_connection->execute(m_connection->prepare(cypher), bound);
}

void LadybugGraphStore::transaction(const std::function<void()>& body) {
    run(QStringLiteral("BEGIN TRANSACTION"));
    try {
        body();
        run(QStringLiteral("COMMIT"));
    } catch (const std::exception&) {
        try {
            run(QStringLiteral("ROLLBACK"));
        } catch (const std::exception&) {
            // The first error is the one that matters; the engine may have ended the transaction itself.
        }
        throw;
    }
}

void LadybugGraphStore::transaction(const QStringList& statements) {
    transaction([&] {
        for (const auto& statement : statements)
            run(statement);
    });
}

void LadybugGraphStore::checkpoint() {
    std::scoped_lock guard(m_readLock, m_lock);
    guarded([&] { run(QStringLiteral("CHECKPOINT")); });
}

} // namespace corvantis
