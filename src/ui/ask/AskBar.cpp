#include "ui/ask/AskBar.h"

#include "app/app/AppModel.h"
#include "app/ask/AskEngine.h"
#include "app/graph/ProjectSession.h"
#include "kit/query/CypherCompletion.h"
#include "kit/query/CypherTokenizer.h"
#include "kit/query/ScopedSearch.h"
#include "ui/design/Theme.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QCompleter>
#include <QHBoxLayout>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QShortcut>
#include <QStringListModel>
#include <QTextCharFormat>
#include <QToolButton>
#include <QVBoxLayout>

namespace corvantis {

namespace {

bool isAI(QueryMode mode) {
    return mode == QueryMode::Auto || mode == QueryMode::Cypher || mode == QueryMode::Vector;
}

QString blurb(QueryMode mode, const QString& provider) {
    switch (mode) {
    case QueryMode::Auto:
        return provider + " routes each question: Cypher, vector search, or one guiding the other";
    case QueryMode::Cypher:
        return provider + " turns your question into a Cypher query and runs it";
    case QueryMode::Vector:
        return "Finds passages by meaning, with the embedding model on this computer; ::Type:: for where";
    case QueryMode::Raw:
        return "Runs the Cypher you type, read-only, exactly as written";
    case QueryMode::Simple:
        return "Finds the nodes and relationships whose name or text contains your words; commas for "
               "several, "
               "::Type:: for where";
    }
    return {};
}

// Esc in the field stops the running question.
class EscapeFilter : public QObject {
public:
    explicit EscapeFilter(std::function<void()> onEscape, QObject* parent)
        : QObject(parent)
        , m_onEscape(std::move(onEscape)) {}
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress && static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
            m_onEscape();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    std::function<void()> m_onEscape;
};

} // namespace

QString AskBar::privacyText() {
    return QStringLiteral(
        "Only your question and the shape of your graph are sent. What's in the graph stays on "
        "this computer.");
}

AskBar::AskBar(AppModel& app, QWidget* parent)
    : QWidget(parent)
    , m_app(app)
    , m_modes(new QComboBox(this))
    , m_field(new QLineEdit(this))
    , m_stop(new QToolButton(this))
    , m_blurb(new QLabel(this))
    , m_privacy(new QLabel(privacyText(), this))
    , m_problems(new QLabel(this))
    , m_completer(new QCompleter(this))
    , m_completions(new QStringListModel(this))
    , m_cypherCompleter(new QCompleter(this))
    , m_cypherNames(new QStringListModel(this)) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::space(1));
    auto* row = new QHBoxLayout();
    row->setSpacing(Theme::space(2));
    for (QueryMode mode : QueryModes::all())
        m_modes->addItem(QueryModes::title(mode) + QStringLiteral("  (Ctrl+%1)").arg(QueryModes::key(mode)),
                         QueryModes::id(mode));
    m_modes->insertSeparator(3);
    m_field->setPlaceholderText("Ask about your graph");
    m_field->setClearButtonEnabled(true);
    m_field->setMinimumWidth(360);
    m_stop->setText("Stop");
    m_stop->setToolTip("Stop this question (Esc)");
    row->addWidget(m_field, 1);
    row->addWidget(m_stop);
    row->addWidget(m_modes);
    layout->addLayout(row);
    m_row = row;
    for (QLabel* label : {m_blurb, m_privacy, m_problems}) {
        label->setWordWrap(true);
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText,
                         label == m_problems ? Theme::danger() : Theme::secondaryText());
        label->setPalette(palette);
        layout->addWidget(label);
    }
    m_completer->setModel(m_completions);
    m_completer->setCaseSensitivity(Qt::CaseInsensitive);
    m_completer->setFilterMode(Qt::MatchContains);
    m_field->setCompleter(m_completer);
    // The raw field's own completer works on the word at the caret, not the whole text.
    m_cypherCompleter->setModel(m_cypherNames);
    m_cypherCompleter->setWidget(m_field);
    m_cypherCompleter->setCompletionMode(QCompleter::PopupCompletion);
    m_cypherCompleter->setCaseSensitivity(Qt::CaseInsensitive);
    connect(m_cypherCompleter, qOverload<const QString&>(&QCompleter::activated), this,
            &AskBar::insertCompletion);

    auto* focus = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_F), this);
    focus->setContext(Qt::WindowShortcut);
    connect(focus, &QShortcut::activated, this, [this] {
        m_field->setFocus(Qt::ShortcutFocusReason);
        m_field->selectAll();
        syncCompletions();
        if (!m_field->text().isEmpty() || m_completions->rowCount() == 0)
            return;
        if (m_field->completer()) {
            m_completer->complete();
        } else { // raw Cypher: the starting queries through the caret's completer
            m_completionStart = 0;
            m_cypherNames->setStringList(m_completions->stringList());
            m_cypherCompleter->setCompletionPrefix(QString());
            m_cypherCompleter->complete();
        }
    });
    for (QueryMode mode : QueryModes::all()) {
        auto* key = new QShortcut(QKeySequence(Qt::CTRL | (Qt::Key_0 + QueryModes::key(mode))), this);
        key->setContext(Qt::WindowShortcut);
        connect(key, &QShortcut::activated, this, [this, mode] { m_app.setQueryMode(mode); });
    }
    m_field->installEventFilter(new EscapeFilter(
        [this] {
            if (m_session)
                m_session->askEngine().cancel();
        },
        this));
    connect(m_modes, &QComboBox::activated, this, [this](int index) {
        if (auto mode = QueryModes::fromId(m_modes->itemData(index).toString()))
            m_app.setQueryMode(*mode);
    });
    connect(&m_app, &AppModel::queryModeChanged, this, &AskBar::syncMode);
    connect(m_field, &QLineEdit::returnPressed, this, &AskBar::submit);
    connect(m_field, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (m_session)
            m_session->askEngine().setDraft(text);
        syncProblems();
        syncColours();
        if (text.isEmpty())
            syncCompletions();
    });
    connect(m_field, &QLineEdit::textEdited, this, [this] {
        if (m_app.queryMode() == QueryMode::Raw)
            completeAtCaret();
    });
    connect(m_stop, &QToolButton::clicked, this, [this] {
        if (m_session)
            m_session->askEngine().cancel();
    });
    syncMode();
    syncWorking();
}

