#include "ui/notes/NoteTree.h"

#include "app/notes/NotesModel.h"
#include "kit/query/LooseQuery.h"
#include "ui/design/Theme.h"

#include <QContextMenuEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QMenu>

namespace corvantis {

namespace {

constexpr int idRole = Qt::UserRole;

QIcon folderIcon(const QWidget* widget) {
    return widget->style()->standardIcon(QStyle::SP_DirIcon);
}

QIcon noteIcon(const QWidget* widget) {
    return widget->style()->standardIcon(QStyle::SP_FileIcon);
}

} // namespace

NoteTree::NoteTree(NotesModel& model, QWidget* parent)
    : QTreeWidget(parent)
    , m_model(model) {
    setObjectName(QStringLiteral("noteTree"));
    setHeaderHidden(true);
    setColumnCount(1);
    setFrameShape(QFrame::NoFrame);
    setIndentation(Theme::space(4));
    setDragDropMode(QAbstractItemView::InternalMove);
    setDefaultDropAction(Qt::MoveAction);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed);
    connect(&m_model, &NotesModel::bookChanged, this, &NoteTree::sync);
    connect(&m_model, &NotesModel::pickedChanged, this, [this] {
        if (const auto picked = m_model.picked())
            if (QTreeWidgetItem* item = itemFor(*picked))
                setCurrentItem(item);
    });
    connect(&m_model, &NotesModel::renamingChanged, this, [this] {
        if (const auto renaming = m_model.renaming())
            if (QTreeWidgetItem* item = itemFor(*renaming))
                editItem(item);
    });
    connect(this, &QTreeWidget::itemClicked, this,
            [this](QTreeWidgetItem* item) { m_model.select(item->data(0, idRole).toString()); });
    connect(this, &QTreeWidget::itemChanged, this, [this](QTreeWidgetItem* item) {
        if (!m_building)
            m_model.rename(item->data(0, idRole).toString(), item->text(0));
    });
    connect(this, &QTreeWidget::itemExpanded, this, [this](QTreeWidgetItem* item) {
        if (!m_building)
            m_model.setExpanded(item->data(0, idRole).toString(), true);
    });
    connect(this, &QTreeWidget::itemCollapsed, this, [this](QTreeWidgetItem* item) {
        if (!m_building)
            m_model.setExpanded(item->data(0, idRole).toString(), false);
    });
    rebuild();
}

void NoteTree::setFilter(const QString& text) {
    if (m_filter == text)
        return;
    m_filter = text;
    rebuild();
}

QString NoteTree::signature() const {
    QString text = m_filter + '\n';
    for (const NoteRow& row : m_model.book().rows())
        text += QStringLiteral("%1|%2|%3|%4|%5\n")
                    .arg(row.item.id, row.item.title)
                    .arg(row.depth)
                    .arg(row.item.expanded)
                    .arg(row.item.isPinned());
    return text;
}

void NoteTree::sync() {
    if (signature() != m_shown)
        rebuild();
}

QTreeWidgetItem* NoteTree::itemFor(const QString& id) const {
    for (QTreeWidgetItemIterator it(const_cast<NoteTree*>(this)); *it; ++it)
        if ((*it)->data(0, idRole).toString() == id)
            return *it;
    return nullptr;
}

void NoteTree::rebuild() {
    m_building = true;
    m_shown = signature();
    clear();
    const NoteBook& book = m_model.book();
    auto make = [this](const NoteItem& item) {
        auto* entry = new QTreeWidgetItem;
        entry->setText(0, item.title);
        entry->setData(0, idRole, item.id);
        entry->setIcon(0, item.isFolder ? folderIcon(this) : noteIcon(this));
        Qt::ItemFlags flags =
            Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsEditable | Qt::ItemIsDragEnabled;
        if (item.isFolder)
            flags |= Qt::ItemIsDropEnabled;
        entry->setFlags(flags);
        if (item.isPinned())
            entry->setToolTip(0, QStringLiteral("Pinned"));
        return entry;
    };
    if (!m_filter.trimmed().isEmpty()) {
        const LooseQuery query(m_filter);
        for (const NoteItem& item : book.items)
            if (!item.isFolder && query.matches(LooseQuery::key(item.title)))
                addTopLevelItem(make(item));
    } else {
        QList<QTreeWidgetItem*> byDepth;
        for (const NoteRow& row : book.rows()) {
            QTreeWidgetItem* entry = make(row.item);
            byDepth.resize(row.depth + 1);
            byDepth[row.depth] = entry;
            if (row.depth == 0)
                addTopLevelItem(entry);
            else
                byDepth[row.depth - 1]->addChild(entry);
            if (row.item.isFolder)
                entry->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
        }
        for (QTreeWidgetItemIterator it(this); *it; ++it) {
            const NoteItem* item = book.item((*it)->data(0, idRole).toString());
            if (item && item->isFolder)
                (*it)->setExpanded(item->expanded);
        }
    }
    if (const auto picked = m_model.picked())
        if (QTreeWidgetItem* item = itemFor(*picked))
            setCurrentItem(item);
    m_building = false;
}

