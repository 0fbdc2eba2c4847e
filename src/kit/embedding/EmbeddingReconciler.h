#pragma once

#include "kit/embedding/EmbeddingIndex.h"
#include "kit/schema/GraphSchema.h"
#include "kit/schema/GraphValue.h"

#include <QHash>
#include <QSet>
#include <optional>

namespace corvantis {

// Which texts an index holds: the embedded properties ("embeddings") or the nodes' titles ("titles").
enum class EmbeddingSource { Properties, Titles };
namespace EmbeddingSources {
QString fileName(EmbeddingSource source); // "embeddings", "titles"
}

// A text to embed under a key, with the hash it will be stored with.
struct EmbeddingJob {
    EmbeddingKey key;
    std::optional<QString> title;
    QString text;
    QString hash;
    bool operator==(const EmbeddingJob& other) const = default;
};

// What brings an index in step with the graph: keys to drop, texts to embed (short ones first).
struct EmbeddingPlan {
    QSet<EmbeddingKey> stale;
    QList<EmbeddingJob> jobs;
    bool isEmpty() const { return stale.isEmpty() && jobs.isEmpty(); }
    bool operator==(const EmbeddingPlan& other) const = default;
};

// Compares what the graph says with what an index holds, by the hash of each source text. No state,
// no embedding: a function of the shape, the records and the index.
namespace EmbeddingReconciler {

// The property id of every entry of the titles index.
extern const QUuid titleProperty;

struct Document {
    std::optional<QString> title;
    QString text;
    bool operator==(const Document& other) const = default;
};

// SHA-256 of the model id, a zero byte, the title (or nothing), a zero byte and the text; lowercase hex.
QString hash(const QString& model, const std::optional<QString>& title, const QString& text);

// The embedded texts of every node and relationship (only those of `only` when given).
QHash<EmbeddingKey, Document> documents(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
                                        const QHash<QString, RelRecord>& rels,
                                        const std::optional<QSet<QString>>& only = std::nullopt);
// Every node's title, under `titleProperty`.
QHash<EmbeddingKey, Document> titleDocuments(const GraphSchema& schema,
                                             const QHash<QString, NodeRecord>& nodes,
                                             const std::optional<QSet<QString>>& only = std::nullopt);

EmbeddingPlan plan(const GraphSchema& schema, const QHash<QString, NodeRecord>& nodes,
                   const QHash<QString, RelRecord>& rels, const EmbeddingIndex& index, const QString& model,
                   const std::optional<QSet<QString>>& only, EmbeddingSource source);

} // namespace EmbeddingReconciler

} // namespace corvantis
