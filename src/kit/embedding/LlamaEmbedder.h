#pragma once

#include "kit/embedding/EmbeddingModelSpec.h"
#include "kit/support/Cancellation.h"

#include <QFuture>
#include <QList>
#include <QString>
#include <QThreadPool>
#include <atomic>
#include <memory>

struct llama_model;
struct llama_context;
struct llama_vocab;

namespace corvantis {

// A model file opened through llama.cpp, turning texts into unit vectors. Every call into llama.cpp for
// one embedder runs on its own single thread, one at a time; `closing` is the only state read from
// elsewhere. Each passage is its own sequence in its own batch.
class LlamaEmbedder {
public:
    // Loads the model (blocking: call it off the main thread). Fails with EmbeddingError; nothing stays
    // allocated after a failure.
    LlamaEmbedder(const QString& modelPath, const QString& modelID, int contextTokens);
    // Closes what `close` did not.
    ~LlamaEmbedder();
    LlamaEmbedder(const LlamaEmbedder&) = delete;
    LlamaEmbedder& operator=(const LlamaEmbedder&) = delete;

    const QString& modelID() const { return m_modelID; }
    int dimension() const { return m_dimension; }
    int contextTokens() const { return m_contextTokens; }
    bool usesEncoder() const { return m_usesEncoder; }
    // Tokens that went through the model so far (for measuring).
    qint64 tokensEmbedded() const { return m_tokens.load(); }

    // One vector per document, in order, each of the document prompt. Stops with Cancelled between
    // documents once the token is cancelled or the embedder is closing.
    QFuture<QList<QList<float>>> embed(const QList<EmbeddingDocument>& documents,
                                       const CancellationToken& token = {});
    // The vector of the query prompt.
    QFuture<QList<float>> embed(const QString& query);
    // The vectors of several queries in one call on the executor, in order.
    QFuture<QList<QList<float>>> embedQueries(const QStringList& queries, const CancellationToken& token = {});

    // Marks the embedder as closing at once, then frees the model on its thread.
    QFuture<void> close();
    bool isClosing() const { return m_closing.load(); }
    // The model's description, for a developer's eyes.
    QString describe() const;

    // Frees llama.cpp's process-wide state; no embedder can be made afterwards. Called once at quit.
    static void shutDownEngine();

private:
    QList<float> embedPrompt(const QString& prompt);
    void free();

    QString m_modelID;
    int m_dimension = 0;
    int m_contextTokens = 0;
    bool m_usesEncoder = false;
    llama_model* m_model = nullptr;
    llama_context* m_context = nullptr;
    const llama_vocab* m_vocab = nullptr;
    std::atomic<bool> m_closing{false};
    std::atomic<qint64> m_tokens{0};
    // The serial executor: a pool of one thread.
    std::unique_ptr<QThreadPool> m_executor;
};

} // namespace corvantis
