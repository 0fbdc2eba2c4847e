// bench_store: how long opening a large project takes (the database, every record loaded, and what is
// derived from them), next to a plain scan of the same tables through the engine's C interface, and the
// resident memory with the project open.
//
//   bench_store [--runs N] [--nodes N] [--rels N] [--dir PATH] [--only session|store|plain]
//
// The project (5 node types, 5 relationship types) is generated once: its tables by the program's own
// DDL, its rows by CSV import; with --dir it is kept in the project folder PATH and reused when present.
// Three contenders, each in a fresh process and in an order that rotates from run to run: the whole
// opening of the project, the store's load alone, and the plain scan. Each is timed twice, the first
// time with the engine's buffer pool cold (the operating system's file cache warm), then again.
// --only runs one contender once in this process and prints its figures on one line (also for
// profiling). Medians over the runs are printed, of the wall clock and of the processor time. With the
// project open, the maps derived from its records (GraphDerived::of, what the session rebuilds after
// every edit) are made again several times; the median of those is printed too.
#include "app/graph/ProjectSession.h"
#include "kit/graph/GraphDerived.h"
#include "kit/projects/ProjectLibrary.h"
#include "kit/store/DDLBuilder.h"
#include "kit/store/LadybugGraphStore.h"
#include "tests/support/ShapeBuilders.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>
#include <QUuid>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <lbug.h>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <vector>

using namespace corvantis;

namespace {

constexpr int typeCount = 5;

using test::property;

// Five kinds of item, each with a name, a score, a flag and a note, and five link types joining each
// kind to the next, with a weight and a label: the shape the project records.
GraphSchema benchShape() {
    GraphSchema shape;
    for (int t = 0; t < typeCount; ++t) {
        NodeType type;
        type.id = QUuid::createUuid();
        type.name = QStringLiteral("Kind%1").arg(t);
        type.color = QStringLiteral("iris");
        type.properties = {property("name", PropertyKind::Text), property("score", PropertyKind::Number),
                           property("active", PropertyKind::Boolean), property("note", PropertyKind::Text)};
        type.titleProperty = type.properties[0].id;
        shape.nodeTypes.append(type);
    }
    for (int t = 0; t < typeCount; ++t) {
        RelType type;
        type.id = QUuid::createUuid();
        type.name = QStringLiteral("link %1").arg(t);
        type.properties = {property("weight", PropertyKind::Number), property("label", PropertyKind::Text)};
        type.endpoints = {{shape.nodeTypes[t].id, shape.nodeTypes[(t + 1) % typeCount].id}};
        shape.relTypes.append(type);
    }
    return shape;
}

void check(lbug_state state, const char* what) {
    if (state != LbugSuccess)
        throw std::runtime_error(what);
}

void run(lbug_connection* connection, const QString& cypher) {
    lbug_query_result result;
    auto state = lbug_connection_query(connection, cypher.toUtf8().constData(), &result);
    if (state != LbugSuccess) {
        char* message = lbug_query_result_get_error_message(&result);
        std::string text = message ? message : "unknown error";
        lbug_destroy_string(message);
        lbug_query_result_destroy(&result);
        throw std::runtime_error(cypher.toStdString() + ": " + text);
    }
    lbug_query_result_destroy(&result);
}

QString uuid() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
}

