#include "CircleToolSupport.h"

#include "Drawing.h"
#include "Messages.h"
#include "Overlay.h"
#include "Trust.h"

#include <Functions.h>

#include <algorithm>
#include <cmath>

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
        result.diagnostics = diagnosticsJson(unjudged(edgePoints), input.listPointDiagnostics);
        result.diagnostics["failure"] = failureReason(input, edgePoints, fitType);
        return;
    }
    const int fitMode = input.choice("fitMode");
    const bool removed = input.number("outlierDistance") >= 0;
    std::vector<PointDiagnostic> judged;
    if (!getCircleDiagnostics(removed ? pointsBeforeRemoval(input) : edgePoints, centre, radius, judged))
        return;
    std::string rule;
    if (fitType == FitCircleTukey) {
        const double scale = getTukeyScale(judged, 0.0);
        markTukeyInliers(judged, 0.0);
        rule = "zero weight in the Tukey fit, |residual| > " + fixedText(scale) +
               " px = 2 x median |residual| / 0.6745";
    } else if (input.boolean("bestEdgePerCaliper") && fitMode == 0) {
        markInliersWithin(judged, kInlierDistance);
        rule = "farther than 3 px from the circle (the tool's inlier check)";
    }
    if (removed) {
        for (PointDiagnostic& d : judged)
            d.inlier = d.inlier && std::find(edgePoints.begin(), edgePoints.end(), d.point) != edgePoints.end();
        rule += std::string(rule.empty() ? "" : ", or ") + "dropped by outlierDistance " +
                formatNumber(input.number("outlierDistance")) + " px";
    }
    result.diagnostics = diagnosticsJson(judged, input.listPointDiagnostics);
    if (!rule.empty())
        result.diagnostics["rule"] = rule;
    CircleFitQuality quality;
    if (fitMode == 0 && getCircleFitQuality(edgePoints, centre, radius, fitType, quality)) {
        // Smoothing across angles makes each caliper reach as many angles further.
        const int smoothing = input.integer("angularSmoothing");
        widenForOverlappingCalipers(input.integer("segmentWidth") + (smoothing >= 2 ? smoothing - 1 : 0),
                                    input.integer("segmentStep"), quality);
        result.quality = circleQualityJson(quality);
    }
}

std::vector<ParamDefinition> radialCaliperParams()
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
    };
}

std::vector<ParamDefinition> circleFamilyParams()
{
    std::vector<ParamDefinition> params = radialCaliperParams();
    params.insert(params.end(), {
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
    });
    return params;
}

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
            label.push_back(intervalLine("diameter", result.quality.at("diameter"), "px"));
            label.push_back(intervalLine("radius", result.quality.at("radius"), "px"));
        } else {
            label.push_back("diameter " + fixedText(2 * radius) + " px");
        }
        for (const std::string& line : pointsLegend(result.diagnostics))
            label.push_back(line);
    }
    finishOverlay(picture, outline, label, result, middlePoint(result.diagnostics, outline.front()));
}

} // namespace frontend
