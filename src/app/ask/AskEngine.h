#pragma once

#include "app/ask/AskSettings.h"
#include "app/ask/AskState.h"
#include "kit/ai/PromptBuilder.h"
#include "kit/projects/HistoryEntry.h"
#include "kit/query/AnswerFilter.h"
#include "kit/query/ScopeVocabulary.h"
#include "kit/query/TextSearch.h"
#include "kit/support/Cancellation.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>

namespace corvantis {

class CanvasViews;
class ProjectPreferences;
class SemanticSearcher;
class SessionCore;
class UserFacingError;

// The engine behind the Ask bar: it takes one question to rows on the canvas, shows each stage as a
// step, reaches a model only through the AI client, runs Cypher only through the guard and read-only,
// and keeps what it did in the project's history so that the same question later costs nothing. Answers
// go on the session's answer canvas, which shows the revealed groups that pass the answer filter.
// Everything happens on the main thread except the database call, the model call and the word search,
// which are awaited.
class AskEngine : public QObject {
    Q_OBJECT
public:
    AskEngine(SessionCore& core, ProjectPreferences& preferences, CanvasViews& canvases,
              QObject* parent = nullptr);
    ~AskEngine() override;

    const AskState& state() const { return m_state; }
    void setDraft(const QString& draft);
    void setCollapsed(bool collapsed);

    // The one entry point. `fresh`: route and translate afresh instead of reusing the history.
    void ask(const QString& question, const AskSettings& settings, bool fresh = false);
    // Runs a query that is ready (a replayed history entry) in the same frame, without a model.
    void runCypher(const QString& cypher, const QString& question, const QString& explanation,
                   const QString& title);
    // Stops the running flow: its tool is terminated and its last step stays as it stands.
    void cancel();
    // Back to an empty state.
    void clearAsk();
    void removeHistory(const QUuid& id);
    // Questions to start from, built from the shape and the counts of each type.
    QStringList suggestedQuestions() const;

    // -- Search scopes ---------------------------------------------------------------------------------
    QSet<QUuid> searchScope() const;
    QSet<QUuid> textSearchScope() const;
    ScopeVocabulary scopeVocabulary(bool vector) const;
    // The embedding service's search; null means no embedding model here.
    void setSemanticSearcher(SemanticSearcher* searcher) { m_searcher = searcher; }

    // -- The answer ------------------------------------------------------------------------------------
    struct Counts {
        int shown = 0;
        int total = 0;
        friend bool operator==(const Counts&, const Counts&) = default;
    };
    struct TypeCount {
        QUuid type;
        QString name;
        QString table;
        int count = 0;
    };
    struct ChoiceCount {
        QUuid type;
        QUuid property;
        QString name;
        QList<QPair<QString, int>> values;
    };
    struct Hub {
        QString id;
        int count = 0;
    };

    // The groups as the canvas shows them: the answer's groups narrowed by the answer filter.
    const QList<QStringList>& answerGroups() const { return m_answerGroups; }
    Counts answerCounts() const;
    QList<TypeCount> answerTypes() const;
    QList<ChoiceCount> answerChoices() const;
    std::optional<Hub> answerHub() const;
    bool answerIsLarge() const;
    // The groups the next page would reveal, [first, end).
    QPair<int, int> nextAnswerPage() const;
    // The node ids on the answer view: the first `revealed` filtered groups.
    const QSet<QString>& answerShown() const { return m_answerShown; }
    // Each answer record's rank for the canvas's answer order.
    const QHash<QString, double>& answerRanks() const { return m_answerRanks; }
    void showMoreAnswer();
    void showAllAnswer();
    void narrowAnswer(const AskSettings& settings);
    const AnswerFilter& answerFilter() const { return m_filter; }
    void setAnswerFilter(const AnswerFilter& filter);

signals:
    void stateChanged();
    void historyChanged();
    // The answer's groups, filter, or what stands on the canvas changed.
    void answerChanged();

private:
    // The running task: its engine (gone when the engine is), and the token that cancels its model call.
    struct Flow {
        QPointer<AskEngine> engine;
        CancellationToken token;
    };
    enum class RunOutcome { success, failure, refused };
    struct RunResult {
        RunOutcome outcome = RunOutcome::refused;
        QueryOutput output;
        QString message;
    };
    struct Translated {
        QueryOutput output;
        QString cypher;
        QString explanation;
        AIModel model;
    };
    struct Narrowing {
        QString cypher;
        qint64 rows = 0;
    };
    struct Search {
        QString text;
        QSet<QUuid> scope;
    };

