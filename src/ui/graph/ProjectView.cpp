#include "ui/graph/ProjectView.h"

#include "app/app/AppModel.h"
#include "app/build/SessionBuilds.h"
#include "app/graph/ProjectSession.h"
#include "app/links/LinkPreviews.h"
#include "app/notes/NotesModel.h"
#include "ui/build/BuildMessageField.h"
#include "ui/build/BuildPanel.h"
#include "kit/layout/DragKind.h"
#include "ui/ask/AnswerPager.h"
#include "ui/ask/AskBar.h"
#include "ui/ask/AskHistoryList.h"
#include "ui/ask/AskStepsView.h"
#include "ui/ask/AskViews.h"
#include "ui/ask/SearchInList.h"
#include "ui/canvas/CanvasPage.h"
#include "ui/canvas/ChipStrip.h"
#include "ui/canvas/CanvasView.h"
#include "ui/canvas/CommandPalette.h"
#include "ui/canvas/ComposerDialog.h"
#include "ui/design/Theme.h"
#include "ui/drawing/DrawingOpener.h"
#include "ui/embedding/EmbeddingStatusView.h"
#include "ui/graph/Inspector.h"
#include "ui/graph/RightPanel.h"
#include "ui/graph/Sidebar.h"
#include "ui/notes/NoteEditor.h"
#include "ui/notes/NotesPanel.h"
#include "ui/notes/TagCard.h"
#include "ui/shape/ShapePage.h"
#include "ui/table/GraphTableView.h"

#include <QAction>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QToolButton* segment(const QString& text, const QString& tip, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setToolTip(tip);
    button->setCheckable(true);
    button->setAutoRaise(true);
    button->setMinimumWidth(72);
    return button;
}

QHBoxLayout* slotLayout(QHBoxLayout* bar, const char* name, int stretch) {
    auto* holder = new QWidget;
    holder->setObjectName(QString::fromLatin1(name));
    auto* slot = new QHBoxLayout(holder);
    slot->setContentsMargins(0, 0, 0, 0);
    bar->addWidget(holder, stretch);
    return slot;
}

} // namespace

