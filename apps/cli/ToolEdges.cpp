// functions-cli adapter of the edges tool (every peak of one averaged profile).

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

namespace cli {
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
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    for (const json& p : result.outputs.at("points"))
        demo::drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, demo::kFoundColour);
}

const ToolRegistration registration({
    "edges",
    "Every edge of one averaged profile across a rectangle, in scan order; outputs positions along the "
    "profile, polarities (1 falling, -1 rising) and points [[x, y], ...] on the ROI's centre line",
    {"rotated_rect", "rect"},
    {
        {"direction", ParamType::Choice, "LeftToRight", "profile along the width (left/right) or height (top/bottom)",
         {"LeftToRight", "RightToLeft", "TopToBottom", "BottomToTop"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the scan",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"threshold", ParamType::Integer, 50, "percent of the strongest response", {}},
        {"smoothWidth", ParamType::Integer, 0, "moving average over the strength curve (<2: none)", {}},
        {"minGradient", ParamType::Integer, 5, "strengths below this are ignored", {}},
    },
    runEdges,
    drawEdges,
});

} // namespace
} // namespace cli
