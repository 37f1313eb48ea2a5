#pragma once
// The one pool of worker threads: batch inspection and rendering share it. Workers take items
// of a job; the thread that runs the job reports how far it is, in order.

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>

namespace tessel::detail {

/// Reports how far a job is: items done so far out of the total.
using ProgressHandler = std::function<void(std::int64_t done, std::int64_t total)>;

/// How far a job is, raised by its workers and read by the thread that runs it.
class ProgressCount {
public:
    /// At least `done` items are finished. Counts only ever grow; a lower count is ignored.
    void reach(std::int64_t done);

private:
    friend class WorkerPool;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t done_ = 0;
    std::size_t workersRunning_ = 0;
};

/// Work shared out over a pool's threads.
class PoolJob {
public:
    /// The body of every thread: takes items until none is left or the job has stopped, and
    /// raises `progress` as items finish. Must not throw.
    virtual void work(ProgressCount& progress) noexcept = 0;
    /// Asks every thread to end soon; wakes threads that wait inside `work`.
    virtual void stop() noexcept = 0;

protected:
    PoolJob() = default;
    PoolJob(const PoolJob&) = default;
    PoolJob& operator=(const PoolJob&) = default;
    ~PoolJob() = default;
};

class WorkerPool {
public:
    /// One thread per processor, at most eight.
    static std::size_t defaultThreads();

    /// Runs `job` on `threads` threads (at least one) and returns once every thread has
    /// ended. Meanwhile the calling thread calls `progress(done, total)` for every count from
    /// 1 up to the highest count reached, in order. When `progress` throws, or a thread cannot
    /// be started, the job is stopped and the exception is rethrown once the threads that
    /// started have ended.
    static void run(PoolJob& job, std::size_t threads, std::int64_t total,
                    const ProgressHandler& progress);
};

}  // namespace tessel::detail
