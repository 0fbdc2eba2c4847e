#pragma once

#include "kit/ai/AIEffort.h"
#include "kit/ai/AIModel.h"
#include "kit/ai/AITransport.h"
#include "kit/ai/PromptBuilder.h"
#include "kit/support/Cancellation.h"

#include <QElapsedTimer>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <qcoro/qcorotask.h>
#include <type_traits>

namespace corvantis {

// What a translation gives: the query, a sentence for the user, who wrote it and how long it took.
struct CypherTranslation {
    QString cypher;
    QString explanation;
    QString modelID;
    double seconds = 0;
    friend bool operator==(const CypherTranslation&, const CypherTranslation&) = default;
};

// The one client for every structured model call: a request is a system text, a user text and a JSON
// schema; the answer is one JSON object held to that schema. The client sets the effort chosen by the
// user and measures the time; it never retries (repair loops belong to the callers).
class AIClient {
public:
    explicit AIClient(std::shared_ptr<AITransport> transport, std::optional<AIEffort> effort = std::nullopt,
                      CancellationToken cancellation = CancellationToken());

    const std::shared_ptr<AITransport>& transport() const { return m_transport; }
    const std::optional<AIEffort>& effort() const { return m_effort; }
    const CancellationToken& cancellation() const { return m_cancellation; }

    // A structured request: model, system, one user message, and output_config with the schema and the
    // effort "low". `content` is a string, or an array of blocks for a message that carries pictures.
    static QJsonObject structuredRequest(const QString& model, const QString& system,
                                         const QJsonValue& content, const QJsonObject& schema);
    // The schema of a translation's answer: cypher and explanation, both strings.
    static QJsonObject translationSchema();
    static QJsonObject requestBody(const AIModel& model, const GraphSchema& schema, const QString& question,
                                   const QList<QueryFailure>& failures = {});

    // Translates a question into Cypher, with the failed attempts so far (oldest first). 120 seconds.
    QCoro::Task<CypherTranslation> translate(QString question, GraphSchema schema, AIModel model,
                                             QList<QueryFailure> failures = {}) const;

    // Sends a structured request and reads the response with `parse(response, seconds)`.
    template <typename Parse>
    auto send(QJsonObject body, double timeout, Parse parse) const
        -> QCoro::Task<std::invoke_result_t<Parse, const QJsonObject&, double>> {
        // Tasks start at once, so these copies are taken before the client could go away.
        const std::shared_ptr<AITransport> transport = m_transport;
        const CancellationToken cancellation = m_cancellation;
        body = withEffort(body, m_effort);
        QElapsedTimer timer;
        timer.start();
        const QJsonObject response = co_await transport->send(body, timeout, cancellation);
        const double seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
        co_return parse(response, seconds);
    }

    // The JSON object of a response's last text block; fails with AIError for a refusal, a cut-off
    // answer, or no readable object.
    static QJsonObject answer(const QJsonObject& response);
    // Reads a translation; fails with AIError.
    static CypherTranslation parse(const QJsonObject& response, double seconds);

    // The body with output_config.effort set to `effort`, or unchanged without one.
    static QJsonObject withEffort(QJsonObject body, const std::optional<AIEffort>& effort);

private:
    std::shared_ptr<AITransport> m_transport;
    std::optional<AIEffort> m_effort;
    CancellationToken m_cancellation;
};

} // namespace corvantis
