// LadybugGraphStore: bringing the tables from one shape to the next, the defaults and renamed options
// that follow, the placeholder rows that let a column leave an empty table, and the tables as they stand.
#include "kit/ladybug/Connection.h"
#include "kit/ladybug/QueryResult.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/store/LadybugStoreSupport.h"
#include "kit/store/MigrationCleanupError.h"

namespace corvantis {

using namespace ladybug;
using namespace LadybugStoreSupport;

namespace {

QString rowVariableHead(const QString& table, bool isNode) {
    return isNode ? QStringLiteral("MATCH (x:%1)").arg(table)
                  : QStringLiteral("MATCH ()-[x:%1]->()").arg(table);
}

} // namespace

void LadybugGraphStore::removeLeftPlaceholders() {
    std::optional<qint64> count;
    try {
        auto result = m_connection->query(
            QStringLiteral("MATCH (n) WHERE n.id = '%1' RETURN count(n)").arg(placeholderId));
        count = firstInteger(*result);
    } catch (const std::exception&) {
        // A database without node tables cannot answer; it holds no placeholder either.
    }
    if (count && *count >= 1) {
        run(QStringLiteral("CHECKPOINT"));
        deletePlaceholders();
    }
}

void LadybugGraphStore::deletePlaceholders() {
    runPrepared(QStringLiteral("MATCH (n) WHERE n.id = $id DELETE n"),
                {{QStringLiteral("id"), GraphValue::string(placeholderId)}});
}

void LadybugGraphStore::afterCommit(const std::function<void()>& step) {
    try {
        step();
    } catch (const std::exception& error) {
        const GraphStoreError failure = wrap(error);
        throw MigrationCleanupError(failure.kind(), failure.message());
    }
}

// The engine cannot safely drop a column of an empty node table, so each such table holds a
// placeholder row for the time of the drop. A crash can leave the row behind; the next opening
// removes it.
void LadybugGraphStore::dropColumns(const QStringList& statements, const QSet<QString>& tables) {
    run(QStringLiteral("CHECKPOINT"));

    QSet<QString> lowered;
    for (const auto& table : tables)
        lowered.insert(table.toLower());
    QStringList nodeTables;
    {
        auto result =
            m_connection->query(QStringLiteral("CALL show_tables() WHERE type = 'NODE' RETURN name"));
        while (auto row = result->getNext())
            if (auto name = row->getValue(0).text())
                nodeTables << *name;
    }
    QStringList empty;
    for (const auto& name : nodeTables) {
        if (!lowered.contains(name.toLower()))
            continue;
        requireName(name);
        auto result = m_connection->query(QStringLiteral("MATCH (n:%1) RETURN count(n)").arg(name));
        if (firstInteger(*result) == 0)
            empty << name;
    }

    if (!empty.isEmpty()) {
        transaction([&] {
            for (const auto& name : empty)
                run(QStringLiteral("CREATE (n:%1 {id: '%2'})").arg(name, placeholderId));
        });
        run(QStringLiteral("CHECKPOINT"));
        notify(MigrationStep::PlaceholdersInserted);
    }

    try {
        transaction(statements);
    } catch (const std::exception&) {
        if (!empty.isEmpty()) {
            try {
                deletePlaceholders();
            } catch (const std::exception&) {
                // The next opening removes what is left; the batch's error is the one to report.
            }
        }
        throw;
    }
    // Committed: whatever fails from here on leaves the new tables in place, and at most placeholder
    // rows that the next opening removes.
    afterCommit([&] {
        notify(MigrationStep::StatementsCommitted);
        run(QStringLiteral("CHECKPOINT"));
        notify(MigrationStep::CheckpointWritten);
        if (!empty.isEmpty())
            deletePlaceholders();
    });
}

void LadybugGraphStore::migrate(const MigrationPlan& plan) {
    if (plan.statements.isEmpty())
        return;
    // Both locks: a migration checkpoints, and a checkpoint waits for every open transaction.
    std::scoped_lock guard(m_readLock, m_lock);
    guarded([&] {
        if (plan.tablesLosingColumns.isEmpty()) {
            transaction(plan.statements);
            afterCommit([&] { notify(MigrationStep::StatementsCommitted); });
        } else {
            dropColumns(plan.statements, plan.tablesLosingColumns);
        }
    });
}

void LadybugGraphStore::fill(const QList<DefaultFill>& fills) {
    if (fills.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& fill : fills) {
                requireName(fill.table);
                requireName(fill.column);
                const QString head = rowVariableHead(fill.table, fill.isNode);
                if (fill.replacing)
                    runPrepared(
                        QStringLiteral("%1 WHERE x.%2 IS NULL OR x.%2 = $old SET x.%2 = $value")
                            .arg(head, fill.column),
                        {{QStringLiteral("old"), *fill.replacing}, {QStringLiteral("value"), fill.value}});
                else
                    runPrepared(
                        QStringLiteral("%1 WHERE x.%2 IS NULL SET x.%2 = $value").arg(head, fill.column),
                        {{QStringLiteral("value"), fill.value}});
            }
        });
    });
}

void LadybugGraphStore::replace(const QList<ValueReplacement>& replacements) {
    if (replacements.isEmpty())
        return;
    std::lock_guard guard(m_lock);
    guarded([&] {
        transaction([&] {
            for (const auto& replacement : replacements) {
                requireName(replacement.table);
                requireName(replacement.column);
                runPrepared(
                    QStringLiteral("%1 WHERE x.%2 = $from SET x.%2 = $to")
                        .arg(rowVariableHead(replacement.table, replacement.isNode), replacement.column),
                    {{QStringLiteral("from"), GraphValue::string(replacement.from)},
                     {QStringLiteral("to"), GraphValue::string(replacement.to)}});
            }
        });
    });
}

namespace {

// The columns of a table, by their lower-cased names.
TableCatalog::Columns columnsOf(Connection& connection, const QString& table) {
    TableCatalog::Columns columns;
    auto result = connection.query(QStringLiteral("CALL table_info('%1') RETURN name, type").arg(table));
    while (auto row = result->getNext()) {
        auto name = row->getText(0);
        auto type = row->getText(1);
        if (name && type)
            columns.insert(name->toLower(), TableCatalog::canonicalType(*type));
    }
    return columns;
}

} // namespace

TableCatalog LadybugGraphStore::describeTables() {
    std::lock_guard guard(m_lock);
    return guarded([&] {
        QList<std::pair<QString, QString>> listed; // name, type
        {
            auto result = m_connection->query(QStringLiteral("CALL show_tables() RETURN name, type"));
            while (auto row = result->getNext()) {
                auto name = row->getText(0);
                auto type = row->getText(1);
                if (name && type)
                    listed.append({*name, *type});
            }
        }
        TableCatalog catalog;
        for (const auto& [name, type] : listed) {
            requireName(name);
            if (type == QLatin1String("NODE")) {
                catalog.nodeTables.insert(name.toLower(), columnsOf(*m_connection, name));
            } else if (type == QLatin1String("REL")) {
                const QString table = name.toLower();
                catalog.relTables.insert(table, columnsOf(*m_connection, name));
                QSet<std::pair<QString, QString>>& ends = catalog.relEnds[table];
                auto pairs =
                    m_connection->query(QStringLiteral("CALL show_connection('%1') RETURN *").arg(name));
                while (auto row = pairs->getNext()) {
                    auto from = row->getText(0);
                    auto to = row->getText(1);
                    if (from && to)
                        ends.insert({from->toLower(), to->toLower()});
                }
            }
        }
        return catalog;
    });
}

} // namespace corvantis
