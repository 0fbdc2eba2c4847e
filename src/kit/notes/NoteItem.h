#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <optional>

namespace corvantis {

// One entry of the note book: a Markdown note, or a folder that holds other entries and has no body.
// Ids are upper-case UUID texts.
struct NoteItem {
    QString id;
    bool isFolder = false;
    QString title;
    QString body;
    std::optional<QString> parent; // absent at the top level
    bool expanded = false;         // whether a folder is open in the list
    QDateTime createdAt;
    QDateTime modifiedAt;
    std::optional<QDateTime> pinnedAt; // set means pinned

    bool isPinned() const { return pinnedAt.has_value(); }

    // A new note ("Untitled") or folder ("New Folder") with a fresh id, created now.
    static NoteItem note(const QString& title = QString(), const std::optional<QString>& parent = {});
    static NoteItem folder(const QString& title = QString(), const std::optional<QString>& parent = {});

    QJsonObject toJson() const;
    // Unknown keys are ignored; a missing required key fails with json::DecodeError.
    static NoteItem fromJson(const QJsonObject& json);
    bool operator==(const NoteItem& other) const = default;
};

} // namespace corvantis
