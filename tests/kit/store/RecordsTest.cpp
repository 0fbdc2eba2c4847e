// Writing and reading records through a real database in a temporary folder.
#include "kit/store/GraphStoreError.h"
#include "tests/kit/store/StoreTestSupport.h"

#include <QtConcurrent>
#include <algorithm>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

class StoreRecords : public ::testing::Test {
protected:
    void SetUp() override {
        auto person = nodeType(
            QStringLiteral("Person"),
            {property(QStringLiteral("name")), property(QStringLiteral("age"), PropertyKind::Number),
             property(QStringLiteral("alive"), PropertyKind::Boolean), property(QStringLiteral("note"))});
        auto company = nodeType(QStringLiteral("Company"), {property(QStringLiteral("title"))});
        shape.nodeTypes = {person, company};
        shape.relTypes = {relType(QStringLiteral("works at"), {{person.id, company.id}},
                                  {property(QStringLiteral("since"), PropertyKind::Number)}),
                          relType(QStringLiteral("knows"), {{person.id, person.id}})};
        store = db.open();
        migrate(*store, std::nullopt, shape);
    }

    NodeRecord person(const QString& name, PropertyMap more = {}) {
        more.insert(QStringLiteral("name"), GraphValue::string(name));
        return NodeRecord{newId(), QStringLiteral("Person"), more};
    }

    QHash<QString, NodeRecord> nodesById(const QStringList& labels) {
        QHash<QString, NodeRecord> out;
        for (const auto& node : store->loadNodes(labels))
            out.insert(node.id, node);
        return out;
    }

    TempDatabase db;
    GraphSchema shape;
    std::unique_ptr<LadybugGraphStore> store;
};

} // namespace

TEST_F(StoreRecords, NodesRoundTripWithTheirValues) {
    // Text that would break Cypher if it were ever spliced in.
    const QString awkward = QStringLiteral("O'Brien \"q\" \\ $p_name}) DETACH DELETE n // ü 字 🙂");
    NodeRecord full = person(awkward, {{QStringLiteral("age"), GraphValue::number(41.5)},
                                       {QStringLiteral("alive"), GraphValue::boolean(true)},
                                       {QStringLiteral("note"), GraphValue::null()}});
    NodeRecord bare{newId(), QStringLiteral("Company"), {}};
    store->insertNode(full);
    store->insertNode(bare);

    auto nodes = nodesById({QStringLiteral("Person"), QStringLiteral("Company")});
    ASSERT_EQ(nodes.size(), 2);
    const NodeRecord& loaded = nodes.value(full.id);
    EXPECT_EQ(loaded.label, QStringLiteral("Person"));
    // Every column comes back; the unset ones as null, and "id" is not among the properties.
    EXPECT_EQ(loaded.properties, (PropertyMap{{QStringLiteral("name"), GraphValue::string(awkward)},
                                              {QStringLiteral("age"), GraphValue::number(41.5)},
                                              {QStringLiteral("alive"), GraphValue::boolean(true)},
                                              {QStringLiteral("note"), GraphValue::null()}}));
    EXPECT_EQ(
        nodes.value(bare.id),
        (NodeRecord{bare.id, QStringLiteral("Company"), {{QStringLiteral("title"), GraphValue::null()}}}));

    // An integer goes into a number column as a number.
    NodeRecord counted = person(QStringLiteral("Int"), {{QStringLiteral("age"), GraphValue::integer(7)}});
    store->insertNode(counted);
    EXPECT_EQ(nodesById({QStringLiteral("Person")}).value(counted.id).properties.value(QStringLiteral("age")),
              GraphValue::number(7));
}

