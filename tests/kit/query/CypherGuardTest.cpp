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

TEST(CypherTokenizer, NumbersEndWhereTheDatabaseEndsThem) {
    // An exponent belongs to its number, with or without a minus; "+" and a missing digit end it.
    EXPECT_EQ(kinds("1E0SET"), "num:1E0 kw:SET");
    EXPECT_EQ(kinds("1e0AS 2E-3as 1.5e3AS"), "num:1e0 kw:AS num:2E-3 kw:as num:1.5e3 kw:AS");
    EXPECT_EQ(kinds("1e+5 1e 1e-x"), "num:1 id:e p:+ num:5 num:1 id:e num:1 id:e p:- id:x");
    // A leading dot starts a number; a trailing one doesn't belong to it.
    EXPECT_EQ(kinds(".5 .5e1AS n.5"), "num:.5 num:.5e1 kw:AS id:n num:.5");
    EXPECT_EQ(kinds("1.AS 1.e3"), "num:1 p:. id:AS num:1 p:. id:e3");
    EXPECT_EQ(kinds("1.5.5 1...5"), "num:1.5 num:.5 num:1 p:. p:. num:.5");
    // An integer with a leading zero is that zero alone; a real keeps its leading zeros.
    EXPECT_EQ(kinds("0123 00E0SET 00.5"), "num:0 num:123 num:00E0 kw:SET num:00.5");
    // Only the digits 0 to 9 make numbers.
    EXPECT_EQ(kinds("1\u0663E0"), "num:1 p:\u0663 id:E0");
    // A parameter is "$" and a name, or "$" and an integer; a "$" before anything else stands alone.
    EXPECT_EQ(kinds("$1AS $x1E0 $0123 $1E0SET $`a`"),
              "id:$1 kw:AS id:$x1E0 id:$0 num:123 id:$ num:1E0 kw:SET id:$ id:`a`");
    EXPECT_EQ(kinds("$\u0663SET $\u0301SET $$SET"), "id:$ p:\u0663 kw:SET id:$ p:\u0301 kw:SET id:$ id:$SET");
    // Two dots are a range, never a property's dot.
    EXPECT_EQ(kinds("[1..set]"), "p:[ num:1 p:. p:. kw:set p:]");
}

TEST(CypherGuard, RefusesForbiddenWordsGluedToNumbersAndParameters) {
    const QStringList glued{"1E0",  "1e0", "1E-0", "1e-12", "1.5e3", "1.5E-3", ".5", ".5e1",  ".5E-1",
                            "00E0", "1",   "1.5",  "$1",    "$0",    "$12",    "$x", "\u00b2"};
    for (const QString& word : CypherGuard::forbidden()) {
        for (const QString& number : glued) {
            for (const QString& spelling : {word, word.toLower()}) {
                const QString query = "MATCH (p) WHERE p.born > " + number + spelling + " p.name = 'x'";
                const QString expected = number == "$x" ? ""
                                                        : "Ask only reads your graph. This query uses " +
                                                              word + ", which would change it.";
                EXPECT_EQ(verdict(query), expected) << query.toStdString();
            }
        }
    }
    EXPECT_EQ(verdict("MATCH (p) WHERE p.born > 1E0SET p.name = 'x'"),
              "Ask only reads your graph. This query uses SET, which would change it.");
    EXPECT_EQ(verdict("MATCH (p) WHERE p.born > .5e1LOAD FROM '/etc/passwd' RETURN *"),
              "Ask only reads your graph. This query uses LOAD, which would change it.");
    EXPECT_EQ(verdict("MATCH (p) WHERE p.born <> $1CALL show_tables() RETURN *"),
              "Ask only reads your graph. This query uses CALL, which would change it.");
}

TEST(CypherGuard, RefusesNextvalWhereverItIsCalled) {
    const QString refused = "Ask only reads your graph. This query uses NEXTVAL, which would change it.";
    EXPECT_EQ(verdict("RETURN {a:nextval('s')}"), refused);
    EXPECT_EQ(verdict("RETURN {a : NextVal ('s')}"), refused);
    EXPECT_EQ(verdict("RETURN [1, 2, 3][1:nextval('s')]"), refused);
    EXPECT_EQ(verdict("RETURN [1, 2, 3][0: /* c */ nextval('s')]"), refused);
    EXPECT_EQ(verdict("RETURN n.nextval('s')"), refused);
    EXPECT_EQ(verdict("RETURN `nextval`('s')"), refused);
    // Not called: a label, a key, a property.
    EXPECT_EQ(verdict("MATCH (n:nextval) RETURN {nextval: n.nextval}"), "");
}
