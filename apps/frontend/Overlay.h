#pragma once

// What every tool's overlay shows, drawn alike: the scan direction as an arrow, the values
// and their 95 % intervals written beside the ROI (or why the tool failed), a legend of the
// points' colours with the rule that marked them, and an enlarged inset.

#include "ToolDefinition.h"

#include <string>
#include <vector>

namespace frontend {

/// A rectangle ROI (rotated or upright) in image coordinates: its centre, the unit axes
/// of its width and its height, and its sides.
struct RectangleFrame {
    cv::Point2d centre, widthAxis, heightAxis;
    double width = 0, height = 0;
};

/// The frame of a RotateRectROI or RectROI; false for other shapes.
bool rectangleFrame(const ROI& roi, RectangleFrame& frame);

/// The arrow of a scan across the middle of a rectangle ROI (rotated or upright), along
/// its width, or its height when alongHeight, backwards when asked.
void drawRectangleScan(cv::Mat& picture, const ROI& roi, bool alongHeight, bool backwards);

/// v with a fixed number of decimals, e.g. "12.3456".
std::string fixedText(double v, int decimals = 4);

/// "name 40.0000 px  95%: 39.1998 .. 40.8002" from a fitted value's JSON ({"value",
/// "ci95"}); "name 40.0000 px" when it has no interval.
std::string intervalLine(const std::string& name, const json& fitted, const std::string& unit);

/// "142 inliers (green), 6 outliers (red), outliers:" and the rule that marked them on a
/// line of its own, from a run's diagnostics; nothing when they hold no points.
std::vector<std::string> pointsLegend(const json& diagnostics);

/// The middle one of the diagnostics' points (where a fit's points cluster), or fallback.
cv::Point2d middlePoint(const json& diagnostics, cv::Point2d fallback);

/// Ends an overlay: appends the failure reason to the label when the run failed, places
/// the label beside the ROI, the inset (around focus when the ROI is too large to show
/// whole) clear of both, and draws the label last so that nothing covers it.
void finishOverlay(cv::Mat& picture, const std::vector<cv::Point2d>& outline, std::vector<std::string> label,
                   const ToolResult& result, cv::Point2d focus);

} // namespace frontend
