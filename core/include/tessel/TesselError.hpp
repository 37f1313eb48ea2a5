#pragma once
/// The core library's one error type. Every operation of the core that the user must hear
/// about throws a `TesselError`; `errorDescription()` is the exact user-facing text, and
/// `cause()` says why it happened where that is known ("Permission denied.", "The file is cut
/// off before the end of the image.").

#include <cstdint>
#include <exception>
#include <string>

namespace tessel {

class TesselError : public std::exception {
public:
    /// The cases, in declaration order.
    enum class Kind {
        cannotRead,          ///< payload: file name
        multiFrame,          ///< payload: file name, frame count
        verificationFailed,  ///< payload: detail (no closing full stop)
        noImages,
        invalidLayout,
        cannotCreateContext,
        cannotEncode,
        destinationExists,
    };

    static TesselError cannotRead(std::string fileName);
    static TesselError multiFrame(std::string fileName, std::int64_t frameCount);
    static TesselError verificationFailed(std::string detail);
    static TesselError noImages();
    static TesselError invalidLayout();
    static TesselError cannotCreateContext();
    static TesselError cannotEncode();
    static TesselError destinationExists();

    Kind kind() const noexcept { return kind_; }
    /// The file name of `cannotRead` and `multiFrame`; the detail of `verificationFailed`.
    const std::string& text() const noexcept { return text_; }
    /// The frame count of `multiFrame`; 0 for every other case.
    std::int64_t frameCount() const noexcept { return count_; }

    /// The exact user-facing description, e.g. "clip.gif contains 12 frames. Tessel never
    /// discards frames silently."
    std::string errorDescription() const;
    const char* what() const noexcept override { return description_.c_str(); }

    /// Why it happened, as one sentence with its full stop: the system's reason for a file
    /// that could not be opened, read, written or named, the decoder's reason for an image,
    /// the layout's reason. Empty when the description says it all or nothing more is known.
    const std::string& cause() const noexcept { return cause_; }
    /// This error with `cause` (one line) as its cause.
    TesselError withCause(std::string cause) const;

    /// Same case with equal payloads. The cause is not compared: it explains the error and
    /// does not make it another one.
    friend bool operator==(const TesselError& a, const TesselError& b) noexcept {
        return a.kind_ == b.kind_ && a.text_ == b.text_ && a.count_ == b.count_;
    }

private:
    TesselError(Kind kind, std::string text, std::int64_t count);

    Kind kind_;
    std::string text_;
    std::int64_t count_;
    std::string description_;
    std::string cause_;
};

}  // namespace tessel
