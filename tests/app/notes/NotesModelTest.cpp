#include "app/notes/NotesModel.h"

#include "app/canvas/CanvasState.h"
#include "kit/notes/NoteFiles.h"
#include "kit/support/AtomicFile.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/AwaitTask.h"
#include "tests/support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QUndoStack>

using namespace corvantis;
using namespace corvantis::test;

namespace {

NoteBook savedBook(const NotesModel& notes) {
    return NoteFiles::read(notes.notesPath()).book;
}

QString bodyOf(const NotesModel& notes, const QString& id) {
    const NoteItem* item = notes.book().item(id);
    return item ? item->body : QString();
}

} // namespace

TEST(NotesModel, SavesHalfASecondAfterTheLastChangeAndAtClose) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString id = notes.newNote(std::nullopt, "Plans");
    EXPECT_TRUE(notes.isSavePending());
    EXPECT_FALSE(QFileInfo::exists(notes.notesPath())); // nothing written at once
    ASSERT_TRUE(waitUntil([&] { return savedBook(notes).item(id) != nullptr; }));
    EXPECT_FALSE(notes.isSavePending());
    EXPECT_EQ(savedBook(notes).item(id)->title, "Plans");
    EXPECT_EQ(savedBook(notes).activeTab, id);

    // A change just before closing is written by the close, not lost.
    notes.setBody(id, "last words");
    ASSERT_TRUE(notes.isSavePending());
    await(r.session->close());
    EXPECT_FALSE(notes.isSavePending());
    EXPECT_EQ(savedBook(notes).item(id)->body, "last words");
}

TEST(NotesModel, ReopensTheBookAndKeepsADamagedFileAside) {
    Reading r;
    const QString id = r.session->notes().newNote(std::nullopt, "Kept");
    r.session->notes().flush();
    await(r.session->close());
    r.session.reset();

    r.session = r.world.open(r.project);
    ASSERT_NE(r.session->notes().book().item(id), nullptr);
    EXPECT_EQ(r.session->notes().active()->title, "Kept");
    const QString path = r.session->notes().notesPath();
    await(r.session->close());
    r.session.reset();

    writeFileAtomically(path, "{ not json");
    r.session = r.world.open(r.project);
    EXPECT_TRUE(r.session->notes().book().items.isEmpty());
    EXPECT_TRUE(r.session->notice().value_or("").contains("notes-damaged.json"));
    EXPECT_EQ(readFile(QFileInfo(path).absolutePath() + "/notes-damaged.json"), "{ not json");
}

TEST(NotesModel, SweepsAttachmentsAtOpeningAndAfterADeletion) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString folder = notes.attachmentsFolder();
    const QString drawn = notes.newNote(std::nullopt, "Drawn");
    notes.insertDrawing(NoteEmbed::drawing("D"), drawn);
    const QString pictures = notes.newNote(std::nullopt, "Pictures");
    notes.setBody(pictures,
                  "words before ![Cat](attachments/cat.png) and after\n![Dog](attachments/dog.png)");
    notes.flush();
    await(r.session->close());
    r.session.reset();

    for (const char* name : {"D.drawing.png", "D.drawing-dark.png", "D.drawing.json", "E.drawing.png",
                             "E.drawing-dark.png", "cat.png", "dog.png", "stray.gif"})
        writeFileAtomically(folder + "/" + name, name);
    r.session = r.world.open(r.project);
    QStringList left = QDir(folder).entryList(QDir::Files);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left,
              (QStringList{"D.drawing-dark.png", "D.drawing.json", "D.drawing.png", "cat.png", "dog.png"}));

    // Deleting the note with the pictures sweeps them; the drawing of the other note stays whole.
    r.session->notes().requestDelete(pictures);
    ASSERT_TRUE(r.session->notes().deleting());
    r.session->notes().deleteItem(pictures);
    EXPECT_FALSE(r.session->notes().deleting());
    left = QDir(folder).entryList(QDir::Files);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (QStringList{"D.drawing-dark.png", "D.drawing.json", "D.drawing.png"}));

    // An embed taken out of its note keeps its file until the next sweep.
    r.session->notes().removeEmbed("D.drawing.png", drawn);
    EXPECT_EQ(bodyOf(r.session->notes(), drawn), "");
    EXPECT_TRUE(QFileInfo::exists(folder + "/D.drawing.png"));
    EXPECT_EQ(r.session->notes().sweepAttachments().size(), 3);
}

