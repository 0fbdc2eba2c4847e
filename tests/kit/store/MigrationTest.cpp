// Shape changes run against a real database: what survives, what goes, and the placeholder rows that
// let a column leave an empty table.
#include "kit/store/GraphStoreError.h"
#include "kit/store/MigrationCleanupError.h"
#include "tests/kit/store/StoreTestSupport.h"

#include <QFileInfo>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

class StoreMigration : public ::testing::Test {
protected:
    void SetUp() override { store = db.open(); }

    // Applies `next` over `shape` and makes it the current shape.
    void apply(const GraphSchema& next) {
        migrate(*store, shape, next);
        shape = next;
    }

    QString value(const QString& label, const QString& id, const QString& column) {
        for (const auto& node : store->loadNodes({label}))
            if (node.id == id)
                return node.properties.value(column).displayText();
        return QStringLiteral("(missing)");
    }

    TempDatabase db;
    GraphSchema shape;
    std::unique_ptr<LadybugGraphStore> store;
};

} // namespace

TEST_F(StoreMigration, RenamesKeepDataAndATypeChangeDropsIt) {
    GraphSchema next;
    next.nodeTypes = {
        nodeType(QStringLiteral("person"),
                 {property(QStringLiteral("name")), property(QStringLiteral("born"), PropertyKind::Number),
                  property(QStringLiteral("Nick"))}),
        nodeType(QStringLiteral("ab"), {property(QStringLiteral("x"))})};
    next.relTypes = {relType(QStringLiteral("knows"), {{next.nodeTypes[0].id, next.nodeTypes[0].id}},
                             {property(QStringLiteral("since"), PropertyKind::Number)})};
    apply(next);

    const QString ada = newId(), bob = newId(), ab = newId(), rel = newId();
    store->insertNode({ada,
                       QStringLiteral("Person"),
                       {{QStringLiteral("name"), GraphValue::string(QStringLiteral("Ada"))},
                        {QStringLiteral("born"), GraphValue::number(1815)},
                        {QStringLiteral("nick"), GraphValue::string(QStringLiteral("A"))}}});
    store->insertNode({bob,
                       QStringLiteral("Person"),
                       {{QStringLiteral("name"), GraphValue::string(QStringLiteral("Bob"))}}});
    store->insertNode(
        {ab, QStringLiteral("Ab"), {{QStringLiteral("x"), GraphValue::string(QStringLiteral("kept"))}}});
    store->insertRel(
        {rel, QStringLiteral("KNOWS"), ada, bob, {{QStringLiteral("since"), GraphValue::number(1830)}}},
        QStringLiteral("Person"), QStringLiteral("Person"));

    // Person becomes Human, "name" becomes "full name", "Nick" only changes case (same column),
    // "ab" becomes "a b" (a table name that differs only by case), and KNOWS becomes MET.
    next.nodeTypes[0].name = QStringLiteral("Human");
    next.nodeTypes[0].properties[0].name = QStringLiteral("full name");
    next.nodeTypes[0].properties[2].name = QStringLiteral("NICK");
    next.nodeTypes[1].name = QStringLiteral("a b");
    next.relTypes[0].name = QStringLiteral("met");
    next.relTypes[0].properties[0].name = QStringLiteral("year");
    apply(next);

    EXPECT_EQ(tables(*store, QStringLiteral("NODE")),
              (QStringList{QStringLiteral("AB"), QStringLiteral("Human")}));
    EXPECT_EQ(tables(*store, QStringLiteral("REL")), QStringList{QStringLiteral("MET")});
    EXPECT_EQ(value(QStringLiteral("Human"), ada, QStringLiteral("full_name")), QStringLiteral("Ada"));
    EXPECT_EQ(value(QStringLiteral("Human"), ada, QStringLiteral("born")), QStringLiteral("1815"));
    EXPECT_EQ(value(QStringLiteral("Human"), ada, QStringLiteral("nick")), QStringLiteral("A"));
    EXPECT_EQ(value(QStringLiteral("AB"), ab, QStringLiteral("x")), QStringLiteral("kept"));
    auto rels = store->loadRels({QStringLiteral("MET")});
    ASSERT_EQ(rels.size(), 1);
    EXPECT_EQ(
        rels[0],
        (RelRecord{
            rel, QStringLiteral("MET"), ada, bob, {{QStringLiteral("year"), GraphValue::number(1830)}}}));

    // A number that becomes text is a new column: the values are gone, the others stay.
    next.nodeTypes[0].properties[1].changeKind(PropertyKind::Text);
    apply(next);
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Human")),
              (QStringList{QStringLiteral("born STRING"), QStringLiteral("full_name STRING"),
                           QStringLiteral("id STRING"), QStringLiteral("nick STRING")}));
    EXPECT_EQ(value(QStringLiteral("Human"), ada, QStringLiteral("born")), QStringLiteral("—"));
    EXPECT_EQ(value(QStringLiteral("Human"), ada, QStringLiteral("full_name")), QStringLiteral("Ada"));
}

