#include "kit/embedding/EmbeddingIndex.h"

#include "kit/embedding/Vectors.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/QtPrinters.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <random>

using namespace corvantis;

namespace {

const QUuid body = QUuid(QStringLiteral("11111111-2222-3333-4444-555555555555"));
const QUuid notes = QUuid(QStringLiteral("AAAAAAAA-2222-3333-4444-555555555555"));

QList<float> unit(std::initializer_list<float> values) {
    return Vectors::normalized(QList<float>(values));
}

QStringList records(const QList<EmbeddingHit>& hits) {
    QStringList found;
    for (const EmbeddingHit& hit : hits)
        found << hit.entry.record + QLatin1Char('/') + QString::number(hit.entry.chunk);
    return found;
}

} // namespace

TEST(EmbeddingIndex, PrepareKeepsTheSameModelAndEmptiesForAnother) {
    EmbeddingIndex index(QStringLiteral("m"), 2);
    index.replace(QStringLiteral("A"), body, QStringLiteral("h"), {QStringLiteral("a")}, {unit({1, 0})});
    index.prepare(QStringLiteral("m"), 2);
    EXPECT_EQ(index.count(), 1);
    index.prepare(QStringLiteral("m"), 3);
    EXPECT_TRUE(index.isEmpty());
    EXPECT_TRUE(index.vectors().isEmpty());
    EXPECT_EQ(index.dimension(), 3);
}

TEST(EmbeddingIndex, ReplaceAndRemoveKeepRowsWithTheirEntriesInOrder) {
    EmbeddingIndex index(QStringLiteral("m"), 2);
    index.replace(QStringLiteral("A"), body, QStringLiteral("ha"),
                  {QStringLiteral("a0"), QStringLiteral("a1")}, {unit({1, 0}), unit({0, 1})});
    index.replace(QStringLiteral("B"), body, QStringLiteral("hb"), {QStringLiteral("b0")}, {unit({1, 1})});
    index.replace(QStringLiteral("A"), notes, QStringLiteral("hn"),
                  {QStringLiteral("n0"), QStringLiteral("bad")}, {unit({-1, 0}), QList<float>{1, 2, 3}});
    index.replace(QStringLiteral("C"), body, QStringLiteral("hc"), {QStringLiteral("c0")},
                  {});           // counts differ
    ASSERT_EQ(index.count(), 4); // the vector of the wrong length is skipped
    EXPECT_EQ(index.hash(QStringLiteral("A"), notes), QStringLiteral("hn"));
    EXPECT_FALSE(index.hash(QStringLiteral("C"), body));

    // Replacing A's body moves it to the end, with its rows.
    index.replace(QStringLiteral("A"), body, QStringLiteral("ha2"), {QStringLiteral("a0")}, {unit({0, -1})});
    ASSERT_EQ(index.count(), 3);
    EXPECT_EQ(index.entries()[0].record, QStringLiteral("B"));
    EXPECT_EQ(index.entries()[1].property, notes);
    EXPECT_EQ(index.entries()[2].hash, QStringLiteral("ha2"));
    EXPECT_EQ(index.vectors(), (unit({1, 1}) + unit({-1, 0}) + unit({0, -1})));

    EXPECT_EQ(index.remove(QSet<EmbeddingKey>{}), 0);
    EXPECT_EQ(index.remove(QStringLiteral("A"), notes), 1);
    EXPECT_EQ(index.vectors(), (unit({1, 1}) + unit({0, -1})));
    EXPECT_EQ(index.remove(body), 2);
    EXPECT_TRUE(index.isEmpty());
    EXPECT_TRUE(index.vectors().isEmpty());

    // Zero chunks leave the key with nothing.
    index.replace(QStringLiteral("D"), body, QStringLiteral("h"), {QStringLiteral("d")}, {unit({1, 0})});
    index.replace(QStringLiteral("D"), body, QStringLiteral("h"), {}, {});
    EXPECT_TRUE(index.entries(QStringLiteral("D"), body).isEmpty());
}

