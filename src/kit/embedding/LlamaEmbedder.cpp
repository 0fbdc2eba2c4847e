#include "kit/embedding/LlamaEmbedder.h"

#include "kit/embedding/EmbeddingError.h"
#include "kit/embedding/Vectors.h"
#include "kit/support/Background.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QThread>
#include <algorithm>
#include <ggml-backend.h>
#include <limits>
#include <llama.h>
#include <mutex>

namespace corvantis {

namespace {

// llama.cpp's process-wide state, under one lock.
enum class EngineState { NotStarted, Running, ShutDown };
std::mutex engineLock;
EngineState engineState = EngineState::NotStarted;

void logToStderr(ggml_log_level level, const char* text, void*) {
    if (level != GGML_LOG_LEVEL_WARN && level != GGML_LOG_LEVEL_ERROR)
        return;
    const QString line = QString::fromUtf8(text).trimmed();
    if (!line.isEmpty())
        qWarning("llama: %s", qPrintable(line));
}

// The folder of ggml's CPU modules: where the engine was built, else beside the program.
QByteArray backendFolder() {
#ifdef CORVANTIS_GGML_BACKEND_DIR
    const QString built = QStringLiteral(CORVANTIS_GGML_BACKEND_DIR);
    if (QFileInfo(built).isDir())
        return QFile::encodeName(built);
#endif
    const QString beside = QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString();
    if (!beside.isEmpty() && QFileInfo::exists(QDir(beside).filePath(QStringLiteral("../lib"))))
        return QFile::encodeName(QDir(beside).filePath(QStringLiteral("../lib")));
    return QFile::encodeName(beside);
}

// Starts the engine once; fails once it has been shut down.
void startEngine() {
    std::lock_guard guard(engineLock);
    if (engineState == EngineState::ShutDown)
        throw EmbeddingError::modelMissing();
    if (engineState == EngineState::Running)
        return;
    llama_log_set(logToStderr, nullptr);
    const QByteArray folder = backendFolder();
    ggml_backend_load_all_from_path(folder.isEmpty() ? nullptr : folder.constData());
    llama_backend_init();
    engineState = EngineState::Running;
}

int threadCount() {
    return std::max(2, QThread::idealThreadCount() - 2);
}

} // namespace

LlamaEmbedder::LlamaEmbedder(const QString& modelPath, const QString& modelID, int contextTokens)
    : m_modelID(modelID)
    , m_contextTokens(contextTokens)
    , m_executor(std::make_unique<QThreadPool>()) {
    m_executor->setMaxThreadCount(1);
    m_executor->setExpiryTimeout(-1);
    if (contextTokens < 1 || quint64(contextTokens) > std::numeric_limits<uint32_t>::max())
        throw EmbeddingError::modelFailed(QStringLiteral("the context size is out of range"));
    startEngine();

    llama_model_params modelParams = llama_model_default_params();
    modelParams.n_gpu_layers = 99;
    m_model = llama_model_load_from_file(QFile::encodeName(modelPath).constData(), modelParams);
    if (!m_model)
        throw EmbeddingError::modelFailed(QStringLiteral("not a model file llama.cpp can read"));

    llama_context_params params = llama_context_default_params();
    params.n_ctx = uint32_t(contextTokens);
    params.n_batch = uint32_t(contextTokens);
    params.n_ubatch = uint32_t(contextTokens);
    params.n_seq_max = 1;
    params.n_threads = threadCount();
    params.n_threads_batch = threadCount();
    params.embeddings = true;
    params.no_perf = true;
    m_context = llama_init_from_model(m_model, params);
    if (m_context && llama_pooling_type(m_context) == LLAMA_POOLING_TYPE_NONE) {
        // The file names no pooling: average the tokens.
        llama_free(m_context);
        params.pooling_type = LLAMA_POOLING_TYPE_MEAN;
        m_context = llama_init_from_model(m_model, params);
    }
    if (!m_context) {
        llama_model_free(m_model);
        m_model = nullptr;
        throw EmbeddingError::modelFailed(QStringLiteral("couldn't create a pooled context"));
    }
    m_vocab = llama_model_get_vocab(m_model);
    m_usesEncoder = llama_model_has_encoder(m_model) && !llama_model_has_decoder(m_model);
    m_dimension = llama_model_n_embd_out(m_model);
}

LlamaEmbedder::~LlamaEmbedder() {
    m_closing = true;
    runOn(m_executor.get(), [this] { free(); }).waitForFinished();
    m_executor->waitForDone();
}

void LlamaEmbedder::free() {
    if (m_context)
        llama_free(m_context);
    if (m_model)
        llama_model_free(m_model);
    m_context = nullptr;
    m_model = nullptr;
    m_vocab = nullptr;
}

QFuture<void> LlamaEmbedder::close() {
    m_closing = true;
    return runOn(m_executor.get(), [this] { free(); });
}

QString LlamaEmbedder::describe() const {
    char buffer[256] = {};
    if (m_model)
        llama_model_desc(m_model, buffer, sizeof buffer);
    return QString::fromUtf8(buffer);
}

QFuture<QList<QList<float>>> LlamaEmbedder::embed(const QList<EmbeddingDocument>& documents,
                                                  const CancellationToken& token) {
    return runOn(m_executor.get(), [this, documents, token] {
        QList<QList<float>> vectors;
        vectors.reserve(documents.size());
        for (const EmbeddingDocument& document : documents) {
            token.check();
            if (m_closing)
                throw Cancelled();
            vectors.append(embedPrompt(EmbeddingModelSpec::documentPrompt(document)));
        }
        return vectors;
    });
}

QFuture<QList<float>> LlamaEmbedder::embed(const QString& query) {
    return runOn(m_executor.get(), [this, query] {
        if (m_closing)
            throw Cancelled();
        return embedPrompt(EmbeddingModelSpec::queryPrompt(query));
    });
}

QFuture<QList<QList<float>>> LlamaEmbedder::embedQueries(const QStringList& queries,
                                                         const CancellationToken& token) {
    return runOn(m_executor.get(), [this, queries, token] {
        QList<QList<float>> vectors;
        vectors.reserve(queries.size());
        for (const QString& query : queries) {
            token.check();
            if (m_closing)
                throw Cancelled();
            vectors.append(embedPrompt(EmbeddingModelSpec::queryPrompt(query)));
        }
        return vectors;
    });
}

QList<float> LlamaEmbedder::embedPrompt(const QString& prompt) {
    if (!m_model || !m_context)
        throw Cancelled();
    const QByteArray bytes = prompt.toUtf8();
    std::vector<llama_token> tokens(size_t(bytes.size()) + 16);
    int32_t count = llama_tokenize(m_vocab, bytes.constData(), int32_t(bytes.size()), tokens.data(),
                                   int32_t(tokens.size()), true, false);
    if (count < 0 && count != std::numeric_limits<int32_t>::min()) {
        tokens.resize(size_t(-count));
        count = llama_tokenize(m_vocab, bytes.constData(), int32_t(bytes.size()), tokens.data(),
                               int32_t(tokens.size()), true, false);
    }
    if (count < 1)
        throw EmbeddingError::tokenizeFailed();
    count = std::min(count, int32_t(m_contextTokens));

    llama_batch batch = llama_batch_init(count, 0, 1);
    struct BatchFree {
        llama_batch& batch;
        ~BatchFree() { llama_batch_free(batch); }
    } freeBatch{batch};
    batch.n_tokens = count;
    for (int32_t i = 0; i < count; ++i) {
        batch.token[i] = tokens[size_t(i)];
        batch.pos[i] = i;
        batch.n_seq_id[i] = 1;
        batch.seq_id[i][0] = 0;
        batch.logits[i] = 1;
    }
    llama_memory_clear(llama_get_memory(m_context), true);
    const int32_t result = m_usesEncoder ? llama_encode(m_context, batch) : llama_decode(m_context, batch);
    if (result != 0)
        throw EmbeddingError::inferenceFailed(result);
    const float* embedding = llama_get_embeddings_seq(m_context, 0);
    if (!embedding)
        throw EmbeddingError::inferenceFailed(-1);
    QList<float> vector(embedding, embedding + m_dimension);
    Vectors::normalize(vector);
    m_tokens += count;
    return vector;
}

void LlamaEmbedder::shutDownEngine() {
    std::lock_guard guard(engineLock);
    if (engineState == EngineState::Running)
        llama_backend_free();
    engineState = EngineState::ShutDown;
}

} // namespace corvantis
