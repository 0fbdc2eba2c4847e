#include "ui/library/GalleryView.h"

#include "app/app/AppModel.h"
#include "ui/design/Theme.h"
#include "ui/library/ProjectCardDelegate.h"
#include "ui/library/ProjectListModel.h"

#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace corvantis {

GalleryView::GalleryView(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_model(new ProjectListModel(app, this))
    , m_list(new QListView(this))
    , m_emptyHint(new QLabel(this))
    , m_emptyState(new QWidget(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(10), Theme::space(8), Theme::space(10), Theme::space(6));
    layout->setSpacing(Theme::space(4));

    auto* header = new QHBoxLayout;
    auto* title = new QLabel(QStringLiteral("Projects"), this);
    QFont titleFont = title->font();
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.8);
    titleFont.setWeight(QFont::Bold);
    title->setFont(titleFont);
    header->addWidget(title);
    header->addStretch();
    // A new project starts from the grid's first card, or from the empty gallery's own row.
    auto* importButton = new QPushButton(QStringLiteral("Import Project…"), this);
    importButton->setObjectName(QStringLiteral("importButton"));
    importButton->setToolTip(QStringLiteral("Import a project from its export file"));
    connect(importButton, &QPushButton::clicked, this, &GalleryView::importRequested);
    header->addWidget(importButton);
    layout->addLayout(header);

    auto* subtitle = new QLabel(
        QStringLiteral("Every project is a folder on this computer. Nothing is synced or uploaded."), this);
    QPalette subtle = subtitle->palette();
    subtle.setColor(QPalette::WindowText, Theme::secondaryText());
    subtitle->setPalette(subtle);
    layout->addWidget(subtitle);

    m_list->setModel(m_model);
    m_list->setItemDelegate(new ProjectCardDelegate(m_list));
    m_list->setViewMode(QListView::IconMode);
    m_list->setFlow(QListView::LeftToRight);
    m_list->setWrapping(true);
    m_list->setResizeMode(QListView::Adjust);
    m_list->setMovement(QListView::Static);
    m_list->setUniformItemSizes(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setEditTriggers(QAbstractItemView::EditKeyPressed);
    m_list->setFrameShape(QFrame::NoFrame);
    m_list->setMouseTracking(true);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->viewport()->setAutoFillBackground(false);
    m_list->setAccessibleName(QStringLiteral("Projects"));
    m_emptyHint->setText(QStringLiteral("No projects yet. Start one with New Project, then give it a shape: "
                                        "the kinds of things you keep and how they connect. Or look around "
                                        "the example first."));
    m_emptyHint->setWordWrap(true);
    // The empty gallery in place of the grid: the sentence and the two ways to start.
    auto* empty = new QVBoxLayout(m_emptyState);
    empty->setContentsMargins(0, 0, 0, 0);
    empty->setSpacing(Theme::space(4));
    m_emptyHint->setParent(m_emptyState);
    empty->addWidget(m_emptyHint);
    auto* start = new QHBoxLayout;
    auto* startNew = new QPushButton(QStringLiteral("New Project"), m_emptyState);
    startNew->setObjectName(QStringLiteral("newProjectButton"));
    startNew->setToolTip(QStringLiteral("New Project (Ctrl+Shift+N)"));
    connect(startNew, &QPushButton::clicked, &m_app, &AppModel::newProject);
    auto* startExample = new QPushButton(QStringLiteral("Open the Example “Ideas”"), m_emptyState);
    startExample->setObjectName(QStringLiteral("exampleButton"));
    connect(startExample, &QPushButton::clicked, &m_app, &AppModel::createExample);
    start->addWidget(startNew);
    start->addWidget(startExample);
    start->addStretch();
    empty->addLayout(start);
    empty->addStretch();
    layout->addWidget(m_emptyState, 1);
    layout->addWidget(m_list, 1);

    connect(m_list, &QListView::activated, this, &GalleryView::activate);
    connect(m_list, &QListView::customContextMenuRequested, this, &GalleryView::showContextMenu);
    connect(&m_app, &AppModel::projectsChanged, this, &GalleryView::syncEmptyState);
    connect(&m_app, &AppModel::renamingChanged, this, &GalleryView::beginRenaming);

    auto* deleteKey = new QShortcut(QKeySequence::Delete, m_list, nullptr, nullptr, Qt::WidgetShortcut);
    connect(deleteKey, &QShortcut::activated, this, &GalleryView::deleteSelected);
    auto* backspace =
        new QShortcut(QKeySequence(Qt::Key_Backspace), m_list, nullptr, nullptr, Qt::WidgetShortcut);
    connect(backspace, &QShortcut::activated, this, &GalleryView::deleteSelected);
    syncEmptyState();
}

const Project* GalleryView::selectedProject() const {
    return m_model->project(m_list->currentIndex());
}

void GalleryView::activate(const QModelIndex& index) {
    if (index.data(ProjectListModel::IsNewCardRole).toBool()) {
        m_app.newProject();
        return;
    }
    if (const Project* project = m_model->project(index))
        m_app.open(*project);
}

void GalleryView::openSelected() {
    activate(m_list->currentIndex());
}

void GalleryView::renameSelected() {
    if (const Project* project = selectedProject())
        m_app.setRenaming(*project);
}

void GalleryView::deleteSelected() {
    if (const Project* project = selectedProject())
        m_app.setDeleting(*project);
}

void GalleryView::beginRenaming() {
    auto renaming = m_app.renaming();
    if (!renaming || !isVisible())
        return;
    QModelIndex index = m_model->indexOf(renaming->id);
    if (!index.isValid())
        return;
    m_list->setCurrentIndex(index);
    m_list->edit(index);
}

void GalleryView::showContextMenu(const QPoint& position) {
    QModelIndex index = m_list->indexAt(position);
    const Project* project = m_model->project(index);
    if (!project)
        return;
    m_list->setCurrentIndex(index);
    Project target = *project;
    QMenu menu(this);
    menu.addAction(QStringLiteral("Open"), this, [this, target] { m_app.open(target); });
    menu.addAction(QStringLiteral("Rename"), this, [this, target] { m_app.setRenaming(target); });
    menu.addSeparator();
    menu.addAction(QStringLiteral("Export…"), this, [this, target] { emit exportRequested(target); });
    menu.addAction(QStringLiteral("Share to the Web…"), this,
                   [this, target] { emit publishRequested(target); });
    menu.addSeparator();
    menu.addAction(QStringLiteral("Delete…"), this, [this, target] { m_app.setDeleting(target); });
    menu.exec(m_list->viewport()->mapToGlobal(position));
}

void GalleryView::syncEmptyState() {
    // Without projects the grid would hold only its "New Project" card, which the empty state offers.
    const bool empty = m_app.projects().isEmpty();
    m_emptyState->setVisible(empty);
    m_list->setVisible(!empty);
}

} // namespace corvantis
