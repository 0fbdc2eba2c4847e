#include "kit/ladybug/FlatTuple.h"

#include "kit/ladybug/LadybugError.h"
#include "kit/ladybug/QueryResult.h"

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
    const auto& types = m_result->getColumnTypes();
    return readValue(&value, index < types.size() ? types[index] : LBUG_ANY, &m_result->columnShape(index));
}

lbug_data_type_id FlatTuple::typeAt(quint64 index, lbug_value& value) {
    const auto& types = m_result->getColumnTypes();
    if (index < types.size() && types[index] != LBUG_ANY)
        return types[index];
    lbug_logical_type type;
    lbug_value_get_data_type(&value, &type);
    auto id = lbug_data_type_get_id(&type);
    lbug_data_type_destroy(&type);
    return id;
}

std::optional<LadybugInternalId> FlatTuple::getInternalId(quint64 index) {
    lbug_value value = rawValue(index);
    if (value._value == nullptr || lbug_value_is_null(&value) || typeAt(index, value) != LBUG_INTERNAL_ID)
        return std::nullopt;
    lbug_internal_id_t id{};
    if (lbug_value_get_internal_id(&value, &id) != LbugSuccess)
        throw LadybugError(LadybugError::Kind::GetValueFailed,
                           QStringLiteral("Failed to get INTERNAL_ID value with status %1")
                               .arg(static_cast<int>(LbugError)));
    return LadybugInternalId{id.table_id, id.offset};
}

std::optional<QString> FlatTuple::getText(quint64 index) {
    lbug_value value = rawValue(index);
    if (value._value == nullptr || lbug_value_is_null(&value) || typeAt(index, value) != LBUG_STRING)
        return std::nullopt;
    char* text = nullptr;
    if (lbug_value_get_string(&value, &text) != LbugSuccess)
        throw LadybugError(
            LadybugError::Kind::GetValueFailed,
            QStringLiteral("Failed to get STRING value with status %1").arg(static_cast<int>(LbugError)));
    QString result = QString::fromUtf8(text);
    lbug_destroy_string(text);
    return result;
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
