#include "ui/table/GraphTableView.h"

#include "app/graph/ProjectSession.h"
#include "kit/support/Counted.h"
#include "kit/support/Json.h"
#include "ui/design/Theme.h"
#include "ui/links/LinkPreviewStrip.h"
#include "ui/shape/TypeSwatch.h"
#include "ui/table/NewRelationshipDialog.h"
#include "ui/table/ValueDelegate.h"

#include <QComboBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QVBoxLayout>

namespace corvantis {

namespace {} // namespace

GraphTableView::GraphTableView(QWidget* parent)
    : QWidget(parent)
    , m_model(new GraphTableModel(this))
    , m_picker(new QComboBox(this))
    , m_count(new QLabel(this))
    , m_add(new QPushButton(this))
    , m_delete(new QPushButton(QStringLiteral("Delete"), this))
    , m_table(new QTableView(this))
    , m_empty(new QLabel(this))
    , m_links(new LinkPreviewStrip(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(4), Theme::space(3), Theme::space(4), Theme::space(4));
    layout->setSpacing(Theme::space(3));

    auto* bar = new QHBoxLayout;
    bar->setSpacing(Theme::space(3));
    m_picker->setObjectName(QStringLiteral("tableType"));
    m_picker->setAccessibleName(QStringLiteral("Type shown"));
    m_picker->setMinimumWidth(220);
    m_picker->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    bar->addWidget(m_picker);
    m_count->setForegroundRole(QPalette::PlaceholderText);
    bar->addWidget(m_count);
    bar->addStretch();
    m_add->setObjectName(QStringLiteral("addRecord"));
    bar->addWidget(m_add);
    m_delete->setObjectName(QStringLiteral("deleteRecords"));
    m_delete->setToolTip(QStringLiteral("Delete the selected rows (Delete)"));
    bar->addWidget(m_delete);
    layout->addLayout(bar);

    m_table->setModel(m_model);
    m_table->setItemDelegate(new ValueDelegate(m_table));
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_table->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                             QAbstractItemView::AnyKeyPressed);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    m_table->horizontalHeader()->setDefaultSectionSize(180);
    m_table->setAccessibleName(QStringLiteral("Records"));
    layout->addWidget(m_table, 1);

    m_empty->setObjectName(QStringLiteral("tableEmpty"));
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setWordWrap(true);
    m_empty->setForegroundRole(QPalette::PlaceholderText);
    layout->addWidget(m_empty, 1);
    layout->addWidget(m_links);

    connect(m_picker, &QComboBox::currentIndexChanged, this, &GraphTableView::takePickedSource);
    connect(m_add, &QPushButton::clicked, this, &GraphTableView::addRecord);
    connect(m_delete, &QPushButton::clicked, this, &GraphTableView::deleteSelected);
    connect(m_model, &QAbstractItemModel::modelReset, this, &GraphTableView::syncState);
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &GraphTableView::syncSelection);
    for (QKeySequence key : {QKeySequence(QKeySequence::Delete), QKeySequence(Qt::Key_Backspace)}) {
        auto* shortcut = new QShortcut(key, m_table, nullptr, nullptr, Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, &GraphTableView::deleteSelected);
    }
    syncState();
}

GraphTableView::~GraphTableView() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
}

void GraphTableView::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = session;
    m_model->setSession(session);
    m_links->setSources(session, m_previews);
    if (session) {
        connect(session, &ProjectSession::projectChanged, this, &GraphTableView::rebuildPicker);
        connect(session, &ProjectSession::graphChanged, this, &GraphTableView::rebuildPicker);
    }
    rebuildPicker();
}

void GraphTableView::setLinkPreviews(LinkPreviews* previews) {
    m_previews = previews;
    m_links->setSources(m_session, previews);
}

void GraphTableView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    // The type colours follow the appearance.
    if (event->type() == QEvent::ApplicationPaletteChange)
        rebuildPicker();
}

void GraphTableView::rebuildPicker() {
    std::optional<GraphTableModel::Source> current = m_model->source();
    QSignalBlocker blocker(m_picker);
    m_picker->clear();
    if (m_session) {
        const Project& project = m_session->project();
        const GraphSchema& schema = project.schema;
        auto appliedCount = [&](bool, const QUuid& id) {
            return m_session->recordCount(id);
        };
        for (const NodeType& type : schema.nodeTypes)
            m_picker->addItem(typeSwatch(type.color),
                              QStringLiteral("%1  ·  %2").arg(type.name).arg(appliedCount(true, type.id)),
                              QStringList{QStringLiteral("node"), json::uuidText(type.id)});
        if (!schema.relTypes.isEmpty() && !schema.nodeTypes.isEmpty())
            m_picker->insertSeparator(m_picker->count());
        for (const RelType& type : schema.relTypes)
            m_picker->addItem(QStringLiteral("%1  ·  %2").arg(type.name).arg(appliedCount(false, type.id)),
                              QStringList{QStringLiteral("rel"), json::uuidText(type.id)});
    }
    int pick = m_picker->count() > 0 ? 0 : -1;
    if (current) {
        for (int i = 0; i < m_picker->count(); ++i) {
            const QStringList data = m_picker->itemData(i).toStringList();
            if (data.size() == 2 && (data[0] == QLatin1String("node")) == current->isNode &&
                json::parseUuid(data[1]) == current->type)
                pick = i;
        }
    }
    m_picker->setCurrentIndex(pick);
    blocker.unblock();
    takePickedSource();
}

