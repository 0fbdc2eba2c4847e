#include "app/notes/NoteExporter.h"
#include "app/notes/NotesModel.h"
#include "app/notes/PrintedMarkdown.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/UserFacingError.h"
#include "tests/app/graph/SessionTestSupport.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTextBlock>
#include <QTextDocument>

using namespace corvantis;
using namespace corvantis::test;

namespace {

// The text of a PDF through poppler's pdftotext; absent when the tool isn't installed.
std::optional<QString> pdfText(const QString& path) {
    const QString tool = QStandardPaths::findExecutable("pdftotext");
    if (tool.isEmpty())
        return std::nullopt;
    QProcess process;
    process.start(tool, {path, "-"});
    process.waitForFinished(60000);
    // Ligatures ("ﬁ") unfolded and line breaks made blanks, so that phrases are found whole.
    return QString::fromUtf8(process.readAllStandardOutput())
        .normalized(QString::NormalizationForm_KC)
        .simplified();
}

// A folder "Trip" holding two notes, one with a tag card, a pill, a picture and a missing tag.
struct Trip {
    Reading r;
    QString folder;
    QString first;
    QString second;
    QString ada;
    const QString ghost = "00000000-1111-4222-8333-444444444444";

    Trip() {
        NotesModel& notes = r.session->notes();
        ada = r.add(r.person, "Ada Lovelace");
        folder = notes.newFolder(std::nullopt);
        notes.rename(folder, "Trip");
        first = notes.newNote(folder, "Packing list");
        notes.setBody(first, "# Things\n- [x] passport\n- [ ] **boots**\n\n@" + ada +
                                 "\n\nTravelling with @" + ada + " and @" + ghost +
                                 ".\n![Map](attachments/map.png)");
        second = notes.newNote(folder, "Route notes");
        notes.setBody(second, "> by the coast\n```\nkeep = true\n```\n---\nEnd of route.");
        QImage map(40, 20, QImage::Format_RGB32);
        map.fill(Qt::darkCyan);
        QDir().mkpath(notes.attachmentsFolder());
        map.save(notes.attachmentsFolder() + "/map.png");
    }
};

} // namespace

TEST(NoteExport, PanelMessagesCountNotesAndTellOfPictures) {
    Trip trip;
    NotesModel& notes = trip.r.session->notes();
    EXPECT_EQ(NoteExporter::panelMessage(notes, trip.folder, NoteExport::Format::pdf),
              "This folder's notes (2 notes), in the order they're listed, in one document.");
    EXPECT_TRUE(NoteExporter::panelMessage(notes, trip.first, NoteExport::Format::markdown)
                    .startsWith("It has pictures in it, so it's saved as a folder"));
    EXPECT_EQ(NoteExporter::panelMessage(notes, trip.second, NoteExport::Format::markdown), "");
    const QString empty = notes.newFolder(std::nullopt);
    EXPECT_EQ(NoteExporter::panelMessage(notes, empty, NoteExport::Format::pdf),
              "This folder's notes (0 notes), in the order they're listed, in one document.");
}

TEST(NoteExport, MarkdownOfAFolderWithAPicture) {
    Trip trip;
    NotesModel& notes = trip.r.session->notes();
    const QString out = trip.r.world.dir.filePath("out/Trip.md");
    const QString written = NoteExporter::save(notes, trip.folder, NoteExport::Format::markdown, out);
    EXPECT_EQ(written, trip.r.world.dir.filePath("out/Trip"));
    const QString text = QString::fromUtf8(readFile(written + "/Trip.md"));
    EXPECT_TRUE(text.startsWith("Packing list\n# Things"));
    EXPECT_TRUE(text.contains("\n\nRoute notes\n> by the coast"));
    EXPECT_TRUE(text.contains("@" + trip.ada)); // tags as they stand
    EXPECT_TRUE(QFileInfo::exists(written + "/attachments/map.png"));

    const QString plain = NoteExporter::save(notes, trip.second, NoteExport::Format::markdown,
                                             trip.r.world.dir.filePath("out/Route.md"));
    EXPECT_EQ(readFile(plain), notes.book().markdown(trip.second).toUtf8());
}

TEST(NoteExport, PdfOfAFolderWithCardsPillsAndAMissingTag) {
    Trip trip;
    NotesModel& notes = trip.r.session->notes();
    const QString out = trip.r.world.dir.filePath("Trip.pdf");
    EXPECT_EQ(NoteExporter::save(notes, trip.folder, NoteExport::Format::pdf, out), out);
    const QByteArray bytes = readFile(out);
    ASSERT_TRUE(bytes.startsWith("%PDF"));
    EXPECT_TRUE(bytes.contains("/Subtype /Image")); // the picture is on the page

    const auto text = pdfText(out);
    if (!text)
        GTEST_SKIP() << "pdftotext (poppler-utils) is not installed";
    for (const char* expected : {"Packing list", "Things", "passport", "Route notes", "by the coast",
                                 "keep = true", "End of route.", "Ada Lovelace", "Person"})
        EXPECT_TRUE(text->contains(QString::fromUtf8(expected))) << expected << "\n" << text->toStdString();
    EXPECT_TRUE(text->contains("Can't find " + trip.ghost)) << text->toStdString();
    // Marks don't reach the paper, nor do the ids of tags that were found.
    EXPECT_FALSE(text->contains("**"));
    EXPECT_FALSE(text->contains(trip.ada));
}

TEST(NoteExport, PrintedMarkdownStylesAndAFailedWrite) {
    const auto doc = PrintedMarkdown::document(
        "## Sub\n==lit== and `code` and [site](https://a.example)",
        [](const TagToken& token) {
            NoteTag tag;
            tag.id = token.id;
            tag.missing = true;
            return tag;
        },
        QString());
    EXPECT_EQ(doc->toPlainText(), "Sub\nlit and code and site");
    EXPECT_EQ(doc->firstBlock().blockFormat().headingLevel(), 2);
    // An empty folder gives an empty document.
    EXPECT_TRUE(PrintedMarkdown::document("", {}, QString())->toPlainText().isEmpty());

    QTemporaryDir dir;
    writeFileAtomically(dir.filePath("file"), "x");
    EXPECT_THROW(PrintedMarkdown::writePdf(*doc, dir.filePath("file/inside.pdf")), FileError);
}
