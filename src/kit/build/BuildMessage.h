#pragma once

#include "kit/build/ShapeImage.h"
#include "kit/links/BuildSource.h"

#include <QJsonObject>
#include <QList>

namespace corvantis {

// What one turn sends to the model: the words, the sources read on this machine and the pictures.
// Picture bytes never reach the disk: a saved message keeps only how many there were.
struct BuildMessage {
    QString text;
    QList<BuildSource> sources;
    QList<ShapeImage> images; // not stored
    qint64 keptPictures = 0;  // "pictures"

    qint64 pictureCount() const { return images.size() + keptPictures; }
    QJsonObject toJson() const;
    static BuildMessage fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const BuildMessage& other) const = default;
};

// One earlier turn as the model remembers it.
struct BuildExchange {
    BuildMessage message;
    QString reply;
    bool operator==(const BuildExchange& other) const = default;
};

} // namespace corvantis
