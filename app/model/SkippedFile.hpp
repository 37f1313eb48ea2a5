#pragma once
/// `SkippedFile`: a file that adding left out of the list, and why.

#include <QString>
#include <filesystem>

namespace tessel::app {

/// A file of the last batch of added files that did not become an item: unreadable, not an
/// image, cut off, animated, too large to decode.
struct SkippedFile {
    std::filesystem::path url;  ///< the file exactly as the scan found it
    /// The description of its error: "notes.jpg could not be read.", "clip.gif contains 12
    /// frames. Tessel never discards frames silently."
    QString error;
    /// The error's cause ("The file is not an image."); empty when the description says it all.
    QString cause;
    /// The cause, or the description when there is none: the one line that says why.
    QString reason() const { return cause.isEmpty() ? error : cause; }
    friend bool operator==(const SkippedFile&, const SkippedFile&) = default;
};

}  // namespace tessel::app
