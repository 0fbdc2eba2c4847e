#include "kit/ai/AIEffort.h"
#include "kit/ai/AIModel.h"
#include "kit/ai/AIProvider.h"
#include "kit/ai/ClaudeModel.h"
#include "kit/ai/CodexModels.h"
#include "kit/ai/RoutePlan.h"
#include "kit/support/Json.h"
#include "tests/support/QtPrinters.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <QThread>
#include <QtConcurrent>
#include <gtest/gtest.h>

using namespace corvantis;

namespace {

QStringList ids(const QList<AIModel>& models) {
    QStringList out;
    for (const AIModel& model : models)
        out.append(model.id);
    return out;
}

QStringList effortIDs(const QList<AIEffort>& efforts) {
    QStringList out;
    for (AIEffort effort : efforts)
        out.append(effort.id());
    return out;
}

// Points CODEX_HOME at a fresh folder for the length of a test and puts it back afterwards.
class CodexHome {
public:
    CodexHome()
        : m_previous(qgetenv("CODEX_HOME"))
        , m_hadPrevious(qEnvironmentVariableIsSet("CODEX_HOME")) {
        qputenv("CODEX_HOME", m_dir.path().toUtf8());
    }
    ~CodexHome() {
        if (m_hadPrevious)
            qputenv("CODEX_HOME", m_previous);
        else
            qunsetenv("CODEX_HOME");
    }
    QString cachePath() const { return m_dir.filePath(QStringLiteral("models_cache.json")); }

    // Writes the cache with a modification date of our choosing, so that two writes within the same
    // millisecond still count as a change.
    void write(const QByteArray& contents, qint64 secondsSinceEpoch) const {
        QFile file(cachePath());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(contents);
        ASSERT_TRUE(file.flush()); // later buffered writes would move the date again
        ASSERT_TRUE(file.setFileTime(QDateTime::fromSecsSinceEpoch(secondsSinceEpoch, Qt::UTC),
                                     QFileDevice::FileModificationTime));
    }

private:
    QTemporaryDir m_dir;
    QByteArray m_previous;
    bool m_hadPrevious;
};

QByteArray cache(const QJsonArray& models) {
    return QJsonDocument(QJsonObject{{"models", models}}).toJson();
}

} // namespace

TEST(AIEffort, IdsTitlesRanksAndParsing) {
    EXPECT_EQ(effortIDs(AIEffort::allCases()),
              (QStringList{"low", "medium", "high", "xhigh", "max", "ultra"}));
    EXPECT_EQ(AIEffort(AIEffort::xhigh).title(), "Extra high");
    EXPECT_EQ(AIEffort(AIEffort::ultra).title(), "Ultra");
    for (qsizetype i = 0; i < AIEffort::allCases().size(); ++i) {
        EXPECT_EQ(AIEffort::allCases()[i].rank(), i);
        EXPECT_EQ(AIEffort::fromID(AIEffort::allCases()[i].id()), AIEffort::allCases()[i]);
    }
    EXPECT_FALSE(AIEffort::fromID("High"));
    EXPECT_FALSE(AIEffort::fromID(""));
    EXPECT_FALSE(AIEffort::fromID("minimal"));
}

TEST(AIModel, NearestEffortPrefersTheEarlierOnATie) {
    AIModel lowHigh{"gpt-x", "X", {AIEffort::low, AIEffort::high}};
    EXPECT_EQ(lowHigh.nearest(AIEffort::medium), AIEffort::low);
    EXPECT_EQ(lowHigh.nearest(AIEffort::high), AIEffort::high);
    EXPECT_EQ(lowHigh.nearest(AIEffort::ultra), AIEffort::high);

    // The list's order decides a tie, not the rank.
    AIModel highLow{"gpt-y", "Y", {AIEffort::high, AIEffort::low}};
    EXPECT_EQ(highLow.nearest(AIEffort::medium), AIEffort::high);

    AIModel none{"gpt-z", "Z", {}};
    EXPECT_EQ(none.nearest(AIEffort::max), AIEffort::medium);

    EXPECT_EQ(ClaudeModel(ClaudeModel::opus).model().nearest(AIEffort::ultra), AIEffort::max);
}

