#include "graph/ProjectView.h"

#include "app/AppModel.h"
#include "design/Theme.h"
#include "graph/ProjectSession.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

ProjectView::ProjectView(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_name(new QLineEdit(this))
    , m_summary(new QLabel(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* bar = new QWidget(this);
    bar->setAutoFillBackground(true);
    auto* barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    barLayout->setSpacing(Theme::space(2));
    auto* back = new QToolButton(bar);
    back->setText(QStringLiteral("‹ Projects"));
    back->setToolTip(QStringLiteral("Back to the projects"));
    back->setAutoRaise(true);
    connect(back, &QToolButton::clicked, &m_app, &AppModel::showGallery);
    barLayout->addWidget(back);

    m_name->setFrame(false);
    m_name->setAccessibleName(QStringLiteral("Project name"));
    m_name->setToolTip(QStringLiteral("Click to rename"));
    QFont nameFont = m_name->font();
    nameFont.setWeight(QFont::DemiBold);
    nameFont.setPointSizeF(nameFont.pointSizeF() * 1.1);
    m_name->setFont(nameFont);
    m_name->setMaximumWidth(420);
    barLayout->addWidget(m_name);
    barLayout->addStretch();
    layout->addWidget(bar);

    m_summary->setAlignment(Qt::AlignCenter);
    QPalette subtle = m_summary->palette();
    subtle.setColor(QPalette::WindowText, Theme::secondaryText());
    m_summary->setPalette(subtle);
    layout->addWidget(m_summary, 1);

    connect(m_name, &QLineEdit::editingFinished, this, &ProjectView::commitName);
    connect(&m_app, &AppModel::sessionChanged, this, &ProjectView::bindSession);
    connect(&m_app, &AppModel::renamingChanged, this, &ProjectView::beginRenaming);
    bindSession();
}

void ProjectView::bindSession() {
    ProjectSession* session = m_app.session();
    if (!session)
        return;
    auto sync = [this, session] {
        m_name->setText(session->project().name);
        const GraphSchema& shape = session->project().schema;
        m_summary->setText(shape.nodeTypes.isEmpty() ? QStringLiteral("This project has no shape yet.")
                                                     : QStringLiteral("%1 node types, %2 relationship types.")
                                                           .arg(shape.nodeTypes.size())
                                                           .arg(shape.relTypes.size()));
    };
    connect(session, &ProjectSession::projectChanged, this, sync);
    sync();
    beginRenaming();
}

void ProjectView::beginRenaming() {
    ProjectSession* session = m_app.session();
    auto renaming = m_app.renaming();
    if (!session || !renaming || renaming->id != session->project().id)
        return;
    m_name->setFocus();
    m_name->selectAll();
}

void ProjectView::commitName() {
    ProjectSession* session = m_app.session();
    if (!session)
        return;
    QString name = m_name->text();
    if (name.trimmed().isEmpty() || name.trimmed() == session->project().name) {
        m_name->setText(session->project().name);
    } else {
        m_app.rename(session->project(), name);
    }
    if (m_app.renaming())
        m_app.setRenaming(std::nullopt);
    m_name->clearFocus();
}

} // namespace corvantis
