#include "CircleToolSupport.h"

#include "Drawing.h"

namespace frontend {

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

void drawCircleFamily(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const View view;
    if (const auto* ring = dynamic_cast<const RingROI*>(input.roi.shape.get()))
        drawRingRoi(picture, view, *ring, kRoiColour);
    else if (const auto* arc = dynamic_cast<const ArcROI*>(input.roi.shape.get()))
        drawArcRoi(picture, view, *arc, kRoiColour);
    const auto point = [](const json& p) { return cv::Point2d(p[0].get<double>(), p[1].get<double>()); };
    std::vector<cv::Point2d> points;
    for (const json& p : result.outputs.at("edgePoints"))
        points.push_back(point(p));
    drawEdgePoints(picture, view, points, kFoundColour);
    if (!result.success)
        return;
    const cv::Point2d centre = point(result.outputs.at("centre"));
    const double radius = result.outputs.at("radius").get<double>();
    const bool arc = result.outputs.contains("startAngle");
    const std::vector<cv::Point2d> outline =
        arc ? circleArc(centre, radius, result.outputs.at("startAngle").get<double>(),
                              result.outputs.at("endAngle").get<double>())
            : circleArc(centre, radius, 0, 360);
    drawPolyline(picture, view, outline, !arc, kFoundColour);
    drawCross(picture, centre, kFoundColour);
}

} // namespace frontend
