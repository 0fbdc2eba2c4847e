#pragma once

// What the session's tests share: a project library, settings and an undo stack in a temporary folder,
// a shape to start from, and a store that fails on demand.
#include "app/app/Settings.h"
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/MigrationCleanupError.h"
#include "kit/support/Json.h"
#include "tests/support/QtPrinters.h"
#include "tests/support/ShapeBuilders.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

namespace corvantis::test {

// A store between the session and the real database that fails on demand, with the sentence a full disk
// would give. Reads pass through. Statements sent to `execute` are kept.
class FailingStore final : public SessionStore {
public:
    explicit FailingStore(std::shared_ptr<SessionStore> inner)
        : m_inner(std::move(inner)) {}

    // Every write fails.
    bool failing = false;
    // Migration statements fail before anything is committed.
    bool failingExecute = false;
    // Migration statements commit, then the tidying after them fails.
    bool failingCleanup = false;
    bool failingFill = false;
    bool failingReplace = false;
    bool failingCheckpoint = false;
    // Reading the records fails.
    bool failingLoad = false;
    // The write with this number (counted from 1 from when it is set) fails; the others pass.
    std::optional<int> failingWrite;
    int writes = 0;
    QList<QStringList> executed;
    static inline const QString sentence = QStringLiteral("The database couldn't write: the disk is full.");

    void failWriteNumber(int number) {
        failingWrite = number;
        writes = 0;
    }

    void migrate(const MigrationPlan& plan) override {
        if (failing || failingExecute)
            throw GraphStoreError(GraphStoreError::Kind::InputOutput, sentence);
        if (!plan.statements.isEmpty())
            executed.append(plan.statements);
        m_inner->migrate(plan);
        if (failingCleanup && !plan.statements.isEmpty())
            throw MigrationCleanupError(GraphStoreError::Kind::InputOutput, sentence);
    }
    TableCatalog describeTables() override { return m_inner->describeTables(); }
    void fill(const QList<DefaultFill>& fills) override {
        check(failingFill && !fills.isEmpty());
        m_inner->fill(fills);
    }
    void replace(const QList<ValueReplacement>& replacements) override {
        check(failingReplace && !replacements.isEmpty());
        m_inner->replace(replacements);
    }
    void insertNode(const NodeRecord& record) override {
        check();
        m_inner->insertNode(record);
    }
    void updateNode(const QString& id, const QString& label, const PropertyMap& set) override {
        check();
        m_inner->updateNode(id, label, set);
    }
    void deleteNode(const QString& id, const QString& label) override {
        check();
        m_inner->deleteNode(id, label);
    }
    void insertRel(const RelRecord& record, const QString& fromLabel, const QString& toLabel) override {
        check();
        m_inner->insertRel(record, fromLabel, toLabel);
    }
    void updateRel(const QString& id, const QString& label, const PropertyMap& set) override {
        check();
        m_inner->updateRel(id, label, set);
    }
    void deleteRel(const QString& id, const QString& label) override {
        check();
        m_inner->deleteRel(id, label);
    }
    QList<NodeRecord> loadNodes(const QStringList& labels) override {
        failLoad();
        return m_inner->loadNodes(labels);
    }
    QList<RelRecord> loadRels(const QStringList& labels) override {
        failLoad();
        return m_inner->loadRels(labels);
    }
    GraphRecords loadGraph(const QStringList& nodeLabels, const QStringList& relLabels) override {
        failLoad();
        return m_inner->loadGraph(nodeLabels, relLabels);
    }
    QueryOutput runReadOnly(const QString& cypher, int rowLimit) override {
        return m_inner->runReadOnly(cypher, rowLimit);
    }
    void deleteRecords(const QList<RecordKey>& nodes, const QList<RecordKey>& rels) override {
        check();
        m_inner->deleteRecords(nodes, rels);
    }
    void insertRecords(const QList<NodeRecord>& nodes, const QList<RelInsertion>& rels) override {
        check();
        m_inner->insertRecords(nodes, rels);
    }
    void checkpoint() override {
        check(failingCheckpoint);
        m_inner->checkpoint();
    }

private:
    void failLoad() const {
        if (failingLoad)
            throw GraphStoreError(GraphStoreError::Kind::InputOutput,
                                  QStringLiteral("The database couldn't read: the disk is failing."));
    }
    void check(bool also = false) {
        ++writes;
        if (failing || also || (failingWrite && writes == *failingWrite))
            throw GraphStoreError(GraphStoreError::Kind::InputOutput, sentence);
    }
    std::shared_ptr<SessionStore> m_inner;
};

// A library, settings and the window's undo stack in a temporary folder.
struct SessionWorld {
    QTemporaryDir dir;
    ProjectLibrary library{dir.filePath("Projects")};
    Settings settings{dir.filePath("settings.ini")};
    UndoStack undo;
    // The store that the last session opened through `openFailable`.
    std::shared_ptr<FailingStore> store;

