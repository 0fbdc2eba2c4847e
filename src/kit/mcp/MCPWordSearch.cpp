#include "kit/mcp/MCPWordSearch.h"

#include "kit/mcp/MCPRecords.h"

#include <QJsonArray>
#include <algorithm>

namespace corvantis::CorvantisMCP {

namespace {

struct Hit {
    int rank = 0;
    QString title;
    QString id;
    bool isNode = true;
};

bool anyTextMatches(const PropertyMap& properties, const LooseQuery& query, const QString& skipping) {
    for (auto it = properties.cbegin(); it != properties.cend(); ++it) {
        if (it.key() == skipping)
            continue;
        if (const QString* text = it.value().asString(); text && query.matches(LooseQuery::key(*text)))
            return true;
    }
    return false;
}

} // namespace

QJsonObject searchWords(const LooseQuery& query, int limit, const GraphSchema& schema,
                        const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels) {
    QList<Hit> hits;
    for (auto it = nodes.cbegin(); it != nodes.cend(); ++it) {
        const NodeRecord& node = it.value();
        const NodeType* type = schema.nodeTypeForTable(node.label);
        const PropertyDef* titleProperty = type ? type->title() : nullptr;
        const QString title = node.title(type);
        const QString key = LooseQuery::key(title);
        int rank = -1;
        if (query.isExact(key))
            rank = 0;
        else if (query.matches(key))
            rank = 1;
        else if (anyTextMatches(node.properties, query, titleProperty ? titleProperty->column() : QString()))
            rank = 2;
        if (rank >= 0)
            hits.append(Hit{rank, title, node.id, true});
    }
    for (auto it = rels.cbegin(); it != rels.cend(); ++it) {
        const RelRecord& rel = it.value();
        const RelType* type = schema.relTypeForTable(rel.label);
        const QString typeName = type ? type->name : rel.label;
        if (query.matches(LooseQuery::key(typeName)) || anyTextMatches(rel.properties, query, QString()))
            hits.append(Hit{3, rel.title(type).value_or(typeName), rel.id, false});
    }
    std::sort(hits.begin(), hits.end(), [](const Hit& a, const Hit& b) {
        if (a.rank != b.rank)
            return a.rank < b.rank;
        const int byTitle = QString::compare(a.title, b.title, Qt::CaseInsensitive);
        if (byTitle != 0)
            return byTitle < 0;
        return a.id < b.id;
    });

    QJsonArray results;
    for (qsizetype i = 0; i < hits.size() && i < limit; ++i) {
        const Hit& hit = hits[i];
        results.append(hit.isNode ? json(nodes.value(hit.id), schema) : json(rels.value(hit.id), schema));
    }
    return QJsonObject{{QStringLiteral("results"), results}, {QStringLiteral("total"), hits.size()}};
}

} // namespace corvantis::CorvantisMCP
