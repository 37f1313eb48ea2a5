// The worker pool shared by inspection and rendering: progress in order on the calling thread,
// and a handler that throws stops the work.

#include <atomic>
#include <limits>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "base/WorkerPool.hpp"

namespace tessel::detail {
namespace {

// Items finish out of order: each worker reports how many items are done, and a worker may
// report a count lower than one reported before.
class CountingJob final : public PoolJob {
public:
    explicit CountingJob(std::int64_t items) : items_(items) {}

    void work(ProgressCount& progress) noexcept override {
        while (!stopped_.load()) {
            const std::int64_t item = next_.fetch_add(1);
            if (item >= items_) return;
            const std::int64_t done = finished_.fetch_add(1) + 1;
            progress.reach(done);
            progress.reach(done - 1);
            ++worked_;
        }
    }
    void stop() noexcept override { stopped_.store(true); }

    std::atomic<std::int64_t> worked_{0};

private:
    const std::int64_t items_;
    std::atomic<std::int64_t> next_{0}, finished_{0};
    std::atomic<bool> stopped_{false};
};

TEST(WorkerPool, ReportsEveryCountInOrderOnTheCallingThread) {
    for (const std::size_t threads : {std::size_t{0}, std::size_t{1}, std::size_t{4}}) {
        SCOPED_TRACE(threads);
        CountingJob job(200);
        std::vector<std::int64_t> counts;
        const auto caller = std::this_thread::get_id();
        WorkerPool::run(job, threads, 200, [&](std::int64_t done, std::int64_t total) {
            EXPECT_EQ(std::this_thread::get_id(), caller);
            EXPECT_EQ(total, 200);
            counts.push_back(done);
        });
        ASSERT_EQ(counts.size(), 200u);
        for (std::size_t i = 0; i < counts.size(); ++i)
            ASSERT_EQ(counts[i], static_cast<std::int64_t>(i) + 1);
        EXPECT_EQ(job.worked_.load(), 200);
    }
}

// The job never runs out of items: the run ends only because the job is stopped.
TEST(WorkerPool, AHandlerThatThrowsStopsTheWorkAndIsHeard) {
    CountingJob job(std::numeric_limits<std::int64_t>::max());
    int calls = 0;
    EXPECT_THROW(WorkerPool::run(job, 3, 0,
                                 [&](std::int64_t, std::int64_t) {
                                     ++calls;
                                     throw std::runtime_error("cancelled");
                                 }),
                 std::runtime_error);
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace tessel::detail
