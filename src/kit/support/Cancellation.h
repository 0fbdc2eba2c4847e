#pragma once

#include <QString>
#include <exception>
#include <functional>
#include <memory>

namespace corvantis {

// Thrown by an awaited operation that stopped because its flow was cancelled. It is not a failure and
// carries no sentence for the user: whoever cancelled already knows.
class Cancelled : public std::exception {
public:
    const char* what() const noexcept override { return "cancelled"; }
};

// Shared between a flow and the operations it awaits: copies see the same state. cancel() runs the
// registered handlers once, on the cancelling thread (they typically terminate a child process).
class CancellationToken {
public:
    CancellationToken();

    void cancel() const;
    bool isCancelled() const;
    // Throws Cancelled when the token is cancelled.
    void check() const;

    // Runs `handler` when the token is cancelled (at once if it already is). Returns a key for remove().
    int onCancel(std::function<void()> handler) const;
    void remove(int key) const;

private:
    struct State;
    std::shared_ptr<State> m_state;
};

// Removes its handler when it goes out of scope.
class CancellationHandler {
public:
    CancellationHandler(const CancellationToken& token, std::function<void()> handler)
        : m_token(token)
        , m_key(token.onCancel(std::move(handler))) {}
    ~CancellationHandler() { m_token.remove(m_key); }
    CancellationHandler(const CancellationHandler&) = delete;
    CancellationHandler& operator=(const CancellationHandler&) = delete;

private:
    CancellationToken m_token;
    int m_key;
};

} // namespace corvantis
