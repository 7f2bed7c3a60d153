#pragma once

// What the circle and arc adapters of the front ends share: the seven caliper settings
// their records start with, the options of their fitting entries, and the drawing.

#include "ToolDefinition.h"

namespace frontend {

/// Parameters of the circle-family tools, in record order, then the fit options.
std::vector<ParamDefinition> circleFamilyParams();

/// Draws the ROI (ring or arc) with the scan direction, the edge points as inliers and
/// outliers, on success the circle or the arc found with its centre and its diameter
/// and 95 % interval, on failure the reason; and an enlarged inset of the ROI.
void drawCircleFamily(cv::Mat& picture, const ToolInput& input, const ToolResult& result);

/// Quality and diagnostics of a circle-family run after the library call: residuals of
/// the points to the circle, inliers by the tool's rule (Tukey weights for the arc tool,
/// the 3 px check where the circle tool applies it; points that outlierDistance removed
/// are found again and marked outliers), the fit's uncertainty (crest modes excepted),
/// and on failure the reason. fitType is the tool's own fit: FitCircleHuber for the
/// circle tool, FitCircleTukey for the arc tool.
void judgeCircleFamily(ToolResult& result, ToolInput& input, const std::vector<cv::Point2d>& edgePoints,
                       cv::Point2d centre, double radius, FitCircleType fitType);

} // namespace frontend
