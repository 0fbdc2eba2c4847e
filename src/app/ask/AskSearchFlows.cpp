// The flows that search rather than translate: routing, search by meaning and word search.
#include "app/ask/AskEngine.h"
#include "app/ask/SemanticSearcher.h"
#include "app/canvas/CanvasViews.h"
#include "app/graph/ProjectPreferences.h"
#include "app/graph/SessionCore.h"
#include "kit/ai/AIClient.h"
#include "kit/ai/AICommandError.h"
#include "kit/ai/QueryRouter.h"

#include <QCoro/QCoroFuture>
#include <QElapsedTimer>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>
#include <cmath>

namespace corvantis {

namespace {

QString countText(qsizetype n, const QString& one, const QString& many) {
    return n == 1 ? QStringLiteral("1 ") + one : QString::number(n) + QLatin1Char(' ') + many;
}

QString msText(double milliseconds) {
    return QString::number(std::max<qint64>(1, std::llround(milliseconds))) + QStringLiteral(" ms");
}

QString routedTitle(const RoutePlan& plan) {
    switch (plan.strategy.value()) {
    case RetrievalStrategy::cypher:
        return QStringLiteral("Routed to Cypher");
    case RetrievalStrategy::semantic:
        return plan.explanation.isEmpty() ? QStringLiteral("Routed to vector search")
                                          : QStringLiteral("Using vector search, as ") + plan.explanation;
    case RetrievalStrategy::semanticThenGraph:
        return QStringLiteral("Routed to vector search, then connections");
    case RetrievalStrategy::graphThenSemantic:
        return QStringLiteral("Routed to Cypher, then vector search");
    }
    Q_UNREACHABLE();
}

// What the word search worker hands back.
struct TextSearchRun {
    QueryOutput output;
    // The folded texts the search used: those it was given, or made afresh.
    std::shared_ptr<const TextSearch::Folded> folded;
    bool cancelled = false;
};

} // namespace

// -- Scopes --------------------------------------------------------------------------------------------

QSet<QUuid> AskEngine::searchScope() const {
    QSet<QUuid> ids;
    for (const EmbeddedProperty& property : m_core.project().schema.embeddedProperties())
        if (!m_preferences.excludedFromSearch().contains(property.id()))
            ids.insert(property.id());
    return ids;
}

QSet<QUuid> AskEngine::textSearchScope() const {
    QSet<QUuid> ids;
    for (const EmbeddedProperty& property : m_core.project().schema.textProperties())
        if (!m_preferences.excludedFromTextSearch().contains(property.id()))
            ids.insert(property.id());
    return ids;
}

ScopeVocabulary AskEngine::scopeVocabulary(bool vector) const {
    const GraphSchema& schema = m_core.project().schema;
    return vector ? ScopeVocabulary(schema.embeddedProperties(), schema,
                                    QStringLiteral("has no text set to Embed"))
                  : ScopeVocabulary(schema.textProperties(), schema, QStringLiteral("has no text to search"));
}

std::optional<QList<AskEngine::Search>> AskEngine::scopedSearches(const QString& text, bool vector) {
    const ScopedSearch search(text);
    const QSet<QUuid> fallback = vector ? searchScope() : textSearchScope();
    const ScopeVocabulary vocabulary = scopeVocabulary(vector);
    const ScopeVocabulary::Plan plan = vocabulary.plan(search, fallback);
    if (!plan.problems.isEmpty()) {
        QStringList messages;
        for (const ScopeVocabulary::Problem& problem : plan.problems)
            messages.append(problem.message);
        addFinishedStep(plan.problems.size() == 1 ? QStringLiteral("Can't search that")
                                                  : QStringLiteral("Can't search those"),
                        QString(), AskStep::Status::failed, std::nullopt, messages.join(QLatin1Char('\n')));
        return std::nullopt;
    }
    if (plan.parts.isEmpty()) {
        const bool unscopedTerms = std::any_of(search.segments().begin(), search.segments().end(),
                                               [](const auto& s) { return !s.scope && !s.terms.isEmpty(); });
        if (unscopedTerms && fallback.isEmpty())
            addFinishedStep(
                QStringLiteral("Nothing to search"), QString(), AskStep::Status::failed, std::nullopt,
                QStringLiteral("Every %1 property is unticked under \u201cSearch in\u201d. Tick at "
                               "least one, or name a type: ::Verse:: karma.")
                    .arg(vector ? QStringLiteral("embedded") : QStringLiteral("text")));
        else
            addFinishedStep(QStringLiteral("Nothing to search for"), QString(), AskStep::Status::failed,
                            std::nullopt, QStringLiteral("Type a word, a name or a number after the scope."));
        return std::nullopt;
    }
    QList<Search> searches;
    for (const ScopeVocabulary::Part& part : plan.parts)
        for (const QString& term : part.terms)
            searches.append(Search{term, part.properties});
    return searches;
}

std::optional<QString> AskEngine::scopeSummary(const QList<Search>& searches, bool vector) const {
    const QSet<QUuid> fallback = vector ? searchScope() : textSearchScope();
    QSet<QUuid> ids;
    bool allWhole = true;
    for (const Search& search : searches) {
        ids.unite(search.scope);
        allWhole = allWhole && search.scope == fallback;
    }
    if (allWhole)
        return std::nullopt;
    const QString named = scopeVocabulary(vector).scopeText(ids);
    return QStringLiteral("Searched in ") +
           (named == QLatin1String("All") ? QStringLiteral("everything") : named);
}

// -- Auto ----------------------------------------------------------------------------------------------

QCoro::Task<> AskEngine::autoFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings,
                                  bool fresh) {
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const std::optional<Narrowing> noNarrowing;
    const std::optional<QSet<QString>> noCandidates;
    const QString noExplanation;
    const GraphSchema schema = m_core.project().schema;
    const QSet<QUuid> scope = searchScope();
    QList<EmbeddedProperty> embedded;
    for (const EmbeddedProperty& property : schema.embeddedProperties())
        if (scope.contains(property.id()))
            embedded.append(property);
    if (embedded.isEmpty()) {
        co_await cypherFlow(flow, question, settings, fresh, noNarrowing);
        co_return;
    }
    const QString context = QueryRouter::context(schema, embedded);
    m_state.routeContext = context;

    std::optional<RoutePlan> plan;
    if (!fresh)
        for (const HistoryEntry& entry : m_core.history())
            if ((plan = entry.routeFor(question, context)))
                break;
    if (plan) {
        m_state.reused = true;
        addFinishedStep(
            routedTitle(*plan),
            AIModel::titleForID(plan->modelID) + QStringLiteral(" \u00b7 reused, not asked again"),
            AskStep::Status::done, std::nullopt,
            plan->explanation.isEmpty() ? std::nullopt : std::optional<QString>(plan->explanation));
    } else if (!settings.canUseAI) {
        addFinishedStep(settings.provider.name() + QStringLiteral(" isn't set up"),
                        QStringLiteral("on this computer"), AskStep::Status::done, std::nullopt,
                        QStringLiteral("Set up %1 for Cypher queries and for routing between the two.")
                            .arg(settings.provider.tool()),
                        AskStep::Action::openSettings);
        QSet<QUuid> all;
        for (const EmbeddedProperty& property : embedded)
            all.insert(property.id());
        QList<Search> whole;
        whole.append(Search{question, all});
        co_await semanticFlow(flow, question, whole, noCandidates, false, RetrievalStrategy::semantic,
                              noExplanation, settings);
        co_return;
    } else {
        const QUuid step = addStep(QStringLiteral("Routing the question"), settings.routerModel.title).id;
        try {
            const AIClient client = makeClient(settings, true, step, flow);
            plan = co_await QueryRouter::route(client, question, schema, embedded, settings.routerModel);
        } catch (const Cancelled&) {
            co_return;
        } catch (const UserFacingError& error) {
            if (!alive(flow))
                co_return;
            const auto* command = dynamic_cast<const AICommandError*>(&error);
            finishStep(AskStep::Status::failed, QStringLiteral("Couldn't route the question"),
                       settings.routerModel.title, std::nullopt, error.message(),
                       command && command->kind() == AICommandError::Kind::outdated
                           ? std::optional(AskStep::Action::updateAI)
                           : std::nullopt);
            co_return;
        }
        if (!alive(flow))
            co_return;
        const QString model =
            plan->modelID.isEmpty() ? settings.routerModel.title : AIModel::titleForID(plan->modelID);
        finishStep(AskStep::Status::done, routedTitle(*plan),
                   model + QStringLiteral(" \u00b7 ") + QString::number(plan->seconds, 'f', 1) +
                       QStringLiteral(" s"),
                   std::nullopt,
                   plan->explanation.isEmpty() ? std::nullopt : std::optional<QString>(plan->explanation));
    }
    m_state.route = plan;
    m_state.strategy = plan->strategy;
    changed();

    QSet<QUuid> searchIn;
    for (const QUuid& id : plan->scope)
        if (scope.contains(id))
            searchIn.insert(id);
    QSet<QUuid> embeddedIds;
    for (const EmbeddedProperty& property : embedded)
        embeddedIds.insert(property.id());
    searchIn.intersect(embeddedIds);
    if (searchIn.isEmpty())
        searchIn = embeddedIds;
    const QString text = plan->semanticQuery.isEmpty() ? question : plan->semanticQuery;
    const RoutePlan chosen = *plan;
    // Named here: GCC 12 mishandles braced lists in the arguments of a co_await.
    QList<Search> one;
    one.append(Search{text, searchIn});

    switch (chosen.strategy.value()) {
    case RetrievalStrategy::cypher:
        co_await cypherFlow(flow, question, settings, fresh, noNarrowing);
        break;
    case RetrievalStrategy::semantic:
    case RetrievalStrategy::semanticThenGraph:
        co_await semanticFlow(flow, question, one, noCandidates,
                              chosen.strategy == RetrievalStrategy::semanticThenGraph, chosen.strategy,
                              chosen.explanation, settings);
        break;
    case RetrievalStrategy::graphThenSemantic: {
        const QString graphQuestion = chosen.graphQuestion.isEmpty() ? question : chosen.graphQuestion;
        const std::optional<Translated> result =
            co_await translateAndRun(flow, graphQuestion, settings, !fresh, noNarrowing);
        if (!result || !alive(flow))
            co_return;
        std::optional<QSet<QString>> candidates = QSet<QString>();
        const auto& nodes = m_core.nodes();
        const auto& rels = m_core.rels();
        for (const QList<GraphValue>& row : result->output.rows)
            for (const GraphValue& value : row) {
                if (const NodeRecord* node = value.asNode(); node && nodes.contains(node->id))
                    candidates->insert(node->id);
                if (const RelRecord* rel = value.asRelationship(); rel && rels.contains(rel->id))
                    candidates->insert(rel->id);
            }
        if (candidates->isEmpty()) {
            addFinishedStep(
                QStringLiteral("Nothing to narrow to"), QString(), AskStep::Status::done, std::nullopt,
                QStringLiteral("The query returned no nodes or relationships, so the whole graph is "
                               "searched instead."));
            candidates.reset();
        }
        co_await semanticFlow(flow, question, one, candidates, false, chosen.strategy, chosen.explanation,
                              settings);
        break;
    }
    }
}

