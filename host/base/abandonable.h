// Work that cannot be interrupted, such as a question to the network, and that nobody needs to wait
// for to its end.
#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace host {

// Does the work on a thread of its own and waits for its result, or until `stop` turns true; the
// work then ends by itself some time, and its result is dropped. Throws what the work threw. The
// work must own everything that it uses.
template <typename Result>
std::optional<Result> do_abandonable(std::function<Result()> work,
                                     const std::function<bool()>& stop) {
    constexpr std::chrono::milliseconds kMoment{50};  // between two questions whether to stop
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        bool done = false;
        std::optional<Result> result;
        std::exception_ptr error;
    };
    const auto shared = std::make_shared<Shared>();
    std::thread([shared, work = std::move(work)] {
        std::optional<Result> result;
        std::exception_ptr error;
        try {
            result = work();
        } catch (...) {
            error = std::current_exception();
        }
        const std::lock_guard lock(shared->mutex);
        shared->result = std::move(result);
        shared->error = error;
        shared->done = true;
        shared->changed.notify_all();
    }).detach();
    std::unique_lock lock(shared->mutex);
    while (!shared->done && !stop())
        shared->changed.wait_for(lock, kMoment);
    if (!shared->done) return std::nullopt;
    if (shared->error) std::rethrow_exception(shared->error);
    return std::move(shared->result);
}

}  // namespace host
