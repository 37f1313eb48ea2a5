#pragma once
// The two commands that report instead of making a sheet.

#include "CommandLine.hpp"
#include "SheetRun.hpp"

namespace tessel::cli {

/// One JSON object per line for each image (folders expanded): its file and what inspection
/// learnt, or its file and the error. Returns 1 when any image failed, else 0.
int printInspection(const SheetCommand& command, Console& console);

/// The presets (raw value and title), then the saved layouts by name. Returns 0.
int printPresets(Console& console);

}  // namespace tessel::cli
