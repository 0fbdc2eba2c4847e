// The owning layer over the engine's C interface, against a real database in a temporary folder.
#include "kit/ladybug/Connection.h"
#include "kit/ladybug/Database.h"
#include "kit/ladybug/LadybugError.h"
#include "kit/ladybug/PreparedStatement.h"
#include "kit/ladybug/QueryResult.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis::ladybug;

namespace {

class Binding : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        database = Database::open(dir.filePath(QStringLiteral("graph.lbug")));
        connection = Connection::open(database);
    }

    // Every row of a query, each as its array of values.
    QList<LadybugList> rows(const QString& cypher) {
        QList<LadybugList> out;
        auto result = connection->query(cypher);
        while (auto row = result->getNext())
            out << row->getAsArray();
        return out;
    }

    // A value sent as a parameter and returned unchanged by the engine.
    LadybugValue echo(const LadybugValue& value) {
        auto statement = connection->prepare(QStringLiteral("RETURN $v"));
        auto result = connection->execute(statement, {{QStringLiteral("v"), value}});
        auto row = result->getNext();
        EXPECT_TRUE(row.has_value());
        return row ? row->getValue(0) : LadybugValue();
    }

    QTemporaryDir dir;
    std::shared_ptr<Database> database;
    std::shared_ptr<Connection> connection;
};

template <typename T> LadybugError::Kind failureKind(T&& call) {
    try {
        call();
    } catch (const LadybugError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "no LadybugError";
    return LadybugError::Kind::GetValueFailed;
}

} // namespace

TEST_F(Binding, NativeValuesRoundTripThroughParameters) {
    const QList<LadybugValue> values{
        LadybugValue(true),
        LadybugValue(qint64(-9007199254740993)),
        LadybugValue(qint32(-7)),
        LadybugValue(qint16(300)),
        LadybugValue(qint8(-5)),
        LadybugValue(quint64(18446744073709551615ull)),
        LadybugValue(quint32(4000000000u)),
        LadybugValue(quint16(65000)),
        LadybugValue(quint8(250)),
        LadybugValue(1.0 / 3.0),
        LadybugValue(2.5f),
        LadybugValue(QStringLiteral("text with ' and \" and ü and 🙂")),
        LadybugValue(QString()),
        LadybugValue(QDate(1815, 12, 10)),
        LadybugValue(QDateTime(QDate(2024, 2, 29), QTime(23, 59, 58, 250), Qt::UTC)),
        LadybugValue(LadybugInterval{1, 2, 3000000}),
        LadybugValue::list({LadybugValue(qint64(1)), LadybugValue(qint64(2))}),
        LadybugValue::list({LadybugValue::list({LadybugValue(QStringLiteral("a"))})}),
        LadybugValue::pairs({{LadybugValue(QStringLiteral("k")), LadybugValue(1.5)}}),
        LadybugValue::fields({{QStringLiteral("a"), LadybugValue(qint64(1))},
                              {QStringLiteral("b"), LadybugValue(QStringLiteral("x"))}}),
    };
    for (const auto& value : values)
        EXPECT_EQ(echo(value), value) << value.description().toStdString();
    EXPECT_TRUE(echo(LadybugValue()).isNull());
    // A UUID is sent as its text.
    QUuid uuid = QUuid::createUuid();
    EXPECT_EQ(echo(uuid), LadybugValue(uuid.toString(QUuid::WithoutBraces)));
}

TEST_F(Binding, ListsThatCannotBeSentAreRefusedWithTheirReason) {
    try {
        echo(LadybugValue::list({}));
        ADD_FAILURE() << "an empty list was sent";
    } catch (const LadybugError& error) {
        EXPECT_EQ(error.kind(), LadybugError::Kind::ValueConversionFailed);
        EXPECT_EQ(error.message(), QStringLiteral("Cannot convert empty array to Ladybug list"));
    }
    EXPECT_EQ(failureKind([&] {
                  echo(LadybugValue::list({LadybugValue(qint64(1)), LadybugValue(QStringLiteral("x"))}));
              }),
              LadybugError::Kind::ValueConversionFailed);
    EXPECT_EQ(failureKind([&] { echo(LadybugValue(QByteArray("bytes"))); }),
              LadybugError::Kind::ValueConversionFailed);
}

