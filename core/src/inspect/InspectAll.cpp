#include <algorithm>
#include <atomic>
#include <exception>
#include <optional>
#include <vector>

#include "tessel/Inspection.hpp"

#include "base/WorkerPool.hpp"

namespace tessel {
namespace {

// Workers take files in order, so when one fails every file before it has been taken and will
// be finished; nothing after a failure is started.
class InspectionJob final : public detail::PoolJob {
public:
    explicit InspectionJob(const std::vector<std::filesystem::path>& files)
        : files_(files), results_(files.size()) {
        failures_.resize(files.size());
    }

    void work(detail::ProgressCount& progress) noexcept override {
        for (;;) {
            if (failed_.load()) return;
            const std::size_t index = next_.fetch_add(1);
            if (index >= files_.size()) return;
            try {
                results_[index] = TesselRenderer::inspect(files_[index]);
            } catch (...) {
                failures_[index] = std::current_exception();
                failed_.store(true);
            }
            const std::size_t finished = finished_.fetch_add(1) + 1;
            if (!failed_.load()) progress.reach(static_cast<std::int64_t>(finished));
        }
    }

    void stop() noexcept override { failed_.store(true); }

    /// Once every worker has ended: the results in order, or the first file's failure.
    std::vector<SheetImageInfo> takeResults() {
        for (const auto& failure : failures_)
            if (failure) std::rethrow_exception(failure);
        std::vector<SheetImageInfo> infos;
        infos.reserve(results_.size());
        for (auto& result : results_) infos.push_back(std::move(*result));
        return infos;
    }

private:
    const std::vector<std::filesystem::path>& files_;
    std::vector<std::optional<SheetImageInfo>> results_;
    std::vector<std::exception_ptr> failures_;
    std::atomic<std::size_t> next_{0};
    std::atomic<std::size_t> finished_{0};
    std::atomic<bool> failed_{false};
};

}  // namespace

std::vector<SheetImageInfo> TesselRenderer::inspectAll(
    const std::vector<std::filesystem::path>& files, const BatchProgress& progress) {
    if (files.empty()) return {};
    InspectionJob job(files);
    detail::WorkerPool::run(job, std::min(detail::WorkerPool::defaultThreads(), files.size()),
                            static_cast<std::int64_t>(files.size()), progress);
    return job.takeResults();
}

}  // namespace tessel
