#include "ui/shape/ShapeView.h"

#include "app/graph/ProjectSession.h"
#include "kit/support/Json.h"
#include "ui/design/Theme.h"
#include "ui/shape/NewRelTypeDialog.h"
#include "ui/shape/ShapeTypeEditor.h"
#include "ui/shape/TypeItemDelegate.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* heading(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont font = label->font();
    font.setWeight(QFont::DemiBold);
    label->setFont(font);
    return label;
}

QToolButton* plusButton(const QString& tip, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setText(QStringLiteral("+"));
    button->setToolTip(tip);
    button->setAutoRaise(true);
    return button;
}

QListWidget* typeList(const QString& name, QWidget* parent) {
    auto* list = new QListWidget(parent);
    list->setObjectName(name);
    list->setFrameShape(QFrame::NoFrame);
    list->setSelectionMode(QAbstractItemView::SingleSelection);
    list->setUniformItemSizes(true);
    list->setMouseTracking(true);
    list->setItemDelegate(new TypeItemDelegate(list));
    return list;
}

} // namespace

ShapeView::ShapeView(QWidget* parent)
    : QWidget(parent)
    , m_nodeList(typeList(QStringLiteral("nodeTypes"), this))
    , m_relList(typeList(QStringLiteral("relTypes"), this))
    , m_addRel(nullptr)
    , m_issues(new QLabel(this))
    , m_pages(new QStackedWidget(this))
    , m_emptyPage(new QWidget(this))
    , m_noSelection(new QLabel(this))
    , m_scroll(new QScrollArea(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    // The lists of types.
    auto* side = new QWidget(this);
    side->setObjectName(QStringLiteral("shapeSide"));
    side->setFixedWidth(280);
    side->setAutoFillBackground(true);
    side->setBackgroundRole(QPalette::Base);
    auto* sideLayout = new QVBoxLayout(side);
    sideLayout->setContentsMargins(Theme::space(3), Theme::space(4), Theme::space(3), Theme::space(3));
    sideLayout->setSpacing(Theme::space(2));
    auto* nodeHeader = new QHBoxLayout;
    nodeHeader->addWidget(heading(QStringLiteral("Node types"), side));
    nodeHeader->addStretch();
    QToolButton* addNode = plusButton(QStringLiteral("Add Node Type"), side);
    addNode->setObjectName(QStringLiteral("addNodeType"));
    nodeHeader->addWidget(addNode);
    sideLayout->addLayout(nodeHeader);
    sideLayout->addWidget(m_nodeList, 3);
    auto* relHeader = new QHBoxLayout;
    relHeader->addWidget(heading(QStringLiteral("Relationships"), side));
    relHeader->addStretch();
    QToolButton* addRel = plusButton(QStringLiteral("Add Relationship"), side);
    addRel->setObjectName(QStringLiteral("addRelationship"));
    relHeader->addWidget(addRel);
    sideLayout->addLayout(relHeader);
    sideLayout->addWidget(m_relList, 2);
    layout->addWidget(side);

    // The form, with the shape's problems above it.
    auto* main = new QWidget(this);
    auto* mainLayout = new QVBoxLayout(main);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->setSpacing(0);
    m_issues->setObjectName(QStringLiteral("shapeIssues"));
    m_issues->setWordWrap(true);
    m_issues->setContentsMargins(Theme::space(6), Theme::space(3), Theme::space(6), Theme::space(3));
    m_issues->hide();
    paintIssues();
    mainLayout->addWidget(m_issues);

    auto* emptyLayout = new QVBoxLayout(m_emptyPage);
    emptyLayout->addStretch();
    auto* emptyText =
        new QLabel(QStringLiteral("This project has no shape yet. Start with a node type: a kind of "
                                  "thing you keep, like Person, Book or Place."),
                   m_emptyPage);
    emptyText->setWordWrap(true);
    emptyText->setAlignment(Qt::AlignCenter);
    // Centred by stretches rather than an alignment flag: a wrapped label placed with an alignment is
    // given the height of its size hint, not the height its lines need at its width.
    emptyText->setFixedWidth(460);
    auto* emptyRow = new QHBoxLayout;
    emptyRow->addStretch();
    emptyRow->addWidget(emptyText);
    emptyRow->addStretch();
    emptyLayout->addLayout(emptyRow);
    auto* emptyAdd = new QPushButton(QStringLiteral("Add Node Type"), m_emptyPage);
    emptyAdd->setObjectName(QStringLiteral("emptyAddNodeType"));
    emptyLayout->addWidget(emptyAdd, 0, Qt::AlignHCenter);
    emptyLayout->addStretch();

    m_noSelection->setText(QStringLiteral("Select a node type or a relationship to edit it."));
    m_noSelection->setAlignment(Qt::AlignCenter);
    m_noSelection->setForegroundRole(QPalette::PlaceholderText);

    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_pages->addWidget(m_emptyPage);
    m_pages->addWidget(m_noSelection);
    m_pages->addWidget(m_scroll);
    mainLayout->addWidget(m_pages, 1);
    layout->addWidget(main, 1);

    m_refresh.setSingleShot(true);
    m_refresh.setInterval(0);
    connect(&m_refresh, &QTimer::timeout, this, &ShapeView::refresh);
    connect(addNode, &QToolButton::clicked, this, &ShapeView::addNodeType);
    connect(emptyAdd, &QPushButton::clicked, this, &ShapeView::addNodeType);
    connect(addRel, &QToolButton::clicked, this, &ShapeView::addRelationship);
    connect(m_nodeList, &QListWidget::itemSelectionChanged, this, [this] { takeListSelection(m_nodeList); });
    connect(m_relList, &QListWidget::itemSelectionChanged, this, [this] { takeListSelection(m_relList); });
    for (QListWidget* list : {m_nodeList, m_relList}) {
        for (QKeySequence key : {QKeySequence(QKeySequence::Delete), QKeySequence(Qt::Key_Backspace)}) {
            auto* shortcut = new QShortcut(key, list, nullptr, nullptr, Qt::WidgetShortcut);
            connect(shortcut, &QShortcut::activated, this, &ShapeView::deleteSelected);
        }
    }
    refresh();
}

ShapeView::~ShapeView() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
}

