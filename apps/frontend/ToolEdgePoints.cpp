// Front-end adapter of the edge points tool (one edge per segment of a rectangle).

#include "Drawing.h"
#include "ToolAdapters.h"

#include <Functions.h>

namespace frontend {
namespace {

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
    return result;
}

void drawEdgePointsResult(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    drawPolygon(picture, roiOutline(*input.roi.shape), kRoiColour);
    for (const json& p : result.outputs.at("points"))
        drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, kFoundColour, 3);
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
