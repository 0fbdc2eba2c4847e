#include "app/tablet/LocalName.h"

#include <QHostAddress>
#include <QRandomGenerator>
#include <QTimer>
#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/thread-watch.h>

namespace corvantis {

// The daemon's connection runs on a poll thread of its own; its callbacks are handed to the main thread.
struct LocalName::Avahi {
    // What the poll thread's callback needs: whom to tell, and which attempt it answers.
    LocalName* owner = nullptr;
    int attempt = 0;
    AvahiThreadedPoll* poll = nullptr;
    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;

    ~Avahi() {
        if (poll)
            avahi_threaded_poll_stop(poll);
        if (client)
            avahi_client_free(client); // frees its groups too
        if (poll)
            avahi_threaded_poll_free(poll);
    }
};

LocalName::LocalName(QObject* parent)
    : QObject(parent) {
}

LocalName::~LocalName() = default;

QStringList LocalName::candidates(const QString& base, const QString& machineId) {
    if (machineId.isEmpty())
        return {base};
    const int number = static_cast<int>(QRandomGenerator::global()->bounded(10, 100));
    return {base, base + QLatin1Char('-') + machineId,
            QStringLiteral("%1-%2-%3").arg(base, machineId).arg(number)};
}

void LocalName::claim(const QStringList& candidates, const QString& ip, int waitMs) {
    release();
    m_left = candidates;
    m_ip = ip;
    m_waitMs = waitMs;
    tryNext();
}

void LocalName::release() {
    ++m_attempt; // answers still on their way belong to no attempt now
    m_avahi.reset();
}

void LocalName::tryNext() {
    m_avahi.reset();
    if (m_left.isEmpty()) {
        emit finished(QString());
        return;
    }
    m_trying = m_left.takeFirst() + QStringLiteral(".local");
    const int attempt = ++m_attempt;
    auto avahi = std::make_unique<Avahi>();
    avahi->owner = this;
    avahi->attempt = attempt;
    avahi->poll = avahi_threaded_poll_new();
    AvahiAddress address;
    if (!avahi->poll || !avahi_address_parse(m_ip.toLatin1().constData(), AVAHI_PROTO_INET, &address)) {
        QTimer::singleShot(0, this, [this, attempt] { settle(false, attempt); });
        return;
    }
    // Called on the poll thread: the verdict crosses to the main thread, where the attempt is checked.
    auto answer = [](AvahiEntryGroup*, AvahiEntryGroupState state, void* data) {
        if (state != AVAHI_ENTRY_GROUP_ESTABLISHED && state != AVAHI_ENTRY_GROUP_COLLISION &&
            state != AVAHI_ENTRY_GROUP_FAILURE)
            return;
        const auto* avahi = static_cast<const Avahi*>(data);
        LocalName* self = avahi->owner;
        const int attempt = avahi->attempt;
        const bool granted = state == AVAHI_ENTRY_GROUP_ESTABLISHED;
        QMetaObject::invokeMethod(
            self, [self, granted, attempt] { self->settle(granted, attempt); }, Qt::QueuedConnection);
    };
    int error = 0;
    avahi->client =
        avahi_client_new(avahi_threaded_poll_get(avahi->poll), AvahiClientFlags(0), nullptr, nullptr, &error);
    bool asked = false;
    if (!avahi->client)
        m_left.clear(); // no daemon: no other name would fare better
    else {
        avahi->group = avahi_entry_group_new(avahi->client, answer, avahi.get());
        asked = avahi->group &&
                avahi_entry_group_add_address(avahi->group, AVAHI_IF_UNSPEC, AVAHI_PROTO_INET,
                                              AVAHI_PUBLISH_NO_REVERSE, m_trying.toUtf8().constData(),
                                              &address) == 0 &&
                avahi_entry_group_commit(avahi->group) == 0 && avahi_threaded_poll_start(avahi->poll) == 0;
    }
    m_avahi = std::move(avahi);
    // Nothing will answer a request that wasn't made; otherwise the wait has its limit.
    QTimer::singleShot(asked ? m_waitMs : 0, this, [this, attempt] { settle(false, attempt); });
}

void LocalName::settle(bool granted, int attempt) {
    if (attempt != m_attempt)
        return; // settled already, released, or overtaken by a later attempt
    ++m_attempt;
    if (granted)
        emit finished(m_trying);
    else
        tryNext();
}

} // namespace corvantis
