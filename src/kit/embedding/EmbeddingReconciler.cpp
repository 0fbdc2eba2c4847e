#include "kit/embedding/EmbeddingReconciler.h"

#include "kit/support/Json.h"

#include <QCryptographicHash>
#include <algorithm>

namespace corvantis {

QString EmbeddingSources::fileName(EmbeddingSource source) {
    return source == EmbeddingSource::Titles ? QStringLiteral("titles") : QStringLiteral("embeddings");
}

namespace EmbeddingReconciler {

const QUuid titleProperty = QUuid(QStringLiteral("00000000-0000-0000-0000-00000000717E"));

namespace {

std::optional<QString> trimmedText(const PropertyMap& values, const QString& column) {
    const auto found = values.constFind(column);
    if (found == values.cend() || found->isNull())
        return std::nullopt;
    QString text = found->displayText().trimmed();
    if (text.isEmpty())
        return std::nullopt;
    return text;
}

// Visits the records of `all` that `only` allows: every one, or just those named.
template <typename Record, typename Visit>
void eachRecord(const QHash<QString, Record>& all, const std::optional<QSet<QString>>& only, Visit visit) {
    if (!only) {
        for (const Record& record : all)
            visit(record);
        return;
    }
    for (const QString& id : *only) {
        const auto found = all.constFind(id);
        if (found != all.cend())
            visit(*found);
    }
}

template <typename Type> struct TypeTexts {
    const Type* type;
    QList<const PropertyDef*> embedded;
    QString titleColumn;
    bool hasTitle = false;
};

template <typename Type, typename Record>
void collect(const QList<Type>& types, const QHash<QString, Record>& records,
             const std::optional<QSet<QString>>& only, QHash<EmbeddingKey, Document>& into) {
    QHash<QString, TypeTexts<Type>> byTable;
    for (const Type& type : types) {
        TypeTexts<Type> texts{&type, {}, {}, false};
        for (const PropertyDef& property : type.properties)
            if (property.isEmbedded())
                texts.embedded << &property;
        if (texts.embedded.isEmpty())
            continue;
        if (const PropertyDef* title = type.title()) {
            texts.titleColumn = title->column();
            texts.hasTitle = true;
        }
        byTable.insert(type.table(), texts);
    }
    if (byTable.isEmpty())
        return;
    eachRecord(records, only, [&](const Record& record) {
        const auto texts = byTable.constFind(record.label);
        if (texts == byTable.cend())
            return;
        std::optional<QString> title;
        if (texts->hasTitle)
            title = trimmedText(record.properties, texts->titleColumn);
        for (const PropertyDef* property : texts->embedded) {
            const auto text = trimmedText(record.properties, property->column());
            if (!text)
                continue;
            into.insert(EmbeddingKey{record.id, property->id}, Document{title, *text});
        }
    });
}

} // namespace

QString hash(const QString& model, const std::optional<QString>& title, const QString& text) {
    QCryptographicHash sha(QCryptographicHash::Sha256);
    sha.addData(model.toUtf8());
    const char zero = 0;
    sha.addData(QByteArrayView(&zero, 1));
    if (title)
        sha.addData(title->toUtf8());
    sha.addData(QByteArrayView(&zero, 1));
    sha.addData(text.toUtf8());
    return QString::fromLatin1(sha.result().toHex());
}

QHash<EmbeddingKey, Document> documents(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
                                        const QHash<QString, RelRecord>& rels,
                                        const std::optional<QSet<QString>>& only) {
    QHash<EmbeddingKey, Document> found;
    collect(schema.nodeTypes, nodes, only, found);
    collect(schema.relTypes, rels, only, found);
    return found;
}

QHash<EmbeddingKey, Document> titleDocuments(const GraphSchema& schema,
                                             const QHash<QString, NodeRecord>& nodes,
                                             const std::optional<QSet<QString>>& only) {
    QHash<QString, QString> titleColumns;
    for (const NodeType& type : schema.nodeTypes)
        if (const PropertyDef* title = type.title())
            titleColumns.insert(type.table(), title->column());
    QHash<EmbeddingKey, Document> found;
    if (titleColumns.isEmpty())
        return found;
    eachRecord(nodes, only, [&](const NodeRecord& node) {
        const auto column = titleColumns.constFind(node.label);
        if (column == titleColumns.cend())
            return;
        if (const auto text = trimmedText(node.properties, *column))
            found.insert(EmbeddingKey{node.id, titleProperty}, Document{std::nullopt, *text});
    });
    return found;
}

EmbeddingPlan plan(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
                   const QHash<QString, RelRecord>& rels, const EmbeddingIndex& index, const QString& model,
                   const std::optional<QSet<QString>>& only, EmbeddingSource source) {
    const QHash<EmbeddingKey, Document> docs = source == EmbeddingSource::Titles
                                                   ? titleDocuments(schema, nodes, only)
                                                   : documents(schema, nodes, rels, only);
    // With `only`, just the entries of those records count: one pass, no table of every key.
    QHash<EmbeddingKey, QString> held;
    if (only) {
        for (const EmbeddingEntry& entry : index.entries())
            if (only->contains(entry.record) && !held.contains(entry.key()))
                held.insert(entry.key(), entry.hash);
    } else {
        held = index.hashes();
    }
    EmbeddingPlan plan;
    for (auto it = held.cbegin(); it != held.cend(); ++it) {
        if (!docs.contains(it.key()) && (!only || only->contains(it.key().record)))
            plan.stale.insert(it.key());
    }
    for (auto it = docs.cbegin(); it != docs.cend(); ++it) {
        const QString digest = hash(model, it->title, it->text);
        const auto stored = held.constFind(it.key());
        if (stored == held.cend() || *stored != digest)
            plan.jobs.append(EmbeddingJob{it.key(), it->title, it->text, digest});
    }
    // Short texts first, so that progress moves and results come soonest; then by key.
    std::sort(plan.jobs.begin(), plan.jobs.end(), [](const EmbeddingJob& a, const EmbeddingJob& b) {
        if (a.text.size() != b.text.size())
            return a.text.size() < b.text.size();
        if (a.key.record != b.key.record)
            return a.key.record < b.key.record;
        return json::uuidText(a.key.property) < json::uuidText(b.key.property);
    });
    return plan;
}

} // namespace EmbeddingReconciler

} // namespace corvantis
