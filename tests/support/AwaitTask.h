#pragma once

// Runs a QCoro task to its end in a nested event loop and hands back its value or rethrows its failure.
// (QCoro::waitFor loses a failure and never returns.)
#include <QEventLoop>
#include <QTimer>
#include <exception>
#include <optional>
#include <qcoro/qcorotask.h>
#include <stdexcept>
#include <type_traits>

namespace corvantis::test {

template <typename T> T await(QCoro::Task<T> task, int timeoutMs = 120000) {
    QEventLoop loop;
    bool done = false;
    std::exception_ptr failure;
    using Stored = std::conditional_t<std::is_void_v<T>, bool, T>;
    std::optional<Stored> result;
    auto runner = [&]() -> QCoro::Task<void> {
        try {
            if constexpr (std::is_void_v<T>) {
                co_await task;
                result = true;
            } else {
                result = co_await task;
            }
        } catch (...) {
            failure = std::current_exception();
        }
        done = true;
        loop.quit();
    };
    auto running = runner();
    if (!done) {
        QTimer::singleShot(timeoutMs, &loop, [&] { loop.quit(); });
        loop.exec();
    }
    if (failure)
        std::rethrow_exception(failure);
    if (!done)
        throw std::runtime_error("the task didn't finish in time");
    if constexpr (!std::is_void_v<T>)
        return std::move(*result);
}

} // namespace corvantis::test
