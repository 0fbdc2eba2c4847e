#pragma once

#include "kit/ai/AIClient.h"
#include "kit/ai/AIModel.h"
#include "kit/build/BuildMessage.h"
#include "kit/build/GraphDraft.h"
#include "kit/build/GraphReview.h"
#include "kit/schema/GraphSchema.h"

#include <QHash>
#include <QJsonObject>
#include <QPair>

namespace corvantis {

// A node that goes along with a build request: its id, its type's name and its title.
struct ExistingNode {
    QString id;
    QString type;
    QString title;
    bool operator==(const ExistingNode& other) const = default;
};

// The graph builder: the words that ask a model for a draft, the reading of the answer, and the checks
// that turn a draft into a review.
namespace GraphBuilder {

// The JSON schema of a draft; every object closed with additionalProperties false.
QJsonObject outputSchema();
QString systemPrompt();
// The shape as the builder tells it: node types with their properties, relationship types with pairs.
QString describe(const GraphSchema& schema);
// The nodes that go along, or empty.
QString describe(const QList<ExistingNode>& existing);
// The user text of one turn.
QString userText(const BuildMessage& message, const QList<BuildExchange>& history,
                 const std::optional<QString>& draft, const GraphSchema& schema,
                 const QList<ExistingNode>& existing);
QJsonObject requestBody(const AIModel& model, const BuildMessage& message,
                        const QList<BuildExchange>& history, const std::optional<QString>& draft,
                        const GraphSchema& schema, const QList<ExistingNode>& existing);
QJsonObject requestBody(const AIModel& model, const QString& text, const GraphSchema& schema,
                        const QList<ExistingNode>& existing);
// Reads a draft out of a response; fails with AIError "the draft didn't match what was asked for".
GraphDraft parse(const QJsonObject& response, double seconds);
// Asks for a draft (900 seconds).
QCoro::Task<GraphDraft> buildGraph(const AIClient& client, BuildMessage message, QList<BuildExchange> history,
                                   std::optional<QString> draft, GraphSchema schema,
                                   QList<ExistingNode> existing, AIModel model);

// Folded, lowercased words: runs of letters and digits, "&" read as "and".
QStringList keyWords(const QString& text);
// keyWords without a leading article (when more words follow), joined by a space.
QString nameKey(const QString& text);
// Ids of the names that the text mentions, in the order of `names`.
QStringList mentioned(const QString& text, const QList<QPair<QString, QString>>& names);
// The hits of a search by meaning that count: none below 0.68, else those within 0.06 of the best.
QList<QPair<QString, float>> passageMatches(const QList<QPair<QString, float>>& hits);
// Mentioned first, then similar by best score, each once, at most `limit`.
QStringList candidates(const QStringList& mentioned, const QList<QPair<QString, float>>& similar, int limit);

// Typed values of drafted properties for the definitions; unknown names and unreadable values drop out.
PropertyMap values(const QList<GraphDraft::Property>& properties, const QList<PropertyDef>& defs,
                   bool clearing);
// The draft checked against the shape and the graph.
GraphReview review(const GraphDraft& draft, const GraphSchema& schema,
                   const QHash<QString, NodeRecord>& existing);

} // namespace GraphBuilder

} // namespace corvantis
