#include "ui/graph/Sidebar.h"

#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QPixmap>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QIcon swatch(const QColor& color) {
    QPixmap pixmap(24, 24);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(color);
    painter.drawEllipse(QRectF(5, 5, 14, 14));
    return QIcon(pixmap);
}

QLabel* header(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    QPalette muted = label->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    label->setPalette(muted);
    return label;
}

} // namespace

Sidebar::Sidebar(QWidget* parent)
    : QWidget(parent)
    , m_types(new QListWidget(this)) {
    setObjectName(QStringLiteral("sidebar"));
    setMinimumWidth(180);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(2), Theme::space(3), Theme::space(2), Theme::space(2));
    layout->setSpacing(Theme::space(1));
    layout->addWidget(header(QStringLiteral("Node Types"), this));
    m_types->setObjectName(QStringLiteral("sidebarTypes"));
    m_types->setFrameShape(QFrame::NoFrame);
    m_types->setIconSize(QSize(16, 16));
    m_types->setToolTip(QStringLiteral("Click a type to show its nodes on the canvas"));
    m_types->viewport()->setAutoFillBackground(false);
    connect(m_types, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { emit typeActivated(item->data(Qt::UserRole).toUuid()); });
    connect(m_types, &QListWidget::itemActivated, this,
            [this](QListWidgetItem* item) { emit typeActivated(item->data(Qt::UserRole).toUuid()); });
    layout->addWidget(m_types, 1);
    m_sections = new QVBoxLayout;
    m_sections->setSpacing(Theme::space(2));
    layout->addLayout(m_sections);
}

void Sidebar::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(session, &ProjectSession::projectChanged, this, &Sidebar::refresh);
        connect(session, &ProjectSession::graphChanged, this, &Sidebar::refresh);
    }
    refresh();
}

void Sidebar::addSection(QWidget* section) {
    section->setParent(this);
    m_sections->addWidget(section);
}

void Sidebar::changeEvent(QEvent* event) {
    if (event->type() == QEvent::PaletteChange)
        refresh();
    QWidget::changeEvent(event);
}

void Sidebar::refresh() {
    const QUuid current =
        m_types->currentItem() ? m_types->currentItem()->data(Qt::UserRole).toUuid() : QUuid();
    m_types->clear();
    if (!m_session)
        return;
    for (const NodeType& type : m_session->project().schema.nodeTypes) {
        const int count = m_session->typeCounts().value(type.table());
        auto* item = new QListWidgetItem(swatch(Theme::paletteColor(type.color)),
                                         QStringLiteral("%1  ·  %2").arg(type.name).arg(count), m_types);
        item->setData(Qt::UserRole, type.id);
        item->setData(Qt::AccessibleTextRole, QStringLiteral("%1, %2 nodes").arg(type.name).arg(count));
        if (type.id == current)
            m_types->setCurrentItem(item);
    }
}

} // namespace corvantis
