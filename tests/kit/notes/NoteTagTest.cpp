#include "kit/notes/NoteTag.h"

#include "kit/notes/TagGraph.h"
#include "kit/notes/TagQuery.h"
#include "kit/schema/Identifier.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

const QString ada = "0F8FAD5B-D9CB-469F-A165-70867728950E";
const QString bob = "7C9E6679-7425-40DE-944B-E07FC1F90AE7";
const QString cyd = "16FD2706-8BAF-433B-82EB-8C7FADA847DA";
const QString knowsAB = "A1A1A1A1-0000-4000-8000-000000000001";
const QString knowsBC = "A1A1A1A1-0000-4000-8000-000000000002";
const QString likesCA = "A1A1A1A1-0000-4000-8000-000000000003";

// Three people: Ada knows Bob, Bob knows Cyd, Cyd likes Ada.
struct People {
    GraphSchema schema;
    QHash<QString, NodeRecord> nodes;
    QHash<QString, RelRecord> rels;
    People() {
        NodeType person =
            test::nodeType("Person", {test::property("Name"), test::property("Born in")}, "mint");
        schema.nodeTypes << person;
        const RelEndpoint pp{person.id, person.id};
        schema.relTypes << test::relType("knows", {pp}, {test::property("Since", PropertyKind::Number)})
                        << test::relType("likes", {pp});
        const QString table = person.table();
        const QString name = person.properties[0].column();
        const QString born = person.properties[1].column();
        nodes[ada] =
            NodeRecord{ada, table, {{name, GraphValue::string("Ada")}, {born, GraphValue::string("London")}}};
        nodes[bob] = NodeRecord{bob, table, {{name, GraphValue::string("Bob")}}};
        nodes[cyd] = NodeRecord{cyd, table, {{name, GraphValue::string("Cyd")}}};
        const QString knows = schema.relTypes[0].table();
        const QString likes = schema.relTypes[1].table();
        rels[knowsAB] = RelRecord{knowsAB,
                                  knows,
                                  ada,
                                  bob,
                                  {{schema.relTypes[0].properties[0].column(), GraphValue::number(1999)}}};
        rels[knowsBC] = RelRecord{knowsBC, knows, bob, cyd, {}};
        rels[likesCA] = RelRecord{likesCA, likes, cyd, ada, {}};
    }
    QString knows() const { return schema.relTypes[0].table(); }
};

TagToken parse(const QString& text) {
    const auto m = NoteTag::pattern().match(text);
    EXPECT_TRUE(m.hasMatch()) << text.toStdString();
    return NoteTag::token(m);
}

} // namespace

TEST(NoteTag, TheGrammar) {
    TagToken token = parse("@" + ada.toLower() + "->knows<-:name");
    EXPECT_EQ(token.id, ada);
    EXPECT_EQ(token.hops, (QList<TagToken::Hop>{{true, "knows"}, {false, ""}}));
    EXPECT_EQ(token.property, "name");
    // A hop's name may be in any script; a bare arrow at the end is a complete tag.
    token = parse("@" + ada + "->знает->");
    EXPECT_EQ(token.hops, (QList<TagToken::Hop>{{true, "знает"}, {true, ""}}));
    EXPECT_EQ(token.text(), "@" + ada + "->знает->");
    // After a word, an at sign or a backslash there is no tag.
    EXPECT_TRUE(NoteTag::find("mail me@" + ada).isEmpty());
    EXPECT_TRUE(NoteTag::find("\\@" + ada).isEmpty());
    EXPECT_TRUE(NoteTag::find("@@" + ada).isEmpty());
    const auto found = NoteTag::find("(@" + ada + ") and @" + bob + ":Born_in.");
    ASSERT_EQ(found.size(), 2);
    EXPECT_EQ(found[0].start, 1);
    EXPECT_EQ(found[1].token.property, "Born_in");
}

TEST(TagQuery, StagesAtTheCaret) {
    auto at = [](const QString& text, int caret = -1) {
        return TagQuery::at(caret < 0 ? text.size() : caret, text);
    };

    auto q = at("see @ad");
    ASSERT_TRUE(q);
    EXPECT_EQ(q->stage, TagQuery::Stage::record);
    EXPECT_EQ(q->text, "ad");
    EXPECT_EQ(q->start, 4);
    EXPECT_FALSE(at("see @ ada")); // a blank after the at sign closes the query
    EXPECT_FALSE(at("mail me@ad"));
    EXPECT_FALSE(at("@" + ada)); // a whole id is a tag, not a search

    q = at("x @" + ada + "->kn");
    ASSERT_TRUE(q);
    EXPECT_EQ(q->stage, TagQuery::Stage::hop);
    EXPECT_TRUE(q->outgoing);
    EXPECT_EQ(q->from.id, ada);
    EXPECT_EQ(q->text, "kn");
    EXPECT_EQ(q->start, 2 + 37);
    q = at("@" + ada + "->knows<-");
    ASSERT_TRUE(q);
    EXPECT_FALSE(q->outgoing);
    EXPECT_EQ(q->from.hops, (QList<TagToken::Hop>{{true, "knows"}}));

    q = at("@" + ada + "->knows:bo");
    ASSERT_TRUE(q);
    EXPECT_EQ(q->stage, TagQuery::Stage::property);
    EXPECT_EQ(q->text, "bo");

    q = at("first\nnow /hea");
    ASSERT_TRUE(q);
    EXPECT_EQ(q->stage, TagQuery::Stage::command);
    EXPECT_EQ(q->text, "hea");
    EXPECT_EQ(q->start, 10);
    EXPECT_FALSE(at("open /usr/bin"));
    EXPECT_FALSE(at("https://a.example/pa"));
    EXPECT_FALSE(at("1/2"));
    EXPECT_FALSE(at("/ spaced"));

    // A note title takes in what stands after the caret up to the closing brackets.
    const QString text = "see [[Meet]] ok";
    q = TagQuery::at(8, text);
    ASSERT_TRUE(q);
    EXPECT_EQ(q->stage, TagQuery::Stage::note);
    EXPECT_EQ(q->text, "Meet");
    EXPECT_EQ(q->start, 4);
    EXPECT_EQ(q->end, 10);
    // Only the caret's line counts.
    EXPECT_FALSE(at("@ad\nplain"));
}

