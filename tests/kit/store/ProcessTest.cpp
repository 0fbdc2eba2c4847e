// Two processes on one database, and a process killed in the middle of a column drop. The second
// process is tests/store-helper.
#include "kit/store/GraphStoreError.h"
#include "tests/kit/store/StoreTestSupport.h"

#include <QProcess>
#include <gtest/gtest.h>

using namespace corvantis;
using namespace corvantis::test;

namespace {

QString helperPath() {
    return QStringLiteral(CORVANTIS_BIN_DIR "/corvantis-store-helper");
}

// Starts the helper and waits for its first line.
QString startHelper(QProcess& process, const QStringList& arguments) {
    process.start(helperPath(), arguments);
    if (!process.waitForStarted(10000))
        return QStringLiteral("(not started: %1)").arg(process.errorString());
    while (!process.canReadLine()) {
        if (!process.waitForReadyRead(30000))
            return QStringLiteral("(no line; stderr: %1)")
                .arg(QString::fromUtf8(process.readAllStandardError()));
    }
    return QString::fromUtf8(process.readLine()).trimmed();
}

void killHelper(QProcess& process) {
    process.kill(); // SIGKILL: no destructor, no checkpoint, no unlock but the kernel's
    process.waitForFinished(10000);
}

} // namespace

TEST(StoreProcesses, ASecondProcessIsToldTheDatabaseIsLocked) {
    TempDatabase db;
    {
        auto store = db.open();
        GraphSchema shape;
        shape.nodeTypes = {nodeType(QStringLiteral("Thing"))};
        migrate(*store, std::nullopt, shape);
        store->insertNode({newId(), QStringLiteral("Thing"), {}});
    }

    QProcess holder;
    ASSERT_EQ(startHelper(holder, {QStringLiteral("hold"), db.path()}), QStringLiteral("open"));
    try {
        LadybugGraphStore second(db.path());
        ADD_FAILURE() << "the database opened twice";
    } catch (const GraphStoreError& error) {
        EXPECT_TRUE(error.message().contains(QStringLiteral("lock"), Qt::CaseInsensitive))
            << error.message().toStdString();
        EXPECT_TRUE(error.message().contains(QString::number(holder.processId())))
            << error.message().toStdString();
        EXPECT_EQ(error.kind(), GraphStoreError::Kind::Locked);
    }
    holder.closeWriteChannel();
    ASSERT_TRUE(holder.waitForFinished(30000));
    EXPECT_EQ(holder.exitCode(), 0);

    // Once the other copy is gone, the database opens and holds what it held.
    auto store = db.open();
    EXPECT_EQ(store->loadNodes({QStringLiteral("Thing")}).size(), 1);

    // And the other way round: while this process holds it, the helper is refused.
    QProcess refused;
    QString line = startHelper(refused, {QStringLiteral("hold"), db.path()});
    EXPECT_TRUE(line.startsWith(QStringLiteral("error: "))) << line.toStdString();
    EXPECT_TRUE(line.contains(QStringLiteral("lock"), Qt::CaseInsensitive)) << line.toStdString();
    refused.waitForFinished(10000);
    EXPECT_EQ(refused.exitCode(), 1);
}

TEST(StoreProcesses, ASecondOpeningInOneProcessIsRefused) {
    TempDatabase db;
    auto first = db.open();
    try {
        LadybugGraphStore second(db.path());
        ADD_FAILURE() << "the database opened twice in one process";
    } catch (const GraphStoreError& error) {
        EXPECT_TRUE(error.message().contains(QStringLiteral("lock"), Qt::CaseInsensitive))
            << error.message().toStdString();
        EXPECT_EQ(error.kind(), GraphStoreError::Kind::Locked);
    }
    // The refusal did not disturb the first store, nor the lock that it holds against other processes.
    EXPECT_NO_THROW(first->checkpoint());
    QProcess other;
    EXPECT_TRUE(
        startHelper(other, {QStringLiteral("hold"), db.path()}).startsWith(QStringLiteral("error: ")));
    other.waitForFinished(10000);
    first.reset();
    EXPECT_NO_THROW(db.open());
}

namespace {

// A shape whose next version drops the last column of an empty table and a column of a full one that
// it also renames.
struct DropScenario {
    GraphSchema before;
    GraphSchema after;
    QString fullId = newId();

