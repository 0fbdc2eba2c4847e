#pragma once

// What the session's tests share: a project library, settings and an undo stack in a temporary folder,
// a shape to start from, and a store that fails on demand.
#include "app/app/Settings.h"
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/schema/Identifier.h"
#include "kit/store/GraphStoreError.h"
#include "kit/support/Json.h"

#include <QTemporaryDir>
#include <memory>

namespace corvantis::test {

inline PropertyDef property(const QString& name, PropertyKind kind = PropertyKind::Text) {
    PropertyDef p;
    p.id = QUuid::createUuid();
    p.name = name;
    p.kind = kind;
    return p;
}

inline NodeType nodeType(const QString& name, QList<PropertyDef> properties, const QString& color = "iris") {
    NodeType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.color = color;
    type.properties = std::move(properties);
    if (!type.properties.isEmpty())
        type.titleProperty = type.properties.first().id;
    return type;
}

inline RelType relType(const QString& name, QList<RelEndpoint> endpoints,
                       QList<PropertyDef> properties = {}) {
    RelType type;
    type.id = QUuid::createUuid();
    type.name = name;
    type.endpoints = std::move(endpoints);
    type.properties = std::move(properties);
    return type;
}

// A store between the session and the real database that refuses every write while `failing` holds,
// with the sentence a full disk would give. Reads pass through. Statements sent to `execute` are kept.
class FailingStore final : public SessionStore {
public:
    explicit FailingStore(std::shared_ptr<SessionStore> inner)
        : m_inner(std::move(inner)) {}

    bool failing = false;
    bool failingExecute = false;
    QList<QStringList> executed;
    static inline const QString sentence = QStringLiteral("The database couldn't write: the disk is full.");

    void migrate(const MigrationPlan& plan) override {
        if (failing || failingExecute)
            throw GraphStoreError(GraphStoreError::Kind::InputOutput, sentence);
        if (!plan.statements.isEmpty())
            executed.append(plan.statements);
        m_inner->migrate(plan);
    }
    void fill(const QList<DefaultFill>& fills) override {
        check();
        m_inner->fill(fills);
    }
    void replace(const QList<ValueReplacement>& replacements) override {
        check();
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
    QList<NodeRecord> loadNodes(const QStringList& labels) override { return m_inner->loadNodes(labels); }
    QList<RelRecord> loadRels(const QStringList& labels) override { return m_inner->loadRels(labels); }
    TableCatalog describeTables() override { return m_inner->describeTables(); }
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
    void checkpoint() override { m_inner->checkpoint(); }

private:
    void check() const {
        if (failing)
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

} // namespace corvantis::test