TEST(TagGraph, CardsOfNodesRelationshipsWalksAndMissingIds) {
    People people;
    TagGraph graph(people.schema, people.nodes, people.rels);

    NoteTag node = graph.noteTag(parse("@" + ada));
    EXPECT_FALSE(node.missing);
    EXPECT_EQ(node.kind, NoteTag::Kind::Node);
    EXPECT_EQ(node.title, "Ada");
    EXPECT_EQ(node.type, "Person");
    EXPECT_EQ(node.color, "mint");
    EXPECT_EQ(node.details, (QList<QPair<QString, QString>>{{"Name", "Ada"}, {"Born in", "London"}}));

    // Properties by name, or loosely by their key.
    EXPECT_EQ(graph.noteTag(parse("@" + ada + ":born_in")).value, "London");
    const NoteTag none = graph.noteTag(parse("@" + ada + ":height"));
    EXPECT_FALSE(none.value);
    EXPECT_EQ(none.problem, "Person has no height");

    NoteTag rel = graph.noteTag(parse("@" + knowsAB));
    EXPECT_EQ(rel.kind, NoteTag::Kind::Rel);
    EXPECT_EQ(rel.title, "Ada knows Bob");
    EXPECT_EQ(rel.details, (QList<QPair<QString, QString>>{{"Since", "1999"}}));

    NoteTag missing = graph.noteTag(parse("@" + QString(ada).replace('0', '1')));
    EXPECT_TRUE(missing.missing);
    EXPECT_EQ(missing.title, "Nothing with this ID");
    EXPECT_TRUE(graph.noteTag(parse("@" + QString(ada).replace('0', '1') + "->")).missing);

    // Walks: hop names are the relationship's database name; an empty name is any relationship.
    const QString knows = people.knows();
    EXPECT_EQ(graph.walk(parse("@" + ada + "->" + knows + "->" + knows)), QStringList{cyd});
    EXPECT_EQ(graph.walk(parse("@" + ada + "<-")), QStringList{cyd});
    EXPECT_TRUE(graph.walk(parse("@" + ada + "<-" + knows)).isEmpty());
    NoteTag walked = graph.noteTag(parse("@" + bob + "->:Name"));
    EXPECT_EQ(walked.via, "Bob → all");
    ASSERT_TRUE(walked.members);
    ASSERT_EQ(walked.members->size(), 1);
    EXPECT_EQ(walked.members->at(0).title, "Cyd");
    EXPECT_EQ(walked.members->at(0).value, "Cyd");
    // The walk reads with the type's own name; a name the shape doesn't know reads with blanks.
    EXPECT_EQ(graph.noteTag(parse("@" + ada + "->" + knows)).via, "Ada → knows");
    EXPECT_EQ(graph.noteTag(parse("@" + ada + "->old_name")).via, "Ada → old name");
}

TEST(TagGraph, TagsStayTextWhenTheNodeIsRenamed) {
    People people;
    const QString text = "Met @" + ada + " today.";
    const QString name = people.schema.nodeTypes[0].properties[0].column();
    people.nodes[ada].properties.insert(name, GraphValue::string("Ada Lovelace"));
    TagGraph graph(people.schema, people.nodes, people.rels);
    const auto found = NoteTag::find(text);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(graph.noteTag(found[0].token).title, "Ada Lovelace");
    EXPECT_EQ(text, "Met @" + ada + " today.");
}

TEST(TagGraph, PickerChoices) {
    People people;
    TagGraph graph(people.schema, people.nodes, people.rels);

    auto query = TagQuery::at(3, "@bo");
    ASSERT_TRUE(query);
    auto rows = graph.choices(*query, 10).rows;
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].insert, "@" + bob);

    // Empty text: nodes on the canvas first; the limit sums up the rest.
    query = TagQuery::at(1, "@");
    const TagGraph::Choices limited = graph.choices(*query, 2, {cyd});
    ASSERT_EQ(limited.rows.size(), 2);
    EXPECT_EQ(limited.rows[0].id, cyd);
    EXPECT_EQ(limited.more, 1);

    const QString hopText = "@" + ada + "->";
    query = TagQuery::at(hopText.size(), hopText);
    ASSERT_TRUE(query);
    rows = graph.choices(*query, 10).rows;
    ASSERT_EQ(rows.size(), 2); // the name "knows", and the one relationship to Bob
    EXPECT_EQ(rows[0].insert, "->" + people.knows());
    EXPECT_FALSE(rows[0].whole);
    EXPECT_EQ(rows[1].title, "Bob");
    EXPECT_TRUE(rows[1].whole);

    const QString propText = "@" + ada + ":bo";
    query = TagQuery::at(propText.size(), propText);
    rows = graph.choices(*query, 10).rows;
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].insert, ":Born_in");

    NoteItem here = NoteItem::note("Here");
    NoteItem meeting = NoteItem::note("Meeting notes");
    query = TagQuery::at(5, "[[mee");
    rows = graph.choices(*query, 10, {}, {here, meeting, NoteItem::folder("Meetings")}, here.id).rows;
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].insert, "[[Meeting notes]]");

    query = TagQuery::at(4, "/div");
    rows = graph.choices(*query, 10).rows;
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0].id, "divider");
}
