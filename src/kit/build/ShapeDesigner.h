#pragma once

#include "kit/ai/AIClient.h"
#include "kit/ai/AIModel.h"
#include "kit/build/BuildMessage.h"
#include "kit/schema/GraphSchema.h"

#include <QJsonObject>

namespace corvantis {

// What a model proposes to add to the shape.
struct ShapeDraft {
    struct Property {
        QString name;
        PropertyKind kind = PropertyKind::Text;
        bool operator==(const Property& other) const = default;
    };
    struct NodeTypeDraft {
        QString name;
        QString title; // the name of its title property; empty for additions to an existing type
        QList<Property> properties;
        bool operator==(const NodeTypeDraft& other) const = default;
    };
    struct Relationship {
        QString name;
        QString from;
        QString to;
        QList<Property> properties;
        bool operator==(const Relationship& other) const = default;
    };
    QList<NodeTypeDraft> types;
    QList<Relationship> relationships;
    QString summary;

    QJsonObject toJson() const;
    static ShapeDraft fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const ShapeDraft& other) const = default;
};

// What one merge added to the shape; saved with the turn.
struct ShapeMergeResult {
    qint64 types = 0;
    qint64 properties = 0;
    qint64 relationships = 0;
    bool isEmpty() const { return types == 0 && properties == 0 && relationships == 0; }
    QJsonObject toJson() const;
    static ShapeMergeResult fromJson(const QJsonObject& json);
    bool operator==(const ShapeMergeResult& other) const = default;
};

// The shape designer: a description or a picture turned into additions to the shape. It only ever adds.
namespace ShapeDesigner {

QJsonObject outputSchema();
QString systemPrompt();
// The present shape as the designer tells it.
QString describe(const GraphSchema& schema);
QString userText(const BuildMessage& message, const QList<BuildExchange>& history,
                 const GraphSchema& existing);
QJsonObject requestBody(const AIModel& model, const BuildMessage& message,
                        const QList<BuildExchange>& history, const GraphSchema& existing);
QJsonObject requestBody(const AIModel& model, const QString& description,
                        const std::optional<ShapeImage>& image, const GraphSchema& existing);
// Fails with AIError "the shape didn't match what was asked for".
ShapeDraft parse(const QJsonObject& response, double seconds);
QCoro::Task<ShapeDraft> designShape(const AIClient& client, BuildMessage message,
                                    QList<BuildExchange> history, GraphSchema existing, AIModel model);

// Adds what the schema lacks, comparing by database names; never changes or removes anything.
ShapeMergeResult merge(GraphSchema& schema, const ShapeDraft& draft);
// Places the node types at `added` (indices) to the right of the others.
void layOut(GraphSchema& schema, const QList<int>& added);

} // namespace ShapeDesigner

} // namespace corvantis
