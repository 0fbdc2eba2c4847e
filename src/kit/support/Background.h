#pragma once

#include <QFuture>
#include <QPromise>
#include <QThreadPool>
#include <exception>
#include <memory>
#include <type_traits>

namespace corvantis {

// Runs `work` on `pool` and hands back a future of its result. A failure of any type travels in the
// future as it was thrown, so that `co_await` rethrows the typed error itself.
template <typename Work> auto runOn(QThreadPool* pool, Work work) -> QFuture<std::invoke_result_t<Work>> {
    using Result = std::invoke_result_t<Work>;
    auto promise = std::make_shared<QPromise<Result>>();
    QFuture<Result> future = promise->future();
    promise->start();
    pool->start([promise, work = std::move(work)]() mutable {
        try {
            if constexpr (std::is_void_v<Result>) {
                work();
            } else {
                promise->addResult(work());
            }
        } catch (...) {
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return future;
}

} // namespace corvantis