TEST(EmbeddingIndex, SearchRanksByCosineWithTiesInEntryOrderAndFilters) {
    EmbeddingIndex index(QStringLiteral("m"), 2);
    index.replace(QStringLiteral("A"), body, QStringLiteral("h"), {QStringLiteral("a")}, {unit({0, 1})});
    index.replace(QStringLiteral("B"), body, QStringLiteral("h"), {QStringLiteral("b")}, {unit({1, 1})});
    index.replace(QStringLiteral("C"), notes, QStringLiteral("h"), {QStringLiteral("c")}, {unit({1, 1})});
    index.replace(QStringLiteral("D"), body, QStringLiteral("h"), {QStringLiteral("d")}, {unit({1, 0})});
    const QList<float> query = unit({1, 0.2f});
    EXPECT_EQ(records(index.search(query, std::nullopt, std::nullopt, 10)),
              (QStringList{"D/0", "B/0", "C/0", "A/0"}));
    EXPECT_EQ(records(index.search(query, std::nullopt, std::nullopt, 2)), (QStringList{"D/0", "B/0"}));
    // A tie at the cut: the earlier entry stays.
    EXPECT_EQ(records(index.search(unit({1, 1}), std::nullopt, std::nullopt, 1)), (QStringList{"B/0"}));
    EXPECT_EQ(records(index.search(query, QSet<QUuid>{notes}, std::nullopt, 10)), (QStringList{"C/0"}));
    EXPECT_EQ(records(index.search(query, std::nullopt, QSet<QString>{"A", "C"}, 10)),
              (QStringList{"C/0", "A/0"}));
    const auto hits = index.search(query, std::nullopt, std::nullopt, 1);
    EXPECT_NEAR(hits[0].score, 1.0f / std::sqrt(1.04f), 1e-6);
    EXPECT_TRUE(index.search(QList<float>{1, 0, 0}, std::nullopt, std::nullopt, 10).isEmpty());
    EXPECT_TRUE(index.search(query, std::nullopt, std::nullopt, 0).isEmpty());
    EXPECT_TRUE(EmbeddingIndex(QStringLiteral("m"), 2).search(query).isEmpty());
}

TEST(EmbeddingIndex, LargeSearchSharedBetweenThreadsMatchesAPlainScan) {
    const int dimension = 64;
    const int count = 20000;
    std::mt19937 random(3);
    std::normal_distribution<float> normal;
    EmbeddingIndex index(QStringLiteral("m"), dimension);
    QList<QList<float>> rows;
    QStringList chunks;
    for (int i = 0; i < count; ++i) {
        QList<float> row(dimension);
        for (float& x : row)
            x = normal(random);
        rows << Vectors::normalized(row);
        chunks << QString::number(i);
    }
    index.replace(QStringLiteral("R"), body, QStringLiteral("h"), chunks, rows);
    ASSERT_EQ(index.count(), count);
    QList<float> query(dimension);
    for (float& x : query)
        x = normal(random);
    Vectors::normalize(query);

    std::vector<std::pair<double, int>> plain;
    for (int i = 0; i < count; ++i) {
        double sum = 0;
        for (int d = 0; d < dimension; ++d)
            sum += double(rows[i][d]) * query[d];
        plain.emplace_back(-sum, i);
    }
    std::sort(plain.begin(), plain.end());
    const auto hits = index.search(query, std::nullopt, std::nullopt, 60);
    ASSERT_EQ(hits.size(), 60);
    for (int i = 0; i < 60; ++i) {
        EXPECT_EQ(hits[i].entry.chunk, plain[i].second) << i;
        EXPECT_NEAR(hits[i].score, -plain[i].first, 1e-5);
    }
}

TEST(EmbeddingIndex, GroupsHitsByRecordInOrderOfTheirFirstHit) {
    EmbeddingIndex index(QStringLiteral("m"), 2);
    QStringList chunks;
    QList<QList<float>> vectors;
    for (int i = 0; i < 100; ++i) {
        chunks << QString::number(i);
        vectors << unit({1, float(i) / 100});
    }
    index.replace(QStringLiteral("A"), body, QStringLiteral("h"), chunks, vectors);
    index.replace(QStringLiteral("B"), body, QStringLiteral("h"), {QStringLiteral("b")}, {unit({0, 1})});
    const auto matches =
        EmbeddingIndex::group(index.search(unit({1, 0}), std::nullopt, std::nullopt, 60), 60);
    ASSERT_EQ(matches.size(), 1);
    EXPECT_EQ(matches[0].record, QStringLiteral("A"));
    EXPECT_EQ(matches[0].passages.size(), 60);
    EXPECT_EQ(matches[0].score, matches[0].passages[0].score);

    QList<EmbeddingHit> hits;
    for (const char* record : {"X", "Y", "X", "Z", "Y"})
        hits << EmbeddingHit{EmbeddingEntry{QString::fromLatin1(record), body, 0, {}, {}},
                             1.0f / (hits.size() + 1)};
    const auto grouped = EmbeddingIndex::group(hits, 2);
    ASSERT_EQ(grouped.size(), 2);
    EXPECT_EQ(grouped[0].record, QStringLiteral("X"));
    EXPECT_EQ(grouped[0].passages.size(), 2);
    EXPECT_EQ(grouped[1].record, QStringLiteral("Y"));
    EXPECT_EQ(grouped[1].score, 0.5f);
}

