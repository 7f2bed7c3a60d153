// Front-end adapter of the circle diameter tool (two-point diameters of a round part).

#include "CircleToolSupport.h"
#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

namespace frontend {
namespace {

constexpr double kPi = 3.141592653589793;
constexpr int kMinPairs = 3;

// A y-up direction in degrees as a unit vector in the image (y down).
cv::Point2d imageDirection(double degrees)
{
    return {std::cos(degrees * kPi / 180.0), -std::sin(degrees * kPi / 180.0)};
}

json numbersJson(const std::vector<double>& values)
{
    json out = json::array();
    for (double v : values)
        out.push_back(v);
    return out;
}

// Sample standard deviation of the readings: the part's own variation round the turn plus
// the noise of single readings (on a round part, that noise alone).
double spread(const std::vector<double>& values)
{
    double mean = 0, squares = 0;
    for (double v : values)
        mean += v / values.size();
    for (double v : values)
        squares += (v - mean) * (v - mean);
    return std::sqrt(squares / (values.size() - 1));
}

std::string failureReason(const _CircleDiameterDetParam& param)
{
    if (param.polarImage.empty()) {
        const auto& ring = static_cast<const RingROI&>(*param.roi);
        return std::abs(ring.radius1 - ring.radius2) < 3
                   ? "the ring's radii must lie at least 3 px apart"
                   : "the ring is too large to unwrap: at most 2^25 pixels (caliperCount x segmentWidth lines by "
                     "the ring's width in px) and an outer radius below 16380 px";
    }
    // The polar image holds one band of segmentWidth rows per caliper.
    const int lines = std::max(param.segmentWidth, 1);
    const double strongest = strongestCaliperResponse(param.polarImage, lines, lines, param.sigma,
                                                      param.direction == 1 ? RightToLeft : LeftToRight,
                                                      static_cast<EdgeTransition>(param.transition));
    if (strongest < param.minStrength)
        return tooFewPointsReason(0, 0, strongest, param.minStrength);
    std::ostringstream text;
    text.precision(3);
    text << "fewer than " << kMinPairs << " pairs of opposite calipers both found an edge (the strongest response "
         << "was " << strongest << " against minStrength " << param.minStrength << ")";
    return text.str();
}

ToolResult runDiameter(ToolInput& input)
{
    _CircleDiameterDetParam param;
    // segmentStep is not read by this tool: the calipers are spaced by caliperCount.
    param.direction = input.choice("direction");
    param.transition = input.choice("transition");
    param.percent = input.integer("percent");
    param.sigma = input.integer("sigma");
    param.minStrength = input.integer("minStrength");
    param.segmentWidth = input.integer("segmentWidth");
    param.caliperCount = input.integer("caliperCount");
    param.caliperAngle = input.number("caliperAngle");
    param.roi = input.roi.shape.get();

    ToolResult result;
    result.microseconds = timeMicroseconds([&] { result.success = clcCircleMulPoints(input.image, param); });
    if (!result.success) {
        result.outputs["edgePoints"] = json::array();
        result.diagnostics = diagnosticsJson({}, input.listPointDiagnostics);
        result.diagnostics["failure"] = failureReason(param);
        return result;
    }
    result.outputs = {{"meanDiameter", param.meanDiameter},
                      {"minDiameter", param.minDiameter},
                      {"minDiameterAngle", param.minDiameterAngle},
                      {"maxDiameter", param.maxDiameter},
                      {"maxDiameterAngle", param.maxDiameterAngle},
                      {"roundness", param.roundness},
                      {"centre", pointJson(param.centre)},
                      {"radius", param.radius},
                      {"diameters", numbersJson(param.diameters)},
                      {"diameterAngles", numbersJson(param.diameterAngles)},
                      {"edgePoints", pointsJson(param.edgePoints)}};
    // Every edge point counts: the residuals to the fitted circle are the roundness.
    std::vector<PointDiagnostic> judged;
    if (getCircleDiagnostics(param.edgePoints, param.centre, param.radius, judged))
        result.diagnostics = diagnosticsJson(judged, input.listPointDiagnostics);
    CircleFitQuality quality;
    if (getCircleFitQuality(param.edgePoints, param.centre, param.radius, FitCircleTaubin, quality))
        result.quality = circleQualityJson(quality);
    result.quality["readings"] = param.diameters.size();
    result.quality["readingSpread"] = rounded(spread(param.diameters));
    return result;
}

void drawDiameter(cv::Mat& picture, const json& outputs, const char* diameter, const char* angle)
{
    const json& c = outputs.at("centre");
    const cv::Point2d centre(c[0].get<double>(), c[1].get<double>());
    const cv::Point2d half = imageDirection(outputs.at(angle).get<double>()) * (outputs.at(diameter).get<double>() / 2);
    drawPolyline(picture, View(), {centre - half, centre + half}, false, kShapeColour);
}

void drawDiameters(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const auto& ring = dynamic_cast<const RingROI&>(*input.roi.shape);
    drawRingRoi(picture, View(), ring, kRoiColour);
    drawCircleScan(picture, ring, input.choice("direction") == 1);
    drawJudgedPoints(picture, result.diagnostics);
    const std::vector<cv::Point2d> outline = roiOutline(ring);
    std::vector<std::string> label;
    if (result.success) {
        const json& o = result.outputs;
        drawDiameter(picture, o, "minDiameter", "minDiameterAngle");
        drawDiameter(picture, o, "maxDiameter", "maxDiameterAngle");
        const json& c = o.at("centre");
        drawCross(picture, cv::Point2d(c[0].get<double>(), c[1].get<double>()), kShapeColour, 2 * markSize(picture));
        label.push_back("mean diameter " + fixedText(o.at("meanDiameter").get<double>()) + " px");
        label.push_back("smallest " + fixedText(o.at("minDiameter").get<double>()) + " px at " +
                        fixedText(o.at("minDiameterAngle").get<double>(), 1) + " deg");
        label.push_back("largest " + fixedText(o.at("maxDiameter").get<double>()) + " px at " +
                        fixedText(o.at("maxDiameterAngle").get<double>(), 1) + " deg");
        label.push_back("roundness " + fixedText(o.at("roundness").get<double>()) + " px");
        for (const std::string& line : pointsLegend(result.diagnostics))
            label.push_back(line);
    }
    finishOverlay(picture, outline, label, result, middlePoint(result.diagnostics, outline.front()));
}

// The ring calipers' settings in record order (segmentStep, which the tool does not read,
// left out), then the tool's own.
std::vector<ParamDefinition> diameterParams()
{
    std::vector<ParamDefinition> params = radialCaliperParams();
    params.insert(params.end(),
                  {
                      ParamDefinition::ranged("segmentWidth", ParamType::Integer, 3, 1, kNoLimit,
                                              "radial lines averaged by one caliper, spread over caliperAngle"),
                      ParamDefinition::ranged("caliperCount", ParamType::Integer, 360, 6, 32766,
                                              "calipers over the full turn, an even number: each pair of opposite "
                                              "ones gives one diameter"),
                      ParamDefinition::ranged("caliperAngle", ParamType::Number, 1.0, 0, 360,
                                              "angular width of one caliper in degrees, at most the spacing 360 / "
                                              "caliperCount"),
                  });
    return params;
}

// The library raises an odd count and narrows a wide caliper; here they are refused, so
// that what runs is what the parameters say.
void checkDiameterSettings(const json& settings, const std::string& source)
{
    const int count = settings.at("caliperCount").get<int>();
    if (count % 2 != 0)
        throw InputError(source + ": 'caliperCount' must be even, so that every caliper has an opposite one; it is " +
                         std::to_string(count));
    const int64_t lines = static_cast<int64_t>(count) * settings.at("segmentWidth").get<int>();
    if (lines >= 32767)
        throw InputError(source + ": caliperCount x segmentWidth is " + std::to_string(lines) +
                         " radial lines, the unwrap takes fewer than 32767");
    const double angle = settings.at("caliperAngle").get<double>();
    if (angle > 360.0 / count) {
        std::ostringstream text;
        text << source << ": 'caliperAngle' " << angle << " is wider than the " << 360.0 / count
             << " degrees between calipers";
        throw InputError(text.str());
    }
}

} // namespace

ToolDefinition diameterTool()
{
    return {
        "diameter",
        "Two-point diameters across a ring along opposite radial calipers, their extremes and directions, "
        "the mean diameter and roundness",
        {"ring"},
        diameterParams(),
        runDiameter,
        drawDiameters,
        checkDiameterSettings,
        {
            {"meanDiameter", "mean of the two-point diameters, pixels (when found)"},
            {"minDiameter", "smallest two-point diameter, pixels (when found)"},
            {"minDiameterAngle", "its direction, degrees counter-clockwise with y up, 0 .. 180 (when found)"},
            {"maxDiameter", "largest two-point diameter, pixels (when found)"},
            {"maxDiameterAngle", "its direction, degrees counter-clockwise with y up, 0 .. 180 (when found)"},
            {"roundness", "largest minus smallest distance of an edge point from the fitted centre, pixels"},
            {"centre", "[x, y] of the circle fitted to the edge points, pixels (when found)"},
            {"radius", "of the fitted circle, pixels (when found)"},
            {"diameters", "every two-point diameter measured, pixels, in the order of diameterAngles"},
            {"diameterAngles", "direction of each of those diameters, degrees, 0 .. 180"},
            {"edgePoints", "[[x, y], ...] the edge point of every caliper that found one, in angle order"},
        },
    };
}
} // namespace frontend
