#include "ui/build/BuildPanel.h"

#include "app/app/AppModel.h"
#include "app/build/BuildChat.h"
#include "app/build/SessionBuilds.h"
#include "app/graph/ProjectSession.h"
#include "ui/build/BuildMessageField.h"
#include "ui/build/ReviewList.h"
#include "ui/design/Theme.h"

#include <QCheckBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QLocale>
#include <QPushButton>
#include <QScrollArea>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

QLabel* label(const QString& text, QWidget* parent, bool secondary = false, bool wrap = true) {
    auto* l = new QLabel(text, parent);
    l->setWordWrap(wrap);
    l->setTextInteractionFlags(Qt::TextSelectableByMouse);
    if (secondary) {
        QPalette palette = l->palette();
        palette.setColor(QPalette::WindowText, Theme::secondaryText());
        l->setPalette(palette);
    }
    return l;
}

QString stepMark(BuildStep::Status status) {
    switch (status) {
    case BuildStep::Status::Working:
        return QStringLiteral("…");
    case BuildStep::Status::Done:
        return QStringLiteral("✓");
    case BuildStep::Status::Failed:
        return QStringLiteral("✕");
    }
    return {};
}

QString addedText(const GraphAdded& added) {
    QStringList parts;
    auto part = [&](qint64 n, const char* word) {
        if (n > 0)
            parts.append(
                QStringLiteral("%1 %2%3").arg(n).arg(QString::fromUtf8(word)).arg(n == 1 ? "" : "s"));
    };
    part(added.nodes, "node");
    part(added.relationships, "relationship");
    if (added.matched > 0)
        parts.append(QStringLiteral("%1 matched").arg(added.matched));
    if (added.filled > 0)
        parts.append(QStringLiteral("%1 filled").arg(added.filled));
    if (added.removedNodes + added.removedRelationships > 0)
        parts.append(QStringLiteral("%1 removed").arg(added.removedNodes + added.removedRelationships));
    if (added.changed > 0)
        parts.append(QStringLiteral("%1 changed").arg(added.changed));
    return parts.isEmpty() ? QStringLiteral("Nothing to add")
                           : QStringLiteral("Added ") + parts.join(QStringLiteral(", "));
}

} // namespace

