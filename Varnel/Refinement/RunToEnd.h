#pragma once

#include <QCoroTask>
#include <QEventLoop>

#include <exception>
#include <optional>
#include <type_traits>
#include <utility>

namespace Varnel {

namespace Detail {

template <typename Result>
QCoro::Task<> drive(QCoro::Task<Result> task, std::optional<Result>& result, std::exception_ptr& error, bool& isOver,
                    QEventLoop& loop) {
    try {
        result.emplace(co_await task);
    } catch (...) {
        error = std::current_exception();
    }
    isOver = true;
    loop.quit();
}

inline QCoro::Task<bool> succeeding(QCoro::Task<> task) {
    co_await task;
    co_return true;
}

} // namespace Detail

// Runs the event loop until the coroutine has ended; returns what it returned or throws what it threw. For programs
// and tests, at the outermost level. (QCoro::waitFor never comes back from a coroutine that throws.)
template <typename Result>
Result runToEnd(QCoro::Task<Result> task) {
    if constexpr (std::is_void_v<Result>) {
        runToEnd(Detail::succeeding(std::move(task)));
    } else {
        std::optional<Result> result;
        std::exception_ptr error;
        bool isOver = false;
        QEventLoop loop;
        const auto running = Detail::drive<Result>(std::move(task), result, error, isOver, loop);
        if (!isOver)
            loop.exec();
        if (error)
            std::rethrow_exception(error);
        return std::move(*result);
    }
}

} // namespace Varnel
