#pragma once

#include <QJsonObject>
#include <QString>
#include <QUuid>

namespace corvantis {

// The text of one link or file the person shared, read on this machine, as it goes to the model.
struct BuildSource {
    QUuid id;
    QString title;
    QString location; // the URL or the file's path
    QString text;
    bool truncated = false;

    // Pieces of the text between white space and line feeds.
    qsizetype words() const;

    QJsonObject toJson() const;
    static BuildSource fromJson(const QJsonObject& json); // fails with json::DecodeError
    // Equality leaves the id out.
    bool operator==(const BuildSource& other) const {
        return title == other.title && location == other.location && text == other.text &&
               truncated == other.truncated;
    }
};

} // namespace corvantis
