#include "kit/notes/NoteItem.h"

#include "kit/support/Json.h"

#include <QUuid>

namespace corvantis {

namespace {

NoteItem fresh(bool isFolder, const QString& title, const std::optional<QString>& parent) {
    NoteItem item;
    item.id = json::uuidText(QUuid::createUuid());
    item.isFolder = isFolder;
    item.title = title;
    item.parent = parent;
    // The file keeps whole seconds; so does the item, so that a saved book reads back equal.
    const QDateTime now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch(), Qt::UTC);
    item.createdAt = now;
    item.modifiedAt = now;
    return item;
}

} // namespace

NoteItem NoteItem::note(const QString& title, const std::optional<QString>& parent) {
    return fresh(false, title.isEmpty() ? QStringLiteral("Untitled") : title, parent);
}

NoteItem NoteItem::folder(const QString& title, const std::optional<QString>& parent) {
    NoteItem item = fresh(true, title.isEmpty() ? QStringLiteral("New Folder") : title, parent);
    item.expanded = true;
    return item;
}

QJsonObject NoteItem::toJson() const {
    QJsonObject json{{"id", id},
                     {"isFolder", isFolder},
                     {"title", title},
                     {"body", body},
                     {"expanded", expanded},
                     {"createdAt", json::dateText(createdAt)},
                     {"modifiedAt", json::dateText(modifiedAt)}};
    json::putOptional(json, "parent", parent);
    if (pinnedAt)
        json.insert("pinnedAt", json::dateText(*pinnedAt));
    return json;
}

NoteItem NoteItem::fromJson(const QJsonObject& json) {
    NoteItem item;
    item.id = json::uuidText(json::requireUuid(json, "id"));
    item.isFolder = json::requireBool(json, "isFolder");
    item.title = json::requireString(json, "title");
    item.body = json::requireString(json, "body");
    if (const auto parent = json::optionalUuid(json, "parent"))
        item.parent = json::uuidText(*parent);
    item.expanded = json::requireBool(json, "expanded");
    item.createdAt = json::requireDate(json, "createdAt");
    item.modifiedAt = json::requireDate(json, "modifiedAt");
    if (const auto pinned = json::optionalString(json, "pinnedAt")) {
        const auto date = json::parseDate(*pinned);
        if (!date)
            throw json::DecodeError("pinnedAt is not a date");
        item.pinnedAt = *date;
    }
    return item;
}

} // namespace corvantis
