#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

namespace corvantis {

// What a model returns for a build turn (and what a connected app proposes): plain strings, with the
// model's own handles instead of ids. It lives only for the step that reads it.
struct GraphDraft {
    struct Property {
        QString name;
        QString value;
        bool operator==(const Property& other) const = default;
    };
    struct Node {
        QString ref;
        QString type;
        QList<Property> properties;
        bool operator==(const Node& other) const = default;
    };
    struct Relationship {
        QString type;
        QString from;
        QString to;
        QList<Property> properties;
        bool operator==(const Relationship& other) const = default;
    };
    struct Change {
        QString action; // "remove" or "update"
        QString description;
        QString query;
        QList<Property> properties;
        bool operator==(const Change& other) const = default;
    };

    QList<Node> nodes;
    QList<Relationship> relationships;
    QList<Change> changes;
    QString summary;

    QJsonObject toJson() const;
    // "changes" may be missing; every other key is required, and every value a string. Fails with
    // json::DecodeError.
    static GraphDraft fromJson(const QJsonObject& json);
    bool operator==(const GraphDraft& other) const = default;
};

namespace DraftProperties {
QJsonArray toJson(const QList<GraphDraft::Property>& properties);
QList<GraphDraft::Property> fromJson(const QJsonArray& array);
} // namespace DraftProperties

} // namespace corvantis
