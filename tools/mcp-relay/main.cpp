// corvantis-mcp: started by an AI app with no arguments, it finds the running Corvantis on 127.0.0.1,
// greets it, and copies lines both ways between its standard input and output and the connection. When
// Corvantis isn't running it starts it from this program's own folder and tries again for a while;
// failing that, it answers every request with an error that says so, until its input ends.
#include "kit/mcp/JsonText.h"
#include "kit/mcp/MCPBridge.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTcpSocket>
#include <QThread>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <unistd.h>

using namespace corvantis;

namespace {

const char* const notRunning = "Corvantis isn't running, and it couldn't be started.";

// Reads standard input on its own thread and hands each chunk to the main thread; an empty chunk means
// the input ended.
class InputReader : public QThread {
    Q_OBJECT
public:
    using QThread::QThread;

signals:
    void received(QByteArray chunk);

protected:
    void run() override {
        char buffer[65536];
        for (;;) {
            const ssize_t n = ::read(STDIN_FILENO, buffer, sizeof buffer);
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                emit received(QByteArray());
                return;
            }
            emit received(QByteArray(buffer, qsizetype(n)));
        }
    }
};

void writeOut(const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

// The greeted connection on the first port that answers with the welcome, or null.
std::unique_ptr<QTcpSocket> findCorvantis() {
    const quint16 base = MCPBridge::basePort();
    for (int offset = 0; offset < MCPBridge::portCount; ++offset) {
        auto socket = std::make_unique<QTcpSocket>();
        socket->connectToHost(MCPBridge::host(), quint16(base + offset));
        if (!socket->waitForConnected(1000))
            continue;
        socket->write(MCPBridge::hello() + '\n');
        QByteArray reply;
        QDeadlineTimer deadline(2000);
        while (!reply.contains('\n') && !deadline.hasExpired() &&
               socket->waitForReadyRead(int(deadline.remainingTime())))
            reply += socket->read(4096);
        const qsizetype end = reply.indexOf('\n');
        if (end >= 0 && reply.left(end) == MCPBridge::welcome()) {
            // Anything after the welcome already belongs to the relayed stream.
            const QByteArray rest = reply.mid(end + 1);
            if (!rest.isEmpty())
                writeOut(rest);
            return socket;
        }
    }
    return nullptr;
}

// Starts the program beside this one (CORVANTIS_MCP_LAUNCH names another, for tests); false when it
// can't be started.
bool launchCorvantis() {
    QString program = qEnvironmentVariable("CORVANTIS_MCP_LAUNCH");
    if (program.isEmpty())
        program = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("corvantis"));
    if (!QFileInfo(program).isExecutable())
        return false;
    QProcess process;
    process.setProgram(program);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    return process.startDetached();
}

// The answer to each request while there is nothing to relay to.
void refuse(const QByteArray& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject())
        return;
    const QJsonObject message = document.object();
    if (!message.value(QStringLiteral("method")).isString() || !message.contains(QStringLiteral("id")))
        return;
    QByteArray id = JsonText::rawMember(line, u"id").value_or(QByteArray());
    const bool control = std::any_of(id.cbegin(), id.cend(), [](char c) { return uchar(c) < 0x20; });
    if (id.isEmpty() || control || !QJsonDocument::fromJson("[" + id + "]").isArray())
        id = JsonText::compact(message.value(QStringLiteral("id")));
    const QJsonObject error{{QStringLiteral("code"), -32000},
                            {QStringLiteral("message"), QString::fromUtf8(notRunning)}};
    writeOut("{\"error\":" + JsonText::compact(error) + ",\"id\":" + id + ",\"jsonrpc\":\"2.0\"}\n");
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    InputReader reader;

    std::unique_ptr<QTcpSocket> socket = findCorvantis();
    if (!socket && launchCorvantis()) {
        bool ok = false;
        const int waitMs = qEnvironmentVariableIntValue("CORVANTIS_MCP_WAIT_MS", &ok);
        QDeadlineTimer deadline(ok && waitMs >= 0 ? waitMs : 15000);
        while (!socket && !deadline.hasExpired()) {
            QThread::msleep(250);
            socket = findCorvantis();
        }
    }

    QByteArray pending;
    if (!socket) {
        QObject::connect(&reader, &InputReader::received, &app, [&](const QByteArray& chunk) {
            if (chunk.isEmpty()) {
                if (!pending.trimmed().isEmpty())
                    refuse(pending);
                app.quit();
                return;
            }
            pending += chunk;
            qsizetype end;
            while ((end = pending.indexOf('\n')) >= 0) {
                refuse(pending.left(end));
                pending.remove(0, end + 1);
            }
        });
    } else {
        QTcpSocket* connection = socket.get();
        QObject::connect(&reader, &InputReader::received, &app, [&, connection](const QByteArray& chunk) {
            if (chunk.isEmpty()) {
                connection->disconnectFromHost();
                if (connection->state() == QAbstractSocket::UnconnectedState)
                    app.quit();
                return;
            }
            connection->write(chunk);
        });
        QObject::connect(connection, &QTcpSocket::readyRead, &app,
                         [connection] { writeOut(connection->readAll()); });
        QObject::connect(connection, &QTcpSocket::disconnected, &app, [&] { app.quit(); });
    }
    reader.start();
    const int code = app.exec();
    // The reader may still be blocked on standard input; the process ends with it.
    std::fflush(stdout);
    std::_Exit(code);
}

#include "main.moc"