// Makes a project in `libraryPath` whose tables the program's own DDL creates, then fills them by
// writing CSV files and importing them with COPY, the engine's bulk path.
void generate(const QString& libraryPath, const QString& folder, int nodes, int rels) {
    ProjectLibrary library(libraryPath);
    Project project = library.create(QStringLiteral("Bench"));
    project.schema = benchShape();
    const QString dbPath = library.databasePath(project.id);
    {
        LadybugGraphStore store(dbPath);
        store.migrate(DDLBuilder::plan(std::nullopt, project.schema));
    }
    project.appliedSchema = project.schema;
    library.save(project);

    std::mt19937 random(42);
    std::vector<std::vector<QString>> ids(typeCount);
    lbug_database database;
    check(lbug_database_init(dbPath.toUtf8().constData(), lbug_default_system_config(), &database), "open");
    lbug_connection connection;
    check(lbug_connection_init(&database, &connection), "connect");
    for (int t = 0; t < typeCount; ++t) {
        QString path = QStringLiteral("%1/node%2.csv").arg(folder).arg(t);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot write the CSV file");
        QTextStream out(&file);
        out << "id,name,score,active,note\n";
        for (int i = 0; i < nodes / typeCount; ++i) {
            QString id = uuid();
            ids[t].push_back(id);
            out << id << ",Name " << t << '-' << i << ',' << (random() % 100000) / 100.0 << ','
                << ((random() & 1) ? "true" : "false") << ",A short note about item " << i << " of kind " << t
                << '\n';
        }
        out.flush();
        file.close();
        run(&connection,
            QStringLiteral("COPY %1 FROM '%2' (HEADER=true)").arg(project.schema.nodeTypes[t].table(), path));
    }
    for (int t = 0; t < typeCount; ++t) {
        int from = t, to = (t + 1) % typeCount;
        QString path = QStringLiteral("%1/rel%2.csv").arg(folder).arg(t);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot write the CSV file");
        QTextStream out(&file);
        out << "from,to,id,weight,label\n";
        for (int i = 0; i < rels / typeCount; ++i) {
            const auto& a = ids[from][random() % ids[from].size()];
            const auto& b = ids[to][random() % ids[to].size()];
            out << a << ',' << b << ',' << uuid() << ',' << (random() % 1000) / 1000.0 << ",label "
                << (i % 17) << '\n';
        }
        out.flush();
        file.close();
        run(&connection,
            QStringLiteral("COPY %1 FROM '%2' (HEADER=true)").arg(project.schema.relTypes[t].table(), path));
    }
    run(&connection, QStringLiteral("CHECKPOINT"));
    lbug_connection_destroy(&connection);
    lbug_database_destroy(&database);
}

double rssMegabytes() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
    return 0;
}

// Reads every column of every row by its type, dropping the values. Returns how many values were read.
long scanQuery(lbug_connection* connection, const QString& query) {
    lbug_query_result result;
    check(lbug_connection_query(connection, query.toUtf8().constData(), &result), "query");
    const uint64_t columns = lbug_query_result_get_num_columns(&result);
    std::vector<lbug_data_type_id> types;
    for (uint64_t c = 0; c < columns; ++c) {
        lbug_logical_type type;
        check(lbug_query_result_get_column_data_type(&result, c, &type), "column type");
        types.push_back(lbug_data_type_get_id(&type));
        lbug_data_type_destroy(&type);
    }
    long values = 0;
    while (lbug_query_result_has_next(&result)) {
        lbug_flat_tuple tuple;
        check(lbug_query_result_get_next(&result, &tuple), "next");
        for (uint64_t c = 0; c < columns; ++c) {
            lbug_value value;
            check(lbug_flat_tuple_get_value(&tuple, c, &value), "value");
            if (lbug_value_is_null(&value))
                continue;
            switch (types[c]) {
            case LBUG_STRING: {
                char* text = nullptr;
                check(lbug_value_get_string(&value, &text), "string");
                lbug_destroy_string(text);
                break;
            }
            case LBUG_DOUBLE: {
                double number;
                check(lbug_value_get_double(&value, &number), "double");
                break;
            }
            case LBUG_BOOL: {
                bool flag;
                check(lbug_value_get_bool(&value, &flag), "bool");
                break;
            }
            case LBUG_INTERNAL_ID: {
                lbug_internal_id_t id;
                check(lbug_value_get_internal_id(&value, &id), "internal id");
                break;
            }
            default:
                break;
            }
            ++values;
        }
    }
    lbug_query_result_destroy(&result);
    return values;
}

// The property columns of a table, as the engine lists them.
QStringList columnsOf(lbug_connection* connection, const QString& table) {
    lbug_query_result result;
    check(lbug_connection_query(
              connection, QStringLiteral("CALL table_info('%1') RETURN name").arg(table).toUtf8().constData(),
              &result),
          "table_info");
    QStringList names;
    while (lbug_query_result_has_next(&result)) {
        lbug_flat_tuple tuple;
        check(lbug_query_result_get_next(&result, &tuple), "next");
        lbug_value value;
        check(lbug_flat_tuple_get_value(&tuple, 0, &value), "name");
        char* text = nullptr;
        check(lbug_value_get_string(&value, &text), "name");
        names << QString::fromUtf8(text);
        lbug_destroy_string(text);
    }
    lbug_query_result_destroy(&result);
    return names;
}

