#include "app/app/Settings.h"
#include "app/embedding/EmbeddingModelManager.h"
#include "kit/embedding/EmbeddingError.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TinyModel.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

EmbeddingModelSpec tinySpec(qint64 bytes = 0, const QString& url = {}) {
    EmbeddingModelSpec spec = EmbeddingModelSpec::embeddingGemma2();
    spec.id = QStringLiteral("tiny");
    spec.fileName = QStringLiteral("tiny.gguf");
    spec.dimension = 64;
    spec.bytes = bytes;
    if (!url.isEmpty())
        spec.url = QUrl(url);
    return spec;
}

using Kind = EmbeddingModelManager::Status::Kind;

} // namespace

TEST(EmbeddingModelManager, TwoAskersAtOnceShareOneLoadAndIdleUnloads) {
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Models/tiny.gguf"));
    QDir().mkpath(folder.filePath(QStringLiteral("Models")));
    ASSERT_TRUE(QFile::copy(tinyModelPath(), path));
    EmbeddingModelManager models(tinySpec(), path, nullptr);
    EXPECT_EQ(models.status().kind, Kind::Ready);
    EXPECT_EQ(EmbeddingModelManager::modelPath(folder.filePath(QStringLiteral("Projects")), tinySpec()),
              QDir(folder.path()).filePath(QStringLiteral("Models/tiny.gguf")));

    std::shared_ptr<LlamaEmbedder> first;
    std::shared_ptr<LlamaEmbedder> second;
    auto askFirst = [&]() -> QCoro::Task<> {
        first = co_await models.embedder();
    };
    auto askSecond = [&]() -> QCoro::Task<> {
        second = co_await models.embedder();
    };
    auto a = askFirst();
    auto b = askSecond();
    ASSERT_TRUE(waitUntil([&] { return first && second; }, 60000));
    EXPECT_EQ(first, second);
    EXPECT_EQ(models.loadCount(), 1);
    EXPECT_TRUE(models.isLoaded());
    EXPECT_EQ(test::await(models.embedder()), first); // a third asker gets the loaded one
    EXPECT_EQ(models.loadCount(), 1);

    // Idle: the model goes, and the next asker loads it again.
    models.setIdleInterval(50);
    test::await(models.embedder());
    ASSERT_TRUE(waitUntil([&] { return !models.isLoaded(); }, 30000));
    EXPECT_TRUE(first->isClosing());
    first.reset();
    second.reset();
    models.setIdleInterval(EmbeddingModelManager::idleUnloadMs);
    const auto again = test::await(models.embedder());
    EXPECT_EQ(models.loadCount(), 2);
    EXPECT_EQ(again->embed(QStringLiteral("x")).result().size(), 64);

    // Deleting the model unloads it and removes the file.
    models.remove();
    EXPECT_FALSE(models.isLoaded());
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(models.status().kind, Kind::Missing);
    try {
        test::await(models.embedder());
        FAIL() << "a missing model loaded";
    } catch (const EmbeddingError& error) {
        EXPECT_EQ(error.kind(), EmbeddingError::Kind::ModelMissing);
        EXPECT_EQ(error.message(), QStringLiteral("The embedding model isn't on this computer yet."));
    }
}

TEST(EmbeddingModelManager, DownloadsFromTheServerAndCallsReadyHandlersOnce) {
    const QByteArray model = readFile(tinyModelPath());
    LocalHttpServer server;
    server.route(QStringLiteral("/tiny.gguf"), test::HttpResponse{200, model});
    server.route(QStringLiteral("/short.gguf"), test::HttpResponse{200, model.chopped(1)});
    QTemporaryDir folder;
    Settings settings(folder.filePath(QStringLiteral("settings.ini")));
    const QString path = folder.filePath(QStringLiteral("Models/tiny.gguf"));

    // One byte short: failed, with the sentence, and nothing left behind.
    {
        EmbeddingModelManager models(
            tinySpec(model.size(), server.url(QStringLiteral("/short.gguf")).toString()), path, &settings);
        models.startDownload();
        EXPECT_EQ(models.status().kind, Kind::Downloading);
        ASSERT_TRUE(waitUntil([&] { return models.status().kind == Kind::Failed; }, 60000));
        EXPECT_EQ(models.status().failure,
                  QStringLiteral("The model download failed: the file arrived incomplete."));
        EXPECT_FALSE(QFile::exists(path));
        EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(path)));
    }

    EmbeddingModelManager models(tinySpec(model.size(), server.url(QStringLiteral("/tiny.gguf")).toString()),
                                 path, &settings);
    EXPECT_EQ(models.status().kind, Kind::Missing);
    int called = 0;
    models.addReadyHandler(QUuid::createUuid(), [&] { ++called; });
    const QUuid removed = QUuid::createUuid();
    models.addReadyHandler(removed, [&] { called += 100; });
    models.removeReadyHandler(removed);
    models.startDownload();
    models.startDownload(); // a second start while one runs does nothing
    ASSERT_TRUE(waitUntil([&] { return models.status().kind == Kind::Ready; }, 60000));
    EXPECT_EQ(called, 1);
    EXPECT_EQ(readFile(path), model);
    EXPECT_EQ(server.requests().size(), 2); // the short one and this one
    EXPECT_EQ(test::await(models.embedder())->dimension(), 64);

    // The prompt's "not now" is remembered in the settings.
    EXPECT_FALSE(models.promptDeclined());
    models.setPromptDeclined(true);
    EmbeddingModelManager later(tinySpec(), path, &settings);
    EXPECT_TRUE(later.promptDeclined());
}

TEST(EmbeddingModelManager, CancellingADownloadLeavesNoPartAndStatusMissing) {
    LocalHttpServer server;
    const QByteArray body(6 * ModelDownloader::pieceBytes, 'm');
    server.route(QStringLiteral("/slow.gguf"),
                 test::HttpResponse{200, body, {}, -1, 2 * ModelDownloader::pieceBytes});
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Models/tiny.gguf"));
    EmbeddingModelManager models(tinySpec(body.size(), server.url(QStringLiteral("/slow.gguf")).toString()),
                                 path, nullptr);
    models.startDownload();
    ASSERT_TRUE(waitUntil([&] { return QFile(ModelDownloader::partPath(path)).size() > 0; }, 60000));
    models.cancelDownload();
    ASSERT_TRUE(waitUntil([&] { return models.status().kind == Kind::Missing; }, 60000));
    EXPECT_FALSE(QFile::exists(ModelDownloader::partPath(path)));
    EXPECT_FALSE(QFile::exists(path));
}
