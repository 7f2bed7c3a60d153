// Front-end adapter of the line tool, with the optional noise removal pass.

#include "Drawing.h"
#include "ToolAdapters.h"

#include <Functions.h>

namespace frontend {
namespace {

ToolResult runLine(ToolInput& input)
{
    _EdgeLineDetParam param;
    fillCaliperSettings(param, input);
    param.roi = static_cast<RotateRectROI*>(input.roi.shape.get());
    const int fitMode = input.choice("fitMode");
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
    drawPolygon(picture, roiOutline(*input.roi.shape), kRoiColour);
    for (const json& p : result.outputs.at("edgePoints"))
        drawCross(picture, {p[0].get<double>(), p[1].get<double>()}, kFoundColour, 2);
    if (result.outputs.contains("start")) {
        const json& s = result.outputs.at("start");
        const json& e = result.outputs.at("end");
        const cv::Point2d start(s[0].get<double>(), s[1].get<double>());
        drawPolygon(picture, {start, {e[0].get<double>(), e[1].get<double>()}}, kFoundColour);
        drawCross(picture, start, kFoundColour, 4);
    }
}

} // namespace

ToolDefinition lineTool()
{
    return {
        "line",
        "Straight edge across a rotated rectangle: one caliper per band along its height, a fitted line directed "
        "from the first caliper to the last, clipped to the ROI",
        {"rotated_rect"},
        {
            ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft"},
                                    "scan from the ROI's left or right side"),
            transitionParam(),
            ParamDefinition::ranged("percent", ParamType::Integer, 30, 0, 100,
                                    "edges below this percent of each caliper's strongest response are ignored"),
            sigmaParam(),
            ParamDefinition::ranged("minStrength", ParamType::Integer, 20, 0, 510,
                                    "absolute edge threshold (grey-level difference across two pixels)"),
            ParamDefinition::ranged("segmentWidth", ParamType::Integer, 5, 1, kNoLimit,
                                    "caliper band width in pixels"),
            ParamDefinition::ranged("segmentStep", ParamType::Integer, 5, 1, kNoLimit,
                                    "distance between caliper bands in pixels"),
            ParamDefinition::choice("fitMode", "AllPoints", {"AllPoints", "RightCrests", "LeftCrests"},
                                    "line through all points, or against the crests right or left of the line's "
                                    "way (from its first point to its last) of a ragged edge"),
            ParamDefinition::ranged("noiseDistance", ParamType::Number, 0.0, 0, kNoLimit,
                                    "when above 0, drop points farther than this from the line and refit (pixels)"),
        },
        runLine,
        drawLine,
        nullptr,
        {
            {"line", "[vx, vy, x0, y0]: unit direction and a point on the line (when found)"},
            {"start", "[x, y] where the line enters the ROI (when found)"},
            {"end", "[x, y] where the line leaves the ROI (when found)"},
            {"noiseRemoved", "whether the noise pass refitted the line (when noiseDistance is above 0)"},
            {"edgePoints", "[[x, y], ...] one per caliper band that found an edge"},
        },
    };
}
} // namespace frontend
