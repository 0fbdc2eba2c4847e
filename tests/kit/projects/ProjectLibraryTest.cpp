#include "kit/projects/ProjectLibrary.h"

#include "kit/support/AtomicFile.h"
#include "kit/support/Json.h"
#include "kit/support/UserFacingError.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

// A project file in the old format: version 1, a node type without the built-in name property.
QByteArray versionOneProject(const QUuid& id, const QUuid& typeId, const QString& created) {
    QJsonObject type{{"id", json::uuidText(typeId)},
                     {"name", "Person"},
                     {"color", "iris"},
                     {"x", 0},
                     {"y", 0},
                     {"properties", QJsonArray{QJsonObject{{"id", json::uuidText(QUuid::createUuid())},
                                                           {"name", "Born"},
                                                           {"kind", "number"}}}}};
    QJsonObject shape{{"nodeTypes", QJsonArray{type}}, {"relTypes", QJsonArray{}}};
    QJsonObject project{
        {"id", json::uuidText(id)}, {"name", "Old"},          {"createdAt", created}, {"modifiedAt", created},
        {"schema", shape},          {"appliedSchema", shape}, {"version", 1}};
    return json::encode(project);
}

} // namespace

TEST(ProjectLibrary, ListsOnlyReadableProjectsOldestFirst) {
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    Project first = library.create("First");
    Project second = library.create("Second");
    // Make the creation order unambiguous whatever the clock's resolution.
    second.createdAt = first.createdAt.addSecs(5);
    library.save(second);

    QDir root(library.root());
    root.mkpath("not-a-uuid");
    writeFileAtomically(root.filePath("not-a-uuid/project.json"), json::encode(first.toJson()));
    root.mkpath(json::uuidText(QUuid::createUuid())); // a UUID folder without "project.json"
    QString damaged = json::uuidText(QUuid::createUuid());
    writeFileAtomically(root.filePath(damaged + "/project.json"), "{ \"id\": ");
    QString missingKey = json::uuidText(QUuid::createUuid());
    QJsonObject withoutSchema = first.toJson();
    withoutSchema.remove("schema");
    writeFileAtomically(root.filePath(missingKey + "/project.json"), json::encode(withoutSchema));

    QList<Project> projects = library.projects();
    ASSERT_EQ(projects.size(), 2);
    EXPECT_EQ(projects[0].name, "First");
    EXPECT_EQ(projects[1].name, "Second");
    EXPECT_EQ(projects[0], first);
    // The damaged file is left as it was.
    EXPECT_EQ(readFile(root.filePath(damaged + "/project.json")), "{ \"id\": ");

    EXPECT_EQ(library.uniqueName("Fresh"), "Fresh");
    EXPECT_EQ(library.uniqueName("First"), "First 2");
    library.create("First 2");
    EXPECT_EQ(library.uniqueName("First"), "First 3");
    EXPECT_EQ(library.uniqueName("first"), "first"); // names compare exactly

    library.remove(first.id);
    EXPECT_FALSE(QDir(library.folder(first.id)).exists());
    EXPECT_EQ(library.projects().size(), 2);
}

TEST(ProjectLibrary, FolderNamedInLowerCaseIsThatProjectsFolder) {
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    // A project whose folder is named by its id in lower case, as another tool or an older copy may
    // have written it.
    Project project = library.create("Lower");
    const QString upper = json::uuidText(project.id);
    const QString lower = QDir(library.root()).filePath(upper.toLower());
    ASSERT_TRUE(QDir(library.root()).rename(upper, upper.toLower()));

    const QList<Project> projects = library.projects();
    ASSERT_EQ(projects.size(), 1);
    EXPECT_EQ(projects[0], project);
    // Everything that reads or writes the project later reaches the folder it was found in.
    EXPECT_EQ(library.folder(project.id), lower);
    EXPECT_EQ(library.databasePath(project.id), lower + "/graph.lbug");
    GraphLayout layout;
    layout.pinned.insert("A");
    library.saveLayout(layout, project.id);
    EXPECT_TRUE(QFile::exists(lower + "/layout.json"));
    EXPECT_EQ(library.layout(project.id), layout);
    project.name = "Renamed";
    library.save(project);
    EXPECT_EQ(library.projects().value(0).name, "Renamed");
    EXPECT_EQ(QDir(library.root()).entryList(QDir::Dirs | QDir::NoDotAndDotDot),
              QStringList{upper.toLower()});

    // A folder whose name and project file disagree is not listed: its project's files would be
    // looked for elsewhere.
    Project other = library.create("Other");
    const QString stray = json::uuidText(QUuid::createUuid());
    ASSERT_TRUE(QDir(library.root()).rename(json::uuidText(other.id), stray));
    EXPECT_EQ(library.projects().size(), 1);

    library.remove(project.id);
    EXPECT_FALSE(QDir(lower).exists());
}

