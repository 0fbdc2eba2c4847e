#include "app/ask/AskEngine.h"

#include "app/ai/AIClients.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectPreferences.h"
#include "app/graph/SessionCore.h"
#include "kit/ai/AIClient.h"
#include "kit/ai/AICommandError.h"
#include "kit/query/AnswerRows.h"
#include "kit/query/CypherGuard.h"
#include "kit/store/GraphStore.h"
#include "kit/store/ResultPaging.h"

#include <QCoro/QCoroFuture>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <cmath>

namespace corvantis {

namespace {

constexpr int rowLimit = 500;
constexpr int historyLimit = 100;
constexpr int maxTranslations = 3;

QString rowsMeta(qsizetype rows, double milliseconds) {
    const qint64 ms = std::max<qint64>(1, std::llround(milliseconds));
    const QString count =
        rows == 1 ? QStringLiteral("1 row") : QString::number(rows) + QStringLiteral(" rows");
    return count + QStringLiteral(" \u00b7 ") + QString::number(ms) + QStringLiteral(" ms");
}

QString secondsMeta(const QString& model, double seconds) {
    return model + QStringLiteral(" \u00b7 ") + QString::number(seconds, 'f', 1) + QStringLiteral(" s");
}

// What a read-only run on a worker gives back: the output, or the database's sentence.
struct ReadOnlyRun {
    std::optional<QueryOutput> output;
    QString error;
};

} // namespace

AskEngine::AskEngine(SessionCore& core, ProjectPreferences& preferences, CanvasViews& canvases,
                     QObject* parent)
    : QObject(parent)
    , m_core(core)
    , m_preferences(preferences)
    , m_canvases(canvases) {
}

AskEngine::~AskEngine() {
    if (m_flow)
        m_flow->token.cancel();
}

void AskEngine::changed() {
    emit stateChanged();
}

void AskEngine::setDraft(const QString& draft) {
    if (m_state.draft == draft)
        return;
    m_state.draft = draft;
    changed();
}

void AskEngine::setCollapsed(bool collapsed) {
    if (m_state.collapsed == collapsed)
        return;
    m_state.collapsed = collapsed;
    changed();
}

// -- Flows ---------------------------------------------------------------------------------------------

std::shared_ptr<AskEngine::Flow> AskEngine::newFlow() {
    if (m_flow)
        m_flow->token.cancel();
    m_flow = std::make_shared<Flow>(Flow{this, CancellationToken()});
    return m_flow;
}

bool AskEngine::alive(const std::shared_ptr<Flow>& flow) {
    return flow->engine && flow->engine->m_flow == flow && !flow->token.isCancelled();
}

void AskEngine::begin(const QString& question) {
    const QString draft = m_state.draft;
    m_state = AskState();
    m_state.draft = draft;
    m_state.question = question;
    m_state.isWorking = true;
    m_filter = AnswerFilter();
    m_answerGroups.clear();
    m_answerShown.clear();
    m_answerRanks.clear();
    m_canvases.hideAnswer();
    changed();
    emit answerChanged();
}

void AskEngine::ask(const QString& text, const AskSettings& settings, bool fresh) {
    const QString question = text.trimmed();
    if (question.isEmpty() || m_state.isWorking)
        return;
    auto flow = newFlow();
    begin(question);
    dispatch(flow, question, settings, fresh);
}

QCoro::Task<> AskEngine::dispatch(std::shared_ptr<Flow> flow, QString question, AskSettings settings,
                                  bool fresh) {
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const std::optional<Narrowing> noNarrowing;
    const std::optional<QSet<QString>> noCandidates;
    const QString noExplanation;
    try {
        switch (settings.mode) {
        case QueryMode::Auto:
            co_await autoFlow(flow, question, settings, fresh);
            break;
        case QueryMode::Cypher:
            co_await cypherFlow(flow, question, settings, fresh, noNarrowing);
            break;
        case QueryMode::Vector:
            if (const auto searches = scopedSearches(question, true))
                co_await semanticFlow(flow, question, *searches, noCandidates, false,
                                      RetrievalStrategy::semantic, noExplanation, settings);
            break;
        case QueryMode::Raw:
            co_await rawFlow(flow, question, settings);
            break;
        case QueryMode::Simple:
            co_await textFlow(flow, question, settings);
            break;
        }
    } catch (const Cancelled&) {
        // Whoever cancelled has already brought the state back.
    }
    if (alive(flow)) {
        m_state.isWorking = false;
        changed();
    }
}

void AskEngine::runCypher(const QString& cypher, const QString& question, const QString& explanation,
                          const QString& title) {
    auto flow = newFlow();
    begin(question.trimmed().isEmpty() ? cypher : question.trimmed());
    replayFlow(flow, cypher, m_state.question, explanation, title);
}

QCoro::Task<> AskEngine::replayFlow(std::shared_ptr<Flow> flow, QString cypher, QString question,
                                    QString explanation, QString title) {
    Q_UNUSED(question);
    m_state.cypher = cypher;
    m_state.explanation = explanation;
    addFinishedStep(title, QStringLiteral("no AI step"), AskStep::Status::done, cypher);
    const RunResult result = co_await run(flow, cypher);
    if (!alive(flow))
        co_return;
    if (result.outcome == RunOutcome::success) {
        m_state.narrowable = true;
        show(result.output, ResultPaging::isOrdered(cypher));
    }
    m_state.isWorking = false;
    changed();
}

void AskEngine::cancel() {
    if (!m_flow)
        return;
    m_flow->token.cancel();
    m_flow.reset();
    if (m_state.isWorking) {
        m_state.isWorking = false;
        changed();
    }
}

void AskEngine::clearAsk() {
    cancel();
    const QString draft = m_state.draft;
    m_state = AskState();
    m_state.draft = draft;
    m_filter = AnswerFilter();
    m_answerGroups.clear();
    m_answerShown.clear();
    m_answerRanks.clear();
    m_canvases.hideAnswer();
    changed();
    emit answerChanged();
}

QCoro::Task<> AskEngine::cypherFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings,
                                    bool fresh, std::optional<Narrowing> narrowing) {
    if (!m_state.strategy)
        m_state.strategy = RetrievalStrategy::cypher;
    const std::optional<Translated> result =
        co_await translateAndRun(flow, question, settings, !fresh && !narrowing, narrowing);
    if (!result || !alive(flow))
        co_return;
    m_state.narrowable = true;
    m_state.narrowed = narrowing.has_value();
    show(result->output, ResultPaging::isOrdered(result->cypher));
    HistoryEntry entry = HistoryEntry::make(question, result->cypher, result->explanation, result->model,
                                            renderedShape(), std::nullopt);
    // Asked in auto mode, the entry keeps the route, so that the question isn't routed again.
    entry.route = m_state.route;
    entry.routeContext = m_state.routeContext;
    record(entry);
}