TEST(ClaudeModel, FamiliesResolveToTheirCurrentMember) {
    QStringList menu;
    for (ClaudeModel model : ClaudeModel::allCases())
        menu.append(model.id() + "=" + model.title());
    EXPECT_EQ(menu, (QStringList{"claude-opus-5-5=Opus", "claude-fable-5-1=Fable", "claude-sonnet-5-5=Sonnet",
                                 "claude-haiku-5-5=Haiku"}));
    EXPECT_EQ(effortIDs(ClaudeModel(ClaudeModel::haiku).efforts()),
              (QStringList{"low", "medium", "high", "xhigh", "max"}));

    EXPECT_EQ(ClaudeModel::fromID("claude-opus-4-1"), ClaudeModel(ClaudeModel::opus));
    EXPECT_EQ(ClaudeModel::fromID("claude-fable-5-1"), ClaudeModel(ClaudeModel::fable));
    EXPECT_FALSE(ClaudeModel::fromID("claude-opus"));      // no dash after the family
    EXPECT_FALSE(ClaudeModel::fromID("claude-poem-1"));    // no such family
    EXPECT_FALSE(ClaudeModel::fromID("xclaude-opus-4-1")); // must begin with the prefix

    const AIModel haiku = AIModel::resolve("claude-haiku-3");
    EXPECT_EQ(haiku.id, "claude-haiku-5-5");
    EXPECT_EQ(haiku.title, "Haiku");
    EXPECT_EQ(haiku.provider(), AIProvider::claude);
}

TEST(AIModel, JsonIsTheIdAndDecodingResolvesOldIds) {
    CodexHome home; // an empty catalogue folder: the built-in list stands
    const QJsonObject stored{{"model", "claude-haiku-3"}};
    const AIModel decoded = AIModel::fromJson(stored.value("model"));
    EXPECT_EQ(decoded.id, "claude-haiku-5-5");
    EXPECT_EQ(decoded.toJson().toString(), "claude-haiku-5-5");
    EXPECT_THROW(AIModel::fromJson(QJsonValue(7)), json::DecodeError);

    // Equality and hashing look at the id only.
    EXPECT_EQ((AIModel{"gpt-6-sol", "A", {}}), (AIModel{"gpt-6-sol", "B", {AIEffort::low}}));
    EXPECT_EQ(qHash(AIModel{"gpt-6-sol", "A", {}}), qHash(AIModel{"gpt-6-sol", "B", {AIEffort::low}}));
    EXPECT_NE((AIModel{"gpt-6-sol", "A", {}}), (AIModel{"gpt-6-astra", "A", {}}));

    const AIModel unknown = AIModel::resolve("gpt-9-nova");
    EXPECT_EQ(unknown.id, "gpt-9-nova");
    EXPECT_EQ(unknown.title, "GPT-9 Nova");
    EXPECT_EQ(effortIDs(unknown.efforts), (QStringList{"low", "medium", "high", "xhigh"}));
    EXPECT_EQ(unknown.provider(), AIProvider::chatGPT);
    EXPECT_EQ(AIModel::titleForID("gpt-6-sol"), "GPT-6 Sol");
    EXPECT_EQ(AIModel::titleForID("claude-sonnet-9"), "Sonnet");
}

TEST(CodexModels, TitlesFromIds) {
    EXPECT_EQ(CodexModels::titleForID("gpt-6.1-sol"), "GPT-6.1 Sol");
    EXPECT_EQ(CodexModels::titleForID("GPT--7--mini-fast"), "GPT-7 Mini Fast");
    EXPECT_EQ(CodexModels::titleForID("gpt"), "gpt");
    EXPECT_EQ(CodexModels::titleForID("o4-mini"), "o4-mini");
    EXPECT_EQ(CodexModels::titleForID(""), "");
    EXPECT_EQ(CodexModels::titleForID("---"), "---");
}

