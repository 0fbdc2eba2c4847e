#include "kit/embedding/EmbeddingIndex.h"

#include "kit/embedding/Vectors.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace corvantis {

size_t qHash(const EmbeddingKey& key, size_t seed) {
    return qHashMulti(seed, key.record, key.property);
}

QJsonObject EmbeddingEntry::toJson() const {
    return QJsonObject{{QStringLiteral("record"), record},
                       {QStringLiteral("property"), json::uuidText(property)},
                       {QStringLiteral("chunk"), chunk},
                       {QStringLiteral("text"), text},
                       {QStringLiteral("hash"), hash}};
}

EmbeddingEntry EmbeddingEntry::fromJson(const QJsonObject& json) {
    EmbeddingEntry entry;
    entry.record = json::requireString(json, QStringLiteral("record"));
    entry.property = json::requireUuid(json, QStringLiteral("property"));
    entry.chunk = int(json::requireDouble(json, QStringLiteral("chunk")));
    entry.text = json::requireString(json, QStringLiteral("text"));
    entry.hash = json::requireString(json, QStringLiteral("hash"));
    return entry;
}

EmbeddingIndex::EmbeddingIndex(const QString& model, int dimension)
    : m_model(model)
    , m_dimension(dimension) {
}

void EmbeddingIndex::prepare(const QString& model, int dimension) {
    if (model == m_model && dimension == m_dimension)
        return;
    m_model = model;
    m_dimension = dimension;
    m_entries.clear();
    m_vectors.clear();
}

QSet<EmbeddingKey> EmbeddingIndex::keys() const {
    QSet<EmbeddingKey> keys;
    keys.reserve(m_entries.size());
    for (const EmbeddingEntry& entry : m_entries)
        keys.insert(entry.key());
    return keys;
}

QHash<EmbeddingKey, QString> EmbeddingIndex::hashes() const {
    QHash<EmbeddingKey, QString> hashes;
    hashes.reserve(m_entries.size());
    for (const EmbeddingEntry& entry : m_entries)
        if (!hashes.contains(entry.key()))
            hashes.insert(entry.key(), entry.hash);
    return hashes;
}

std::optional<QString> EmbeddingIndex::hash(const QString& record, const QUuid& property) const {
    for (const EmbeddingEntry& entry : m_entries)
        if (entry.record == record && entry.property == property)
            return entry.hash;
    return std::nullopt;
}

QList<EmbeddingEntry> EmbeddingIndex::entries(const QString& record, const QUuid& property) const {
    QList<EmbeddingEntry> found;
    for (const EmbeddingEntry& entry : m_entries)
        if (entry.record == record && entry.property == property)
            found << entry;
    std::stable_sort(found.begin(), found.end(),
                     [](const EmbeddingEntry& a, const EmbeddingEntry& b) { return a.chunk < b.chunk; });
    return found;
}

void EmbeddingIndex::replace(const QString& record, const QUuid& property, const QString& hash,
                             const QStringList& chunks, const QList<QList<float>>& vectors) {
    if (chunks.size() != vectors.size())
        return;
    remove(record, property);
    for (qsizetype i = 0; i < chunks.size(); ++i) {
        if (vectors[i].size() != m_dimension)
            continue;
        m_entries.append(EmbeddingEntry{record, property, int(i), chunks[i], hash});
        m_vectors.append(vectors[i]);
    }
}

// Entries and rows go together; what stays keeps its order, and each kept row is copied forward once.
template <typename Drop> qsizetype EmbeddingIndex::removeWhere(Drop drop) {
    const qsizetype count = m_entries.size();
    qsizetype first = 0;
    while (first < count && !drop(m_entries[first]))
        ++first;
    if (first == count)
        return 0;
    const qsizetype dimension = m_dimension;
    float* rows = m_vectors.data();
    qsizetype kept = first;
    for (qsizetype i = first + 1; i < count; ++i) {
        if (drop(m_entries[i]))
            continue;
        m_entries[kept] = std::move(m_entries[i]);
        std::memcpy(rows + kept * dimension, rows + i * dimension, sizeof(float) * dimension);
        ++kept;
    }
    m_entries.resize(kept);
    m_vectors.resize(kept * dimension);
    return count - kept;
}

qsizetype EmbeddingIndex::remove(const QString& record, const std::optional<QUuid>& property) {
    return removeWhere([&](const EmbeddingEntry& entry) {
        return entry.record == record && (!property || entry.property == *property);
    });
}

qsizetype EmbeddingIndex::remove(const QUuid& property) {
    return removeWhere([&](const EmbeddingEntry& entry) { return entry.property == property; });
}

qsizetype EmbeddingIndex::remove(const QSet<EmbeddingKey>& keys) {
    if (keys.isEmpty())
        return 0;
    return removeWhere([&](const EmbeddingEntry& entry) { return keys.contains(entry.key()); });
}

