#include "ui/build/ReviewList.h"

#include "app/build/BuildChat.h"
#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace corvantis {

namespace {

// What each row stands for, kept on the row.
enum Role { KindRole = Qt::UserRole + 1, IndexRole, KeyRole };
enum RowKind { NodeRow = 1, PropertyRow, RelationshipRow, ChangeRow, FoundRow, OtherRow };

QString titleOf(const GraphReview::Node& node, const GraphSchema& schema) {
    const NodeType* type = schema.nodeType(node.type);
    if (!type || !type->title())
        return type ? type->name : QStringLiteral("?");
    return node.properties.value(type->title()->column()).titleText().value_or(QString());
}

QString existingTitle(const ProjectSession& session, const QString& id) {
    const NodeRecord record = session.nodes().value(id);
    return record.title(session.project().schema.nodeTypeForTable(record.label));
}

} // namespace

ReviewList::ReviewList(QWidget* parent)
    : QWidget(parent)
    , m_summary(new QLabel(this))
    , m_tree(new QTreeWidget(this))
    , m_hint(new QLabel(this))
    , m_apply(new QPushButton(this))
    , m_discard(new QPushButton(QStringLiteral("Discard"), this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(2));
    m_summary->setWordWrap(true);
    layout->addWidget(m_summary);
    m_tree->setColumnCount(2);
    m_tree->setHeaderHidden(true);
    m_tree->setRootIsDecorated(true);
    m_tree->setUniformRowHeights(false);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_tree->header()->setStretchLastSection(false);
    m_tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_tree->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    m_tree->setTextElideMode(Qt::ElideRight);
    m_tree->setAccessibleName(QStringLiteral("Draft"));
    layout->addWidget(m_tree, 1);
    m_hint->setWordWrap(true);
    layout->addWidget(m_hint);
    auto* buttons = new QHBoxLayout();
    auto* includeAll = new QPushButton(QStringLiteral("Include all"), this);
    auto* leaveAll = new QPushButton(QStringLiteral("Leave all out"), this);
    includeAll->setFlat(true);
    leaveAll->setFlat(true);
    buttons->addWidget(includeAll);
    buttons->addWidget(leaveAll);
    buttons->addStretch();
    buttons->addWidget(m_discard);
    m_apply->setDefault(true);
    m_apply->setObjectName(QStringLiteral("applyDraft"));
    buttons->addWidget(m_apply);
    layout->addLayout(buttons);

    auto tickAll = [this](bool include) {
        if (!m_chat || !m_chat->review())
            return;
        GraphReview review = *m_chat->review();
        for (auto& node : review.nodes)
            node.include = include;
        for (auto& rel : review.relationships)
            rel.include = include;
        for (auto& change : review.changes)
            change.include = include;
        m_chat->setReview(review);
    };
    connect(includeAll, &QPushButton::clicked, this, [tickAll] { tickAll(true); });
    connect(leaveAll, &QPushButton::clicked, this, [tickAll] { tickAll(false); });
    connect(m_apply, &QPushButton::clicked, this, [this] {
        if (m_chat)
            m_chat->add();
    });
    connect(m_discard, &QPushButton::clicked, this, [this] {
        if (m_chat)
            m_chat->discard();
    });
    connect(m_tree, &QTreeWidget::itemChanged, this, &ReviewList::itemChanged);
    connect(m_tree, &QTreeWidget::customContextMenuRequested, this, &ReviewList::showMenu);
}

void ReviewList::setChat(BuildChat* chat, ProjectSession* session) {
    if (m_chat)
        disconnect(m_chat, nullptr, this, nullptr);
    m_chat = chat;
    m_session = session;
    if (m_chat)
        connect(m_chat, &BuildChat::reviewChanged, this, &ReviewList::rebuild);
    rebuild();
}

