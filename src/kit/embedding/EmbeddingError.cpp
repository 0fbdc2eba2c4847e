#include "kit/embedding/EmbeddingError.h"

namespace corvantis {

EmbeddingError EmbeddingError::modelFailed(const QString& why) {
    return {Kind::ModelFailed, QStringLiteral("The embedding model couldn't be loaded (%1).").arg(why)};
}

EmbeddingError EmbeddingError::inferenceFailed(qint32 code) {
    return {Kind::InferenceFailed,
            QStringLiteral("The embedding model failed while running (code %1).").arg(code)};
}

EmbeddingError EmbeddingError::downloadFailed(const QString& why) {
    return {Kind::DownloadFailed, QStringLiteral("The model download failed: %1").arg(why)};
}

EmbeddingError EmbeddingError::modelMissing() {
    return {Kind::ModelMissing, QStringLiteral("The embedding model isn't on this computer yet.")};
}

EmbeddingError EmbeddingError::tokenizeFailed() {
    return {Kind::TokenizeFailed, QStringLiteral("The text couldn't be tokenized.")};
}

} // namespace corvantis
