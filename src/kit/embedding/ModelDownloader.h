#pragma once

#include "kit/embedding/EmbeddingModelSpec.h"
#include "kit/support/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <functional>

class QNetworkAccessManager;

namespace corvantis {

// Fetches the model file into "{destination}.part" beside the destination, in pieces of 1 MiB, checks
// its size exactly and moves it into place. No resuming: a failed download starts again from zero.
// Runs on the thread that owns it (the main thread).
class ModelDownloader {
public:
    static constexpr qint64 pieceBytes = 1048576;
    static constexpr int timeoutMs = 60000;

    ModelDownloader();
    ~ModelDownloader();

    // `progress` gets the fraction done (at most 0.999), at most every 0.2 seconds. Fails with
    // EmbeddingError (downloadFailed), or Cancelled after the token was cancelled; ".part" is removed
    // on every failure.
    QCoro::Task<> download(EmbeddingModelSpec spec, QString destination, std::function<void(double)> progress,
                           CancellationToken token);

    static QString partPath(const QString& destination);

private:
    std::unique_ptr<QNetworkAccessManager> m_network;
};

} // namespace corvantis
