// A project's travel as one file: export through a store, import into a new folder, and the example.
#include "kit/notes/NoteEmbed.h"
#include "kit/notes/NoteFiles.h"
#include "kit/notes/NoteTag.h"
#include "kit/projects/ExampleProject.h"
#include "kit/projects/ProjectLibrary.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/LadybugGraphStore.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"

#include <QDir>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

struct Library {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};

    QStringList folders() const { return QDir(library.root()).entryList(QDir::Dirs | QDir::NoDotAndDotDot); }
    // Every record of a project's database, sorted by id.
    GraphRecords records(const Project& project) const {
        LadybugGraphStore store(library.databasePath(project.id));
        QStringList nodeLabels, relLabels;
        for (const NodeType& type : project.appliedSchema->nodeTypes)
            nodeLabels << type.table();
        for (const RelType& type : project.appliedSchema->relTypes)
            relLabels << type.table();
        GraphRecords records{store.loadNodes(nodeLabels), store.loadRels(relLabels)};
        std::sort(records.nodes.begin(), records.nodes.end(),
                  [](const NodeRecord& a, const NodeRecord& b) { return a.id < b.id; });
        std::sort(records.rels.begin(), records.rels.end(),
                  [](const RelRecord& a, const RelRecord& b) { return a.id < b.id; });
        return records;
    }
    QByteArray exportOf(const Project& project) const {
        LadybugGraphStore store(library.databasePath(project.id));
        return library.exportData(project, &store);
    }
};

template <typename T> QList<T> sortedById(QList<T> list) {
    std::sort(list.begin(), list.end(), [](const T& a, const T& b) { return a.id < b.id; });
    return list;
}

} // namespace

TEST(ProjectTransfer, ExportThenImportKeepsIdsRecordsLayoutNotesAndAttachments) {
    Library source;
    const ProjectExport example = ExampleProject::make();
    const Project original = source.library.importProject(example);
    // Notes as the notes panel leaves them: a note tagging a node, a picture and a drawing, in a folder.
    const QString tagged = example.nodes[2].id;
    NoteBook book;
    const NoteItem folder = NoteItem::folder("Reading");
    NoteItem note = NoteItem::note("Free energy", folder.id);
    note.body = "See @" + tagged + ":summary for the gist.\n\n![Figure](attachments/a.png)\n\n" +
                NoteEmbed::drawing("D1").markdown() + "\n";
    book.items = {folder, note};
    book.open(note.id);
    NoteFiles::write(book, NoteFiles::notesPath(source.library, original.id));
    const QString attachments = source.library.attachmentsFolder(original.id);
    const QMap<QString, QByteArray> used{{"a.png", QByteArray("\x89PNG\0\1", 6)},
                                         {"D1.drawing.png", "light"},
                                         {"D1.drawing-dark.png", "dark"},
                                         {"D1.drawing.json", "{\"strokes\": []}"}};
    for (auto it = used.cbegin(); it != used.cend(); ++it)
        writeFileAtomically(attachments + '/' + it.key(), it.value());
    // A file no note uses any more, and a hidden one: neither travels.
    writeFileAtomically(attachments + "/stray.png", "unused");
    writeFileAtomically(attachments + "/.DS_Store", "hidden");

    const QByteArray data = source.exportOf(original);
    const QJsonObject file = json::decodeObject(data);
    EXPECT_EQ(file.value("format").toString(), "corvantis-project");
    EXPECT_EQ(file.value("version").toInt(), 1);
    for (const char* key : {"project", "nodes", "relationships", "layout", "notes", "attachments"})
        EXPECT_TRUE(file.contains(key)) << key;
    EXPECT_EQ(file.value("attachments").toObject().keys(), QStringList(used.keys()));
    EXPECT_EQ(file.value("attachments").toObject().value("a.png").toString(),
              QString::fromLatin1(QByteArray("\x89PNG\0\1", 6).toBase64()));
    EXPECT_EQ(file.value("notes").toObject(), book.toJson());

    Library target;
    const Project imported = target.library.importProject(data);
    EXPECT_NE(imported.id, original.id);
    EXPECT_EQ(imported.name, "Ideas");
    EXPECT_EQ(imported.schema, original.schema);
    EXPECT_EQ(imported.appliedSchema, original.appliedSchema);
    EXPECT_EQ(target.library.projects().size(), 1);

    const GraphRecords before = source.records(original);
    const GraphRecords after = target.records(imported);
    EXPECT_EQ(after.nodes.size(), 12);
    EXPECT_EQ(after.rels.size(), 13);
    EXPECT_EQ(after.nodes, before.nodes);
    EXPECT_EQ(after.rels, before.rels);
    QStringList exampleIds, importedIds;
    for (const NodeRecord& node : sortedById(example.nodes))
        exampleIds << node.id;
    for (const NodeRecord& node : after.nodes)
        importedIds << node.id;
    EXPECT_EQ(importedIds, exampleIds);
    EXPECT_EQ(target.library.layout(imported.id), source.library.layout(original.id));
    // The notes are where the notes panel reads them, whole, with their files.
    const NoteFiles::Loaded notes = NoteFiles::read(NoteFiles::notesPath(target.library, imported.id));
    EXPECT_FALSE(notes.damaged);
    EXPECT_EQ(notes.book, book);
    EXPECT_EQ(NoteTag::find(notes.book.item(note.id)->body).value(0).token.id, tagged);
    for (auto it = used.cbegin(); it != used.cend(); ++it)
        EXPECT_EQ(readFile(target.library.attachmentsFolder(imported.id) + '/' + it.key()), it.value())
            << it.key().toStdString();
    EXPECT_EQ(target.library.attachmentNames(imported.id), QStringList(used.keys()));
    EXPECT_EQ(target.library.attachments(imported.id, notes.book), QStringList(used.keys()));

    // A second import of the same file: a second project with the same ids in its own database.
    const Project second = target.library.importProject(data);
    EXPECT_EQ(second.name, "Ideas 2");
    EXPECT_NE(second.id, imported.id);
    EXPECT_EQ(target.records(second).nodes, after.nodes);
    EXPECT_EQ(target.folders().size(), 2);
}

