// corvantis-store-helper: a second process on a project's database, for the store's tests.
//
//   corvantis-store-helper hold <database>
//       opens the store, prints "open", and keeps it open until its standard input closes.
//   corvantis-store-helper stop-at <placeholders|committed|checkpointed> <database> <tables> <statement>...
//       opens the store and runs the statements as one migration, `tables` (comma-separated, may be
//       empty) being the tables that lose a column; at the named step it prints "stopped" and waits to
//       be killed. Prints "done" if the step never comes.
//
//   corvantis-store-helper migrate-project <projects folder> <project id>
//       brings the project's database from its applied shape to its shape, as a session would, prints
//       "committed" and waits to be killed before the project file is saved: the crash between the two.
//
// Every failure prints "error: {message}" and exits with 1.
#include "kit/projects/ProjectLibrary.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/GraphStoreError.h"
#include "kit/store/LadybugGraphStore.h"

#include <QCoreApplication>
#include <QStringList>
#include <cstdio>
#include <iostream>
#include <string>
#include <unistd.h>

using namespace corvantis;

namespace {

void say(const char* line) {
    std::fputs(line, stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

int usage() {
    std::fputs(
        "usage: corvantis-store-helper hold <database> | stop-at <placeholders|committed|checkpointed> "
        "<database> <tables> <statement>...\n",
        stderr);
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    try {
        if (args.size() == 2 && args[0] == QLatin1String("hold")) {
            LadybugGraphStore store(args[1]);
            say("open");
            std::string line;
            while (std::getline(std::cin, line)) {
            }
            return 0;
        }
        if (args.size() >= 5 && args[0] == QLatin1String("stop-at")) {
            LadybugGraphStore::MigrationStep step;
            if (args[1] == QLatin1String("placeholders"))
                step = LadybugGraphStore::MigrationStep::PlaceholdersInserted;
            else if (args[1] == QLatin1String("committed"))
                step = LadybugGraphStore::MigrationStep::StatementsCommitted;
            else if (args[1] == QLatin1String("checkpointed"))
                step = LadybugGraphStore::MigrationStep::CheckpointWritten;
            else
                return usage();
            LadybugGraphStore store(args[2]);
            store.setMigrationObserver([step](LadybugGraphStore::MigrationStep reached) {
                if (reached != step)
                    return;
                say("stopped");
                for (;;)
                    pause();
            });
            MigrationPlan plan;
            const QStringList tables = args[3].split(QLatin1Char(','), Qt::SkipEmptyParts);
            plan.tablesLosingColumns = QSet<QString>(tables.begin(), tables.end());
            plan.statements = args.mid(4);
            store.migrate(plan);
            say("done");
            return 0;
        }
        if (args.size() == 3 && args[0] == QLatin1String("migrate-project")) {
            const ProjectLibrary library(args[1]);
            const QUuid id(args[2]);
            for (const Project& project : library.projects()) {
                if (project.id != id)
                    continue;
                LadybugGraphStore store(library.databasePath(id));
                store.migrate(DDLBuilder::plan(project.appliedSchema, project.schema));
                say("committed");
                for (;;)
                    pause();
            }
            say("error: no such project");
            return 1;
        }
    } catch (const UserFacingError& error) {
        std::printf("error: %s\n", error.message().toUtf8().constData());
        std::fflush(stdout);
        return 1;
    }
    return usage();
}