    DropScenario() {
        before.nodeTypes = {
            nodeType(QStringLiteral("Empty"), {property(QStringLiteral("sole"))}),
            nodeType(QStringLiteral("Full"), {property(QStringLiteral("x")), property(QStringLiteral("y"))})};
        after = before;
        after.nodeTypes[0].properties.clear();
        after.nodeTypes[1].name = QStringLiteral("Filled");
        after.nodeTypes[1].properties.removeFirst();
    }

    void prepare(const TempDatabase& db) const {
        auto store = db.open();
        migrate(*store, std::nullopt, before);
        store->insertNode({fullId,
                           QStringLiteral("Full"),
                           {{QStringLiteral("y"), GraphValue::string(QStringLiteral("data"))}}});
    }

    QStringList arguments(const QString& step, const TempDatabase& db) const {
        const MigrationPlan plan = DDLBuilder::plan(before, after);
        const QStringList losing(plan.tablesLosingColumns.begin(), plan.tablesLosingColumns.end());
        return QStringList{QStringLiteral("stop-at"), step, db.path(), losing.join(QLatin1Char(','))} +
               plan.statements;
    }
};

} // namespace

TEST(StoreProcesses, KilledAfterThePlaceholdersTheNextOpeningFindsTheOldShape) {
    TempDatabase db;
    DropScenario scenario;
    scenario.prepare(db);

    QProcess migrating;
    ASSERT_EQ(startHelper(migrating, scenario.arguments(QStringLiteral("placeholders"), db)),
              QStringLiteral("stopped"));
    killHelper(migrating);

    auto store = db.open();
    EXPECT_EQ(placeholderCount(*store), 0);
    EXPECT_TRUE(store->loadNodes({QStringLiteral("Empty")}).isEmpty());
    EXPECT_EQ(tables(*store, QStringLiteral("NODE")),
              (QStringList{QStringLiteral("Empty"), QStringLiteral("Full")}));
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Empty")),
              (QStringList{QStringLiteral("id STRING"), QStringLiteral("sole STRING")}));
    auto full = store->loadNodes({QStringLiteral("Full")});
    ASSERT_EQ(full.size(), 1);
    EXPECT_EQ(full[0].properties.value(QStringLiteral("y")), GraphValue::string(QStringLiteral("data")));

    // The session would try the same difference again; now it goes through.
    migrate(*store, scenario.before, scenario.after);
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Empty")), QStringList{QStringLiteral("id STRING")});
    EXPECT_EQ(placeholderCount(*store), 0);
}

// Killed right after the commit (the new tables only in the log), or after the checkpoint that follows
// it (with the placeholder row still in the empty table).
class KilledAfterTheCommit : public ::testing::TestWithParam<const char*> {};

TEST_P(KilledAfterTheCommit, TheNextOpeningFindsTheNewShape) {
    TempDatabase db;
    DropScenario scenario;
    scenario.prepare(db);

    QProcess migrating;
    ASSERT_EQ(startHelper(migrating, scenario.arguments(QString::fromLatin1(GetParam()), db)),
              QStringLiteral("stopped"));
    killHelper(migrating);

    auto store = db.open();
    EXPECT_EQ(placeholderCount(*store), 0);
    EXPECT_TRUE(store->loadNodes({QStringLiteral("Empty")}).isEmpty());
    EXPECT_EQ(tables(*store, QStringLiteral("NODE")),
              (QStringList{QStringLiteral("Empty"), QStringLiteral("Filled")}));
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Empty")), QStringList{QStringLiteral("id STRING")});
    EXPECT_EQ(tableColumns(*store, QStringLiteral("Filled")),
              (QStringList{QStringLiteral("id STRING"), QStringLiteral("y STRING")}));
    auto filled = store->loadNodes({QStringLiteral("Filled")});
    ASSERT_EQ(filled.size(), 1);
    EXPECT_EQ(filled[0].id, scenario.fullId);
    EXPECT_EQ(filled[0].properties,
              (PropertyMap{{QStringLiteral("y"), GraphValue::string(QStringLiteral("data"))}}));
}

INSTANTIATE_TEST_SUITE_P(StoreProcesses, KilledAfterTheCommit,
                         ::testing::Values("committed", "checkpointed"));
