#pragma once

// What the Ask tests share: a project with a real database, the stand-in tools in a home of their own
// with a script of answers, and waiting for the engine to finish.
#include "app/ask/AskEngine.h"
#include "app/graph/ProjectPreferences.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/ToolHome.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTest>
#include <gtest/gtest.h>

namespace corvantis::test {

inline AskSettings askSettings(QueryMode mode, AIProvider provider = AIProvider::claude,
                               bool canUseAI = true) {
    AskSettings settings;
    settings.mode = mode;
    settings.provider = provider;
    settings.model = provider.defaultModel();
    settings.routerModel = provider.defaultRouterModel();
    settings.canUseAI = canUseAI;
    return settings;
}

// The stand-ins, told to answer from a script.
struct ScriptedTools {
    ToolHome home;

    ScriptedTools() {
        ToolHome::scenario("script");
        qputenv("STANDIN_SCRIPT", scriptPath().toUtf8());
    }
    ~ScriptedTools() { qunsetenv("STANDIN_SCRIPT"); }

    QString scriptPath() const { return home.path() + "/script.json"; }

    // The answers of the next runs, in order; the count of runs starts again.
    void script(const QList<QJsonObject>& answers) const {
        QJsonArray array;
        for (const QJsonObject& answer : answers)
            array.append(answer);
        QFile file(scriptPath());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QJsonDocument(array).toJson());
        QFile::remove(scriptPath() + ".count");
    }
    static QJsonObject query(const QString& cypher, const QString& explanation = "The answer.") {
        return QJsonObject{{"cypher", cypher}, {"explanation", explanation}};
    }
    static QJsonObject route(const QString& strategy, const QString& semanticQuery = {},
                             const QStringList& scope = {}, const QString& graphQuestion = {},
                             const QString& explanation = "Searching by meaning.") {
        return QJsonObject{{"strategy", strategy},
                           {"semantic_query", semanticQuery},
                           {"scope", QJsonArray::fromStringList(scope)},
                           {"graph_question", graphQuestion},
                           {"explanation", explanation}};
    }

    // The model runs so far (not the version or sign-in checks).
    QList<QJsonObject> modelRuns() const {
        QList<QJsonObject> runs;
        for (const QJsonObject& run : home.runs()) {
            const QJsonArray arguments = run.value("arguments").toArray();
            if (arguments.first() == "-p" || arguments.first() == "exec")
                runs.append(run);
        }
        return runs;
    }
    int runCount() const { return static_cast<int>(home.runs().size()); }
};

// Waits, on the event loop, until the engine has finished its flow.
inline void waitUntilIdle(const AskEngine& engine) {
    ASSERT_TRUE(QTest::qWaitFor([&] { return !engine.state().isWorking; }, 60000)) << "the flow didn't end";
}

inline QStringList stepTitles(const AskEngine& engine) {
    QStringList titles;
    for (const AskStep& step : engine.state().steps)
        titles.append(step.title);
    return titles;
}

inline void askAndWait(ProjectSession& session, const QString& question, const AskSettings& settings,
                       bool fresh = false) {
    session.ask(question, settings, fresh);
    waitUntilIdle(session.askEngine());
}

// The processes of a program that are children of this one.
inline int childrenRunning(const QString& program) {
    int count = 0;
    const QString self = QString::number(QCoreApplication::applicationPid());
    for (const QFileInfo& entry : QDir("/proc").entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile status(entry.filePath() + "/status");
        if (!status.open(QIODevice::ReadOnly))
            continue;
        const QString text = QString::fromUtf8(status.readAll());
        const bool named = text.contains(QStringLiteral("Name:\t") + program.left(15));
        const bool ours = text.contains(QStringLiteral("\nPPid:\t") + self + QLatin1Char('\n'));
        const bool zombie = text.contains(QStringLiteral("State:\tZ"));
        if (named && ours && !zombie)
            ++count;
    }
    return count;
}

} // namespace corvantis::test
