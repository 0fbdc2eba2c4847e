#include "ui/notes/NotesPanel.h"

#include "app/notes/NotesModel.h"
#include "kit/support/AtomicFile.h"
#include "tests/support/ShapeBuilders.h"
#include "tests/ui/shape/WindowTestSupport.h"
#include "ui/notes/NoteEditor.h"
#include "ui/notes/NoteExportDialog.h"
#include "ui/notes/NotePicker.h"
#include "ui/notes/NoteTree.h"
#include "ui/notes/TagCard.h"

#include <QAbstractTextDocumentLayout>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTabBar>
#include <QTest>
#include <QTextBlock>
#include <QTextLayout>
#include <QToolButton>
#include <QUndoStack>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphSchema people() {
    GraphSchema shape;
    shape.nodeTypes = {nodeType("Person", {property("name")}, "rose")};
    shape.relTypes = {relType("knows", {{shape.nodeTypes[0].id, shape.nodeTypes[0].id}})};
    return shape;
}

// A window with the notes panel open on one note.
struct NotesWindow {
    ProjectWindow window{people()};
    NotesPanel* panel = nullptr;
    NoteEditor* editor = nullptr;
    QString note;

    explicit NotesWindow(const QString& body = QString()) {
        window.action("notesAction")->trigger();
        panel = window.view().notesPanel();
        EXPECT_TRUE(window.view().showsNotes());
        // The panel takes a fair share of the window's height when it opens.
        EXPECT_TRUE(waitUntil([&] { return panel->height() > 200; }));
        note = notes().newNote(std::nullopt, "First");
        notes().setBody(note, body);
        editor = panel->editor();
        editor->setNote(note);
        EXPECT_TRUE(waitUntil([&] { return editor->isVisible(); }));
        editor->setFocus();
        QApplication::setActiveWindow(window.window.get());
        EXPECT_TRUE(waitUntil([&] { return editor->hasFocus(); }));
    }
    NotesModel& notes() { return window.session().notes(); }
    QString body() { return notes().book().item(note)->body; }
    void caretAt(int position) {
        QTextCursor cursor = editor->textCursor();
        cursor.setPosition(position);
        editor->setTextCursor(cursor);
    }
    // Where a position of the first line is drawn.
    qreal xOf(int position) {
        const QTextBlock block = editor->document()->firstBlock();
        // The editor lays out lazily; asking for the block's size lays it out.
        editor->document()->documentLayout()->blockBoundingRect(block);
        const QTextLine line = block.layout()->lineForTextPosition(position);
        EXPECT_TRUE(line.isValid());
        return line.isValid() ? line.cursorToX(position) : -1000;
    }
};

} // namespace

TEST(NoteEditorView, ReadingModeHidesMarksTheCaretSkipsThem) {
    NotesWindow w("# Title and **bold**");
    EXPECT_GT(w.xOf(2) - w.xOf(0), 4); // editing: "# " shows
    w.panel->readingButton()->click();
    ASSERT_TRUE(w.editor->reading());
    EXPECT_LT(std::abs(w.xOf(2) - w.xOf(0)), 1.0);              // the hash and blank take no room
    EXPECT_LT(std::abs(w.xOf(14) - w.xOf(12)), 1.0);            // nor do the stars
    EXPECT_EQ(w.editor->toPlainText(), "# Title and **bold**"); // the text keeps them

    // Moving right from the start lands past the hidden marks, never between them.
    w.caretAt(0);
    QTest::keyClick(w.editor, Qt::Key_Right);
    EXPECT_EQ(w.editor->textCursor().position(), 2);
    // Backspace beside a hidden mark takes it whole.
    w.caretAt(20);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    EXPECT_EQ(w.body(), "# Title and **bold");
}