QList<EmbeddingHit> EmbeddingIndex::search(const QList<float>& vector,
                                           const std::optional<QSet<QUuid>>& properties,
                                           const std::optional<QSet<QString>>& records, int limit) const {
    const qsizetype count = m_entries.size();
    if (count == 0 || vector.size() != m_dimension || limit < 1)
        return {};

    // All scores at once: the matrix times the query, the rows shared out between the cores.
    std::vector<float> scores(count);
    const float* rows = m_vectors.constData();
    const float* query = vector.constData();
    const qsizetype dimension = m_dimension;
    const auto score = [&](qsizetype from, qsizetype to) {
        for (qsizetype i = from; i < to; ++i)
            scores[i] = Vectors::dot(rows + i * dimension, query, dimension);
    };
    const qsizetype work = count * dimension;
    const int parts = work < (qsizetype(1) << 18) ? 1 : std::clamp(QThread::idealThreadCount(), 1, 8);
    if (parts == 1) {
        score(0, count);
    } else {
        std::vector<std::thread> helpers;
        const qsizetype step = (count + parts - 1) / parts;
        for (int part = 1; part < parts; ++part) {
            const qsizetype from = std::min(count, part * step);
            const qsizetype to = std::min(count, from + step);
            helpers.emplace_back(score, from, to);
        }
        score(0, std::min(count, step));
        for (std::thread& helper : helpers)
            helper.join();
    }

    // The best `limit` by a heap whose top is the worst kept: a higher score wins, then the earlier entry.
    using Candidate = std::pair<float, qsizetype>;
    const auto better = [](const Candidate& a, const Candidate& b) {
        return a.first > b.first || (a.first == b.first && a.second < b.second);
    };
    std::vector<Candidate> heap;
    heap.reserve(std::min<qsizetype>(limit, count));
    for (qsizetype i = 0; i < count; ++i) {
        const float value = scores[i];
        if (std::isnan(value))
            continue;
        if (qsizetype(heap.size()) == limit && !(value > heap.front().first))
            continue; // not better than the worst kept (an equal score comes later, so it loses)
        const EmbeddingEntry& entry = m_entries[i];
        if (properties && !properties->contains(entry.property))
            continue;
        if (records && !records->contains(entry.record))
            continue;
        const Candidate candidate{value, i};
        if (qsizetype(heap.size()) < limit) {
            heap.push_back(candidate);
            std::push_heap(heap.begin(), heap.end(), better);
        } else {
            std::pop_heap(heap.begin(), heap.end(), better);
            heap.back() = candidate;
            std::push_heap(heap.begin(), heap.end(), better);
        }
    }
    std::sort(heap.begin(), heap.end(), better);
    QList<EmbeddingHit> hits;
    hits.reserve(qsizetype(heap.size()));
    for (const Candidate& candidate : heap)
        hits.append(EmbeddingHit{m_entries[candidate.second], candidate.first});
    return hits;
}

QList<SemanticMatch> EmbeddingIndex::group(const QList<EmbeddingHit>& hits, int limit) {
    QList<SemanticMatch> matches;
    QHash<QString, qsizetype> place;
    for (const EmbeddingHit& hit : hits) {
        const auto found = place.constFind(hit.entry.record);
        if (found != place.cend()) {
            matches[*found].passages.append(hit);
            continue;
        }
        place.insert(hit.entry.record, matches.size());
        matches.append(SemanticMatch{hit.entry.record, hit.score, {hit}});
    }
    if (limit < matches.size())
        matches.resize(std::max(0, limit));
    return matches;
}

QString EmbeddingIndex::manifestPath(const QString& folder, const QString& name) {
    return QDir(folder).filePath(name + QStringLiteral(".json"));
}

QString EmbeddingIndex::vectorsPath(const QString& folder, const QString& name) {
    return QDir(folder).filePath(name + QStringLiteral(".vec"));
}

void EmbeddingIndex::save(const QString& folder, const QString& name) const {
    // The vectors first: a manifest that no longer fits them is caught on loading and costs a rebuild.
    const QByteArray raw = QByteArray::fromRawData(reinterpret_cast<const char*>(m_vectors.constData()),
                                                   m_vectors.size() * qsizetype(sizeof(float)));
    writeFileAtomically(vectorsPath(folder, name), raw);
    QJsonArray entries;
    for (const EmbeddingEntry& entry : m_entries)
        entries.append(entry.toJson());
    const QJsonObject manifest{{QStringLiteral("version"), 1},
                               {QStringLiteral("model"), m_model},
                               {QStringLiteral("dimension"), m_dimension},
                               {QStringLiteral("entries"), entries}};
    writeFileAtomically(manifestPath(folder, name), json::encode(manifest));
}

EmbeddingIndex EmbeddingIndex::load(const QString& folder, const QString& name) {
    try {
        const QJsonObject manifest = json::decodeObject(readFile(manifestPath(folder, name)));
        json::requireDouble(manifest, QStringLiteral("version"));
        const QString model = json::requireString(manifest, QStringLiteral("model"));
        const double dimension = json::requireDouble(manifest, QStringLiteral("dimension"));
        const QJsonArray entries = json::requireArray(manifest, QStringLiteral("entries"));
        if (dimension < 1 || dimension != int(dimension))
            return {};
        EmbeddingIndex index(model, int(dimension));
        index.m_entries.reserve(entries.size());
        for (const QJsonValue& value : entries) {
            if (!value.isObject())
                return {};
            index.m_entries.append(EmbeddingEntry::fromJson(value.toObject()));
        }
        QFile file(vectorsPath(folder, name));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        const qint64 expected = qint64(entries.size()) * index.m_dimension * qint64(sizeof(float));
        if (file.size() != expected)
            return {};
        index.m_vectors.resize(qsizetype(entries.size()) * index.m_dimension);
        if (expected > 0 && file.read(reinterpret_cast<char*>(index.m_vectors.data()), expected) != expected)
            return {};
        return index;
    } catch (const json::DecodeError&) {
        return {};
    } catch (const FileError&) {
        return {};
    }
}

void EmbeddingIndex::remove(const QString& folder, const QString& name) {
    QFile::remove(vectorsPath(folder, name));
    QFile::remove(manifestPath(folder, name));
}

} // namespace corvantis
