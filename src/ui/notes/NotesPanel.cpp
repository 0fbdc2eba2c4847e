#include "ui/notes/NotesPanel.h"

#include "app/notes/NotesModel.h"
#include "ui/design/Theme.h"
#include "ui/notes/NoteEditor.h"
#include "ui/notes/NoteExportDialog.h"
#include "ui/notes/NoteTree.h"
#include "ui/notes/TagCard.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QStackedLayout>
#include <QTabBar>
#include <QTextBlock>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QToolButton* toolButton(const QString& text, QWidget* parent, const QString& tip = QString()) {
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setToolTip(tip.isEmpty() ? text : tip);
    button->setAutoRaise(true);
    return button;
}

} // namespace

NotesPanel::NotesPanel(NotesModel& model, QWidget* parent)
    : QWidget(parent)
    , m_model(model)
    , m_list(new QWidget(this))
    , m_filter(new QLineEdit(m_list))
    , m_pinned(new QListWidget(m_list))
    , m_pinnedTitle(new QLabel(QStringLiteral("Pinned"), m_list))
    , m_tree(new NoteTree(model, m_list))
    , m_tabs(new QTabBar(this))
    , m_listToggle(toolButton(QStringLiteral("☰"), this, QStringLiteral("Show or hide the list of notes")))
    , m_reading(toolButton(QStringLiteral("Reading"), this, QStringLiteral("Hide the Markdown marks")))
    , m_title(new QLineEdit(this))
    , m_editor(new NoteEditor(model, this))
    , m_empty(new QLabel(QStringLiteral("No note is open. Pick one in the list, or make a new one."), this))
    , m_card(new TagCard(this))
    , m_split(new QSplitter(Qt::Horizontal, this)) {
    setObjectName(QStringLiteral("notesPanel"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    // The list: filter, pinned notes, the tree, and the two ways to add.
    auto* listLayout = new QVBoxLayout(m_list);
    listLayout->setContentsMargins(Theme::space(2), Theme::space(2), Theme::space(1), Theme::space(2));
    listLayout->setSpacing(Theme::space(1));
    m_filter->setPlaceholderText(QStringLiteral("Filter notes"));
    m_filter->setClearButtonEnabled(true);
    listLayout->addWidget(m_filter);
    QFont small = m_pinnedTitle->font();
    small.setBold(true);
    m_pinnedTitle->setFont(small);
    QPalette muted = m_pinnedTitle->palette();
    muted.setColor(QPalette::WindowText, Theme::secondaryText());
    m_pinnedTitle->setPalette(muted);
    listLayout->addWidget(m_pinnedTitle);
    m_pinned->setObjectName(QStringLiteral("pinnedNotes"));
    m_pinned->setFrameShape(QFrame::NoFrame);
    listLayout->addWidget(m_pinned);
    listLayout->addWidget(m_tree, 1);
    auto* adds = new QHBoxLayout;
    auto* newNote = new QPushButton(QStringLiteral("New Note"), m_list);
    auto* newFolder = new QPushButton(QStringLiteral("New Folder"), m_list);
    adds->addWidget(newNote);
    adds->addWidget(newFolder);
    listLayout->addLayout(adds);

    // The editor side: tabs with the tools, the title, the text.
    auto* editorSide = new QWidget(this);
    auto* editorLayout = new QVBoxLayout(editorSide);
    editorLayout->setContentsMargins(0, 0, 0, 0);
    editorLayout->setSpacing(0);
    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(Theme::space(1), Theme::space(1), Theme::space(2), 0);
    bar->addWidget(m_listToggle);
    m_tabs->setObjectName(QStringLiteral("noteTabs"));
    m_tabs->setTabsClosable(true);
    m_tabs->setMovable(true);
    m_tabs->setExpanding(false);
    m_tabs->setDocumentMode(true);
    m_tabs->setElideMode(Qt::ElideRight);
    bar->addWidget(m_tabs, 1);
    m_reading->setCheckable(true);
    bar->addWidget(m_reading);
    auto* exportButton =
        toolButton(QStringLiteral("Export…"), this, QStringLiteral("Export the note as Markdown or PDF"));
    bar->addWidget(exportButton);
    editorLayout->addLayout(bar);
    m_title->setObjectName(QStringLiteral("noteTitle"));
    m_title->setFrame(false);
    m_title->setPlaceholderText(QStringLiteral("Untitled"));
    QFont titleFont = m_title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.4);
    titleFont.setBold(true);
    m_title->setFont(titleFont);
    m_title->setTextMargins(Theme::space(3), Theme::space(2), Theme::space(3), 0);
    editorLayout->addWidget(m_title);
    editorLayout->addWidget(m_editor, 1);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setPalette(muted);
    editorLayout->addWidget(m_empty, 1);

    m_split->addWidget(m_list);
    m_split->addWidget(editorSide);
    m_split->setStretchFactor(0, 0);
    m_split->setStretchFactor(1, 1);
    m_split->setSizes({220, 700});
    layout->addWidget(m_split, 1);
    m_card->hide();

    connect(newNote, &QPushButton::clicked, this, [this] { m_model.newNote(m_model.target()); });
    connect(newFolder, &QPushButton::clicked, this, [this] { m_model.newFolder(m_model.target()); });
    connect(m_filter, &QLineEdit::textChanged, m_tree, &NoteTree::setFilter);
    connect(m_pinned, &QListWidget::itemClicked, this,
            [this](QListWidgetItem* item) { m_model.select(item->data(Qt::UserRole).toString()); });
    connect(m_tree, &NoteTree::exportRequested, this, &NotesPanel::exportItem);
    connect(m_tree, &NoteTree::deleteRequested, &m_model, &NotesModel::requestDelete);
    connect(exportButton, &QToolButton::clicked, this, [this] { exportItem(); });
    connect(m_listToggle, &QToolButton::clicked, this,
            [this] { m_model.setListHidden(!m_model.listHidden()); });
    connect(m_reading, &QToolButton::toggled, m_editor, &NoteEditor::setReading);
    connect(m_tabs, &QTabBar::currentChanged, this, [this](int index) {
        if (!m_syncingTabs && index >= 0)
            m_model.open(m_tabs->tabData(index).toString());
    });
    connect(m_tabs, &QTabBar::tabCloseRequested, this,
            [this](int index) { m_model.close(m_tabs->tabData(index).toString()); });
    connect(m_tabs, &QTabBar::tabMoved, this, [this](int, int to) {
        if (!m_syncingTabs)
            m_model.moveTab(m_tabs->tabData(to).toString(), to);
    });
    connect(m_title, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (const auto active = m_model.active())
            m_model.setTitle(active->id, text);
    });
    connect(m_title, &QLineEdit::returnPressed, m_editor, qOverload<>(&QWidget::setFocus));
    connect(m_editor, &NoteEditor::tagClicked, this, &NotesPanel::showCard);
    connect(m_editor, &NoteEditor::mediaRequested, this, [this](const QString& note, int position) {
        const QStringList files = QFileDialog::getOpenFileNames(
            this, QStringLiteral("Add Picture or Video"), QString(),
            QStringLiteral(
                "Pictures and videos (*.png *.jpg *.jpeg *.gif *.webp *.heic *.mp4 *.mov *.webm *.mkv)"));
        for (const NoteEmbed& embed : m_model.addFiles(files))
            m_model.insertEmbed(embed, note, position);
    });
    connect(m_card, &TagCard::openRequested, &m_model, &NotesModel::openFromNote);
    connect(m_card, &TagCard::memberRequested, this, [this](const QString& id) {
        m_model.openFromNote(m_model.noteTag(TagToken{id, {}, {}}));
    });
    connect(&m_model, &NotesModel::closePanelRequested, this, &NotesPanel::closeRequested);
    connect(&m_model, &NotesModel::bookChanged, this, [this] {
        syncTabs();
        syncActive();
        syncPinned();
    });
    connect(&m_model, &NotesModel::titleFocusChanged, this, [this] {
        m_title->setFocus();
        m_title->selectAll();
    });
    connect(&m_model, &NotesModel::bodyFocusChanged, m_editor, qOverload<>(&QWidget::setFocus));
    connect(&m_model, &NotesModel::filterFocusChanged, m_filter, qOverload<>(&QWidget::setFocus));
    connect(&m_model, &NotesModel::deletingChanged, this, &NotesPanel::confirmDelete);
    connect(&m_model, &NotesModel::listHiddenChanged, this, &NotesPanel::syncListHidden);

    syncTabs();
    syncActive();
    syncPinned();
    syncListHidden();
}

void NotesPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    syncTabs(true);
}

void NotesPanel::syncTabs(bool rebuild) {
    const NoteBook& book = m_model.book();
    m_syncingTabs = true;
    bool same = !rebuild && m_tabs->count() == book.tabs.size();
    for (int i = 0; same && i < book.tabs.size(); ++i)
        same = m_tabs->tabData(i).toString() == book.tabs[i];
    if (!same) {
        while (m_tabs->count() > 0)
            m_tabs->removeTab(0);
        for (const QString& id : book.tabs) {
            const int index = m_tabs->addTab(QString());
            m_tabs->setTabData(index, id);
        }
    }
    for (int i = 0; i < book.tabs.size(); ++i) {
        const NoteItem* item = book.item(book.tabs[i]);
        const QString title = item && !item->title.isEmpty() ? item->title : QStringLiteral("Untitled");
        if (m_tabs->tabText(i) != title)
            m_tabs->setTabText(i, title);
    }
    if (book.activeTab)
        m_tabs->setCurrentIndex(book.tabs.indexOf(*book.activeTab));
    m_syncingTabs = false;
}

void NotesPanel::syncActive() {
    const auto active = m_model.active();
    const std::optional<QString> id = active ? std::optional<QString>(active->id) : std::nullopt;
    if (m_editor->noteId() != id)
        m_editor->setNote(id);
    m_editor->setVisible(active.has_value());
    m_title->setVisible(active.has_value());
    m_empty->setVisible(!active.has_value());
    if (active && m_title->text() != active->title && !m_title->hasFocus())
        m_title->setText(active->title);
}