TEST(CodexModels, ParseKeepsListedModelsInPriorityOrder) {
    const QJsonArray models{
        QJsonObject{{"slug", "gpt-7-b"}, {"priority", 2}, {"display_name", "Bee"}},
        QJsonObject{{"slug", "gpt-5.4"}, {"priority", 0}, {"visibility", "list"}}, // retired
        QJsonObject{{"slug", "gpt-7-hidden"}, {"visibility", "hide"}},
        QJsonObject{{"slug", "gpt-7-odd"}, {"visibility", 3}, {"priority", "first"}}, // both ignored
        QJsonObject{{"slug", ""}},
        QJsonObject{{"display_name", "No slug"}},
        QJsonObject{{"slug", "gpt-7-a"},
                    {"priority", 1},
                    {"display_name", ""},
                    {"supported_reasoning_levels",
                     QJsonArray{QJsonObject{{"effort", "max"}}, QJsonObject{{"effort", "minimal"}},
                                QJsonObject{{"effort", "low"}}, QJsonObject{{"effort", 3}}}}},
        QJsonObject{{"slug", "gpt-7-c"}, {"priority", 1}},
        QJsonObject{{"slug", "gpt-7-none"},
                    {"supported_reasoning_levels", QJsonArray{QJsonObject{{"effort", "x"}}}}},
    };
    const auto parsed = CodexModels::parse(cache(models));
    ASSERT_TRUE(parsed);
    EXPECT_EQ(ids(*parsed), (QStringList{"gpt-7-odd", "gpt-7-none", "gpt-7-a", "gpt-7-c", "gpt-7-b"}));
    EXPECT_EQ((*parsed)[2].title, "GPT-7 A");
    EXPECT_EQ(effortIDs((*parsed)[2].efforts), (QStringList{"max", "low"}));
    EXPECT_EQ(effortIDs((*parsed)[1].efforts), (QStringList{"low", "medium", "high", "xhigh"}));
    EXPECT_EQ((*parsed)[4].title, "Bee");

    EXPECT_FALSE(CodexModels::parse("not json"));
    EXPECT_FALSE(CodexModels::parse("[]"));
    EXPECT_FALSE(CodexModels::parse(R"({"models": {}})"));
    EXPECT_EQ(CodexModels::parse(R"({"models": []})")->size(), 0);
}

TEST(CodexModels, CatalogueReadsTheCacheOnlyWhenItChanges) {
    CodexHome home;
    EXPECT_EQ(CodexModels::cacheURL(), home.cachePath());

    // No file: the built-in list, in its order.
    EXPECT_EQ(ids(CodexModels::catalog()), (QStringList{"gpt-6.1-sol", "gpt-6-sol", "gpt-6-astra"}));
    EXPECT_EQ(AIProvider(AIProvider::chatGPT).defaultModel().id, "gpt-6.1-sol");
    EXPECT_EQ(AIProvider(AIProvider::chatGPT).defaultRouterModel().id, "gpt-6.1-sol");

    home.write(cache({QJsonObject{{"slug", "gpt-8"}}, QJsonObject{{"slug", "gpt-8-mini"}}}), 1000);
    EXPECT_EQ(ids(CodexModels::catalog()), (QStringList{"gpt-8", "gpt-8-mini"}));
    EXPECT_EQ(AIProvider(AIProvider::chatGPT).defaultModel().id, "gpt-8");
    EXPECT_EQ(AIProvider(AIProvider::chatGPT).defaultRouterModel().id, "gpt-8-mini");
    EXPECT_EQ(AIModel::resolve("gpt-8-mini").title, "GPT-8 Mini");

    // Same date, new contents: the memo answers and the file isn't read again.
    home.write(cache({QJsonObject{{"slug", "gpt-9"}}}), 1000);
    EXPECT_EQ(ids(CodexModels::catalog()), (QStringList{"gpt-8", "gpt-8-mini"}));
    // A new date: read again.
    home.write(cache({QJsonObject{{"slug", "gpt-9"}}}), 2000);
    EXPECT_EQ(ids(CodexModels::catalog()), QStringList{"gpt-9"});

    // A damaged file or one with only retired models gives the built-in list, never a failure.
    home.write("{\"models\": [", 3000);
    EXPECT_EQ(ids(CodexModels::catalog()), (QStringList{"gpt-6.1-sol", "gpt-6-sol", "gpt-6-astra"}));
    home.write(cache({QJsonObject{{"slug", "gpt-5.4"}, {"visibility", "list"}}}), 4000);
    EXPECT_FALSE(ids(CodexModels::catalog()).contains("gpt-5.4"));
    EXPECT_FALSE(ids(AIProvider(AIProvider::chatGPT).models()).contains("gpt-5.4"));

    // Many threads at once all see the same list.
    home.write(cache({QJsonObject{{"slug", "gpt-10"}}}), 5000);
    QList<QFuture<QStringList>> futures;
    for (int i = 0; i < 8; ++i)
        futures.append(QtConcurrent::run([] {
            QStringList last;
            for (int j = 0; j < 200; ++j)
                last = ids(CodexModels::catalog());
            return last;
        }));
    for (auto& future : futures)
        EXPECT_EQ(future.result(), QStringList{"gpt-10"});
}

