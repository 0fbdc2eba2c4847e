#include "kit/links/BuildSource.h"

#include "kit/support/Json.h"

#include <QRegularExpression>

namespace corvantis {

qsizetype BuildSource::words() const {
    qsizetype count = 0;
    bool inWord = false;
    for (QChar c : text) {
        const bool space = c.isSpace();
        if (!space && !inWord)
            ++count;
        inWord = !space;
    }
    return count;
}

QJsonObject BuildSource::toJson() const {
    return QJsonObject{{QStringLiteral("id"), json::uuidText(id)},
                       {QStringLiteral("title"), title},
                       {QStringLiteral("location"), location},
                       {QStringLiteral("text"), text},
                       {QStringLiteral("truncated"), truncated}};
}

BuildSource BuildSource::fromJson(const QJsonObject& json) {
    return BuildSource{json::requireUuid(json, QStringLiteral("id")),
                       json::requireString(json, QStringLiteral("title")),
                       json::requireString(json, QStringLiteral("location")),
                       json::requireString(json, QStringLiteral("text")),
                       json::requireBool(json, QStringLiteral("truncated"))};
}

} // namespace corvantis