QCoro::Task<std::optional<AskEngine::Translated>>
AskEngine::translateAndRun(std::shared_ptr<Flow> flow, QString question, AskSettings settings, bool reuse,
                           std::optional<Narrowing> narrowing) {
    const QString asked =
        narrowing ? PromptBuilder::narrowing(question, narrowing->cypher, narrowing->rows) : question;
    const GraphSchema schema = m_core.project().schema;
    const QString shape = PromptBuilder::renderSchema(schema);
    QList<QueryFailure> failures;
    AIModel usedModel = settings.model;

    std::optional<HistoryEntry> cached;
    if (reuse)
        for (const HistoryEntry& entry : m_core.history())
            if (entry.answers(question, shape)) {
                cached = entry;
                break;
            }
    if (cached) {
        {
            const HistoryEntry& entry = *cached;
            const QString cypher = entry.cypher;
            addFinishedStep(QStringLiteral("Used cached query"),
                            entry.model.title + QStringLiteral(" \u00b7 reused, not asked again"),
                            AskStep::Status::done, cypher);
            m_state.cypher = cypher;
            m_state.explanation = entry.explanation;
            m_state.reused = true;
            changed();
            const AIModel stored = entry.model;
            const QString explanation = entry.explanation;
            const RunResult result = co_await run(flow, cypher);
            if (!alive(flow))
                co_return std::nullopt;
            if (result.outcome == RunOutcome::success)
                co_return Translated{result.output, cypher, explanation, stored};
            if (result.outcome == RunOutcome::refused)
                co_return std::nullopt;
            // A stale query is repaired, not repeated.
            failures.append(QueryFailure{cypher, result.message});
        }
    }

    while (true) {
        if (!alive(flow))
            co_return std::nullopt;
        const QString working = !failures.isEmpty() ? QStringLiteral("Repairing the query")
                                : narrowing         ? QStringLiteral("Narrowing the query")
                                                    : QStringLiteral("Translating to Cypher");
        const QString finished = !failures.isEmpty() ? QStringLiteral("Repaired the query")
                                 : narrowing         ? QStringLiteral("Narrowed the query")
                                                     : QStringLiteral("Translated to Cypher");
        const QUuid step = addStep(working, settings.model.title).id;
        CypherTranslation translation;
        try {
            const AIClient client = makeClient(settings, false, step, flow);
            translation = co_await client.translate(asked, schema, settings.model, failures);
        } catch (const Cancelled&) {
            co_return std::nullopt;
        } catch (const AICommandError& error) {
            if (!alive(flow))
                co_return std::nullopt;
            std::optional<AskStep::Action> action;
            if (!settings.canUseAI)
                action = AskStep::Action::openSettings;
            else if (error.kind() == AICommandError::Kind::outdated)
                action = AskStep::Action::updateAI;
            finishStep(AskStep::Status::failed, QStringLiteral("Couldn't translate"), settings.model.title,
                       {}, error.message(), action);
            co_return std::nullopt;
        } catch (const UserFacingError& error) {
            if (!alive(flow))
                co_return std::nullopt;
            std::optional<AskStep::Action> action;
            if (!settings.canUseAI)
                action = AskStep::Action::openSettings;
            finishStep(AskStep::Status::failed, QStringLiteral("Couldn't translate"), settings.model.title,
                       {}, error.message(), action);
            co_return std::nullopt;
        }
        if (!alive(flow))
            co_return std::nullopt;
        const QString modelTitle =
            translation.modelID.isEmpty() ? settings.model.title : AIModel::titleForID(translation.modelID);
        const QString meta = secondsMeta(modelTitle, translation.seconds);
        if (translation.cypher.trimmed().isEmpty()) {
            finishStep(AskStep::Status::done, QStringLiteral("No query for this"), meta, {},
                       translation.explanation);
            m_state.explanation = translation.explanation;
            changed();
            co_return std::nullopt;
        }
        finishStep(AskStep::Status::done, finished, meta, translation.cypher);
        m_state.cypher = translation.cypher;
        m_state.explanation = translation.explanation;
        changed();
        const RunResult result = co_await run(flow, translation.cypher);
        if (!alive(flow))
            co_return std::nullopt;
        if (result.outcome == RunOutcome::success)
            co_return Translated{result.output, translation.cypher, translation.explanation, usedModel};
        if (result.outcome == RunOutcome::refused)
            co_return std::nullopt;
        failures.append(QueryFailure{translation.cypher, result.message});
        if (failures.size() >= maxTranslations)
            co_return std::nullopt;
    }
}