    Project create(const GraphSchema& shape, const QString& name = "Reading") {
        Project project = library.create(name);
        project.schema = shape;
        library.save(project);
        return project;
    }

    // The project as its file now holds it.
    Project stored(const QUuid& id) const {
        for (const Project& project : library.projects())
            if (project.id == id)
                return project;
        return Project();
    }

    std::unique_ptr<ProjectSession> open(const Project& project) {
        auto session = std::make_unique<ProjectSession>(project, library, &settings);
        session->setUndoStack(&undo);
        return session;
    }

    // A session whose store can be made to fail.
    std::unique_ptr<ProjectSession> openFailable(const Project& project) {
        SessionStoreOpener opener = [this](const QString& path) -> std::shared_ptr<SessionStore> {
            store = std::make_shared<FailingStore>(std::make_shared<LadybugSessionStore>(path));
            return store;
        };
        auto session = std::make_unique<ProjectSession>(project, library, &settings, opener);
        session->setUndoStack(&undo);
        return session;
    }
};

// Counts the rows a read-only query gives in the session's own database.
inline int countRows(ProjectSession& session, const QString& cypher) {
    return session.store()->runReadOnly(cypher, 100000).totalRows;
}

inline int countIn(ProjectSession& session, const QString& label) {
    return countRows(session, QStringLiteral("MATCH (n:%1) RETURN n.id").arg(label));
}

inline int countRelsIn(ProjectSession& session, const QString& label) {
    return countRows(session, QStringLiteral("MATCH ()-[r:%1]->() RETURN r.id").arg(label));
}

// The first node of a label whose text property equals the value.
inline std::optional<NodeRecord> nodeNamed(const ProjectSession& session, const QString& label,
                                           const QString& value, const QString& column = "name") {
    for (const NodeRecord& node : session.nodes())
        if (node.label == label && node.properties.value(column).stringValue() == value)
            return node;
    return std::nullopt;
}

// A new node of the type, or an empty id (and a failed expectation) with the session's notice.
inline QString addNode(ProjectSession& session, const NodeType& type, const QString& name,
                       std::optional<QPointF> at = std::nullopt) {
    auto id = session.createNode(type, name, {}, at);
    EXPECT_TRUE(id) << session.notice().value_or("").toStdString();
    return id.value_or(QString());
}

// A new relationship of the table between two nodes; its id.
inline QString linkNodes(ProjectSession& session, const QString& label, const QString& from,
                         const QString& to) {
    RelRecord rel{json::uuidText(QUuid::createUuid()), label, from, to, {}};
    EXPECT_TRUE(session.insert(rel)) << session.notice().value_or("").toStdString();
    return rel.id;
}

// Person (name, born: number with a default of 1900, status: enum), Book (title); "wrote" Person → Book,
// "knows" Person → Person.
struct Reading {
    SessionWorld world;
    Project project;
    std::unique_ptr<ProjectSession> session;
    NodeType person;
    NodeType book;

    explicit Reading(bool failable = false) {
        GraphSchema shape;
        PropertyDef born = property("born", PropertyKind::Number);
        born.defaultValue = GraphValue::number(1900);
        PropertyDef status = property("status", PropertyKind::Choice);
        status.options = QStringList{"Alive", "Dead"};
        shape.nodeTypes = {nodeType("Person", {property("name"), born, status}),
                           nodeType("Book", {property("title")}, "peach")};
        shape.relTypes = {relType("wrote", {{shape.nodeTypes[0].id, shape.nodeTypes[1].id}}),
                          relType("knows", {{shape.nodeTypes[0].id, shape.nodeTypes[0].id}})};
        project = world.create(shape);
        session = failable ? world.openFailable(project) : world.open(project);
        person = session->project().schema.nodeTypes[0];
        book = session->project().schema.nodeTypes[1];
    }

    QString add(const NodeType& type, const QString& name, std::optional<QPointF> at = std::nullopt) {
        return addNode(*session, type, name, at);
    }
    QString link(const QString& label, const QString& from, const QString& to) {
        return linkNodes(*session, label, from, to);
    }
    // The database's own view of one node's column.
    GraphValue stored(const QString& id, const QString& column) {
        QueryOutput output = session->store()->runReadOnly(
            QStringLiteral("MATCH (n {id: '%1'}) RETURN n.%2").arg(id, column), 10);
        return output.rows.isEmpty() ? GraphValue() : output.rows.first().first();
    }
};

} // namespace corvantis::test
