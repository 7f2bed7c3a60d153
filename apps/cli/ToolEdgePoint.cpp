// functions-cli adapter of the edge point tool.

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

namespace cli {
namespace {

ToolResult runEdgePoint(ToolInput& input)
{
    _EdgePointDetParam param;
    param.direction = static_cast<ClcDirection>(input.choice("direction"));
    param.transition = static_cast<EdgeTransition>(input.choice("transition"));
    param.threshold = input.integer("threshold");
    param.smoothWidth = input.integer("smoothWidth");
    param.minGradient = input.integer("minGradient");
    param.roi = static_cast<RotateRectROI*>(input.roi.shape.get());

    ToolResult result;
    result.microseconds = timeMicroseconds([&] { result.success = clcEdgePoint(input.image, param); });
    result.outputs = {{"maxGradient", param.maxGradient}};
    if (result.success)
        result.outputs["point"] = pointJson({param.x, param.y});
    return result;
}

void drawEdgePoint(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    if (result.success) {
        const json& p = result.outputs.at("point");
        demo::drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, demo::kFoundColour);
    }
}

const ToolRegistration registration({
    "edge_point",
    "First edge along a rotated rectangle's width (one averaged caliper); outputs point [x, y]",
    {"rotated_rect"},
    {
        {"direction", ParamType::Choice, "LeftToRight", "walk from the ROI's left or right edge",
         {"LeftToRight", "RightToLeft"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the walk",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"threshold", ParamType::Integer, 50, "percent of the strongest response", {}},
        {"smoothWidth", ParamType::Integer, 3, "moving average over the strength curve (<2: none)", {}},
        {"minGradient", ParamType::Integer, 5, "strengths below this are ignored", {}},
    },
    runEdgePoint,
    drawEdgePoint,
});

} // namespace
} // namespace cli
