#include "app/embedding/EmbeddingModelManager.h"
#include "app/embedding/SessionEmbedding.h"
#include "kit/embedding/EmbeddingError.h"
#include "kit/embedding/EmbeddingReconciler.h"
#include "kit/support/AtomicFile.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TinyModel.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

using Phase = EmbeddingService::Phase::Kind;

// A project of cities whose summaries are embedded, a model manager over "Models/tiny.gguf" beside
// "Projects", and the session with its two indexes.
struct Cities {
    SessionWorld world;
    Project project;
    std::unique_ptr<ProjectSession> session;
    std::unique_ptr<EmbeddingModelManager> models;
    NodeType city;
    QString modelPath;
    QString folder;

    explicit Cities(bool withModel = true, qint64 bytes = 0, const QString& url = {}) {
        GraphSchema shape;
        PropertyDef summary = property("summary");
        summary.embedded = true;
        shape.nodeTypes = {nodeType("City", {property("name"), summary})};
        project = world.create(shape);
        EmbeddingModelSpec spec = EmbeddingModelSpec::embeddingGemma2();
        spec.id = QStringLiteral("tiny");
        spec.fileName = QStringLiteral("tiny.gguf");
        spec.dimension = 64;
        spec.bytes = bytes;
        if (!url.isEmpty())
            spec.url = QUrl(url);
        modelPath = EmbeddingModelManager::modelPath(world.library.root(), spec);
        if (withModel) {
            QDir().mkpath(QFileInfo(modelPath).absolutePath());
            QFile::copy(tinyModelPath(), modelPath);
        }
        models = std::make_unique<EmbeddingModelManager>(spec, modelPath, &world.settings);
        folder = world.library.folder(project.id);
        open();
    }
    ~Cities() {
        if (session)
            close();
    }
    void open() {
        session = world.open(project);
        city = session->project().schema.nodeTypes[0];
    }
    // Adds the node before the indexes exist, or while they run.
    QString add(const QString& name, const QString& summary) {
        const auto id = session->createNode(city, name, {{"summary", GraphValue::string(summary)}});
        EXPECT_TRUE(id) << session->notice().value_or(QString()).toStdString();
        return id.value_or(QString());
    }
    SessionEmbedding& attach() {
        SessionEmbedding* attached = SessionEmbedding::attach(*session, models.get());
        attached->embeddings().setTimings(20, 10);
        attached->titles().setTimings(20, 10);
        return *attached;
    }
    EmbeddingService& embeddings() { return SessionEmbedding::of(*session)->embeddings(); }
    EmbeddingService& titles() { return SessionEmbedding::of(*session)->titles(); }
    void close() {
        auto* embedding = SessionEmbedding::of(*session);
        auto stopped = embedding ? std::optional<QCoro::Task<>>(embedding->stop()) : std::nullopt;
        test::await(session->close());
        if (stopped)
            test::await(std::move(*stopped));
        session.reset();
    }
    EmbeddingIndex onDisk(const QString& name) const { return EmbeddingIndex::load(folder, name); }
    // Both indexes settled with this many entries each, and saved so.
    bool settled(qsizetype properties, qsizetype titles) {
        return waitUntil(
            [&] {
                return embeddings().phase().kind == Phase::Idle &&
                       this->titles().phase().kind == Phase::Idle &&
                       embeddings().index().count() == properties &&
                       this->titles().index().count() == titles &&
                       onDisk("embeddings").count() == properties && onDisk("titles").count() == titles;
            },
            60000);
    }
};

} // namespace

