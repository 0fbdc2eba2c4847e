#include "ui/ask/AskStepsView.h"

#include "app/ask/AskEngine.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectSession.h"
#include "ui/design/Theme.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace corvantis {

namespace {

QLabel* secondary(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, Theme::secondaryText());
    label->setPalette(palette);
    return label;
}

QFrame* card(QWidget* parent) {
    auto* frame = new QFrame(parent);
    frame->setObjectName("askCard");
    frame->setStyleSheet(
        QStringLiteral("#askCard { background: %1; border: 1px solid %2; border-radius: %3px; }")
            .arg(Theme::cardSurface().name(), Theme::cardBorder().name())
            .arg(Theme::radius));
    return frame;
}

QString actionTitle(AskStep::Action action) {
    switch (action) {
    case AskStep::Action::downloadModel:
        return "Download the model";
    case AskStep::Action::openShape:
        return "Open Shape";
    case AskStep::Action::openSettings:
        return "Open Settings";
    case AskStep::Action::updateAI:
        return "Update";
    }
    return {};
}

QString actionId(AskStep::Action action) {
    switch (action) {
    case AskStep::Action::downloadModel:
        return "downloadModel";
    case AskStep::Action::openShape:
        return "openShape";
    case AskStep::Action::openSettings:
        return "openSettings";
    case AskStep::Action::updateAI:
        return "updateAI";
    }
    return {};
}

} // namespace

AskStepsView::AskStepsView(QWidget* parent)
    : QWidget(parent)
    , m_list(nullptr)
    , m_question(new QLabel(this))
    , m_table(new QTableWidget(this)) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(Theme::space(3), Theme::space(3), Theme::space(3), Theme::space(3));
    QFont bold = m_question->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.15);
    m_question->setFont(bold);
    m_question->setWordWrap(true);
    outer->addWidget(m_question);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    auto* content = new QWidget(scroll);
    m_list = new QVBoxLayout(content);
    m_list->setContentsMargins(0, 0, 0, 0);
    m_list->setSpacing(Theme::space(2));
    scroll->setWidget(content);
    outer->addWidget(scroll, 1);
    m_table->setVisible(false);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->horizontalHeader()->setStretchLastSection(true);
    outer->addWidget(m_table, 1);
    rebuild();
}

void AskStepsView::setSession(ProjectSession* session) {
    if (m_session) {
        disconnect(&m_session->askEngine(), nullptr, this, nullptr);
        disconnect(&m_session->canvases().answer(), nullptr, this, nullptr);
        disconnect(&m_session->canvases().graph(), nullptr, this, nullptr);
    }
    m_session = session;
    m_passages.clear();
    if (session) {
        connect(&session->askEngine(), &AskEngine::stateChanged, this, &AskStepsView::rebuild);
        // The matches say when the canvas's filter hides them all.
        connect(&session->canvases().answer(), &CanvasState::lensChanged, this, &AskStepsView::rebuild);
        connect(&session->canvases().graph(), &CanvasState::lensChanged, this, &AskStepsView::rebuild);
    }
    rebuild();
}

