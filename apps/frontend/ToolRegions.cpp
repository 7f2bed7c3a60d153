// Front-end adapter of the region chain: band threshold, shape selection, sorting.

#include "Drawing.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace frontend {
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
    drawPolygon(picture, roiOutline(*input.roi.shape), kRoiColour);
    int index = 1;
    for (const json& region : result.outputs.at("regions")) {
        const json& b = region.at("box");
        cv::rectangle(picture, cv::Rect(b[0].get<int>(), b[1].get<int>(), b[2].get<int>(), b[3].get<int>()),
                      kFoundColour);
        const json& c = region.at("centroid");
        drawCross(picture, {c[0].get<double>(), c[1].get<double>()}, kFoundColour);
        cv::putText(picture, std::to_string(index++), cv::Point(b[0].get<int>(), b[1].get<int>() - 4),
                    cv::FONT_HERSHEY_SIMPLEX, 0.6, kFoundColour, 1, cv::LINE_AA);
    }
}

// The library takes either order of each bound; a front end refuses a swapped pair
// because it is almost always a typo.
void checkRegionBounds(const json& settings, const std::string& source)
{
    for (const char* feature : {"Gray", "Area", "Rectangularity"}) {
        const std::string low = std::string("min") + feature, high = std::string("max") + feature;
        if (settings.at(low).get<double>() > settings.at(high).get<double>())
            throw InputError(source + ": parameter '" + low + "' (" + settings.at(low).dump() +
                             ") is above '" + high + "' (" + settings.at(high).dump() + ")");
    }
}

} // namespace

ToolDefinition regionsTool()
{
    return {
        "regions",
        "Band threshold inside an upright rectangle, then the regions whose area (holes subtracted) and "
        "rectangularity lie in the given ranges, ordered by their upper-left corners",
        {"rect"},
        {
            ParamDefinition::ranged("minGray", ParamType::Integer, 128, 0, 255, "lowest grey value of a region pixel"),
            ParamDefinition::ranged("maxGray", ParamType::Integer, 255, 0, 255,
                                    "highest grey value of a region pixel (not below minGray)"),
            ParamDefinition::ranged("minArea", ParamType::Number, 100.0, 0, kNoLimit,
                                    "smallest area in square pixels, holes subtracted"),
            ParamDefinition::ranged("maxArea", ParamType::Number, 1e9, 0, kNoLimit,
                                    "largest area in square pixels (not below minArea)"),
            ParamDefinition::ranged("minRectangularity", ParamType::Number, 0.0, 0, 1,
                                    "smallest area over the area of the smallest enclosing rotated rectangle"),
            ParamDefinition::ranged("maxRectangularity", ParamType::Number, 1.0, 0, 1,
                                    "largest area over the area of the smallest enclosing rotated rectangle (not "
                                    "below minRectangularity)"),
            ParamDefinition::choice("operation", "And", {"And", "Or"}, "keep regions passing every criterion, or any"),
            ParamDefinition::choice("sortBy", "ByRow", {"ByRow", "ByColumn"},
                                    "rows first (top to bottom) or columns first"),
        },
        runRegions,
        drawRegions,
        checkRegionBounds,
    };
}
} // namespace frontend
