#include "kit/graph/GraphAdded.h"

#include "kit/support/Json.h"

#include <cmath>

namespace corvantis {

namespace {

qint64 count(double value, const QString& key) {
    if (!std::isfinite(value) || value != std::trunc(value))
        throw json::DecodeError(QStringLiteral("“%1” is not a whole number").arg(key).toStdString());
    return static_cast<qint64>(value);
}

qint64 requireCount(const QJsonObject& json, const QString& key) {
    return count(json::requireDouble(json, key), key);
}

qint64 optionalCount(const QJsonObject& json, const QString& key) {
    auto value = json::optionalDouble(json, key);
    return value ? count(*value, key) : 0;
}

} // namespace

QJsonObject GraphAdded::toJson() const {
    return QJsonObject{{QStringLiteral("nodes"), nodes},
                       {QStringLiteral("relationships"), relationships},
                       {QStringLiteral("matched"), matched},
                       {QStringLiteral("filled"), filled},
                       {QStringLiteral("removedNodes"), removedNodes},
                       {QStringLiteral("removedRelationships"), removedRelationships},
                       {QStringLiteral("changed"), changed}};
}

GraphAdded GraphAdded::fromJson(const QJsonObject& json) {
    GraphAdded added;
    added.nodes = requireCount(json, QStringLiteral("nodes"));
    added.relationships = requireCount(json, QStringLiteral("relationships"));
    added.matched = requireCount(json, QStringLiteral("matched"));
    added.filled = requireCount(json, QStringLiteral("filled"));
    added.removedNodes = optionalCount(json, QStringLiteral("removedNodes"));
    added.removedRelationships = optionalCount(json, QStringLiteral("removedRelationships"));
    added.changed = optionalCount(json, QStringLiteral("changed"));
    return added;
}

} // namespace corvantis
