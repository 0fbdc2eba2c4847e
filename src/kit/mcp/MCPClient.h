#pragma once

#include <QHash>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace corvantis {

// The app on the other end of a connection, by the plain name the Build panel and the connector's list
// show.
struct MCPClient {
    QString name;
    QString version;

    MCPClient() = default;
    MCPClient(QString name, QString version)
        : name(std::move(name))
        , version(std::move(version)) {}
    // From "clientInfo" of "initialize": the well-known apps by their own names, any other by its title
    // or name, and "An AI app" when it says nothing.
    explicit MCPClient(const std::optional<QJsonObject>& info);

    bool operator==(const MCPClient& other) const = default;
};

size_t qHash(const MCPClient& client, size_t seed = 0);

} // namespace corvantis
