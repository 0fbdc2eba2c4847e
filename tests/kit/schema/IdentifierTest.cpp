#include "kit/schema/Identifier.h"

#include <gtest/gtest.h>

using namespace corvantis;

TEST(Identifier, WordsFoldDiacriticsAndSplitOnCaseRuns) {
    EXPECT_EQ(Identifier::words(QStringLiteral("übér café")), (QStringList{"uber", "cafe"}));
    EXPECT_EQ(Identifier::words(QStringLiteral("myTable")), (QStringList{"my", "Table"}));
    EXPECT_EQ(Identifier::words(QStringLiteral("ABC")), (QStringList{"ABC"}));
    // A digit neither starts a word nor counts as lower case.
    EXPECT_EQ(Identifier::words(QStringLiteral("a1B")), (QStringList{"a1B"}));
    EXPECT_EQ(Identifier::words(QStringLiteral("HTTPServer")), (QStringList{"HTTPServer"}));
    EXPECT_EQ(Identifier::words(QStringLiteral("line\nbreak-and_dash")),
              (QStringList{"line", "break", "and", "dash"}));
    // Characters that stay outside ASCII after folding are separators.
    EXPECT_EQ(Identifier::words(QStringLiteral("straße 東京 ok")), (QStringList{"stra", "e", "ok"}));
    EXPECT_TRUE(Identifier::words(QStringLiteral("—·—")).isEmpty());
}

TEST(Identifier, DerivedNamesForTablesRelationshipsAndColumns) {
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("übér café")), "UberCafe");
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("research paper")), "ResearchPaper");
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("iPhone app")), "IPhoneApp");
    EXPECT_EQ(Identifier::relName(QStringLiteral("is part of")), "IS_PART_OF");
    EXPECT_EQ(Identifier::relName(QStringLiteral("worksAt")), "WORKS_AT");
    EXPECT_EQ(Identifier::property(QStringLiteral("First Name")), "first_name");
    EXPECT_EQ(Identifier::property(QStringLiteral("birthDate")), "birth_date");

    // Nothing usable left: the fallbacks.
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("!!!")), "Type");
    EXPECT_EQ(Identifier::property(QStringLiteral("日本")), "property");
    EXPECT_EQ(Identifier::relName(QStringLiteral("→")), "RELATES_TO");
    EXPECT_EQ(Identifier::relTable(QStringLiteral("")), "RELATES_TO");
}

TEST(Identifier, FinishGuardsLeadingDigitsAndReservedWords) {
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("3d model")), "_3dModel");
    EXPECT_EQ(Identifier::property(QStringLiteral("2nd place")), "_2nd_place");
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("order")), "Order_");
    EXPECT_EQ(Identifier::property(QStringLiteral("Match")), "match_");
    EXPECT_EQ(Identifier::relTable(QStringLiteral("to")), "TO_");
    // relName does not finish; relTable does.
    EXPECT_EQ(Identifier::relName(QStringLiteral("to")), "TO");
    EXPECT_EQ(Identifier::relTable(QStringLiteral("1 to 1")), "_1_TO_1");
    // "id" is not reserved: it stays, and validation refuses it as built in.
    EXPECT_EQ(Identifier::property(QStringLiteral("id")), "id");
    // A reserved word inside a longer name is harmless.
    EXPECT_EQ(Identifier::nodeTable(QStringLiteral("order item")), "OrderItem");

    EXPECT_EQ(Identifier::finish(QString(), QStringLiteral("Type")), "Type");
    EXPECT_EQ(Identifier::finish(QStringLiteral("9"), QStringLiteral("Type")), "_9");
    EXPECT_EQ(Identifier::finish(QStringLiteral("Where"), QStringLiteral("Type")), "Where_");
}

TEST(Identifier, ReservedSetHasExactlyTheSixtyWords) {
    const QStringList reserved{
        "ALL",    "AND",      "AS",   "ASC",     "BEGIN",    "BY",     "CALL",  "CASE",    "COLUMN",
        "COMMIT", "CONTAINS", "COPY", "COUNT",   "CREATE",   "DELETE", "DESC",  "DETACH",  "DISTINCT",
        "DROP",   "ELSE",     "END",  "ENDS",    "EXISTS",   "EXPORT", "FALSE", "FROM",    "GROUP",
        "IF",     "IMPORT",   "IN",   "INSTALL", "IS",       "LIMIT",  "LOAD",  "MATCH",   "MERGE",
        "NODE",   "NOT",      "NULL", "ON",      "OPTIONAL", "OR",     "ORDER", "PRIMARY", "REL",
        "RETURN", "ROLLBACK", "SET",  "SKIP",    "STARTS",   "TABLE",  "THEN",  "TO",      "TRUE",
        "UNION",  "UNWIND",   "WHEN", "WHERE",   "WITH",     "XOR"};
    ASSERT_EQ(reserved.size(), 60);
    for (const QString& word : reserved) {
        EXPECT_TRUE(Identifier::isReserved(word)) << word.toStdString();
        EXPECT_TRUE(Identifier::isReserved(word.toLower())) << word.toStdString();
    }
    for (const char* word : {"ID", "NAME", "LABEL", "RELATES_TO", "SHORTEST", "USE", "TYPE", ""})
        EXPECT_FALSE(Identifier::isReserved(QString::fromLatin1(word))) << word;
}
