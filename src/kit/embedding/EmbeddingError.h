#pragma once

#include "kit/support/UserFacingError.h"

namespace corvantis {

// A failure of local embedding: loading or running the model, tokenizing, or downloading its file.
class EmbeddingError : public UserFacingError {
public:
    enum class Kind { ModelFailed, InferenceFailed, DownloadFailed, ModelMissing, TokenizeFailed };

    static EmbeddingError modelFailed(const QString& why);
    static EmbeddingError inferenceFailed(qint32 code);
    static EmbeddingError downloadFailed(const QString& why);
    static EmbeddingError modelMissing();
    static EmbeddingError tokenizeFailed();

    Kind kind() const { return m_kind; }

private:
    EmbeddingError(Kind kind, const QString& message)
        : UserFacingError(message)
        , m_kind(kind) {}
    Kind m_kind;
};

} // namespace corvantis