TEST_F(StoreMigration, RemovingOneEndAndMovingARelationship) {
    auto a = nodeType(QStringLiteral("A"), {property(QStringLiteral("n"))});
    auto b = nodeType(QStringLiteral("B"));
    auto c = nodeType(QStringLiteral("C"));
    GraphSchema next;
    next.nodeTypes = {a, b, c};
    next.relTypes = {relType(QStringLiteral("links"), {{a.id, b.id}, {a.id, c.id}}),
                     relType(QStringLiteral("points"), {{a.id, b.id}})};
    apply(next);

    const QString a1 = newId(), b1 = newId(), c1 = newId(), toB = newId(), toC = newId(), pointsB = newId();
    store->insertRecords(
        {{a1, QStringLiteral("A"), {}}, {b1, QStringLiteral("B"), {}}, {c1, QStringLiteral("C"), {}}},
        {{{toB, QStringLiteral("LINKS"), a1, b1, {}}, QStringLiteral("A"), QStringLiteral("B")},
         {{toC, QStringLiteral("LINKS"), a1, c1, {}}, QStringLiteral("A"), QStringLiteral("C")},
         {{pointsB, QStringLiteral("POINTS"), a1, b1, {}}, QStringLiteral("A"), QStringLiteral("B")}});

    // POINTS moves from A->B to A->C: the new pair is added before the old one goes.
    next.relTypes[1].endpoints = {{a.id, c.id}};
    apply(next);
    EXPECT_TRUE(store->loadRels({QStringLiteral("POINTS")}).isEmpty());
    const QString pointsC = newId();
    store->insertRel({pointsC, QStringLiteral("POINTS"), a1, c1, {}}, QStringLiteral("A"),
                     QStringLiteral("C"));

    // B goes while LINKS, which names it, stays: the pair is dropped first, then the table.
    next.removeNodeType(b.id);
    apply(next);
    EXPECT_EQ(tables(*store, QStringLiteral("NODE")),
              (QStringList{QStringLiteral("A"), QStringLiteral("C")}));
    auto links = store->loadRels({QStringLiteral("LINKS")});
    ASSERT_EQ(links.size(), 1);
    EXPECT_EQ(links[0].id, toC);
    EXPECT_EQ(store->loadRels({QStringLiteral("POINTS")}).size(), 1);
}

