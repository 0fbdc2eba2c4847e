#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <optional>

// What a page's head says about it: its title, its picture, its icon, and whether it is a video. Read with
// regular expressions, which is all a card needs and never runs the page.
namespace corvantis::HTMLMetadata {

struct Result {
    std::optional<QString> title;
    std::optional<QUrl> image;
    std::optional<QUrl> icon;
    bool isVideo = false;
    bool operator==(const Result& other) const = default;
};

// The title from "og:title", "twitter:title" or the title element; the image from the Open Graph or
// Twitter tags, resolved against `baseURL` (http and https only); the icon from the page's links, else
// "/favicon.ico" at the base's root.
Result parse(const QString& html, const QUrl& baseURL);
// Every opening tag of that name, as written.
QStringList tags(const QString& name, const QString& html);
// A tag's attributes, names lower-cased, values as written.
QHash<QString, QString> attributes(const QString& tag);
// Named and numeric character references replaced by their characters.
QString decodeEntities(const QString& text);

} // namespace corvantis::HTMLMetadata
