#include "kit/query/ScopedSearch.h"

#include "kit/query/ScopeVocabulary.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QString sub(const QString& text, TextRange range) {
    return text.mid(range.location, range.length);
}

QStringList messages(const QList<ScopeVocabulary::Problem>& problems) {
    QStringList out;
    for (const auto& problem : problems)
        out.append(problem.message);
    return out;
}

PropertyDef text(const QString& name, bool embedded = true) {
    PropertyDef property = test::property(name);
    property.embedded = embedded;
    return property;
}

NodeType nodeType(const QString& name, QList<PropertyDef> properties) {
    return test::nodeType(name, properties, "iris", false);
}

// Book (title, author, summary), Film (title), All (note), Person with nothing embedded.
struct Shape {
    GraphSchema schema;
    Shape() {
        schema.nodeTypes = {nodeType("Book", {text("Title"), text("Author"), text("Summary")}),
                            nodeType("Film", {text("Title")}), nodeType("All", {text("Note")}),
                            nodeType("Person", {text("Name", false)})};
    }
    QUuid id(int type, int property) const { return schema.nodeTypes[type].properties[property].id; }
    ScopeVocabulary vocabulary() const {
        return ScopeVocabulary(schema.embeddedProperties(), schema, "has no text set to Embed");
    }
};

} // namespace

TEST(ScopedSearch, SegmentsTermsAndScopes) {
    const ScopedSearch plain("a\\:\\:b");
    ASSERT_EQ(plain.segments().size(), 1);
    EXPECT_FALSE(plain.segments()[0].scope);
    EXPECT_EQ(plain.segments()[0].terms, QStringList{"a::b"});
    EXPECT_FALSE(plain.startsWithScope());

    const QString text = "dune ::Book:: arrakis, spice\\, melange ,";
    const ScopedSearch search(text);
    ASSERT_EQ(search.segments().size(), 2);
    const auto& first = search.segments()[0];
    EXPECT_FALSE(first.scope);
    EXPECT_EQ(first.terms, QStringList{"dune"});
    EXPECT_EQ(first.range, (TextRange{0, 5}));
    const auto& second = search.segments()[1];
    ASSERT_TRUE(second.scope);
    EXPECT_TRUE(second.scope->closed);
    EXPECT_EQ(sub(text, second.scope->range), "::Book::");
    EXPECT_EQ(sub(text, second.scope->inner), "Book");
    EXPECT_EQ(second.terms, (QStringList{"arrakis", "spice, melange"}));
    EXPECT_EQ(second.commas.size(), 2);
    EXPECT_EQ(sub(text, second.termsRange), " arrakis, spice\\, melange ,");
    EXPECT_EQ(second.range.end(), text.size());
    EXPECT_EQ(search.segment(5)->scope.has_value(), false); // the boundary belongs to the first
    EXPECT_TRUE(search.segment(6)->scope.has_value());
    EXPECT_FALSE(search.segment(text.size() + 1));

    // Blanks only before a scope make no segment; a scope always does.
    const ScopedSearch scoped("  ::Film::");
    ASSERT_EQ(scoped.segments().size(), 1);
    EXPECT_TRUE(scoped.startsWithScope());
    EXPECT_TRUE(scoped.segments()[0].terms.isEmpty());
    EXPECT_TRUE(ScopedSearch(" \t\u00a0").segments().isEmpty());
}

TEST(ScopedSearch, TargetsAndSeparators) {
    const QString text = "::Book:title:author, Film, :, Song: ::x";
    const ScopedSearch search(text);
    const auto& scope = *search.segments()[0].scope;
    ASSERT_EQ(scope.targets.size(), 3);
    EXPECT_EQ(scope.targets[0].owner.text, "Book");
    ASSERT_EQ(scope.targets[0].properties.size(), 2);
    EXPECT_EQ(scope.targets[0].properties[1].text, "author");
    EXPECT_EQ(sub(text, scope.targets[0].properties[1].range), "author");
    EXPECT_EQ(scope.targets[1].owner.text, "Film");
    // ":" alone between commas names nothing; "Song:" keeps its dangling, empty property.
    EXPECT_EQ(scope.targets[2].owner.text, "Song");
    ASSERT_EQ(scope.targets[2].properties.size(), 1);
    EXPECT_EQ(scope.targets[2].properties[0].text, "");
    EXPECT_EQ(scope.separators.size(), 7);

    const ScopedSearch open("::Book");
    ASSERT_EQ(open.segments().size(), 1);
    EXPECT_FALSE(open.segments()[0].scope->closed);
    EXPECT_EQ(open.segments()[0].scope->range, (TextRange{0, 6}));

    const ScopedSearch empty("::::");
    ASSERT_EQ(empty.segments().size(), 1);
    EXPECT_TRUE(empty.segments()[0].scope->closed);
    EXPECT_TRUE(empty.segments()[0].scope->targets.isEmpty());
}

