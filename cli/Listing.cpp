#include "Listing.hpp"

#include <ctime>
#include <ostream>

#include <nlohmann/json.hpp>

#include "tessel/Inspection.hpp"
#include "tessel/SavedLayouts.hpp"
#include "tessel/TesselError.hpp"

namespace tessel::cli {
namespace {

using nlohmann::json;

/// Wall-clock time in the machine's zone, as the date was read from EXIF.
std::string localISO8601(std::chrono::system_clock::time_point time) {
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

json describe(const std::string& file) {
    try {
        const SheetImageInfo info = TesselRenderer::inspect(file);
        return {{"file", file},
                {"width", info.width},
                {"height", info.height},
                {"frameCount", info.frameCount},
                {"bytes", info.bytes},
                {"dateTaken", info.dateTaken ? json(localISO8601(*info.dateTaken)) : json()},
                {"cameraModel", info.cameraModel ? json(*info.cameraModel) : json()}};
    } catch (const TesselError& e) {
        json object = {{"file", file}, {"error", e.errorDescription()}};
        if (!e.cause().empty()) object["cause"] = e.cause();
        return object;
    }
}

// nlohmann sorts object keys; the lines keep the order a reader expects instead.
std::string line(const json& object) {
    static constexpr const char* order[] = {"file",        "width", "height",
                                            "frameCount",  "bytes", "dateTaken",
                                            "cameraModel", "error", "cause"};
    std::string text = "{";
    for (const char* key : order) {
        const auto it = object.find(key);
        if (it == object.end()) continue;
        if (text.size() > 1) text += ",";
        text += json(key).dump() + ":" + it->dump(-1, ' ', false, json::error_handler_t::replace);
    }
    return text + "}";
}

}  // namespace

int printInspection(const SheetCommand& command, Console& console) {
    bool failed = false;
    for (const std::string& argument : command.images) {
        for (const std::filesystem::path& file : imagesOf(argument).files) {
            const json object = describe(file.string());
            failed = failed || object.contains("error");
            console.out << line(object) << "\n";
        }
    }
    console.out << std::flush;
    return failed ? 1 : 0;
}

int printPresets(Console& console) {
    console.out << "Presets (--preset NAME):\n";
    for (SheetPreset preset : allCases<SheetPreset>())
        console.out << "  " << rawValue(preset) << std::string(12 - rawValue(preset).size(), ' ')
                    << presetTitle(preset) << "\n";
    const std::vector<SavedLayout> layouts = loadSavedLayouts(layoutsFileLocation());
    if (layouts.empty()) {
        console.out << "Saved layouts: none\n";
    } else {
        console.out << "Saved layouts (--layout NAME):\n";
        for (const SavedLayout& layout : layouts) console.out << "  " << layout.name << "\n";
    }
    console.out << std::flush;
    return 0;
}

}  // namespace tessel::cli
