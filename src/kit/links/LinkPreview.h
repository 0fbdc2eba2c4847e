#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

namespace corvantis {

// What a card shows for a link: its title, its site and a picture from the preview cache.
struct LinkPreview {
    QString url;
    std::optional<QString> title;
    QString site;
    std::optional<QString> imageFile; // a file name in the cache folder
    bool imageIsIcon = false;         // the picture is the site's icon, not the page's own picture
    bool isVideo = false;

    QJsonObject toJson() const;
    // Only `title` and `imageFile` may be missing; fails with json::DecodeError.
    static LinkPreview fromJson(const QJsonObject& json);
    bool operator==(const LinkPreview& other) const = default;
};

} // namespace corvantis
