// Read-only queries: refusing writes, the row limit against the true total, and the values a result
// converts to.
#include "kit/store/GraphStoreError.h"
#include "tests/kit/store/StoreTestSupport.h"

#include <condition_variable>
#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace corvantis;
using namespace corvantis::test;

namespace {

class StoreReadOnly : public ::testing::Test {
protected:
    void SetUp() override {
        auto person = nodeType(QStringLiteral("Person"), {property(QStringLiteral("name"))});
        shape.nodeTypes = {person};
        shape.relTypes = {
            relType(QStringLiteral("knows"), {{person.id, person.id}}, {property(QStringLiteral("how"))})};
        store = db.open();
        migrate(*store, std::nullopt, shape);
    }

    NodeRecord addPerson(const QString& name) {
        NodeRecord node{
            newId(), QStringLiteral("Person"), {{QStringLiteral("name"), GraphValue::string(name)}}};
        store->insertNode(node);
        return node;
    }

    RelRecord addKnows(const NodeRecord& from, const NodeRecord& to, const QString& how) {
        RelRecord rel{newId(),
                      QStringLiteral("KNOWS"),
                      from.id,
                      to.id,
                      {{QStringLiteral("how"), GraphValue::string(how)}}};
        store->insertRel(rel, QStringLiteral("Person"), QStringLiteral("Person"));
        return rel;
    }

    TempDatabase db;
    GraphSchema shape;
    std::unique_ptr<LadybugGraphStore> store;
};

} // namespace

TEST_F(StoreReadOnly, WritesAreRefusedAndLeaveNoTrace) {
    auto ada = addPerson(QStringLiteral("Ada"));
    const QStringList writes{
        QStringLiteral("CREATE (:Person {id: 'X', name: 'Intruder'})"),
        QStringLiteral("MATCH (n:Person) SET n.name = 'Changed'"),
        QStringLiteral("MATCH (n) DETACH DELETE n"),
        QStringLiteral("CREATE NODE TABLE Sneaky(id STRING PRIMARY KEY)"),
        // Two statements in one text are refused as a whole, not run one by one.
        QStringLiteral("MATCH (n) RETURN n; CREATE (:Person {id: 'Y'})"),
        QStringLiteral("COMMIT; CREATE (:Person {id: 'Z'})"),
    };
    for (const auto& write : writes) {
        try {
            store->runReadOnly(write, 10);
            ADD_FAILURE() << "a write went through: " << write.toStdString();
        } catch (const GraphStoreError& error) {
            EXPECT_FALSE(error.message().isEmpty()) << write.toStdString();
        }
    }
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}), QList<NodeRecord>{ada});
    EXPECT_EQ(tables(*store, QStringLiteral("NODE")), QStringList{QStringLiteral("Person")});

    // A query that fails in the engine ends its transaction too: writes go on working.
    EXPECT_THROW(store->runReadOnly(QStringLiteral("MATCH (n:Nowhere) RETURN n"), 10), GraphStoreError);
    EXPECT_THROW(store->runReadOnly(QStringLiteral("THIS IS NOT CYPHER"), 10), GraphStoreError);
    addPerson(QStringLiteral("Bob"));
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}).size(), 2);
}

TEST_F(StoreReadOnly, RowLimitKeepsTheTrueTotal) {
    for (int i = 0; i < 25; ++i)
        addPerson(QStringLiteral("P%1").arg(i, 2, 10, QLatin1Char('0')));
    auto out = store->runReadOnly(QStringLiteral("MATCH (n:Person) RETURN n.name AS name ORDER BY name"), 10);
    EXPECT_EQ(out.columns, QStringList{QStringLiteral("name")});
    ASSERT_EQ(out.rows.size(), 10);
    EXPECT_EQ(out.totalRows, 25);
    EXPECT_EQ(out.rows.first(), QList<GraphValue>{GraphValue::string(QStringLiteral("P00"))});
    EXPECT_EQ(out.rows.last(), QList<GraphValue>{GraphValue::string(QStringLiteral("P09"))});
    EXPECT_GE(out.milliseconds, 0.0);

    auto none = store->runReadOnly(QStringLiteral("MATCH (n:Person) RETURN n"), 0);
    EXPECT_TRUE(none.rows.isEmpty());
    EXPECT_EQ(none.totalRows, 25);

    auto all = store->runReadOnly(QStringLiteral("MATCH (n:Person) RETURN n.name"), 1000);
    EXPECT_EQ(all.rows.size(), 25);
    EXPECT_EQ(all.totalRows, 25);
}

