// The guard is the only thing between a model's text and the database, so it is tried the hard way:
// texts built from Cypher's vocabulary, with writes, procedures, comments, strings, names and odd
// characters in every position. Every text the guard admits runs against a scratch database inside an
// ordinary write transaction, and the database must come out exactly as it went in.
#include "kit/query/CypherGuard.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <lbug.h>
#include <random>
#include <string>
#include <vector>

using namespace corvantis;

namespace {

// A scratch database through the engine's C interface.
class Scratch {
public:
    Scratch() {
        lbug_system_config config = lbug_default_system_config();
        config.max_num_threads = 1;
        config.buffer_pool_size = 64ull << 20;
        config.max_db_size = 1ull << 30;
        const std::string path = (m_dir.path() + "/guard.lbug").toStdString();
        if (lbug_database_init(path.c_str(), config, &m_database) != LbugSuccess)
            throw std::runtime_error("the scratch database couldn't be made");
        if (lbug_connection_init(&m_database, &m_connection) != LbugSuccess)
            throw std::runtime_error("no connection to the scratch database");
        lbug_connection_set_query_timeout(&m_connection, 2000);
    }
    ~Scratch() {
        lbug_connection_destroy(&m_connection);
        lbug_database_destroy(&m_database);
    }

    struct Outcome {
        bool success = false;
        std::string text; // the rows, or the error
    };

    Outcome run(const std::string& query) {
        lbug_query_result result;
        Outcome outcome;
        lbug_connection_query(&m_connection, query.c_str(), &result);
        outcome.success = lbug_query_result_is_success(&result);
        char* text = outcome.success ? lbug_query_result_to_string(&result)
                                     : lbug_query_result_get_error_message(&result);
        if (text) {
            outcome.text = text;
            lbug_destroy_string(text);
        }
        lbug_query_result_destroy(&result);
        return outcome;
    }

    void must(const std::string& query) {
        const Outcome outcome = run(query);
        if (!outcome.success)
            throw std::runtime_error(query + ": " + outcome.text);
    }

    // Everything a text could change: the tables and their comments, every row, the sequence.
    std::string snapshot() {
        std::string all;
        for (const char* query :
             {"CALL show_tables() RETURN * ORDER BY name", "CALL table_info('Person') RETURN *",
              "CALL table_info('Book') RETURN *", "CALL table_info('WROTE') RETURN *",
              "MATCH (n:Person) RETURN n.id, n.name, n.age ORDER BY n.id",
              "MATCH (n:Book) RETURN n.id, n.title ORDER BY n.id",
              "MATCH ()-[r:WROTE]->() RETURN r.id ORDER BY r.id", "RETURN currval('seq')",
              "CALL show_sequences() RETURN *"}) {
            const Outcome outcome = run(query);
            all += std::string(query) + (outcome.success ? " => " : " !! ") + outcome.text + "\n";
        }
        return all;
    }

    // Runs a text the way a careless caller would: in a write transaction that is committed.
    Outcome runCommitted(const std::string& query) {
        must("BEGIN TRANSACTION");
        const Outcome outcome = run(query);
        if (!run("COMMIT").success)
            run("ROLLBACK");
        return outcome;
    }

