#include "CircleToolSupport.h"

#include "Drawing.h"
#include "Trust.h"

#include <Functions.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace frontend {

namespace {

// The tools' own inlier check: at least this many points within this distance.
constexpr double kInlierDistance = 3.0;
constexpr int kMinInliers = 10;

// The points the calipers find before outlierDistance removes any.
std::vector<cv::Point2d> pointsBeforeRemoval(ToolInput& input)
{
    cv::Mat square;
    cv::Rect crop;
    std::vector<cv::Point2d> polar, points;
    clcCircleSegmentPoints(input.image, input.roi.shape.get(), true, 0,
                           input.choice("direction") == 1 ? RightToLeft : LeftToRight,
                           static_cast<EdgeTransition>(input.choice("transition")), input.integer("segmentWidth"),
                           input.integer("segmentStep"), 1024, input.integer("sigma"), input.integer("percent"),
                           input.integer("minStrength"), square, crop, polar, points,
                           input.boolean("bestEdgePerCaliper"), input.integer("angularSmoothing"), -1.0);
    return points;
}

std::string failureReason(ToolInput& input, const std::vector<cv::Point2d>& edgePoints, FitCircleType fitType)
{
    const int fitMode = input.choice("fitMode");
    if (edgePoints.size() < 3) {
        const double strongest = strongestCaliperResponse(
            polarStrip(input.image, *input.roi.shape), input.integer("segmentWidth"), input.integer("segmentStep"),
            input.integer("sigma"), input.choice("direction") == 1 ? RightToLeft : LeftToRight,
            static_cast<EdgeTransition>(input.choice("transition")));
        return tooFewPointsReason(edgePoints.size(), 3, strongest, input.integer("minStrength"));
    }
    std::vector<cv::Point2d> points = edgePoints;
    cv::Point2d centre;
    double radius = 0;
    if (!fitCircle(points, centre, radius, fitType))
        return "the circle fit failed on " + std::to_string(points.size()) + " points (collinear or coincident)";
    std::vector<PointDiagnostic> judged;
    if (input.boolean("bestEdgePerCaliper") && fitMode == 0 && getCircleDiagnostics(points, centre, radius, judged)) {
        const int within = markInliersWithin(judged, kInlierDistance);
        if (within < kMinInliers)
            return std::to_string(within) + " points were within 3 px of the circle, " + std::to_string(kMinInliers) +
                   " are needed";
    }
    if (fitMode != 0)
        return std::string("no point lies ") + (fitMode == 1 ? "outside" : "inside") +
               " the first estimate of the circle, which fitMode " + (fitMode == 1 ? "OuterCrests" : "InnerCrests") +
               " needs";
    return "the circle fit was rejected";
}

} // namespace

void judgeCircleFamily(ToolResult& result, ToolInput& input, const std::vector<cv::Point2d>& edgePoints,
                       cv::Point2d centre, double radius, FitCircleType fitType)
{
    if (!result.success) {
        result.diagnostics = diagnosticsJson(unjudged(edgePoints));
        result.diagnostics["failure"] = failureReason(input, edgePoints, fitType);
        return;
    }
    const int fitMode = input.choice("fitMode");
    const bool removed = input.number("outlierDistance") >= 0;
    std::vector<PointDiagnostic> judged;
    if (!getCircleDiagnostics(removed ? pointsBeforeRemoval(input) : edgePoints, centre, radius, judged))
        return;
    if (fitType == FitCircleTukey)
        markTukeyInliers(judged, 0.0);
    else if (input.boolean("bestEdgePerCaliper") && fitMode == 0)
        markInliersWithin(judged, kInlierDistance);
    if (removed)
        for (PointDiagnostic& d : judged)
            d.inlier = d.inlier && std::find(edgePoints.begin(), edgePoints.end(), d.point) != edgePoints.end();
    result.diagnostics = diagnosticsJson(judged);
    CircleFitQuality quality;
    if (fitMode == 0 && getCircleFitQuality(edgePoints, centre, radius, fitType, quality))
        result.quality = circleQualityJson(quality);
}

