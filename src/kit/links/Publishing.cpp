#include "kit/links/Publishing.h"

#include "kit/support/Json.h"

#include <QJsonDocument>

namespace corvantis::Publishing {

QJsonObject Record::toJson() const {
    QJsonObject object{
        {"slug", slug}, {"url", url}, {"site", site}, {"publishedAt", json::dateText(publishedAt)}};
    json::putOptional(object, "editKey", editKey);
    return object;
}

Record Record::fromJson(const QJsonObject& json) {
    Record record;
    record.slug = json::requireString(json, "slug");
    record.url = json::requireString(json, "url");
    record.editKey = json::optionalString(json, "editKey");
    record.site = json::requireString(json, "site");
    record.publishedAt = json::requireDate(json, "publishedAt");
    return record;
}

Response Response::fromJson(const QJsonObject& json) {
    Response response;
    response.slug = json::requireString(json, "slug");
    response.url = json::requireString(json, "url");
    response.editKey = json::optionalString(json, "editKey");
    response.nodes = int(json::requireDouble(json, "nodes"));
    response.relationships = int(json::requireDouble(json, "relationships"));
    response.updated = json::requireBool(json, "updated");
    if (auto user = json::optionalObject(json, "user")) {
        User decoded;
        decoded.handle = json::requireString(*user, "handle");
        decoded.name = json::requireString(*user, "name");
        decoded.key = json::optionalString(*user, "key");
        response.user = decoded;
    }
    response.error = json::optionalString(json, "error");
    return response;
}

std::optional<QUrl> endpoint(const QString& site) {
    QString base = site.trimmed();
    while (base.endsWith('/'))
        base.chop(1);
    const QUrl url(base + QStringLiteral("/api/publish"), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || url.host().isEmpty() ||
        (scheme != QLatin1String("https") && scheme != QLatin1String("http")))
        return std::nullopt;
    return url;
}

QString failureText(int status, const QByteArray& body) {
    if (status == 413)
        return QStringLiteral("This graph is too large to share.");
    const QJsonObject failure = QJsonDocument::fromJson(body).object();
    const QJsonValue error = failure.value(QStringLiteral("error"));
    if (error.isString() && !error.toString().trimmed().isEmpty())
        return error.toString();
    return QStringLiteral("The site answered %1.").arg(status);
}

} // namespace corvantis::Publishing