    // Runs a text in a write transaction and takes the snapshot inside it, before rolling back: what
    // the text changed shows without the cost of a commit. A text that failed may have ended the
    // transaction; the snapshot is then taken after it.
    std::pair<Outcome, std::string> runAndLook(const std::string& query) {
        must("BEGIN TRANSACTION");
        const Outcome outcome = run(query);
        const std::string inside = snapshot();
        run("ROLLBACK");
        if (inside.find(" !! ") == std::string::npos)
            return {outcome, inside};
        return {outcome, snapshot()};
    }

private:
    QTemporaryDir m_dir;
    lbug_database m_database;
    lbug_connection m_connection;
};

void fill(Scratch& db) {
    for (const char* statement :
         {"CREATE NODE TABLE Person(id STRING, name STRING, age DOUBLE, PRIMARY KEY(id))",
          "CREATE NODE TABLE Book(id STRING, title STRING, PRIMARY KEY(id))",
          "CREATE REL TABLE WROTE(FROM Person TO Book, id STRING)", "CREATE SEQUENCE seq",
          "COMMENT ON TABLE Person IS 'people'", "CREATE (:Person {id: 'P1', name: 'Ann', age: 30})",
          "CREATE (:Person {id: 'P2', name: 'Bob', age: 41})", "CREATE (:Book {id: 'B1', title: 'Dune'})",
          "CREATE (:Book {id: 'B2', title: 'Emma'})",
          "MATCH (p:Person {id: 'P1'}), (b:Book {id: 'B1'}) CREATE (p)-[:WROTE {id: 'R1'}]->(b)",
          "RETURN nextval('seq')"})
        db.must(statement);
}

// Statements that change the scratch database, each on its own.
const std::vector<std::string> writes{
    "CREATE (:Person {id: 'P9', name: 'Eve'})",
    "MATCH (p:Person) SET p.name = 'Zed'",
    "MATCH (p:Person {id: 'P2'}) DETACH DELETE p",
    "MATCH ()-[r:WROTE]->() DELETE r",
    "MERGE (:Book {id: 'B9'})",
    "MATCH (b:Book {id: 'B2'}) MERGE (b)<-[:WROTE {id: 'R9'}]-(:Person {id: 'P8'})",
    "MATCH (b:Book {id: 'B2'}) SET b.title = NULL",
    "COMMENT ON TABLE Book IS 'changed'",
    "RETURN nextval('seq')",
    "DROP TABLE WROTE",
    "ALTER TABLE Book ADD pages DOUBLE",
    "ALTER TABLE Book RENAME TO Tome",
    "CREATE NODE TABLE Extra(id STRING, PRIMARY KEY(id))",
    "CREATE SEQUENCE other",
    "UNWIND [1, 2] AS i CREATE (:Book {id: 'U' + CAST(i AS STRING)})",
    "MATCH (p:Person) WITH p CREATE (:Book {id: p.id + 'b'})",
};

// Queries that only read, each on its own.
const std::vector<std::string> reads{
    "MATCH (n) RETURN n",
    "MATCH (p:Person)-[r:WROTE]->(b:Book) RETURN p, r, b",
    "MATCH (p:Person) WHERE lower(p.name) CONTAINS 'an' RETURN p.name AS name ORDER BY name",
    "MATCH (b:Book) RETURN count(*) AS books",
    "MATCH (p:Person) OPTIONAL MATCH (p)-[:WROTE]->(b) RETURN p.name, b.title",
    "UNWIND [1, 2, 3] AS x RETURN x * 2",
    "MATCH (p:Person) WITH p ORDER BY p.age DESC LIMIT 1 RETURN p",
    "MATCH (a:Person)-[:WROTE*1..2]->(b) RETURN a, b",
    "RETURN currval('seq')",
    "MATCH (n:Person) RETURN label(n), n.id",
    "MATCH (p:Person) WHERE p.name = 'DROP' OR p.name STARTS WITH 'A' RETURN p",
};

// Texts meant to hide the next part from a lexer that reads differently from the database's, and the
// texts that would close what they open.
const std::vector<std::pair<std::string, std::string>> hiders{
    {";", ""},
    {" // note\r", ""},
    {" // note\r\n", ""},
    {" /* ", " */"},
    {" AS `x\\` ", " //`"},
    {" AS `x``", "`"},
    {" + 'a\\' ", " //'"},
    {" + \"a\\\" ", " //\""},
    {" + '\xd8\x80' ", " //'"}, // U+0600, a character that clings to what follows
    {" + 'a'\xcc\x81 ", ""},    // a combining accent after a closing quote
    {" + '\\u0027' ", " //'"},
    {" + '\\\\' ", ""},
    {"\xe2\x80\xa8", ""},   // line separator
    {"\x1c", ""},           // file separator: white space to the database
    {"\xc2\xa0", ""},       // no-break space
    {"\xe2\x80\x8b", ""},   // zero-width space
    {" x\xc2\xb2", ""},     // superscript two
    {" x\xe2\x82\xac", ""}, // euro sign, part of a name for the database
    {" n.", ""},
    {" n :", ""},
    {" :", ""},
    {" /", ""},
    {" */ ", ""},
    {" \\", ""},
};

// Pieces of Cypher for the token soup.
const std::vector<std::string> vocabulary{
    "MATCH",
    "OPTIONAL",
    "WHERE",
    "RETURN",
    "WITH",
    "AS",
    "ORDER BY",
    "LIMIT 1",
    "SKIP 1",
    "DISTINCT",
    "AND",
    "OR",
    "NOT",
    "XOR",
    "IN",
    "IS NULL",
    "CONTAINS",
    "STARTS WITH",
    "UNION",
    "ALL",
    "UNWIND",
    "CASE",
    "WHEN",
    "THEN",
    "ELSE",
    "END",
    "EXISTS",
    "count(*)",
    "CREATE",
    "MERGE",
    "SET",
    "DELETE",
    "DETACH",
    "REMOVE",
    "DROP",
    "ALTER",
    "COPY",
    "INSTALL",
    "LOAD",
    "ATTACH",
    "USE",
    "EXPORT",
    "IMPORT",
    "BEGIN TRANSACTION",
    "COMMIT",
    "ROLLBACK",
    "CHECKPOINT",
    "CALL",
    "COMMENT ON TABLE Book IS 'x'",
    "UNINSTALL",
    "UPDATE",
    "EXPLAIN",
    "PROFILE",
    "nextval('seq')",
    "`nextval`('seq')",
    "show_tables()",
    "TABLE",
    "ADD",
    "RENAME",
    "(n)",
    "(n:Person)",
    "(p:Person {id: 'P1'})",
    "(b:Book)",
    "-[r:WROTE]->",
    "<-[:WROTE]-",
    "-[*1..2]-",
    "n",
    "p",
    "b",
    "r",
    "x",
    "set",
    "delete",
    "Create",
    "`CREATE`",
    "`set`",
    "n.name",
    "p.age",
    "b.title",
    "n.delete",
    ":Set",
    ":Delete",
    "'x'",
    "\"y\"",
    "'CREATE'",
    "'it\\'s'",
    "'",
    "\"",
    "`",
    "'\\",
    "1",
    "2.5",
    "1..3",
    "$param",
    ";",
    ",",
    "(",
    ")",
    "{",
    "}",
    "[",
    "]",
    ":",
    ".",
    "*",
    "=",
    "<>",
    "<",
    ">",
    "+",
    "-",
    "/",
    "%",
    "|",
    "// c",
    "/* c */",
    "/*",
    "*/",
    "\n",
    "\r",
    "\t",
    " ",
    "\xc2\xa0",
    "\xe2\x80\xa8",
    "\x1c",
    "\xcc\x81",
    "\xd8\x80",
    "\xc2\xb2",
    "\xc2\xbd",
    "\xe2\x82\xac",
    "\xe2\x80\x8b",
    "\xef\xbc\xa3\xef\xbc\xb2",
    "\xc5\xbf"
    "et",
    "d\xc4\xb1"
    "ete",
    "=~",
    "::",
    "\\",
    "{id: 'P9'}",
    "TO",
    "FROM",
    "ON",
    "AS x",
};

struct Counts {
    long generated = 0;
    long admitted = 0;
    long ranFine = 0;     // admitted and accepted by the database
    long refusedByDb = 0; // admitted but refused by the database (syntax, binding, time-out)
    long committed = 0;   // admitted cases whose transaction was committed as well
};

} // namespace