    void begin(const QString& question);
    std::shared_ptr<Flow> newFlow();
    static bool alive(const std::shared_ptr<Flow>& flow);
    void changed();

    QCoro::Task<> dispatch(std::shared_ptr<Flow> flow, QString question, AskSettings settings, bool fresh);
    QCoro::Task<> cypherFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings, bool fresh,
                             std::optional<Narrowing> narrowing);
    QCoro::Task<> rawFlow(std::shared_ptr<Flow> flow, QString text, AskSettings settings);
    QCoro::Task<> replayFlow(std::shared_ptr<Flow> flow, QString cypher, QString question,
                             QString explanation, QString title);
    QCoro::Task<std::optional<Translated>> translateAndRun(std::shared_ptr<Flow> flow, QString question,
                                                           AskSettings settings, bool reuse,
                                                           std::optional<Narrowing> narrowing);
    QCoro::Task<RunResult> run(std::shared_ptr<Flow> flow, QString cypher);
    QCoro::Task<> autoFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings, bool fresh);
    QCoro::Task<> semanticFlow(std::shared_ptr<Flow> flow, QString question, QList<Search> searches,
                               std::optional<QSet<QString>> candidates, bool expand,
                               RetrievalStrategy strategy, QString explanation, AskSettings settings);
    QCoro::Task<> textFlow(std::shared_ptr<Flow> flow, QString question, AskSettings settings);
    std::optional<QList<Search>> scopedSearches(const QString& text, bool vector);
    std::optional<QString> scopeSummary(const QList<Search>& searches, bool vector) const;

    void show(const QueryOutput& output, bool ordered);
    void record(HistoryEntry entry);
    AskStep& addStep(const QString& title, const QString& meta = {});
    void addFinishedStep(const QString& title, const QString& meta, AskStep::Status status,
                         const std::optional<QString>& cypher = {}, const std::optional<QString>& detail = {},
                         const std::optional<AskStep::Action>& action = {});
    void finishStep(AskStep::Status status, const QString& title, const QString& meta,
                    const std::optional<QString>& cypher = {}, const std::optional<QString>& detail = {},
                    const std::optional<AskStep::Action>& action = {});
    std::function<void(const QString&)> thinkingInto(const QUuid& step);
    class AIClient makeClient(const AskSettings& settings, bool router, const QUuid& step,
                              const std::shared_ptr<Flow>& flow);
    QString renderedShape() const;
    void refilter();
    void placeRevealed();
    // Puts `answerShown` on the answer canvas: afresh (a new answer) or by the difference, then fits.
    void placeOnCanvas(bool fresh);

    SessionCore& m_core;
    ProjectPreferences& m_preferences;
    CanvasViews& m_canvases;
    SemanticSearcher* m_searcher = nullptr;
    AskState m_state;
    std::shared_ptr<Flow> m_flow;
    AnswerFilter m_filter;
    QList<QStringList> m_answerGroups;
    QSet<QString> m_answerShown;
    QHash<QString, double> m_answerRanks;
    // Every record's texts folded for word search, and the `topology` they were folded at.
    std::shared_ptr<const TextSearch::Folded> m_folded;
    int m_foldedTopology = -1;
    QString m_foldedTitling; // the tables' titles they were ranked by
};

} // namespace corvantis
