#include "kit/notes/NoteBook.h"

#include "kit/notes/NoteFiles.h"
#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QDateTime at(int seconds) {
    return QDateTime::fromSecsSinceEpoch(1'700'000'000 + seconds, Qt::UTC);
}

// A small tree: folder A holding note a1 and folder B (holding b1); note top at the top level.
struct Tree {
    NoteBook book;
    NoteItem A = NoteItem::folder("A");
    NoteItem a1 = NoteItem::note("a1", A.id);
    NoteItem B = NoteItem::folder("B", A.id);
    NoteItem b1 = NoteItem::note("b1", B.id);
    NoteItem top = NoteItem::note("top");
    Tree() {
        a1.body = "first body";
        b1.body = "second body";
        for (const NoteItem& item : {A, a1, B, b1, top})
            book.add(item);
    }
};

QStringList titles(const QList<NoteRow>& rows) {
    QStringList out;
    for (const NoteRow& row : rows)
        out << QString(row.depth, '.') + row.item.title;
    return out;
}

} // namespace

TEST(NoteBook, NewItemsHaveTheirDefaultTitles) {
    EXPECT_EQ(NoteItem::note().title, "Untitled");
    EXPECT_EQ(NoteItem::folder().title, "New Folder");
    EXPECT_TRUE(NoteItem::folder().isFolder);
}

TEST(NoteBook, RoundTripsThroughItsFileWithTheExactKeys) {
    QTemporaryDir dir;
    Tree tree;
    tree.book.setPinned(tree.a1.id, true, at(5));
    tree.book.open(tree.a1.id);
    tree.book.open(tree.top.id);
    const QString path = dir.filePath("notes.json");
    NoteFiles::write(tree.book, path);

    const QJsonObject json = json::decodeObject(readFile(path));
    EXPECT_EQ(json.keys(), (QStringList{"activeTab", "items", "tabs"}));
    const QJsonArray items = json["items"].toArray();
    ASSERT_EQ(items.size(), 5);
    // The pinned note in a folder has every key; a top-level folder leaves out parent and pinnedAt.
    EXPECT_EQ(items[1].toObject().keys(), (QStringList{"body", "createdAt", "expanded", "id", "isFolder",
                                                       "modifiedAt", "parent", "pinnedAt", "title"}));
    EXPECT_EQ(items[0].toObject().keys(),
              (QStringList{"body", "createdAt", "expanded", "id", "isFolder", "modifiedAt", "title"}));
    EXPECT_EQ(items[1].toObject()["pinnedAt"].toString(), json::dateText(at(5)));

    const NoteFiles::Loaded loaded = NoteFiles::read(path);
    EXPECT_FALSE(loaded.damaged);
    EXPECT_EQ(loaded.book, tree.book);

    // Without tabs the active tab is left out, not written as null.
    NoteBook empty;
    NoteFiles::write(empty, path);
    EXPECT_EQ(json::decodeObject(readFile(path)).keys(), (QStringList{"items", "tabs"}));
}

TEST(NoteBook, MissingDamagedAndForeignFiles) {
    QTemporaryDir dir;
    const QString path = dir.filePath("notes.json");
    NoteFiles::Loaded missing = NoteFiles::read(path);
    EXPECT_FALSE(missing.damaged);
    EXPECT_TRUE(missing.book.items.isEmpty());

    writeFileAtomically(path, "{ \"items\": [ {\"id\": 3} ");
    NoteFiles::Loaded damaged = NoteFiles::read(path);
    EXPECT_TRUE(damaged.damaged);
    EXPECT_TRUE(damaged.book.items.isEmpty());
    const QString kept = NoteFiles::keepAside(path);
    EXPECT_EQ(kept, "notes-damaged.json");
    EXPECT_EQ(readFile(dir.filePath(kept)), readFile(path));

    // Unknown keys are ignored.
    NoteItem note = NoteItem::note("Kept");
    QJsonObject item = note.toJson();
    item["colour"] = "blue";
    writeFileAtomically(path, json::encode(QJsonObject{
                                  {"items", QJsonArray{item}}, {"tabs", QJsonArray{}}, {"future", true}}));
    NoteFiles::Loaded foreign = NoteFiles::read(path);
    EXPECT_FALSE(foreign.damaged);
    ASSERT_EQ(foreign.book.items.size(), 1);
    EXPECT_EQ(foreign.book.items[0].title, "Kept");
}

