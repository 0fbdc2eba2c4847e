#include "ui/graph/RightPanel.h"

#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"
#include "ui/graph/Inspector.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

RightPanel::RightPanel(QWidget* parent)
    : QWidget(parent)
    , m_title(new QLabel(this))
    , m_faces(new QStackedWidget(this))
    , m_inspector(new Inspector(m_faces)) {
    setObjectName(QStringLiteral("rightPanel"));
    setMinimumWidth(240);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(3));
    layout->setSpacing(Theme::space(2));
    auto* head = new QHBoxLayout;
    QFont titleFont = m_title->font();
    titleFont.setWeight(QFont::DemiBold);
    m_title->setFont(titleFont);
    head->addWidget(m_title, 1);
    auto* close = new QToolButton(this);
    close->setObjectName(QStringLiteral("closeRightPanel"));
    close->setText(QStringLiteral("✕"));
    close->setToolTip(QStringLiteral("Close the panel"));
    close->setAutoRaise(true);
    connect(close, &QToolButton::clicked, this, [this] { setOpen(false); });
    head->addWidget(close);
    layout->addLayout(head);
    layout->addWidget(m_faces, 1);
    addFace(m_inspector, QStringLiteral("Inspector"));
    connect(m_faces, &QStackedWidget::currentChanged, this, [this] {
        if (QWidget* face = m_faces->currentWidget())
            m_title->setText(face->property("faceTitle").toString());
    });
}

void RightPanel::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    m_inspector->setSession(session);
    if (!session)
        return;
    connect(session, &ProjectSession::selectionChanged, this, [this] {
        const GraphSelection& selection = m_session->selection();
        if (selection.kind == GraphSelection::Kind::Node ||
            selection.kind == GraphSelection::Kind::Relationship)
            showFace(m_inspector);
    });
}

void RightPanel::addFace(QWidget* face, const QString& title) {
    face->setProperty("faceTitle", title);
    m_faces->addWidget(face);
    if (m_faces->count() == 1)
        m_title->setText(title);
}

void RightPanel::showFace(QWidget* face) {
    if (m_faces->indexOf(face) < 0)
        return;
    m_faces->setCurrentWidget(face);
    m_title->setText(face->property("faceTitle").toString());
    setOpen(true);
}

QWidget* RightPanel::currentFace() const {
    return m_faces->currentWidget();
}

void RightPanel::setOpen(bool open) {
    if (isOpen() == open)
        return;
    setVisible(open);
    emit openChanged();
}

} // namespace corvantis
