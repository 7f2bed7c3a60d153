#pragma once

// What the recipe's parser and its runner share: the features each tool yields and the
// references that name them.

#include "Recipe.h"

#include <string>

namespace frontend::recipe {

/// The feature a tool's result is (None for tools whose outputs no dimension reads).
Feature::Type toolFeature(const std::string& tool);

/// The named points a tool's feature offers to references ("centre", "start", ...).
std::vector<std::string> toolPoints(const std::string& tool);

/// "point", "line", ... as the documentation names them.
std::string featureName(Feature::Type type);

/// A reference "name" or "name.point" resolved against a recipe.
struct Reference {
    size_t measurement = 0;
    std::string point;                      ///< empty: the measurement's feature itself
    Feature::Type type = Feature::Type::None; ///< Point when a point is named
};

/// Resolves a reference; throws InputError "<where>: ..." when the measurement or the
/// point does not exist.
Reference resolveReference(const Recipe& recipe, const std::string& text, const std::string& where);

/// Whether a reference of this type can stand where `wanted` ("point", "line", ...) is
/// expected; a circle stands for its centre where a point is wanted.
bool accepts(const std::string& wanted, Feature::Type type);

/// [[x, y], ...] as points.
std::vector<cv::Point2d> pointsFromJson(const json& list);

/// The ROI fields that hold a point.
bool isPointField(const std::string& field);

} // namespace frontend::recipe