TEST(NoteBook, RepairDropsFolderTabsLostParentsAndCycles) {
    QTemporaryDir dir;
    NoteItem x = NoteItem::folder("X");
    NoteItem y = NoteItem::folder("Y");
    x.parent = y.id;
    y.parent = x.id; // a hand-made cycle
    NoteItem orphan = NoteItem::note("orphan", QStringLiteral("00000000-0000-0000-0000-00000000000A"));
    NoteItem inCycle = NoteItem::note("inside", x.id);
    NoteBook book;
    book.items = {x, y, orphan, inCycle};
    book.tabs = {x.id, orphan.id, inCycle.id};
    book.activeTab = x.id; // a folder: dropped, so the last tab becomes active
    const QString path = dir.filePath("notes.json");
    NoteFiles::write(book, path);

    QElapsedTimer clock;
    clock.start();
    const NoteBook read = NoteFiles::read(path).book;
    EXPECT_EQ(read.tabs, (QStringList{orphan.id, inCycle.id}));
    EXPECT_EQ(read.activeTab, inCycle.id);
    EXPECT_FALSE(read.item(orphan.id)->parent.has_value());
    // The cycle is broken at its first member, so every item shows in the list again.
    EXPECT_EQ(titles(read.rows()), (QStringList{"X", ".Y", ".inside", "orphan"}));
    EXPECT_FALSE(read.item(x.id)->parent.has_value());
    EXPECT_EQ(read.ancestors(inCycle.id), (QStringList{x.id}));

    // Unrepaired, a cycle doesn't hang the walks either.
    EXPECT_EQ(book.ancestors(inCycle.id).size(), 2);
    EXPECT_EQ(book.notes(x.id).size(), 1);
    EXPECT_EQ(book.descendants({x.id}).size(), 2);
}

TEST(NoteBook, RowsStopAtTheDepthCap) {
    NoteBook book;
    std::optional<QString> parent;
    for (int i = 0; i < 100; ++i) {
        NoteItem folder = NoteItem::folder(QString::number(i), parent);
        book.add(folder);
        parent = folder.id;
    }
    const QList<NoteRow> rows = book.rows();
    ASSERT_EQ(rows.size(), NoteBook::maxDepth + 1);
    EXPECT_EQ(rows.last().depth, NoteBook::maxDepth);
}

TEST(NoteBook, RowsFollowExpansionAndTheDraggedFolder) {
    Tree tree;
    EXPECT_EQ(titles(tree.book.rows()), (QStringList{"A", ".a1", ".B", "..b1", "top"}));
    EXPECT_EQ(titles(tree.book.rows(tree.A.id)), (QStringList{"A", "top"}));
    tree.book.item(tree.B.id)->expanded = false;
    EXPECT_EQ(titles(tree.book.rows()), (QStringList{"A", ".a1", ".B", "top"}));
}

TEST(NoteBook, MoveRefusesCyclesAndPlacesAmongSiblings) {
    Tree tree;
    NoteBook& book = tree.book;
    EXPECT_FALSE(book.move(tree.A.id, tree.B.id, 0)); // into its own child
    EXPECT_FALSE(book.move(tree.A.id, tree.A.id, 0));
    EXPECT_FALSE(book.move(tree.top.id, tree.a1.id, 0)); // a note is no folder
    EXPECT_EQ(titles(book.rows()), (QStringList{"A", ".a1", ".B", "..b1", "top"}));

    EXPECT_TRUE(book.move(tree.top.id, tree.A.id, 1));
    EXPECT_EQ(titles(book.rows()), (QStringList{"A", ".a1", ".top", ".B", "..b1"}));
    EXPECT_TRUE(book.move(tree.a1.id, tree.A.id, 99)); // past the end: after the last sibling
    EXPECT_EQ(titles(book.rows()), (QStringList{"A", ".top", ".B", "..b1", ".a1"}));
    EXPECT_TRUE(book.move(tree.b1.id, std::nullopt, 0));
    EXPECT_EQ(titles(book.rows()), (QStringList{"b1", "A", ".top", ".B", ".a1"}));
    EXPECT_TRUE(book.move(tree.a1.id, tree.B.id, 0)); // into an empty folder
    EXPECT_EQ(titles(book.rows()), (QStringList{"b1", "A", ".top", ".B", "..a1"}));
}

