#pragma once

#include "kit/mcp/MCPTool.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

// What a connected app may do in Corvantis: the table of tools with their words, the instructions sent
// at "initialize", and the lenient reading of arguments (clients vary in what they send).
namespace corvantis::CorvantisMCP {

// The eleven tools, in the order "tools/list" gives them.
const QList<MCPTool>& tools();
// The text sent in "initialize".
QString instructions();

// {"type": "object", "properties", "required", "additionalProperties": false}.
QJsonObject object(const QJsonObject& properties, const QStringList& required);
// The draft a model would return from the Build panel, plus "request"; and the same for the shape.
QJsonObject proposalSchema();
QJsonObject shapeSchema();

// A JSON scalar read as text: a string stays, a whole number is written without a fraction, another
// number in full, a bool as "true" or "false"; anything else gives nothing.
std::optional<QString> text(const QJsonValue& value);

// A count argument read leniently (a number, or digits in a string), clamped to [minimum, maximum];
// `fallback` when it is missing or unreadable.
int limit(const QJsonObject& arguments, const QString& key, int fallback, int minimum, int maximum);

} // namespace corvantis::CorvantisMCP