TEST_F(Binding, ReadsEveryKindOfValue) {
    auto row = rows(QStringLiteral(
                        "RETURN CAST(170141183460469231731687303715884105727 AS INT128) AS big, CAST(12.345 "
                        "AS DECIMAL(6,3)) AS dec, "
                        "BLOB('\\\\xAA\\\\xBB') AS blob, uuid('a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11') AS u, "
                        "CAST('1970-01-01 00:00:01' AS TIMESTAMP_MS) AS ms, interval('3 days') AS gap, [[1, "
                        "2], [3]] AS nested, "
                        "union_value(n := 5) AS un"))
                   .value(0);
    ASSERT_EQ(row.size(), 8);
    EXPECT_EQ(row[0].get<LadybugInt128>()->text, QStringLiteral("170141183460469231731687303715884105727"));
    EXPECT_EQ(row[1], LadybugValue(LadybugDecimal{QStringLiteral("12.345")}));
    EXPECT_EQ(row[2], LadybugValue(QByteArray("\xAA\xBB")));
    EXPECT_EQ(row[3],
              LadybugValue(QUuid::fromString(QStringLiteral("a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11"))));
    EXPECT_EQ(row[4], LadybugValue(QDateTime::fromMSecsSinceEpoch(1000, Qt::UTC)));
    EXPECT_EQ(row[5], LadybugValue(LadybugInterval{0, 3, 0}));
    EXPECT_EQ(row[6],
              LadybugValue::list({LadybugValue::list({LadybugValue(qint64(1)), LadybugValue(qint64(2))}),
                                  LadybugValue::list({LadybugValue(qint64(3))})}));
    EXPECT_EQ(row[7], LadybugValue(qint64(5)));
}

TEST_F(Binding, ReadsNodesRelationshipsAndPaths) {
    rows(QStringLiteral("CREATE NODE TABLE P(id STRING PRIMARY KEY, name STRING)"));
    rows(QStringLiteral("CREATE REL TABLE R(FROM P TO P, id STRING, w DOUBLE)"));
    rows(QStringLiteral("CREATE (:P {id: 'a', name: 'Ada'}), (:P {id: 'b', name: 'Bob'})"));
    rows(QStringLiteral("MATCH (a:P {id: 'a'}), (b:P {id: 'b'}) CREATE (a)-[:R {id: 'r', w: 0.5}]->(b)"));

    auto row = rows(QStringLiteral("MATCH p = (a:P)-[r:R*1..1]->(b:P) RETURN a, b, p, id(a)")).value(0);
    ASSERT_EQ(row.size(), 4);
    const LadybugNode* a = row[0].asNode();
    const LadybugNode* b = row[1].asNode();
    ASSERT_TRUE(a && b);
    EXPECT_EQ(a->label, QStringLiteral("P"));
    EXPECT_EQ(*a->property(QStringLiteral("id")), LadybugValue(QStringLiteral("a")));
    EXPECT_EQ(*a->property(QStringLiteral("name")), LadybugValue(QStringLiteral("Ada")));
    EXPECT_EQ(row[3], LadybugValue(a->id));

    const LadybugRecursiveRelationship* path = row[2].asRecursiveRelationship();
    ASSERT_NE(path, nullptr);
    ASSERT_EQ(path->nodes.size(), 2);
    EXPECT_EQ(path->nodes[0], *a);
    EXPECT_EQ(path->nodes[1], *b);
    ASSERT_EQ(path->relationships.size(), 1);
    const LadybugRelationship& r = path->relationships[0];
    EXPECT_EQ(r.label, QStringLiteral("R"));
    EXPECT_EQ(r.sourceId, a->id);
    EXPECT_EQ(r.targetId, b->id);
    EXPECT_EQ(*r.property(QStringLiteral("w")), LadybugValue(0.5));
    EXPECT_EQ(*r.property(QStringLiteral("id")), LadybugValue(QStringLiteral("r")));

    // An internal id is writable: the engine finds the node by it.
    auto statement = connection->prepare(QStringLiteral("MATCH (n:P) WHERE id(n) = $i RETURN n.name"));
    auto result = connection->execute(statement, {{QStringLiteral("i"), LadybugValue(b->id)}});
    auto found = result->getNext();
    ASSERT_TRUE(found.has_value());
    EXPECT_EQ(found->getValue(0), LadybugValue(QStringLiteral("Bob")));
}