// -- Search by meaning ---------------------------------------------------------------------------------

QCoro::Task<> AskEngine::semanticFlow(std::shared_ptr<Flow> flow, QString question, QList<Search> searches,
                                      std::optional<QSet<QString>> candidates, bool expand,
                                      RetrievalStrategy strategy, QString explanation, AskSettings settings) {
    m_state.strategy = strategy;
    if (!explanation.isEmpty())
        m_state.explanation = explanation;
    if (m_core.project().schema.embeddedProperties().isEmpty()) {
        addFinishedStep(
            QStringLiteral("Nothing for vector search"), QString(), AskStep::Status::failed, std::nullopt,
            QStringLiteral("No text property is set to Embed yet. In Shape, turn on Embed for the text "
                           "you want to search this way."),
            AskStep::Action::openShape);
        co_return;
    }
    if (std::all_of(searches.begin(), searches.end(), [](const Search& s) { return s.scope.isEmpty(); })) {
        addFinishedStep(
            QStringLiteral("Nothing for vector search"), QString(), AskStep::Status::failed, std::nullopt,
            QStringLiteral("Every embedded property is unticked under \u201cSearch in\u201d. Tick at "
                           "least one."));
        co_return;
    }
    if (!m_searcher || !m_searcher->modelInstalled()) {
        const bool downloading = m_searcher && m_searcher->modelDownloading();
        const QString detail =
            downloading  ? QStringLiteral("It's downloading now; ask again when it has finished.")
            : m_searcher ? QStringLiteral(
                               "Vector search runs %1 locally. Download it once (%2) and nothing ever leaves "
                               "this computer.")
                               .arg(m_searcher->modelName(), m_searcher->modelSize())
                         : QStringLiteral(
                               "Vector search runs the embedding model locally. Download it once and nothing "
                               "ever leaves this computer.");
        addFinishedStep(QStringLiteral("The embedding model isn't on this computer"), QString(),
                        AskStep::Status::failed, std::nullopt, detail,
                        downloading ? std::nullopt : std::optional(AskStep::Action::downloadModel));
        co_return;
    }
    addStep(QStringLiteral("Running vector search"), QStringLiteral("on this computer"));
    QElapsedTimer timer;
    timer.start();
    QHash<QString, SemanticSearcher::Hit> hits;
    SemanticSearcher* searcher = m_searcher;
    for (const Search& search : searches) {
        QList<SemanticSearcher::Hit> found;
        try {
            found = co_await searcher->search(search.text, search.scope, candidates, 60);
        } catch (const Cancelled&) {
            co_return;
        } catch (const UserFacingError& error) {
            if (!alive(flow))
                co_return;
            finishStep(AskStep::Status::failed, QStringLiteral("Couldn't run vector search"),
                       QStringLiteral("on this computer"), std::nullopt, error.message());
            co_return;
        }
        if (!alive(flow))
            co_return;
        for (const SemanticSearcher::Hit& hit : found) {
            auto existing = hits.find(hit.entry);
            if (existing == hits.end() || existing->score < hit.score)
                hits.insert(hit.entry, hit);
        }
    }
    // One match per record, best first, at most twenty.
    QList<SemanticSearcher::Hit> sorted = hits.values();
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b) { return a.score > b.score; });
    QList<AskMatch> matches;
    QHash<QString, int> matchOf;
    for (const SemanticSearcher::Hit& hit : sorted) {
        auto at = matchOf.constFind(hit.recordId);
        if (at == matchOf.constEnd()) {
            if (matches.size() >= 20)
                continue;
            at = matchOf.insert(hit.recordId, static_cast<int>(matches.size()));
            matches.append(AskMatch{hit.recordId, hit.score, {}});
        }
        matches[*at].passages.append(AskMatch::Passage{hit.property, hit.passage, hit.score});
    }
    const int pending = searcher->pendingPassages();
    QString title = QStringLiteral("Ran vector search");
    if (candidates)
        title += QStringLiteral(" within ") +
                 countText(candidates->size(), QStringLiteral("result"), QStringLiteral("results"));
    QStringList detail;
    if (const auto summary = scopeSummary(searches, true))
        detail.append(*summary);
    if (pending > 0)
        detail.append(
            QStringLiteral("%1 passages are still being embedded, so some text isn't searchable yet.")
                .arg(pending));
    finishStep(AskStep::Status::done, title,
               countText(matches.size(), QStringLiteral("match"), QStringLiteral("matches")) +
                   QStringLiteral(" \u00b7 ") + msText(timer.nsecsElapsed() / 1e6),
               std::nullopt, detail.isEmpty() ? std::nullopt : std::optional(detail.join(QLatin1Char('\n'))));

    QSet<QString> highlightNodes;
    QSet<QString> highlightRels;
    QHash<QString, QStringList> neighbours;
    m_answerRanks.clear();
    for (const AskMatch& match : matches) {
        m_answerRanks.insert(match.recordId, match.best);
        if (m_core.nodes().contains(match.recordId))
            highlightNodes.insert(match.recordId);
        else if (const auto rel = m_core.rels().constFind(match.recordId); rel != m_core.rels().constEnd()) {
            highlightRels.insert(rel->id);
            highlightNodes.insert(rel->from);
            highlightNodes.insert(rel->to);
        }
    }
    if (expand && !matches.isEmpty()) {
        addStep(QStringLiteral("Following connections"));
        QSet<QString> matched;
        for (const AskMatch& match : matches)
            matched.insert(match.recordId);
        QSet<QString> connected;
        for (const RelRecord& rel : m_core.rels()) {
            const bool fromMatch = matched.contains(rel.from);
            const bool toMatch = matched.contains(rel.to);
            if (!fromMatch && !toMatch)
                continue;
            highlightRels.insert(rel.id);
            if (fromMatch) {
                neighbours[rel.from].append(rel.to);
                highlightNodes.insert(rel.to);
                if (!matched.contains(rel.to))
                    connected.insert(rel.to);
            }
            if (toMatch) {
                neighbours[rel.to].append(rel.from);
                highlightNodes.insert(rel.from);
                if (!matched.contains(rel.from))
                    connected.insert(rel.from);
            }
        }
        for (const QString& id : connected)
            if (!m_answerRanks.contains(id))
                m_answerRanks.insert(id, 0.5);
        finishStep(
            AskStep::Status::done, QStringLiteral("Followed connections"),
            countText(connected.size(), QStringLiteral("connected node"), QStringLiteral("connected nodes")));
    }
    m_state.semantic = SemanticResult{searches.value(0).text, matches, neighbours, expand, pending > 0};
    m_state.highlightNodes = highlightNodes;
    m_state.highlightRels = highlightRels;
    m_answerShown = highlightNodes;
    if (highlightNodes.isEmpty()) {
        m_canvases.hideAnswer();
    } else {
        // The best matches first, then what they connect to.
        QStringList order(highlightNodes.begin(), highlightNodes.end());
        std::sort(order.begin(), order.end(), [this](const QString& a, const QString& b) {
            const double ra = m_answerRanks.value(a, 0.0);
            const double rb = m_answerRanks.value(b, 0.0);
            return ra != rb ? ra > rb : a < b;
        });
        m_canvases.showAnswer(highlightNodes, order);
        m_canvases.answer().rankAnswer(order);
        m_canvases.answer().fitGraph({}, true);
    }
    changed();
    emit answerChanged();
    HistoryEntry entry = HistoryEntry::make(question, m_state.cypher, m_state.explanation, settings.model,
                                            std::nullopt, strategy);
    entry.route = m_state.route;
    entry.routeContext = m_state.routeContext;
    if (!entry.cypher.isEmpty())
        entry.shape = renderedShape(); // the graph query of a graph-then-semantic answer is reused
    record(entry);
}

