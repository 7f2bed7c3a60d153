// Front-end adapter of the edge pairs tool (a pair of edges per band, for widths).

#include "Drawing.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace frontend {
namespace {

// The weaker of the two strongest peaks of each band's strength curve (one-sided
// difference along the scan, polarity and minGradient applied, as the tool builds it),
// in percent of the band's strongest, at its best over the bands: what the threshold
// must stay below for a pair to be found.
double weakerWallPercent(const _MulEdgePointDetParam& param)
{
    cv::Mat grey = param.image;
    if (grey.empty())
        return 0;
    if (param.segmentAxis != 0)
        grey = grey.t();
    double best = 0;
    for (int top = 0; top + param.segmentWidth <= grey.rows; top += param.segmentStep) {
        cv::Mat band = grey.rowRange(top, top + param.segmentWidth).clone();
        std::vector<float> profile(band.cols);
        getImageColAverage(band, profile.data());
        if (param.direction != 0)
            std::reverse(profile.begin(), profile.end());
        std::vector<double> strength(profile.size(), 0.0);
        for (size_t i = 1; i < profile.size(); ++i) {
            const double d = profile[i] - profile[i - 1];
            const double s = param.transition == BothTransitions ? std::abs(d)
                             : param.transition == LightToDark   ? std::max(0.0, -d)
                                                                 : std::max(0.0, d);
            strength[i] = s < param.minGradient ? 0.0 : s;
        }
        double first = 0, second = 0;
        for (size_t i = 1; i + 1 < strength.size(); ++i)
            if (strength[i] > strength[i - 1] && strength[i] >= strength[i + 1]) {
                second = std::max(second, std::min(first, strength[i]));
                first = std::max(first, strength[i]);
            }
        if (first > 0)
            best = std::max(best, 100.0 * second / first);
    }
    return best;
}

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
    // Per pair: its middle in the image and its width's departure from the mean.
    std::vector<PointDiagnostic> widths;
    for (size_t k = 0; k < first.size(); ++k)
        widths.push_back({(first[k] + second[k]) * 0.5,
                          cv::norm(param.secondEdges[k] - param.firstEdges[k]) - sum / first.size(), true});
    result.diagnostics = diagnosticsJson(widths);
    EdgePairWidthQuality quality;
    if (getEdgePairWidthQuality(param, quality))
        result.quality = widthQualityJson(quality);
    if (!result.success)
    {
        const int weaker = static_cast<int>(std::lround(weakerWallPercent(param)));
        result.diagnostics["failure"] =
            weaker < param.threshold
                ? "the weaker wall reached " + std::to_string(weaker) + " % of the band's strongest, threshold " +
                      std::to_string(param.threshold) + " %"
                : "no pair of edges lay more than minPairDistance " +
                      std::to_string(static_cast<int>(param.minPairDistance)) + " px apart";
    }
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
        "A pair of edges per band of a rotated rectangle, as for width measurements; outputs pairs "
        "[{first, second, distance}] and meanDistance",
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
    };
}
} // namespace frontend
