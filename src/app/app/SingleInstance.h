#pragma once

#include <QLocalServer>
#include <QObject>
#include <QUrl>
#include <optional>

namespace corvantis {

// One running copy of the program per user. The first copy listens on a local socket; a later start
// hands its link (or just a wish to be shown) to that copy and exits.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // "corvantis-{user id}"; a copy with its own CORVANTIS_HOME is a copy of its own, so the home's
    // hash is added then.
    static QString defaultName();

    explicit SingleInstance(const QString& name = defaultName(), QObject* parent = nullptr);

    // Sends the link (or nothing) to a running copy; true when one took it. Blocks for at most a few
    // seconds and needs no event loop.
    bool handOver(const std::optional<QUrl>& link) const;
    // Starts listening; a socket left by a copy that crashed is removed first. False when it can't.
    bool listen();
    QString name() const { return m_name; }

signals:
    // A later start asked to be shown, with its link when it had one.
    void activated(const std::optional<QUrl>& link);

private:
    void accept();

    QString m_name;
    QLocalServer m_server;
};

// The command line: nothing, or exactly one link of the program's scheme. Anything else is absent, so
// that the caller refuses it.
std::optional<std::optional<QUrl>> linkArgument(const QStringList& arguments);

} // namespace corvantis