TEST(NoteBook, LandingOfADrop) {
    Tree tree;
    const QList<NoteRow> rows = tree.book.rows(); // A, .a1, .B, ..b1, top
    EXPECT_EQ(NoteBook::landing(rows, 0, 5), (NoteBook::Landing{std::nullopt, 0}));
    // Right below folder A: into it when indented, else beside it.
    EXPECT_EQ(NoteBook::landing(rows, 1, 1), (NoteBook::Landing{tree.A.id, 0}));
    EXPECT_EQ(NoteBook::landing(rows, 1, 0), (NoteBook::Landing{tree.A.id, 0})); // below is at depth 1
    // After b1, above top: as deep as b1 at most, as shallow as the top level.
    EXPECT_EQ(NoteBook::landing(rows, 4, 2), (NoteBook::Landing{tree.B.id, 1}));
    EXPECT_EQ(NoteBook::landing(rows, 4, 1), (NoteBook::Landing{tree.A.id, 2}));
    EXPECT_EQ(NoteBook::landing(rows, 4, 0), (NoteBook::Landing{std::nullopt, 1}));
    // Slots are clamped; the end with a folder above.
    EXPECT_EQ(NoteBook::landing(rows, 99, 0), (NoteBook::Landing{std::nullopt, 2}));
    EXPECT_EQ(NoteBook::landing({}, 3, 4), (NoteBook::Landing{std::nullopt, 0}));
}

TEST(NoteBook, TabsOpenCloseAndRemove) {
    Tree tree;
    NoteBook& book = tree.book;
    book.open(tree.A.id); // a folder: ignored
    book.open(QStringLiteral("nothing"));
    EXPECT_TRUE(book.tabs.isEmpty());
    book.open(tree.a1.id);
    book.open(tree.top.id);
    book.open(tree.a1.id);
    book.open(tree.b1.id); // right after the active tab
    EXPECT_EQ(book.tabs, (QStringList{tree.a1.id, tree.b1.id, tree.top.id}));
    EXPECT_EQ(book.activeTab, tree.b1.id);

    book.close(tree.b1.id); // the tab now at its place becomes active
    EXPECT_EQ(book.activeTab, tree.top.id);
    book.close(tree.top.id); // none at its place: the last
    EXPECT_EQ(book.activeTab, tree.a1.id);
    book.close(tree.a1.id);
    EXPECT_FALSE(book.activeTab.has_value());

    book.open(tree.b1.id);
    book.open(tree.top.id);
    book.remove({tree.B.id}); // takes b1 with it
    EXPECT_EQ(book.item(tree.b1.id), nullptr);
    EXPECT_EQ(book.tabs, (QStringList{tree.top.id}));
    EXPECT_EQ(book.activeTab, tree.top.id);
    EXPECT_EQ(book.items.size(), 3);
}

TEST(NoteBook, PinsAndMarkdown) {
    Tree tree;
    NoteBook& book = tree.book;
    book.setPinned(tree.top.id, true, at(10));
    book.setPinned(tree.a1.id, true, at(5));
    book.setPinned(tree.A.id, true, at(1));    // folders are never pinned
    book.setPinned(tree.top.id, true, at(20)); // already pinned: untouched
    EXPECT_EQ(book.item(tree.top.id)->pinnedAt, at(10));
    ASSERT_EQ(book.pinned().size(), 2);
    EXPECT_EQ(book.pinned()[0].id, tree.a1.id);
    book.setPinned(tree.a1.id, false);
    EXPECT_FALSE(book.item(tree.a1.id)->isPinned());

    EXPECT_EQ(book.markdown(tree.a1.id), "a1\nfirst body");
    EXPECT_EQ(book.markdown(tree.A.id), "a1\nfirst body\n\nb1\nsecond body");
    book.item(tree.b1.id)->title = "  ";
    EXPECT_EQ(book.markdown(tree.B.id), "Untitled\nsecond body");
    EXPECT_EQ(book.markdown(QStringLiteral("none")), "");
}