TEST(NoteEditorView, TagsAreAtomsShownAsPillsWithACard) {
    NotesWindow w;
    const QString ada =
        *w.window.session().createNode(w.window.session().project().schema.nodeTypes[0], "Ada");
    const QString text = "Met @" + ada + " today";
    w.notes().setBody(w.note, text);
    w.editor->setNote(w.note);
    const auto* style = dynamic_cast<const BlockStyle*>(w.editor->document()->firstBlock().userData());
    ASSERT_NE(style, nullptr);
    ASSERT_EQ(style->pills.size(), 1);
    EXPECT_EQ(style->pills[0].text, "Ada");
    // The pill keeps exactly its own room: the id's characters take none.
    const qreal pill = w.xOf(4 + 37) - w.xOf(4);
    EXPECT_NEAR(pill,
                QFontMetricsF(MarkdownHighlighter::pillFont(w.editor->document()->defaultFont()))
                        .horizontalAdvance("Ada") +
                    2 * MarkdownHighlighter::pillPadding,
                2.0);

    // A click on the pill opens its card; the caret never stops inside the tag.
    w.caretAt(4);
    const QRect tagStart = w.editor->cursorRect();
    w.caretAt(0);
    QTest::mouseClick(w.editor->viewport(), Qt::LeftButton, {},
                      QPoint(tagStart.left() + int(pill / 2), tagStart.center().y()));
    ASSERT_TRUE(waitUntil([&] { return w.panel->tagCard()->isVisible(); }));
    EXPECT_EQ(w.panel->tagCard()->tag().title, "Ada");
    w.panel->tagCard()->hide();
    w.caretAt(4);
    QTest::keyClick(w.editor, Qt::Key_Right);
    EXPECT_EQ(w.editor->textCursor().position(), 4 + 37);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    EXPECT_EQ(w.body(), "Met  today");

    // A renamed node shows its new name; the text is unchanged.
    w.notes().setBody(w.note, text);
    w.editor->setNote(w.note);
    w.window.session().updateNode(ada, {{"name", GraphValue::string("Ada L.")}});
    style = dynamic_cast<const BlockStyle*>(w.editor->document()->firstBlock().userData());
    ASSERT_EQ(style->pills.size(), 1);
    EXPECT_EQ(style->pills[0].text, "Ada L.");
    EXPECT_EQ(w.body(), text);
}

TEST(NoteEditorView, AnEmbedLineKeepsThePicturesRoomAndGoesWhole) {
    NotesWindow w;
    QImage picture(200, 100, QImage::Format_RGB32);
    picture.fill(Qt::darkGreen);
    QDir().mkpath(w.notes().attachmentsFolder());
    ASSERT_TRUE(picture.save(w.notes().attachmentsFolder() + "/green.png"));
    const QString embed = "![Green](attachments/green.png)";
    w.notes().setBody(w.note, "above\n" + embed + "\nbelow");
    w.editor->setNote(w.note);
    const QTextBlock line = w.editor->document()->findBlockByNumber(1);
    const QRectF room = w.editor->document()->documentLayout()->blockBoundingRect(line);
    EXPECT_NEAR(room.height(), 100, 12);
    const QTextLine first = line.layout()->lineAt(0);
    EXPECT_NEAR(first.cursorToX(line.length() - 1) - first.cursorToX(0), 200, 2);
    // The caret can't stop inside the embed, and Backspace after it takes it whole.
    w.caretAt(line.position() + 5);
    EXPECT_EQ(w.editor->textCursor().position(), line.position() + line.length() - 1);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    EXPECT_EQ(w.body(), "above\n\nbelow");
}