TEST_F(StoreReadOnly, ScalarValuesConvertByKind) {
    auto out = store->runReadOnly(
        QStringLiteral(
            "RETURN 1 AS i, 1.5 AS d, true AS b, 'x' AS s, NULL AS n, CAST(5 AS INT8) AS i8, "
            "CAST(7 AS UINT32) AS u32, CAST(2.5 AS FLOAT) AS f, CAST(1.25 AS DECIMAL(5,2)) AS dec, "
            "date('2024-01-02') AS dt, timestamp('2024-01-02 03:04:05') AS ts, "
            "uuid('a0eebc99-9c0b-4ef8-bb6d-6bb9bd380a11') AS u, CAST(3 AS INT128) AS big"),
        1);
    ASSERT_EQ(out.rows.size(), 1);
    const auto& row = out.rows.first();
    ASSERT_EQ(row.size(), 13);
    EXPECT_EQ(row[0], GraphValue::integer(1));
    EXPECT_EQ(row[1], GraphValue::number(1.5));
    EXPECT_EQ(row[2], GraphValue::boolean(true));
    EXPECT_EQ(row[3], GraphValue::string(QStringLiteral("x")));
    EXPECT_EQ(row[4], GraphValue::null());
    EXPECT_EQ(row[5], GraphValue::integer(5));
    EXPECT_EQ(row[6], GraphValue::integer(7));
    EXPECT_EQ(row[7], GraphValue::number(2.5));
    EXPECT_EQ(row[8], GraphValue::number(1.25));
    EXPECT_EQ(row[9], GraphValue::string(QStringLiteral("2024-01-02")));
    EXPECT_EQ(row[10], GraphValue::string(QStringLiteral("2024-01-02T03:04:05Z")));
    EXPECT_EQ(row[11], GraphValue::string(QStringLiteral("A0EEBC99-9C0B-4EF8-BB6D-6BB9BD380A11")));
    EXPECT_EQ(row[12], GraphValue::string(QStringLiteral("3")));
}

TEST_F(StoreReadOnly, CompositeValuesConvertElementByElement) {
    auto out = store->runReadOnly(
        QStringLiteral("RETURN [1, 2] AS l, {a: 1, b: 'two'} AS st, map(['k'], [2.5]) AS m, "
                       "map([1], ['one']) AS numeric, [[true], []] AS nested"),
        1);
    ASSERT_EQ(out.rows.size(), 1);
    const auto& row = out.rows.first();
    EXPECT_EQ(row[0], GraphValue::list({GraphValue::integer(1), GraphValue::integer(2)}));
    EXPECT_EQ(row[1], GraphValue::map({{QStringLiteral("a"), GraphValue::integer(1)},
                                       {QStringLiteral("b"), GraphValue::string(QStringLiteral("two"))}}));
    EXPECT_EQ(row[2], GraphValue::map({{QStringLiteral("k"), GraphValue::number(2.5)}}));
    EXPECT_EQ(row[3], GraphValue::list({GraphValue::list(
                          {GraphValue::integer(1), GraphValue::string(QStringLiteral("one"))})}));
    EXPECT_EQ(row[4],
              GraphValue::list({GraphValue::list({GraphValue::boolean(true)}), GraphValue::list({})}));
}