TEST_F(StoreRecords, UpdatesSetAndClearColumns) {
    NodeRecord ada = person(QStringLiteral("Ada"),
                            {{QStringLiteral("age"), GraphValue::number(36)},
                             {QStringLiteral("note"), GraphValue::string(QStringLiteral("first"))}});
    NodeRecord other = person(QStringLiteral("Other"), {{QStringLiteral("age"), GraphValue::number(1)}});
    store->insertNode(ada);
    store->insertNode(other);

    // Only nulls: both columns cleared, the rest untouched.
    store->updateNode(
        ada.id, QStringLiteral("Person"),
        {{QStringLiteral("age"), GraphValue::null()}, {QStringLiteral("note"), GraphValue::null()}});
    auto nodes = nodesById({QStringLiteral("Person")});
    EXPECT_EQ(nodes.value(ada.id).properties.value(QStringLiteral("age")), GraphValue::null());
    EXPECT_EQ(nodes.value(ada.id).properties.value(QStringLiteral("note")), GraphValue::null());
    EXPECT_EQ(nodes.value(ada.id).properties.value(QStringLiteral("name")),
              GraphValue::string(QStringLiteral("Ada")));
    EXPECT_EQ(nodes.value(other.id).properties.value(QStringLiteral("age")), GraphValue::number(1));

    store->updateNode(ada.id, QStringLiteral("Person"),
                      {{QStringLiteral("alive"), GraphValue::boolean(false)},
                       {QStringLiteral("name"), GraphValue::string(QStringLiteral("Ada L."))}});
    nodes = nodesById({QStringLiteral("Person")});
    EXPECT_EQ(nodes.value(ada.id).properties.value(QStringLiteral("alive")), GraphValue::boolean(false));
    EXPECT_EQ(nodes.value(ada.id).properties.value(QStringLiteral("name")),
              GraphValue::string(QStringLiteral("Ada L.")));
    EXPECT_EQ(nodes.value(other.id).properties.value(QStringLiteral("name")),
              GraphValue::string(QStringLiteral("Other")));

    // An empty update sends nothing, so not even a table that does not exist is noticed.
    EXPECT_NO_THROW(store->updateNode(ada.id, QStringLiteral("NoSuchTable"), {}));
    EXPECT_THROW(
        store->updateNode(ada.id, QStringLiteral("NoSuchTable"), {{QStringLiteral("x"), GraphValue::null()}}),
        GraphStoreError);
}

TEST_F(StoreRecords, RelationshipsRoundTripAndGoWithTheirNodes) {
    NodeRecord ada = person(QStringLiteral("Ada"));
    NodeRecord bob = person(QStringLiteral("Bob"));
    NodeRecord acme{newId(),
                    QStringLiteral("Company"),
                    {{QStringLiteral("title"), GraphValue::string(QStringLiteral("Acme"))}}};
    RelRecord works{newId(),
                    QStringLiteral("WORKS_AT"),
                    ada.id,
                    acme.id,
                    {{QStringLiteral("since"), GraphValue::number(1999)}}};
    RelRecord knows{newId(), QStringLiteral("KNOWS"), ada.id, bob.id, {}};
    RelRecord back{newId(), QStringLiteral("KNOWS"), bob.id, ada.id, {}};
    store->insertRecords({ada, bob, acme}, {{works, QStringLiteral("Person"), QStringLiteral("Company")},
                                            {knows, QStringLiteral("Person"), QStringLiteral("Person")}});
    store->insertRel(back, QStringLiteral("Person"), QStringLiteral("Person"));

    auto rels = store->loadRels({QStringLiteral("WORKS_AT"), QStringLiteral("KNOWS")});
    ASSERT_EQ(rels.size(), 3);
    EXPECT_EQ(rels[0], works);
    EXPECT_TRUE(rels.contains(knows));
    EXPECT_TRUE(rels.contains(back));

    store->updateRel(works.id, QStringLiteral("WORKS_AT"),
                     {{QStringLiteral("since"), GraphValue::number(2001)}});
    EXPECT_EQ(
        store->loadRels({QStringLiteral("WORKS_AT")}).value(0).properties.value(QStringLiteral("since")),
        GraphValue::number(2001));
    store->updateRel(works.id, QStringLiteral("WORKS_AT"), {{QStringLiteral("since"), GraphValue::null()}});
    EXPECT_EQ(
        store->loadRels({QStringLiteral("WORKS_AT")}).value(0).properties.value(QStringLiteral("since")),
        GraphValue::null());

    store->deleteRel(knows.id, QStringLiteral("KNOWS"));
    EXPECT_EQ(store->loadRels({QStringLiteral("KNOWS")}), QList<RelRecord>{back});

    // Deleting a node takes its relationships with it.
    store->deleteNode(ada.id, QStringLiteral("Person"));
    EXPECT_TRUE(store->loadRels({QStringLiteral("WORKS_AT"), QStringLiteral("KNOWS")}).isEmpty());
    EXPECT_EQ(nodesById({QStringLiteral("Person"), QStringLiteral("Company")}).keys().size(), 2);

    store->deleteRecords({{bob.id, QStringLiteral("Person")}, {acme.id, QStringLiteral("Company")}}, {});
    EXPECT_TRUE(store->loadNodes({QStringLiteral("Person"), QStringLiteral("Company")}).isEmpty());
}