TEST_F(StoreMigration, FillsAndReplacementsReachExistingRows) {
    auto mood =
        property(QStringLiteral("mood"), PropertyKind::Choice, GraphValue::string(QStringLiteral("calm")),
                 QStringList{QStringLiteral("glad"), QStringLiteral("sad"), QStringLiteral("calm")});
    GraphSchema next;
    next.nodeTypes = {nodeType(QStringLiteral("Day"), {mood})};
    apply(next);
    const QString sad = newId(), calm = newId(), unset = newId(), other = newId();
    store->insertNode(
        {sad, QStringLiteral("Day"), {{QStringLiteral("mood"), GraphValue::string(QStringLiteral("sad"))}}});
    store->insertNode({calm,
                       QStringLiteral("Day"),
                       {{QStringLiteral("mood"), GraphValue::string(QStringLiteral("calm"))}}});
    store->insertNode({unset, QStringLiteral("Day"), {}});
    store->insertNode({other,
                       QStringLiteral("Day"),
                       {{QStringLiteral("mood"), GraphValue::string(QStringLiteral("glad"))}}});

    // "sad" is renamed "blue", the default moves from "calm" to "glad", and a new column gets a default.
    next.nodeTypes[0].properties[0].setOptions(
        {QStringLiteral("glad"), QStringLiteral("blue"), QStringLiteral("calm")});
    next.nodeTypes[0].properties[0].setDefault(GraphValue::string(QStringLiteral("glad")));
    next.nodeTypes[0].properties.append(
        property(QStringLiteral("score"), PropertyKind::Number, GraphValue::number(3)));
    apply(next);

    EXPECT_EQ(value(QStringLiteral("Day"), sad, QStringLiteral("mood")), QStringLiteral("blue"));
    EXPECT_EQ(value(QStringLiteral("Day"), calm, QStringLiteral("mood")), QStringLiteral("glad"));
    EXPECT_EQ(value(QStringLiteral("Day"), unset, QStringLiteral("mood")), QStringLiteral("glad"));
    EXPECT_EQ(value(QStringLiteral("Day"), other, QStringLiteral("mood")), QStringLiteral("glad"));
    for (const auto& id : {sad, calm, unset, other})
        EXPECT_EQ(value(QStringLiteral("Day"), id, QStringLiteral("score")), QStringLiteral("3"));

    // A fill that the database refuses rolls back as a whole.
    EXPECT_THROW(
        store->fill({{QStringLiteral("Day"), true, QStringLiteral("score"), GraphValue::number(9),
                      GraphValue::number(3)},
                     {QStringLiteral("Day"), true, QStringLiteral("nothing"), GraphValue::number(1)}}),
        GraphStoreError);
    EXPECT_EQ(value(QStringLiteral("Day"), sad, QStringLiteral("score")), QStringLiteral("3"));
}

TEST_F(StoreMigration, AFailedBatchLeavesTheTablesAsTheyWere) {
    GraphSchema next;
    next.nodeTypes = {nodeType(QStringLiteral("Keep"), {property(QStringLiteral("a"))})};
    apply(next);
    const QString id = newId();
    store->insertNode(
        {id, QStringLiteral("Keep"), {{QStringLiteral("a"), GraphValue::string(QStringLiteral("v"))}}});
    try {
        store->migrate(statementsPlan({QStringLiteral("ALTER TABLE Keep RENAME TO Renamed"),
                                       QStringLiteral("ALTER TABLE Renamed ADD b STRING"),
                                       QStringLiteral("CREATE NODE TABLE Broken(")}));
        ADD_FAILURE() << "a broken batch went through";
    } catch (const GraphStoreError& error) {
        EXPECT_FALSE(error.message().isEmpty());
        // Nothing was committed, and the error says so by its class.
        EXPECT_EQ(dynamic_cast<const MigrationCleanupError*>(&error), nullptr);
        EXPECT_EQ(error.kind(), GraphStoreError::Kind::Engine);
    }
    EXPECT_EQ(tables(*store, QStringLiteral("NODE")), QStringList{QStringLiteral("Keep")});
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Keep")),
              (QStringList{QStringLiteral("a STRING"), QStringLiteral("id STRING")}));
    EXPECT_EQ(value(QStringLiteral("Keep"), id, QStringLiteral("a")), QStringLiteral("v"));
}

TEST_F(StoreMigration, ColumnsLeaveEmptyTablesWithoutATrace) {
    GraphSchema next;
    next.nodeTypes = {
        nodeType(QStringLiteral("Empty"), {property(QStringLiteral("sole"))}),
        nodeType(QStringLiteral("Full"), {property(QStringLiteral("x")), property(QStringLiteral("y"))})};
    apply(next);
    const QString full = newId();
    store->insertNode(
        {full, QStringLiteral("Full"), {{QStringLiteral("y"), GraphValue::string(QStringLiteral("stays"))}}});

    // The last property of an empty table, and a renamed table losing a column, in one batch.
    next.nodeTypes[0].properties.clear();
    next.nodeTypes[1].name = QStringLiteral("Filled");
    next.nodeTypes[1].properties.removeFirst();
    apply(next);
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Empty")), QStringList{QStringLiteral("id STRING")});
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Filled")),
              (QStringList{QStringLiteral("id STRING"), QStringLiteral("y STRING")}));
    EXPECT_EQ(placeholderCount(*store), 0);
    EXPECT_TRUE(store->loadNodes({QStringLiteral("Empty")}).isEmpty());
    EXPECT_EQ(value(QStringLiteral("Filled"), full, QStringLiteral("y")), QStringLiteral("stays"));
}

