#pragma once

#include <QJsonObject>
#include <QtGlobal>

namespace corvantis {

// The count of what applying one plan did, saved with the conversation's turn.
struct GraphAdded {
    qint64 nodes = 0;
    qint64 relationships = 0;
    qint64 matched = 0;
    qint64 filled = 0;
    qint64 removedNodes = 0;
    qint64 removedRelationships = 0;
    qint64 changed = 0;

    QJsonObject toJson() const;
    // The first four keys are required; the others count 0 when missing. Fails with json::DecodeError.
    static GraphAdded fromJson(const QJsonObject& json);
    bool operator==(const GraphAdded& other) const = default;
};

} // namespace corvantis
