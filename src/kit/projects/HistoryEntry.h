#pragma once

#include "kit/ai/AIModel.h"
#include "kit/ai/RoutePlan.h"

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUuid>
#include <optional>

namespace corvantis {

// One answered question of the Ask bar, kept so that the same question can be answered again without
// asking a model ("history.json").
struct HistoryEntry {
    QUuid id;
    QString question;
    QString cypher;
    QString explanation;
    AIModel model;
    QDateTime date;
    std::optional<QString> shape; // fingerprint of the shape the query was made for
    std::optional<RetrievalStrategy> strategy;
    std::optional<RoutePlan> route;
    std::optional<QString> routeContext;

    // A new entry with a fresh id and the date of now; route and routeContext absent.
    static HistoryEntry make(const QString& question, const QString& cypher, const QString& explanation,
                             const AIModel& model, const std::optional<QString>& shape,
                             const std::optional<RetrievalStrategy>& strategy);

    // Lower-cased, blanks folded to one, trimmed of white space and of "?", "." and "!".
    static QString normalize(const QString& text);
    // Whether this entry's query answers the question again for the same shape, without a model.
    bool answers(const QString& question, const QString& shape) const;
    // The stored route for the same question and router context, if any.
    std::optional<RoutePlan> routeFor(const QString& forQuestion, const QString& context) const;

    QJsonObject toJson() const;
    static HistoryEntry fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const HistoryEntry& other) const = default;
};

} // namespace corvantis