TEST(EmbeddingService, IndexesFollowAddsEditsRenamesAndDeletions) {
    Cities c;
    const QString paris = c.add("Paris", "The city on the river.");
    const QString twin = c.add("Paris", "The city on the river.");
    const QString rome = c.add("Rome", "  Seven hills and old history.  ");
    c.attach();
    ASSERT_TRUE(c.settled(3, 3));

    // The files beside "project.json", with the model's id and the reconciler's hashes.
    EXPECT_TRUE(QFile::exists(QDir(c.folder).filePath("project.json")));
    EXPECT_EQ(QFile(EmbeddingIndex::vectorsPath(c.folder, "embeddings")).size(), 3 * 64 * 4);
    const EmbeddingIndex stored = c.onDisk("embeddings");
    EXPECT_EQ(stored.model(), QStringLiteral("tiny"));
    EXPECT_EQ(stored.dimension(), 64);
    const PropertyDef summary = c.city.properties[1];
    const auto romeEntries = stored.entries(rome, summary.id);
    ASSERT_EQ(romeEntries.size(), 1);
    EXPECT_EQ(romeEntries[0].text, QStringLiteral("Seven hills and old history."));
    EXPECT_EQ(romeEntries[0].hash, EmbeddingReconciler::hash("tiny", QStringLiteral("Rome"),
                                                             QStringLiteral("Seven hills and old history.")));
    EXPECT_EQ(c.onDisk("titles").entries(rome, EmbeddingReconciler::titleProperty)[0].text,
              QStringLiteral("Rome"));

    // Identical texts under identical titles have identical vectors.
    const auto& entries = c.embeddings().index().entries();
    const auto& vectors = c.embeddings().index().vectors();
    qsizetype parisRow = -1;
    qsizetype twinRow = -1;
    for (qsizetype i = 0; i < entries.size(); ++i) {
        if (entries[i].record == paris)
            parisRow = i;
        if (entries[i].record == twin)
            twinRow = i;
    }
    ASSERT_GE(parisRow, 0);
    ASSERT_GE(twinRow, 0);
    EXPECT_EQ(vectors.mid(parisRow * 64, 64), vectors.mid(twinRow * 64, 64));

    // Searching by meaning gives every passage, best first, and keeps to the records asked for.
    const auto hits =
        test::await(c.embeddings().search(QStringLiteral("old history"), std::nullopt, std::nullopt, 10));
    ASSERT_EQ(hits.size(), 3);
    EXPECT_GE(hits[0].score, hits[1].score);
    EXPECT_GE(hits[1].score, hits[2].score);
    const auto onlyRome = test::await(
        c.embeddings().search(QStringLiteral("old history"), std::nullopt, QSet<QString>{rome}, 10));
    ASSERT_EQ(onlyRome.size(), 1);
    EXPECT_EQ(onlyRome[0].entry.record, rome);

    // An edit of the text embeds that text again.
    c.session->updateNode(rome, {{"summary", GraphValue::string("Capital of Italy.")}});
    ASSERT_TRUE(waitUntil(
        [&] { return c.onDisk("embeddings").entries(rome, summary.id).value(0).text == "Capital of Italy."; },
        60000));
    // A rename changes the hash of its texts and its title entry.
    c.session->updateNode(rome, {{"name", GraphValue::string("Roma")}});
    ASSERT_TRUE(waitUntil(
        [&] {
            return c.onDisk("titles").entries(rome, EmbeddingReconciler::titleProperty).value(0).text ==
                       "Roma" &&
                   c.onDisk("embeddings").hash(rome, summary.id) ==
                       EmbeddingReconciler::hash("tiny", QStringLiteral("Roma"),
                                                 QStringLiteral("Capital of Italy."));
        },
        60000));
    ASSERT_TRUE(c.settled(3, 3));

    // Deleting takes the records out at once and from the files after the save.
    c.session->deleteNode(twin);
    EXPECT_TRUE(c.embeddings().index().entries(twin, summary.id).isEmpty());
    ASSERT_TRUE(c.settled(2, 2));
    c.session->deleteNode(paris);
    c.session->deleteNode(rome);
    // The last entry gone: both files of each index are deleted.
    ASSERT_TRUE(waitUntil(
        [&] {
            return !QFile::exists(EmbeddingIndex::manifestPath(c.folder, "embeddings")) &&
                   !QFile::exists(EmbeddingIndex::vectorsPath(c.folder, "embeddings")) &&
                   !QFile::exists(EmbeddingIndex::manifestPath(c.folder, "titles")) &&
                   !QFile::exists(EmbeddingIndex::vectorsPath(c.folder, "titles"));
        },
        60000));
    // Undo puts a node back, and its passages with it.
    c.world.undo.undo();
    ASSERT_TRUE(c.settled(1, 1));
}

