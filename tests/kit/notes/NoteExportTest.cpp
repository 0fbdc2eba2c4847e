#include "kit/notes/NoteExport.h"

#include "kit/notes/NoteEmbed.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

TEST(NoteExport, NamesAndCounts) {
    NoteItem note = NoteItem::note("Trip / plans");
    EXPECT_EQ(NoteExport::suggestedName(note), "Trip - plans");
    note.title = " ";
    EXPECT_EQ(NoteExport::suggestedName(note), "Untitled");
    NoteItem folder = NoteItem::folder("");
    folder.title.clear();
    EXPECT_EQ(NoteExport::suggestedName(folder), "Folder");
    EXPECT_EQ(NoteExport::countText(1), "1 note");
    EXPECT_EQ(NoteExport::countText(0), "0 notes");
    EXPECT_EQ(NoteExport::folderMessage(3),
              "This folder's notes (3 notes), in the order they're listed, in one document.");
}

TEST(NoteExport, MarkdownAsOneFileOrAFolderWithAttachments) {
    QTemporaryDir dir;
    const QString attachments = dir.filePath("project/attachments");
    for (const char* name : {"D.drawing.png", "D.drawing-dark.png", "D.drawing.json", "cat.png", "other.png"})
        writeFileAtomically(attachments + "/" + name, QByteArray(name));

    const QString plain = "Title\nJust words and @0F8FAD5B-D9CB-469F-A165-70867728950E.";
    EXPECT_FALSE(NoteExport::needsFolder(plain));
    const QString file = NoteExport::writeMarkdown(plain, dir.filePath("out/Plain.md"), attachments);
    EXPECT_EQ(file, dir.filePath("out/Plain.md"));
    EXPECT_EQ(readFile(file), plain.toUtf8()); // a tag is kept as it stands

    const QString withPictures =
        "Title\n" + NoteEmbed::drawing("D").markdown() + "\n![Cat](attachments/cat.png)";
    ASSERT_TRUE(NoteExport::needsFolder(withPictures));
    const QString folder = NoteExport::writeMarkdown(withPictures, dir.filePath("out/Trip.md"), attachments);
    EXPECT_EQ(folder, dir.filePath("out/Trip"));
    EXPECT_EQ(readFile(folder + "/Trip.md"), withPictures.toUtf8());
    QStringList copied = QDir(folder + "/attachments").entryList(QDir::Files);
    std::sort(copied.begin(), copied.end());
    EXPECT_EQ(copied, (QStringList{"D.drawing-dark.png", "D.drawing.json", "D.drawing.png", "cat.png"}));

    // Written again, it replaces the folder; nothing of the staging is left beside it.
    NoteExport::writeMarkdown("Title\n![Cat](attachments/cat.png)", dir.filePath("out/Trip.md"), attachments);
    EXPECT_EQ(QDir(folder + "/attachments").entryList(QDir::Files), QStringList{"cat.png"});
    EXPECT_EQ(
        QDir(dir.filePath("out")).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot).size(),
        2);
}

TEST(NoteExport, AFailedWriteLeavesNothing) {
    QTemporaryDir dir;
    writeFileAtomically(dir.filePath("blocker"), "a file where a folder should go");
    EXPECT_THROW(NoteExport::writeMarkdown("![Cat](attachments/cat.png)", dir.filePath("blocker/x/Trip.md"),
                                           dir.filePath("attachments")),
                 FileError);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{"blocker"});
}
