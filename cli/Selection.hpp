#pragma once
// A file manager's selection: the images in it, and what an `--images-only` run leaves out.

#include <cstdint>
#include <string>
#include <vector>

namespace tessel::cli {

/// What was left out of a selection.
struct LeftOut {
    std::int64_t notImages = 0;  ///< files whose extension is not an image's
    std::int64_t notLocal = 0;   ///< URIs of files that are not on a local disk

    bool any() const { return notImages > 0 || notLocal > 0; }
};

/// The image arguments of an `--images-only` run: folders, "-" and files with an image's
/// extension, in order; "file:" URIs as their paths. Counts in `leftOut` the files that are
/// not images and the URIs of files elsewhere.
std::vector<std::string> imagesOfSelection(const std::vector<std::string>& arguments,
                                           LeftOut& leftOut);

/// What a run tells about `leftOut`, one sentence a line: "1 file that is not an image was
/// left out." Empty when nothing was.
std::string leftOutNote(const LeftOut& leftOut);

/// Why a selection in which nothing was an image made no sheet: "The selected files are not
/// on a local disk." when that is so, else the note.
std::string nothingLeftCause(const LeftOut& leftOut);

}  // namespace tessel::cli
