#include "kit/embedding/ModelDownloader.h"

#include "kit/embedding/EmbeddingError.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TestSupport.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

QByteArray payload(qint64 size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (qint64 i = 0; i < size; ++i)
        bytes[i] = char((i * 7 + i / 251) & 0xff);
    return bytes;
}

EmbeddingModelSpec specAt(const QString& url, qint64 bytes) {
    EmbeddingModelSpec spec = EmbeddingModelSpec::embeddingGemma2();
    spec.url = QUrl(url);
    spec.bytes = bytes;
    return spec;
}

QString failureOf(QCoro::Task<> task) {
    try {
        test::await(std::move(task));
    } catch (const EmbeddingError& error) {
        EXPECT_EQ(error.kind(), EmbeddingError::Kind::DownloadFailed);
        return error.message();
    }
    return QStringLiteral("(no failure)");
}

} // namespace

TEST(ModelDownloader, DownloadsTheWholeFileInPiecesAndMovesItIntoPlace) {
    LocalHttpServer server;
    const QByteArray body = payload(3 * ModelDownloader::pieceBytes + 12345);
    server.route(QStringLiteral("/model.gguf"), test::HttpResponse{200, body});
    QTemporaryDir folder;
    const QString destination = folder.filePath(QStringLiteral("Models/model.gguf"));
    writeFileAtomically(destination, "an old copy");
    writeFileAtomically(ModelDownloader::partPath(destination), "a stale part");

    ModelDownloader downloader;
    QList<double> reports;
    test::await(downloader.download(specAt(server.url(QStringLiteral("/model.gguf")).toString(), body.size()),
                                    destination, [&](double fraction) { reports << fraction; }, {}));
    EXPECT_EQ(readFile(destination), body);
    EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(destination)));
    for (double fraction : reports) {
        EXPECT_GT(fraction, 0);
        EXPECT_LE(fraction, 0.999);
    }
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests()[0].method, "GET");
    EXPECT_EQ(server.requests()[0].path, "/model.gguf");
    EXPECT_EQ(server.requests()[0].headers.value("user-agent"), "Corvantis");
}

TEST(ModelDownloader, AShortFileAnErrorStatusOrNoServerFailWithASentenceAndNoPart) {
    LocalHttpServer server;
    const QByteArray body = payload(2 * ModelDownloader::pieceBytes);
    server.route(QStringLiteral("/short.gguf"), test::HttpResponse{200, body.chopped(1)});
    QTemporaryDir folder;
    const QString destination = folder.filePath(QStringLiteral("model.gguf"));
    ModelDownloader downloader;

    EXPECT_EQ(
        failureOf(downloader.download(
            specAt(server.url(QStringLiteral("/short.gguf")).toString(), body.size()), destination, {}, {})),
        QStringLiteral("The model download failed: the file arrived incomplete."));
    EXPECT_FALSE(QFile::exists(destination));
    EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(destination)));

    EXPECT_EQ(failureOf(downloader.download(
                  specAt(server.url(QStringLiteral("/missing.gguf")).toString(), body.size()), destination,
                  {}, {})),
              QStringLiteral("The model download failed: the server answered HTTP 404."));
    EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(destination)));

    // A port nobody listens on.
    quint16 closedPort;
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        closedPort = probe.serverPort();
    }
    EXPECT_EQ(failureOf(downloader.download(
                  specAt(QStringLiteral("http://127.0.0.1:%1/m").arg(closedPort), 10), destination, {}, {})),
              QStringLiteral("The model download failed: the server couldn't be reached."));
    EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(destination)));
}

TEST(ModelDownloader, CancellingRemovesThePart) {
    LocalHttpServer server;
    const QByteArray body = payload(8 * ModelDownloader::pieceBytes);
    // Two pieces arrive, then the server goes quiet with the connection open.
    server.route(QStringLiteral("/slow.gguf"),
                 test::HttpResponse{200, body, {}, -1, 2 * ModelDownloader::pieceBytes});
    QTemporaryDir folder;
    const QString destination = folder.filePath(QStringLiteral("model.gguf"));
    const QString part = ModelDownloader::partPath(destination);
    ModelDownloader downloader;
    CancellationToken token;
    bool cancelled = false;
    bool finished = false;
    auto run = [&]() -> QCoro::Task<> {
        try {
            co_await downloader.download(
                specAt(server.url(QStringLiteral("/slow.gguf")).toString(), body.size()), destination, {},
                token);
        } catch (const Cancelled&) {
            cancelled = true;
        }
        finished = true;
    };
    auto task = run();
    ASSERT_TRUE(waitUntil([&] { return QFile(part).size() >= ModelDownloader::pieceBytes; }, 60000));
    token.cancel();
    ASSERT_TRUE(waitUntil([&] { return finished; }, 60000));
    EXPECT_TRUE(cancelled);
    EXPECT_FALSE(QFile::exists(part));
    EXPECT_FALSE(QFile::exists(destination));
}