TEST(EmbeddingIndex, SavesTheManifestAndRawVectorsByteForByte) {
    QTemporaryDir folder;
    EmbeddingIndex index(QStringLiteral("embeddinggemma-2-q8_0"), 2);
    index.replace(QStringLiteral("R1"), body, QStringLiteral("abc"), {QStringLiteral("A river/sea")},
                  {QList<float>{0.6f, 0.8f}});
    index.save(folder.filePath(QStringLiteral("deep/er")), QStringLiteral("embeddings"));
    const QString dir = folder.filePath(QStringLiteral("deep/er"));
    EXPECT_EQ(readFile(EmbeddingIndex::manifestPath(dir, QStringLiteral("embeddings"))),
              QByteArray("{\n"
                         "    \"dimension\": 2,\n"
                         "    \"entries\": [\n"
                         "        {\n"
                         "            \"chunk\": 0,\n"
                         "            \"hash\": \"abc\",\n"
                         "            \"property\": \"11111111-2222-3333-4444-555555555555\",\n"
                         "            \"record\": \"R1\",\n"
                         "            \"text\": \"A river/sea\"\n"
                         "        }\n"
                         "    ],\n"
                         "    \"model\": \"embeddinggemma-2-q8_0\",\n"
                         "    \"version\": 1\n"
                         "}\n"));
    EXPECT_EQ(readFile(EmbeddingIndex::vectorsPath(dir, QStringLiteral("embeddings"))).toHex(),
              QByteArray("9a99193fcdcc4c3f"));
    EXPECT_EQ(EmbeddingIndex::load(dir, QStringLiteral("embeddings")), index);
}

TEST(EmbeddingIndex, AnythingDamagedLoadsAsAnEmptyIndex) {
    QTemporaryDir folder;
    const QString dir = folder.path();
    const QString name = QStringLiteral("titles");
    EmbeddingIndex index(QStringLiteral("m"), 2);
    index.replace(QStringLiteral("R"), body, QStringLiteral("h"), {QStringLiteral("a"), QStringLiteral("b")},
                  {unit({1, 0}), unit({0, 1})});
    index.save(dir, name);
    ASSERT_EQ(EmbeddingIndex::load(dir, name), index);

    const QByteArray vectors = readFile(EmbeddingIndex::vectorsPath(dir, name));
    writeFileAtomically(EmbeddingIndex::vectorsPath(dir, name), vectors.chopped(1));
    const EmbeddingIndex truncated = EmbeddingIndex::load(dir, name);
    EXPECT_TRUE(truncated.isEmpty());
    EXPECT_EQ(truncated.dimension(), 0);
    EXPECT_EQ(truncated.model(), QString());
    // The rebuilt index is saved over the damaged files and reads back.
    EmbeddingIndex rebuilt = truncated;
    rebuilt.prepare(QStringLiteral("m"), 2);
    rebuilt.replace(QStringLiteral("R"), body, QStringLiteral("h"), {QStringLiteral("a")}, {unit({1, 0})});
    rebuilt.save(dir, name);
    EXPECT_EQ(EmbeddingIndex::load(dir, name), rebuilt);

    writeFileAtomically(EmbeddingIndex::manifestPath(dir, name), "{\"version\": 1, \"model\": \"m\"}");
    EXPECT_TRUE(EmbeddingIndex::load(dir, name).isEmpty());
    writeFileAtomically(EmbeddingIndex::manifestPath(dir, name), "not json");
    EXPECT_TRUE(EmbeddingIndex::load(dir, name).isEmpty());

    EmbeddingIndex::remove(dir, name);
    EXPECT_FALSE(QFile::exists(EmbeddingIndex::manifestPath(dir, name)));
    EXPECT_FALSE(QFile::exists(EmbeddingIndex::vectorsPath(dir, name)));
    EXPECT_TRUE(EmbeddingIndex::load(dir, name).isEmpty());
    EmbeddingIndex::remove(dir, name); // nothing there: no error
}
