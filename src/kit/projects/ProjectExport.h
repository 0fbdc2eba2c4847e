#pragma once

#include "kit/notes/NoteBook.h"
#include "kit/projects/GraphLayout.h"
#include "kit/projects/Project.h"
#include "kit/schema/GraphValue.h"

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <optional>

namespace corvantis {

// A whole project as one file ("{name}.corvantis.json"): the project with its shape, every record, the
// layout, and the notes with the files they use when there are any.
struct ProjectExport {
    static constexpr const char* formatName = "corvantis-project";

    int version = 1;
    Project project;
    QList<NodeRecord> nodes;
    QList<RelRecord> relationships;
    GraphLayout layout;
    // The project's note book, repaired; absent when the project has no notes file.
    std::optional<NoteBook> notes;
    // Attachment file name to its bytes (base64 text in the file), only the files the notes use; absent
    // when empty.
    std::optional<QMap<QString, QByteArray>> attachments;

    QByteArray encode() const;
    // Fails with GraphStoreError "This file isn't a Corvantis project export." for anything that is not
    // an export (bad JSON, a missing key, another `format`, notes that are no note book). The notes come
    // back repaired. The version is not looked at.
    static ProjectExport decode(const QByteArray& data);
    // The sentence a foreign file gives.
    static QString foreignFileMessage();

    bool operator==(const ProjectExport& other) const = default;
};

} // namespace corvantis
