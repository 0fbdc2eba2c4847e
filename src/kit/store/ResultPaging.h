#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

// Turns the rows of an answer into groups of record ids and decides where a page ends, so that no page
// ever holds half of a row.
namespace corvantis::ResultPaging {

inline constexpr int pageSize = 30;
// An answer of up to this many ids is shown whole.
inline constexpr int wholeLimit = 40;
// Above this many ids an answer may be narrowed.
inline constexpr int narrowAbove = 100;

// Whether the query fixes its own row order: "ORDER BY" outside strings and comments.
bool isOrdered(const QString& cypher);

// The rows reduced to the ids that each adds; a row that adds nothing adds no group. Unless `ordered`,
// rows go first by their best-scoring id, higher first, ties in result order.
QList<QStringList> groups(const QList<QStringList>& rows, bool ordered,
                          const std::function<double(const QString&)>& score);

// The index just past the page of whole groups that starts at `from` and holds at least `size` ids (or
// runs to the end); the first group is always taken. `from` itself when it is at or past the end.
int pageEnd(const QList<QStringList>& groups, int from, int size);

// The index just past the first page: everything when the groups hold at most `wholeLimit` ids or are
// fewer than two, otherwise a page of `pageSize`.
int firstPageEnd(const QList<QStringList>& groups);

} // namespace corvantis::ResultPaging
