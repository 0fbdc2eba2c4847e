#include "ladybug/FlatTuple.h"

#include "ladybug/LadybugError.h"
#include "ladybug/QueryResult.h"

namespace corvantis::ladybug {

FlatTuple::FlatTuple(std::shared_ptr<QueryResult> result, lbug_flat_tuple tuple, quint64 generation)
    : m_result(std::move(result))
    , m_tuple(tuple)
    , m_generation(generation) {
}

FlatTuple::~FlatTuple() {
    lbug_flat_tuple_destroy(&m_tuple);
}

FlatTuple::FlatTuple(FlatTuple&& other) noexcept
    : m_result(std::move(other.m_result))
    , m_tuple(other.m_tuple)
    , m_generation(other.m_generation) {
    other.m_tuple._flat_tuple = nullptr;
}

void FlatTuple::checkCurrent() const {
    // The engine reuses one row object for every row of a result.
    Q_ASSERT_X(m_result && m_result->generation() == m_generation, "FlatTuple",
               "a row was read after its result moved on");
}

lbug_value FlatTuple::rawValue(quint64 index) {
    checkCurrent();
    lbug_value value{};
    // The engine does not check the index itself.
    auto state = index < lbug_query_result_get_num_columns(m_result->handle())
                     ? lbug_flat_tuple_get_value(&m_tuple, index, &value)
                     : LbugError;
    if (state != LbugSuccess)
        throw LadybugError(LadybugError::Kind::GetValueFailed,
                           QStringLiteral("Failed to get column %1 value with status %2")
                               .arg(index)
                               .arg(static_cast<int>(state)));
    return value;
}

LadybugValue FlatTuple::getValue(quint64 index) {
    lbug_value value = rawValue(index);
    return readValue(&value);
}

LadybugList FlatTuple::getAsArray() {
    checkCurrent();
    auto count = lbug_query_result_get_num_columns(m_result->handle());
    LadybugList values;
    values.reserve(static_cast<qsizetype>(count));
    for (uint64_t i = 0; i < count; ++i)
        values.append(getValue(i));
    return values;
}

} // namespace corvantis::ladybug