void ShapeView::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(session, &ProjectSession::projectChanged, this, &ShapeView::scheduleRefresh);
        connect(session, &ProjectSession::graphChanged, this, &ShapeView::scheduleRefresh);
        connect(&session->shape(), &ShapeEditor::selectionChanged, this, &ShapeView::scheduleRefresh);
    }
    refresh();
}

void ShapeView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    // The type colours and the form's warnings follow the appearance.
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ApplicationPaletteChange) {
        paintIssues();
        scheduleRefresh();
    }
}

void ShapeView::paintIssues() {
    QPalette palette = m_issues->palette();
    palette.setColor(QPalette::WindowText, Theme::danger());
    m_issues->setPalette(palette);
}

void ShapeView::scheduleRefresh() {
    // Controls of the form may be the sender; the form is built again once they have returned.
    m_refresh.start();
}

void ShapeView::refresh() {
    m_refresh.stop();
    rebuildLists();
    rebuildEditor();
}

void ShapeView::rebuildLists() {
    QSignalBlocker nodeBlocker(m_nodeList);
    QSignalBlocker relBlocker(m_relList);
    m_nodeList->clear();
    m_relList->clear();
    if (!m_session) {
        m_issues->hide();
        return;
    }
    const Project& project = m_session->project();
    const GraphSchema& schema = project.schema;
    const auto selection = m_session->shape().selection();
    for (const NodeType& type : schema.nodeTypes) {
        auto* item = new QListWidgetItem(type.name, m_nodeList);
        item->setData(Qt::UserRole, json::uuidText(type.id));
        item->setData(TypeItemDelegate::ColorRole, type.color);
        const int count = m_session->recordCount(type.id);
        item->setData(TypeItemDelegate::NoteRole, QString::number(count));
        item->setToolTip(
            QStringLiteral("%1: %2 node%3").arg(type.name).arg(count).arg(count == 1 ? "" : "s"));
        if (selection && selection->kind == ShapeSelection::Kind::Node && selection->id == type.id)
            item->setSelected(true);
    }
    for (const RelType& type : schema.relTypes) {
        QStringList ends;
        for (const RelEndpoint& endpoint : type.connections()) {
            const NodeType* from = schema.nodeType(endpoint.from);
            const NodeType* to = schema.nodeType(endpoint.to);
            if (from && to)
                ends << QStringLiteral("%1 %2 %3")
                            .arg(from->name, type.isTwoWay(endpoint) ? "↔" : "→", to->name);
        }
        auto* item = new QListWidgetItem(type.name, m_relList);
        item->setData(Qt::UserRole, json::uuidText(type.id));
        item->setData(TypeItemDelegate::NoteRole, ends.join(QStringLiteral(", ")));
        item->setToolTip(ends.join(QLatin1Char('\n')));
        if (selection && selection->kind != ShapeSelection::Kind::Node && selection->id == type.id)
            item->setSelected(true);
    }

    QStringList problems;
    if (!schema.nodeTypes.isEmpty())
        for (const SchemaIssue& issue : schema.validate())
            problems << QStringLiteral("• ") + issue.message;
    if (!problems.isEmpty()) {
        m_issues->setText(QStringLiteral("Your graph keeps its previous shape until this is mended:\n") +
                          problems.join(QLatin1Char('\n')));
        m_issues->show();
    } else if (m_session->hasPendingChanges()) {
        m_issues->setText(
            QStringLiteral("Your graph still has the previous shape: the last change couldn't be "
                           "applied. Undo it, or change the shape again to retry."));
        m_issues->show();
    } else {
        m_issues->hide();
    }
}

