#pragma once

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// A record's property, the unit that is embedded as a whole and replaced as a whole.
struct EmbeddingKey {
    QString record;
    QUuid property;
    bool operator==(const EmbeddingKey& other) const = default;
};
size_t qHash(const EmbeddingKey& key, size_t seed = 0);

// One stored passage: which text of which record, its number within it, and the hash of the whole text.
struct EmbeddingEntry {
    QString record;
    QUuid property;
    int chunk = 0;
    QString text;
    QString hash;

    EmbeddingKey key() const { return {record, property}; }
    QJsonObject toJson() const;
    static EmbeddingEntry
    fromJson(const QJsonObject& json); // every key required; fails with json::DecodeError
    bool operator==(const EmbeddingEntry& other) const = default;
};

struct EmbeddingHit {
    EmbeddingEntry entry;
    float score = 0;
    bool operator==(const EmbeddingHit& other) const = default;
};

// The hits of one record: its best score and its passages in order.
struct SemanticMatch {
    QString record;
    float score = 0;
    QList<EmbeddingHit> passages;
    bool operator==(const SemanticMatch& other) const = default;
};

// The vectors of a project's passages: entries and one flat row-major matrix of unit rows, searched
// exactly by cosine. Copies share their arrays until one is written, so a copy may go to another thread.
// Saved as "{name}.json" (the manifest) and "{name}.vec" (raw floats in the machine's byte order).
class EmbeddingIndex {
public:
    EmbeddingIndex() = default;
    EmbeddingIndex(const QString& model, int dimension);

    const QString& model() const { return m_model; }
    int dimension() const { return m_dimension; }
    const QList<EmbeddingEntry>& entries() const { return m_entries; }
    const QList<float>& vectors() const { return m_vectors; }
    bool isEmpty() const { return m_entries.isEmpty(); }
    qsizetype count() const { return m_entries.size(); }

    // Takes another model or dimension by dropping everything; the same ones change nothing.
    void prepare(const QString& model, int dimension);

    QSet<EmbeddingKey> keys() const;
    // The hash of each key, from its first entry.
    QHash<EmbeddingKey, QString> hashes() const;
    std::optional<QString> hash(const QString& record, const QUuid& property) const;
    // The entries of a key in chunk order.
    QList<EmbeddingEntry> entries(const QString& record, const QUuid& property) const;

    // The key's passages become `chunks` with their vectors (a vector of another length is skipped);
    // nothing changes when the two counts differ.
    void replace(const QString& record, const QUuid& property, const QString& hash, const QStringList& chunks,
                 const QList<QList<float>>& vectors);
    // Without a property, everything of the record. Each returns how many entries went.
    qsizetype remove(const QString& record, const std::optional<QUuid>& property = std::nullopt);
    qsizetype remove(const QUuid& property);
    qsizetype remove(const QSet<EmbeddingKey>& keys);

    // The best `limit` passages for a unit query vector, by descending cosine, ties in entry order,
    // optionally only of some properties and records. Empty for a query of another length.
    QList<EmbeddingHit> search(const QList<float>& vector,
                               const std::optional<QSet<QUuid>>& properties = std::nullopt,
                               const std::optional<QSet<QString>>& records = std::nullopt,
                               int limit = 60) const;
    // Hits grouped by record, records in the order of their first hit, the first `limit` records.
    static QList<SemanticMatch> group(const QList<EmbeddingHit>& hits, int limit);

    // Writes the vectors, then the manifest, each atomically; fails with FileError.
    void save(const QString& folder, const QString& name) const;
    // Never fails: anything missing, damaged or inconsistent gives an empty index.
    static EmbeddingIndex load(const QString& folder, const QString& name);
    // Removes both files; a missing file is no error.
    static void remove(const QString& folder, const QString& name);
    static QString manifestPath(const QString& folder, const QString& name);
    static QString vectorsPath(const QString& folder, const QString& name);

    bool operator==(const EmbeddingIndex& other) const = default;

private:
    template <typename Drop> qsizetype removeWhere(Drop drop);

    QString m_model;
    int m_dimension = 0;
    QList<EmbeddingEntry> m_entries;
    QList<float> m_vectors;
};

} // namespace corvantis
