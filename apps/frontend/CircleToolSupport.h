#pragma once

// What the circle and arc adapters of the front ends share: the seven caliper settings
// their records start with, the options of their fitting entries, and the drawing.

#include "ToolDefinition.h"

namespace frontend {

/// Parameters of the circle-family tools, in record order, then the fit options.
std::vector<ParamDefinition> circleFamilyParams();

/// Draws the ROI (ring or arc), the edge points and, on success, the circle or the arc
/// found with its centre.
void drawCircleFamily(cv::Mat& picture, const ToolInput& input, const ToolResult& result);

} // namespace frontend