TEST(AIProvider, Catalogue) {
    EXPECT_EQ(AIProvider::allCases().size(), 2);
    const AIProvider claude = AIProvider::claude;
    const AIProvider chatGPT = AIProvider::chatGPT;
    EXPECT_EQ(claude.id(), "claude");
    EXPECT_EQ(chatGPT.id(), "chatGPT");
    EXPECT_EQ(AIProvider::fromID("chatGPT"), chatGPT);
    EXPECT_FALSE(AIProvider::fromID("chatgpt"));
    EXPECT_EQ(claude.tool(), "Claude Code");
    EXPECT_EQ(chatGPT.tool(), "Codex");
    EXPECT_EQ(chatGPT.name(), "ChatGPT");
    EXPECT_EQ(chatGPT.plans(), "a ChatGPT Plus, Pro, Business or Enterprise plan");
    EXPECT_EQ(ids(claude.models()),
              (QStringList{"claude-opus-5-5", "claude-fable-5-1", "claude-sonnet-5-5", "claude-haiku-5-5"}));
    EXPECT_EQ(claude.defaultModel().id, "claude-sonnet-5-5");
    EXPECT_EQ(claude.defaultRouterModel().id, "claude-sonnet-5-5");
    EXPECT_FALSE(claude.installCommand().isEmpty());
    EXPECT_TRUE(chatGPT.installPage().startsWith("https://"));
}

TEST(RoutePlan, JsonRoundTripAndRequiredKeys) {
    EXPECT_EQ(RetrievalStrategy::fromRawValue("semantic_then_graph"),
              RetrievalStrategy(RetrievalStrategy::semanticThenGraph));
    EXPECT_EQ(RetrievalStrategy(RetrievalStrategy::graphThenSemantic).title(), "Cypher, then vector search");
    EXPECT_FALSE(RetrievalStrategy::fromRawValue("semantic_first"));

    RoutePlan plan;
    plan.strategy = RetrievalStrategy::graphThenSemantic;
    plan.semanticQuery = "soul and body";
    plan.scope = {QUuid::createUuid(), QUuid::createUuid()};
    plan.graphQuestion = "Which books did Plato write?";
    plan.explanation = "I'll look in Plato's books.";
    plan.modelID = "claude-haiku-5-5";
    plan.seconds = 1.25;

    const QJsonObject object = plan.toJson();
    EXPECT_EQ(object.value("strategy").toString(), "graph_then_semantic");
    EXPECT_EQ(object.value("scope").toArray().first().toString(), json::uuidText(plan.scope.first()));
    const RoutePlan back = RoutePlan::fromJson(json::decodeObject(json::encode(object)));
    EXPECT_EQ(back, plan);
    EXPECT_EQ(qHash(back), qHash(plan));

    for (const QString& key : object.keys()) {
        QJsonObject missing = object;
        missing.remove(key);
        EXPECT_THROW(RoutePlan::fromJson(missing), json::DecodeError) << key.toStdString();
    }
    QJsonObject badStrategy = object;
    badStrategy["strategy"] = "semantic_first";
    EXPECT_THROW(RoutePlan::fromJson(badStrategy), json::DecodeError);
    QJsonObject badScope = object;
    badScope["scope"] = QJsonArray{"not-a-uuid"};
    EXPECT_THROW(RoutePlan::fromJson(badScope), json::DecodeError);
}
