#include "app/app/SingleInstance.h"

#include <QCryptographicHash>
#include <QLocalSocket>
#include <unistd.h>

namespace corvantis {

namespace {

constexpr int handOverTimeoutMs = 3000;

} // namespace

QString SingleInstance::defaultName() {
    QString name = QStringLiteral("corvantis-%1").arg(::getuid());
    const QString home = qEnvironmentVariable("CORVANTIS_HOME");
    if (!home.isEmpty())
        name += '-' + QString::fromLatin1(
                          QCryptographicHash::hash(home.toUtf8(), QCryptographicHash::Sha1).toHex().left(12));
    return name;
}

SingleInstance::SingleInstance(const QString& name, QObject* parent)
    : QObject(parent)
    , m_name(name) {
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::accept);
}

bool SingleInstance::handOver(const std::optional<QUrl>& link) const {
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(handOverTimeoutMs))
        return false;
    // One line: the link, or an empty line to be shown.
    socket.write((link ? link->toEncoded() : QByteArray()) + '\n');
    if (!socket.waitForBytesWritten(handOverTimeoutMs))
        return false;
    // The running copy closes the connection once it has read the line.
    socket.waitForDisconnected(handOverTimeoutMs);
    return true;
}

bool SingleInstance::listen() {
    // A copy that answers keeps the name. (Listening with access options replaces a socket file of the
    // same name without a word, so the check comes first.)
    QLocalSocket probe;
    probe.connectToServer(m_name);
    if (probe.waitForConnected(handOverTimeoutMs))
        return false;
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (m_server.listen(m_name))
        return true;
    // A socket file left behind by a copy that is gone: nobody answers on it.
    QLocalServer::removeServer(m_name);
    return m_server.listen(m_name);
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = m_server.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (!socket->canReadLine())
                return;
            const QByteArray line = socket->readLine().trimmed();
            socket->disconnectFromServer();
            std::optional<QUrl> link;
            if (!line.isEmpty())
                link = QUrl::fromEncoded(line);
            emit activated(link);
        });
    }
}

std::optional<std::optional<QUrl>> linkArgument(const QStringList& arguments) {
    if (arguments.isEmpty())
        return std::optional<QUrl>();
    if (arguments.size() > 1)
        return std::nullopt;
    const QUrl url(arguments.first());
    if (!url.isValid() || url.scheme().compare(QLatin1String("corvantis"), Qt::CaseInsensitive) != 0)
        return std::nullopt;
    return std::optional<QUrl>(url);
}

} // namespace corvantis
