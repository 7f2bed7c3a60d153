// Front-end adapter of the edge points tool (one edge per segment of a rectangle).

#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

namespace frontend {
namespace {

// Why no segment gave an edge: the strongest response of any segment against minStrength,
// or, in multi-edge mode, edges that form no acceptable run.
std::string edgePointsFailure(const _EdgePointsDetParam& param, bool multiEdge)
{
    // The segment caliper scans along x in horizontal bands; along the height it is the
    // same on the transposed strip.
    const cv::Mat strip = param.scanAxis == 0 ? param.image : cv::Mat(param.image.t());
    const double strongest =
        strongestCaliperResponse(strip, param.segmentWidth, param.segmentStep, param.sigma,
                                 param.direction == 1 ? RightToLeft : LeftToRight, param.transition);
    if (multiEdge && strongest >= param.minStrength)
        return "the edges found form no run of neighbouring segments long enough to keep (multiEdge keeps runs of "
               "more than 20 points, or the longest of at least 4)";
    return tooFewPointsReason(0, 1, strongest, param.minStrength);
}

ToolResult runEdgePoints(ToolInput& input)
{
    _EdgePointsDetParam param;
    param.scanAxis = input.choice("scanAxis");
    fillCaliperSettings(param, input);
    param.roi = input.roi.shape.get();
    const bool multiEdge = input.boolean("multiEdge");

    ToolResult result;
    std::vector<cv::Point2d> points;
    result.microseconds = timeMicroseconds([&] {
        if (!multiEdge) {
            result.success = clcEdgePointsAndTransform(input.image, param);
            points = param.points;
        } else if ((result.success = clcEdgePoints(input.image, param, true))) {
            // The multi-edge tool leaves its points in the ROI's frame.
            points.resize(param.points.size());
            transformPoints(param.points, points, param.roi);
        }
    });
    result.outputs = {{"count", points.size()}, {"points", pointsJson(points)}};
    if (!result.success && !param.image.empty())
        result.diagnostics["failure"] = edgePointsFailure(param, multiEdge);
    return result;
}

void drawEdgePointsResult(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    drawRectangleScan(picture, *input.roi.shape, input.choice("scanAxis") != 0, input.choice("direction") == 1);
    const json& points = result.outputs.at("points");
    for (const json& p : points)
        drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, kInlierColour, markSize(picture));
    std::vector<std::string> label;
    if (result.success)
        label.push_back(std::to_string(result.outputs.at("count").get<int>()) + " edge points, one per segment of " +
                        std::to_string(input.integer("segmentWidth")) + " lines every " +
                        std::to_string(input.integer("segmentStep")));
    const cv::Point2d focus = points.empty() ? (outline[0] + outline[2]) * 0.5
                                             : cv::Point2d(points[points.size() / 2][0].get<double>(),
                                                           points[points.size() / 2][1].get<double>());
    finishOverlay(picture, outline, label, result, focus);
}

} // namespace

ToolDefinition edgePointsTool()
{
    return {
        "edge_points",
        "Sub-pixel edge point of every segment of a rectangle (segment caliper)",
        {"rotated_rect", "rect"},
        {
            ParamDefinition::choice("scanAxis", "AlongWidth", {"AlongWidth", "AlongHeight"},
                                    "scan along the ROI's width or its height"),
            ParamDefinition::choice("direction", "Forward", {"Forward", "Backward"},
                                    "scan forwards or backwards along the axis"),
            transitionParam(),
            ParamDefinition::ranged("percent", ParamType::Integer, 50, 0, 100,
                                    "edges below this percent of the segment's strongest response are ignored"),
            sigmaParam(),
            ParamDefinition::ranged("minStrength", ParamType::Integer, 10, 0, 510,
                                    "absolute minimum edge strength (grey-level difference across two pixels)"),
            ParamDefinition::ranged("segmentWidth", ParamType::Integer, 5, 1, kNoLimit, "lines averaged per segment"),
            ParamDefinition::ranged("segmentStep", ParamType::Integer, 5, 1, kNoLimit,
                                    "distance between segment starts in pixels"),
            ParamDefinition::flag("multiEdge", false, "keep every edge and filter them to one contour"),
        },
        runEdgePoints,
        drawEdgePointsResult,
        nullptr,
        {
            {"count", "number of points"},
            {"points", "[[x, y], ...] in image pixels, in segment order"},
        },
    };
}
} // namespace frontend
