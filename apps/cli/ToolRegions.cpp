// functions-cli adapter of the region chain: band threshold, shape selection, sorting.

#include "CliTool.h"
#include "Demo.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace cli {
namespace {

ToolResult runRegions(ToolInput& input)
{
    const cv::Rect box = roiPixels(input);
    cv::Mat grey = greyImage(input);
    cv::Mat mask = cv::Mat::zeros(grey.size(), CV_8U);
    mask(box).setTo(255);

    QVector<SelectShapeInfo> criteria;
    criteria.push_back({Area, input.number("minArea"), input.number("maxArea")});
    criteria.push_back({Rectangularity, input.number("minRectangularity"), input.number("maxRectangularity")});
    const SelectOperation operation = input.choice("operation") == 0 ? And : Or;

    ToolResult result;
    cv::Mat regions, selected;
    QList<ContourLayer> kept;
    std::vector<int> order;
    bool sorted = false;
    result.microseconds = timeMicroseconds([&] {
        threshold_min_max(grey, regions, input.integer("minGray"), input.integer("maxGray"), mask);
        kept = select_shape(regions, selected, criteria, operation);
        sorted = sort_region(regions, kept, order, UpperLeft, Ascending, static_cast<SortDirection>(input.choice("sortBy")));
    });

    json list = json::array();
    for (size_t k = 0; k < order.size() && sorted; ++k) {
        const ContourLayer& layer = kept[order[k]];
        const cv::Rect bounds = cv::boundingRect(layer.contours[layer.outerIndex]);
        const cv::Point2d centroid = getContourFocus(layer);
        list.push_back({{"area", getContourArea(layer)},
                        {"centroid", pointJson(centroid)},
                        {"box", {bounds.x, bounds.y, bounds.width, bounds.height}},
                        {"holes", layer.holeIndexes.size()}});
    }
    result.success = !kept.isEmpty() && sorted;
    result.outputs = {{"count", kept.size()}, {"regions", list}};
    return result;
}

void drawRegions(cv::Mat& picture, const ToolInput& input, const ToolResult& result)
{
    demo::drawPolygon(picture, roiOutline(*input.roi.shape), demo::kRoiColour);
    int index = 1;
    for (const json& region : result.outputs.at("regions")) {
        const json& b = region.at("box");
        cv::rectangle(picture, cv::Rect(b[0].get<int>(), b[1].get<int>(), b[2].get<int>(), b[3].get<int>()),
                      demo::kFoundColour);
        const json& c = region.at("centroid");
        demo::drawCross(picture, {c[0].get<double>(), c[1].get<double>()}, demo::kFoundColour);
        cv::putText(picture, std::to_string(index++), cv::Point(b[0].get<int>(), b[1].get<int>() - 4),
                    cv::FONT_HERSHEY_SIMPLEX, 0.6, demo::kFoundColour, 1, cv::LINE_AA);
    }
}

const ToolRegistration registration({
    "regions",
    "Band threshold inside an upright rectangle, then the regions whose area (holes subtracted) and "
    "rectangularity lie in the given ranges, ordered by their upper-left corners",
    {"rect"},
    {
        {"minGray", ParamType::Integer, 128, "lowest grey value of a region pixel", {}},
        {"maxGray", ParamType::Integer, 255, "highest grey value of a region pixel", {}},
        {"minArea", ParamType::Number, 100.0, "smallest area in square pixels", {}},
        {"maxArea", ParamType::Number, 1e9, "largest area in square pixels", {}},
        {"minRectangularity", ParamType::Number, 0.0, "area over the smallest enclosing rectangle's area", {}},
        {"maxRectangularity", ParamType::Number, 1.0, "", {}},
        {"operation", ParamType::Choice, "And", "keep regions passing every criterion, or any", {"And", "Or"}},
        {"sortBy", ParamType::Choice, "ByRow", "rows first (top to bottom) or columns first", {"ByRow", "ByColumn"}},
    },
    runRegions,
    drawRegions,
});

} // namespace
} // namespace cli
