#pragma once

#include <QHash>
#include <QImage>
#include <QString>

namespace corvantis {

// Still frames of videos for printing, through the platform's media player.
namespace VideoPoster {

// An early frame of the video, or a null image when none could be decoded within `timeoutMs`.
QImage frame(const QString& path, int timeoutMs = 5000);
// A frame of each video the text embeds, by file name; videos without a frame are left out.
QHash<QString, QImage> posters(const QString& text, const QString& attachments);

} // namespace VideoPoster

} // namespace corvantis
