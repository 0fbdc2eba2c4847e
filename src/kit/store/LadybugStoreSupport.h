#pragma once

// What the source files of LadybugGraphStore share: turning failures into GraphStoreError, and the
// checks and pieces of Cypher text that every kind of operation needs.
#include "kit/schema/GraphValue.h"
#include "kit/store/GraphStoreError.h"

#include <QList>
#include <QString>
#include <exception>
#include <optional>
#include <utility>

namespace corvantis::ladybug {
class QueryResult;
}

namespace corvantis::LadybugStoreSupport {

// A GraphStoreError stays as it is (with its own class); a binding error becomes one of the kind that
// its cause tells, with the message it carries; anything else becomes an engine failure with its own
// description.
GraphStoreError wrap(const std::exception& error);

// Runs `body` and turns whatever it throws into a GraphStoreError; one already thrown as such passes
// unchanged, so that a MigrationCleanupError stays one.
template <typename Body> auto guarded(Body&& body) -> decltype(body()) {
    try {
        return body();
    } catch (const GraphStoreError&) {
        throw;
    } catch (const std::exception& error) {
        throw wrap(error);
    }
}

// Table and column names come from the shape's identifiers and are written into Cypher as they are,
// so anything else is refused (a Constraint failure) before it reaches the text.
void requireName(const QString& name);

using GraphParameters = QList<std::pair<QString, GraphValue>>;

// The integer in the first column of the first row, if there is one.
std::optional<qint64> firstInteger(ladybug::QueryResult& result);

} // namespace corvantis::LadybugStoreSupport
