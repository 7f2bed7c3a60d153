// Front-end adapter of the region chain: band threshold, shape selection, sorting.

#include "Drawing.h"
#include "Messages.h"
#include "ToolAdapters.h"

#include <Functions.h>

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace frontend {
namespace {

constexpr double kPi = 3.141592653589793;

// A region's features, the selection's own among them: rectangularity is computed as the
// selection computes it (area over the float area of the smallest rotated rectangle
// around the outer outline), so a region reported at 0.9 passes a minimum of 0.9.
json regionJson(const ContourLayer& layer)
{
    const std::vector<cv::Point>& outer = layer.contours[layer.outerIndex];
    const cv::Rect bounds = cv::boundingRect(outer);
    const double area = getContourArea(layer);
    const cv::RotatedRect box = cv::minAreaRect(outer);
    const float boxArea = box.size.width * box.size.height;
    const double perimeter = cv::arcLength(outer, true);
    json region = {{"area", area},
                   {"centroid", pointJson(getContourFocus(layer))},
                   {"box", {bounds.x, bounds.y, bounds.width, bounds.height}},
                   {"holes", layer.holeIndexes.size()},
                   {"perimeter", perimeter}};
    // Undefined for a region of no extent (a line of pixels has a box of no area).
    region["rectangularity"] = boxArea > 0 ? json(area / boxArea) : json(nullptr);
    region["circularity"] = perimeter > 0 ? json(4 * kPi * area / (perimeter * perimeter)) : json(nullptr);
    return region;
}

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
    for (size_t k = 0; k < order.size() && sorted; ++k)
        list.push_back(regionJson(kept[order[k]]));
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
            throw InputError(source + ": parameter '" + low + "' (" + formatNumber(settings.at(low).get<double>()) +
                             ") is above '" + high + "' (" + formatNumber(settings.at(high).get<double>()) + ")");
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
        {
            {"count", "number of regions kept"},
            {"regions", "per region, in the sorted order: area (square pixels, holes subtracted), centroid [x, y], box "
                        "[x, y, width, height] of the outer outline, holes, perimeter (length of the outer outline "
                        "through its pixel centres), rectangularity (area over the smallest rotated rectangle's, as "
                        "selected on) and circularity (4 pi area / perimeter squared, near 1 for a disc)"},
        },
    };
}
} // namespace frontend
