#include "base/WorkerPool.hpp"

#include <algorithm>
#include <exception>
#include <thread>
#include <vector>

namespace tessel::detail {

void ProgressCount::reach(std::int64_t done) {
    const std::lock_guard lock(mutex_);
    if (done <= done_) return;
    done_ = done;
    changed_.notify_all();
}

std::size_t WorkerPool::defaultThreads() {
    constexpr unsigned mostThreads = 8;
    return std::clamp(std::thread::hardware_concurrency(), 1u, mostThreads);
}

void WorkerPool::run(PoolJob& job, std::size_t threads, std::int64_t total,
                     const ProgressHandler& progress) {
    ProgressCount count;
    std::exception_ptr failure;
    {
        const std::size_t wanted = std::max<std::size_t>(threads, 1);
        count.workersRunning_ = wanted;
        std::vector<std::jthread> workers;
        std::size_t started = 0;
        try {
            workers.reserve(wanted);
            for (; started < wanted; ++started) {
                workers.emplace_back([&job, &count] {
                    job.work(count);
                    const std::lock_guard lock(count.mutex_);
                    --count.workersRunning_;
                    count.changed_.notify_all();
                });
            }
        } catch (...) {
            failure = std::current_exception();
            job.stop();
            const std::lock_guard lock(count.mutex_);
            count.workersRunning_ -= wanted - started;
        }

        // Progress is reported here, on the calling thread, while the workers run.
        std::int64_t reported = 0;
        std::unique_lock lock(count.mutex_);
        for (bool ended = false; !failure && !ended;) {
            count.changed_.wait(
                lock, [&] { return count.workersRunning_ == 0 || count.done_ > reported; });
            const std::int64_t done = count.done_;
            ended = count.workersRunning_ == 0;
            lock.unlock();
            try {
                while (reported < done) {
                    ++reported;
                    if (progress) progress(reported, total);
                }
            } catch (...) {
                failure = std::current_exception();
                job.stop();
            }
            lock.lock();
        }
    }  // the lock is released, then every worker is joined
    if (failure) std::rethrow_exception(failure);
}

}  // namespace tessel::detail