TEST(NoteEditorView, SlashMenuPickerKeysAndBrackets) {
    NotesWindow w;
    // After a word a slash is no command.
    QTest::keyClicks(w.editor, "Plan/h");
    EXPECT_FALSE(w.editor->picker()->isVisible());
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClick(w.editor, Qt::Key_Home);
    QTest::keyClicks(w.editor, "/head");
    ASSERT_TRUE(w.editor->picker()->isVisible());
    EXPECT_EQ(w.editor->picker()->choices().size(), 3);
    QTest::keyClick(w.editor, Qt::Key_Down);
    QTest::keyClick(w.editor, Qt::Key_Return);
    EXPECT_EQ(w.body(), "## Plan");
    QTest::keyClick(w.editor, Qt::Key_End);
    EXPECT_FALSE(w.editor->picker()->isVisible());

    QTest::keyClick(w.editor, Qt::Key_Return);
    QTest::keyClicks(w.editor, "/todo");
    QTest::keyClick(w.editor, Qt::Key_Tab);
    QTest::keyClicks(w.editor, "boots");
    QTest::keyClick(w.editor, Qt::Key_Return); // a list goes on
    EXPECT_EQ(w.body(), "## Plan\n- [ ] boots\n- [ ] ");
    QTest::keyClick(w.editor, Qt::Key_Return); // and an empty item ends it
    EXPECT_EQ(w.body(), "## Plan\n- [ ] boots\n");

    QTest::keyClicks(w.editor, "x/div");
    QTest::keyClick(w.editor, Qt::Key_Escape);
    EXPECT_FALSE(w.editor->picker()->isVisible());
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClick(w.editor, Qt::Key_Backspace);
    QTest::keyClicks(w.editor, " see [");
    EXPECT_EQ(w.body(), "## Plan\n- [ ] boots\nx see []");
    QTest::keyClicks(w.editor, "a]"); // typing the closing bracket steps over it
    EXPECT_EQ(w.body(), "## Plan\n- [ ] boots\nx see [a]");
    // A slash in a path opens nothing.
    QTest::keyClicks(w.editor, " /usr/bin");
    EXPECT_FALSE(w.editor->picker()->isVisible());
}

