// The kind a store failure carries, set where the failure is known. A locked database is in
// ProcessTest.cpp, a failure after a migration's commit in MigrationTest.cpp.
#include "kit/store/GraphStoreError.h"
#include "tests/kit/store/StoreTestSupport.h"

#include <QDir>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

GraphStoreError::Kind openingFailure(const QString& path) {
    try {
        LadybugGraphStore store(path);
    } catch (const GraphStoreError& error) {
        EXPECT_FALSE(error.message().isEmpty());
        return error.kind();
    }
    ADD_FAILURE() << "the database opened at " << path.toStdString();
    return GraphStoreError::Kind::Engine;
}

} // namespace

TEST(StoreErrorKinds, APathThatCannotBeReachedIsAnInputOutputFailure) {
    QTemporaryDir dir;
    EXPECT_EQ(openingFailure(dir.filePath(QStringLiteral("missing/graph.lbug"))),
              GraphStoreError::Kind::InputOutput);
    ASSERT_TRUE(QDir(dir.path()).mkdir(QStringLiteral("folder.lbug")));
    EXPECT_EQ(openingFailure(dir.filePath(QStringLiteral("folder.lbug"))),
              GraphStoreError::Kind::InputOutput);
}

TEST(StoreErrorKinds, ARefusedNameIsAConstraintAndAnEngineRefusalIsTheEngines) {
    TempDatabase db;
    auto store = db.open();
    GraphSchema shape;
    shape.nodeTypes = {nodeType(QStringLiteral("Thing"), {property(QStringLiteral("name"))})};
    migrate(*store, std::nullopt, shape);

    auto kindOf = [](const std::function<void()>& operation) {
        try {
            operation();
        } catch (const GraphStoreError& error) {
            return std::optional(error.kind());
        }
        return std::optional<GraphStoreError::Kind>();
    };
    EXPECT_EQ(kindOf([&] {
                  store->insertNode({newId(), QStringLiteral("Thing) DETACH DELETE n //"), {}});
              }),
              GraphStoreError::Kind::Constraint);
    EXPECT_EQ(kindOf([&] { store->loadNodes({QStringLiteral("Thing; DROP")}); }),
              GraphStoreError::Kind::Constraint);
    EXPECT_EQ(kindOf([&] {
                  store->insertNode({newId(), QStringLiteral("Nowhere"), {}});
              }),
              GraphStoreError::Kind::Engine);
    EXPECT_EQ(kindOf([&] { store->runReadOnly(QStringLiteral("NOT CYPHER"), 1); }),
              GraphStoreError::Kind::Engine);
    EXPECT_EQ(kindOf([&] { store->insertNode({newId(), QStringLiteral("Thing"), {}}); }), std::nullopt);
}