TEST(ProjectLibrary, NewProjectHoldsOnlyItsProjectFile) {
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    Project project = library.create("Plain");
    EXPECT_EQ(QDir(library.folder(project.id)).entryList(QDir::Files | QDir::NoDotAndDotDot),
              QStringList{"project.json"});
    EXPECT_FALSE(project.isFinalized());
    EXPECT_EQ(project.version, 3);
    EXPECT_TRUE(project.schema.nodeTypes.isEmpty());
    EXPECT_EQ(library.modelsFolder(), QDir(dir.path()).filePath("Models"));
    EXPECT_TRUE(library.databasePath(project.id).endsWith(json::uuidText(project.id) + "/graph.lbug"));
}

TEST(ProjectLibrary, UpgradesOldFormatsWithStableIds) {
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    QUuid id = QUuid::createUuid();
    QUuid typeId = QUuid::createUuid();
    writeFileAtomically(library.folder(id) + "/project.json",
                        versionOneProject(id, typeId, "2023-05-01T10:00:00Z"));
    QByteArray before = readFile(library.folder(id) + "/project.json");

    Project read = library.projects().value(0);
    ASSERT_EQ(read.id, id);
    EXPECT_EQ(read.version, 3);
    const NodeType& type = read.schema.nodeTypes.at(0);
    ASSERT_EQ(type.properties.size(), 2);
    EXPECT_EQ(type.properties[0].name, "name");
    EXPECT_EQ(type.properties[0].kind, PropertyKind::Text);
    // The built-in name is the likely title, and it is the same property in both shapes.
    EXPECT_EQ(type.titleProperty, type.properties[0].id);
    ASSERT_TRUE(read.appliedSchema);
    EXPECT_EQ(read.appliedSchema->nodeTypes[0].properties[0].id, type.properties[0].id);
    // The id is derived from the type's id: the first byte XORed with 0x5A.
    QByteArray typeBytes = typeId.toRfc4122();
    typeBytes[0] = char(typeBytes[0] ^ 0x5A);
    EXPECT_EQ(type.properties[0].id, QUuid::fromRfc4122(typeBytes));

    // Reading again gives the same ids; reading never rewrites the file.
    EXPECT_EQ(library.projects().value(0), read);
    EXPECT_EQ(readFile(library.folder(id) + "/project.json"), before);

    // Saved and read again, the upgrade does not run twice.
    library.save(read);
    Project again = library.projects().value(0);
    EXPECT_EQ(again.schema.nodeTypes[0].properties.size(), 2);
    EXPECT_EQ(again, read);
}

