#include "tests/kit/build/BuildFixtures.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphDraft::Property p(const QString& name, const QString& value) {
    return {name, value};
}

} // namespace

TEST(Review, EveryRejectionHasItsSentenceAndTheRestStaysUsable) {
    Library lib;
    GraphDraft draft;
    draft.nodes = {
        draftNode("n1", "person", {p("Name", "Ann")}), draftNode("n1", "Person", {p("name", "Bob")}),
        draftNode(" ", "Person", {p("name", "Cy")}),   draftNode("n2", "Planet", {p("name", "Mars")}),
        draftNode("n3", "Book", {p("read", "yes")}),   draftNode("n4", "Book", {p("title", "Dune")})};
    draft.relationships = {{"wrote", "n1", "n4", {}},
                           {"wrote", "n1", "n4", {}}, // repeated: dropped without a word
                           {"likes", "n1", "n4", {}},
                           {"wrote", "n4", "n1", {}},
                           {"knows", "n1", "n9", {}}};
    draft.changes = {{"rename", "Do something", "MATCH (n) RETURN n", {}},
                     {"remove", "", "  ", {}},
                     {"update", "Set nothing", "MATCH (n:Person) RETURN n", {p(" ", "x")}},
                     {" Remove ", "Remove Bob", "MATCH (n:Person) RETURN n", {}}};
    draft.summary = "Made things.";
    const GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);

    EXPECT_EQ(review.skipped, (QStringList{
                                  "A node had a missing or repeated ref (n1).",
                                  "A node had a missing or repeated ref (none).",
                                  "No type called “Planet” in the shape.",
                                  "A Book had no title.",
                                  "No relationship called LIKES in the shape.",
                                  "WROTE isn't allowed from Book to Person.",
                                  "knows pointed at a node that isn't there (n1 → n9).",
                                  "A change couldn't be understood (Do something).",
                                  "A change couldn't be understood (no description).",
                                  "“Set nothing” said nothing to set.",
                              }));
    ASSERT_EQ(review.nodes.size(), 2);
    EXPECT_EQ(review.nodes[0].properties.value("name"), GraphValue::string("Ann"));
    ASSERT_EQ(review.relationships.size(), 1);
    EXPECT_EQ(review.relationships[0].id, 0);
    ASSERT_EQ(review.changes.size(), 1);
    EXPECT_EQ(review.changes[0].action, GraphReview::Change::Action::Remove);
    EXPECT_EQ(review.changes[0].id, 0);
    EXPECT_EQ(review.summary, "Made things.");
}

TEST(Review, SameNamesAreOneNodeAndMatchTheGraph) {
    Library lib;
    const QString existing = lib.add("Book", "title", "The Lord & the Rings");
    const QString cafe = lib.add("Person", "name", "Café Müller");
    lib.add("Tag", "label", "classic");
    GraphDraft draft;
    draft.nodes = {draftNode("a", "Person", {p("name", "ann lee")}),
                   draftNode("b", "Person", {p("name", "Ann Lee")}), // differs only in case: an alias of a
                   draftNode("c", "Book", {p("title", "lord and the rings")}),
                   draftNode("d", "Person", {p("name", "CAFE MULLER")}),
                   draftNode("e", "Tag", {p("label", "classic")}),
                   draftNode("f", "Book", {p("title", "Ann Lee")})}; // same name, another type: its own node
    draft.relationships = {
        {"knows", "b", "a", {}}, {"wrote", "B", "c", {}}, {"wrote", "b", existing.toLower(), {}}};
    const GraphReview review = GraphBuilder::review(draft, lib.schema, lib.nodes);

    QStringList refs;
    for (const auto& node : review.nodes)
        refs.append(node.id);
    EXPECT_EQ(refs, (QStringList{"a", "c", "d", "e", "f"}));
    EXPECT_EQ(review.node("c")->target, existing);
    ASSERT_EQ(review.node("c")->matches.size(), 1);
    EXPECT_TRUE(review.node("c")->matches[0].isSameName());
    EXPECT_EQ(review.node("d")->target, cafe);
    EXPECT_FALSE(review.node("e")->target); // a type without a title is never matched by name
    EXPECT_FALSE(review.node("f")->target);

    // "b" lands on "a"; an id typed in another case resolves to the stored id; "B" is no ref.
    ASSERT_EQ(review.relationships.size(), 2);
    EXPECT_EQ(review.relationships[0].from, GraphReview::End::draft("a"));
    EXPECT_EQ(review.relationships[0].to, GraphReview::End::draft("a"));
    EXPECT_EQ(review.relationships[1].to, GraphReview::End::existing(existing));
    EXPECT_EQ(review.skipped, QStringList{"wrote pointed at a node that isn't there (B → c)."});
}

