// functions-cli adapter of the edge pairs tool (a pair of edges per band, for widths).

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

namespace cli {
namespace {

ToolResult runEdgePairs(ToolInput& input)
{
    _MulEdgePointDetParam param;
    param.pairMode = input.choice("pairMode");
    param.segmentAxis = input.choice("segmentAxis");
    param.direction = input.choice("direction");
    param.transition = static_cast<EdgeTransition>(input.choice("transition"));
    param.threshold = input.integer("threshold");
    param.smoothWidth = input.integer("smoothWidth");
    param.minGradient = input.integer("minGradient");
    param.segmentWidth = input.integer("segmentWidth");
    param.segmentStep = input.integer("segmentStep");
    param.skipCount = input.integer("skipCount");
    param.minPairDistance = static_cast<float>(input.number("minPairDistance"));
    param.roi = static_cast<RotateRectROI*>(input.roi.shape.get());

    ToolResult result;
    result.microseconds = timeMicroseconds([&] { result.success = clcMulEdgePoints(input.image, param); });

    // The tool answers in the ROI's frame; the widths are measured there.
    std::vector<cv::Point2d> first(param.firstEdges.size()), second(param.secondEdges.size());
    transformPoints(param.firstEdges, first, param.roi);
    transformPoints(param.secondEdges, second, param.roi);
    json pairs = json::array();
    double sum = 0;
    for (size_t k = 0; k < first.size(); ++k) {
        const double distance = cv::norm(param.secondEdges[k] - param.firstEdges[k]);
        sum += distance;
        pairs.push_back({{"first", pointJson(first[k])}, {"second", pointJson(second[k])}, {"distance", distance}});
    }
    result.outputs = {{"count", first.size()}, {"pairs", pairs}};
    if (!first.empty())
        result.outputs["meanDistance"] = sum / static_cast<double>(first.size());
    return result;
}

void drawEdgePairs(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    for (const json& pair : result.outputs.at("pairs")) {
        const json& a = pair.at("first");
        const json& b = pair.at("second");
        cv::line(picture, cv::Point(cvRound(a[0].get<double>() * 16), cvRound(a[1].get<double>() * 16)),
                 cv::Point(cvRound(b[0].get<double>() * 16), cvRound(b[1].get<double>() * 16)), demo::kFoundColour, 1,
                 cv::LINE_AA, 4);
    }
}

const ToolRegistration registration({
    "edge_pairs",
    "A pair of edges per band of a rotated rectangle, as for width measurements; outputs pairs "
    "[{first, second, distance}] and meanDistance",
    {"rotated_rect"},
    {
        {"pairMode", ParamType::Choice, "Outermost", "the first and last peak, or the two middle ones",
         {"Outermost", "Middle"}},
        {"segmentAxis", ParamType::Choice, "HorizontalBands",
         "bands stacked down the ROI (profiles along its width) or side by side (along its height)",
         {"HorizontalBands", "VerticalBands"}},
        {"direction", ParamType::Choice, "Forward", "scan each profile forwards or backwards", {"Forward", "Backward"}},
        {"transition", ParamType::Choice, "BothTransitions", "edge polarity along the scan",
         {"BothTransitions", "LightToDark", "DarkToLight"}},
        {"threshold", ParamType::Integer, 50, "percent of the band's strongest response", {}},
        {"smoothWidth", ParamType::Integer, 0, "moving average over the strength curve (<2: none)", {}},
        {"minGradient", ParamType::Integer, 5, "strengths below this are ignored", {}},
        {"segmentWidth", ParamType::Integer, 10, "lines averaged per band", {}},
        {"segmentStep", ParamType::Integer, 10, "distance between band starts", {}},
        {"skipCount", ParamType::Integer, 0, "leading peaks (in scan order) to drop", {}},
        {"minPairDistance", ParamType::Number, 0.0, "pairs must be strictly farther apart than this", {}},
    },
    runEdgePairs,
    drawEdgePairs,
});

} // namespace
} // namespace cli