QCoro::Task<AskEngine::RunResult> AskEngine::run(std::shared_ptr<Flow> flow, QString cypher) {
    try {
        CypherGuard::check(cypher);
    } catch (const CypherGuard::Violation& violation) {
        addFinishedStep(QStringLiteral("Not run"), QString(), AskStep::Status::failed, std::nullopt,
                        violation.message());
        co_return RunResult{RunOutcome::refused, {}, {}};
    }
    const std::shared_ptr<GraphStore> store = m_core.store();
    if (!store || m_core.graphUnavailable())
        co_return RunResult{RunOutcome::refused, {}, {}};
    addStep(QStringLiteral("Running on your graph"));
    // The future is named: GCC 12 may destroy temporaries of a co_await expression twice.
    QFuture<ReadOnlyRun> running = QtConcurrent::run([store, cypher]() -> ReadOnlyRun {
        try {
            return ReadOnlyRun{store->runReadOnly(cypher, rowLimit), QString()};
        } catch (const UserFacingError& error) {
            return ReadOnlyRun{std::nullopt, error.message()};
        }
    });
    const ReadOnlyRun ran = co_await running;
    if (!alive(flow))
        co_return RunResult{RunOutcome::refused, {}, {}};
    if (ran.output) {
        finishStep(AskStep::Status::done, QStringLiteral("Ran on your graph"),
                   rowsMeta(ran.output->rows.size(), ran.output->milliseconds));
        co_return RunResult{RunOutcome::success, *ran.output, {}};
    }
    finishStep(AskStep::Status::failed, QStringLiteral("The database rejected the query"), QString(),
               std::nullopt, ran.error);
    co_return RunResult{RunOutcome::failure, {}, ran.error};
}