void GraphTableView::takePickedSource() {
    const QStringList data = m_picker->currentData().toStringList();
    std::optional<GraphTableModel::Source> source;
    if (data.size() == 2)
        if (auto id = json::parseUuid(data[1]))
            source = GraphTableModel::Source{data[0] == QLatin1String("node"), *id};
    m_model->setSource(source);
    syncState();
}

void GraphTableView::showType(const GraphTableModel::Source& source) {
    for (int i = 0; i < m_picker->count(); ++i) {
        const QStringList data = m_picker->itemData(i).toStringList();
        if (data.size() == 2 && (data[0] == QLatin1String("node")) == source.isNode &&
            json::parseUuid(data[1]) == source.type) {
            m_picker->setCurrentIndex(i);
            return;
        }
    }
}

void GraphTableView::syncState() {
    const auto& source = m_model->source();
    QString hint;
    QString typeName;
    if (m_session && source) {
        const GraphSchema& schema = m_session->project().schema;
        if (source->isNode) {
            if (const NodeType* type = schema.nodeType(source->type))
                typeName = type->name;
        } else if (const RelType* type = schema.relType(source->type)) {
            typeName = type->name;
        }
    }
    if (!m_session) {
        hint = QString();
    } else if (!source) {
        hint =
            QStringLiteral("This graph has no shape yet. Switch to Shape (Ctrl+Alt+1) and add the kinds of "
                           "things you keep.");
    } else if (m_model->rowCount() == 0) {
        hint = source->isNode
                   ? QStringLiteral("No %1 nodes yet. Add one with Add Node.").arg(typeName)
                   : QStringLiteral("No %1 relationships yet. Add one with Add Relationship.").arg(typeName);
    }
    const bool showsRows = source && m_model->rowCount() > 0;
    m_table->setVisible(showsRows);
    m_empty->setVisible(!showsRows);
    m_empty->setText(hint);
    m_add->setEnabled(m_session && source && !m_session->graphUnavailable());
    m_add->setText(!source || source->isNode ? QStringLiteral("Add Node")
                                             : QStringLiteral("Add Relationship…"));
    m_picker->setEnabled(m_picker->count() > 0);
    if (source)
        m_count->setText(counted(m_model->rowCount(),
                                 source->isNode ? QStringLiteral("node") : QStringLiteral("relationship")));
    else
        m_count->clear();
    m_delete->setEnabled(!selectedIds().isEmpty());
}

QStringList GraphTableView::selectedIds() const {
    QStringList ids;
    if (!m_table->selectionModel())
        return ids;
    for (const QModelIndex& row : m_table->selectionModel()->selectedRows())
        ids << m_model->recordId(row.row());
    ids.removeAll(QString());
    return ids;
}

void GraphTableView::syncSelection() {
    m_delete->setEnabled(!selectedIds().isEmpty());
    if (!m_session || !m_model->source())
        return;
    const QStringList ids = selectedIds();
    if (ids.isEmpty())
        m_session->setSelection(GraphSelection());
    else if (!m_model->source()->isNode)
        m_session->setSelection(GraphSelection::relationship(ids.first()));
    else if (ids.size() == 1)
        m_session->setSelection(GraphSelection::node(ids.first()));
    else
        m_session->setSelection(GraphSelection::nodes(QSet<QString>(ids.begin(), ids.end())));
}

void GraphTableView::addRecord() {
    if (!m_session || !m_model->source())
        return;
    const auto source = *m_model->source();
    const GraphSchema& schema = m_session->project().schema;
    if (source.isNode) {
        const NodeType* type = schema.nodeType(source.type);
        if (!type)
            return;
        auto id = m_session->createNode(*type, QString());
        if (!id)
            return;
        const int row = m_model->rowOf(*id);
        if (row < 0)
            return;
        int column = 0;
        for (int c = 0; c < m_model->columnCount(); ++c)
            if (const PropertyDef* property = m_model->property(c))
                if (type->titleProperty == property->id)
                    column = c;
        const QModelIndex cell = m_model->index(row, column);
        m_table->setCurrentIndex(cell);
        m_table->selectRow(row);
        m_table->scrollTo(cell);
        m_table->setFocus();
        m_table->edit(cell);
        return;
    }
    const RelType* type = schema.relType(source.type);
    if (!type)
        return;
    NewRelationshipDialog dialog(*m_session, *type, this);
    if (dialog.exec() != QDialog::Accepted)
        return;
    addRelationship(dialog.fromId(), dialog.toId());
}

std::optional<QString> GraphTableView::addRelationship(const QString& fromId, const QString& toId) {
    if (!m_session || !m_model->source() || m_model->source()->isNode)
        return std::nullopt;
    if (fromId.isEmpty() || toId.isEmpty())
        return std::nullopt;
    const auto id = m_session->createRelationship(m_model->source()->type, fromId, toId);
    if (!id)
        return std::nullopt;
    const int row = m_model->rowOf(*id);
    if (row >= 0)
        m_table->selectRow(row);
    return id;
}

void GraphTableView::deleteSelected() {
    if (!m_session || !m_model->source())
        return;
    const QStringList ids = selectedIds();
    if (ids.isEmpty())
        return;
    if (m_model->source()->isNode) {
        m_session->setSelection(ids.size() == 1
                                    ? GraphSelection::node(ids.first())
                                    : GraphSelection::nodes(QSet<QString>(ids.begin(), ids.end())));
        m_session->deleteSelection();
    } else if (ids.size() == 1) {
        m_session->deleteRel(ids.first());
    } else {
        m_session->removeRecords({}, ids);
    }
}

} // namespace corvantis