TEST_F(StoreMigration, ABatchFailingAfterThePlaceholderLeavesNone) {
    GraphSchema next;
    next.nodeTypes = {
        nodeType(QStringLiteral("Empty"), {property(QStringLiteral("x")), property(QStringLiteral("y"))})};
    apply(next);
    try {
        store->migrate(statementsPlan(
            {QStringLiteral("ALTER TABLE Empty DROP x"), QStringLiteral("ALTER TABLE Missing DROP y")},
            {QStringLiteral("Empty"), QStringLiteral("Missing")}));
        ADD_FAILURE() << "a batch naming a missing table went through";
    } catch (const MigrationCleanupError&) {
        ADD_FAILURE() << "a batch that committed nothing was reported as committed";
    } catch (const GraphStoreError&) {
    }
    EXPECT_EQ(placeholderCount(*store), 0);
    EXPECT_TRUE(store->loadNodes({QStringLiteral("Empty")}).isEmpty());
    EXPECT_EQ(
        tableColumns(*store, QStringLiteral("Empty")),
        (QStringList{QStringLiteral("id STRING"), QStringLiteral("x STRING"), QStringLiteral("y STRING")}));
}

TEST_F(StoreMigration, OpeningRemovesALeftOverPlaceholder) {
    GraphSchema next;
    next.nodeTypes = {nodeType(QStringLiteral("Thing"), {property(QStringLiteral("name"))})};
    apply(next);
    const QString real = newId();
    store->insertNode({real, QStringLiteral("Thing"), {}});
    store->insertNode({LadybugGraphStore::placeholderId, QStringLiteral("Thing"), {}});
    ASSERT_EQ(placeholderCount(*store), 1);
    store.reset();

    store = db.open();
    auto nodes = store->loadNodes({QStringLiteral("Thing")});
    ASSERT_EQ(nodes.size(), 1);
    EXPECT_EQ(nodes[0].id, real);
    EXPECT_EQ(placeholderCount(*store), 0);
}

TEST_F(StoreMigration, EmptyListsSendNothingNotEvenACheckpoint) {
    GraphSchema next;
    next.nodeTypes = {nodeType(QStringLiteral("Thing"))};
    apply(next);
    store->checkpoint();
    store->insertNode({newId(), QStringLiteral("Thing"), {}});
    // The write sits in the log until a checkpoint folds it into the database file.
    const QString wal = db.path() + QStringLiteral(".wal");
    const qint64 logged = QFileInfo(wal).size();
    ASSERT_GT(logged, 0) << "the engine did not log the write; this test cannot see a checkpoint";
    store->migrate({});
    store->fill({});
    store->replace({});
    EXPECT_EQ(QFileInfo(wal).size(), logged);
    store->checkpoint();
    EXPECT_LT(QFileInfo(wal).size(), logged);
}

