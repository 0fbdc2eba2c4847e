#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUrl>
#include <optional>

// What publishing a project to a sharing site writes and reads: the record of where it went, the
// site's answer, and its failures.
namespace corvantis::Publishing {

// Where a project was published ("publish.json" in its folder).
struct Record {
    QString slug;
    QString url;
    std::optional<QString> editKey;
    QString site;
    QDateTime publishedAt;

    QJsonObject toJson() const;
    static Record fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const Record& other) const = default;
};

struct User {
    QString handle;
    QString name;
    std::optional<QString> key;
    bool operator==(const User& other) const = default;
};

// The site's answer to a publish.
struct Response {
    QString slug;
    QString url;
    std::optional<QString> editKey;
    int nodes = 0;
    int relationships = 0;
    bool updated = false;
    std::optional<User> user;
    std::optional<QString> error;

    static Response fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const Response& other) const = default;
};

// "{site}/api/publish" with the site trimmed and without a trailing "/"; none when that is no web URL.
std::optional<QUrl> endpoint(const QString& site);
// The sentence for an answer other than 200: too large for 413, the body's own "error" when it has one,
// else the status.
QString failureText(int status, const QByteArray& body);

} // namespace corvantis::Publishing
