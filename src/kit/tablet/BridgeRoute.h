#pragma once

#include <QString>
#include <optional>

// Where a path of the tablet bridge leads. Every path starts with the key of the current share; a path
// with another key, or any path while nothing is shared, belongs to a link that has expired.
namespace corvantis::tablet {

struct BridgeRoute {
    enum class Kind { File, Redirect, Page, Expired, Missing };
    Kind kind = Kind::Missing;
    QString target; // the file for `File`, the location for `Redirect`

    bool operator==(const BridgeRoute&) const = default;
};

// `engine` is the folder of the board's web resources, whose "qd" folder is served; a file must stay
// inside it and exist.
BridgeRoute route(const QString& path, const std::optional<QString>& key, const QString& engine);

// A key of 10 characters from an alphabet without look-alikes (no 0, 1, i, l, o), so that it can be
// typed on a tablet without confusion.
QString newKey();
constexpr const char* keyAlphabet = "23456789abcdefghjkmnpqrstuvwxyz";

} // namespace corvantis::tablet
