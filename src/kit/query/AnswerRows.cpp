#include "kit/query/AnswerRows.h"

namespace corvantis::AnswerRows {

namespace {

struct Walker {
    const std::function<bool(const QString&)>& isNode;
    const std::function<bool(const QString&)>& isRel;
    RowIds row;
    QSet<QString> seen;

    void node(const QString& id) {
        if (isNode(id) && !seen.contains(id)) {
            seen.insert(id);
            row.nodes.append(id);
        }
    }
    void rel(const RelRecord& record) {
        if (isRel(record.id) && !seen.contains(record.id)) {
            seen.insert(record.id);
            row.rels.append(record.id);
        }
        node(record.from);
        node(record.to);
    }
    void walk(const GraphValue& value) {
        switch (value.kind()) {
        case GraphValue::Kind::Node:
            node(value.asNode()->id);
            break;
        case GraphValue::Kind::Relationship:
            rel(*value.asRelationship());
            break;
        case GraphValue::Kind::Path:
            for (const NodeRecord& n : value.asPath()->nodes)
                node(n.id);
            for (const RelRecord& r : value.asPath()->relationships)
                rel(r);
            break;
        case GraphValue::Kind::List:
            for (const GraphValue& item : *value.asList())
                walk(item);
            break;
        case GraphValue::Kind::Map:
            for (const GraphValue& item : *value.asMap())
                walk(item);
            break;
        case GraphValue::Kind::String: {
            // A query that returns ids as text ("RETURN n.id") still names its records.
            const QString text = value.asString()->toUpper();
            if (text.size() == 36) {
                node(text);
                if (isRel(text) && !seen.contains(text)) {
                    seen.insert(text);
                    row.rels.append(text);
                }
            }
            break;
        }
        default:
            break;
        }
    }
};

} // namespace

QList<RowIds> ids(const QueryOutput& output, const std::function<bool(const QString&)>& isNode,
                  const std::function<bool(const QString&)>& isRel) {
    QList<RowIds> rows;
    rows.reserve(output.rows.size());
    for (const QList<GraphValue>& values : output.rows) {
        Walker walker{isNode, isRel, {}, {}};
        for (const GraphValue& value : values)
            walker.walk(value);
        rows.append(std::move(walker.row));
    }
    return rows;
}

void collect(const QList<RowIds>& rows, QSet<QString>& nodes, QSet<QString>& rels) {
    for (const RowIds& row : rows) {
        for (const QString& id : row.nodes)
            nodes.insert(id);
        for (const QString& id : row.rels)
            rels.insert(id);
    }
}

} // namespace corvantis::AnswerRows
