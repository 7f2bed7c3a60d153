// Front-end adapter of the line tool, with the optional noise removal pass.

#include "Drawing.h"
#include "Messages.h"
#include "Overlay.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

#include <algorithm>
#include <cmath>

namespace frontend {
namespace {

constexpr double kDegreesPerRadian = 180.0 / 3.141592653589793;

// Residuals of every point found to the final line; with noise removal the dropped ones
// are the outliers. The quality judges the fit that made the line: Huber on all points,
// or Tukey on the kept ones after noise removal. Crest fits lie against a few tips, so
// their residuals say how ragged the edge is, not how well the line is determined.
void judgeLine(ToolResult& result, const _EdgeLineDetParam& param, const std::vector<cv::Point2d>& found,
               bool denoised, double noiseDistance, int fitMode, bool listPoints)
{
    std::vector<PointDiagnostic> diagnostics;
    if (!getLineDiagnostics(found, param.line, diagnostics))
        return;
    if (denoised)
        for (PointDiagnostic& d : diagnostics)
            d.inlier = std::find(param.edgePoints.begin(), param.edgePoints.end(), d.point) != param.edgePoints.end();
    result.diagnostics = diagnosticsJson(diagnostics, listPoints);
    if (denoised)
        result.diagnostics["rule"] = "farther than noiseDistance " + formatNumber(noiseDistance) +
                                     " px from the first line, dropped before the refit";
    LineFitQuality quality;
    if (fitMode == 0 &&
        getLineFitQuality(param.edgePoints, param.line, denoised ? FitLineTukey : FitLineHuber, 0.0, quality)) {
        widenForOverlappingCalipers(param.segmentWidth, param.segmentStep, quality);
        result.quality = lineQualityJson(quality);
    }
}

ToolResult runLine(ToolInput& input)
{
    _EdgeLineDetParam param;
    fillCaliperSettings(param, input);
    param.roi = static_cast<RotateRectROI*>(input.roi.shape.get());
    const int fitMode = input.choice("fitMode");
    const double noiseDistance = input.number("noiseDistance");

    ToolResult result;
    bool denoised = false;
    std::vector<cv::Point2d> found;
    result.microseconds = timeMicroseconds([&] {
        result.success = clcEdgeLineAndFit(input.image, param, fitMode);
        found = param.edgePoints;
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
        result.outputs["angle"] = std::atan2(l[1], l[0]) * kDegreesPerRadian;
    }
    result.outputs["edgePoints"] = pointsJson(param.edgePoints);
    if (result.success) {
        judgeLine(result, param, found, denoised, noiseDistance, fitMode, input.listPointDiagnostics);
    } else {
        result.diagnostics = diagnosticsJson(unjudged(param.edgePoints), input.listPointDiagnostics);
        const double strongest = strongestCaliperResponse(
            param.roiImage, param.segmentWidth, param.segmentStep, param.sigma,
            param.direction == 1 ? RightToLeft : LeftToRight, static_cast<EdgeTransition>(param.transition));
        result.diagnostics["failure"] = tooFewPointsReason(param.edgePoints.size(), 2, strongest, param.minStrength);
    }
    return result;
}

void drawLine(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    drawRectangleScan(picture, *input.roi.shape, false, input.choice("direction") == 1);
    drawJudgedPoints(picture, result.diagnostics);
    std::vector<std::string> label;
    if (result.outputs.contains("start")) {
        const json& s = result.outputs.at("start");
        const json& e = result.outputs.at("end");
        const cv::Point2d start(s[0].get<double>(), s[1].get<double>());
        drawPolygon(picture, {start, {e[0].get<double>(), e[1].get<double>()}}, kShapeColour);
        drawCross(picture, start, kShapeColour, 2 * markSize(picture));
        if (!result.quality.is_null()) {
            label.push_back(intervalLine("angle", result.quality.at("angle"), "deg"));
            const json& ci = result.quality.at("offset").at("ci95");
            label.push_back("position across the line +- " +
                            fixedText(0.5 * (ci[1].get<double>() - ci[0].get<double>())) +
                            " px (95%) at the points' centre");
        } else {
            label.push_back("angle " + fixedText(result.outputs.at("angle").get<double>()) + " deg");
        }
        for (const std::string& line : pointsLegend(result.diagnostics))
            label.push_back(line);
    }
    finishOverlay(picture, outline, label, result, middlePoint(result.diagnostics, (outline[0] + outline[2]) * 0.5));
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
            {"angle", "direction of the line, degrees, atan2(vy, vx) with y down (when found)"},
            {"noiseRemoved", "whether the noise pass refitted the line (when noiseDistance is above 0)"},
            {"edgePoints", "[[x, y], ...] one per caliper band that found an edge"},
        },
    };
}
} // namespace frontend
