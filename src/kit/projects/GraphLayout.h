#pragma once

#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QString>
#include <optional>

namespace corvantis {

struct LayoutPoint {
    double x = 0;
    double y = 0;
    bool operator==(const LayoutPoint& other) const = default;
};

// Where the nodes of the canvas stand, which are pinned, and what exploring has shown ("layout.json").
struct GraphLayout {
    QMap<QString, LayoutPoint> positions;
    QSet<QString> pinned;
    std::optional<QSet<QString>> shown;            // absent: never filtered by exploring
    std::optional<QMap<QString, QString>> parents; // node id -> the node it was expanded from

    QJsonObject toJson() const;
    static GraphLayout fromJson(const QJsonObject& json); // fails with json::DecodeError
    bool operator==(const GraphLayout& other) const = default;
};

} // namespace corvantis