void AskStepsView::rebuild() {
    // Later: the button whose click brought this rebuild is still on the stack.
    while (QLayoutItem* item = m_list->takeAt(0)) {
        if (QWidget* widget = item->widget()) {
            widget->hide();
            widget->deleteLater();
        }
        delete item;
    }
    m_table->setVisible(false);
    if (!m_session || m_session->askEngine().state().question.isEmpty()) {
        m_question->setText("Ask about your graph");
        m_list->addWidget(
            secondary("Type a question in the Ask bar (Ctrl+F). The steps of the answer show here.", this));
        m_list->addStretch();
        return;
    }
    const AskState& state = m_session->askEngine().state();
    m_question->setText(state.question);
    auto* tools = new QHBoxLayout();
    auto* fold = new QToolButton(this);
    fold->setText(state.collapsed ? "Show the steps" : "Hide the steps");
    connect(fold, &QToolButton::clicked, this, [this] {
        AskEngine& engine = m_session->askEngine();
        engine.setCollapsed(!engine.state().collapsed);
    });
    tools->addWidget(fold);
    if (state.reused && !state.isWorking) {
        auto* again = new QToolButton(this);
        again->setText("Ask again");
        again->setToolTip("Route and translate this question afresh instead of reusing the earlier answer");
        const QString question = state.question;
        connect(again, &QToolButton::clicked, this, [this, question] { emit askAgainRequested(question); });
        tools->addWidget(again);
    }
    tools->addStretch();
    auto* toolsHolder = new QWidget(this);
    toolsHolder->setLayout(tools);
    m_list->addWidget(toolsHolder);
    if (!state.collapsed) {
        for (int i = 0; i < state.steps.size(); ++i)
            m_list->addWidget(stepCard(i));
        if (!state.explanation.isEmpty())
            m_list->addWidget(secondary(state.explanation, this));
    }
    if (state.semantic)
        m_list->addWidget(matchesCard());
    m_list->addStretch();

    // A scalar answer (no record in it) is read as a table.
    if (state.output && state.highlightNodes.isEmpty() && state.highlightRels.isEmpty() &&
        !state.output->rows.isEmpty()) {
        const QueryOutput& output = *state.output;
        m_table->clear();
        m_table->setColumnCount(static_cast<int>(output.columns.size()));
        m_table->setHorizontalHeaderLabels(output.columns);
        m_table->setRowCount(static_cast<int>(output.rows.size()));
        for (int r = 0; r < output.rows.size(); ++r)
            for (int c = 0; c < output.rows[r].size(); ++c)
                m_table->setItem(r, c, new QTableWidgetItem(output.rows[r][c].displayText()));
        m_table->setVisible(true);
    }
}

QWidget* AskStepsView::stepCard(int index) {
    const AskStep& step = m_session->askEngine().state().steps[index];
    QFrame* frame = card(this);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    layout->setSpacing(Theme::space(1));
    auto* head = new QHBoxLayout();
    const QString mark = step.status == AskStep::Status::working ? QStringLiteral("\u25cb")
                         : step.status == AskStep::Status::done  ? QStringLiteral("\u2713")
                                                                 : QStringLiteral("\u2715");
    auto* status = new QLabel(mark, frame);
    QPalette palette = status->palette();
    palette.setColor(QPalette::WindowText, step.status == AskStep::Status::failed ? Theme::danger()
                                           : step.status == AskStep::Status::done
                                               ? Theme::paletteColor("mint")
                                               : Theme::accent());
    status->setPalette(palette);
    head->addWidget(status);
    auto* title = new QLabel(step.title, frame);
    title->setWordWrap(true);
    QFont font = title->font();
    font.setBold(true);
    title->setFont(font);
    head->addWidget(title, 1);
    if (!step.meta.isEmpty())
        head->addWidget(secondary(step.meta, frame));
    layout->addLayout(head);
    if (step.cypher) {
        auto* cypher = new QLabel(*step.cypher, frame);
        cypher->setWordWrap(true);
        cypher->setTextInteractionFlags(Qt::TextSelectableByMouse);
        QFont mono = cypher->font();
        mono.setFamily("monospace");
        cypher->setFont(mono);
        layout->addWidget(cypher);
    }
    if (step.detail && !step.detail->isEmpty()) {
        QLabel* detail = secondary(*step.detail, frame);
        if (step.status == AskStep::Status::failed) {
            QPalette danger = detail->palette();
            danger.setColor(QPalette::WindowText, Theme::danger());
            detail->setPalette(danger);
        }
        layout->addWidget(detail);
    }
    if (step.action) {
        auto* button = new QPushButton(actionTitle(*step.action), frame);
        const QString id = actionId(*step.action);
        connect(button, &QPushButton::clicked, this, [this, id] { emit actionRequested(id); });
        layout->addWidget(button, 0, Qt::AlignLeft);
    }
    if (!step.thinking.isEmpty()) {
        const bool open = m_openThinking.contains(index);
        auto* toggle = new QToolButton(frame);
        toggle->setText(open ? "Hide the thinking" : "Show the thinking");
        toggle->setAutoRaise(true);
        connect(toggle, &QToolButton::clicked, this, [this, index] {
            if (!m_openThinking.remove(index))
                m_openThinking.insert(index);
            rebuild();
        });
        layout->addWidget(toggle, 0, Qt::AlignLeft);
        if (open)
            layout->addWidget(secondary(step.thinking, frame));
    }
    return frame;
}

