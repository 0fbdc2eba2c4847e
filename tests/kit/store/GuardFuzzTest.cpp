// The guard is the only thing between a model's text and the database, so it is tried the hard way:
// texts built from Cypher's vocabulary, with writes, procedures, comments, strings, names and odd
// characters in every position. Every text the guard admits runs against a scratch database inside an
// ordinary write transaction, and the database must come out exactly as it went in; its output must
// show neither the content of a local file nor what only a procedure shows.
#include "kit/query/CypherGuard.h"
#include "kit/query/CypherTokenizer.h"

#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cctype>
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
        std::vector<std::string> columns;
    };

    Outcome run(const std::string& query) {
        lbug_query_result result;
        Outcome outcome;
        lbug_connection_query(&m_connection, query.c_str(), &result);
        outcome.success = lbug_query_result_is_success(&result);
        for (uint64_t c = 0; outcome.success && c < lbug_query_result_get_num_columns(&result); ++c) {
            char* name = nullptr;
            if (lbug_query_result_get_column_name(&result, c, &name) == LbugSuccess && name) {
                outcome.columns.emplace_back(name);
                lbug_destroy_string(name);
            }
        }
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
              "CALL show_sequences() RETURN *", "CALL show_projected_graphs() RETURN *"}) {
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

// Shown by a procedure and by nothing a text without one can name: the comment on the table Person,
// which only show_tables() lists.
const std::string procedureMarker = "GuardProcedureMarker";
// The whole content of the local file that texts try to read.
const std::string fileMarker = "GuardFileMarker";

// Whether a text's output, its rows or its error, shows what only a file or a procedure holds.
bool peeked(const Scratch::Outcome& outcome) {
    return outcome.text.find(fileMarker) != std::string::npos ||
           outcome.text.find(procedureMarker) != std::string::npos;
}

// A local file holding nothing but the marker, in a folder of its own.
class MarkerFile {
public:
    MarkerFile() {
        QFile file(m_dir.filePath(QStringLiteral("notes.csv")));
        if (!file.open(QIODevice::WriteOnly) ||
            file.write(QByteArray::fromStdString(fileMarker + "\n" + fileMarker + "\n")) < 0)
            throw std::runtime_error("the marker file couldn't be written");
        m_path = file.fileName().toStdString();
    }
    const std::string& path() const { return m_path; }

private:
    QTemporaryDir m_dir;
    std::string m_path;
};

void fill(Scratch& db) {
    for (const std::string& statement : std::initializer_list<std::string>{
             "CREATE NODE TABLE Person(id STRING, name STRING, age DOUBLE, PRIMARY KEY(id))",
             "CREATE NODE TABLE Book(id STRING, title STRING, PRIMARY KEY(id))",
             "CREATE REL TABLE WROTE(FROM Person TO Book, id STRING)", "CREATE SEQUENCE seq",
             "COMMENT ON TABLE Person IS '" + procedureMarker + "'",
             "CREATE (:Person {id: 'P1', name: 'Ann', age: 30})",
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

// Texts that show what a read must never show: a local file, a procedure's output, or a procedure's
// effect (a projected graph outlives the transaction).
std::vector<std::string> peeks(const std::string& file) {
    return {
        "LOAD FROM '" + file + "' RETURN *",
        "LOAD WITH HEADERS (line STRING) FROM '" + file + "' WHERE line <> '' RETURN line",
        "CALL show_tables() RETURN *",
        "CALL show_tables() WHERE comment <> '' RETURN comment",
        "CALL project_graph('G', ['Person', 'Book'], ['WROTE'])",
    };
}

// Numbers in every form the database reads, parameters named and numbered, and near misses. Glued to a
// word, the database ends each of them where its grammar says and reads the word on its own.
const std::vector<std::string> numbers{
    "1",    "0",    "42",    "1.5",    "0.5",  "00.5", ".5",    ".25",  "1E0", "1e0",   "2E1",  "1e-1",
    "1E-0", "1e05", "1.5e1", "1.5E-1", ".5e1", ".5E1", ".5e-1", "00E0", "0E0", "1.",    "1.e1", "1e+1",
    "1e",   "1e-",  "0123",  "1.5.5",  "$1",   "$0",   "$9",    "$12",  "$x",  "$p1E0", "$_",   "$`q`",
};

// Clauses and statements led by each word the guard refuses, to follow an expression that ends in one
// of the numbers without a space. Most can't follow an expression at all; those that can run.
std::vector<std::pair<std::string, std::string>> ledBy(const std::string& file) {
    return {
        {"SET", "SET p.name = 'Zed'"},
        {"CREATE", "CREATE (:Book {id: p.id + 'g'})"},
        {"DELETE", "DELETE p"},
        {"DETACH", "DETACH DELETE p"},
        {"MERGE", "MERGE (:Book {id: 'G2'})"},
        {"REMOVE", "REMOVE p.name"},
        {"LOAD", "LOAD FROM '" + file + "' RETURN *"},
        {"CALL", "CALL show_tables() RETURN *"},
        {"DROP", "DROP TABLE WROTE"},
        {"ALTER", "ALTER TABLE Book ADD pages DOUBLE"},
        {"COPY", "COPY Book FROM '" + file + "'"},
        {"INSTALL", "INSTALL json FROM '" + file + "'"},
        {"ATTACH", "ATTACH '" + file + "' AS other (dbtype lbug)"},
        {"USE", "USE other"},
        {"EXPORT", "EXPORT DATABASE '" + file + ".out'"},
        {"IMPORT", "IMPORT DATABASE '" + file + "'"},
        {"BEGIN", "BEGIN TRANSACTION"},
        {"COMMIT", "COMMIT"},
        {"ROLLBACK", "ROLLBACK"},
        {"CHECKPOINT", "CHECKPOINT"},
    };
}

// Reads that end in an expression, where a clause may follow.
const std::vector<std::string> heads{
    "MATCH (p:Person) WHERE p.age > ",
    "MATCH (p:Person) WHERE p.id = 'P1' OR p.age <> ",
    "MATCH (p:Person) WHERE p.age < 100 * ",
    "MATCH (p:Person) WITH p WHERE p.age >= ",
    "MATCH (p:Person)-[:WROTE]->(b:Book) WHERE b.title <> ",
    "RETURN ",
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
    long glued = 0;       // generated with a refused word glued to a number or parameter
};

// The text with its first word in lower case.
std::string lowerFirstWord(std::string text) {
    for (char& c : text) {
        if (c == ' ')
            break;
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

// The tokens that aren't white space or comments.
QList<CypherTokenizer::Token> meaningful(const std::string& text) {
    QList<CypherTokenizer::Token> tokens;
    for (const auto& token : CypherTokenizer::tokenize(QString::fromStdString(text)))
        if (token.kind != CypherTokenizer::Kind::comment && !token.text.trimmed().isEmpty())
            tokens.append(token);
    return tokens;
}

} // namespace

TEST(GuardFuzz, NumbersAndParametersEndWhereTheDatabaseEndsThem) {
    // A clause may follow an expression without a space, so "... WHERE a <> <number>RETURN a AS x"
    // runs and names its column x exactly when the database ends the number (or the parameter) where
    // the text ends it and reads RETURN as a keyword; otherwise the database refuses the text. The
    // tokenizer must take the same number as one token with the keyword RETURN after it in the first
    // case, and not in the second. Two kinds of number can't answer and aren't asked: a parameter whose
    // name is in backticks is two tokens for the tokenizer, and a real with two leading zeros is read as
    // one number that the database then refuses to convert. The fuzz below glues them all the same.
    Scratch db;
    int split = 0;
    int asked = 0;
    for (const std::string& number : numbers) {
        if (number.find('`') != std::string::npos || number.rfind("00", 0) == 0)
            continue;
        const std::string head = "UNWIND [1, 5] AS a WITH a WHERE a <> ";
        const std::string text = head + number + "RETURN a AS x";
        const auto outcome = db.run(text);
        const bool databaseSplits = outcome.success && outcome.columns == std::vector<std::string>{"x"};
        const auto tokens = meaningful(text);
        const auto after = meaningful(head).size();
        const bool tokenizerSplits = tokens.size() > after + 1 &&
                                     tokens.at(after).text.toStdString() == number &&
                                     tokens.at(after + 1).kind == CypherTokenizer::Kind::keyword &&
                                     tokens.at(after + 1).text == QLatin1String("RETURN");
        EXPECT_EQ(databaseSplits, tokenizerSplits) << text << " => " << outcome.text;
        split += databaseSplits ? 1 : 0;
        ++asked;
    }
    // Both answers occur, so the comparison can fail either way.
    EXPECT_GT(split, asked / 2);
    EXPECT_LT(split, asked);
    // The numbers the guard once read into the word after them are numbers to the database.
    for (const auto& [text, row] : std::vector<std::pair<std::string, std::string>>{
             {"UNWIND [1, 5] AS a WITH a WHERE a = 1E0RETURN a AS x", "1"},
             {"UNWIND [1, 5] AS a WITH a WHERE a = .5e1RETURN a AS x", "5"},
             {"UNWIND [1, 5] AS a WITH a WHERE a > 2E-1RETURN count(*) AS x", "2"},
             {"UNWIND [1, 5] AS a WITH a WHERE a > 0E0RETURN count(*) AS x", "2"}}) {
        const auto outcome = db.run(text);
        EXPECT_TRUE(outcome.success) << text << " => " << outcome.text;
        EXPECT_EQ(outcome.text, "x\n" + row + "\n") << text;
    }
}

TEST(GuardFuzz, AdmittedTextsNeverChangeTheDatabase) {
    const MarkerFile file;
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
    // It can see a peek: every text that reads the file or runs a procedure, run without the guard,
    // shows a marker or leaves a projected graph, and the guard refuses it.
    for (const std::string& peek : peeks(file.path())) {
        const auto [outcome, after] = db.runAndLook(peek);
        EXPECT_TRUE(outcome.success) << peek << ": " << outcome.text;
        EXPECT_TRUE(peeked(outcome) || after != pristine) << peek << ": " << outcome.text;
        EXPECT_THROW(CypherGuard::check(QString::fromStdString(peek)), CypherGuard::Violation) << peek;
    }
    // Reads pass, run, and show neither marker.
    for (const std::string& read : reads) {
        EXPECT_NO_THROW(CypherGuard::check(QString::fromStdString(read))) << read;
        const auto outcome = db.runCommitted(read);
        EXPECT_TRUE(outcome.success) << read << ": " << outcome.text;
        EXPECT_FALSE(peeked(outcome)) << read;
    }
    // A projected graph outlives the transaction that made it; it goes before the fuzz starts.
    db.run("CALL drop_projected_graph('G')");
    ASSERT_EQ(db.snapshot(), pristine);

    // Every refused word leads one of the clauses glued to numbers.
    const auto led = ledBy(file.path());
    for (const QString& word : CypherGuard::forbidden())
        EXPECT_TRUE(std::any_of(led.begin(), led.end(), [&](const auto& entry) {
            return entry.first == word.toStdString();
        })) << word.toStdString();

    std::vector<std::string> threats = writes;
    for (const std::string& peek : peeks(file.path()))
        threats.push_back(peek);
    std::vector<std::string> soup = vocabulary;
    soup.insert(soup.end(), numbers.begin(), numbers.end());
    for (const auto& [word, clause] : led)
        soup.push_back(word);
    soup.push_back("LOAD FROM '" + file.path() + "'");
    soup.push_back("project_graph('G', ['Person', 'Book'], ['WROTE'])");

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
        const int shape = static_cast<int>(random() % 12);
        if (shape < 4) {
            // Token soup; some pieces glued to the next.
            const int length = 1 + static_cast<int>(random() % 14);
            for (int t = 0; t < length; ++t) {
                text += pick(soup);
                if (chance(70))
                    text += ' ';
            }
        } else if (shape < 7) {
            // A read that carries a write or a peek where it belongs to a string, a comment or a name.
            const std::string& threat = pick(threats);
            switch (random() % 5) {
            case 0:
                text = "MATCH (p:Person) WHERE p.name = '" + threat + "' RETURN p";
                break;
            case 1:
                text = "MATCH (p:Person) /* " + threat + " */ RETURN p";
                break;
            case 2:
                text = "MATCH (p:Person) RETURN p // " + threat;
                break;
            case 3:
                text = "MATCH (p:Person) RETURN p.name AS `" + threat + "`";
                break;
            default:
                text = "MATCH (p:Person) WHERE p.name <> \"" + threat + "\" RETURN p.name";
                break;
            }
        } else if (shape < 9) {
            // A read, something that may hide what follows, a write or a peek, and whatever closes the
            // hiding.
            const auto& hider = pick(hiders);
            text = pick(reads) + hider.first + pick(threats) + hider.second;
        } else {
            // A read ending in a number or a parameter with a clause glued to it, led by a refused word
            // in either case.
            const std::string& clause = pick(led).second;
            text = pick(heads) + pick(numbers) + (chance(50) ? lowerFirstWord(clause) : clause);
            ++counts.glued;
        }
        if (shape >= 4) {
            // Then a few mutations anywhere: a piece of vocabulary, a changed letter case, a cut.
            const int mutations = static_cast<int>(random() % 3);
            for (int m = 0; m < mutations; ++m) {
                const size_t at = random() % (text.size() + 1);
                switch (random() % 4) {
                case 0:
                    text.insert(at, pick(soup));
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
        if (peeked(outcome)) {
            ADD_FAILURE() << "the guard admitted a text that read the file or ran a procedure:\n"
                          << text << "\n"
                          << outcome.text;
            break;
        }
    }
    std::cout << "guard fuzz (seed " << seed << "): " << counts.generated << " texts generated ("
              << counts.glued << " glued to a number), " << counts.admitted << " admitted, " << counts.ranFine
              << " of them run by the database, " << counts.refusedByDb << " refused by it, "
              << counts.committed << " committed"
              << (::testing::Test::HasFailure()
                      ? "; stopped at the first escape\n"
                      : "; the database never changed and showed no file or procedure\n");
    // Enough of them must be real queries, or the run proves little.
    EXPECT_GT(counts.ranFine, cases / 20);
}

TEST(GuardFuzz, TextsThatTheLiteralRulesWouldLetThrough) {
    // Each of these changes the database, or shows the file or a procedure's output, when run; a guard
    // that honoured a backslash inside backticks, ended line comments only at a line feed, knew only the
    // twenty words, read an exponent or a parameter's number into the word after it, or looked for
    // nextval only outside maps and slices would pass them.
    const MarkerFile file;
    const std::vector<std::string> sneaky{
        "MATCH (n:Person) RETURN n AS `x\\`; CREATE (:Person {id: 'P7'}) //`",
        "COMMENT ON TABLE Book IS 'sneaky'",
        "RETURN nextval('seq')",
        "RETURN `nextval`('seq')",
        "RETURN {a: nextval('seq')}",
        "RETURN [1, 2, 3][0:nextval('seq')]",
        "MATCH (p:Person) WHERE p.age > 1E0SET p.name = 'Zed'",
        "MATCH (p:Person) WHERE p.age > 1e0set p.name = 'Zed'",
        "MATCH (p:Person) WHERE p.age > .5e1CREATE (:Book {id: p.id + 'g'})",
        "MATCH (p:Person) WHERE p.age > 1.5e1MERGE (:Book {id: 'G2'})",
        "MATCH (p:Person) WHERE p.id = 'P2' AND p.age > 2E1DELETE p",
        "MATCH (p:Person) WHERE p.id = 'P1' OR p.age <> $1SET p.name = 'Zed'",
        "MATCH (p:Person) WHERE p.id = 'P1' OR p.age <> $0CREATE (:Book {id: p.id + 'g'})",
        "MATCH (p:Person) WHERE p.age > 1E0LOAD FROM '" + file.path() + "' RETURN *",
        "MATCH (p:Person) WHERE p.id = 'P1' OR p.age <> $12LOAD FROM '" + file.path() + "' RETURN *",
        "MATCH (p:Person) WHERE p.age > .5e1CALL show_tables() RETURN *",
        "MATCH (p:Person) WHERE p.id = 'P1' OR p.age <> $1CALL show_tables() RETURN *",
    };
    for (const std::string& text : sneaky) {
        Scratch db;
        fill(db);
        const std::string before = db.snapshot();
        const auto outcome = db.runCommitted(text);
        EXPECT_TRUE(db.snapshot() != before || peeked(outcome)) << text << " => " << outcome.text;
        EXPECT_THROW(CypherGuard::check(QString::fromStdString(text)), CypherGuard::Violation) << text;
    }
}
