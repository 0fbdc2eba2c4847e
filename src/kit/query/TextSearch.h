#pragma once

#include "kit/query/LooseQuery.h"
#include "kit/schema/GraphValue.h"
#include "kit/support/Cancellation.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

// Word search over the records held in memory, in three tiers: titles that are the query, titles that
// hold it, then records whose other text holds it. Pure, so that it runs on a worker over a snapshot.
namespace corvantis::TextSearch {

// A prepared check for one table: the columns to read, the title column when the search looks at titles,
// and the query.
struct Look {
    QStringList columns;
    std::optional<QString> title;
    LooseQuery query;
};

// What the search knows of one table.
struct Table {
    QString typeName;                   // the title of a record without a title value
    std::optional<QString> titleColumn; // the column the record's title comes from
    QList<Look> looks;
};

struct Row {
    QString id;
    QString title;
    int tier = 0;
    friend bool operator==(const Row&, const Row&) = default;
};

// A record's text values folded by LooseQuery::key, by column, and its title's place among all the
// titles in the locale's order (equal titles share a place).
struct FoldedRecord {
    QString id;
    QString label;
    QHash<QString, QString> keys;
    QString title;
    int titleRank = 0;
};
// Every record's folded texts, made once for a state of the records and shared, read-only, by every
// search over that state.
using Folded = QList<FoldedRecord>;

// Folds every text value of the nodes and relationships and ranks their titles, read as `tables` say
// (a record of a table not named there is titled by its label). Fails with Cancelled when the token fires.
Folded fold(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels,
            const QHash<QString, Table>& tables, const CancellationToken& cancellation = CancellationToken());

// The best tier (0, 1, 2) of a record for a look, or absent when it doesn't match. `titleKey` and
// `restKey` are keys of the title's value and of the other columns' values joined by blanks.
std::optional<int> tier(const LooseQuery& query, const QString& titleKey, const QString& restKey);

// Every record of `folded` in a table with looks that matches, tier 0 first, then 1, then 2; each tier
// in the order of the titles' ranks. Fails with Cancelled when the token fires.
QList<Row> search(const Folded& folded, const QHash<QString, Table>& tables,
                  const CancellationToken& cancellation = CancellationToken());

} // namespace corvantis::TextSearch
