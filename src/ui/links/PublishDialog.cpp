#include "ui/links/PublishDialog.h"

#include "app/app/AppModel.h"
#include "app/app/Publisher.h"
#include "ui/design/Theme.h"

#include <QDesktopServices>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

PublishDialog::PublishDialog(AppModel& app, QWidget* parent)
    : QDialog(parent)
    , m_app(app)
    , m_heading(new QLabel(this))
    , m_summary(new QLabel(this))
    , m_open(new QPushButton(QStringLiteral("Open in Browser"), this))
    , m_settings(new QPushButton(QStringLiteral("Open Settings…"), this))
    , m_done(new QPushButton(QStringLiteral("Done"), this)) {
    setObjectName(QStringLiteral("publishSheet"));
    setWindowTitle(QStringLiteral("Share to the Web"));
    setMinimumWidth(460);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(6), Theme::space(6), Theme::space(6), Theme::space(5));
    layout->setSpacing(Theme::space(3));
    QFont big = m_heading->font();
    big.setPointSizeF(big.pointSizeF() * 1.3);
    big.setWeight(QFont::Bold);
    m_heading->setFont(big);
    m_summary->setWordWrap(true);
    m_summary->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(m_heading);
    layout->addWidget(m_summary);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_settings);
    buttons->addWidget(m_open);
    buttons->addWidget(m_done);
    layout->addLayout(buttons);
    m_done->setDefault(true);

    connect(m_done, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_open, &QPushButton::clicked, this, [this] {
        if (const auto& result = m_app.publisher().result(); result && result->url)
            QDesktopServices::openUrl(*result->url);
    });
    connect(m_settings, &QPushButton::clicked, this, [this] {
        accept();
        emit settingsRequested();
    });
    connect(&app.publisher(), &Publisher::resultChanged, this, &PublishDialog::sync);
    connect(&app.publisher(), &Publisher::isPublishingChanged, this, &PublishDialog::sync);
    sync();
}

void PublishDialog::publish(const Project& project) {
    m_app.publishToWeb(project);
    sync();
    show();
    raise();
    activateWindow();
}

void PublishDialog::sync() {
    const Publisher& publisher = m_app.publisher();
    const auto& result = publisher.result();
    if (publisher.isPublishing() || !result) {
        m_heading->setText(QStringLiteral("Publishing…"));
        m_summary->setText(QStringLiteral("Sending a read-only copy to %1.").arg(publisher.site().trimmed()));
        m_open->hide();
        m_settings->hide();
        adjustSize();
        return;
    }
    m_heading->setText(Publisher::heading(*result));
    QString text = Publisher::summary(*result);
    if (!result->error && result->url)
        text = result->url->toString() + QStringLiteral("\n\n") + text;
    m_summary->setText(text);
    m_open->setVisible(!result->error && result->url);
    m_settings->setVisible(result->error.has_value() && result->error->contains(QStringLiteral("Settings")));
    adjustSize();
}

} // namespace corvantis
