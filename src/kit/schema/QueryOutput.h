#pragma once

#include "kit/schema/GraphValue.h"

#include <QStringList>

namespace corvantis {

// What a query gives back: the rows held, and how many the query really had.
struct QueryOutput {
    QStringList columns;
    QList<QList<GraphValue>> rows;
    int totalRows = 0; // may exceed rows.size()
    double milliseconds = 0;
    // The query found more rows than it holds.
    bool isTruncated() const { return totalRows > rows.size(); }
    bool operator==(const QueryOutput& other) const = default;
};

} // namespace corvantis
