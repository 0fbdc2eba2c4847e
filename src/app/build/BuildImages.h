#pragma once

#include "kit/build/ShapeImage.h"

#include <QImage>
#include <optional>

// Pictures as they go to a model: JPEG, never larger than they need to be.
namespace corvantis::BuildImages {

// Scaled down (never up) so that the longest side is at most `longest`, as JPEG at `quality` (0 to 1);
// none when the picture gives no data.
std::optional<ShapeImage> encode(const QImage& image, int longest = 1568, double quality = 0.85);
// A picture file read through QImageReader; none when it isn't one.
std::optional<QImage> readImageFile(const QString& path);
// A small PNG for the attachment's chip.
QByteArray thumbnail(const QImage& image, int side = 96);

} // namespace corvantis::BuildImages