TEST(NoteEditorView, CtrlZUndoesTheNoteWhileItsEditorHasFocus) {
    NotesWindow w;
    QTest::keyClicks(w.editor, "hello");
    QTest::keyClick(w.editor, Qt::Key_Return);
    QTest::keyClicks(w.editor, "world");
    ASSERT_EQ(w.body(), "hello\nworld");
    // Something on the window's stack, to see that the editor's Ctrl+Z leaves it alone.
    w.window.session().createNode(w.window.session().project().schema.nodeTypes[0], "Grace");
    const int nodes = w.window.session().nodes().size();
    QTest::keyClick(w.editor, Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(w.body(), "hello\n");
    EXPECT_EQ(w.editor->toPlainText(), "hello\n");
    EXPECT_EQ(w.window.session().nodes().size(), nodes);
    QTest::keyClick(w.editor, Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(w.editor->toPlainText(), "hello\nworld");

    // Focus elsewhere (the list of notes): Ctrl+Z is the window's again.
    w.panel->tree()->setFocus();
    ASSERT_TRUE(waitUntil([&] { return w.panel->tree()->hasFocus(); }));
    QTest::keyClick(w.panel->tree(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(w.window.session().nodes().size(), nodes - 1);
    EXPECT_EQ(w.body(), "hello\nworld");
}

TEST(NoteEditorView, TypingRestylesOnlyTheTouchedBlock) {
    QStringList lines;
    for (int i = 0; i < 5000; ++i)
        lines << QStringLiteral("- line %1 with **bold** and `code`").arg(i);
    NotesWindow w(lines.join('\n'));
    const QTextBlock middle = w.editor->document()->findBlockByNumber(2500);
    w.caretAt(middle.position() + 4);
    const int before = w.editor->highlighter()->blocksStyled();
    QTest::keyClicks(w.editor, "abc");
    EXPECT_EQ(w.editor->highlighter()->blocksStyled() - before, 3);
    EXPECT_TRUE(w.body().contains("- liabcne 2500"));
    // Opening a fence restyles what follows it, since all of it is code now.
    QTest::keyClick(w.editor, Qt::Key_End);
    QTest::keyClick(w.editor, Qt::Key_Return); // the list goes on,
    QTest::keyClick(w.editor, Qt::Key_Return); // and ends on an empty line
    const int beforeFence = w.editor->highlighter()->blocksStyled();
    QTest::keyClicks(w.editor, "```");
    EXPECT_GT(w.editor->highlighter()->blocksStyled() - beforeFence, 2000);
}

TEST(NotesPanelView, TreeTabsPinsAndDeletion) {
    NotesWindow w;
    NotesModel& notes = w.notes();
    const QString folder = notes.newFolder(std::nullopt);
    notes.rename(folder, "Trips");
    const QString inside = notes.newNote(folder, "Alps");
    NoteTree* tree = w.panel->tree();
    ASSERT_NE(tree->itemFor(inside), nullptr);
    EXPECT_EQ(tree->itemFor(inside)->parent(), tree->itemFor(folder));
    EXPECT_EQ(w.panel->tabs()->count(), 2);
    EXPECT_EQ(w.panel->tabs()->tabText(w.panel->tabs()->currentIndex()), "Alps");

    // Dropping the first note below the folder's note, indented, moves it into the folder.
    const QList<NoteRow> rows = notes.book().rows(w.note); // First, Trips, .Alps
    ASSERT_EQ(rows.size(), 3);
    EXPECT_TRUE(tree->dropAt(w.note, 3, 1));
    EXPECT_EQ(notes.book().item(w.note)->parent, folder);
    EXPECT_EQ(tree->itemFor(w.note)->parent(), tree->itemFor(folder));

    tree->setFilter("alp");
    EXPECT_EQ(tree->topLevelItemCount(), 1);
    tree->setFilter(QString());

    notes.setPinned(inside, true);
    auto* pinned = w.panel->findChild<QListWidget*>("pinnedNotes");
    ASSERT_TRUE(waitUntil([&] { return pinned->isVisible(); }));
    EXPECT_EQ(pinned->item(0)->text(), "Alps");

    whenModalShows<QMessageBox>([](QMessageBox* box) {
        EXPECT_EQ(box->informativeText(), "This can't be undone.");
        for (QAbstractButton* button : box->buttons())
            if (button->text() == "Delete")
                button->click();
    });
    notes.requestDelete(folder);
    ASSERT_TRUE(waitUntil([&] { return notes.book().items.size() == 0; }));
    EXPECT_EQ(w.panel->tabs()->count(), 0);
    EXPECT_FALSE(w.panel->editor()->isVisible());
}

TEST(NotesPanelView, ExportDialogCountsAndWrites) {
    NotesWindow w("Body with ![pic](attachments/pic.png)");
    NotesModel& notes = w.notes();
    const QString folder = notes.newFolder(std::nullopt);
    notes.rename(folder, "Box");
    notes.move(w.note, folder, 0);
    notes.newNote(folder, "Second");

    NoteExportDialog dialog(notes, folder);
    EXPECT_EQ(dialog.countLabel()->text(), "2 notes");
    EXPECT_TRUE(dialog.messageLabel()->text().contains("This folder's notes (2 notes)"));
    EXPECT_TRUE(dialog.messageLabel()->text().contains("saved as a folder"));
    dialog.setFormat(NoteExport::Format::pdf);
    EXPECT_FALSE(dialog.messageLabel()->text().contains("saved as a folder"));
    EXPECT_TRUE(dialog.path().endsWith("Box.pdf"));
    dialog.setPath(w.window.dir.filePath("Box.pdf"));
    ASSERT_TRUE(dialog.exportNow());
    EXPECT_TRUE(readFile(w.window.dir.filePath("Box.pdf")).startsWith("%PDF"));

    NoteExportDialog single(notes, w.note);
    EXPECT_EQ(single.countLabel()->text(), "1 note");
    writeFileAtomically(w.window.dir.filePath("blocker"), "x");
    single.setPath(w.window.dir.filePath("blocker/First.md"));
    EXPECT_FALSE(single.exportNow());
    EXPECT_FALSE(single.errorLabel()->isHidden());
    EXPECT_FALSE(single.errorLabel()->text().isEmpty());
}
