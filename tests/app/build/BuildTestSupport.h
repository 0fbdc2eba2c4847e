#pragma once

// A build chat over a real session and database, with the stand-in `claude` answering from a list of
// drafts that each test writes.
#include "app/build/SessionBuilds.h"
#include "tests/app/graph/SessionTestSupport.h"
#include "tests/support/TestSupport.h"
#include "tests/support/ToolHome.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

namespace corvantis::test {

struct BuildWorld {
    ToolHome tools;
    Reading reading;

    BuildChat& chat() { return reading.session->builds().graph(); }
    BuildChat& shapeChat() { return reading.session->builds().shape(); }
    ProjectSession& session() { return *reading.session; }

    // The stand-in answers each run with the next of these objects.
    void answers(const QList<QJsonObject>& list) {
        QJsonArray array;
        for (const QJsonObject& answer : list)
            array.append(answer);
        const QString path = tools.path() + "/answers.json";
        QFile::remove(path + ".count");
        QFile file(path);
        file.open(QIODevice::WriteOnly | QIODevice::Truncate);
        file.write(QJsonDocument(array).toJson());
        file.close();
        qputenv("STANDIN_ANSWERS", path.toUtf8());
        ToolHome::scenario("answers");
    }

    static BuildChat::Using use() {
        return BuildChat::Using{AIProvider::claude, AIModel::resolve("claude-sonnet-5-5"), AIEffort::high,
                                nullptr};
    }

    // Sends the text and waits for the turn's end; the turn.
    BuildTurn* send(BuildChat& chat, const QString& text) {
        chat.setDraftText(text);
        EXPECT_TRUE(chat.send(use()));
        EXPECT_TRUE(waitUntil([&] { return !chat.isRunning(); }, 60000));
        return chat.turns().last();
    }
    BuildTurn* send(const QString& text) { return send(chat(), text); }

    // What the last run of the stand-in was handed as the user message's content.
    QJsonValue lastContent() const {
        const QList<QJsonObject> runs = tools.runs();
        return runs.isEmpty() ? QJsonValue() : runs.last().value("content");
    }
    QJsonObject lastOptions() const {
        const QList<QJsonObject> runs = tools.runs();
        return runs.isEmpty() ? QJsonObject() : runs.last().value("options").toObject();
    }

    // The conversation file as saved.
    QJsonObject conversationFile(const BuildChat& chat) {
        QFile file(reading.world.library.folder(reading.project.id) + "/conversations/" +
                   json::uuidText(chat.conversationID()) + ".json");
        file.open(QIODevice::ReadOnly);
        return QJsonDocument::fromJson(file.readAll()).object();
    }
};

inline QJsonObject draftJson(const QJsonArray& nodes, const QJsonArray& relationships, const QString& summary,
                             const QJsonArray& changes = {}) {
    return QJsonObject{
        {"nodes", nodes}, {"relationships", relationships}, {"changes", changes}, {"summary", summary}};
}

inline QJsonObject draftNodeJson(const QString& ref, const QString& type, const QString& name,
                                 const QString& value) {
    return QJsonObject{{"ref", ref},
                       {"type", type},
                       {"properties", QJsonArray{QJsonObject{{"name", name}, {"value", value}}}}};
}

inline QJsonObject draftRelJson(const QString& type, const QString& from, const QString& to) {
    return QJsonObject{{"type", type}, {"from", from}, {"to", to}, {"properties", QJsonArray{}}};
}

inline QStringList stepTitles(const BuildTurn& turn) {
    QStringList titles;
    for (const BuildStep& step : turn.steps)
        titles.append(step.title);
    return titles;
}

} // namespace corvantis::test
