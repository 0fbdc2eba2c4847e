#pragma once

#include "kit/schema/GraphSchema.h"
#include "kit/store/MigrationPlan.h"

#include <QList>
#include <QStringList>
#include <optional>

// Turns the difference between two shapes into what brings the database from one to the other. Types
// and properties are matched by id, never by name, so a rename keeps its data. No database is touched
// here. An absent `from` is the empty shape.
namespace corvantis::DDLBuilder {

// The whole migration from `from` to `to`. The statements come in the order the database needs them:
// pairs and tables that go, then node tables (renamed, altered or created), then relationship tables.
// The fills and replacements touch only tables that both shapes have, node types first.
MigrationPlan plan(const std::optional<GraphSchema>& from, const GraphSchema& to);

// The statements that rename a table; through "{new}_renaming" when the names differ only by case,
// since the database's names ignore case.
QStringList renameTable(const QString& oldName, const QString& newName);
// The statements that bring a table's columns from `oldProperties` to `newProperties`.
QStringList propertyChanges(const QString& table, const QList<PropertyDef>& oldProperties,
                            const QList<PropertyDef>& newProperties);

} // namespace corvantis::DDLBuilder