TEST_F(StoreReadOnly, NodesRelationshipsAndPathsComeBackAsRecords) {
    auto ada = addPerson(QStringLiteral("Ada"));
    auto bob = addPerson(QStringLiteral("Bob"));
    auto cy = addPerson(QStringLiteral("Cy"));
    auto ab = addKnows(ada, bob, QStringLiteral("school"));
    auto bc = addKnows(bob, cy, QStringLiteral("work"));

    auto row =
        store->runReadOnly(QStringLiteral("MATCH (a:Person {name: 'Ada'})-[r]->(b) RETURN a, r, b"), 10)
            .rows.value(0);
    ASSERT_EQ(row.size(), 3);
    EXPECT_EQ(row[0], GraphValue::node(ada));
    EXPECT_EQ(row[1], GraphValue::relationship(ab));
    EXPECT_EQ(row[2], GraphValue::node(bob));

    // A relationship alone in the result: its ends are looked up by the engine's own ids.
    auto rels = store->runReadOnly(QStringLiteral("MATCH ()-[r:KNOWS]->() RETURN r ORDER BY r.how"), 10);
    ASSERT_EQ(rels.rows.size(), 2);
    EXPECT_EQ(rels.rows[0][0], GraphValue::relationship(ab));
    EXPECT_EQ(rels.rows[1][0], GraphValue::relationship(bc));

    auto paths = store->runReadOnly(
        QStringLiteral("MATCH p = (a:Person {name: 'Ada'})-[:KNOWS*2..2]->(c) RETURN p, nodes(p), rels(p)"),
        10);
    ASSERT_EQ(paths.rows.size(), 1);
    const GraphPath* path = paths.rows[0][0].asPath();
    ASSERT_NE(path, nullptr);
    EXPECT_EQ(path->nodes, (QList<NodeRecord>{ada, bob, cy}));
    EXPECT_EQ(path->relationships, (QList<RelRecord>{ab, bc}));
    EXPECT_EQ(paths.rows[0][1],
              GraphValue::list({GraphValue::node(ada), GraphValue::node(bob), GraphValue::node(cy)}));
    EXPECT_EQ(paths.rows[0][2],
              GraphValue::list({GraphValue::relationship(ab), GraphValue::relationship(bc)}));

    // The engine's internal id has no case of its own: it reads as its text.
    auto internal = store->runReadOnly(QStringLiteral("MATCH (n:Person {name: 'Ada'}) RETURN id(n)"), 1);
    const GraphValue id = internal.rows.value(0).value(0);
    const QString* text = id.asString();
    ASSERT_NE(text, nullptr);
    EXPECT_TRUE(text->contains(QLatin1Char(':'))) << text->toStdString();
}

TEST_F(StoreReadOnly, AnEditFinishesWhileALongReadRuns) {
    // A cross product of 400 people three times over, every combination's names joined: tens of millions
    // of rows for the engine to walk, seconds of work, while the edit is one row.
    QList<NodeRecord> people;
    for (int i = 0; i < 400; ++i)
        people.append({newId(),
                       QStringLiteral("Person"),
                       {{QStringLiteral("name"), GraphValue::string(QString::number(i))}}});
    store->insertRecords(people, {});

    std::mutex mutex;
    std::condition_variable changed;
    bool reading = false;
    bool readDone = false;
    std::optional<QueryOutput> output;
    QString readFailure;
    store->setReadObserver([&] {
        std::lock_guard guard(mutex);
        reading = true;
        changed.notify_all();
    });
    std::thread reader([&] {
        std::optional<QueryOutput> result;
        QString failure;
        try {
            result = store->runReadOnly(
                QStringLiteral(
                    "MATCH (a:Person), (b:Person), (c:Person) WHERE a.name + b.name + c.name = 'x' "
                    "RETURN count(*)"),
                1);
        } catch (const GraphStoreError& error) {
            failure = error.message();
        }
        std::lock_guard guard(mutex);
        output = std::move(result);
        readFailure = failure;
        readDone = true;
        changed.notify_all();
    });
    {
        std::unique_lock guard(mutex);
        changed.wait(guard, [&] { return reading || readDone; });
    }

    const NodeRecord added{newId(),
                           QStringLiteral("Person"),
                           {{QStringLiteral("name"), GraphValue::string(QStringLiteral("late"))}}};
    store->insertNode(added);
    bool doneFirst = false;
    {
        std::lock_guard guard(mutex);
        doneFirst = readDone;
    }
    EXPECT_FALSE(doneFirst) << "the edit finished only after the read had ended";
    reader.join();

    EXPECT_TRUE(readFailure.isEmpty()) << readFailure.toStdString();
    ASSERT_TRUE(output.has_value());
    EXPECT_EQ(output->rows, QList<QList<GraphValue>>{{GraphValue::integer(0)}});
    // A read after the edit sees the new row.
    EXPECT_EQ(column(*store, QStringLiteral("MATCH (n:Person) RETURN count(n)")),
              QStringList{QStringLiteral("401")});
}
