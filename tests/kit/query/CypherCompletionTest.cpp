#include "kit/query/CypherCompletion.h"

#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;
using CypherCompletion::at;

namespace {

CypherCompletion::Vocabulary vocabulary() {
    CypherCompletion::Vocabulary v;
    v.labels = {"Person", "Book", "Place"};
    v.relTypes = {"wrote", "lives_in"};
    v.properties = {{"Person", {"name", "born"}}, {"Book", {"title", "notes"}}, {"wrote", {"year"}}};
    return v;
}

// The candidates with the caret at the end of the text.
QStringList atEnd(const QString& text) {
    return at(text, static_cast<int>(text.size()), vocabulary()).candidates;
}

} // namespace

TEST(CypherCompletion, NamesLabelsTypesAndPropertiesByWhereTheCaretStands) {
    EXPECT_EQ(atEnd("MATCH (p:"), (QStringList{"Book", "Person", "Place"}));
    EXPECT_EQ(atEnd("MATCH (p:P"), (QStringList{"Person", "Place"}));
    EXPECT_EQ(atEnd("MATCH (p:pe"), QStringList{"Person"}); // case is ignored
    EXPECT_EQ(atEnd("MATCH (p:Person)-[r:"), (QStringList{"lives_in", "wrote"}));
    EXPECT_EQ(atEnd("MATCH (p:Person)-[r:wrote|l"), QStringList{"lives_in"});
    EXPECT_EQ(atEnd("MATCH (a)-[:wrote]->(:B"), QStringList{"Book"}); // the bracket closed, a node again

    // A variable's properties come from its label, or from its relationship type.
    EXPECT_EQ(atEnd("MATCH (p:Person) RETURN p."), (QStringList{"born", "name"}));
    EXPECT_EQ(atEnd("MATCH (b:Book) WHERE b.t"), QStringList{"title"});
    EXPECT_EQ(atEnd("MATCH ()-[w:wrote]->() RETURN w."), QStringList{"year"});
    // An unbound variable: every property of the shape.
    EXPECT_EQ(atEnd("MATCH (x) RETURN x.n"), (QStringList{"name", "notes"}));
}

TEST(CypherCompletion, ReportsTheWordBeingTypedAndKeepsOutOfStringsAndComments) {
    // The caret in the middle: the word runs from its start to the caret.
    const QString text = "MATCH (p:Pe) RETURN p";
    const CypherCompletion::Completion middle = at(text, 11, vocabulary());
    EXPECT_EQ(middle.start, 9);
    EXPECT_EQ(middle.prefix, "Pe");
    EXPECT_EQ(middle.candidates, QStringList{"Person"});

    EXPECT_TRUE(atEnd("MATCH (p) WHERE p.name = 'a (b:").isEmpty());
    EXPECT_TRUE(atEnd("MATCH (p) // (b:").isEmpty());
    EXPECT_EQ(atEnd("MATCH (p) WHERE p.name = 'a' MATCH (b:B"), QStringList{"Book"}); // a closed string
    EXPECT_TRUE(atEnd("RETURN 1.").isEmpty());                                        // a number's point
    EXPECT_TRUE(atEnd("MATCH (p) RETURN p").isEmpty());                               // a plain word
    EXPECT_TRUE(atEnd("").isEmpty());
    EXPECT_TRUE(at("MATCH (p:", 99, vocabulary()).candidates.size() == 3); // a caret past the end
}
