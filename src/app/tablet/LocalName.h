#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <memory>

namespace corvantis {

// Claims a name on the local network ("corvantis.local") for an IP number through the Avahi daemon, so
// that a tablet can open the board by name. The first candidate the network grants wins; without the
// daemon, or when none is granted within the wait, `finished` says so and the address by number serves.
class LocalName : public QObject {
    Q_OBJECT
public:
    explicit LocalName(QObject* parent = nullptr);
    ~LocalName() override;

    // The names to try, in order: the base, then with this machine's id, then with a number besides.
    static QStringList candidates(const QString& base, const QString& machineId);

    // Tries each candidate in turn, up to `waitMs` for each; answers with `finished` on the main thread.
    void claim(const QStringList& candidates, const QString& ip, int waitMs = 2500);
    // Gives up a claimed name.
    void release();

signals:
    // The host name claimed (with ".local"), or empty when none was.
    void finished(const QString& host);

private:
    struct Avahi;
    void tryNext();
    void settle(bool granted, int attempt);

    std::unique_ptr<Avahi> m_avahi;
    QStringList m_left;
    QString m_ip;
    QString m_trying;
    int m_waitMs = 2500;
    int m_attempt = 0;
};

} // namespace corvantis
