#pragma once
// What a run of tessel-sheet tells besides its report on the console.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tessel::cli {

/// Hears how far a run is and how it ended; the desktop notifications are one. Called on the
/// thread that runs the command, in order: progress, then `created` or `failed` once.
class RunFeedback {
public:
    /// The two long parts of a run, in order.
    enum class Stage { reading, drawing };

    virtual ~RunFeedback() = default;

    /// `done` of `total` images read (inspected), or pages drawn.
    virtual void progress(Stage stage, std::int64_t done, std::int64_t total) = 0;

    /// The run wrote `files` (absolute, in page order). `unwritable` is the folder it was to
    /// write into when that could not take a new file and the Pictures folder was used.
    /// `leftOut` says what `--images-only` left out of the selection (empty when nothing).
    virtual void created(const std::vector<std::filesystem::path>& files,
                         const std::optional<std::filesystem::path>& unwritable,
                         const std::string& leftOut) = 0;

    /// The run failed; `message` is what it printed on standard error: the description, then
    /// its cause on a line of its own when one is known.
    virtual void failed(const std::string& message) = 0;
};

}  // namespace tessel::cli
