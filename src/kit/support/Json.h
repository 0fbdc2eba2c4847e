#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QString>
#include <QUuid>
#include <optional>
#include <stdexcept>

// The one JSON helper of the program: every file is written pretty-printed with sorted keys, absent
// optionals left out, and read with required keys that fail the whole decoding when missing.
namespace corvantis::json {

// A document that could not be decoded; callers turn it into "empty" or "not listed" as their file says.
class DecodeError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Pretty-printed text with sorted keys (QJsonObject keeps its keys sorted) and a final line end.
QByteArray encode(const QJsonObject& object);
QByteArray encode(const QJsonArray& array);

// Parses text that must hold an object or an array; anything else fails with DecodeError.
QJsonObject decodeObject(const QByteArray& data);
QJsonArray decodeArray(const QByteArray& data);

// Required values: a missing key or a value of the wrong type fails with DecodeError.
QJsonValue require(const QJsonObject& object, const QString& key);
QString requireString(const QJsonObject& object, const QString& key);
double requireDouble(const QJsonObject& object, const QString& key);
bool requireBool(const QJsonObject& object, const QString& key);
QJsonObject requireObject(const QJsonObject& object, const QString& key);
QJsonArray requireArray(const QJsonObject& object, const QString& key);
QUuid requireUuid(const QJsonObject& object, const QString& key);
QDateTime requireDate(const QJsonObject& object, const QString& key);

// Optional values: absent (or null) gives nullopt; a present value of the wrong type fails.
std::optional<QString> optionalString(const QJsonObject& object, const QString& key);
std::optional<double> optionalDouble(const QJsonObject& object, const QString& key);
std::optional<int> optionalInt(const QJsonObject& object, const QString& key);
std::optional<bool> optionalBool(const QJsonObject& object, const QString& key);
std::optional<QUuid> optionalUuid(const QJsonObject& object, const QString& key);
std::optional<QJsonArray> optionalArray(const QJsonObject& object, const QString& key);
std::optional<QJsonObject> optionalObject(const QJsonObject& object, const QString& key);

// Writers that leave the key out when the value is absent.
void putOptional(QJsonObject& object, const QString& key, const std::optional<QString>& value);
void putOptional(QJsonObject& object, const QString& key, const std::optional<double>& value);
void putOptional(QJsonObject& object, const QString& key, const std::optional<bool>& value);
void putOptional(QJsonObject& object, const QString& key, const std::optional<QUuid>& value);

// UUIDs as upper-case text without braces, the form every file and id of the program uses.
QString uuidText(const QUuid& id);
std::optional<QUuid> parseUuid(const QString& text);

// Dates: UTC, ISO 8601 with a "Z" and no fractional seconds; reading is lenient about both.
QString dateText(const QDateTime& date);
std::optional<QDateTime> parseDate(const QString& text);

} // namespace corvantis::json
