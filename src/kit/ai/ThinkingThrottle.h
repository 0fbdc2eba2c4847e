#pragma once

#include <QString>
#include <chrono>
#include <functional>

namespace corvantis {

// Hands the model's growing thinking to a view at most once per 80 ms, since each call carries the whole
// text and redraws; the last text is always handed over at the end.
class ThinkingThrottle {
public:
    using Callback = std::function<void(const QString& thinking)>;

    explicit ThinkingThrottle(Callback callback)
        : m_callback(std::move(callback)) {}

    // The thinking grew to `text`.
    void changed(const QString& text) {
        if (!m_callback)
            return;
        const auto now = std::chrono::steady_clock::now();
        if (m_called && now - m_last <= interval)
            return;
        m_called = true;
        m_last = now;
        m_callback(text);
    }

    // The run ended: the whole text once more, when there is any.
    void finish(const QString& text) {
        if (m_callback && !text.isEmpty())
            m_callback(text);
    }

    static constexpr std::chrono::milliseconds interval{80};

private:
    Callback m_callback;
    bool m_called = false;
    std::chrono::steady_clock::time_point m_last;
};

} // namespace corvantis
