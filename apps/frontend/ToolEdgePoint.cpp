// Front-end adapter of the edge point tool.

#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

namespace frontend {
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
    if (result.success) {
        result.outputs["point"] = pointJson({param.x, param.y});
    } else {
        // The only way a valid ROI finds nothing: no step passed minGradient. The tool
        // itself, run without that floor or smoothing, says how strong the strongest was.
        _EdgePointDetParam open = param;
        open.minGradient = 0;
        open.smoothWidth = 0;
        clcEdgePoint(input.image, open);
        result.diagnostics["failure"] = minGradientReason(open.maxGradient, param.minGradient);
    }
    return result;
}

void drawEdgePoint(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    drawRectangleScan(picture, *input.roi.shape, false, input.choice("direction") == 1);
    std::vector<std::string> label;
    cv::Point2d focus = (outline[0] + outline[2]) * 0.5;
    if (result.success) {
        const json& p = result.outputs.at("point");
        focus = {p[0].get<double>(), p[1].get<double>()};
        drawCross(picture, focus, kShapeColour, 2 * markSize(picture));
        label.push_back("edge at " + fixedText(focus.x) + ", " + fixedText(focus.y) + " px");
        label.push_back("strongest step " + fixedText(result.outputs.at("maxGradient").get<double>(), 2));
    }
    finishOverlay(picture, outline, label, result, focus);
}

} // namespace

ToolDefinition edgePointTool()
{
    return {
        "edge_point",
        "First edge along a rotated rectangle's width (one averaged caliper)",
        {"rotated_rect"},
        {
            ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft"},
                                    "walk from the ROI's left or right edge"),
            transitionParam(),
            ParamDefinition::ranged("threshold", ParamType::Integer, 50, 0, 100,
                                    "edges below this percent of the strongest response are ignored"),
            ParamDefinition::ranged("smoothWidth", ParamType::Integer, 3, 0, kNoLimit,
                                    "moving average over the strength curve, in samples (below 2: none)"),
            ParamDefinition::ranged("minGradient", ParamType::Integer, 5, 0, 255,
                                    "strengths (grey-level steps between neighbouring columns) below this are ignored"),
        },
        runEdgePoint,
        drawEdgePoint,
        nullptr,
        {
            {"maxGradient", "strongest edge response of the profile (grey levels per column)"},
            {"point", "[x, y] of the edge, pixels (when found)"},
        },
    };
}
} // namespace frontend
