#include "kit/notes/NoteEmbed.h"

#include "kit/notes/NoteFiles.h"
#include "kit/support/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <algorithm>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

void touch(const QString& path, const QByteArray& contents = "x") {
    writeFileAtomically(path, contents);
}

QStringList filesIn(const QString& folder) {
    QStringList files = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

TEST(NoteEmbed, TheEmbedLineWantsALineOfItsOwn) {
    const QString text =
        "Intro\n  ![Cat](attachments/cat.png)  \n![Cat](attachments/cat.png) and words\n"
        "![x](attachments/../secret.png)\n![x](attachments/a b.png)\n![Clip](attachments/clip.MP4)\n"
        "![Doc](attachments/doc.pdf)\n![Cat](attachments/cat.png)";
    const QList<NoteEmbed> embeds = NoteEmbed::embeds(text);
    ASSERT_EQ(embeds.size(), 3); // the same picture twice gives two embeds
    EXPECT_EQ(embeds[0], (NoteEmbed{NoteEmbed::Kind::Image, "Cat", "cat.png"}));
    EXPECT_EQ(embeds[1].kind, NoteEmbed::Kind::Video);
    EXPECT_EQ(embeds[2], embeds[0]);
    // The words-after line is no embed, but the reference still names the file.
    EXPECT_TRUE(NoteEmbed::referenced("see ![Cat](attachments/kept.png) here").contains("kept.png"));
}

TEST(NoteEmbed, DrawingsHaveThreeFiles) {
    const NoteEmbed drawing = NoteEmbed::drawing("ABC");
    EXPECT_EQ(drawing.markdown(), "![Drawing](attachments/ABC.drawing.png)");
    EXPECT_EQ(drawing.drawingID(), "ABC");
    EXPECT_EQ(drawing.darkFile(), "ABC.drawing-dark.png");
    EXPECT_EQ(drawing.sourceFile(), "ABC.drawing.json");
    EXPECT_FALSE(NoteEmbed::make("Cat", "cat.png")->darkFile());
    EXPECT_FALSE(NoteEmbed::make("Doc", "doc.pdf"));
    EXPECT_EQ(NoteEmbed::family("ABC.drawing-dark.png"),
              (QStringList{"ABC.drawing.png", "ABC.drawing-dark.png", "ABC.drawing.json"}));
    EXPECT_EQ(NoteEmbed::owner("ABC.drawing.json"), "ABC.drawing.png");
    EXPECT_EQ(NoteEmbed::owner("cat.png"), "cat.png");
    EXPECT_EQ(NoteEmbed::referenced(drawing.markdown()),
              (QSet<QString>{"ABC.drawing.png", "ABC.drawing-dark.png", "ABC.drawing.json"}));
    EXPECT_EQ(NoteEmbed::unreferenced({".hidden", "ABC.drawing-dark.png", "old.png"}, {drawing.markdown()}),
              (QStringList{"old.png"}));
}

TEST(NoteEmbed, InsertAndRemoveLines) {
    const QString embed = NoteEmbed::drawing("D").markdown();
    int caret = -1;
    EXPECT_EQ(NoteEmbed::insertLine("", embed, std::nullopt, &caret), embed);
    EXPECT_EQ(caret, embed.size());
    EXPECT_EQ(NoteEmbed::insertLine("abc", embed, std::nullopt), "abc\n" + embed);
    EXPECT_EQ(NoteEmbed::insertLine("abcdef", embed, 3, &caret), "abc\n" + embed + "\ndef");
    EXPECT_EQ(caret, 4 + embed.size() + 1);
    EXPECT_EQ(NoteEmbed::insertLine("abc\ndef", embed, 4), "abc\n" + embed + "\ndef");
    EXPECT_EQ(NoteEmbed::insertLine("abc\ndef", embed, 3), "abc\n" + embed + "\ndef");

    const QString text = "one\n" + embed + "\ntwo\n" + embed;
    EXPECT_EQ(NoteEmbed::removeEmbed(text, "D.drawing.png"), "one\ntwo\n" + embed);
    EXPECT_EQ(NoteEmbed::removeEmbed("one\n" + embed, "D.drawing.png"), "one");
    EXPECT_EQ(NoteEmbed::removeEmbed("words " + embed, "D.drawing.png"), "words " + embed);
}

TEST(NoteAttachmentFiles, SweepKeepsWhatNotesStillName) {
    QTemporaryDir dir;
    const QString folder = dir.filePath("attachments");
    for (const char* name : {"D.drawing.png", "D.drawing-dark.png", "D.drawing.json", "E.drawing.png",
                             "E.drawing-dark.png", "E.drawing.json", "inline.png", "gone.jpg", ".DS_Store"})
        touch(folder + "/" + name);
    const QStringList bodies{NoteEmbed::drawing("D").markdown(),
                             "look: ![pic](attachments/inline.png) and more words"};
    const QStringList removed = NoteFiles::sweep(folder, bodies);
    EXPECT_EQ(QSet<QString>(removed.begin(), removed.end()),
              (QSet<QString>{"E.drawing.png", "E.drawing-dark.png", "E.drawing.json", "gone.jpg"}));
    EXPECT_EQ(filesIn(folder), (QStringList{".DS_Store", "D.drawing-dark.png", "D.drawing.json",
                                            "D.drawing.png", "inline.png"}));
    // A folder that isn't there is left alone.
    EXPECT_TRUE(NoteFiles::sweep(dir.filePath("none"), {}).isEmpty());
}

TEST(NoteAttachmentFiles, CopiesUnderFreeNamesAndWritesPastedPictures) {
    QTemporaryDir dir;
    const QString outside = dir.filePath("outside");
    touch(outside + "/cat.png", "first");
    touch(outside + "/notes.txt");
    touch(outside + "/clip.mov", "film");
    const QString folder = dir.filePath("attachments");
    touch(folder + "/cat.png", "already there");

    const QList<NoteEmbed> embeds = NoteFiles::copyIn(
        {outside + "/notes.txt", outside + "/cat.png", outside + "/missing.png", outside + "/clip.mov"},
        folder);
    ASSERT_EQ(embeds.size(), 2);
    EXPECT_EQ(embeds[0], (NoteEmbed{NoteEmbed::Kind::Image, "cat 2", "cat 2.png"}));
    EXPECT_EQ(embeds[1], (NoteEmbed{NoteEmbed::Kind::Video, "clip", "clip.mov"}));
    EXPECT_EQ(readFile(folder + "/cat 2.png"), "first");
    EXPECT_EQ(readFile(folder + "/cat.png"), "already there");

    const auto pasted = NoteFiles::writeDropped("PNGDATA", "PNG", folder);
    ASSERT_TRUE(pasted);
    EXPECT_TRUE(QRegularExpression("^Dropped-[0-9A-F-]{36}\\.png$").match(pasted->file).hasMatch());
    EXPECT_EQ(readFile(folder + "/" + pasted->file), "PNGDATA");
    EXPECT_FALSE(NoteFiles::writeDropped("x", "exe", folder));
}
