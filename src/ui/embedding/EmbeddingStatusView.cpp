#include "ui/embedding/EmbeddingStatusView.h"

#include "app/app/AppModel.h"
#include "app/embedding/EmbeddingModelManager.h"
#include "app/embedding/EmbeddingService.h"
#include "app/embedding/SessionEmbedding.h"
#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

namespace corvantis {

EmbeddingStatusView::EmbeddingStatusView(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_text(new QLabel(this))
    , m_progress(new QProgressBar(this))
    , m_download(new QToolButton(this))
    , m_prompt(new QWidget(this)) {
    setObjectName(QStringLiteral("embeddingStatus"));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(2));
    QPalette palette = m_text->palette();
    palette.setColor(QPalette::WindowText, Theme::secondaryText());
    m_text->setPalette(palette);
    m_progress->setTextVisible(false);
    m_progress->setFixedWidth(96);
    m_progress->setMaximumHeight(8);
    const EmbeddingModelSpec& spec = m_app.embeddingModels().spec();
    m_download->setObjectName(QStringLiteral("getSearchModel"));
    m_download->setAutoRaise(true);
    m_download->setText(QStringLiteral("Get the Search Model (%1)").arg(spec.sizeDescription()));
    m_download->setToolTip(
        QStringLiteral("Search by meaning needs %1, a model that runs on this computer").arg(spec.title));

    // The one-time offer: a sentence and two buttons, in the toolbar where the indexes' work shows.
    m_prompt->setObjectName(QStringLiteral("downloadPrompt"));
    auto* promptLayout = new QHBoxLayout(m_prompt);
    promptLayout->setContentsMargins(0, 0, 0, 0);
    promptLayout->setSpacing(Theme::space(2));
    auto* question =
        new QLabel(QStringLiteral("Search by meaning needs %1 (%2), which runs on this computer.")
                       .arg(spec.title, spec.sizeDescription()),
                   m_prompt);
    question->setObjectName(QStringLiteral("promptText"));
    auto* accept = new QPushButton(QStringLiteral("Download"), m_prompt);
    accept->setObjectName(QStringLiteral("promptDownload"));
    auto* decline = new QPushButton(QStringLiteral("Not Now"), m_prompt);
    decline->setObjectName(QStringLiteral("promptDecline"));
    promptLayout->addWidget(question);
    promptLayout->addWidget(accept);
    promptLayout->addWidget(decline);

    layout->addWidget(m_prompt);
    layout->addWidget(m_text);
    layout->addWidget(m_progress);
    layout->addWidget(m_download);
    connect(m_download, &QToolButton::clicked, &m_app.embeddingModels(),
            &EmbeddingModelManager::startDownload);
    connect(accept, &QPushButton::clicked, &m_app.embeddingModels(), &EmbeddingModelManager::startDownload);
    connect(decline, &QPushButton::clicked, this,
            [this] { m_app.embeddingModels().setPromptDeclined(true); });
    connect(&m_app, &AppModel::sessionChanged, this, &EmbeddingStatusView::follow);
    connect(&m_app.embeddingModels(), &EmbeddingModelManager::statusChanged, this,
            &EmbeddingStatusView::update);
    connect(&m_app.embeddingModels(), &EmbeddingModelManager::promptDeclinedChanged, this,
            &EmbeddingStatusView::update);
    follow();
}

void EmbeddingStatusView::follow() {
    if (m_embeddings)
        m_embeddings->disconnect(this);
    if (m_titles)
        m_titles->disconnect(this);
    SessionEmbedding* embedding = m_app.session() ? SessionEmbedding::of(*m_app.session()) : nullptr;
    m_embeddings = embedding ? &embedding->embeddings() : nullptr;
    m_titles = embedding ? &embedding->titles() : nullptr;
    for (EmbeddingService* service : {m_embeddings.data(), m_titles.data()}) {
        if (!service)
            continue;
        connect(service, &EmbeddingService::phaseChanged, this, &EmbeddingStatusView::update);
        connect(service, &EmbeddingService::progressChanged, this, &EmbeddingStatusView::update);
    }
    update();
}

void EmbeddingStatusView::update() {
    using Kind = EmbeddingService::Phase::Kind;
    int done = 0;
    int total = 0;
    bool embedding = false;
    bool waiting = false;
    QString failure;
    for (EmbeddingService* service : {m_embeddings.data(), m_titles.data()}) {
        if (!service)
            continue;
        switch (service->phase().kind) {
        case Kind::Embedding:
            embedding = true;
            done += service->completed();
            total += service->total();
            break;
        case Kind::WaitingForModel:
            waiting = true;
            break;
        case Kind::Failed:
            failure = service->phase().failure;
            break;
        case Kind::Idle:
            break;
        }
    }
    const auto modelStatus = m_app.embeddingModels().status().kind;
    const bool downloading = modelStatus == EmbeddingModelManager::Status::Kind::Downloading;
    m_progress->setVisible(embedding || downloading);
    const bool offering = waiting && !downloading && !m_app.embeddingModels().promptDeclined();
    m_prompt->setVisible(offering);
    m_download->setVisible(waiting && !downloading && !offering);
    m_text->setToolTip(failure);
    if (embedding) {
        m_text->setText(QStringLiteral("Indexing %1 of %2").arg(done).arg(total));
        m_progress->setRange(0, std::max(total, 1));
        m_progress->setValue(done);
    } else if (waiting && downloading) {
        m_text->setText(QStringLiteral("Downloading the search model"));
        m_progress->setRange(0, 1000);
        m_progress->setValue(int(m_app.embeddingModels().status().fraction * 1000));
    } else if (!failure.isEmpty()) {
        m_text->setText(QStringLiteral("Indexing paused"));
    } else {
        m_text->clear();
    }
    setVisible(embedding || waiting || !failure.isEmpty());
}

} // namespace corvantis
