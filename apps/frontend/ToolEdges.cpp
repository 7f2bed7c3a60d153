// Front-end adapter of the edges tool (every peak of one averaged profile).

#include "Drawing.h"
#include "Overlay.h"
#include "ToolAdapters.h"
#include "Trust.h"

#include <Functions.h>

namespace frontend {
namespace {

ToolResult runEdges(ToolInput& input)
{
    _EdgesDetParam param;
    param.direction = static_cast<ClcDirection>(input.choice("direction"));
    param.transition = static_cast<EdgeTransition>(input.choice("transition"));
    param.threshold = input.integer("threshold");
    param.smoothWidth = input.integer("smoothWidth");
    param.minGradient = input.integer("minGradient");
    param.roi = input.roi.shape.get();

    ToolResult result;
    result.microseconds = timeMicroseconds([&] { result.success = clcEdges(input.image, param); });

    // Positions lie along the ROI's centre line: across its width for column profiles,
    // down its height for row profiles.
    const bool alongWidth = param.direction != TopToBottom && param.direction != BottomToTop;
    std::vector<cv::Point2d> local, points(param.positions.size());
    for (float p : param.positions)
        local.emplace_back(alongWidth ? cv::Point2d(p, param.image.rows * 0.5) : cv::Point2d(param.image.cols * 0.5, p));
    transformPoints(local, points, param.roi);
    result.outputs = {{"maxGradient", param.maxGradient},
                      {"positions", param.positions},
                      {"polarities", param.polarities},
                      {"points", pointsJson(points)}};
    if (!result.success && !param.image.empty()) {
        // With a valid ROI the tool fails only when no step passes minGradient; run
        // without that floor or smoothing, it says how strong the strongest step was.
        _EdgesDetParam open = param;
        open.minGradient = 0;
        open.smoothWidth = 0;
        clcEdges(input.image, open);
        result.diagnostics["failure"] = minGradientReason(open.maxGradient, param.minGradient);
    }
    return result;
}

// Each edge as a line across the ROI at its position, falling and rising ones in two
// colours, with the positions along the profile written beside the ROI.
void drawEdges(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    const std::vector<cv::Point2d> outline = roiOutline(*input.roi.shape);
    drawPolygon(picture, outline, kRoiColour);
    const int direction = input.choice("direction");
    const bool alongHeight = direction >= 2;
    drawRectangleScan(picture, *input.roi.shape, alongHeight, direction == 1 || direction == 3);
    RectangleFrame frame;
    rectangleFrame(*input.roi.shape, frame);
    const cv::Point2d across = (alongHeight ? frame.widthAxis : frame.heightAxis) *
                               (0.5 * (alongHeight ? frame.width : frame.height));
    const json& points = result.outputs.at("points");
    const json& positions = result.outputs.at("positions");
    const json& polarities = result.outputs.at("polarities");
    std::vector<std::string> label;
    if (!points.empty())
        label.push_back(std::to_string(points.size()) + " edges, px along the scan:");
    std::string line;
    for (size_t k = 0; k < points.size(); ++k) {
        const cv::Point2d p(points[k][0].get<double>(), points[k][1].get<double>());
        const bool falling = polarities[k].get<int>() > 0;
        drawPolygon(picture, {p - across, p + across}, falling ? kInlierColour : kShapeColour);
        // Four positions to a line keep the label narrower than the picture.
        line += (k % 4 ? ", " : "") + fixedText(positions[k].get<double>(), 1) +
                (falling ? " falling (green)" : " rising (magenta)");
        if (k % 4 == 3 || k + 1 == points.size()) {
            label.push_back(line);
            line.clear();
        }
    }
    const cv::Point2d focus = points.empty() ? frame.centre
                                             : cv::Point2d(points[0][0].get<double>(), points[0][1].get<double>());
    finishOverlay(picture, outline, label, result, focus);
}

} // namespace

ToolDefinition edgesTool()
{
    return {
        "edges",
        "Every edge of one averaged profile across a rectangle, in scan order",
        {"rotated_rect", "rect"},
        {
            ParamDefinition::choice("direction", "LeftToRight", {"LeftToRight", "RightToLeft", "TopToBottom", "BottomToTop"},
                                    "profile along the width (left/right) or the height (top/bottom)"),
            transitionParam(),
            ParamDefinition::ranged("threshold", ParamType::Integer, 50, 0, 100,
                                    "edges below this percent of the strongest response are ignored"),
            ParamDefinition::ranged("smoothWidth", ParamType::Integer, 0, 0, kNoLimit,
                                    "moving average over the strength curve, in samples (below 2: none)"),
            ParamDefinition::ranged("minGradient", ParamType::Integer, 5, 0, 255,
                                    "strengths (grey-level steps between neighbouring samples) below this are ignored"),
        },
        runEdges,
        drawEdges,
        nullptr,
        {
            {"maxGradient", "strongest edge response of the profile"},
            {"positions", "edge positions along the profile, samples from the ROI's start"},
            {"polarities", "per edge: 1 falling (light to dark), -1 rising, along the scan"},
            {"points", "[[x, y], ...] of the edges on the ROI's centre line, image pixels"},
        },
    };
}
} // namespace frontend