TEST_F(StoreMigration, RelationshipDefaultsAndRenamedOptionsReachExistingRows) {
    auto person = nodeType(QStringLiteral("Person"), {property(QStringLiteral("name"))});
    auto kind =
        property(QStringLiteral("kind"), PropertyKind::Choice, std::nullopt,
                 QStringList{QStringLiteral("friend"), QStringLiteral("rival"), QStringLiteral("kin")});
    auto since = property(QStringLiteral("since"), PropertyKind::Number);
    GraphSchema next;
    next.nodeTypes = {person};
    next.relTypes = {relType(QStringLiteral("knows"), {{person.id, person.id}}, {kind, since})};
    apply(next);
    const QString ada = newId(), bob = newId(), rival = newId(), bare = newId(), dated = newId();
    store->insertRecords(
        {{ada, QStringLiteral("Person"), {}}, {bob, QStringLiteral("Person"), {}}},
        {{{rival,
           QStringLiteral("KNOWS"),
           ada,
           bob,
           {{QStringLiteral("kind"), GraphValue::string(QStringLiteral("rival"))}}},
          QStringLiteral("Person"),
          QStringLiteral("Person")},
         {{bare, QStringLiteral("KNOWS"), bob, ada, {}}, QStringLiteral("Person"), QStringLiteral("Person")},
         {{dated, QStringLiteral("KNOWS"), ada, ada, {{QStringLiteral("since"), GraphValue::number(1990)}}},
          QStringLiteral("Person"),
          QStringLiteral("Person")}});

    // The relationship type is renamed as well, so the fills and the replacement must name the new table.
    next.relTypes[0].name = QStringLiteral("met");
    next.relTypes[0].properties[0].setOptions(
        {QStringLiteral("friend"), QStringLiteral("foe"), QStringLiteral("kin")});
    next.relTypes[0].properties[0].setDefault(GraphValue::string(QStringLiteral("friend")));
    next.relTypes[0].properties[1].setDefault(GraphValue::number(2000));
    next.relTypes[0].properties.append(
        property(QStringLiteral("weight"), PropertyKind::Number, GraphValue::number(1)));
    const MigrationPlan plan = DDLBuilder::plan(shape, next);
    ASSERT_EQ(plan.fills.size(), 3);
    ASSERT_EQ(plan.replacements.size(), 1);
    apply(next);

    QHash<QString, PropertyMap> byId;
    for (const RelRecord& rel : store->loadRels({QStringLiteral("MET")}))
        byId.insert(rel.id, rel.properties);
    ASSERT_EQ(byId.size(), 3);
    auto expect = [](const QString& kindValue, double sinceValue) {
        return PropertyMap{{QStringLiteral("kind"), GraphValue::string(kindValue)},
                           {QStringLiteral("since"), GraphValue::number(sinceValue)},
                           {QStringLiteral("weight"), GraphValue::number(1)}};
    };
    EXPECT_EQ(byId.value(rival), expect(QStringLiteral("foe"), 2000));
    EXPECT_EQ(byId.value(bare), expect(QStringLiteral("friend"), 2000));
    EXPECT_EQ(byId.value(dated), expect(QStringLiteral("friend"), 1990));
}

namespace {

// An observer that fails the migration at one step, as a full disk would.
std::function<void(LadybugGraphStore::MigrationStep)> failAt(LadybugGraphStore::MigrationStep step) {
    return [step](LadybugGraphStore::MigrationStep reached) {
        if (reached == step)
            throw FileError(QStringLiteral("The disk is full."));
    };
}

} // namespace

TEST_F(StoreMigration, AFailureAfterTheCommitIsACleanupErrorAndTheNewTablesStay) {
    using Step = LadybugGraphStore::MigrationStep;
    GraphSchema next;
    next.nodeTypes = {nodeType(QStringLiteral("Empty"), {property(QStringLiteral("x"))}),
                      nodeType(QStringLiteral("Full"), {property(QStringLiteral("y"))})};
    apply(next);
    const QString full = newId();
    store->insertNode(
        {full, QStringLiteral("Full"), {{QStringLiteral("y"), GraphValue::string(QStringLiteral("kept"))}}});

    // Each step after the commit in turn: an added column (no drop, so no checkpoint follows), then a
    // column dropped from the empty table, failing before the checkpoint and after it.
    struct Case {
        Step step;
        std::function<void(GraphSchema&)> change;
        qint64 placeholdersLeft;
    };
    const QList<Case> cases{
        {Step::StatementsCommitted,
         [](GraphSchema& s) { s.nodeTypes[1].properties.append(property(QStringLiteral("z"))); }, 0},
        {Step::StatementsCommitted, [](GraphSchema& s) { s.nodeTypes[0].properties.clear(); }, 1},
        {Step::CheckpointWritten,
         [](GraphSchema& s) { s.nodeTypes[0].properties.append(property(QStringLiteral("w"))); }, 0},
        {Step::CheckpointWritten, [](GraphSchema& s) { s.nodeTypes[0].properties.clear(); }, 1},
    };
    for (const Case& c : cases) {
        GraphSchema changed = shape;
        c.change(changed);
        const MigrationPlan plan = DDLBuilder::plan(shape, changed);
        store->setMigrationObserver(failAt(c.step));
        try {
            store->migrate(plan);
            // Without a column drop there is no checkpoint, so no CheckpointWritten step to fail at.
            EXPECT_TRUE(plan.tablesLosingColumns.isEmpty() && c.step == Step::CheckpointWritten);
        } catch (const MigrationCleanupError& error) {
            EXPECT_EQ(error.message(), QStringLiteral("The disk is full."));
            EXPECT_EQ(error.kind(), GraphStoreError::Kind::InputOutput);
        }
        store->setMigrationObserver({});
        shape = changed;
        EXPECT_EQ(store->describeTables(), TableCatalog::of(shape));
        // A placeholder that the failure left behind is gone once the database is opened again, and
        // no row of the user's went with it.
        EXPECT_EQ(placeholderCount(*store), c.placeholdersLeft);
        store.reset();
        store = db.open();
        EXPECT_EQ(placeholderCount(*store), 0);
        EXPECT_TRUE(store->loadNodes({QStringLiteral("Empty")}).isEmpty());
        EXPECT_EQ(value(QStringLiteral("Full"), full, QStringLiteral("y")), QStringLiteral("kept"));
    }
}