TEST(ScopedSearch, Completion) {
    const QString text = "x ::Book:ti, Fi  ::";
    const ScopedSearch search(text);
    // After "::Book:ti": a property of Book; the name runs on to the comma.
    auto property = search.completion(text.indexOf("ti") + 1);
    ASSERT_TRUE(property);
    EXPECT_EQ(property->owner, QString("Book"));
    EXPECT_EQ(property->partial, "t");
    EXPECT_EQ(sub(text, property->replace), "ti");
    // After ", F": a type, so no owner; the replaced name stops before the blanks.
    auto type = search.completion(text.indexOf("Fi") + 1);
    ASSERT_TRUE(type);
    EXPECT_FALSE(type->owner);
    EXPECT_EQ(type->partial, "F");
    EXPECT_EQ(sub(text, type->replace), "Fi");
    // Right after the opening marker: an empty partial at the start of the scope.
    auto start = search.completion(4);
    ASSERT_TRUE(start);
    EXPECT_EQ(start->partial, "");
    EXPECT_EQ(sub(text, start->replace), "Book");
    // Outside any scope there is nothing to complete.
    EXPECT_FALSE(search.completion(1));
    // In an open scope the name ends at the caret.
    const QString typing = "::Book:au";
    auto open = ScopedSearch(typing).completion(typing.size());
    ASSERT_TRUE(open);
    EXPECT_EQ(open->owner, QString("Book"));
    EXPECT_EQ(open->partial, "au");
    EXPECT_EQ(open->replace, (TextRange{7, 2}));
}

TEST(ScopeVocabulary, ResolvesNamesAndReportsProblems) {
    const Shape shape;
    const ScopeVocabulary vocabulary = shape.vocabulary();
    ASSERT_EQ(vocabulary.owners().size(), 3);
    EXPECT_EQ(vocabulary.others(), QStringList{"Person"});

    auto resolve = [&](const QString& text) {
        return vocabulary.resolve(*ScopedSearch(text).segments()[0].scope);
    };

    auto book = resolve("::book:TITLE, film::");
    EXPECT_EQ(book.ids, (QSet<QUuid>{shape.id(0, 0), shape.id(1, 0)}));
    EXPECT_TRUE(book.problems.isEmpty());
    // A type called All is that type; "*" is everything.
    EXPECT_EQ(resolve("::All::").ids, QSet<QUuid>{shape.id(2, 0)});
    EXPECT_EQ(resolve("::*::").ids, vocabulary.allIDs());
    EXPECT_EQ(vocabulary.allIDs().size(), 5);

    auto problems = resolve("::Book:nonsense:, Person, Spaceship");
    EXPECT_EQ(
        messages(problems.problems),
        (QStringList{"Close the scope with ::", "Book has no \u201cnonsense\u201d to search",
                     "\u201cPerson\u201d has no text set to Embed", "No type called \u201cSpaceship\u201d"}));
    EXPECT_EQ(problems.problems[0].range, (TextRange{0, 35}));
    EXPECT_EQ(problems.problems[3].range, (TextRange{26, 9}));
    // The dangling ":" after nonsense names nothing, so it isn't a problem of its own.
    EXPECT_TRUE(problems.ids.isEmpty());
    EXPECT_EQ(messages(resolve("::::").problems), QStringList{"Name a type between the ::"});
}

TEST(ScopeVocabulary, ScopeTextAndPlan) {
    const Shape shape;
    const ScopeVocabulary vocabulary = shape.vocabulary();
    EXPECT_EQ(vocabulary.scopeText(vocabulary.allIDs()), "All");
    EXPECT_EQ(vocabulary.scopeText({shape.id(0, 0), shape.id(0, 2), shape.id(1, 0)}),
              "Book:Title:Summary, Film");
    EXPECT_EQ(vocabulary.scopeText({}), "");

    // With only one owner, all of its ids are still "All".
    GraphSchema single;
    single.nodeTypes = {shape.schema.nodeTypes[1]};
    const ScopeVocabulary one(single.embeddedProperties(), single, "has no text to search");
    EXPECT_EQ(one.scopeText(one.allIDs()), "All");

    const QSet<QUuid> fallback{shape.id(1, 0)};
    const auto plan = vocabulary.plan(ScopedSearch("dune ::Book:: arrakis ::Film::"), fallback);
    ASSERT_EQ(plan.parts.size(), 2); // the last scope has no terms and adds nothing
    EXPECT_EQ(plan.parts[0], (ScopeVocabulary::Part{fallback, {"dune"}}));
    EXPECT_EQ(plan.parts[1].terms, QStringList{"arrakis"});
    EXPECT_EQ(plan.parts[1].properties.size(), 3);
    EXPECT_TRUE(plan.problems.isEmpty());

    const auto bad = vocabulary.plan(ScopedSearch("::Nothing:: x"), fallback);
    EXPECT_TRUE(bad.parts.isEmpty());
    EXPECT_EQ(messages(bad.problems), QStringList{"No type called \u201cNothing\u201d"});
}