TEST(GuardFuzz, AdmittedTextsNeverChangeTheDatabase) {
    Scratch db;
    fill(db);
    const std::string pristine = db.snapshot();

    // The check can see a change: every write, run without the guard, changes the snapshot, and the
    // guard refuses every one of them.
    for (const std::string& write : writes) {
        Scratch probe;
        fill(probe);
        const auto outcome = probe.runCommitted(write);
        EXPECT_TRUE(outcome.success) << write << ": " << outcome.text;
        EXPECT_NE(probe.snapshot(), pristine) << write;
        EXPECT_THROW(CypherGuard::check(QString::fromStdString(write)), CypherGuard::Violation) << write;
    }
    // Reads pass and run.
    for (const std::string& read : reads) {
        EXPECT_NO_THROW(CypherGuard::check(QString::fromStdString(read))) << read;
        const auto outcome = db.runCommitted(read);
        EXPECT_TRUE(outcome.success) << read << ": " << outcome.text;
    }
    ASSERT_EQ(db.snapshot(), pristine);

    const long cases = qEnvironmentVariableIsSet("GUARD_FUZZ_CASES")
                           ? qEnvironmentVariable("GUARD_FUZZ_CASES").toLong()
                           : 4000;
    const unsigned seed = qEnvironmentVariableIsSet("GUARD_FUZZ_SEED")
                              ? qEnvironmentVariable("GUARD_FUZZ_SEED").toUInt()
                              : 20240917u;
    std::mt19937 random(seed);
    auto pick = [&](const auto& list) -> const auto& {
        return list[random() % list.size()];
    };
    auto chance = [&](int percent) {
        return static_cast<int>(random() % 100) < percent;
    };

    Counts counts;
    for (long i = 0; i < cases; ++i) {
        std::string text;
        const int shape = static_cast<int>(random() % 10);
        if (shape < 4) {
            // Token soup.
            const int length = 1 + static_cast<int>(random() % 14);
            for (int t = 0; t < length; ++t) {
                text += pick(vocabulary);
                if (chance(70))
                    text += ' ';
            }
        } else if (shape < 7) {
            // A read that carries a write where it belongs to a string, a comment or a name.
            const std::string& write = pick(writes);
            switch (random() % 5) {
            case 0:
                text = "MATCH (p:Person) WHERE p.name = '" + write + "' RETURN p";
                break;
            case 1:
                text = "MATCH (p:Person) /* " + write + " */ RETURN p";
                break;
            case 2:
                text = "MATCH (p:Person) RETURN p // " + write;
                break;
            case 3:
                text = "MATCH (p:Person) RETURN p.name AS `" + write + "`";
                break;
            default:
                text = "MATCH (p:Person) WHERE p.name <> \"" + write + "\" RETURN p.name";
                break;
            }
        } else {
            // A read, something that may hide what follows, a write, and whatever closes the hiding.
            const auto& hider = pick(hiders);
            text = pick(reads) + hider.first + pick(writes) + hider.second;
        }
        if (shape >= 4) {
            // Then a few mutations anywhere: a piece of vocabulary, a changed letter case, a cut.
            const int mutations = static_cast<int>(random() % 3);
            for (int m = 0; m < mutations; ++m) {
                const size_t at = random() % (text.size() + 1);
                switch (random() % 4) {
                case 0:
                    text.insert(at, pick(vocabulary));
                    break;
                case 1:
                    text.insert(at, pick(hiders).first);
                    break;
                case 2:
                    if (at < text.size() && std::isalpha(static_cast<unsigned char>(text[at])))
                        text[at] = static_cast<char>(std::islower(static_cast<unsigned char>(text[at]))
                                                         ? std::toupper(text[at])
                                                         : std::tolower(text[at]));
                    break;
                default:
                    text.erase(at, random() % 4);
                    break;
                }
            }
        }
        ++counts.generated;
        // The program hands the database the UTF-8 of the very text the guard saw; a cut may have
        // split a character, which that round trip repairs the same way for both.
        const QString query = QString::fromUtf8(text);
        text = query.toStdString();
        try {
            CypherGuard::check(query);
        } catch (const CypherGuard::Violation&) {
            continue;
        }
        ++counts.admitted;
        // One case in twenty is committed as well; the others are looked at inside their transaction.
        Scratch::Outcome outcome;
        std::string after;
        if (counts.admitted % 20 == 0) {
            outcome = db.runCommitted(text);
            after = db.snapshot();
            ++counts.committed;
        } else {
            std::tie(outcome, after) = db.runAndLook(text);
        }
        ++(outcome.success ? counts.ranFine : counts.refusedByDb);
        if (after != pristine) {
            ADD_FAILURE() << "the guard admitted a text that changed the database:\n"
                          << text << "\n"
                          << after;
            break;
        }
    }
    std::cout << "guard fuzz (seed " << seed << "): " << counts.generated << " texts generated, "
              << counts.admitted << " admitted, " << counts.ranFine << " of them run by the database, "
              << counts.refusedByDb << " refused by it, " << counts.committed
              << " committed; the database never changed\n";
    // Enough of them must be real queries, or the run proves little.
    EXPECT_GT(counts.ranFine, cases / 20);
}

TEST(GuardFuzz, TextsThatTheLiteralRulesWouldLetThrough) {
    // Each of these changes the database when run; a guard that honoured a backslash inside backticks,
    // ended line comments only at a line feed, or knew only the twenty words would pass them.
    const std::vector<std::string> sneaky{
        "MATCH (n:Person) RETURN n AS `x\\`; CREATE (:Person {id: 'P7'}) //`",
        "COMMENT ON TABLE Book IS 'sneaky'",
        "RETURN nextval('seq')",
        "RETURN `nextval`('seq')",
    };
    for (const std::string& text : sneaky) {
        Scratch db;
        fill(db);
        const std::string before = db.snapshot();
        db.runCommitted(text);
        EXPECT_NE(db.snapshot(), before) << text;
        EXPECT_THROW(CypherGuard::check(QString::fromStdString(text)), CypherGuard::Violation) << text;
    }
}
