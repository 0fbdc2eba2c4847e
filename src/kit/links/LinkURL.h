#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// URL helpers shared by link previews, the source reader and the shape's link properties.
namespace corvantis::LinkURL {

// Trims white space and line feeds; an http or https URL with a host, or none. Text with spaces is
// refused; text without a scheme but with a dot gets "https://" in front.
std::optional<QUrl> normalize(const QString& text);
// The host without a leading "www.".
QString site(const QUrl& url);
// The video id of a YouTube link: a watch, shorts, embed, live or /v/ link on youtube.com (any of its
// hosts) or youtube-nocookie.com, or a youtu.be link; none for any other link.
std::optional<QString> youTubeID(const QUrl& url);

} // namespace corvantis::LinkURL
