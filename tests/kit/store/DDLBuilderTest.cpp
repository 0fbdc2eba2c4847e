// The statements, fills and replacements of a shape change, as text: their order is what the database
// depends on. The same changes run against a real database in MigrationTest.cpp.
#include "kit/store/DDLBuilder.h"

#include "tests/kit/store/StoreTestSupport.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

struct Shapes {
    GraphSchema before;
    GraphSchema after;
};

// Person(name text, born number) -KNOWS-> Person, Person -WORKS_AT-> Company(title text).
Shapes people() {
    GraphSchema s;
    auto person =
        nodeType(QStringLiteral("Person"),
                 {property(QStringLiteral("name")), property(QStringLiteral("born"), PropertyKind::Number)});
    auto company = nodeType(QStringLiteral("Company"), {property(QStringLiteral("title"))});
    s.nodeTypes = {person, company};
    s.relTypes = {relType(QStringLiteral("knows"), {{person.id, person.id}}),
                  relType(QStringLiteral("works at"), {{person.id, company.id}},
                          {property(QStringLiteral("since"), PropertyKind::Number)})};
    return {s, s};
}

} // namespace

TEST(DDLBuilder, IdenticalShapesGiveNothing) {
    auto [before, after] = people();
    const MigrationPlan plan = DDLBuilder::plan(before, after);
    EXPECT_TRUE(plan.isEmpty());
    EXPECT_EQ(plan, MigrationPlan{});
}

TEST(DDLBuilder, FirstShapeCreatesNodeTablesBeforeRelationshipTables) {
    GraphSchema s = people().after;
    // A relationship listed first must still come after every node table.
    std::swap(s.nodeTypes[0], s.nodeTypes[1]);
    EXPECT_EQ(
        DDLBuilder::plan(std::nullopt, s).statements,
        (QStringList{
            QStringLiteral("CREATE NODE TABLE Company(id STRING PRIMARY KEY, title STRING)"),
            QStringLiteral("CREATE NODE TABLE Person(id STRING PRIMARY KEY, name STRING, born DOUBLE)"),
            QStringLiteral("CREATE REL TABLE KNOWS(FROM Person TO Person, id STRING)"),
            QStringLiteral("CREATE REL TABLE WORKS_AT(FROM Person TO Company, id STRING, since DOUBLE)")}));
    EXPECT_EQ(DDLBuilder::plan(GraphSchema{}, s).statements, DDLBuilder::plan(std::nullopt, s).statements);
}

TEST(DDLBuilder, RenamesThatDifferOnlyByCaseGoThroughATemporaryName) {
    GraphSchema before;
    before.nodeTypes = {nodeType(QStringLiteral("person")),
                        nodeType(QStringLiteral("ab"), {property(QStringLiteral("Full Name"))})};
    GraphSchema after = before;
    after.nodeTypes[0].name = QStringLiteral("Person"); // same table text: "Person" either way
    after.nodeTypes[1].name = QStringLiteral("a b");    // "Ab" becomes "AB"
    after.nodeTypes[1].properties[0].name = QStringLiteral("full name"); // same column
    EXPECT_EQ(DDLBuilder::plan(before, after).statements,
              (QStringList{QStringLiteral("ALTER TABLE Ab RENAME TO AB_renaming"),
                           QStringLiteral("ALTER TABLE AB_renaming RENAME TO AB")}));

    EXPECT_EQ(DDLBuilder::propertyChanges(QStringLiteral("T"), {}, {}), QStringList{});
    auto old = property(QStringLiteral("x"));
    auto renamed = old;
    renamed.name = QStringLiteral("y");
    EXPECT_EQ(DDLBuilder::propertyChanges(QStringLiteral("T"), {old}, {renamed}),
              QStringList{QStringLiteral("ALTER TABLE T RENAME x TO y")});
}

TEST(DDLBuilder, RemovedEndOfAKeptRelationshipDropsThePairBeforeTheTable) {
    GraphSchema before;
    auto a = nodeType(QStringLiteral("A"));
    auto b = nodeType(QStringLiteral("B"));
    auto c = nodeType(QStringLiteral("C"));
    before.nodeTypes = {a, b, c};
    before.relTypes = {relType(QStringLiteral("links"), {{a.id, b.id}, {a.id, c.id}}),
                       relType(QStringLiteral("only b"), {{b.id, b.id}})};
    GraphSchema after = before;
    after.removeNodeType(b.id);
    ASSERT_EQ(after.relTypes.size(), 1);
    EXPECT_EQ(DDLBuilder::plan(before, after).statements,
              (QStringList{QStringLiteral("ALTER TABLE LINKS DROP FROM A TO B"),
                           QStringLiteral("DROP TABLE ONLY_B"), QStringLiteral("DROP TABLE B")}));
}

