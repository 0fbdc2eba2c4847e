#include "ui/embedding/SearchModelPane.h"

#include "app/embedding/EmbeddingModelManager.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* secondary(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, Theme::secondaryText());
    label->setPalette(palette);
    label->setWordWrap(true);
    return label;
}

} // namespace

SearchModelPane::SearchModelPane(EmbeddingModelManager& models, QWidget* parent)
    : QWidget(parent)
    , m_models(models)
    , m_state(new QLabel(this))
    , m_progress(new QProgressBar(this))
    , m_failure(new QLabel(this))
    , m_download(new QPushButton(QStringLiteral("Download"), this))
    , m_cancel(new QPushButton(QStringLiteral("Cancel"), this))
    , m_delete(new QPushButton(QStringLiteral("Delete"), this)) {
    const EmbeddingModelSpec& spec = models.spec();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(6), Theme::space(4), Theme::space(4));
    layout->setSpacing(Theme::space(2));

    layout->addWidget(
        secondary(QStringLiteral("Search by meaning runs on this computer: your texts are turned into "
                                 "vectors by a small model here, and nothing of them leaves it."),
                  this));
    layout->addSpacing(Theme::space(2));

    auto* titleRow = new QHBoxLayout();
    auto* title = new QLabel(spec.title, this);
    QFont titleFont = title->font();
    titleFont.setWeight(QFont::DemiBold);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.15);
    title->setFont(titleFont);
    title->setObjectName(QStringLiteral("modelTitle"));
    titleRow->addWidget(title);
    auto* licence = secondary(spec.licence, this);
    licence->setObjectName(QStringLiteral("modelLicence"));
    licence->setWordWrap(false);
    titleRow->addWidget(licence);
    titleRow->addStretch();
    layout->addLayout(titleRow);

    auto* detail = secondary(spec.detail + QStringLiteral(" · ") + spec.sizeDescription(), this);
    detail->setObjectName(QStringLiteral("modelDetail"));
    layout->addWidget(detail);
    layout->addSpacing(Theme::space(2));

    m_state->setObjectName(QStringLiteral("modelState"));
    layout->addWidget(m_state);
    m_progress->setObjectName(QStringLiteral("modelProgress"));
    m_progress->setRange(0, 1000);
    m_progress->setTextVisible(false);
    layout->addWidget(m_progress);
    m_failure->setObjectName(QStringLiteral("modelFailure"));
    m_failure->setWordWrap(true);
    QPalette failurePalette = m_failure->palette();
    failurePalette.setColor(QPalette::WindowText, Theme::danger());
    m_failure->setPalette(failurePalette);
    layout->addWidget(m_failure);

    auto* buttons = new QHBoxLayout();
    m_download->setObjectName(QStringLiteral("downloadModel"));
    m_cancel->setObjectName(QStringLiteral("cancelDownload"));
    m_delete->setObjectName(QStringLiteral("deleteModel"));
    buttons->addWidget(m_download);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_delete);
    buttons->addStretch();
    layout->addLayout(buttons);
    layout->addStretch();

    connect(m_download, &QPushButton::clicked, &m_models, &EmbeddingModelManager::startDownload);
    connect(m_cancel, &QPushButton::clicked, &m_models, &EmbeddingModelManager::cancelDownload);
    connect(m_delete, &QPushButton::clicked, this, [this] {
        auto* ask =
            new QMessageBox(QMessageBox::Warning, QStringLiteral("Delete the search model?"),
                            QStringLiteral("Search by meaning stops until the model is downloaded again. "
                                           "Your indexes stay in your projects."),
                            QMessageBox::Cancel, this);
        ask->addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
        ask->setAttribute(Qt::WA_DeleteOnClose);
        connect(ask, &QMessageBox::buttonClicked, this, [this, ask](QAbstractButton* button) {
            if (ask->buttonRole(button) == QMessageBox::DestructiveRole)
                m_models.remove();
        });
        ask->open();
    });
    connect(&m_models, &EmbeddingModelManager::statusChanged, this, &SearchModelPane::update);
    update();
}

void SearchModelPane::update() {
    using Kind = EmbeddingModelManager::Status::Kind;
    const EmbeddingModelManager::Status status = m_models.status();
    switch (status.kind) {
    case Kind::Ready:
        m_state->setText(QStringLiteral("On this computer."));
        break;
    case Kind::Missing:
        m_state->setText(QStringLiteral("Not on this computer yet. Download it to search by meaning."));
        break;
    case Kind::Downloading:
        m_state->setText(QStringLiteral("Downloading… %1%").arg(int(status.fraction * 100)));
        break;
    case Kind::Failed:
        m_state->setText(QStringLiteral("Not on this computer yet."));
        break;
    }
    m_progress->setVisible(status.kind == Kind::Downloading);
    m_progress->setValue(int(status.fraction * 1000));
    m_failure->setVisible(status.kind == Kind::Failed);
    m_failure->setText(status.failure);
    m_download->setVisible(status.kind == Kind::Missing || status.kind == Kind::Failed);
    m_download->setText(status.kind == Kind::Failed
                            ? QStringLiteral("Try Again")
                            : QStringLiteral("Download (%1)").arg(m_models.spec().sizeDescription()));
    m_cancel->setVisible(status.kind == Kind::Downloading);
    m_delete->setVisible(status.kind == Kind::Ready);
}

} // namespace corvantis
