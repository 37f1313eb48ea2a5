#include "tessel/TesselError.hpp"

#include <utility>

namespace tessel {

TesselError::TesselError(Kind kind, std::string text, std::int64_t count)
    : kind_(kind), text_(std::move(text)), count_(count) {
    description_ = errorDescription();
}

TesselError TesselError::cannotRead(std::string fileName) {
    return {Kind::cannotRead, std::move(fileName), 0};
}
TesselError TesselError::multiFrame(std::string fileName, std::int64_t frameCount) {
    return {Kind::multiFrame, std::move(fileName), frameCount};
}
TesselError TesselError::verificationFailed(std::string detail) {
    return {Kind::verificationFailed, std::move(detail), 0};
}
TesselError TesselError::noImages() { return {Kind::noImages, {}, 0}; }
TesselError TesselError::invalidLayout() { return {Kind::invalidLayout, {}, 0}; }
TesselError TesselError::cannotCreateContext() { return {Kind::cannotCreateContext, {}, 0}; }
TesselError TesselError::cannotEncode() { return {Kind::cannotEncode, {}, 0}; }
TesselError TesselError::destinationExists() { return {Kind::destinationExists, {}, 0}; }

TesselError TesselError::withCause(std::string cause) const {
    TesselError error = *this;
    error.cause_ = std::move(cause);
    return error;
}

std::string TesselError::errorDescription() const {
    switch (kind_) {
        case Kind::cannotRead: return text_ + " could not be read.";
        case Kind::multiFrame:
            return text_ + " contains " + std::to_string(count_) +
                   " frames. Tessel never discards frames silently.";
        case Kind::verificationFailed:
            return "The exported sheet failed verification: " + text_ + ".";
        case Kind::noImages: return "Add at least one image.";
        case Kind::invalidLayout:
            return "The page, grid, margins, or spacing leave no room for images.";
        case Kind::cannotCreateContext: return "The contact sheet could not be drawn.";
        case Kind::cannotEncode: return "The contact sheet could not be encoded.";
        case Kind::destinationExists: return "A file already exists at the destination.";
    }
    return {};
}

}  // namespace tessel
