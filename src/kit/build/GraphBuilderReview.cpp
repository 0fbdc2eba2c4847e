#include "kit/build/GraphBuilder.h"
#include "kit/schema/Identifier.h"

#include <QSet>
#include <algorithm>

namespace corvantis::GraphBuilder {

namespace {

const QChar unitSeparator(0x1F);

bool isMark(QChar c) {
    const auto category = c.category();
    return category == QChar::Mark_NonSpacing || category == QChar::Mark_SpacingCombining ||
           category == QChar::Mark_Enclosing;
}

QString columnKey(const QString& name) {
    return Identifier::property(name).toLower();
}

// A table's identity key for a node of that table titled `title`.
QString identity(const QString& table, const QString& title) {
    return table + unitSeparator + nameKey(title);
}

QString trimmedRef(const QString& text) {
    return text.trimmed();
}

struct Resolved {
    GraphReview::End end;
    QString table;
};

} // namespace

QStringList keyWords(const QString& text) {
    QStringList words;
    QString word;
    // Fast path for plain ASCII, which most names are.
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    for (QChar c : decomposed) {
        if (isMark(c))
            continue;
        if (c == QLatin1Char('&')) {
            if (!word.isEmpty())
                words.append(std::exchange(word, QString()));
            words.append(QStringLiteral("and"));
            continue;
        }
        if (c.isLetterOrNumber()) {
            word.append(c);
        } else if (!word.isEmpty()) {
            words.append(std::exchange(word, QString()));
        }
    }
    if (!word.isEmpty())
        words.append(word);
    for (QString& w : words)
        w = w.toCaseFolded().toLower();
    return words;
}

QString nameKey(const QString& text) {
    // Plain ASCII, which most names are, needs no normalizing: one pass, one allocation.
    bool ascii = true;
    for (QChar c : text)
        if (c.unicode() >= 0x80) {
            ascii = false;
            break;
        }
    if (ascii) {
        QString key;
        key.reserve(text.size() + 4);
        bool inWord = false;
        int words = 0;
        qsizetype firstEnd = -1;
        auto separate = [&] {
            if (inWord) {
                if (words == 1)
                    firstEnd = key.size();
                inWord = false;
            }
        };
        for (QChar c : text) {
            const char16_t u = c.unicode();
            const bool alnum = (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || (u >= '0' && u <= '9');
            if (u == '&') {
                separate();
                if (!key.isEmpty())
                    key += QLatin1Char(' ');
                key += QLatin1String("and");
                ++words;
                if (words == 1)
                    firstEnd = key.size();
                continue;
            }
            if (!alnum) {
                separate();
                continue;
            }
            if (!inWord) {
                if (!key.isEmpty())
                    key += QLatin1Char(' ');
                ++words;
                inWord = true;
            }
            key += QChar(u >= 'A' && u <= 'Z' ? u + 32 : u);
        }
        separate();
        if (words >= 2) {
            const QStringView first = QStringView(key).left(firstEnd);
            if (first == QLatin1String("the") || first == QLatin1String("a") || first == QLatin1String("an"))
                key.remove(0, firstEnd + 1);
        }
        return key;
    }
    QStringList words = keyWords(text);
    if (words.size() >= 2 && (words.first() == QLatin1String("the") || words.first() == QLatin1String("a") ||
                              words.first() == QLatin1String("an")))
        words.removeFirst();
    return words.join(QLatin1Char(' '));
}

QStringList mentioned(const QString& text, const QList<QPair<QString, QString>>& names) {
    struct Kept {
        QString id;
        QStringList words;
    };
    QList<Kept> kept;
    qsizetype longest = 0;
    for (const auto& [id, name] : names) {
        QStringList words = keyWords(name);
        if (words.size() >= 2 &&
            (words.first() == QLatin1String("the") || words.first() == QLatin1String("a") ||
             words.first() == QLatin1String("an")))
            words.removeFirst();
        if (words.isEmpty() || (words.size() == 1 && words.first().size() <= 2))
            continue;
        longest = std::max(longest, words.size());
        kept.append({id, words});
    }
    const qsizetype m = std::min<qsizetype>(longest, 8);
    if (m < 1)
        return {};
    const QStringList words = keyWords(text);
    QSet<QString> runs;
    for (qsizetype i = 0; i < words.size(); ++i) {
        QString run;
        for (qsizetype n = 0; n < m && i + n < words.size(); ++n) {
            if (n > 0)
                run += QLatin1Char(' ');
            run += words[i + n];
            runs.insert(run);
        }
    }
    QStringList ids;
    for (const Kept& name : kept)
        if (name.words.size() <= m && runs.contains(name.words.join(QLatin1Char(' '))))
            ids.append(name.id);
    return ids;
}

QList<QPair<QString, float>> passageMatches(const QList<QPair<QString, float>>& hits) {
    if (hits.isEmpty())
        return {};
    float best = hits.first().second;
    for (const auto& hit : hits)
        best = std::max(best, hit.second);
    if (best < 0.68f)
        return {};
    QList<QPair<QString, float>> kept;
    for (const auto& hit : hits)
        if (hit.second >= 0.68f && hit.second >= best - 0.06f)
            kept.append(hit);
    return kept;
}

QStringList candidates(const QStringList& mentionedIds, const QList<QPair<QString, float>>& similar,
                       int limit) {
    QStringList ids;
    QSet<QString> taken;
    for (const QString& id : mentionedIds)
        if (!taken.contains(id)) {
            taken.insert(id);
            ids.append(id);
        }
    QHash<QString, float> best;
    for (const auto& [id, score] : similar)
        if (!best.contains(id) || best.value(id) < score)
            best.insert(id, score);
    QList<QPair<QString, float>> sorted;
    for (auto it = best.cbegin(); it != best.cend(); ++it)
        sorted.append({it.key(), it.value()});
    std::sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    for (const auto& [id, score] : std::as_const(sorted))
        if (!taken.contains(id)) {
            taken.insert(id);
            ids.append(id);
        }
    return ids.mid(0, limit);
}

PropertyMap values(const QList<GraphDraft::Property>& properties, const QList<PropertyDef>& defs,
                   bool clearing) {
    PropertyMap result;
    for (const GraphDraft::Property& property : properties) {
        const QString wanted = columnKey(property.name.trimmed());
        const PropertyDef* def = nullptr;
        for (const PropertyDef& candidate : defs)
            if (columnKey(candidate.name) == wanted) {
                def = &candidate;
                break;
            }
        if (!def)
            continue;
        const QString text = property.value.trimmed();
        const QString column = def->column();
        if (text.isEmpty()) {
            if (clearing)
                result.insert(column, GraphValue());
            continue;
        }
        switch (def->kind) {
        case PropertyKind::Text:
        case PropertyKind::Link:
            result.insert(column, GraphValue::string(text));
            break;
        case PropertyKind::Number:
        case PropertyKind::Boolean:
        case PropertyKind::Choice:
            if (auto value = def->value(text); value && !value->isNull())
                result.insert(column, *value);
            break;
        }
    }
    return result;
}

GraphReview review(const GraphDraft& draft, const GraphSchema& schema,
                   const QHash<QString, NodeRecord>& existing) {
    GraphReview review;

    // 1. The graph by identity (table, then name key), and every id with its table. Only the names that
    // the draft uses are kept: a graph of many nodes is walked once, with no index built of all of it.
    QHash<QString, const NodeType*> typeOfTable;
    for (const NodeType& type : schema.nodeTypes)
        if (!typeOfTable.contains(type.table()))
            typeOfTable.insert(type.table(), &type);
    QHash<QString, QSet<QString>> wanted; // table -> name keys the draft uses
    for (const GraphDraft::Node& drafted : draft.nodes) {
        const QString table = Identifier::nodeTable(drafted.type).toLower();
        for (const NodeType& type : schema.nodeTypes)
            if (type.table().toLower() == table && type.title()) {
                const PropertyMap values = GraphBuilder::values(drafted.properties, type.properties, false);
                if (auto title = values.value(type.title()->column()).titleText())
                    wanted[type.table()].insert(nameKey(*title));
                break;
            }
    }
    QHash<QString, QHash<QString, QString>> byIdentity; // table -> name key -> id
    QString lastLabel;
    const NodeType* lastType = nullptr;
    QString lastColumn;
    QHash<QString, QString>* lastIndex = nullptr;
    const QSet<QString>* lastWanted = nullptr;
    for (const NodeRecord& record : existing) {
        if (!lastIndex || record.label != lastLabel) {
            lastLabel = record.label;
            lastType = typeOfTable.value(record.label);
            lastColumn = lastType && lastType->title() ? lastType->title()->column() : QString();
            lastIndex = &byIdentity[record.label];
            auto names = wanted.constFind(record.label);
            lastWanted = names == wanted.cend() ? nullptr : &*names;
        }
        if (lastColumn.isEmpty() || !lastWanted)
            continue;
        auto found = record.properties.constFind(lastColumn);
        if (found == record.properties.cend())
            continue;
        const QString* text = found->asString();
        QString key;
        if (text) {
            key = nameKey(*text);
        } else {
            auto title = found->titleText();
            if (!title)
                continue;
            key = nameKey(*title);
        }
        // A title of spaces, or of no letters, has no key worth matching; a blank one no title at all.
        if (text && text->trimmed().isEmpty())
            continue;
        if (lastWanted->contains(key) && !lastIndex->contains(key))
            lastIndex->insert(key, record.id);
    }
    QHash<QString, QString> lowerIds; // filled on the first id typed in another case
    auto existingId = [&](const QString& text) -> std::optional<QString> {
        if (existing.contains(text))
            return text;
        if (lowerIds.isEmpty())
            for (auto it = existing.cbegin(); it != existing.cend(); ++it)
                if (!lowerIds.contains(it.key().toLower()))
                    lowerIds.insert(it.key().toLower(), it.key());
        auto found = lowerIds.constFind(text.toLower());
        if (found == lowerIds.cend())
            return std::nullopt;
        return *found;
    };

    // 2. Nodes.
    QHash<QString, QString> aliases; // ref -> ref of the node it repeats
    QHash<QString, QString> refOfIdentity;
    QHash<QString, QString> tableOfRef;
    QSet<QString> taken;
    for (const GraphDraft::Node& drafted : draft.nodes) {
        const QString ref = trimmedRef(drafted.ref);
        if (ref.isEmpty() || taken.contains(ref) || aliases.contains(ref)) {
            review.skipped.append(QStringLiteral("A node had a missing or repeated ref (%1).")
                                      .arg(ref.isEmpty() ? QStringLiteral("none") : ref));
            continue;
        }
        const QString wantedTable = Identifier::nodeTable(drafted.type).toLower();
        const NodeType* type = nullptr;
        for (const NodeType& candidate : schema.nodeTypes)
            if (candidate.table().toLower() == wantedTable) {
                type = &candidate;
                break;
            }
        if (!type) {
            review.skipped.append(QStringLiteral("No type called “%1” in the shape.").arg(drafted.type));
            continue;
        }
        PropertyMap properties = values(drafted.properties, type->properties, false);
        GraphReview::Node node;
        node.id = ref;
        node.type = type->id;
        if (const PropertyDef* title = type->title()) {
            auto titleText = properties.value(title->column()).titleText();
            if (!titleText) {
                review.skipped.append(QStringLiteral("A %1 had no %2.").arg(type->name, title->name));
                continue;
            }
            const QString key = identity(type->table(), *titleText);
            if (auto earlier = refOfIdentity.constFind(key); earlier != refOfIdentity.cend()) {
                aliases.insert(ref, *earlier);
                continue;
            }
            refOfIdentity.insert(key, ref);
            const QHash<QString, QString> index = byIdentity.value(type->table());
            if (auto match = index.constFind(nameKey(*titleText)); match != index.cend()) {
                node.target = *match;
                node.matches = {GraphReview::Match{*match, std::nullopt}};
            }
        }
        node.properties = properties;
        taken.insert(ref);
        tableOfRef.insert(ref, type->table());
        review.nodes.append(node);
    }

    // 3. Relationships.
    auto resolve = [&](const QString& text) -> std::optional<Resolved> {
        QString ref = text.trimmed();
        ref = aliases.value(ref, ref);
        if (tableOfRef.contains(ref))
            return Resolved{GraphReview::End::draft(ref), tableOfRef.value(ref)};
        if (auto id = existingId(ref))
            return Resolved{GraphReview::End::existing(*id), existing.value(*id).label};
        return std::nullopt;
    };
    QSet<QString> relKeys;
    for (const GraphDraft::Relationship& drafted : draft.relationships) {
        const QString typeName = drafted.type.trimmed();
        const QString name = Identifier::relTable(typeName);
        const RelType* relType = nullptr;
        for (const RelType& candidate : schema.relTypes)
            if (candidate.table() == name) {
                relType = &candidate;
                break;
            }
        if (!relType) {
            review.skipped.append(QStringLiteral("No relationship called %1 in the shape.").arg(name));
            continue;
        }
        auto from = resolve(drafted.from);
        auto to = resolve(drafted.to);
        if (!from || !to) {
            review.skipped.append(QStringLiteral("%1 pointed at a node that isn't there (%2 → %3).")
                                      .arg(typeName, drafted.from.trimmed(), drafted.to.trimmed()));
            continue;
        }
        const NodeType* fromType = schema.nodeTypeForTable(from->table);
        const NodeType* toType = schema.nodeTypeForTable(to->table);
        const bool allowed =
            fromType && toType && relType->endpoints.contains(RelEndpoint{fromType->id, toType->id});
        if (!allowed) {
            review.skipped.append(
                QStringLiteral("%1 isn't allowed from %2 to %3.")
                    .arg(name, fromType ? fromType->name : from->table, toType ? toType->name : to->table));
            continue;
        }
        const QString key = GraphReview::key(
            name, (from->end.isDraft() ? QStringLiteral("d:") : QStringLiteral("e:")) + from->end.value,
            (to->end.isDraft() ? QStringLiteral("d:") : QStringLiteral("e:")) + to->end.value);
        if (relKeys.contains(key))
            continue;
        relKeys.insert(key);
        GraphReview::Relationship rel;
        rel.id = review.relationships.size();
        rel.type = relType->id;
        rel.from = from->end;
        rel.to = to->end;
        rel.properties = values(drafted.properties, relType->properties, false);
        review.relationships.append(rel);
    }

    // 4. Changes.
    for (const GraphDraft::Change& drafted : draft.changes) {
        const QString action = drafted.action.trimmed().toLower();
        const QString query = drafted.query.trimmed();
        const QString description =
            drafted.description.trimmed().isEmpty() ? QStringLiteral("no description") : drafted.description;
        if ((action != QLatin1String("remove") && action != QLatin1String("update")) || query.isEmpty()) {
            review.skipped.append(QStringLiteral("A change couldn't be understood (%1).").arg(description));
            continue;
        }
        GraphReview::Change change;
        change.id = review.changes.size();
        change.action = action == QLatin1String("remove") ? GraphReview::Change::Action::Remove
                                                          : GraphReview::Change::Action::Update;
        change.summary = drafted.description;
        change.query = query;
        if (change.action == GraphReview::Change::Action::Update) {
            for (const GraphDraft::Property& property : drafted.properties)
                if (!property.name.trimmed().isEmpty())
                    change.properties.append(property);
            if (change.properties.isEmpty()) {
                review.skipped.append(QStringLiteral("“%1” said nothing to set.").arg(drafted.description));
                continue;
            }
        }
        review.changes.append(change);
    }

    // 5.
    review.summary = draft.summary;
    return review;
}

} // namespace corvantis::GraphBuilder