TEST(DDLBuilder, MovingARelationshipAddsTheNewPairFirstAndNamesEndsByTheNewShape) {
    GraphSchema before;
    auto a = nodeType(QStringLiteral("A"));
    auto b = nodeType(QStringLiteral("B"));
    auto c = nodeType(QStringLiteral("C"));
    before.nodeTypes = {a, b, c};
    before.relTypes = {relType(QStringLiteral("links"), {{a.id, b.id}})};
    GraphSchema after = before;
    after.nodeTypes[0].name = QStringLiteral("Alpha");
    after.relTypes[0].endpoints = {{a.id, c.id}};
    EXPECT_EQ(DDLBuilder::plan(before, after).statements,
              (QStringList{QStringLiteral("ALTER TABLE A RENAME TO Alpha"),
                           QStringLiteral("ALTER TABLE LINKS ADD FROM Alpha TO C"),
                           QStringLiteral("ALTER TABLE LINKS DROP FROM Alpha TO B")}));
}

TEST(DDLBuilder, PropertyChangesInOrder) {
    auto [before, after] = people();
    auto& person = after.nodeTypes[0];
    person.properties[1].changeKind(PropertyKind::Text);     // born: DOUBLE -> STRING
    person.properties[0].name = QStringLiteral("Full Name"); // name -> full_name
    person.properties.append(property(QStringLiteral("alive"), PropertyKind::Boolean));
    after.relTypes[1].properties.clear(); // since goes
    after.relTypes[1].name = QStringLiteral("employed by");
    const MigrationPlan plan = DDLBuilder::plan(before, after);
    EXPECT_EQ(plan.statements, (QStringList{QStringLiteral("ALTER TABLE Person RENAME name TO full_name"),
                                            QStringLiteral("ALTER TABLE Person DROP born"),
                                            QStringLiteral("ALTER TABLE Person ADD born STRING"),
                                            QStringLiteral("ALTER TABLE Person ADD alive BOOLEAN"),
                                            QStringLiteral("ALTER TABLE WORKS_AT RENAME TO EMPLOYED_BY"),
                                            QStringLiteral("ALTER TABLE EMPLOYED_BY DROP since")}));
    // A column that changes type is dropped too; the relationship table by its name before the batch.
    EXPECT_EQ(plan.tablesLosingColumns,
              (QSet<QString>{QStringLiteral("Person"), QStringLiteral("WORKS_AT")}));
}

TEST(DDLBuilder, FillsFollowTheOldDefault) {
    GraphSchema before;
    auto kept = property(QStringLiteral("kept"), PropertyKind::Text, GraphValue::string(QStringLiteral("x")));
    auto changed =
        property(QStringLiteral("changed"), PropertyKind::Text, GraphValue::string(QStringLiteral("old")));
    auto unset = property(QStringLiteral("unset"));
    auto retyped =
        property(QStringLiteral("retyped"), PropertyKind::Text, GraphValue::string(QStringLiteral("7")));
    auto type = nodeType(QStringLiteral("T"), {kept, changed, unset, retyped});
    auto fresh = nodeType(QStringLiteral("Fresh"),
                          {property(QStringLiteral("d"), PropertyKind::Number, GraphValue::number(1))});
    before.nodeTypes = {type};
    before.relTypes = {relType(QStringLiteral("r"), {{type.id, type.id}},
                               {property(QStringLiteral("w"), PropertyKind::Number)})};

    GraphSchema after = before;
    auto& t = after.nodeTypes[0];
    t.properties[1].setDefault(GraphValue::string(QStringLiteral("new")));
    t.properties[2].setDefault(GraphValue::string(QStringLiteral("now")));
    t.properties[3].changeKind(PropertyKind::Number);
    t.properties[3].setDefault(GraphValue::number(7));
    t.properties.append(property(QStringLiteral("added"), PropertyKind::Boolean, GraphValue::boolean(false)));
    t.properties.append(
        property(QStringLiteral("refused"), PropertyKind::Number, GraphValue::string(QStringLiteral("no"))));
    after.relTypes[0].properties[0].setDefault(GraphValue::number(0.5));
    after.nodeTypes.append(fresh); // a new table gets no fill: it has no rows

    EXPECT_EQ(
        DDLBuilder::plan(before, after).fills,
        (QList<DefaultFill>{
            {QStringLiteral("T"), true, QStringLiteral("changed"), GraphValue::string(QStringLiteral("new")),
             GraphValue::string(QStringLiteral("old"))},
            {QStringLiteral("T"), true, QStringLiteral("unset"), GraphValue::string(QStringLiteral("now")),
             std::nullopt},
            {QStringLiteral("T"), true, QStringLiteral("retyped"), GraphValue::number(7), std::nullopt},
            {QStringLiteral("T"), true, QStringLiteral("added"), GraphValue::boolean(false), std::nullopt},
            {QStringLiteral("R"), false, QStringLiteral("w"), GraphValue::number(0.5), std::nullopt},
        }));
}

