// Front-end adapter of the line tool, with the optional noise removal pass.

#include "Drawing.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace frontend {
namespace {

constexpr double kDegreesPerRadian = 180.0 / 3.141592653589793;

// Residuals of every point found to the final line; with noise removal the dropped ones
// are the outliers. The quality judges the fit that made the line: Huber on all points,
// or Tukey on the kept ones after noise removal. Crest fits lie against a few tips, so
// their residuals say how ragged the edge is, not how well the line is determined.
void judgeLine(ToolResult& result, const _EdgeLineDetParam& param, const std::vector<cv::Point2d>& found,
               bool denoised, int fitMode)
{
    std::vector<PointDiagnostic> diagnostics;
    if (!getLineDiagnostics(found, param.line, diagnostics))
        return;
    if (denoised)
        for (PointDiagnostic& d : diagnostics)
            d.inlier = std::find(param.edgePoints.begin(), param.edgePoints.end(), d.point) != param.edgePoints.end();
    result.diagnostics = diagnosticsJson(diagnostics);
    LineFitQuality quality;
    if (fitMode == 0 &&
        getLineFitQuality(param.edgePoints, param.line, denoised ? FitLineTukey : FitLineHuber, 0.0, quality))
        result.quality = lineQualityJson(quality);
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
        result.outputs["angle"] = rounded(std::atan2(l[1], l[0]) * kDegreesPerRadian);
    }
    result.outputs["edgePoints"] = pointsJson(param.edgePoints);
    if (result.success) {
        judgeLine(result, param, found, denoised, fitMode);
    } else {
        result.diagnostics = diagnosticsJson(unjudged(param.edgePoints));
        const double strongest = strongestCaliperResponse(
            param.roiImage, param.segmentWidth, param.segmentStep, param.sigma,
            param.direction == 1 ? RightToLeft : LeftToRight, static_cast<EdgeTransition>(param.transition));
        result.diagnostics["failure"] = tooFewPointsReason(param.edgePoints.size(), 2, strongest, param.minStrength);
    }
    return result;
}

// Where the calipers start and end: across the ROI's middle along its own x axis.
void drawLineScan(cv::Mat& picture, const RotateRectROI& roi, bool reverse)
{
    const double t = roi.angle / kDegreesPerRadian, half = 0.5 * roi.width;
    const cv::Point2d centre(roi.centreX, roi.centreY), u(std::cos(t), std::sin(t));
    const cv::Point2d a = centre - u * half, b = centre + u * half;
    drawScanArrow(picture, reverse ? b : a, reverse ? a : b);
}

void drawLine(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    drawLineScan(picture, static_cast<const RotateRectROI&>(*input.roi.shape), input.choice("direction") == 1);
    drawJudgedPoints(picture, result.diagnostics);
    std::vector<std::string> label;
    if (result.outputs.contains("start")) {
        const json& s = result.outputs.at("start");
        const json& e = result.outputs.at("end");
        const cv::Point2d start(s[0].get<double>(), s[1].get<double>());
        drawPolygon(picture, {start, {e[0].get<double>(), e[1].get<double>()}}, kShapeColour);
        drawCross(picture, start, kShapeColour, 2 * markSize(picture));
        std::ostringstream text;
        text.precision(3);
        text << std::fixed << "angle " << result.outputs.at("angle").get<double>() << " deg";
        if (!result.quality.is_null())
            text << " +- " << (result.quality["angle"]["ci95"][1].get<double>() -
                                result.quality["angle"]["ci95"][0].get<double>()) / 2;
        label.push_back(text.str());
    } else if (result.diagnostics.contains("failure")) {
        label.push_back(result.diagnostics["failure"].get<std::string>());
    }
    addInset(picture, outline);
    drawLabelBeside(picture, label, outline);
}

} // namespace

ToolDefinition lineTool()
{
    return {
        "line",
        "Straight edge across a rotated rectangle: one caliper per band along its height, a fitted line directed "
        "from the first caliper to the last, clipped to the ROI; outputs line [vx, vy, x0, y0], start, end, edgePoints",
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
    };
}
} // namespace frontend
