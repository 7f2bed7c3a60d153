// Front-end adapter of the edge pairs tool (a pair of edges per band, for widths).

#include "Drawing.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

namespace frontend {
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
    drawPolygon(picture, roiOutline(*input.roi.shape), kRoiColour);
    for (const json& pair : result.outputs.at("pairs")) {
        const json& a = pair.at("first");
        const json& b = pair.at("second");
        cv::line(picture, cv::Point(cvRound(a[0].get<double>() * 16), cvRound(a[1].get<double>() * 16)),
                 cv::Point(cvRound(b[0].get<double>() * 16), cvRound(b[1].get<double>() * 16)), kFoundColour, 1,
                 cv::LINE_AA, 4);
    }
}

} // namespace

ToolDefinition edgePairsTool()
{
    return {
        "edge_pairs",
        "A pair of edges per band of a rotated rectangle, as for width measurements",
        {"rotated_rect"},
        {
            ParamDefinition::choice("pairMode", "Outermost", {"Outermost", "Middle"},
                                    "the first and last peak, or the two middle ones"),
            ParamDefinition::choice("segmentAxis", "HorizontalBands", {"HorizontalBands", "VerticalBands"},
                                    "bands stacked down the ROI (profiles along its width) or side by side (along "
                                    "its height)"),
            ParamDefinition::choice("direction", "Forward", {"Forward", "Backward"},
                                    "scan each profile forwards or backwards"),
            transitionParam(),
            ParamDefinition::ranged("threshold", ParamType::Integer, 50, 0, 100,
                                    "peaks below this percent of the band's strongest response are ignored"),
            ParamDefinition::ranged("smoothWidth", ParamType::Integer, 0, 0, kNoLimit,
                                    "moving average over the strength curve, in samples (below 2: none)"),
            ParamDefinition::ranged("minGradient", ParamType::Integer, 5, 0, 255,
                                    "strengths (grey-level steps between neighbouring samples) below this are ignored"),
            ParamDefinition::ranged("segmentWidth", ParamType::Integer, 10, 1, kNoLimit, "lines averaged per band"),
            ParamDefinition::ranged("segmentStep", ParamType::Integer, 10, 1, kNoLimit,
                                    "distance between band starts in pixels"),
            ParamDefinition::ranged("skipCount", ParamType::Integer, 0, 0, kNoLimit,
                                    "leading peaks (in scan order) to drop"),
            ParamDefinition::ranged("minPairDistance", ParamType::Number, 0.0, 0, kNoLimit,
                                    "pairs must be strictly farther apart than this, in pixels"),
        },
        runEdgePairs,
        drawEdgePairs,
        nullptr,
        {
            {"count", "number of bands that gave a pair"},
            {"pairs", "[{first: [x, y], second: [x, y], distance}, ...] one per band, distance in pixels"},
            {"meanDistance", "mean of the pairs' distances, pixels (when there is a pair)"},
        },
    };
}
} // namespace frontend