TEST(Review, ValuesAreCoercedByKindAndUnreadableOnesDrop) {
    Library lib;
    const auto& defs = lib.person().properties;
    PropertyMap values = GraphBuilder::values(
        {p(" NAME ", " Ann "), p("born", "1,962"), p("status", "dead"), p("shoe", "42")}, defs, false);
    EXPECT_EQ(values.value("name"), GraphValue::string("Ann"));
    EXPECT_EQ(values.value("born"), GraphValue::number(1962));
    EXPECT_EQ(values.value("status"), GraphValue::string("Dead")); // the option's own spelling
    EXPECT_FALSE(values.contains("shoe"));
    EXPECT_FALSE(GraphBuilder::values({p("born", "about 1962")}, defs, false).contains("born"));
    EXPECT_FALSE(GraphBuilder::values({p("born", " 1962")}, defs, false).isEmpty());
    EXPECT_FALSE(GraphBuilder::values({p("status", "unknown")}, defs, false).contains("status"));
    // An empty value clears only when asked to.
    EXPECT_FALSE(GraphBuilder::values({p("name", "  ")}, defs, false).contains("name"));
    EXPECT_EQ(GraphBuilder::values({p("name", "")}, defs, true).value("name", GraphValue::string("x")),
              GraphValue());
    EXPECT_TRUE(GraphBuilder::values({p("name", "")}, defs, true).contains("name"));
    EXPECT_EQ(GraphBuilder::values({p("read", "yes")}, lib.book().properties, false).value("read"),
              GraphValue::boolean(true));
    // A later property for the same column wins.
    EXPECT_EQ(GraphBuilder::values({p("name", "A"), p("Name", "B")}, defs, false).value("name"),
              GraphValue::string("B"));
}

TEST(Review, NameKeysAndMentionsFollowTheirRules) {
    EXPECT_EQ(GraphBuilder::nameKey("The Hobbit"), GraphBuilder::nameKey("hobbit"));
    EXPECT_EQ(GraphBuilder::nameKey("the"), "the");
    EXPECT_EQ(GraphBuilder::nameKey("Salt & Pepper"), "salt and pepper");
    EXPECT_EQ(GraphBuilder::keyWords("Ｆｕｌｌ-width Ça"), (QStringList{"full", "width", "ca"}));

    const QList<QPair<QString, QString>> names{{"1", "Al"},
                                               {"2", "Al Go"},
                                               {"3", "The Hobbit"},
                                               {"4", "one two three four five six seven eight nine"},
                                               {"5", "Tolkien"}};
    const QString text = "Al wrote of a hobbit. Al go one two three four five six seven eight nine, tolkien!";
    // "Al" alone is too short to count; "Al Go" runs over the sentence end; nine words never count.
    EXPECT_EQ(GraphBuilder::mentioned(text, names), (QStringList{"2", "3", "5"}));
    EXPECT_TRUE(GraphBuilder::mentioned("anything", {{"9", "a b c d e f g h i"}}).isEmpty());
}

TEST(Review, PassagesAndCandidatesAreChosenByScore) {
    EXPECT_TRUE(GraphBuilder::passageMatches({{"a", 0.67f}, {"b", 0.5f}}).isEmpty());
    EXPECT_EQ(GraphBuilder::passageMatches({{"a", 0.70f}, {"b", 0.80f}, {"c", 0.75f}, {"d", 0.73f}}),
              (QList<QPair<QString, float>>{{"b", 0.80f}, {"c", 0.75f}}));
    EXPECT_EQ(GraphBuilder::candidates({"m2", "m1", "m2"},
                                       {{"s2", 0.7f}, {"s1", 0.7f}, {"m1", 0.99f}, {"s3", 0.9f}}, 4),
              (QStringList{"m2", "m1", "s3", "s1"}));
}

TEST(Review, SuggestPreselectsFromTheThresholdOnly) {
    GraphReview review;
    review.nodes = {GraphReview::Node{"a", {}, {}, true, std::nullopt, {}},
                    GraphReview::Node{"b", {}, {}, true, std::nullopt, {}}};
    review.suggest({{"X", 0.90f}, {"Y", 0.955f}}, "a", 0.955f);
    EXPECT_EQ(review.node("a")->target, QString("Y"));
    EXPECT_EQ(review.node("a")->matches, (QList<GraphReview::Match>{{"Y", 0.955f}, {"X", 0.90f}}));
    review.suggest({{"Z", 0.9549f}}, "b", 0.955f);
    EXPECT_FALSE(review.node("b")->target);
    EXPECT_EQ(review.node("b")->matches.size(), 1);
    review.suggest({{"Z", 0.99f}}, "nobody", 0.955f); // no such node: nothing
}

TEST(Review, CarryOverKeepsThePersonsDecisions) {
    Library lib;
    GraphDraft draft;
    draft.nodes = {draftNode("n1", "Person", {p("name", "Ann")}),
                   draftNode("n2", "Book", {p("title", "Dune")})};
    draft.relationships = {{"wrote", "n1", "n2", {}}};
    draft.changes = {{"remove", "Remove them", "MATCH (n:Person) RETURN n", {}}};
    GraphReview before = GraphBuilder::review(draft, lib.schema, lib.nodes);
    before.nodes[1].include = false;
    before.nodes[0].target = "OLD";
    before.nodes[0].matches = {{"OLD", 0.9f}};
    before.relationships[0].include = false;
    before.changes[0].nodes = {"P1", "P2"};
    before.changes[0].excluded = {"P1", "P2"};

    // The revision renames the ref of the book, which pairs by type and name instead.
    GraphDraft revised = draft;
    revised.nodes[1].ref = "b7";
    revised.relationships = {{"wrote", "n1", "b7", {}}};
    GraphReview after = GraphBuilder::review(revised, lib.schema, lib.nodes);
    after.changes[0].nodes = {"P2", "P3"};
    after.carryOver(before, lib.schema);
    EXPECT_FALSE(after.node("b7")->include);
    EXPECT_EQ(after.node("n1")->target, QString("OLD"));
    EXPECT_EQ(after.changes[0].excluded, QSet<QString>{"P2"});
    // Its ends changed (b7 for n2): a new relationship, ticked.
    EXPECT_TRUE(after.relationships[0].include);
}
