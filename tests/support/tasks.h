#pragma once

#include <QCoroTask>
#include <QEventLoop>
#include <QTimer>

#include <exception>
#include <optional>
#include <stdexcept>

namespace bellwick::test {

// Runs the event loop until the task finishes and hands back its result or rethrows its failure
// (QCoro::waitFor never returns when the task throws).
template<typename T> T runTask(QCoro::Task<T> task, std::chrono::milliseconds timeout = std::chrono::seconds(20))
{
    QEventLoop loop;
    bool done = false;
    std::exception_ptr failure;
    std::optional<std::conditional_t<std::is_void_v<T>, bool, T>> result;
    auto await = [&]() -> QCoro::Task<> {
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
    const QCoro::Task<> awaiting = await();
    if (!done) {
        QTimer::singleShot(timeout, &loop, &QEventLoop::quit);
        loop.exec();
    }
    if (failure) {
        std::rethrow_exception(failure);
    }
    if (!done) {
        throw std::runtime_error("the task did not finish in time");
    }
    if constexpr (!std::is_void_v<T>) {
        return std::move(*result);
    }
}

} // namespace bellwick::test
