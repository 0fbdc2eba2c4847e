#pragma once

#include "kit/schema/GraphSchema.h"

#include <QDateTime>
#include <QJsonObject>
#include <QUuid>
#include <optional>

namespace corvantis {

// One project as "project.json" holds it. Its folder is named by its id.
struct Project {
    // The format version every project has once read; older files are upgraded in memory.
    static constexpr int currentVersion = 3;

    QUuid id;
    QString name;
    QDateTime createdAt;
    QDateTime modifiedAt;
    GraphSchema schema;                       // the shape as the person sees it
    std::optional<GraphSchema> appliedSchema; // the shape the database really has; absent until first open
    std::optional<int> version;

    bool isFinalized() const { return appliedSchema.has_value(); }

    QJsonObject toJson() const;
    // Decodes and upgrades older formats (the built-in name of version 1, likely titles of version 2);
    // `version` is then 3 in memory. Fails with json::DecodeError.
    static Project fromJson(const QJsonObject& json);
    bool operator==(const Project& other) const = default;
};

} // namespace corvantis
