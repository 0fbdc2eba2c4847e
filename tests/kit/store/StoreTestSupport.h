#pragma once

// Helpers shared by the store's tests: shapes built in a line, a database in a temporary folder, and
// reading back what the database holds.
#include "kit/schema/GraphSchema.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "tests/support/ShapeBuilders.h"

#include <QDir>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>

namespace corvantis::test {

inline QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

// A database file in its own temporary folder.
class TempDatabase {
public:
    TempDatabase() { EXPECT_TRUE(m_dir.isValid()); }
    QString path() const { return m_dir.filePath(QStringLiteral("graph.lbug")); }
    std::unique_ptr<LadybugGraphStore> open() const { return std::make_unique<LadybugGraphStore>(path()); }

private:
    QTemporaryDir m_dir;
};

// One column of every row of a read-only query, as display text.
inline QStringList column(LadybugGraphStore& store, const QString& cypher, int index = 0) {
    QStringList out;
    for (const auto& row : store.runReadOnly(cypher, 100000).rows)
        out << row.value(index).displayText();
    return out;
}

// The columns of a table with their types, "name TYPE", sorted.
inline QStringList tableColumns(LadybugGraphStore& store, const QString& table) {
    QStringList out;
    for (const auto& row :
         store.runReadOnly(QStringLiteral("CALL table_info('%1') RETURN name, type").arg(table), 1000).rows)
        out << row.value(0).displayText() + QLatin1Char(' ') + row.value(1).displayText();
    std::sort(out.begin(), out.end());
    return out;
}

// The names of the tables of one kind ("NODE" or "REL"), sorted.
inline QStringList tables(LadybugGraphStore& store, const QString& kind) {
    QStringList out =
        column(store, QStringLiteral("CALL show_tables() WHERE type = '%1' RETURN name").arg(kind));
    std::sort(out.begin(), out.end());
    return out;
}

// How many placeholder rows the node tables hold.
inline qint64 placeholderCount(LadybugGraphStore& store) {
    auto output = store.runReadOnly(
        QStringLiteral("MATCH (n) WHERE n.id = '%1' RETURN count(n)").arg(LadybugGraphStore::placeholderId),
        1);
    const GraphValue value = output.rows.value(0).value(0);
    const qint64* count = value.asInteger();
    return count ? *count : -1;
}

// Brings a database from one shape to another as a session does: statements, fills, replacements.
inline void migrate(LadybugGraphStore& store, const std::optional<GraphSchema>& from, const GraphSchema& to) {
    const MigrationPlan plan = DDLBuilder::plan(from, to);
    store.migrate(plan);
    store.fill(plan.fills);
    store.replace(plan.replacements);
}

// A plan of hand-written statements, for batches that no shape change makes.
inline MigrationPlan statementsPlan(const QStringList& statements,
                                    const QSet<QString>& tablesLosingColumns = {}) {
    MigrationPlan plan;
    plan.statements = statements;
    plan.tablesLosingColumns = tablesLosingColumns;
    return plan;
}

} // namespace corvantis::test
