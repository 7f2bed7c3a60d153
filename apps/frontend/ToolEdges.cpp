// Front-end adapter of the edges tool (every peak of one averaged profile).

#include "Drawing.h"
#include "ToolAdapters.h"

#include <Functions.h>

namespace frontend {
namespace {

ToolResult runEdges(ToolInput& input)
{
    _EdgesDetParam param;
    param.direction = static_cast<ClcDirection>(input.choice("direction"));
    param.transition = static_cast<EdgeTransition>(input.choice("transition"));
    param.threshold = input.integer("threshold");
    param.smoothWidth = input.integer("smoothWidth");
    param.minGradient = input.integer("minGradient");
    param.roi = input.roi.shape.get();

    ToolResult result;
    result.microseconds = timeMicroseconds([&] { result.success = clcEdges(input.image, param); });

    // Positions lie along the ROI's centre line: across its width for column profiles,
    // down its height for row profiles.
    const bool alongWidth = param.direction != TopToBottom && param.direction != BottomToTop;
    std::vector<cv::Point2d> local, points(param.positions.size());
    for (float p : param.positions)
        local.emplace_back(alongWidth ? cv::Point2d(p, param.image.rows * 0.5) : cv::Point2d(param.image.cols * 0.5, p));
    transformPoints(local, points, param.roi);
    result.outputs = {{"maxGradient", param.maxGradient},
                      {"positions", param.positions},
                      {"polarities", param.polarities},
                      {"points", pointsJson(points)}};
    return result;
}

void drawEdges(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    drawPolygon(picture, roiOutline(*input.roi.shape), kRoiColour);
    for (const json& p : result.outputs.at("points"))
        drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, kFoundColour);
}

} // namespace

ToolDefinition edgesTool()
{
    return {
        "edges",
        "Every edge of one averaged profile across a rectangle, in scan order",
        {"rotated_rect", "rect"},
        {
            ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft", "TopToBottom", "BottomToTop"},
                                    "profile along the width (left/right) or the height (top/bottom)"),
            transitionParam(),
            ParamDefinition::ranged("threshold", ParamType::Integer, 50, 0, 100,
                                    "edges below this percent of the strongest response are ignored"),
            ParamDefinition::ranged("smoothWidth", ParamType::Integer, 0, 0, kNoLimit,
                                    "moving average over the strength curve, in samples (below 2: none)"),
            ParamDefinition::ranged("minGradient", ParamType::Integer, 5, 0, 255,
                                    "strengths (grey-level steps between neighbouring samples) below this are ignored"),
        },
        runEdges,
        drawEdges,
        nullptr,
        {
            {"maxGradient", "strongest edge response of the profile"},
            {"positions", "edge positions along the profile, samples from the ROI's start"},
            {"polarities", "per edge: 1 falling (light to dark), -1 rising, along the scan"},
            {"points", "[[x, y], ...] of the edges on the ROI's centre line, image pixels"},
        },
    };
}
} // namespace frontend