QCoro::Task<> AskEngine::rawFlow(std::shared_ptr<Flow> flow, QString text, AskSettings settings) {
    m_state.cypher = text;
    m_state.strategy.reset();
    addFinishedStep(QStringLiteral("Your query"), QStringLiteral("no AI step"), AskStep::Status::done, text);
    const RunResult result = co_await run(flow, text);
    if (!alive(flow) || result.outcome != RunOutcome::success)
        co_return;
    show(result.output, ResultPaging::isOrdered(text));
    record(HistoryEntry::make(text, text, QString(), settings.model, std::nullopt, std::nullopt));
}

// -- Showing and recording -----------------------------------------------------------------------------

void AskEngine::show(const QueryOutput& output, bool ordered) {
    const auto& nodes = m_core.nodes();
    const auto& rels = m_core.rels();
    const QList<AnswerRows::RowIds> rows = AnswerRows::ids(
        output, [&](const QString& id) { return nodes.contains(id); },
        [&](const QString& id) { return rels.contains(id); });
    QSet<QString> highlightNodes;
    QSet<QString> highlightRels;
    AnswerRows::collect(rows, highlightNodes, highlightRels);

    QList<QStringList> rowNodes;
    rowNodes.reserve(rows.size());
    int highest = 0;
    QHash<QString, int> degrees;
    for (const AnswerRows::RowIds& row : rows) {
        rowNodes.append(row.nodes);
        for (const QString& id : row.nodes) {
            const int degree = m_core.degree(id);
            degrees.insert(id, degree);
            highest = std::max(highest, degree);
        }
    }
    const double scale = highest + 1;
    const QList<QStringList> groups =
        ResultPaging::groups(rowNodes, ordered, [&](const QString& id) { return degrees.value(id) / scale; });

    m_answerRanks.clear();
    int rank = 0;
    for (const QStringList& group : groups)
        for (const QString& id : group)
            m_answerRanks.insert(id, rank++);

    m_state.output = output;
    m_state.highlightNodes = std::move(highlightNodes);
    m_state.highlightRels = std::move(highlightRels);
    m_state.pages = AnswerPages{groups, ordered, 0};
    refilter();
    m_state.pages.revealed = ResultPaging::firstPageEnd(m_answerGroups);
    placeRevealed();
    placeOnCanvas(true);
    changed();
    emit answerChanged();
}

void AskEngine::record(HistoryEntry entry) {
    QList<HistoryEntry> history = m_core.history();
    history.removeIf([&](const HistoryEntry& old) {
        return old.question.compare(entry.question, Qt::CaseInsensitive) == 0;
    });
    history.prepend(std::move(entry));
    while (history.size() > historyLimit)
        history.removeLast();
    m_core.setHistory(history);
    emit historyChanged();
}

void AskEngine::removeHistory(const QUuid& id) {
    QList<HistoryEntry> history = m_core.history();
    if (history.removeIf([&](const HistoryEntry& entry) { return entry.id == id; }) == 0)
        return;
    m_core.setHistory(history);
    emit historyChanged();
}

QString AskEngine::renderedShape() const {
    return PromptBuilder::renderSchema(m_core.project().schema);
}

// -- Steps ---------------------------------------------------------------------------------------------