// The plain scan: the same queries as the store's load, every value read and dropped.
long plainScan(lbug_connection* connection, const QStringList& nodeTables, const QStringList& relTables) {
    long values = 0;
    auto columns = [&](const QString& variable, const QString& table) {
        QString list;
        for (const QString& name : columnsOf(connection, table))
            list += QStringLiteral(", %1.%2").arg(variable, name);
        return list;
    };
    for (const QString& table : nodeTables)
        values += scanQuery(connection, QStringLiteral("MATCH (n:%1) RETURN id(n), label(n)").arg(table) +
                                            columns(QStringLiteral("n"), table));
    for (const QString& table : relTables)
        values += scanQuery(connection,
                            QStringLiteral("MATCH (a)-[r:%1]->(b) RETURN id(a), id(b), label(r)").arg(table) +
                                columns(QStringLiteral("r"), table));
    return values;
}

double median(std::vector<double> values) {
    if (values.empty())
        return std::nan("");
    std::sort(values.begin(), values.end());
    size_t n = values.size();
    return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

// Processor time of the whole process (every thread, user and system), in seconds. Less disturbed than
// the wall clock when other programs share the machine.
double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    auto toSeconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + t.tv_usec / 1e6;
    };
    return toSeconds(usage.ru_utime) + toSeconds(usage.ru_stime);
}

// Processor time of the calling thread alone, in seconds.
double threadCpuSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double seconds(const QElapsedTimer& clock) {
    return static_cast<double>(clock.nsecsElapsed()) / 1e9;
}

// The generated project, as each contender finds it.
struct Bench {
    QString libraryPath;
    Project project;
    QString dbPath;
    QStringList nodeTables, relTables;

    explicit Bench(const QString& path)
        : libraryPath(path) {
        ProjectLibrary library(path);
        const QList<Project> projects = library.projects();
        if (projects.isEmpty())
            throw std::runtime_error("no generated project in the folder");
        project = projects.first();
        dbPath = library.databasePath(project.id);
        for (const NodeType& type : project.schema.nodeTypes)
            nodeTables << type.table();
        for (const RelType& type : project.schema.relTypes)
            relTables << type.table();
    }
};

// One measurement in this process: open, then two passes. Printed as one line for the parent to read.
struct Measurement {
    double open = 0, first = 0, second = 0, firstCpu = 0, secondCpu = 0, rssBefore = 0, rssHeld = 0;
    long count = 0;
    double derived = 0, derivedCpu = 0; // GraphDerived::of over the open project, median of several
    double edited = 0;                  // GraphDerived::update after one edit, median of several
};

// Times `pass` twice (the engine's buffer pool cold, then warm); the resident memory is read right after
// the first pass, with what it made still held.
template <typename Pass> void timePasses(Measurement& m, Pass pass) {
    for (int round = 0; round < 2; ++round) {
        QElapsedTimer clock;
        clock.start();
        double cpu = cpuSeconds();
        [[maybe_unused]] auto held = pass();
        (round == 0 ? m.first : m.second) = seconds(clock);
        (round == 0 ? m.firstCpu : m.secondCpu) = cpuSeconds() - cpu;
        if (round == 0)
            m.rssHeld = rssMegabytes();
    }
}

// Opening the project as the program does: the database, every record (loadRecords) and the degrees,
// neighbours and counts made from them (rebuildDerived). Each pass is a whole opening.
Measurement measureSession(const Bench& bench) {
    Measurement m;
    m.rssBefore = rssMegabytes();
    ProjectLibrary library(bench.libraryPath);
    timePasses(m, [&] {
        auto session = std::make_unique<ProjectSession>(bench.project, library, nullptr);
        if (session->graphUnavailable())
            throw std::runtime_error("the project's database did not open");
        m.count = session->nodes().size() + session->rels().size();
        return session;
    });
    // The maps an edit makes the session derive again, over the project open once more.
    auto last = std::make_unique<ProjectSession>(bench.project, library, nullptr);
    std::vector<double> times, cpuTimes;
    GraphDerived::Maps held;
    for (int i = 0; i < 9; ++i) {
        QElapsedTimer clock;
        clock.start();
        const double cpu = threadCpuSeconds();
        // The maps before go as the new ones take their place, as in the session.
        held = GraphDerived::of(last->nodes(), last->rels());
        cpuTimes.push_back(threadCpuSeconds() - cpu);
        times.push_back(seconds(clock));
        if (held.typeCounts.isEmpty())
            throw std::runtime_error("nothing was derived");
    }
    m.derived = median(times);
    m.derivedCpu = median(cpuTimes);

    // What the session does instead after one edit: the maps brought up to date in place. A node with a
    // relationship to the first node is added, then taken out again, each timed on its own.
    const QString anchor = last->nodes().cbegin().key();
    const QString label = last->nodes().cbegin()->label;
    const QString relLabel = last->rels().isEmpty() ? QStringLiteral("R") : last->rels().cbegin()->label;
    std::vector<double> edits;
    for (int i = 0; i < 41; ++i) {
        const QString id = QStringLiteral("bench-edit-%1").arg(i);
        GraphDerived::Change added;
        added.addedNodes.append({id, label});
        added.addedRels.append({relLabel, id, anchor});
        GraphDerived::Change removed;
        removed.removedRels.append({relLabel, id, anchor});
        removed.removedNodes.append({id, label});
        for (const GraphDerived::Change* change : {&added, &removed}) {
            QElapsedTimer clock;
            clock.start();
            if (!GraphDerived::update(held, *change))
                throw std::runtime_error("an edit did not fit the maps");
            edits.push_back(seconds(clock));
        }
    }
    m.edited = median(edits);
    return m;
}

