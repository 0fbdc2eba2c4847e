#include "kit/projects/HistoryEntry.h"

#include "kit/support/Json.h"

#include <QRegularExpression>

namespace corvantis {

HistoryEntry HistoryEntry::make(const QString& question, const QString& cypher, const QString& explanation,
                                const AIModel& model, const std::optional<QString>& shape,
                                const std::optional<RetrievalStrategy>& strategy) {
    HistoryEntry entry;
    entry.id = QUuid::createUuid();
    entry.question = question;
    entry.cypher = cypher;
    entry.explanation = explanation;
    entry.model = model;
    entry.date = QDateTime::currentDateTimeUtc();
    entry.shape = shape;
    entry.strategy = strategy;
    return entry;
}

QString HistoryEntry::normalize(const QString& text) {
    const QStringList pieces =
        text.toLower().split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    QString joined = pieces.join(' ');
    auto strip = [](QChar c) {
        return c.isSpace() || c == '?' || c == '.' || c == '!';
    };
    qsizetype start = 0;
    qsizetype end = joined.size();
    while (start < end && strip(joined[start]))
        ++start;
    while (end > start && strip(joined[end - 1]))
        --end;
    return joined.mid(start, end - start);
}

bool HistoryEntry::answers(const QString& asked, const QString& currentShape) const {
    if (cypher.isEmpty() || !shape || *shape != currentShape)
        return false;
    QString comparison;
    switch (strategy.value_or(RetrievalStrategy::cypher).value()) {
    case RetrievalStrategy::cypher:
        comparison = question;
        break;
    case RetrievalStrategy::graphThenSemantic:
        if (!route)
            return false;
        comparison = route->graphQuestion.isEmpty() ? question : route->graphQuestion;
        break;
    case RetrievalStrategy::semantic:
    case RetrievalStrategy::semanticThenGraph:
        return false;
    }
    return normalize(comparison) == normalize(asked);
}

std::optional<RoutePlan> HistoryEntry::routeFor(const QString& forQuestion, const QString& context) const {
    if (!route || routeContext != context || normalize(question) != normalize(forQuestion))
        return std::nullopt;
    return route;
}

QJsonObject HistoryEntry::toJson() const {
    QJsonObject json{
        {"id", json::uuidText(id)},   {"question", question}, {"cypher", cypher},
        {"explanation", explanation}, {"model", model.id},    {"date", json::dateText(date)},
    };
    json::putOptional(json, "shape", shape);
    if (strategy)
        json.insert("strategy", strategy->rawValue());
    if (route)
        json.insert("route", route->toJson());
    json::putOptional(json, "routeContext", routeContext);
    return json;
}

HistoryEntry HistoryEntry::fromJson(const QJsonObject& json) {
    HistoryEntry entry;
    entry.id = json::requireUuid(json, "id");
    entry.question = json::requireString(json, "question");
    entry.cypher = json::requireString(json, "cypher");
    entry.explanation = json::requireString(json, "explanation");
    entry.model = AIModel::resolve(json::requireString(json, "model"));
    entry.date = json::requireDate(json, "date");
    entry.shape = json::optionalString(json, "shape");
    if (auto strategy = json::optionalString(json, "strategy")) {
        entry.strategy = RetrievalStrategy::fromRawValue(*strategy);
        if (!entry.strategy)
            throw json::DecodeError("unknown retrieval strategy");
    }
    if (auto route = json::optionalObject(json, "route"))
        entry.route = RoutePlan::fromJson(*route);
    entry.routeContext = json::optionalString(json, "routeContext");
    return entry;
}

} // namespace corvantis
