// Round trips through the connector: ping and get_shape from a client through corvantis-mcp to the
// service and back, one at a time, and 100 run_cypher calls sent at once on one connection. Prints a
// table of medians; target for the round trips: at most 5 ms.
#include "app/app/AppModel.h"
#include "app/app/Settings.h"
#include "app/graph/ProjectSession.h"
#include "app/mcp/MCPService.h"
#include "kit/support/Json.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QGuiApplication>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <cstdio>

using namespace corvantis;

namespace {

double median(QList<double> values) {
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[values.size() / 2];
}

double percentile(QList<double> values, double p) {
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : values[qMin(values.size() - 1, qsizetype(values.size() * p))];
}

// The relay as a client app runs it, with the lines it has answered so far.
class Relay {
public:
    explicit Relay(const QString& path) {
        m_process.start(path, {});
        m_process.waitForStarted();
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, [this] {
            m_buffer += m_process.readAllStandardOutput();
            m_lines += int(m_buffer.count('\n')) - m_counted;
            m_counted = int(m_buffer.count('\n'));
        });
    }
    ~Relay() {
        m_process.closeWriteChannel();
        m_process.waitForFinished(5000);
    }
    // Sends the lines and runs the event loop until `count` more answers have come; false on time-out.
    bool exchange(const QByteArray& lines, int count) {
        const int target = m_lines + count;
        m_process.write(lines);
        QEventLoop loop;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (m_lines >= target)
                loop.quit();
        });
        QObject::connect(&m_process, &QProcess::readyReadStandardOutput, &loop, [&] {
            if (m_lines >= target)
                loop.quit();
        });
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        poll.start(50);
        if (m_lines < target)
            loop.exec();
        return m_lines >= target;
    }
    QByteArray output() const { return m_buffer; }

private:
    QProcess m_process;
    QByteArray m_buffer;
    int m_lines = 0;
    int m_counted = 0;
};

QByteArray request(int id, const QString& method, const QJsonObject& params = {}) {
    return QJsonDocument(QJsonObject{{"jsonrpc", "2.0"}, {"id", id}, {"method", method}, {"params", params}})
               .toJson(QJsonDocument::Compact) +
           '\n';
}

QByteArray tool(int id, const QString& name, const QJsonObject& arguments = {}) {
    return request(id, "tools/call", QJsonObject{{"name", name}, {"arguments", arguments}});
}

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    qputenv("CORVANTIS_MCP_PORT", QByteArray::number(probe.serverPort()));
    probe.close();

    // A project of 2,000 people in 50 cities.
    ProjectLibrary library(dir.filePath("Projects"));
    Project project = library.create("Bench");
    NodeType person{QUuid::createUuid(), "Person", "iris"};
    person.properties = {PropertyDef{QUuid::createUuid(), "Name"}, PropertyDef{QUuid::createUuid(), "Notes"}};
    person.titleProperty = person.properties[0].id;
    NodeType city{QUuid::createUuid(), "City", "mint"};
    city.properties = {PropertyDef{QUuid::createUuid(), "Name"}};
    city.titleProperty = city.properties[0].id;
    RelType lives{QUuid::createUuid(), "lives in", {}, {RelEndpoint{person.id, city.id}}};
    project.schema.nodeTypes = {person, city};
    project.schema.relTypes = {lives};
    library.save(project);
    QSettings(dir.filePath("s.ini"), QSettings::IniFormat).setValue("mcp.enabled", true);
    AppModel model(std::make_unique<Settings>(dir.filePath("s.ini")), dir.filePath("Projects"));
    model.open(project);
    ProjectSession& session = *model.session();
    QStringList cities;
    for (int i = 0; i < 50; ++i)
        cities << session.createNode(session.project().schema.nodeTypes[1], QString("City %1").arg(i))
                      .value_or("");
    for (int i = 0; i < 2000; ++i) {
        const QString id =
            session.createNode(session.project().schema.nodeTypes[0], QString("Person %1").arg(i))
                .value_or("");
        session.insert(RelRecord{json::uuidText(QUuid::createUuid()), "LIVES_IN", id, cities[i % 50], {}});
    }

    const QString relayPath = QDir(QCoreApplication::applicationDirPath()).filePath("corvantis-mcp");
    std::printf("connector round trips through corvantis-mcp (port %d; %lld nodes, %lld relationships)\n",
                int(model.mcpService().port().value_or(0)), qint64(session.nodes().size()),
                qint64(session.rels().size()));
    std::printf("%-34s %10s %10s %10s\n", "measure", "median ms", "p90 ms", "samples");

    const int runs = 5;
    QList<double> pings, shapes, bursts;
    int answered = 0;
    int pongs = 0;
    int shapeTexts = 0;
    for (int run = 0; run < runs; ++run) {
        Relay relay(relayPath);
        relay.exchange(request(0, "initialize", QJsonObject{{"clientInfo", QJsonObject{{"name", "bench"}}}}),
                       1);
        int id = 1;
        for (int i = 0; i < 100; ++i) {
            QElapsedTimer timer;
            timer.start();
            relay.exchange(request(id++, "ping"), 1);
            pings << timer.nsecsElapsed() / 1e6;
        }
        for (int i = 0; i < 50; ++i) {
            QElapsedTimer timer;
            timer.start();
            relay.exchange(tool(id++, "get_shape"), 1);
            shapes << timer.nsecsElapsed() / 1e6;
        }
        QByteArray burst;
        const int first = id;
        for (int i = 0; i < 100; ++i)
            burst += tool(id++, "run_cypher",
                          {{"query", QString("MATCH (p:Person) WHERE p.name = 'Person %1' "
                                             "RETURN p.name")
                                         .arg(i)}});
        QElapsedTimer timer;
        timer.start();
        const bool all = relay.exchange(burst, 100);
        bursts << timer.nsecsElapsed() / 1e6;
        pongs += int(relay.output().count("\"result\":{}}"));
        shapeTexts += int(relay.output().count("Project: Bench"));
        QSet<int> ids;
        for (const QByteArray& line : relay.output().split('\n')) {
            const int answerId = QJsonDocument::fromJson(line).object().value("id").toInt(-1);
            if (answerId >= first && answerId < first + 100)
                ids.insert(answerId);
        }
        answered += all ? int(ids.size()) : 0;
    }
    std::printf("%-34s %10.3f %10.3f %10lld\n", "ping", median(pings), percentile(pings, 0.9),
                qint64(pings.size()));
    std::printf("%-34s %10.3f %10.3f %10lld\n", "get_shape", median(shapes), percentile(shapes, 0.9),
                qint64(shapes.size()));
    std::printf("%-34s %10.3f %10.3f %10lld\n", "100 run_cypher at once (all back)", median(bursts),
                percentile(bursts, 0.9), qint64(bursts.size()));
    std::printf("answers seen: ping %d of %d, get_shape %d of %d, run_cypher %d of %d\n", pongs, runs * 100,
                shapeTexts, runs * 50, answered, runs * 100);
    return answered == runs * 100 ? 0 : 1;
}