// -- Word search ---------------------------------------------------------------------------------------

QCoro::Task<> AskEngine::textFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings) {
    const std::optional<QList<Search>> found = scopedSearches(question, false);
    if (!found)
        co_return;
    QList<Search> searches;
    for (const Search& search : *found)
        if (!LooseQuery(search.text).isEmpty())
            searches.append(search);
    if (searches.isEmpty()) {
        addFinishedStep(QStringLiteral("Nothing to search for"), QString(), AskStep::Status::failed,
                        std::nullopt, QStringLiteral("Type a word, a name or a number."));
        co_return;
    }
    addStep(QStringLiteral("Searching names and text"), QStringLiteral("on this computer"));

    const GraphSchema& schema = m_core.project().schema;
    QHash<QString, TextSearch::Table> tables;
    QHash<QUuid, QList<LooseQuery>> byProperty;
    auto prepare = [&](const QString& table, const QString& typeName, const QList<PropertyDef>& properties,
                       const PropertyDef* title) {
        TextSearch::Table entry{typeName, title ? std::optional(title->column()) : std::nullopt, {}};
        for (const Search& search : searches) {
            TextSearch::Look look;
            look.query = LooseQuery(search.text);
            for (const PropertyDef& property : properties) {
                if (!search.scope.contains(property.id))
                    continue;
                look.columns.append(property.column());
                if (title && title->id == property.id)
                    look.title = property.column();
                byProperty[property.id].append(look.query);
            }
            if (!look.columns.isEmpty())
                entry.looks.append(look);
        }
        if (!entry.looks.isEmpty())
            tables.insert(table, entry);
    };
    for (const NodeType& type : schema.nodeTypes)
        prepare(type.table(), type.name, type.properties, type.title());
    for (const RelType& type : schema.relTypes)
        prepare(type.table(), type.name, type.properties, type.title());
    QHash<QUuid, LooseQuery> textQueries;
    for (auto it = byProperty.begin(); it != byProperty.end(); ++it)
        textQueries.insert(it.key(), it->size() == 1 ? it->first() : LooseQuery::either(*it));
    m_state.textQueries = textQueries;

    // The worker reads a snapshot: copies of the maps share their data until the session writes.
    const QHash<QString, NodeRecord> nodes = m_core.nodes();
    const QHash<QString, RelRecord> rels = m_core.rels();
    const CancellationToken token = flow->token;
    // The texts are folded once for a state of the records; a change of the records folds them again.
    // Every table's title, for ranking the titles as they are folded; a change of them folds again too.
    QHash<QString, TextSearch::Table> titles;
    QString titling;
    auto title = [&](const QString& table, const QString& typeName, const PropertyDef* property) {
        titles.insert(table, TextSearch::Table{
                                 typeName, property ? std::optional(property->column()) : std::nullopt, {}});
        titling +=
            table + QChar(1) + typeName + QChar(1) + (property ? property->column() : QString()) + QChar(2);
    };
    for (const NodeType& type : schema.nodeTypes)
        title(type.table(), type.name, type.title());
    for (const RelType& type : schema.relTypes)
        title(type.table(), type.name, type.title());
    std::shared_ptr<const TextSearch::Folded> folded;
    if (m_folded && m_foldedTopology == m_core.topology() && m_foldedTitling == titling)
        folded = m_folded;
    const int topology = m_core.topology();
    QFuture<TextSearchRun> searching = QtConcurrent::run([nodes, rels, tables, titles, folded, token]() {
        TextSearchRun result;
        QElapsedTimer timer;
        timer.start();
        try {
            result.folded = folded ? folded
                                   : std::make_shared<const TextSearch::Folded>(
                                         TextSearch::fold(nodes, rels, titles, token));
            const QList<TextSearch::Row> rows = TextSearch::search(*result.folded, tables, token);
            // The answer's rows are made here too, so that the main thread only places them.
            QueryOutput& output = result.output;
            output.columns = {QStringLiteral("record")};
            output.rows.reserve(rows.size());
            for (const TextSearch::Row& row : rows) {
                if (const auto node = nodes.constFind(row.id); node != nodes.constEnd())
                    output.rows.append({GraphValue::node(*node)});
                else if (const auto rel = rels.constFind(row.id); rel != rels.constEnd())
                    output.rows.append({GraphValue::relationship(*rel)});
            }
            output.totalRows = static_cast<int>(output.rows.size());
        } catch (const Cancelled&) {
            result.cancelled = true;
        }
        result.output.milliseconds = timer.nsecsElapsed() / 1e6;
        return result;
    });
    TextSearchRun ran = co_await searching;
    if (!alive(flow) || ran.cancelled)
        co_return;
    // Kept only while the records are as they were folded.
    if (m_core.topology() == topology) {
        m_folded = ran.folded;
        m_foldedTopology = topology;
        m_foldedTitling = titling;
    }
    const QueryOutput& output = ran.output;
    finishStep(AskStep::Status::done, QStringLiteral("Searched names and text"),
               countText(output.rows.size(), QStringLiteral("match"), QStringLiteral("matches")) +
                   QStringLiteral(" \u00b7 ") + msText(output.milliseconds),
               std::nullopt, scopeSummary(searches, false));
    show(output, true);
    record(HistoryEntry::make(question, QString(), QString(), settings.model, std::nullopt, std::nullopt));
}

} // namespace corvantis