void ReviewList::rebuild() {
    m_building = true;
    m_tree->clear();
    const bool has = m_chat && m_session && m_chat->review();
    setVisible(has);
    if (!has) {
        m_building = false;
        return;
    }
    const GraphReview& review = *m_chat->review();
    const GraphSchema& schema = m_session->project().schema;
    m_summary->setText(review.summary);
    QFont bold = m_tree->font();
    bold.setWeight(QFont::DemiBold);
    auto section = [&](const QString& title) {
        auto* item = new QTreeWidgetItem(m_tree, {title});
        item->setFont(0, bold);
        item->setFlags(Qt::ItemIsEnabled);
        item->setExpanded(true);
        item->setFirstColumnSpanned(true);
        return item;
    };

    if (!review.nodes.isEmpty()) {
        QTreeWidgetItem* nodes = section(QStringLiteral("Nodes (%1)").arg(review.nodes.size()));
        for (int i = 0; i < review.nodes.size(); ++i) {
            const GraphReview::Node& node = review.nodes[i];
            const NodeType* type = schema.nodeType(node.type);
            const QString title = titleOf(node, schema);
            auto* item = new QTreeWidgetItem(nodes);
            item->setText(0, (type ? type->name + QStringLiteral(" · ") : QString()) +
                                 (title.isEmpty() ? QStringLiteral("Untitled") : title));
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
            item->setCheckState(0, node.include ? Qt::Checked : Qt::Unchecked);
            item->setData(0, KindRole, NodeRow);
            item->setData(0, IndexRole, i);
            QString match;
            if (review.isUntitled(node, schema)) {
                match = QStringLiteral("Needs a name");
                item->setForeground(1, Theme::danger());
            } else if (node.target) {
                const auto it = std::find_if(node.matches.begin(), node.matches.end(),
                                             [&](const auto& m) { return m.id == *node.target; });
                match = (it != node.matches.end() && it->isSameName())
                            ? QStringLiteral("Already in your graph")
                            : QStringLiteral("Same as %1").arg(existingTitle(*m_session, *node.target));
                if (it != node.matches.end() && it->score)
                    match += QStringLiteral(" · %1").arg(QLocale().toString(*it->score, 'f', 2));
            } else if (!node.matches.isEmpty()) {
                match = QStringLiteral("New · possible match %1")
                            .arg(QLocale().toString(node.matches.first().score.value_or(1), 'f', 2));
            } else {
                match = QStringLiteral("New");
            }
            item->setText(1, match);
            if (!review.isUntitled(node, schema))
                item->setForeground(1, Theme::secondaryText());
            if (!type)
                continue;
            for (int p = 0; p < type->properties.size(); ++p) {
                const PropertyDef& def = type->properties[p];
                const GraphValue value = node.properties.value(def.column());
                auto* property =
                    new QTreeWidgetItem(item, {def.name, value.isNull() ? QString() : value.displayText()});
                property->setFlags(Qt::ItemIsEnabled | Qt::ItemIsEditable | Qt::ItemIsSelectable);
                property->setData(0, KindRole, PropertyRow);
                property->setData(0, IndexRole, i);
                property->setData(0, KeyRole, p);
                property->setForeground(0, Theme::secondaryText());
            }
        }
    }

    if (!review.relationships.isEmpty()) {
        const QSet<QString> existingKeys = review.keysAfterRemoving(m_session->rels().values());
        QTreeWidgetItem* rels =
            section(QStringLiteral("Relationships (%1)").arg(review.relationships.size()));
        auto endTitle = [&](const GraphReview::End& end) {
            if (end.isDraft()) {
                const GraphReview::Node* node = review.node(end.value);
                return node ? titleOf(*node, schema) : end.value;
            }
            return existingTitle(*m_session, end.value);
        };
        for (int i = 0; i < review.relationships.size(); ++i) {
            const GraphReview::Relationship& rel = review.relationships[i];
            const RelType* type = schema.relType(rel.type);
            auto* item = new QTreeWidgetItem(rels);
            item->setText(0, (type ? type->table() + QStringLiteral(": ") : QString()) + endTitle(rel.from) +
                                 QStringLiteral(" → ") + endTitle(rel.to));
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
            item->setCheckState(0, rel.include ? Qt::Checked : Qt::Unchecked);
            item->setData(0, KindRole, RelationshipRow);
            item->setData(0, IndexRole, i);
            if (rel.include)
                if (auto blocker = review.blocker(rel, schema, existingKeys)) {
                    item->setText(1, blocker->text());
                    item->setForeground(1, Theme::secondaryText());
                }
        }
    }

    if (!review.changes.isEmpty()) {
        QTreeWidgetItem* changes = section(QStringLiteral("Changes (%1)").arg(review.changes.size()));
        for (int i = 0; i < review.changes.size(); ++i) {
            const GraphReview::Change& change = review.changes[i];
            auto* item = new QTreeWidgetItem(changes, {change.summary});
            item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
            item->setCheckState(0, change.include ? Qt::Checked : Qt::Unchecked);
            item->setData(0, KindRole, ChangeRow);
            item->setData(0, IndexRole, i);
            QString note;
            if (change.problem)
                note = QStringLiteral("Its query couldn't run, so it does nothing: ") + *change.problem;
            else if (change.found().isEmpty())
                note = QStringLiteral("Nothing in your graph matches, so it does nothing.");
            else if (change.truncated)
                note = QStringLiteral(
                           "Only the first %1 results were read. Ask again after applying this for the rest.")
                           .arg(QLocale().toString(20000));
            if (!note.isEmpty()) {
                auto* noteItem = new QTreeWidgetItem(item, {note});
                noteItem->setFirstColumnSpanned(true);
                noteItem->setFlags(Qt::ItemIsEnabled);
                noteItem->setForeground(0, change.problem ? Theme::danger() : Theme::secondaryText());
            }
            for (const QString& id : change.found()) {
                const bool isNode = m_session->nodes().contains(id);
                QString text = isNode ? existingTitle(*m_session, id) : QString();
                if (!isNode) {
                    const RelRecord rel = m_session->rels().value(id);
                    text = existingTitle(*m_session, rel.from) + QStringLiteral(" → ") + rel.label +
                           QStringLiteral(" → ") + existingTitle(*m_session, rel.to);
                }
                auto* found = new QTreeWidgetItem(item, {text});
                found->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
                found->setCheckState(0, change.excluded.contains(id) ? Qt::Unchecked : Qt::Checked);
                found->setData(0, KindRole, FoundRow);
                found->setData(0, IndexRole, i);
                found->setData(0, KeyRole, id);
            }
            item->setExpanded(true);
        }
    }

    if (!review.skipped.isEmpty()) {
        QTreeWidgetItem* skipped = section(QStringLiteral("Couldn't use (%1)").arg(review.skipped.size()));
        for (const QString& line : review.skipped) {
            auto* item = new QTreeWidgetItem(skipped, {line});
            item->setFirstColumnSpanned(true);
            item->setFlags(Qt::ItemIsEnabled);
            item->setForeground(0, Theme::secondaryText());
        }
    }

    const qint64 count = review.includedCount();
    const bool untitled = review.hasUntitled(schema);
    m_apply->setText(QStringLiteral("Apply %1").arg(count));
    m_apply->setEnabled(count > 0 && !untitled);
    m_hint->setText(untitled ? QStringLiteral("Give the untitled nodes a name first.") : QString());
    m_hint->setVisible(untitled);
    m_building = false;
}

