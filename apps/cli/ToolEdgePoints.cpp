// functions-cli adapter of the edge points tool (one edge per segment of a rectangle).

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

namespace cli {
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

void drawEdgePoints(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    for (const json& p : result.outputs.at("points"))
        demo::drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, demo::kFoundColour, 3);
}

const ToolRegistration registration({
    "edge_points",
    "Sub-pixel edge point of every segment of a rectangle (segment caliper); outputs points [[x, y], ...]",
    {"rotated_rect", "rect"},
    {
        {"scanAxis", ParamType::Choice, "AlongWidth", "scan along the ROI's width or its height",
         {"AlongWidth", "AlongHeight"}},
        {"direction", ParamType::Choice, "Forward", "scan forwards or backwards along the axis", {"Forward", "Backward"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the scan",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"percent", ParamType::Integer, 50, "percent of the segment's strongest response", {}},
        {"sigma", ParamType::Integer, 2, "Gaussian smoothing index, 0..100", {}},
        {"minStrength", ParamType::Integer, 10, "absolute minimum edge strength", {}},
        {"segmentWidth", ParamType::Integer, 5, "lines averaged per segment", {}},
        {"segmentStep", ParamType::Integer, 5, "distance between segment starts", {}},
        {"multiEdge", ParamType::Boolean, false, "keep every edge and filter them to one contour", {}},
    },
    runEdgePoints,
    drawEdgePoints,
});

} // namespace
} // namespace cli
