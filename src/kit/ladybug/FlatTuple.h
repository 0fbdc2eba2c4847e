#pragma once

#include "kit/ladybug/LadybugValue.h"

#include <lbug.h>
#include <memory>
#include <optional>

namespace corvantis::ladybug {

class QueryResult;

// One row of a result; it keeps its result alive, and is valid until the result's next getNext.
class FlatTuple {
public:
    FlatTuple(std::shared_ptr<QueryResult> result, lbug_flat_tuple tuple, quint64 generation);
    ~FlatTuple();
    FlatTuple(const FlatTuple&) = delete;
    FlatTuple& operator=(const FlatTuple&) = delete;
    FlatTuple(FlatTuple&& other) noexcept;
    FlatTuple& operator=(FlatTuple&&) = delete;

    // The value of one column in native form; fails with LadybugError (getValueFailed).
    LadybugValue getValue(quint64 index);
    // The text of a STRING column, read without wrapping; absent when null or of another kind.
    std::optional<QString> getText(quint64 index);
    // The engine's id held by an INTERNAL_ID column; absent when null or of another kind.
    std::optional<LadybugInternalId> getInternalId(quint64 index);
    // Every column's value, in order.
    LadybugList getAsArray();
    // The engine's value of one column, owned by the row: for callers that read it in place.
    lbug_value rawValue(quint64 index);

private:
    void checkCurrent() const;
    // The column's type, asking the value itself when the column cannot tell.
    lbug_data_type_id typeAt(quint64 index, lbug_value& value);

    std::shared_ptr<QueryResult> m_result;
    lbug_flat_tuple m_tuple;
    quint64 m_generation;
};

} // namespace corvantis::ladybug