TEST(DDLBuilder, OneRenamedOptionIsOneReplacement) {
    GraphSchema before;
    auto mood = property(QStringLiteral("mood"), PropertyKind::Choice, std::nullopt,
                         QStringList{QStringLiteral("glad"), QStringLiteral("sad"), QStringLiteral("calm")});
    before.nodeTypes = {nodeType(QStringLiteral("Day"), {mood})};
    GraphSchema one = before;
    one.nodeTypes[0].name = QStringLiteral("Diary Day");
    one.nodeTypes[0].properties[0].setOptions(
        {QStringLiteral("glad"), QStringLiteral("blue"), QStringLiteral("calm")});
    EXPECT_EQ(DDLBuilder::plan(before, one).replacements,
              (QList<ValueReplacement>{{QStringLiteral("DiaryDay"), true, QStringLiteral("mood"),
                                        QStringLiteral("sad"), QStringLiteral("blue")}}));

    GraphSchema two = before;
    two.nodeTypes[0].properties[0].setOptions(
        {QStringLiteral("happy"), QStringLiteral("blue"), QStringLiteral("calm")});
    EXPECT_TRUE(DDLBuilder::plan(before, two).replacements.isEmpty());
    GraphSchema longer = before;
    longer.nodeTypes[0].properties[0].setOptions(
        {QStringLiteral("glad"), QStringLiteral("blue"), QStringLiteral("calm"), QStringLiteral("odd")});
    EXPECT_TRUE(DDLBuilder::plan(before, longer).replacements.isEmpty());
}

TEST(DDLBuilder, ColumnDropsAreChargedToTheTableNameBeforeTheBatch) {
    GraphSchema before;
    before.nodeTypes = {
        nodeType(QStringLiteral("Old"), {property(QStringLiteral("x")), property(QStringLiteral("y"))}),
        nodeType(QStringLiteral("Other"), {property(QStringLiteral("y")), property(QStringLiteral("z"))}),
        nodeType(QStringLiteral("T"), {property(QStringLiteral("a"))}),
        nodeType(QStringLiteral("ab"), {property(QStringLiteral("z"))}),
        nodeType(QStringLiteral("Gone"), {property(QStringLiteral("q"))})};
    GraphSchema after = before;
    after.nodeTypes[0].name = QStringLiteral("New");
    after.nodeTypes[0].properties.removeFirst();                 // Old loses x while it becomes New
    after.nodeTypes[1].properties.removeFirst();                 // Other loses y
    after.nodeTypes[2].properties[0].name = QStringLiteral("b"); // a rename keeps the column's data
    after.nodeTypes[3].name = QStringLiteral("a b");             // Ab becomes AB through a temporary name...
    after.nodeTypes[3].properties.clear();                       // ...and loses z
    after.removeNodeType(after.nodeTypes[4].id);                 // a whole table that goes drops no column
    after.nodeTypes.append(nodeType(QStringLiteral("Added"), {property(QStringLiteral("n"))}));

    const MigrationPlan plan = DDLBuilder::plan(before, after);
    EXPECT_EQ(plan.tablesLosingColumns,
              (QSet<QString>{QStringLiteral("Old"), QStringLiteral("Other"), QStringLiteral("Ab")}));
    EXPECT_TRUE(plan.statements.contains(QStringLiteral("ALTER TABLE New DROP x")));
    EXPECT_TRUE(plan.statements.contains(QStringLiteral("ALTER TABLE AB DROP z")));

    GraphSchema adding = before;
    adding.nodeTypes[0].properties.append(property(QStringLiteral("w")));
    EXPECT_TRUE(DDLBuilder::plan(before, adding).tablesLosingColumns.isEmpty());
    EXPECT_FALSE(DDLBuilder::plan(before, adding).isEmpty());
}