TEST_F(StoreRecords, TheWholeGraphLoadsAsBothLoadsDoWithEndsSharingTheirNodesIds) {
    NodeRecord ada = person(QStringLiteral("Ada"));
    NodeRecord bob = person(QStringLiteral("Bob"));
    NodeRecord acme{newId(), QStringLiteral("Company"), {}};
    RelRecord works{newId(),
                    QStringLiteral("WORKS_AT"),
                    ada.id,
                    acme.id,
                    {{QStringLiteral("since"), GraphValue::number(1999)}}};
    RelRecord knows{newId(), QStringLiteral("KNOWS"), ada.id, bob.id, {}};
    RelRecord self{newId(), QStringLiteral("KNOWS"), bob.id, bob.id, {}};
    store->insertRecords({ada, bob, acme}, {{works, QStringLiteral("Person"), QStringLiteral("Company")},
                                            {knows, QStringLiteral("Person"), QStringLiteral("Person")},
                                            {self, QStringLiteral("Person"), QStringLiteral("Person")}});
    // A deleted node leaves a gap in its table's offsets.
    NodeRecord gone = person(QStringLiteral("Gone"));
    store->insertNode(gone);
    store->deleteNode(gone.id, QStringLiteral("Person"));
    NodeRecord cy = person(QStringLiteral("Cy"));
    store->insertNode(cy);
    RelRecord late{newId(), QStringLiteral("KNOWS"), cy.id, ada.id, {}};
    store->insertRel(late, QStringLiteral("Person"), QStringLiteral("Person"));

    const QStringList nodeTables{QStringLiteral("Person"), QStringLiteral("Company")};
    const QStringList relTables{QStringLiteral("WORKS_AT"), QStringLiteral("KNOWS")};
    GraphRecords graph = store->loadGraph(nodeTables, relTables);
    auto sorted = [](auto records) {
        std::sort(records.begin(), records.end(), [](const auto& a, const auto& b) { return a.id < b.id; });
        return records;
    };
    EXPECT_EQ(sorted(graph.nodes), sorted(store->loadNodes(nodeTables)));
    EXPECT_EQ(sorted(graph.rels), sorted(store->loadRels(relTables)));
    ASSERT_EQ(graph.rels.size(), 4);
    QHash<QString, const QChar*> idText;
    for (const NodeRecord& node : graph.nodes)
        idText.insert(node.id, node.id.constData());
    for (const RelRecord& rel : graph.rels) {
        EXPECT_EQ(rel.from.constData(), idText.value(rel.from)) << qPrintable(rel.id);
        EXPECT_EQ(rel.to.constData(), idText.value(rel.to)) << qPrintable(rel.id);
    }

    // A relationship table that joins more than one pair of node tables reads the same both ways.
    GraphSchema wider = shape;
    wider.relTypes.append(
        relType(QStringLiteral("mentions"), {{shape.nodeTypes[0].id, shape.nodeTypes[1].id},
                                             {shape.nodeTypes[1].id, shape.nodeTypes[0].id}}));
    migrate(*store, shape, wider);
    RelRecord there{newId(), QStringLiteral("MENTIONS"), ada.id, acme.id, {}};
    RelRecord back{newId(), QStringLiteral("MENTIONS"), acme.id, bob.id, {}};
    store->insertRel(there, QStringLiteral("Person"), QStringLiteral("Company"));
    store->insertRel(back, QStringLiteral("Company"), QStringLiteral("Person"));
    GraphRecords mentions = store->loadGraph(nodeTables, {QStringLiteral("MENTIONS")});
    EXPECT_EQ(sorted(mentions.rels), sorted(QList<RelRecord>{there, back}));
    EXPECT_EQ(sorted(mentions.rels), sorted(store->loadRels({QStringLiteral("MENTIONS")})));

    // Ends in a table that wasn't loaded still come with their texts.
    GraphRecords people = store->loadGraph({QStringLiteral("Person")}, relTables);
    EXPECT_EQ(people.nodes.size(), 3);
    EXPECT_EQ(sorted(people.rels), sorted(graph.rels));
}

