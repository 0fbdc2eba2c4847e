#include "ui/graph/ProjectView.h"

#include "app/app/AppModel.h"
#include "app/build/SessionBuilds.h"
#include "app/graph/ProjectSession.h"
#include "ui/build/BuildMessageField.h"
#include "ui/build/BuildPanel.h"
#include "ui/design/Theme.h"
#include "ui/graph/GraphOverview.h"
#include "ui/shape/ShapeView.h"
#include "ui/table/GraphTableView.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
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

} // namespace

ProjectView::ProjectView(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_name(new QLineEdit(this))
    , m_shapeButton(segment(QStringLiteral("Shape"), QStringLiteral("Shape (Ctrl+Alt+1)"), this))
    , m_graphButton(segment(QStringLiteral("Graph"), QStringLiteral("Graph (Ctrl+Alt+2)"), this))
    , m_modes(new QStackedWidget(this))
    , m_shape(new ShapeView(m_modes))
    , m_graphFaces(new QStackedWidget(m_modes))
    , m_overview(new GraphOverview(m_graphFaces))
    , m_table(new GraphTableView(m_graphFaces)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);

    auto* bar = new QWidget(this);
    bar->setAutoFillBackground(true);
    auto* barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    barLayout->setSpacing(Theme::space(2));
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
    m_name->setMaximumWidth(320);
    barLayout->addWidget(m_name);
    barLayout->addSpacing(Theme::space(4));

    auto* modes = new QButtonGroup(this);
    modes->setExclusive(true);
    m_shapeButton->setObjectName(QStringLiteral("shapeMode"));
    m_graphButton->setObjectName(QStringLiteral("graphMode"));
    modes->addButton(m_shapeButton);
    modes->addButton(m_graphButton);
    barLayout->addWidget(m_shapeButton);
    barLayout->addWidget(m_graphButton);
    barLayout->addStretch();
    // Build: the right panel's Build face (Ctrl+N).
    auto* buildButton = new QToolButton(bar);
    buildButton->setText(QStringLiteral("Build"));
    buildButton->setToolTip(QStringLiteral("Build (Ctrl+N)"));
    buildButton->setCheckable(true);
    buildButton->setShortcut(QKeySequence(QStringLiteral("Ctrl+N")));
    buildButton->setObjectName(QStringLiteral("buildToggle"));
    barLayout->addWidget(buildButton);
    layout->addWidget(bar);

    m_graphFaces->addWidget(m_overview);
    m_graphFaces->addWidget(m_table);
    m_modes->addWidget(m_shape);
    m_modes->addWidget(m_graphFaces);
    auto* body = new QHBoxLayout();
    body->setSpacing(0);
    body->addWidget(m_modes, 1);
    m_build = new BuildPanel(m_app, this);
    m_build->setVisible(false);
    body->addWidget(m_build);
    layout->addLayout(body, 1);
    connect(buildButton, &QToolButton::toggled, m_build, [this](bool on) {
        m_build->setVisible(on);
        if (on)
            m_build->messageField()->setFocus();
    });

    connect(m_shapeButton, &QToolButton::clicked, this, [this] {
        if (m_session)
            m_session->setMode(SessionMode::Shape);
    });
    connect(m_graphButton, &QToolButton::clicked, this, [this] {
        if (m_session)
            m_session->setMode(SessionMode::Graph);
    });
    connect(m_overview, &GraphOverview::showTableRequested, this, [this] { setShowsTable(true); });
    connect(m_name, &QLineEdit::editingFinished, this, &ProjectView::commitName);
    connect(&m_app, &AppModel::sessionChanged, this, &ProjectView::bindSession);
    connect(&m_app, &AppModel::renamingChanged, this, &ProjectView::beginRenaming);
    bindSession();
}

ProjectView::~ProjectView() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
}

void ProjectView::bindSession() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    ProjectSession* session = m_app.session();
    m_session = session;
    m_shape->setSession(session);
    m_table->setSession(session);
    m_overview->setSession(session);
    if (!session)
        return;
    auto sync = [this, session] {
        if (!m_name->hasFocus())
            m_name->setText(session->project().name);
    };
    connect(session, &ProjectSession::projectChanged, this, sync);
    connect(session, &ProjectSession::modeChanged, this, &ProjectView::syncMode);
    // The dialog opens once the edit that asked has returned.
    connect(session, &ProjectSession::confirmationChanged, this, &ProjectView::confirm, Qt::QueuedConnection);
    // A draft from a connected app brings the Build panel into view.
    QPointer<QToolButton> toggle = findChild<QToolButton*>(QStringLiteral("buildToggle"));
    connect(&session->builds().graph(), &BuildChat::viewRequested, this, [toggle] {
        if (toggle)
            toggle->setChecked(true);
    });
    m_name->setText(session->project().name);
    syncMode();
    beginRenaming();
}

void ProjectView::syncMode() {
    const bool shape = m_session && m_session->mode() == SessionMode::Shape;
    m_shapeButton->setChecked(shape);
    m_graphButton->setChecked(!shape);
    m_modes->setCurrentWidget(shape ? static_cast<QWidget*>(m_shape) : m_graphFaces);
    m_graphFaces->setCurrentWidget(m_showsTable ? static_cast<QWidget*>(m_table) : m_overview);
}

void ProjectView::setShowsTable(bool shows) {
    if (m_session)
        m_session->setMode(SessionMode::Graph);
    if (m_showsTable != shows) {
        m_showsTable = shows;
        emit showsTableChanged();
    }
    syncMode();
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
