#include "app/build/BuildImages.h"

#include <QBuffer>
#include <QImageReader>
#include <QPainter>

namespace corvantis::BuildImages {

std::optional<ShapeImage> encode(const QImage& image, int longest, double quality) {
    if (image.isNull())
        return std::nullopt;
    QImage scaled = image;
    if (std::max(image.width(), image.height()) > longest)
        scaled = image.scaled(longest, longest, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    // JPEG has no transparency: a transparent picture is laid on white.
    if (scaled.hasAlphaChannel()) {
        QImage flat(scaled.size(), QImage::Format_RGB32);
        flat.fill(Qt::white);
        QPainter painter(&flat);
        painter.drawImage(0, 0, scaled);
        painter.end();
        scaled = flat;
    }
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    if (!scaled.save(&buffer, "JPEG", int(quality * 100)) || data.isEmpty())
        return std::nullopt;
    return ShapeImage{data, QStringLiteral("image/jpeg")};
}

std::optional<QImage> readImageFile(const QString& path) {
    QImageReader reader(path);
    if (reader.format().isEmpty())
        return std::nullopt;
    reader.setAutoTransform(true);
    const QImage image = reader.read();
    if (image.isNull())
        return std::nullopt;
    return image;
}

QByteArray thumbnail(const QImage& image, int side) {
    if (image.isNull())
        return {};
    const QImage small = image.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    QByteArray data;
    QBuffer buffer(&data);
    buffer.open(QIODevice::WriteOnly);
    small.save(&buffer, "PNG");
    return data;
}

} // namespace corvantis::BuildImages