std::vector<ParamDefinition> circleFamilyParams()
{
    return {
        ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft"},
                                "walk outwards from the inner radius, or inwards"),
        transitionParam(),
        ParamDefinition::ranged("percent", ParamType::Integer, 30, 0, 100,
                                "edges below this percent of a caliper's strongest response are ignored"),
        sigmaParam(),
        ParamDefinition::ranged("minStrength", ParamType::Integer, 10, 0, 510,
                                "absolute edge threshold (grey-level difference across two pixels)"),
        ParamDefinition::ranged("segmentWidth", ParamType::Integer, 3, 1, kNoLimit,
                                "angles averaged by one caliper (one per pixel along the outer radius)"),
        ParamDefinition::ranged("segmentStep", ParamType::Integer, 2, 1, kNoLimit,
                                "angles between neighbouring calipers"),
        ParamDefinition::choice("fitMode", "AllPoints", {"AllPoints", "OuterCrests", "InnerCrests"},
                                "circle through all points, or against the outer or inner crests of a ragged rim"),
        ParamDefinition::flag("bestEdgePerCaliper", true,
                              "keep each caliper's edge nearest to the others' trend instead of its first"),
        ParamDefinition::ranged("angularSmoothing", ParamType::Integer, 0, 0, kNoLimit,
                                "box filter across this many angles first (below 2: none)"),
        ParamDefinition::ranged("outlierDistance", ParamType::Number, -1.0, -1, kNoLimit,
                                "drop points farther than this from the trend, in pixels (-1: keep all)"),
    };
}

namespace {

// Scan direction: along the middle radius of an arc, or the first caliper of a ring
// (image angle 0), from the inner circle outwards or back.
void drawCircleScan(cv::Mat& picture, const ROI& roi, bool inwards)
{
    double cx = 0, cy = 0, r1 = 0, r2 = 0, angle = 0; // angle: y-up degrees
    if (const auto* ring = dynamic_cast<const RingROI*>(&roi)) {
        cx = ring->centreX, cy = ring->centreY, r1 = ring->radius1, r2 = ring->radius2;
    } else if (const auto* arc = dynamic_cast<const ArcROI*>(&roi)) {
        cx = arc->centreX, cy = arc->centreY, r1 = arc->radius1, r2 = arc->radius2;
        const double span = std::fmod(arc->angle2 - arc->angle1 + 720.0, 360.0);
        angle = arc->angle1 + span / 2;
    } else {
        return;
    }
    const double t = angle * 3.141592653589793 / 180.0;
    const cv::Point2d centre(cx, cy), u(std::cos(t), -std::sin(t));
    const cv::Point2d inner = centre + u * std::min(r1, r2), outer = centre + u * std::max(r1, r2);
    drawScanArrow(picture, inwards ? outer : inner, inwards ? inner : outer);
}

std::string intervalText(const json& quality, const char* name)
{
    const json& v = quality.at(name);
    std::ostringstream text;
    text.precision(4);
    text << std::fixed << v.at("value").get<double>() << " px  95%: " << v.at("ci95")[0].get<double>() << " .. "
         << v.at("ci95")[1].get<double>();
    return text.str();
}

} // namespace

void drawCircleFamily(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const View view;
    if (const auto* ring = dynamic_cast<const RingROI*>(input.roi.shape.get()))
        drawRingRoi(picture, view, *ring, kRoiColour);
    else if (const auto* arc = dynamic_cast<const ArcROI*>(input.roi.shape.get()))
        drawArcRoi(picture, view, *arc, kRoiColour);
    drawCircleScan(picture, *input.roi.shape, input.choice("direction") == 1);
    drawJudgedPoints(picture, result.diagnostics);
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    std::vector<std::string> label;
    if (result.success) {
        const auto point = [](const json& p) { return cv::Point2d(p[0].get<double>(), p[1].get<double>()); };
        const cv::Point2d centre = point(result.outputs.at("centre"));
        const double radius = result.outputs.at("radius").get<double>();
        const bool arc = result.outputs.contains("startAngle");
        const std::vector<cv::Point2d> shape =
            arc ? circleArc(centre, radius, result.outputs.at("startAngle").get<double>(),
                            result.outputs.at("endAngle").get<double>())
                : circleArc(centre, radius, 0, 360);
        drawPolyline(picture, view, shape, !arc, kShapeColour);
        drawCross(picture, centre, kShapeColour, 2 * markSize(picture));
        if (!result.quality.is_null()) {
            label.push_back("diameter " + intervalText(result.quality, "diameter"));
            label.push_back("radius " + intervalText(result.quality, "radius"));
        } else {
            std::ostringstream text;
            text.precision(4);
            text << std::fixed << "diameter " << 2 * radius << " px";
            label.push_back(text.str());
        }
        if (result.diagnostics.contains("outliers"))
            label.push_back(std::to_string(result.diagnostics["inliers"].get<int>()) + " inliers, " +
                            std::to_string(result.diagnostics["outliers"].get<int>()) + " outliers");
    } else if (result.diagnostics.contains("failure")) {
        label.push_back(result.diagnostics["failure"].get<std::string>());
    }
    addInset(picture, outline);
    drawLabelBeside(picture, label, outline);
}

} // namespace frontend
