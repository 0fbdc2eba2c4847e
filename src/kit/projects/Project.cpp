#include "kit/projects/Project.h"

#include "kit/support/Json.h"

namespace corvantis {

QJsonObject Project::toJson() const {
    QJsonObject json{
        {"id", json::uuidText(id)},
        {"name", name},
        {"createdAt", json::dateText(createdAt)},
        {"modifiedAt", json::dateText(modifiedAt)},
        {"schema", schema.toJson()},
    };
    if (appliedSchema)
        json.insert("appliedSchema", appliedSchema->toJson());
    if (version)
        json.insert("version", *version);
    return json;
}

Project Project::fromJson(const QJsonObject& json) {
    Project project;
    project.id = json::requireUuid(json, "id");
    project.name = json::requireString(json, "name");
    project.createdAt = json::requireDate(json, "createdAt");
    project.modifiedAt = json::requireDate(json, "modifiedAt");
    project.schema = GraphSchema::fromJson(json::requireObject(json, "schema"));
    if (auto applied = json::optionalObject(json, "appliedSchema"))
        project.appliedSchema = GraphSchema::fromJson(*applied);
    project.version = json::optionalInt(json, "version");

    int version = project.version.value_or(0);
    if (version <= 1) {
        if (project.appliedSchema)
            project.appliedSchema->adoptBuiltInName();
        project.schema.adoptBuiltInName();
    }
    if (version <= 2) {
        if (project.appliedSchema)
            project.appliedSchema->adoptLikelyTitles();
        project.schema.adoptLikelyTitles();
    }
    project.version = currentVersion;
    return project;
}

} // namespace corvantis
