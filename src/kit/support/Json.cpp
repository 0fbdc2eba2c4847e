#include "kit/support/Json.h"

#include <QJsonDocument>
#include <QJsonParseError>

namespace corvantis::json {

namespace {

[[noreturn]] void fail(const QString& what) {
    throw DecodeError(what.toStdString());
}

QJsonDocument parse(const QByteArray& data) {
    QJsonParseError error;
    auto doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError)
        fail(QStringLiteral("invalid JSON: %1").arg(error.errorString()));
    return doc;
}

QJsonValue present(const QJsonObject& object, const QString& key) {
    auto value = object.value(key);
    return value.isUndefined() ? QJsonValue(QJsonValue::Null) : value;
}

} // namespace

QByteArray encode(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QByteArray encode(const QJsonArray& array) {
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

QJsonObject decodeObject(const QByteArray& data) {
    auto doc = parse(data);
    if (!doc.isObject())
        fail(QStringLiteral("expected a JSON object"));
    return doc.object();
}

QJsonArray decodeArray(const QByteArray& data) {
    auto doc = parse(data);
    if (!doc.isArray())
        fail(QStringLiteral("expected a JSON array"));
    return doc.array();
}

QJsonValue require(const QJsonObject& object, const QString& key) {
    auto value = object.value(key);
    if (value.isUndefined())
        fail(QStringLiteral("missing key \"%1\"").arg(key));
    return value;
}

QString requireString(const QJsonObject& object, const QString& key) {
    auto value = require(object, key);
    if (!value.isString())
        fail(QStringLiteral("\"%1\" is not a string").arg(key));
    return value.toString();
}

double requireDouble(const QJsonObject& object, const QString& key) {
    auto value = require(object, key);
    if (!value.isDouble())
        fail(QStringLiteral("\"%1\" is not a number").arg(key));
    return value.toDouble();
}

bool requireBool(const QJsonObject& object, const QString& key) {
    auto value = require(object, key);
    if (!value.isBool())
        fail(QStringLiteral("\"%1\" is not a bool").arg(key));
    return value.toBool();
}

QJsonObject requireObject(const QJsonObject& object, const QString& key) {
    auto value = require(object, key);
    if (!value.isObject())
        fail(QStringLiteral("\"%1\" is not an object").arg(key));
    return value.toObject();
}

QJsonArray requireArray(const QJsonObject& object, const QString& key) {
    auto value = require(object, key);
    if (!value.isArray())
        fail(QStringLiteral("\"%1\" is not an array").arg(key));
    return value.toArray();
}

QUuid requireUuid(const QJsonObject& object, const QString& key) {
    auto id = parseUuid(requireString(object, key));
    if (!id)
        fail(QStringLiteral("\"%1\" is not a UUID").arg(key));
    return *id;
}

QDateTime requireDate(const QJsonObject& object, const QString& key) {
    auto date = parseDate(requireString(object, key));
    if (!date)
        fail(QStringLiteral("\"%1\" is not a date").arg(key));
    return *date;
}

std::optional<QString> optionalString(const QJsonObject& object, const QString& key) {
    auto value = present(object, key);
    if (value.isNull())
        return std::nullopt;
    if (!value.isString())
        fail(QStringLiteral("\"%1\" is not a string").arg(key));
    return value.toString();
}

std::optional<double> optionalDouble(const QJsonObject& object, const QString& key) {
    auto value = present(object, key);
    if (value.isNull())
        return std::nullopt;
    if (!value.isDouble())
        fail(QStringLiteral("\"%1\" is not a number").arg(key));
    return value.toDouble();
}

std::optional<int> optionalInt(const QJsonObject& object, const QString& key) {
    auto number = optionalDouble(object, key);
    if (!number)
        return std::nullopt;
    return static_cast<int>(*number);
}

std::optional<bool> optionalBool(const QJsonObject& object, const QString& key) {
    auto value = present(object, key);
    if (value.isNull())
        return std::nullopt;
    if (!value.isBool())
        fail(QStringLiteral("\"%1\" is not a bool").arg(key));
    return value.toBool();
}

std::optional<QUuid> optionalUuid(const QJsonObject& object, const QString& key) {
    auto text = optionalString(object, key);
    if (!text)
        return std::nullopt;
    auto id = parseUuid(*text);
    if (!id)
        fail(QStringLiteral("\"%1\" is not a UUID").arg(key));
    return id;
}

std::optional<QJsonArray> optionalArray(const QJsonObject& object, const QString& key) {
    auto value = present(object, key);
    if (value.isNull())
        return std::nullopt;
    if (!value.isArray())
        fail(QStringLiteral("\"%1\" is not an array").arg(key));
    return value.toArray();
}

std::optional<QJsonObject> optionalObject(const QJsonObject& object, const QString& key) {
    auto value = present(object, key);
    if (value.isNull())
        return std::nullopt;
    if (!value.isObject())
        fail(QStringLiteral("\"%1\" is not an object").arg(key));
    return value.toObject();
}

void putOptional(QJsonObject& object, const QString& key, const std::optional<QString>& value) {
    if (value)
        object.insert(key, *value);
}

void putOptional(QJsonObject& object, const QString& key, const std::optional<double>& value) {
    if (value)
        object.insert(key, *value);
}

void putOptional(QJsonObject& object, const QString& key, const std::optional<bool>& value) {
    if (value)
        object.insert(key, *value);
}

void putOptional(QJsonObject& object, const QString& key, const std::optional<QUuid>& value) {
    if (value)
        object.insert(key, uuidText(*value));
}

QString uuidText(const QUuid& id) {
    return id.toString(QUuid::WithoutBraces).toUpper();
}

std::optional<QUuid> parseUuid(const QString& text) {
    QUuid id = QUuid::fromString(text.trimmed());
    if (id.isNull())
        return std::nullopt;
    return id;
}

QString dateText(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss'Z'"));
}

std::optional<QDateTime> parseDate(const QString& text) {
    auto date = QDateTime::fromString(text, Qt::ISODateWithMs);
    if (!date.isValid())
        date = QDateTime::fromString(text, Qt::ISODate);
    if (!date.isValid())
        return std::nullopt;
    return date.toUTC();
}

} // namespace corvantis::json
