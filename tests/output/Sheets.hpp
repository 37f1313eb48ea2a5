#pragma once
// Render results made in memory for the output tests, and how to look at what writing does.

#include <algorithm>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/inotify.h>
#include <unistd.h>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "PageBitmaps.hpp"
#include "decode/ColorProfile.hpp"
#include "formats/Encode.hpp"

namespace tessel::testing {

template <class Action>
std::optional<TesselError> errorOf(Action action) {
    try {
        action();
    } catch (const TesselError& error) {
        return error;
    }
    return std::nullopt;
}

/// `count` noise pages of 24 × 32 pixels encoded for `output`, and their PDF.
inline SheetRenderResult makeResult(SheetOutputFormat output, int count,
                                    SheetSize pdfPage = {612, 792}) {
    SheetRenderResult result{{}, {}, {24, 32}, pdfPage, count, {}};
    const SheetOutputFormat pages =
        output == SheetOutputFormat::jpeg ? SheetOutputFormat::jpeg : SheetOutputFormat::png;
    for (int i = 0; i < count; ++i)
        result.pages.push_back(
            *detail::encode(noiseBitmap(24, 32, static_cast<unsigned>(i)), pages, 0.9));
    result.pdf = detail::makePDF(result.pages, result.pdfPageSize);
    return result;
}

/// The PDF `write` makes of `result` when it names the file `name` and the recipe has no
/// title.
inline std::vector<std::uint8_t> pdfAsWritten(const SheetRenderResult& result,
                                              const std::string& name) {
    return detail::makePDF(result.pages, result.pdfPageSize,
                           detail::sheetDocumentInfo(name, result.madeAt, detail::srgbProfile()));
}

/// `TesselRenderer::write` with a recipe whose output is `output`.
inline std::vector<std::filesystem::path> writeSheet(const SheetRenderResult& result,
                                                     SheetOutputFormat output,
                                                     const std::filesystem::path& folder,
                                                     const std::string& baseName = "Trip") {
    SheetRecipe recipe = tessel::recipe(SheetPreset::contact);
    recipe.output = output;
    return TesselRenderer::write(result, folder, baseName, recipe);
}

/// Names that appeared in `folder` while `action` ran (created, hard-linked or renamed into
/// it), in order.
template <class Action>
std::vector<std::string> appearedDuring(const std::filesystem::path& folder, Action action) {
    const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    ::inotify_add_watch(watch, folder.c_str(), IN_CREATE | IN_MOVED_TO);
    action();
    std::vector<std::string> names;
    alignas(inotify_event) char buffer[1 << 16];
    const ssize_t length = ::read(watch, buffer, sizeof buffer);
    for (char* at = buffer; at < buffer + std::max<ssize_t>(length, 0);) {
        const auto* event = reinterpret_cast<const inotify_event*>(at);
        names.emplace_back(event->name);
        at += sizeof(inotify_event) + event->len;
    }
    ::close(watch);
    return names;
}

}  // namespace tessel::testing