void AskBar::addToRow(QWidget* widget) {
    widget->setParent(this);
    m_row->addWidget(widget);
}

void AskBar::setSession(ProjectSession* session) {
    if (m_session)
        disconnect(&m_session->askEngine(), nullptr, this, nullptr);
    m_session = session;
    if (session) {
        connect(&session->askEngine(), &AskEngine::stateChanged, this, &AskBar::syncWorking);
        connect(session, &ProjectSession::graphChanged, this, &AskBar::syncCompletions);
    }
    syncWorking();
    syncCompletions();
}

AskSettings AskBar::settingsOf(const AppModel& m_app) {
    AskSettings settings;
    settings.mode = m_app.queryMode();
    settings.provider = m_app.provider();
    settings.model = m_app.model();
    settings.routerModel = m_app.routerModel();
    settings.canUseAI = m_app.canUseAI();
    settings.effort = m_app.effort();
    settings.routerEffort = m_app.routerEffort();
    return settings;
}

void AskBar::submit() {
    if (!m_session || m_field->text().trimmed().isEmpty())
        return;
    m_session->ask(m_field->text(), settings());
}

void AskBar::syncMode() {
    const QueryMode mode = m_app.queryMode();
    m_modes->setCurrentIndex(m_modes->findData(QueryModes::id(mode)));
    m_blurb->setText(blurb(mode, m_app.provider().name()));
    m_privacy->setVisible(isAI(mode) && mode != QueryMode::Vector);
    m_field->setPlaceholderText(mode == QueryMode::Raw      ? "MATCH (n) RETURN n LIMIT 25"
                                : mode == QueryMode::Simple ? "Words, names or numbers; ::Type:: for where"
                                                            : "Ask about your graph");
    // Raw Cypher completes the word at the caret with its own completer, not the whole text.
    m_field->setCompleter(mode == QueryMode::Raw ? nullptr : m_completer);
    QFont font = QApplication::font();
    if (mode == QueryMode::Raw)
        font.setFamily(QStringLiteral("monospace"));
    m_field->setFont(font);
    syncProblems();
    syncCompletions();
    syncColours();
}

void AskBar::syncWorking() {
    const bool working = m_session && m_session->askEngine().state().isWorking;
    m_stop->setVisible(working);
}

void AskBar::syncProblems() {
    const QueryMode mode = m_app.queryMode();
    QStringList messages;
    if (m_session && (mode == QueryMode::Vector || mode == QueryMode::Simple) &&
        m_field->text().contains("::")) {
        const bool vector = mode == QueryMode::Vector;
        const AskEngine& engine = m_session->askEngine();
        const auto plan = engine.scopeVocabulary(vector).plan(
            ScopedSearch(m_field->text()), vector ? engine.searchScope() : engine.textSearchScope());
        for (const auto& problem : plan.problems)
            messages.append(problem.message);
    }
    m_problems->setText(messages.join('\n'));
    m_problems->setVisible(!messages.isEmpty());
}

