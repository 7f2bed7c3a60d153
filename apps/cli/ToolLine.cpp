// functions-cli adapter of the line tool, with the optional noise removal pass.

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

namespace cli {
namespace {

ToolResult runLine(ToolInput& input)
{
    _EdgeLineDetParam param;
    fillCaliperSettings(param, input);
    param.roi = static_cast<RotateRectROI*>(input.roi.shape.get());
    const int fitMode = input.integer("fitMode");
    const double noiseDistance = input.number("noiseDistance");

    ToolResult result;
    bool denoised = false;
    result.microseconds = timeMicroseconds([&] {
        result.success = clcEdgeLineAndFit(input.image, param, fitMode);
        if (result.success && noiseDistance > 0)
            denoised = removeEdgeLineNoise(param, noiseDistance);
    });
    if (result.success) {
        const cv::Vec4d& l = param.line;
        result.outputs["line"] = json::array({l[0], l[1], l[2], l[3]});
        if (param.startEndPoints.size() == 2) {
            result.outputs["start"] = pointJson(param.startEndPoints[0]);
            result.outputs["end"] = pointJson(param.startEndPoints[1]);
        }
        if (noiseDistance > 0)
            result.outputs["noiseRemoved"] = denoised;
    }
    result.outputs["edgePoints"] = pointsJson(param.edgePoints);
    return result;
}

void drawLine(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    for (const json& p : result.outputs.at("edgePoints"))
        demo::drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, demo::kFoundColour, 2);
    if (result.outputs.contains("start")) {
        const json& s = result.outputs.at("start");
        const json& e = result.outputs.at("end");
        const cv::Point2d start(s[0].get<double>(), s[1].get<double>());
        demo::drawPolygon(picture, {start, {e[0].get<double>(), e[1].get<double>()}}, demo::kFoundColour);
        demo::drawCross(picture, start, demo::kFoundColour, 4);
    }
}

const ToolRegistration registration({
    "line",
    "Straight edge across a rotated rectangle: one caliper per band along its height, a fitted line directed "
    "from the first caliper to the last, clipped to the ROI; outputs line [vx, vy, x0, y0], start, end, edgePoints",
    {"rotated_rect"},
    {
        {"direction", ParamType::Choice, "LeftToRight", "scan from the ROI's left or right side",
         {"LeftToRight", "RightToLeft"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the scan",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"percent", ParamType::Integer, 30, "edge threshold in percent of each caliper's strongest response", {}},
        {"sigma", ParamType::Integer, 2, "profile smoothing kernel index (0..100)", {}},
        {"minStrength", ParamType::Integer, 20, "absolute edge threshold (doubled central difference)", {}},
        {"segmentWidth", ParamType::Integer, 5, "caliper band width in pixels", {}},
        {"segmentStep", ParamType::Integer, 5, "distance between caliper bands in pixels", {}},
        {"fitMode", ParamType::Integer, 0,
         "0: plain fit; 1: against the crests right of the line's way; 2: against those left of it", {}},
        {"noiseDistance", ParamType::Number, 0.0,
         "when above 0, drop points farther than this from the line and refit (pixels)", {}},
    },
    runLine,
    drawLine,
});

} // namespace
} // namespace cli
