// build-crash-helper {library root} {project id} {settings file} {tool home}
// Opens the project, sends "Ann wrote Dune." to the graph chat through the stand-in `claude` (which the
// test has told to never answer), and prints "RUNNING" once the conversation file holds the running
// turn with its working step. Then it waits to be killed.
#include "app/app/Settings.h"
#include "app/build/SessionBuilds.h"
#include "app/graph/ProjectSession.h"
#include "app/undo/UndoStack.h"
#include "kit/ai/AICommandLine.h"
#include "kit/support/Json.h"

#include <QFile>
#include <QGuiApplication>
#include <cstdio>

using namespace corvantis;

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 5) {
        std::fprintf(stderr, "usage: build-crash-helper root project settings toolhome\n");
        return 2;
    }
    AICommandLine::setHomeOverride(QString::fromLocal8Bit(argv[4]));
    const ProjectLibrary library(QString::fromLocal8Bit(argv[1]));
    const auto id = json::parseUuid(QString::fromLocal8Bit(argv[2]));
    std::optional<Project> project;
    for (const Project& candidate : library.projects())
        if (id && candidate.id == *id)
            project = candidate;
    if (!project) {
        std::fprintf(stderr, "no such project\n");
        return 2;
    }
    Settings settings(QString::fromLocal8Bit(argv[3]));
    UndoStack undo;
    ProjectSession session(*project, library, &settings);
    session.setUndoStack(&undo);
    BuildChat& chat = session.builds().graph();
    const QString file = library.folder(project->id) + QStringLiteral("/conversations/");
    QObject::connect(&chat, &BuildChat::saved, &app, [&] {
        QFile saved(file + json::uuidText(chat.conversationID()) + QStringLiteral(".json"));
        if (saved.open(QIODevice::ReadOnly) && saved.readAll().contains("Drafting nodes and relationships")) {
            std::printf("RUNNING\n");
            std::fflush(stdout);
        }
    });
    chat.setDraftText(QStringLiteral("Ann wrote Dune."));
    if (!chat.send(BuildChat::Using{AIProvider::claude, AIModel::resolve(QStringLiteral("claude-sonnet-5-5")),
                                    AIEffort::medium, nullptr}))
        return 3;
    return app.exec();
}
