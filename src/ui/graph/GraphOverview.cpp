#include "ui/graph/GraphOverview.h"

#include "app/graph/ProjectSession.h"
#include "kit/support/Counted.h"
#include "ui/design/Theme.h"
#include "ui/shape/TypeSwatch.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {} // namespace

GraphOverview::GraphOverview(QWidget* parent)
    : QWidget(parent)
    , m_summary(new QLabel(this))
    , m_types(new QWidget(this))
    , m_typesLayout(new QVBoxLayout(m_types))
    , m_showTable(new QPushButton(QStringLiteral("Show Table"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->addStretch();
    m_summary->setObjectName(QStringLiteral("graphSummary"));
    QFont font = m_summary->font();
    font.setPointSizeF(font.pointSizeF() * 1.5);
    font.setWeight(QFont::DemiBold);
    m_summary->setFont(font);
    m_summary->setAlignment(Qt::AlignCenter);
    layout->addWidget(m_summary, 0, Qt::AlignHCenter);
    m_typesLayout->setContentsMargins(0, Theme::space(2), 0, Theme::space(2));
    m_typesLayout->setSpacing(Theme::space(1));
    layout->addWidget(m_types, 0, Qt::AlignHCenter);
    m_showTable->setObjectName(QStringLiteral("overviewShowTable"));
    m_showTable->setToolTip(QStringLiteral("Show Table (Ctrl+T)"));
    layout->addWidget(m_showTable, 0, Qt::AlignHCenter);
    layout->addStretch();
    connect(m_showTable, &QPushButton::clicked, this, &GraphOverview::showTableRequested);
    refresh();
}

GraphOverview::~GraphOverview() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
}

void GraphOverview::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(session, &ProjectSession::graphChanged, this, &GraphOverview::refresh);
        connect(session, &ProjectSession::projectChanged, this, &GraphOverview::refresh);
    }
    refresh();
}

void GraphOverview::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ApplicationPaletteChange)
        refresh();
}

void GraphOverview::refresh() {
    while (QLayoutItem* item = m_typesLayout->takeAt(0)) {
        if (QWidget* widget = item->widget())
            widget->deleteLater();
        delete item;
    }
    if (!m_session) {
        m_summary->clear();
        return;
    }
    const Project& project = m_session->project();
    if (m_session->graphUnavailable()) {
        m_summary->setText(QStringLiteral("The graph isn't open."));
        m_showTable->hide();
        return;
    }
    m_showTable->setVisible(!project.schema.nodeTypes.isEmpty());
    if (project.schema.nodeTypes.isEmpty()) {
        m_summary->setText(QStringLiteral("Give the graph a shape first (Ctrl+Alt+1)."));
        return;
    }
    m_summary->setText(counted(m_session->nodes().size(), QStringLiteral("node")) + QStringLiteral(" · ") +
                       counted(m_session->rels().size(), QStringLiteral("relationship")));
    for (const NodeType& type : project.schema.nodeTypes) {
        const int count = m_session->recordCount(type.id);
        auto* row = new QWidget(m_types);
        auto* line = new QHBoxLayout(row);
        line->setContentsMargins(0, 0, 0, 0);
        auto* swatch = new QLabel(row);
        swatch->setPixmap(typeSwatch(type.color).pixmap(12, 12));
        line->addWidget(swatch);
        line->addWidget(new QLabel(type.name, row));
        line->addStretch();
        auto* number = new QLabel(QString::number(count), row);
        number->setForegroundRole(QPalette::PlaceholderText);
        line->addWidget(number);
        row->setMinimumWidth(260);
        m_typesLayout->addWidget(row);
    }
}

} // namespace corvantis
