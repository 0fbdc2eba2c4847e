#include "kit/query/TextSearch.h"

#include <QCollator>
#include <algorithm>
#include <array>
#include <vector>

namespace corvantis::TextSearch {

namespace {

const QString& keyOf(const QString& text, KeyMemo& memo) {
    auto found = memo.constFind(text);
    if (found == memo.constEnd())
        found = memo.insert(text, LooseQuery::key(text));
    return *found;
}

struct Searcher {
    const QHash<QString, Table>& tables;
    KeyMemo& memo;
    std::array<QList<Row>, 3> tiers;

    void look(const QString& id, const QString& label, const PropertyMap& properties) {
        const auto table = tables.constFind(label);
        if (table == tables.constEnd() || table->looks.isEmpty())
            return;
        int best = 3;
        for (const Look& look : table->looks) {
            QString titleKey;
            if (look.title)
                if (const std::optional<QString> text = properties.value(*look.title).titleText())
                    titleKey = keyOf(*text, memo);
            QStringList rest;
            for (const QString& column : look.columns) {
                if (look.title && column == *look.title)
                    continue;
                const std::optional<QString> text = properties.value(column).titleText();
                if (text)
                    rest.append(*text);
            }
            const QString restKey = rest.isEmpty() ? QString() : keyOf(rest.join(QLatin1Char(' ')), memo);
            if (const std::optional<int> t = tier(look.query, titleKey, restKey))
                best = std::min(best, *t);
            if (best == 0)
                break;
        }
        if (best == 3)
            return;
        QString title;
        if (table->titleColumn)
            title = properties.value(*table->titleColumn).titleText().value_or(QString());
        if (title.isEmpty())
            title = table->typeName;
        tiers[best].append(Row{id, title, best});
    }
};

} // namespace

std::optional<int> tier(const LooseQuery& query, const QString& titleKey, const QString& restKey) {
    if (query.isEmpty())
        return std::nullopt;
    if (!titleKey.isEmpty() && query.isExact(titleKey))
        return 0;
    if (!titleKey.isEmpty() && query.matches(titleKey))
        return 1;
    // The separator keeps a phrase from matching across the seam of title and text.
    if (!restKey.isEmpty() && query.matches(titleKey + QChar(0x0001) + restKey))
        return 2;
    return std::nullopt;
}

QList<Row> search(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels,
                  const QHash<QString, Table>& tables, KeyMemo& memo, const CancellationToken& cancellation) {
    Searcher searcher{tables, memo, {}};
    int count = 0;
    for (const NodeRecord& node : nodes) {
        if ((++count & 4095) == 0)
            cancellation.check();
        searcher.look(node.id, node.label, node.properties);
    }
    for (const RelRecord& rel : rels) {
        if ((++count & 4095) == 0)
            cancellation.check();
        searcher.look(rel.id, rel.label, rel.properties);
    }
    cancellation.check();
    // Each title's collation key is made once; comparing keys is far cheaper than comparing titles.
    QCollator collator;
    QList<Row> rows;
    for (QList<Row>& list : searcher.tiers) {
        std::vector<QCollatorSortKey> keys;
        keys.reserve(list.size());
        for (const Row& row : list)
            keys.push_back(collator.sortKey(row.title));
        std::vector<qsizetype> order(list.size());
        for (qsizetype i = 0; i < list.size(); ++i)
            order[i] = i;
        std::stable_sort(order.begin(), order.end(),
                         [&](qsizetype a, qsizetype b) { return keys[a].compare(keys[b]) < 0; });
        cancellation.check();
        for (qsizetype i : order)
            rows.append(std::move(list[i]));
    }
    return rows;
}

} // namespace corvantis::TextSearch
