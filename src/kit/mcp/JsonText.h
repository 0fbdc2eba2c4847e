#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonValue>
#include <optional>

// JSON on one line, as the connector sends it: keys sorted (QJsonObject keeps them so), slashes left
// as they are, nothing but the value itself.
namespace corvantis::JsonText {

// The value written compactly; a scalar as itself ("1", "\"a\"", "null").
QByteArray compact(const QJsonValue& value);

// The text of a member of the object that `text` holds, exactly as it stands there, without the
// whitespace around it: `{"id": 1.50}` gives `1.50` for "id". The last member of that name counts.
// Absent when the text is not one well-formed object or holds no such member. Escapes in names are
// decoded before comparing.
std::optional<QByteArray> rawMember(QByteArrayView text, QStringView name);

} // namespace corvantis::JsonText
