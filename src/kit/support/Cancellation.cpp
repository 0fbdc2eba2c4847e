#include "kit/support/Cancellation.h"

#include <QHash>
#include <mutex>

namespace corvantis {

struct CancellationToken::State {
    std::mutex lock;
    bool cancelled = false;
    int nextKey = 1;
    QHash<int, std::function<void()>> handlers;
};

CancellationToken::CancellationToken()
    : m_state(std::make_shared<State>()) {
}

void CancellationToken::cancel() const {
    QHash<int, std::function<void()>> handlers;
    {
        std::lock_guard guard(m_state->lock);
        if (m_state->cancelled)
            return;
        m_state->cancelled = true;
        handlers.swap(m_state->handlers);
    }
    for (const auto& handler : std::as_const(handlers))
        handler();
}

bool CancellationToken::isCancelled() const {
    std::lock_guard guard(m_state->lock);
    return m_state->cancelled;
}

void CancellationToken::check() const {
    if (isCancelled())
        throw Cancelled();
}

int CancellationToken::onCancel(std::function<void()> handler) const {
    {
        std::lock_guard guard(m_state->lock);
        if (!m_state->cancelled) {
            const int key = m_state->nextKey++;
            m_state->handlers.insert(key, std::move(handler));
            return key;
        }
    }
    handler();
    return 0;
}

void CancellationToken::remove(int key) const {
    std::lock_guard guard(m_state->lock);
    m_state->handlers.remove(key);
}

} // namespace corvantis
