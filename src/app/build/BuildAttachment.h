#pragma once

#include <QByteArray>
#include <QImage>
#include <QUrl>
#include <QUuid>
#include <optional>

namespace corvantis {

// Something the person attached to a message: a file, or a picture taken in by paste or drop.
struct BuildAttachment {
    QUuid id;
    std::optional<QUrl> file;    // a file
    std::optional<QImage> image; // a picture
    QString title;
    std::optional<QByteArray> thumbnail; // PNG

    // Two attachments of the same file, or of the same picture, are equal whatever their ids.
    bool sameAs(const BuildAttachment& other) const {
        if (file || other.file)
            return file == other.file;
        return image && other.image && *image == *other.image;
    }
    // The media types the panel takes: PDF, text, HTML, Markdown and pictures.
    static const QStringList& readableTypes();
};

} // namespace corvantis