TEST(ProjectTransfer, NotesTravelRepairedAndDamagedNotesStayHome) {
    Library lib;
    const Project project = lib.library.create("Notebook");
    const QString notesPath = NoteFiles::notesPath(lib.library, project.id);
    // A hand-edited book: a note whose folder is gone and a tab naming no note.
    NoteItem orphan = NoteItem::note("Orphan", json::uuidText(QUuid::createUuid()));
    orphan.body = "![Plot](attachments/plot.png)";
    NoteBook edited;
    edited.items = {orphan};
    edited.tabs = {json::uuidText(QUuid::createUuid())};
    NoteFiles::write(edited, notesPath);
    writeFileAtomically(lib.library.attachmentsFolder(project.id) + "/plot.png", "plot");
    writeFileAtomically(lib.library.attachmentsFolder(project.id) + "/old.png", "old");

    // The file itself holds the repaired book (decoding would repair it again).
    const QByteArray data = lib.library.exportData(project, nullptr);
    const QJsonObject written = json::decodeObject(data).value("notes").toObject();
    ASSERT_EQ(written.value("items").toArray().size(), 1);
    EXPECT_FALSE(written.value("items").toArray()[0].toObject().contains("parent"));
    EXPECT_TRUE(written.value("tabs").toArray().isEmpty());
    const ProjectExport exported = ProjectExport::decode(data);
    EXPECT_EQ(exported.attachments, (QMap<QString, QByteArray>{{"plot.png", "plot"}}));
    // A book read from an export is repaired as well.
    QJsonObject handEdited = json::decodeObject(data);
    handEdited.insert("notes", edited.toJson());
    const ProjectExport decoded = ProjectExport::decode(json::encode(handEdited));
    ASSERT_TRUE(decoded.notes.has_value());
    EXPECT_FALSE(decoded.notes->items.value(0).parent.has_value());
    EXPECT_TRUE(decoded.notes->tabs.isEmpty());

    // Notes in an export that are no note book: not an export of ours, and no folder is left.
    QJsonObject file = json::decodeObject(data);
    file.insert("notes", QJsonObject{{"items", "many"}});
    const int before = lib.folders().size();
    EXPECT_THROW(lib.library.importProject(json::encode(file)), GraphStoreError);
    EXPECT_EQ(lib.folders().size(), before);

    // A damaged notes file: no notes and none of the files go, and the file is left as it was.
    writeFileAtomically(notesPath, "{ \"items\": [");
    const ProjectExport damaged = ProjectExport::decode(lib.library.exportData(project, nullptr));
    EXPECT_FALSE(damaged.notes.has_value());
    EXPECT_FALSE(damaged.attachments.has_value());
    EXPECT_EQ(readFile(notesPath), "{ \"items\": [");
}

TEST(ProjectTransfer, ForeignFilesAndFailuresLeaveNoFolder) {
    Library lib;
    QJsonObject otherFormat = json::decodeObject(ExampleProject::make().encode());
    otherFormat.insert("format", "someone-elses-graph");
    for (const QByteArray& data :
         {QByteArray("not json at all"), QByteArray("[1, 2]"), json::encode(otherFormat),
          QByteArray("{\"format\": \"corvantis-project\"}")}) {
        try {
            lib.library.importProject(data);
            ADD_FAILURE() << "imported " << data.left(40).constData();
        } catch (const GraphStoreError& error) {
            EXPECT_EQ(error.message(), "This file isn't a Corvantis project export.");
        }
    }
    EXPECT_TRUE(lib.folders().isEmpty());

    // The version is not looked at.
    QJsonObject future = json::decodeObject(ExampleProject::make().encode());
    future.insert("version", 7);
    EXPECT_EQ(lib.library.importProject(json::encode(future)).name, "Ideas");

    // A node of a table the shape doesn't have: the database refuses it, and the half-made project goes.
    ProjectExport broken = ExampleProject::make();
    broken.nodes[3].label = "Unicorn";
    EXPECT_THROW(lib.library.importProject(broken), GraphStoreError);
    EXPECT_EQ(lib.folders().size(), 1);
}