void ShapeView::rebuildEditor() {
    // The control that had the focus gets it back in the new form.
    QString focused;
    if (QWidget* focus = QApplication::focusWidget(); focus && m_editor && m_editor->isAncestorOf(focus))
        focused = focus->objectName();

    std::optional<PropertyOwner> owner;
    if (m_session) {
        if (auto selection = m_session->shape().selection()) {
            owner = selection->kind == ShapeSelection::Kind::Node ? PropertyOwner::node(selection->id)
                                                                  : PropertyOwner::rel(selection->id);
        }
    }
    if (m_editor) {
        m_scroll->takeWidget();
        m_editor->hide();
        m_editor->deleteLater();
        m_editor = nullptr;
    }
    if (!m_session || m_session->project().schema.nodeTypes.isEmpty()) {
        m_pages->setCurrentWidget(m_session ? m_emptyPage : static_cast<QWidget*>(m_noSelection));
        return;
    }
    if (!owner) {
        m_pages->setCurrentWidget(m_noSelection);
        return;
    }
    m_editor = new ShapeTypeEditor(*m_session, *owner);
    m_scroll->setWidget(m_editor);
    m_pages->setCurrentWidget(m_scroll);
    if (!focused.isEmpty())
        if (auto* widget = m_editor->findChild<QWidget*>(focused))
            widget->setFocus();
}

void ShapeView::takeListSelection(QListWidget* list) {
    if (!m_session)
        return;
    const QList<QListWidgetItem*> selected = list->selectedItems();
    if (selected.isEmpty())
        return;
    QListWidget* other = list == m_nodeList ? m_relList : m_nodeList;
    {
        QSignalBlocker blocker(other);
        other->clearSelection();
    }
    auto id = json::parseUuid(selected.first()->data(Qt::UserRole).toString());
    if (!id)
        return;
    m_session->shape().setSelection(list == m_nodeList ? ShapeSelection::node(*id)
                                                       : ShapeSelection::rel(*id));
}

void ShapeView::addNodeType() {
    if (!m_session)
        return;
    // New types stand in a loose grid on the shape's canvas.
    const qsizetype count = m_session->project().schema.nodeTypes.size();
    const QPointF at(double(count % 4) * 220, double(count / 4) * 160);
    if (m_session->addNodeType(at)) {
        refresh();
        if (m_editor)
            if (auto* name = m_editor->findChild<QWidget*>(QStringLiteral("typeName"))) {
                name->setFocus();
                if (auto* field = qobject_cast<QLineEdit*>(name))
                    field->selectAll();
            }
    }
}

void ShapeView::addRelationship() {
    if (!m_session)
        return;
    if (m_session->project().schema.nodeTypes.isEmpty()) {
        m_session->setNotice(
            QStringLiteral("Add a node type first: a relationship runs between node types."));
        return;
    }
    NewRelTypeDialog dialog(m_session->project().schema, this);
    if (dialog.exec() != QDialog::Accepted || !m_session)
        return;
    if (auto id = m_session->addRelationship(dialog.name(), dialog.from(), dialog.to(), dialog.bothWays()))
        m_session->shape().setSelection(ShapeSelection::rel(*id));
}

void ShapeView::deleteSelected() {
    if (m_session)
        m_session->deleteShapeSelection();
}

} // namespace corvantis