BuildPanel::BuildPanel(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_title(new QLabel(this))
    , m_historyButton(new QPushButton(QStringLiteral("History"), this))
    , m_pages(new QStackedWidget(this))
    , m_scroll(new QScrollArea(this))
    , m_turnsBox(new QWidget(this))
    , m_turns(new QVBoxLayout(m_turnsBox))
    , m_review(new ReviewList(this))
    , m_history(new QListWidget(this))
    , m_attachmentsBox(new QWidget(this))
    , m_attachments(new QHBoxLayout(m_attachmentsBox))
    , m_field(new BuildMessageField(this))
    , m_share(new QCheckBox(QStringLiteral("Send node names along"), this))
    , m_model(label(QString(), this, true, false))
    , m_notice(label(QString(), this, true))
    , m_attach(new QPushButton(QStringLiteral("Attach…"), this))
    , m_send(new QPushButton(QStringLiteral("Send"), this))
    , m_stop(new QPushButton(QStringLiteral("Stop"), this)) {
    setObjectName(QStringLiteral("buildPanel"));
    setMinimumWidth(360);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::space(3), Theme::space(3), Theme::space(3), Theme::space(3));
    layout->setSpacing(Theme::space(2));

    auto* header = new QHBoxLayout();
    QFont titleFont = m_title->font();
    titleFont.setWeight(QFont::DemiBold);
    titleFont.setPointSizeF(titleFont.pointSizeF() * 1.1);
    m_title->setFont(titleFont);
    header->addWidget(m_title);
    header->addStretch();
    auto* newButton = new QPushButton(QStringLiteral("New"), this);
    newButton->setToolTip(QStringLiteral("Start a new conversation"));
    m_historyButton->setCheckable(true);
    header->addWidget(m_historyButton);
    header->addWidget(newButton);
    layout->addLayout(header);

    // The conversation page: turns, then the review list, in one scroll.
    auto* conversation = new QWidget(this);
    auto* conversationLayout = new QVBoxLayout(conversation);
    conversationLayout->setContentsMargins(0, 0, 0, 0);
    m_turns->setContentsMargins(0, 0, 0, 0);
    m_turns->setSpacing(Theme::space(3));
    m_turns->addStretch();
    m_scroll->setWidget(m_turnsBox);
    m_scroll->setWidgetResizable(true);
    m_scroll->setFrameShape(QFrame::NoFrame);
    conversationLayout->addWidget(m_scroll, 3);
    conversationLayout->addWidget(m_review, 4);
    m_pages->addWidget(conversation);
    m_history->setAccessibleName(QStringLiteral("Conversations"));
    m_history->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* deleteAction = new QAction(QStringLiteral("Delete"), m_history);
    m_history->addAction(deleteAction);
    m_pages->addWidget(m_history);
    layout->addWidget(m_pages, 1);

    m_attachments->setContentsMargins(0, 0, 0, 0);
    m_attachments->setSpacing(Theme::space(2));
    layout->addWidget(m_attachmentsBox);
    m_field->setMaximumHeight(120);
    layout->addWidget(m_field);
    layout->addWidget(m_notice);
    auto* controls = new QHBoxLayout();
    controls->addWidget(m_share);
    controls->addStretch();
    controls->addWidget(m_model);
    layout->addLayout(controls);
    auto* actions = new QHBoxLayout();
    actions->addWidget(m_attach);
    actions->addStretch();
    m_send->setDefault(true);
    m_send->setObjectName(QStringLiteral("buildSend"));
    actions->addWidget(m_stop);
    actions->addWidget(m_send);
    layout->addLayout(actions);

    connect(m_historyButton, &QPushButton::toggled, this, &BuildPanel::showHistory);
    connect(newButton, &QPushButton::clicked, this, [this] {
        if (m_chat)
            m_chat->reset();
        showHistory(false);
    });
    connect(m_history, &QListWidget::itemActivated, this, [this](QListWidgetItem* item) {
        if (m_chat && m_chat->open(QUuid(item->data(Qt::UserRole).toString())))
            showHistory(false);
    });
    connect(deleteAction, &QAction::triggered, this, [this] {
        if (m_chat && m_history->currentItem())
            m_chat->remove(QUuid(m_history->currentItem()->data(Qt::UserRole).toString()));
    });
    connect(m_field, &QPlainTextEdit::textChanged, this, [this] {
        if (m_chat && m_chat->draftText() != m_field->toPlainText())
            m_chat->setDraftText(m_field->toPlainText());
    });
    auto send = [this] {
        if (!m_chat || !m_session)
            return;
        if (!m_app.canUseAI()) {
            m_notice->setText(QStringLiteral("Sign in to a model in Settings ▸ AI to build with it."));
            m_notice->setVisible(true);
            return;
        }
        m_chat->send(BuildChat::Using{m_app.provider(), m_app.model(), m_app.effort(),
                                      m_app.connection(m_app.provider())});
    };
    connect(m_field, &BuildMessageField::sendRequested, this, send);
    connect(m_send, &QPushButton::clicked, this, send);
    connect(m_stop, &QPushButton::clicked, this, [this] {
        if (m_chat)
            m_chat->stop();
    });
    connect(m_share, &QCheckBox::toggled, this, [this](bool on) {
        if (m_chat)
            m_chat->setShareExisting(on);
    });
    connect(m_attach, &QPushButton::clicked, this, [this] {
        const QStringList files = QFileDialog::getOpenFileNames(
            this, QStringLiteral("Attach"), QString(),
            QStringLiteral(
                "Readable files (*.pdf *.txt *.md *.markdown *.html *.htm *.png *.jpg *.jpeg *.gif *.webp "
                "*.heic *.bmp);;All files (*)"));
        for (const QString& file : files)
            if (m_chat)
                m_chat->takeFile(QUrl::fromLocalFile(file));
    });
    connect(&m_app, &AppModel::sessionChanged, this, &BuildPanel::bindSession);
    connect(&m_app, &AppModel::choiceChanged, this, &BuildPanel::syncControls);
    connect(&m_app, &AppModel::providerChanged, this, &BuildPanel::syncControls);
    bindSession();
}

BuildPanel::~BuildPanel() {
    if (m_chat)
        disconnect(m_chat, nullptr, this, nullptr);
}

void BuildPanel::showHistory(bool show) {
    if (m_historyButton->isChecked() != show)
        m_historyButton->setChecked(show);
    m_pages->setCurrentIndex(show ? 1 : 0);
    if (show && m_chat)
        m_chat->refreshHistory();
}

void BuildPanel::bindSession() {
    if (m_session)
        disconnect(m_session, nullptr, this, nullptr);
    m_session = m_app.session();
    if (m_session)
        connect(m_session, &ProjectSession::modeChanged, this, &BuildPanel::bindChat);
    bindChat();
}

