#pragma once
/// The core library's one error type. Every operation of the core that the user must hear
/// about throws a `TesselError`; `errorDescription()` is the exact user-facing text.

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

    /// Same case with equal payloads.
    friend bool operator==(const TesselError& a, const TesselError& b) noexcept {
        return a.kind_ == b.kind_ && a.text_ == b.text_ && a.count_ == b.count_;
    }

private:
    TesselError(Kind kind, std::string text, std::int64_t count);

    Kind kind_;
    std::string text_;
    std::int64_t count_;
    std::string description_;
};

}  // namespace tessel
