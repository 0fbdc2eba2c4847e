#include "kit/query/CypherGuard.h"

#include "kit/query/CypherTokenizer.h"
#include "tests/support/QtPrinters.h"

#include <gtest/gtest.h>

using namespace corvantis;
using CypherTokenizer::Kind;

namespace {

// The guard's verdict: "" when the query passes, else the sentence shown to the user.
QString verdict(const QString& query) {
    try {
        CypherGuard::check(query);
        return {};
    } catch (const CypherGuard::Violation& violation) {
        return violation.message();
    }
}

QString kinds(const QString& text) {
    QStringList out;
    for (const auto& token : CypherTokenizer::tokenize(text)) {
        if (token.text.trimmed().isEmpty())
            continue;
        const char* names[] = {"kw", "label", "str", "num", "comment", "id", "p"};
        out.append(QString::fromLatin1(names[static_cast<int>(token.kind)]) + ":" + token.text);
    }
    return out.join(' ');
}

} // namespace

TEST(CypherTokenizer, TokensJoinBackToTheInput) {
    for (const QString& text :
         {QString("MATCH (n:Person {name: 'Ann'})-[r:KNOWS*1..3]->(m) RETURN n, count(*) AS c;"),
          QString("/* open comment"), QString("'open string \\"), QString("x // to the end"),
          QString("caf\u00e9 \U0001F600 \u00bd \r\n\t`a``b` 1.5e3 $param"), QString()}) {
        QString joined;
        for (const auto& token : CypherTokenizer::tokenize(text))
            joined += token.text;
        EXPECT_EQ(joined, text);
    }
}

TEST(CypherTokenizer, WordsInContext) {
    EXPECT_EQ(kinds("MATCH (n:Set) RETURN n.delete"),
              "kw:MATCH p:( id:n p:: label:Set p:) kw:RETURN id:n p:. id:delete");
    EXPECT_EQ(kinds("n : Set"), "id:n p:: label:Set");
    EXPECT_EQ(kinds("n. /* c */ Delete"), "id:n p:. comment:/* c */ id:Delete");
    EXPECT_EQ(kinds("1.5 1..3 x1"), "num:1.5 num:1 p:. p:. num:3 id:x1");
    EXPECT_EQ(kinds("'it\\'s' \"a\" `b c`"), "str:'it\\'s' str:\"a\" id:`b c`");
    EXPECT_EQ(kinds("optional match"), "kw:optional kw:match");
    EXPECT_EQ(kinds("$x _y"), "id:$x id:_y");
    // A combining accent stays inside its word, so a decomposed letter doesn't split a name.
    EXPECT_EQ(kinds("Cafe\u0301 x"), "id:Cafe\u0301 id:x");
}

TEST(CypherGuard, PassesReadsAndRefusesWrites) {
    EXPECT_EQ(verdict("MATCH (n) RETURN n;"), "");
    EXPECT_EQ(verdict("MATCH (n) RETURN n; MATCH (m) RETURN m"), "Only a single statement can be run.");
    EXPECT_EQ(verdict("MATCH (n) RETURN n;;"), "Only a single statement can be run.");
    EXPECT_EQ(verdict("MATCH (n) RETURN n ; /* done */ "), "");
    EXPECT_EQ(verdict("match (n) detach delete n"),
              "Ask only reads your graph. This query uses DETACH, which would change it.");
    EXPECT_EQ(verdict("MATCH (n:Set) RETURN n.delete"), "");
    EXPECT_EQ(verdict("MATCH (n : Set) RETURN n"), "");
    EXPECT_EQ(verdict("MATCH (n) WHERE n.name = 'DROP' RETURN n"), "");
    EXPECT_EQ(verdict("// CREATE"), "The query is empty.");
    EXPECT_EQ(verdict("  \n\t "), "The query is empty.");
    EXPECT_EQ(verdict(""), "The query is empty.");
    EXPECT_EQ(verdict("MATCH (n) RETURN 'unterminated CREATE ; DELETE"), "");
    EXPECT_EQ(verdict("MATCH (`CREATE`) RETURN `CREATE`"), "");
    EXPECT_EQ(verdict("CALL show_tables() RETURN *"),
              "Ask only reads your graph. This query uses CALL, which would change it.");
    EXPECT_EQ(verdict("load from 'x.csv' return *"),
              "Ask only reads your graph. This query uses LOAD, which would change it.");
    EXPECT_EQ(verdict("MATCH (n) SeT n.x = 1"),
              "Ask only reads your graph. This query uses SET, which would change it.");
    // The first forbidden word met is the one named.
    EXPECT_EQ(verdict("MERGE (a) CREATE (b)"),
              "Ask only reads your graph. This query uses MERGE, which would change it.");
}

TEST(CypherGuard, LexesLikeTheDatabase) {
    // A carriage return ends a line comment for the database, so what follows it is live.
    EXPECT_EQ(verdict("MATCH (n) RETURN n // note\rCREATE (m)"),
              "Ask only reads your graph. This query uses CREATE, which would change it.");
    // A backslash doesn't escape the closing backtick of a name.
    EXPECT_EQ(verdict("MATCH (n) RETURN n AS `x\\`; CREATE (:T) //`"), "Only a single statement can be run.");
    EXPECT_EQ(verdict("MATCH (n) RETURN n AS `x\\` CREATE (:T) //`"),
              "Ask only reads your graph. This query uses CREATE, which would change it.");
    // A combining mark glued to a closing quote doesn't keep the string open.
    EXPECT_EQ(verdict("RETURN '\u0600' ; CREATE (:T) //'"), "Only a single statement can be run.");
    EXPECT_EQ(verdict("RETURN 'a'\u0301 CREATE (:T) //'"),
              "Ask only reads your graph. This query uses CREATE, which would change it.");
    // A number sign that isn't a digit doesn't hide the word behind it.
    EXPECT_EQ(verdict("RETURN x\u00b2DELETE"),
              "Ask only reads your graph. This query uses DELETE, which would change it.");
    // Statements and a function that write without a forbidden word.
    EXPECT_EQ(verdict("COMMENT ON TABLE Person IS 'x'"),
              "Ask only reads your graph. This query uses COMMENT, which would change it.");
    EXPECT_EQ(verdict("explain /* plan */ uninstall json"),
              "Ask only reads your graph. This query uses UNINSTALL, which would change it.");
    EXPECT_EQ(verdict("PROFILE update json"),
              "Ask only reads your graph. This query uses UPDATE, which would change it.");
    EXPECT_EQ(verdict("RETURN `next``val`(1), nextVal /* c */ ('s')"),
              "Ask only reads your graph. This query uses NEXTVAL, which would change it.");
    EXPECT_EQ(verdict("RETURN NEXTVAL ('s')"),
              "Ask only reads your graph. This query uses NEXTVAL, which would change it.");
    // The same words elsewhere are ordinary names.
    EXPECT_EQ(verdict("MATCH (comment:Update) RETURN comment.nextval, nextval"), "");
}