TEST(ProjectTransfer, ImportSkipsDanglingRelationshipsAndUnsafeAttachmentNames) {
    Library lib;
    ProjectExport crafted = ExampleProject::make();
    const QString removed = crafted.nodes.takeFirst().id; // "Information", an end of four relationships
    crafted.attachments = QMap<QString, QByteArray>{{"../escape.txt", "x"},
                                                    {"sub/dir.txt", "x"},
                                                    {"back\\slash.txt", "x"},
                                                    {".hidden", "x"},
                                                    {"kept.txt", "kept"}};
    const Project project = lib.library.importProject(crafted.encode());
    const GraphRecords records = lib.records(project);
    EXPECT_EQ(records.nodes.size(), 11);
    EXPECT_EQ(records.rels.size(), 9);
    for (const RelRecord& rel : records.rels) {
        EXPECT_NE(rel.from, removed);
        EXPECT_NE(rel.to, removed);
    }
    const QString attachments = lib.library.attachmentsFolder(project.id);
    EXPECT_EQ(QDir(attachments).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{"kept.txt"});
    EXPECT_FALSE(QFile::exists(lib.library.folder(project.id) + "/escape.txt"));
    EXPECT_FALSE(QFile::exists(lib.library.root() + "/escape.txt"));
}

TEST(ProjectTransfer, ExportWithoutStoreOrAppliedShapeHoldsNoRecords) {
    Library lib;
    const Project fresh = lib.library.create("Fresh");
    const ProjectExport exported = ProjectExport::decode(lib.library.exportData(fresh, nullptr));
    EXPECT_EQ(exported.project, fresh);
    EXPECT_TRUE(exported.nodes.isEmpty());
    EXPECT_FALSE(exported.notes.has_value());
    EXPECT_FALSE(exported.attachments.has_value());
    EXPECT_FALSE(json::decodeObject(lib.library.exportData(fresh, nullptr)).contains("attachments"));

    // Importing it makes a project without a database, to be finalized at its first opening.
    const Project imported = lib.library.importProject(exported);
    EXPECT_FALSE(imported.isFinalized());
    EXPECT_FALSE(QFile::exists(lib.library.databasePath(imported.id)));
}

TEST(ProjectTransfer, ExampleHasItsExactShapeRecordsAndPins) {
    const ProjectExport example = ExampleProject::make();
    const GraphSchema& shape = example.project.schema;
    EXPECT_EQ(example.project.appliedSchema, shape);
    ASSERT_EQ(shape.nodeTypes.size(), 3);
    EXPECT_EQ(shape.relTypes.size(), 5);
    EXPECT_EQ(example.nodes.size(), 12);
    EXPECT_EQ(example.relationships.size(), 13);
    QStringList typeNames, relNames;
    for (const NodeType& type : shape.nodeTypes) {
        typeNames << type.name + ':' + type.color;
        EXPECT_EQ(type.properties.first().name, "name");
        EXPECT_EQ(type.titleProperty, type.properties.first().id);
    }
    for (const RelType& type : shape.relTypes)
        relNames << type.name;
    EXPECT_EQ(typeNames, (QStringList{"Concept:iris", "Thinker:peach", "Source:mint"}));
    EXPECT_EQ(relNames, (QStringList{"PROPOSED", "SUPPORTS", "CONTRADICTS", "RELATES_TO", "EXPLAINS"}));
    EXPECT_TRUE(shape.validate().isEmpty());

    QSet<QString> ids;
    for (const NodeRecord& node : example.nodes)
        ids.insert(node.id);
    EXPECT_EQ(example.layout.pinned, ids);
    EXPECT_EQ(example.layout.positions.size(), 12);
    EXPECT_FALSE(example.layout.shown.has_value());
    EXPECT_FALSE(example.layout.parents.has_value());
    const NodeRecord& first = example.nodes.first();
    EXPECT_EQ(first.properties.value("name"), GraphValue::string("Information"));
    EXPECT_EQ(example.layout.positions.value(first.id), (LayoutPoint{-50, -230}));
    const NodeRecord& last = example.nodes.last();
    EXPECT_EQ(last.label, "Source");
    EXPECT_EQ(example.layout.positions.value(last.id), (LayoutPoint{360, -10}));
    // Every relationship joins two of its nodes; SUPPORTS from "A Mathematical Theory…" holds 1.0.
    for (const RelRecord& rel : example.relationships) {
        EXPECT_TRUE(ids.contains(rel.from) && ids.contains(rel.to)) << rel.label.toStdString();
    }
    EXPECT_EQ(example.relationships[1].label, "SUPPORTS");
    EXPECT_EQ(example.relationships[1].properties.value("strength"), GraphValue::number(1.0));
}
