#include "kit/query/TextSearch.h"

#include <QCollator>
#include <algorithm>
#include <array>
#include <vector>

namespace corvantis::TextSearch {

namespace {

void foldInto(Folded& folded, const QString& id, const QString& label, const PropertyMap& properties,
              const QHash<QString, Table>& tables) {
    FoldedRecord record{id, label, {}, {}, 0};
    for (auto it = properties.begin(); it != properties.end(); ++it)
        if (const std::optional<QString> text = it.value().titleText(); text && !text->isEmpty())
            record.keys.insert(it.key(), LooseQuery::key(*text));
    const auto table = tables.constFind(label);
    if (table != tables.constEnd() && table->titleColumn)
        record.title = properties.value(*table->titleColumn).titleText().value_or(QString());
    if (record.title.isEmpty())
        record.title = table != tables.constEnd() ? table->typeName : label;
    folded.append(std::move(record));
}

struct Searcher {
    const QHash<QString, Table>& tables;
    std::array<QList<const FoldedRecord*>, 3> tiers;
    // The table of the record before: records come grouped by label, so most lookups are skipped.
    const QString* lastLabel = nullptr;
    const Table* lastTable = nullptr;

    const Table* tableOf(const QString& label) {
        if (lastLabel && *lastLabel == label)
            return lastTable;
        const auto found = tables.constFind(label);
        lastLabel = &label;
        lastTable = found == tables.constEnd() || found->looks.isEmpty() ? nullptr : &*found;
        return lastTable;
    }

    void look(const FoldedRecord& record) {
        const Table* table = tableOf(record.label);
        if (!table)
            return;
        int best = 3;
        QString joined;
        for (const Look& look : table->looks) {
            const QString titleKey = look.title ? record.keys.value(*look.title) : QString();
            // The other columns' keys; one column needs no joining. Keys hold no blanks, so joining keys
            // is the key of the joined texts.
            const QString* restKey = nullptr;
            int parts = 0;
            joined.clear();
            const QString* only = nullptr;
            for (const QString& column : look.columns) {
                if (look.title && column == *look.title)
                    continue;
                const auto key = record.keys.constFind(column);
                if (key == record.keys.constEnd())
                    continue;
                if (++parts == 1) {
                    only = &*key;
                } else {
                    if (parts == 2)
                        joined = *only;
                    joined += *key;
                }
            }
            static const QString none;
            restKey = parts == 0 ? &none : parts == 1 ? only : &joined;
            if (const std::optional<int> t = tier(look.query, titleKey, *restKey))
                best = std::min(best, *t);
            if (best == 0)
                break;
        }
        if (best < 3)
            tiers[best].append(&record);
    }
};

} // namespace

Folded fold(const QHash<QString, NodeRecord>& nodes, const QHash<QString, RelRecord>& rels,
            const QHash<QString, Table>& tables, const CancellationToken& cancellation) {
    Folded folded;
    folded.reserve(nodes.size() + rels.size());
    int count = 0;
    for (const NodeRecord& node : nodes) {
        if ((++count & 4095) == 0)
            cancellation.check();
        foldInto(folded, node.id, node.label, node.properties, tables);
    }
    for (const RelRecord& rel : rels) {
        if ((++count & 4095) == 0)
            cancellation.check();
        foldInto(folded, rel.id, rel.label, rel.properties, tables);
    }
    cancellation.check();
    // The titles are put in the locale's order once, with one collation key each, so that a search sorts
    // its matches by comparing numbers.
    {
        QCollator collator;
        std::vector<QCollatorSortKey> keys;
        keys.reserve(folded.size());
        for (const FoldedRecord& record : folded)
            keys.push_back(collator.sortKey(record.title));
        cancellation.check();
        std::vector<qsizetype> order(folded.size());
        for (qsizetype i = 0; i < folded.size(); ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(),
                  [&](qsizetype a, qsizetype b) { return keys[a].compare(keys[b]) < 0; });
        int rank = 0;
        for (std::size_t i = 0; i < order.size(); ++i) {
            if (i > 0 && keys[order[i - 1]].compare(keys[order[i]]) != 0)
                ++rank;
            folded[order[i]].titleRank = rank;
        }
    }
    cancellation.check();
    // Grouped by label, so that a search finds each record's table without a lookup.
    std::stable_sort(folded.begin(), folded.end(),
                     [](const FoldedRecord& a, const FoldedRecord& b) { return a.label < b.label; });
    return folded;
}

std::optional<int> tier(const LooseQuery& query, const QString& titleKey, const QString& restKey) {
    if (query.isEmpty())
        return std::nullopt;
    if (!titleKey.isEmpty() && query.isExact(titleKey))
        return 0;
    if (!titleKey.isEmpty() && query.matches(titleKey))
        return 1;
    if (restKey.isEmpty())
        return std::nullopt;
    if (query.matches(restKey))
        return 2;
    // Words may be spread over the title and the text; the separator keeps a phrase from matching across
    // their seam. A single word has been looked for in both already.
    if (titleKey.isEmpty() || (query.alternatives().isEmpty() && query.words().size() < 2))
        return std::nullopt;
    if (query.matches(titleKey + QChar(0x0001) + restKey))
        return 2;
    return std::nullopt;
}

QList<Row> search(const Folded& folded, const QHash<QString, Table>& tables,
                  const CancellationToken& cancellation) {
    Searcher searcher{tables, {}};
    int count = 0;
    for (const FoldedRecord& record : folded) {
        if ((++count & 4095) == 0)
            cancellation.check();
        searcher.look(record);
    }
    cancellation.check();
    QList<Row> rows;
    for (int level = 0; level < 3; ++level) {
        QList<const FoldedRecord*>& list = searcher.tiers[level];
        std::stable_sort(list.begin(), list.end(), [](const FoldedRecord* a, const FoldedRecord* b) {
            return a->titleRank < b->titleRank;
        });
        for (const FoldedRecord* record : list)
            rows.append(Row{record->id, record->title, level});
    }
    return rows;
}

} // namespace corvantis::TextSearch
