#pragma once

#include "kit/support/UserFacingError.h"
#include "kit/tablet/WebSocketFrames.h"

#include <QHostAddress>
#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QTcpServer;
class QTcpSocket;

namespace corvantis {

class LocalName;

// Why a drawing could not be shared with a tablet.
class TabletBridgeError : public UserFacingError {
public:
    enum class Kind { Offline, EngineMissing, NoPort };
    TabletBridgeError(Kind kind, const QString& message)
        : UserFacingError(message)
        , m_kind(kind) {}
    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// A small HTTP and WebSocket server of our own on plain TCP, through which a tablet's browser on the
// same network opens the drawing board and trades strokes with it. It answers only paths that start with
// a short random key, made anew for each share. Everything runs on the main thread.
class TabletBridge : public QObject {
    Q_OBJECT
public:
    struct Address {
        QString url;    // by the machine's local name, when one was claimed; else the same as `direct`
        QString direct; // by IP number
    };

    struct Options {
        // Port 80 where the process may bind it, else the first free one of 5791 to 5810.
        std::vector<quint16> ports = defaultPorts();
        QHostAddress listenOn = QHostAddress::AnyIPv4;
        // The folder of the board's web resources: "tablet.html" and the "qd" folder with "qd/index.js".
        QString engine;
        // The IP number to offer; by default the first fitting network interface.
        std::function<std::optional<QString>()> lanAddress = &TabletBridge::lanAddress;
        // A short id of this machine, kept by the caller, for the names tried after "corvantis".
        QString machineId;
        // How long the network may take to grant each name.
        int nameWaitMs = 2500;
    };

    explicit TabletBridge(Options options, QObject* parent = nullptr);
    ~TabletBridge() override;

    static std::vector<quint16> defaultPorts();
    // An IPv4 address of an interface that is up and no loopback, not self-assigned ("169.254."),
    // preferring wireless interfaces ("wl…"), then wired ones ("en…", "eth…").
    static std::optional<QString> lanAddress();

    // Starts sharing, or keeps the running share and its key; throws `TabletBridgeError`. The address by
    // name follows with `addressChanged` once the network grants one; until then `url` is `direct`.
    Address start();
    Address address() const { return m_address; }
    // Closes every connection (sockets with 1001) and forgets the key: old links read as expired.
    void stop();

    bool running() const;
    std::optional<quint16> port() const;
    std::optional<QString> key() const { return m_key; }
    // How many browsers hold the board open.
    int devices() const;
    // One text frame to each open board.
    void send(const QString& text);

signals:
    void addressChanged(const corvantis::TabletBridge::Address& address);
    void messageReceived(const QString& text);
    void presenceChanged(int devices);

private:
    struct Client {
        QPointer<QTcpSocket> socket;
        bool isSocket = false;
        bool closing = false;
        QByteArray buffer;
        tablet::FrameReader frames;
    };

    void accept();
    void readFrom(Client& client);
    void readRequest(Client& client);
    void readFrames(Client& client);
    void upgrade(Client& client, const QByteArray& clientKey, bool live);
    void answer(Client& client, const QByteArray& reply);
    void close(Client& client, quint16 code);
    void drop(QTcpSocket* socket);
    Client* clientOf(QTcpSocket* socket);

    Options m_options;
    LocalName* m_name = nullptr;
    Address m_address;
    QTcpServer* m_server = nullptr;
    std::optional<QString> m_key;
    std::vector<std::unique_ptr<Client>> m_clients;
};

} // namespace corvantis
