#pragma once

// The studio's ROIs as an inspection recipe (docs/recipes.md) and back, through the shared
// layer's recipe API. A recipe the studio opened keeps what the studio does not edit (its
// name, units, fixture, dimensions, and measurements whose ROI it cannot draw) and writes
// it back unchanged; every ROI it can draw becomes a ROI with its tool and settings.

#include "MeasureSession.h"

#include <Recipe.h>

#include <map>
#include <string>
#include <vector>

namespace studio {

/// A measurement of a recipe the studio keeps without drawing it.
struct HeldMeasurement {
    size_t index = 0; ///< in the recipe's measurements
    std::string name, tool;
    std::string reason; ///< why it cannot be drawn
};

/// A recipe and where its measurements are in the studio.
struct RecipeOrigin {
    frontend::Recipe recipe;
    std::map<int, size_t> drawn; ///< ROI id -> its measurement
    std::vector<HeldMeasurement> held;
};

/// Why a measurement's ROI cannot be drawn as it stands (a point placed where another
/// measurement finds it, no ROI at all); empty when it can.
std::string undrawableReason(const frontend::RecipeMeasurement& measurement);

/// The ROI a drawable measurement becomes: its name, tool, shape and settings (defaults
/// filled in). Throws frontend::InputError naming `source`.
RoiEntry recipeEntry(const frontend::RecipeMeasurement& measurement, const std::string& source);

/// The recipe the ROIs make. With a base, its measurements keep their order: those still
/// drawn as loaded are written back verbatim, edited ones as the ROI now stands, held ones
/// unchanged, and ROIs added since follow. A ROI whose name a recipe cannot use (empty,
/// with a '.', taken) gets a unique one, reported in `renamed` (id -> new name) so the
/// studio can show it. The result is not validated.
RecipeOrigin recipeOfRois(const std::vector<RoiEntry>& rois, const RecipeOrigin* base,
                          std::map<int, std::string>& renamed);

} // namespace studio