TEST(NotesModel, EachNoteHasItsOwnUndoHistory) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString a = notes.newNote(std::nullopt, "A");
    const QString b = notes.newNote(std::nullopt, "B");
    QSignalSpy edited(&notes, &NotesModel::bodyEdited);
    // Typing a word one key at a time is one step.
    for (const char* text : {"h", "he", "hel", "hell", "hello"})
        notes.setBody(a, text);
    notes.setBody(a, "hello\nworld");
    notes.setBody(b, "other");
    QUndoStack* stackA = notes.undoStack(a);
    ASSERT_NE(stackA, nullptr);
    EXPECT_EQ(stackA->count(), 2);
    EXPECT_EQ(notes.undoStack(b)->count(), 1);
    EXPECT_EQ(edited.count(), 0); // typing comes from the editor, which already shows it

    stackA->undo();
    EXPECT_EQ(bodyOf(notes, a), "hello");
    ASSERT_EQ(edited.count(), 1);
    EXPECT_EQ(edited[0][1].toInt(), 5);
    EXPECT_EQ(edited[0][2].toInt(), 6);
    stackA->undo();
    EXPECT_EQ(bodyOf(notes, a), "");
    EXPECT_EQ(bodyOf(notes, b), "other");
    stackA->redo();
    stackA->redo();
    EXPECT_EQ(bodyOf(notes, a), "hello\nworld");
    EXPECT_EQ(notes.undoStack(notes.newFolder(std::nullopt)), nullptr);
}

TEST(NotesModel, TreeTabsAndTargets) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString folder = notes.newFolder(std::nullopt);
    EXPECT_EQ(notes.renaming(), folder);
    notes.rename(folder, "  ");
    EXPECT_EQ(notes.book().item(folder)->title, "New Folder"); // a blank name is refused
    notes.rename(folder, "Trips");
    EXPECT_EQ(notes.book().item(folder)->title, "Trips");
    EXPECT_EQ(notes.target(), folder);
    const QString inside = notes.newNote(notes.target());
    EXPECT_EQ(notes.book().item(inside)->parent, folder);
    EXPECT_EQ(notes.target(), folder); // the parent of the picked note
    notes.select(std::nullopt);
    EXPECT_EQ(notes.target(), std::nullopt);
    const QString top = notes.newNote(notes.target(), "Top");
    EXPECT_EQ(notes.book().tabs, (QStringList{inside, top}));
    notes.moveTab(top, 0);
    EXPECT_EQ(notes.book().tabs, (QStringList{top, inside}));
    EXPECT_FALSE(notes.move(folder, inside, 0));
    EXPECT_TRUE(notes.move(top, folder, 0));
    notes.deleteItem(folder);
    EXPECT_TRUE(notes.book().items.isEmpty());
    EXPECT_FALSE(notes.book().activeTab);

    // Following a link opens the note of that title, or makes one.
    const QString made = notes.followLink("Elsewhere");
    EXPECT_EQ(notes.book().item(made)->title, "Elsewhere");
    EXPECT_EQ(notes.followLink("Elsewhere"), made);
    EXPECT_EQ(notes.book().items.size(), 1);

    notes.setListHidden(true);
    EXPECT_TRUE(r.world.settings.notesListHidden());
}

