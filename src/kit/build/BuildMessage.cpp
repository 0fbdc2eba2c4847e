#include "kit/build/BuildMessage.h"

#include "kit/support/Json.h"

#include <QJsonArray>

namespace corvantis {

QJsonObject BuildMessage::toJson() const {
    QJsonArray sourceArray;
    for (const BuildSource& source : sources)
        sourceArray.append(source.toJson());
    return QJsonObject{{QStringLiteral("text"), text},
                       {QStringLiteral("sources"), sourceArray},
                       {QStringLiteral("pictures"), pictureCount()}};
}

BuildMessage BuildMessage::fromJson(const QJsonObject& json) {
    BuildMessage message;
    message.text = json::requireString(json, QStringLiteral("text"));
    if (auto array = json::optionalArray(json, QStringLiteral("sources")))
        for (const QJsonValue& value : *array) {
            if (!value.isObject())
                throw json::DecodeError("expected a source");
            message.sources.append(BuildSource::fromJson(value.toObject()));
        }
    message.keptPictures =
        static_cast<qint64>(json::optionalDouble(json, QStringLiteral("pictures")).value_or(0));
    return message;
}

} // namespace corvantis