void BuildPanel::bindChat() {
    if (m_chat)
        disconnect(m_chat, nullptr, this, nullptr);
    m_chat = m_session ? &m_session->builds().chat(m_session->mode() == SessionMode::Shape ? BuildKind::Shape
                                                                                           : BuildKind::Graph)
                       : nullptr;
    m_field->setChat(m_chat);
    m_review->setChat(m_chat && m_chat->kind() == BuildKind::Graph ? m_chat.data() : nullptr, m_session);
    if (m_chat) {
        connect(m_chat, &BuildChat::turnsChanged, this, &BuildPanel::rebuildTurns);
        connect(m_chat, &BuildChat::attachmentsChanged, this, &BuildPanel::rebuildAttachments);
        connect(m_chat, &BuildChat::historyChanged, this, &BuildPanel::rebuildHistory);
        connect(m_chat, &BuildChat::runningChanged, this, &BuildPanel::syncControls);
        connect(m_chat, &BuildChat::noticeChanged, this, &BuildPanel::syncControls);
        connect(m_chat, &BuildChat::shareExistingChanged, this, &BuildPanel::syncControls);
        connect(m_chat, &BuildChat::draftTextChanged, this, [this] {
            if (m_field->toPlainText() != m_chat->draftText())
                m_field->setPlainText(m_chat->draftText());
            syncControls();
        });
        connect(m_chat, &BuildChat::focusChanged, this, [this] { m_field->setFocus(); });
        m_field->setPlainText(m_chat->draftText());
        m_chat->refreshHistory();
    }
    rebuildTurns();
    rebuildAttachments();
    rebuildHistory();
    syncControls();
}

void BuildPanel::syncControls() {
    const bool graph = !m_chat || m_chat->kind() == BuildKind::Graph;
    m_title->setText(graph ? QStringLiteral("Build the graph") : QStringLiteral("Design the shape"));
    m_field->setPlaceholderText(
        graph ? QStringLiteral("Write, paste a link, or drop a file or a picture…")
              : QStringLiteral("Describe what you want to keep track of, or drop a sketch…"));
    m_share->setVisible(graph);
    m_share->setChecked(m_chat && m_chat->shareExisting());
    m_model->setText(m_app.model().title + QStringLiteral(" · ") + m_app.effort().title().toLower());
    const bool running = m_chat && m_chat->isRunning();
    m_send->setVisible(!running);
    m_stop->setVisible(running);
    m_send->setEnabled(m_chat && m_chat->canSend());
    const std::optional<QString> notice = m_chat ? m_chat->notice() : std::nullopt;
    m_notice->setText(notice.value_or(QString()));
    m_notice->setVisible(notice.has_value());
}

