#pragma once

#include "kit/schema/DefaultFill.h"
#include "kit/store/ValueReplacement.h"

#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

namespace corvantis {

// Everything that brings a database from one shape to the next, worked out once from the two shapes.
// The statements run first, as one transaction; the fills and replacements after them, each in its own.
struct MigrationPlan {
    // The DDL statements, in the order the database needs them.
    QStringList statements;
    // The tables from which a statement drops a column, by the name they bear before the statements run
    // (a table renamed in the same batch is named as it was). Node and relationship tables alike.
    QSet<QString> tablesLosingColumns;
    // Defaults to write into existing rows, once the statements have run.
    QList<DefaultFill> fills;
    // Renamed choice options to rewrite in existing rows, once the statements have run.
    QList<ValueReplacement> replacements;

    bool isEmpty() const { return statements.isEmpty() && fills.isEmpty() && replacements.isEmpty(); }
    bool operator==(const MigrationPlan& other) const = default;
};

} // namespace corvantis