TEST_F(StoreMigration, ACatalogOfTheDatabaseIsTheCatalogOfItsShape) {
    EXPECT_EQ(store->describeTables(), TableCatalog{});
    EXPECT_EQ(TableCatalog::of(GraphSchema{}), TableCatalog{});

    auto a = nodeType(QStringLiteral("Author"), {property(QStringLiteral("Name")),
                                                 property(QStringLiteral("born"), PropertyKind::Number),
                                                 property(QStringLiteral("alive"), PropertyKind::Boolean),
                                                 property(QStringLiteral("site"), PropertyKind::Link),
                                                 property(QStringLiteral("mood"), PropertyKind::Choice,
                                                          std::nullopt, QStringList{QStringLiteral("up")})});
    auto b = nodeType(QStringLiteral("Book"));
    auto c = nodeType(QStringLiteral("Paper"));
    GraphSchema first;
    first.nodeTypes = {a, b, c};
    first.relTypes = {relType(QStringLiteral("wrote"), {{a.id, b.id}, {a.id, c.id}},
                              {property(QStringLiteral("year"), PropertyKind::Number)})};
    apply(first);
    const TableCatalog catalog = store->describeTables();
    EXPECT_EQ(catalog, TableCatalog::of(first));
    EXPECT_EQ(catalog.nodeTables.value(QStringLiteral("author")),
              (TableCatalog::Columns{{QStringLiteral("id"), QStringLiteral("STRING")},
                                     {QStringLiteral("name"), QStringLiteral("STRING")},
                                     {QStringLiteral("born"), QStringLiteral("DOUBLE")},
                                     {QStringLiteral("alive"), QStringLiteral("BOOLEAN")},
                                     {QStringLiteral("site"), QStringLiteral("STRING")},
                                     {QStringLiteral("mood"), QStringLiteral("STRING")}}));
    EXPECT_EQ(catalog.relEnds.value(QStringLiteral("wrote")),
              (QSet<std::pair<QString, QString>>{{QStringLiteral("author"), QStringLiteral("book")},
                                                 {QStringLiteral("author"), QStringLiteral("paper")}}));

    // Each change of the tables shows: a renamed table, a column that changes type, an end that moves.
    auto changed = [&](const std::function<void(GraphSchema&)>& change) {
        GraphSchema s = first;
        change(s);
        return s;
    };
    const QList<GraphSchema> nexts{
        changed([](GraphSchema& s) { s.nodeTypes[1].name = QStringLiteral("Volume"); }),
        changed([](GraphSchema& s) { s.nodeTypes[0].properties[1].changeKind(PropertyKind::Text); }),
        changed([&](GraphSchema& s) {
            s.relTypes[0].endpoints = {{a.id, b.id}, {c.id, b.id}};
        }),
        changed([](GraphSchema& s) { s.relTypes[0].properties.clear(); }),
    };
    for (const GraphSchema& next : nexts) {
        ASSERT_NE(TableCatalog::of(next), TableCatalog::of(first));
        apply(next);
        EXPECT_EQ(store->describeTables(), TableCatalog::of(next));
        EXPECT_NE(store->describeTables(), TableCatalog::of(first));
        apply(first);
        EXPECT_EQ(store->describeTables(), TableCatalog::of(first));
    }

    // What the tables do not hold leaves the catalog as it is: a default, an option, the case of a name.
    GraphSchema same = first;
    same.nodeTypes[0].properties[4].setOptions({QStringLiteral("up"), QStringLiteral("down")});
    same.nodeTypes[0].properties[0].name = QStringLiteral("NAME");
    same.nodeTypes[0].properties[1].setDefault(GraphValue::number(1900));
    EXPECT_EQ(TableCatalog::of(same), TableCatalog::of(first));
}