ProjectView::ProjectView(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_sidebarButton(new QToolButton(this))
    , m_name(new QLineEdit(this))
    , m_shapeButton(segment(QStringLiteral("Shape"), QStringLiteral("Shape (Ctrl+Alt+1)"), this))
    , m_graphButton(segment(QStringLiteral("Graph"), QStringLiteral("Graph (Ctrl+Alt+2)"), this))
    , m_vertical(new QSplitter(Qt::Vertical, this))
    , m_columns(new QSplitter(Qt::Horizontal, m_vertical))
    , m_sidebar(new Sidebar(m_columns))
    , m_modes(new QStackedWidget(m_columns))
    , m_shape(new ShapePage(m_modes))
    , m_graphFaces(new QStackedWidget(m_modes))
    , m_canvas(new CanvasPage(m_graphFaces))
    , m_table(new GraphTableView(m_graphFaces))
    , m_right(new RightPanel(m_columns))
    , m_palette(new CommandPalette(this))
    , m_drawings(new DrawingOpener(this))
    , m_ask(new AskViews(app, this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    // -- Toolbar -----------------------------------------------------------------------------------------
    auto* bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("projectToolbar"));
    bar->setAutoFillBackground(true);
    auto* barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    barLayout->setSpacing(Theme::space(2));

    m_sidebarButton->setObjectName(QStringLiteral("sidebarToggle"));
    m_sidebarButton->setText(QStringLiteral("◧"));
    m_sidebarButton->setToolTip(QStringLiteral("Show or hide the sidebar (Ctrl+Alt+S)"));
    m_sidebarButton->setCheckable(true);
    m_sidebarButton->setChecked(true);
    m_sidebarButton->setAutoRaise(true);
    connect(m_sidebarButton, &QToolButton::toggled, this, &ProjectView::setSidebarShown);
    barLayout->addWidget(m_sidebarButton);

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
    m_name->setMaximumWidth(260);
    barLayout->addWidget(m_name);
    barLayout->addSpacing(Theme::space(2));

    auto* modes = new QButtonGroup(this);
    modes->setExclusive(true);
    m_shapeButton->setObjectName(QStringLiteral("shapeMode"));
    m_graphButton->setObjectName(QStringLiteral("graphMode"));
    modes->addButton(m_shapeButton);
    modes->addButton(m_graphButton);
    barLayout->addWidget(m_shapeButton);
    barLayout->addWidget(m_graphButton);

    // The canvas's brush: a tool picked here or with B on the canvas.
    auto* brush = new QToolButton(bar);
    brush->setObjectName(QStringLiteral("brushTool"));
    brush->setText(QStringLiteral("Brush"));
    brush->setToolTip(QStringLiteral("Mark nodes for removal by brushing over them (B)"));
    brush->setCheckable(true);
    brush->setAutoRaise(true);
    CanvasView* canvas = m_canvas->canvas();
    connect(brush, &QToolButton::toggled, canvas, &CanvasView::setBrushTool);
    connect(canvas, &CanvasView::brushToolChanged, brush,
            [brush, canvas] { brush->setChecked(canvas->brushTool()); });
    barLayout->addWidget(brush);
    barLayout->addSpacing(Theme::space(4));

    m_askSlot = slotLayout(barLayout, "askBarSlot", 1);
    m_buildSlot = slotLayout(barLayout, "buildSlot", 0);
    m_statusSlot = slotLayout(barLayout, "embeddingStatusSlot", 0);
    // Build: the right panel's Build face (Ctrl+N).
    auto* buildButton = new QToolButton(bar);
    buildButton->setText(QStringLiteral("Build"));
    buildButton->setToolTip(QStringLiteral("Build (Ctrl+N)"));
    buildButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+N")));
    buildButton->setObjectName(QStringLiteral("buildToggle"));
    buildButton->setAutoRaise(true);
    fillSlot(m_buildSlot, buildButton);

    auto* settings = new QToolButton(bar);
    settings->setObjectName(QStringLiteral("settingsButton"));
    settings->setText(QStringLiteral("⚙"));
    settings->setToolTip(QStringLiteral("Settings (Ctrl+,)"));
    settings->setAutoRaise(true);
    connect(settings, &QToolButton::clicked, this, &ProjectView::settingsRequested);
    barLayout->addWidget(settings);
    setEmbeddingStatus(new EmbeddingStatusView(app, bar));
    layout->addWidget(bar);

    // -- Columns and the notes panel ---------------------------------------------------------------------
    m_graphFaces->addWidget(m_canvas);
    m_graphFaces->addWidget(m_table);
    m_table->setLinkPreviews(&app.linkPreviews());
    m_right->inspector()->setLinkPreviews(&app.linkPreviews());
    m_modes->addWidget(m_shape);
    m_modes->addWidget(m_graphFaces);
    m_columns->addWidget(m_sidebar);
    m_columns->addWidget(m_modes);
    m_columns->addWidget(m_right);
    m_columns->setStretchFactor(0, 0);
    m_columns->setStretchFactor(1, 1);
    m_columns->setStretchFactor(2, 0);
    m_columns->setCollapsible(1, false);
    m_columns->setSizes({220, 800, 300});
    m_right->hide();
    m_vertical->addWidget(m_columns);
    m_vertical->setCollapsible(0, false);
    layout->addWidget(m_vertical, 1);
    m_build = new BuildPanel(m_app, this);
    m_right->addFace(m_build, QStringLiteral("Build"));
    connect(buildButton, &QToolButton::clicked, this, [this] {
        if (m_right->isOpen() && m_right->currentFace() == m_build) {
            m_right->setOpen(false);
            return;
        }
        m_right->showFace(m_build);
        m_build->messageField()->setFocus();
    });

    // Ask: the bar in the toolbar, its steps as a face of the right panel, the answer's pager in the strip
    // above the canvas, the saved questions in the sidebar.
    setAskBar(m_ask->bar());
    m_right->addFace(m_ask->steps(), QStringLiteral("Ask"));
    if (auto* strip = qobject_cast<QBoxLayout*>(m_canvas->strip()->layout()))
        strip->insertWidget(0, m_ask->pager());
    addSidebarSection(m_ask->historySection());
    connect(m_ask, &AskViews::stepsWanted, this, [this] { m_right->showFace(m_ask->steps()); });

    connect(m_shapeButton, &QToolButton::clicked, this, [this] {
        if (m_session)
            m_session->setMode(SessionMode::Shape);
    });
    connect(m_graphButton, &QToolButton::clicked, this, [this] {
        if (m_session)
            m_session->setMode(SessionMode::Graph);
    });
    connect(m_sidebar, &Sidebar::typeActivated, this, [this](const QUuid& type) {
        if (m_session)
            m_session->setMode(SessionMode::Graph);
        setShowsTable(false);
        m_canvas->showType(type);
    });
    connect(m_palette, &CommandPalette::nodeChosen, this, [this](const QString& id) {
        if (m_session)
            m_session->setMode(SessionMode::Graph);
        setShowsTable(false);
        m_canvas->canvas()->revealNode(id);
    });
    connect(canvas, &CanvasView::connectionDrawn, this,
            [this](const QString& from, const std::optional<QString>& onto, QPointF world) {
                if (!m_session)
                    return;
                const Composer composer = Composer::finishConnect(from, onto, world, {});
                if (composer.kind == Composer::Kind::node)
                    openComposer(composer.world, from);
                else
                    showComposer(new ComposerDialog(*m_session, composer.from, composer.to, this));
            });
    connect(m_name, &QLineEdit::editingFinished, this, &ProjectView::commitName);
    connect(&m_app, &AppModel::sessionChanged, this, &ProjectView::bindSession);
    connect(&m_app, &AppModel::renamingChanged, this, &ProjectView::beginRenaming);
    bindSession();
}

ProjectView::~ProjectView() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
}