AskStep& AskEngine::addStep(const QString& title, const QString& meta) {
    AskStep step;
    step.id = QUuid::createUuid();
    step.title = title;
    step.meta = meta;
    step.status = AskStep::Status::working;
    step.started = QDateTime::currentDateTimeUtc();
    m_state.steps.append(step);
    changed();
    return m_state.steps.last();
}

void AskEngine::addFinishedStep(const QString& title, const QString& meta, AskStep::Status status,
                                const std::optional<QString>& cypher, const std::optional<QString>& detail,
                                const std::optional<AskStep::Action>& action) {
    addStep(title, meta);
    finishStep(status, title, meta, cypher, detail, action);
}

void AskEngine::finishStep(AskStep::Status status, const QString& title, const QString& meta,
                           const std::optional<QString>& cypher, const std::optional<QString>& detail,
                           const std::optional<AskStep::Action>& action) {
    if (m_state.steps.isEmpty())
        return;
    AskStep& step = m_state.steps.last();
    step.status = status;
    step.title = title;
    step.meta = meta;
    step.cypher = cypher;
    step.detail = detail;
    step.action = action;
    step.finished = QDateTime::currentDateTimeUtc();
    changed();
}

std::function<void(const QString&)> AskEngine::thinkingInto(const QUuid& id) {
    QPointer<AskEngine> engine(this);
    return [engine, id](const QString& thinking) {
        if (!engine)
            return;
        for (AskStep& step : engine->m_state.steps)
            if (step.id == id) {
                if (step.thinking != thinking) {
                    step.thinking = thinking;
                    engine->changed();
                }
                return;
            }
    };
}

AIClient AskEngine::makeClient(const AskSettings& settings, bool router, const QUuid& step,
                               const std::shared_ptr<Flow>& flow) {
    return AIClients::make(settings.provider, router ? settings.routerEffort : settings.effort,
                           thinkingInto(step), flow->token);
}

// -- Suggested questions -------------------------------------------------------------------------------

QStringList AskEngine::suggestedQuestions() const {
    const GraphSchema& schema = m_core.project().schema;
    QHash<QString, int> counts;
    for (const NodeRecord& node : m_core.nodes())
        ++counts[node.label];
    QList<const NodeType*> types;
    for (const NodeType& type : schema.nodeTypes)
        types.append(&type);
    std::stable_sort(types.begin(), types.end(), [&](const NodeType* a, const NodeType* b) {
        return counts.value(a->table()) > counts.value(b->table());
    });
    QStringList questions;
    if (types.isEmpty())
        return questions;
    const NodeType& first = *types.first();
    questions.append(QStringLiteral("How many %1s are there?").arg(first.name));
    questions.append(QStringLiteral("Which %1 has the most connections?").arg(first.name));
    for (const NodeType* type : types) {
        const bool embedded = std::any_of(type->properties.begin(), type->properties.end(),
                                          [](const PropertyDef& p) { return p.isEmbedded(); });
        if (embedded) {
            questions.append(QStringLiteral("Which %1s talk about the same idea, and what connects them?")
                                 .arg(type->name));
            break;
        }
    }
    for (const NodeType* type : types) {
        const bool linked = std::any_of(type->properties.begin(), type->properties.end(),
                                        [](const PropertyDef& p) { return p.kind == PropertyKind::Link; });
        if (linked) {
            questions.append(QStringLiteral("Show every %1 that has a link").arg(type->name));
            break;
        }
    }
    for (const NodeType* type : types) {
        bool found = false;
        for (const RelType& rel : schema.relTypes) {
            for (const RelEndpoint& endpoint : rel.endpoints) {
                const NodeType* from = schema.nodeType(endpoint.from);
                if (endpoint.to != type->id || !from)
                    continue;
                questions.append(QStringLiteral("Which %1s have a %2 link from a %3?")
                                     .arg(type->name, rel.name, from->name));
                found = true;
                break;
            }
            if (found)
                break;
        }
        if (found)
            break;
    }
    if (types.size() > 1)
        questions.append(QStringLiteral("How many %1s are there?").arg(types[1]->name));
    return questions;
}

} // namespace corvantis