bool NoteTree::dropAt(const QString& id, int slot, int depth) {
    const QList<NoteRow> rows = m_model.book().rows(id);
    const NoteBook::Landing landing = NoteBook::landing(rows, slot, depth);
    // The item itself still stands among the rows before the slot when it moves down in its folder.
    int index = landing.index;
    for (int i = 0; i < std::min<int>(slot, rows.size()); ++i)
        if (rows[i].item.id == id && rows[i].item.parent == landing.parent)
            --index;
    return m_model.move(id, landing.parent, std::max(0, index));
}

void NoteTree::dragMoveEvent(QDragMoveEvent* event) {
    QTreeWidget::dragMoveEvent(event);
    if (event->source() == this)
        event->acceptProposedAction();
}

void NoteTree::dropEvent(QDropEvent* event) {
    QTreeWidgetItem* dragged = currentItem();
    if (event->source() != this || !dragged || !m_filter.isEmpty()) {
        event->ignore();
        return;
    }
    const QString id = dragged->data(0, idRole).toString();
    const QList<NoteRow> rows = m_model.book().rows(id);
    const QPoint point = event->position().toPoint();
    int slot = rows.size();
    if (QTreeWidgetItem* under = itemAt(point)) {
        const QString underId = under->data(0, idRole).toString();
        for (int i = 0; i < rows.size(); ++i) {
            if (rows[i].item.id == underId) {
                const QRect r = visualItemRect(under);
                slot = point.y() > r.center().y() ? i + 1 : i;
                break;
            }
        }
    }
    const int depth = std::max(0, (point.x() - Theme::space(2)) / indentation());
    // The tree is rebuilt from the book; Qt's own move is not wanted.
    event->setDropAction(Qt::IgnoreAction);
    event->accept();
    dropAt(id, slot, depth);
}

void NoteTree::keyPressEvent(QKeyEvent* event) {
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && currentItem() &&
        state() != QAbstractItemView::EditingState) {
        emit deleteRequested(currentItem()->data(0, idRole).toString());
        return;
    }
    QTreeWidget::keyPressEvent(event);
}

void NoteTree::contextMenuEvent(QContextMenuEvent* event) {
    QTreeWidgetItem* entry = itemAt(event->pos());
    const QString id = entry ? entry->data(0, idRole).toString() : QString();
    const NoteItem* item = entry ? m_model.book().item(id) : nullptr;
    if (item)
        m_model.select(id);
    QMenu menu(this);
    menu.addAction(QStringLiteral("New Note"), this, [this] { m_model.newNote(m_model.target()); });
    menu.addAction(QStringLiteral("New Folder"), this, [this] { m_model.newFolder(m_model.target()); });
    if (item) {
        menu.addSeparator();
        menu.addAction(QStringLiteral("Rename"), this, [this, entry] { editItem(entry); });
        if (!item->isFolder) {
            const bool pinned = item->isPinned();
            menu.addAction(pinned ? QStringLiteral("Unpin") : QStringLiteral("Pin"), this,
                           [this, id, pinned] { m_model.setPinned(id, !pinned); });
        }
        menu.addAction(QStringLiteral("Export…"), this, [this, id] { emit exportRequested(id); });
        menu.addSeparator();
        menu.addAction(QStringLiteral("Delete…"), this, [this, id] { emit deleteRequested(id); });
    }
    menu.exec(event->globalPos());
}

} // namespace corvantis