void NotesPanel::syncPinned() {
    const QList<NoteItem> pinned = m_model.book().pinned();
    QStringList shown;
    for (int i = 0; i < m_pinned->count(); ++i)
        shown << m_pinned->item(i)->data(Qt::UserRole).toString() + m_pinned->item(i)->text();
    QStringList wanted;
    for (const NoteItem& item : pinned)
        wanted << item.id + item.title;
    if (shown != wanted) {
        m_pinned->clear();
        for (const NoteItem& item : pinned) {
            auto* entry = new QListWidgetItem(item.title, m_pinned);
            entry->setData(Qt::UserRole, item.id);
        }
    }
    // As tall as its rows, up to four.
    const int rowHeight = std::max(m_pinned->sizeHintForRow(0), fontMetrics().height() + Theme::space(1));
    m_pinned->setFixedHeight(std::min<int>(4, pinned.size()) * rowHeight + Theme::space(1));
    m_pinned->setVisible(!pinned.isEmpty());
    m_pinnedTitle->setVisible(!pinned.isEmpty());
}

void NotesPanel::syncListHidden() {
    m_list->setVisible(!m_model.listHidden());
}

void NotesPanel::confirmDelete() {
    const auto deleting = m_model.deleting();
    if (!deleting)
        return;
    const QString title = deleting->title.isEmpty() ? QStringLiteral("Untitled") : deleting->title;
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Delete “%1”?").arg(title),
                                QStringLiteral("Delete “%1”?").arg(title), QMessageBox::Cancel, this);
    box->setInformativeText(QStringLiteral("This can't be undone."));
    QPushButton* remove = box->addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    box->setAttribute(Qt::WA_DeleteOnClose);
    const QString id = deleting->id;
    connect(box, &QMessageBox::finished, this, [this, box, remove, id] {
        if (box->clickedButton() == remove)
            m_model.deleteItem(id);
        else
            m_model.cancelDelete();
    });
    box->open();
}

void NotesPanel::showCard(const TagPill& pill, const QPoint& at) {
    m_card->setTag(pill.tag);
    m_card->popUp(at);
}

void NotesPanel::exportItem(const QString& id) {
    QString target = id;
    if (target.isEmpty()) {
        if (const auto active = m_model.active())
            target = active->id;
        else if (const auto picked = m_model.picked())
            target = *picked;
    }
    if (target.isEmpty())
        return;
    auto* dialog = new NoteExportDialog(m_model, target, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
}

} // namespace corvantis
