#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "tessel/Inspection.hpp"

#include "render/RenderDriver.hpp"

namespace tessel {

std::vector<SheetImageInfo> TesselRenderer::inspectAll(
    const std::vector<std::filesystem::path>& files, const BatchProgress& progress) {
    const std::size_t count = files.size();
    std::vector<std::optional<SheetImageInfo>> results(count);
    std::vector<std::exception_ptr> failures(count);

    // Workers take files in order, so when one fails every file before it has been taken and
    // will be finished; nothing after a failure is started.
    std::atomic<std::size_t> next{0};
    std::atomic<bool> failed{false};
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t finished = 0;

    const auto work = [&] {
        for (;;) {
            if (failed.load()) return;
            const std::size_t index = next.fetch_add(1);
            if (index >= count) return;
            try {
                results[index] = TesselRenderer::inspect(files[index]);
            } catch (...) {
                failures[index] = std::current_exception();
                failed.store(true);
            }
            {
                const std::lock_guard lock(mutex);
                ++finished;
            }
            changed.notify_one();
        }
    };

    const auto workerCount =
        std::min(static_cast<std::size_t>(detail::defaultRenderWorkers()), count);
    std::exception_ptr reporting;
    {
        std::vector<std::jthread> workers;
        for (std::size_t i = 0; i < workerCount; ++i) workers.emplace_back(work);
        std::size_t reported = 0;
        std::unique_lock lock(mutex);
        while (reported < count && !reporting) {
            changed.wait(lock, [&] { return finished > reported || failed.load(); });
            if (failed.load()) break;
            const std::size_t done = finished;
            lock.unlock();
            try {
                while (reported < done) {
                    ++reported;
                    if (progress)
                        progress(static_cast<std::int64_t>(reported),
                                 static_cast<std::int64_t>(count));
                }
            } catch (...) {
                reporting = std::current_exception();
                failed.store(true);
            }
            lock.lock();
        }
    }
    if (reporting) std::rethrow_exception(reporting);
    for (const auto& failure : failures)
        if (failure) std::rethrow_exception(failure);

    std::vector<SheetImageInfo> infos;
    infos.reserve(count);
    for (auto& result : results) infos.push_back(std::move(*result));
    return infos;
}

}  // namespace tessel
