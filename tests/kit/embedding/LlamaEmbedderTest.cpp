#include "kit/embedding/LlamaEmbedder.h"

#include "kit/embedding/EmbeddingError.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TinyModel.h"

#include <QTemporaryDir>
#include <cmath>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

float norm(const QList<float>& v) {
    double sum = 0;
    for (float x : v)
        sum += double(x) * x;
    return float(std::sqrt(sum));
}

float dot(const QList<float>& a, const QList<float>& b) {
    double sum = 0;
    for (qsizetype i = 0; i < a.size(); ++i)
        sum += double(a[i]) * b[i];
    return float(sum);
}

} // namespace

TEST(LlamaEmbedder, EmbedsDocumentsAndQueriesAsUnitVectorsThroughLlama) {
    LlamaEmbedder embedder(test::tinyModelPath(), QStringLiteral("tiny"), 256);
    EXPECT_EQ(embedder.dimension(), 64);
    EXPECT_FALSE(embedder.usesEncoder());
    EXPECT_FALSE(embedder.describe().isEmpty());

    const QList<EmbeddingDocument> documents{
        {QStringLiteral("Paris"), QStringLiteral("The city on the river.")},
        {QStringLiteral("Paris"), QStringLiteral("The city on the river.")},
        {std::nullopt, QStringLiteral("Music and history of the world.")},
    };
    const QList<QList<float>> vectors = embedder.embed(documents).result();
    ASSERT_EQ(vectors.size(), 3);
    for (const auto& vector : vectors) {
        ASSERT_EQ(vector.size(), 64);
        EXPECT_NEAR(norm(vector), 1.0f, 1e-4);
    }
    // Identical texts give identical vectors, also when embedded again later, alone.
    EXPECT_EQ(vectors[0], vectors[1]);
    EXPECT_EQ(embedder.embed({documents[0]}).result()[0], vectors[0]);
    EXPECT_LT(dot(vectors[0], vectors[2]), 0.9999f);

    // A query differs from the same text as a document: the prompts differ.
    const QList<float> query = embedder.embed(QStringLiteral("The city on the river.")).result();
    EXPECT_EQ(query.size(), 64);
    EXPECT_NE(query, vectors[0]);
    EXPECT_NEAR(norm(query), 1.0f, 1e-4);

    // A text longer than the context is cut at the context and still gives a vector.
    QString longText;
    for (int i = 0; i < 400; ++i)
        longText += QStringLiteral("river city music ");
    const qint64 before = embedder.tokensEmbedded();
    const auto cut = embedder.embed({EmbeddingDocument{std::nullopt, longText}}).result();
    EXPECT_EQ(embedder.tokensEmbedded() - before, 256);
    EXPECT_NEAR(norm(cut[0]), 1.0f, 1e-4);
}

TEST(LlamaEmbedder, AModelThatNamesNoPoolingIsAveraged) {
    LlamaEmbedder pooled(test::tinyModelPath(QStringLiteral("mean")), QStringLiteral("tiny"), 128);
    LlamaEmbedder unnamed(test::tinyModelPath(QStringLiteral("none")), QStringLiteral("tiny"), 128);
    const EmbeddingDocument document{QStringLiteral("Title"), QStringLiteral("Some words of text.")};
    const auto a = pooled.embed({document}).result()[0];
    const auto b = unnamed.embed({document}).result()[0];
    ASSERT_EQ(b.size(), 64);
    // Same seeded weights, mean pooling either way.
    for (qsizetype i = 0; i < a.size(); ++i)
        EXPECT_NEAR(a[i], b[i], 1e-5);
}

TEST(LlamaEmbedder, FailuresAndClosing) {
    QTemporaryDir folder;
    const QString notAModel = folder.filePath(QStringLiteral("notes.gguf"));
    writeFileAtomically(notAModel, "this is not a model");
    try {
        LlamaEmbedder broken(notAModel, QStringLiteral("tiny"), 128);
        FAIL() << "a text file loaded as a model";
    } catch (const EmbeddingError& error) {
        EXPECT_EQ(error.kind(), EmbeddingError::Kind::ModelFailed);
        EXPECT_EQ(
            error.message(),
            QStringLiteral("The embedding model couldn't be loaded (not a model file llama.cpp can read)."));
    }

    LlamaEmbedder embedder(test::tinyModelPath(), QStringLiteral("tiny"), 128);
    CancellationToken token;
    token.cancel();
    EXPECT_THROW(
        embedder.embed({EmbeddingDocument{std::nullopt, QStringLiteral("x")}}, token).waitForFinished(),
        Cancelled);
    embedder.close().waitForFinished();
    EXPECT_TRUE(embedder.isClosing());
    EXPECT_TRUE(embedder.describe().isEmpty());
    EXPECT_THROW(embedder.embed(QStringLiteral("after closing")).waitForFinished(), Cancelled);
}