QColor AskBar::tokenColour(int kind) {
    using CypherTokenizer::Kind;
    switch (static_cast<Kind>(kind)) {
    case Kind::keyword:
        return Theme::paletteColor(QStringLiteral("iris"));
    case Kind::label:
        return Theme::paletteColor(QStringLiteral("mint"));
    case Kind::string:
        return Theme::paletteColor(QStringLiteral("peach"));
    case Kind::number:
        return Theme::paletteColor(QStringLiteral("sky"));
    case Kind::comment:
        return Theme::secondaryText();
    case Kind::identifier:
    case Kind::punctuation:
        break;
    }
    return {};
}

void AskBar::syncColours() {
    // A line edit takes formats as a pre-edit event whose positions count from the cursor.
    QList<QInputMethodEvent::Attribute> formats;
    if (m_app.queryMode() == QueryMode::Raw) {
        const int cursor = m_field->cursorPosition();
        int at = 0;
        for (const CypherTokenizer::Token& token : CypherTokenizer::tokenize(m_field->text())) {
            const QColor colour = tokenColour(static_cast<int>(token.kind));
            if (colour.isValid()) {
                QTextCharFormat format;
                format.setForeground(colour);
                if (token.kind == CypherTokenizer::Kind::keyword)
                    format.setFontWeight(QFont::DemiBold);
                formats.append(QInputMethodEvent::Attribute(QInputMethodEvent::TextFormat, at - cursor,
                                                            static_cast<int>(token.text.size()), format));
            }
            at += static_cast<int>(token.text.size());
        }
    }
    QInputMethodEvent event(QString(), formats);
    QCoreApplication::sendEvent(m_field, &event);
}

void AskBar::completeAtCaret() {
    if (!m_session)
        return;
    const GraphSchema& schema = m_session->project().schema;
    CypherCompletion::Vocabulary vocabulary;
    for (const NodeType& type : schema.nodeTypes) {
        vocabulary.labels.append(type.table());
        QStringList& columns = vocabulary.properties[type.table()];
        columns.append(QStringLiteral("id"));
        for (const PropertyDef& property : type.properties)
            columns.append(property.column());
    }
    for (const RelType& type : schema.relTypes) {
        vocabulary.relTypes.append(type.table());
        QStringList& columns = vocabulary.properties[type.table()];
        columns.append(QStringLiteral("id"));
        for (const PropertyDef& property : type.properties)
            columns.append(property.column());
    }
    const CypherCompletion::Completion completion =
        CypherCompletion::at(m_field->text(), m_field->cursorPosition(), vocabulary);
    // An exact, only candidate is already typed out.
    if (completion.candidates.isEmpty() ||
        (completion.candidates.size() == 1 && completion.candidates.first() == completion.prefix)) {
        m_completionStart = -1;
        m_cypherCompleter->popup()->hide();
        return;
    }
    m_completionStart = completion.start;
    m_cypherNames->setStringList(completion.candidates);
    m_cypherCompleter->setCompletionPrefix(QString());
    m_cypherCompleter->complete();
}

void AskBar::insertCompletion(const QString& name) {
    if (m_completionStart < 0)
        return;
    const QString text = m_field->text();
    const int caret = m_field->cursorPosition();
    const int start = std::min(m_completionStart, caret);
    m_field->setText(text.left(start) + name + text.mid(caret));
    m_field->setCursorPosition(start + static_cast<int>(name.size()));
    m_completionStart = -1;
}

void AskBar::syncCompletions() {
    QStringList words;
    if (m_session) {
        const GraphSchema& schema = m_session->project().schema;
        if (m_app.queryMode() == QueryMode::Raw) {
            // Starting points for an empty field; names within a query come from the caret's completer.
            for (const NodeType& type : schema.nodeTypes) {
                words.append(QStringLiteral("MATCH (n:%1) RETURN n").arg(type.table()));
                for (const PropertyDef& property : type.properties)
                    words.append(
                        QStringLiteral("MATCH (n:%1) RETURN n.%2").arg(type.table(), property.column()));
            }
            for (const RelType& type : schema.relTypes)
                words.append(QStringLiteral("MATCH (a)-[r:%1]->(b) RETURN a, r, b").arg(type.table()));
        } else if (m_app.queryMode() != QueryMode::Simple) {
            words = m_session->askEngine().suggestedQuestions();
        }
    }
    m_completions->setStringList(words);
}

} // namespace corvantis