void BuildPanel::rebuildAttachments() {
    while (QLayoutItem* item = m_attachments->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (!m_chat) {
        m_attachmentsBox->hide();
        return;
    }
    for (const BuildAttachment& attachment : m_chat->attachments()) {
        auto* chip = new QToolButton(m_attachmentsBox);
        chip->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        chip->setText(attachment.title + QStringLiteral("  ✕"));
        chip->setToolTip(QStringLiteral("Remove %1").arg(attachment.title));
        if (attachment.thumbnail) {
            QPixmap pixmap;
            pixmap.loadFromData(*attachment.thumbnail);
            chip->setIcon(QIcon(pixmap));
            chip->setIconSize(QSize(32, 32));
        }
        connect(chip, &QToolButton::clicked, this, [this, id = attachment.id] {
            if (m_chat)
                m_chat->removeAttachment(id);
        });
        m_attachments->addWidget(chip);
    }
    m_attachments->addStretch();
    m_attachmentsBox->setVisible(!m_chat->attachments().isEmpty());
    syncControls();
}

void BuildPanel::rebuildHistory() {
    m_history->clear();
    if (!m_chat)
        return;
    for (const BuildConversation::Summary& row : m_chat->history()) {
        QStringList counts;
        if (row.nodesAdded > 0)
            counts.append(QStringLiteral("%1 nodes").arg(row.nodesAdded));
        if (row.typesAdded > 0)
            counts.append(QStringLiteral("%1 types").arg(row.typesAdded));
        if (row.hasDraft)
            counts.append(QStringLiteral("draft open"));
        const QString when = QLocale().toString(row.updated.toLocalTime(), QLocale::ShortFormat);
        auto* item =
            new QListWidgetItem(row.title + QStringLiteral("\n") + when + QStringLiteral(" · ") +
                                QStringLiteral("%1 messages").arg(row.messages) +
                                (counts.isEmpty() ? QString() : QStringLiteral(" · ") + counts.join(", ")));
        item->setData(Qt::UserRole, row.id.toString());
        if (row.id == m_chat->conversationID())
            item->setIcon(QIcon());
        m_history->addItem(item);
    }
}

void BuildPanel::rebuildTurns() {
    while (m_turns->count() > 1) {
        QLayoutItem* item = m_turns->takeAt(0);
        delete item->widget();
        delete item;
    }
    if (!m_chat)
        return;
    if (m_chat->turns().isEmpty()) {
        m_turns->insertWidget(
            0, label(m_chat->kind() == BuildKind::Graph
                         ? QStringLiteral("Tell the model what to add, change or remove. Nothing "
                                          "reaches your graph until you apply the draft.")
                         : QStringLiteral("Describe the kinds of things you keep, or show a sketch. "
                                          "What the model designs is added to the shape at once, "
                                          "and Undo takes it back."),
                     m_turnsBox, true));
    }
    for (BuildTurn* turn : m_chat->turns())
        m_turns->insertWidget(m_turns->count() - 1, turnCard(turn));
    syncControls();
}

QWidget* BuildPanel::turnCard(BuildTurn* turn) {
    auto* card = new QFrame(m_turnsBox);
    card->setFrameShape(QFrame::StyledPanel);
    auto* layout = new QVBoxLayout(card);
    layout->setContentsMargins(Theme::space(3), Theme::space(2), Theme::space(3), Theme::space(2));
    layout->setSpacing(Theme::space(1));
    auto fill = [this, turn, card, layout] {
        while (QLayoutItem* item = layout->takeAt(0)) {
            delete item->widget();
            delete item;
        }
        QString said = turn->text.trimmed();
        if (said.isEmpty() && !turn->attachments.isEmpty())
            said = turn->attachments.first().title;
        // A draft a connected app sent names the app; the request it passed on stands as the person's.
        if (turn->source)
            layout->addWidget(label(QStringLiteral("From ") + *turn->source, card, true));
        if (!said.isEmpty() || !turn->source) {
            QLabel* person = label(said, card);
            QFont bold = person->font();
            bold.setWeight(QFont::DemiBold);
            person->setFont(bold);
            layout->addWidget(person);
        }
        for (const BuildStep& step : turn->steps) {
            QLabel* line =
                label(stepMark(step.status) + QStringLiteral("  ") + step.title +
                          (step.detail.isEmpty() ? QString() : QStringLiteral(" — ") + step.detail),
                      card, step.status != BuildStep::Status::Failed);
            if (step.status == BuildStep::Status::Failed) {
                QPalette palette = line->palette();
                palette.setColor(QPalette::WindowText, Theme::danger());
                line->setPalette(palette);
            }
            layout->addWidget(line);
            if (step.thinks && !turn->thinking.isEmpty()) {
                QLabel* thinking = label(turn->thinking.right(600), card, true);
                QFont italic = thinking->font();
                italic.setItalic(true);
                thinking->setFont(italic);
                layout->addWidget(thinking);
            }
        }
        if (turn->isRunning())
            layout->addWidget(label(turn->activity() + QStringLiteral("…"), card, true));
        if (!turn->summary.isEmpty())
            layout->addWidget(label(turn->summary, card));
        if (turn->error) {
            QLabel* error = label(*turn->error, card);
            QPalette palette = error->palette();
            palette.setColor(QPalette::WindowText, Theme::danger());
            error->setPalette(palette);
            layout->addWidget(error);
        }
        if (turn->status == BuildTurnRecord::Status::Stopped)
            layout->addWidget(label(QStringLiteral("Stopped. Nothing changed."), card, true));
        QString outcome;
        if (turn->added)
            outcome = addedText(*turn->added);
        else if (turn->shape && turn->shape->isEmpty())
            outcome = QStringLiteral("Nothing new for the shape");
        else if (turn->shape)
            outcome = QStringLiteral("Added %1 types, %2 properties, %3 relationships")
                          .arg(turn->shape->types)
                          .arg(turn->shape->properties)
                          .arg(turn->shape->relationships);
        if (turn->undone)
            outcome += (outcome.isEmpty() ? QString() : QStringLiteral(" · ")) + QStringLiteral("Undone");
        else if (turn->discarded)
            outcome = QStringLiteral("Discarded");
        else if (turn->revised)
            outcome = QStringLiteral("Revised below");
        if (!outcome.isEmpty())
            layout->addWidget(label(outcome, card, true));
        if (turn->undoable) {
            auto* undo =
                new QPushButton(m_chat->kind() == BuildKind::Graph
                                    ? QStringLiteral("Undo: put the graph back and return to the draft")
                                    : QStringLiteral("Undo these additions"),
                                card);
            undo->setFlat(true);
            connect(undo, &QPushButton::clicked, this, [this, turn] {
                if (!m_chat)
                    return;
                if (m_chat->kind() == BuildKind::Graph)
                    m_chat->undoAdd(turn);
                else
                    m_chat->undoShape(turn);
            });
            layout->addWidget(undo, 0, Qt::AlignLeft);
        } else if (turn->undoGone) {
            layout->addWidget(label(*turn->undoGone, card, true));
        }
    };
    fill();
    connect(turn, &BuildTurn::changed, card, fill);
    return card;
}

} // namespace corvantis