QWidget* AskStepsView::matchesCard() {
    const AskState& state = m_session->askEngine().state();
    const SemanticResult& result = *state.semantic;
    QFrame* frame = card(this);
    auto* layout = new QVBoxLayout(frame);
    layout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    if (result.matches.isEmpty()) {
        auto* title = new QLabel("Nothing close", frame);
        QFont font = title->font();
        font.setBold(true);
        title->setFont(font);
        layout->addWidget(title);
        layout->addWidget(secondary(
            result.incomplete ? QStringLiteral("Nothing embedded so far is near “%1”. Some text is still "
                                               "being embedded.")
                                    .arg(state.question)
                              : QStringLiteral("No passage in your graph is near “%1”.").arg(state.question),
            frame));
        return frame;
    }
    layout->addWidget(secondary(result.matches.size() == 1
                                    ? QStringLiteral("1 match")
                                    : QStringLiteral("%1 matches").arg(result.matches.size()),
                                frame));
    const auto& nodes = m_session->nodes();
    const GraphSchema& schema = m_session->project().schema;
    for (const AskMatch& match : result.matches) {
        const auto node = nodes.constFind(match.recordId);
        QString name = QStringLiteral("A node that has since been deleted");
        if (node != nodes.constEnd())
            name = node->title(schema.nodeTypeForTable(node->label));
        auto* title = new QLabel(QStringLiteral("<b>%1</b> &nbsp; Similarity %2")
                                     .arg(name.toHtmlEscaped(), QString::number(match.best, 'f', 2)),
                                 frame);
        title->setToolTip("Show on the canvas, and in the inspector with the matched passages marked");
        layout->addWidget(title);
        const int showing = m_passages.value(match.recordId, 0);
        const qsizetype shown = showing < 0 ? 0 : showing > 0 ? match.passages.size() : 2;
        for (const AskMatch::Passage& passage : match.passages.mid(0, shown)) {
            QLabel* text = secondary(passage.text, frame);
            text->setToolTip("Show this passage marked in its text, in the inspector");
            layout->addWidget(text);
        }
        if (match.passages.size() > shown && showing == 0)
            layout->addWidget(
                secondary(QStringLiteral(" more ") + QString::number(match.passages.size() - shown), frame));
        // Expand shows every passage, Fewer passages goes back to the first two, Collapse hides them.
        auto* buttons = new QHBoxLayout();
        auto addButton = [&](const QString& text, int next) {
            auto* button = new QPushButton(text, frame);
            button->setFlat(true);
            const QString id = match.recordId;
            connect(button, &QPushButton::clicked, this, [this, id, next] {
                m_passages.insert(id, next);
                QMetaObject::invokeMethod(this, &AskStepsView::rebuild, Qt::QueuedConnection);
            });
            buttons->addWidget(button);
        };
        if (showing < 0 || (showing == 0 && match.passages.size() > shown))
            addButton(QStringLiteral("Expand"), 1);
        if (showing > 0 && match.passages.size() > 2)
            addButton(QStringLiteral("Fewer passages"), 0);
        if (showing >= 0 && !match.passages.isEmpty())
            addButton(QStringLiteral("Collapse"), -1);
        buttons->addStretch();
        layout->addLayout(buttons);
        if (const QStringList neighbours = result.neighbours.value(match.recordId); !neighbours.isEmpty())
            layout->addWidget(
                secondary(QStringLiteral("Connected to %1 nodes").arg(neighbours.size()), frame));
    }
    // The canvas in use may hide every match with its filter.
    const CanvasState& canvas = m_session->canvases().current();
    const bool anyPasses =
        std::any_of(result.matches.begin(), result.matches.end(), [&](const AskMatch& match) {
            return canvas.passes(match.recordId, canvas.lens().filter);
        });
    if (!anyPasses)
        layout->addWidget(secondary(QStringLiteral("None of them passes the canvas's filter."), frame));
    if (result.incomplete)
        layout->addWidget(secondary("Incomplete: some text is still being embedded.", frame));
    return frame;
}

} // namespace corvantis