TEST(ProjectLibrary, LayoutAndHistoryReadEmptyWhenMissingOrDamaged) {
    QTemporaryDir dir;
    ProjectLibrary library(dir.filePath("Projects"));
    Project project = library.create("P");
    EXPECT_EQ(library.layout(project.id), GraphLayout());
    EXPECT_TRUE(library.history(project.id).isEmpty());
    EXPECT_FALSE(QFile::exists(library.folder(project.id) + "/layout.json"));

    GraphLayout layout;
    layout.positions.insert("A", {1.5, -2});
    layout.pinned.insert("A");
    layout.shown = QSet<QString>{"A", "B"};
    layout.parents = QMap<QString, QString>{{"B", "A"}};
    library.saveLayout(layout, project.id);
    EXPECT_EQ(library.layout(project.id), layout);

    GraphLayout bare;
    library.saveLayout(bare, project.id);
    QJsonObject written = json::decodeObject(readFile(library.folder(project.id) + "/layout.json"));
    EXPECT_FALSE(written.contains("shown")); // absent stays absent, never null
    EXPECT_TRUE(written.contains("pinned"));

    writeFileAtomically(library.folder(project.id) + "/layout.json", "[1, 2");
    writeFileAtomically(library.folder(project.id) + "/history.json", "{\"not\": \"an array\"}");
    EXPECT_EQ(library.layout(project.id), GraphLayout());
    EXPECT_TRUE(library.history(project.id).isEmpty());

    // The next save overwrites the damaged file.
    auto entry =
        HistoryEntry::make("Who?", "MATCH (n) RETURN n", "All", AIModel::resolve("claude-sonnet-5-5"),
                           QString("shape-1"), RetrievalStrategy(RetrievalStrategy::cypher));
    library.saveHistory({entry}, project.id);
    auto history = library.history(project.id);
    ASSERT_EQ(history.size(), 1);
    // Dates are stored to the second.
    entry.date = json::parseDate(json::dateText(entry.date)).value();
    EXPECT_EQ(history[0], entry);
}

TEST(ProjectLibrary, WriteFailuresReachTheCaller) {
    QTemporaryDir dir;
    // A file stands where the root folder should be: listing is empty, writing fails with a sentence.
    writeFileAtomically(dir.filePath("Projects"), "not a folder");
    ProjectLibrary library(dir.filePath("Projects"));
    EXPECT_TRUE(library.projects().isEmpty());
    try {
        library.create("X");
        FAIL() << "create should fail";
    } catch (const FileError& error) {
        EXPECT_FALSE(error.message().isEmpty());
    }
}

TEST(HistoryEntry, NormalizesAndAnswersOnlyWhatItMayAnswer) {
    EXPECT_EQ(HistoryEntry::normalize("  What   is  this?! "), "what is this");
    EXPECT_EQ(HistoryEntry::normalize("Who\tknows...\n"), "who knows");

    AIModel model = AIModel::resolve("claude-sonnet-5-5");
    auto entry =
        HistoryEntry::make("Who wrote Dune?", "MATCH (b) RETURN b", "", model, QString("S1"), std::nullopt);
    EXPECT_TRUE(entry.answers("who wrote   dune", "S1"));
    EXPECT_FALSE(entry.answers("who wrote dune", "S2")); // another shape
    EXPECT_FALSE(entry.answers("who wrote emma", "S1"));
    auto noShape = entry;
    noShape.shape.reset();
    EXPECT_FALSE(noShape.answers("who wrote dune", "S1"));
    auto noQuery = entry;
    noQuery.cypher.clear();
    EXPECT_FALSE(noQuery.answers("who wrote dune", "S1"));

    auto semantic = entry;
    semantic.strategy = RetrievalStrategy(RetrievalStrategy::semantic);
    EXPECT_FALSE(semantic.answers("who wrote dune", "S1"));

    auto guided = entry;
    guided.strategy = RetrievalStrategy(RetrievalStrategy::graphThenSemantic);
    EXPECT_FALSE(guided.answers("who wrote dune", "S1")); // no route
    RoutePlan plan;
    plan.strategy = RetrievalStrategy::graphThenSemantic;
    plan.graphQuestion = "Which books are by Herbert?";
    guided.route = plan;
    EXPECT_TRUE(guided.answers("which books are by herbert", "S1"));
    EXPECT_FALSE(guided.answers("who wrote dune", "S1"));

    guided.routeContext = "ctx";
    EXPECT_EQ(guided.routeFor("WHO wrote Dune?", "ctx"), plan);
    EXPECT_FALSE(guided.routeFor("who wrote dune", "other"));
    EXPECT_FALSE(guided.routeFor("who wrote emma", "ctx"));

    // A stored older model id comes back as the current member of its family.
    QJsonObject json = entry.toJson();
    json["model"] = "claude-haiku-3";
    EXPECT_EQ(HistoryEntry::fromJson(json).model.id, "claude-haiku-5-5");
    json.remove("cypher");
    EXPECT_THROW(HistoryEntry::fromJson(json), json::DecodeError);
}