TEST(EmbeddingService, TurningEmbedOffEmptiesThePropertiesIndexOnly) {
    Cities c;
    c.add("Paris", "The city on the river.");
    c.attach();
    ASSERT_TRUE(c.settled(1, 1));
    c.session->setEmbedded(c.city.properties[1].id, PropertyOwner::node(c.city.id), false);
    ASSERT_TRUE(waitUntil(
        [&] {
            return c.embeddings().index().isEmpty() &&
                   !QFile::exists(EmbeddingIndex::vectorsPath(c.folder, "embeddings"));
        },
        60000));
    EXPECT_EQ(c.onDisk("titles").count(), 1);
}

TEST(EmbeddingService, ATruncatedVectorFileIsRebuiltAtTheNextOpening) {
    Cities c;
    c.add("Paris", "The city on the river.");
    c.add("Rome", "Seven hills.");
    c.attach();
    ASSERT_TRUE(c.settled(2, 2));
    c.close();
    const QString vec = EmbeddingIndex::vectorsPath(c.folder, "embeddings");
    writeFileAtomically(vec, readFile(vec).chopped(1));
    ASSERT_TRUE(c.onDisk("embeddings").isEmpty());

    c.open();
    c.attach();
    ASSERT_TRUE(c.settled(2, 2));
    EXPECT_EQ(QFile(vec).size(), 2 * 64 * 4);
    EXPECT_EQ(c.models->loadCount(), 1); // the application's model stayed loaded across the two openings
}

TEST(EmbeddingService, WaitsForTheModelAndResumesAfterItsDownload) {
    const QByteArray model = readFile(tinyModelPath());
    LocalHttpServer server;
    server.route(QStringLiteral("/tiny.gguf"), test::HttpResponse{200, model});
    Cities c(false, model.size(), server.url(QStringLiteral("/tiny.gguf")).toString());
    c.add("Paris", "The city on the river.");
    c.attach();
    ASSERT_TRUE(waitUntil(
        [&] {
            return c.embeddings().phase().kind == Phase::WaitingForModel &&
                   c.titles().phase().kind == Phase::WaitingForModel;
        },
        60000));
    EXPECT_EQ(c.embeddings().total(), 1);
    try {
        test::await(c.embeddings().search(QStringLiteral("river")));
        FAIL() << "searched without a model";
    } catch (const EmbeddingError& error) {
        EXPECT_EQ(error.message(), QStringLiteral("The embedding model isn't on this computer yet."));
    }
    c.models->startDownload();
    ASSERT_TRUE(c.settled(1, 1));
}

TEST(EmbeddingService, AModelThatFailsIsRetriedWithBackOff) {
    Cities c(false);
    QDir().mkpath(QFileInfo(c.modelPath).absolutePath());
    writeFileAtomically(c.modelPath, "not a model");
    c.add("Paris", "The city on the river.");
    c.attach(); // retries after 30, 60, 120... units of 10 ms
    ASSERT_TRUE(waitUntil([&] { return c.embeddings().phase().kind == Phase::Failed; }, 60000));
    EXPECT_EQ(
        c.embeddings().phase().failure,
        QStringLiteral("The embedding model couldn't be loaded (not a model file llama.cpp can read)."));
    // It tries again by itself, and fails again while the file is broken.
    ASSERT_TRUE(waitUntil([&] { return c.embeddings().failures() >= 2; }, 60000));
    EXPECT_EQ(c.embeddings().phase().kind, Phase::Failed);
    // With the file repaired, the next retry embeds and the count of failures starts again.
    QFile::remove(c.modelPath);
    QFile::copy(tinyModelPath(), c.modelPath);
    ASSERT_TRUE(waitUntil([&] { return c.embeddings().index().count() == 1; }, 60000));
    EXPECT_EQ(c.embeddings().failures(), 0);
    ASSERT_TRUE(c.settled(1, 1));
}