TEST(NotesModel, TagsResolveToLiveRecords) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString ada = r.add(r.person, "Ada");
    const QString bob = r.add(r.person, "Bob");
    const QString book = r.add(r.book, "Engines");
    const QString knows = r.link(r.session->project().schema.relTypes[1].table(), ada, bob);
    r.link(r.session->project().schema.relTypes[0].table(), ada, book);
    const QString knowsTable = r.session->project().schema.relTypes[1].table();

    const QString text = "Met @" + ada + " and @" + ada + "->" + knowsTable + ":name, see @" + knows;
    const QString note = notes.newNote(std::nullopt, "People");
    notes.setBody(note, text);
    const auto found = NoteTag::find(text);
    ASSERT_EQ(found.size(), 3);
    EXPECT_EQ(notes.noteTag(found[0].token).title, "Ada");
    const NoteTag walk = notes.noteTag(found[1].token);
    ASSERT_TRUE(walk.members);
    ASSERT_EQ(walk.members->size(), 1);
    EXPECT_EQ(walk.members->at(0).value, "Bob");
    EXPECT_EQ(notes.noteTag(found[2].token).kind, NoteTag::Kind::Rel);
    EXPECT_EQ(notes.noteTag(found[2].token).title, "Ada knows Bob");

    // A rename shows in the card; the note keeps its text.
    QSignalSpy retagged(&notes, &NotesModel::tagsChanged);
    r.session->updateNode(ada, {{"name", GraphValue::string("Ada Lovelace")}});
    EXPECT_GE(retagged.count(), 1);
    EXPECT_EQ(notes.noteTag(found[0].token).title, "Ada Lovelace");
    EXPECT_EQ(bodyOf(notes, note), text);

    // A deleted node's tag stays in the text and says so.
    r.session->deleteNode(bob);
    EXPECT_TRUE(notes.noteTag(found[1].token).members->isEmpty());
    r.session->deleteNode(ada);
    const NoteTag gone = notes.noteTag(found[0].token);
    EXPECT_TRUE(gone.missing);
    EXPECT_EQ(gone.title, "Nothing with this ID");
    EXPECT_EQ(bodyOf(notes, note), text);

    // The picker finds records by title.
    const auto query = TagQuery::at(4, "@eng");
    ASSERT_TRUE(query);
    const auto choices = notes.tagChoices(*query, 8);
    ASSERT_EQ(choices.rows.size(), 1);
    EXPECT_EQ(choices.rows[0].insert, "@" + book);
}

TEST(NotesModel, OpeningATagShowsItInTheGraph) {
    Reading r;
    NotesModel& notes = r.session->notes();
    const QString ada = r.add(r.person, "Ada");
    const QString bob = r.add(r.person, "Bob");
    const QString knows = r.link(r.session->project().schema.relTypes[1].table(), ada, bob);
    const QString note = notes.newNote(std::nullopt, "N");
    notes.setBody(note, "@" + ada);
    r.session->setMode(SessionMode::Shape);
    QSignalSpy shut(&notes, &NotesModel::closePanelRequested);

    notes.openFromNote(notes.noteTag(TagToken{ada, {}, {}}));
    EXPECT_EQ(shut.count(), 1);
    EXPECT_FALSE(notes.isSavePending()); // flushed first
    EXPECT_EQ(savedBook(notes).item(note)->body, "@" + ada);
    EXPECT_EQ(r.session->mode(), SessionMode::Graph);
    EXPECT_EQ(r.session->selection(), GraphSelection::node(ada));
    EXPECT_TRUE(r.session->graphCanvas().shown().contains(ada));

    notes.openFromNote(notes.noteTag(TagToken{knows, {}, {}}));
    EXPECT_EQ(r.session->selection(), GraphSelection::relationship(knows));
    EXPECT_TRUE(r.session->graphCanvas().shown().contains(bob));

    notes.openFromNote(notes.noteTag(TagToken{"00000000-0000-0000-0000-000000000000", {}, {}}));
    EXPECT_EQ(shut.count(), 2); // a missing tag does nothing
    EXPECT_EQ(r.session->selection(), GraphSelection::relationship(knows));
}
