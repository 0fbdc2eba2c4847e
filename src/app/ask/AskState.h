#pragma once

#include "app/ask/AskStep.h"
#include "kit/ai/RoutePlan.h"
#include "kit/query/LooseQuery.h"
#include "kit/schema/QueryOutput.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <optional>

namespace corvantis {

// An answer on the canvas a page at a time: the result groups, whether the query fixed their order,
// and how many groups stand on the canvas.
struct AnswerPages {
    QList<QStringList> groups;
    bool ordered = false;
    int revealed = 0;
    friend bool operator==(const AnswerPages&, const AnswerPages&) = default;
};

// One record found by meaning, with its passages, best first.
struct AskMatch {
    QString recordId;
    double best = 0;
    struct Passage {
        QUuid property;
        QString text;
        double score = 0;
        friend bool operator==(const Passage&, const Passage&) = default;
    };
    QList<Passage> passages;
    friend bool operator==(const AskMatch&, const AskMatch&) = default;
};

// What a search by meaning found.
struct SemanticResult {
    QString query;
    QList<AskMatch> matches;
    QHash<QString, QStringList> neighbours;
    bool expanded = false;
    bool incomplete = false;
    friend bool operator==(const SemanticResult&, const SemanticResult&) = default;
};

// The Ask bar's model: the question, its steps and what they found.
struct AskState {
    QString draft;
    QString question;
    bool isWorking = false;
    QList<AskStep> steps;
    std::optional<RetrievalStrategy> strategy;
    QString cypher;
    QString explanation;
    std::optional<QueryOutput> output;
    std::optional<SemanticResult> semantic;
    QSet<QString> highlightNodes;
    QSet<QString> highlightRels;
    bool reused = false;
    std::optional<RoutePlan> route;
    std::optional<QString> routeContext;
    std::optional<QHash<QUuid, LooseQuery>> textQueries;
    AnswerPages pages;
    bool narrowable = false;
    bool narrowed = false;
    bool collapsed = false;

    friend bool operator==(const AskState&, const AskState&) = default;
};

} // namespace corvantis
