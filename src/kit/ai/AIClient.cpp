#include "kit/ai/AIClient.h"

#include "kit/ai/AIError.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace corvantis {

AIClient::AIClient(std::shared_ptr<AITransport> transport, std::optional<AIEffort> effort,
                   CancellationToken cancellation)
    : m_transport(std::move(transport))
    , m_effort(effort)
    , m_cancellation(std::move(cancellation)) {
    Q_ASSERT(m_transport);
}

QJsonObject AIClient::structuredRequest(const QString& model, const QString& system,
                                        const QJsonValue& content, const QJsonObject& schema) {
    const QJsonObject format{{QStringLiteral("type"), QStringLiteral("json_schema")},
                             {QStringLiteral("schema"), schema}};
    return QJsonObject{
        {QStringLiteral("model"), model},
        {QStringLiteral("system"), system},
        {QStringLiteral("messages"), QJsonArray{QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                                            {QStringLiteral("content"), content}}}},
        {QStringLiteral("output_config"),
         QJsonObject{{QStringLiteral("format"), format}, {QStringLiteral("effort"), QStringLiteral("low")}}}};
}

QJsonObject AIClient::translationSchema() {
    const QJsonObject text{{QStringLiteral("type"), QStringLiteral("string")}};
    return QJsonObject{
        {QStringLiteral("type"), QStringLiteral("object")},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("cypher"), text}, {QStringLiteral("explanation"), text}}},
        {QStringLiteral("required"), QJsonArray{QStringLiteral("cypher"), QStringLiteral("explanation")}},
        {QStringLiteral("additionalProperties"), false}};
}

QJsonObject AIClient::requestBody(const AIModel& model, const GraphSchema& schema, const QString& question,
                                  const QList<QueryFailure>& failures) {
    return structuredRequest(model.id, PromptBuilder::system(schema), PromptBuilder::user(question, failures),
                             translationSchema());
}

QCoro::Task<CypherTranslation> AIClient::translate(QString question, GraphSchema schema, AIModel model,
                                                   QList<QueryFailure> failures) const {
    // Arguments of a co_await are named first: GCC 12 may destroy temporaries there twice.
    const QJsonObject body = requestBody(model, schema, question, failures);
    co_return co_await send(body, 120, &AIClient::parse);
}

QJsonObject AIClient::withEffort(QJsonObject body, const std::optional<AIEffort>& effort) {
    if (!effort)
        return body;
    const QJsonValue existing = body.value(QStringLiteral("output_config"));
    QJsonObject config = existing.isObject() ? existing.toObject() : QJsonObject();
    config.insert(QStringLiteral("effort"), effort->id());
    body.insert(QStringLiteral("output_config"), config);
    return body;
}

QJsonObject AIClient::answer(const QJsonObject& response) {
    const QJsonValue stop = response.value(QStringLiteral("stop_reason"));
    if (stop.isString()) {
        if (stop.toString() == QLatin1String("refusal")) {
            const QJsonValue explanation = response.value(QStringLiteral("stop_details"))
                                               .toObject()
                                               .value(QStringLiteral("explanation"));
            throw AIError::declined(explanation.isString() ? std::optional<QString>(explanation.toString())
                                                           : std::nullopt);
        }
        if (stop.toString() == QLatin1String("max_tokens"))
            throw AIError::truncated();
    }
    const QJsonArray content = response.value(QStringLiteral("content")).toArray();
    // The last text block wins: a tool may comment before its final answer.
    for (qsizetype i = content.size() - 1; i >= 0; --i) {
        const QJsonObject block = content.at(i).toObject();
        if (block.value(QStringLiteral("type")).toString() != QLatin1String("text"))
            continue;
        const QJsonValue text = block.value(QStringLiteral("text"));
        if (!text.isString())
            break;
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(text.toString().toUtf8(), &error);
        if (error.error != QJsonParseError::NoError || !document.isObject())
            break;
        return document.object();
    }
    throw AIError::malformed(QStringLiteral("no JSON in the answer"));
}

CypherTranslation AIClient::parse(const QJsonObject& response, double seconds) {
    const QJsonObject object = answer(response);
    const QJsonValue cypher = object.value(QStringLiteral("cypher"));
    if (object.isEmpty() || !cypher.isString())
        throw AIError::malformed(QStringLiteral("no query in the answer"));
    const QJsonValue explanation = object.value(QStringLiteral("explanation"));
    const QJsonValue model = response.value(QStringLiteral("model"));
    return CypherTranslation{cypher.toString().trimmed(),
                             explanation.isString() ? explanation.toString().trimmed() : QString(),
                             model.isString() ? model.toString() : QString(), seconds};
}

} // namespace corvantis