TEST_F(Binding, ResultsKeepTheirParentsAlive) {
    rows(QStringLiteral("CREATE NODE TABLE P(id STRING PRIMARY KEY)"));
    rows(QStringLiteral("UNWIND range(1, 5) AS i CREATE (:P {id: CAST(i AS STRING)})"));
    auto result = connection->query(QStringLiteral("MATCH (n:P) RETURN n.id ORDER BY n.id"));
    EXPECT_EQ(result->getColumnNames(), QStringList{QStringLiteral("n.id")});
    EXPECT_EQ(result->getRowCount(), 5u);
    std::weak_ptr<Database> watch = database;
    connection.reset();
    database.reset();
    ASSERT_FALSE(watch.expired());

    QStringList ids;
    while (auto row = result->getNext())
        ids << row->getValue(0).text().value_or(QString());
    EXPECT_EQ(ids, (QStringList{QStringLiteral("1"), QStringLiteral("2"), QStringLiteral("3"),
                                QStringLiteral("4"), QStringLiteral("5")}));
    EXPECT_FALSE(result->getNext().has_value());
    result.reset();
    EXPECT_TRUE(watch.expired());
}

TEST_F(Binding, FailuresCarryTheEnginesText) {
    try {
        connection->query(QStringLiteral("MATCH (n:Nowhere) RETURN n"));
        ADD_FAILURE() << "a query of a missing table ran";
    } catch (const LadybugError& error) {
        EXPECT_EQ(error.kind(), LadybugError::Kind::QueryExecutionFailed);
        EXPECT_TRUE(error.message().contains(QStringLiteral("Nowhere"))) << error.message().toStdString();
    }
    try {
        connection->prepare(QStringLiteral("RETURN 1; RETURN 2"));
        ADD_FAILURE() << "two statements were prepared as one";
    } catch (const LadybugError& error) {
        EXPECT_EQ(error.kind(), LadybugError::Kind::PrepareStatmentFailed);
        EXPECT_FALSE(error.message().isEmpty());
    }
    EXPECT_EQ(failureKind([&] { connection->prepare(QStringLiteral("RETRUN 1")); }),
              LadybugError::Kind::PrepareStatmentFailed);
    // A missing column index is an error, not a crash.
    auto result = connection->query(QStringLiteral("RETURN 1"));
    auto row = result->getNext();
    ASSERT_TRUE(row.has_value());
    EXPECT_EQ(failureKind([&] { row->getValue(3); }), LadybugError::Kind::GetValueFailed);
}

TEST_F(Binding, ATimeOutStopsALongQuery) {
    connection->setQueryTimeout(50);
    try {
        connection->query(
            QStringLiteral("UNWIND range(1, 100000) AS a UNWIND range(1, 100000) AS b RETURN count(*)"));
        ADD_FAILURE() << "the query ran past its time-out";
    } catch (const LadybugError& error) {
        EXPECT_EQ(error.kind(), LadybugError::Kind::QueryExecutionFailed);
        EXPECT_FALSE(error.message().isEmpty());
    }
    connection->setQueryTimeout(0);
    EXPECT_EQ(rows(QStringLiteral("RETURN 2")).value(0).value(0), LadybugValue(qint64(2)));
}

TEST_F(Binding, TheEngineNamesItsVersion) {
    EXPECT_FALSE(Database::engineVersion().isEmpty());
}
