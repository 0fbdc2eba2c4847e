#include "app/app/AppModel.h"
#include "app/app/Settings.h"
#include "app/embedding/EmbeddingModelManager.h"
#include "app/embedding/EmbeddingService.h"
#include "app/embedding/SessionEmbedding.h"
#include "app/graph/ProjectSession.h"
#include "kit/embedding/EmbeddingIndex.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/LocalHttpServer.h"
#include "tests/support/ShapeBuilders.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TinyModel.h"
#include "ui/embedding/EmbeddingStatusView.h"
#include "ui/embedding/SearchModelPane.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QTemporaryDir>
#include <QToolButton>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// The model's address and size point at a server on 127.0.0.1 for as long as it lives.
struct LocalModel {
    QByteArray model = readFile(tinyModelPath());
    LocalHttpServer server;
    LocalModel() {
        server.route("/model.gguf", test::HttpResponse{200, model});
        qputenv("CORVANTIS_EMBEDDING_MODEL_URL", server.url("/model.gguf").toString().toUtf8());
        qputenv("CORVANTIS_EMBEDDING_MODEL_BYTES", QByteArray::number(model.size()));
    }
    ~LocalModel() {
        qunsetenv("CORVANTIS_EMBEDDING_MODEL_URL");
        qunsetenv("CORVANTIS_EMBEDDING_MODEL_BYTES");
    }
};

QMessageBox* messageBox(const QString& objectName = {}) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* box = qobject_cast<QMessageBox*>(widget);
        if (box && box->isVisible() && (objectName.isEmpty() || box->objectName() == objectName))
            return box;
    }
    return nullptr;
}

void press(QMessageBox* box, const QString& text) {
    for (QAbstractButton* button : box->buttons())
        if (button->text() == text)
            return button->click();
    ADD_FAILURE() << "no button " << text.toStdString();
}

} // namespace

TEST(SearchModelPane, DownloadsShowsAFailureTriesAgainAndDeletes) {
    LocalModel local;
    local.server.route("/model.gguf", test::HttpResponse{200, local.model.chopped(1)});
    QTemporaryDir dir;
    AppModel app(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    EmbeddingModelManager& models = app.embeddingModels();
    SearchModelPane pane(models);
    pane.show();
    auto* download = pane.findChild<QPushButton*>("downloadModel");
    auto* remove = pane.findChild<QPushButton*>("deleteModel");
    auto* failure = pane.findChild<QLabel*>("modelFailure");
    ASSERT_TRUE(download && remove && failure);
    EXPECT_EQ(pane.findChild<QLabel*>("modelTitle")->text(), "EmbeddingGemma 2");
    EXPECT_EQ(pane.findChild<QLabel*>("modelLicence")->text(), "Apache 2.0");
    EXPECT_TRUE(pane.findChild<QLabel*>("modelDetail")->text().contains("runs on this computer"));
    EXPECT_TRUE(download->isVisible());
    EXPECT_FALSE(remove->isVisible());

    download->click();
    ASSERT_TRUE(waitUntil([&] { return failure->isVisible(); }, 60000));
    EXPECT_EQ(failure->text(), "The model download failed: the file arrived incomplete.");
    EXPECT_EQ(download->text(), "Try Again");

    local.server.route("/model.gguf", test::HttpResponse{200, local.model});
    download->click();
    ASSERT_TRUE(waitUntil([&] { return remove->isVisible(); }, 60000));
    EXPECT_FALSE(download->isVisible());
    EXPECT_FALSE(failure->isVisible());
    EXPECT_FALSE(pane.findChild<QProgressBar*>("modelProgress")->isVisible());
    EXPECT_TRUE(QFile::exists(models.path()));

    remove->click();
    QMessageBox* ask = nullptr;
    ASSERT_TRUE(waitUntil([&] { return (ask = messageBox()) != nullptr; }));
    press(ask, "Delete");
    ASSERT_TRUE(waitUntil([&] { return download->isVisible(); }));
    EXPECT_FALSE(QFile::exists(models.path()));
    EXPECT_EQ(models.status().kind, EmbeddingModelManager::Status::Kind::Missing);
}

TEST(EmbeddingStatusView, OffersTheDownloadOnceAndShowsTheIndexingUntilDone) {
    LocalModel local;
    QTemporaryDir dir;
    auto app = std::make_unique<AppModel>(std::make_unique<Settings>(dir.filePath("s.ini")),
                                          dir.filePath("Projects"));
    Project project = app->library().create("Cities");
    PropertyDef summary = property("summary");
    summary.embedded = true;
    project.schema.nodeTypes = {nodeType("City", {property("name"), summary})};
    app->library().save(project);
    EmbeddingStatusView status(*app);
    status.show();
    app->open(project);
    ProjectSession* session = app->session();
    ASSERT_TRUE(session);
    session->createNode(session->project().schema.nodeTypes[0], "Paris",
                        {{"summary", GraphValue::string("River.")}});

    // Waiting for the model: the status asks once whether to download it.
    auto* prompt = status.findChild<QWidget*>("downloadPrompt");
    auto* offer = status.findChild<QToolButton*>("getSearchModel");
    ASSERT_TRUE(waitUntil([&] { return status.isVisible() && prompt->isVisible(); }, 60000));
    EXPECT_TRUE(
        status.findChild<QLabel*>("promptText")->text().contains("EmbeddingGemma 2 (")); // with its size
    EXPECT_FALSE(offer->isVisible());
    status.findChild<QPushButton*>("promptDecline")->click();
    EXPECT_TRUE(app->embeddingModels().promptDeclined());
    EXPECT_FALSE(prompt->isVisible());
    EXPECT_TRUE(offer->isVisible());

    // The toolbar's button still offers it; downloading resumes the indexes, which then go quiet.
    offer->click();
    const QString folder = app->library().folder(project.id);
    ASSERT_TRUE(waitUntil(
        [&] {
            return QFile::exists(EmbeddingIndex::vectorsPath(folder, "embeddings")) &&
                   QFile::exists(EmbeddingIndex::vectorsPath(folder, "titles")) && !status.isVisible();
        },
        60000));
    EXPECT_EQ(SessionEmbedding::of(*session)->embeddings().index().count(), 1);
    // "Not Now" holds for the next start of the program as well.
    EXPECT_TRUE(Settings(dir.filePath("s.ini")).value("embedding.promptDeclined").toBool());
}