// The store alone on one open database: loadGraph, the load that opening uses.
Measurement measureStore(const Bench& bench) {
    Measurement m;
    m.rssBefore = rssMegabytes();
    QElapsedTimer clock;
    clock.start();
    LadybugGraphStore store(bench.dbPath);
    m.open = seconds(clock);
    timePasses(m, [&] {
        GraphRecords graph = store.loadGraph(bench.nodeTables, bench.relTables);
        m.count = graph.nodes.size() + graph.rels.size();
        return graph;
    });
    return m;
}

Measurement measurePlain(const Bench& bench) {
    Measurement m;
    m.rssBefore = rssMegabytes();
    QElapsedTimer clock;
    clock.start();
    lbug_database database;
    check(lbug_database_init(bench.dbPath.toUtf8().constData(), lbug_default_system_config(), &database),
          "open");
    lbug_connection connection;
    check(lbug_connection_init(&database, &connection), "connect");
    m.open = seconds(clock);
    timePasses(m, [&] {
        m.count = plainScan(&connection, bench.nodeTables, bench.relTables);
        return m.count;
    });
    lbug_connection_destroy(&connection);
    lbug_database_destroy(&database);
    return m;
}

// Runs one contender in a fresh process, so that none inherits another's heap.
std::optional<Measurement> measureInChild(const QString& self, const QString& folder, const QString& which) {
    QProcess child;
    child.start(self, {QStringLiteral("--dir"), folder, QStringLiteral("--only"), which});
    if (!child.waitForFinished(600000) || child.exitCode() != 0) {
        std::fprintf(stderr, "the %s measurement failed: %s\n", qPrintable(which),
                     child.readAllStandardError().constData());
        return std::nullopt;
    }
    for (const QByteArray& line : child.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> f = line.split(' ');
        if (f.size() == 12 && f[0] == "measurement")
            return Measurement{f[1].toDouble(), f[2].toDouble(),  f[3].toDouble(), f[4].toDouble(),
                               f[5].toDouble(), f[6].toDouble(),  f[7].toDouble(), f[8].toLong(),
                               f[9].toDouble(), f[10].toDouble(), f[11].toDouble()};
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int runs = 5, nodes = 100000, rels = 300000;
    QString keptFolder, only;
    const QStringList args = app.arguments();
    for (int i = 1; i + 1 < args.size(); i += 2) {
        if (args[i] == QLatin1String("--runs"))
            runs = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--nodes"))
            nodes = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--rels"))
            rels = args[i + 1].toInt();
        else if (args[i] == QLatin1String("--dir"))
            keptFolder = args[i + 1];
        else if (args[i] == QLatin1String("--only"))
            only = args[i + 1];
    }

    try {
        if (!only.isEmpty()) {
            if (keptFolder.isEmpty()) {
                std::fprintf(stderr, "--only needs --dir with a generated project\n");
                return 2;
            }
            const Bench bench(keptFolder);
            Measurement m = only == QLatin1String("session") ? measureSession(bench)
                            : only == QLatin1String("store") ? measureStore(bench)
                                                             : measurePlain(bench);
            std::printf("measurement %.6f %.6f %.6f %.6f %.6f %.1f %.1f %ld %.6f %.6f %.9f\n", m.open,
                        m.first, m.second, m.firstCpu, m.secondCpu, m.rssBefore, m.rssHeld, m.count,
                        m.derived, m.derivedCpu, m.edited);
            return 0;
        }

        QTemporaryDir dir;
        const QString folder = keptFolder.isEmpty() ? dir.filePath(QStringLiteral("Projects")) : keptFolder;
        QElapsedTimer clock;
        clock.start();
        if (ProjectLibrary(folder).projects().isEmpty()) {
            generate(folder, dir.path(), nodes, rels);
            std::printf(
                "generated %d nodes in %d types and %d relationships in %d types in %.2f s (CSV + COPY)\n",
                nodes, typeCount, rels, typeCount, seconds(clock));
        }

        // Each run measures every contender once, in an order that rotates from run to run, so that
        // none always runs on a machine another has just warmed.
        const QStringList contenders{QStringLiteral("session"), QStringLiteral("store"),
                                     QStringLiteral("plain")};
        std::map<QString, std::vector<Measurement>> measured;
        for (int r = 0; r < runs; ++r) {
            for (int k = 0; k < contenders.size(); ++k) {
                const QString& which = contenders[(r + k) % contenders.size()];
                auto m = measureInChild(app.applicationFilePath(), folder, which);
                if (!m)
                    return 1;
                measured[which].push_back(*m);
            }
            std::printf("run %d: opening %.3f s, store %.3f s, plain scan %.3f s (first pass)\n", r + 1,
                        measured["session"].back().first, measured["store"].back().first,
                        measured["plain"].back().first);
            std::fflush(stdout);
        }

        auto med = [&](const QString& which, double Measurement::*field) {
            std::vector<double> values;
            for (const auto& m : measured[which])
                values.push_back(m.*field);
            return median(values);
        };
        auto row = [](const char* what, double wall, double cpu) {
            std::printf("%-48s %10.3f %10.3f\n", what, wall, cpu);
        };
        std::printf("\n%-48s %10s %10s\n", "median over runs (seconds)", "wall", "processor");
        row("opening the project, first", med("session", &Measurement::first),
            med("session", &Measurement::firstCpu));
        row("opening the project, again", med("session", &Measurement::second),
            med("session", &Measurement::secondCpu));
        std::printf("%-48s %10.3f\n", "opening the store alone", med("store", &Measurement::open));
        row("store loadGraph, first pass", med("store", &Measurement::first),
            med("store", &Measurement::firstCpu));
        row("store loadGraph, second pass", med("store", &Measurement::second),
            med("store", &Measurement::secondCpu));
        std::printf("%-48s %10.3f\n", "opening the database through the C interface",
                    med("plain", &Measurement::open));
        row("plain C scan, first pass", med("plain", &Measurement::first),
            med("plain", &Measurement::firstCpu));
        row("plain C scan, second pass", med("plain", &Measurement::second),
            med("plain", &Measurement::secondCpu));
        const double plainWhole = med("plain", &Measurement::open) + med("plain", &Measurement::first);
        row("opening / (plain open + scan), first (ratio)", med("session", &Measurement::first) / plainWhole,
            med("session", &Measurement::firstCpu) / med("plain", &Measurement::firstCpu));
        row("loads / plain scan, first pass (ratio)",
            med("store", &Measurement::first) / med("plain", &Measurement::first),
            med("store", &Measurement::firstCpu) / med("plain", &Measurement::firstCpu));
        row("loads / plain scan, second pass (ratio)",
            med("store", &Measurement::second) / med("plain", &Measurement::second),
            med("store", &Measurement::secondCpu) / med("plain", &Measurement::secondCpu));
        std::printf("%-48s %10.1f %10.1f ms\n", "GraphDerived::of over the open project",
                    med("session", &Measurement::derived) * 1000,
                    med("session", &Measurement::derivedCpu) * 1000);
        std::printf("%-48s %10.3f %10s ms\n", "GraphDerived::update after one edit",
                    med("session", &Measurement::edited) * 1000, "");
        std::printf("%-48s %10.0f MB\n", "resident memory, project open",
                    med("session", &Measurement::rssHeld));
        std::printf("%-48s %10.0f MB\n", "resident memory, before opening",
                    med("session", &Measurement::rssBefore));
        std::printf("%-48s %10.0f MB\n", "resident memory, plain scan, after a pass",
                    med("plain", &Measurement::rssHeld));
        std::printf("%-48s %10ld\n", "records in the open project", measured["session"].back().count);
        std::printf("%-48s %10ld\n", "values read by the plain scan", measured["plain"].back().count);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_store: %s\n", error.what());
        return 1;
    }
    return 0;
}