ShapeView* ProjectView::shapeView() const {
    return m_shape->listView();
}

void ProjectView::bindSession() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    ProjectSession* session = m_app.session();
    m_session = session;
    m_shape->setSession(session);
    m_table->setSession(session);
    m_canvas->setSession(session);
    m_sidebar->setSession(session);
    m_right->setSession(session);
    m_palette->setSession(session);
    m_ask->setSession(session);
    if (!session) {
        setNotesPanel(nullptr);
        return;
    }
    auto* notes = new NotesPanel(session->notes(), this);
    notes->tagCard()->setLinkPreviews(&m_app.linkPreviews());
    setNotesPanel(notes);
    connect(notes, &NotesPanel::closeRequested, notes, &QWidget::hide);
    m_drawings->attach(notes->editor(), &session->notes());
    // The panel goes before the notes it shows.
    connect(&session->notes(), &QObject::destroyed, this, [this] { setNotesPanel(nullptr); });
    auto sync = [this, session] {
        if (!m_name->hasFocus())
            m_name->setText(session->project().name);
    };
    connect(session, &ProjectSession::projectChanged, this, sync);
    connect(session, &ProjectSession::modeChanged, this, &ProjectView::syncMode);
    // The dialog opens once the edit that asked has returned.
    connect(session, &ProjectSession::confirmationChanged, this, &ProjectView::confirm, Qt::QueuedConnection);
    // A draft from a connected app brings the Build panel into view.
    connect(&session->builds().graph(), &BuildChat::viewRequested, this, [this] { m_right->showFace(m_build); });
    m_name->setText(session->project().name);
    syncMode();
    beginRenaming();
}

NotesPanel* ProjectView::notesPanel() const {
    return qobject_cast<NotesPanel*>(m_notes.data());
}

bool ProjectView::showsNotes() const {
    return m_notes && m_notes->isVisible();
}

void ProjectView::toggleNotes() {
    NotesPanel* panel = notesPanel();
    if (!panel)
        return;
    panel->setVisible(!panel->isVisible());
    if (!panel->isVisible())
        return;
    // Shown from hidden, the panel would keep the least height it can have: it takes two fifths.
    if (m_vertical->height() > 0 && panel->height() < 160) {
        const int total = m_vertical->height();
        m_vertical->setSizes({total * 3 / 5, total * 2 / 5});
    }
    if (panel->model().active())
        panel->editor()->setFocus();
    else
        panel->filterField()->setFocus();
}

void ProjectView::syncMode() {
    const bool shape = m_session && m_session->mode() == SessionMode::Shape;
    m_shapeButton->setChecked(shape);
    m_graphButton->setChecked(!shape);
    m_modes->setCurrentWidget(shape ? static_cast<QWidget*>(m_shape) : m_graphFaces);
    m_graphFaces->setCurrentWidget(m_showsTable ? static_cast<QWidget*>(m_table) : m_canvas);
}

void ProjectView::setShowsTable(bool shows) {
    if (m_session)
        m_session->setMode(SessionMode::Graph);
    if (m_showsTable != shows) {
        m_showsTable = shows;
        emit showsTableChanged();
    }
    syncMode();
    if (!shows && isVisible())
        m_canvas->canvas()->setFocus();
}

void ProjectView::openComposer(QPointF world, const std::optional<QString>& from) {
    if (!m_session)
        return;
    showComposer(new ComposerDialog(*m_session, world, from, this));
}

void ProjectView::showComposer(ComposerDialog* composer) {
    composer->setAttribute(Qt::WA_DeleteOnClose);
    composer->setWindowModality(Qt::WindowModal);
    // Back on the canvas afterwards, so that Undo and the canvas's keys go where the person looks.
    connect(composer, &QDialog::finished, m_canvas->canvas(), [this] { m_canvas->canvas()->setFocus(); });
    composer->open();
}