void ReviewList::itemChanged(QTreeWidgetItem* item, int column) {
    if (m_building || !m_chat || !m_chat->review() || !m_session)
        return;
    GraphReview review = *m_chat->review();
    const int index = item->data(0, IndexRole).toInt();
    const bool checked = item->checkState(0) == Qt::Checked;
    switch (item->data(0, KindRole).toInt()) {
    case NodeRow:
        review.nodes[index].include = checked;
        break;
    case RelationshipRow:
        review.relationships[index].include = checked;
        break;
    case ChangeRow:
        review.changes[index].include = checked;
        break;
    case FoundRow:
        if (checked)
            review.changes[index].excluded.remove(item->data(0, KeyRole).toString());
        else
            review.changes[index].excluded.insert(item->data(0, KeyRole).toString());
        break;
    case PropertyRow: {
        if (column != 1)
            return;
        const NodeType* type = m_session->project().schema.nodeType(review.nodes[index].type);
        if (!type)
            return;
        const PropertyDef& def = type->properties[item->data(0, KeyRole).toInt()];
        auto value = def.value(item->text(1));
        if (!value) {
            item->setForeground(1, Theme::danger());
            return; // the kind can't take it: the draft keeps its value
        }
        if (value->isNull())
            review.nodes[index].properties.remove(def.column());
        else
            review.nodes[index].properties.insert(def.column(), *value);
        break;
    }
    default:
        return;
    }
    // The tree is rebuilt from the review once this signal has returned.
    QMetaObject::invokeMethod(
        this,
        [chat = m_chat, review] {
            if (chat)
                chat->setReview(review);
        },
        Qt::QueuedConnection);
}

void ReviewList::showMenu(const QPoint& at) {
    QTreeWidgetItem* item = m_tree->itemAt(at);
    if (!item || item->data(0, KindRole).toInt() != NodeRow || !m_chat || !m_chat->review() || !m_session)
        return;
    const int index = item->data(0, IndexRole).toInt();
    const GraphReview::Node node = m_chat->review()->nodes[index];
    QMenu menu(this);
    for (const GraphReview::Match& match : node.matches) {
        QAction* action =
            menu.addAction(QStringLiteral("Same as %1").arg(existingTitle(*m_session, match.id)));
        action->setCheckable(true);
        action->setChecked(node.target == match.id);
        connect(action, &QAction::triggered, this, [this, index, id = match.id] {
            GraphReview review = *m_chat->review();
            review.nodes[index].target = id;
            m_chat->setReview(review);
        });
    }
    QAction* asNew = menu.addAction(QStringLiteral("Add as a new node"));
    asNew->setCheckable(true);
    asNew->setChecked(!node.target);
    connect(asNew, &QAction::triggered, this, [this, index] {
        GraphReview review = *m_chat->review();
        review.nodes[index].target.reset();
        m_chat->setReview(review);
    });
    menu.exec(m_tree->viewport()->mapToGlobal(at));
}

} // namespace corvantis
