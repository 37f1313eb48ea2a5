// Camera RAW files from arbitrary bytes, through LibRaw, the container walk and exiv2:
// inspection, then a list thumbnail (embedded pictures only) and a small page picture (the
// preview or the sensor data developed). Whatever the bytes, the answer is a picture or a
// refusal with a cause; never a crash, a hang or an allocation beyond the budget.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

#include "tessel/Inspection.hpp"
#include "tessel/TesselError.hpp"

#include "FuzzFile.hpp"
#include "decode/Decode.hpp"

namespace {

namespace fs = std::filesystem;

// RAW files are known by their names: the bytes are reached through a link named like one.
fs::path linkFolder() {
    std::string pattern = (fs::temp_directory_path() / "tessel-raw-fuzz-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return pattern;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Well below libFuzzer's own memory limit, as for the other formats.
    tessel::TesselRenderer::setDecodingBudget(std::int64_t{256} << 20);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fs::path folder = linkFolder();
    const tessel::fuzz::FuzzFile file(data, size);
    const fs::path link = folder / "IMG_0001.NEF";
    std::error_code ignored;
    fs::remove(link, ignored);
    fs::create_symlink(file.path(), link);
    try {
        const tessel::SheetImageInfo info = tessel::TesselRenderer::inspect(link);
        if (info.width < 1 || info.height < 1 || info.frameCount != 1) std::abort();
    } catch (const tessel::TesselError& error) {
        if (error.cause().empty()) std::abort();
        return 0;
    }
    for (const auto drawn : {std::optional<std::int64_t>(), std::optional<std::int64_t>(96)}) {
        std::string cause;
        const auto picture = tessel::detail::decodeUpright(
            link, {.maxPixelSize = 96, .drawnPixelSize = drawn}, &cause);
        if (picture ? picture->width < 1 || picture->height < 1 || picture->width > 96 ||
                          picture->height > 96
                    : cause.empty())
            std::abort();
    }
    return 0;
}
