#include "CircleToolSupport.h"

#include "CircleDrawing.h"
#include "Demo.h"

namespace cli {

std::vector<ParamDefinition> circleFamilyParams()
{
    return {
        {"direction", ParamType::Choice, "LeftToRight", "walk outwards from the inner radius, or inwards",
         {"LeftToRight", "RightToLeft"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the walk",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"percent", ParamType::Integer, 30, "edges below this percent of a caliper's strongest are ignored", {}},
        {"sigma", ParamType::Integer, 2, "Gaussian smoothing along each radius (0..100)", {}},
        {"minStrength", ParamType::Integer, 10, "absolute edge strength threshold", {}},
        {"segmentWidth", ParamType::Integer, 3, "angles averaged by one caliper (one per pixel along the outer radius)", {}},
        {"segmentStep", ParamType::Integer, 2, "angles between neighbouring calipers", {}},
        {"fitMode", ParamType::Choice, "AllPoints",
         "circle through all points, or against the outer or inner crests of a ragged rim",
         {"AllPoints", "OuterCrests", "InnerCrests"}},
        {"bestEdgePerCaliper", ParamType::Boolean, true,
         "keep each caliper's edge nearest to the others' trend instead of its first", {}},
        {"angularSmoothing", ParamType::Integer, 0, "box filter across this many angles first (<2: none)", {}},
        {"outlierDistance", ParamType::Number, -1.0, "drop points further than this from the trend (<0: keep all)",
         {}},
    };
}

void drawCircleFamily(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const demo::View view;
    if (const auto* ring = dynamic_cast<const RingROI*>(input.roi.shape.get()))
        demo::drawRingRoi(picture, view, *ring, demo::kRoiColour);
    else if (const auto* arc = dynamic_cast<const ArcROI*>(input.roi.shape.get()))
        demo::drawArcRoi(picture, view, *arc, demo::kRoiColour);
    const auto point = [](const json& p) { return cv::Point2d(p[0].get<double>(), p[1].get<double>()); };
    std::vector<cv::Point2d> points;
    for (const json& p : result.outputs.at("edgePoints"))
        points.push_back(point(p));
    demo::drawEdgePoints(picture, view, points, demo::kFoundColour);
    if (!result.success)
        return;
    const cv::Point2d centre = point(result.outputs.at("centre"));
    const double radius = result.outputs.at("radius").get<double>();
    const bool arc = result.outputs.contains("startAngle");
    const std::vector<cv::Point2d> outline =
        arc ? demo::circleArc(centre, radius, result.outputs.at("startAngle").get<double>(),
                              result.outputs.at("endAngle").get<double>())
            : demo::circleArc(centre, radius, 0, 360);
    demo::drawPolyline(picture, view, outline, !arc, demo::kFoundColour);
    demo::drawCross(picture, centre, demo::kFoundColour);
}

} // namespace cli
