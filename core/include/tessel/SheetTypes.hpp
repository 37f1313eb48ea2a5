#pragma once
/// The closed vocabularies of a sheet: preset, paper, resolution, orientation, fit, caption
/// mode, caption alignment and output format, plus the colour and geometry records.
///
/// Every enumeration has a stable lower-case raw value (stored in JSON and saved layouts)
/// and a display name (shown in menus). Cases are declared in display order and
/// `allCases<E>()` lists them in that order.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace tessel {

enum class SheetPreset { contact, portfolio, proof, square };
enum class SheetPaper { a4, letter, square, hd, custom };
/// How densely paper sheets (A4, US Letter) are drawn; pixel canvases ignore it.
enum class SheetResolution { standard, high };
enum class SheetOrientation { portrait, landscape };
enum class SheetFit { fit, fill };
enum class SheetCaption { none, filename, date, dimensions, camera, filenameAndDate, details };
enum class SheetCaptionAlignment { left, center, right };
enum class SheetOutputFormat { pdf, png, jpeg };

/// One row of an enumeration's table: the case, its raw value and its display name.
template <class E>
struct EnumEntry {
    E value;
    std::string_view rawValue;
    std::string_view name;
};

/// The table of every enumeration, specialised below. `entries` is in case order.
template <class E>
struct EnumTable;

template <>
struct EnumTable<SheetPreset> {
    static constexpr std::array<EnumEntry<SheetPreset>, 4> entries{{
        {SheetPreset::contact, "contact", "Contact sheet"},
        {SheetPreset::portfolio, "portfolio", "Portfolio"},
        {SheetPreset::proof, "proof", "Proof grid"},
        {SheetPreset::square, "square", "Square grid"},
    }};
};

template <>
struct EnumTable<SheetPaper> {
    static constexpr std::array<EnumEntry<SheetPaper>, 5> entries{{
        {SheetPaper::a4, "a4", "A4"},
        {SheetPaper::letter, "letter", "US Letter"},
        {SheetPaper::square, "square", "Square"},
        {SheetPaper::hd, "hd", "16:9"},
        {SheetPaper::custom, "custom", "Custom"},
    }};
};

template <>
struct EnumTable<SheetResolution> {
    static constexpr std::array<EnumEntry<SheetResolution>, 2> entries{{
        {SheetResolution::standard, "standard", "Standard (150 ppi)"},
        {SheetResolution::high, "high", "High (300 ppi)"},
    }};
};

template <>
struct EnumTable<SheetOrientation> {
    static constexpr std::array<EnumEntry<SheetOrientation>, 2> entries{{
        {SheetOrientation::portrait, "portrait", "Portrait"},
        {SheetOrientation::landscape, "landscape", "Landscape"},
    }};
};

template <>
struct EnumTable<SheetFit> {
    static constexpr std::array<EnumEntry<SheetFit>, 2> entries{{
        {SheetFit::fit, "fit", "Fit"},
        {SheetFit::fill, "fill", "Fill"},
    }};
};

template <>
struct EnumTable<SheetCaption> {
    // `details` keeps its raw value although it is shown as "Filename + dimensions".
    static constexpr std::array<EnumEntry<SheetCaption>, 7> entries{{
        {SheetCaption::none, "none", "None"},
        {SheetCaption::filename, "filename", "Filename"},
        {SheetCaption::date, "date", "Date taken"},
        {SheetCaption::dimensions, "dimensions", "Dimensions"},
        {SheetCaption::camera, "camera", "Camera model"},
        {SheetCaption::filenameAndDate, "filenameAndDate", "Filename + date"},
        {SheetCaption::details, "details", "Filename + dimensions"},
    }};
};

template <>
struct EnumTable<SheetCaptionAlignment> {
    static constexpr std::array<EnumEntry<SheetCaptionAlignment>, 3> entries{{
        {SheetCaptionAlignment::left, "left", "Left"},
        {SheetCaptionAlignment::center, "center", "Center"},
        {SheetCaptionAlignment::right, "right", "Right"},
    }};
};

template <>
struct EnumTable<SheetOutputFormat> {
    static constexpr std::array<EnumEntry<SheetOutputFormat>, 3> entries{{
        {SheetOutputFormat::pdf, "pdf", "PDF"},
        {SheetOutputFormat::png, "png", "PNG"},
        {SheetOutputFormat::jpeg, "jpeg", "JPEG"},
    }};
};

/// Every case of `E`, in declaration order.
template <class E>
constexpr auto allCases() {
    std::array<E, EnumTable<E>::entries.size()> cases{};
    for (std::size_t i = 0; i < cases.size(); ++i) cases[i] = EnumTable<E>::entries[i].value;
    return cases;
}

/// The stable storage form of a case ("a4", "filenameAndDate", ...).
template <class E>
constexpr std::string_view rawValue(E value) {
    for (const auto& entry : EnumTable<E>::entries)
        if (entry.value == value) return entry.rawValue;
    return {};
}

/// The display name of a case ("US Letter", "Filename + dimensions", ...).
template <class E>
constexpr std::string_view name(E value) {
    for (const auto& entry : EnumTable<E>::entries)
        if (entry.value == value) return entry.name;
    return {};
}

/// The case whose raw value is exactly `text` (case-sensitive); no value otherwise.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view text) {
    for (const auto& entry : EnumTable<E>::entries)
        if (entry.rawValue == text) return entry.value;
    return std::nullopt;
}

/// The file-name extension of an output format: "pdf", "png", or "jpg" for JPEG.
constexpr std::string_view fileExtension(SheetOutputFormat format) {
    switch (format) {
        case SheetOutputFormat::pdf: return "pdf";
        case SheetOutputFormat::png: return "png";
        case SheetOutputFormat::jpeg: return "jpg";
    }
    return {};
}

/// An sRGB colour with components nominally from 0 to 1. Out-of-range values are kept;
/// they are clamped only where the colour is drawn. Equality compares the doubles exactly.
struct SheetColor {
    double red = 0;
    double green = 0;
    double blue = 0;
    double alpha = 1;

    static constexpr SheetColor white() { return {1, 1, 1, 1}; }
    static constexpr SheetColor black() { return {0, 0, 0, 1}; }

    friend constexpr bool operator==(const SheetColor&, const SheetColor&) = default;
};

/// A width and height; pixels or points depending on where it comes from.
struct SheetSize {
    double width = 0;
    double height = 0;
    friend constexpr bool operator==(const SheetSize&, const SheetSize&) = default;
};

/// A rectangle in raster pixels with the origin at the page's bottom-left, y upwards.
struct SheetRect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
    friend constexpr bool operator==(const SheetRect&, const SheetRect&) = default;
};

}  // namespace tessel
