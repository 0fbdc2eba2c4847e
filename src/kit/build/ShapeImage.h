#pragma once

#include <QByteArray>
#include <QString>

namespace corvantis {

// A picture sent to the model: its encoded bytes and their media type.
struct ShapeImage {
    QByteArray data;
    QString mediaType;
    bool operator==(const ShapeImage& other) const = default;
};

} // namespace corvantis