void ProjectView::addViewActions(QMenu* menu) {
    auto add = [&](const char* name, const QString& text, const QKeySequence& keys, auto slot) {
        QAction* action = menu->addAction(text);
        action->setObjectName(QString::fromLatin1(name));
        action->setShortcut(keys);
        connect(action, &QAction::triggered, this, slot);
        return action;
    };
    QAction* sidebar =
        add("toggleSidebarAction", QStringLiteral("Sidebar"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_S),
            [this] { setSidebarShown(!sidebarShown()); });
    sidebar->setCheckable(true);
    sidebar->setChecked(sidebarShown());
    connect(this, &ProjectView::sidebarShownChanged, sidebar,
            [this, sidebar] { sidebar->setChecked(sidebarShown()); });
    m_projectActions.append(sidebar);
    menu->addSeparator();
    CanvasView* canvas = m_canvas->canvas();
    auto onCanvas = [this, canvas](auto run) {
        return [this, canvas, run] {
            if (!m_session)
                return;
            m_session->setMode(SessionMode::Graph);
            setShowsTable(false);
            run(canvas);
        };
    };
    m_projectActions.append(add("zoomToFitAction", QStringLiteral("Zoom to Fit"),
                                QKeySequence(Qt::CTRL | Qt::Key_0),
                                onCanvas([](CanvasView* view) { view->zoomToFit(); })));
    m_projectActions.append(add("clearCanvasAction", QStringLiteral("Clear Canvas"),
                                QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_K),
                                onCanvas([](CanvasView* view) { view->clearCanvas(); })));
    m_projectActions.append(
        add("addByHandAction", QStringLiteral("Add by Hand…"), QKeySequence(Qt::CTRL | Qt::ALT | Qt::Key_N),
            onCanvas([this](CanvasView* view) {
                openComposer(view->viewport().toWorld(QPointF(view->width() / 2.0, view->height() / 2.0)),
                             std::nullopt);
            })));
    QAction* palette =
        add("paletteAction", QStringLiteral("Command Palette…"), QKeySequence(Qt::CTRL | Qt::Key_K), [this] {
            if (m_session)
                m_palette->open();
        });
    m_projectActions.append(palette);

    auto sync = [this] {
        for (QAction* action : m_projectActions)
            action->setEnabled(m_session != nullptr);
    };
    connect(&m_app, &AppModel::sessionChanged, this, sync);
    sync();
}

bool ProjectView::sidebarShown() const {
    return !m_sidebar->isHidden();
}

void ProjectView::setSidebarShown(bool shown) {
    if (sidebarShown() == shown)
        return;
    m_sidebar->setVisible(shown);
    m_sidebarButton->setChecked(shown);
    emit sidebarShownChanged();
}

void ProjectView::fillSlot(QHBoxLayout* slot, QWidget* widget) {
    while (QLayoutItem* item = slot->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (widget)
        slot->addWidget(widget);
}

void ProjectView::setAskBar(QWidget* bar) {
    fillSlot(m_askSlot, bar);
}

void ProjectView::setBuildButton(QWidget* button) {
    fillSlot(m_buildSlot, button);
}

void ProjectView::setEmbeddingStatus(QWidget* status) {
    fillSlot(m_statusSlot, status);
}

void ProjectView::setNotesPanel(QWidget* panel) {
    delete m_notes;
    m_notes = panel;
    if (!panel)
        return;
    m_vertical->addWidget(panel);
    m_vertical->setStretchFactor(0, 1);
    m_vertical->setStretchFactor(1, 0);
    panel->hide();
}

void ProjectView::setNotesPanelShown(bool shown) {
    if (m_notes)
        m_notes->setVisible(shown);
}

void ProjectView::addSidebarSection(QWidget* section) {
    m_sidebar->addSection(section);
}

void ProjectView::confirm() {
    if (!m_session || !m_session->confirmation())
        return;
    const DataLossConfirmation confirmation = *m_session->confirmation();
    // Window-modal and answered by its signal: no event loop of its own runs under the edit that asked.
    auto* box = new QMessageBox(this);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setObjectName(QStringLiteral("confirmation"));
    box->setWindowModality(Qt::WindowModal);
    box->setIcon(QMessageBox::Warning);
    box->setWindowTitle(confirmation.title);
    box->setText(confirmation.title);
    box->setInformativeText(confirmation.message);
    QPushButton* perform = box->addButton(confirmation.actionTitle, QMessageBox::DestructiveRole);
    perform->setObjectName(QStringLiteral("confirmAction"));
    QPushButton* cancel = box->addButton(QMessageBox::Cancel);
    box->setDefaultButton(cancel);
    QPointer<ProjectSession> session = m_session;
    connect(box, &QMessageBox::finished, this, [session, box, perform, id = confirmation.id] {
        // Another confirmation may have taken this one's place meanwhile.
        if (!session || !session->confirmation() || session->confirmation()->id != id)
            return;
        if (box->clickedButton() == perform)
            session->confirm();
        else
            session->dismissConfirmation();
    });
    // A confirmation withdrawn or replaced by the session closes its box.
    connect(m_session, &ProjectSession::confirmationChanged, box, [session, box, id = confirmation.id] {
        if (!session || !session->confirmation() || session->confirmation()->id != id)
            box->close();
    });
    box->open();
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