TEST_F(StoreRecords, ABatchIsAllOrNothing) {
    NodeRecord ada = person(QStringLiteral("Ada"));
    NodeRecord bob = person(QStringLiteral("Bob"));
    RelRecord knows{newId(), QStringLiteral("KNOWS"), ada.id, bob.id, {}};
    store->insertRecords({ada, bob}, {{knows, QStringLiteral("Person"), QStringLiteral("Person")}});

    // The second node repeats a primary key: the first one must not stay behind.
    NodeRecord carol = person(QStringLiteral("Carol"));
    NodeRecord twin = person(QStringLiteral("Twin"));
    twin.id = ada.id;
    EXPECT_THROW(store->insertRecords({carol, twin}, {}), GraphStoreError);
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}).size(), 2);

    // The relationship goes first, then a node of a table that does not exist fails the batch.
    try {
        store->deleteRecords({{bob.id, QStringLiteral("Nowhere")}}, {{knows.id, QStringLiteral("KNOWS")}});
        ADD_FAILURE() << "a deletion in a missing table went through";
    } catch (const GraphStoreError& error) {
        EXPECT_FALSE(error.message().isEmpty());
    }
    EXPECT_EQ(store->loadRels({QStringLiteral("KNOWS")}), QList<RelRecord>{knows});

    // And the store goes on working after the rollback.
    store->insertNode(carol);
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}).size(), 3);
}

TEST_F(StoreRecords, NamesThatAreNotIdentifiersNeverReachTheText) {
    store->insertNode(person(QStringLiteral("Ada")));
    NodeRecord sneaky{newId(), QStringLiteral("Person {id: 'x'}) MATCH (m) DETACH DELETE m //"), {}};
    EXPECT_THROW(store->insertNode(sneaky), GraphStoreError);
    NodeRecord badKey = person(QStringLiteral("B"),
                               {{QStringLiteral("name: 'x'}) //"), GraphValue::string(QStringLiteral("v"))}});
    EXPECT_THROW(store->insertNode(badKey), GraphStoreError);
    EXPECT_THROW(store->loadNodes({QStringLiteral("Person) RETURN 1 //")}), GraphStoreError);
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}).size(), 1);
}

TEST_F(StoreRecords, ReadsFromOtherThreadsRunBesideWrites) {
    std::atomic<int> failures = 0;
    std::atomic<bool> stop = false;
    auto reader = [&] {
        while (!stop) {
            try {
                auto out = store->runReadOnly(QStringLiteral("MATCH (n:Person) RETURN count(n)"), 1);
                if (out.rows.size() != 1)
                    ++failures;
            } catch (const GraphStoreError&) {
                ++failures;
            }
        }
    };
    QList<QFuture<void>> readers;
    for (int i = 0; i < 3; ++i)
        readers << QtConcurrent::run(reader);
    for (int i = 0; i < 40; ++i)
        store->insertNode(person(QStringLiteral("P%1").arg(i)));
    stop = true;
    for (auto& future : readers)
        future.waitForFinished();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(store->loadNodes({QStringLiteral("Person")}).size(), 40);
}

TEST_F(StoreRecords, LoadedRecordsOfOneTableShareTheirNamesAndRepeatedTexts) {
    QList<NodeRecord> people;
    for (int i = 0; i < 40; ++i)
        people.append(person(QStringLiteral("P%1").arg(i),
                             {{QStringLiteral("note"),
                               GraphValue::string(i % 2 ? QStringLiteral("odd") : QStringLiteral("even"))},
                              {QStringLiteral("age"), GraphValue::number(i)}}));
    store->insertRecords(people, {});
    const QList<NodeRecord> loaded = store->loadNodes({QStringLiteral("Person")});
    ASSERT_EQ(loaded.size(), 40);
    // Every record keeps its own values, with the names of the table's columns; nulls stay.
    QHash<QString, NodeRecord> byId;
    for (const NodeRecord& node : loaded)
        byId.insert(node.id, node);
    for (const NodeRecord& node : people) {
        PropertyMap expected = node.properties;
        expected.insert(QStringLiteral("alive"), GraphValue());
        EXPECT_EQ(byId.value(node.id).properties, expected) << qPrintable(node.id);
    }
    // One copy of "odd" and of "even" however many records bear them; the names are one list.
    QHash<QString, const QChar*> copies;
    for (const NodeRecord& node : loaded) {
        EXPECT_EQ(&node.properties.cbegin().key(), &loaded.first().properties.cbegin().key());
        auto note = node.properties.constFind(QStringLiteral("note"));
        ASSERT_NE(note, node.properties.cend());
        const QString* text = note->asString();
        ASSERT_NE(text, nullptr);
        const QChar* first = copies.value(*text, text->constData());
        copies.insert(*text, first);
        EXPECT_EQ(text->constData(), first) << qPrintable(*text);
    }
    EXPECT_EQ(copies.size(), 2);
}
