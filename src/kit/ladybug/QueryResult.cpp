#include "kit/ladybug/QueryResult.h"

#include "kit/ladybug/Connection.h"
#include "kit/ladybug/LadybugError.h"

namespace corvantis::ladybug {

QueryResult::QueryResult(Key, std::shared_ptr<Connection> connection, lbug_query_result result)
    : m_connection(std::move(connection))
    , m_result(result) {
}

QueryResult::~QueryResult() {
    lbug_query_result_destroy(&m_result);
}

const QStringList& QueryResult::getColumnNames() {
    if (!m_columns) {
        QStringList names;
        auto count = lbug_query_result_get_num_columns(&m_result);
        for (uint64_t i = 0; i < count; ++i) {
            char* name = nullptr;
            if (lbug_query_result_get_column_name(&m_result, i, &name) != LbugSuccess)
                throw LadybugError(LadybugError::Kind::GetValueFailed,
                                   QStringLiteral("Failed to get column name value with status %1")
                                       .arg(static_cast<int>(LbugError)));
            names << QString::fromUtf8(name);
            lbug_destroy_string(name);
        }
        m_columns = std::move(names);
    }
    return *m_columns;
}

const std::vector<lbug_data_type_id>& QueryResult::getColumnTypes() {
    if (!m_types) {
        std::vector<lbug_data_type_id> types;
        auto count = lbug_query_result_get_num_columns(&m_result);
        for (uint64_t i = 0; i < count; ++i) {
            lbug_logical_type type{};
            if (lbug_query_result_get_column_data_type(&m_result, i, &type) == LbugSuccess) {
                types.push_back(lbug_data_type_get_id(&type));
                lbug_data_type_destroy(&type);
            } else {
                types.push_back(LBUG_ANY);
            }
        }
        m_types = std::move(types);
    }
    return *m_types;
}

LadybugColumnShape& QueryResult::columnShape(quint64 index) {
    if (m_shapes.size() <= index)
        m_shapes.resize(index + 1);
    return m_shapes[index];
}

quint64 QueryResult::getRowCount() {
    return lbug_query_result_get_num_tuples(&m_result);
}

bool QueryResult::hasNext() {
    return lbug_query_result_has_next(&m_result);
}

std::optional<FlatTuple> QueryResult::getNext() {
    if (!lbug_query_result_has_next(&m_result))
        return std::nullopt;
    lbug_flat_tuple tuple{};
    auto state = lbug_query_result_get_next(&m_result, &tuple);
    ++m_generation;
    if (state != LbugSuccess || tuple._flat_tuple == nullptr)
        throw LadybugError(LadybugError::Kind::GetFlatTupleFailed,
                           QStringLiteral("Failed to get the next row with status %1")
                               .arg(static_cast<int>(state == LbugSuccess ? LbugError : state)));
    return std::optional<FlatTuple>(std::in_place, shared_from_this(), tuple, m_generation);
}

} // namespace corvantis::ladybug
