#include "kit/embedding/ModelDownloader.h"

#include "kit/embedding/EmbeddingError.h"

#include <QCoro/QCoroSignal>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPointer>
#include <memory>

namespace corvantis {

namespace {

QString networkSentence(QNetworkReply::NetworkError error) {
    switch (error) {
    case QNetworkReply::OperationCanceledError:
    case QNetworkReply::TimeoutError:
        return QStringLiteral("the server didn't answer in time.");
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::UnknownNetworkError:
    case QNetworkReply::TemporaryNetworkFailureError:
    case QNetworkReply::NetworkSessionFailedError:
        return QStringLiteral("the server couldn't be reached.");
    default:
        return QStringLiteral("the connection broke off.");
    }
}

} // namespace

ModelDownloader::ModelDownloader()
    : m_network(std::make_unique<QNetworkAccessManager>()) {
}

ModelDownloader::~ModelDownloader() {
    // Replies of a download that ended may still wait for their deferred deletion.
    m_network.release()->deleteLater();
}

QString ModelDownloader::partPath(const QString& destination) {
    return destination + QStringLiteral(".part");
}

QCoro::Task<> ModelDownloader::download(EmbeddingModelSpec spec, QString destination,
                                        std::function<void(double)> progress, CancellationToken token) {
    const QString part = partPath(destination);
    QDir().mkpath(QFileInfo(destination).absolutePath());
    QFile::remove(part);
    auto file = std::make_shared<QFile>(part);
    if (!file->open(QIODevice::WriteOnly))
        throw EmbeddingError::downloadFailed(QStringLiteral("couldn't create a file to download into"));

    QNetworkRequest request(spec.url);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::PreferNetwork);
    request.setTransferTimeout(timeoutMs);
    request.setHeader(QNetworkRequest::UserAgentHeader, QStringLiteral("Corvantis"));
    QPointer<QNetworkReply> reply = m_network->get(request);

    // What the reply's signals gather while the download runs.
    struct State {
        QByteArray buffer;
        qint64 received = 0;
        bool writeFailed = false;
        bool wrongStatus = false;
        bool cancelled = false;
        QElapsedTimer sinceReport;
    };
    auto state = std::make_shared<State>();
    state->sinceReport.start();

    const auto writeOut = [file, state] {
        if (state->buffer.isEmpty())
            return;
        if (file->write(state->buffer) != state->buffer.size())
            state->writeFailed = true;
        state->buffer.clear();
    };
    const auto statusIsOK = [reply] {
        const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        return !status.isValid() || status.toInt() == 200;
    };
    const qint64 expected = spec.bytes;
    QObject::connect(reply, &QNetworkReply::readyRead, reply, [=]() {
        if (!statusIsOK()) {
            state->wrongStatus = true;
            reply->abort();
            return;
        }
        const QByteArray bytes = reply->readAll();
        state->buffer.append(bytes);
        state->received += bytes.size();
        if (state->buffer.size() < pieceBytes)
            return;
        if (token.isCancelled()) {
            state->cancelled = true;
            reply->abort();
            return;
        }
        writeOut();
        if (state->writeFailed) {
            reply->abort();
            return;
        }
        if (progress && state->sinceReport.elapsed() > 200 && expected > 0) {
            state->sinceReport.restart();
            progress(std::min(0.999, double(state->received) / double(expected)));
        }
    });
    CancellationHandler onCancel(token, [state, reply] {
        state->cancelled = true;
        if (reply)
            QMetaObject::invokeMethod(
                reply,
                [reply] {
                    if (reply)
                        reply->abort();
                },
                Qt::QueuedConnection);
    });

    if (!reply->isFinished()) {
        auto finished = qCoro(reply.data(), &QNetworkReply::finished);
        co_await finished;
    }

    const auto fail = [&](const QString& why) {
        file->close();
        QFile::remove(part);
        reply->deleteLater();
        return EmbeddingError::downloadFailed(why);
    };
    if (state->cancelled || token.isCancelled()) {
        file->close();
        QFile::remove(part);
        reply->deleteLater();
        throw Cancelled();
    }
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && status.toInt() != 200)
        throw fail(QStringLiteral("the server answered HTTP %1.").arg(status.toInt()));
    if (state->writeFailed)
        throw fail(QStringLiteral("the file couldn't be written."));
    if (reply->error() != QNetworkReply::NoError)
        throw fail(networkSentence(reply->error()));
    const QByteArray rest = reply->readAll();
    state->buffer.append(rest);
    state->received += rest.size();
    writeOut();
    if (state->writeFailed || !file->flush())
        throw fail(QStringLiteral("the file couldn't be written."));
    file->close();
    if (state->received != spec.bytes)
        throw fail(QStringLiteral("the file arrived incomplete."));
    reply->deleteLater();
    QFile::remove(destination);
    if (!QFile::rename(part, destination)) {
        QFile::remove(part);
        throw EmbeddingError::downloadFailed(QStringLiteral("the file couldn't be moved into place."));
    }
}

} // namespace corvantis
